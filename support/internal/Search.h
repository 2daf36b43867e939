#ifndef DORVANE_SUPPORT_INTERNAL_SEARCH_H
#define DORVANE_SUPPORT_INTERNAL_SEARCH_H

#include <string_view>

namespace dorvane::internal {

/// The first occurrence of `needle` in `hay`, or null. An empty needle occurs at the start.
/// The cost is linear in the distance to the match and in the needle, whatever the bytes are;
/// nothing is allocated. Embedded NULs are bytes like others.
const char* findBytes(std::string_view hay, std::string_view needle) noexcept;

/// As findBytes(), ASCII letters matched without regard to case.
const char* findBytesNoCase(std::string_view hay, std::string_view needle) noexcept;

/// Either of the two.
using FindInText = const char*(std::string_view hay, std::string_view needle) noexcept;

}  // namespace dorvane::internal

#endif
