#include <algorithm>

#include "Header.h"
#include "Message.h"
#include "Report.h"
#include "shared/Html.h"
#include "shared/Json.h"
#include "shared/Utf8.h"

namespace {

constexpr int kMostRecords = 2;
constexpr unsigned int kMaxText = 420;

void appendMessage(const Message& message, StringBuffer& out) {
  out.appendChar('{');
  appendMember("file", message.name, out);
  for (const char* const name : kShownHeaders) {
    StringBuffer value;
    getHeader(message.headers, name, value);
    if (value.getSize() != 0) appendMember(name, value, out);
  }
  out.append("}\n");
}

// A web page also as HTML that is safe to show: escaped, its addresses links again.
void appendText(const Part& part, StringBuffer& out) {
  StringBuffer text(part.text);
  cutText(text, kMaxText);
  appendMember("text", text, out);
  if (part.kind != Kind::kHtml) return;
  StringBuffer html;
  appendParagraphs(text, html);
  linkAddresses(html);
  appendMember("html", html, out);
}

void appendPart(int number, const Part& part, StringBuffer& out) {
  out.append_d(R"({"part":%d,"bytes":)", number);
  out.append(part.size);
  appendMember("type", part.type, out);
  if (part.name.getSize() != 0) appendMember("name", part.name, out);
  if (!isKnownCharset(part.charset.getString())) appendMember("unknown-charset", part.charset, out);
  if (part.kind == Kind::kText || part.kind == Kind::kHtml) appendText(part, out);
  out.append("}\n");
}

void appendRecord(int number, const Table& table, const StringBuffer& record, StringBuffer& out) {
  StringBuffer name;
  StringBuffer field;
  out.append_d(R"({"part":%d,"record":{)", number);
  for (unsigned int i = 0; i < table.columns; ++i) {
    getField(table, *table.records.sbAt(0), i, name);
    getField(table, record, i, field);
    appendMember(name.getString(), field, out);
  }
  out.append("}}\n");
}

void appendRecords(int number, const Table& table, StringBuffer& out) {
  const int last = std::min(table.records.getSize() - 1, kMostRecords);
  for (int i = 1; i <= last; ++i) appendRecord(number, table, *table.records.sbAt(i), out);
}

}  // namespace

void appendJsonReport(const Message& message, StringBuffer& out) {
  appendMessage(message, out);
  int number = 0;
  for (const Part& part : message.parts) {
    appendPart(++number, part, out);
    if (part.kind == Kind::kTable) appendRecords(number, part.table, out);
  }
}
