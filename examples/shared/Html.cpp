#include "shared/Html.h"

#include "core/StringBuffer.h"
#include "shared/Utf8.h"
#include "support/DataBuffer.h"
#include "support/ExtPtrArraySb.h"
#include "support/LogNull.h"
#include "support/dvString.h"

namespace {

constexpr unsigned int kCharsetLookedFor = 1024;

// ---- Links ----

bool getAddress(const StringBuffer& piece, StringBuffer& address) {
  StringBuffer attributes;
  if (!piece.getBetween("<a ", ">", attributes)) return false;
  if (!attributes.getBetween("href=\"", "\"", address))
    attributes.getBetween("href='", "'", address);
  // "javascript:" and the like lead nowhere.
  return address.beginsWithIgnoreCase("http://") || address.beginsWithIgnoreCase("https://");
}

// Puts the address behind the text of each link, unless the text is the address already.
bool showAddresses(StringBuffer& page) {
  // From now on these are written in lower case.
  for (const char* const name : {"<a ", "</a>", "href="})
    page.replaceAllOccurancesNoCase(name, name);
  StringBuffer closingTag("</a>");
  ExtPtrArraySb pieces;
  if (!page.splitUsingBoundary(closingTag, pieces, 0)) return false;
  page.clear();
  for (int i = 0; i < pieces.getSize(); ++i) {
    StringBuffer address;
    const StringBuffer& piece = *pieces.sbAt(i);
    page.append(piece);
    if (getAddress(piece, address) && !piece.endsWith(address.getString()))
      page.append3(" (", address.getString(), ")");
  }
  return true;
}

// ---- Tags ----

void removeHidden(StringBuffer& page) {
  page.removeDelimited("<!--", "-->", true);
  page.removeDelimited("<script", "</script>", false);
  page.removeDelimited("<style", "</style>", false);
  page.removeDelimited("<title", "</title>", false);
}

// Line endings mean nothing in HTML; the tags of blocks begin lines.
void setLines(StringBuffer& page) {
  page.trimInsideSpaces();
  for (const char* const tag : {"<br", "<p", "</p", "<div", "</div", "<tr", "</tr", "<table",
                                "</table", "<ul", "</ul", "<ol", "</ol", "</li", "<h", "</h"}) {
    StringBuffer onNewLine("\n");
    onNewLine.append(tag);
    page.replaceAllOccurancesNoCase(tag, onNewLine.getString());
  }
  page.replaceAllOccurancesNoCase("<li>", "\n- ");
  page.replaceAllOccurancesNoCase("<td", " <td");
}

void removeTags(StringBuffer& page) {
  page.replaceAllOccurances("< ", "&lt; ");  // no tag begins so
  page.removeDelimited("<", ">", true);
}

// ---- References ----

// Appends a character by its number.
void appendCharacter(unsigned int codePoint, StringBuffer& out) {
  constexpr int kUtf32Big = 12001;
  constexpr int kUtf8 = 65001;
  StringBuffer hex;
  hex.appendHex(codePoint, false, 8);
  DataBuffer bytes;
  hex.hexStringToBinary(bytes);
  StringBuffer character;
  LogNull log;
  if (!character.takeFromDb(bytes)) return;
  character.convertEncoding(kUtf32Big, kUtf8, log);
  out.append(character);
}

// Appends the character of a reference, "&#345;" or "&#x159;", and returns its size; 0 when it is
// none.
unsigned int appendReference(const char* reference, StringBuffer& out) {
  const bool isHex = reference[2] == 'x' || reference[2] == 'X';
  const char* const number = reference + (isHex ? 3 : 2);
  StringBuffer digits;
  const unsigned int size = isHex ? digits.captureHex(number) : digits.captureDecimal(number);
  if (size == 0 || size > 7 || number[size] != ';') return 0;
  const unsigned int codePoint =
      isHex ? StringBuffer::hexValueUint32(digits.getString()) : digits.uintValue();
  if (codePoint <= 0xFF || codePoint > 0x10FFFF) return 0;
  appendCharacter(codePoint, out);
  return size + (isHex ? 4 : 3);
}

// The library decodes what Windows-1252 has; this decodes the numbers beyond it.
void decodeNumbers(StringBuffer& text) {
  StringBuffer decoded;
  const char* rest = text.getString();
  while (const char* const at = dvStrStr(rest, "&#")) {
    decoded.appendN(rest, static_cast<unsigned int>(at - rest));
    const unsigned int size = appendReference(at, decoded);
    if (size == 0) decoded.append("&#");
    rest = at + (size == 0 ? 2 : size);
  }
  decoded.append(rest);
  text.takeSb(decoded);
}

// ---- Lines ----

// Trims the lines and removes the empty ones.
void tidyLines(StringBuffer& text) {
  ExtPtrArraySb lines;
  if (!text.splitAndTrim(lines, '\n', false, false)) return;
  text.weakClear();
  for (int i = 0; i < lines.getSize(); ++i)
    if (lines.sbAt(i)->getSize() != 0) text.append2(lines.sbAt(i)->getString(), "\n");
}

}  // namespace

bool getHtmlCharset(const StringBuffer& page, StringBuffer& charset) {
  StringBuffer start(page.getString());
  start.chopAt(kCharsetLookedFor);
  const int at = start.indexOfNoCase("charset=");
  if (at < 0) return false;
  start.removeChunk(0, static_cast<unsigned int>(at) + 8);
  ExtPtrArraySb pieces;
  start.split2(pieces, "\"'<>/; \n", false, false);
  for (int i = 0; i < pieces.getSize(); ++i)
    if (pieces.sbAt(i)->getSize() != 0) return charset.append(*pieces.sbAt(i));
  return false;
}

// The tags go before the references are decoded: "&lt;b&gt;" is text and no tag.
void htmlToText(StringBuffer& page) {
  removeHidden(page);
  showAddresses(page);
  setLines(page);
  removeTags(page);
  page.decodeAllXmlSpecialUtf8();
  decodeNumbers(page);
  makeText(page, "utf-8");  // a reference may stand for a control
  tidyLines(page);
}

void appendParagraphs(const StringBuffer& text, StringBuffer& out) {
  ExtPtrArraySb lines;
  text.splitIntoLines(lines, 0);
  for (int i = 0; i < lines.getSize(); ++i) {
    StringBuffer& line = *lines.sbAt(i);
    if (line.getSize() == 0) continue;
    line.replaceHTMLSpecial();
    out.append3("<p>", line.getString(), "</p>\n");
  }
}

// An address runs up to a blank or a bracket. A TAB, of which clean text has none, ends it also
// before an escaped quote or bracket and before the punctuation of a sentence.
void linkAddresses(StringBuffer& html) {
  for (const char* const end : {"&quot;", "&lt;", "&gt;", ". ", ", ", ".<", ",<"}) {
    StringBuffer marked("\t");
    marked.append(end);
    html.replaceAllOccurances(end, marked.getString());
  }
  html.autoLinkUrls();
  html.removeCharOccurances('\t');
}
