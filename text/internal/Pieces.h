#ifndef DORVANE_TEXT_INTERNAL_PIECES_H
#define DORVANE_TEXT_INTERNAL_PIECES_H

#include <cstddef>
#include <limits>
#include <string_view>

#include "core/internal/PieceMaker.h"
#include "support/ByteSet.h"
#include "support/ExtPtrArray.h"
#include "support/internal/FewBytes.h"

namespace dorvane::internal {

/// Finds the end of the piece that a text begins with: the index of the first delimiter that is
/// neither between double quotes nor escaped by a backslash, or the size of the text. A piece
/// starts outside quotes with no escape pending, so each can be searched on its own.
template <class Set>
class EndOutsideQuotes {
 public:
  /// `outside` holds the delimiters and, where they are honoured, the double quote and the
  /// backslash; `inside` only the last two. Without quotes, `inside` does not matter.
  EndOutsideQuotes(const Set& outside, const Set& inside, bool honourQuotes, bool honourEscapes)
      : m_outside(outside),
        m_inside(inside),
        m_honourQuotes(honourQuotes),
        m_honourEscapes(honourEscapes) {}

  std::size_t operator()(std::string_view text) const {
    const Set* stops = &m_outside;
    for (std::size_t i = 0; i < text.size();) {
      i += stops->findFirstIn(text.data() + i, text.size() - i);
      if (i >= text.size()) break;
      if (m_honourEscapes && text[i] == '\\') {
        i += 2;
      } else if (m_honourQuotes && text[i] == '"') {
        stops = stops == &m_outside ? &m_inside : &m_outside;
        ++i;
      } else {
        return i;
      }
    }
    return text.size();
  }

 private:
  Set m_outside;
  Set m_inside;
  bool m_honourQuotes;
  bool m_honourEscapes;
};

/// The end of a piece for one delimiter.
EndOutsideQuotes<FewBytes> endAtByte(char delimiter, bool honourQuotes, bool honourEscapes);

/// The end of a piece for any delimiter of a set.
EndOutsideQuotes<ByteSet> endAtAnyOf(const ByteSet& delimiters, bool honourQuotes,
                                     bool honourEscapes);

/// A list of pieces of one text, in their order, at the end of an array. From the pieces so far and
/// the text that is left it estimates how many are to come, so that the array and the chunks of the
/// pieces get about the size that they need.
class PieceList {
 public:
  /// At most `most` pieces will be made.
  PieceList(ExtPtrArray& out, std::string_view text, bool isSecret,
            std::size_t most = std::numeric_limits<std::size_t>::max())
      : m_out(out), m_text(text), m_isSecret(isSecret), m_most(most) {}

  /// Whether the text is a secret.
  bool isSecret() const { return m_isSecret; }

  /// True if the text is short enough for make() to fill the buffer with it.
  static bool isShort(std::string_view piece) { return piece.size() <= Piece::kLongestText; }

  /// A new buffer for a piece of the text. It holds the piece if that is short, and is empty
  /// otherwise. The array has a place for it, so that a piece is never made and then lost. Null
  /// when memory is exhausted.
  StringBuffer* make(std::string_view piece);

  /// Adds what make() has made to the array.
  bool add(StringBuffer* piece) { return m_out.appendPtr(piece); }

 private:
  std::size_t expected(std::string_view piece) const;
  bool reservePlaces(std::size_t count);
  bool prepare(std::string_view piece);

  ExtPtrArray& m_out;
  std::string_view m_text;
  bool m_isSecret;
  std::size_t m_most;
  PieceMaker m_maker;
  std::size_t m_made = 0;
  std::size_t m_places = 0;  // in the array, that are reserved
};

/// Pieces and tokens grow in blocks of this size: the steps show in their heapUsage() and
/// getExtendSize().
inline constexpr std::size_t kPieceBlock = 255;

enum class PieceStorage { kMinimized, kAsGrown };

/// Appends a new buffer with the piece, grown in blocks of the given size, to the list. False when
/// memory is exhausted; a block for which only the piece cannot grow is left out of it. What the
/// piece of a secret outgrows, or gives back, is wiped; the piece itself is an ordinary buffer.
bool addPiece(PieceList& out, std::string_view piece, std::size_t blockSize, PieceStorage storage);

}  // namespace dorvane::internal

#endif
