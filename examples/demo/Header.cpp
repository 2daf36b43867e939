#include "Header.h"

#include "core/StringBuffer.h"
#include "shared/Utf8.h"
#include "support/DataBuffer.h"
#include "support/ExtPtrArraySb.h"
#include "support/LogNull.h"

namespace {

// "Name: value", or a line that continues the one before.
bool isHeaderLine(const StringBuffer& line) {
  if (line.charAt(0) == ' ' || line.charAt(0) == '\t') return true;
  StringBuffer name;
  StringBuffer value;
  return line.separate(':', name, value) && name.getSize() != 0 && !name.containsChar(' ');
}

bool isHeader(const StringBuffer& head) {
  ExtPtrArraySb lines;
  if (!head.splitIntoLines(lines, 0)) return false;
  for (int i = 0; i < lines.getSize(); ++i)
    if (lines.sbAt(i)->getSize() != 0 && !isHeaderLine(*lines.sbAt(i))) return false;
  return true;
}

bool isMailHeader(const ExtPtrArraySb& lines) {
  StringBuffer value;
  for (const char* const name : {"From", "Date", "Subject", "Received", "Content-Type"})
    if (findHeader(lines, name, value)) return true;
  return false;
}

// The first line of a message in a mailbox file is no header.
void removeMailboxLine(StringBuffer& text) {
  if (text.beginsWith("From ")) text.trimBefore('\n', true);
}

// RFC 2231, section 4: CHARSET'LANGUAGE'TEXT, the text percent-encoded.
void decodeExtended(StringBuffer& value) {
  StringBuffer charset;
  StringBuffer text;
  value.getNthDelimited(0, '\'', false, false, charset);
  if (!value.getNthDelimited(2, '\'', false, false, text)) return;
  DataBuffer bytes;
  LogNull log;
  text.decode("url", bytes, log);
  value.takeFromDb(bytes);
  makeLine(value, charset.getString());
}

void decodeWords(StringBuffer& value) {
  LogNull log;
  makeLine(value, "");  // some send other than ASCII
  value.qbDecode(log);
  makeLine(value, "");  // a word may hold anything
}

}  // namespace

bool beginsWithHeader(const StringBuffer& text) {
  StringBuffer rest(text);
  ExtPtrArraySb lines;
  return takeHeader(rest, lines) && isMailHeader(lines);
}

bool takeHeader(StringBuffer& text, ExtPtrArraySb& lines) {
  removeMailboxLine(text);
  if (text.charAt(0) == '\n') {  // no header at all
    text.removeChunk(0, 1);
    return true;
  }
  StringBuffer head;
  unsigned int size = 0;
  const bool hasBody = text.copyUntil("\n\n", 0, size, head);
  if (!hasBody && !head.append(text)) return false;
  if (!isHeader(head)) return true;
  text.removeChunk(0, hasBody ? size + 2 : text.getSize());
  head.replaceAllOccurances("\n ", " ");
  head.replaceAllOccurances("\n\t", " ");
  head.trimTrailingCRLFs();
  return head.splitIntoLines(lines, 0);
}

bool findHeader(const ExtPtrArraySb& lines, const char* name, StringBuffer& value) {
  value.clear();
  for (int i = 0; i < lines.getSize(); ++i) {
    StringBuffer found;
    value.weakClear();
    if (!lines.sbAt(i)->separate(':', found, value)) continue;
    found.trim2();
    value.trim2();
    if (found.equalsIgnoreCase(name)) return true;
  }
  value.clear();
  return false;
}

void getHeader(const ExtPtrArraySb& lines, const char* name, StringBuffer& value) {
  if (findHeader(lines, name, value)) decodeWords(value);
}

void getMainValue(const StringBuffer& value, StringBuffer& main) {
  value.getNthDelimited(0, ';', true, false, main);
  main.trim2();
  main.toLowerCase();
  makeLine(main, "");
}

bool getParameter(const StringBuffer& value, const char* name, StringBuffer& parameter) {
  ExtPtrArraySb pieces;
  if (!value.split(pieces, ';', true, true)) return false;
  for (int i = 1; i < pieces.getSize(); ++i) {
    StringBuffer found;
    pieces.sbAt(i)->splitAttrValue(found, parameter, true);
    if (!found.equalsIgnoreCase(name)) continue;
    parameter.unescape();
    return true;
  }
  parameter.clear();
  return false;
}

bool getNameParameter(const StringBuffer& value, const char* name, StringBuffer& parameter) {
  StringBuffer extended(name);
  extended.appendChar('*');
  if (getParameter(value, extended.getString(), parameter)) {
    decodeExtended(parameter);
    return true;
  }
  if (!getParameter(value, name, parameter)) return false;
  decodeWords(parameter);
  return true;
}
