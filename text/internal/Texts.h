#ifndef DORVANE_TEXT_INTERNAL_TEXTS_H
#define DORVANE_TEXT_INTERNAL_TEXTS_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "core/internal/Limits.h"

namespace dorvane::internal {

/// True for a null text, too.
inline bool isEmpty(const char* text) { return text == nullptr || *text == '\0'; }

/// Appends bytes as appendN() does; more than a buffer can hold are a failed growth.
inline bool appendTo(StringBuffer& out, std::string_view bytes) {
  return bytes.size() <= std::numeric_limits<unsigned int>::max() &&
         out.appendN(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

/// Empties an output parameter: its block serves the next call, unless it holds a secret.
inline void emptyForOutput(StringBuffer& out) {
  if (BufferAccess(out).isSecure())
    out.clear();
  else
    out.weakClear();
}

/// Holds memory for `n` more bytes, which are appended piece by piece, if the growth rule would
/// take several steps for them.
inline void reserveMore(StringBuffer& out, std::uint64_t n) {
  if (n > out.getExtendSize()) BufferAccess(out).reserve(out.getSize() + n);
}

/// For a temporary whose content becomes at most a few times as long as its source: the ordinary
/// slack, which ends at 500000 bytes, would take a number of steps that grows with the content. Not
/// for one whose storage is handed over: callers would see the steps.
inline void growInLargeSteps(StringBuffer& temporary, std::size_t sourceSize) {
  // No more than a part of the longest content: a slack that does not fit there is left out, and
  // then every piece takes a new block.
  const auto slack = std::min<std::uint64_t>(sourceSize, kMaxContent / 16);
  temporary.setExtendSize(std::max(temporary.getExtendSize(), static_cast<unsigned int>(slack)));
}

}  // namespace dorvane::internal

#endif
