#include "support/dvParse.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <limits>
#include <string_view>
#include <system_error>

#include "support/ByteSet.h"
#include "support/internal/Ascii.h"

using dorvane::internal::ByteSet;
using dorvane::internal::hexDigitValue;

namespace {

constexpr ByteSet kBlanks = ByteSet::of(" \t\r\n");
constexpr ByteSet kDigits = ByteSet::range('0', '9');
constexpr ByteSet kDecimalBytes = kBlanks | kDigits | ByteSet::of("+-");
constexpr ByteSet kFloatBytes = kDecimalBytes | ByteSet::of(".eE");

// The start of a text that consists of bytes of a set: what a number can reach, so that a long
// text behind it is not measured. No set holds NUL.
std::string_view leading(const ByteSet& set, const char* text) noexcept {
  if (text == nullptr) return {};
  std::size_t n = 0;
  while (set.contains(text[n])) ++n;
  return {text, n};
}

void skip(const ByteSet& set, std::string_view& text) noexcept {
  text.remove_prefix(set.findFirstNotIn(text.data(), text.size()));
}

// Skips one sign; true when it is a minus.
bool skipSign(std::string_view& text) noexcept {
  if (text.empty() || (text.front() != '+' && text.front() != '-')) return false;
  const bool negative = text.front() == '-';
  text.remove_prefix(1);
  return negative;
}

// A decimal number as it was read; a magnitude that does not fit is the greatest.
struct Decimal {
  bool hasDigits = false;
  bool negative = false;
  bool fits = true;  // into the type that it was last converted to
  unsigned long long magnitude = 0;

  // The nearest number whose magnitude is at most `limit`, or one more when it is negative.
  long long toSigned(long long limit) noexcept {
    const auto most = static_cast<unsigned long long>(limit);
    fits = magnitude <= most + (negative ? 1U : 0U);
    if (!negative) return fits ? static_cast<long long>(magnitude) : limit;
    return magnitude <= most ? -static_cast<long long>(magnitude) : -limit - 1;
  }
};

// Reads the number at the start of the text and removes it.
Decimal readDecimal(std::string_view& text) noexcept {
  Decimal number;
  skip(kBlanks, text);
  number.negative = skipSign(text);
  const char* const first = text.data();
  const auto [end, error] = std::from_chars(first, first + text.size(), number.magnitude);
  if (error == std::errc::result_out_of_range)
    number.magnitude = std::numeric_limits<unsigned long long>::max();
  number.hasDigits = end != first;
  text.remove_prefix(static_cast<std::size_t>(end - first));
  return number;
}

unsigned int readHex(const char* text, std::size_t most) noexcept {
  unsigned int value = 0;
  for (std::size_t i = 0; i < most; ++i) {
    const int digit = hexDigitValue(static_cast<unsigned char>(text[i]));
    if (digit < 0) break;
    value = (value << 4U) | static_cast<unsigned int>(digit);
  }
  return value;
}

// For the text of a number whose value no double can hold: true when it is below 1. Its decimal
// exponent is, give or take one, the distance from its first digit other than 0 to the point,
// moved by the exponent that follows.
bool isBelowOne(std::string_view number) noexcept {
  const std::size_t mantissaSize = std::min(number.find_first_of("eE"), number.size());
  const std::string_view mantissa = number.substr(0, mantissaSize);
  const std::size_t point = std::min(mantissa.find('.'), mantissa.size());
  const std::size_t first = std::min(mantissa.find_first_not_of("0."), mantissa.size());
  const long long distance = static_cast<long long>(point) - static_cast<long long>(first);
  std::string_view exponent = number.substr(std::min(mantissaSize + 1, number.size()));
  constexpr long long kBeyondAnyText = std::numeric_limits<long long>::max() / 2;
  return readDecimal(exponent).toSigned(kBeyondAnyText) + distance < 0;
}

}  // namespace

int dvIntValue(const char* text) noexcept {
  std::string_view bytes = leading(kDecimalBytes, text);
  return static_cast<int>(readDecimal(bytes).toSigned(std::numeric_limits<int>::max()));
}

unsigned int dvUIntValue(const char* text) noexcept {
  constexpr unsigned long long kMost = std::numeric_limits<unsigned int>::max();
  std::string_view bytes = leading(kDecimalBytes, text);
  const Decimal number = readDecimal(bytes);
  return number.negative ? 0 : static_cast<unsigned int>(std::min(number.magnitude, kMost));
}

bool dvParseDecimalInt64(const char* first, const char* last, long long& out) noexcept {
  out = 0;
  if (first == nullptr || last == nullptr || last < first) return false;
  std::string_view bytes(first, static_cast<std::size_t>(last - first) + 1);
  Decimal number = readDecimal(bytes);
  out = number.toSigned(std::numeric_limits<long long>::max());
  skip(kBlanks, bytes);
  return number.hasDigits && number.fits && bytes.empty();
}

unsigned int dv_valHex(const char* text) noexcept {
  return dv_valHexN(text, std::numeric_limits<unsigned int>::max());
}

unsigned int dv_valHexN(const char* text, unsigned int n) noexcept {
  return text == nullptr ? 0 : readHex(text, n);
}

double dv_atof(const char* text) noexcept {
  std::string_view bytes = leading(kFloatBytes, text);
  skip(kBlanks, bytes);
  const bool negative = skipSign(bytes);
  if (bytes.empty() || bytes.front() == '-') return 0;
  double value = 0;
  const char* const first = bytes.data();
  const auto [end, error] = std::from_chars(first, first + bytes.size(), value);
  if (end == first) return 0;
  if (error == std::errc::result_out_of_range) {
    const auto size = static_cast<std::size_t>(end - first);
    value = isBelowOne(bytes.substr(0, size)) ? 0 : std::numeric_limits<double>::infinity();
  }
  return negative ? -value : value;
}
