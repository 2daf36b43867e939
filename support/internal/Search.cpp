#include "support/internal/Search.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "support/internal/Ascii.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// Candidates are the positions where the first and the last byte of the needle fit; they are
// found 16 at a time where the processor can. Only there are the bytes between compared. When a
// hostile text makes these comparisons cost more than the scan itself, the rest is searched by
// the two-way algorithm (Crochemore and Perrin, "Two-way string-matching", 1991), which is
// linear and needs no table.

namespace dorvane::internal {
namespace {

// How bytes are compared: as they are, or with ASCII letters folded to lower case. Setting the
// fold bit of a letter makes both of its cases one value.
struct Exact {
  static constexpr unsigned char fold(unsigned char c) noexcept { return c; }
  static constexpr unsigned char foldBit(unsigned char) noexcept { return 0; }
};

struct NoCase {
  static constexpr unsigned char fold(unsigned char c) noexcept { return asciiLower(c); }
  static constexpr unsigned char foldBit(unsigned char c) noexcept {
    return isAsciiLetter(c) ? 0x20 : 0;
  }
};

template <class Rule>
unsigned char folded(char c) noexcept {
  return Rule::fold(static_cast<unsigned char>(c));
}

// Number of equal bytes at the start of two texts of at least n bytes.
template <class Rule>
std::size_t equalBytes(const char* a, const char* b, std::size_t n) noexcept {
  std::size_t i = 0;
  while (i < n && folded<Rule>(a[i]) == folded<Rule>(b[i])) ++i;
  return i;
}

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
class TwoWay {
 public:
  explicit TwoWay(std::string_view needle) noexcept : m_needle(needle) {
    factorize();
    m_periodic = m_period + m_split <= needle.size() &&
                 equalBytes<Rule>(needle.data(), needle.data() + m_period, m_split) == m_split;
    if (!m_periodic) m_period = std::max(m_split, needle.size() - m_split) + 1;
  }

  const char* find(std::string_view hay) const noexcept {
    const std::size_t size = m_needle.size();
    std::size_t known = 0;  // bytes of the needle that are known to match from earlier rounds
    for (std::size_t pos = 0; pos + size <= hay.size();) {
      const char* at = hay.data() + pos;
      const std::size_t right = matchRight(at, std::max(m_split, known));
      if (right < size) {
        pos += right - m_split + 1;
        known = 0;
        continue;
      }
      if (matchesLeft(at, known)) return at;
      pos += m_period;
      known = m_periodic ? size - m_period : 0;
    }
    return nullptr;
  }

 private:
  struct Suffix {
    std::size_t start = 0;
    std::size_t period = 1;
  };

  unsigned char at(std::size_t i) const noexcept { return folded<Rule>(m_needle[i]); }

  // The critical factorization: the later one of the maximal suffixes under both byte orders.
  void factorize() noexcept {
    const Suffix less = maximalSuffix(false);
    const Suffix greater = maximalSuffix(true);
    const Suffix& later = less.start > greater.start ? less : greater;
    m_split = later.start;
    m_period = later.period;
  }

  Suffix maximalSuffix(bool reversed) const noexcept {
    Suffix suffix;
    std::size_t rival = 1;    // start of the suffix that is compared
    std::size_t matched = 0;  // bytes that both have in common, within one period
    while (rival + matched < m_needle.size()) {
      const unsigned char a = at(rival + matched);
      const unsigned char b = at(suffix.start + matched);
      if (a == b) {
        if (++matched == suffix.period) {
          rival += matched;
          matched = 0;
        }
      } else if ((a < b) != reversed) {
        rival += matched + 1;
        matched = 0;
        suffix.period = rival - suffix.start;
      } else {
        suffix = {rival, 1};
        ++rival;
        matched = 0;
      }
    }
    return suffix;
  }

  // Index of the first byte from `from` on that differs; the needle's size when none does.
  std::size_t matchRight(const char* text, std::size_t from) const noexcept {
    return from + equalBytes<Rule>(m_needle.data() + from, text + from, m_needle.size() - from);
  }

  bool matchesLeft(const char* text, std::size_t known) const noexcept {
    std::size_t i = m_split;
    while (i > known && folded<Rule>(text[i - 1]) == at(i - 1)) --i;
    return i <= known;
  }

  std::string_view m_needle;
  std::size_t m_split = 0;
  std::size_t m_period = 1;
  bool m_periodic = false;
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
