#ifndef DORVANE_TESTS_HARNESS_WORDREPLACEREFERENCE_H
#define DORVANE_TESTS_HARNESS_WORDREPLACEREFERENCE_H

#include <string>
#include <string_view>

#include "harness/ModelBuffer.h"
#include "harness/ReplaceReference.h"

// The whole-word members, one step after the other and without any care for speed.
namespace harness::reference {

inline bool isWordByte(char c, bool extended) {
  constexpr std::string_view kPunctuation = "!%&-./:;?_@";
  const unsigned int b = static_cast<unsigned char>(c);
  if ((b >= 'A' && b <= 'Z') || (b >= 'a' && b <= 'z') || (b >= '0' && b <= '9')) return true;
  if (b >= 0xC0) return b != 0xD7 && b != 0xF7;
  if (!extended) return c == '_';
  return kPunctuation.find(c) != std::string_view::npos;
}

// Position of the first whole-word match in the text from `start` on, or npos.
inline std::size_t findWord(const std::string& text, std::size_t start, const std::string& word,
                            bool caseSensitive, bool extended) {
  if (start >= text.size() || word.empty()) return std::string::npos;
  for (;;) {
    const std::size_t at = search(text, start, word, !caseSensitive);
    if (at == std::string::npos) return at;
    const std::size_t behind = at + word.size();
    const bool leftIsWord = at != start && isWordByte(text[at - 1], extended);
    const bool rightIsWord = behind < text.size() && isWordByte(text[behind], extended);
    if (!leftIsWord && !rightIsWord) return at;
    if (at + 1 == text.size()) return std::string::npos;
    start = at + 1;
  }
}

inline bool replaceFirstWord(ModelBuffer& buffer, const char* find, const char* replacement,
                             bool extended) {
  if (nothingToFind(find)) return false;
  const std::string text = buffer.text();
  const std::size_t at = findWord(text, 0, find, true, extended);
  if (at == std::string::npos) return false;
  const std::string tail = text.substr(replacement == nullptr ? at : at + std::string(find).size());
  buffer.bytes.resize(at);
  if (replacement != nullptr) buffer.append(replacement);
  buffer.append(tail);
  return true;
}

inline unsigned int replaceAllWords(ModelBuffer& buffer, const char* find, const char* replacement,
                                    bool caseSensitive, bool extended) {
  if (nothingToFind(find)) return 0;
  const std::string wanted = find;
  const std::string text = buffer.text();
  std::size_t at = findWord(text, 0, wanted, caseSensitive, extended);
  if (at == std::string::npos) return 0;
  ModelBuffer output;
  std::size_t from = 0;
  unsigned int count = 0;
  for (; at != std::string::npos; at = findWord(text, from, wanted, caseSensitive, extended)) {
    output.append(text.substr(from, at - from));
    if (replacement != nullptr) output.append(replacement);
    ++count;
    from = at + wanted.size();
  }
  output.append(text.substr(from));
  buffer = output;
  return count;
}

}  // namespace harness::reference

#endif
