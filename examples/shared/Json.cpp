#include "shared/Json.h"

#include "core/StringBuffer.h"

namespace {

void appendString(StringBuffer& text, StringBuffer& out) {
  text.jsonEscape();
  out.append3("\"", text.getString(), "\"");
}

}  // namespace

void appendMember(const char* name, const StringBuffer& value, StringBuffer& out) {
  StringBuffer escapedName(name);
  StringBuffer escapedValue(value);
  if (out.lastChar() != '{') out.appendChar(',');
  appendString(escapedName, out);
  out.appendChar(':');
  appendString(escapedValue, out);
}
