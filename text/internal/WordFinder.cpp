#include "text/internal/WordFinder.h"

#include "text/internal/OverlappingMatches.h"

namespace dorvane::internal {

const char* WordFinder::operator()(std::string_view text) const {
  OverlappingMatches matches(text, m_word, m_find);
  std::size_t start = 0;
  while (const char* const match = matches.from(start)) {
    const auto at = static_cast<std::size_t>(match - text.data());
    const bool startsAtBoundary = at == start || !m_wordBytes.contains(text[at - 1]);
    if (startsAtBoundary && endsAtBoundary(text.substr(at + m_word.size()))) return match;
    start = at + 1;
  }
  return nullptr;
}

bool WordFinder::endsAtBoundary(std::string_view behindMatch) const {
  return behindMatch.empty() || !m_wordBytes.contains(behindMatch.front());
}

}  // namespace dorvane::internal
