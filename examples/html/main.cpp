// dorvane-clean [FILE]: makes a plain, safe page in UTF-8 out of a saved web page. What is left is
// its text: no scripts, no comments, no tags of its own, everything escaped, and every address a
// link. Without an argument it reads the page that comes with it, data/page.html.

#include <cstdio>
#include <cstring>

#include "core/StringBuffer.h"
#include "shared/Html.h"
#include "shared/TextFile.h"
#include "shared/Utf8.h"

namespace {

constexpr char kProgram[] = "dorvane-clean";
constexpr char kShippedPage[] = DORVANE_EXAMPLE_DATA_DIR "/page.html";

void getTitle(const StringBuffer& page, StringBuffer& title) {
  page.getBetween("<title>", "</title>", title);
  htmlToText(title);
  makeLine(title, "utf-8");
  title.trim();
}

void appendHead(StringBuffer& title, StringBuffer& out) {
  title.replaceHTMLSpecial();
  out.append("<!DOCTYPE html>\n<html>\n<head>\n<meta charset=\"utf-8\">\n");
  out.append3("<title>", title.getString(), "</title>\n</head>\n<body>\n");
}

// The addresses become links in the end, and only in the body.
void clean(StringBuffer& page, StringBuffer& out) {
  StringBuffer charset;
  StringBuffer title;
  getHtmlCharset(page, charset);
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
  StringBuffer out;
  clean(page, out);
  appendSizes(size, out);
  return print(out) || complain(kProgram, path, "cannot be shown: no output");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], "--help") == 0) {
    std::puts("usage: dorvane-clean [FILE]\nMakes a plain, safe page out of a saved web page.");
    return 0;
  }
  return run(argc > 1 ? argv[1] : kShippedPage) ? 0 : 1;
}
