#ifndef DORVANE_TESTS_HARNESS_WORDFORMSREFERENCE_H
#define DORVANE_TESTS_HARNESS_WORDFORMSREFERENCE_H

#include <string>
#include <string_view>

#include "harness/ModelBuffer.h"

// The rules of plural and singular, in their order and as they are told.
namespace harness::reference {

inline bool isOneOf(char c, std::string_view set) { return set.find(c) != std::string_view::npos; }

inline void replaceEnd(ModelBuffer& word, std::size_t removed, std::string_view ending) {
  word.bytes.resize(word.bytes.size() - removed);
  word.append(ending);
}

inline void pluralize(ModelBuffer& word) {
  const std::size_t n = word.bytes.size();
  if (n == 0) return;
  const char c = word.bytes[n - 1];
  const bool hasP = n >= 2;
  const char p = hasP ? word.bytes[n - 2] : '\0';
  if (c == 'e' && hasP && p == 'f') return replaceEnd(word, 2, "ves");
  if (c == 'f') return replaceEnd(word, 1, "ves");
  if (c == 'h' && hasP && isOneOf(p, "cs")) return replaceEnd(word, 0, "es");
  if (c == 's') return;
  if (isOneOf(c, "xz")) return replaceEnd(word, 0, "es");
  if (c == 'y' && hasP && !isOneOf(p, "aeiou")) return replaceEnd(word, 1, "ies");
  replaceEnd(word, 0, "s");
}

inline bool isAlways(std::string_view word) {
  if (word.size() != 6) return false;
  for (std::size_t i = 0; i < 6; ++i)
    if (word[i] != "always"[i] && word[i] != "ALWAYS"[i]) return false;
  return true;
}

inline void unpluralize(ModelBuffer& word) {
  const std::size_t n = word.bytes.size();
  const auto fromEnd = [&](std::size_t i) { return n >= i ? word.bytes[n - i] : '\0'; };
  const char s = fromEnd(1);
  const char p = fromEnd(2);
  const char q = fromEnd(3);
  const char r = fromEnd(4);
  if (n == 0 || s != 's') return;                        // 1
  if (n == 1) return replaceEnd(word, 1, "");            // 2
  if (p >= '0' && p <= '9') return;                      // 3
  if (isOneOf(p, "aiou")) return;                        // 4
  if (n == 2 || n == 3) return replaceEnd(word, 1, "");  // 5
  if (q == 'a') {                                        // 6
    if (p == 's') return;
    if (p != 'y') return replaceEnd(word, 1, "");
    if (isAlways(word.bytes)) return;
    return replaceEnd(word, 1, "");
  }
  if (isOneOf(q, "eio") && p == 's') return;  // 7
  if (q == 'v' && p == 'e') {                 // 8
    if (n >= 5 && isOneOf(r, "eio")) return replaceEnd(word, 1, "");
    return replaceEnd(word, 3, "f");
  }
  if (q == 'x' && p == 'a') return;                                         // 9
  if (q == 'u' && p == 's') return;                                         // 10
  if (q == 'i' && p == 'e') return replaceEnd(word, 3, "y");                // 11
  if (isOneOf(q, "hx") && p == 'e') return replaceEnd(word, 2, "");         // 12
  if (q == 'z' && p == 'e') return replaceEnd(word, r == 'i' ? 1 : 2, "");  // 13
  if (q == 'o' && p == 'e') return;                                         // 14
  replaceEnd(word, 1, "");                                                  // 15
}

}  // namespace harness::reference

#endif
