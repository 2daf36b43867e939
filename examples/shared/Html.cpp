#include "shared/Html.h"

#include "core/StringBuffer.h"
#include "shared/Utf8.h"
#include "support/ExtPtrArraySb.h"
#include "support/_dvUtf.h"
#include "support/dvString.h"

namespace {

constexpr unsigned int kCharsetLookedFor = 1024;

// ---- Links ----

// Appends the value of the attribute "href", with or without quotes; nothing when there is none.
void appendHref(const StringBuffer& attributes, StringBuffer& address) {
  constexpr char kName[] = " href";
  const char* const at = stristr(attributes.getString(), kName);
  if (at == nullptr) return;
  StringBuffer value(at + sizeof kName - 1);
  value.trim2();
  if (value.charAt(0) != '=') return;
  value.removeChunk(0, 1);
  value.trim2();
  const char quote = value.charAt(0);
  const bool isQuoted = quote == '"' || quote == '\'';
  if (isQuoted) value.removeChunk(0, 1);
  value.chopAtFirstChar(isQuoted ? quote : ' ');
  address.append(value);
}

bool getAddress(const StringBuffer& piece, StringBuffer& address) {
  StringBuffer attributes(" ");
  if (!piece.getBetween("<a ", ">", attributes)) return false;
  appendHref(attributes, address);
  // "javascript:" and the like lead nowhere.
  return address.beginsWithIgnoreCase("http://") || address.beginsWithIgnoreCase("https://");
}

// Puts the address behind the text of each link, unless the text is the address already.
bool showAddresses(StringBuffer& page) {
  // From now on these are written in lower case.
  for (const char* const name : {"<a ", "</a>"}) page.replaceAllOccurancesNoCase(name, name);
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

void removeElement(const char* begin, const char* end, StringBuffer& page) {
  StringBuffer endWithBlank(end);
  endWithBlank.replaceCharAnsi('>', ' ');
  endWithBlank.appendChar('>');
  page.replaceAllOccurancesNoCase(endWithBlank.getString(), end);
  page.removeDelimited(begin, end, false);
}

void removeHidden(StringBuffer& page) {
  page.removeDelimited("<!--", "-->", true);
  removeElement("<script", "</script>", page);
  removeElement("<style", "</style>", page);
  removeElement("<title", "</title>", page);
}

// The tags of blocks begin lines.
void setLines(StringBuffer& page) {
  for (const char* const tag : {"<br", "<p", "</p", "<div", "</div", "<tr", "</tr", "<table",
                                "</table", "<ul", "</ul", "<ol", "</ol", "</li", "<h", "</h"}) {
    StringBuffer onNewLine("\n");
    onNewLine.append(tag);
    page.replaceAllOccurancesNoCase(tag, onNewLine.getString());
  }
  page.replaceAllOccurancesNoCase("<li>", "<li >");
  page.replaceAllOccurancesNoCase("<li ", "\n- <li ");
  page.replaceAllOccurancesNoCase("<td", " <td");
}

void removeTags(StringBuffer& page) {
  page.replaceAllOccurances("< ", "&lt; ");  // no tag begins so
  page.removeDelimited("<", ">", true);
}

// ---- References ----

// The character of a number as HTML has it: those of the C1 controls mean the characters that
// Windows-1252 has there, and U+FFFD stands for what is no character.
void appendCharacter(unsigned int codePoint, StringBuffer& out) {
  constexpr unsigned int kReplacement = 0xFFFD;
  StringBuffer character;
  if (codePoint >= 0x80 && codePoint <= 0x9F) {
    character.appendUChar(static_cast<unsigned char>(codePoint));
    makeText(character, "windows-1252");
    out.append(character);
    return;
  }
  const bool isCharacter = codePoint != 0 && (codePoint < 0xD800 || codePoint > 0xDFFF);
  char bytes[4];
  unsigned int size = 0;
  _dvUtf::oneUtf32ToUtf8(isCharacter ? codePoint : kReplacement, bytes, size);
  out.appendN(bytes, size);
}

// Appends the character of a reference, "&#345;" or "&#x159;", and returns its size; 0 when it is
// none. The semicolon may be missing.
unsigned int appendReference(const char* reference, StringBuffer& out) {
  constexpr unsigned int kMostDigits = 7;
  const bool isHex = reference[2] == 'x' || reference[2] == 'X';
  const char* const digits = reference + (isHex ? 3 : 2);
  const char* end = digits;
  while (*end == '0') ++end;
  StringBuffer number;
  const unsigned int size = isHex ? number.captureHex(end) : number.captureDecimal(end);
  end += size;
  if (end == digits || size > kMostDigits) return 0;
  const unsigned int codePoint =
      isHex ? StringBuffer::hexValueUint32(number.getString()) : number.uintValue();
  if (codePoint > 0x10FFFF) return 0;
  appendCharacter(codePoint, out);
  if (*end == ';') ++end;
  return static_cast<unsigned int>(end - reference);
}

// The library decodes the numbers of Windows-1252 only; this decodes all.
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

// References may be encoded twice; the library sees to that for names.
void decodeReferences(StringBuffer& text) {
  text.replaceAllOccurances("&amp;#", "&#");
  decodeNumbers(text);
  text.decodeAllXmlSpecialUtf8();
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
  makeLine(start, "utf-8");
  ExtPtrArraySb pieces;
  start.split2(pieces, "\"'<>/; ", false, false);
  for (int i = 0; i < pieces.getSize(); ++i) {
    StringBuffer& name = *pieces.sbAt(i);
    if (name.getSize() == 0) continue;
    // A page in which the name can be read is in no such charset.
    const bool isWide = name.beginsWithIgnoreCase("utf-16") || name.beginsWithIgnoreCase("utf-32");
    return charset.append(isWide ? "utf-8" : name.getString());
  }
  return false;
}

bool getHtmlTitle(const StringBuffer& page, StringBuffer& title) {
  const char* const tag = stristr(page.getString(), "<title");
  const char* const begin = dvStrChr(tag, '>');
  const char* const end = stristr(begin, "</title");
  if (end == nullptr) return false;
  return title.appendN(begin + 1, static_cast<unsigned int>(end - begin) - 1);
}

// The tags go before the references are decoded: "&lt;b&gt;" is text and no tag.
void htmlToText(StringBuffer& page) {
  page.trimInsideSpaces();  // line endings mean nothing in HTML
  removeHidden(page);
  showAddresses(page);
  setLines(page);
  removeTags(page);
  decodeReferences(page);
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
