#ifndef DORVANE_SUPPORT_BYTESET_H
#define DORVANE_SUPPORT_BYTESET_H

#include <cstddef>
#include <string_view>

namespace dorvane::internal {

/// A set of byte values, composed at compile time and tested by one table look-up:
///
///     constexpr ByteSet kName = ByteSet::range('a', 'z') | ByteSet::of("-_");
///     static_assert(kName.size() == 28);
class ByteSet {
 public:
  /// The empty set.
  constexpr ByteSet() noexcept = default;

  /// The bytes of a text; embedded NULs belong to it.
  static constexpr ByteSet of(std::string_view bytes) noexcept {
    ByteSet set;
    for (const char c : bytes) set.m_in[static_cast<unsigned char>(c)] = true;
    return set;
  }

  /// The bytes from `first` to `last`, both inclusive.
  static constexpr ByteSet range(unsigned char first, unsigned char last) noexcept {
    ByteSet set;
    for (unsigned int c = first; c <= last; ++c) set.m_in[c] = true;
    return set;
  }

  /// Adds one byte.
  constexpr void add(char c) noexcept { m_in[static_cast<unsigned char>(c)] = true; }

  /// Union.
  friend constexpr ByteSet operator|(const ByteSet& a, const ByteSet& b) noexcept {
    ByteSet set;
    for (unsigned int c = 0; c < kByteValues; ++c) set.m_in[c] = a.m_in[c] || b.m_in[c];
    return set;
  }

  /// Intersection.
  friend constexpr ByteSet operator&(const ByteSet& a, const ByteSet& b) noexcept {
    ByteSet set;
    for (unsigned int c = 0; c < kByteValues; ++c) set.m_in[c] = a.m_in[c] && b.m_in[c];
    return set;
  }

  /// Complement.
  constexpr ByteSet operator~() const noexcept {
    ByteSet set;
    for (unsigned int c = 0; c < kByteValues; ++c) set.m_in[c] = !m_in[c];
    return set;
  }

  constexpr bool contains(unsigned char c) const noexcept { return m_in[c]; }
  constexpr bool contains(char c) const noexcept { return m_in[static_cast<unsigned char>(c)]; }

  /// Number of byte values in the set.
  constexpr unsigned int size() const noexcept {
    unsigned int n = 0;
    for (const bool in : m_in) n += in ? 1U : 0U;
    return n;
  }

  /// Index of the first of the `n` bytes at `p` that belongs to the set; `n` when none does.
  std::size_t findFirstIn(const char* p, std::size_t n) const noexcept { return scan<true>(p, n); }

  /// Index of the first of the `n` bytes at `p` that does not belong to the set; `n` when all do.
  std::size_t findFirstNotIn(const char* p, std::size_t n) const noexcept {
    return scan<false>(p, n);
  }

 private:
  static constexpr unsigned int kByteValues = 256;

  template <bool kWanted>
  std::size_t scan(const char* p, std::size_t n) const noexcept {
    std::size_t i = 0;
    for (; i + 4 <= n; i += 4) {
      if (contains(p[i]) == kWanted) return i;
      if (contains(p[i + 1]) == kWanted) return i + 1;
      if (contains(p[i + 2]) == kWanted) return i + 2;
      if (contains(p[i + 3]) == kWanted) return i + 3;
    }
    while (i < n && contains(p[i]) != kWanted) ++i;
    return i;
  }

  bool m_in[kByteValues] = {};
};

}  // namespace dorvane::internal

#endif
