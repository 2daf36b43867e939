#include "text/internal/Pieces.h"

#include "core/StringBuffer.h"
#include "support/ExtPtrArray.h"
#include "text/internal/Staging.h"

namespace dorvane::internal {

EndOutsideQuotes<FewBytes> endAtByte(char delimiter, bool honourQuotes, bool honourEscapes) {
  char stops[3] = {delimiter};
  std::size_t n = 1;
  if (honourQuotes) stops[n++] = '"';
  if (honourEscapes) stops[n++] = '\\';
  const FewBytes outside({stops, n});
  const FewBytes inside(n == 1 ? std::string_view(stops, 1) : std::string_view(stops + 1, n - 1));
  return {outside, inside, honourQuotes, honourEscapes};
}

EndOutsideQuotes<ByteSet> endAtAnyOf(const ByteSet& delimiters, bool honourQuotes,
                                     bool honourEscapes) {
  ByteSet inside;
  if (honourQuotes) inside.add('"');
  if (honourEscapes) inside.add('\\');
  return {delimiters | inside, inside, honourQuotes, honourEscapes};
}

bool addPiece(ExtPtrArray& out, std::string_view piece, std::size_t blockSize, PieceStorage storage,
              bool isSecret) {
  if (!out.reserveMore(1)) return false;
  StringBuffer* const buffer = StringBuffer::createNewSB();
  if (buffer == nullptr) return false;
  buffer->setSecureBuf(isSecret);
  appendInBlocks(*buffer, piece, blockSize);
  if (storage == PieceStorage::kMinimized) buffer->minimizeMemoryUsage();
  buffer->setSecureBuf(false);
  return out.appendPtr(buffer);
}

}  // namespace dorvane::internal
