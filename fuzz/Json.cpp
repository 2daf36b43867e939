// JSON string bodies: what is escaped can stand between quotes, and decodes to what it was.

#include "fuzz/Input.h"

namespace {

using fuzz::contentOf;
using fuzz::require;
using fuzz::requireSound;

void decode(StringBuffer& out, std::string_view body) {
  StringBuffer::jsonDecode(body.data(), fuzz::sizeOf(body), out);
  requireSound(out);
}

// No control byte, no quote and no backslash but those of escapes.
void requireBody(std::string_view body) {
  for (std::size_t i = 0; i < body.size(); ++i) {
    require(static_cast<unsigned char>(body[i]) >= 0x20, "control bytes are escaped");
    require(body[i] != '"', "quotes are escaped");
    if (body[i] == '\\') require(++i < body.size(), "an escape is whole");
  }
}

void roundTrip(std::string_view text) {
  StringBuffer escaped;
  fuzz::fill(escaped, text);
  require(escaped.jsonEscape(), "escaping succeeds");
  requireSound(escaped);
  // A lead byte hides the bytes that it claims, so only well-formed text is escaped throughout.
  if (!fuzz::isUtf8(text)) return;
  requireBody(contentOf(escaped));
  // NULs may stand at the end of a block, where they are dropped.
  if (fuzz::contains(text, std::string_view("\0", 1))) return;
  StringBuffer decoded;
  decode(decoded, contentOf(escaped));
  require(contentOf(decoded) == text, "escaped text decodes to what it was");
}

void decodeAnything(std::string_view body) {
  StringBuffer out("before");
  decode(out, body);
  require(out.beginsWith("before"), "decoded text is appended");
  // The longest form of an escape is three bytes for six.
  require(out.getSize() <= 6 + body.size(), "decoding does not lengthen");
  const bool plain = body.find_first_of(std::string_view("\\\0", 2)) == std::string_view::npos;
  if (plain) require(contentOf(out).substr(6) == body, "text without escapes stays");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = fuzz::Input(data, size).rest();
  roundTrip(text);
  decodeAnything(text);
  return 0;
}
