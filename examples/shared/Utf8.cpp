#include "shared/Utf8.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "core/StringBuffer.h"
#include "support/DataBuffer.h"
#include "support/EncodingConvert.h"
#include "support/LogNull.h"
#include "support/dvString.h"

namespace {

constexpr int kUtf8 = 65001;
constexpr int kWindows1252 = 1252;

// As the browsers have it, Latin-1 is Windows-1252, which adds the typographic characters.
constexpr const char* kLatin1[] = {"iso-8859-1", "iso8859-1", "iso_8859-1", "latin1", "latin-1"};

// What is said to be in these is often in another one.
constexpr const char* kDoubtful[] = {"", "utf-8", "utf8", "us-ascii", "ascii"};

template <std::size_t n>
bool isOneOf(const char* const (&names)[n], const StringBuffer& charset) {
  return std::any_of(std::begin(names), std::end(names),
                     [&](const char* name) { return charset.equalsIgnoreCase(name); });
}

// The library knows charsets by their names in encoded words (RFC 2047): "=?koi8-r?B?8NLJ18XU?=".
// A word that it cannot decode stays.
bool decodeWord(StringBuffer& word) {
  StringBuffer before(word);
  LogNull log;
  word.qbDecode(log);
  return !word.equals(before);
}

// Makes the whole text one encoded word and decodes it. When memory is exhausted nothing changes.
void decodeAsWord(StringBuffer& text, const char* charset) {
  StringBuffer word;
  word.append3("=?", charset, "?B?");
  const auto* const bytes = reinterpret_cast<const unsigned char*>(text.getString());
  if (!word.appendBase64(bytes, text.getSize()) || !word.append("?=")) return;
  if (decodeWord(word)) text.takeSb(word);
}

// UTF-8 is well-formed when it can be converted, even to itself.
bool isUtf8(const StringBuffer& text) {
  DataBuffer ignored;
  LogNull log;
  return EncodingConvert().EncConvert(kUtf8, kUtf8,
                                      reinterpret_cast<const unsigned char*>(text.getString()),
                                      text.getSize(), ignored, log);
}

// What cannot be converted becomes U+FFFD, which is good enough to be looked at.
void convertToUtf8(StringBuffer& text, const char* charset) {
  LogNull log;
  const StringBuffer name(charset);
  if (isOneOf(kLatin1, name))
    text.convertEncoding(kWindows1252, kUtf8, log);
  else if (!isOneOf(kDoubtful, name) && isKnownCharset(charset))
    decodeAsWord(text, charset);
  else if (!isUtf8(text))
    text.convertEncoding(kWindows1252, kUtf8, log);
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

bool isKnownCharset(const char* charset) {
  if (*charset == '\0') return true;
  StringBuffer word;
  word.append3("=?", charset, "?Q?a?=");
  return dvStrChr(charset, '?') == nullptr && decodeWord(word);
}

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
