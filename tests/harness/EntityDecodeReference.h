#ifndef DORVANE_TESTS_HARNESS_ENTITYDECODEREFERENCE_H
#define DORVANE_TESTS_HARNESS_ENTITYDECODEREFERENCE_H

#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "harness/EntityEncodeReference.h"
#include "harness/ModelBuffer.h"
#include "harness/ReplaceReference.h"

// Entity decoding told as a sequence of passes over the whole text, one reference after the other.
namespace harness::reference::entity {

struct Row {
  std::string reference;
  unsigned int codePoint;
};
using Rows = std::vector<Row>;

inline void addLatin1(Rows& rows, unsigned int first, unsigned int last) {
  for (unsigned int byte = first; byte <= last; ++byte) {
    if (byte == 0xD7 || byte == 0xF7) continue;
    rows.push_back({"&" + std::string(kLatin1Names[byte - 0xA1]) + ";", byte});
  }
}

inline void addNamed(Rows& rows, const char* name, unsigned int codePoint) {
  rows.push_back({"&" + std::string(name) + ";", codePoint});
}

inline void addNamedAndDecimal(Rows& rows, const char* name, unsigned int codePoint) {
  addNamed(rows, name, codePoint);
  addNamed(rows, ("#" + std::to_string(codePoint)).c_str(), codePoint);
}

inline void addPunctuation(Rows& rows) {
  static constexpr struct {
    const char* name;
    unsigned int codePoint;
  } kNames[] = {{"OElig", 0x152},   {"oelig", 0x153},   {"Scaron", 0x160},  {"scaron", 0x161},
                {"Yuml", 0x178},    {"circ", 0x2C6},    {"tilde", 0x2DC},   {"ndash", 0x2013},
                {"mdash", 0x2014},  {"lsquo", 0x2018},  {"rsquo", 0x2019},  {"sbquo", 0x201A},
                {"ldquo", 0x201C},  {"rdquo", 0x201D},  {"bdquo", 0x201E},  {"dagger", 0x2020},
                {"Dagger", 0x2021}, {"hellip", 0x2026}, {"permil", 0x2030}, {"lsaquo", 0x2039},
                {"rsaquo", 0x203A}, {"euro", 0x20AC}};
  for (const auto& row : kNames) addNamedAndDecimal(rows, row.name, row.codePoint);
  addNamed(rows, "#x20AC", 0x20AC);
}

// The references that the second pass decodes, in their order.
inline const Rows& rows() {
  static const Rows all = [] {
    Rows rows;
    for (const unsigned int byte : {0xA1U, 0xA4U, 0xA2U, 0xA3U}) addLatin1(rows, byte, byte);
    addLatin1(rows, 0xA5, 0xAE);
    addNamedAndDecimal(rows, "trade", 0x2122);
    addLatin1(rows, 0xAF, 0xBF);
    addNamed(rows, "times", 0xD7);
    addNamed(rows, "divide", 0xF7);
    addLatin1(rows, 0xC0, 0xDF);
    addLatin1(rows, 0xE0, 0xE8);
    addNamed(rows, "bull", 0x2022);
    addLatin1(rows, 0xE9, 0xFF);
    addPunctuation(rows);
    return rows;
  }();
  return all;
}

// The references that only the decoder to single bytes knows; each becomes a plain space.
inline const Rows& spaceRows() {
  static const Rows all = [] {
    Rows rows;
    addNamedAndDecimal(rows, "ensp", 8194);
    addNamedAndDecimal(rows, "emsp", 8195);
    addNamedAndDecimal(rows, "thinsp", 8201);
    addNamedAndDecimal(rows, "zwnj", 8204);
    addNamedAndDecimal(rows, "zwj", 8205);
    addNamedAndDecimal(rows, "lrm", 8206);
    addNamedAndDecimal(rows, "rlm", 8207);
    return rows;
  }();
  return all;
}

// The byte of a character in Windows-1252.
inline char byteOf(unsigned int codePoint) {
  unsigned int byte = 0x80;
  while (windows1252(byte) != codePoint) ++byte;
  return static_cast<char>(byte);
}

// Replaces a reference by one byte, in place. A text without the reference ends at its first NUL
// all the same.
inline unsigned int decodeToByte(ModelBuffer& buffer, const std::string& reference, char byte) {
  if (buffer.bytes.find('\0') != std::string::npos) buffer.bytes = buffer.text();
  if (buffer.bytes.find(reference) == std::string::npos) return 0;
  return replaceAllWithUchar(buffer, reference.c_str(), static_cast<unsigned char>(byte));
}

inline unsigned int decodeXmlSpecial(ModelBuffer& buffer) {
  if (buffer.text().find('&') == std::string::npos) return 0;
  unsigned int count = decodeToByte(buffer, "&lt;", '<');
  count += decodeToByte(buffer, "&gt;", '>');
  return count + decodeToByte(buffer, "&amp;", '&');
}

inline void decodePredefined(ModelBuffer& buffer) {
  decodeToByte(buffer, "&quot;", '"');
  decodeToByte(buffer, "&apos;", '\'');
  decodeToByte(buffer, "&amp;", '&');
  decodeToByte(buffer, "&lt;", '<');
  decodeToByte(buffer, "&gt;", '>');
  decodeToByte(buffer, "&nbsp;", ' ');
}

// The rows whose references stand in the text, in the order of the rows: a reference runs from
// its "&" to the first ";", and what replaces it is no part of another one.
inline std::set<std::size_t> rowsIn(const std::string& text, const Rows& rows) {
  static std::unordered_map<const Rows*, std::unordered_map<std::string, std::size_t>> indexes;
  std::unordered_map<std::string, std::size_t>& index = indexes[&rows];
  if (index.empty())
    for (std::size_t i = 0; i < rows.size(); ++i) index.emplace(rows[i].reference, i);
  std::set<std::size_t> found;
  for (std::size_t at = text.find('&'); at != std::string::npos; at = text.find('&', at + 1)) {
    const std::size_t end = text.find(';', at);
    if (end == std::string::npos) break;
    const auto row = index.find(text.substr(at, end - at + 1));
    if (row != index.end()) found.insert(row->second);
  }
  return found;
}

inline void decodeNamed(ModelBuffer& buffer, bool utf8) {
  for (const std::size_t i : rowsIn(buffer.bytes, rows())) {
    const Row& row = rows()[i];
    if (utf8)
      reference::replaceAll(buffer, row.reference.c_str(), utf8Of(row.codePoint).c_str());
    else
      decodeToByte(buffer, row.reference, byteOf(row.codePoint));
  }
  if (utf8) return;
  for (const std::size_t i : rowsIn(buffer.bytes, spaceRows()))
    decodeToByte(buffer, spaceRows()[i].reference, ' ');
}

inline unsigned int hexDigit(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned int>(c - '0');
  const char lower = foldAscii(c);
  return lower >= 'a' && lower <= 'f' ? static_cast<unsigned int>(lower - 'a') + 10 : 16;
}

inline bool isDigit(char c) { return c >= '0' && c <= '9'; }

// The value of the leading hexadecimal digits; only its low 32 bits count.
inline unsigned int hexValue(const char* text) {
  unsigned int value = 0;
  for (; hexDigit(*text) < 16; ++text) value = value * 16 + hexDigit(*text);
  return value;
}

// The value of the leading decimal number: blanks, one sign and digits. What is too large stays
// too large.
inline int decimalValue(const char* text) {
  while (*text == ' ' || *text == '\t' || *text == '\r' || *text == '\n') ++text;
  const bool negative = *text == '-';
  if (*text == '-' || *text == '+') ++text;
  int value = 0;
  for (; isDigit(*text); ++text)
    if (value < 100000000) value = value * 10 + (*text - '0');
  return negative ? -value : value;
}

// How many bytes behind "#x" or "#" are taken as digits.
inline std::size_t takenDigits(const char* digits, bool hex) {
  if (hex) return hexDigit(digits[1]) < 16 ? 2 : 1;
  std::size_t taken = 1;
  while (taken < 3 && isDigit(digits[taken])) ++taken;
  return taken;
}

// The value of the reference whose digits begin there; 0 when it is none.
inline unsigned int numericValue(const char* digits, bool hex) {
  const std::string taken(digits, takenDigits(digits, hex));
  if (hex) {
    const unsigned int whole = hexValue(digits);
    return whole < 1 || whole > 255 ? 0 : hexValue(taken.c_str());
  }
  const int whole = decimalValue(digits);
  const int value = whole < 1 || whole > 254 ? 0 : decimalValue(taken.c_str());
  return value < 0 || value > 255 ? 0 : static_cast<unsigned int>(value);
}

inline std::string characterOf(unsigned int value, bool utf8) {
  if (utf8 && value > 127) return utf8Of(windows1252(value));
  return std::string(1, static_cast<char>(value));
}

// Decodes the references of one base in one scan; the byte behind the digits is dropped. True
// when there was one.
inline bool decodeNumeric(std::string& text, bool hex, bool utf8) {
  const std::string_view mark = hex ? "&#x" : "&#";
  const std::size_t tooNear = hex ? 4 : 3;
  if (text.size() <= tooNear || text.find(mark) == std::string::npos) return false;
  std::string output;
  bool decoded = false;
  for (std::size_t i = 0; i < text.size();) {
    const bool begins =
        text[i] == '&' && i < text.size() - tooNear && text.compare(i, mark.size(), mark) == 0;
    const char* digits = text.c_str() + i + mark.size();
    const unsigned int value = begins ? numericValue(digits, hex) : 0;
    if (value == 0) {
      output += text[i++];
      continue;
    }
    output += characterOf(value, utf8);
    decoded = true;
    i += mark.size() + takenDigits(digits, hex) + 1;
  }
  if (decoded) text = output;
  return decoded;
}

// A decoded buffer. One that a numeric scan has written anew holds its text in fresh storage; how
// a block of it has grown depends on the pieces that the scan appends.
struct Decoded {
  ModelBuffer buffer;
  bool rewritten = false;
};

inline Decoded decodeAll(const ModelBuffer& before, bool utf8) {
  Decoded result{before, false};
  ModelBuffer& buffer = result.buffer;
  const auto holdsAmpersand = [&] { return buffer.text().find('&') != std::string::npos; };
  if (holdsAmpersand()) decodePredefined(buffer);
  if (holdsAmpersand()) decodeNamed(buffer, utf8);
  if (holdsAmpersand()) decodeToByte(buffer, "&amp;", '&');
  const bool hex = decodeNumeric(buffer.bytes, true, utf8);
  const bool decimal = decodeNumeric(buffer.bytes, false, utf8);
  result.rewritten = hex || decimal;
  return result;
}

}  // namespace harness::reference::entity

#endif
