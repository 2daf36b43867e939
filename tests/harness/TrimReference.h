#ifndef DORVANE_TESTS_HARNESS_TRIMREFERENCE_H
#define DORVANE_TESTS_HARNESS_TRIMREFERENCE_H

#include <algorithm>
#include <string>
#include <string_view>

#include "harness/ModelBuffer.h"

// Trimming and chopping told slowly, step by step, on the bytes of a content.
namespace harness::reference {

inline bool isIn(std::string_view set, char c) { return set.find(c) != std::string_view::npos; }

// Runs `change` and tells by how many bytes the content has become shorter.
template <class Change>
unsigned int removedBy(std::string& content, Change change) {
  const std::size_t before = content.size();
  change();
  return static_cast<unsigned int>(before - content.size());
}

inline unsigned int trimEnd(std::string& content, std::string_view set) {
  return removedBy(content, [&] {
    while (!content.empty() && isIn(set, content.back())) content.pop_back();
  });
}

inline unsigned int trimEnds(std::string& content, std::string_view set) {
  return removedBy(content, [&] {
    while (!content.empty() && isIn(set, content.front())) content.erase(0, 1);
    trimEnd(content, set);
  });
}

inline unsigned int trimInsideSpaces(std::string& content) {
  return removedBy(content, [&] {
    std::string written;
    bool lastWasSpace = false;
    for (char c : content) {
      if (isIn("\t\n\r", c)) c = ' ';
      if (c != ' ' || !lastWasSpace) written += c;
      lastWasSpace = c == ' ';
    }
    content = written;
  });
}

inline void trimBefore(std::string& content, char ch, bool alsoRemoveChar) {
  const std::string text = content.c_str();
  const std::size_t at = text.find(ch);
  if (at != std::string::npos) content = text.substr(alsoRemoveChar ? at + 1 : at);
}

inline void trimAfter(std::string& content, char ch, bool alsoRemoveChar) {
  const std::size_t at = content.rfind(ch);
  if (at != std::string::npos) content.resize(alsoRemoveChar ? at : at + 1);
}

inline bool cutAt(std::string& content, std::size_t at) {
  if (at == std::string::npos) return false;
  content.resize(at);
  return true;
}

inline bool chopAtFirstChar(std::string& content, char ch) {
  return cutAt(content, content.find(ch));
}

inline bool chopAtLastChar(std::string& content, char ch) {
  return cutAt(content, content.rfind(ch));
}

inline void stripDirectory(ModelBuffer& model) {
  std::string copy = model.text().substr(0, 2048);
  std::replace(copy.begin(), copy.end(), '/', '\\');
  const std::size_t at = copy.rfind('\\');
  if (at == std::string::npos) return;
  model = ModelBuffer();
  const std::string kept = copy.substr(at + 1);
  if (!kept.empty()) model.append(kept);
}

}  // namespace harness::reference

#endif
