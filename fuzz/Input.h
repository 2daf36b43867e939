#ifndef DORVANE_FUZZ_INPUT_H
#define DORVANE_FUZZ_INPUT_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "core/StringBuffer.h"
#include "support/DataBuffer.h"
#include "support/EncodingConvert.h"
#include "support/LogNull.h"

// What the fuzz targets share.
namespace fuzz {

// Ends the program when what must hold does not, so that the engine keeps the input.
inline void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

// Reads the parts of an input, one after the other. Behind its end everything is empty or 0.
// Texts are lines, so that an input can be written by hand.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size)
      : m_rest(reinterpret_cast<const char*>(data), size) {}

  bool atEnd() const { return m_rest.empty(); }

  // One byte.
  char character() {
    if (atEnd()) return '\0';
    const char c = m_rest.front();
    m_rest.remove_prefix(1);
    return c;
  }
  unsigned int number() { return static_cast<unsigned char>(character()); }

  // The bytes up to the next line feed, which is left out.
  std::string line() {
    const std::string_view found = m_rest.substr(0, m_rest.find('\n'));
    m_rest.remove_prefix(found.size());
    character();
    return std::string(found);
  }

  // All that is left.
  std::string rest() {
    const std::string all(m_rest);
    m_rest = {};
    return all;
  }

 private:
  std::string_view m_rest;
};

inline std::string_view contentOf(const StringBuffer& buffer) {
  return {buffer.getString(), buffer.getSize()};
}

inline std::string_view contentOf(const DataBuffer& data) {
  return {reinterpret_cast<const char*>(data.getData2()), data.getSize()};
}

inline const unsigned char* bytesOf(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

inline unsigned int sizeOf(std::string_view text) { return static_cast<unsigned int>(text.size()); }

// A text in another code page, substitutes included.
inline std::string convert(int from, int to, std::string_view text) {
  DataBuffer out;
  LogNull log;
  EncodingConvert().EncConvert(from, to, bytesOf(text), sizeOf(text), out, log);
  return std::string(contentOf(out));
}

// What stands before the first NUL.
inline std::string_view textOf(std::string_view content) {
  return content.substr(0, content.find('\0'));
}

inline bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

// Makes an empty buffer hold these bytes, NULs at the end included (appendN() drops them).
inline void fill(StringBuffer& buffer, std::string_view bytes) {
  const std::size_t kept = bytes.find_last_not_of('\0') + 1;
  buffer.appendN(bytes.data(), sizeOf(bytes.substr(0, kept)));
  for (std::size_t i = kept; i < bytes.size(); ++i) buffer.appendChar('\0');
}

// What holds for every living buffer after every operation.
inline void requireSound(StringBuffer& buffer) {
  constexpr unsigned int kInlineStorage = 82;
  const unsigned int heap = buffer.heapUsage();
  require(buffer.isValidObject(), "the buffer is alive");
  require(buffer.getSize() < (heap != 0 ? heap : kInlineStorage), "the content fits the storage");
  require(!buffer.isNonTerminated(), "a NUL follows the content");
  require(buffer.memoryUsage() == sizeof(StringBuffer) + heap, "memory is object and block");
}

inline void requireContent(StringBuffer& buffer, std::string_view content, const char* what) {
  requireSound(buffer);
  require(contentOf(buffer) == content, what);
}

// Size of the UTF-8 character at the start of a text, 0 when it is ill-formed (RFC 3629).
inline std::size_t utf8CharacterSize(std::string_view text) {
  const auto at = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  if (at(0) < 0x80) return 1;
  if (at(0) < 0xC2 || at(0) > 0xF4) return 0;
  const std::size_t size = at(0) < 0xE0 ? 2 : at(0) < 0xF0 ? 3 : 4;
  if (text.size() < size) return 0;
  for (std::size_t i = 1; i < size; ++i)
    if ((at(i) & 0xC0U) != 0x80) return 0;
  const bool overlong = (at(0) == 0xE0 && at(1) < 0xA0) || (at(0) == 0xF0 && at(1) < 0x90);
  const bool surrogate = at(0) == 0xED && at(1) > 0x9F;
  const bool beyondUnicode = at(0) == 0xF4 && at(1) > 0x8F;
  return overlong || surrogate || beyondUnicode ? 0 : size;
}

inline bool isUtf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t size = utf8CharacterSize(text);
    if (size == 0) return false;
    text.remove_prefix(size);
  }
  return true;
}

}  // namespace fuzz

#endif
