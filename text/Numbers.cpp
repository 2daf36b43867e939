// Numbers read from the text. Tested in tests/text/NumbersTest.cpp.

#include <algorithm>
#include <limits>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "support/dvParse.h"
#include "support/internal/Ascii.h"
#include "support/internal/ByteClasses.h"

using dorvane::internal::BufferAccess;
using dorvane::internal::hexDigitValue;
using dorvane::internal::kHexDigits;

// The shorter readers read the same number and bring it into their range.

int StringBuffer::intValue() const noexcept {
  using Limits = std::numeric_limits<int>;
  return static_cast<int>(std::clamp<long long>(int64Value(), Limits::min(), Limits::max()));
}

unsigned int StringBuffer::uintValue() const noexcept {
  using Limits = std::numeric_limits<unsigned int>;
  return static_cast<unsigned int>(std::clamp<long long>(int64Value(), 0, Limits::max()));
}

long long StringBuffer::int64Value() const noexcept {
  const std::string_view all = BufferAccess(*this).content();
  long long value = 0;
  if (!all.empty()) dvParseDecimalInt64(all.data(), &all.back(), value);
  return value;
}

long long StringBuffer::toInt64() const noexcept { return int64Value(); }

double StringBuffer::doubleValue() const noexcept {
  return getSize() == 0 ? 0.0 : BufferAccess(*this).withTerminatedText(dv_atof);
}

unsigned int StringBuffer::hexValueUint32(const char* text) noexcept {
  unsigned int value = 0;
  if (text == nullptr) return value;
  for (; *text != '\0'; ++text) {
    // Deliberate: the byte that ends the digits multiplies, too.
    value *= 16;
    const int digit = hexDigitValue(static_cast<unsigned char>(*text));
    if (digit < 0) break;
    value += static_cast<unsigned int>(digit);
  }
  return value;
}

bool StringBuffer::isHexidecimal() const noexcept {
  const std::string_view all = BufferAccess(*this).content();
  return kHexDigits.findFirstNotIn(all.data(), all.size()) == all.size();
}
