#ifndef DORVANE_TESTS_HARNESS_OBFUSCATEREFERENCE_H
#define DORVANE_TESTS_HARNESS_OBFUSCATEREFERENCE_H

#include <numeric>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/_dvMd5.h"
#include "support/dvPlatform.h"

// Scrambling, told plainly. The digest is the library's own; the generated vectors check it.
namespace harness::reference {

inline std::vector<unsigned int> permutationOf(std::string_view text) {
  const std::size_t n = text.size();
  unsigned long long sum = 0;
  for (const char c : text) sum += static_cast<unsigned char>(c);
  unsigned long long seed = sum * n;
  unsigned char bytes[8];
  for (int i = 0; i < 8; ++i, seed >>= 8)
    bytes[dvIsBigEndian() ? 7 - i : i] = static_cast<unsigned char>(seed & 0xFF);
  unsigned char digest[16];
  _dvMd5().digestBytes(bytes, 8, digest);
  std::vector<unsigned int> p(n);
  std::iota(p.begin(), p.end(), 0U);
  std::size_t j = 0;
  for (std::size_t i = 0; i < n; ++i) {
    j = (j + p[i] + digest[i % 16]) % n;
    std::swap(p[i], p[j]);
  }
  return p;
}

inline std::string scrambled(std::string text) {
  if (text.size() < 2) return text;
  const std::vector<unsigned int> p = permutationOf(text);
  for (std::size_t i = 0; i < text.size(); ++i) std::swap(text[i], text[p[i]]);
  return text;
}

inline std::string unscrambled(std::string text) {
  if (text.size() < 2) return text;
  const std::vector<unsigned int> p = permutationOf(text);
  for (std::size_t i = text.size(); i-- > 0;) std::swap(text[i], text[p[i]]);
  return text;
}

// Base64 with padding and without line breaks, bit by bit.
inline std::string base64Of(std::string_view bytes) {
  static constexpr char kAlphabet[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  unsigned int bits = 0;
  int held = 0;
  for (const char c : bytes) {
    bits = (bits << 8 | static_cast<unsigned char>(c)) & 0xFFFF;
    for (held += 8; held >= 6; held -= 6) out += kAlphabet[bits >> (held - 6) & 63];
  }
  if (held > 0) out += kAlphabet[bits << (6 - held) & 63];
  while (out.size() % 4 != 0) out += '=';
  return out;
}

inline std::string obfuscated(std::string_view text) { return scrambled(base64Of(text)); }

}  // namespace harness::reference

#endif
