#include "support/internal/Search.h"

#include <cstddef>
#include <cstring>

#include "support/internal/TwoWay.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// Candidates are the positions where the first and the last byte of the needle fit; they are
// found 16 at a time where the processor can. Only there are the bytes between compared. When a
// hostile text makes these comparisons cost more than the scan itself, the rest is searched by
// the two-way algorithm.

namespace dorvane::internal {
namespace {

// A byte to look for, in both cases when the rule says so.
struct Probe {
  unsigned char value;
  unsigned char foldBit;

  bool fits(char c) const noexcept { return (static_cast<unsigned char>(c) | foldBit) == value; }

#if defined(__SSE2__)
  // 0xFF in each lane that fits.
  __m128i fitsBlock(const char* p) const noexcept {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i bits = _mm_set1_epi8(static_cast<char>(foldBit));
    return _mm_cmpeq_epi8(_mm_or_si128(block, bits), _mm_set1_epi8(static_cast<char>(value)));
  }
#endif
};

template <class Rule>
Probe probeFor(char c) noexcept {
  return {folded<Rule>(c), Rule::foldBit(static_cast<unsigned char>(c))};
}

// The positions of a text where a needle may begin; the needle is neither empty nor longer than
// the text.
template <class Rule>
class Candidates {
 public:
  Candidates(std::string_view hay, std::string_view needle) noexcept
      : m_start(hay.data()),
        m_end(hay.data() + needle.size() - 1),
        m_positions(hay.size() - needle.size() + 1),
        m_first(probeFor<Rule>(needle.front())),
        m_last(probeFor<Rule>(needle.back())) {}

  // Number of positions where the needle would end inside the text.
  std::size_t positions() const noexcept { return m_positions; }

  // The first candidate at or behind position i; positions() when there is none.
  std::size_t next(std::size_t i) const noexcept {
#if defined(__SSE2__)
    for (; i + 16 <= m_positions; i += 16) {
      const __m128i fit =
          _mm_and_si128(m_first.fitsBlock(m_start + i), m_last.fitsBlock(m_end + i));
      const int lanes = _mm_movemask_epi8(fit);
      if (lanes != 0)
        return i + static_cast<std::size_t>(__builtin_ctz(static_cast<unsigned int>(lanes)));
    }
#endif
    while (i < m_positions && !(m_first.fits(m_start[i]) && m_last.fits(m_end[i]))) ++i;
    return i;
  }

 private:
  const char* m_start;  // where the needle's first byte stands at position 0
  const char* m_end;    // where its last byte stands
  std::size_t m_positions;
  Probe m_first;
  Probe m_last;
};

template <class Rule>
const char* search(std::string_view hay, std::string_view needle) noexcept {
  constexpr std::size_t kFreeComparisons = 256;
  if (needle.empty()) return hay.data();
  if (needle.size() > hay.size()) return nullptr;
  const Candidates<Rule> candidates(hay, needle);
  std::size_t compared = 0;
  for (std::size_t i = candidates.next(0); i < candidates.positions(); i = candidates.next(i + 1)) {
    const std::size_t equal = equalBytes<Rule>(hay.data() + i, needle.data(), needle.size());
    if (equal == needle.size()) return hay.data() + i;
    compared += equal;
    if (compared > kFreeComparisons + 4 * i) return TwoWay<Rule>(needle).find(hay.substr(i + 1));
  }
  return nullptr;
}

}  // namespace

const char* findBytes(std::string_view hay, std::string_view needle) noexcept {
  if (needle.size() == 1 && !hay.empty())
    return static_cast<const char*>(std::memchr(hay.data(), needle.front(), hay.size()));
  return search<Exact>(hay, needle);
}

const char* findBytesNoCase(std::string_view hay, std::string_view needle) noexcept {
  return search<NoCase>(hay, needle);
}

}  // namespace dorvane::internal
