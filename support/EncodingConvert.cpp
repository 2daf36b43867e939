#include "support/EncodingConvert.h"

#include <cstddef>
#include <cstdio>
#include <string_view>

#include "support/DataBuffer.h"
#include "support/LogBase.h"
#include "support/LogContextExitor.h"
#include "support/Psdk.h"
#include "support/dvFormat.h"
#include "support/internal/AddressRange.h"
#include "support/internal/CodePages.h"
#include "support/internal/Conversion.h"

using dorvane::internal::ByteBlock;
using dorvane::internal::CharacterBlock;
using dorvane::internal::CodePage;
using dorvane::internal::Converted;
using dorvane::internal::convertText;
using dorvane::internal::Faults;
using dorvane::internal::PageState;
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
    if (m_source.atEnd()) return true;
    while (!m_source.atEnd())
      if (!step()) return false;
    return finish();
  }

  unsigned int faults() const noexcept { return m_faults.count; }
  unsigned int firstOffset() const noexcept { return m_firstOffset; }

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
    const SourceText block = m_source;
    const bool isFirst = m_faults.count == 0;
    m_from.decode(m_from, m_source, m_characters, CharacterBlock::kCapacity);
    m_to.encode(m_to, m_characters, m_bytes, m_faults);
    if (isFirst && m_faults.count != 0) m_firstOffset = offsetOf(m_faults.firstIndex, block);
    return append(m_bytes.bytes, m_bytes.size);
  }

  // The offset is asked for once, so the block is decoded again up to there instead of keeping
  // one with every character.
  unsigned int offsetOf(unsigned int index, SourceText block) {
    m_from.decode(m_from, block, m_characters, index);
    return block.position();
  }

  bool finish() {
    if (m_to.finish == nullptr) return true;
    m_to.finish(m_to, m_bytes);
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
  unsigned int m_firstOffset = 0;
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

void logMissingPage(PageState state, int page, int fromCodePage, int toCodePage, LogBase& log) {
  char text[96] = "Unknown code page; the bytes are passed through";
  if (state == PageState::kNoConverter) {
    static_cast<void>(std::snprintf(
        text, sizeof(text),
        "The system has no converter for code page %d; the bytes are passed through", page));
  }
  logError(state == PageState::kNoMemory ? "Out of memory" : text, fromCodePage, toCodePage, log);
}

bool refuseLength(int n, LogBase& log) {
  const LogContextExitor context(log, "EncodingConvert");
  log.LogError("The length is negative");
  logNumber(log, "length", n);
  return false;
}

}  // namespace

namespace dorvane::internal {

Converted convertText(int fromCodePage, int toCodePage, std::string_view text, DataBuffer& out,
                      LogBase& log) {
  const LogContextExitor context(log, "EncodingConvert");
  const CodePage from = findCodePage(fromCodePage, Direction::kDecode);
  const CodePage to = findCodePage(toCodePage, Direction::kEncode);
  const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data());
  const auto n = static_cast<unsigned int>(text.size());
  const bool fromReady = from.state == PageState::kReady;
  if (!fromReady || to.state != PageState::kReady) {
    PageState state = fromReady ? to.state : from.state;
    if (state != PageState::kNoMemory && !out.append(bytes, n)) state = PageState::kNoMemory;
    logMissingPage(state, fromReady ? toCodePage : fromCodePage, fromCodePage, toCodePage, log);
    return state == PageState::kNoMemory ? Converted::kNoMemory : Converted::kPassedThrough;
  }
  Conversion conversion(from, to, SourceText(bytes, n), out);
  if (!conversion.run()) {
    logError("Out of memory", fromCodePage, toCodePage, log);
    return Converted::kNoMemory;
  }
  if (conversion.faults() == 0) return Converted::kExactly;
  logError("Characters are malformed or not in the target page", fromCodePage, toCodePage, log);
  logNumber(log, "characters", conversion.faults());
  logNumber(log, "firstOffset", conversion.firstOffset());
  return Converted::kWithFaults;
}

}  // namespace dorvane::internal

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): used through an object
bool EncodingConvert::EncConvert(int fromCodePage, int toCodePage, const unsigned char* source,
                                 unsigned int n, DataBuffer& out, LogBase& log) {
  const std::string_view text(reinterpret_cast<const char*>(source), source == nullptr ? 0 : n);
  return convertText(fromCodePage, toCodePage, text, out, log) == Converted::kExactly;
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
