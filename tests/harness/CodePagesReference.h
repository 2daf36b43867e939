#ifndef DORVANE_TESTS_HARNESS_CODEPAGESREFERENCE_H
#define DORVANE_TESTS_HARNESS_CODEPAGESREFERENCE_H

#include <algorithm>
#include <string>
#include <string_view>

#include "harness/ModelBuffer.h"
#include "support/DataBuffer.h"
#include "support/EncodingConvert.h"
#include "support/LogNull.h"
#include "support/Psdk.h"

// The conversions between code pages, one step after the other.
namespace harness::reference {

inline std::string bytesOf(const DataBuffer& data) {
  const auto* bytes = reinterpret_cast<const char*>(data.getData2());
  return bytes == nullptr ? std::string() : std::string(bytes, data.getSize());
}

// What the converter makes of bytes.
struct Converted {
  std::string bytes;
  bool complete = false;
};

inline Converted converted(int from, int to, std::string_view bytes) {
  EncodingConvert converter;
  DataBuffer out;
  LogNull log;
  const bool complete =
      converter.EncConvert(from, to, reinterpret_cast<const unsigned char*>(bytes.data()),
                           static_cast<unsigned int>(bytes.size()), out, log);
  return {bytesOf(out), complete};
}

// The storage is kept, the extend size begins anew, and NULs at the end are dropped.
inline bool reencode(ModelBuffer& buffer, int from, int to) {
  const Converted result = converted(from, to, buffer.bytes);
  buffer.bytes.clear();
  buffer.extendSize = 202;
  buffer.appendN(result.bytes);
  return result.complete;
}

inline bool isAscii(std::string_view bytes) {
  return std::none_of(bytes.begin(), bytes.end(),
                      [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
}

inline bool extendsAsciiOf437(int page) { return page == 1252 || page == 65001 || page == 28591; }

inline bool extendsAsciiOf20127(int page) {
  return (page >= 28591 && page <= 28605) || page == 65001 || (page >= 1250 && page <= 1258);
}

inline bool convertEncoding(ModelBuffer& buffer, int from, int to) {
  if (from == to || from == 0 || to == 0 || buffer.bytes.empty()) return true;
  if (from == 437 && extendsAsciiOf437(to) && isAscii(buffer.bytes)) return true;
  if (from == 20127 && extendsAsciiOf20127(to)) return true;
  return reencode(buffer, from, to);
}

}  // namespace harness::reference

#endif
