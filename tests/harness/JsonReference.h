#ifndef DORVANE_TESTS_HARNESS_JSONREFERENCE_H
#define DORVANE_TESTS_HARNESS_JSONREFERENCE_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "harness/ModelBuffer.h"
#include "harness/ReplaceReference.h"

// The JSON string members, one step after the other and without any care for speed.
namespace harness::reference {

inline std::size_t continuationBytes(char lead) {
  const unsigned int b = static_cast<unsigned char>(lead);
  if (b < 0xC0) return 0;
  if (b < 0xE0) return 1;
  if (b < 0xF0) return 2;
  if (b < 0xF8) return 3;
  return b < 0xFC ? 4 : 5;
}

inline std::string jsonEscapedByte(char c) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  const unsigned int b = static_cast<unsigned char>(c);
  switch (b) {
    case 0x08:
      return "\\b";
    case 0x09:
      return "\\t";
    case 0x0A:
      return "\\n";
    case 0x0C:
      return "\\f";
    case 0x0D:
      return "\\r";
    case '\\':
      return "\\\\";
    case '"':
      return "\\\"";
    default:
      break;
  }
  if (b >= 0x20) return std::string(1, c);
  return std::string("\\u00") + kDigits[b >> 4] + kDigits[b & 15U];
}

inline std::string jsonEscaped(const std::string& bytes) {
  std::string escaped;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const std::size_t more = continuationBytes(bytes[i]);
    if (more == 0) {
      escaped += jsonEscapedByte(bytes[i]);
    } else {
      escaped += bytes.substr(i, more + 1);
      i += more;
    }
  }
  return escaped;
}

// The block is as large as if the added bytes counted twice; the extend size stays.
inline bool jsonEscape(ModelBuffer& buffer) {
  const std::string escaped = jsonEscaped(buffer.bytes);
  const std::size_t extra = escaped.size() - buffer.bytes.size();
  if (extra == 0) return true;
  buffer.bytes = escaped;
  buffer.capacity = static_cast<unsigned int>(extra + 4 + escaped.size());
  return true;
}

inline int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The digits in front, four at most.
inline unsigned int hexValue(std::string_view text) {
  unsigned int value = 0;
  for (std::size_t i = 0; i < 4 && i < text.size() && hexDigit(text[i]) >= 0; ++i)
    value = value * 16 + static_cast<unsigned int>(hexDigit(text[i]));
  return value;
}

// What the two bytes "\e" stand for; empty when they are dropped.
inline std::string jsonShortEscape(char e) {
  constexpr std::string_view kNames = "\"/\\bfnrt";
  constexpr std::string_view kBytes = "\"/\\\b\f\n\r\t";
  const std::size_t at = kNames.find(e);
  return at == std::string_view::npos ? "" : std::string(1, kBytes[at]);
}

// The blocks in which the decoded bytes are appended.
inline std::vector<std::string> jsonDecodedBlocks(std::string_view src) {
  std::vector<std::string> blocks(1);
  for (std::size_t i = 0; i < src.size();) {
    if (blocks.back().size() >= 200) blocks.emplace_back();
    if (src[i] != '\\') {
      blocks.back() += src[i++];
    } else if (i + 1 == src.size()) {
      break;
    } else if (src[i + 1] != 'u') {
      blocks.back() += jsonShortEscape(src[i + 1]);
      i += 2;
    } else if (src.size() - i - 2 < 4) {
      i += 2;
    } else {
      blocks.back() += utf8Of(hexValue(src.substr(i + 2, 4)));
      i += 6;
    }
  }
  return blocks;
}

inline bool jsonDecode(std::string_view src, ModelBuffer& out) {
  for (const std::string& block : jsonDecodedBlocks(src)) out.appendN(block);
  return true;
}

}  // namespace harness::reference

#endif
