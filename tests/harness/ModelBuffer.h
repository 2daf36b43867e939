#ifndef DORVANE_TESTS_HARNESS_MODELBUFFER_H
#define DORVANE_TESTS_HARNESS_MODELBUFFER_H

#include <string>
#include <string_view>

#include "harness/BufferState.h"

namespace harness {

// A buffer as its user sees it, told plainly: the bytes, and the storage that they live in. The
// slow references work on it step by step, and the result is compared with the real buffer.
struct ModelBuffer {
  std::string bytes;
  unsigned int capacity = 0;  // 0: inline
  unsigned int extendSize = 202;

  // The bytes before the first NUL.
  std::string text() const { return bytes.c_str(); }

  // Makes room for n more bytes; the content stays as it is.
  void makeRoom(std::size_t n) {
    GrowthModel growth;
    growth.length = static_cast<unsigned int>(bytes.size());
    growth.capacity = capacity;
    growth.extendSize = extendSize;
    growth.append(static_cast<unsigned int>(n));
    capacity = growth.capacity;
    extendSize = growth.extendSize;
  }

  // Appends bytes as they are.
  void append(std::string_view piece) {
    makeRoom(piece.size());
    bytes += piece;
  }

  // Appends bytes, then drops every NUL at the end of the content.
  void appendN(std::string_view piece) {
    if (piece.empty()) return;
    append(piece);
    while (!bytes.empty() && bytes.back() == '\0') bytes.pop_back();
  }

  // Puts bytes before the content.
  void prepend(std::string_view piece) {
    makeRoom(piece.size());
    bytes.insert(0, piece);
  }
};

// The model of a buffer as it stands.
inline ModelBuffer modelOf(StringBuffer& buffer) {
  return {bytesOf(buffer), buffer.heapUsage(), buffer.getExtendSize()};
}

// Compares content, terminator, heap usage and extend size.
inline testing::AssertionResult matches(StringBuffer& buffer, const ModelBuffer& model) {
  return holds(buffer, model.bytes, model.capacity, model.extendSize);
}

// Appends bytes as they are, NULs at the end included.
inline void appendRaw(StringBuffer& buffer, std::string_view bytes) {
  const std::size_t kept = bytes.find_last_not_of('\0') + 1;
  buffer.appendN(bytes.data(), static_cast<unsigned int>(kept));
  for (std::size_t i = kept; i < bytes.size(); ++i) buffer.appendChar('\0');
}

// Makes a new buffer hold `bytes` in a heap block with exactly `room` bytes to spare.
inline void fillHeap(StringBuffer& buffer, std::string_view bytes, unsigned int room) {
  buffer.setExtendSize(room);
  buffer.appendN(bytes.data(), static_cast<unsigned int>(bytes.size()));
  buffer.setExtendSize(202);
}

}  // namespace harness

#endif
