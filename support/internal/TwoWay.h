#ifndef DORVANE_SUPPORT_INTERNAL_TWOWAY_H
#define DORVANE_SUPPORT_INTERNAL_TWOWAY_H

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "support/internal/Ascii.h"

namespace dorvane::internal {

/// How bytes are compared: as they are, or with ASCII letters folded to lower case. Setting the
/// fold bit of a letter makes both of its cases one value.
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

/// Number of equal bytes at the start of two texts of at least n bytes.
template <class Rule>
std::size_t equalBytes(const char* a, const char* b, std::size_t n) noexcept {
  std::size_t i = 0;
  while (i < n && folded<Rule>(a[i]) == folded<Rule>(b[i])) ++i;
  return i;
}

/// A needle prepared for the two-way algorithm (Crochemore and Perrin, "Two-way string-matching",
/// 1991): the search is linear in the text and the needle, whatever their bytes are, and needs no
/// table. The needle is not empty.
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
      const char* const start = hay.data() + pos;
      const std::size_t right = matchRight(start, std::max(m_split, known));
      if (right < size) {
        pos += right - m_split + 1;
        known = 0;
        continue;
      }
      if (matchesLeft(start, known)) return start;
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

}  // namespace dorvane::internal

#endif
