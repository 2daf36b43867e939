// Whole-word search and replacement. Tested in tests/text/WordReplaceTest.cpp.

#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "support/internal/ByteClasses.h"
#include "text/internal/PartlyMeasured.h"
#include "text/internal/ReplaceMatches.h"
#include "text/internal/ReplaceRange.h"
#include "text/internal/Texts.h"
#include "text/internal/WordFinder.h"

using dorvane::internal::BufferAccess;
using dorvane::internal::ByteSet;
using dorvane::internal::isEmpty;
using dorvane::internal::kAddressBytes;
using dorvane::internal::kWordBytes;
using dorvane::internal::PartlyMeasured;
using dorvane::internal::replaceAll;
using dorvane::internal::replaceRange;
using dorvane::internal::WordFinder;

namespace {

constexpr std::size_t kNone = std::string_view::npos;

const ByteSet& wordBytes(bool extended) { return extended ? kAddressBytes : kWordBytes; }

}  // namespace

const char* StringBuffer::findWordOnly(const char* text, const char* word, int /*ignored*/,
                                       bool caseSensitive, bool extendedWordChars) noexcept {
  if (isEmpty(text) || isEmpty(word)) return nullptr;
  const std::string_view wanted(word);
  const WordFinder find(wanted, caseSensitive, wordBytes(extendedWordChars));
  PartlyMeasured part(text);
  const std::size_t at = part.search([&](std::string_view known) {
    const std::size_t match = find(known);
    // A match at the end of the known part may go on as a longer word.
    const bool isSure = match + wanted.size() != known.size() || part.isWhole();
    return isSure ? match : kNone;
  });
  return at == kNone ? nullptr : text + at;
}

bool StringBuffer::replaceFirstWordOccurance(const char* find, const char* replacement,
                                             int /*ignored*/, bool extendedWordChars) {
  if (isEmpty(find)) return false;
  const std::string_view word(find);
  const std::string_view all = BufferAccess(*this).text();
  const std::size_t at = WordFinder(word, true, wordBytes(extendedWordChars))(all);
  if (at == kNone) return false;
  return replaceRange(*this, at, all.substr(at + word.size()), replacement);
}

unsigned int StringBuffer::replaceAllWordOccurances(const char* find, const char* replacement,
                                                    int /*ignored*/, bool extendedWordChars) {
  if (isEmpty(find)) return 0;
  const std::string_view word(find);
  return replaceAll(*this, word.size(), replacement,
                    WordFinder(word, true, wordBytes(extendedWordChars)));
}

unsigned int StringBuffer::replaceAllWordOccurancesNoCase(const char* find, const char* replacement,
                                                          int /*ignored*/) {
  if (isEmpty(find)) return 0;
  const std::string_view word(find);
  return replaceAll(*this, word.size(), replacement, WordFinder(word, false, wordBytes(false)));
}
