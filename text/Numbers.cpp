// Numbers read from the text. Tested in tests/text/NumbersTest.cpp.

#include "core/StringBuffer.h"
#include "support/dvParse.h"
#include "support/internal/Ascii.h"
#include "text/internal/ByteClasses.h"

using dorvane::internal::hexDigitValue;
using dorvane::internal::kHexDigits;

int StringBuffer::intValue() const noexcept { return m_length == 0 ? 0 : dvIntValue(m_data); }

unsigned int StringBuffer::uintValue() const noexcept {
  return m_length == 0 ? 0 : dvUIntValue(m_data);
}

long long StringBuffer::int64Value() const noexcept {
  long long value = 0;
  if (const unsigned int n = contentSize()) dvParseDecimalInt64(m_data, m_data + n - 1, value);
  return value;
}

long long StringBuffer::toInt64() const noexcept { return int64Value(); }

double StringBuffer::doubleValue() const noexcept { return m_length == 0 ? 0.0 : dv_atof(m_data); }

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
