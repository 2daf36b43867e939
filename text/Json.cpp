// The body of a JSON string, escaped and decoded (RFC 8259). Tested in tests/text/JsonTest.cpp.

#include <array>
#include <cstdint>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "support/ByteSet.h"
#include "support/CharTables.h"
#include "support/_dvUtf.h"
#include "support/dvFormat.h"
#include "support/dvParse.h"
#include "text/internal/EscapedBlock.h"
#include "text/internal/StableText.h"
#include "text/internal/Staging.h"
#include "text/internal/Texts.h"

using dorvane::internal::BufferAccess;
using dorvane::internal::ByteSet;
using dorvane::internal::replaceByEscaped;
using dorvane::internal::reserveMore;
using dorvane::internal::StableText;
using dorvane::internal::Staging;

namespace {

constexpr ByteSet kEscaped = ByteSet::range(0x00, 0x1F) | ByteSet::of("\"\\");
constexpr ByteSet kLeads = ByteSet::range(0xC0, 0xFF);
constexpr ByteSet kStops = kEscaped | kLeads;
static_assert(kEscaped.size() == 34);

// The letter behind the backslash of a two-byte escape; 0 when a byte has none.
constexpr char shortEscape(char c) {
  switch (c) {
    case '"':
    case '\\':
      return c;
    case '\b':
      return 'b';
    case '\t':
      return 't';
    case '\n':
      return 'n';
    case '\f':
      return 'f';
    case '\r':
      return 'r';
    default:
      return '\0';
  }
}

// The byte that a two-byte escape stands for; -1 when its letter is unknown.
constexpr int unescapedByte(char letter) {
  switch (letter) {
    case '"':
    case '/':
    case '\\':
      return letter;
    case 'b':
      return '\b';
    case 'f':
      return '\f';
    case 'n':
      return '\n';
    case 'r':
      return '\r';
    case 't':
      return '\t';
    default:
      return -1;
  }
}

// Size of a plain run at the start of `text`: up to the first byte to escape. The continuation
// bytes that a lead byte claims belong to the run unseen, as far as they exist.
std::size_t plainRun(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size()) {
    i += kStops.findFirstIn(text.data() + i, text.size() - i);
    if (i >= text.size()) break;
    if (!kLeads.contains(text[i])) return i;
    i += 1U + trailingBytesForUTF8[static_cast<unsigned char>(text[i])];
  }
  return text.size();
}

// Number of bytes that escaping adds.
std::uint64_t countExtra(std::string_view text) {
  std::uint64_t extra = 0;
  for (;;) {
    text.remove_prefix(plainRun(text));
    if (text.empty()) return extra;
    extra += shortEscape(text.front()) != '\0' ? 1 : 5;
    text.remove_prefix(1);
  }
}

char* writeEscape(char c, char* out) {
  *out++ = '\\';
  if (const char letter = shortEscape(c)) {
    *out++ = letter;
    return out;
  }
  *out++ = 'u';
  return out + dv_04X(static_cast<unsigned char>(c), out);
}

void writeEscaped(std::string_view text, char* out) {
  for (;;) {
    const std::size_t run = plainRun(text);
    std::memcpy(out, text.data(), run);
    out += run;
    if (run == text.size()) return;
    out = writeEscape(text[run], out);
    text.remove_prefix(run + 1);
  }
}

// ---- Decoding ----

// Decoded bytes are appended in blocks of 200, or a little more when a UTF-8 sequence crosses the
// border.
constexpr std::size_t kBlock = 200;
constexpr std::size_t kLongestSequence = 4;
constexpr std::size_t kHexDigits = 4;

class DecodedText {
 public:
  explicit DecodedText(StringBuffer& out) : m_staging(out) {}

  bool put(std::string_view item) {
    m_staging.put(item);
    return m_staging.used() < kBlock || m_staging.flush();
  }

  bool putRun(std::string_view run) {
    while (!run.empty()) {
      const std::string_view part = run.substr(0, kBlock - m_staging.used());
      if (!put(part)) return false;
      run.remove_prefix(part.size());
    }
    return true;
  }

  bool putCodePoint(unsigned int codePoint) {
    char bytes[kLongestSequence];
    unsigned int n = 0;
    _dvUtf::oneUtf32ToUtf8(codePoint, bytes, n);
    return put({bytes, n});
  }

  bool finish() { return m_staging.flush(); }

 private:
  Staging<kBlock + kLongestSequence> m_staging;
};

// Decodes the escape at the start of `rest` and steps over it; at least two bytes are there.
bool decodeEscape(std::string_view& rest, DecodedText& out) {
  const char letter = rest[1];
  rest.remove_prefix(2);
  if (letter == 'u') {
    if (rest.size() < kHexDigits) return true;
    const unsigned int codePoint = dv_valHexN(rest.data(), kHexDigits);
    rest.remove_prefix(kHexDigits);
    return out.putCodePoint(codePoint);
  }
  const int byte = unescapedByte(letter);
  if (byte < 0) return true;
  const char c = static_cast<char>(byte);
  return out.put({&c, 1});
}

bool decodeTo(StringBuffer& out, std::string_view rest) {
  DecodedText decoded(out);
  while (!rest.empty()) {
    const std::string_view run = rest.substr(0, rest.find('\\'));
    if (!decoded.putRun(run)) return false;
    rest.remove_prefix(run.size());
    if (rest.size() < 2) break;
    if (!decodeEscape(rest, decoded)) return false;
  }
  return decoded.finish();
}

}  // namespace

bool StringBuffer::jsonEscape() {
  return replaceByEscaped(*this, countExtra(BufferAccess(*this).content()), writeEscaped);
}

bool StringBuffer::jsonDecode(const char* src, unsigned int n, StringBuffer& out) {
  const StableText source(src, n, out);
  if (!source.ok()) return false;
  // Decoding never lengthens; the result may be so short that it stays inline.
  reserveMore(out, source.view().size());
  const bool decoded = decodeTo(out, source.view());
  BufferAccess(out).dropReserve();
  return decoded;
}
