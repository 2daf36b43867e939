// Scanners for hand-written parsers: the longest run of a class of bytes at the start of a text.
// Tested in tests/text/ScannersTest.cpp.

#include <algorithm>
#include <limits>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "support/internal/ByteClasses.h"
#include "text/internal/StableText.h"

using dorvane::internal::BufferAccess;
using dorvane::internal::ByteSet;
using dorvane::internal::kDigits;
using dorvane::internal::kHexDigits;
using dorvane::internal::kLetters;
using dorvane::internal::kLettersAndDigits;
using dorvane::internal::kLineEndings;
using dorvane::internal::kWhiteSpace;
using dorvane::internal::StableText;

namespace {

constexpr std::size_t kLineBlock = 256;

// None of the classes holds NUL, at which every text ends.
constexpr ByteSet kNonWhiteSpace = ~(kWhiteSpace | ByteSet::range(0, 0));
constexpr ByteSet kIdentifierBytes = kLettersAndDigits | ByteSet::of("_");
constexpr ByteSet kLineBytes = ~(kLineEndings | ByteSet::range(0, 0));
static_assert(kNonWhiteSpace.size() == 251 && kIdentifierBytes.size() == 63);

// The bytes of the class at the start of a NUL-terminated text.
std::string_view runOf(const ByteSet& set, const char* text) {
  std::size_t n = 0;
  if (text != nullptr)
    while (set.contains(text[n])) ++n;
  return {text, n};
}

unsigned int asCount(std::size_t n) {
  return static_cast<unsigned int>(
      std::min<std::size_t>(n, std::numeric_limits<unsigned int>::max()));
}

// Appends the run of the class at the start of a text; returns its length.
unsigned int capture(StringBuffer& buffer, const ByteSet& set, const char* text) {
  const std::string_view run = runOf(set, text);
  if (!run.empty()) BufferAccess(buffer).append(run);
  return asCount(run.size());
}

}  // namespace

unsigned int StringBuffer::captureDecimal(const char* text) {
  return capture(*this, kDigits, text);
}

unsigned int StringBuffer::captureHex(const char* text) { return capture(*this, kHexDigits, text); }

unsigned int StringBuffer::captureWS(const char* text) { return capture(*this, kWhiteSpace, text); }

unsigned int StringBuffer::captureNonWS(const char* text) {
  return capture(*this, kNonWhiteSpace, text);
}

unsigned int StringBuffer::captureIdentifier(const char* text) {
  return capture(*this, kIdentifierBytes, text);
}

unsigned int StringBuffer::captureAlpha(const char* text) { return capture(*this, kLetters, text); }

unsigned int StringBuffer::captureAlphaNum(const char* text) {
  return capture(*this, kLettersAndDigits, text);
}

unsigned int StringBuffer::captureLine(const char* text, bool trim, bool toLower) {
  const std::string_view run = runOf(kLineBytes, text);
  const StableText line(run.data(), run.size(), *this);
  const BufferAccess self(*this);
  clear();
  if (!line.ok()) return 0;
  self.reserve(run.size());
  for (std::string_view rest = line.view(); !rest.empty();) {
    const std::string_view block = rest.substr(0, kLineBlock);
    if (!self.append(block)) return 0;
    rest.remove_prefix(block.size());
  }
  if (trim) trim2();
  if (toLower) toLowerCase();
  return asCount(run.size());
}
