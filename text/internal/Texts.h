#ifndef DORVANE_TEXT_INTERNAL_TEXTS_H
#define DORVANE_TEXT_INTERNAL_TEXTS_H

#include <string_view>

#include "core/StringBuffer.h"

namespace dorvane::internal {

/// True for a null text, too.
inline bool isEmpty(const char* text) { return text == nullptr || *text == '\0'; }

/// Appends bytes that a buffer or a member's argument holds, as appendN() does.
inline bool appendTo(StringBuffer& out, std::string_view bytes) {
  return out.appendN(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

}  // namespace dorvane::internal

#endif
