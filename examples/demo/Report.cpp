#include "Report.h"

#include <algorithm>
#include <vector>

#include "Part.h"
#include "support/dvParse.h"
#include "support/dvString.h"

namespace {

constexpr int kMostShown = 3;
constexpr unsigned int kMaxCell = 17;
constexpr unsigned int kMaxLine = 104;

int countShown(const Part& part) { return std::min(part.records.getSize(), kMostShown); }

void appendLine(const StringBuffer& line, Encoding encoding, StringBuffer& out) {
  StringBuffer shown(line);
  makePrintable(shown, encoding, kMaxLine);
  out.append3(shown.getSize() == 0 ? "" : "    ", shown.getString(), "\n");
}

// ---- Text ----

void appendText(const Part& part, StringBuffer& out) {
  for (int i = 0; i < countShown(part); ++i) appendLine(*part.records.sbAt(i), part.encoding, out);
}

// ---- Record jars: one line of name="value" pairs per record, the way a log wants them ----

void appendPair(StringBuffer& field, StringBuffer& out) {
  StringBuffer value;
  if (!splitNamedField(field, value)) return;
  if (out.getSize() != 0) out.appendChar(' ');
  out.appendNameValue(field.getString(), value.getString());
}

void appendRecordJar(const Part& part, StringBuffer& out) {
  for (int i = 0; i < countShown(part); ++i) {
    ExtPtrArraySb fields;
    splitIntoFields(*part.records.sbAt(i), part, fields);
    StringBuffer line;
    for (int k = 0; k < fields.getSize(); ++k) appendPair(*fields.sbAt(k), line);
    appendLine(line, part.encoding, out);
  }
}

// ---- Tables: aligned columns ----

void makeCells(ExtPtrArraySb& fields, Encoding encoding) {
  for (int i = 0; i < fields.getSize(); ++i) {
    unquote(*fields.sbAt(i));
    makePrintable(*fields.sbAt(i), encoding, kMaxCell);
  }
}

void widen(std::vector<unsigned int>& widths, const ExtPtrArraySb& cells) {
  widths.resize(std::max(widths.size(), static_cast<std::size_t>(cells.getSize())));
  for (int i = 0; i < cells.getSize(); ++i) {
    unsigned int& width = widths[static_cast<std::size_t>(i)];
    width = std::max(width, countCharacters(*cells.sbAt(i)));
  }
}

void appendRow(const ExtPtrArraySb& cells, const std::vector<unsigned int>& widths,
               StringBuffer& out) {
  StringBuffer row;
  for (int i = 0; i < cells.getSize(); ++i) {
    const StringBuffer& cell = *cells.sbAt(i);
    row.append(cell);
    row.appendCharN(' ', widths[static_cast<std::size_t>(i)] - countCharacters(cell) + 2);
  }
  // Empty cells at the end leave blanks behind.
  while (row.getSize() != 0 && *row.pCharAt(row.getSize() - 1) == ' ') row.shorten(1);
  out.append3("    ", row.getString(), "\n");
}

void appendTable(const Part& part, StringBuffer& out) {
  std::vector<ExtPtrArraySb> rows(static_cast<std::size_t>(countShown(part)) + 1);
  splitIntoFields(part.columnLine, part, rows[0]);
  for (int i = 0; i < countShown(part); ++i)
    splitIntoFields(*part.records.sbAt(i), part, rows[static_cast<std::size_t>(i) + 1]);

  std::vector<unsigned int> widths;
  for (ExtPtrArraySb& cells : rows) {
    makeCells(cells, part.encoding);
    widen(widths, cells);
  }
  for (const ExtPtrArraySb& cells : rows) appendRow(cells, widths, out);
}

// ---- What a part is ----

void describe(const Part& part, StringBuffer& out) {
  const int records = part.records.getSize();
  const bool isUtf8 = part.encoding == Encoding::kUtf8;
  switch (part.layout) {
    case Layout::kTable:
      out.append2("table, ", isUtf8 ? "UTF-8" : "Windows-1252");
      out.append_d("; records: %d", records);
      out.append_d("; fields: %d\n", part.columns.getSize());
      break;
    case Layout::kRecordJar:
      out.append2("named fields, ", isUtf8 ? "UTF-8" : "Windows-1252");
      out.append_d("; records: %d\n", records);
      break;
    case Layout::kText:
      out.append2("text, ", isUtf8 ? "UTF-8" : "Windows-1252");
      out.append_d("; lines: %d\n", records);
      break;
  }
}

// ---- Orders ----

int findColumn(const Part& part, const char* name) {
  for (int i = 0; i < part.columns.getSize(); ++i)
    if (dvStrICmp(part.columns.sbAt(i)->getString(), name) == 0) return i;
  return -1;
}

// "1234.50", "1234,50" and "1.234,50" are 123450 cents. A text that does not end in a separator
// and two decimals is no amount, nor is one of more than nine digits.
bool parseCents(const StringBuffer& field, long long& cents) {
  const unsigned int size = field.getSize();
  if (size < 4) return false;
  const char separator = *field.pCharAt(size - 3);
  if (separator != '.' && separator != ',') return false;
  StringBuffer digits(field);
  digits.replaceAllOccurances(".", "");
  digits.replaceAllOccurances(",", "");
  const char* const first = digits.getString();
  return digits.getSize() <= 9 && dvParseDecimalInt64(first, first + digits.getSize() - 1, cents) &&
         cents >= 0;
}

void appendAmount(long long cents, StringBuffer& out) {
  out.appendInt64(cents / 100);
  const int rest = static_cast<int>(cents % 100);
  out.append_d(rest < 10 ? ".0%d" : ".%d", rest);
}

struct Sum {
  long long total = 0;
  long long largest = -1;
  int indexOfLargest = 0;
};

Sum sumUp(const Part& part, int column) {
  Sum sum;
  for (int i = 0; i < part.records.getSize(); ++i) {
    ExtPtrArraySb fields;
    splitIntoFields(*part.records.sbAt(i), part, fields);
    long long cents = 0;
    if (fields.sbAt(column) == nullptr) continue;
    unquote(*fields.sbAt(column));
    if (!parseCents(*fields.sbAt(column), cents)) continue;
    sum.total += cents;
    if (cents <= sum.largest) continue;
    sum.largest = cents;
    sum.indexOfLargest = i;
  }
  return sum;
}

// Fills the template's next "%s" with a field. A value that is appended is never taken for a
// placeholder itself, whatever a customer calls himself.
void appendFilled(const char* format, const Part& part, const ExtPtrArraySb& fields,
                  const char* column, StringBuffer& out) {
  const StringBuffer* const field = fields.sbAt(findColumn(part, column));
  if (field == nullptr) return;
  StringBuffer value(*field);
  unquote(value);
  makePrintable(value, part.encoding, kMaxLine);
  out.append_s(format, value.getString());
}

void appendLetter(const Part& part, const StringBuffer& order, StringBuffer& out) {
  ExtPtrArraySb fields;
  if (!splitIntoFields(order, part, fields)) return;
  out.append("\n  Letter about the largest order\n\n");
  appendFilled("    To: %s", part, fields, "customer", out);
  appendFilled(", %s", part, fields, "city", out);
  appendFilled("\n    Your order %s", part, fields, "order", out);
  appendFilled(" of %s\n", part, fields, "date", out);
  appendFilled("    Thank you for ordering %s", part, fields, "quantity", out);
  appendFilled(" x %s.\n", part, fields, "article", out);
  appendFilled("    The amount of %s is due within 14 days.\n", part, fields, "amount", out);
}

}  // namespace

void reportPart(int number, const Part& part, StringBuffer& out) {
  out.append_d("\nPart %d: ", number);
  describe(part, out);
  for (int i = 0; i < part.headers.getSize(); ++i) {
    StringBuffer header(*part.headers.sbAt(i));
    makePrintable(header, encodingOf(header), kMaxLine);
    out.append3("  ", header.getString(), "\n");
  }
  if (part.headers.getSize() != 0) out.appendLineEnding();
  switch (part.layout) {
    case Layout::kTable:
      appendTable(part, out);
      break;
    case Layout::kRecordJar:
      appendRecordJar(part, out);
      break;
    case Layout::kText:
      appendText(part, out);
      break;
  }
  const int rest = part.records.getSize() - countShown(part);
  if (rest > 0) out.append_d("    ... and %d more\n", rest);
}

void reportOrders(const Part& part, StringBuffer& out) {
  const int amount = findColumn(part, "amount");
  if (amount < 0) return;
  const Sum sum = sumUp(part, amount);
  if (sum.largest < 0) return;
  out.append("    Amounts: ");
  appendAmount(sum.total, out);
  out.append(" in total, ");
  appendAmount(sum.largest, out);
  out.append(" the largest\n");
  if (findColumn(part, "customer") >= 0)
    appendLetter(part, *part.records.sbAt(sum.indexOfLargest), out);
}
