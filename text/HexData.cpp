// Binary data as hexadecimal or base64 text, and back. Tested in tests/text/HexDataTest.cpp.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "support/ContentCoding.h"
#include "support/DataBuffer.h"
#include "support/LogBase.h"
#include "support/_clsEncode.h"
#include "support/internal/AddressRange.h"
#include "text/internal/StableText.h"
#include "text/internal/Staging.h"
#include "text/internal/Texts.h"

using dorvane::internal::AppendToData;
using dorvane::internal::BufferAccess;
using dorvane::internal::pointsInto;
using dorvane::internal::reserveMore;
using dorvane::internal::StableText;
using dorvane::internal::Staging;

namespace {

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

// ---- Layouts ----

// A layout tells how many characters the first `n` bytes of the data become, and how one of them is
// written. The blocks in which the characters are appended can be seen in the growth of the buffer;
// each has whole bytes only.

// The dump: groups of two bytes, lines of 16. A block has at most 128 characters: 127 and 128 in
// turn.
struct Dump {
  static constexpr std::size_t kBytesPerBlock = 51;
  static constexpr std::uint64_t sizeOf(std::uint64_t n) { return 2 * n + n / 2; }
  static char* put(char byte, std::size_t index, char* to) {
    to = putDigits(byte, to);
    if (index % 2 == 0) return to;
    *to = index % kBytesPerLine == kBytesPerLine - 1 ? '\n' : ' ';
    return to + 1;
  }
};

static_assert(Dump::sizeOf(51) == 127 && Dump::sizeOf(102) - Dump::sizeOf(51) == 128);

// The others: every byte has the same width. A block has at most 255 characters.
constexpr std::size_t kRunBlock = 255;

struct Plain {
  static constexpr std::size_t kBytesPerBlock = kRunBlock / 2;
  static constexpr std::uint64_t sizeOf(std::uint64_t n) { return 2 * n; }
  static char* put(char byte, std::size_t /*index*/, char* to) { return putDigits(byte, to); }
};

struct SpaceBefore {
  static constexpr std::size_t kBytesPerBlock = kRunBlock / 3;
  static constexpr std::uint64_t sizeOf(std::uint64_t n) { return 3 * n; }
  static char* put(char byte, std::size_t /*index*/, char* to) {
    *to = ' ';
    return putDigits(byte, to + 1);
  }
};

struct SpaceAfter {
  static constexpr std::size_t kBytesPerBlock = kRunBlock / 3;
  static constexpr std::uint64_t sizeOf(std::uint64_t n) { return 3 * n; }
  static char* put(char byte, std::size_t /*index*/, char* to) {
    to = putDigits(byte, to);
    *to = ' ';
    return to + 1;
  }
};

// Appends the bytes from `begin` to `end`; false if the buffer cannot grow.
template <class Layout>
bool appendPart(const BufferAccess<StringBuffer>& out, std::string_view data, std::size_t begin,
                std::size_t end) {
  if (!out.makeRoom(Layout::sizeOf(end) - Layout::sizeOf(begin))) return false;
  char* to = out.data() + out.size();
  for (std::size_t i = begin; i < end; ++i) to = Layout::put(data[i], i, to);
  out.terminateAt(static_cast<std::size_t>(to - out.data()));
  return true;
}

enum class WithoutMemory { kStop, kLeaveBlockOut };

// Appends bytes that do not lie in the buffer.
template <class Layout>
bool render(StringBuffer& buffer, std::string_view data, WithoutMemory rule) {
  reserveMore(buffer, Layout::sizeOf(data.size()));
  const BufferAccess out(buffer);
  for (std::size_t begin = 0; begin < data.size(); begin += Layout::kBytesPerBlock) {
    const std::size_t end = std::min(begin + Layout::kBytesPerBlock, data.size());
    if (!appendPart<Layout>(out, data, begin, end) && rule == WithoutMemory::kStop) return false;
  }
  return true;
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

char byteOf(char high, char low) { return static_cast<char>(nibbleOf(high) * 16U + nibbleOf(low)); }

// An odd first character makes a byte of its own. The bytes may be secret; the staging wipes them.
bool decodeHex(std::string_view hex, DataBuffer& out) {
  Staging<kDecodeBlock, AppendToData> decoded(out);
  if (hex.size() % 2 == 1) {
    *decoded.next() = static_cast<char>(nibbleOf(hex.front()));
    decoded.advance(1);
    hex.remove_prefix(1);
  }
  while (!hex.empty()) {
    if (decoded.room() == 0 && !decoded.flush()) return false;
    const std::size_t n = std::min(decoded.room(), hex.size() / 2);
    char* const to = decoded.next();
    for (std::size_t i = 0; i < n; ++i) to[i] = byteOf(hex[2 * i], hex[2 * i + 1]);
    decoded.advance(n);
    hex.remove_prefix(2 * n);
  }
  return decoded.flush();
}

}  // namespace

bool StringBuffer::appendHexData(const unsigned char* data, unsigned int count) {
  const StableText bytes(data, count, *this);
  return bytes.ok() && render<Dump>(*this, bytes.view(), WithoutMemory::kStop);
}

bool StringBuffer::appendHexDataNoWS(const unsigned char* data, unsigned int count, bool spaced) {
  const StableText bytes(data, count, *this);
  if (!bytes.ok()) return false;
  return spaced ? render<SpaceBefore>(*this, bytes.view(), WithoutMemory::kStop)
                : render<Plain>(*this, bytes.view(), WithoutMemory::kStop);
}

void StringBuffer::appendSmallDataAsSpacedHexString(const unsigned char* data, unsigned int count) {
  const StableText bytes(data, count, *this);
  if (bytes.ok()) render<SpaceAfter>(*this, bytes.view(), WithoutMemory::kLeaveBlockOut);
}

bool StringBuffer::appendBase64(const unsigned char* data, unsigned int count) {
  ContentCoding coding;
  return coding.encodeBase64_noCrLf(data, count, *this);
}

bool StringBuffer::hexStringToBinary2(const char* hex, unsigned int count, DataBuffer& out) {
  if (hex == nullptr || count == 0 || *hex == '\0') return true;
  // Deliberate: a single character, or one before a NUL, gives no byte.
  if (count == 1 || (count % 2 == 1 && hex[1] == '\0')) return true;
  const StableText digits(hex, count, pointsInto(hex, out.getData2(), out.getBufSize()));
  return digits.ok() && decodeHex(digits.view(), out);
}

bool StringBuffer::hexStringToBinary(DataBuffer& out) const {
  const BufferAccess self(*this);
  return hexStringToBinary2(self.data(), self.size(), out);
}

void StringBuffer::canonicalizeHexString() {
  if (BufferAccess(*this).size() % 2 == 1) prepend("0");
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
