#ifndef DORVANE_TESTS_HARNESS_NAMEDVALUESREFERENCE_H
#define DORVANE_TESTS_HARNESS_NAMEDVALUESREFERENCE_H

#include <string>
#include <string_view>

#include "harness/ModelBuffer.h"

// The readers of named values told step by step, for comparison. The outputs have been emptied;
// they may be one and the same.
namespace harness::reference::naming {

constexpr std::string_view kSpace = "\t\n\r ";

inline std::string withoutLeadingSpace(std::string text) {
  while (!text.empty() && kSpace.find(text.front()) != std::string_view::npos) text.erase(0, 1);
  return text;
}

inline std::string trimmed(std::string text) {
  text = withoutLeadingSpace(std::move(text));
  while (!text.empty() && kSpace.find(text.back()) != std::string_view::npos) text.pop_back();
  return text;
}

// The bytes gather in a staging area of 120 and are appended in blocks.
inline void copyStaged(std::string_view text, ModelBuffer& out) {
  for (std::size_t i = 0; i < text.size(); i += 120) out.appendN(text.substr(i, 120));
}

inline void splitAttrValue(const std::string& content, ModelBuffer& name, ModelBuffer& value,
                           bool stripQuotes) {
  const std::string text = withoutLeadingSpace(content.c_str());
  if (text.empty()) return;
  const std::size_t equals = text.find('=');
  copyStaged(std::string_view(text).substr(0, equals), name);
  name.bytes = trimmed(name.bytes);
  if (equals == std::string::npos) return;
  std::string rest = withoutLeadingSpace(text.substr(equals + 1));
  if (rest.empty()) return;
  if (stripQuotes && rest.front() == '"') rest.erase(0, 1);
  copyStaged(rest, value);
  value.bytes = trimmed(value.bytes);
  if (stripQuotes && !value.bytes.empty() && value.bytes.back() == '"') value.bytes.pop_back();
}

inline bool getNamedValue(const std::string& content, const std::string& name, ModelBuffer& value) {
  const std::string text = content.c_str();
  const std::string key = trimmed(name) + "=";
  const std::size_t at = text.find(key);
  if (at == std::string::npos) return false;
  const std::size_t start = at + key.size();
  const std::size_t end = text.find(';', start);
  value.appendN(text.substr(start, end == std::string::npos ? end : end - start));
  return true;
}

}  // namespace harness::reference::naming

#endif
