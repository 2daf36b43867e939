#include "Part.h"

#include "support/dvString.h"

namespace {

constexpr int kRecordsLookedAt = 5;

// ---- Header ----

bool isHeaderLine(const char* line) {
  if (*line == ' ' || *line == '\t') return true;  // continues the line before
  const char* const colon = dvStrChr(line, ':');
  const char* const space = dvStrChr(line, ' ');
  return colon != nullptr && colon != line && (space == nullptr || colon < space);
}

bool isHeader(const StringBuffer& head) {
  ExtPtrArraySb lines;
  if (!head.split(lines, '\n', false, false)) return false;
  for (int i = 0; i < lines.getSize(); ++i)
    if (!isHeaderLine(lines.sbAt(i)->getString())) return false;
  return true;
}

// Moves the header, everything up to the first empty line, from the body to the header lines.
bool takeHeader(StringBuffer& body, ExtPtrArraySb& headers) {
  if (*body.getString() == '\n') {  // no header at all
    body.removeChunk(0, 1);
    return true;
  }
  StringBuffer emptyLine("\n\n");
  ExtPtrArraySb firstPiece;
  if (!body.splitUsingBoundary(emptyLine, firstPiece, 1)) return false;
  if (firstPiece.getSize() == 0) return true;
  StringBuffer& head = *firstPiece.sbAt(0);
  const unsigned int size = head.getSize();
  if (size == body.getSize() || !isHeader(head)) return true;
  body.removeChunk(0, size + emptyLine.getSize());
  head.replaceAllOccurances("\n ", " ");
  head.replaceAllOccurances("\n\t", " ");
  return head.split(headers, '\n', false, false);
}

// Appends the value of the parameter `boundary` of a header line; false when there is none.
bool getBoundary(const ExtPtrArraySb& headers, StringBuffer& boundary) {
  for (int i = 0; i < headers.getSize(); ++i) {
    constexpr char kName[] = "boundary=";
    const char* const found = stristr(headers.sbAt(i)->getString(), kName);
    if (found == nullptr) continue;
    StringBuffer value(found + sizeof kName - 1);
    ExtPtrArraySb pieces;
    const bool quoted = *value.getString() == '"';
    if (!value.split(pieces, quoted ? '"' : ';', false, false)) return false;
    const StringBuffer* const piece = pieces.sbAt(quoted ? 1 : 0);
    return piece != nullptr && piece->getSize() != 0 && boundary.append(*piece);
  }
  return false;
}

// ---- Layout ----

int countFields(const StringBuffer& record, char delimiter) {
  ExtPtrArraySb fields;
  return record.split(fields, delimiter, true, false) ? fields.getSize() : 0;
}

// A table has at least two records, and the first ones have the same number of fields.
bool isTableOf(const ExtPtrArraySb& records, char delimiter) {
  if (records.getSize() < 2) return false;
  const int columns = countFields(*records.sbAt(0), delimiter);
  for (int i = 1; i < records.getSize() && i < kRecordsLookedAt; ++i)
    if (countFields(*records.sbAt(i), delimiter) != columns) return false;
  return columns > 1;
}

bool readColumns(Part& part) {
  if (!part.columnLine.split(part.columns, part.delimiter, true, false)) return false;
  for (int i = 0; i < part.columns.getSize(); ++i) unquote(*part.columns.sbAt(i));
  return true;
}

bool readTable(Part& part) {
  ExtPtrArraySb lines;
  // A line ending inside a quoted field does not end the record.
  if (!part.body.splitByLineEndings(lines, true, false)) return false;
  for (const char delimiter : {',', ';', '\t'}) {
    if (!isTableOf(lines, delimiter)) continue;
    part.layout = Layout::kTable;
    part.delimiter = delimiter;
    part.columnLine.append(*lines.sbAt(0));
    part.body.removeChunk(0, part.columnLine.getSize() + 1);
    return readColumns(part) && part.body.splitByLineEndings(part.records, true, false);
  }
  return true;
}

bool readRecordJar(Part& part) {
  StringBuffer separator("\n%%\n");
  if (dvStrStr(part.body.getString(), separator.getString()) == nullptr) return true;
  part.layout = Layout::kRecordJar;
  return part.body.splitUsingBoundary(separator, part.records, 0);
}

bool readRecords(Part& part) {
  if (part.body.getSize() == 0) return true;
  if (!readTable(part)) return false;
  if (part.layout == Layout::kText && !readRecordJar(part)) return false;
  return part.layout != Layout::kText || part.body.split(part.records, '\n', false, false);
}

// The text with LF as the only line ending.
bool appendNormalized(const StringBuffer& text, StringBuffer& out) {
  if (!out.append(text)) return false;
  out.replaceAllWithUchar("\r\n", '\n');
  out.replaceAllWithUchar("\r", '\n');
  return true;
}

// createNewSB() answers null when memory is exhausted, and an array would keep the null.
bool appendCopy(const StringBuffer& text, ExtPtrArraySb& out) {
  StringBuffer* const copy = StringBuffer::createNewSB(text);
  return copy != nullptr && out.appendPtr(copy);
}

bool readHeader(const StringBuffer& text, ExtPtrArraySb& headers) {
  StringBuffer rest(text);
  return takeHeader(rest, headers);
}

}  // namespace

bool splitIntoParts(const StringBuffer& text, ExtPtrArraySb& parts) {
  StringBuffer whole;
  ExtPtrArraySb headers;
  if (!appendNormalized(text, whole) || !readHeader(whole, headers)) return false;
  StringBuffer boundary;
  if (!getBoundary(headers, boundary)) return appendCopy(whole, parts);

  // What stands behind the closing boundary belongs to no part.
  StringBuffer closing;
  closing.append3("\n--", boundary.getString(), "--");
  ExtPtrArraySb message;
  if (!whole.splitUsingBoundary(closing, message, 1)) return false;

  StringBuffer opening;
  opening.append3("\n--", boundary.getString(), "\n");
  return message.getSize() == 0 || message.sbAt(0)->splitUsingBoundary(opening, parts, 0);
}

bool readPart(const StringBuffer& text, Part& part) {
  if (!part.body.append(text) || !takeHeader(part.body, part.headers)) return false;
  if (part.body.getSize() != 0 && *part.body.pCharAt(part.body.getSize() - 1) == '\n')
    part.body.shorten(1);
  part.encoding = encodingOf(part.body);
  return readRecords(part);
}

bool splitIntoFields(const StringBuffer& record, const Part& part, ExtPtrArraySb& fields) {
  switch (part.layout) {
    case Layout::kTable:
      return record.split(fields, part.delimiter, true, false);
    case Layout::kRecordJar:
      return record.splitAndTrim(fields, '\n', false, false);
    default:
      return appendCopy(record, fields);
  }
}

bool splitNamedField(StringBuffer& field, StringBuffer& value) {
  const char* const colon = dvStrChr(field.getString(), ':');
  if (colon == nullptr || !value.append(colon[1] == ' ' ? colon + 2 : colon + 1)) return false;
  field.chopAt(static_cast<unsigned int>(colon - field.getString()));
  return true;
}
