#ifndef DORVANE_TEXT_INTERNAL_REPLACEMATCHES_H
#define DORVANE_TEXT_INTERNAL_REPLACEMATCHES_H

#include <cstddef>
#include <string_view>

#include "core/StringBuffer.h"
#include "text/internal/Texts.h"

namespace dorvane::internal {

/// Appends `text` to `out` with every match replaced, and returns the number of matches. `match`
/// is the first one, or null; `find(rest)` answers the next in `rest`. Each is `size` bytes long.
/// `out` grows piece by piece: the text before a match, its replacement, ..., the text behind the
/// last match. A piece for which it cannot grow is left out. Without a match `out` stays as it is.
template <class Find>
unsigned int replaceMatches(std::string_view text, std::size_t size, std::string_view replacement,
                            const char* match, const Find& find, StringBuffer& out) {
  unsigned int count = 0;
  for (; match != nullptr; match = find(text)) {
    ++count;
    const auto before = static_cast<std::size_t>(match - text.data());
    appendTo(out, text.substr(0, before));
    appendTo(out, replacement);
    text.remove_prefix(before + size);
  }
  if (count != 0) appendTo(out, text);
  return count;
}

}  // namespace dorvane::internal

template <class Find>
unsigned int StringBuffer::replaceAll(std::size_t size, const char* replacement, const Find& find) {
  const std::string_view all = text();
  const char* const first = find(all);
  if (first == nullptr) return 0;
  StringBuffer out;
  out.m_secure = m_secure;
  const unsigned int count = dorvane::internal::replaceMatches(
      all, size, replacement == nullptr ? "" : replacement, first, find, out);
  takeSb(out);
  return count;
}

#endif
