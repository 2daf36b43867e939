#ifndef DORVANE_CORE_INTERNAL_LIMITS_H
#define DORVANE_CORE_INTERNAL_LIMITS_H

#include <cstdint>

// The tests build a copy of the library with a small limit, so that every overflow branch is
// reached without gigabytes of memory. The limit is no part of the headers a user includes.
#ifndef DORVANE_TEXT_MAX_CONTENT
#define DORVANE_TEXT_MAX_CONTENT 0xFFFFFFFEU
#endif

namespace dorvane::internal {

/// The longest content in bytes: its NUL and its block size still fit in 32 bits.
inline constexpr std::uint64_t kMaxContent = DORVANE_TEXT_MAX_CONTENT;

}  // namespace dorvane::internal

#endif
