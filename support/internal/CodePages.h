#ifndef DORVANE_SUPPORT_INTERNAL_CODEPAGES_H
#define DORVANE_SUPPORT_INTERNAL_CODEPAGES_H

#include "support/dvMemory.h"
#include "support/internal/SystemPages.h"

// What EncodingConvert is made of: a text is decoded into blocks of code points, and each block
// is encoded into bytes. A code page is a pair of functions that do this.

namespace dorvane::internal {

/// Stands for a malformed character in a block; no code point has this value.
inline constexpr unsigned int kMalformed = 0xFFFFFFFFU;

/// What is written for it where the page has it (U+FFFD REPLACEMENT CHARACTER).
inline constexpr unsigned int kReplacement = 0xFFFD;

/// The source text and how far it has been read.
class SourceText {
 public:
  SourceText(const unsigned char* bytes, unsigned int size) noexcept
      : m_bytes(bytes), m_size(bytes == nullptr ? 0 : size) {}

  bool atEnd() const noexcept { return m_position == m_size; }
  unsigned int position() const noexcept { return m_position; }
  unsigned int left() const noexcept { return m_size - m_position; }

  const unsigned char* start() const noexcept { return m_bytes; }
  const unsigned char* rest() const noexcept { return m_bytes + m_position; }

  unsigned char peek() const noexcept { return m_bytes[m_position]; }
  unsigned char take() noexcept { return m_bytes[m_position++]; }
  void skip(unsigned int n) noexcept { m_position += n; }

  /// The bytes have moved to another address.
  void moveTo(const unsigned char* bytes) noexcept { m_bytes = bytes; }

  /// Number of bytes below 0x80 from here on.
  unsigned int asciiRun() const noexcept;

 private:
  const unsigned char* m_bytes;
  unsigned int m_size;
  unsigned int m_position = 0;
};

/// The characters that are decoded at a time: Unicode scalar values or kMalformed. They may be
/// secret, so they are wiped.
struct CharacterBlock {
  static constexpr unsigned int kCapacity = 128;

  CharacterBlock() = default;  // leaves the array as it is
  CharacterBlock(const CharacterBlock&) = delete;
  CharacterBlock& operator=(const CharacterBlock&) = delete;
  ~CharacterBlock() { dvSecureZero(codePoints, sizeof(codePoints)); }

  unsigned int codePoints[kCapacity];
  unsigned int size = 0;
};

/// The bytes of one block of characters. They may be secret, so they are wiped.
struct ByteBlock {
  static constexpr unsigned int kMostBytesPerCharacter = 8;  // with its shift sequences

  ByteBlock() = default;  // leaves the array as it is
  ByteBlock(const ByteBlock&) = delete;
  ByteBlock& operator=(const ByteBlock&) = delete;
  ~ByteBlock() { dvSecureZero(bytes, sizeof(bytes)); }

  unsigned char bytes[CharacterBlock::kCapacity * kMostBytesPerCharacter];
  unsigned int size = 0;
};

/// The characters of a text that could not be converted.
struct Faults {
  unsigned int count = 0;
  unsigned int firstIndex = 0;  // of the first of them in its block

  void note(unsigned int index) noexcept {
    if (count++ == 0) firstIndex = index;
  }
};

struct SingleByteTable;

/// What the bytes that have been read or written say about those that follow, in a page with
/// shift sequences; at first that they are ASCII.
struct ShiftState {
  unsigned int set = 0;  // one of those of the page
  bool out = false;      // between SO and SI, or inside the base64 of UTF-7

  // UTF-7: bits that make no code unit yet, and the first half of a surrogate pair.
  unsigned int bits = 0;
  unsigned int bitCount = 0;
  unsigned int high = 0;
};

/// A code page that is ready for one direction.
struct CodePage {
  PageState state = PageState::kUnknown;

  /// Fills the block with the next characters, until it holds `limit` or the source is at its
  /// end; each takes at least one byte. A page with shift sequences gives one character at a time,
  /// or none for such a sequence, or one that takes nothing more for what has been taken before;
  /// any other gives the same again from the same place.
  void (*decode)(const CodePage& page, SourceText& source, CharacterBlock& characters,
                 unsigned int limit) noexcept = nullptr;

  /// Fills `bytes` with the characters of a block. For one that is malformed or has no form in
  /// this page a substitute is written and a fault noted.
  void (*encode)(const CodePage& page, const CharacterBlock& characters, ByteBlock& bytes,
                 Faults& faults) noexcept = nullptr;

  /// Fills `bytes` with what has to stand at the end of the text; null for nothing.
  void (*finish)(const CodePage& page, ByteBlock& bytes) noexcept = nullptr;

  /// True when a byte below 0x80 that begins a character is the ASCII character.
  bool extendsAscii = false;

  /// The characters above 0x7F of a single-byte page; null for US-ASCII.
  const SingleByteTable* table = nullptr;

  /// The page of the C library, or null, and its converter.
  const SystemPage* system = nullptr;
  SystemConverter converter;

  /// That of page 932, for the double bytes of a Japanese page.
  SystemConverter windows;

  /// Changes while a text is converted.
  mutable ShiftState shift;
};

/// The page of a number. Its functions are set when its state is kReady.
CodePage findCodePage(int number, Direction direction) noexcept;

}  // namespace dorvane::internal

#endif
