#ifndef DORVANE_TEXT_INTERNAL_CHANGEBYTES_H
#define DORVANE_TEXT_INTERNAL_CHANGEBYTES_H

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

}  // namespace dorvane::internal

#endif
