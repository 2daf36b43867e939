// Code pages: conversions between any two, and ways back.

#include <iterator>

#include "fuzz/Input.h"
#include "support/DataBuffer.h"
#include "support/EncodingConvert.h"
#include "support/LogBase.h"
#include "support/LogNull.h"

namespace {

using fuzz::require;

constexpr int kUtf8 = 65001;
constexpr int kUtf16Little = 1200;

// The pages that are always there; then those of iconv, some that do not exist, and the latest.
constexpr int kPages[] = {
    65001, 1200,  1201,  12000, 12001, 20127, 437,   737,   775,   850,   852,   855,   857,
    858,   860,   861,   862,   863,   864,   865,   866,   869,   874,   1250,  1251,  1252,
    1253,  1254,  1255,  1256,  1257,  1258,  20866, 21866, 28591, 28592, 28593, 28594, 28595,
    28596, 28597, 28598, 28599, 28600, 28601, 28603, 28604, 28605, 28606, 932,   936,   949,
    950,   1361,  20932, 20936, 20949, 50220, 50221, 50222, 50225, 51932, 51936, 51949, 51950,
    52936, 54936, 0,     1,     -1,    65000, 10000, 10017};
constexpr unsigned int kFirstOfIconv = 49;
static_assert(kPages[kFirstOfIconv - 1] == 28606 && kPages[kFirstOfIconv] == 932);

struct Converted {
  bool ok = false;
  std::string bytes;
};

Converted convert(int from, int to, std::string_view source) {
  DataBuffer out;
  LogBase log;
  Converted result;
  result.ok =
      EncodingConvert().EncConvert(from, to, fuzz::bytesOf(source), fuzz::sizeOf(source), out, log);
  result.bytes = fuzz::contentOf(out);
  require(log.errorCount() == (result.ok ? 0U : 1U), "a failure logs one error");
  return result;
}

void convertBuffer(int from, int to, const std::string& text) {
  StringBuffer buffer;
  fuzz::fill(buffer, text);
  LogNull log;
  buffer.convertEncoding(from, to, log);
  fuzz::requireSound(buffer);
  buffer.cvUtf8ToAnsi();
  fuzz::requireSound(buffer);
  buffer.convertFromOem(to);
  fuzz::requireSound(buffer);
}

// Everything that a page defines has a Unicode character of its own.
void goAndReturn(unsigned int page, const std::string& text) {
  if (page >= kFirstOfIconv) return;
  const Converted utf8 = convert(kPages[page], kUtf8, text);
  require(fuzz::isUtf8(utf8.bytes), "the result is UTF-8");
  if (!utf8.ok) return;
  const Converted back = convert(kUtf8, kPages[page], utf8.bytes);
  require(back.ok && back.bytes == text, "well-formed text has a way back");
}

void convertUtf8(const std::string& text) {
  DataBuffer units;
  StringBuffer buffer;
  fuzz::fill(buffer, text);
  buffer.cvUtf8ToUnicode(units);
  const std::string_view utf16 = fuzz::contentOf(units);
  require(utf16.size() % 2 == 0, "units are whole");
  const Converted back = convert(kUtf16Little, kUtf8, utf16);
  require(back.ok && fuzz::isUtf8(back.bytes), "what was converted is well-formed");
  if (fuzz::isUtf8(text)) require(back.bytes == text, "well-formed text has a way back");
  require(convert(kUtf8, kUtf16Little, text).ok == fuzz::isUtf8(text), "malformed text is noticed");
}

void replaceCharacters(const std::string& text, char from, char to) {
  StringBuffer buffer;
  fuzz::fill(buffer, text);
  buffer.replaceCharUtf8(from, to);
  fuzz::requireSound(buffer);
  if (fuzz::isUtf8(text)) require(fuzz::isUtf8(fuzz::contentOf(buffer)), "UTF-8 stays UTF-8");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const unsigned int from = input.number() % static_cast<unsigned int>(std::size(kPages));
  const unsigned int to = input.number() % static_cast<unsigned int>(std::size(kPages));
  const std::string text = input.rest();
  convert(kPages[from], kPages[to], text);
  convertBuffer(kPages[from], kPages[to], text);
  goAndReturn(from, text);
  convertUtf8(text);
  replaceCharacters(text, static_cast<char>(from), static_cast<char>(to));
  return 0;
}
