#include "support/dvFormat.h"

#include <charconv>

namespace {

constexpr const char* kUpper = "0123456789ABCDEF";
constexpr const char* kLower = "0123456789abcdef";

// The low `width` digits.
unsigned int writeHex(unsigned int value, unsigned int width, const char* digits,
                      char* out) noexcept {
  for (unsigned int i = width; i-- > 0; value >>= 4U) out[i] = digits[value & 0xFU];
  out[width] = '\0';
  return width;
}

unsigned int hexWidth(unsigned int value) noexcept {
  unsigned int width = 1;
  while ((value >>= 4U) != 0) ++width;
  return width;
}

template <class Number>
unsigned int writeDecimal(Number value, unsigned int room, char* out) noexcept {
  char* const end = std::to_chars(out, out + room, value).ptr;
  *end = '\0';
  return static_cast<unsigned int>(end - out);
}

}  // namespace

unsigned int dv_02X(unsigned int value, char* out) noexcept {
  return writeHex(value, 2, kUpper, out);
}

unsigned int dv_02x(unsigned int value, char* out) noexcept {
  return writeHex(value, 2, kLower, out);
}

unsigned int dv_04X(unsigned int value, char* out) noexcept {
  return writeHex(value, 4, kUpper, out);
}

unsigned int dv_04x(unsigned int value, char* out) noexcept {
  return writeHex(value, 4, kLower, out);
}

unsigned int dv_08X(unsigned int value, char* out) noexcept {
  return writeHex(value, 8, kUpper, out);
}

unsigned int dv_08x(unsigned int value, char* out) noexcept {
  return writeHex(value, 8, kLower, out);
}

unsigned int dv_X(unsigned int value, char* out) noexcept {
  return writeHex(value, hexWidth(value), kUpper, out);
}

unsigned int dv_x(unsigned int value, char* out) noexcept {
  return writeHex(value, hexWidth(value), kLower, out);
}

unsigned int dv_int_to_str(int value, char* out) noexcept { return writeDecimal(value, 11, out); }

unsigned int dv_int64_to_str(long long value, char* out) noexcept {
  return writeDecimal(value, 20, out);
}
