// Conversions between code pages of text/CodePages.cpp.

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/CodePagesReference.h"
#include "harness/ModelBuffer.h"
#include "harness/Operation.h"
#include "harness/ProgramPages.h"
#include "harness/ReleasedBlocks.h"
#include "harness/Stopwatch.h"
#include "support/DataBuffer.h"
#include "support/EncodingConvert.h"
#include "support/LogBase.h"
#include "support/LogNull.h"
#include "support/Psdk.h"

namespace {

using namespace std::string_literals;
namespace reference = harness::reference;
using harness::agreesInBlocks;
using harness::agreesOn;
using harness::appendRaw;
using harness::bytesOf;
using harness::holds;
using harness::inWords;
using harness::ModelBuffer;
using harness::Operation;
using harness::ProgramPages;
using harness::randomText;
using harness::secondsOf;
using harness::Texts;

constexpr std::size_t kMiB = 1048576;
constexpr int kUtf8 = 65001;
constexpr int kUtf16Le = 1200;
constexpr int kUtf16Be = 1201;
constexpr int kUsAscii = 20127;
constexpr int kUnknownPage = 12345;

bool convert(StringBuffer& buffer, int from, int to) {
  LogNull log;
  return buffer.convertEncoding(from, to, log);
}

Operation converting(int from, int to) {
  return {"convertEncoding " + std::to_string(from) + " to " + std::to_string(to),
          [=](StringBuffer& b, const Texts&) { return inWords(convert(b, from, to)); },
          [=](ModelBuffer& b, const Texts&) {
            return inWords(reference::convertEncoding(b, from, to));
          }};
}

Operation withoutResult(const std::string& name, const std::function<void(StringBuffer&)>& member,
                        const std::function<void(ModelBuffer&)>& told) {
  return {name, [=](StringBuffer& b, const Texts&) { return member(b), ""s; },
          [=](ModelBuffer& b, const Texts&) { return told(b), ""s; }};
}

// The members that convert to or from a page of the program, beside the pages that they name.
std::vector<Operation> reencoders(int page) {
  const auto to = [](int from, int target) {
    return [=](ModelBuffer& b) { reference::reencode(b, from, target); };
  };
  const int ansi = Psdk::getAnsiCodePage();
  const int oem = Psdk::getOemCodePage();
  return {
      withoutResult(
          "cvUtf8ToAnsi", [](StringBuffer& b) { b.cvUtf8ToAnsi(); }, to(kUtf8, ansi)),
      withoutResult(
          "convertToAnsi", [=](StringBuffer& b) { b.convertToAnsi(page); }, to(page, ansi)),
      withoutResult(
          "convertFromAnsi", [=](StringBuffer& b) { b.convertFromAnsi(page); }, to(ansi, page)),
      withoutResult(
          "convertToOem", [=](StringBuffer& b) { b.convertToOem(page); }, to(page, oem)),
      withoutResult(
          "convertFromOem", [=](StringBuffer& b) { b.convertFromOem(page); }, to(oem, page)),
  };
}

testing::AssertionResult agreesEverywhere(const Operation& operation, const std::string& content) {
  testing::AssertionResult same = agreesOn(operation, content, {});
  if (same) same = agreesInBlocks(operation, content, {});
  if (same) same = harness::agreesUnterminated(operation, content.substr(0, 60), {}, 'x');
  return same;
}

std::string allBytes() {
  std::string bytes;
  for (int b = 0; b < 256; ++b) bytes += static_cast<char>(b);
  return bytes;
}

// --- convertEncoding ---------------------------------------------------------------------------

struct ConvertCase {
  int from;
  int to;
  std::string content;
  bool result;
  std::string left;
};

TEST(ConvertEncoding, ConvertsTheWholeContent) {
  const std::vector<ConvertCase> cases = {
      {1252, kUtf8, "caf\xE9 \x80", true, "caf\xC3\xA9 \xE2\x82\xAC"},
      {kUtf8, 1252, "caf\xC3\xA9 \xE2\x82\xAC", true, "caf\xE9 \x80"},
      {437, kUtf8, "\x82\x9B", true, "\xC3\xA9\xC2\xA2"},
      {437, 1252, "\x82", true, "\xE9"},
      {437, 28591, "a\x82", true, "a\xE9"},
      {437, 28592, "a", true, "a"},
      {28605, kUtf8, "\xA4", true, "\xE2\x82\xAC"},
      {1251, 28595, "\xE9", true, "\xD9"},
      {kUtf8, kUtf16Be, "A\xE2\x82\xAC", true, "\0A\x20\xAC"s},
      {kUtf16Be, kUtf8, "\0A\x20\xAC"s, true, "A\xE2\x82\xAC"},
      {kUtf16Le, kUtf8, "A\0\x3D\xD8\x00\xDE"s, true, "A\xF0\x9F\x98\x80"},
      // embedded NULs are characters like others
      {1252, kUtf8, "a\0\xE9"s, true, "a\0\xC3\xA9"s},
      // zeros at the end are dropped
      {kUtf8, kUtf16Le, "AB", true, "A\0B"s},
      {kUsAscii, kUtf16Le, "AB", true, "A\0B"s},
      {kUtf8, kUtf16Le, "A\0\0"s, true, "A"},
      {1252, kUtf8, "\xE9\0\0"s, true, "\xC3\xA9"},
      {1252, kUtf8, "\0\0"s, true, ""},
      // what has no form is replaced, and the rest goes on
      {kUtf8, 1252, "a\xCE\xB1z", false, "a?z"},
      {kUtf8, kUtf16Be, "a\xFFz", false, "\0a\xFF\xFD\0z"s},
      {kUsAscii, 437, "a\xE9z", false, "a?z"},
      // an unknown page
      {kUnknownPage, kUtf8, "a\xE9", false, "a\xE9"},
      {kUtf8, kUnknownPage, "a\xE9", false, "a\xE9"},
      {-1, kUtf8, "a\xE9", false, "a\xE9"},
      {kUsAscii, 28590, "a\xE9", false, "a\xE9"},
      {kUsAscii, 1259, "a\xE9", false, "a\xE9"},
  };
  for (const ConvertCase& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    buffer.setExtendSize(17);
    LogBase log;
    EXPECT_EQ(buffer.convertEncoding(c.from, c.to, log), c.result);
    EXPECT_TRUE(holds(buffer, c.left, 0, 202))
        << c.from << " to " << c.to << " of " << testing::PrintToString(c.content);
    EXPECT_EQ(log.errorCount(), c.result ? 0U : 1U);  // the caller's log goes to the converter
    EXPECT_TRUE(agreesEverywhere(converting(c.from, c.to), c.content));
  }
}

void expectUntouched(int from, int to, const std::string& content) {
  for (const unsigned int room : {0U, 500U}) {
    StringBuffer buffer;
    if (room != 0) buffer.expectNumBytes(room);
    appendRaw(buffer, content);
    buffer.setExtendSize(17);
    const harness::BufferState before = harness::stateOf(buffer);
    const char* data = buffer.getString();
    LogBase log;
    {
      const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
      EXPECT_TRUE(buffer.convertEncoding(from, to, log)) << from << " to " << to;
      EXPECT_EQ(fail.seen(), 0);
    }
    EXPECT_EQ(harness::stateOf(buffer), before) << from << " to " << to;
    EXPECT_EQ(buffer.getString(), data);
    EXPECT_EQ(log.errorCount() + log.valueCount(), 0U);
  }
}

TEST(ConvertEncoding, EqualOrZeroPagesAndNoContentChangeNothing) {
  for (const int page : {1252, kUtf8, kUtf16Le, 437, kUnknownPage, 0, -1})
    expectUntouched(page, page, "a\xE9\0"s);
  expectUntouched(0, kUtf8, "a\xE9");
  expectUntouched(kUtf8, 0, "a\xE9");
  expectUntouched(0, 0, "a\xE9");
  expectUntouched(0, kUnknownPage, "a\xE9");
  expectUntouched(1252, kUtf8, "");
  expectUntouched(kUnknownPage, kUtf8, "");
}

TEST(ConvertEncoding, Page437LooksAtTheBytes) {
  for (const int to : {1252, kUtf8, 28591}) {
    expectUntouched(437, to, "plain ASCII, \x01\x7F\0 and so on"s);
    expectUntouched(437, to, std::string(300, 'x'));
    for (const char high : {'\x80', '\x82', '\xFF'}) {
      for (const std::string& content :
           {std::string(1, high), std::string(90, 'x') + high, high + "x"s, "x\0"s + high})
        EXPECT_TRUE(agreesEverywhere(converting(437, to), content)) << to;
    }
  }
}

TEST(ConvertEncoding, UsAsciiIsTakenOnTrust) {
  std::vector<int> extensions = {kUtf8};
  for (int page = 28591; page <= 28605; ++page) extensions.push_back(page);
  for (int page = 1250; page <= 1258; ++page) extensions.push_back(page);
  for (const int to : extensions) expectUntouched(kUsAscii, to, "a\x80\xE9\xFF\0"s);
}

// A conversion resets the extend size; where nothing is done it stays.
TEST(ConvertEncoding, OnlyTheNamedPagesTakeAShortcut) {
  for (const int from : {437, kUsAscii, 1252, 850, kUtf8}) {
    for (const int to : {437, 850, 1249, 1250, 1252, 1258, 1259, 20127, 28590, 28591, 28592, 28605,
                         28606, 1200, 1201, 65000, 65001, 65002}) {
      for (const std::string& content : {"ascii"s, "\x82\xC3\xA9"s})
        ASSERT_TRUE(agreesEverywhere(converting(from, to), content));
    }
  }
}

TEST(ConvertEncoding, EveryByteOfEveryPageAgreesWithTheConverter) {
  for (const int page : {437, 850, 1250, 1251, 1252, 28591, 28605, kUtf8, kUtf16Le, kUtf16Be,
                         kUsAscii, kUnknownPage}) {
    EXPECT_TRUE(agreesEverywhere(converting(page, kUtf8), allBytes()));
    EXPECT_TRUE(agreesEverywhere(converting(page, kUtf16Le), allBytes()));
    EXPECT_TRUE(agreesEverywhere(converting(page, 1252), allBytes()));
  }
}

TEST(ConvertEncoding, EverySizeAtTheStorageBordersAgrees) {
  for (std::size_t size = 26; size < 90; ++size) {
    const std::string content(size, '\xE9');
    for (const int to : {kUtf8, kUtf16Le, 850})
      ASSERT_TRUE(agreesEverywhere(converting(1252, to), content)) << size;
    ASSERT_TRUE(agreesEverywhere(converting(1252, kUtf8), content + "\0"s)) << size;
  }
}

TEST(ConvertEncoding, RandomContentsAgreeWithTheReference) {
  for (unsigned int seed = 1; seed <= 100; ++seed) {
    const std::string content = randomText(seed, seed * 7 % 600, "ab\xC3\xA9\xE2\x82\xAC\0\xFF"s);
    for (const int to : {kUtf8, kUtf16Le, 437})
      for (const int from : {1252, kUtf8, kUtf16Be})
        ASSERT_TRUE(agreesOn(converting(from, to), content, {})) << "seed " << seed;
  }
}

// --- The members that name the ANSI or the OEM page ----------------------------------------------

TEST(ReencodeByName, ConvertsBetweenThePagesOfTheProgram) {
  const ProgramPages pages(1251, 866);
  StringBuffer buffer("\xE9");
  buffer.convertFromAnsi(kUtf8);
  EXPECT_TRUE(holds(buffer, "\xD0\xB9"));
  buffer.convertToOem(kUtf8);
  EXPECT_TRUE(holds(buffer, "\xA9"));
  buffer.convertFromOem(28595);
  EXPECT_TRUE(holds(buffer, "\xD9"));
  buffer.convertToAnsi(28595);
  EXPECT_TRUE(holds(buffer, "\xE9"));
  LogNull log;
  buffer.cvAnsiToUtf8(log);
  EXPECT_TRUE(holds(buffer, "\xD0\xB9"));
  buffer.cvUtf8ToAnsi();
  EXPECT_TRUE(holds(buffer, "\xE9"));
}

TEST(ReencodeByName, AnUnknownPagePassesTheBytesThrough) {
  for (const int page : {kUnknownPage, 0, -1}) {
    StringBuffer buffer;
    appendRaw(buffer, "a\xE9\0b\0\0"s);
    buffer.convertFromAnsi(page);
    EXPECT_TRUE(holds(buffer, "a\xE9\0b"s)) << page;
  }
}

TEST(ReencodeByName, TheUsualPagesAre1252And437) {
  const ProgramPages pages(0, 0);
  StringBuffer buffer("\x80\xE9");
  buffer.convertFromAnsi(kUtf8);
  EXPECT_TRUE(holds(buffer, "\xE2\x82\xAC\xC3\xA9"));
  buffer.convertToOem(kUtf8);
  EXPECT_TRUE(holds(buffer, "?\x82"));
  buffer.convertFromOem(1252);
  EXPECT_TRUE(holds(buffer, "?\xE9"));
}

// Deliberate: there are no shortcuts, not even for equal pages or an empty buffer, whose extend
// size begins anew.
TEST(ReencodeByName, EveryMemberAgreesWithTheReference) {
  for (const int ansi : {1252, 1251}) {
    const ProgramPages pages(ansi, ansi == 1252 ? 437 : 866);
    for (const int page : {kUtf8, kUtf16Le, kUtf16Be, 850, 1252, 437, kUsAscii, kUnknownPage, 0}) {
      for (const Operation& operation : reencoders(page)) {
        for (const std::string& content :
             {""s, "ascii"s, "\xC3\xA9\0\xE9"s, "\x82\0\0"s, "\0"s, "AB\0"s,
              std::string(80, '\xE9'), std::string(300, '\xC3'), allBytes()})
          ASSERT_TRUE(agreesEverywhere(operation, content)) << ansi << ", " << page;
      }
    }
  }
}

TEST(ReencodeByName, AnEmptyBufferBeginsAnew) {
  for (const Operation& operation : reencoders(kUtf8)) {
    StringBuffer buffer;
    buffer.expectNumBytes(100);
    buffer.setExtendSize(17);
    const unsigned int heapUsage = buffer.heapUsage();
    operation.real(buffer, {});
    EXPECT_TRUE(holds(buffer, "", heapUsage, 202)) << operation.name;
  }
}

// --- cvAnsiToUtf8 --------------------------------------------------------------------------------

// The block of the converter becomes the storage: content is never copied inline.
void expectAdopts(const std::string& content, const std::string& utf8) {
  for (const unsigned int room : {0U, 5000U}) {
    StringBuffer buffer;
    if (room != 0) buffer.expectNumBytes(room);
    appendRaw(buffer, content);
    buffer.setExtendSize(17);
    LogBase log;
    buffer.cvAnsiToUtf8(log);
    EXPECT_TRUE(holds(buffer, utf8)) << testing::PrintToString(content.substr(0, 100));
    EXPECT_EQ(buffer.getExtendSize(), 202U);
    if (utf8.empty()) {
      EXPECT_EQ(buffer.heapUsage(), 0U);
    } else {
      EXPECT_GE(buffer.heapUsage(), content.size() + 32);
      EXPECT_GT(buffer.heapUsage(), utf8.size());
    }
    EXPECT_EQ(log.errorCount() + log.valueCount() + log.contextCount(), 0U);
    EXPECT_TRUE(buffer.append("more"));
    EXPECT_TRUE(holds(buffer, utf8 + "more"));
  }
}

TEST(CvAnsiToUtf8, AdoptsTheBlockOfTheResult) {
  const ProgramPages pages(1252, 437);
  expectAdopts("", "");
  expectAdopts("a", "a");
  expectAdopts("caf\xE9\x80", "caf\xC3\xA9\xE2\x82\xAC");
  expectAdopts("a\0b"s, "a\0b"s);
  expectAdopts(std::string(81, 'x'), std::string(81, 'x'));
  std::string twice;
  for (std::size_t size = 0; size < 300; ++size, twice += "\xC3\xA9") {
    if (size % 31 < 3 && size != 0) expectAdopts(std::string(size, '\xE9'), twice);
  }
}

// Deliberate: only the one NUL that was appended is taken off again.
TEST(CvAnsiToUtf8, NulsAtTheEndStay) {
  const ProgramPages pages(1252, 437);
  expectAdopts("a\0"s, "a\0"s);
  expectAdopts("\xE9\0\0"s, "\xC3\xA9\0\0"s);
  expectAdopts("\0"s, "\0"s);
}

TEST(CvAnsiToUtf8, TheLogIsNotUsed) {
  const ProgramPages pages(1251, 866);
  StringBuffer buffer("a\x98z");  // 1251 has no such character
  LogBase log;
  buffer.cvAnsiToUtf8(log);
  EXPECT_TRUE(holds(buffer, "a\xEF\xBF\xBDz"));
  EXPECT_EQ(log.errorCount() + log.valueCount() + log.contextCount(), 0U);
}

TEST(CvAnsiToUtf8, ComesBackFromUtf8) {
  const ProgramPages pages(1252, 437);
  std::string bytes = allBytes();
  bytes += '.';
  StringBuffer buffer;
  appendRaw(buffer, bytes);
  LogNull log;
  buffer.cvAnsiToUtf8(log);
  buffer.cvUtf8ToAnsi();
  EXPECT_EQ(bytesOf(buffer), bytes);
}

// --- To UTF-16 -----------------------------------------------------------------------------------

TEST(CvToUnicode, ReplacesTheOutputAndLeavesTheBuffer) {
  const ProgramPages pages(1252, 437);
  const struct {
    std::string content;
    std::string fromAnsi;
    std::string fromUtf8;
  } cases[] = {
      {"", "", ""},
      {"AB", "A\0B\0"s, "A\0B\0"s},
      {"\xC3\xA9", "\xC3\x00\xA9\x00"s, "\xE9\0"s},
      {"\x80", "\xAC\x20", "\xFD\xFF"},
      {"a\0b\0"s, "a\0\0\0b\0\0\0"s, "a\0\0\0b\0\0\0"s},
      {"\xF0\x9F\x98\x80", "\xF0\x00\x78\x01\xDC\x02\xAC\x20"s, "\x3D\xD8\x00\xDE"s},
  };
  for (const auto& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    buffer.setExtendSize(17);
    const harness::BufferState before = harness::stateOf(buffer);
    DataBuffer out;
    out.append("earlier", 7);
    static_cast<const StringBuffer&>(buffer).cvAnsiToUnicode(out);
    EXPECT_EQ(reference::bytesOf(out), c.fromAnsi);
    static_cast<const StringBuffer&>(buffer).cvUtf8ToUnicode(out);
    EXPECT_EQ(reference::bytesOf(out), c.fromUtf8);
    EXPECT_EQ(harness::stateOf(buffer), before);
  }
}

TEST(CvToUnicode, TheAnsiPageIsThatOfTheProgram) {
  const ProgramPages pages(1251, 866);
  DataBuffer out;
  StringBuffer("\xE9").cvAnsiToUnicode(out);
  EXPECT_EQ(reference::bytesOf(out), "\x39\x04");
}

TEST(CvToUnicode, TheLengthCounts) {
  StringBuffer buffer;
  harness::fillUnterminated(buffer, "ab", 'x');
  DataBuffer out;
  buffer.cvUtf8ToUnicode(out);
  EXPECT_EQ(reference::bytesOf(out), "a\0b\0"s);
  buffer.cvAnsiToUnicode(out);
  EXPECT_EQ(reference::bytesOf(out), "a\0b\0"s);
}

// --- replaceCharUtf8 -----------------------------------------------------------------------------

struct ReplaceCase {
  std::string content;
  char from;
  char to;
  std::string left;
};

void expectReplaces(const std::vector<ReplaceCase>& cases, unsigned int extendSize) {
  for (const ReplaceCase& c : cases) {
    for (const unsigned int room : {0U, 500U}) {
      StringBuffer buffer;
      if (room != 0) buffer.expectNumBytes(room);
      appendRaw(buffer, c.content);
      buffer.setExtendSize(17);
      const unsigned int heapUsage = buffer.heapUsage();
      buffer.replaceCharUtf8(c.from, c.to);
      EXPECT_TRUE(holds(buffer, c.left, heapUsage, extendSize))
          << testing::PrintToString(c.content) << ", " << testing::PrintToString(c.from) << " by "
          << testing::PrintToString(c.to);
    }
  }
}

TEST(ReplaceCharUtf8, AbsentCharactersChangeNothing) {
  expectReplaces(
      {
          {"", 'a', 'b', ""},
          {"", '\0', 'b', ""},
          {"abc", '\0', 'x', "abc"},
          {"abc", 'd', 'x', "abc"},
          {"caf\xC3\xA9", 'd', 'x', "caf\xC3\xA9"},
          {"caf\xC3\xA9", '\0', 'x', "caf\xC3\xA9"},
          {"a\0b"s, '\0', 'x', "a\0b"s},
          {"a\0b"s, 'b', 'x', "a\0b"s},
      },
      17);
}

TEST(ReplaceCharUtf8, ACharacterIsFoundThoughItsAnsiByteIsNowhere) {
  const ProgramPages pages(1252, 437);
  expectReplaces({{"\xC3\xA9", '\xE9', 'x', "x"}}, 202);
}

TEST(ReplaceCharUtf8, BytesInsideASequenceAreNotTheCharacter) {
  const ProgramPages pages(1252, 437);
  expectReplaces(
      {
          {"\xC3\xA9", '\xC3', 'x', "\xC3\xA9"},
          {"\xC3\xA9", '\xA9', 'x', "\xC3\xA9"},
          {"\xE2\x82\xAC", '\x82', 'x', "\xE2\x82\xAC"},
      },
      17);
}

TEST(ReplaceCharUtf8, AsciiTextIsChangedInPlace) {
  expectReplaces(
      {
          {"a/b/", '/', '\\', "a\\b\\"},
          {"aaa", 'a', 'b', "bbb"},
          {"aaa", 'a', 'a', "aaa"},
          {"a/b", '/', '\xE9',
           "a\xE9"
           "b"},  // the byte itself
          {"a/b", '/', '\0', "a\0b"s},
          {"ab/", '/', '\0', "ab\0"s},
      },
      17);
}

TEST(ReplaceCharUtf8, SequencesStayWhole) {
  const ProgramPages pages(1252, 437);
  expectReplaces(
      {
          {"a/\xC3\xA9/b", '/', '\\', "a\\\xC3\xA9\\b"},
          {"\xE2\x82\xAC/\xF0\x9F\x98\x80/", '/', '|', "\xE2\x82\xAC|\xF0\x9F\x98\x80|"},
          // a character of the ANSI page
          {"\xC3\xA9/", '/', '\xE9', "\xC3\xA9\xC3\xA9"},
          {"\xC3\xA9/", '/', '\x80', "\xC3\xA9\xE2\x82\xAC"},
          {"\xC3\x83\xC3\xA9", '\xC3', 'x', "x\xC3\xA9"},
          {"\xC3\x83\xC3\xA9", '\xC3', '\x80', "\xE2\x82\xAC\xC3\xA9"},
          // malformed bytes stay
          {"\xFF/\xC3/", '/', '|', "\xFF|\xC3|"},
      },
      202);
}

// Whether the same text is stored anew is left open.
TEST(ReplaceCharUtf8, CharactersAreThoseOfTheAnsiPage) {
  const ProgramPages pages(1251, 866);
  expectReplaces({{"\xD0\xB9/", '/', '\xE9', "\xD0\xB9\xD0\xB9"},
                  {"\xD0\xA0\xD0\xB9", '\xD0', 'R', "R\xD0\xB9"}},
                 202);
  StringBuffer buffer("\xD0\xB9/");
  buffer.replaceCharUtf8('/', '\x98');  // no character of the page
  EXPECT_TRUE(holds(buffer, "\xD0\xB9/"));
}

// The text goes through a text form, which ends at a NUL.
TEST(ReplaceCharUtf8, BesideSequencesTheTextEndsAtItsFirstNul) {
  expectReplaces({{"\xC3\xA9/\0/"s, '/', '|', "\xC3\xA9|"}, {"\xC3\xA9/b", '/', '\0', "\xC3\xA9"}},
                 202);
}

// The same in ASCII text and beside sequences, for characters of one byte and of more.
TEST(ReplaceCharUtf8, WhatStandsOnlyBehindANulDoesNotOccur) {
  const ProgramPages pages(1252, 437);
  expectReplaces({{"a\0/"s, '/', '|', "a\0/"s},
                  {"\0/"s, '/', '|', "\0/"s},
                  {"\xC3\xA9\0/"s, '/', '|', "\xC3\xA9\0/"s},
                  {"a\0\xC3\xA9"s, '\xE9', '|', "a\0\xC3\xA9"s},
                  {"\xC3\xBC\0\xC3\xA9"s, '\xE9', '|', "\xC3\xBC\0\xC3\xA9"s},
                  {"ascii\0x"s, '\xE9', '|', "ascii\0x"s}},
                 17);
}

TEST(ReplaceCharUtf8, ACharacterThatOccursIsReplacedEvenByItself) {
  const ProgramPages pages(1252, 437);
  expectReplaces({{"\xC3\xA9/\0zz"s, '/', '/', "\xC3\xA9/"},
                  {"\xC3\xA9/\0zz"s, '\xE9', '\xE9', "\xC3\xA9/"},
                  {"\xC3\xA9/", '/', '/', "\xC3\xA9/"},
                  {"\xC3\xA9/", '\xE9', '\xE9', "\xC3\xA9/"}},
                 202);
  expectReplaces({{"a/\0zz"s, '/', '/', "a/\0zz"s}, {"/\0/"s, '/', '|', "|\0|"s}}, 17);
}

TEST(ReplaceCharUtf8, EveryAsciiCharacter) {
  for (int c = 1; c < 128; ++c) {
    const std::string ch(1, static_cast<char>(c));
    const std::string to = c == '#' ? "+" : "#";
    for (const std::string& other : {"\xC3\xA9"s, "="s}) {
      if (other == ch) continue;
      StringBuffer buffer((other + ch + other + ch + ch).c_str());
      buffer.replaceCharUtf8(ch[0], to[0]);
      ASSERT_TRUE(holds(buffer, other + to + other + to + to)) << c;
    }
  }
}

TEST(ReplaceCharUtf8, TheLengthBoundsTheText) {
  for (const std::string& content : {"a/b"s, "\xC3\xA9/"s}) {
    StringBuffer buffer;
    harness::fillUnterminated(buffer, content, '/');
    buffer.replaceCharUtf8('/', '|');
    std::string left = content;
    left[left.find('/')] = '|';
    EXPECT_EQ(bytesOf(buffer), left);
    EXPECT_NE(buffer.getString()[buffer.getSize()], '|');
  }
}

TEST(ReplaceCharUtf8, GrowsWithItsResult) {
  const ProgramPages pages(1252, 437);
  for (std::size_t size = 20; size < 50; ++size) {
    StringBuffer buffer((std::string(size, '/') + "\xC3\xA9").c_str());
    buffer.replaceCharUtf8('/', '\x80');
    std::string left;
    for (std::size_t i = 0; i < size; ++i) left += "\xE2\x82\xAC";
    ModelBuffer model;
    model.append(left + "\xC3\xA9");
    ASSERT_TRUE(matches(buffer, model)) << size;
  }
}

// --- qbDecode ------------------------------------------------------------------------------------

struct DecodeCase {
  std::string content;
  std::string decoded;
};

void expectDecodes(const std::vector<DecodeCase>& cases) {
  for (const DecodeCase& c : cases) {
    for (const unsigned int room : {0U, 500U}) {
      StringBuffer buffer;
      if (room != 0) buffer.expectNumBytes(room);
      appendRaw(buffer, c.content);
      LogBase log;
      EXPECT_TRUE(buffer.qbDecode(log));
      EXPECT_TRUE(holds(buffer, c.decoded)) << testing::PrintToString(c.content);
      EXPECT_EQ(log.errorCount(), 0U) << testing::PrintToString(c.content);
    }
  }
}

TEST(QbDecode, DecodesEncodedWords) {
  expectDecodes({
      {"=?utf-8?B?w6k=?=", "\xC3\xA9"},
      {"=?utf-8?b?w6k=?=", "\xC3\xA9"},
      {"=?iso-8859-1?Q?caf=E9?=", "caf\xC3\xA9"},
      {"=?iso-8859-1?q?a_b?=", "a b"},
      {"x =?utf-8?B?w6k=?= =?utf-8?Q?y?= z", "x \xC3\xA9y z"},
      {"=?windows-1252?B?gA==?=", "\xE2\x82\xAC"},
  });
}

TEST(QbDecode, OtherTextStays) {
  for (const std::string& content : {""s, "plain"s, "?"s, "what? B? Q?"s, "?b"s,
                                     "a\0=?utf-8?B?eA==?="s, std::string(300, 'x')}) {
    StringBuffer buffer;
    appendRaw(buffer, content);
    buffer.setExtendSize(17);
    const harness::BufferState before = harness::stateOf(buffer);
    LogBase log;
    {
      const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
      EXPECT_TRUE(buffer.qbDecode(log));
      EXPECT_EQ(fail.seen(), 0) << testing::PrintToString(content);
    }
    EXPECT_EQ(harness::stateOf(buffer), before);
    EXPECT_EQ(log.errorCount() + log.valueCount() + log.contextCount(), 0U);
  }
}

// A word that decodes to another word: the first pass runs when there is a B word, the second when
// there is a Q word then.
TEST(QbDecode, TheSecondPassLooksAtTheTextAsItThenStands) {
  expectDecodes({
      // "=?utf-8?B?eA==?=" in base64 and quoted; "=?utf-8?Q?x?=" likewise
      {"=?utf-8?B?PT91dGYtOD9CP2VBPT0/PQ==?=", "=?utf-8?B?eA==?="},
      {"=?utf-8?B?PT91dGYtOD9RP3g/PQ==?=", "x"},
      {"=?utf-8?Q?=3D=3Futf-8=3FB=3FeA=3D=3D=3F=3D?=", "=?utf-8?B?eA==?="},
      {"=?utf-8?Q?=3D=3Futf-8=3FQ=3Fx=3F=3D?=", "=?utf-8?Q?x?="},
      {"=?utf-8?B?PT91dGYtOD9CP2VBPT0/PQ==?= ?Q?", "x ?Q?"},
      {"=?utf-8?B?PT91dGYtOD9CP2VBPT0/PQ==?= ?q?", "x ?q?"},
      {"=?utf-8?q?=3D=3Futf-8=3FQ=3Fx=3F=3D?= ?b?", "x ?b?"},
  });
}

TEST(QbDecode, WhatCannotBeDecodedStaysIsLoggedAndIsTrue) {
  const std::string content = "=?no-such-charset?B?eA==?= =?utf-8?B?eA==?=";
  StringBuffer buffer(content.c_str());
  LogBase log;
  EXPECT_TRUE(buffer.qbDecode(log));
  EXPECT_TRUE(holds(buffer, "=?no-such-charset?B?eA==?= x"));
  EXPECT_EQ(log.errorCount(), 1U);
}

TEST(QbDecode, BothKindsOfWordsAreDecodedTwice) {
  StringBuffer buffer("=?no-such-charset?B?eA==?= =?no-such-charset?Q?x?=");
  LogBase log;
  EXPECT_TRUE(buffer.qbDecode(log));
  EXPECT_TRUE(holds(buffer, "=?no-such-charset?B?eA==?= =?no-such-charset?Q?x?="));
  EXPECT_EQ(log.errorCount(), 2U);
}

TEST(QbDecode, TheLengthBoundsTheText) {
  StringBuffer buffer;
  harness::fillUnterminated(buffer, "=?utf-8?Q", '?');
  LogBase log;
  EXPECT_TRUE(buffer.qbDecode(log));
  EXPECT_EQ(bytesOf(buffer), "=?utf-8?Q");
  EXPECT_EQ(log.errorCount(), 0U);
}

// --- Exhausted memory ----------------------------------------------------------------------------

bool startsWith(const std::string& text, const std::string& prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}

// Deliberate: what the converter had made is taken over; when that does not fit, the content stays.
TEST(CodePages, ExhaustedMemoryLeavesTheContentOrTheConvertersOutput) {
  const ProgramPages pages(1252, 437);
  for (const std::size_t size : {60U, 3000U}) {
    const std::string content = std::string(size, '\xE9') + "z";
    for (const int to : {kUtf8, kUtf16Be, 850}) {
      const std::string full = reference::converted(1252, to, content).bytes;
      const auto told = [&](const std::string& result, const std::string& left) {
        if (result == "true") return left == full;
        return left == content || startsWith(full, left);
      };
      harness::expectSurvivesFailures(converting(1252, to), content, {}, told);
      harness::expectSurvivesFailures(reencoders(to)[2], content, {}, told);
    }
  }
}

// The conversion comes first, so the last allocation is the one of the buffer.
TEST(CodePages, WhenTheBufferCannotGrowTheOldTextStays) {
  const ProgramPages pages(1252, 437);
  for (const std::size_t size : {81U, 500U}) {
    const std::string content(size, '\xE9');
    const Operation members[] = {converting(1252, kUtf8), reencoders(kUtf8)[2]};
    for (const Operation& member : members) {
      long last = 0;
      for (long k = 0; k <= last; k += last == 0 ? 1 : last) {
        StringBuffer buffer;
        harness::fillHeap(buffer, content, 0);
        const harness::BufferState before = harness::stateOf(buffer);
        const harness::FailAllocation fail(k);
        const std::string result = member.real(buffer, {});
        if (k == 0) {
          last = fail.seen();
          EXPECT_GT(last, 0);
          EXPECT_EQ(buffer.getSize(), 2 * size);
          continue;
        }
        EXPECT_TRUE(fail.fired());
        EXPECT_NE(result, "true") << member.name;
        EXPECT_EQ(harness::stateOf(buffer), before) << member.name;
      }
    }
  }
}

// Room for the NUL is there before the old text is given up.
TEST(CvAnsiToUtf8, ExhaustedMemoryLeavesTheContentOrTheConvertersOutput) {
  const ProgramPages pages(1252, 437);
  LogNull log;
  const Operation member = withoutResult(
      "cvAnsiToUtf8", [&log](StringBuffer& b) { b.cvAnsiToUtf8(log); }, [](ModelBuffer&) {});
  for (const std::size_t size : {5U, 31U, 32U, 33U, 60U, 3000U}) {
    for (std::size_t ascii = 0; ascii < 40; ascii += 13) {
      const std::string content = std::string(size, '\xE9') + std::string(ascii, 'a');
      const std::string full = reference::converted(1252, kUtf8, content).bytes;
      harness::expectSurvivesFailures(member, content, {},
                                      [&](const std::string&, const std::string& left) {
                                        return left == content || startsWith(full, left);
                                      });
    }
  }
}

// A result that fills the room made for it exactly: only the NUL needs more.
TEST(CvAnsiToUtf8, WhenThereIsNoRoomForTheNulTheContentStays) {
  const ProgramPages pages(1252, 437);
  LogNull log;
  const std::string content(32, '\xE9');
  StringBuffer buffer(content.c_str());
  const harness::FailAllocation fail(2);
  buffer.cvAnsiToUtf8(log);
  EXPECT_TRUE(fail.fired());
  EXPECT_TRUE(holds(buffer, content));
}

// Deliberate: the converter's output is not looked at, however little it is.
TEST(CodePages, WhatTheConverterMadeWithoutMemoryReplacesTheText) {
  const std::string content(3000, '\xE9');
  LogNull log;
  std::set<std::size_t> sizes;
  for (long k = 1; k < 5; ++k) {
    DataBuffer made;
    StringBuffer byNumber(content.c_str());
    StringBuffer byName(content.c_str());
    {
      const harness::FailAllocation fail(k, harness::FailAllocation::kFromThenOn);
      EncodingConvert converter;
      EXPECT_FALSE(converter.EncConvert(1252, kUtf8,
                                        reinterpret_cast<const unsigned char*>(content.data()),
                                        static_cast<unsigned int>(content.size()), made, log));
    }
    {
      const harness::FailAllocation fail(k, harness::FailAllocation::kFromThenOn);
      EXPECT_FALSE(byNumber.convertEncoding(1252, kUtf8, log));
    }
    {
      const harness::FailAllocation fail(k, harness::FailAllocation::kFromThenOn);
      byName.convertFromAnsi(kUtf8);
    }
    ASSERT_LT(made.getSize(), content.size());
    EXPECT_TRUE(holds(byNumber, reference::bytesOf(made)));
    EXPECT_TRUE(holds(byName, reference::bytesOf(made)));
    sizes.insert(made.getSize());
  }
  EXPECT_GT(sizes.size(), 2U) << "nothing, and several parts of the text";
}

// The bytes of an unknown page are passed through, and are gone when there is no room for them.
TEST(CodePages, PassingThroughWithoutMemoryLeavesNothing) {
  const std::string content(300, '\xE9');
  StringBuffer buffer(content.c_str());
  LogNull log;
  const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
  EXPECT_FALSE(buffer.convertEncoding(1252, kUnknownPage, log));
  EXPECT_TRUE(fail.fired());
  EXPECT_EQ(buffer.getSize(), 0U);
}

TEST(CvToUnicode, ExhaustedMemoryLeavesAPrefixOfTheResult) {
  StringBuffer buffer(std::string(300, 'x').c_str());
  const std::string full = reference::converted(kUtf8, kUtf16Le, bytesOf(buffer)).bytes;
  std::unique_ptr<DataBuffer> out;
  const long live = harness::liveBlocks();
  harness::failEveryAllocation([&] { out = std::make_unique<DataBuffer>(); },
                               [&] { buffer.cvUtf8ToUnicode(*out); },
                               [&] { EXPECT_TRUE(startsWith(full, reference::bytesOf(*out))); });
  out.reset();
  EXPECT_EQ(harness::liveBlocks(), live);
  EXPECT_TRUE(holds(buffer, std::string(300, 'x')));
}

TEST(ReplaceCharUtf8, ExhaustedMemoryReplacesAllOrNothing) {
  const ProgramPages pages(1252, 437);
  const Operation member = withoutResult(
      "replaceCharUtf8", [](StringBuffer& b) { b.replaceCharUtf8('/', '\x80'); },
      [](ModelBuffer&) {});
  for (const std::size_t size : {5U, 60U, 300U}) {
    std::string content = "\xC3\xA9";
    std::string full = content;
    for (std::size_t i = 0; i < size; ++i) {
      content += "/a";
      full +=
          "\xE2\x82\xAC"
          "a";
    }
    harness::expectSurvivesFailures(member, content, {},
                                    [&](const std::string&, const std::string& left) {
                                      return left == content || left == full;
                                    });
  }
}

TEST(QbDecode, ExhaustedMemoryLeavesTheTextOrAPass) {
  LogNull log;
  const Operation member = {
      "qbDecode", [&log](StringBuffer& b, const Texts&) { return inWords(b.qbDecode(log)); },
      [](ModelBuffer&, const Texts&) { return ""s; }};
  const std::string tail(200, 't');
  const std::string content = "=?utf-8?B?PT91dGYtOD9CP2VBPT0/PQ==?= ?Q?" + tail;
  harness::expectSurvivesFailures(
      member, content, {}, [&](const std::string& result, const std::string& left) {
        return result == "true" &&
               (left == content || left == "x ?Q?" + tail || left == "=?utf-8?B?eA==?= ?Q?" + tail);
      });
}

// --- Secrets -------------------------------------------------------------------------------------

TEST(CodePages, ASecureBufferWipesWhatItReleases) {
  const ProgramPages pages(1252, 437);
  LogNull log;
  std::vector<Operation> members = {
      converting(1252, kUtf8),
      converting(1252, kUtf16Le),
      converting(1252, 1251),
      converting(1252, 932),
      converting(kUtf8, 1252),
      converting(kUnknownPage, kUtf8),
      withoutResult(
          "cvAnsiToUtf8", [&log](StringBuffer& b) { b.cvAnsiToUtf8(log); }, [](ModelBuffer&) {}),
      withoutResult(
          "replaceCharUtf8", [](StringBuffer& b) { b.replaceCharUtf8('s', '|'); },
          [](ModelBuffer&) {}),
      withoutResult(
          "qbDecode", [&log](StringBuffer& b) { b.qbDecode(log); }, [](ModelBuffer&) {})};
  for (const int page : {kUtf8, kUtf16Le, 850})
    for (const Operation& operation : reencoders(page)) members.push_back(operation);
  const std::string words = "=?utf-8?B?c2VjcmV0?= =?utf-8?Q?secret?= ";
  for (const Operation& member : members) {
    harness::expectWipes(member, std::string(500, 's') + "\xC3\xA9" + words, {});
    harness::expectWipes(member, words + std::string(82, '\xE9'), {});
  }
}

TEST(CvToUnicode, ASecureOutputWipesWhatItReleases) {
  StringBuffer buffer(std::string(3000, 's').c_str());
  buffer.setSecureBuf(true);
  EXPECT_EQ(harness::dirtyReleases([&] {
              DataBuffer out;
              out.setSecure(true);
              buffer.cvUtf8ToUnicode(out);
              buffer.cvAnsiToUnicode(out);
            }),
            0);
}

// The output keeps the result; on the way to it, though, nothing is left behind.
TEST(CvToUnicode, APlainOutputReleasesNoPartOfASecret) {
  const ProgramPages pages(932, 437);
  for (const std::string& character : {"s"s, "\xE3\x82\xBD"s, "\xF0\x9F\x98\x80"s, "\xFF"s}) {
    std::string secret;
    for (int i = 0; i < 3000; ++i) secret += character;
    StringBuffer buffer(secret.c_str());
    buffer.setSecureBuf(true);
    DataBuffer fromUtf8;
    DataBuffer fromAnsi;
    EXPECT_EQ(harness::dirtyReleases([&] {
                buffer.cvUtf8ToUnicode(fromUtf8);
                buffer.cvAnsiToUnicode(fromAnsi);
              }),
              0);
    EXPECT_EQ(reference::bytesOf(fromUtf8), reference::converted(kUtf8, kUtf16Le, secret).bytes);
    EXPECT_EQ(reference::bytesOf(fromAnsi), reference::converted(932, kUtf16Le, secret).bytes);
  }
}

// --- Hostile sizes -------------------------------------------------------------------------------

TEST(CodePages, LargeTextsTakeLinearTime) {
  LogNull log;
  const double seconds = secondsOf([&] {
    StringBuffer malformed(std::string(kMiB, '\xE2').c_str());
    EXPECT_FALSE(malformed.convertEncoding(kUtf8, kUtf16Le, log));
    EXPECT_EQ(malformed.getSize(), 2 * kMiB);
    StringBuffer slashes(("\xC3\xA9" + std::string(kMiB / 4, '/')).c_str());
    slashes.replaceCharUtf8('/', '|');
    EXPECT_EQ(bytesOf(slashes), "\xC3\xA9" + std::string(kMiB / 4, '|'));
    std::string words;
    while (words.size() < kMiB / 4) words += "=?utf-8?B?eA==?= =?utf-8?Q?";
    StringBuffer hostile(words.c_str());
    EXPECT_TRUE(hostile.qbDecode(log));
  });
  EXPECT_LT(seconds, 8.0);
}

}  // namespace
