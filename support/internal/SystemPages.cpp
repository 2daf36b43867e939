#include "support/internal/SystemPages.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <iterator>

#include "support/internal/CodePages.h"
#include "support/internal/JapanesePages.h"

namespace dorvane::internal {
namespace {

constexpr DoubleBytes kSystem = DoubleBytes::kOfTheSystem;
constexpr DoubleBytes kEuc932 = DoubleBytes::kOf932InEuc;
constexpr DoubleBytes kIso932 = DoubleBytes::kOf932InIso2022;

// In ascending order of the numbers. ISO-2022-JP-2 reads what the Japanese pages have beyond
// ISO-2022-JP, half-width katakana and JIS X 0212.
constexpr SystemPage kPages[] = {
    {{"CP932", "WINDOWS-31J", "MS932"}, 932, true, Shifts::kNone, false, kSystem},
    {{"CP936", "GBK"}, 936, true, Shifts::kNone, false, kSystem},
    {{"CP949", "UHC"}, 949, true, Shifts::kNone, false, kSystem},
    {{"CP950", "BIG5"}, 950, true, Shifts::kNone, false, kSystem},
    // Has the won sign at 0x5C.
    {{"JOHAB", "CP1361"}, 1361, false, Shifts::kNone, false, kSystem},
    {{"EUC-JP"}, 20932, true, Shifts::kNone, false, kSystem},
    {{"EUC-CN", "GB2312"}, 20936, true, Shifts::kNone, false, kSystem},
    {{"EUC-KR"}, 20949, true, Shifts::kNone, false, kSystem},
    {{"ISO-2022-JP-2", "ISO-2022-JP"}, 50220, false, Shifts::kEscapes, false, kIso932},
    {{"ISO-2022-JP-2", "ISO-2022-JP"}, 50221, false, Shifts::kEscapes, false, kIso932},
    {{"ISO-2022-JP-2", "ISO-2022-JP"}, 50222, false, Shifts::kEscapes, false, kIso932},
    {{"ISO-2022-KR"}, 50225, false, Shifts::kEscapes, false, kSystem},
    {{"EUC-JP-MS", "EUC-JP"}, 51932, true, Shifts::kNone, false, kEuc932},
    {{"EUC-CN", "GB2312"}, 51936, true, Shifts::kNone, false, kSystem},
    {{"EUC-KR"}, 51949, true, Shifts::kNone, false, kSystem},
    {{"EUC-TW"}, 51950, true, Shifts::kNone, false, kSystem},
    {{"HZ", "HZ-GB-2312"}, 52936, false, Shifts::kTildes, false, kSystem},
    {{"GB18030"}, 54936, true, Shifts::kNone, true, kSystem},
};
static_assert(2 * std::size(kPages) <= SystemConverter::kSlots);

const SystemPage* findPage(int number) noexcept {
  const auto* const found =
      std::lower_bound(std::begin(kPages), std::end(kPages), number,
                       [](const SystemPage& page, int wanted) { return page.number < wanted; });
  return found != std::end(kPages) && found->number == number ? found : nullptr;
}

// ---- Decoding

// Whether `next`, with which a character goes on that turned out to be malformed, is a part of it.
// A byte that may be a character by itself, or begin a shift sequence, is not swallowed.
bool isPartOfMalformed(const CodePage& page, unsigned char first, unsigned char next) noexcept {
  if (page.system->shifts == Shifts::kNone) return next >= 0x80;
  const bool beginsCharacter = first > ' ' && first < '~';
  return beginsCharacter && next > ' ' && next <= '~';
}

// ESC, SO and SI are no characters in ISO-2022 text (RFC 1468, formal syntax; RFC 1557). The system
// passes them through where they begin no shift sequence that it knows.
bool isStrayShift(const CodePage& page, unsigned int codePoint) noexcept {
  constexpr unsigned int kSo = 0x0E;
  constexpr unsigned int kSi = 0x0F;
  constexpr unsigned int kEsc = 0x1B;
  return page.system->shifts == Shifts::kEscapes &&
         (codePoint == kSo || codePoint == kSi || codePoint == kEsc);
}

}  // namespace

unsigned int decodeOne(const CodePage& page, SourceText& source, unsigned int* codePoint) noexcept {
  constexpr unsigned int kLongest = 8;
  const unsigned char* const bytes = source.rest();
  const unsigned int most = std::min(source.left(), kLongest);
  unsigned int n = 1;
  for (; n <= most; ++n) {
    const ConverterStep step = page.converter.convert(bytes, n, codePoint, sizeof(*codePoint));
    source.skip(static_cast<unsigned int>(step.taken));
    if (step.taken != 0) {
      const bool isShift = step.given == 0 && page.system->shifts != Shifts::kNone;
      if (isShift) return 0;
      if (step.given == 0 || isStrayShift(page, *codePoint)) *codePoint = kMalformed;
      return 1;
    }
    if (step.error != EINVAL) break;
  }
  unsigned int length = 1;
  while (length < std::min(n, most) && isPartOfMalformed(page, bytes[0], bytes[length])) ++length;
  source.skip(length);
  *codePoint = kMalformed;
  return 1;
}

namespace {

// How many of the next bytes can be decoded in one step. glibc drops the pair A2 E8 of page 949,
// which has no character, without an error; a step ends before and after anything that may be it.
unsigned int runLength(const CodePage& page, const SourceText& source, unsigned int most) noexcept {
  constexpr unsigned int kKoreanPage = 949;
  const unsigned int n = std::min(source.left(), most);
  if (page.system->number != kKoreanPage) return n;
  const unsigned char* const bytes = source.rest();
  constexpr unsigned char kPair[] = {0xA2, 0xE8};
  const auto* const found = std::search(bytes, bytes + n, std::begin(kPair), std::end(kPair));
  return static_cast<unsigned int>(found - bytes);
}

// Where characters have their places in the source by themselves.
void decode(const CodePage& page, SourceText& source, CharacterBlock& block,
            unsigned int limit) noexcept {
  constexpr unsigned int kLeastRun = 16;
  unsigned int size = 0;
  while (size < limit && !source.atEnd()) {
    const unsigned int room = limit - size;
    unsigned int* const end = block.codePoints + size;
    const ConverterStep run = page.converter.convert(
        source.rest(), runLength(page, source, 2 * room + kLeastRun), end, room * sizeof(*end));
    source.skip(static_cast<unsigned int>(run.taken));
    size += run.taken == 0 ? decodeOne(page, source, end)
                           : static_cast<unsigned int>(run.given / sizeof(*end));
  }
  block.size = size;
}

// With shift sequences a block is one character or one such sequence, so that its place in the
// source is known and nothing has to be decoded again.
void decodeShifting(const CodePage& page, SourceText& source, CharacterBlock& block,
                    unsigned int limit) noexcept {
  block.size = limit == 0 ? 0 : decodeOne(page, source, block.codePoints);
}

// ---- Encoding

void putSubstitute(const CodePage& page, bool malformed, ByteBlock& bytes) noexcept {
  constexpr unsigned int kQuestionMark = '?';
  if (malformed && encodeRun(page.converter, &kReplacement, 1, bytes) == 1) return;
  encodeRun(page.converter, &kQuestionMark, 1, bytes);
}

void encode(const CodePage& page, const CharacterBlock& block, ByteBlock& bytes,
            Faults& faults) noexcept {
  bytes.size = 0;
  unsigned int end = 0;  // of the characters that may have a form
  for (unsigned int i = 0; i < block.size;) {
    if (i >= end)
      for (end = i; end < block.size && !hasNoForm(page, block.codePoints[end]);) ++end;
    i += encodeRun(page.converter, block.codePoints + i, end - i, bytes);
    if (i == block.size) break;
    putSubstitute(page, block.codePoints[i] == kMalformed, bytes);
    faults.note(i++);
  }
}

// Shifts back to ASCII.
void finish(const CodePage& page, ByteBlock& bytes) noexcept {
  bytes.size = static_cast<unsigned int>(page.converter.finish(bytes.bytes, sizeof(bytes.bytes)));
}

// ---- Opening

PageState openFor(const SystemPage& page, Direction direction,
                  SystemConverter& converter) noexcept {
  const auto slot =
      static_cast<unsigned int>(2 * (&page - kPages)) + (direction == Direction::kEncode ? 1U : 0U);
  return converter.open(slot, direction, std::begin(page.names), std::end(page.names));
}

// Sets the page's converters, or its state to what is missing.
void openConverters(CodePage& page, Direction direction) noexcept {
  const DoubleBytes doubleBytes = page.system->doubleBytes;
  page.state = PageState::kReady;
  if (doubleBytes != DoubleBytes::kOfTheSystem)
    page.state = openFor(*findPage(932), direction, page.windows);
  const bool needsOwn =
      doubleBytes != DoubleBytes::kOf932InIso2022 || direction == Direction::kDecode;
  if (page.state == PageState::kReady && needsOwn)
    page.state = openFor(*page.system, direction, page.converter);
}

void setFunctions(CodePage& page) noexcept {
  switch (page.system->doubleBytes) {
    case DoubleBytes::kOf932InEuc:
      page.decode = decodeEuc932;
      page.encode = encodeEuc932;
      return;
    case DoubleBytes::kOf932InIso2022:
      page.decode = decodeIso932;
      page.encode = encodeIso932;
      page.finish = finishIso932;
      return;
    case DoubleBytes::kOfTheSystem:
      const bool shifts = page.system->shifts != Shifts::kNone;
      page.decode = shifts ? decodeShifting : decode;
      page.encode = encode;
      if (shifts) page.finish = finish;
  }
}

}  // namespace

unsigned int encodeRun(const SystemConverter& converter, const unsigned int* characters,
                       unsigned int n, ByteBlock& bytes) noexcept {
  const ConverterStep step =
      converter.convert(characters, n * sizeof(*characters), bytes.bytes + bytes.size,
                        sizeof(bytes.bytes) - bytes.size);
  bytes.size += static_cast<unsigned int>(step.given);
  return static_cast<unsigned int>(step.taken / sizeof(*characters));
}

// glibc drops the tag characters in silence where a page does not have them.
bool hasNoForm(const CodePage& page, unsigned int codePoint) noexcept {
  const bool isTag = codePoint >> 7U == 0xE0000U >> 7U;
  return codePoint == kMalformed || (isTag && !page.system->hasAllCharacters) ||
         isStrayShift(page, codePoint);
}

CodePage findSystemPage(int number, Direction direction) noexcept {
  CodePage page;
  page.system = findPage(number);
  if (page.system == nullptr) return page;
  page.extendsAscii = page.system->extendsAscii;
  openConverters(page, direction);
  setFunctions(page);
  return page;
}

}  // namespace dorvane::internal
