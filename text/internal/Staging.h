#ifndef DORVANE_TEXT_INTERNAL_STAGING_H
#define DORVANE_TEXT_INTERNAL_STAGING_H

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "core/StringBuffer.h"
#include "support/DataBuffer.h"
#include "support/dvMemory.h"
#include "text/internal/Texts.h"

namespace dorvane::internal {

/// Appends bytes in blocks of the given size, as appendN() does; a block for which the buffer
/// cannot grow is left out. False when one was.
inline bool appendInBlocks(StringBuffer& out, std::string_view bytes, std::size_t blockSize) {
  bool complete = true;
  while (!bytes.empty()) {
    const std::string_view block = bytes.substr(0, blockSize);
    complete = appendTo(out, block) && complete;
    bytes.remove_prefix(block.size());
  }
  return complete;
}

/// Appends a block to a buffer as appendN() does.
class AppendTrimmed {
 public:
  // NOLINTNEXTLINE(google-explicit-constructor): named by the buffer alone
  AppendTrimmed(StringBuffer& out) : m_out(out) {}
  bool operator()(std::string_view block) const { return appendTo(m_out, block); }

 private:
  StringBuffer& m_out;
};

/// Appends a block to a data buffer.
class AppendToData {
 public:
  // NOLINTNEXTLINE(google-explicit-constructor): named by the buffer alone
  AppendToData(DataBuffer& out) : m_out(out) {}
  bool operator()(std::string_view block) const {
    return m_out.append(block.data(), static_cast<unsigned int>(block.size()));
  }

 private:
  DataBuffer& m_out;
};

/// Gathers small pieces and appends them to a buffer in blocks of at most `kSize` bytes: the steps
/// in which the buffer grows can be seen from outside, so they are part of what a member promises.
/// `Append` is handed the blocks; one for which it is false, as the buffer cannot grow, is dropped.
/// Whatever was staged is wiped in the end.
template <std::size_t kSize, class Append = AppendTrimmed>
class Staging {
 public:
  explicit Staging(const Append& append) : m_append(append) {}
  Staging(const Staging&) = delete;
  Staging& operator=(const Staging&) = delete;
  ~Staging() { dvSecureZero(m_block, std::max(m_mostUsed, m_used)); }

  /// Stages a piece of at most kSize bytes; flushes first when it does not fit. The result is that
  /// of the flush.
  bool put(std::string_view piece) {
    const bool flushed = m_used + piece.size() <= kSize || flush();
    std::memcpy(m_block + m_used, piece.data(), piece.size());
    m_used += piece.size();
    return flushed;
  }

  /// Stages a run of any size, and flushes whenever the block is full.
  void putRun(std::string_view run) {
    while (!run.empty()) {
      const std::string_view part = run.substr(0, room() != 0 ? room() : kSize);
      put(part);
      run.remove_prefix(part.size());
    }
  }

  std::size_t used() const { return m_used; }
  std::size_t room() const { return kSize - m_used; }

  /// Where the next room() bytes go, for those who write them there themselves; advance() stages
  /// the `n` bytes that were written.
  char* next() { return m_block + m_used; }
  void advance(std::size_t n) { m_used += n; }

  /// Appends what is staged; false when the buffer cannot grow.
  bool flush() {
    const bool appended = m_append(std::string_view(m_block, m_used));
    m_mostUsed = std::max(m_mostUsed, m_used);
    m_used = 0;
    return appended;
  }

 private:
  Append m_append;
  std::size_t m_used = 0;
  std::size_t m_mostUsed = 0;
  char m_block[kSize];
};

}  // namespace dorvane::internal

#endif
