#ifndef DORVANE_SUPPORT_INTERNAL_PREFETCH_H
#define DORVANE_SUPPORT_INTERNAL_PREFETCH_H

#include <cstddef>
#include <cstdint>

namespace dorvane::internal {

/// How many objects ahead of the one in work are worth fetching, in a loop over objects of the size
/// of a buffer.
inline constexpr int kPrefetchDistance = 8;

/// Asks for the `kSize` bytes at `p` to be brought into the cache, to be written soon. Any address
/// will do: one that cannot be read has no effect.
template <std::size_t kSize>
inline void prefetchForWriting(const void* p) noexcept {
#if defined(__GNUC__)
  constexpr std::size_t kCacheLine = 64;
  const auto first = reinterpret_cast<std::uintptr_t>(p);
  for (std::size_t at = 0; at < kSize; at += kCacheLine)
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the address of no object, perhaps
    __builtin_prefetch(reinterpret_cast<const char*>(first + at), 1);
#else
  static_cast<void>(p);
#endif
}

}  // namespace dorvane::internal

#endif
