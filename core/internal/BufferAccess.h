#ifndef DORVANE_CORE_INTERNAL_BUFFERACCESS_H
#define DORVANE_CORE_INTERNAL_BUFFERACCESS_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/SanityCheck.h"

namespace dorvane::internal {

/// The storage of a buffer as the families of members see it: the friend of StringBuffer through
/// which they go, and all that they use beside its public members. `BufferAccess self(*this)` in a
/// const member gives the part that only reads.
template <class Buffer>
class BufferAccess {
 public:
  explicit BufferAccess(Buffer& buffer) noexcept : m_buffer(buffer) {}

  // ---- Reading ----

  /// The first byte of the content, to be written in place.
  char* data() const noexcept { return m_buffer.m_data; }

  /// Size of the content. It is within the storage even where getSize() is stale.
  unsigned int size() const noexcept { return m_buffer.contentSize(); }

  /// All bytes of the content, and those before its first NUL.
  std::string_view content() const noexcept { return m_buffer.content(); }
  std::string_view text() const noexcept { return m_buffer.text(); }

  /// What `use` makes of the content as a NUL-terminated text, also if its NUL was overwritten.
  template <class Use>
  auto withTerminatedText(const Use& use) const {
    return m_buffer.withTerminatedText(use);
  }

  bool isSecure() const noexcept { return m_buffer.m_secure; }

  /// True if `p` points into the storage, so that a change may move or release what is there.
  bool owns(const void* p) const noexcept { return m_buffer.ownsAddress(p); }

  /// Size of the longest content that needs no growth.
  unsigned int longestWithoutGrowth() const noexcept { return m_buffer.storageSize() - 1; }

  // ---- Room ----

  /// Makes room for `n` more bytes by the growth rule; false, with nothing changed, if it cannot.
  bool makeRoom(std::uint64_t n) const { return m_buffer.makeRoom(n); }

  /// Holds memory for `total` bytes of content. Callers see nothing of it: the capacity still
  /// grows step by step, without a further allocation. If the memory cannot be had, the steps
  /// allocate as usual. Give a bound that is met, or call dropReserve() when the result is
  /// complete.
  void reserve(std::uint64_t total) const { m_buffer.reserve(total); }

  /// Gives a block back that was reserved and has not been needed: the content is still inline.
  void dropReserve() const noexcept { m_buffer.dropReserve(); }

  // ---- Writing ----

  /// Appends raw bytes, NULs at the end included; they may lie in the storage.
  bool append(std::string_view bytes) const { return m_buffer.appendBytes(bytes); }

  /// Ends the content at `n`, for which there is room.
  void terminateAt(std::size_t n) const noexcept {
    m_buffer.endAt(static_cast<unsigned int>(n));
    const SanityCheck check(m_buffer);
  }

  /// Ends the content before the NULs at its end.
  void dropTrailingNuls() const noexcept { m_buffer.dropTrailingNuls(); }

  /// As weakClear() and appendN(), but nothing has changed if the buffer cannot grow.
  bool replaceKeepingBlock(std::string_view bytes) const {
    return m_buffer.replaceKeepingBlock(bytes);
  }

  /// As clear() and one appendN() of all the pieces, but nothing has changed if the buffer cannot
  /// grow. The pieces may lie in this buffer.
  bool replaceByPieces(std::initializer_list<std::string_view> pieces) const {
    return m_buffer.replaceByPieces(pieces);
  }

  /// Gives the storage up, wiped if secure, and adopts a block whose first `length` bytes are the
  /// new content; the extend size stays.
  void replaceByBlock(unsigned char* block, unsigned int capacity, unsigned int length) const {
    const SanityCheck check(m_buffer);
    m_buffer.replaceByBlock(block, capacity, length);
  }

 private:
  Buffer& m_buffer;
};

}  // namespace dorvane::internal

#endif
