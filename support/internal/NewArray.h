#ifndef DORVANE_SUPPORT_INTERNAL_NEWARRAY_H
#define DORVANE_SUPPORT_INTERNAL_NEWARRAY_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>

namespace dorvane::internal {

/// A new array of `n` elements, released with `delete[]`; null when memory is exhausted or the
/// array is larger than any object can be. Such a size must not reach the new-expression: some
/// compilers let it throw in spite of std::nothrow.
template <class T>
T* newArray(std::uint64_t n) noexcept {
  constexpr std::uint64_t kMostBytes = std::numeric_limits<std::ptrdiff_t>::max();
  if (n > kMostBytes / sizeof(T)) return nullptr;
  return new (std::nothrow) T[static_cast<std::size_t>(n)];
}

}  // namespace dorvane::internal

#endif
