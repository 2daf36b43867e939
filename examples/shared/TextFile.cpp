#include "shared/TextFile.h"

#include <cstdio>
#include <cstring>

#include "core/StringBuffer.h"
#include "shared/Utf8.h"
#include "support/LogBase.h"
#include "support/XString.h"
#include "support/dvParse.h"

namespace {

// The library records what happened; the number of the system's error is one of the values.
void explainFailure(const LogBase& log, StringBuffer& reason) {
  const char* const errorCode = log.valueOf("errorCode");
  if (errorCode != nullptr)
    reason.append2("cannot be opened: ", std::strerror(dvIntValue(errorCode)));
  else
    reason.append("cannot be read: it is no regular file, or it is too large");
}

// No text has NULs. Of the other controls, some stand in old text files and in ISO-2022 text.
bool isText(const StringBuffer& content) {
  return std::strlen(content.getString()) == content.getSize() &&
         !content.containsCharInRange('\x01', '\x08') &&
         !content.containsCharInRange('\x0E', '\x19');
}

}  // namespace

bool loadTextFile(const char* path, StringBuffer& text, StringBuffer& reason) {
  XString name;
  LogBase log;
  if (!name.setFromUtf8(path) || !text.loadFromFile(name, &log)) {
    explainFailure(log, reason);
    return false;
  }
  if (isText(text)) return true;
  reason.append("is not a text file");
  return false;
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
  StringBuffer name(path);
  makeLine(name, "");
  static_cast<void>(std::fprintf(stderr, "%s: %s %s\n", program, name.getString(), what));
  return false;
}
