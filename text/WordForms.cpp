// English plural and singular forms by the last letters of a word. The order of the rules is part
// of the contract. Tested in tests/text/WordFormsTest.cpp.

#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"

using dorvane::internal::BufferAccess;

namespace {

// The byte `fromEnd` places before the end of a word, 1 being the last; NUL when it has none.
char letter(std::string_view word, std::size_t fromEnd) {
  return fromEnd <= word.size() ? word[word.size() - fromEnd] : '\0';
}

bool isOneOf(std::string_view letters, char c) {
  return c != '\0' && letters.find(c) != std::string_view::npos;
}

// What becomes of the end of a word: the last `removed` bytes go and a text comes.
struct Ending {
  unsigned int removed;
  const char* added;
};

constexpr Ending kUnchanged = {0, ""};
constexpr Ending kWithoutS = {1, ""};

Ending pluralEnding(std::string_view word) {
  const char last = letter(word, 1);
  const char before = letter(word, 2);
  if (last == 'e' && before == 'f') return {2, "ves"};
  if (last == 'f') return {1, "ves"};
  if (last == 'h' && isOneOf("cs", before)) return {0, "es"};
  if (last == 's') return kUnchanged;
  if (isOneOf("xz", last)) return {0, "es"};
  if (last == 'y' && word.size() >= 2 && !isOneOf("aeiou", before)) return {1, "ies"};
  return {0, "s"};
}

// For words that end in "ves": "sleeves", "knives" and "moves" keep the "e".
Ending singularOfVes(std::string_view word) {
  const bool keepsE = word.size() >= 5 && isOneOf("eio", letter(word, 4));
  return keepsE ? kWithoutS : Ending{3, "f"};
}

// For words of four bytes and more that end in "s" behind a letter other than a, i, o, u. The
// letters before the "s" decide.
Ending singularOfLongWord(std::string_view word, bool isAlways) {
  const char before = letter(word, 2);
  const char third = letter(word, 3);
  if (before == 's' && isOneOf("aeiou", third)) return kUnchanged;
  if (before == 'y' && third == 'a') return isAlways ? kUnchanged : kWithoutS;
  if (before != 'e') return kWithoutS;
  switch (third) {
    case 'v':
      return singularOfVes(word);
    case 'i':
      return {3, "y"};
    case 'h':
    case 'x':
      return {2, ""};
    case 'z':
      return letter(word, 4) == 'i' ? kWithoutS : Ending{2, ""};
    case 'o':
      // Deliberate: "heroes" stays, though "hero" gives "heros".
      return kUnchanged;
    default:
      return kWithoutS;
  }
}

Ending singularEnding(std::string_view word, bool isAlways) {
  const char before = letter(word, 2);
  if (letter(word, 1) != 's') return kUnchanged;
  if (before >= '0' && before <= '9') return kUnchanged;
  if (isOneOf("aiou", before)) return kUnchanged;
  if (word.size() <= 3) return kWithoutS;
  return singularOfLongWord(word, isAlways);
}

void changeEnding(StringBuffer& word, const Ending& ending) {
  if (ending.removed != 0) word.shorten(ending.removed);
  word.append(ending.added);
}

}  // namespace

void StringBuffer::pluralize() {
  if (getSize() != 0) changeEnding(*this, pluralEnding(BufferAccess(*this).content()));
}

unsigned int StringBuffer::unpluralize() { return unpluralizeFrozen1(); }

unsigned int StringBuffer::unpluralizeFrozen1() {
  const std::string_view word = BufferAccess(*this).content();
  changeEnding(*this, singularEnding(word, equalsIgnoreCase("always")));
  return getSize();
}
