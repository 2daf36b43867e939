// Binary data as hexadecimal or base64 text, and back. Tested in tests/text/HexDataTest.cpp.

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "core/StringBuffer.h"
#include "support/ContentCoding.h"
#include "support/DataBuffer.h"
#include "support/LogBase.h"
#include "support/_clsEncode.h"
#include "support/dvMemory.h"
#include "support/internal/AddressRange.h"
#include "text/internal/StableText.h"
#include "text/internal/Staging.h"

using dorvane::internal::pointsInto;
using dorvane::internal::StableText;
using dorvane::internal::Staging;

namespace {

constexpr std::size_t kDumpBlock = 128;
constexpr std::size_t kRunBlock = 255;
constexpr std::size_t kDecodeBlock = 500;
constexpr std::size_t kBytesPerLine = 16;

// The two digits of each byte.
struct DigitPairs {
  char of[256][2];
};

constexpr DigitPairs makeDigitPairs() {
  constexpr char kDigits[] = "0123456789ABCDEF";
  DigitPairs pairs{};
  for (unsigned int value = 0; value < 256; ++value) {
    pairs.of[value][0] = kDigits[value >> 4U];
    pairs.of[value][1] = kDigits[value & 0xFU];
  }
  return pairs;
}

constexpr DigitPairs kDigitPairs = makeDigitPairs();

char* putDigits(char byte, char* to) {
  std::memcpy(to, kDigitPairs.of[static_cast<unsigned char>(byte)], 2);
  return to + 2;
}

// The digits of a byte, before a separator or alone.
struct Digits {
  explicit Digits(char byte) { putDigits(byte, chars); }
  std::string_view alone() const { return {chars, 2}; }
  std::string_view before(char separator) {
    chars[2] = separator;
    return {chars, 3};
  }
  char chars[3];
};

// Appends bytes in blocks of at most kRunBlock characters; `put(byte, to)` writes `width` of them
// for a byte and returns their end. False when a block could not be appended; it is the last then.
template <class Put>
bool appendDigits(StringBuffer& out, std::string_view bytes, std::size_t width, const Put& put) {
  char block[kRunBlock];
  std::size_t mostUsed = 0;
  bool appended = true;
  while (appended && !bytes.empty()) {
    const std::string_view part = bytes.substr(0, kRunBlock / width);
    char* to = block;
    for (const char byte : part) to = put(byte, to);
    appended = out.appendN(block, static_cast<unsigned int>(to - block));
    bytes.remove_prefix(part.size());
    mostUsed = std::max(mostUsed, static_cast<std::size_t>(to - block));
  }
  dvSecureZero(block, mostUsed);
  return appended;
}

// ---- Decoding ----

// Characters are not validated: what is no digit takes part with the value that the arithmetic
// gives it, modulo 256.
constexpr unsigned char nibbleValue(unsigned char c) {
  const int value = c >= 0x80 ? int{c} - 0x100 : int{c};
  if (value < ':') return static_cast<unsigned char>(value - '0');
  const int upper = value >= 'a' && value <= 'f' ? value - ('a' - 'A') : value;
  return static_cast<unsigned char>(upper - ('A' - 10));
}

constexpr std::array<unsigned char, 256> makeNibbleValues() {
  std::array<unsigned char, 256> values{};
  for (unsigned int c = 0; c < 256; ++c) values[c] = nibbleValue(static_cast<unsigned char>(c));
  return values;
}

constexpr std::array<unsigned char, 256> kNibbleValues = makeNibbleValues();

unsigned char nibbleOf(char c) { return kNibbleValues[static_cast<unsigned char>(c)]; }

// Gathers decoded bytes and appends them in blocks. They may be secret, so they are wiped.
class DecodedBytes {
 public:
  explicit DecodedBytes(DataBuffer& out) : m_out(out) {}
  DecodedBytes(const DecodedBytes&) = delete;
  DecodedBytes& operator=(const DecodedBytes&) = delete;
  ~DecodedBytes() { dvSecureZero(m_block, std::max(m_mostUsed, m_used)); }
  bool put(unsigned char byte) {
    m_block[m_used++] = byte;
    return m_used < kDecodeBlock || flush();
  }
  bool flush() {
    const bool appended = m_out.append(m_block, m_used);
    m_mostUsed = std::max(m_mostUsed, m_used);
    m_used = 0;
    return appended;
  }

 private:
  DataBuffer& m_out;
  unsigned int m_used = 0;
  unsigned int m_mostUsed = 0;
  unsigned char m_block[kDecodeBlock];
};

bool decodeHex(std::string_view hex, DataBuffer& out) {
  DecodedBytes decoded(out);
  if (hex.size() % 2 == 1) {
    decoded.put(nibbleOf(hex.front()));
    hex.remove_prefix(1);
  }
  for (std::size_t i = 0; i < hex.size(); i += 2) {
    const unsigned int byte = nibbleOf(hex[i]) * 16U + nibbleOf(hex[i + 1]);
    if (!decoded.put(static_cast<unsigned char>(byte))) return false;
  }
  return decoded.flush();
}

}  // namespace

bool StringBuffer::appendHexData(const unsigned char* data, unsigned int count) {
  const StableText bytes(data, count, ownsAddress(data));
  if (!bytes.ok()) return false;
  Staging<kDumpBlock> staging(*this);
  std::size_t column = 0;
  for (const char byte : bytes.view()) {
    Digits digits(byte);
    const bool endsGroup = column % 2 == 1;
    const bool endsLine = column == kBytesPerLine - 1;
    if (!staging.put(endsGroup ? digits.before(endsLine ? '\n' : ' ') : digits.alone()))
      return false;
    column = endsLine ? 0 : column + 1;
  }
  return staging.flush();
}

bool StringBuffer::appendHexDataNoWS(const unsigned char* data, unsigned int count, bool spaced) {
  const StableText bytes(data, count, ownsAddress(data));
  if (!bytes.ok()) return false;
  if (!spaced) return appendDigits(*this, bytes.view(), 2, putDigits);
  return appendDigits(*this, bytes.view(), 3, [](char byte, char* to) {
    *to = ' ';
    return putDigits(byte, to + 1);
  });
}

void StringBuffer::appendSmallDataAsSpacedHexString(const unsigned char* data, unsigned int count) {
  const StableText bytes(data, count, ownsAddress(data));
  if (!bytes.ok()) return;
  Staging<kRunBlock> staging(*this);
  for (const char byte : bytes.view()) staging.put(Digits(byte).before(' '));
  staging.flush();
}

bool StringBuffer::appendBase64(const unsigned char* data, unsigned int count) {
  ContentCoding coding;
  return coding.encodeBase64_noCrLf(data, count, *this);
}

bool StringBuffer::hexStringToBinary2(const char* hex, unsigned int count, DataBuffer& out) {
  if (hex == nullptr || count == 0 || *hex == '\0') return true;
  // Deliberate: a single character, or one before a NUL, gives no byte.
  if (count == 1 || (count % 2 == 1 && hex[1] == '\0')) return true;
  const StableText text(hex, count, pointsInto(hex, out.getData2(), out.getBufSize()));
  return text.ok() && decodeHex(text.view(), out);
}

bool StringBuffer::hexStringToBinary(DataBuffer& out) const {
  return hexStringToBinary2(m_data, contentSize(), out);
}

void StringBuffer::canonicalizeHexString() {
  if (contentSize() % 2 == 1) prepend("0");
}

bool StringBuffer::decode(const char* encodingName, DataBuffer& out, LogBase& log) const {
  const int encoding = _clsEncode::parseEncodingName(encodingName);
  if (encoding == 0) {
    log.LogError("Unrecognized binary encoding");
    log.LogData("binaryEncodingName", encodingName);
    return false;
  }
  return _clsEncode::decodeBinary(encoding, *this, out, true, log);
}
