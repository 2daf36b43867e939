#ifndef DORVANE_SUPPORT_INTERNAL_CONTENTOF_H
#define DORVANE_SUPPORT_INTERNAL_CONTENTOF_H

#include <string_view>

#include "core/StringBuffer.h"

namespace dorvane::internal {

/// The content of a buffer, for types that see it from outside. A buffer whose block was released
/// keeps its length until it is emptied; it counts as empty here.
inline std::string_view contentOf(const StringBuffer& text) noexcept {
  const bool holdsItsLength = text.pCharAt(text.getSize()) != nullptr;
  return {text.getString(), holdsItsLength ? text.getSize() : 0};
}

}  // namespace dorvane::internal

#endif
