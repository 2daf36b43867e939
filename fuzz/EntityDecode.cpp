// Entity decoding, against passes over the whole text and against the encoders.

#include "fuzz/Input.h"

namespace {

using fuzz::contains;
using fuzz::contentOf;
using fuzz::require;
using fuzz::requireContent;

unsigned int replaceAll(std::string& text, std::string_view find, std::string_view replacement) {
  std::string result;
  unsigned int count = 0;
  std::size_t from = 0;
  for (std::size_t at = text.find(find); at != std::string::npos; at = text.find(find, from)) {
    result.append(text, from, at - from).append(replacement);
    from = at + find.size();
    ++count;
  }
  text = result + text.substr(from);
  return count;
}

// Text that holds an "&" is cut at its first NUL.
std::string cut(const std::string& content) {
  const std::string_view text = fuzz::textOf(content);
  return contains(text, "&") ? std::string(text) : content;
}

void decodeThree(const std::string& content) {
  std::string expected = cut(content);
  unsigned int count = 0;
  if (contains(fuzz::textOf(content), "&")) {
    count += replaceAll(expected, "&lt;", "<");
    count += replaceAll(expected, "&gt;", ">");
    count += replaceAll(expected, "&amp;", "&");
  }
  StringBuffer buffer;
  fuzz::fill(buffer, content);
  require(buffer.decodeXMLSpecial() == count, "decoded references are counted");
  requireContent(buffer, expected, "three references are decoded, one pass each");
}

void decodeUtf8(StringBuffer& buffer, const std::string& content) {
  fuzz::fill(buffer, content);
  buffer.decodeAllXmlSpecialUtf8();
  fuzz::requireSound(buffer);
  require(buffer.getSize() <= content.size(), "UTF-8 is never longer than its reference");
}

void decodeIso(StringBuffer& buffer, const std::string& content) {
  fuzz::fill(buffer, content);
  buffer.decodeAllXmlSpecialIso();
  fuzz::requireSound(buffer);
  require(buffer.getSize() <= content.size(), "a byte is never longer than its reference");
}

// What the decoder to UTF-8 leaves, since only the other one knows it.
bool holdsSpaceReference(std::string_view text) {
  for (const char* name : {"&ensp;", "&emsp;", "&thinsp;", "&zwnj;", "&zwj;", "&lrm;", "&rlm;"})
    if (contains(text, name)) return true;
  return false;
}

// Without numeric references, which drop a byte, both decoders make the same characters of ASCII.
void requireSameCharacters(const std::string& content, const StringBuffer& utf8,
                           const StringBuffer& iso) {
  for (const char c : content)
    if (static_cast<unsigned char>(c) >= 0x80 || c == '#') return;
  if (holdsSpaceReference(contentOf(utf8))) return;
  require(contentOf(utf8) == fuzz::convert(1252, 65001, contentOf(iso)), "the decoders agree");
}

void requireTextStays(const std::string& content, const StringBuffer& utf8,
                      const StringBuffer& iso) {
  if (contains(content, "&")) return;
  require(contentOf(utf8) == content && contentOf(iso) == content, "a content without \"&\" stays");
}

// What the encoders write is decoded to what it was. An "&" is decoded twice and has no way back.
void roundTrip(const std::string& text) {
  if (contains(text, "&")) return;
  StringBuffer entities(text.c_str());
  entities.encodeAllXmlSpecial();
  entities.decodeAllXmlSpecialIso();
  requireContent(entities, text, "named references are decoded");
  StringBuffer xml;
  xml.appendXmlNoCdata(text.c_str());
  xml.decodeAllXmlSpecialUtf8();
  requireContent(xml, text, "escaped text is decoded");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string content = fuzz::Input(data, size).rest();
  decodeThree(content);
  StringBuffer utf8;
  decodeUtf8(utf8, content);
  StringBuffer iso;
  decodeIso(iso, content);
  requireTextStays(content, utf8, iso);
  requireSameCharacters(content, utf8, iso);
  roundTrip(content.c_str());
  return 0;
}
