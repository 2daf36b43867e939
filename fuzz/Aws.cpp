// AWS canonical forms: only kept bytes and escapes are left, and they decode to the text.

#include "fuzz/Input.h"
#include "support/DataBuffer.h"
#include "support/LogNull.h"

namespace {

using fuzz::contentOf;
using fuzz::require;
using fuzz::requireSound;

constexpr std::string_view kLettersAndDigits =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

bool isKept(char c, std::string_view punctuation) {
  return kLettersAndDigits.find(c) != std::string_view::npos ||
         punctuation.find(c) != std::string_view::npos;
}

void requireDecodesTo(const StringBuffer& encoded, std::string_view text) {
  DataBuffer decoded;
  LogNull log;
  require(encoded.decode("url", decoded, log), "the form is well-formed percent-encoding");
  require(contentOf(decoded) == text, "the form decodes to the text");
}

void normalize(std::string_view text, bool (StringBuffer::*form)(), std::string_view punctuation) {
  StringBuffer buffer;
  fuzz::fill(buffer, text);
  require((buffer.*form)(), "encoding succeeds");
  requireSound(buffer);
  for (const char c : contentOf(buffer)) require(isKept(c, punctuation), "other bytes are encoded");
  if (!fuzz::contains(text, "%")) requireDecodesTo(buffer, text);
  const std::string once(contentOf(buffer));
  require((buffer.*form)(), "encoding again succeeds");
  fuzz::requireContent(buffer, once, "encoded text stays as it is");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = fuzz::Input(data, size).rest();
  normalize(text, &StringBuffer::awsNormalizeUriUtf8, "%-./_~");
  normalize(text, &StringBuffer::awsNormalizeQueryParams, "%&-./=?_~");
  return 0;
}
