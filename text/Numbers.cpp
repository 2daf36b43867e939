// Numbers read from the text. Tested in tests/text/NumbersTest.cpp.

#include <algorithm>
#include <limits>

#include "core/StringBuffer.h"
#include "support/dvParse.h"
#include "support/internal/Ascii.h"
#include "text/internal/ByteClasses.h"

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
  long long value = 0;
  if (const unsigned int n = contentSize()) dvParseDecimalInt64(m_data, m_data + n - 1, value);
  return value;
}

long long StringBuffer::toInt64() const noexcept { return int64Value(); }

double StringBuffer::doubleValue() const noexcept {
  return m_length == 0 ? 0.0 : withTerminatedText(dv_atof);
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
  const unsigned int n = contentSize();
  return kHexDigits.findFirstNotIn(m_data, n) == n;
}
