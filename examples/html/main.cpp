// dorvane-clean [FILE]: makes a plain, safe page in UTF-8 out of a saved web page. What is left is
// its text: no scripts, no comments, no tags of its own, everything escaped, and every address a
// link. Without an argument it reads the page that comes with it, data/page.html.

#include "core/StringBuffer.h"
#include "shared/Arguments.h"
#include "shared/Html.h"
#include "shared/TextFile.h"
#include "shared/Utf8.h"

namespace {

constexpr char kProgram[] = "dorvane-clean";
constexpr char kUsage[] = "[FILE]\nMakes a plain, safe page out of a saved web page.\n";
constexpr char kShippedPage[] = DORVANE_EXAMPLE_DATA_DIR "/page.html";

void getTitle(const StringBuffer& page, StringBuffer& title) {
  getHtmlTitle(page, title);
  htmlToText(title);
  makeLine(title, "utf-8");
  title.trim();
}

void appendHead(StringBuffer& title, StringBuffer& out) {
  title.replaceHTMLSpecial();
  out.append("<!DOCTYPE html>\n<html>\n<head>\n<meta charset=\"utf-8\">\n");
  out.append3("<title>", title.getString(), "</title>\n</head>\n<body>\n");
}

void warnOfCharset(const char* path, const StringBuffer& charset) {
  if (isKnownCharset(charset.getString())) return;
  StringBuffer warning;
  warning.append2("names a charset that is not known: ", charset.getString());
  complain(kProgram, path, warning.getString());
}

// The addresses become links in the end, and only in the body.
void clean(StringBuffer& page, const StringBuffer& charset, StringBuffer& out) {
  StringBuffer title;
  makeText(page, charset.getString());
  getTitle(page, title);
  htmlToText(page);
  appendHead(title, out);
  appendParagraphs(page, out);
  out.append("</body>\n</html>\n");
  linkAddresses(out);
}

void appendSizes(unsigned int before, StringBuffer& out) {
  out.append("<!-- ");
  out.append(before);
  out.append(" bytes before, ");
  out.append(out.getSize());
  out.append(" after -->\n");
}

bool run(const char* path) {
  StringBuffer page;
  StringBuffer reason;
  if (!loadTextFile(path, page, reason)) return complain(kProgram, path, reason.getString());
  const unsigned int size = page.getSize();
  StringBuffer charset;
  getHtmlCharset(page, charset);
  warnOfCharset(path, charset);
  StringBuffer out;
  clean(page, charset, out);
  appendSizes(size, out);
  return print(out) || complain(kProgram, path, "cannot be shown: no output");
}

}  // namespace

int main(int argc, char** argv) {
  Arguments arguments(kProgram, kUsage, 1);
  if (!arguments.read(argc, argv)) return arguments.exitCode();
  return run(arguments.fileOr(0, kShippedPage)) ? 0 : 1;
}
