#ifndef DORVANE_TEXT_INTERNAL_REPLACERANGE_H
#define DORVANE_TEXT_INTERNAL_REPLACERANGE_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "text/internal/SavedTail.h"
#include "text/internal/StableText.h"

namespace dorvane::internal {

/// Replaces the bytes from `at` up to `tail`, which runs to the end of the text or the content.
/// False, with nothing changed, if memory is exhausted before the tail is safe; later the
/// replacement or the tail is missing.
inline bool replaceRange(StringBuffer& buffer, std::size_t at, std::string_view tail,
                         const char* replacement) {
  const BufferAccess access(buffer);
  if (replacement == nullptr) {
    // Deliberate: the match stays, as the start of a tail that is cut off and appended again.
    access.terminateAt(static_cast<std::size_t>(tail.data() + tail.size() - access.data()));
    access.dropTrailingNuls();
    return true;
  }
  const StableText stable(replacement, buffer);
  if (!stable.ok()) return false;
  const std::string_view bytes = stable.view();

  const std::uint64_t total = at + std::uint64_t{bytes.size()} + tail.size();
  if (total <= access.longestWithoutGrowth()) {
    std::memmove(access.data() + at + bytes.size(), tail.data(), tail.size());
    std::memcpy(access.data() + at, bytes.data(), bytes.size());
    access.terminateAt(static_cast<std::size_t>(total));
    if (!tail.empty()) access.dropTrailingNuls();
    return true;
  }
  // On the heap, whatever its size: where there is no memory for the tail there is none for the
  // larger block either, and nothing has been cut off yet.
  const SavedTail saved(tail, buffer, 0);
  if (!saved.ok()) return false;
  access.terminateAt(at);
  if (!bytes.empty()) access.append(bytes);
  buffer.appendN(saved.data(), saved.size());
  return true;
}

}  // namespace dorvane::internal

#endif
