#ifndef DORVANE_TESTS_HARNESS_LINKSREFERENCE_H
#define DORVANE_TESTS_HARNESS_LINKSREFERENCE_H

#include <algorithm>
#include <string>

#include "harness/ReplaceReference.h"

// Links in HTML told step by step: always the nearest scheme, the nearest anchor.
namespace harness::reference::links {

inline std::string autoLinked(const std::string& text) {
  constexpr std::size_t kNone = std::string::npos;
  std::string output;
  std::size_t from = 0;
  while (from < text.size()) {
    const std::size_t plain = search(text, from, "http://", true);
    const std::size_t secure = search(text, from, "https://", true);
    const std::size_t begin = std::min(plain, secure);
    if (begin == kNone) break;
    const std::size_t end = std::min(text.find_first_of("\t\n\r ()<>[]{}", begin), text.size());
    const std::string address = text.substr(begin, end - begin);
    output += text.substr(from, begin - from);
    output += "<a href=\"" + address + "\">" + address + "</a>";
    from = end;
  }
  return output + text.substr(from);
}

// Position behind the anchor that begins at `begin`; an unclosed one runs to the end.
inline std::size_t endOfAnchor(const std::string& text, std::size_t begin) {
  const std::size_t closing = search(text, begin, "</a", true);
  if (closing == std::string::npos) return text.size();
  const std::size_t bracket = text.find('>', closing);
  return bracket == std::string::npos ? text.size() : bracket + 1;
}

inline std::string autoLinkedPage(const std::string& text) {
  const std::size_t body = search(text, 0, "<body", true);
  std::size_t from = body == std::string::npos ? 0 : body;
  std::string output = text.substr(0, from);
  for (;;) {
    const std::size_t anchor = search(text, from, "<a", true);
    if (anchor == std::string::npos) return output + autoLinked(text.substr(from));
    const std::size_t end = endOfAnchor(text, anchor);
    output += autoLinked(text.substr(from, anchor - from)) + text.substr(anchor, end - anchor);
    from = end;
  }
}

}  // namespace harness::reference::links

#endif
