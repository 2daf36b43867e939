// Quoted-printable and percent-encoding: text in which an escape sign and two hexadecimal digits
// stand for a byte. What lies between the escapes is copied in runs.
// Tested in tests/support/ClsEncodeTest.cpp.

#include "support/ByteSet.h"
#include "support/internal/Ascii.h"
#include "support/internal/BinaryDecoders.h"
#include "support/internal/DecodedBytes.h"

namespace dorvane::internal {
namespace {

constexpr std::string_view kSpaceAndTab = " \t";
constexpr ByteSet kEqualsSignOrLineEnd = ByteSet::of("=\r\n");
static_assert(kEqualsSignOrLineEnd.size() == 3);

// The byte whose two digits stand at `at`, or -1.
int hexByte(std::string_view text, std::size_t at) noexcept {
  if (text.size() < at + 2) return -1;
  const int high = hexDigitValue(static_cast<unsigned char>(text[at]));
  const int low = hexDigitValue(static_cast<unsigned char>(text[at + 1]));
  return high < 0 || low < 0 ? -1 : high * 16 + low;
}

// Where the line goes on when what stands at `at`, behind a "=", is a soft line break; else `at`.
std::size_t behindSoftBreak(std::string_view text, std::size_t at) noexcept {
  const std::size_t end = text.find_first_not_of(kSpaceAndTab, at);
  if (end == std::string_view::npos) return text.size();
  if (text.compare(end, 2, "\r\n") == 0) return end + 2;
  return text[end] == '\r' || text[end] == '\n' ? end + 1 : at;
}

std::string_view withoutBlanksAtEnd(std::string_view run) noexcept {
  return run.substr(0, run.find_last_not_of(kSpaceAndTab) + 1);
}

class EscapeDecoder {
 public:
  EscapeDecoder(std::string_view text, DataBuffer& out, Misfits& misfits) noexcept
      : m_text(text), m_out(out), m_misfits(misfits) {}

  bool quotedPrintable() {
    if (!m_out.reserve(m_text.size())) return false;
    while (m_at < m_text.size())
      if (!step()) return false;
    return m_out.flush();
  }

  bool percent() {
    if (!m_out.reserve(m_text.size())) return false;
    while (m_at < m_text.size()) {
      const std::string_view run = m_text.substr(m_at, m_text.find('%', m_at) - m_at);
      if (!m_out.append(run)) return false;
      m_at += run.size();
      if (m_at < m_text.size() && !escape()) return false;
    }
    return m_out.flush();
  }

 private:
  // One run of quoted-printable text and what ends it.
  bool step() {
    const std::string_view rest = m_text.substr(m_at);
    const std::string_view run =
        rest.substr(0, kEqualsSignOrLineEnd.findFirstIn(rest.data(), rest.size()));
    m_at += run.size();
    const bool endsLine = m_at == m_text.size() || m_text[m_at] != '=';
    if (!m_out.append(endsLine ? withoutBlanksAtEnd(run) : run)) return false;
    if (m_at == m_text.size()) return true;
    return endsLine ? copySign() : escapeOrSoftBreak();
  }

  bool escapeOrSoftBreak() {
    const std::size_t behind = behindSoftBreak(m_text, m_at + 1);
    if (behind == m_at + 1 && behind < m_text.size()) return escape();
    m_at = behind;
    return true;
  }

  bool escape() {
    const int byte = hexByte(m_text, m_at + 1);
    if (byte < 0) {
      m_misfits.note(m_at);
      return copySign();
    }
    m_at += 3;
    return m_out.append(static_cast<unsigned char>(byte));
  }

  bool copySign() { return m_out.append(static_cast<unsigned char>(m_text[m_at++])); }

  const std::string_view m_text;
  std::size_t m_at = 0;
  DecodedBytes m_out;
  Misfits& m_misfits;
};

}  // namespace

bool decodeQuotedPrintable(std::string_view text, DataBuffer& out, Misfits& misfits) {
  return EscapeDecoder(text, out, misfits).quotedPrintable();
}

bool decodePercent(std::string_view text, DataBuffer& out, Misfits& misfits) {
  return EscapeDecoder(text, out, misfits).percent();
}

}  // namespace dorvane::internal
