#ifndef DORVANE_TEXT_INTERNAL_CHANGEBYTES_H
#define DORVANE_TEXT_INTERNAL_CHANGEBYTES_H

#include <algorithm>
#include <cstddef>

namespace dorvane::internal {

/// Replaces each of n bytes by what `rule` makes of it. Works in blocks of constant size, which
/// compilers turn into vector instructions.
template <class Rule>
void changeBytes(char* bytes, std::size_t n, Rule rule) {
  constexpr std::size_t kBlock = 32;
  const auto change = [rule](char& c) {
    c = static_cast<char>(rule(static_cast<unsigned char>(c)));
  };
  std::size_t i = 0;
  for (; i + kBlock <= n; i += kBlock)
    for (std::size_t k = 0; k < kBlock; ++k) change(bytes[i + k]);
  for (; i < n; ++i) change(bytes[i]);
}

/// Replaces a byte by another one in n bytes; returns how often it was there.
inline unsigned int replaceEvery(char* bytes, std::size_t n, char from, char to) {
  const auto count = std::count(bytes, bytes + n, from);
  if (count != 0)
    changeBytes(bytes, n, [from, to](unsigned char c) {
      return c == static_cast<unsigned char>(from) ? to : static_cast<char>(c);
    });
  return static_cast<unsigned int>(count);
}

}  // namespace dorvane::internal

#endif
