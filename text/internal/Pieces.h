#ifndef DORVANE_TEXT_INTERNAL_PIECES_H
#define DORVANE_TEXT_INTERNAL_PIECES_H

#include <cstddef>
#include <string_view>

#include "support/ByteSet.h"

class ExtPtrArray;

namespace dorvane::internal {

/// Finds the end of the piece that a text begins with: the index of the first delimiter that is
/// neither between double quotes nor escaped by a backslash, or the size of the text. A piece
/// starts outside quotes with no escape pending, so each can be searched on its own.
class EndOutsideQuotes {
 public:
  EndOutsideQuotes(const ByteSet& delimiters, bool honourQuotes, bool honourEscapes) noexcept;
  std::size_t operator()(std::string_view text) const;

 private:
  bool m_honourQuotes;
  bool m_honourEscapes;
  ByteSet m_outside;
  ByteSet m_inside;
};

/// Pieces and tokens grow in blocks of this size: the steps show in their heapUsage() and
/// getExtendSize().
inline constexpr std::size_t kPieceBlock = 255;

enum class PieceStorage { kMinimized, kAsGrown };

/// Appends a new buffer with the piece, grown in blocks of the given size, to the array. The
/// array's slot is reserved first, so that a piece is never made and then lost. False when memory
/// is exhausted; a block for which only the piece cannot grow is left out of it.
bool addPiece(ExtPtrArray& out, std::string_view piece, std::size_t blockSize,
              PieceStorage storage);

}  // namespace dorvane::internal

#endif
