#include "text/internal/Pieces.h"

#include "core/StringBuffer.h"
#include "support/ExtPtrArray.h"
#include "text/internal/Staging.h"

namespace dorvane::internal {

EndOutsideQuotes::EndOutsideQuotes(const ByteSet& delimiters, bool honourQuotes,
                                   bool honourEscapes) noexcept
    : m_honourQuotes(honourQuotes), m_honourEscapes(honourEscapes), m_outside(delimiters) {
  for (ByteSet* const stops : {&m_outside, &m_inside}) {
    if (honourQuotes) stops->add('"');
    if (honourEscapes) stops->add('\\');
  }
}

std::size_t EndOutsideQuotes::operator()(std::string_view text) const {
  const ByteSet* stops = &m_outside;
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

bool addPiece(ExtPtrArray& out, std::string_view piece, std::size_t blockSize,
              PieceStorage storage) {
  if (!out.reserveMore(1)) return false;
  StringBuffer* const buffer = StringBuffer::createNewSB();
  if (buffer == nullptr) return false;
  appendInBlocks(*buffer, piece, blockSize);
  if (storage == PieceStorage::kMinimized) buffer->minimizeMemoryUsage();
  return out.appendPtr(buffer);
}

}  // namespace dorvane::internal
