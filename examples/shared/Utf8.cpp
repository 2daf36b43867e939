#include "shared/Utf8.h"

#include "core/StringBuffer.h"
#include "support/DataBuffer.h"
#include "support/EncodingConvert.h"
#include "support/LogNull.h"

namespace {

constexpr int kUtf8 = 65001;
constexpr int kWindows1252 = 1252;

struct Charset {
  const char* name;
  int codePage;
};

// As the browsers have it, Latin-1 is Windows-1252, which adds the typographic characters.
constexpr Charset kCharsets[] = {
    {"iso-8859-1", kWindows1252},
    {"windows-1252", kWindows1252},
    {"iso-8859-2", 28592},
    {"iso-8859-5", 28595},
    {"iso-8859-7", 28597},
    {"iso-8859-9", 28599},
    {"iso-8859-15", 28605},
    {"windows-1250", 1250},
    {"windows-1251", 1251},
    {"windows-1253", 1253},
    {"windows-1254", 1254},
    {"windows-1255", 1255},
    {"windows-1256", 1256},
    {"windows-1257", 1257},
    {"koi8-r", 20866},
    {"koi8-u", 21866},
    {"iso-2022-jp", 50220},
    {"shift_jis", 932},
    {"euc-jp", 51932},
    {"euc-kr", 51949},
    {"gb2312", 936},
    {"gbk", 936},
    {"gb18030", 54936},
    {"big5", 950},
};

// UTF-8 is well-formed when it can be converted, even to itself.
bool isUtf8(const StringBuffer& text) {
  DataBuffer ignored;
  LogNull log;
  return EncodingConvert().EncConvert(kUtf8, kUtf8,
                                      reinterpret_cast<const unsigned char*>(text.getString()),
                                      text.getSize(), ignored, log);
}

int codePageOf(const StringBuffer& text, const StringBuffer& charset) {
  for (const Charset& known : kCharsets)
    if (charset.equalsIgnoreCase(known.name)) return known.codePage;
  return isUtf8(text) ? kUtf8 : kWindows1252;
}

// What cannot be converted becomes U+FFFD, which is good enough to be looked at.
void convertToUtf8(StringBuffer& text, const char* charset) {
  LogNull log;
  text.convertEncoding(codePageOf(text, charset), kUtf8, log);
}

void replaceCharacters(StringBuffer& text, const char* lead, unsigned int first,
                       unsigned int last) {
  if (!text.containsSubstring(lead)) return;
  for (unsigned int c = first; c <= last; ++c) {
    StringBuffer character(lead);
    character.appendUChar(static_cast<unsigned char>(c));
    text.replaceAllWithUchar(character.getString(), '?');
  }
}

// The controls of ASCII are single bytes. Those from U+0080 to U+009F, the marks that turn the
// direction of writing, from U+202A and from U+2066 on, and the two that are no characters,
// U+FFFE and U+FFFF, are sequences that differ in the last byte.
void replaceControls(StringBuffer& text) {
  text.replaceNullsWithSpaces();
  text.replaceChar20(
      "\x01\x02\x03\x04\x05\x06\x07\x08\x0B\x0C\x0E\x0F\x10\x11\x12\x13\x14\x15\x16\x17", '?');
  text.replaceChar10("\x18\x19\x1A\x1B\x1C\x1D\x1E\x1F\x7F\x7F", '?');
  replaceCharacters(text, "\xC2", 0x80, 0x9F);
  replaceCharacters(text, "\xE2\x80", 0xAA, 0xAE);
  replaceCharacters(text, "\xE2\x81", 0xA6, 0xA9);
  replaceCharacters(text, "\xEF\xBF", 0xBE, 0xBF);
}

bool startsCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80; }

// Index of the byte at which the character number `n`, counted from 0, begins.
unsigned int byteIndexOf(const StringBuffer& text, unsigned int n) {
  unsigned int i = 0;
  for (; i < text.getSize(); ++i)
    if (startsCharacter(text.charAt(i)) && n-- == 0) break;
  return i;
}

}  // namespace

void makeText(StringBuffer& text, const char* charset) {
  convertToUtf8(text, charset);
  if (text.beginsWith("\xEF\xBB\xBF")) text.removeChunk(0, 3);  // a byte-order mark
  text.toLF();
  text.replaceCharAnsi('\r', '\n');
  text.replaceCharAnsi('\t', ' ');
  replaceControls(text);
}

void makeLine(StringBuffer& text, const char* charset) {
  makeText(text, charset);
  text.replaceCharAnsi('\n', ' ');
}

unsigned int countCharacters(const StringBuffer& text) {
  unsigned int n = 0;
  for (unsigned int i = 0; i < text.getSize(); ++i) n += startsCharacter(text.charAt(i)) ? 1 : 0;
  return n;
}

void cutText(StringBuffer& text, unsigned int maxCharacters) {
  if (byteIndexOf(text, maxCharacters) == text.getSize()) return;
  text.chopAt(byteIndexOf(text, maxCharacters - 3));
  text.append("...");
}

void appendPadded(const StringBuffer& text, unsigned int width, StringBuffer& out) {
  out.append(text);
  const unsigned int taken = countCharacters(text);
  if (taken < width) out.appendCharN(' ', width - taken);
}
