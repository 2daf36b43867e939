// Bytes as hexadecimal and base64 text, and back. Each peer starts with an empty result of its
// own type. The size is that of the bytes when they are encoded, of the text when it is decoded.

#include <algorithm>
#include <iterator>
#include <random>
#include <string_view>

#include "bench/harness.h"
#include "support/ContentCoding.h"

#if defined(DORVANE_BENCH_HAVE_ABSL)
#include <absl/strings/escaping.h>
#endif
#if defined(DORVANE_BENCH_HAVE_BOOST)
#include <boost/algorithm/hex.hpp>
#endif
#if defined(DORVANE_BENCH_HAVE_OPENSSL)
#include <openssl/crypto.h>
#include <openssl/evp.h>
#endif

namespace bench {
namespace {

constexpr std::string_view kSymbols =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// ---- What a user writes with the standard library ----

unsigned int byteAt(std::string_view bytes, std::size_t i) {
  return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0;
}

void hexByStd(const std::string& bytes, std::string& out) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  out.reserve(2 * bytes.size());
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    out.push_back(kDigits[byteAt(bytes, i) >> 4U]);
    out.push_back(kDigits[byteAt(bytes, i) & 0xFU]);
  }
}

int nibbleOf(char digit) { return digit <= '9' ? digit - '0' : (digit | 0x20) - 'a' + 10; }

void bytesOfHexByStd(const std::string& hex, std::string& out) {
  out.reserve(hex.size() / 2);
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
    out.push_back(static_cast<char>(nibbleOf(hex[i]) * 16 + nibbleOf(hex[i + 1])));
}

void base64ByStd(const std::string& bytes, std::string& out) {
  out.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const unsigned int bits =
        byteAt(bytes, i) << 16U | byteAt(bytes, i + 1) << 8U | byteAt(bytes, i + 2);
    out.push_back(kSymbols[bits >> 18U]);
    out.push_back(kSymbols[bits >> 12U & 0x3FU]);
    out.push_back(i + 1 < bytes.size() ? kSymbols[bits >> 6U & 0x3FU] : '=');
    out.push_back(i + 2 < bytes.size() ? kSymbols[bits & 0x3FU] : '=');
  }
}

// The value of each symbol; -1 for the other bytes.
std::vector<int> valuesOfSymbols() {
  std::vector<int> values(256, -1);
  for (std::size_t i = 0; i < kSymbols.size(); ++i)
    values[byteAt(kSymbols, i)] = static_cast<int>(i);
  return values;
}

void bytesOfBase64ByStd(const std::string& text, std::string& out) {
  static const std::vector<int> kValues = valuesOfSymbols();
  out.reserve(text.size() / 4 * 3);
  unsigned int bits = 0;
  unsigned int count = 0;
  for (const char c : text) {
    if (c == '=') break;
    const int value = kValues[static_cast<unsigned char>(c)];
    if (value < 0) continue;
    bits = bits << 6U | static_cast<unsigned int>(value);
    count += 6;
    if (count < 8) continue;
    count -= 8;
    out.push_back(static_cast<char>(bits >> count & 0xFFU));
  }
}

// ---- Inputs ----

std::string bytes(std::size_t size) {
  std::mt19937 generator{20260102};
  std::string all(size, '\0');
  for (char& c : all) c = static_cast<char>(generator() & 0xFFU);
  return all;
}

std::string hexText(std::size_t size) {
  std::string text;
  hexByStd(bytes(size / 2), text);
  return text;
}

// Without padding: OpenSSL leaves it to its caller.
std::string base64Text(std::size_t size) {
  std::string text;
  base64ByStd(bytes(size / 4 * 3), text);
  return text;
}

// As in mail: lines of 76 symbols.
std::string base64Lines(std::size_t size) {
  constexpr std::size_t kSymbolsPerLine = 76;
  const std::size_t lineEndings = size / (kSymbolsPerLine + 2);
  const std::string all = base64Text(size - 2 * lineEndings);
  std::string lines;
  for (std::size_t i = 0; i < all.size(); i += kSymbolsPerLine) {
    if (i > 0) lines.append("\r\n");
    lines.append(all, i, kSymbolsPerLine);
  }
  return lines;
}

// ---- Peers ----

const unsigned char* dataOf(const std::string& bytes) {
  return reinterpret_cast<const unsigned char*>(bytes.data());
}

unsigned char* dataOf(std::string& bytes) { return reinterpret_cast<unsigned char*>(bytes.data()); }

unsigned int sizeOf(const std::string& bytes) { return static_cast<unsigned int>(bytes.size()); }

// A peer that makes an output of the input by `convert(input, out)`.
template <class Out, class Convert>
void add(Operation<std::string>& conversion, const char* name, Convert convert) {
  conversion.peer(name, [convert](const std::string& input) {
    return [convert, &input](const auto& use) {
      Out out;
      convert(input, out);
      use(out);
    };
  });
}

#if defined(DORVANE_BENCH_HAVE_QT)
QByteArray borrowed(const std::string& bytes) {
  return QByteArray::fromRawData(bytes.data(), static_cast<int>(bytes.size()));
}
#endif

// ---- Hexadecimal ----

// The digits of Abseil and Qt are in lower case.
void enrollHex() {
  Operation<std::string> encode("HexData", "appendHexDataNoWS", kSizesOfTexts, bytes);
  add<StringBuffer>(encode, "ours", [](const std::string& input, StringBuffer& out) {
    out.appendHexDataNoWS(dataOf(input), sizeOf(input), false);
  });
  add<std::string>(encode, "std", hexByStd);
#if defined(DORVANE_BENCH_HAVE_BOOST)
  add<std::string>(encode, "boost", [](const std::string& input, std::string& out) {
    out.reserve(2 * input.size());
    boost::algorithm::hex(input, std::back_inserter(out));
  });
#endif
#if defined(DORVANE_BENCH_HAVE_OPENSSL) && OPENSSL_VERSION_NUMBER >= 0x30000000L
  add<std::string>(encode, "openssl", [](const std::string& input, std::string& out) {
    out.resize(2 * input.size() + 1);
    OPENSSL_buf2hexstr_ex(out.data(), out.size(), nullptr, dataOf(input), input.size(), '\0');
    out.pop_back();
  });
#endif
  encode.enroll();
}

void addHexDecodersOfOthers([[maybe_unused]] Operation<std::string>& decode) {
#if defined(DORVANE_BENCH_HAVE_ABSL)
  add<std::string>(decode, "absl", [](const std::string& input, std::string& out) {
    out = absl::HexStringToBytes(input);
  });
#endif
#if defined(DORVANE_BENCH_HAVE_BOOST)
  add<std::string>(decode, "boost", [](const std::string& input, std::string& out) {
    out.reserve(input.size() / 2);
    boost::algorithm::unhex(input, std::back_inserter(out));
  });
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
  add<QByteArray>(decode, "qt", [](const std::string& input, QByteArray& out) {
    out = QByteArray::fromHex(borrowed(input));
  });
#endif
#if defined(DORVANE_BENCH_HAVE_OPENSSL) && OPENSSL_VERSION_NUMBER >= 0x30000000L
  add<std::string>(decode, "openssl", [](const std::string& input, std::string& out) {
    out.resize(input.size() / 2);
    OPENSSL_hexstr2buf_ex(dataOf(out), out.size(), nullptr, input.c_str(), '\0');
  });
#endif
}

void enrollBytesOfHex() {
  Operation<std::string> decode("HexData", "hexStringToBinary2", kSizesOfTexts, hexText);
  add<DataBuffer>(decode, "ours", [](const std::string& input, DataBuffer& out) {
    StringBuffer::hexStringToBinary2(input.data(), sizeOf(input), out);
  });
  add<std::string>(decode, "std", bytesOfHexByStd);
  addHexDecodersOfOthers(decode);
  decode.enroll();
}

// ---- Base64 ----

void enrollBase64() {
  Operation<std::string> encode("HexData", "appendBase64", kSizesOfTexts, bytes);
  add<StringBuffer>(encode, "ours", [](const std::string& input, StringBuffer& out) {
    out.appendBase64(dataOf(input), sizeOf(input));
  });
  add<std::string>(encode, "std", base64ByStd);
#if defined(DORVANE_BENCH_HAVE_ABSL)
  add<std::string>(encode, "absl", [](const std::string& input, std::string& out) {
    absl::Base64Escape(input, &out);
  });
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
  add<QByteArray>(encode, "qt", [](const std::string& input, QByteArray& out) {
    out = borrowed(input).toBase64();
  });
#endif
#if defined(DORVANE_BENCH_HAVE_OPENSSL)
  add<std::string>(encode, "openssl", [](const std::string& input, std::string& out) {
    out.resize((input.size() + 2) / 3 * 4);
    EVP_EncodeBlock(dataOf(out), dataOf(input), static_cast<int>(input.size()));
  });
#endif
  encode.enroll();
}

template <class MakeInput>
Operation<std::string> bytesOfBase64(const char* name, MakeInput makeInput) {
  Operation<std::string> decode("HexData", name, kSizesOfTexts, makeInput);
  add<DataBuffer>(decode, "ours", [](const std::string& input, DataBuffer& out) {
    ContentCoding coding;
    coding.decodeBase64ToDb(input.data(), sizeOf(input), out);
  });
  add<std::string>(decode, "std", bytesOfBase64ByStd);
#if defined(DORVANE_BENCH_HAVE_ABSL)
  add<std::string>(decode, "absl", [](const std::string& input, std::string& out) {
    absl::Base64Unescape(input, &out);
  });
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
  add<QByteArray>(decode, "qt", [](const std::string& input, QByteArray& out) {
    out = QByteArray::fromBase64(borrowed(input));
  });
#endif
  return decode;
}

void enrollBytesOfBase64() {
  auto decode = bytesOfBase64("decodeBase64ToDb", base64Text);
#if defined(DORVANE_BENCH_HAVE_OPENSSL)
  add<std::string>(decode, "openssl", [](const std::string& input, std::string& out) {
    out.resize(input.size() / 4 * 3);
    EVP_DecodeBlock(dataOf(out), dataOf(input), static_cast<int>(input.size()));
  });
#endif
  decode.enroll();
  // Among the symbols, EVP_DecodeBlock() takes no line endings.
  bytesOfBase64("decodeBase64ToDbLines", base64Lines).enroll();
}

void enrollAll() {
  enrollHex();
  enrollBytesOfHex();
  enrollBase64();
  enrollBytesOfBase64();
}

[[maybe_unused]] const bool kEnrolled = (enrollAll(), true);

}  // namespace
}  // namespace bench
