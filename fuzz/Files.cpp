// Files: what is saved is loaded again, and byte-order marks are handled. Needs a POSIX system.

#include <stdlib.h>  // NOLINT(modernize-deprecated-headers): mkdtemp() is POSIX's
#include <unistd.h>

#include "fuzz/Input.h"
#include "support/LogNull.h"
#include "support/XString.h"

namespace {

using fuzz::require;
using fuzz::requireContent;

constexpr std::string_view kMarkUtf8 = "\xEF\xBB\xBF";
constexpr std::string_view kMarkUtf16Little = "\xFF\xFE";
constexpr std::string_view kMarkUtf16Big = "\xFE\xFF";

// A file name that all runs use, one after the other, in a directory of its own; both are removed
// at the end of the program.
class TempFile {
 public:
  TempFile() : m_directory("/tmp/dorvane-fuzz-XXXXXX") {
    require(::mkdtemp(m_directory.data()) != nullptr, "a temporary directory can be made");
    m_path = m_directory + "/file";
  }
  ~TempFile() {
    ::unlink(path());
    ::rmdir(m_directory.c_str());
  }
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;

  const char* path() const { return m_path.c_str(); }

 private:
  std::string m_directory;
  std::string m_path;
};

const char* path() {
  static const TempFile file;
  return file.path();
}

bool beginsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

void save(std::string_view content) {
  ::unlink(path());  // A new file is made much faster than an old one is truncated.
  StringBuffer buffer;
  fuzz::fill(buffer, content);
  LogNull log;
  require(buffer.saveToFileUtf8(path(), &log), "saving succeeds");
}

void load(StringBuffer& buffer) {
  XString name;
  name.setFromUtf8(path());
  LogNull log;
  require(buffer.loadFromFile(name, &log), "loading succeeds");
  fuzz::requireSound(buffer);
}

void loadMarkedUtf8(const std::string& text) {
  save(std::string(kMarkUtf8) + text);
  StringBuffer buffer;
  load(buffer);
  // Zeros at the end go with the mark.
  const std::string kept = text.substr(0, text.find_last_not_of('\0') + 1);
  requireContent(buffer, text.empty() ? kMarkUtf8 : kept, "the mark of UTF-8 is removed");
}

void loadMarkedUtf16(const std::string& text, std::string_view mark, int page) {
  save(std::string(mark) + fuzz::convert(65001, page, text));
  StringBuffer buffer;
  load(buffer);
  const std::string kept = text.substr(0, text.find_last_not_of('\0') + 1);
  requireContent(buffer, std::string(kMarkUtf8) + kept, "UTF-16 becomes UTF-8, the mark too");
}

void loadAnything(const std::string& content) {
  save(content);
  StringBuffer buffer;
  load(buffer);
  const bool marked = beginsWith(content, kMarkUtf16Little) || beginsWith(content, kMarkUtf16Big) ||
                      beginsWith(content, kMarkUtf8);
  if (marked) return;
  requireContent(buffer, content, "text without a mark is loaded as it stands");
  require(buffer.equalsFileContents(path()), "a file equals what was loaded from it");
}

// Loads behind other content, from a file that was written in two parts.
void append(const std::string& content) {
  save("second ");
  StringBuffer tail;
  fuzz::fill(tail, content);
  LogNull log;
  require(tail.appendToFileUtf8(path(), &log), "appending succeeds");
  StringBuffer buffer("first ");
  load(buffer);
  requireContent(buffer, "first second " + content, "the parts are loaded in order");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string content = fuzz::Input(data, size).rest();
  loadAnything(content);
  append(content);
  loadMarkedUtf8(content);
  if (!fuzz::isUtf8(content)) return 0;
  loadMarkedUtf16(content, kMarkUtf16Little, 1200);
  loadMarkedUtf16(content, kMarkUtf16Big, 1201);
  return 0;
}
