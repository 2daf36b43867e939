#ifndef DORVANE_TEXT_INTERNAL_PARTLYMEASURED_H
#define DORVANE_TEXT_INTERNAL_PARTLYMEASURED_H

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace dorvane::internal {

/// A text whose end is looked for no farther than needed: a search that is repeated behind each
/// match would measure the whole rest every time. The known part is short at first; a search that
/// fails in it is repeated in a part four times as long, so the cost stays linear in the way to
/// the match, and to the end of the text when there is none.
class PartlyMeasured {
 public:
  /// A NUL-terminated text.
  explicit PartlyMeasured(const char* text) : PartlyMeasured(text, kUnlimited) {}
  /// The bytes up to the first NUL, or all of them.
  explicit PartlyMeasured(std::string_view bytes) : PartlyMeasured(bytes.data(), bytes.size()) {}

  std::string_view known() const { return {m_text, m_known}; }

  /// True when the known part is the whole text.
  bool isWhole() const { return m_known == m_limit || m_text[m_known] == '\0'; }

  /// The offset of the first match, or npos. `find(known)` looks for it in the known part, which is
  /// extended until there is one or the text ends.
  template <class Find>
  std::size_t search(const Find& find) {
    std::size_t at = find(known());
    for (; at == std::string_view::npos && !isWhole(); at = find(known())) extend();
    return at;
  }

 private:
  void extend() { measure(m_known > kUnlimited / 4 ? kUnlimited : 4 * m_known); }

  static constexpr std::size_t kUnlimited = std::string_view::npos;
  static constexpr std::size_t kFirstPart = 256;

  PartlyMeasured(const char* text, std::size_t limit) : m_text(text), m_limit(limit) {
    measure(kFirstPart);
  }
  void measure(std::size_t size) {
    m_known += strnlen(m_text + m_known, std::min(size, m_limit) - m_known);
  }

  const char* m_text;
  std::size_t m_limit;
  std::size_t m_known = 0;
};

}  // namespace dorvane::internal

#endif
