#include "text/internal/OverlappingMatches.h"

namespace dorvane::internal {

std::size_t OverlappingMatches::from(std::size_t offset) {
  while (m_match < offset) step(offset);
  return m_match;
}

// The first match at or after `start`.
std::size_t OverlappingMatches::search(std::size_t start) const {
  const std::size_t at = m_find(m_text.substr(start), m_needle);
  return at == kNone ? kNone : start + at;
}

// A needle that overlaps itself may match at every few bytes of a hostile text. Two neighbouring
// matches at most half a needle apart give its smallest period; from then on only the bytes of one
// period behind a match are compared to know whether the next one follows. Matches farther apart
// pay for their own comparison, so the whole is linear.
void OverlappingMatches::step(std::size_t start) {
  const std::size_t last = m_match;
  if (start >= last + m_needle.size()) {
    m_match = search(start);
  } else if (m_period == 0) {
    m_match = search(last + 1);
    if (m_match <= last + m_needle.size() / 2) m_period = m_match - last;
  } else {
    m_match = isRepeated() ? last + m_period : search(start);
  }
}

// True when the needle matches one period further on, too.
bool OverlappingMatches::isRepeated() const {
  const std::string_view next = m_text.substr(m_match + m_needle.size(), m_period);
  return m_find(next, m_needle.substr(m_needle.size() - m_period)) != kNone;
}

}  // namespace dorvane::internal
