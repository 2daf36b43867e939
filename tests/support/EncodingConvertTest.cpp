#include "support/EncodingConvert.h"

#include <gtest/gtest.h>
#include <iconv.h>

#include <chrono>
#include <climits>
#include <string>
#include <string_view>
#include <vector>

#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "support/DataBuffer.h"
#include "support/LogBase.h"
#include "support/LogNull.h"
#include "support/Psdk.h"

namespace {

using namespace std::string_literals;

constexpr int kUtf8 = 65001;
constexpr int kUtf16Le = 1200;
constexpr int kUtf16Be = 1201;
constexpr int kUtf32Le = 12000;
constexpr int kUtf32Be = 12001;
constexpr int kAscii = 20127;
constexpr int kUnicodePages[] = {kUtf8, kUtf16Le, kUtf16Be, kUtf32Le, kUtf32Be};

const unsigned char* bytesOf(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

std::string contentOf(const DataBuffer& buffer) {
  return {reinterpret_cast<const char*>(buffer.getData2()), buffer.getSize()};
}

struct Result {
  std::string bytes;
  bool done;
  unsigned int errors;
  std::string characters;   // how many were replaced, as logged
  std::string firstOffset;  // where the first one stands, as logged
};

std::string logged(const LogBase& log, const char* name) {
  const char* value = log.valueOf(name);
  return value == nullptr ? "" : value;
}

Result convert(int from, int to, std::string_view text) {
  EncodingConvert converter;
  DataBuffer out;
  LogBase log;
  const bool done = converter.EncConvert(from, to, bytesOf(text),
                                         static_cast<unsigned int>(text.size()), out, log);
  return {contentOf(out), done, log.errorCount(), logged(log, "characters"),
          logged(log, "firstOffset")};
}

// Expects a conversion without a fault.
void expectExact(int from, int to, std::string_view text, std::string_view expected) {
  const Result result = convert(from, to, text);
  EXPECT_TRUE(result.done) << from << " to " << to;
  EXPECT_EQ(result.errors, 0U);
  EXPECT_EQ(result.bytes, expected) << from << " to " << to;
}

// Expects that `count` characters were replaced, the first at `offset`.
void expectFaults(int from, int to, std::string_view text, std::string_view expected, int count,
                  int offset) {
  const Result result = convert(from, to, text);
  EXPECT_FALSE(result.done) << testing::PrintToString(std::string(text));
  EXPECT_EQ(result.bytes, expected) << testing::PrintToString(std::string(text));
  EXPECT_EQ(result.errors, 1U);
  EXPECT_EQ(result.characters, std::to_string(count)) << testing::PrintToString(std::string(text));
  EXPECT_EQ(result.firstOffset, std::to_string(offset));
}

// One text in all the Unicode forms: a NUL, characters of every UTF-8 size, a supplementary one.
const std::string kSampleUtf8 = "A\0\xC3\xA9\xE2\x82\xAC\xEF\xBF\xBD\xF0\x9F\x98\x80z"s;
const std::string kSampleUtf16Be = "\0A\0\0\0\xE9\x20\xAC\xFF\xFD\xD8\x3D\xDE\x00\0z"s;
const std::string kSampleUtf32Be =
    "\0\0\0A\0\0\0\0\0\0\0\xE9\0\0\x20\xAC\0\0\xFF\xFD\0\1\xF6\x00\0\0\0z"s;

std::string swapped(std::string text, std::size_t unit) {
  for (std::size_t at = 0; at < text.size(); at += unit)
    for (std::size_t i = 0; i < unit / 2; ++i) std::swap(text[at + i], text[at + unit - 1 - i]);
  return text;
}

std::string sample(int page) {
  switch (page) {
    case kUtf16Le:
      return swapped(kSampleUtf16Be, 2);
    case kUtf16Be:
      return kSampleUtf16Be;
    case kUtf32Le:
      return swapped(kSampleUtf32Be, 4);
    case kUtf32Be:
      return kSampleUtf32Be;
    default:
      return kSampleUtf8;
  }
}

TEST(EncodingConvert, ConvertsBetweenAllUnicodeForms) {
  for (const int from : kUnicodePages) {
    for (const int to : kUnicodePages) {
      std::string source;
      std::string expected;
      for (int i = 0; i < 40; ++i) {
        expectExact(from, to, source, expected);
        source += sample(from);
        expected += sample(to);
      }
    }
  }
}

TEST(EncodingConvert, ConvertsAsciiToEveryForm) {
  const std::string text(200, 'x');
  std::string wide;
  std::string wider;
  for (const char c : text) {
    wide += {'\0', c};
    wider += {'\0', '\0', '\0', c};
  }
  for (const int page : {kUtf8, kAscii, 437, 1252, 28591}) {
    expectExact(page, kUtf8, text, text);
    expectExact(page, kAscii, text, text);
    expectExact(page, kUtf16Be, text, wide);
    expectExact(page, kUtf16Le, text, swapped(wide, 2));
    expectExact(page, kUtf32Be, text, wider);
    expectExact(page, kUtf32Le, text, swapped(wider, 4));
    expectExact(kUtf16Be, page, wide, text);
    expectExact(kUtf16Le, page, swapped(wide, 2), text);
    expectExact(kUtf32Be, page, wider, text);
    expectExact(kUtf32Le, page, swapped(wider, 4), text);
  }
}

TEST(EncodingConvert, AddsAndRemovesNoByteOrderMark) {
  expectExact(kUtf16Be, kUtf8, "\xFE\xFF\0A"s,
              "\xEF\xBB\xBF"
              "A");
  expectExact(kUtf8, kUtf16Le,
              "\xEF\xBB\xBF"
              "A",
              "\xFF\xFE"
              "A\0"s);
  expectExact(kUtf16Be, kUtf8, "\xFF\xFE"s, "\xEF\xBF\xBE");  // U+FFFE is a character, not a mark
}

TEST(EncodingConvert, ConvertsEveryCodePointAsTheSystemDoes) {
  std::string utf32;
  for (unsigned int c = 0; c <= 0x10FFFF; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    for (unsigned int shift = 32; shift > 0; shift -= 8)
      utf32 += static_cast<char>(c >> (shift - 8));
  }
  const struct {
    int page;
    const char* name;
  } targets[] = {{kUtf8, "UTF-8"}, {kUtf16Le, "UTF-16LE"}, {kUtf16Be, "UTF-16BE"}};
  for (const auto& target : targets) {
    std::string expected(utf32.size() * 2, '\0');
    const iconv_t system = iconv_open(target.name, "UTF-32BE");
    ASSERT_NE(system, reinterpret_cast<iconv_t>(-1));
    char* in = &utf32[0];
    char* out = &expected[0];
    std::size_t inLeft = utf32.size();
    std::size_t outLeft = expected.size();
    ASSERT_EQ(iconv(system, &in, &inLeft, &out, &outLeft), 0U);
    iconv_close(system);
    expected.resize(expected.size() - outLeft);
    const Result there = convert(kUtf32Be, target.page, utf32);
    EXPECT_TRUE(there.done);
    EXPECT_TRUE(there.bytes == expected) << target.name;
    const Result back = convert(target.page, kUtf32Be, expected);
    EXPECT_TRUE(back.done);
    EXPECT_TRUE(back.bytes == utf32) << target.name;
  }
}

TEST(EncodingConvert, ReplacesMalformedUtf8ByMaximalSubparts) {
  const std::string r = "\xEF\xBF\xBD";
  const struct {
    std::string text;
    std::string expected;
    int count;
    int offset;
  } cases[] = {
      // The examples of The Unicode Standard, tables 3-8 to 3-11.
      {"\xC0\xAF\xE0\x80\xBF\xF0\x81\x82"
       "A",
       r + r + r + r + r + r + r + r + "A", 8, 0},
      {"\xED\xA0\x80\xED\xBF\xBF\xED\xAF"
       "A",
       r + r + r + r + r + r + r + r + "A", 8, 0},
      {"\xF4\x91\x92\x93\xFF"
       "A\x80\xBF"
       "B",
       r + r + r + r + r + "A" + r + r + "B", 7, 0},
      {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF"
       "A",
       r + r + r + r + "A", 4, 0},
      {"ab\xE2\x82", "ab" + r, 1, 2},
      {"\xC3", r, 1, 0},
      {"\xF0\x9F\x98", r, 1, 0},
      {"\xC3\xC3\xA9", r + "\xC3\xA9", 1, 0},
      {std::string(40, 'x') + "\x80", std::string(40, 'x') + r, 1, 40},
      {std::string(400, '\x80'),
       [&] {
         std::string all;
         for (int i = 0; i < 400; ++i) all += r;
         return all;
       }(),
       400, 0},
  };
  for (const auto& c : cases) expectFaults(kUtf8, kUtf8, c.text, c.expected, c.count, c.offset);
}

// The well-formed sequences of The Unicode Standard, table 3-7: for each, the ranges of its bytes.
constexpr unsigned char kWellFormed[][8] = {
    {0x00, 0x7F},
    {0xC2, 0xDF, 0x80, 0xBF},
    {0xE0, 0xE0, 0xA0, 0xBF, 0x80, 0xBF},
    {0xE1, 0xEC, 0x80, 0xBF, 0x80, 0xBF},
    {0xED, 0xED, 0x80, 0x9F, 0x80, 0xBF},
    {0xEE, 0xEF, 0x80, 0xBF, 0x80, 0xBF},
    {0xF0, 0xF0, 0x90, 0xBF, 0x80, 0xBF, 0x80, 0xBF},
    {0xF1, 0xF3, 0x80, 0xBF, 0x80, 0xBF, 0x80, 0xBF},
    {0xF4, 0xF4, 0x80, 0x8F, 0x80, 0xBF, 0x80, 0xBF},
};

// Replaces each maximal subpart of an ill-formed sequence, row by row of the table.
std::string repaired(const std::string& text) {
  std::string result;
  for (std::size_t at = 0; at < text.size();) {
    std::size_t longest = 1;
    bool whole = false;
    for (const auto& row : kWellFormed) {
      std::size_t size = 1;
      while (size < 4 && row[2 * size] != 0) ++size;
      std::size_t fit = 0;
      while (fit < size && at + fit < text.size() &&
             static_cast<unsigned char>(text[at + fit]) >= row[2 * fit] &&
             static_cast<unsigned char>(text[at + fit]) <= row[2 * fit + 1])
        ++fit;
      if (fit > longest || fit == size) longest = fit;
      whole = whole || fit == size;
    }
    result += whole ? text.substr(at, longest) : "\xEF\xBF\xBD";
    at += longest;
  }
  return result;
}

TEST(EncodingConvert, AgreesWithTheTableOnAllShortUtf8Texts) {
  const std::string bytes =
      "A\x80\x8F\x90\x9F\xA0\xBF\xC1\xC2\xDF\xE0\xE1\xED\xEF\xF0\xF1\xF4\xF5\xFF";
  for (const std::string& text : harness::allStrings(bytes, 4)) {
    const Result result = convert(kUtf8, kUtf8, text);
    const std::string expected = repaired(text);
    ASSERT_EQ(result.bytes, expected) << testing::PrintToString(text);
    ASSERT_EQ(result.done, text == expected);
  }
}

TEST(EncodingConvert, ReplacesUnpairedSurrogatesAndOddBytes) {
  const std::string r = "\xEF\xBF\xBD";
  expectFaults(kUtf16Be, kUtf8, "\xD8\x3D"s, r, 1, 0);
  expectFaults(kUtf16Be, kUtf8, "\xDE\x00"s, r, 1, 0);
  expectFaults(kUtf16Be, kUtf8, "\0A\xD8\x3D\0B"s, "A" + r + "B", 1, 2);
  expectFaults(kUtf16Be, kUtf8, "\xD8\x3D\xD8\x3D\xDE\x00"s, r + "\xF0\x9F\x98\x80", 1, 0);
  expectFaults(kUtf16Be, kUtf8, "\xDE\x00\xD8\x3D"s, r + r, 2, 0);
  expectFaults(kUtf16Be, kUtf8, "\0A\0"s, "A" + r, 1, 2);
  expectFaults(kUtf16Be, kUtf8, "\xD8\x3D\xDE"s, r + r, 2, 0);
  expectFaults(kUtf16Le, kUtf8, "\x3D\xD8"s, r, 1, 0);
  expectFaults(kUtf16Le, kUtf16Be, "\x3D\xD8"s, "\xFF\xFD", 1, 0);
}

TEST(EncodingConvert, ReplacesWhatIsNoUtf32) {
  const std::string r = "\xEF\xBF\xBD";
  expectFaults(kUtf32Be, kUtf8, "\0\0\xD8\0"s, r, 1, 0);
  expectFaults(kUtf32Be, kUtf8, "\0\0\xDF\xFF"s, r, 1, 0);
  expectFaults(kUtf32Be, kUtf8, "\0\x11\0\0"s, r, 1, 0);
  expectFaults(kUtf32Be, kUtf8, "\xFF\xFF\xFF\xFF"s, r, 1, 0);
  expectFaults(kUtf32Be, kUtf8, "\0\0\0A\0\0\0"s, "A" + r, 1, 4);
  expectFaults(kUtf32Le, kUtf8, "A\0\0\0B"s, "A" + r, 1, 4);
}

TEST(EncodingConvert, ReplacesWhatTheTargetDoesNotHave) {
  expectFaults(kUtf8, kAscii, "a\xC3\xA9z", "a?z", 1, 1);
  expectFaults(kUtf8, 1252,
               "\xE2\x82\xAC\xCE\xA9"
               "B",
               "\x80?B", 1, 3);
  expectFaults(kUtf8, 1252, "\xF0\x9F\x98\x80", "?", 1, 0);
  expectFaults(kUtf8, 1252,
               "a\xFF"
               "b",
               "a?b", 1, 1);                             // malformed and without a form
  expectFaults(kUtf8, 1252, "\xEF\xBF\xBD", "?", 1, 0);  // U+FFFD itself
  expectFaults(kAscii, kUtf8, "a\xE9", "a\xEF\xBF\xBD", 1, 1);
  expectFaults(kAscii, kAscii, "a\xE9", "a?", 1, 1);
}

TEST(EncodingConvert, ConvertsEachByteOfTheSingleBytePages) {
  const struct {
    int page;
    const char* name;
  } pages[] = {{437, "CP437"}, {1252, "CP1252"}, {28591, "ISO-8859-1"}};
  for (const auto& page : pages) {
    const iconv_t system = iconv_open("UTF-8", page.name);
    ASSERT_NE(system, reinterpret_cast<iconv_t>(-1)) << page.name;
    for (unsigned int byte = 0; byte < 256; ++byte) {
      char source = static_cast<char>(byte);
      char utf8[8];
      char* in = &source;
      char* out = utf8;
      std::size_t inLeft = 1;
      std::size_t outLeft = sizeof(utf8);
      const bool defined =
          iconv(system, &in, &inLeft, &out, &outLeft) != static_cast<std::size_t>(-1);
      // The system leaves five bytes of 1252 undefined; they are C1 controls here.
      const std::string expected =
          defined ? std::string(utf8, out) : std::string{'\xC2', static_cast<char>(byte)};
      EXPECT_TRUE(defined || page.page == 1252) << byte;
      expectExact(page.page, kUtf8, {&source, 1}, expected);
      expectExact(kUtf8, page.page, expected, {&source, 1});
    }
    iconv_close(system);
  }
}

// Blocks, ASCII runs and what follows them meet at every offset.
TEST(EncodingConvert, ConvertsTextsOfEverySizeAroundItsBlocks) {
  for (std::size_t size = 0; size <= 300; ++size) {
    const std::string plain(size, 'x');
    for (const std::string& tail : {""s, "\xC3\xA9"s, "\xC3\xA9yyyyyyyyyyyyyyyyyyyyyyyy"s}) {
      std::string latin = plain + tail;
      const std::size_t accent = latin.find('\xC3');
      if (accent != std::string::npos) latin.replace(accent, 2, "\xE9");
      expectExact(kUtf8, kUtf8, plain + tail, plain + tail);
      expectExact(kUtf8, 1252, plain + tail, latin);
      expectExact(1252, kUtf8, latin, plain + tail);
      std::string wide;
      for (const char c : latin) wide += {c, '\0'};
      expectExact(1252, kUtf16Le, latin, wide);
      expectExact(kUtf16Le, kUtf8, wide, plain + tail);
    }
  }
}

TEST(EncodingConvert, PassesBytesThroughForAnUnknownPage) {
  for (const int page : {0, -1, 1, 1199, 64999, 99999, INT_MAX, INT_MIN}) {
    for (const bool fromUnknown : {true, false}) {
      EncodingConvert converter;
      DataBuffer out;
      LogBase log;
      const std::string text = "a\0\xFF"s;
      EXPECT_FALSE(converter.EncConvert(fromUnknown ? page : kUtf8, fromUnknown ? kUtf8 : page,
                                        bytesOf(text), 3, out, log));
      EXPECT_EQ(contentOf(out), text);
      EXPECT_EQ(log.errorCount(), 1U);
      EXPECT_EQ(logged(log, fromUnknown ? "fromCodePage" : "toCodePage"), std::to_string(page));
    }
  }
}

TEST(EncodingConvert, AppendsToItsOutput) {
  EncodingConvert converter;
  DataBuffer out;
  LogNull log;
  ASSERT_TRUE(out.append("before ", 7));
  EXPECT_TRUE(converter.EncConvert(1252, kUtf8, bytesOf("\xE9"), 1, out, log));
  EXPECT_EQ(contentOf(out), "before \xC3\xA9");
}

TEST(EncodingConvert, ConvertsNothingOfAnEmptySource) {
  EncodingConvert converter;
  for (const int page : {kUtf8, kUtf16Le, kAscii, 1252, 932, 50220}) {
    DataBuffer out;
    LogBase log;
    EXPECT_TRUE(converter.EncConvert(page, kUtf8, bytesOf(""), 0, out, log));
    EXPECT_TRUE(converter.EncConvert(page, kUtf8, nullptr, 9, out, log));
    EXPECT_TRUE(converter.EncConvert(kUtf8, page, nullptr, 9, out, log));
    EXPECT_EQ(out.getSize(), 0U);
    EXPECT_EQ(log.errorCount(), 0U);
  }
}

TEST(EncodingConvert, ReadsItsSourceFromTheOutput) {
  const std::string text = std::string(300, 'x') + "\xE9\xE8" + std::string(300, '\xE9');
  std::string utf8(300, 'x');
  utf8 += "\xC3\xA9\xC3\xA8";
  for (int i = 0; i < 300; ++i) utf8 += "\xC3\xA9";
  EncodingConvert converter;
  DataBuffer out;
  LogNull log;
  ASSERT_TRUE(out.append(text.data(), static_cast<unsigned int>(text.size())));
  EXPECT_TRUE(converter.EncConvert(1252, kUtf8, out.getData2(), out.getSize(), out, log));
  EXPECT_EQ(contentOf(out), text + utf8);
}

TEST(EncodingConvert, UsesTheSystemPages) {
  const std::string accent = "\xC3\xA9";
  EncodingConvert converter;
  LogBase log;
  DataBuffer fromAnsi;
  DataBuffer toAnsi;
  DataBuffer fromOem;
  DataBuffer toOem;
  EXPECT_TRUE(converter.AnsiToMultiByte(kUtf8, "\xE9", 1, fromAnsi, log));
  EXPECT_TRUE(converter.MultiByteToAnsi(kUtf8, bytesOf(accent), 2, toAnsi, log));
  EXPECT_TRUE(converter.OemToMultiByte(kUtf8, "\x82", 1, fromOem, log));
  EXPECT_TRUE(converter.MultiByteToOem(kUtf8, bytesOf(accent), 2, toOem, log));
  EXPECT_EQ(contentOf(fromAnsi), accent);
  EXPECT_EQ(contentOf(toAnsi), "\xE9");
  EXPECT_EQ(contentOf(fromOem), accent);
  EXPECT_EQ(contentOf(toOem), "\x82");
  Psdk::setAnsiCodePage(437);
  toAnsi.clear();
  EXPECT_TRUE(converter.MultiByteToAnsi(kUtf8, bytesOf(accent), 2, toAnsi, log));
  EXPECT_EQ(contentOf(toAnsi), "\x82");
  Psdk::setAnsiCodePage(932);
  toAnsi.clear();
  EXPECT_TRUE(converter.MultiByteToAnsi(kUtf8, bytesOf("\xE3\x82\xBD"), 3, toAnsi, log));
  EXPECT_EQ(contentOf(toAnsi), "\x83\x5C");
  Psdk::setAnsiCodePage(0);
  EXPECT_EQ(log.errorCount(), 0U);
}

TEST(EncodingConvert, TakesALengthOfZero) {
  EncodingConvert converter;
  LogBase log;
  DataBuffer out;
  EXPECT_TRUE(converter.AnsiToMultiByte(kUtf8, "a", 0, out, log));
  EXPECT_TRUE(converter.MultiByteToAnsi(kUtf8, bytesOf("a"), 0, out, log));
  EXPECT_TRUE(converter.OemToMultiByte(kUtf8, "a", 0, out, log));
  EXPECT_TRUE(converter.MultiByteToOem(kUtf8, bytesOf("a"), 0, out, log));
  EXPECT_EQ(out.getSize(), 0U);
  EXPECT_EQ(log.errorCount(), 0U);
}

TEST(EncodingConvert, RefusesANegativeLength) {
  EncodingConvert converter;
  DataBuffer out;
  for (const int n : {-1, INT_MIN}) {
    LogBase log;
    EXPECT_FALSE(converter.AnsiToMultiByte(kUtf8, "a", n, out, log));
    EXPECT_FALSE(converter.MultiByteToAnsi(kUtf8, bytesOf("a"), n, out, log));
    EXPECT_FALSE(converter.OemToMultiByte(kUtf8, "a", n, out, log));
    EXPECT_FALSE(converter.MultiByteToOem(kUtf8, bytesOf("a"), n, out, log));
    EXPECT_EQ(log.errorCount(), 4U);
    EXPECT_EQ(logged(log, "length"), std::to_string(n));
  }
  EXPECT_EQ(out.getSize(), 0U);
}

TEST(EncodingConvert, ReportsThatMemoryIsExhausted) {
  const std::string text = std::string(500, 'x') + std::string(500, '\xE9');
  const long live = harness::liveBlocks();
  for (const int to : {kUtf8, kUtf16Le}) {
    EncodingConvert converter;
    LogNull log;
    const std::string expected = convert(1252, to, text).bytes;
    DataBuffer* out = nullptr;
    bool done = false;
    bool fired = false;
    const long failed = harness::failEveryAllocation(
        [&] {
          delete out;
          out = new DataBuffer;
        },
        [&] {
          done = converter.EncConvert(1252, to, bytesOf(text),
                                      static_cast<unsigned int>(text.size()), *out, log);
          fired = !done;
        },
        [&] {
          EXPECT_EQ(done, out->getSize() == expected.size());
          EXPECT_EQ(contentOf(*out), expected.substr(0, out->getSize()));
        });
    EXPECT_GT(failed, 0);
    EXPECT_FALSE(fired) << "the last run has all the memory it needs";
    delete out;
  }
  EXPECT_EQ(harness::liveBlocks(), live);
}

TEST(EncodingConvert, LogsOneErrorWhenMemoryIsExhausted) {
  EncodingConvert converter;
  LogBase log;
  DataBuffer out;
  bool done = true;
  {
    const harness::FailAllocation fail(2);  // the context is recorded, the block is refused
    done = converter.EncConvert(1252, kUtf8, bytesOf("abc"), 3, out, log);
  }
  EXPECT_FALSE(done);
  EXPECT_EQ(log.errorCount(), 1U);
  EXPECT_STREQ(log.errorAt(0), "Out of memory");
}

TEST(EncodingConvert, StaysFastOnHostileTexts) {
  const auto start = std::chrono::steady_clock::now();
  const std::string faults(1U << 22U, '\xE2');
  const Result result = convert(kUtf8, kUtf16Le, faults);
  EXPECT_FALSE(result.done);
  EXPECT_EQ(result.bytes.size(), 2 * faults.size());
  EXPECT_EQ(result.characters, std::to_string(faults.size()));
  EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 10);
}

}  // namespace
