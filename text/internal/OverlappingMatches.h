#ifndef DORVANE_TEXT_INTERNAL_OVERLAPPINGMATCHES_H
#define DORVANE_TEXT_INTERNAL_OVERLAPPINGMATCHES_H

#include <cstddef>
#include <string_view>

#include "support/internal/Search.h"

namespace dorvane::internal {

/// The matches of a needle, which is not empty, in a text in ascending order, also those that
/// overlap the one before. All of them together cost one pass over the text, however hostile it is.
class OverlappingMatches {
 public:
  OverlappingMatches(std::string_view text, std::string_view needle, FindInText* find)
      : m_text(text), m_needle(needle), m_find(find), m_match(find(text, needle)) {}

  /// The first match at or behind an offset, which is at most the size of the text and not below
  /// that of an earlier call; npos when there is none.
  std::size_t from(std::size_t offset);

 private:
  static constexpr std::size_t kNone = std::string_view::npos;

  void step(std::size_t start);
  std::size_t search(std::size_t start) const;
  bool isRepeated() const;

  std::string_view m_text;
  std::string_view m_needle;
  FindInText* m_find;
  std::size_t m_match;
  std::size_t m_period = 0;  // 0 until it is known
};

}  // namespace dorvane::internal

#endif
