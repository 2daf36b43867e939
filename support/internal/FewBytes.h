#ifndef DORVANE_SUPPORT_INTERNAL_FEWBYTES_H
#define DORVANE_SUPPORT_INTERNAL_FEWBYTES_H

#include <cstddef>
#include <string_view>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace dorvane::internal {

/// A set of one to `kMost` byte values, found 16 bytes at a time where the processor can. Use it
/// instead of a ByteSet where long runs without a member are common.
template <std::size_t kMost>
class FewBytesOf {
 public:
  /// The first `kMost` bytes of `bytes`, which is not empty.
  explicit constexpr FewBytesOf(std::string_view bytes) noexcept {
    for (std::size_t i = 0; i < kMost; ++i) m_bytes[i] = bytes[i < bytes.size() ? i : 0];
  }

  constexpr bool contains(char c) const noexcept {
    bool found = false;
    for (const char byte : m_bytes) found = found || c == byte;
    return found;
  }

  /// Index of the first of the `n` bytes at `p` that belongs to the set; `n` when none does.
  std::size_t findFirstIn(const char* p, std::size_t n) const noexcept {
    std::size_t i = 0;
#if defined(__SSE2__)
    for (; i + kBlock <= n; i += kBlock)
      if (const unsigned int hits = hitsIn(p + i))
        return i + static_cast<std::size_t>(__builtin_ctz(hits));
#endif
    while (i < n && !contains(p[i])) ++i;
    return i;
  }

 private:
#if defined(__SSE2__)
  static constexpr std::size_t kBlock = 16;

  // A bit for each of the 16 bytes at `p` that belongs to the set.
  unsigned int hitsIn(const char* p) const noexcept {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    __m128i hits = _mm_cmpeq_epi8(bytes, _mm_set1_epi8(m_bytes[0]));
    for (std::size_t i = 1; i < kMost; ++i)
      hits = _mm_or_si128(hits, _mm_cmpeq_epi8(bytes, _mm_set1_epi8(m_bytes[i])));
    return static_cast<unsigned int>(_mm_movemask_epi8(hits));
  }
#endif

  char m_bytes[kMost] = {};
};

using FewBytes = FewBytesOf<4>;

}  // namespace dorvane::internal

#endif
