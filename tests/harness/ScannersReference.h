#ifndef DORVANE_TESTS_HARNESS_SCANNERSREFERENCE_H
#define DORVANE_TESTS_HARNESS_SCANNERSREFERENCE_H

#include <algorithm>
#include <string>
#include <string_view>

#include "harness/ModelBuffer.h"

// The capture scanners told step by step, for comparison.
namespace harness::reference::scanning {

inline bool isBetween(unsigned char c, unsigned char first, unsigned char last) {
  return c >= first && c <= last;
}

inline bool isDigit(unsigned char c) { return isBetween(c, '0', '9'); }

inline bool isHex(unsigned char c) {
  return isDigit(c) || isBetween(c, 'A', 'F') || isBetween(c, 'a', 'f');
}

inline bool isSpace(unsigned char c) { return c == 9 || c == 10 || c == 13 || c == 32; }

inline bool isNoSpace(unsigned char c) { return c != 0 && !isSpace(c); }

inline bool isLetter(unsigned char c) { return isBetween(c, 'A', 'Z') || isBetween(c, 'a', 'z'); }

inline bool isLetterOrDigit(unsigned char c) { return isLetter(c) || isDigit(c); }

inline bool isIdentifier(unsigned char c) { return isLetterOrDigit(c) || c == '_'; }

using ByteClass = bool (*)(unsigned char);

inline unsigned int capture(ModelBuffer& buffer, std::string_view text, ByteClass contains) {
  const auto end = std::find_if_not(
      text.begin(), text.end(), [=](char c) { return contains(static_cast<unsigned char>(c)); });
  const auto count = static_cast<std::size_t>(end - text.begin());
  buffer.appendN(text.substr(0, count));
  return static_cast<unsigned int>(count);
}

inline char lowered(char c) {
  const auto byte = static_cast<unsigned char>(c);
  const bool capital = isBetween(byte, 'A', 'Z') || isBetween(byte, 0xC0, 0xDF);
  return static_cast<char>(capital ? byte + 0x20 : byte);
}

inline void trim(std::string& bytes) {
  const auto isTrimmed = [](char c) { return isSpace(static_cast<unsigned char>(c)); };
  while (!bytes.empty() && isTrimmed(bytes.front())) bytes.erase(0, 1);
  while (!bytes.empty() && isTrimmed(bytes.back())) bytes.pop_back();
}

inline unsigned int captureLine(ModelBuffer& buffer, std::string_view text, bool trimmed,
                                bool toLower) {
  buffer = ModelBuffer();
  const std::string_view line = text.substr(0, text.find_first_of("\r\n"));
  for (std::size_t i = 0; i < line.size(); i += 256) buffer.appendN(line.substr(i, 256));
  if (trimmed) trim(buffer.bytes);
  if (toLower)
    std::transform(buffer.bytes.begin(), buffer.bytes.end(), buffer.bytes.begin(), lowered);
  return static_cast<unsigned int>(line.size());
}

}  // namespace harness::reference::scanning

#endif
