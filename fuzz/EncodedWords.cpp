// MIME encoded words: decoding of anything, and of words made from the input.

#include "fuzz/Input.h"
#include "support/ContentCoding.h"
#include "support/LogBase.h"
#include "support/LogNull.h"

namespace {

using fuzz::contentOf;
using fuzz::require;
using fuzz::requireContent;

bool isAscii(std::string_view text) {
  for (const char c : text)
    if (static_cast<unsigned char>(c) >= 0x80) return false;
  return true;
}

// Where both kinds of words stand, the member decodes twice, words that were inside words too. It
// looks for them before the first NUL.
void decodeByMember(const std::string& text, StringBuffer& decoded) {
  LogNull log;
  StringBuffer member;
  fuzz::fill(member, text);
  require(member.qbDecode(log), "the result is always true");
  fuzz::requireSound(member);
  const std::string once(contentOf(decoded));
  ContentCoding().QB_DecodeToUtf8(decoded, log);
  const std::string_view result = contentOf(member);
  const bool untouched = result == text && fuzz::textOf(text).size() < text.size();
  require(untouched || result == once || result == contentOf(decoded),
          "the member decodes once or twice");
}

void decodeAnything(const std::string& text) {
  StringBuffer buffer;
  fuzz::fill(buffer, text);
  LogBase log;
  const bool ok = ContentCoding().QB_DecodeToUtf8(buffer, log);
  fuzz::requireSound(buffer);
  require(log.errorCount() == (ok ? 0U : 1U), "a failure logs one error");
  if (!fuzz::contains(text, "=?")) require(contentOf(buffer) == text, "other text stays");
  if (isAscii(text)) require(fuzz::isUtf8(contentOf(buffer)), "words become UTF-8");
  decodeByMember(text, buffer);
}

void appendB(StringBuffer& out, std::string_view text) {
  out.append("=?utf-8?B?");
  out.appendBase64(fuzz::bytesOf(text), fuzz::sizeOf(text));
  out.append("?=");
}

void appendQ(StringBuffer& out, std::string_view text) {
  out.append("=?UTF-8?q?");
  for (const char c : text) {
    out.appendChar('=');
    out.appendHex(static_cast<unsigned char>(c), false, 2);
  }
  out.append("?=");
}

// Two words, cut where the input says, perhaps inside a character.
void roundTrip(const std::string& text, std::size_t cut,
               void (*append)(StringBuffer& out, std::string_view text)) {
  const std::string_view whole = text;
  StringBuffer words("(");
  append(words, whole.substr(0, cut));
  words.append(" \r\n ");
  append(words, whole.substr(cut));
  words.append(")");
  LogNull log;
  ContentCoding().QB_DecodeToUtf8(words, log);
  requireContent(words, "(" + text + ")", "words decode to the text that they hold");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const unsigned int position = input.number();
  const std::string text = input.rest();
  decodeAnything(text);
  if (!fuzz::isUtf8(text)) return 0;
  const std::size_t cut = position % (text.size() + 1);
  roundTrip(text, cut, appendB);
  roundTrip(text, cut, appendQ);
  return 0;
}
