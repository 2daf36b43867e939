#ifndef DORVANE_TESTS_HARNESS_ISO2022REFERENCE_H
#define DORVANE_TESTS_HARNESS_ISO2022REFERENCE_H

#include <cstddef>
#include <string>
#include <vector>

#include "harness/ModelBuffer.h"
#include "harness/ReplaceReference.h"

// The protection of ISO-2022-JP runs, one step after the other and without any care for speed.
namespace harness::reference {

inline const std::string kOpening = "\x1B$B";
inline const std::string kClosing = "\x1B(B";

inline std::string placeholder(std::size_t number) {
  return "DV_ISO2022_" + std::to_string(number);
}

// What iso2022Replace() leaves of a text, and the runs that it saves.
struct Protected {
  std::string text;
  std::vector<std::string> runs;
};

inline Protected protectRuns(const std::string& text) {
  Protected result;
  std::size_t cursor = 0;
  while (cursor < text.size()) {
    const std::size_t opening = text.find(kOpening, cursor);
    result.text += text.substr(cursor, opening - cursor);
    if (opening == std::string::npos) break;
    const std::size_t closing = text.find(kClosing, opening);
    const std::size_t end = closing == std::string::npos ? text.size() : closing + kClosing.size();
    result.runs.push_back(text.substr(opening, end - opening));
    result.text += placeholder(result.runs.size());
    cursor = end;
  }
  return result;
}

// The storage is kept and the extend size begins anew.
inline std::vector<std::string> iso2022Replace(ModelBuffer& buffer) {
  const Protected result = protectRuns(buffer.text());
  buffer.bytes.clear();
  buffer.extendSize = 202;
  buffer.appendN(result.text);
  return result.runs;
}

inline void iso2022Restore(ModelBuffer& buffer, const std::vector<std::string>& runs) {
  for (std::size_t i = 0; i < runs.size(); ++i)
    replaceFirst(buffer, placeholder(i + 1).c_str(), runs[i].c_str());
}

}  // namespace harness::reference

#endif
