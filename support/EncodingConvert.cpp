#include "support/EncodingConvert.h"

#include <cstddef>

#include "support/DataBuffer.h"
#include "support/LogBase.h"
#include "support/LogContextExitor.h"
#include "support/Psdk.h"
#include "support/dvFormat.h"
#include "support/internal/AddressRange.h"
#include "support/internal/CodePages.h"

using dorvane::internal::ByteBlock;
using dorvane::internal::CharacterBlock;
using dorvane::internal::CodePage;
using dorvane::internal::Faults;
using dorvane::internal::findCodePage;
using dorvane::internal::pointsInto;
using dorvane::internal::SourceText;

namespace {

// One conversion on its way. Long ASCII runs are copied in one piece where both pages allow it;
// the rest is decoded and encoded in blocks.
class Conversion {
 public:
  Conversion(const CodePage& from, const CodePage& to, SourceText source, DataBuffer& out) noexcept
      : m_from(from),
        m_to(to),
        m_source(source),
        m_out(out),
        m_sourceIsInOut(pointsInto(source.start(), out.getData2(), out.getSize())) {}

  // False when memory is exhausted.
  bool run() {
    while (!m_source.atEnd())
      if (!step()) return false;
    return true;
  }

  const Faults& faults() const noexcept { return m_faults; }

 private:
  bool step() {
    constexpr unsigned int kWorthCopying = 16;
    const bool bothExtendAscii = m_from.extendsAscii && m_to.extendsAscii;
    const unsigned int run = bothExtendAscii ? m_source.asciiRun() : 0;
    if (run < kWorthCopying) return convertBlock();
    const unsigned char* const bytes = m_source.rest();
    m_source.skip(run);
    return append(bytes, run);
  }

  bool convertBlock() {
    m_from.decode(m_from, m_source, m_characters);
    m_to.encode(m_to, m_characters, m_bytes, m_faults);
    return append(m_bytes.bytes, m_bytes.size);
  }

  bool append(const unsigned char* bytes, unsigned int n) {
    const std::ptrdiff_t sourceAt = m_sourceIsInOut ? m_source.start() - m_out.getData2() : 0;
    if (!m_out.append(bytes, n)) return false;
    if (m_sourceIsInOut) m_source.moveTo(m_out.getData2() + sourceAt);
    return true;
  }

  const CodePage& m_from;
  const CodePage& m_to;
  SourceText m_source;
  DataBuffer& m_out;
  bool m_sourceIsInOut;
  CharacterBlock m_characters;
  ByteBlock m_bytes;
  Faults m_faults;
};

void logNumber(LogBase& log, const char* name, long long value) {
  char digits[21];
  dv_int64_to_str(value, digits);
  log.LogData(name, digits);
}

void logError(const char* text, int fromCodePage, int toCodePage, LogBase& log) {
  log.LogError(text);
  logNumber(log, "fromCodePage", fromCodePage);
  logNumber(log, "toCodePage", toCodePage);
}

bool refuseLength(int n, LogBase& log) {
  const LogContextExitor context(log, "EncodingConvert");
  log.LogError("The length is negative");
  logNumber(log, "length", n);
  return false;
}

}  // namespace

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): used through an object
bool EncodingConvert::EncConvert(int fromCodePage, int toCodePage, const unsigned char* source,
                                 unsigned int n, DataBuffer& out, LogBase& log) {
  const LogContextExitor context(log, "EncodingConvert");
  const CodePage from = findCodePage(fromCodePage);
  const CodePage to = findCodePage(toCodePage);
  if (from.decode == nullptr || to.encode == nullptr) {
    logError("Unknown code page; the bytes are passed through", fromCodePage, toCodePage, log);
    out.append(source, n);
    return false;
  }
  Conversion conversion(from, to, SourceText(source, n), out);
  if (!conversion.run()) {
    logError("Out of memory", fromCodePage, toCodePage, log);
    return false;
  }
  const Faults& faults = conversion.faults();
  if (faults.count == 0) return true;
  logError("Characters are malformed or not in the target page", fromCodePage, toCodePage, log);
  logNumber(log, "characters", faults.count);
  logNumber(log, "firstOffset", faults.firstOffset);
  return false;
}

bool EncodingConvert::AnsiToMultiByte(int toCodePage, const char* source, int n, DataBuffer& out,
                                      LogBase& log) {
  if (n < 0) return refuseLength(n, log);
  return EncConvert(Psdk::getAnsiCodePage(), toCodePage,
                    reinterpret_cast<const unsigned char*>(source), static_cast<unsigned int>(n),
                    out, log);
}

bool EncodingConvert::MultiByteToAnsi(int fromCodePage, const unsigned char* source, int n,
                                      DataBuffer& out, LogBase& log) {
  if (n < 0) return refuseLength(n, log);
  return EncConvert(fromCodePage, Psdk::getAnsiCodePage(), source, static_cast<unsigned int>(n),
                    out, log);
}

bool EncodingConvert::OemToMultiByte(int toCodePage, const char* source, int n, DataBuffer& out,
                                     LogBase& log) {
  if (n < 0) return refuseLength(n, log);
  return EncConvert(Psdk::getOemCodePage(), toCodePage,
                    reinterpret_cast<const unsigned char*>(source), static_cast<unsigned int>(n),
                    out, log);
}

bool EncodingConvert::MultiByteToOem(int fromCodePage, const unsigned char* source, int n,
                                     DataBuffer& out, LogBase& log) {
  if (n < 0) return refuseLength(n, log);
  return EncConvert(fromCodePage, Psdk::getOemCodePage(), source, static_cast<unsigned int>(n), out,
                    log);
}
