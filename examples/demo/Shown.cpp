#include "Shown.h"

#include "core/StringBuffer.h"
#include "support/DataBuffer.h"
#include "support/EncodingConvert.h"
#include "support/LogNull.h"

namespace {

constexpr int kUtf8Page = 65001;
constexpr int kWindows1252Page = 1252;

bool convertToUtf8(const StringBuffer& text, int fromPage, DataBuffer& utf8) {
  EncodingConvert convert;
  LogNull log;
  return convert.EncConvert(fromPage, kUtf8Page,
                            reinterpret_cast<const unsigned char*>(text.getString()),
                            text.getSize(), utf8, log);
}

bool startsCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }

// Index of the byte at which the character number `n`, counted from 0, begins.
unsigned int byteIndexOf(const StringBuffer& text, unsigned int n) {
  const char* const bytes = text.getString();
  unsigned int i = 0;
  for (; i < text.getSize(); ++i)
    if (startsCharacter(bytes[i]) && n-- == 0) break;
  return i;
}

void cut(StringBuffer& text, unsigned int maxCharacters) {
  if (byteIndexOf(text, maxCharacters) == text.getSize()) return;
  text.chopAt(byteIndexOf(text, maxCharacters - 3));
  text.append("...");
}

void replaceLineEndings(StringBuffer& text) {
  text.replaceAllWithUchar("\r\n", '\n');
  text.replaceAllWithUchar("\r", '\n');
  text.replaceAllOccurances("\n", " / ");
  text.replaceAllWithUchar("\t", ' ');
}

// The controls of ASCII are single bytes; those from U+0080 on are two bytes in UTF-8. U+FFFE and
// U+FFFF are no characters, and XML allows none of them.
void replaceControls(StringBuffer& text) {
  for (char c = 1; c < 0x20; ++c) {
    const char control[] = {c, '\0'};
    text.replaceAllWithUchar(control, '?');
  }
  text.replaceAllWithUchar("\x7F", '?');
  for (int c = 0x80; c < 0xA0; ++c) {
    const char control[] = {'\xC2', static_cast<char>(c), '\0'};
    text.replaceAllWithUchar(control, '?');
  }
  text.replaceAllWithUchar("\xEF\xBF\xBE", '?');
  text.replaceAllWithUchar("\xEF\xBF\xBF", '?');
}

}  // namespace

// UTF-8 is well-formed when it can be converted, even to itself.
Encoding encodingOf(const StringBuffer& text) {
  DataBuffer ignored;
  return convertToUtf8(text, kUtf8Page, ignored) ? Encoding::kUtf8 : Encoding::kWindows1252;
}

void unquote(StringBuffer& field) {
  const unsigned int size = field.getSize();
  const char* const text = field.getString();
  if (size < 2 || text[0] != '"' || text[size - 1] != '"') return;
  field.shorten(1);
  field.removeChunk(0, 1);
  field.replaceAllOccurances("\"\"", "\"");
}

void makePrintable(StringBuffer& text, Encoding encoding, unsigned int maxCharacters) {
  if (encoding == Encoding::kWindows1252) {
    DataBuffer utf8;
    convertToUtf8(text, kWindows1252Page, utf8);
    text.takeFromDb(utf8);
  }
  // A very long line costs no more than what is shown of it.
  text.chopAt(byteIndexOf(text, 2 * maxCharacters));
  replaceLineEndings(text);
  replaceControls(text);
  cut(text, maxCharacters);
}

unsigned int countCharacters(const StringBuffer& text) {
  unsigned int n = 0;
  for (const char* byte = text.getString(); *byte != '\0'; ++byte) n += startsCharacter(*byte);
  return n;
}
