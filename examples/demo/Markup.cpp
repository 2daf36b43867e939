#include "Markup.h"

#include <algorithm>

#include "Part.h"
#include "support/dvString.h"

namespace {

constexpr unsigned int kMaxValue = 70;

// Three lines of text, or the first record of fields.
int countShown(const Part& part) {
  return std::min(part.records.getSize(), part.layout == Layout::kText ? 3 : 1);
}

// ---- XML ----

// Appends a value, to stand in an element or between double quotes: every "&", "<", ">" and
// double quote of it is escaped, so that it reads back as exactly what it is.
void appendXmlValue(StringBuffer& value, Encoding encoding, StringBuffer& out) {
  makePrintable(value, encoding, kMaxValue);
  value.replaceHTMLSpecial();
  out.append(value);
}

void appendXmlLine(const Part& part, const StringBuffer& line, StringBuffer& out) {
  StringBuffer value(line);
  out.append("    <line>");
  appendXmlValue(value, part.encoding, out);
  out.append("</line>\n");
}

void appendXmlField(StringBuffer& name, StringBuffer& value, Encoding encoding, StringBuffer& out) {
  out.append("      <field name=\"");
  appendXmlValue(name, encoding, out);
  out.append("\">");
  appendXmlValue(value, encoding, out);
  out.append("</field>\n");
}

void appendTableField(const Part& part, int column, StringBuffer& field, StringBuffer& out) {
  StringBuffer name;
  if (column < part.columns.getSize()) name.append(*part.columns.sbAt(column));
  unquote(field);
  appendXmlField(name, field, part.encoding, out);
}

// The field is "Name: value".
void appendNamedField(const Part& part, StringBuffer& field, StringBuffer& out) {
  StringBuffer value;
  if (!splitNamedField(field, value)) return;
  appendXmlField(field, value, part.encoding, out);
}

void appendXmlRecord(const Part& part, const StringBuffer& record, StringBuffer& out) {
  ExtPtrArraySb fields;
  splitIntoFields(record, part, fields);
  out.append("    <record>\n");
  for (int i = 0; i < fields.getSize(); ++i) {
    if (part.layout == Layout::kTable) {
      appendTableField(part, i, *fields.sbAt(i), out);
    } else {
      appendNamedField(part, *fields.sbAt(i), out);
    }
  }
  out.append("    </record>\n");
}

// ---- HTML ----

// UTF-8 text may be HTML in part: its references stay, and what is not yet escaped is escaped.
// Windows-1252 text becomes plain ASCII, every special character written by its name; the few
// that have none, as U+017D, end as UTF-8.
void appendHtmlValue(StringBuffer& value, Encoding encoding, StringBuffer& out) {
  if (encoding == Encoding::kUtf8) {
    makePrintable(value, encoding, kMaxValue);
    value.encodeXMLSpecial();
  } else {
    value.chopAt(kMaxValue);
    value.encodeAllXmlSpecial();
    makePrintable(value, encoding, 10 * kMaxValue);
  }
  out.append(value);
}

void appendHtmlRow(const Part& part, const StringBuffer& record, StringBuffer& out) {
  ExtPtrArraySb fields;
  splitIntoFields(record, part, fields);
  out.append("  <tr>");
  for (int i = 0; i < fields.getSize(); ++i) {
    unquote(*fields.sbAt(i));
    out.append("<td>");
    appendHtmlValue(*fields.sbAt(i), part.encoding, out);
    out.append("</td>");
  }
  out.append("</tr>\n");
}

void appendHtmlLine(const Part& part, const StringBuffer& line, StringBuffer& out) {
  if (line.getSize() == 0) return;
  StringBuffer value(line);
  out.append("  <p>");
  appendHtmlValue(value, part.encoding, out);
  out.append("</p>\n");
}

}  // namespace

void appendXml(int number, const Part& part, StringBuffer& out) {
  out.append_d("  <part number=\"%d\"", number);
  out.append_d(" records=\"%d\">\n", part.records.getSize());
  const auto appendRecord = part.layout == Layout::kText ? appendXmlLine : appendXmlRecord;
  for (int i = 0; i < countShown(part); ++i) appendRecord(part, *part.records.sbAt(i), out);
  out.append("  </part>\n");
}

void appendHtml(const Part& part, StringBuffer& out) {
  const auto appendRecord = part.layout == Layout::kText ? appendHtmlLine : appendHtmlRow;
  for (int i = 0; i < countShown(part); ++i) appendRecord(part, *part.records.sbAt(i), out);
}
