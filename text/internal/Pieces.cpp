#include "text/internal/Pieces.h"

#include <algorithm>
#include <climits>
#include <cstdint>

#include "core/StringBuffer.h"
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

namespace {

void fill(StringBuffer& buffer, std::string_view piece, std::size_t blockSize, PieceStorage storage,
          bool isSecret) {
  buffer.setSecureBuf(isSecret);
  appendInBlocks(buffer, piece, blockSize);
  if (storage == PieceStorage::kMinimized) buffer.minimizeMemoryUsage();
  buffer.setSecureBuf(false);
}

}  // namespace

// How many pieces are to come, with this one: as many for each byte as there have been so far. As
// few pieces tell little, it is at most sixteen times as many as there are, and 8 at first.
std::size_t PieceList::expected(std::string_view piece) const {
  const auto consumed = static_cast<std::uint64_t>(piece.data() + piece.size() - m_text.data());
  if (consumed == m_text.size()) return 1;
  const std::uint64_t rest = m_text.size() - consumed - 1;
  const std::uint64_t count = m_made * rest / (consumed + 1) + 2;
  const std::uint64_t most = m_made == 1 ? 8 : std::uint64_t{m_made} * 16;
  return static_cast<std::size_t>(std::min<std::uint64_t>({count, most, m_most - m_made + 1}));
}

// For an array that is a little too small all elements would move, so it gets a little more than
// expected; another chunk costs nothing.
bool PieceList::reservePlaces(std::size_t count) {
  count += count / 64;
  if (count > INT_MAX || !m_out.reserveMore(static_cast<int>(count))) {
    if (!m_out.reserveMore(1)) return false;
    count = 1;
  }
  m_places = count;
  return true;
}

bool PieceList::prepare(std::string_view piece) {
  const std::size_t count = expected(piece);
  return (m_places != 0 || reservePlaces(count)) &&
         (!m_maker.needsChunk() || m_maker.startChunk(count));
}

StringBuffer* PieceList::make(std::string_view piece) {
  ++m_made;
  if ((m_places == 0 || m_maker.needsChunk()) && !prepare(piece)) return nullptr;
  --m_places;
  const std::string_view held = isShort(piece) ? piece : piece.substr(0, 0);
  // Of a secret nothing is read but the piece.
  const std::string_view readable = m_isSecret ? held : m_text;
  return m_maker.make(held, readable.data() + readable.size());
}

bool addPiece(PieceList& out, std::string_view piece, std::size_t blockSize, PieceStorage storage) {
  StringBuffer* const buffer = out.make(piece);
  if (buffer == nullptr) return false;
  if (!PieceList::isShort(piece)) fill(*buffer, piece, blockSize, storage, out.isSecret());
  return out.add(buffer);
}

}  // namespace dorvane::internal
