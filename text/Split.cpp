// Splitting a text into lists of new buffers. Every piece is a run of the text, quotes and escapes
// included, so the cutters only look for the ends of the pieces. Tested in tests/text/SplitTest.cpp
// against the byte-by-byte form.

#include <algorithm>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "support/ByteSet.h"
#include "support/ExtPtrArraySb.h"
#include "support/internal/ByteClasses.h"
#include "support/internal/FewBytes.h"
#include "support/internal/Search.h"
#include "text/internal/Pieces.h"

using dorvane::internal::addPiece;
using dorvane::internal::BufferAccess;
using dorvane::internal::ByteSet;
using dorvane::internal::endAtAnyOf;
using dorvane::internal::endAtByte;
using dorvane::internal::FewBytes;
using dorvane::internal::findBytes;
using dorvane::internal::kLineEndings;
using dorvane::internal::kPieceBlock;
using dorvane::internal::PieceList;
using dorvane::internal::PieceStorage;

namespace {

constexpr FewBytes kLineEndBytes("\r\n");

// Each of these finds the end of the piece that a text begins with: the index of the first
// delimiter that counts, or the size of the text.

struct EndAtByte {
  std::size_t operator()(std::string_view text) const {
    return std::min(text.find(delimiter), text.size());
  }
  char delimiter;
};

struct EndAtLine {
  std::size_t operator()(std::string_view text) const {
    return kLineEndBytes.findFirstIn(text.data(), text.size());
  }
};

// Size of the delimiter that `rest` begins with.
struct OneByte {
  std::size_t operator()(std::string_view) const { return 1; }
};
// A CR LF pair is one line ending.
struct LineEnding {
  std::size_t operator()(std::string_view rest) const {
    return rest.size() > 1 && rest[0] == '\r' && rest[1] == '\n' ? 2 : 1;
  }
};

template <class FindEnd, class DelimiterSize>
bool addPieces(ExtPtrArraySb& out, const StringBuffer& source, const FindEnd& findEnd,
               const DelimiterSize& delimiterSize, PieceStorage storage) {
  std::string_view text = BufferAccess(source).text();
  PieceList list(out, text, BufferAccess(source).isSecure());
  for (;;) {
    const std::size_t end = findEnd(text);
    if (!addPiece(list, text.substr(0, end), kPieceBlock, storage)) return false;
    if (end == text.size()) return true;
    text.remove_prefix(end);
    text.remove_prefix(delimiterSize(text));
  }
}

}  // namespace

bool StringBuffer::split(ExtPtrArraySb& out, char delimiter, bool honourQuotes,
                         bool honourEscapes) const {
  if (getSize() == 0) return true;
  if (!honourQuotes && !honourEscapes)
    return addPieces(out, *this, EndAtByte{delimiter}, OneByte(), PieceStorage::kMinimized);
  return addPieces(out, *this, endAtByte(delimiter, honourQuotes, honourEscapes), OneByte(),
                   PieceStorage::kMinimized);
}

bool StringBuffer::split2(ExtPtrArraySb& out, const char* delimiters, bool honourQuotes,
                          bool honourEscapes) const {
  if (getSize() == 0) return true;
  const ByteSet set = ByteSet::of(delimiters == nullptr ? "" : delimiters);
  return addPieces(out, *this, endAtAnyOf(set, honourQuotes, honourEscapes), OneByte(),
                   PieceStorage::kAsGrown);
}

bool StringBuffer::splitAndTrim(ExtPtrArraySb& out, char delimiter, bool honourQuotes,
                                bool honourEscapes) const {
  if (!split(out, delimiter, honourQuotes, honourEscapes)) return false;
  for (int i = 0; i < out.getSize(); ++i)
    if (StringBuffer* const piece = out.sbAt(i)) piece->trim2();
  return true;
}

bool StringBuffer::splitByLineEndings(ExtPtrArraySb& out, bool honourQuotes,
                                      bool honourEscapes) const {
  if (getSize() == 0) return true;
  if (!honourQuotes && !honourEscapes)
    return addPieces(out, *this, EndAtLine(), LineEnding(), PieceStorage::kMinimized);
  return addPieces(out, *this, endAtAnyOf(kLineEndings, honourQuotes, honourEscapes), LineEnding(),
                   PieceStorage::kMinimized);
}

bool StringBuffer::splitIntoLines(ExtPtrArraySb& out, unsigned int /*ignored*/) const {
  if (BufferAccess(*this).text().empty()) return true;
  return addPieces(out, *this, EndAtLine(), LineEnding(), PieceStorage::kAsGrown);
}

bool StringBuffer::splitUsingBoundary(StringBuffer& boundary, ExtPtrArraySb& out,
                                      int maxPieces) const {
  const BufferAccess self(*this);
  const std::string_view mark = BufferAccess(boundary).text();
  std::string_view rest = self.text();
  PieceList list(out, rest, self.isSecure(),
                 maxPieces > 0 ? static_cast<std::size_t>(maxPieces) : rest.size());
  for (int pieces = 0; maxPieces <= 0 || pieces < maxPieces; ++pieces) {
    while (!mark.empty() && rest.substr(0, mark.size()) == mark) rest.remove_prefix(mark.size());
    if (rest.empty()) return true;
    const char* const match = mark.empty() ? nullptr : findBytes(rest, mark);
    const std::string_view piece =
        match == nullptr ? rest : rest.substr(0, static_cast<std::size_t>(match - rest.data()));
    if (!addPiece(list, piece, piece.size(), PieceStorage::kAsGrown)) return false;
    rest.remove_prefix(piece.size());
  }
  return true;
}
