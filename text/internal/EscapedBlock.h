#ifndef DORVANE_TEXT_INTERNAL_ESCAPEDBLOCK_H
#define DORVANE_TEXT_INTERNAL_ESCAPEDBLOCK_H

#include <cstdint>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "core/internal/Limits.h"
#include "support/dvMemory.h"

namespace dorvane::internal {

/// The new block of a content that escaping has counted and is about to lengthen. Whoever adopts
/// it owns it. Deliberate: the added bytes are counted twice, which callers see in heapUsage();
/// only where that does not fit in 32 bits is the block exact.
struct EscapedBlock {
  EscapedBlock(std::uint64_t plainSize, std::uint64_t added) {
    const std::uint64_t total = plainSize + added;
    if (total > kMaxContent) return;
    const std::uint64_t wanted = total + added + 4;
    length = static_cast<unsigned int>(total);
    capacity = wanted > kMaxContent + 1 ? length + 1 : static_cast<unsigned int>(wanted);
    bytes = dvNewUnsignedChar(capacity);
  }

  char* text() const { return reinterpret_cast<char*>(bytes); }

  unsigned char* bytes = nullptr;  ///< null when the content is too long or memory is exhausted
  unsigned int capacity = 0;
  unsigned int length = 0;
};

/// Replaces the content by its escaped form, which is `added` bytes longer; `write(content, to)`
/// writes it. Nothing to add changes nothing. False, with nothing changed, when the result is too
/// long or memory is exhausted.
template <class Write>
bool replaceByEscaped(StringBuffer& buffer, std::uint64_t added, const Write& write) {
  if (added == 0) return true;
  const BufferAccess self(buffer);
  const EscapedBlock block(self.size(), added);
  if (block.bytes == nullptr) return false;
  write(self.content(), block.text());
  self.replaceByBlock(block.bytes, block.capacity, block.length);
  return true;
}

}  // namespace dorvane::internal

#endif
