#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/Allocations.h"
#include "harness/BufferState.h"
#include "harness/FiltersReference.h"
#include "harness/ModelBuffer.h"
#include "harness/ReleasedBlocks.h"
#include "harness/Stopwatch.h"
#include "harness/StorageLayout.h"

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

// One member with its arguments bound, beside its slow reference; a result is 0 where there is
// none.
struct Member {
  std::string name;
  std::function<unsigned int(StringBuffer&)> run;
  std::function<unsigned int(ModelBuffer&)> model;
};

// For members without a result.
template <class Act>
auto noResult(Act act) {
  return [act](auto& buffer) {
    act(buffer);
    return 0U;
  };
}

constexpr char kSet5[] = {'a', '\0', '\xE9', 'x', '*'};
constexpr char kSet10[] = {'a', 'a', 'b', '\0', 'a', '-', '\xFF', '\n', 'z', '\\'};
constexpr char kSet20[] = {'0', '1', '2', '3', '4', '5', '6', '7', '8',    '9',
                           'A', 'B', 'C', 'D', 'E', 'F', 'a', ' ', '\x80', '\0'};

template <unsigned int kSize>
std::string_view bytesOfSet(const char (&set)[kSize]) {
  return {set, kSize};
}

Member eliminate(char ch, unsigned int start) {
  return {"eliminateChar(" + testing::PrintToString(ch) + ", " + std::to_string(start) + ")",
          noResult([=](StringBuffer& b) { b.eliminateChar(ch, start); }),
          noResult([=](ModelBuffer& b) { reference::eliminateChar(b, ch, start); })};
}

Member removeChar(char ch) {
  return {"removeCharOccurances(" + testing::PrintToString(ch) + ")",
          [=](StringBuffer& b) { return b.removeCharOccurances(ch); },
          [=](ModelBuffer& b) { return reference::eliminateChar(b, ch, 0); }};
}

Member replaceChar(char from, char to) {
  return {
      "replaceCharAnsi(" + testing::PrintToString(from) + ", " + testing::PrintToString(to) + ")",
      [=](StringBuffer& b) { return b.replaceCharAnsi(from, to); },
      [=](ModelBuffer& b) { return reference::replaceByte(b, from, to); }};
}

std::vector<Member> compacting() {
  return {
      eliminate('a', 0),
      eliminate('a', 2),
      eliminate('\0', 1),
      eliminate('\xE9', 81),
      eliminate('a', 0xFFFFFFFFU),
      removeChar('a'),
      removeChar('\0'),
      removeChar('\xE9'),
      {"drop8bitChars", [](StringBuffer& b) { return b.drop8bitChars(); },
       reference::drop8bitChars},
      {"dropNonNumeric", [](StringBuffer& b) { return b.dropNonNumeric(); },
       reference::dropNonNumeric},
      {"removeFws", [](StringBuffer& b) { return b.removeFws(); }, reference::removeFws},
      {"removeInvalidXmlTagChars", [](StringBuffer& b) { return b.removeInvalidXmlTagChars(); },
       reference::removeInvalidXmlTagChars},
      {"removeInvalidFilenameChars", [](StringBuffer& b) { return b.removeInvalidFilenameChars(); },
       reference::removeInvalidFilenameChars},
      {"unescape", [](StringBuffer& b) { return b.unescape(); }, reference::unescape}};
}

std::vector<Member> replacing() {
  return {
      replaceChar('a', 'b'),
      replaceChar('a', 'a'),
      replaceChar('\0', 'x'),
      replaceChar('a', '\0'),
      replaceChar('\xE9', '\x80'),
      {"replaceNullsWithSpaces", [](StringBuffer& b) { return b.replaceNullsWithSpaces(); },
       [](ModelBuffer& b) {
         reference::replaceByte(b, '\0', ' ');
         return reference::lengthOf(b);
       }},
      {"replaceModBase64Chars", noResult([](StringBuffer& b) { b.replaceModBase64Chars(); }),
       noResult([](ModelBuffer& b) {
         reference::replaceByte(b, '_', '/');
         reference::replaceByte(b, '-', '+');
       })},
      {"replaceChar5", noResult([](StringBuffer& b) { b.replaceChar5(kSet5, '='); }),
       noResult([](ModelBuffer& b) { reference::replaceSet(b, bytesOfSet(kSet5), '='); })},
      {"replaceChar10", noResult([](StringBuffer& b) { b.replaceChar10(kSet10, '\0'); }),
       noResult([](ModelBuffer& b) { reference::replaceSet(b, bytesOfSet(kSet10), '\0'); })},
      {"replaceChar20", noResult([](StringBuffer& b) { b.replaceChar20(kSet20, '\xE1'); }),
       noResult([](ModelBuffer& b) { reference::replaceSet(b, bytesOfSet(kSet20), '\xE1'); })},
      {"toAlphaNumUsAscii", noResult([](StringBuffer& b) { b.toAlphaNumUsAscii(); }),
       noResult(reference::toAlphaNumUsAscii)},
  };
}

std::vector<Member> casing() {
  return {{"toLowerCase", noResult([](StringBuffer& b) { b.toLowerCase(); }),
           noResult([](ModelBuffer& b) { reference::mapText(b, reference::lowered); })},
          {"toUpperCase", noResult([](StringBuffer& b) { b.toUpperCase(); }),
           noResult([](ModelBuffer& b) { reference::mapText(b, reference::raised); })},
          {"toLowerFirstChar", noResult([](StringBuffer& b) { b.toLowerFirstChar(); }),
           noResult(reference::toLowerFirstChar)},
          {"toProperCase", [](StringBuffer& b) { return b.toProperCase() ? 1U : 0U; },
           [](ModelBuffer& b) { return reference::toProperCase(b) ? 1U : 0U; }}};
}

Member toCrLf() {
  return {"toCRLF", [](StringBuffer& b) { return b.toCRLF(); }, reference::toCRLF};
}

Member toLf() {
  return {"toLF", [](StringBuffer& b) { return b.toLF(); }, reference::toLF};
}

Member indentBy(char ch, unsigned int count) {
  return {"indent(" + testing::PrintToString(ch) + ", " + std::to_string(count) + ")",
          noResult([=](StringBuffer& b) { b.indent(ch, count); }),
          noResult([=](ModelBuffer& b) { reference::indent(b, ch, count); })};
}

std::vector<Member> lines() {
  return {
      toCrLf(),          toLf(),          indentBy(' ', 1), indentBy('\n', 2), indentBy('\xE9', 3),
      indentBy('-', 90), indentBy(' ', 0)};
}

std::vector<Member> joined(std::initializer_list<std::vector<Member>> lists) {
  std::vector<Member> all;
  for (const std::vector<Member>& list : lists) all.insert(all.end(), list.begin(), list.end());
  return all;
}

std::vector<Member> inPlace() { return joined({compacting(), replacing(), casing(), {toLf()}}); }

std::vector<Member> everyMember() { return joined({compacting(), replacing(), casing(), lines()}); }

const std::string& allBytes() {
  static const std::string bytes = [] {
    std::string all;
    for (int code = 0; code < 256; ++code) all += reference::byteOf(code);
    return all;
  }();
  return bytes;
}

// Runs the member and its reference on the same buffer; compares result and whole state.
testing::AssertionResult agrees(const Member& member, StringBuffer& buffer) {
  ModelBuffer model = modelOf(buffer);
  const std::string before = model.bytes;
  const unsigned int expected = member.model(model);
  const unsigned int result = member.run(buffer);
  const testing::AssertionResult same = matches(buffer, model);
  if (result == expected && same) return testing::AssertionSuccess();
  return testing::AssertionFailure()
         << member.name << " of " << testing::PrintToString(before.substr(0, 300)) << " ("
         << before.size() << " bytes) gives " << result << " instead of " << expected << "; "
         << same.message();
}

testing::AssertionResult agrees(const Member& member, std::string_view content) {
  StringBuffer buffer;
  appendRaw(buffer, content);
  return agrees(member, buffer);
}

struct Case {
  Member member;
  std::string content;
  unsigned int result;
  std::string after;
};

void check(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    const std::string told = c.member.name + " of " + testing::PrintToString(c.content);
    EXPECT_EQ(c.member.run(buffer), c.result) << told;
    EXPECT_TRUE(holds(buffer, c.after)) << told;
    EXPECT_TRUE(agrees(c.member, c.content));
  }
}

Member named(const char* name) {
  for (const Member& member : everyMember())
    if (member.name == name) return member;
  ADD_FAILURE() << "no member " << name;
  return removeChar('a');
}

// What the member makes of each single byte, the removed ones left out.
std::string imageOfAllBytes(const Member& member) {
  std::string image;
  for (const char c : allBytes()) {
    StringBuffer buffer;
    buffer.appendChar(c);
    member.run(buffer);
    image += bytesOf(buffer);
  }
  return image;
}

// ---------------------------------------------------------------------------------------------
// Filters that remove bytes

TEST(FiltersRemove, EliminateCharLeavesWhatStandsBeforeTheStart) {
  check({{eliminate('x', 2), "xxaxb", 0, "xxab"},
         {eliminate('x', 0), "xxaxb", 0, "ab"},
         {eliminate('x', 4), "xxaxx", 0, "xxax"},
         {eliminate('a', 2), "aabab", 0, "aabb"}});
}

TEST(FiltersRemove, EliminateCharDoesNothingWhenTheLengthIsNotAboveTheStart) {
  check({{eliminate('x', 3), "xxx", 0, "xxx"},
         {eliminate('x', 4), "xxx", 0, "xxx"},
         {eliminate('x', 0xFFFFFFFFU), "xxx", 0, "xxx"},
         {eliminate('x', 0), "", 0, ""}});
}

TEST(FiltersRemove, RemoveCharReturnsTheNumberRemoved) {
  check({{removeChar('x'), "xaxbx", 3, "ab"},
         {removeChar('x'), "xxx", 3, ""},
         {removeChar('x'), "abc", 0, "abc"},
         {removeChar('\0'), "a\0b\0"s, 2, "ab"},
         {removeChar('\xE9'), "a\xE9", 1, "a"}});
}

TEST(FiltersRemove, TheLengthCountsNulsLeftAtTheEnd) {
  check({{removeChar('x'), "a\0x"s, 1, "a\0"s}, {eliminate('x', 1), "a\0\0x"s, 0, "a\0\0"s}});
}

TEST(FiltersRemove, EveryByteIsKeptOrRemovedByItsClass) {
  std::string sevenBit;
  std::string eightBit;
  for (int code = 0; code < 256; ++code)
    (code < 0x80 ? sevenBit : eightBit) += reference::byteOf(code);
  const std::string upper = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
  const std::string lower = "abcdefghijklmnopqrstuvwxyz";
  EXPECT_EQ(imageOfAllBytes(named("drop8bitChars")), sevenBit);
  EXPECT_EQ(imageOfAllBytes(named("dropNonNumeric")), " 0123456789");
  EXPECT_EQ(imageOfAllBytes(named("removeInvalidXmlTagChars")),
            "!-.0123456789:" + upper + "_" + lower + eightBit);
}

TEST(FiltersRemove, DropNonNumericKeepsSpaces) {
  check({{named("dropNonNumeric"), "a1 b2-3", 4, "1 23"},
         {named("dropNonNumeric"), "\t 1\n", 2, " 1"}});
}

TEST(FiltersRemove, WhiteSpaceIsRemovedWhereverItStands) {
  check({{named("removeFws"), " a\tb\r\n c ", 3, "abc"},
         {named("removeFws"), "\v\f\xA0", 3, "\v\f\xA0"},
         {named("removeFws"), " \0 "s, 1, "\0"s}});
}

TEST(FiltersRemove, XmlTagCharsKeepHighBytes) {
  check({{named("removeInvalidXmlTagChars"), "my tag!<x>", 7, "mytag!x"},
         {named("removeInvalidXmlTagChars"), "\xC3\xA9 \0\x7F"s, 2, "\xC3\xA9"}});
}

TEST(FiltersRemove, FilenameCharsTurnBackslashesIntoSlashes) {
  check({{named("removeInvalidFilenameChars"), "a\\b:c*?.txt", 9, "a/b:c.txt"},
         {named("removeInvalidFilenameChars"), "<|>?*\\", 1, "/"}});
}

TEST(FiltersRemove, FilenameCharsKeepColonQuoteAndSlash) {
  check({{named("removeInvalidFilenameChars"), ":\"/\0\xFF"s, 5, ":\"/\0\xFF"s}});
}

TEST(FiltersRemove, UnescapeKeepsTheByteBehindABackslash) {
  check({{named("unescape"), "a\\\\b\\c\\", 4, "a\\bc"},
         {named("unescape"), "\\\\\\\\", 2, "\\\\"},
         {named("unescape"), "\\\0\\\n"s, 2, "\0\n"s},
         {named("unescape"), "abc", 3, "abc"}});
}

TEST(FiltersRemove, UnescapeDropsABackslashInTheLastPosition) {
  check({{named("unescape"), "\\", 0, ""},
         {named("unescape"), "ab\\", 2, "ab"},
         {named("unescape"), "\\\\\\", 1, "\\"}});
}

TEST(FiltersRemove, AnEmptyBufferStaysEmpty) {
  for (const Member& member : compacting()) {
    StringBuffer buffer;
    EXPECT_EQ(member.run(buffer), 0U) << member.name;
    EXPECT_TRUE(holds(buffer, "", 0, 202)) << member.name;
  }
}

// ---------------------------------------------------------------------------------------------
// Filters that replace bytes

TEST(FiltersReplace, ReplaceCharCountsEveryReplacedByte) {
  check({{replaceChar('a', 'b'), "banana", 3, "bbnbnb"},
         {replaceChar('a', 'a'), "banana", 3, "banana"},
         {replaceChar('x', 'b'), "banana", 0, "banana"},
         {replaceChar('\0', '.'), "\0a\0"s, 2, ".a."},
         {replaceChar('a', '\0'), "xa", 1, "x\0"s},
         {replaceChar('\xE9', 'e'), "\xE9", 1, "e"}});
}

TEST(FiltersReplace, NullsBecomeSpacesAndTheLengthIsReturned) {
  check({{named("replaceNullsWithSpaces"), "a\0b\0\0"s, 5, "a b  "},
         {named("replaceNullsWithSpaces"), "ab", 2, "ab"},
         {named("replaceNullsWithSpaces"), "", 0, ""}});
}

TEST(FiltersReplace, ModBase64BecomesBase64) {
  check({{named("replaceModBase64Chars"), "-_-a/+\0_"s, 0, "+/+a/+\0/"s}});
}

// The further bytes of the arrays must not count.
TEST(FiltersReplace, ASetHasExactlyItsNumberOfBytes) {
  const char letters[] = "abcdefghijklmnopqrstuvwxyz";
  const std::string content = "abcdefghijklmnopqrstuvwxyz";
  StringBuffer five(content.c_str());
  five.replaceChar5(letters, '.');
  EXPECT_TRUE(holds(five, ".....fghijklmnopqrstuvwxyz"));
  StringBuffer ten(content.c_str());
  ten.replaceChar10(letters, '.');
  EXPECT_TRUE(holds(ten, "..........klmnopqrstuvwxyz"));
  StringBuffer twenty(content.c_str());
  twenty.replaceChar20(letters, '.');
  EXPECT_TRUE(holds(twenty, "....................uvwxyz"));
}

TEST(FiltersReplace, ASetDoesNotEndAtANul) {
  const std::string content = "ab\0cd"s;
  const char set[] = {'x', '\0', 'b', '\0', 'd', '\0', '\0', '\0', '\0', '\0',
                      'x', 'x',  'x', 'x',  'x', 'x',  'x',  'x',  'x',  'a'};
  StringBuffer five;
  appendRaw(five, content);
  five.replaceChar5(set, '.');
  EXPECT_TRUE(holds(five, "a..c."));
  StringBuffer twenty;
  appendRaw(twenty, content);
  twenty.replaceChar20(set, '.');
  EXPECT_TRUE(holds(twenty, "...c."));
}

// A way to call one of the three set members.
struct SetMember {
  unsigned int size;
  void (*run)(StringBuffer&, const char* set, char to);
};

constexpr SetMember kSetMembers[] = {
    {5, [](StringBuffer& b, const char* set, char to) { b.replaceChar5(set, to); }},
    {10, [](StringBuffer& b, const char* set, char to) { b.replaceChar10(set, to); }},
    {20, [](StringBuffer& b, const char* set, char to) { b.replaceChar20(set, to); }}};

// A block of exactly the bytes needed: a sanitizer sees a read behind it.
TEST(FiltersReplace, NoFurtherByteOfASetIsRead) {
  for (const SetMember& member : kSetMembers) {
    const std::unique_ptr<char[]> set(new char[member.size]);
    for (unsigned int i = 0; i < member.size; ++i) set[i] = 'a';
    set[member.size - 1] = 'z';
    StringBuffer buffer("bazaz");
    member.run(buffer, set.get(), '-');
    EXPECT_TRUE(holds(buffer, "b----")) << member.size;
  }
}

// The whole of a set is known before the first byte of it is overwritten.
TEST(FiltersReplace, ASetMayLieInTheBuffer) {
  const std::string inlineText = "abcdefghijklmnopqrstuvwxyzabcde";
  for (const std::string& content : {inlineText, inlineText + std::string(100, '.')}) {
    for (const SetMember& member : kSetMembers) {
      for (unsigned int at = 0; at + member.size <= inlineText.size(); ++at) {
        StringBuffer buffer(content.c_str());
        ModelBuffer model = modelOf(buffer);
        reference::replaceSet(model, std::string_view(content).substr(at, member.size), 'e');
        member.run(buffer, buffer.pCharAt(at), 'e');
        EXPECT_TRUE(matches(buffer, model)) << member.size << " at " << at;
      }
    }
  }
}

// At the NUL, behind the end, and in the inline array while the content is on the heap.
TEST(FiltersReplace, ASetMayLieInTheUnusedStorage) {
  for (const unsigned int at : {7U, 8U}) {
    StringBuffer buffer("abcdxba|abcdef");
    const char* const set = buffer.pCharAt(at);
    buffer.chopAt(7);
    buffer.replaceChar5(set, '-');
    EXPECT_TRUE(holds(buffer, "----x--")) << at;
  }
  StringBuffer moved("abcde");
  const char* const inlineArray = moved.getString();
  moved.appendCharN('x', 100);
  moved.append("edcba");
  ASSERT_NE(moved.heapUsage(), 0U);
  moved.replaceChar5(inlineArray, '-');
  EXPECT_TRUE(holds(moved, "-----" + std::string(100, 'x') + "-----"));
}

TEST(FiltersReplace, AlphaNumClearsTheTopBitOfHighDigitsAndLetters) {
  check({{named("toAlphaNumUsAscii"), "a-b", 0, "a0b"},
         {named("toAlphaNumUsAscii"), "\xC1", 0, "A"},
         {named("toAlphaNumUsAscii"), "\xB0\xB9\xDA\xE1\xFA", 0, "09Zaz"},
         {named("toAlphaNumUsAscii"), "\xAF\xBA\xC0\xDB\xE0\xFB\xFF\x80", 0, "00000000"}});
}

TEST(FiltersReplace, AlphaNumReplacesNulsToo) {
  check({{named("toAlphaNumUsAscii"), "a\0b\0"s, 0, "a0b0"}});
}

TEST(FiltersReplace, TheLengthStays) {
  for (const Member& member : replacing()) {
    for (const std::string& content : {allBytes(), "a\0\0"s, ""s}) {
      StringBuffer buffer;
      appendRaw(buffer, content);
      member.run(buffer);
      EXPECT_EQ(buffer.getSize(), content.size()) << member.name;
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Case

TEST(FiltersCase, EveryLetterOfAsciiAndLatin1Changes) {
  for (int code = 0; code < 256; ++code) {
    const bool upper = (code >= 0x41 && code <= 0x5A) || (code >= 0xC0 && code <= 0xDF);
    const bool lower = (code >= 0x61 && code <= 0x7A) || code >= 0xE0;
    const std::string byte(1, reference::byteOf(code));
    const std::string up(1, reference::byteOf(lower ? code - 32 : code));
    const std::string down(1, reference::byteOf(upper ? code + 32 : code));
    check({{named("toLowerCase"), byte, 0, down},
           {named("toUpperCase"), byte, 0, up},
           {named("toLowerFirstChar"), byte + byte, 0, down + byte}});
    if (code == 0) continue;
    check({{named("toProperCase"), byte, 0, up}});
  }
}

TEST(FiltersCase, TheWholeLatin1RangesArePairs) {
  check({{named("toLowerCase"), "\xD7\xDF", 0, "\xF7\xFF"},
         {named("toUpperCase"), "\xF7\xFF", 0, "\xD7\xDF"},
         {named("toLowerFirstChar"), "\xD7\xDF", 0, "\xF7\xDF"},
         {named("toProperCase"), "\xF7 \xFF", 0, "\xD7 \xDF"}});
}

TEST(FiltersCase, ChangingTheCaseStopsAtTheFirstNul) {
  check({{named("toLowerCase"), "AB\0CD"s, 0, "ab\0CD"s},
         {named("toUpperCase"), "ab\0cd"s, 0, "AB\0cd"s},
         {named("toLowerCase"), "\0CD"s, 0, "\0CD"s},
         {named("toProperCase"), "ab\0 cd"s, 0, "Ab\0 cd"s}});
}

TEST(FiltersCase, OnlyTheFirstByteIsLowered) {
  check({{named("toLowerFirstChar"), "ABC", 0, "aBC"},
         {named("toLowerFirstChar"), "\xC9Z", 0, "\xE9Z"},
         {named("toLowerFirstChar"), "\0A"s, 0, "\0A"s},
         {named("toLowerFirstChar"), "", 0, ""}});
}

TEST(FiltersCase, ProperCaseRaisesTheFirstByteAndThoseBehindSeparators) {
  check({{named("toProperCase"), "hello big-world", 0, "Hello Big-World"},
         {named("toProperCase"), "a\tb\nc d-e", 0, "A\tB\nC D-E"},
         {named("toProperCase"), "a - -b", 0, "A - -B"},
         {named("toProperCase"), " ab", 0, " Ab"},
         {named("toProperCase"), "a\rb.c_d", 0, "A\rb.c_d"},
         {named("toProperCase"), "a -1b", 0, "A -1b"}});
}

TEST(FiltersCase, ProperCaseNeverLowers) {
  check(
      {{named("toProperCase"), "mIXED", 0, "MIXED"}, {named("toProperCase"), "A\xC9", 0, "A\xC9"}});
}

TEST(FiltersCase, ProperCaseReturnsTheFinalFlag) {
  check({{named("toProperCase"), "", 1, ""},
         {named("toProperCase"), "\0ab"s, 1, "\0ab"s},
         {named("toProperCase"), "a", 0, "A"},
         {named("toProperCase"), "-", 0, "-"},
         {named("toProperCase"), "a ", 0, "A "}});
}

// ---------------------------------------------------------------------------------------------
// Line endings

TEST(FiltersLines, EveryLoneLfAndCrBecomesCrLf) {
  check({{toCrLf(), "a\nb\rc\r\n", 2, "a\r\nb\r\nc\r\n"},
         {toCrLf(), "\n", 1, "\r\n"},
         {toCrLf(), "\r", 1, "\r\n"},
         {toCrLf(), "\n\r", 2, "\r\n\r\n"},
         {toCrLf(), "\r\r\n\n", 2, "\r\n\r\n\r\n"}});
}

TEST(FiltersLines, CrLfPairsStay) {
  check({{toCrLf(), "a\r\n", 0, "a\r\n"}, {toCrLf(), "\r\n\r\n", 0, "\r\n\r\n"}});
}

TEST(FiltersLines, WithoutAnEndingToChangeTheBufferIsUntouched) {
  for (const std::string& content : {""s, "abc"s, "a\r\n\0b"s, "a\r\n\0"s, std::string(300, 'x')}) {
    StringBuffer buffer;
    fillHeap(buffer, std::string(200, 'y'), 300);
    buffer.weakClear();
    buffer.setExtendSize(7);
    appendRaw(buffer, content);
    EXPECT_TRUE(agrees(toCrLf(), buffer));
    EXPECT_TRUE(holds(buffer, content, 501, 7));
  }
}

TEST(FiltersLines, AChangedTextStandsInFreshStorage) {
  StringBuffer buffer;
  fillHeap(buffer, "a\n" + std::string(200, 'y'), 300);
  buffer.setExtendSize(7);
  EXPECT_EQ(buffer.toCRLF(), 1U);
  EXPECT_TRUE(holds(buffer, "a\r\n" + std::string(200, 'y'), 203 + 202 + 1, 202));
  StringBuffer shortOne;
  fillHeap(shortOne, "a\n", 300);
  EXPECT_EQ(shortOne.toCRLF(), 1U);
  EXPECT_TRUE(holds(shortOne, "a\r\n", 0, 202));
}

TEST(FiltersLines, EmbeddedNulsAreCopied) {
  check({{toCrLf(), "\0a\0\n\0b"s, 1, "\0a\0\r\n\0b"s}});
}

// As by the raw append, which stores the result.
TEST(FiltersLines, NulsAtTheEndAreDroppedFromAChangedText) {
  check({{toCrLf(), "a\n\0\0"s, 1, "a\r\n"}});
}

// The result may be built in pieces; where one ends must not show.
TEST(FiltersLines, EndingsAtEveryPositionOfALongText) {
  for (std::size_t n = 110; n < 530; n += n < 240 || n > 262 ? 7 : 1) {
    for (const std::string& ending : {"\n"s, "\r"s, "\r\n"s, "\n\n"s, "\0\n"s, "\r\r\n"s}) {
      EXPECT_TRUE(agrees(toCrLf(), std::string(n, 'a') + ending + "b\n")) << n;
      EXPECT_TRUE(agrees(toCrLf(), "\n" + std::string(n, '\0') + ending + "b")) << n;
      EXPECT_TRUE(agrees(toCrLf(), std::string(n / 2, '\n') + ending + "b")) << n;
    }
  }
}

// Somebody who wrote over the NUL behind the content must not be able to lead a scan astray.
TEST(FiltersLines, WhatStandsBehindTheContentDoesNotCount) {
  StringBuffer buffer("a\r");
  *buffer.pCharAt(2) = '\n';
  EXPECT_EQ(buffer.toCRLF(), 1U);
  EXPECT_TRUE(holds(buffer, "a\r\n"));
}

TEST(FiltersLines, CrLfPairsBecomeLf) {
  check({{toLf(), "a\r\nb\rc\r\n", 2, "a\nb\rc\n"},
         {toLf(), "\r\r\n\n", 1, "\r\n\n"},
         {toLf(), "\r", 0, "\r"},
         {toLf(), "", 0, ""}});
}

TEST(FiltersLines, ToLfCutsAtTheFirstNul) {
  check({{toLf(), "a\r\n\0b\r\n"s, 1, "a\n"}, {toLf(), "a\0b"s, 0, "a"}});
}

TEST(FiltersLines, IndentPutsThePadBeforeEveryLine) {
  check({{indentBy(' ', 2), "a\nb", 0, "  a\n  b"},
         {indentBy('\t', 1), "a\r\nb", 0, "\ta\r\n\tb"},
         {indentBy(' ', 1), "", 0, " "},
         {indentBy('-', 1), "\n\n", 0, "-\n-\n-"}});
}

TEST(FiltersLines, ATextThatEndsWithLfEndsWithAPad) {
  check({{indentBy(' ', 2), "a\n", 0, "  a\n  "}});
}

// Each LF of the pad before the text is one more line.
TEST(FiltersLines, APadOfLineFeedsIsIndentedItself) {
  check({{indentBy('\n', 1), "a", 0, "\n\na"},
         {indentBy('\n', 2), "a\nb", 0, "\n\n\n\n\n\na\n\n\nb"}});
}

TEST(FiltersLines, AnOversizedIndentPutsNothing) {
  for (const unsigned int count : {12582913U, 0x08000000U, 0x08000001U, 0xFFFFFFFFU}) {
    StringBuffer buffer("a\nb");
    buffer.indent(' ', count);
    EXPECT_TRUE(holds(buffer, "a\nb")) << count;
  }
}

TEST(FiltersLines, TheLargestIndentFits) {
  StringBuffer buffer("ab");
  buffer.indent('x', 12582912);
  ASSERT_EQ(buffer.getSize(), 12582914U);
  EXPECT_TRUE(bytesOf(buffer) == std::string(12582912, 'x') + "ab");
  EXPECT_TRUE(invariantsHold(buffer));
}

// ---------------------------------------------------------------------------------------------
// Against the reference

TEST(Filters, EveryByteValueAgreesWithTheReference) {
  std::string reversed(allBytes().rbegin(), allBytes().rend());
  for (const Member& member : everyMember()) {
    EXPECT_TRUE(agrees(member, allBytes()));
    EXPECT_TRUE(agrees(member, reversed));
    for (const char c : allBytes()) {
      EXPECT_TRUE(agrees(member, std::string(1, c)));
      EXPECT_TRUE(agrees(member, std::string(1, c) + "A" + c + c + "z"));
    }
  }
}

// Each byte as the argument, in a text that holds each byte.
TEST(Filters, EveryByteValueAsTheArgument) {
  const std::string content = allBytes() + allBytes();
  for (const char c : allBytes()) {
    EXPECT_TRUE(agrees(removeChar(c), content));
    EXPECT_TRUE(agrees(eliminate(c, 100), content));
    EXPECT_TRUE(agrees(replaceChar(c, 'x'), content));
    EXPECT_TRUE(agrees(replaceChar('x', c), content));
    if (c == '\0') continue;
    EXPECT_TRUE(agrees(indentBy(c, 3), content));
  }
}

// All texts over the alphabet up to a length, with each of the members.
void checkShortTexts(std::string_view alphabet, std::size_t maxLength,
                     const std::vector<Member>& members) {
  for (const std::string& text : harness::allStrings(alphabet, maxLength))
    for (const Member& member : members) EXPECT_TRUE(agrees(member, text));
}

TEST(Filters, EveryShortTextAgreesWithTheReference) {
  checkShortTexts("a\\*\n\0"s, 4, compacting());
  checkShortTexts("a-\0\xE9"s, 4, joined({replacing(), casing()}));
  checkShortTexts("\r\na\0"s, 6, {toCrLf(), toLf(), indentBy(' ', 1)});
  checkShortTexts("a -\0\n"s, 5, {named("toProperCase")});
  checkShortTexts("\\a\0"s, 7, {named("unescape")});
}

TEST(Filters, RandomTextsAgreeWithTheReference) {
  const std::string special = "\r\n\\a -_*\0\xC9\xE9"s;
  unsigned long long seed = 1;
  for (const std::size_t n : {1U,  7U,  8U,   15U,  16U,  17U,  31U,  33U,  79U,  80U,   81U,
                              82U, 83U, 255U, 256U, 257U, 283U, 284U, 285U, 487U, 1000U, 3000U}) {
    for (const std::string_view alphabet :
         {std::string_view(allBytes()), std::string_view(special)}) {
      const std::string text = harness::randomText(++seed, n, alphabet);
      for (const Member& member : everyMember()) {
        EXPECT_TRUE(agrees(member, text));
        StringBuffer onHeap;
        fillHeap(onHeap, text + "x", static_cast<unsigned int>(seed % 3 * 100));
        onHeap.setExtendSize(31);
        EXPECT_TRUE(agrees(member, onHeap));
      }
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Storage

TEST(Filters, TheInPlaceMembersNeverAllocateAndKeepTheStorage) {
  for (const Member& member : inPlace()) {
    for (const std::size_t n : {0U, 81U, 82U, 2000U}) {
      StringBuffer buffer;
      if (n > 81) buffer.setExtendSize(17);
      appendRaw(buffer, harness::randomText(n, n, allBytes()));
      const ModelBuffer before = modelOf(buffer);
      const char* const data = buffer.getString();
      {
        harness::FailAllocation none(1, harness::FailAllocation::kFromThenOn);
        member.run(buffer);
        EXPECT_EQ(none.seen(), 0) << member.name;
      }
      EXPECT_EQ(buffer.getString(), data) << member.name;
      EXPECT_EQ(buffer.heapUsage(), before.capacity) << member.name;
      EXPECT_EQ(buffer.getExtendSize(), before.extendSize) << member.name;
    }
  }
}

// A caller may have written over the NUL; the members still end with the content.
TEST(Filters, AnOverwrittenTerminatorLeadsNobodyAstray) {
  for (const Member& member : everyMember()) {
    StringBuffer buffer("a-\\b a");
    ModelBuffer model = modelOf(buffer);
    *buffer.pCharAt(6) = 'a';
    member.model(model);
    member.run(buffer);
    ASSERT_EQ(buffer.getSize(), model.bytes.size()) << member.name;
    EXPECT_EQ(bytesOf(buffer), model.bytes) << member.name;
    const char behind = buffer.getString()[buffer.getSize()];
    EXPECT_TRUE(behind == '\0' || behind == 'a') << member.name;
  }
}

// ---------------------------------------------------------------------------------------------
// Failing allocations

std::vector<std::string> textsWithLines() {
  return {"a\nb\r\n\rc", std::string(40, '\n'), std::string(60, 'x') + "\n\n\n",
          "x\n" + std::string(300, 'y') + "\r\n\n"};
}

// Runs the member with each allocation failing; `accept` judges the result and the content.
void failEach(const Member& member, const std::string& content, unsigned int room,
              const std::function<bool(unsigned int, const std::string&)>& accept) {
  std::unique_ptr<StringBuffer> buffer;
  unsigned int result = 0;
  const long before = harness::liveBlocks();
  const long failed = harness::failEveryAllocation(
      [&] {
        buffer = std::make_unique<StringBuffer>();
        fillHeap(*buffer, content, room);
      },
      [&] { result = member.run(*buffer); },
      [&] {
        EXPECT_TRUE(invariantsHold(*buffer)) << member.name;
        EXPECT_TRUE(accept(result, bytesOf(*buffer)))
            << member.name << " gave " << result << " and "
            << testing::PrintToString(bytesOf(*buffer));
      });
  buffer.reset();
  EXPECT_EQ(harness::liveBlocks(), before) << member.name;
  EXPECT_TRUE(failed > 0 || content.size() <= 81) << member.name;
}

TEST(FiltersFailure, ToCrlfReturns0AndChangesNothing) {
  for (const std::string& content : textsWithLines()) {
    ModelBuffer model{content, 0, 202};
    const unsigned int count = reference::toCRLF(model);
    failEach(toCrLf(), content, 0, [&](unsigned int result, const std::string& after) {
      return result == 0 ? after == content : result == count && after == model.bytes;
    });
  }
}

TEST(FiltersFailure, AFailedToCrlfKeepsTheStorage) {
  StringBuffer buffer;
  fillHeap(buffer, std::string(100, '\n'), 5);
  buffer.setExtendSize(9);
  {
    harness::FailAllocation all(1, harness::FailAllocation::kFromThenOn);
    EXPECT_EQ(buffer.toCRLF(), 0U);
  }
  EXPECT_TRUE(holds(buffer, std::string(100, '\n'), 106, 9));
}

TEST(FiltersFailure, IndentIsDoneWhollyOrNotAtAll) {
  for (const std::string& content : textsWithLines()) {
    for (const unsigned int count : {1U, 2U, 50U, 100U}) {
      for (const unsigned int room : {0U, 1U, 60U, 500U}) {
        ModelBuffer model{content, 0, 202};
        reference::indent(model, ' ', count);
        failEach(indentBy(' ', count), content, room, [&](unsigned int, const std::string& after) {
          return after == content || after == model.bytes;
        });
      }
    }
  }
}

TEST(FiltersFailure, WithoutMemoryIndentChangesNothing) {
  const std::string content = std::string(100, 'a') + "\n";
  StringBuffer buffer;
  fillHeap(buffer, content, 0);
  {
    harness::FailAllocation all(1, harness::FailAllocation::kFromThenOn);
    buffer.indent(' ', 3);
  }
  EXPECT_TRUE(holds(buffer, content));
}

// ---------------------------------------------------------------------------------------------
// Secure buffers

TEST(FiltersSecure, EveryReleasedBlockIsWiped) {
  for (const Member& member : lines()) {
    for (const std::string& content : textsWithLines()) {
      StringBuffer buffer;
      buffer.setSecureBuf(true);
      fillHeap(buffer, content + std::string(200, 's') + "\n", 40);
      const auto blocks = harness::releasedBy([&] {
        member.run(buffer);
        buffer.clear();
      });
      EXPECT_TRUE(harness::allWiped(blocks)) << member.name;
      EXPECT_FALSE(blocks.empty()) << member.name;
      EXPECT_TRUE(harness::wipesItsBlocks(buffer)) << member.name;
    }
  }
}

TEST(FiltersSecure, AFailedRewriteStillWipes) {
  for (const Member& member : {toCrLf(), indentBy('s', 60)}) {
    for (long k = 1; k <= 4; ++k) {
      int dirty = 0;
      StringBuffer buffer;
      buffer.setSecureBuf(true);
      fillHeap(buffer, std::string(50, 's') + "\nssss\ns", 30);
      harness::WatchReleases watch([&dirty](const unsigned char* block, std::size_t size) {
        dirty += harness::isZero({reinterpret_cast<const char*>(block), size}) ? 0 : 1;
      });
      harness::FailAllocation fail(k);
      member.run(buffer);
      EXPECT_EQ(dirty, 0) << member.name << " " << k;
    }
  }
}

// The rewritten text goes to the heap; nothing of the old one stays in the object.
TEST(FiltersSecure, ToCrlfWipesTheInlineArray) {
  StringBuffer buffer;
  buffer.setSecureBuf(true);
  buffer.append(std::string(80, '\n').c_str());
  EXPECT_EQ(buffer.toCRLF(), 80U);
  EXPECT_TRUE(harness::isZero(harness::peekInlineBytes(&buffer)));
  StringBuffer cut;
  cut.setSecureBuf(true);
  cut.append("a\nsecret");
  cut.chopAt(2);
  EXPECT_EQ(cut.toCRLF(), 1U);
  EXPECT_TRUE(holds(cut, "a\r\n", 0, 202));
  EXPECT_TRUE(harness::isZero(harness::peekInlineBytes(&cut).substr(3)));
}

// ---------------------------------------------------------------------------------------------
// Large and hostile texts

TEST(FiltersHostile, EveryMemberIsLinear) {
  const std::size_t n = 1U << 18U;
  const std::vector<std::string> texts = {std::string(n, '\n'), std::string(n, '\\'),
                                          std::string(n, 'a'), std::string(n, '\r')};
  for (const Member& member : joined({everyMember(), {indentBy(' ', 8)}})) {
    if (member.name == indentBy('-', 90).name) continue;
    for (const std::string& text : texts) {
      StringBuffer buffer(text.c_str());
      EXPECT_LT(harness::secondsOf([&] { member.run(buffer); }), 8.0) << member.name;
      EXPECT_TRUE(invariantsHold(buffer)) << member.name;
    }
  }
}

TEST(FiltersHostile, LargeResultsAreThoseOfTheReference) {
  const std::string text = harness::randomText(5, 600000, "\r\nab \\"s);
  for (const Member& member : {toCrLf(), toLf(), indentBy(' ', 2), named("unescape")})
    EXPECT_TRUE(agrees(member, text));
}

// ---------------------------------------------------------------------------------------------
// Allocations
// ---------------------------------------------------------------------------------------------

TEST(FiltersAllocations, LinesAreRewrittenWithOneAllocationWhateverTheSize) {
  const auto text = [](std::size_t size) { return harness::textWithMarks(size, 20, "\n"); };
  EXPECT_TRUE(harness::allocatesAtAnySize(1, text, [](StringBuffer& buffer) {
    buffer.toCRLF();
    return buffer.getSize();
  }));
  EXPECT_TRUE(harness::allocatesAtAnySize(1, text, [](StringBuffer& buffer) {
    buffer.indent(' ', 8);
    return buffer.getSize();
  }));
}

}  // namespace
