#ifndef DORVANE_SUPPORT_INTERNAL_SEARCH_H
#define DORVANE_SUPPORT_INTERNAL_SEARCH_H

#include <cstddef>
#include <string_view>

namespace dorvane::internal {

/// The first occurrence of `needle` in `hay`, or null. An empty needle occurs at the start.
/// The cost is linear in the distance to the match and in the needle, whatever the bytes are;
/// nothing is allocated. Embedded NULs are bytes like others.
const char* findBytes(std::string_view hay, std::string_view needle) noexcept;

/// As findBytes(), ASCII letters matched without regard to case.
const char* findBytesNoCase(std::string_view hay, std::string_view needle) noexcept;

/// The offset of what findBytes() finds; npos if there is nothing.
inline std::size_t findOffset(std::string_view text, std::string_view needle) noexcept {
  const char* const match = findBytes(text, needle);
  return match == nullptr ? std::string_view::npos : static_cast<std::size_t>(match - text.data());
}

/// The offset of what findBytesNoCase() finds; npos if there is nothing.
inline std::size_t findOffsetNoCase(std::string_view text, std::string_view needle) noexcept {
  const char* const match = findBytesNoCase(text, needle);
  return match == nullptr ? std::string_view::npos : static_cast<std::size_t>(match - text.data());
}

/// Either of the two that return offsets.
using FindInText = std::size_t(std::string_view text, std::string_view needle) noexcept;

}  // namespace dorvane::internal

#endif
