#ifndef DORVANE_TESTS_HARNESS_VARIABLESREFERENCE_H
#define DORVANE_TESTS_HARNESS_VARIABLESREFERENCE_H

#include <cstdlib>
#include <map>
#include <string>

#include "harness/JsonReference.h"
#include "harness/ModelBuffer.h"

// The template members, one step after the other and without any care for speed.
namespace harness::reference {

using Variables = std::map<std::string, std::string>;

inline std::string percentEncoded(const std::string& bytes) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  constexpr std::string_view kKept = "-._~";
  std::string encoded;
  for (const char c : bytes) {
    const unsigned int b = static_cast<unsigned char>(c);
    const bool alphaNum =
        (b >= '0' && b <= '9') || (b >= 'A' && b <= 'Z') || (b >= 'a' && b <= 'z');
    if (alphaNum || kKept.find(c) != std::string_view::npos)
      encoded += c;
    else
      encoded += std::string("%") + kDigits[b >> 4] + kDigits[b & 15U];
  }
  return encoded;
}

inline std::string encodedValue(const std::string& value, int mode) {
  if (mode == 4) return percentEncoded(value);
  return mode == 22 ? jsonEscaped(value) : value;
}

struct Staging {
  ModelBuffer output;
  std::string staged;

  void flush() {
    output.appendN(staged);
    staged.clear();
  }
  void stage(char c) {
    staged += c;
    if (staged.size() >= 252) flush();
  }
  // The two bytes from a "{" on that begins no marker stay together: room is made first.
  void stagePair(char first, char second) {
    if (staged.size() + 2 > 252) flush();
    stage(first);
    stage(second);
  }
};

inline std::string lookupKey(const std::string& name) {
  return name.size() >= 2 && name[1] == '.' ? name.substr(2) : name;
}

inline bool variableSubstitute(ModelBuffer& buffer, const Variables& variables, int mode) {
  const std::string text = buffer.text();
  Staging area;
  for (std::size_t i = 0; i < text.size();) {
    if (text[i] != '{' || i + 1 == text.size()) {
      area.stage(text[i++]);
    } else if (text[i + 1] != '$') {
      area.stagePair(text[i], text[i + 1]);
      i += 2;
    } else {
      const std::size_t close = text.find('}', i + 2);
      if (close == std::string::npos) {
        area.flush();
        area.output.append("{$");
        area.output.append(text.substr(i + 2));
        break;
      }
      const auto found = variables.find(lookupKey(text.substr(i + 2, close - i - 2)));
      if (found != variables.end()) {
        area.flush();
        area.output.appendN(encodedValue(found->second, mode));
      }
      i = close + 1;
    }
  }
  area.flush();
  buffer = area.output;
  return false;
}

// Without a pair of percent signs nothing changes.
inline void envReplace(ModelBuffer& buffer) {
  const std::string text = buffer.text();
  std::string output;
  std::size_t position = 0;
  bool anyPair = false;
  for (;;) {
    const std::size_t open = text.find('%', position);
    if (open == std::string::npos) break;
    const std::size_t close = text.find('%', open + 1);
    if (close == std::string::npos) break;
    anyPair = true;
    output += text.substr(position, open - position);
    const char* value = std::getenv(text.substr(open + 1, close - open - 1).c_str());
    if (value != nullptr) output += value;
    position = close + 1;
  }
  if (!anyPair) return;
  buffer = ModelBuffer();
  buffer.append(output + text.substr(position));
}

}  // namespace harness::reference

#endif
