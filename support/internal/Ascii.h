#ifndef DORVANE_SUPPORT_INTERNAL_ASCII_H
#define DORVANE_SUPPORT_INTERNAL_ASCII_H

#include <cstddef>
#include <string_view>

// Character rules of the ASCII range. None depends on the locale; every byte of 0x80 and above
// is left alone.
namespace dorvane::internal {

constexpr unsigned char asciiLower(unsigned char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c | 0x20U) : c;
}

constexpr unsigned char asciiUpper(unsigned char c) noexcept {
  return c >= 'a' && c <= 'z' ? static_cast<unsigned char>(c & ~0x20U) : c;
}

constexpr bool isAsciiLetter(unsigned char c) noexcept {
  return asciiLower(c) >= 'a' && asciiLower(c) <= 'z';
}

constexpr bool isAsciiDigit(unsigned char c) noexcept { return c >= '0' && c <= '9'; }

/// True when no byte has its high bit set. Looks at whole blocks, which compilers turn into vector
/// instructions.
inline bool isAscii(std::string_view bytes) noexcept {
  constexpr std::size_t kBlock = 256;
  while (!bytes.empty()) {
    const std::string_view block = bytes.substr(0, kBlock);
    unsigned char all = 0;
    for (const char c : block)
      all = static_cast<unsigned char>(all | static_cast<unsigned char>(c));
    if (all >= 0x80) return false;
    bytes.remove_prefix(block.size());
  }
  return true;
}

/// Space, TAB, CR or LF.
constexpr bool isBlank(unsigned char c) noexcept {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

/// Value of a hexadecimal digit of either case, or -1.
constexpr int hexDigitValue(unsigned char c) noexcept {
  if (isAsciiDigit(c)) return c - '0';
  const unsigned char lower = asciiLower(c);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

}  // namespace dorvane::internal

#endif
