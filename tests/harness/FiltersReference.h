#ifndef DORVANE_TESTS_HARNESS_FILTERSREFERENCE_H
#define DORVANE_TESTS_HARNESS_FILTERSREFERENCE_H

#include <functional>
#include <string>
#include <string_view>

#include "harness/ModelBuffer.h"
#include "harness/ReplaceReference.h"

// The filters, case and line-ending members, told plainly.
namespace harness::reference {

inline unsigned int lengthOf(const ModelBuffer& buffer) {
  return static_cast<unsigned int>(buffer.bytes.size());
}

inline int codeOf(char c) { return static_cast<unsigned char>(c); }

inline char byteOf(int code) { return static_cast<char>(static_cast<unsigned char>(code)); }

inline bool between(int code, int first, int last) { return first <= code && code <= last; }

inline bool isLetterOrDigit(int code) {
  return between(code, '0', '9') || between(code, 'A', 'Z') || between(code, 'a', 'z');
}

// Removes the bytes that are not kept; returns the new length.
inline unsigned int keep(ModelBuffer& buffer, const std::function<bool(int)>& isKept) {
  std::string kept;
  for (const char c : buffer.bytes)
    if (isKept(codeOf(c))) kept += c;
  buffer.bytes = kept;
  return lengthOf(buffer);
}

inline unsigned int eliminateChar(ModelBuffer& buffer, char ch, unsigned int startIndex) {
  if (lengthOf(buffer) <= startIndex) return 0;
  std::string kept = buffer.bytes.substr(0, startIndex);
  for (std::size_t i = startIndex; i < buffer.bytes.size(); ++i)
    if (buffer.bytes[i] != ch) kept += buffer.bytes[i];
  const unsigned int before = lengthOf(buffer);
  buffer.bytes = kept;
  return before - lengthOf(buffer);
}

inline unsigned int drop8bitChars(ModelBuffer& buffer) {
  return keep(buffer, [](int c) { return c < 0x80; });
}

inline unsigned int dropNonNumeric(ModelBuffer& buffer) {
  return keep(buffer, [](int c) { return between(c, '0', '9') || c == ' '; });
}

inline unsigned int removeFws(ModelBuffer& buffer) {
  return keep(buffer, [](int c) { return c != 32 && c != 9 && c != 10 && c != 13; });
}

inline unsigned int removeInvalidXmlTagChars(ModelBuffer& buffer) {
  return keep(buffer, [](int c) {
    return c >= 0x80 || isLetterOrDigit(c) || c == '!' || c == '-' || c == '.' || c == ':' ||
           c == '_';
  });
}

inline unsigned int removeInvalidFilenameChars(ModelBuffer& buffer) {
  for (char& c : buffer.bytes)
    if (c == '\\') c = '/';
  return keep(buffer,
              [](int c) { return c != '*' && c != '<' && c != '>' && c != '?' && c != 0x7C; });
}

inline unsigned int unescape(ModelBuffer& buffer) {
  std::string kept;
  for (std::size_t i = 0; i < buffer.bytes.size(); ++i) {
    if (buffer.bytes[i] == '\\' && ++i == buffer.bytes.size()) break;
    kept += buffer.bytes[i];
  }
  buffer.bytes = kept;
  return lengthOf(buffer);
}

// Replaces the bytes equal to one of the set's, NULs in the set included.
inline void replaceSet(ModelBuffer& buffer, std::string_view set, char to) {
  for (char& c : buffer.bytes)
    if (set.find(c) != std::string_view::npos) c = to;
}

inline void toAlphaNumUsAscii(ModelBuffer& buffer) {
  for (char& c : buffer.bytes) {
    const int code = codeOf(c);
    if (isLetterOrDigit(code)) continue;
    const bool clear =
        between(code, 0xB0, 0xB9) || between(code, 0xC1, 0xDA) || between(code, 0xE1, 0xFA);
    c = clear ? byteOf(code - 0x80) : '0';
  }
}

inline char lowered(char c) {
  const int code = codeOf(c);
  return between(code, 'A', 'Z') || between(code, 0xC0, 0xDF) ? byteOf(code + 0x20) : c;
}

inline char raised(char c) {
  const int code = codeOf(c);
  return between(code, 'a', 'z') || between(code, 0xE0, 0xFF) ? byteOf(code - 0x20) : c;
}

// Changes each byte before the first NUL.
inline void mapText(ModelBuffer& buffer, char (*change)(char)) {
  for (std::size_t i = 0; i < buffer.bytes.size() && buffer.bytes[i] != '\0'; ++i)
    buffer.bytes[i] = change(buffer.bytes[i]);
}

inline void toLowerFirstChar(ModelBuffer& buffer) {
  if (!buffer.bytes.empty()) buffer.bytes[0] = lowered(buffer.bytes[0]);
}

inline bool toProperCase(ModelBuffer& buffer) {
  bool capitalise = true;
  bool pending = false;
  for (std::size_t i = 0; i < buffer.bytes.size() && buffer.bytes[i] != '\0'; ++i) {
    char& c = buffer.bytes[i];
    if (c == '\t' || c == '\n' || c == ' ' || c == '-') {
      pending = true;
    } else if (pending) {
      pending = false;
      capitalise = true;
    }
    if (capitalise) {
      c = raised(c);
      capitalise = false;
    }
  }
  return capitalise;
}

inline unsigned int countEndingsToChange(const std::string& bytes) {
  unsigned int count = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (bytes[i] == '\r' && i + 1 < bytes.size() && bytes[i + 1] == '\n') {
      ++i;
    } else if (bytes[i] == '\r' || bytes[i] == '\n') {
      ++count;
    }
  }
  return count;
}

// The result is what an empty buffer holds after one raw append of the rewritten text.
inline unsigned int toCRLF(ModelBuffer& buffer) {
  const unsigned int count = countEndingsToChange(buffer.bytes);
  if (count == 0) return 0;
  std::string result;
  for (std::size_t i = 0; i < buffer.bytes.size(); ++i) {
    const char c = buffer.bytes[i];
    if (c == '\r' || c == '\n') {
      result += "\r\n";
    } else {
      result += c;
    }
    if (c == '\r' && i + 1 < buffer.bytes.size() && buffer.bytes[i + 1] == '\n') ++i;
  }
  buffer = ModelBuffer();
  buffer.appendN(result);
  return count;
}

inline unsigned int toLF(ModelBuffer& buffer) { return replaceAllWithUchar(buffer, "\r\n", '\n'); }

// `ch` is no NUL.
inline void indent(ModelBuffer& buffer, char ch, unsigned int count) {
  const std::string pad(count > 12582912 ? 0 : count, ch);
  if (!pad.empty()) buffer.prepend(pad);
  replaceAll(buffer, "\n", ("\n" + pad).c_str());
}

}  // namespace harness::reference

#endif
