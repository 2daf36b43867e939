#ifndef DORVANE_TESTS_HARNESS_REPLACEREFERENCE_H
#define DORVANE_TESTS_HARNESS_REPLACEREFERENCE_H

#include <string>

#include "harness/ModelBuffer.h"

// The replacing members, one step after the other and without any care for speed.
namespace harness::reference {

inline char foldAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

// True when `find` stands at `at` in `text`, which ends before its first NUL.
inline bool standsAt(const std::string& text, std::size_t at, const std::string& find,
                     bool foldCase = false) {
  if (find.size() > text.size() - at) return false;
  for (std::size_t i = 0; i < find.size(); ++i) {
    const char a = text[at + i];
    const char b = find[i];
    if (foldCase ? foldAscii(a) != foldAscii(b) : a != b) return false;
  }
  return true;
}

// Position of the first match at or behind `from`, or npos.
inline std::size_t search(const std::string& text, std::size_t from, const std::string& find,
                          bool foldCase = false) {
  for (std::size_t at = from; at < text.size(); ++at)
    if (standsAt(text, at, find, foldCase)) return at;
  return std::string::npos;
}

inline bool nothingToFind(const char* find) { return find == nullptr || *find == '\0'; }

// Replaces the match at `at`. A null replacement lets the tail begin at the match itself.
inline void replaceAt(ModelBuffer& buffer, std::size_t at, std::size_t findLength,
                      const char* replacement) {
  const std::string tail = buffer.bytes.substr(replacement == nullptr ? at : at + findLength);
  buffer.bytes.resize(at);
  if (replacement != nullptr) buffer.append(replacement);
  buffer.appendN(tail);
}

inline bool replaceFirst(ModelBuffer& buffer, const char* find, const char* replacement) {
  if (nothingToFind(find)) return false;
  const std::string wanted = find;
  const std::size_t at = search(buffer.text(), 0, wanted);
  if (at == std::string::npos) return false;
  replaceAt(buffer, at, wanted.size(), replacement);
  return true;
}

inline bool replaceLast(ModelBuffer& buffer, const char* find, const char* replacement) {
  if (nothingToFind(find)) return false;
  const std::string wanted = find;
  const std::string text = buffer.text();
  std::size_t last = std::string::npos;
  for (std::size_t at = search(text, 0, wanted); at != std::string::npos;
       at = search(text, at + wanted.size(), wanted))
    last = at;
  if (last == std::string::npos) return false;
  replaceAt(buffer, last, wanted.size(), replacement);
  return true;
}

inline unsigned int replaceAll(ModelBuffer& buffer, const char* find, const char* replacement,
                               bool foldCase = false) {
  if (nothingToFind(find)) return 0;
  const std::string wanted = find;
  const std::string text = buffer.text();
  std::size_t at = search(text, 0, wanted, foldCase);
  if (at == std::string::npos) return 0;
  ModelBuffer output;
  std::size_t from = 0;
  unsigned int count = 0;
  for (; at != std::string::npos; at = search(text, from, wanted, foldCase)) {
    output.append(text.substr(from, at - from));
    if (replacement != nullptr) output.append(replacement);
    ++count;
    from = at + wanted.size();
  }
  output.append(text.substr(from));
  buffer = output;
  return count;
}

inline unsigned int replaceCharInMatches(ModelBuffer& buffer, const char* find, char from,
                                         char to) {
  if (nothingToFind(find)) return 0;
  const std::string wanted = find;
  const std::string text = buffer.text();
  unsigned int count = 0;
  for (std::size_t at = search(text, 0, wanted); at != std::string::npos;
       at = search(text, at + wanted.size(), wanted)) {
    for (std::size_t i = at; i < at + wanted.size(); ++i)
      if (buffer.bytes[i] == from) buffer.bytes[i] = to;
    ++count;
  }
  return count;
}

// The case of a search text of one byte: the whole content, NULs or not.
inline unsigned int replaceByte(ModelBuffer& buffer, char from, char to) {
  unsigned int count = 0;
  for (char& c : buffer.bytes) {
    if (c != from) continue;
    c = to;
    ++count;
  }
  return count;
}

inline unsigned int replaceAllWithUchar(ModelBuffer& buffer, const char* find, unsigned int value) {
  if (nothingToFind(find)) return 0;
  const std::string wanted = find;
  const char byte = static_cast<char>(static_cast<unsigned char>(value & 0xFFU));
  if (wanted.size() == 1) return replaceByte(buffer, wanted[0], byte);
  const std::string text = buffer.text();
  std::string result;
  unsigned int count = 0;
  for (std::size_t at = 0; at < text.size();) {
    const bool match = standsAt(text, at, wanted);
    result += match ? byte : text[at];
    at += match ? wanted.size() : 1;
    count += match ? 1 : 0;
  }
  buffer.bytes = result;
  return count;
}

// The Unicode code point of a byte from 0x80 to 0xFF in Windows-1252; the five bytes that the
// page leaves open stand for the C1 control of the same number.
inline unsigned int windows1252(unsigned int byte) {
  static const unsigned int kHigh[32] = {
      0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
      0x2039, 0x0152, 0x8D,   0x017D, 0x8F,   0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
      0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};
  return byte < 0xA0 ? kHigh[byte - 0x80] : byte;
}

// The UTF-8 form of a code point, surrogates not looked at.
inline std::string utf8Of(unsigned int codePoint) {
  const auto byte = [](unsigned int value) { return std::string(1, static_cast<char>(value)); };
  const auto more = [&](int shift) { return byte(0x80U | ((codePoint >> shift) & 0x3FU)); };
  if (codePoint < 0x80) return byte(codePoint);
  if (codePoint < 0x800) return byte(0xC0U | (codePoint >> 6)) + more(0);
  if (codePoint < 0x10000) return byte(0xE0U | (codePoint >> 12)) + more(6) + more(0);
  return byte(0xF0U | (codePoint >> 18)) + more(12) + more(6) + more(0);
}

inline unsigned int replaceAllWithUcharUtf8(ModelBuffer& buffer, const char* find,
                                            unsigned int code) {
  if (code < 128) return replaceAllWithUchar(buffer, find, code);
  if (code > 255) return 0;
  return replaceAll(buffer, find, utf8Of(windows1252(code)).c_str());
}

}  // namespace harness::reference

#endif
