#include "TextFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "core/StringBuffer.h"
#include "support/DataBuffer.h"
#include "support/dvString.h"

namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

bool fail(StringBuffer& error, const char* what, const char* reason) {
  error.append2(what, reason);
  return false;
}

// Collects raw bytes. A DataBuffer is the right place for them: a StringBuffer drops the NULs at
// the end of each piece it is given, so a NUL would not be noticed.
bool readBytes(const char* path, DataBuffer& bytes, StringBuffer& error) {
  const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path, "rb"));
  if (file == nullptr) return fail(error, "cannot be opened: ", std::strerror(errno));
  char chunk[16384];
  while (const std::size_t n = std::fread(chunk, 1, sizeof chunk, file.get()))
    if (!bytes.append(chunk, static_cast<unsigned int>(n)))
      return fail(error, "is too large for the memory", "");
  if (std::ferror(file.get())) return fail(error, "cannot be read: ", std::strerror(errno));
  return true;
}

void removeByteOrderMark(StringBuffer& text) {
  constexpr char kMark[] = "\xEF\xBB\xBF";
  if (std::strncmp(text.getString(), kMark, 3) == 0) text.removeChunk(0, 3);
}

}  // namespace

bool readTextFile(const char* path, StringBuffer& text, StringBuffer& error) {
  DataBuffer bytes;
  if (!readBytes(path, bytes, error)) return false;
  const unsigned int size = bytes.getSize();
  // The text takes the block over; nothing is copied.
  if (!text.takeFromDb(bytes)) return fail(error, "is too large for the memory", "");
  if (dvStrLen(text.getString()) != size)
    return fail(error, "is not a text file: it contains a NUL byte", "");
  removeByteOrderMark(text);
  return true;
}
