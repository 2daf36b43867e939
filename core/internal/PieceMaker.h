#ifndef DORVANE_CORE_INTERNAL_PIECEMAKER_H
#define DORVANE_CORE_INTERNAL_PIECEMAKER_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string_view>

#include "core/StringBuffer.h"
#include "support/internal/Prefetch.h"

namespace dorvane::internal {

struct PieceChunk;

/// A buffer whose memory is a slot of a chunk, which it shares with other pieces of its list. It
/// looks like any buffer from outside; the virtual destructor finds the way back to the chunk, so
/// that deleteSb(), `delete` through any base and the arrays release it like others: one by one, in
/// any order and on any thread. Buffers that are not pieces know nothing of chunks.
class Piece final : public StringBuffer {
 public:
  /// The longest text that a piece can be made with: it stays in the object.
  static constexpr std::size_t kLongestText = kInlineSize - 1;

  /// A buffer that holds `text`, which does not end with a NUL. Up to `readableEnd` there are bytes
  /// that may be read.
  Piece(std::size_t slot, std::string_view text, const char* readableEnd) noexcept {
    m_slot = static_cast<unsigned int>(slot);
    m_length = static_cast<unsigned int>(text.size());
    if (text.size() < kFewBytes && readableEnd - text.data() >= std::ptrdiff_t{kFewBytes}) {
      copyFewBytes(text.data(), text.size());
    } else {
      copyText(text);
    }
  }

  Piece(const Piece&) = delete;
  Piece& operator=(const Piece&) = delete;
  ~Piece() override;

  /// There is no piece outside a chunk.
  static void* operator new(std::size_t /*size*/, void* slot) noexcept { return slot; }

  /// Gives the slot back; the last one gives the chunk back.
  static void operator delete(void* piece) noexcept;

 private:
  static constexpr std::size_t kFewBytes = 16;

  void copyText(std::string_view text) noexcept;

  // Most pieces are short and their sizes are irregular: branches on the size would be
  // mispredicted. The bytes after the text are read, too, but become zeros.
  void copyFewBytes(const char* from, std::size_t n) noexcept {
    static constexpr unsigned char kKept[2 * kFewBytes] = {
        0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
        0xFF, 0xFF, 0xFF, 0xFF, 0,    0,    0,    0,    0,    0,    0,    0};
    std::uint64_t bytes[2];
    std::uint64_t kept[2];
    std::memcpy(bytes, from, kFewBytes);
    std::memcpy(kept, kKept + kFewBytes - n, kFewBytes);
    bytes[0] &= kept[0];
    bytes[1] &= kept[1];
    std::memcpy(m_inline, bytes, kFewBytes);
  }
};

/// Makes the pieces of one list. They come out of chunks, one allocation each, which belong to the
/// pieces: a chunk is freed as soon as none of its pieces is alive, whether or not the maker is.
/// Slots are not used twice. Used by one thread.
class PieceMaker {
 public:
  /// Chunks of at most so many pieces.
  explicit PieceMaker(std::size_t mostInChunk = mostPiecesInChunk()) noexcept
      : m_mostInChunk(mostInChunk) {}
  PieceMaker(const PieceMaker&) = delete;
  PieceMaker& operator=(const PieceMaker&) = delete;
  ~PieceMaker();

  /// True if the next piece needs a new chunk.
  bool needsChunk() const noexcept { return m_made == m_slots; }

  /// Allocates the next chunk, for about `expected` pieces: only when the last one has been used
  /// up. If that many cannot be had, it has room for fewer; false if there is no memory at all.
  bool startChunk(std::size_t expected) noexcept;

  /// A new buffer that holds `text`, which has at most Piece::kLongestText bytes and does not end
  /// with a NUL; null when memory is exhausted. A maker that may read on, up to `readableEnd`, is
  /// faster.
  StringBuffer* make(std::string_view text, const char* readableEnd) noexcept {
    if (needsChunk() && !startChunk(1)) return nullptr;
    unsigned char* const slot = m_next;
    m_next += sizeof(Piece);
    prefetchForWriting<sizeof(Piece)>(slot + kPrefetchDistance * sizeof(Piece));
    return new (slot) Piece(m_made++, text, readableEnd);
  }
  StringBuffer* make(std::string_view text) noexcept {
    return make(text, text.data() + text.size());
  }

  /// The number of pieces in a chunk of the largest size.
  static std::size_t mostPiecesInChunk() noexcept;

 private:
  std::size_t m_mostInChunk;
  PieceChunk* m_chunk = nullptr;
  unsigned char* m_next = nullptr;
  std::size_t m_made = 0;   // in this chunk
  std::size_t m_slots = 0;  // of this chunk
};

}  // namespace dorvane::internal

#endif
