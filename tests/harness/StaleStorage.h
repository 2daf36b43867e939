#ifndef DORVANE_TESTS_HARNESS_STALESTORAGE_H
#define DORVANE_TESTS_HARNESS_STALESTORAGE_H

#include <string>
#include <string_view>

#include "harness/ModelBuffer.h"

namespace harness {

// Makes an empty buffer hold `bytes` amid old bytes: the storage behind the content is full of
// `stale`, and so is the place of the terminator, as if a caller had written there. Whatever runs
// past the length meets them.
inline void fillUnterminated(StringBuffer& buffer, std::string_view bytes, char stale) {
  const std::string old(81, stale);
  buffer.append(old.c_str());
  buffer.weakClear();
  appendRaw(buffer, bytes);
  *buffer.pCharAt(buffer.getSize()) = stale;
}

// Makes an empty buffer hold `bytes` in a heap block without a byte to spare, its terminator
// overwritten by `stale`. There are at least 82 bytes.
inline void fillExactUnterminated(StringBuffer& buffer, std::string_view bytes, char stale) {
  fillHeap(buffer, bytes, 0);
  *buffer.pCharAt(buffer.getSize()) = stale;
}

// Releases the storage of a buffer that then has a length of 5000 and 81 bytes `kept` in its
// inline array: the state in which a caller of releaseBuffer() finds it.
inline void releaseWithStaleLength(StringBuffer& buffer, char kept) {
  buffer.clear();
  buffer.append(std::string(81, kept).c_str());
  buffer.append(std::string(5000 - 81, 'h').c_str());
  buffer.releaseBuffer();
}

}  // namespace harness

#endif
