#ifndef DORVANE_TEXT_INTERNAL_TEXTS_H
#define DORVANE_TEXT_INTERNAL_TEXTS_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"

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

/// Room in an empty temporary for what is made of a text of `size` bytes and copied from it in the
/// end, so that nobody sees its capacity. Most results fit in twice the size; what is left to add
/// grows as usual, also if the room cannot be had. A result that may belong inline gets none.
inline void makeRoomForTwice(StringBuffer& temporary, std::size_t size) {
  const BufferAccess room(temporary);
  if (size > room.longestWithoutGrowth()) room.makeRoom(2 * std::uint64_t{size});
}

}  // namespace dorvane::internal

#endif
