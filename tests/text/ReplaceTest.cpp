#include <gtest/gtest.h>

#include <ctime>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/Allocations.h"
#include "harness/BufferState.h"
#include "harness/ModelBuffer.h"
#include "harness/ReplaceReference.h"

using harness::appendRaw;
using harness::bytesOf;
using harness::fillHeap;
using harness::holds;
using harness::invariantsHold;
using harness::matches;
using harness::ModelBuffer;
using harness::modelOf;
namespace reference = harness::reference;

namespace {

using namespace std::string_literals;

// One member with its further arguments bound, beside its slow reference.
struct Member {
  std::string name;
  std::function<unsigned int(StringBuffer&, const char* find, const char* replacement)> run;
  std::function<unsigned int(ModelBuffer&, const char* find, const char* replacement)> model;
};

using Text = const char*;

// The members that take a replacement text.
std::vector<Member> textMembers() {
  return {
      {"replaceFirstOccurance",
       [](StringBuffer& b, Text f, Text r) { return b.replaceFirstOccurance(f, r) ? 1U : 0U; },
       [](ModelBuffer& b, Text f, Text r) { return reference::replaceFirst(b, f, r) ? 1U : 0U; }},
      {"replaceLastOccurance",
       [](StringBuffer& b, Text f, Text r) { return b.replaceLastOccurance(f, r) ? 1U : 0U; },
       [](ModelBuffer& b, Text f, Text r) { return reference::replaceLast(b, f, r) ? 1U : 0U; }},
      {"replaceAllOccurances",
       [](StringBuffer& b, Text f, Text r) { return b.replaceAllOccurances(f, r); },
       [](ModelBuffer& b, Text f, Text r) { return reference::replaceAll(b, f, r); }},
      {"replaceAllOccurancesNoCase",
       [](StringBuffer& b, Text f, Text r) { return b.replaceAllOccurancesNoCase(f, r); },
       [](ModelBuffer& b, Text f, Text r) { return reference::replaceAll(b, f, r, true); }},
  };
}

Member charMember(char from, char to) {
  return {"replaceCharInOccurances(" + testing::PrintToString(from) + ", " +
              testing::PrintToString(to) + ")",
          [=](StringBuffer& b, Text f, Text) { return b.replaceCharInOccurances(f, from, to); },
          [=](ModelBuffer& b, Text f, Text) {
            return reference::replaceCharInMatches(b, f, from, to);
          }};
}

Member ucharMember(unsigned int value) {
  return {
      "replaceAllWithUchar(" + std::to_string(value) + ")",
      [=](StringBuffer& b, Text f, Text) { return b.replaceAllWithUchar(f, value); },
      [=](ModelBuffer& b, Text f, Text) { return reference::replaceAllWithUchar(b, f, value); }};
}

Member utf8Member(unsigned int code) {
  return {
      "replaceAllWithUcharUtf8(" + std::to_string(code) + ")",
      [=](StringBuffer& b, Text f, Text) { return b.replaceAllWithUcharUtf8(f, code); },
      [=](ModelBuffer& b, Text f, Text) { return reference::replaceAllWithUcharUtf8(b, f, code); }};
}

// The members that take bytes instead of a replacement text.
std::vector<Member> byteMembers() {
  return {charMember('a', 'b'), charMember('b', 'Z'), charMember('a', '\0'), ucharMember('x'),
          ucharMember('a'),     ucharMember(0),       ucharMember(0x1E9),    utf8Member('x'),
          utf8Member(0x80),     utf8Member(0xE9),     utf8Member(300)};
}

std::vector<Member> allMembers() {
  std::vector<Member> all = textMembers();
  for (Member& member : byteMembers()) all.push_back(std::move(member));
  return all;
}

// Runs the member and its reference on the same buffer; compares result and whole state.
testing::AssertionResult agrees(const Member& member, StringBuffer& buffer, Text find,
                                Text replacement) {
  ModelBuffer model = modelOf(buffer);
  const std::string before = model.bytes;
  const unsigned int expected = member.model(model, find, replacement);
  const unsigned int result = member.run(buffer, find, replacement);
  const testing::AssertionResult same = matches(buffer, model);
  if (result == expected && same) return testing::AssertionSuccess();
  return testing::AssertionFailure()
         << member.name << " of " << testing::PrintToString(find) << " by "
         << testing::PrintToString(replacement) << " in "
         << testing::PrintToString(before.substr(0, 300)) << " gives " << result << " instead of "
         << expected << "; " << same.message();
}

testing::AssertionResult agrees(const Member& member, const std::string& content, Text find,
                                Text replacement) {
  StringBuffer buffer;
  appendRaw(buffer, content);
  return agrees(member, buffer, find, replacement);
}

struct Case {
  std::string content;
  Text find;
  Text replacement;
  unsigned int result;
  std::string after;
};

void checkCases(const Member& member, const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    SCOPED_TRACE(member.name + " in " + testing::PrintToString(c.content));
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    EXPECT_EQ(member.run(buffer, c.find, c.replacement), c.result);
    EXPECT_TRUE(holds(buffer, c.after));
  }
}

Member first() { return textMembers()[0]; }
Member last() { return textMembers()[1]; }
Member all() { return textMembers()[2]; }
Member allNoCase() { return textMembers()[3]; }

// ---------------------------------------------------------------------------------------------
// Nothing to do

TEST(Replace, AnEmptyBufferIsLeftAlone) {
  for (const Member& member : allMembers()) {
    StringBuffer buffer;
    EXPECT_EQ(member.run(buffer, "a", "b"), 0U) << member.name;
    EXPECT_EQ(member.run(buffer, "ab", "b"), 0U) << member.name;
    EXPECT_TRUE(holds(buffer, "", 0, 202)) << member.name;
  }
}

TEST(Replace, ANullOrEmptySearchTextDoesNothing) {
  for (const Member& member : allMembers()) {
    for (const std::string& content : {"abab"s, "ab\0ab\0"s, std::string(100, 'a')}) {
      for (Text find : {static_cast<Text>(nullptr), ""}) {
        StringBuffer buffer;
        buffer.setExtendSize(7);
        appendRaw(buffer, content);
        const harness::BufferState before = harness::stateOf(buffer);
        EXPECT_EQ(member.run(buffer, find, "zz"), 0U) << member.name;
        EXPECT_EQ(harness::stateOf(buffer), before) << member.name;
      }
    }
  }
}

// Without a match not even the storage or the extend size changes, nor what lies behind a NUL.
TEST(Replace, WithoutAMatchTheBufferIsUntouched) {
  std::vector<Member> members = textMembers();
  members.push_back(charMember('a', 'b'));
  members.push_back(utf8Member(0xE9));
  for (const Member& member : members) {
    for (const std::string& content : {"abc"s, "abc\0zz\0"s, std::string(100, 'a') + "\0zz"s}) {
      StringBuffer buffer;
      buffer.setExtendSize(7);
      appendRaw(buffer, content);
      const harness::BufferState before = harness::stateOf(buffer);
      const char* storage = buffer.getString();
      EXPECT_EQ(member.run(buffer, "zz", "y"), 0U) << member.name;
      EXPECT_EQ(harness::stateOf(buffer), before) << member.name;
      EXPECT_EQ(buffer.getString(), storage) << member.name;
    }
  }
}

TEST(Replace, ASearchTextLongerThanTheContentIsNotFound) {
  for (const Member& member : allMembers()) {
    StringBuffer buffer("abc");
    EXPECT_EQ(member.run(buffer, "abcd", "y"), 0U) << member.name;
    EXPECT_TRUE(holds(buffer, "abc", 0, 202)) << member.name;
  }
}

TEST(Replace, AMatchDoesNotReachAcrossANul) {
  const std::string content = "xa\0bx"s;
  for (const Member& member : textMembers())
    EXPECT_TRUE(agrees(member, content, "ab", "y")) << member.name;
  StringBuffer buffer;
  appendRaw(buffer, content);
  EXPECT_EQ(buffer.replaceCharInOccurances("ab", 'a', 'y'), 0U);
  EXPECT_TRUE(holds(buffer, content));
}

TEST(Replace, SearchesStopAtTheFirstNul) {
  checkCases(first(), {{"a\0x"s, "x", "y", 0, "a\0x"s}});
  checkCases(last(), {{"xa\0x"s, "x", "y", 1, "ya\0x"s}});
  checkCases(all(), {{"a\0x"s, "x", "y", 0, "a\0x"s}});
  checkCases(allNoCase(), {{"a\0x"s, "X", "y", 0, "a\0x"s}});
  checkCases(charMember('x', 'y'), {{"xa\0x"s, "x", nullptr, 1, "ya\0x"s}});
}

// ---------------------------------------------------------------------------------------------
// The first match

TEST(ReplaceFirst, ReplacesOnlyTheFirstMatch) {
  checkCases(first(), {{"axbxc", "x", "Y", 1, "aYbxc"},
                       {"xx", "x", "xx", 1, "xxx"},
                       {"aaa", "aa", "X", 1, "Xa"},
                       {"abcabc", "bc", "-long-", 1, "a-long-abc"},
                       {"abc", "abc", "z", 1, "z"},
                       {"abc", "c", "zz", 1, "abzz"},
                       {"abc", "a", "zz", 1, "zzbc"},
                       {"aab", "ab", "c", 1, "ac"}});
}

TEST(ReplaceFirst, ANullReplacementLeavesTheTextAndReportsTrue) {
  checkCases(first(), {{"axb", "x", nullptr, 1, "axb"},
                       {"x", "x", nullptr, 1, "x"},
                       {"xbx", "x", nullptr, 1, "xbx"},
                       {"ax\0b"s, "x", nullptr, 1, "ax\0b"s}});
}

TEST(ReplaceFirst, AnEmptyReplacementDeletesTheMatch) {
  checkCases(first(), {{"axb", "x", "", 1, "ab"},
                       {"x", "x", "", 1, ""},
                       {"xbx", "x", "", 1, "bx"},
                       {"ax", "x", "", 1, "a"}});
}

TEST(ReplaceFirst, TheTailGoesByTheStoredLength) {
  checkCases(first(), {{"ax\0b\0c"s, "x", "YY", 1, "aYY\0b\0c"s}, {"ax\0b"s, "ax", "", 1, "\0b"s}});
}

TEST(ReplaceFirst, NulsAtTheEndOfTheTailAreDropped) {
  checkCases(first(), {{"axb\0\0"s, "x", "Y", 1, "aYb"},
                       {"axb\0\0"s, "x", nullptr, 1, "axb"},
                       {"ax\0\0"s, "x", "Y", 1, "aY"},
                       {"ax\0"s, "x", "", 1, "a"}});
}

TEST(ReplaceFirst, StorageGrowsOnceForTheReplacementAndOnceForTheTail) {
  const std::string replacement(300, 'r');
  for (std::size_t tail : {0U, 10U, 200U, 202U, 203U, 204U, 500U}) {
    const std::string content = "ab" + std::string(tail, 't');
    EXPECT_TRUE(agrees(first(), content, "b", replacement.c_str())) << tail;
  }
  // "a", then 300 bytes: a block of 504; the tail of 500 needs another of 801 + 202 + 1.
  StringBuffer buffer(("ab" + std::string(70, 't')).c_str());
  EXPECT_TRUE(buffer.replaceFirstOccurance("b", replacement.c_str()));
  EXPECT_TRUE(holds(buffer, "a" + replacement + std::string(70, 't'), 504, 202));
}

TEST(ReplaceFirst, TheHeapBlockAndTheExtendSizeAreKept) {
  StringBuffer buffer;
  fillHeap(buffer, std::string(300, 'a') + "xb", 50);
  buffer.setExtendSize(9);
  const char* storage = buffer.getString();
  EXPECT_TRUE(buffer.replaceFirstOccurance("x", "yy"));
  EXPECT_TRUE(holds(buffer, std::string(300, 'a') + "yyb", 353, 9));
  EXPECT_EQ(buffer.getString(), storage);
  EXPECT_TRUE(buffer.replaceFirstOccurance(buffer.getString(), "short"));
  EXPECT_TRUE(holds(buffer, "short", 353, 9));
}

// ---------------------------------------------------------------------------------------------
// The last match

TEST(ReplaceLast, ReplacesOnlyTheLastMatch) {
  checkCases(last(), {{"axbxc", "x", "Y", 1, "axbYc"},
                      {"xx", "x", "yy", 1, "xyy"},
                      {"abcabc", "bc", "", 1, "abca"},
                      {"abc", "abc", "z", 1, "z"}});
}

// The scan goes forward without overlap, so in "aaa" the last "aa" is the one at the start.
TEST(ReplaceLast, TheLastMatchIsThatOfAForwardScan) {
  checkCases(last(), {{"aaa", "aa", "X", 1, "Xa"},
                      {"aaaa", "aa", "X", 1, "aaX"},
                      {"aaaaa", "aa", "X", 1, "aaXa"},
                      {"ababa", "aba", "X", 1, "Xba"},
                      {"abaababa", "aba", "X", 1, "abaXba"}});
}

TEST(ReplaceLast, ANullReplacementLeavesTheTextAndAnEmptyOneDeletes) {
  checkCases(last(), {{"axbx", "x", nullptr, 1, "axbx"},
                      {"axbxc", "x", nullptr, 1, "axbxc"},
                      {"axbxc", "x", "", 1, "axbc"},
                      {"axbx", "x", "", 1, "axb"}});
}

TEST(ReplaceLast, TheTailGoesByTheStoredLengthWithoutItsLastNuls) {
  checkCases(last(), {{"xax\0x\0c"s, "x", "YY", 1, "xaYY\0x\0c"s},
                      {"xaxb\0\0"s, "x", "Y", 1, "xaYb"},
                      {"xax\0"s, "x", nullptr, 1, "xax"}});
}

// ---------------------------------------------------------------------------------------------
// All matches

TEST(ReplaceAll, ReplacesEveryMatchAndCounts) {
  checkCases(all(), {{"aaaa", "aa", "b", 2, "bb"},
                     {"aaa", "aa", "b", 1, "ba"},
                     {"axbxc", "x", "--", 2, "a--b--c"},
                     {"abcabc", "abc", "z", 2, "zz"},
                     {"xaax", "x", "y", 2, "yaay"},
                     {"aab", "ab", "c", 1, "ac"},
                     {"ababab", "aba", "c", 1, "cbab"},
                     {"aXx", "x", "-", 1, "aX-"}});
}

TEST(ReplaceAll, ReplacementTextIsNotSearchedAgain) {
  checkCases(all(), {{"aaa", "a", "aa", 3, "aaaaaa"},
                     {"ab", "a", "ab", 1, "abb"},
                     {"aabb", "ab", "", 1, "ab"},
                     {"abab", "ab", "ba", 2, "baba"}});
  checkCases(allNoCase(), {{"aAa", "a", "aA", 3, "aAaAaA"}});
}

TEST(ReplaceAll, ANullAndAnEmptyReplacementBothDelete) {
  for (Text nothing : {static_cast<Text>(nullptr), ""}) {
    checkCases(all(), {{"axbxc", "x", nothing, 2, "abc"}, {"xxx", "x", nothing, 3, ""}});
    checkCases(allNoCase(), {{"axbXc", "x", nothing, 2, "abc"}, {"xXx", "X", nothing, 3, ""}});
  }
}

TEST(ReplaceAll, AMatchAtTheEndLeavesNoTail) {
  checkCases(all(), {{"abx", "x", "yy", 1, "abyy"}, {"x", "x", "", 1, ""}});
  StringBuffer buffer((std::string(60, 'a') + "x").c_str());
  EXPECT_EQ(buffer.replaceAllOccurances("x", "123456789012345678901"), 1U);
  EXPECT_TRUE(holds(buffer, std::string(60, 'a') + "123456789012345678901", 0, 202));
}

TEST(ReplaceAll, ContentBehindANulIsDroppedWhenThereIsAMatch) {
  checkCases(all(), {{"ax\0x"s, "x", "y", 1, "ay"}, {"axb\0xb"s, "x", "y", 1, "ayb"}});
  checkCases(allNoCase(), {{"aX\0x"s, "x", "y", 1, "ay"}});
}

// The result is built from an empty buffer, piece by piece, and replaces the storage.
TEST(ReplaceAll, TheStorageIsThatOfTheFreshResult) {
  StringBuffer buffer;
  buffer.setExtendSize(5000);
  buffer.append(std::string(100, 'a').c_str());
  buffer.append("x");
  EXPECT_EQ(buffer.replaceAllOccurances("x", "y"), 1U);
  EXPECT_TRUE(holds(buffer, std::string(100, 'a') + "y", 303, 202));
  EXPECT_EQ(buffer.replaceAllOccurances(std::string(60, 'a').c_str(), ""), 1U);
  EXPECT_TRUE(holds(buffer, std::string(40, 'a') + "y", 0, 202));
}

TEST(ReplaceAll, TheResultGrowsPieceByPiece) {
  const std::string replacement(300, 'r');
  StringBuffer buffer("abcxdefxghixjklxmno");
  EXPECT_EQ(buffer.replaceAllOccurances("x", replacement.c_str()), 4U);
  ModelBuffer model;
  for (Text piece : {"abc", "def", "ghi", "jkl"}) {
    model.append(piece);
    model.append(replacement);
  }
  model.append("mno");
  EXPECT_TRUE(matches(buffer, model));
}

TEST(ReplaceAll, EverySizeAroundTheInlineBorder) {
  for (const Member& member : textMembers()) {
    for (std::size_t before = 0; before < 4; ++before) {
      for (std::size_t after = 74; after < 84; ++after) {
        const std::string content = std::string(before, 'p') + "x" + std::string(after, 't');
        for (Text replacement : {static_cast<Text>(nullptr), "", "1", "12", "12345"})
          ASSERT_TRUE(agrees(member, content, "x", replacement));
      }
    }
  }
}

// ---------------------------------------------------------------------------------------------
// All matches, without regard to case

TEST(ReplaceAllNoCase, MatchesLettersOfEitherCase) {
  checkCases(allNoCase(), {{"hello Hello", "HELLO", "bye", 2, "bye bye"},
                           {"xAbCx", "aBc", "-", 1, "x-x"},
                           {"AaAa", "aa", "b", 2, "bb"},
                           {"AaA", "aa", "b", 1, "bA"},
                           {"ABC", "B", "b", 1, "AbC"}});
}

TEST(ReplaceAllNoCase, FoldsAsciiLettersAndNothingElse) {
  std::string everyByte;
  for (int c = 1; c < 256; ++c) everyByte += static_cast<char>(c);
  for (int c = 1; c < 256; ++c) {
    const std::string find(1, static_cast<char>(c));
    const bool letter = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    StringBuffer buffer(everyByte.c_str());
    EXPECT_EQ(buffer.replaceAllOccurancesNoCase(find.c_str(), "<>"), letter ? 2U : 1U) << c;
    ASSERT_TRUE(agrees(allNoCase(), everyByte, find.c_str(), "<>"));
    ASSERT_TRUE(agrees(allNoCase(), everyByte + everyByte, ("\x01" + find).c_str(), ""));
  }
}

// The text around the matches keeps its own case.
TEST(ReplaceAllNoCase, OtherTextKeepsItsCase) {
  checkCases(allNoCase(), {{"AxBXcX", "x", "-", 3, "A-B-c-"}, {"XAX", "xa", "b", 1, "bX"}});
}

// ---------------------------------------------------------------------------------------------
// One byte inside the matches

TEST(ReplaceCharInMatches, ChangesBytesInsideTheMatchesOnly) {
  checkCases(charMember('a', 'Z'), {{"aba-a-aba", "aba", nullptr, 2, "ZbZ-a-ZbZ"},
                                    {"aaa", "aa", nullptr, 1, "ZZa"},
                                    {"aaaa", "aa", nullptr, 2, "ZZZZ"},
                                    {"abab", "ab", nullptr, 2, "ZbZb"}});
}

TEST(ReplaceCharInMatches, CountsMatchesThatHoldNoSuchByte) {
  checkCases(charMember('q', 'Z'), {{"xyxy", "xy", nullptr, 2, "xyxy"}});
  checkCases(charMember('x', 'x'), {{"xyxy", "xy", nullptr, 2, "xyxy"}});
}

TEST(ReplaceCharInMatches, ChangedBytesAreNotSearchedAgain) {
  checkCases(charMember('a', 'b'),
             {{"aab", "aa", nullptr, 1, "bbb"}, {"abab", "a", nullptr, 2, "bbbb"}});
  checkCases(charMember('b', 'a'), {{"abb", "ab", nullptr, 1, "aab"}});
}

TEST(ReplaceCharInMatches, NulsMayBeWrittenAndTheLengthStays) {
  checkCases(charMember('x', '\0'), {{"aXxbxc", "x", nullptr, 2, "aX\0b\0c"s},
                                     {"abx", "x", nullptr, 1, "ab\0"s},
                                     {"xxx", "xx", nullptr, 1, "\0\0x"s}});
  StringBuffer buffer("axbxc");
  EXPECT_EQ(buffer.replaceCharInOccurances("x", 'x', '\0'), 2U);
  EXPECT_EQ(buffer.replaceCharInOccurances("c", 'c', 'd'), 0U);  // behind a NUL by now
  EXPECT_TRUE(holds(buffer, "a\0b\0c"s));
}

TEST(ReplaceCharInMatches, WorksInPlace) {
  StringBuffer buffer;
  buffer.setExtendSize(3);
  buffer.append(std::string(200, 'a').c_str());
  const char* storage = buffer.getString();
  EXPECT_EQ(buffer.replaceCharInOccurances("aa", 'a', 'b'), 100U);
  EXPECT_TRUE(holds(buffer, std::string(200, 'b'), 204, 3));
  EXPECT_EQ(buffer.getString(), storage);
}

TEST(ReplaceCharInMatches, EveryByteValue) {
  std::string everyByte;
  for (int c = 1; c < 256; ++c) everyByte += static_cast<char>(c);
  for (int c = 1; c < 256; ++c) {
    const char byte = static_cast<char>(c);
    std::string expected = everyByte;
    expected[static_cast<std::size_t>(c) - 1] = '\x80';
    StringBuffer buffer(everyByte.c_str());
    EXPECT_EQ(buffer.replaceCharInOccurances(everyByte.c_str(), byte, '\x80'), 1U);
    ASSERT_TRUE(holds(buffer, expected));
  }
}

// ---------------------------------------------------------------------------------------------
// One byte for each match

TEST(ReplaceWithUchar, AOneByteSearchTextIsReplacedInTheWholeContent) {
  checkCases(ucharMember('-'), {{"axbx", "x", nullptr, 2, "a-b-"},
                                {"x\0x\0"s, "x", nullptr, 2, "-\0-\0"s},
                                {"\0\0x"s, "x", nullptr, 1, "\0\0-"s},
                                {"abc", "x", nullptr, 0, "abc"},
                                {"a\0c"s, "x", nullptr, 0, "a\0c"s}});
}

TEST(ReplaceWithUchar, ALongerSearchTextIsCompacted) {
  checkCases(ucharMember('x'), {{"abcab", "ab", nullptr, 2, "xcx"},
                                {"aaab", "ab", nullptr, 1, "aax"},
                                {"aaa", "aa", nullptr, 1, "xa"},
                                {"aba", "ab", nullptr, 1, "xa"},
                                {"abc", "abc", nullptr, 1, "x"},
                                {"a", "ab", nullptr, 0, "a"},
                                {"abab", "abc", nullptr, 0, "abab"}});
}

TEST(ReplaceWithUchar, TheByteIsNotSearchedAgain) {
  checkCases(ucharMember('a'),
             {{"abb", "ab", nullptr, 1, "ab"}, {"aabb", "ab", nullptr, 1, "aab"}});
}

// Deliberate: the walk ends at the first NUL, and the content with it, match or none.
TEST(ReplaceWithUchar, ALongerSearchTextCutsTheContentAtItsFirstNul) {
  checkCases(ucharMember('x'), {{"abc\0abc"s, "ab", nullptr, 1, "xc"},
                                {"zzz\0ab"s, "ab", nullptr, 0, "zzz"},
                                {"zzz\0"s, "ab", nullptr, 0, "zzz"},
                                {"\0ab"s, "ab", nullptr, 0, ""},
                                {"a\0b"s, "ab", nullptr, 0, "a"}});
}

TEST(ReplaceWithUchar, OnlyTheLowEightBitsCount) {
  checkCases(ucharMember(0x178), {{"axbx", "x", nullptr, 2, "axbx"}});
  checkCases(ucharMember(0xFFFFFF2DU),
             {{"axbx", "x", nullptr, 2, "a-b-"}, {"axybxy", "xy", nullptr, 2, "a-b-"}});
}

TEST(ReplaceWithUchar, ANulMayBeWrittenAndTheLengthCountsIt) {
  for (unsigned int value : {0U, 256U}) {
    checkCases(ucharMember(value), {{"axb", "x", nullptr, 1, "a\0b"s},
                                    {"abx", "x", nullptr, 1, "ab\0"s},
                                    {"abcab", "ab", nullptr, 2, "\0c\0"s}});
  }
}

TEST(ReplaceWithUchar, EveryByteValue) {
  for (unsigned int value = 0; value < 256; ++value) {
    const char byte = static_cast<char>(static_cast<unsigned char>(value));
    const std::string expected{'a', byte, 'b', byte};
    checkCases(ucharMember(value),
               {{"a~b~", "~", nullptr, 2, expected}, {"a<>b<>", "<>", nullptr, 2, expected}});
    if (value == 0) continue;
    const std::string find(1, byte);
    const std::string content = "\x01\x02\xFF" + find;
    ASSERT_TRUE(agrees(ucharMember(7), content, find.c_str(), nullptr));
    ASSERT_TRUE(agrees(ucharMember(7), content, (find + find).c_str(), nullptr));
    ASSERT_TRUE(agrees(ucharMember(7), content + find, (find + find).c_str(), nullptr));
  }
}

TEST(ReplaceWithUchar, WorksInPlace) {
  for (Text find : {"a", "aa"}) {
    StringBuffer buffer;
    buffer.setExtendSize(3);
    buffer.append(std::string(200, 'a').c_str());
    const char* storage = buffer.getString();
    const unsigned int count = find[1] == '\0' ? 200 : 100;
    EXPECT_EQ(buffer.replaceAllWithUchar(find, 'b'), count);
    EXPECT_TRUE(holds(buffer, std::string(count, 'b'), 204, 3));
    EXPECT_EQ(buffer.getString(), storage);
  }
}

// ---------------------------------------------------------------------------------------------
// One Windows-1252 character for each match

TEST(ReplaceWithUcharUtf8, CodesBelow128AreSingleBytes) {
  for (unsigned int code : {0U, 1U, 'x' + 0U, 127U}) {
    const std::string byte(1, static_cast<char>(code));
    checkCases(utf8Member(code),
               {{"a~b~\0~"s, "~", nullptr, 3, "a" + byte + "b" + byte + "\0"s + byte},
                {"abcab", "ab", nullptr, 2, byte + "c" + byte},
                {"zz\0ab"s, "ab", nullptr, 0, "zz"}});
  }
}

TEST(ReplaceWithUcharUtf8, CodesFrom128AreTheirUtf8Form) {
  checkCases(utf8Member(0xE9), {{"caf?", "?", nullptr, 1, "caf\xC3\xA9"},
                                {"????", "??", nullptr, 2, "\xC3\xA9\xC3\xA9"}});
  checkCases(utf8Member(0x80), {{"5 EUR", "EUR", nullptr, 1, "5 \xE2\x82\xAC"}});
  checkCases(utf8Member(0x82), {{"~", "~", nullptr, 1, "\xE2\x80\x9A"}});
  checkCases(utf8Member(0x83), {{"~", "~", nullptr, 1, "\xC6\x92"}});
  checkCases(utf8Member(0x9F), {{"~", "~", nullptr, 1, "\xC5\xB8"}});
  checkCases(utf8Member(0xA0), {{"~", "~", nullptr, 1, "\xC2\xA0"}});
  checkCases(utf8Member(0xFF), {{"~", "~", nullptr, 1, "\xC3\xBF"}});
}

TEST(ReplaceWithUcharUtf8, TheFiveOpenBytesAreC1Controls) {
  for (unsigned int code : {0x81U, 0x8DU, 0x8FU, 0x90U, 0x9DU}) {
    const std::string expected{'\xC2', static_cast<char>(code)};
    checkCases(utf8Member(code), {{"a~", "~", nullptr, 1, "a" + expected}});
  }
}

TEST(ReplaceWithUcharUtf8, EveryCode) {
  for (unsigned int code = 0; code < 256; ++code) {
    for (const std::string& content : {"a~~b~"s, "~\0~"s, std::string(80, 'a') + "~~"}) {
      ASSERT_TRUE(agrees(utf8Member(code), content, "~", nullptr));
      ASSERT_TRUE(agrees(utf8Member(code), content, "~~", nullptr));
    }
  }
}

// From 128 on it is a replacement of all matches in the text, in fresh storage.
TEST(ReplaceWithUcharUtf8, CodesFrom128BehaveAsReplaceAll) {
  checkCases(utf8Member(0xE9), {{"~\0~"s, "~", nullptr, 1, "\xC3\xA9"},
                                {"a\0~"s, "~", nullptr, 0, "a\0~"s},
                                {"zz\0ab"s, "ab", nullptr, 0, "zz\0ab"s}});
  StringBuffer buffer;
  buffer.setExtendSize(3);
  buffer.append((std::string(100, 'a') + "~").c_str());
  EXPECT_EQ(buffer.replaceAllWithUcharUtf8("~", 0xE9), 1U);
  EXPECT_TRUE(holds(buffer, std::string(100, 'a') + "\xC3\xA9", 303, 202));
}

TEST(ReplaceWithUcharUtf8, CodesAbove255DoNothing) {
  for (unsigned int code : {256U, 300U, 0x20ACU, 0x80000000U, 0xFFFFFFFFU}) {
    checkCases(utf8Member(code),
               {{"a~~", "~", nullptr, 0, "a~~"}, {"a~~\0b"s, "~~", nullptr, 0, "a~~\0b"s}});
  }
}

// ---------------------------------------------------------------------------------------------
// Against the slow references

TEST(Replace, EveryShortTextAgreesWithTheReference) {
  const std::vector<Text> finds = {"a", "b", "aa", "ab", "ba", "bb", "aab", "aba"};
  const std::vector<Text> replacements = {nullptr, "", "a", "ab", "bba"};
  const std::vector<Member> members = textMembers();
  for (const std::string& content : harness::allStrings(std::string_view("ab\0", 3), 5))
    for (Text find : finds)
      for (Text replacement : replacements)
        for (const Member& member : members)
          ASSERT_TRUE(agrees(member, content, find, replacement));
}

TEST(Replace, EveryShortTextAgreesWithTheReferenceForBytes) {
  const std::vector<Member> members = byteMembers();
  for (const std::string& content : harness::allStrings(std::string_view("ab\0", 3), 6))
    for (Text find : {"a", "aa", "ab", "aba"})
      for (const Member& member : members) ASSERT_TRUE(agrees(member, content, find, nullptr));
}

TEST(Replace, EveryShortTextOfBothCasesAgreesWithTheReference) {
  const std::vector<Member> members = textMembers();
  for (const std::string& content : harness::allStrings("aAbB", 5))
    for (Text find : {"a", "A", "aB", "Ab", "AA", "aba"})
      for (const Member& member : members) ASSERT_TRUE(agrees(member, content, find, "Aa"));
}

struct RandomCase {
  explicit RandomCase(unsigned long long seed) : random(seed) {}
  unsigned int upTo(unsigned int n) { return static_cast<unsigned int>(random() % (n + 1)); }
  std::string text(unsigned int longest, std::string_view alphabet) {
    return harness::randomText(random(), upTo(longest), alphabet);
  }

  std::mt19937_64 random;
};

TEST(Replace, RandomTextsAgreeWithTheReference) {
  const std::vector<Member> members = allMembers();
  for (unsigned long long seed = 1; seed <= 400; ++seed) {
    RandomCase random(seed);
    const std::string alphabet = seed % 4 == 0 ? "abAB" : "ab";
    std::string content = random.text(seed % 2 == 0 ? 1500 : 180, alphabet);
    if (seed % 5 == 0) content.insert(random.upTo(static_cast<unsigned int>(content.size())), 1, 0);
    const std::string find = "a" + random.text(4, alphabet);
    const std::string replacement = random.text(seed % 3 == 0 ? 300 : 6, "rs");
    const unsigned int extendSize = random.upTo(600);
    for (const Member& member : members) {
      StringBuffer buffer;
      buffer.setExtendSize(extendSize);
      appendRaw(buffer, content);
      ASSERT_TRUE(agrees(member, buffer, find.c_str(), replacement.c_str())) << "seed " << seed;
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Arguments that point into the buffer itself

// A filled buffer and the places in its storage that an argument may point at.
struct Scene {
  StringBuffer buffer;
  std::vector<Text> places;
};

constexpr Text kStale = "one";

// Inline content, with stale text behind its end.
std::unique_ptr<Scene> inlineScene() {
  std::unique_ptr<Scene> scene(new Scene);
  scene->buffer.append("one Two one two a one_one");
  scene->buffer.chopAt(21);
  const char* start = scene->buffer.getString();
  scene->places = {start, start + 4, start + 18, start + 20, start + 21, start + 22};
  return scene;
}

// Inline content with a NUL inside, so that an argument may end there and content go on behind it.
std::unique_ptr<Scene> nulScene() {
  std::unique_ptr<Scene> scene(new Scene);
  appendRaw(scene->buffer, "one Two o\0one two o_one"s);
  scene->buffer.chopAt(19);
  const char* start = scene->buffer.getString();
  scene->places = {start, start + 4, start + 8, start + 10, start + 18, start + 20};
  return scene;
}

// Heap content with `room` bytes to spare (stale text in front of them), and text that was left
// in the inline array.
std::unique_ptr<Scene> heapScene(unsigned int room) {
  std::unique_ptr<Scene> scene(new Scene);
  StringBuffer& buffer = scene->buffer;
  const char* inlineArray = buffer.getString();
  buffer.append("__one");
  const std::string content =
      "one Two one two a " + std::string(90, 'a') + " one" + std::string(room, '.') + "_one";
  buffer.setExtendSize(0);
  buffer.appendN(content.data(), static_cast<unsigned int>(content.size()));
  buffer.setExtendSize(202);
  const unsigned int length = buffer.getSize() - room - 4;
  buffer.chopAt(length);
  const char* start = buffer.getString();
  scene->places = {start,
                   start + 9,
                   start + length - 3,
                   start + length - 1,
                   start + length,
                   start + length + room + 1,
                   inlineArray + 2};
  return scene;
}

using MakeScene = std::function<std::unique_ptr<Scene>()>;

std::vector<MakeScene> scenes() {
  return {inlineScene, nulScene, [] { return heapScene(0); }, [] { return heapScene(700); }};
}

// Runs the member with argument texts given as a place in the scene, or as a text when the
// place is negative, and compares with the reference on copies of the arguments.
testing::AssertionResult agreesInside(const Member& member, Scene& scene, int findPlace, Text find,
                                      int replacementPlace, Text replacement) {
  if (findPlace >= 0) find = scene.places[static_cast<std::size_t>(findPlace)];
  if (replacementPlace >= 0) replacement = scene.places[static_cast<std::size_t>(replacementPlace)];
  const std::string findCopy = find;
  const std::string replacementCopy = replacement == nullptr ? "" : replacement;
  ModelBuffer model = modelOf(scene.buffer);
  const unsigned int expected = member.model(
      model, findCopy.c_str(), replacement == nullptr ? nullptr : replacementCopy.c_str());
  const unsigned int result = member.run(scene.buffer, find, replacement);
  if (result != expected)
    return testing::AssertionFailure() << result << " instead of " << expected;
  return matches(scene.buffer, model);
}

void checkInside(const Member& member, const MakeScene& makeScene) {
  const int places = static_cast<int>(makeScene()->places.size());
  const std::vector<Text> texts = {"one", "a", nullptr, ""};
  for (int find = -2; find < places; ++find) {
    for (int replacement = -4; replacement < places; ++replacement) {
      const std::unique_ptr<Scene> scene = makeScene();
      const Text findText = find < 0 ? texts[static_cast<std::size_t>(-find - 1)] : nullptr;
      const Text replacementText =
          replacement < 0 ? texts[static_cast<std::size_t>(-replacement - 1)] : nullptr;
      ASSERT_TRUE(agreesInside(member, *scene, find, findText, replacement, replacementText))
          << member.name << ", find " << find << ", replacement " << replacement;
    }
  }
}

TEST(Replace, TheScenesHoldStaleTextWhereTheyShould) {
  for (const MakeScene& makeScene : scenes()) {
    const std::unique_ptr<Scene> scene = makeScene();
    EXPECT_STREQ(scene->places.back(), kStale);
    EXPECT_TRUE(invariantsHold(scene->buffer));
    EXPECT_TRUE(scene->places.back() < scene->buffer.getString() ||
                scene->places.back() > scene->buffer.getString() + scene->buffer.getSize());
  }
}

TEST(Replace, ArgumentsMayPointIntoTheBuffer) {
  std::vector<Member> members = textMembers();
  members.push_back(charMember('o', 'e'));
  members.push_back(charMember('n', '\0'));
  members.push_back(ucharMember('o'));
  members.push_back(ucharMember(0));
  members.push_back(utf8Member('n'));
  members.push_back(utf8Member(0x80));
  for (const Member& member : members)
    for (const MakeScene& makeScene : scenes()) checkInside(member, makeScene);
}

TEST(Replace, TheWholeContentCanBeReplacedByItself) {
  for (const Member& member : textMembers()) {
    StringBuffer buffer("abcabc");
    EXPECT_EQ(member.run(buffer, buffer.getString(), buffer.getString()), 1U);
    EXPECT_TRUE(holds(buffer, "abcabc")) << member.name;
  }
}

TEST(Replace, TheBufferCanReplaceItsOwnParts) {
  StringBuffer buffer("abcab");
  EXPECT_EQ(buffer.replaceAllOccurances(buffer.getString() + 3, buffer.getString()), 2U);
  EXPECT_TRUE(holds(buffer, "abcabcabcab"));
}

// ---------------------------------------------------------------------------------------------
// Allocations that fail

// True when `text` consists of some of the pieces, in order.
bool isMadeOf(std::string_view text, const std::vector<std::string>& pieces, std::size_t from = 0) {
  if (text.empty()) return true;
  for (std::size_t i = from; i < pieces.size(); ++i) {
    const std::string& piece = pieces[i];
    if (!piece.empty() && text.substr(0, piece.size()) == piece &&
        isMadeOf(text.substr(piece.size()), pieces, i + 1))
      return true;
  }
  return false;
}

struct FailingReplace {
  std::string content;
  std::string find;
  std::string replacement;
  std::vector<std::string> piecesOfAll() const {
    std::vector<std::string> pieces;
    std::size_t from = 0;
    for (std::size_t at; (at = content.find(find, from)) != std::string::npos;) {
      pieces.push_back(content.substr(from, at - from));
      pieces.push_back(replacement);
      from = at + find.size();
    }
    pieces.push_back(content.substr(from));
    return pieces;
  }
};

std::vector<FailingReplace> failingReplaces() {
  return {{std::string(90, 'a') + "X" + std::string(95, 'b') + "X" + std::string(10, 'c'), "X",
           std::string(300, 'r')},
          {"1" + std::string(90, 'a') + "X2X3" + std::string(400, 'b') + "X", "X", "--"},
          {"headXtail", "X", std::string(500, 'r')},
          {"X" + std::string(78, 'b'), "X", "12345"}};
}

// Runs `member` with every allocation failing in turn; `accept` judges result and content.
void failEach(const Member& member, const FailingReplace& c,
              const std::function<bool(unsigned int, const std::string&)>& accept) {
  std::unique_ptr<StringBuffer> buffer;
  unsigned int result = 0;
  const long before = harness::liveBlocks();
  const long failed = harness::failEveryAllocation(
      [&] {
        buffer.reset(new StringBuffer);
        fillHeap(*buffer, c.content, 0);
      },
      [&] { result = member.run(*buffer, c.find.c_str(), c.replacement.c_str()); },
      [&] {
        EXPECT_TRUE(invariantsHold(*buffer)) << member.name;
        EXPECT_TRUE(accept(result, bytesOf(*buffer)))
            << member.name << " gave " << result << " and " << bytesOf(*buffer);
      });
  buffer.reset();
  EXPECT_EQ(harness::liveBlocks(), before) << member.name;
  EXPECT_GT(failed, 0) << member.name;
}

// The match counts even when a piece is left out.
TEST(ReplaceFailure, ReplaceAllLeavesOutPiecesAndCountsEveryMatch) {
  for (const FailingReplace& c : failingReplaces()) {
    const std::vector<std::string> pieces = c.piecesOfAll();
    const auto matchesTold = static_cast<unsigned int>(pieces.size() / 2);
    for (const Member& member : {all(), allNoCase()}) {
      failEach(member, c, [&](unsigned int result, const std::string& content) {
        return result == matchesTold && isMadeOf(content, pieces);
      });
    }
  }
}

TEST(ReplaceFailure, PiecesThatFitAreKeptWhenLongOnesAreLeftOut) {
  for (bool secure : {false, true}) {
    StringBuffer buffer((std::string(100, 'a') + "|tail|end").c_str());
    buffer.setSecureBuf(secure);
    unsigned int count = 0;
    {
      harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
      count = buffer.replaceAllOccurances("|", "--");
    }
    EXPECT_EQ(count, 2U);
    EXPECT_TRUE(holds(buffer, "--tail--end") ||
                holds(buffer, std::string(100, 'a') + "--tail--end"))
        << bytesOf(buffer);
  }
}

// False: nothing has changed. True: the replacement, the tail or both may be missing.
TEST(ReplaceFailure, ReplaceFirstAndLastLoseNothingElse) {
  for (const FailingReplace& c : failingReplaces()) {
    for (const Member& member : {first(), last()}) {
      const std::size_t at =
          member.name == "replaceFirstOccurance" ? c.content.find(c.find) : c.content.rfind(c.find);
      const std::string prefix = c.content.substr(0, at);
      const std::string tail = c.content.substr(at + c.find.size());
      const auto accept = [&](unsigned int result, const std::string& content) {
        if (result == 0) return content == c.content;
        return content == prefix || content == prefix + c.replacement || content == prefix + tail ||
               content == prefix + c.replacement + tail;
      };
      failEach(member, c, accept);
    }
  }
}

TEST(ReplaceFailure, TheBytewiseMembersNeedNoMemory) {
  for (const Member& member : {charMember('a', 'b'), ucharMember('x'), utf8Member('x')}) {
    for (Text find : {"a", "aa"}) {
      StringBuffer buffer(std::string(200, 'a').c_str());
      harness::ModelBuffer model = modelOf(buffer);
      const unsigned int expected = member.model(model, find, nullptr);
      unsigned int result = 0;
      {
        harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
        result = member.run(buffer, find, nullptr);
      }
      EXPECT_EQ(result, expected) << member.name;
      EXPECT_TRUE(matches(buffer, model)) << member.name;
    }
  }
}

TEST(ReplaceFailure, ArgumentsInsideTheBufferMayFailToo) {
  for (const Member& member : allMembers()) {
    std::unique_ptr<Scene> scene;
    const long before = harness::liveBlocks();
    harness::failEveryAllocation(
        [&] { scene = heapScene(0); },
        [&] { member.run(scene->buffer, scene->places[2], scene->places[0]); },
        [&] { EXPECT_TRUE(invariantsHold(scene->buffer)) << member.name; });
    scene.reset();
    EXPECT_EQ(harness::liveBlocks(), before) << member.name;
  }
}

// ---------------------------------------------------------------------------------------------
// Secure buffers

bool allZero(const unsigned char* bytes, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i)
    if (bytes[i] != 0) return false;
  return true;
}

// Runs `act` and returns how many blocks it released, and how many of them held anything.
struct Releases {
  int all = 0;
  int dirty = 0;
};

Releases watch(const std::function<void()>& act) {
  Releases releases;
  harness::WatchReleases watching([&](const unsigned char* block, std::size_t size) {
    ++releases.all;
    if (!harness::isWiped(block, size)) ++releases.dirty;
  });
  act();
  return releases;
}

TEST(ReplaceSecure, EveryBlockIsWipedBeforeItsRelease) {
  const std::string content = std::string(150, 's') + "X" + std::string(150, 't') + "X";
  const std::string replacement(700, 'r');
  for (const Member& member : allMembers()) {
    StringBuffer buffer;
    buffer.setSecureBuf(true);
    fillHeap(buffer, content, 0);
    const Releases releases = watch([&] { member.run(buffer, "X", replacement.c_str()); });
    EXPECT_EQ(releases.dirty, 0) << member.name;
    const Releases cleared = watch([&] { buffer.clear(); });
    EXPECT_EQ(cleared.all, 1) << member.name;
    EXPECT_EQ(cleared.dirty, 0) << member.name << ": the buffer is no longer secure";
  }
}

TEST(ReplaceSecure, TheOldBlockIsReleasedWiped) {
  for (Text replacement : {static_cast<Text>(nullptr), "", "1", "123"}) {
    for (const Member& member : {all(), allNoCase()}) {
      StringBuffer buffer;
      buffer.setSecureBuf(true);
      fillHeap(buffer, std::string(150, 's') + "X" + std::string(250, 's'), 10);
      const Releases releases = watch([&] { member.run(buffer, "X", replacement); });
      EXPECT_GE(releases.all, 1) << member.name;
      EXPECT_EQ(releases.dirty, 0) << member.name;
    }
  }
}

TEST(ReplaceSecure, ArgumentsInsideTheBufferAreWipedToo) {
  for (const Member& member : allMembers()) {
    for (std::size_t place : {0U, 1U, 2U, 6U}) {
      const std::unique_ptr<Scene> scene = heapScene(0);
      scene->buffer.setSecureBuf(true);
      const Releases releases =
          watch([&] { member.run(scene->buffer, scene->places[2], scene->places[place]); });
      EXPECT_EQ(releases.dirty, 0) << member.name << ", place " << place;
    }
  }
}

TEST(ReplaceSecure, OldInlineBytesAreOverwritten) {
  for (const Member& member : {all(), allNoCase()}) {
    StringBuffer buffer("secret-secret-secret");
    buffer.setSecureBuf(true);
    EXPECT_EQ(member.run(buffer, "secret", "s"), 3U);
    EXPECT_TRUE(holds(buffer, "s-s-s", 0, 202));
    const auto* bytes = reinterpret_cast<const unsigned char*>(buffer.getString());
    EXPECT_TRUE(allZero(bytes + 5, 15)) << member.name;
  }
}

TEST(ReplaceSecure, AFailedAllocationStillWipes) {
  const std::string content = std::string(150, 's') + "X" + std::string(150, 't') + "Xu";
  const std::string replacement(700, 'r');
  for (const Member& member : textMembers()) {
    for (long k = 1; k <= 6; ++k) {
      StringBuffer buffer;
      buffer.setSecureBuf(true);
      fillHeap(buffer, content, 0);
      const Releases releases = watch([&] {
        harness::FailAllocation fail(k);
        member.run(buffer, "X", replacement.c_str());
      });
      EXPECT_EQ(releases.dirty, 0) << member.name << ", allocation " << k;
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Hostile sizes: linear in the text and the result

constexpr std::size_t kMiB = 1048576;

double secondsOf(const std::function<void()>& act) {
  const std::clock_t start = std::clock();
  act();
  return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

std::vector<Member> oneOfEachKind() {
  std::vector<Member> members = textMembers();
  members.push_back(charMember('a', 'b'));
  members.push_back(ucharMember('x'));
  members.push_back(utf8Member(0x80));
  return members;
}

// A search text of half the size of the content, which nearly matches everywhere.
void checkNearMatches(const std::string& find) {
  const std::string content(kMiB, 'a');
  for (const Member& member : oneOfEachKind()) {
    StringBuffer buffer(content.c_str());
    unsigned int result = 1;
    EXPECT_LT(secondsOf([&] { result = member.run(buffer, find.c_str(), "r"); }), 8.0)
        << member.name;
    EXPECT_EQ(result, 0U) << member.name;
    EXPECT_EQ(buffer.getSize(), kMiB) << member.name;
  }
}

TEST(ReplaceHostile, NearMatchesThatFailAtTheirEndAreLinear) {
  checkNearMatches(std::string(kMiB / 2, 'a') + "b");
}

TEST(ReplaceHostile, NearMatchesThatFailAtTheirStartAreLinear) {
  checkNearMatches("b" + std::string(kMiB / 2, 'a'));
}

TEST(ReplaceHostile, NearMatchesThatFailInTheMiddleAreLinear) {
  checkNearMatches(std::string(kMiB / 4, 'a') + "b" + std::string(kMiB / 4, 'a'));
}

void checkManyMatches(const Member& member, Text find, unsigned int expected) {
  const std::string content(kMiB / 16, 'a');
  StringBuffer buffer(content.c_str());
  unsigned int result = 0;
  EXPECT_LT(secondsOf([&] { result = member.run(buffer, find, "rs"); }), 8.0) << member.name;
  EXPECT_EQ(result, expected) << member.name;
}

TEST(ReplaceHostile, ManyMatchesAreLinear) {
  for (const Member& member : oneOfEachKind()) {
    const bool one = member.name == first().name || member.name == last().name;
    checkManyMatches(member, "a", one ? 1 : kMiB / 16);
    checkManyMatches(member, "aa", one ? 1 : kMiB / 32);
  }
}

TEST(ReplaceHostile, ALargeResultIsThatOfTheReference) {
  std::string content;
  for (int i = 0; i < 20000; ++i) content += "key=value" + std::to_string(i) + ";";
  const std::string expand(40, 'v');
  EXPECT_TRUE(agrees(first(), content, ";", expand.c_str()));
  EXPECT_TRUE(agrees(last(), content, ";", expand.c_str()));
  StringBuffer buffer(content.c_str());
  ModelBuffer output;
  for (int i = 0; i < 20000; ++i) {
    output.append(i == 0 ? "" : "=value" + std::to_string(i - 1) + ";");
    output.append(expand);
  }
  output.append("=value19999;");
  EXPECT_EQ(buffer.replaceAllOccurances("key", expand.c_str()), 20000U);
  EXPECT_TRUE(matches(buffer, output));
}

// ---- Former bugs ----

// A buffer without room to spare, in which the match at 90 has a tail of the given size.
std::string contentWithTail(std::size_t tail) {
  return std::string(90, 'p') + "X" + std::string(tail, 't');
}

struct Replaced {
  bool found;
  std::string content;
};

// Replaces the X of a content by 6000 bytes, with the k-th allocation failing, or all from it on.
Replaced replaceWithFailure(const Member& member, const std::string& content, long k,
                            harness::FailAllocation::Mode mode) {
  StringBuffer buffer;
  fillHeap(buffer, content, 0);
  const std::string replacement(6000, 'r');
  bool found = false;
  {
    const harness::FailAllocation fail(k, mode);
    found = member.run(buffer, "X", replacement.c_str()) != 0;
  }
  EXPECT_TRUE(invariantsHold(buffer));
  return {found, bytesOf(buffer)};
}

// A tail of up to 400 bytes was lost, with true.
TEST(ReplaceFailure, WithoutMemoryForTheTailNothingChanges) {
  for (const Member& member : {first(), last()}) {
    for (const std::size_t tail : {1U, 202U, 399U, 400U, 401U, 7000U}) {
      const std::string content = contentWithTail(tail);
      for (const auto mode :
           {harness::FailAllocation::kOnce, harness::FailAllocation::kFromThenOn}) {
        const Replaced replaced = replaceWithFailure(member, content, 1, mode);
        EXPECT_FALSE(replaced.found) << member.name << ", " << tail;
        EXPECT_EQ(replaced.content, content) << member.name << ", " << tail;
      }
    }
  }
}

// Once the tail is safe, what cannot grow is left out, and the match still counts.
TEST(ReplaceFailure, WithMemoryForTheTailOnlyTheReplacementIsMissing) {
  for (const Member& member : {first(), last()}) {
    for (const std::size_t tail : {1U, 400U, 401U}) {
      const Replaced replaced = replaceWithFailure(member, contentWithTail(tail), 2,
                                                   harness::FailAllocation::kFromThenOn);
      EXPECT_TRUE(replaced.found) << member.name << ", " << tail;
      EXPECT_EQ(replaced.content, std::string(90, 'p') + std::string(tail, 't')) << member.name;
    }
  }
}

TEST(ReplaceFailure, AMatchAtTheEndHasNoTailToSave) {
  for (const Member& member : {first(), last()}) {
    const Replaced replaced =
        replaceWithFailure(member, contentWithTail(0), 1, harness::FailAllocation::kFromThenOn);
    EXPECT_TRUE(replaced.found) << member.name;
    EXPECT_EQ(replaced.content, std::string(90, 'p')) << member.name;
  }
}

// ---------------------------------------------------------------------------------------------
// Allocations
// ---------------------------------------------------------------------------------------------

TEST(ReplaceAll, AllocatesOnceWhateverTheSize) {
  for (const std::size_t distance : {10U, 100U, 500U}) {
    for (const char* replacement : {"", "x", "MATE", "LONGER", "A MUCH LONGER WORD"}) {
      const auto text = [distance](std::size_t size) {
        return harness::textWithMarks(size, distance, "WORD");
      };
      EXPECT_TRUE(harness::allocatesAtAnySize(1, text,
                                              [&](StringBuffer& buffer) {
                                                buffer.replaceAllOccurances("WORD", replacement);
                                                return buffer.getSize();
                                              }))
          << distance << ' ' << replacement;
      EXPECT_TRUE(harness::allocatesAtAnySize(1, text,
                                              [&](StringBuffer& buffer) {
                                                buffer.replaceAllOccurancesNoCase("word",
                                                                                  replacement);
                                                return buffer.getSize();
                                              }))
          << distance << ' ' << replacement;
    }
  }
}

TEST(ReplaceAll, MatchesThatBecomeMoreFrequentCostAFewAllocations) {
  for (const std::size_t size : {std::size_t{1} << 20, std::size_t{1} << 23}) {
    const std::string text =
        harness::textWithMarks(size / 2, 1000, "&") + harness::textWithMarks(size / 2, 2, "&");
    StringBuffer buffer(text.c_str());
    const harness::AllocationCount before = harness::allocationsMade();
    EXPECT_EQ(buffer.replaceAllOccurances("&", "&amp;"), size / 2000 + size / 4);
    EXPECT_LE(harness::allocationsMade().blocks - before.blocks, 4) << size;
    EXPECT_LE(harness::allocationsMade().bytes - before.bytes,
              static_cast<long long>(5 * (text.size() + buffer.getSize())));
  }
}

TEST(ReplaceAll, MatchesThatBecomeRareTakeRoomInProportionToTheText) {
  const std::string text = harness::textWithMarks(1000, 2, "&") + std::string(4000000, 'x');
  const std::string replacement(1000, 'y');
  StringBuffer buffer(text.c_str());
  const harness::AllocationCount before = harness::allocationsMade();
  EXPECT_EQ(buffer.replaceAllOccurances("&", replacement.c_str()), 500U);
  EXPECT_EQ(harness::allocationsMade().blocks - before.blocks, 1);
  EXPECT_LE(harness::allocationsMade().bytes - before.bytes,
            static_cast<long long>(5 * text.size()));
}

TEST(ReplaceAll, AResultThatStaysInsideTheObjectHoldsNoBlock) {
  StringBuffer buffer(("x" + std::string(1000, 'y')).c_str());
  const long live = harness::liveBlocks();
  EXPECT_EQ(buffer.replaceAllOccurances("y", ""), 1000U);
  EXPECT_TRUE(holds(buffer, "x"));
  EXPECT_EQ(buffer.heapUsage(), 0U);
  EXPECT_EQ(harness::liveBlocks(), live - 1);
}

}  // namespace
