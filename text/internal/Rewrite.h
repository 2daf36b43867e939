#ifndef DORVANE_TEXT_INTERNAL_REWRITE_H
#define DORVANE_TEXT_INTERNAL_REWRITE_H

#include <cstdint>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "core/internal/Scratch.h"

// A result that is made of pieces is measured before it is made, so that it needs one block and is
// copied once. `writePieces(put)` hands the pieces to put(piece) in order; it is called twice, and
// does the same both times. The pieces may lie in the buffer that they are to replace.
namespace dorvane::internal {

/// Size of all pieces.
template <class WritePieces>
std::uint64_t sizeOfPieces(const WritePieces& writePieces) {
  std::uint64_t total = 0;
  writePieces([&total](std::string_view piece) { total += piece.size(); });
  return total;
}

/// Replaces a content by pieces of the given size, stored as by clear() and one appendN(). False,
/// with nothing changed, if the buffer cannot grow.
template <class WritePieces>
bool rewrite(StringBuffer& buffer, std::uint64_t size, const WritePieces& writePieces) {
  Scratch out(buffer);
  const BufferAccess room(out);
  if (!room.makeRoom(size)) return false;
  writePieces([&room](std::string_view piece) { room.append(piece); });
  room.dropTrailingNuls();
  buffer.takeSb(out);
  return true;
}

}  // namespace dorvane::internal

#endif
