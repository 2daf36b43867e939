#ifndef DORVANE_TESTS_HARNESS_RADIXREFERENCE_H
#define DORVANE_TESTS_HARNESS_RADIXREFERENCE_H

#include <cstddef>
#include <set>
#include <string>
#include <string_view>

// Base64 and its kin told once more, bit by bit, for comparison.
namespace harness {

struct Radix {
  std::string symbols;
  unsigned int bitsPerSymbol;
  unsigned int symbolsPerGroup;
  bool eitherCase;
  bool padded;
};

inline Radix base64Radix() {
  return {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/", 6, 4, false, true};
}
inline Radix base64UrlRadix() {
  return {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_", 6, 4, false, true};
}
inline Radix base32Radix() { return {"ABCDEFGHIJKLMNOPQRSTUVWXYZ234567", 5, 8, true, true}; }
inline Radix hexRadix() { return {"0123456789ABCDEF", 4, 2, true, false}; }

// The bytes a text stands for and the offsets of what does not belong there.
struct Decoded {
  std::string bytes;
  std::set<std::size_t> misfits;
};

inline std::string bitsOf(std::size_t value, unsigned int count) {
  std::string bits;
  while (count-- > 0) bits += (value >> count & 1U) != 0 ? '1' : '0';
  return bits;
}

inline std::size_t valueOf(std::string_view bits) {
  std::size_t value = 0;
  for (const char bit : bits) value = value * 2 + (bit == '1' ? 1 : 0);
  return value;
}

inline std::string encoded(const Radix& radix, std::string_view data) {
  std::string bits;
  for (const char c : data) bits += bitsOf(static_cast<unsigned char>(c), 8);
  while (bits.size() % radix.bitsPerSymbol != 0) bits += '0';
  std::string text;
  for (std::size_t i = 0; i < bits.size(); i += radix.bitsPerSymbol)
    text += radix.symbols[valueOf(std::string_view(bits).substr(i, radix.bitsPerSymbol))];
  while (radix.padded && text.size() % radix.symbolsPerGroup != 0) text += '=';
  return text;
}

// The value of a symbol, or npos.
inline std::size_t symbolValue(const Radix& radix, char c) {
  if (radix.eitherCase && c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return c == '\0' ? std::string::npos : radix.symbols.find(c);
}

inline bool isWhiteSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

inline Decoded decoded(const Radix& radix, std::string_view text) {
  Decoded result;
  std::string bits;
  std::size_t symbols = 0;
  std::size_t lastSymbol = 0;
  const std::size_t end = radix.padded ? text.substr(0, text.find('=')).size() : text.size();
  for (std::size_t i = 0; i < end; ++i) {
    const std::size_t value = symbolValue(radix, text[i]);
    if (value == std::string::npos) {
      if (!isWhiteSpace(text[i])) result.misfits.insert(i);
      continue;
    }
    bits += bitsOf(value, radix.bitsPerSymbol);
    lastSymbol = i;
    ++symbols;
  }
  std::string_view left = bits;
  for (; left.size() >= 8; left.remove_prefix(8))
    result.bytes += static_cast<char>(valueOf(left.substr(0, 8)));
  if (left.size() >= radix.bitsPerSymbol || left.find('1') != std::string_view::npos)
    result.misfits.insert(lastSymbol);
  std::size_t pads =
      (radix.symbolsPerGroup - symbols % radix.symbolsPerGroup) % radix.symbolsPerGroup;
  for (std::size_t i = end; i < text.size(); ++i) {
    if (text[i] == '=' && pads > 0)
      --pads;
    else if (!isWhiteSpace(text[i]))
      result.misfits.insert(i);
  }
  return result;
}

}  // namespace harness

#endif
