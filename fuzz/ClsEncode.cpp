// Named binary encodings: decoding of anything, and of what has been encoded.

#include <iterator>

#include "fuzz/Input.h"
#include "support/DataBuffer.h"
#include "support/LogBase.h"
#include "support/_clsEncode.h"
#include "support/_dvUrlEncode.h"

namespace {

using fuzz::bytesOf;
using fuzz::contentOf;
using fuzz::require;
using fuzz::sizeOf;

constexpr const char* kNames[] = {"base64", "base64url", "base32", "hex", "qp", "url"};

void base64(const std::string& data, StringBuffer& out) {
  out.appendBase64(bytesOf(data), sizeOf(data));
}

void base64Url(const std::string& data, StringBuffer& out) {
  base64(data, out);
  out.replaceCharAnsi('+', '-');
  out.replaceCharAnsi('/', '_');
}

void base32(const std::string& data, StringBuffer& out) {
  unsigned int bits = 0;
  int count = 0;
  const auto digit = [&out](unsigned int value) {
    out.appendChar("ABCDEFGHIJKLMNOPQRSTUVWXYZ234567"[value & 31U]);
  };
  for (const char c : data) {
    bits = (bits << 8U) | static_cast<unsigned char>(c);
    for (count += 8; count >= 5; count -= 5) digit(bits >> static_cast<unsigned int>(count - 5));
  }
  if (count > 0) digit(bits << static_cast<unsigned int>(5 - count));
}

void hex(const std::string& data, StringBuffer& out) {
  out.appendHexDataNoWS(bytesOf(data), sizeOf(data), false);
}

void quotedPrintable(const std::string& data, StringBuffer& out) {
  for (const char c : data) {
    out.appendChar('=');
    out.appendHex(static_cast<unsigned char>(c), false, 2);
  }
}

void url(const std::string& data, StringBuffer& out) {
  fuzz::fill(out, data);
  _dvUrlEncode::urlEncodeSb(out);
}

constexpr void (*kEncoders[])(const std::string&, StringBuffer&) = {base64, base64Url,       base32,
                                                                    hex,    quotedPrintable, url};

void decodeAnything(int encoding, const std::string& text) {
  StringBuffer encoded;
  fuzz::fill(encoded, text);
  DataBuffer appended;
  appended.append("before", 6);
  LogBase log;
  const bool ok = _clsEncode::decodeBinary(encoding, encoded, appended, true, log);
  require(log.errorCount() == (ok ? 0U : 1U), "a failure logs one error");
  require(contentOf(appended).substr(0, 6) == "before", "decoded bytes are appended");
  DataBuffer replaced;
  replaced.append("before", 6);
  const bool again = _clsEncode::decodeBinary(encoding, encoded, replaced, false, log);
  require(again == ok && contentOf(replaced) == contentOf(appended).substr(6),
          "an emptied buffer gets the same bytes");
}

void roundTrip(unsigned int which, const std::string& data) {
  StringBuffer encoded;
  kEncoders[which](data, encoded);
  fuzz::requireSound(encoded);
  DataBuffer decoded;
  LogBase log;
  require(encoded.decode(kNames[which], decoded, log), "encoded data is well-formed");
  require(contentOf(decoded) == data, "encoded data decodes to what it was");
}

// The reader that does not look at its characters agrees with the strict one on good digits.
void readHex(const std::string& data) {
  StringBuffer encoded;
  hex(data, encoded);
  DataBuffer decoded;
  require(encoded.hexStringToBinary(decoded) && contentOf(decoded) == data, "digits are read");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const unsigned int which = input.number() % static_cast<unsigned int>(std::size(kNames));
  const std::string text = input.rest();
  decodeAnything(_clsEncode::parseEncodingName(kNames[which]), text);
  roundTrip(which, text);
  readHex(text);
  return 0;
}
