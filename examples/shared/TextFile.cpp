#include "shared/TextFile.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "core/StringBuffer.h"
#include "shared/Utf8.h"
#include "support/LogBase.h"
#include "support/XString.h"
#include "support/dvParse.h"

namespace {

// The library records what happened; the number of the system's error is one of the values.
void explainFailure(const char* path, const LogBase& log, StringBuffer& reason) {
  std::error_code ignored;
  const char* const errorCode = log.valueOf("errorCode");
  if (std::filesystem::is_directory(path, ignored))
    reason.append("is a directory");
  else if (errorCode != nullptr)
    reason.append2("cannot be opened: ", std::strerror(dvIntValue(errorCode)));
  else
    reason.append("cannot be read: it is no regular file, or it is too large");
}

// Controls that no text has. SO, SI and ESC stand in ISO-2022 text, others in old text files.
bool isStray(char byte) {
  const auto code = static_cast<unsigned char>(byte);
  return code <= 0x08 || (code >= 0x10 && code <= 0x19);
}

// One in a hundred bytes may be damaged; compressed data and programs have many more.
bool isText(const StringBuffer& content) {
  const char* const begin = content.getString();
  const auto stray = std::count_if(begin, begin + content.getSize(), isStray);
  return stray <= 1 + content.getSize() / 100;
}

}  // namespace

bool loadTextFile(const char* path, StringBuffer& text, StringBuffer& reason) {
  XString name;
  LogBase log;
  if (!name.setFromUtf8(path) || !text.loadFromFile(name, &log)) {
    explainFailure(path, log, reason);
    return false;
  }
  if (!isText(text)) {
    reason.append("is not a text file");
    return false;
  }
  text.replaceNullsWithSpaces();
  return true;
}

StringBuffer shownName(const char* path) {
  StringBuffer name(path);
  name.stripDirectory();
  makeLine(name, "");
  return name;
}

bool print(const StringBuffer& text) {
  return std::fwrite(text.getString(), 1, text.getSize(), stdout) == text.getSize() &&
         std::fflush(stdout) == 0;
}

bool complain(const char* program, const char* path, const char* what) {
  StringBuffer line;
  line.append3(path, " ", what);
  makeLine(line, "");
  static_cast<void>(std::fprintf(stderr, "%s: %s\n", program, line.getString()));
  return false;
}
