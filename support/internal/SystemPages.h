#ifndef DORVANE_SUPPORT_INTERNAL_SYSTEMPAGES_H
#define DORVANE_SUPPORT_INTERNAL_SYSTEMPAGES_H

#include <memory>

// The multi-byte pages of East Asia, which the C library's iconv converts. One of its converters
// is opened for each conversion; nothing is loaded before.

namespace dorvane::internal {

struct CodePage;

enum class Direction { kDecode, kEncode };

/// How a page changes the meaning of the bytes that follow.
enum class Shifts {
  kNone,
  kEscapes,  // ISO-2022: ESC, SO and SI belong to shift sequences and are no characters
  kTildes    // HZ
};

/// A page of the C library.
struct SystemPage {
  const char* names[3];  // the names to try, in this order; null where there are no more
  int number;
  bool extendsAscii;  // as in CodePage
  Shifts shifts;
  bool hasAllCharacters;  // every Unicode character has a form
};

struct CloseConverter {
  void operator()(void* converter) const noexcept;
};

/// The state of one of the C library's converters.
using SystemConverter = std::unique_ptr<void, CloseConverter>;

/// The page of a number, with a converter for one direction.
CodePage findSystemPage(int number, Direction direction) noexcept;

}  // namespace dorvane::internal

#endif
