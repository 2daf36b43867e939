#include <algorithm>
#include <new>

#include "Header.h"
#include "Message.h"
#include "Report.h"
#include "shared/Utf8.h"
#include "support/StringPair.h"

namespace {

constexpr int kMostLines = 3;
constexpr int kMostRecords = 1;
constexpr unsigned int kMaxText = 80;

void addAttribute(ExtPtrArray& attributes, const char* name, const char* value) {
  if (*value != '\0') attributes.appendPtr(new (std::nothrow) StringPair(name, value));
}

void addAttribute(ExtPtrArray& attributes, const char* name, unsigned int value) {
  StringBuffer decimal;
  decimal.append(value);
  addAttribute(attributes, name, decimal.getString());
}

// `<TAG NAME="...">TEXT</TAG>` on a line of its own. No text has an LF or a TAB any more, so
// that none becomes a CDATA section.
void appendElement(unsigned int depth, const char* tag, const char* name, const StringBuffer& text,
                   StringBuffer& out) {
  ExtPtrArray attributes;
  addAttribute(attributes, "name", name);
  StringBuffer shown(text);
  cutText(shown, kMaxText);
  out.appendCharN(' ', 2 * depth);
  out.appendXml(tag, attributes, shown.getString());
  out.appendLineEnding();
}

void openElement(unsigned int depth, const char* tag, const ExtPtrArray* attributes,
                 StringBuffer& out) {
  out.appendCharN(' ', 2 * depth);
  out.appendXmlOpenTag(tag, attributes);
  out.appendLineEnding();
}

void closeElement(unsigned int depth, const char* tag, StringBuffer& out) {
  out.appendCharN(' ', 2 * depth);
  out.appendXmlCloseTag(tag);
  out.appendLineEnding();
}

void appendHeaders(const Message& message, StringBuffer& out) {
  for (const char* const name : kShownHeaders) {
    StringBuffer value;
    getHeader(message.headers, name, value);
    if (value.getSize() != 0) appendElement(1, "header", name, value, out);
  }
}

void appendRecord(const Table& table, const StringBuffer& record, StringBuffer& out) {
  StringBuffer name;
  StringBuffer field;
  openElement(2, "record", nullptr, out);
  for (unsigned int i = 0; i < table.columns; ++i) {
    getField(table, *table.records.sbAt(0), i, name);
    getField(table, record, i, field);
    appendElement(3, "field", name.getString(), field, out);
  }
  closeElement(2, "record", out);
}

void appendRecords(const Table& table, StringBuffer& out) {
  const int last = std::min(table.records.getSize() - 1, kMostRecords);
  for (int i = 1; i <= last; ++i) appendRecord(table, *table.records.sbAt(i), out);
}

// Lines that are not empty.
void appendLines(const Part& part, StringBuffer& out) {
  int shown = 0;
  for (int i = 0; i < part.lines.getSize() && shown < kMostLines; ++i) {
    if (part.lines.sbAt(i)->getSize() == 0) continue;
    appendElement(2, "line", "", *part.lines.sbAt(i), out);
    ++shown;
  }
}

void appendPart(unsigned int number, const Part& part, StringBuffer& out) {
  ExtPtrArray attributes;
  addAttribute(attributes, "number", number);
  addAttribute(attributes, "type", part.type.getString());
  addAttribute(attributes, "name", part.name.getString());
  if (!isKnownCharset(part.charset.getString()))
    addAttribute(attributes, "unknown-charset", part.charset.getString());
  addAttribute(attributes, "bytes", part.size);
  openElement(1, "part", &attributes, out);
  if (part.kind == Kind::kTable)
    appendRecords(part.table, out);
  else if (part.kind != Kind::kBinary)
    appendLines(part, out);
  closeElement(1, "part", out);
}

}  // namespace

void appendXmlReport(const Message& message, StringBuffer& out) {
  ExtPtrArray attributes;
  addAttribute(attributes, "file", message.name.getString());
  out.append("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n");
  openElement(0, "message", &attributes, out);
  appendHeaders(message, out);
  unsigned int number = 0;
  for (const Part& part : message.parts) appendPart(++number, part, out);
  closeElement(0, "message", out);
}
