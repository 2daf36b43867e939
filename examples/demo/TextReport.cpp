#include <algorithm>
#include <vector>

#include "Header.h"
#include "Message.h"
#include "Report.h"
#include "shared/Utf8.h"

namespace {

constexpr int kMostLines = 15;
constexpr int kMostRecords = 5;
constexpr unsigned int kMaxLine = 112;
constexpr unsigned int kMaxHeader = 400;
constexpr unsigned int kMaxCell = 24;
constexpr unsigned int kLabelWidth = 9;

void appendLine(const StringBuffer& line, StringBuffer& out) {
  StringBuffer shown(line);
  cutText(shown, kMaxLine);
  out.append3(shown.getSize() == 0 ? "" : "    ", shown.getString(), "\n");
}

void appendRest(int all, int shown, StringBuffer& out) {
  if (all > shown) out.append_d("    ... and %d more\n", all - shown);
}

void appendHeaders(const Message& message, StringBuffer& out) {
  if (message.headers.getSize() != 0) out.appendLineEnding();
  for (const char* const name : kShownHeaders) {
    StringBuffer value;
    getHeader(message.headers, name, value);
    cutText(value, kMaxHeader);
    if (value.getSize() == 0) continue;
    StringBuffer label;
    label.append2(name, ":");
    appendPadded(label, kLabelWidth, out);
    out.append2(value.getString(), "\n");
  }
}

// ---- Parts ----

void appendDetail(const StringBuffer& detail, StringBuffer& out) {
  if (detail.getSize() != 0) out.append2(", ", detail.getString());
}

void appendTitle(int number, const Part& part, StringBuffer& out) {
  out.append_d("\nPart #%d: ", number);
  out.append(part.type);
  appendDetail(part.charset, out);
  if (!isKnownCharset(part.charset.getString())) out.append(" (not known)");
  appendDetail(part.encoding, out);
  appendDetail(part.name, out);
  out.append(", ");
  out.append(part.size);
  out.append(" bytes");
  if (part.damage != 0) out.append(", damaged bytes: ");
  if (part.damage != 0) out.append(part.damage);
  out.append("\n\n");
}

void appendLines(const Part& part, StringBuffer& out) {
  const int shown = std::min(part.lines.getSize(), kMostLines);
  for (int i = 0; i < shown; ++i) appendLine(*part.lines.sbAt(i), out);
  appendRest(part.lines.getSize(), shown, out);
}

// ---- Tables: aligned columns ----

void getCell(const Table& table, int record, unsigned int column, StringBuffer& cell) {
  getField(table, *table.records.sbAt(record), column, cell);
  cutText(cell, kMaxCell);
}

unsigned int widthOf(const Table& table, int records, unsigned int column) {
  unsigned int width = 0;
  StringBuffer cell;
  for (int i = 0; i < records; ++i) {
    getCell(table, i, column, cell);
    width = std::max(width, countCharacters(cell));
  }
  return width;
}

void appendTable(const Table& table, StringBuffer& out) {
  const int rows = std::min(table.records.getSize(), 1 + kMostRecords);
  std::vector<unsigned int> widths;
  for (unsigned int i = 0; i < table.columns; ++i) widths.push_back(widthOf(table, rows, i));
  StringBuffer cell;
  for (int row = 0; row < rows; ++row) {
    StringBuffer line;
    for (unsigned int i = 0; i < widths.size(); ++i) {
      getCell(table, row, i, cell);
      appendPadded(cell, widths[i] + 2, line);
    }
    line.trimRight2();
    out.append3("    ", line.getString(), "\n");
  }
  appendRest(table.records.getSize(), rows, out);
}

void appendPart(int number, const Part& part, StringBuffer& out) {
  appendTitle(number, part, out);
  if (part.kind == Kind::kTable)
    appendTable(part.table, out);
  else if (part.kind == Kind::kBinary)
    out.append3("    begins with", part.text.getString(), "\n");
  else
    appendLines(part, out);
}

}  // namespace

void appendTextReport(const Message& message, StringBuffer& out) {
  out.append3("File ", message.name.getString(), "\n");
  appendHeaders(message, out);
  int number = 0;
  for (const Part& part : message.parts) appendPart(++number, part, out);
}
