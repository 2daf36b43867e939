// dorvane-demo [FILE...]: takes text files apart and shows what is in them.
//
// A file may be a mail-like message whose parts are tables (CSV), records of "Name: value" lines
// or plain text, in UTF-8 or Windows-1252, with any line endings; every other text file is shown
// as one part. For each file the program prints a report, the first records as XML and HTML, and
// a summary. Without an argument it reads the file that comes with it, data/orders.txt.
//
// Where to look: TextFile.cpp takes over a block of bytes without copying it; Part.cpp splits into
// lines, fields and parts; Shown.cpp edits in place; Report.cpp appends texts, numbers and
// padding; Markup.cpp escapes.

#include <cstdio>
#include <cstring>

#include "Markup.h"
#include "Part.h"
#include "Report.h"
#include "TextFile.h"
#include "support/_dvMd5.h"

namespace {

constexpr char kShippedFile[] = DORVANE_EXAMPLE_DATA_DIR "/orders.txt";
constexpr unsigned int kMaxName = 1000;

// What is counted over one file.
struct Summary {
  int lines = 0;
  unsigned int crLf = 0;
  unsigned int lf = 0;
  unsigned int cr = 0;
  int parts = 0;
  long long fields = 0;
  long long pieces = 0;      // the buffers that the splitting made
  long long memory = 0;      // bytes they occupy
  long long heapMemory = 0;  // those of them that lie in heap blocks
};

void countPieces(const ExtPtrArraySb& pieces, Summary& summary) {
  summary.pieces += pieces.getSize();
  for (int i = 0; i < pieces.getSize(); ++i) {
    summary.memory += pieces.sbAt(i)->memoryUsage();
    summary.heapMemory += pieces.sbAt(i)->heapUsage();
  }
}

// Replacing in place tells how many there were; "\n" by itself just counts.
void countLineEndings(StringBuffer text, Summary& summary) {
  summary.crLf = text.replaceAllWithUchar("\r\n", '\n');
  summary.cr = text.replaceAllWithUchar("\r", '\n');
  summary.lf = text.replaceAllWithUchar("\n", '\n') - summary.crLf - summary.cr;
}

bool countLines(const StringBuffer& text, Summary& summary) {
  ExtPtrArraySb lines;
  if (!text.splitByLineEndings(lines, false, false)) return false;
  const int n = lines.getSize();
  // What follows the last line ending is a line only when it is not empty.
  summary.lines = n > 0 && lines.sbAt(n - 1)->getSize() == 0 ? n - 1 : n;
  countPieces(lines, summary);
  countLineEndings(text, summary);
  return true;
}

bool countFields(const Part& part, Summary& summary) {
  countPieces(part.records, summary);
  for (int i = 0; i < part.records.getSize(); ++i) {
    ExtPtrArraySb fields;
    if (!splitIntoFields(*part.records.sbAt(i), part, fields)) return false;
    countPieces(fields, summary);
    summary.fields += fields.getSize();
  }
  return true;
}

void appendMd5(const StringBuffer& text, StringBuffer& out) {
  unsigned char digest[16];
  _dvMd5().digestBytes(reinterpret_cast<const unsigned char*>(text.getString()), text.getSize(),
                       digest);
  for (const unsigned char byte : digest) out.appendHex(byte, true, 2);
}

void appendCount(const char* title, long long count, StringBuffer& out) {
  out.append(title);
  out.appendInt64(count);
}

void appendSummary(const StringBuffer& text, const Summary& summary, StringBuffer& out) {
  appendCount("\nSummary\n  bytes of text: ", text.getSize(), out);
  out.append(", MD5 ");
  appendMd5(text, out);
  appendCount("\n  lines: ", summary.lines, out);
  appendCount("; ended by CR LF: ", summary.crLf, out);
  appendCount(", by LF: ", summary.lf, out);
  appendCount(", by CR: ", summary.cr, out);
  appendCount("\n  parts: ", summary.parts, out);
  appendCount(", fields: ", summary.fields, out);
  appendCount("\n  pieces in all: ", summary.pieces, out);
  appendCount(", bytes of memory: ", summary.memory, out);
  appendCount(", of them in heap blocks: ", summary.heapMemory, out);
  out.appendLineEnding();
}

// What is made of one file, in the order of printing.
struct Output {
  StringBuffer report;
  StringBuffer xml;
  StringBuffer html;
};

bool showPart(const StringBuffer& piece, Summary& summary, Output& output) {
  Part part;
  if (!readPart(piece, part) || !countFields(part, summary)) return false;
  ++summary.parts;
  reportPart(summary.parts, part, output.report);
  reportOrders(part, output.report);
  appendXml(summary.parts, part, output.xml);
  appendHtml(part, output.html);
  return true;
}

bool showText(const StringBuffer& text, Summary& summary, Output& output) {
  ExtPtrArraySb pieces;
  if (!countLines(text, summary) || !splitIntoParts(text, pieces)) return false;
  for (int i = 0; i < pieces.getSize(); ++i)
    if (!showPart(*pieces.sbAt(i), summary, output)) return false;
  return true;
}

StringBuffer printableName(const char* path) {
  StringBuffer name(path);
  makePrintable(name, encodingOf(name), kMaxName);
  return name;
}

bool complain(const char* path, const char* what) {
  std::fprintf(stderr, "dorvane-demo: %s %s\n", printableName(path).getString(), what);
  return false;
}

bool print(const StringBuffer& text) {
  return std::fwrite(text.getString(), 1, text.getSize(), stdout) == text.getSize();
}

bool printAll(const Output& output, const StringBuffer& summary) {
  return print(output.report) && print("\nThe first records as XML\n\n") && print(output.xml) &&
         print("\nThe first records as HTML\n\n") && print(output.html) && print(summary) &&
         std::fflush(stdout) == 0;
}

void openXml(const char* path, StringBuffer& xml) {
  StringBuffer name(printableName(path));
  name.replaceHTMLSpecial();
  xml.append("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n");
  xml.append3("<file name=\"", name.getString(), "\">\n");
}

bool demonstrate(const char* path) {
  StringBuffer text;
  StringBuffer error;
  if (!readTextFile(path, text, error)) return complain(path, error.getString());

  Summary summary;
  Output output;
  output.report.append3("File ", printableName(path).getString(), "\n");
  openXml(path, output.xml);
  if (!showText(text, summary, output)) return complain(path, "is too large for the memory");
  output.xml.append("</file>\n");

  StringBuffer lastWords;
  appendSummary(text, summary, lastWords);
  return printAll(output, lastWords) || complain(path, "cannot be shown: no output");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], "--help") == 0) {
    std::puts("usage: dorvane-demo [FILE...]\nTakes text files apart and shows what is in them.");
    return 0;
  }
  if (argc < 2) return demonstrate(kShippedFile) ? 0 : 1;
  bool allShown = true;
  for (int i = 1; i < argc; ++i) allShown = demonstrate(argv[i]) && allShown;
  return allShown ? 0 : 1;
}
