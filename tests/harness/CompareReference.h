#ifndef DORVANE_TESTS_HARNESS_COMPAREREFERENCE_H
#define DORVANE_TESTS_HARNESS_COMPAREREFERENCE_H

#include <cstddef>
#include <string>
#include <string_view>

// Comparison and search told slowly, on a content that may hold NULs and on NUL-terminated texts.
namespace harness::reference {

// The bytes before the first NUL.
inline std::string textOf(std::string_view content) {
  return std::string(content.substr(0, content.find('\0')));
}

inline unsigned char foldedByte(char c) {
  if (c >= 'A' && c <= 'Z') return static_cast<unsigned char>(c - 'A' + 'a');
  return static_cast<unsigned char>(c);
}

inline std::string folded(std::string_view text) {
  std::string result;
  for (const char c : text) result += static_cast<char>(foldedByte(c));
  return result;
}

inline std::string foldedIf(bool fold, std::string_view text) {
  return fold ? folded(text) : std::string(text);
}

inline int signOf(int value) { return (value > 0) - (value < 0); }

// -1, 0 or 1 by unsigned bytes; a text that ends comes before one that goes on.
inline int threeWay(std::string_view a, std::string_view b) {
  for (std::size_t i = 0; i < a.size() && i < b.size(); ++i) {
    const int difference = static_cast<unsigned char>(a[i]) - static_cast<unsigned char>(b[i]);
    if (difference != 0) return signOf(difference);
  }
  return static_cast<int>(a.size() > b.size()) - static_cast<int>(a.size() < b.size());
}

inline bool equalsText(std::string_view content, const char* text, bool fold) {
  if (text == nullptr) return content.empty();
  return foldedIf(fold, textOf(content)) == foldedIf(fold, text);
}

inline bool equalsContent(std::string_view a, std::string_view b, bool fold) {
  return a.size() == b.size() && foldedIf(fold, textOf(a)) == foldedIf(fold, textOf(b));
}

inline bool equalsIgnoreCase2(std::string_view content, const char* text, unsigned int n) {
  if (content.size() != n) return false;
  if (text == nullptr) return n == 0;
  return n != 0 && equalsText(content, text, true);
}

inline bool beginsWith(std::string_view content, const char* text, bool fold) {
  if (text == nullptr) return false;
  const std::string prefix = foldedIf(fold, text);
  return foldedIf(fold, textOf(content)).substr(0, prefix.size()) == prefix;
}

// The first n bytes agree, or all bytes up to a NUL that both have.
inline bool beginsWithN(std::string_view content, const char* text, unsigned int n, bool fold) {
  if (text == nullptr) return false;
  for (std::size_t i = 0; i < n; ++i) {
    const char c = i < content.size() ? content[i] : '\0';
    const bool same = fold ? foldedByte(c) == foldedByte(text[i]) : c == text[i];
    if (!same) return false;
    if (c == '\0') return true;
  }
  return true;
}

inline bool endsWith(std::string_view content, const char* text, bool fold) {
  if (text == nullptr) return false;
  const std::string suffix = foldedIf(fold, text);
  if (content.size() < suffix.size()) return false;
  return foldedIf(fold, content.substr(content.size() - suffix.size())) == suffix;
}

inline int indexOf(std::string_view content, const char* needle, bool fold) {
  if (needle == nullptr) return -1;
  const std::size_t at = foldedIf(fold, textOf(content)).find(foldedIf(fold, needle));
  return at == std::string::npos ? -1 : static_cast<int>(at);
}

// "*" any run, "?" one byte; tries every way.
inline bool wildcard(std::string_view text, std::string_view pattern) {
  if (pattern.empty()) return text.empty();
  if (pattern[0] == '*')
    return wildcard(text, pattern.substr(1)) ||
           (!text.empty() && wildcard(text.substr(1), pattern));
  if (text.empty() || (pattern[0] != '?' && pattern[0] != text[0])) return false;
  return wildcard(text.substr(1), pattern.substr(1));
}

inline bool matches(std::string_view content, const char* pattern, bool caseSensitive) {
  if (pattern == nullptr) return false;
  return wildcard(foldedIf(!caseSensitive, textOf(content)), foldedIf(!caseSensitive, pattern));
}

inline bool containsAnyOf(std::string_view content, const char* set) {
  if (set == nullptr) return false;
  return content.find_first_of(set) != std::string_view::npos;
}

}  // namespace harness::reference

#endif
