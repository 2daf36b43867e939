#ifndef DORVANE_TEXT_INTERNAL_REPLACEMATCHES_H
#define DORVANE_TEXT_INTERNAL_REPLACEMATCHES_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "core/internal/Scratch.h"

namespace dorvane::internal {

/// The matches of a search in a text, in order. The first ones are found at once: they tell how
/// much room the text needs after a replacement, and are not looked for again.
template <class Find>
class Matches {
 public:
  /// `find(rest)` returns the offset of the first match in `rest`, or npos. Each is `size` bytes
  /// long. There is no NUL in the text.
  Matches(std::string_view text, std::size_t size, const Find& find)
      : m_text(text), m_size(size), m_find(find) {
    std::string_view rest = text;
    unsigned int known = 0;
    for (std::size_t gap; known < kMostKnown && (gap = find(rest)) != kNone; ++known) {
      m_gaps[known] = static_cast<std::uint32_t>(gap);
      rest.remove_prefix(gap + size);
    }
    m_known = known;
    m_afterKnown = text.size() - rest.size();
  }

  bool none() const { return m_known == 0; }

  /// Size of the text with each match replaced by `n` bytes. With many matches it is a bound if
  /// they do not become longer; if they do, an estimate from those that are known.
  std::uint64_t sizeReplacedBy(std::size_t n) const {
    const std::uint64_t all = m_text.size();
    if (n <= m_size) return all - m_known * std::uint64_t{m_size - n};
    const std::uint64_t growth = m_known * std::uint64_t{n - m_size};
    return all + growth + (m_known < kMostKnown ? 0 : growthOfRest(growth));
  }

  /// Appends the text with every match replaced to `out`; returns the number of matches. `out`
  /// grows piece by piece: the text before a match, its replacement, ..., the text after the last
  /// match. A piece for which it cannot grow is left out.
  unsigned int appendReplaced(std::string_view replacement, StringBuffer& out) const {
    const BufferAccess to(out);
    std::string_view rest = m_text;
    unsigned int count = 0;
    for (std::size_t gap; (gap = gapBefore(count, rest)) != kNone; ++count) {
      to.append(rest.substr(0, gap));
      to.append(replacement);
      rest.remove_prefix(gap + m_size);
    }
    to.append(rest);
    return count;
  }

 private:
  static constexpr std::size_t kNone = std::string_view::npos;
  static constexpr unsigned int kMostKnown = 256;

  // The bytes before a match that are not yet replaced, which `rest` begins with; npos after the
  // last match.
  std::size_t gapBefore(unsigned int index, std::string_view rest) const {
    if (index < m_known) return m_gaps[index];
    return m_known < kMostKnown ? kNone : m_find(rest);
  }

  // A little more than if the rest grew as its beginning did, but at most to four times its size.
  std::uint64_t growthOfRest(std::uint64_t growth) const {
    const double perByte = static_cast<double>(growth) / static_cast<double>(m_afterKnown);
    const auto rest = static_cast<double>(m_text.size() - m_afterKnown);
    return static_cast<std::uint64_t>(std::min(perByte * 1.125, 3.0) * rest);
  }

  std::string_view m_text;
  std::size_t m_size;
  Find m_find;
  std::size_t m_afterKnown = 0;
  unsigned int m_known = 0;
  std::uint32_t m_gaps[kMostKnown];  // the bytes before each known match, from the one before it on
};

/// Replaces all matches in the text of a buffer, each `size` bytes long, and returns their number.
/// `find(rest)` returns the offset of the first one in `rest`, or npos. A null replacement is the
/// empty one.
template <class Find>
unsigned int replaceAll(StringBuffer& buffer, std::size_t size, const char* replacement,
                        const Find& find) {
  const BufferAccess self(buffer);
  const Matches matches(self.text(), size, find);
  if (matches.none()) return 0;
  const std::string_view bytes = replacement == nullptr ? "" : replacement;
  Scratch out(buffer);
  BufferAccess(out).reserve(matches.sizeReplacedBy(bytes.size()));
  const unsigned int count = matches.appendReplaced(bytes, out);
  buffer.takeSb(out);
  return count;
}

}  // namespace dorvane::internal

#endif
