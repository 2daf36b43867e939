#include "support/internal/SystemPages.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cwchar>
#include <iterator>

#include "support/dvPlatform.h"
#include "support/internal/CodePages.h"

#if __has_include(<iconv.h>)
#include <iconv.h>
#define DORVANE_HAS_ICONV 1
#endif

namespace dorvane::internal {
namespace {

// Reads what the Japanese pages have beyond ISO-2022-JP, half-width katakana and JIS X 0212. It is
// no encoder for them: it writes sets that they do not have.
constexpr const char* kJapaneseDecoder = "ISO-2022-JP-2";

// In ascending order of the numbers.
constexpr SystemPage kPages[] = {
    {{"CP932", "WINDOWS-31J", "MS932"}, 932, true, Shifts::kNone, false},
    {{"CP936", "GBK"}, 936, true, Shifts::kNone, false},
    {{"CP949", "UHC"}, 949, true, Shifts::kNone, false},
    {{"CP950", "BIG5"}, 950, true, Shifts::kNone, false},
    {{"JOHAB", "CP1361"}, 1361, false, Shifts::kNone, false},  // has the won sign at 0x5C
    {{"EUC-JP"}, 20932, true, Shifts::kNone, false},
    {{"EUC-CN", "GB2312"}, 20936, true, Shifts::kNone, false},
    {{"EUC-KR"}, 20949, true, Shifts::kNone, false},
    {{"CP50220", kJapaneseDecoder, "ISO-2022-JP"}, 50220, false, Shifts::kEscapes, false},
    {{"CP50221", kJapaneseDecoder, "ISO-2022-JP"}, 50221, false, Shifts::kEscapes, false},
    {{"CP50222", kJapaneseDecoder, "ISO-2022-JP"}, 50222, false, Shifts::kEscapes, false},
    {{"ISO-2022-KR"}, 50225, false, Shifts::kEscapes, false},
    {{"CP51932", "EUC-JP-MS", "EUC-JP"}, 51932, true, Shifts::kNone, false},
    {{"EUC-CN", "GB2312"}, 51936, true, Shifts::kNone, false},
    {{"EUC-KR"}, 51949, true, Shifts::kNone, false},
    {{"EUC-TW"}, 51950, true, Shifts::kNone, false},
    {{"HZ", "HZ-GB-2312"}, 52936, false, Shifts::kTildes, false},
    {{"GB18030"}, 54936, true, Shifts::kNone, true},
};

const SystemPage* findPage(int number) noexcept {
  const auto* const found =
      std::lower_bound(std::begin(kPages), std::end(kPages), number,
                       [](const SystemPage& page, int wanted) { return page.number < wanted; });
  return found != std::end(kPages) && found->number == number ? found : nullptr;
}

#if DORVANE_HAS_ICONV

// The encoding of a block of code points. glibc calls it by this name without an intermediate
// step, which would keep a copy of the text.
#if defined(__STDC_ISO_10646__) && WCHAR_MAX > 0xFFFF
constexpr const char* kCodePoints = "WCHAR_T";
#else
const char* const kCodePoints = dvIsBigEndian() ? "UTF-32BE" : "UTF-32LE";
#endif

struct Step {
  std::size_t taken;
  std::size_t given;
  int error;  // 0, or EINVAL for the beginning of a character, or another
};

iconv_t handleOf(const CodePage& page) noexcept {
  return static_cast<iconv_t>(page.converter.get());
}

Step convert(const CodePage& page, const void* in, std::size_t inSize, void* out,
             std::size_t outSize) noexcept {
  char* from = const_cast<char*>(static_cast<const char*>(in));
  char* to = static_cast<char*>(out);
  std::size_t inLeft = inSize;
  std::size_t outLeft = outSize;
  const std::size_t result = iconv(handleOf(page), &from, &inLeft, &to, &outLeft);
  const bool failed = result == static_cast<std::size_t>(-1);
  return {inSize - inLeft, outSize - outLeft, failed ? errno : 0};
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

// Decodes a shift sequence or the character at the reader's place. Returns how many characters
// that were.
unsigned int decodeOne(const CodePage& page, SourceText& source, unsigned int* codePoint) noexcept {
  constexpr unsigned int kLongest = 8;
  const unsigned char* const bytes = source.rest();
  const unsigned int most = std::min(source.left(), kLongest);
  unsigned int n = 1;
  for (; n <= most; ++n) {
    const Step step = convert(page, bytes, n, codePoint, sizeof(*codePoint));
    source.skip(static_cast<unsigned int>(step.taken));
    if (step.taken != 0) {
      if (step.given == 0) return 0;
      if (isStrayShift(page, *codePoint)) *codePoint = kMalformed;
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

// Where characters have their places in the source by themselves.
void decode(const CodePage& page, SourceText& source, CharacterBlock& block,
            unsigned int limit) noexcept {
  constexpr unsigned int kLeastRun = 16;
  unsigned int size = 0;
  while (size < limit && !source.atEnd()) {
    const unsigned int room = limit - size;
    unsigned int* const end = block.codePoints + size;
    const Step run = convert(page, source.rest(), std::min(source.left(), 2 * room + kLeastRun),
                             end, room * sizeof(*end));
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

// Encodes characters up to the first that has no form. Returns how many.
unsigned int putRun(const CodePage& page, const unsigned int* characters, unsigned int n,
                    ByteBlock& bytes) noexcept {
  const Step step = convert(page, characters, n * sizeof(*characters), bytes.bytes + bytes.size,
                            sizeof(bytes.bytes) - bytes.size);
  bytes.size += static_cast<unsigned int>(step.given);
  return static_cast<unsigned int>(step.taken / sizeof(*characters));
}

void putSubstitute(const CodePage& page, bool malformed, ByteBlock& bytes) noexcept {
  constexpr unsigned int kQuestionMark = '?';
  if (malformed && putRun(page, &kReplacement, 1, bytes) == 1) return;
  putRun(page, &kQuestionMark, 1, bytes);
}

// glibc drops the tag characters in silence where a page does not have them.
bool hasNoForm(const CodePage& page, unsigned int codePoint) noexcept {
  const bool isTag = codePoint >> 7U == 0xE0000U >> 7U;
  return codePoint == kMalformed || (isTag && !page.system->hasAllCharacters) ||
         isStrayShift(page, codePoint);
}

void encode(const CodePage& page, const CharacterBlock& block, ByteBlock& bytes,
            Faults& faults) noexcept {
  bytes.size = 0;
  unsigned int end = 0;  // of the characters that may have a form
  for (unsigned int i = 0; i < block.size;) {
    if (i >= end)
      for (end = i; end < block.size && !hasNoForm(page, block.codePoints[end]);) ++end;
    i += putRun(page, block.codePoints + i, end - i, bytes);
    if (i == block.size) break;
    putSubstitute(page, block.codePoints[i] == kMalformed, bytes);
    faults.note(i++);
  }
}

// Shifts back to ASCII.
void finish(const CodePage& page, ByteBlock& bytes) noexcept {
  char* to = reinterpret_cast<char*>(bytes.bytes);
  std::size_t left = sizeof(bytes.bytes);
  iconv(handleOf(page), nullptr, nullptr, &to, &left);
  bytes.size = static_cast<unsigned int>(sizeof(bytes.bytes) - left);
}

// ---- Opening

bool isOpen(iconv_t converter) noexcept { return reinterpret_cast<std::intptr_t>(converter) != -1; }

// glibc says of some allocations that fail inside it the same as of a name that it does not know.
// Asked again it says that there is no memory, or it succeeds.
iconv_t openLookingTwice(const char* to, const char* from) noexcept {
  iconv_t opened = iconv_open(to, from);
  return isOpen(opened) || errno != EINVAL ? opened : iconv_open(to, from);
}

// Sets the page's converter, or its state to what is missing.
void openConverter(CodePage& page, Direction direction) noexcept {
  page.state = PageState::kNoConverter;
  const bool decodes = direction == Direction::kDecode;
  for (const char* const name : page.system->names) {
    if (name == nullptr) return;
    if (name == kJapaneseDecoder && !decodes) continue;
    iconv_t opened = openLookingTwice(decodes ? kCodePoints : name, decodes ? name : kCodePoints);
    if (isOpen(opened)) {
      page.converter.reset(opened);
      page.state = PageState::kReady;
      return;
    }
    if (errno != EINVAL) {
      page.state = PageState::kNoMemory;
      return;
    }
  }
}

void close(void* converter) noexcept { iconv_close(static_cast<iconv_t>(converter)); }

#else

void openConverter(CodePage& page, Direction) noexcept { page.state = PageState::kNoConverter; }

void close(void*) noexcept {}

#endif

}  // namespace

void CloseConverter::operator()(void* converter) const noexcept { close(converter); }

CodePage findSystemPage(int number, Direction direction) noexcept {
  CodePage page;
  page.system = findPage(number);
  if (page.system == nullptr) return page;
  page.extendsAscii = page.system->extendsAscii;
  openConverter(page, direction);
#if DORVANE_HAS_ICONV
  const bool shifts = page.system->shifts != Shifts::kNone;
  page.decode = shifts ? decodeShifting : decode;
  page.encode = encode;
  if (shifts) page.finish = finish;
#endif
  return page;
}

}  // namespace dorvane::internal
