#ifndef DORVANE_SUPPORT_INTERNAL_SYSTEMPAGES_H
#define DORVANE_SUPPORT_INTERNAL_SYSTEMPAGES_H

#include "support/internal/SystemConverter.h"

// The multi-byte pages of East Asia, which the C library's iconv converts. Its converters are
// opened when the first text needs them; nothing is loaded before.

namespace dorvane::internal {

struct ByteBlock;
struct CodePage;
class SourceText;

/// How a page changes the meaning of the bytes that follow.
enum class Shifts : unsigned char {
  kNone,
  kEscapes,  // ISO-2022: ESC, SO and SI belong to shift sequences and are no characters
  kTildes    // HZ
};

/// What the double bytes of a page are.
enum class DoubleBytes : unsigned char {
  kOfTheSystem,
  kOf932InEuc,     // pairs of page 932 by arithmetic
  kOf932InIso2022  // the same in seven bits
};

/// A page of the C library.
struct SystemPage {
  const char* names[3];  // the names to try, in this order; null where there are no more
  int number;
  bool extendsAscii;  // as in CodePage
  Shifts shifts;
  bool hasAllCharacters;  // every Unicode character has a form
  DoubleBytes doubleBytes;
};

/// The page of a number, with the converters for one direction.
CodePage findSystemPage(int number, Direction direction) noexcept;

// ---- What the pages of the system share with those of JapanesePages.h

/// Decodes a shift sequence or the character at the reader's place. Returns how many characters
/// that were.
unsigned int decodeOne(const CodePage& page, SourceText& source, unsigned int* codePoint) noexcept;

/// Encodes characters up to the first that has no form. Returns how many.
unsigned int encodeRun(const SystemConverter& converter, const unsigned int* characters,
                       unsigned int n, ByteBlock& bytes) noexcept;

/// True if the page does not have the character, although the system would write something for it,
/// or drop it without an error.
bool hasNoForm(const CodePage& page, unsigned int codePoint) noexcept;

}  // namespace dorvane::internal

#endif
