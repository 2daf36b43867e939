#include "support/internal/CodePages.h"

#include <cstdint>
#include <cstring>

#include "support/_dvUtf.h"
#include "support/internal/CodePageNumbers.h"
#include "support/internal/SingleByteTables.h"

namespace dorvane::internal {
namespace {

constexpr bool isSurrogate(unsigned int value) noexcept { return (value & ~0x7FFU) == 0xD800; }
constexpr bool isHighSurrogate(unsigned int unit) noexcept { return (unit & ~0x3FFU) == 0xD800; }
constexpr bool isLowSurrogate(unsigned int unit) noexcept { return (unit & ~0x3FFU) == 0xDC00; }

constexpr unsigned int joinSurrogates(unsigned int high, unsigned int low) noexcept {
  return 0x10000 + ((high & 0x3FFU) << 10U) + (low & 0x3FFU);
}

// The number that the next n bytes hold; there are so many.
template <bool kBigEndian>
unsigned int peekNumber(const SourceText& source, unsigned int n) noexcept {
  unsigned int value = 0;
  for (unsigned int i = 0; i < n; ++i) {
    const unsigned int byte = source.rest()[i];
    value = kBigEndian ? value << 8U | byte : value | byte << (8U * i);
  }
  return value;
}

template <bool kBigEndian>
unsigned char* putNumber(unsigned int value, unsigned int n, unsigned char* out) noexcept {
  for (unsigned int i = 0; i < n; ++i)
    *out++ = static_cast<unsigned char>(value >> (8U * (kBigEndian ? n - 1 - i : i)));
  return out;
}

// A form reads and writes one character: take() removes one from the source, which is not at its
// end; put() returns the address behind the bytes that it wrote, none for a character that the
// page does not have.

struct Utf8 {
  // Well-formed byte sequences (The Unicode Standard, table 3-7). A byte that cannot continue the
  // sequence is not taken, so that each maximal subpart counts as one malformed character.
  static unsigned int take(const CodePage&, SourceText& source) noexcept {
    const unsigned int lead = source.take();
    if (lead < 0x80) return lead;
    if (lead < 0xC2 || lead > 0xF4) return kMalformed;
    unsigned int more = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    unsigned int low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned int high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    unsigned int value = lead & (0x3FU >> more);
    for (; more > 0; --more) {
      if (source.atEnd() || source.peek() < low || source.peek() > high) return kMalformed;
      value = value << 6U | (source.take() & 0x3FU);
      low = 0x80;
      high = 0xBF;
    }
    return value;
  }

  static unsigned char* put(const CodePage&, unsigned int codePoint, unsigned char* out) noexcept {
    if (codePoint < 0x80) {
      *out = static_cast<unsigned char>(codePoint);
      return out + 1;
    }
    unsigned int size = 0;
    _dvUtf::oneUtf32ToUtf8(codePoint, reinterpret_cast<char*>(out), size);
    return out + size;
  }
};

template <bool kBigEndian>
struct Utf16 {
  static unsigned int take(const CodePage&, SourceText& source) noexcept {
    const unsigned int unit = takeUnit(source);
    if (!isSurrogate(unit)) return unit;
    if (!isHighSurrogate(unit) || source.left() < 2) return kMalformed;
    const unsigned int next = peekNumber<kBigEndian>(source, 2);
    if (!isLowSurrogate(next)) return kMalformed;
    source.skip(2);
    return joinSurrogates(unit, next);
  }

  static unsigned char* put(const CodePage&, unsigned int codePoint, unsigned char* out) noexcept {
    if (codePoint < 0x10000) return putNumber<kBigEndian>(codePoint, 2, out);
    out = putNumber<kBigEndian>(0xD800U | (codePoint - 0x10000) >> 10U, 2, out);
    return putNumber<kBigEndian>(0xDC00U | (codePoint & 0x3FFU), 2, out);
  }

 private:
  // A single byte at the end of the text is no unit.
  static unsigned int takeUnit(SourceText& source) noexcept {
    const bool whole = source.left() >= 2;
    const unsigned int unit = whole ? peekNumber<kBigEndian>(source, 2) : kMalformed;
    source.skip(whole ? 2 : 1);
    return unit;
  }
};

template <bool kBigEndian>
struct Utf32 {
  static unsigned int take(const CodePage&, SourceText& source) noexcept {
    const bool whole = source.left() >= 4;
    const unsigned int value = whole ? peekNumber<kBigEndian>(source, 4) : kMalformed;
    source.skip(whole ? 4 : source.left());
    return value > 0x10FFFF || isSurrogate(value) ? kMalformed : value;
  }

  static unsigned char* put(const CodePage&, unsigned int codePoint, unsigned char* out) noexcept {
    return putNumber<kBigEndian>(codePoint, 4, out);
  }
};

struct SingleByte {
  static unsigned int take(const CodePage& page, SourceText& source) noexcept {
    const unsigned int byte = source.take();
    if (byte < 0x80) return byte;
    const unsigned int codePoint = page.table == nullptr ? 0 : page.table->codePoints[byte - 0x80];
    return codePoint == 0 ? kMalformed : codePoint;
  }

  static unsigned char* put(const CodePage& page, unsigned int codePoint,
                            unsigned char* out) noexcept {
    unsigned int byte = codePoint;
    if (codePoint >= 0x80) byte = page.table == nullptr ? 0 : page.table->byteOf(codePoint);
    if (byte == 0 && codePoint != 0) return out;
    *out = static_cast<unsigned char>(byte);
    return out + 1;
  }
};

// Page 864 has the Arabic percent sign in place of the ASCII one.
struct Arabic864 {
  static constexpr unsigned int kArabicPercent = 0x066A;

  static unsigned int take(const CodePage& page, SourceText& source) noexcept {
    const unsigned int codePoint = SingleByte::take(page, source);
    return codePoint == '%' ? kArabicPercent : codePoint;
  }

  static unsigned char* put(const CodePage& page, unsigned int codePoint,
                            unsigned char* out) noexcept {
    if (codePoint == '%') return out;
    return SingleByte::put(page, codePoint == kArabicPercent ? '%' : codePoint, out);
  }
};

// ---- UTF-7 (RFC 2152), which is read and never written

// The value of a base64 symbol, or 64.
constexpr unsigned int base64Value(unsigned int c) noexcept {
  if (c - 'A' < 26) return c - 'A';
  if (c - 'a' < 26) return c - 'a' + 26;
  if (c - '0' < 10) return c - '0' + 52;
  return c == '+' ? 62 : c == '/' ? 63 : 64;
}

bool beginsWithBase64(const SourceText& source) noexcept {
  return !source.atEnd() && base64Value(source.peek()) < 64;
}

// Appends the code unit that is complete, if it is one by itself or ends a pair.
void putUnit(unsigned int unit, ShiftState& run, CharacterBlock& block) noexcept {
  if (isHighSurrogate(unit)) {
    run.high = unit;
    return;
  }
  const bool isPair = run.high != 0;
  if (!isPair && isLowSurrogate(unit)) unit = kMalformed;
  block.codePoints[block.size++] = isPair ? joinSurrogates(run.high, unit) : unit;
  run.high = 0;
}

// The run is over: nothing may be left of it but less than six bits, all of them 0.
void endRun(SourceText& source, ShiftState& run, CharacterBlock& block) noexcept {
  if (run.bitCount >= 6 || run.bits != 0 || run.high != 0) {
    block.codePoints[0] = kMalformed;
    block.size = 1;
  }
  run = ShiftState();
  if (!source.atEnd() && source.peek() == '-') source.skip(1);
}

// Reads a base64 symbol. The first half of a pair that no second one follows is malformed by
// itself; the symbol is then read again.
void takeSymbol(SourceText& source, ShiftState& run, CharacterBlock& block) noexcept {
  constexpr unsigned int kUnitBits = 16;
  const unsigned int bits = run.bits << 6U | base64Value(source.peek());
  const unsigned int count = run.bitCount + 6;
  const bool isUnit = count >= kUnitBits;
  const unsigned int left = isUnit ? count - kUnitBits : count;
  if (isUnit && run.high != 0 && !isLowSurrogate(bits >> left)) {
    block.codePoints[block.size++] = kMalformed;
    run.high = 0;
    return;
  }
  source.skip(1);
  run.bits = bits & ((1U << left) - 1);
  run.bitCount = left;
  if (isUnit) putUnit(bits >> left, run, block);
  if (!beginsWithBase64(source)) endRun(source, run, block);
}

// A block is one character, or none where a run of base64 begins or goes on.
void decodeUtf7(const CodePage& page, SourceText& source, CharacterBlock& block,
                unsigned int limit) noexcept {
  block.size = 0;
  if (limit == 0) return;
  if (page.shift.out) return takeSymbol(source, page.shift, block);
  unsigned int c = source.take();
  if (c == '+') {
    page.shift.out = beginsWithBase64(source);
    if (page.shift.out) return;
    if (source.atEnd() || source.peek() != '-') {
      c = kMalformed;
    } else {
      source.skip(1);
    }
  }
  block.codePoints[block.size++] = c < 0x80 ? c : kMalformed;
}

CodePage utf7Page(Direction direction) noexcept {
  CodePage page;
  if (direction == Direction::kEncode) return page;
  page.state = PageState::kReady;
  page.decode = decodeUtf7;
  return page;
}

// The position in the source and the one in the block live in local variables, which the compiler
// keeps in registers.
template <class Form>
void decode(const CodePage& page, SourceText& source, CharacterBlock& block,
            unsigned int limit) noexcept {
  SourceText reader = source;
  unsigned int size = 0;
  for (; size < limit && !reader.atEnd(); ++size) block.codePoints[size] = Form::take(page, reader);
  block.size = size;
  source = reader;
}

template <class Form>
void encode(const CodePage& page, const CharacterBlock& block, ByteBlock& bytes,
            Faults& faults) noexcept {
  unsigned char* end = bytes.bytes;
  for (unsigned int i = 0; i < block.size; ++i) {
    const bool malformed = block.codePoints[i] == kMalformed;
    unsigned char* const start = end;
    end = Form::put(page, malformed ? kReplacement : block.codePoints[i], start);
    const bool hasForm = end != start;
    if (!hasForm) *end++ = '?';
    if (malformed || !hasForm) faults.note(i);
  }
  bytes.size = static_cast<unsigned int>(end - bytes.bytes);
}

template <class Form>
CodePage pageOf(bool extendsAscii, const SingleByteTable* table = nullptr) noexcept {
  CodePage page;
  page.state = PageState::kReady;
  page.decode = decode<Form>;
  page.encode = encode<Form>;
  page.extendsAscii = extendsAscii;
  page.table = table;
  return page;
}

}  // namespace

unsigned int SourceText::asciiRun() const noexcept {
  constexpr std::uint64_t kHighBits = 0x8080808080808080U;
  const unsigned char* const bytes = rest();
  const unsigned int size = left();
  unsigned int run = 0;
  for (std::uint64_t word = 0; size - run >= sizeof(word); run += sizeof(word)) {
    std::memcpy(&word, bytes + run, sizeof(word));
    if ((word & kHighBits) != 0) break;
  }
  while (run < size && bytes[run] < 0x80) ++run;
  return run;
}

CodePage findCodePage(int number, Direction direction) noexcept {
  switch (number) {
    case kUtf7Page:
      return utf7Page(direction);
    case kUtf8Page:
      return pageOf<Utf8>(true);
    case kUtf16LePage:
      return pageOf<Utf16<false>>(false);
    case kUtf16BePage:
      return pageOf<Utf16<true>>(false);
    case kUtf32LePage:
      return pageOf<Utf32<false>>(false);
    case kUtf32BePage:
      return pageOf<Utf32<true>>(false);
    case kUsAsciiPage:
      return pageOf<SingleByte>(true);
    case 864:
      return pageOf<Arabic864>(false, findSingleByteTable(864));
    default:
      const SingleByteTable* const table = findSingleByteTable(number);
      return table == nullptr ? findSystemPage(number, direction) : pageOf<SingleByte>(true, table);
  }
}

}  // namespace dorvane::internal
