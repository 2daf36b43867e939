#ifndef DORVANE_SUPPORT_INTERNAL_DECODEDBYTES_H
#define DORVANE_SUPPORT_INTERNAL_DECODEDBYTES_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "support/DataBuffer.h"
#include "support/dvMemory.h"

namespace dorvane::internal {

/// Decoded bytes on their way into a data buffer, which gets them by the block. They may be
/// secret, so they are wiped.
class DecodedBytes {
 public:
  explicit DecodedBytes(DataBuffer& out) noexcept : m_out(out) {}  // leaves the block as it is
  DecodedBytes(const DecodedBytes&) = delete;
  DecodedBytes& operator=(const DecodedBytes&) = delete;
  ~DecodedBytes() { dvSecureZero(m_block, std::max(m_mostHeld, m_held)); }

  /// Makes room for up to `n` bytes at once. Within twice its capacity the buffer's own growth,
  /// which doubles, takes one step too; leaving it alone there keeps many small texts linear.
  bool reserve(std::uint64_t n) {
    constexpr std::uint64_t kMostBytes = 0xFFFFFFFFU;
    const std::uint64_t total = m_out.getSize() + n;
    if (total <= std::uint64_t{2} * m_out.getBufSize() || total > kMostBytes) return true;
    return m_out.ensureBuffer(static_cast<unsigned int>(total));
  }

  /// Where the next bytes go, and how many fit there.
  unsigned char* next() noexcept { return m_block + m_held; }
  std::size_t room() const noexcept { return sizeof(m_block) - m_held; }

  /// `n` bytes have been written at next().
  void advance(std::size_t n) noexcept { m_held += n; }

  /// Makes room() at least `n`, which is at most kBlockSize. False, as below, when the buffer
  /// cannot grow.
  bool makeRoom(std::size_t n) { return n <= room() || flush(); }

  bool append(unsigned char byte) {
    if (!makeRoom(1)) return false;
    m_block[m_held++] = byte;
    return true;
  }

  bool append(std::string_view run) {
    if (run.size() > room() && !flush()) return false;
    if (run.size() > room()) return m_out.append(run.data(), static_cast<unsigned int>(run.size()));
    if (!run.empty()) std::memcpy(next(), run.data(), run.size());
    advance(run.size());
    return true;
  }

  /// Hands all bytes over; the decoder's last call.
  bool flush() {
    m_mostHeld = std::max(m_mostHeld, m_held);
    const bool appended = m_out.append(m_block, static_cast<unsigned int>(m_held));
    m_held = 0;
    return appended;
  }

  static constexpr std::size_t kBlockSize = 3072;

 private:
  DataBuffer& m_out;
  std::size_t m_held = 0;
  std::size_t m_mostHeld = 0;
  unsigned char m_block[kBlockSize];
};

}  // namespace dorvane::internal

#endif
