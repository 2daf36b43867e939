#ifndef DORVANE_TESTS_HARNESS_FILESREFERENCE_H
#define DORVANE_TESTS_HARNESS_FILESREFERENCE_H

#include <string>
#include <string_view>

#include "harness/CodePagesReference.h"
#include "harness/ModelBuffer.h"

// Loading a file, one step after the other.
namespace harness::reference {

inline bool beginsWith(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

// What the bytes of a whole buffer become by the byte-order mark at their begin.
inline std::string withoutMark(const std::string& bytes) {
  if (beginsWith(bytes, "\xFE\xFF")) return converted(1201, 65001, bytes).bytes;
  if (beginsWith(bytes, "\xFF\xFE")) return converted(1200, 65001, bytes).bytes;
  if (bytes.size() >= 4 && beginsWith(bytes, "\xEF\xBB\xBF")) return bytes.substr(3);
  return bytes;
}

// Four bytes more than the file has are made room for; without a mark every byte stays.
inline void loadFile(ModelBuffer& buffer, const std::string& file) {
  if (file.empty()) return;
  buffer.makeRoom(file.size() + 4);
  buffer.bytes += file;
  const std::string decoded = withoutMark(buffer.bytes);
  if (decoded == buffer.bytes) return;
  // The mark of UTF-8 goes with a clear(), which gives the block up; the others with a weakClear().
  if (beginsWith(buffer.bytes, "\xEF\xBB\xBF")) buffer.capacity = 0;
  buffer.bytes.clear();
  buffer.extendSize = 202;
  buffer.appendN(decoded);
}

}  // namespace harness::reference

#endif
