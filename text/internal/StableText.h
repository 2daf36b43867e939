#ifndef DORVANE_TEXT_INTERNAL_STABLETEXT_H
#define DORVANE_TEXT_INTERNAL_STABLETEXT_H

#include <cstddef>
#include <cstring>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "support/dvMemory.h"

namespace dorvane::internal {

/// A text argument that stays what it is while the buffer changes: one that lies in the buffer's
/// own storage is copied, any other is only measured. The copy is wiped in the end, for it may be a
/// secret of a secure buffer.
class StableText {
 public:
  /// The buffer is the one that is about to change.
  StableText(const char* text, const StringBuffer& buffer)
      : StableText(text, BufferAccess(buffer).owns(text)) {}
  /// The same for bytes of a given length; null counts as none.
  StableText(const void* bytes, std::size_t n, const StringBuffer& buffer)
      : StableText(bytes, n, BufferAccess(buffer).owns(bytes)) {}
  /// `owned` tells that the text lies in what is about to change.
  StableText(const char* text, bool owned)
      : StableText(text, text == nullptr ? 0 : std::strlen(text), owned) {}
  /// The same for bytes of a given length; null counts as none.
  StableText(const void* bytes, std::size_t n, bool owned)
      : m_bytes(static_cast<const char*>(bytes)),
        m_size(bytes == nullptr ? 0 : n),
        m_copied(owned && m_size != 0) {
    if (m_copied) copy();
  }
  StableText(const StableText&) = delete;
  StableText& operator=(const StableText&) = delete;
  ~StableText() {
    if (!m_copied || m_bytes == nullptr) return;
    dvSecureZero(m_onHeap != nullptr ? m_onHeap : m_local, m_size);
    delete[] m_onHeap;
  }

  /// False when the copy could not be allocated.
  bool ok() const { return !m_copied || m_bytes != nullptr; }
  std::string_view view() const { return {m_bytes, m_size}; }
  bool empty() const { return m_size == 0; }

 private:
  void copy() {
    char* target = m_local;
    if (m_size > sizeof m_local)
      target = m_onHeap =
          m_size > 0xFFFFFFFFU ? nullptr : dvNewChar(static_cast<unsigned int>(m_size));
    if (target != nullptr) std::memcpy(target, m_bytes, m_size);
    m_bytes = target;
  }

  const char* m_bytes;
  std::size_t m_size;
  bool m_copied;
  char* m_onHeap = nullptr;
  char m_local[128];
};

}  // namespace dorvane::internal

#endif
