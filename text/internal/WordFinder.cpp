#include "text/internal/WordFinder.h"

#include "text/internal/OverlappingMatches.h"

namespace dorvane::internal {

std::size_t WordFinder::operator()(std::string_view text) const {
  OverlappingMatches matches(text, m_word, m_find);
  std::size_t start = 0;
  for (std::size_t at; (at = matches.from(start)) != std::string_view::npos; start = at + 1) {
    const bool startsAtBoundary = at == start || !m_wordBytes.contains(text[at - 1]);
    if (startsAtBoundary && endsAtBoundary(text.substr(at + m_word.size()))) return at;
  }
  return std::string_view::npos;
}

bool WordFinder::endsAtBoundary(std::string_view behindMatch) const {
  return behindMatch.empty() || !m_wordBytes.contains(behindMatch.front());
}

}  // namespace dorvane::internal
