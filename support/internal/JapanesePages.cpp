// Windows has one set of double bytes for Japan, the pairs of page 932: JIS X 0208 and, in rows 13
// and 89 to 92, what NEC added to it. A row and a cell are a pair by arithmetic, so the converter
// of 932 reads and writes the double bytes of the other pages, too. Everything else (JIS X 0212,
// other shift sequences) is the business of the page's own converter.
//
// The C library's own tables of these pages lack the rows of NEC or give them private-use code
// points, and differ from 932 in the names of a few signs (U+301C for U+FF5E).
// Tested in tests/support/CodePagesTest.cpp.

#include "support/internal/JapanesePages.h"

#include <string_view>

#include "support/dvMemory.h"
#include "support/internal/CodePages.h"
#include "support/internal/SystemPages.h"

namespace dorvane::internal {
namespace {

constexpr unsigned char kSo = 0x0E;
constexpr unsigned char kSi = 0x0F;
constexpr unsigned char kEsc = 0x1B;
constexpr unsigned char kSingleShift2 = 0x8E;  // half-width katakana in EUC

constexpr int kNoKatakanaPage = 50220;
constexpr int kShiftOutPage = 50222;

constexpr unsigned int kYen = 0xA5;
constexpr unsigned int kOverline = 0x203E;
constexpr unsigned int kFirstKatakana = 0xFF61;
constexpr unsigned int kKatakana = 63;

constexpr bool isPrivateUse(unsigned int c) noexcept { return 0xE000 <= c && c <= 0xF8FF; }
constexpr bool isKatakana(unsigned int c) noexcept { return c - kFirstKatakana < kKatakana; }
constexpr bool isJisByte(unsigned int byte) noexcept { return 0x21 <= byte && byte <= 0x7E; }
constexpr bool isEucByte(unsigned int byte) noexcept { return 0xA1 <= byte && byte <= 0xFE; }

// ---- Double bytes

constexpr unsigned int kCells = 94;
constexpr unsigned int kTrails = 2 * kCells;  // a lead byte of 932 holds two rows

// Row and cell count from 0 here.
struct Place {
  unsigned int row;
  unsigned int cell;
};

void putPair(Place place, unsigned char* to) noexcept {
  const unsigned int lead = 0x81 + place.row / 2;
  const unsigned int trail = 0x40 + place.row % 2 * kCells + place.cell;
  to[0] = static_cast<unsigned char>(lead + (lead > 0x9F ? 0x40 : 0));
  to[1] = static_cast<unsigned char>(trail + (trail >= 0x7F ? 1 : 0));
}

// IBM's rows, from the lead byte 0xFA on, repeat in another order what NEC has in 89 to 92.
unsigned int placeOfIbm(unsigned int index) noexcept {
  constexpr unsigned int kSmallNumerals = 10;
  constexpr unsigned int kBeforeKanji = 28;
  constexpr unsigned int kNecRows = 88 * kCells;
  if (index >= kBeforeKanji) return kNecRows + index - kBeforeKanji;
  return kNecRows + index + (index < kSmallNumerals ? 362 : 352);
}

// The place of a pair that 932 writes for a character that is not of private use.
Place placeOf(unsigned int lead, unsigned int trail) noexcept {
  unsigned int index = trail - 0x40 - (trail > 0x7F ? 1 : 0);
  index = lead >= 0xFA ? placeOfIbm((lead - 0xFA) * kTrails + index)
                       : (lead - (lead < 0xA0 ? 0x81 : 0xC1)) * kTrails + index;
  return {index / kCells, index % kCells};
}

// ---- Encoding

// Encodes a block by way of page 932. Form::isIn932() is true for a character that is looked up in
// that page; Form::put() appends the form of its bytes there, and returns how many of them it has
// taken; Form::putOther() appends a character that 932 does not have, or returns false.
template <class Form>
void encode(const CodePage& page, const CharacterBlock& block, ByteBlock& bytes,
            Faults& faults) noexcept {
  constexpr unsigned char kSubstitute = '?';
  ByteBlock in932;
  bytes.size = 0;
  unsigned int end = 0;  // of the characters that 932 may have
  for (unsigned int i = 0; i < block.size;) {
    if (i >= end)
      for (end = i; end < block.size && Form::isIn932(page, block.codePoints[end]);) ++end;
    in932.size = 0;
    i += encodeRun(page.windows, block.codePoints + i, end - i, in932);
    for (unsigned int at = 0; at < in932.size;) at += Form::put(page, in932.bytes + at, bytes);
    if (i == block.size) break;
    if (!Form::putOther(page, block.codePoints[i], bytes)) {
      Form::put(page, &kSubstitute, bytes);
      faults.note(i);
    }
    ++i;
  }
}

void append(unsigned int byte, ByteBlock& bytes) noexcept {
  bytes.bytes[bytes.size++] = static_cast<unsigned char>(byte);
}

struct Euc {
  static bool isIn932(const CodePage& page, unsigned int c) noexcept {
    return !isPrivateUse(c) && !hasNoForm(page, c);
  }

  static unsigned int put(const CodePage&, const unsigned char* in932, ByteBlock& bytes) noexcept {
    if (in932[0] < 0x80) {
      append(in932[0], bytes);
      return 1;
    }
    if (0xA0 <= in932[0] && in932[0] <= 0xDF) {
      append(kSingleShift2, bytes);
      append(in932[0], bytes);
      return 1;
    }
    const Place place = placeOf(in932[0], in932[1]);
    append(0xA1 + place.row, bytes);
    append(0xA1 + place.cell, bytes);
    return 2;
  }

  static bool putOther(const CodePage& page, unsigned int c, ByteBlock& bytes) noexcept {
    return isIn932(page, c) && encodeRun(page.converter, &c, 1, bytes) == 1;
  }
};

// The sets of ISO-2022-JP and their shift sequences, in this order.
enum Set : unsigned int { kAscii, kRoman, kKatakanaSet, kDouble, kOther };
constexpr std::string_view kEscapes[] = {"\x1B(B", "\x1B(J", "\x1B(I", "\x1B$B"};

struct Iso2022 {
  static bool isIn932(const CodePage& page, unsigned int c) noexcept {
    const bool isMissing = page.system->number == kNoKatakanaPage && isKatakana(c);
    return !isMissing && c != kYen && c != kOverline && !isPrivateUse(c) && !hasNoForm(page, c);
  }

  static unsigned int put(const CodePage& page, const unsigned char* in932,
                          ByteBlock& bytes) noexcept {
    if (in932[0] < 0x80) {
      shiftTo(kAscii, page, bytes);
      append(in932[0], bytes);
      return 1;
    }
    if (0xA0 <= in932[0] && in932[0] <= 0xDF) {
      shiftTo(kKatakanaSet, page, bytes);
      append(in932[0] - 0x80U, bytes);
      return 1;
    }
    const Place place = placeOf(in932[0], in932[1]);
    shiftTo(kDouble, page, bytes);
    append(0x21 + place.row, bytes);
    append(0x21 + place.cell, bytes);
    return 2;
  }

  // 932 writes a backslash and a tilde for the two.
  static bool putOther(const CodePage& page, unsigned int c, ByteBlock& bytes) noexcept {
    if (c != kYen && c != kOverline) return false;
    shiftTo(kRoman, page, bytes);
    append(c == kYen ? '\\' : '~', bytes);
    return true;
  }

  static void shiftTo(Set set, const CodePage& page, ByteBlock& bytes) noexcept {
    const bool out = set == kKatakanaSet && page.system->number == kShiftOutPage;
    if (out != page.shift.out) append(out ? kSo : kSi, bytes);
    page.shift.out = out;
    if (out || page.shift.set == set) return;
    for (const char c : kEscapes[set]) append(static_cast<unsigned char>(c), bytes);
    page.shift.set = set;
  }
};

// ---- Decoding EUC

// Bytes for the converter of 932. They may be secret, so they are wiped.
struct Pairs {
  Pairs() = default;  // leaves the array as it is
  Pairs(const Pairs&) = delete;
  Pairs& operator=(const Pairs&) = delete;
  ~Pairs() { dvSecureZero(bytes, size); }

  unsigned char bytes[2 * CharacterBlock::kCapacity];
  unsigned int size = 0;
};

// The next characters that are ASCII or double bytes. They are as long in 932 as in the source.
void collect(const SourceText& source, unsigned int most, Pairs& pairs) noexcept {
  const unsigned char* at = source.rest();
  const unsigned char* const end = at + source.left();
  for (; most > 0 && at < end; --most) {
    if (*at < 0x80) {
      pairs.bytes[pairs.size++] = *at++;
    } else if (end - at >= 2 && isEucByte(at[0]) && isEucByte(at[1])) {
      putPair({at[0] - 0xA1U, at[1] - 0xA1U}, pairs.bytes + pairs.size);
      pairs.size += 2;
      at += 2;
    } else {
      return;
    }
  }
}

unsigned int decodePairs(const CodePage& page, const Pairs& pairs, SourceText& source,
                         unsigned int* codePoints, unsigned int most) noexcept {
  const ConverterStep step =
      page.windows.convert(pairs.bytes, pairs.size, codePoints, most * sizeof(*codePoints));
  source.skip(static_cast<unsigned int>(step.taken));
  if (step.taken != 0) return static_cast<unsigned int>(step.given / sizeof(*codePoints));
  source.skip(2);
  *codePoints = kMalformed;
  return 1;
}

unsigned int decodeOther(const CodePage& page, SourceText& source,
                         unsigned int* codePoint) noexcept {
  const unsigned int n = decodeOne(page, source, codePoint);
  if (isPrivateUse(*codePoint)) *codePoint = kMalformed;
  return n;
}

// ---- Decoding ISO-2022

// Remembers the set that a shift sequence of the page's own converter has chosen.
void noteEscape(std::string_view escape, ShiftState& shift) noexcept {
  if (escape.size() < 3 || (escape[1] != '$' && escape[1] != '(')) return;
  const bool isDouble = escape == "\x1B$B" || escape == "\x1B$@";
  shift.set = isDouble ? kDouble : kOther;
  shift.out = false;
}

// 50222 only: SO and SI, and the katakana between them.
bool takeShiftedOut(const CodePage& page, SourceText& source, CharacterBlock& block) noexcept {
  const unsigned char byte = source.peek();
  if (page.shift.out && isJisByte(byte)) {
    const unsigned int index = byte - 0x21U;
    block.codePoints[block.size++] = index < kKatakana ? kFirstKatakana + index : kMalformed;
  } else if (byte == (page.shift.out ? kSi : kSo) && page.system->number == kShiftOutPage) {
    page.shift.out = byte == kSo;
  } else {
    return false;
  }
  source.skip(1);
  return true;
}

unsigned int decodeDouble(const CodePage& page, SourceText& source) noexcept {
  const unsigned char* const bytes = source.rest();
  unsigned int codePoint = kMalformed;
  if (source.left() < 2 || !isJisByte(bytes[1])) {
    source.skip(1);
    return codePoint;
  }
  Pairs pair;
  pair.size = 2;
  putPair({bytes[0] - 0x21U, bytes[1] - 0x21U}, pair.bytes);
  const ConverterStep step =
      page.windows.convert(pair.bytes, pair.size, &codePoint, sizeof(codePoint));
  source.skip(2);
  return step.given == sizeof(codePoint) ? codePoint : kMalformed;
}

// Anything but double bytes: the page's own converter follows all shift sequences.
unsigned int decodeShifted(const CodePage& page, SourceText& source,
                           unsigned int* codePoint) noexcept {
  const auto* const from = reinterpret_cast<const char*>(source.rest());
  const unsigned int before = source.position();
  const unsigned int n = decodeOne(page, source, codePoint);
  if (n == 0 && *from == kEsc) noteEscape({from, source.position() - before}, page.shift);
  return n;
}

}  // namespace

void decodeEuc932(const CodePage& page, SourceText& source, CharacterBlock& block,
                  unsigned int limit) noexcept {
  unsigned int size = 0;
  while (size < limit && !source.atEnd()) {
    unsigned int* const end = block.codePoints + size;
    Pairs pairs;
    collect(source, limit - size, pairs);
    size += pairs.size == 0 ? decodeOther(page, source, end)
                            : decodePairs(page, pairs, source, end, limit - size);
  }
  block.size = size;
}

void encodeEuc932(const CodePage& page, const CharacterBlock& block, ByteBlock& bytes,
                  Faults& faults) noexcept {
  encode<Euc>(page, block, bytes, faults);
}

// A block is one character or one shift sequence, as in every page with such sequences.
void decodeIso932(const CodePage& page, SourceText& source, CharacterBlock& block,
                  unsigned int limit) noexcept {
  block.size = 0;
  if (limit == 0 || takeShiftedOut(page, source, block)) return;
  if (page.shift.set == kDouble && isJisByte(source.peek())) {
    block.codePoints[block.size++] = decodeDouble(page, source);
  } else {
    block.size = decodeShifted(page, source, block.codePoints);
  }
}

void encodeIso932(const CodePage& page, const CharacterBlock& block, ByteBlock& bytes,
                  Faults& faults) noexcept {
  encode<Iso2022>(page, block, bytes, faults);
}

void finishIso932(const CodePage& page, ByteBlock& bytes) noexcept {
  bytes.size = 0;
  Iso2022::shiftTo(kAscii, page, bytes);
}

}  // namespace dorvane::internal
