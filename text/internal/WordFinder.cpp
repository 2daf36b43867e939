#include "text/internal/WordFinder.h"

#include "support/internal/Search.h"

namespace dorvane::internal {

// A word that overlaps itself may match at every few bytes of a hostile text and be rejected each
// time. Two matches less than half a word apart give its smallest period; from then on only the
// bytes of one period behind a match are compared to know whether the next one follows. Matches
// farther apart pay for their own comparison, so the whole is linear.
const char* WordFinder::operator()(std::string_view text) const {
  std::size_t start = 0;
  std::size_t period = 0;
  const char* match = find(text);
  while (match != nullptr) {
    const auto at = static_cast<std::size_t>(match - text.data());
    const std::string_view behind = text.substr(at + m_word.size());
    const bool startsAtBoundary = at == start || !m_wordBytes.contains(text[at - 1]);
    if (startsAtBoundary && endsAtBoundary(behind)) return match;
    start = at + 1;
    if (period != 0 && behind.size() >= period &&
        isSame(behind.substr(0, period), m_word.substr(m_word.size() - period))) {
      match += period;
      continue;
    }
    const char* const next = find(text.substr(start));
    if (next != nullptr && next - match <= static_cast<std::ptrdiff_t>(m_word.size() / 2))
      period = static_cast<std::size_t>(next - match);
    match = next;
  }
  return nullptr;
}

const char* WordFinder::find(std::string_view text) const {
  return m_caseSensitive ? findBytes(text, m_word) : findBytesNoCase(text, m_word);
}

bool WordFinder::isSame(std::string_view a, std::string_view b) const {
  return m_caseSensitive ? a == b : findBytesNoCase(a, b) != nullptr;
}

bool WordFinder::endsAtBoundary(std::string_view behindMatch) const {
  return behindMatch.empty() || !m_wordBytes.contains(behindMatch.front());
}

}  // namespace dorvane::internal
