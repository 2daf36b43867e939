// Base64 is encoded in blocks: two table look-ups give the four symbols of three bytes.
// Tested in tests/support/ContentCodingTest.cpp.

#include "support/ContentCoding.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "core/StringBuffer.h"
#include "support/DataBuffer.h"
#include "support/dvMemory.h"
#include "support/internal/AddressRange.h"
#include "support/internal/BinaryDecoders.h"

using dorvane::internal::Misfits;
using dorvane::internal::pointsInto;

namespace {

constexpr unsigned int kBytesPerGroup = 3;
constexpr unsigned int kSymbolsPerGroup = 4;
constexpr unsigned int kPairs = 4096;

// The two symbols of every 12 bits.
struct SymbolPairs {
  char of[kPairs][2];
};

constexpr SymbolPairs makeSymbolPairs() {
  constexpr char kSymbols[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  SymbolPairs pairs{};
  for (unsigned int bits = 0; bits < kPairs; ++bits) {
    pairs.of[bits][0] = kSymbols[bits >> 6U];
    pairs.of[bits][1] = kSymbols[bits & 0x3FU];
  }
  return pairs;
}

constexpr SymbolPairs kSymbolPairs = makeSymbolPairs();

std::uint64_t encodedSize(unsigned int n) noexcept {
  return (std::uint64_t{n} + kBytesPerGroup - 1) / kBytesPerGroup * kSymbolsPerGroup;
}

void encodeGroup(unsigned int bits, char* to) noexcept {
  std::memcpy(to, kSymbolPairs.of[bits >> 12U], 2);
  std::memcpy(to + 2, kSymbolPairs.of[bits & 0xFFFU], 2);
}

// The text of a part of the data. It may stand for a secret, so it is wiped.
class EncodedBlock {
 public:
  static constexpr unsigned int kGroups = 1024;
  static constexpr unsigned int kMostBytes = kGroups * kBytesPerGroup;
  static constexpr unsigned int kMostSymbols = kGroups * kSymbolsPerGroup;

  EncodedBlock() = default;  // leaves the array as it is
  EncodedBlock(const EncodedBlock&) = delete;
  EncodedBlock& operator=(const EncodedBlock&) = delete;
  ~EncodedBlock() { dvSecureZero(m_symbols, m_mostUsed); }

  // `n` is at most kMostBytes; padding is added when it is not a number of whole groups.
  void encode(const unsigned char* from, unsigned int n) noexcept {
    char* to = m_symbols;
    for (; n >= kBytesPerGroup; n -= kBytesPerGroup) {
      encodeGroup(from[0] * 0x10000U + from[1] * 0x100U + from[2], to);
      from += kBytesPerGroup;
      to += kSymbolsPerGroup;
    }
    if (n > 0) to = encodeRest(from, n, to);
    m_used = static_cast<unsigned int>(to - m_symbols);
    m_mostUsed = std::max(m_mostUsed, m_used);
  }

  bool appendTo(StringBuffer& out) const { return out.appendN(m_symbols, m_used); }

 private:
  static char* encodeRest(const unsigned char* from, unsigned int n, char* to) noexcept {
    encodeGroup(from[0] * 0x10000U + (n == 2 ? from[1] * 0x100U : 0U), to);
    if (n == 1) to[2] = '=';
    to[3] = '=';
    return to + kSymbolsPerGroup;
  }

  unsigned int m_used = 0;
  unsigned int m_mostUsed = 0;
  char m_symbols[kMostSymbols];
};

// Room for a text of more than one block; the same growth as when it is appended in one piece.
bool makeRoom(std::uint64_t size, StringBuffer& out) {
  if (out.getSize() + size < out.heapUsage()) return true;
  return size <= 0xFFFFFFFFU && out.expectNumBytes(static_cast<unsigned int>(size));
}

// The bytes do not lie in `out`, or their text is one block.
bool encode(const unsigned char* bytes, unsigned int n, StringBuffer& out) {
  EncodedBlock block;
  while (n > 0) {
    const unsigned int taken = std::min(n, EncodedBlock::kMostBytes);
    block.encode(bytes, taken);
    if (!block.appendTo(out)) return false;
    bytes += taken;
    n -= taken;
  }
  return true;
}

bool encodeCopy(const unsigned char* bytes, unsigned int n, StringBuffer& out) {
  DataBuffer copy;
  copy.setSecure(true);
  return copy.append(bytes, n) && makeRoom(encodedSize(n), out) && encode(copy.getData2(), n, out);
}

}  // namespace

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): used through an object
bool ContentCoding::encodeBase64_noCrLf(const void* data, unsigned int n, StringBuffer& out) {
  const auto* const bytes = static_cast<const unsigned char*>(data);
  if (bytes == nullptr) return true;
  if (n <= EncodedBlock::kMostBytes) return encode(bytes, n, out);
  if (pointsInto(bytes, out.getString(), out.heapUsage())) return encodeCopy(bytes, n, out);
  return makeRoom(encodedSize(n), out) && encode(bytes, n, out);
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): used through an object
bool ContentCoding::decodeBase64ToDb(const char* text, unsigned int n, DataBuffer& out) {
  if (text == nullptr) return true;
  Misfits ignored;
  if (!pointsInto(text, out.getData2(), out.getBufSize()))
    return decodeBase64({text, n}, out, ignored);
  DataBuffer copy;
  copy.setSecure(true);
  if (!copy.append(text, n)) return false;
  const auto* const copied = reinterpret_cast<const char*>(copy.getData2());
  return decodeBase64({copied, n}, out, ignored);
}
