// Decoding the encoded words of mail headers (RFC 2047). The words of the input are UTF-8, and
// plain text stands between them: that is all the hand-written peer knows.

#include <array>
#include <charconv>
#include <string_view>

#include "bench/harness.h"
#include "support/LogNull.h"

namespace bench {
namespace {

constexpr std::string_view kOpen = "=?utf-8?";
constexpr std::string_view kClose = "?=";

// ---- What a user writes with the standard library ----

std::array<signed char, 256> valuesOfSymbols() {
  std::array<signed char, 256> values{};
  values.fill(-1);
  signed char next = 0;
  for (const char c :
       std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"))
    values[static_cast<unsigned char>(c)] = next++;
  return values;
}

void appendBase64ByStd(std::string& out, std::string_view symbols) {
  static const std::array<signed char, 256> kValues = valuesOfSymbols();
  unsigned int bits = 0;
  unsigned int count = 0;
  for (const char c : symbols) {
    const int value = kValues[static_cast<unsigned char>(c)];
    if (value < 0) break;
    bits = bits << 6U | static_cast<unsigned int>(value);
    count += 6;
    if (count < 8) continue;
    count -= 8;
    out.push_back(static_cast<char>(bits >> count & 0xFFU));
  }
}

void appendQuotedByStd(std::string& out, std::string_view quoted) {
  for (std::size_t i = 0; i < quoted.size(); ++i) {
    if (quoted[i] == '=') {
      unsigned char byte = 0;
      std::from_chars(quoted.data() + i + 1, quoted.data() + i + 3, byte, 16);
      out.push_back(static_cast<char>(byte));
      i += 2;
    } else {
      out.push_back(quoted[i] == '_' ? ' ' : quoted[i]);
    }
  }
}

std::string decodedByStd(const std::string& input) {
  std::string out;
  out.reserve(input.size());
  std::string_view text = input;
  for (;;) {
    const std::size_t open = text.find(kOpen);
    out.append(text.substr(0, open));
    if (open == std::string_view::npos) return out;
    const bool isBase64 = text[open + kOpen.size()] == 'B';
    text.remove_prefix(open + kOpen.size() + 2);
    const std::size_t close = text.find(kClose);
    (isBase64 ? appendBase64ByStd : appendQuotedByStd)(out, text.substr(0, close));
    text.remove_prefix(close + kClose.size());
  }
}

// ---- The operations ----

void enroll(const char* name, std::size_t distance) {
  const auto input = [distance](std::size_t size) {
    return wordsWithMarks(size, distance,
                          {" =?utf-8?B?Y2Fmw6kgZmxvcmE=?= ", " =?utf-8?Q?caf=C3=A9_flora?= "});
  };
  Operation<std::string> decode("EncodedWords", name, kSizesOfTexts, input);
  decode.peerInPlace<StringBuffer>("ours", [](StringBuffer& text) {
    LogNull log;
    text.qbDecode(log);
  });
  decode.peerOn<std::string>("std", decodedByStd);
  decode.enroll();
}

void enrollAll() {
  enroll("qbDecode", 1000);
  enroll("qbDecodeDense", 40);
}

[[maybe_unused]] const bool kEnrolled = (enrollAll(), true);

}  // namespace
}  // namespace bench
