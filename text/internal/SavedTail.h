#ifndef DORVANE_TEXT_INTERNAL_SAVEDTAIL_H
#define DORVANE_TEXT_INTERNAL_SAVEDTAIL_H

#include <cstddef>
#include <cstring>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "support/dvMemory.h"

namespace dorvane::internal {

/// A copy of the end of the content, which is cut off, changed before and appended again. The copy
/// of a secret is wiped.
class SavedTail {
 public:
  static constexpr std::size_t kLocalSize = 400;

  /// The buffer is the one that the tail belongs to. A tail of up to `mostLocal` bytes, at most
  /// kLocalSize, needs no memory from the heap.
  SavedTail(std::string_view tail, const StringBuffer& buffer, std::size_t mostLocal = kLocalSize)
      : m_size(tail.size()), m_secure(BufferAccess(buffer).isSecure()) {
    if (m_size > mostLocal) m_block = m_onHeap = dvNewChar(static_cast<unsigned int>(m_size));
    if (m_block != nullptr) std::memcpy(m_block, tail.data(), m_size);
  }
  SavedTail(const SavedTail&) = delete;
  SavedTail& operator=(const SavedTail&) = delete;
  ~SavedTail() {
    if (m_secure && m_block != nullptr) dvSecureZero(m_block, m_size);
    delete[] m_onHeap;
  }

  /// False when the copy could not be allocated.
  bool ok() const { return m_block != nullptr; }
  const char* data() const { return m_block; }
  unsigned int size() const { return static_cast<unsigned int>(m_size); }

 private:
  std::size_t m_size;
  bool m_secure;
  char* m_onHeap = nullptr;
  char m_local[kLocalSize];
  char* m_block = m_local;
};

}  // namespace dorvane::internal

#endif
