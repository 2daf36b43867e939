#ifndef DORVANE_TEXT_INTERNAL_WORDFINDER_H
#define DORVANE_TEXT_INTERNAL_WORDFINDER_H

#include <cstddef>
#include <string_view>

#include "support/ByteSet.h"
#include "support/internal/Search.h"

namespace dorvane::internal {

/// Finds a word where no word byte stands beside it.
class WordFinder {
 public:
  /// `word` is not empty; `wordBytes` outlives the finder.
  WordFinder(std::string_view word, bool caseSensitive, const ByteSet& wordBytes)
      : m_word(word),
        m_find(caseSensitive ? findOffset : findOffsetNoCase),
        m_wordBytes(wordBytes) {}

  /// The offset of the first whole-word match in `text`, or npos. Linear in the text.
  std::size_t operator()(std::string_view text) const;

 private:
  bool endsAtBoundary(std::string_view behindMatch) const;

  std::string_view m_word;
  FindInText* m_find;
  const ByteSet& m_wordBytes;
};

}  // namespace dorvane::internal

#endif
