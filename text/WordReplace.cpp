// Whole-word search and replacement. Tested in tests/text/WordReplaceTest.cpp.

#include <string_view>

#include "core/StringBuffer.h"
#include "text/internal/ByteClasses.h"
#include "text/internal/ReplaceMatches.h"
#include "text/internal/Texts.h"
#include "text/internal/WordFinder.h"

using dorvane::internal::ByteSet;
using dorvane::internal::isEmpty;
using dorvane::internal::kAddressBytes;
using dorvane::internal::kWordBytes;
using dorvane::internal::replaceMatches;
using dorvane::internal::WordFinder;

namespace {

const ByteSet& wordBytes(bool extended) { return extended ? kAddressBytes : kWordBytes; }

}  // namespace

const char* StringBuffer::findWordOnly(const char* text, const char* word, int /*ignored*/,
                                       bool caseSensitive, bool extendedWordChars) noexcept {
  if (isEmpty(text) || isEmpty(word)) return nullptr;
  return WordFinder(word, caseSensitive, wordBytes(extendedWordChars))(text);
}

bool StringBuffer::replaceFirstWordOccurance(const char* find, const char* replacement,
                                             int /*ignored*/, bool extendedWordChars) {
  if (isEmpty(find)) return false;
  const std::string_view word(find);
  const std::string_view all = text();
  const char* const match = WordFinder(word, true, wordBytes(extendedWordChars))(all);
  if (match == nullptr) return false;
  const auto at = static_cast<unsigned int>(match - m_data);
  return replaceRange(at, all.substr(at + word.size()), replacement);
}

unsigned int StringBuffer::replaceAllWordOccurances(const char* find, const char* replacement,
                                                    int /*ignored*/, bool extendedWordChars) {
  if (isEmpty(find)) return 0;
  return replaceWords(WordFinder(find, true, wordBytes(extendedWordChars)), std::strlen(find),
                      replacement);
}

unsigned int StringBuffer::replaceAllWordOccurancesNoCase(const char* find, const char* replacement,
                                                          int /*ignored*/) {
  if (isEmpty(find)) return 0;
  return replaceWords(WordFinder(find, false, wordBytes(false)), std::strlen(find), replacement);
}

unsigned int StringBuffer::replaceWords(const WordFinder& finder, std::size_t wordSize,
                                        const char* replacement) {
  const std::string_view all = text();
  const char* const first = finder(all);
  if (first == nullptr) return 0;
  StringBuffer out;
  out.m_secure = m_secure;
  const unsigned int count =
      replaceMatches(all, wordSize, replacement == nullptr ? "" : replacement, first, finder, out);
  takeSb(out);
  return count;
}
