#include "text/internal/OverlappingMatches.h"

namespace dorvane::internal {

const char* OverlappingMatches::from(std::size_t offset) {
  const char* const start = m_text.data() + offset;
  while (m_match != nullptr && m_match < start) step(start);
  return m_match;
}

// A needle that overlaps itself may match at every few bytes of a hostile text. Two neighbouring
// matches at most half a needle apart give its smallest period; from then on only the bytes of one
// period behind a match are compared to know whether the next one follows. Matches farther apart
// pay for their own comparison, so the whole is linear.
void OverlappingMatches::step(const char* start) {
  const char* const last = m_match;
  if (start >= last + m_needle.size()) {
    m_match = m_find(behind(start), m_needle);
  } else if (m_period == 0) {
    m_match = m_find(behind(last + 1), m_needle);
    if (m_match != nullptr && m_match <= last + m_needle.size() / 2)
      m_period = static_cast<std::size_t>(m_match - last);
  } else {
    m_match = isRepeated() ? last + m_period : m_find(behind(start), m_needle);
  }
}

// True when the needle matches one period further on, too.
bool OverlappingMatches::isRepeated() const {
  const std::string_view next = behind(m_match + m_needle.size()).substr(0, m_period);
  return m_find(next, m_needle.substr(m_needle.size() - m_period)) != nullptr;
}

}  // namespace dorvane::internal
