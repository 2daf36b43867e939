#ifndef DORVANE_SUPPORT_INTERNAL_ADDRESSRANGE_H
#define DORVANE_SUPPORT_INTERNAL_ADDRESSRANGE_H

#include <cstddef>
#include <functional>

namespace dorvane::internal {

/// True when `p` points at one of the `size` bytes at `block`. Addresses of different objects
/// compare as std::less orders them, which the operators need not do.
inline bool pointsInto(const void* p, const void* block, std::size_t size) noexcept {
  const std::less<> isBefore;
  const auto* const address = static_cast<const char*>(p);
  const auto* const first = static_cast<const char*>(block);
  return !isBefore(address, first) && isBefore(address, first + size);
}

}  // namespace dorvane::internal

#endif
