#ifndef DORVANE_SUPPORT_INTERNAL_CODEPAGES_H
#define DORVANE_SUPPORT_INTERNAL_CODEPAGES_H

#include "support/dvMemory.h"

// What EncodingConvert is made of: a text is decoded into blocks of code points, and each block
// is encoded into bytes. A code page is a pair of functions that do this.

namespace dorvane::internal {

/// Stands for a malformed character in a block; no code point has this value.
inline constexpr unsigned int kMalformed = 0xFFFFFFFFU;

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

struct Character {
  unsigned int codePoint;  // a Unicode scalar value or kMalformed
  unsigned int offset;     // where it begins in the source
};

/// The characters that are decoded at a time. They may be secret, so they are wiped.
struct CharacterBlock {
  static constexpr unsigned int kCapacity = 128;

  CharacterBlock() = default;  // leaves the array as it is
  CharacterBlock(const CharacterBlock&) = delete;
  CharacterBlock& operator=(const CharacterBlock&) = delete;
  ~CharacterBlock() { dvSecureZero(characters, sizeof(characters)); }

  Character characters[kCapacity];
  unsigned int size = 0;
};

/// The bytes of one block of characters. They may be secret, so they are wiped.
struct ByteBlock {
  static constexpr unsigned int kMostBytesPerCharacter = 4;

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
  unsigned int firstOffset = 0;

  void note(unsigned int offset) noexcept {
    if (count++ == 0) firstOffset = offset;
  }
};

struct SingleByteTable;

struct CodePage {
  /// Fills the block with the next characters, until it is full or the source at its end; each
  /// takes at least one byte.
  void (*decode)(const CodePage& page, SourceText& source, CharacterBlock& characters) noexcept;

  /// Fills `bytes` with the characters of a block. For one that is malformed or has no form in
  /// this page a substitute is written and a fault noted.
  void (*encode)(const CodePage& page, const CharacterBlock& characters, ByteBlock& bytes,
                 Faults& faults) noexcept;

  /// The characters above 0x7F of a single-byte page; null for US-ASCII.
  const SingleByteTable* table;

  /// True when a byte below 0x80 is the ASCII character, wherever it stands.
  bool extendsAscii;
};

/// The page of a number; its functions are null when it is not known.
CodePage findCodePage(int number) noexcept;

}  // namespace dorvane::internal

#endif
