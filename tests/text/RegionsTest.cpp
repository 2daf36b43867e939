// Delimited regions of text/Regions.cpp.

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
#include "harness/ModelBuffer.h"
#include "harness/Operation.h"
#include "harness/RegionsReference.h"
#include "harness/Stopwatch.h"
#include "harness/StorageLayout.h"

namespace {

using namespace std::string_literals;
namespace reference = harness::reference;
using harness::agreesOn;
using harness::allStrings;
using harness::appendRaw;
using harness::bytesOf;
using harness::holds;
using harness::inWords;
using harness::ModelBuffer;
using harness::Operation;
using harness::randomText;
using harness::secondsOf;
using harness::Texts;

constexpr std::size_t kMiB = 1048576;

// --- The members, each beside its slow reference -----------------------------------------------

// The readers tell the whole state of their output, which holds something before the call.
void prepare(StringBuffer& out) { appendRaw(out, std::string(60, 'o')); }
ModelBuffer preparedModel() {
  ModelBuffer out;
  out.append(std::string(60, 'o'));
  return out;
}

Operation getsBetween() {
  return {"getBetween",
          [](StringBuffer& b, const Texts& t) {
            StringBuffer out;
            prepare(out);
            const bool found = b.getBetween(t[0], t[1], out);
            return inWords(found) + inWords(out);
          },
          [](ModelBuffer& b, const Texts& t) {
            ModelBuffer out = preparedModel();
            const bool found = reference::getBetween(b, t[0], t[1], out);
            return inWords(found) + inWords(out);
          }};
}

Operation getsDelimited(bool includeMarkers) {
  return {"getDelimited "s + inWords(includeMarkers),
          [=](StringBuffer& b, const Texts& t) {
            StringBuffer out;
            prepare(out);
            b.getDelimited(t[0], t[1], includeMarkers, out);
            return inWords(out);
          },
          [=](ModelBuffer& b, const Texts& t) {
            ModelBuffer out = preparedModel();
            reference::getDelimited(b, t[0], t[1], includeMarkers, out);
            return inWords(out);
          }};
}

Operation copiesUntil(unsigned int start) {
  return {"copyUntil "s + inWords(start),
          [=](StringBuffer& b, const Texts& t) {
            StringBuffer out;
            prepare(out);
            unsigned int count = 77;
            const bool found = b.copyUntil(t[0], start, count, out);
            return inWords(found) + inWords(count) + inWords(out);
          },
          [=](ModelBuffer& b, const Texts& t) {
            ModelBuffer out = preparedModel();
            unsigned int count = 77;
            const bool found = reference::copyUntil(b, t[0], start, count, out);
            return inWords(found) + inWords(count) + inWords(out);
          }};
}

// The readers with this very buffer as the output.
std::vector<Operation> readersIntoItself() {
  std::vector<Operation> readers = {
      {"getBetween into itself",
       [](StringBuffer& b, const Texts& t) { return inWords(b.getBetween(t[0], t[1], b)); },
       [](ModelBuffer& b, const Texts& t) {
         const ModelBuffer before = b;
         return inWords(reference::getBetween(before, t[0], t[1], b));
       }}};
  for (const bool includeMarkers : {false, true}) {
    readers.push_back({"getDelimited into itself "s + inWords(includeMarkers),
                       [=](StringBuffer& b, const Texts& t) {
                         b.getDelimited(t[0], t[1], includeMarkers, b);
                         return ""s;
                       },
                       [=](ModelBuffer& b, const Texts& t) {
                         const ModelBuffer before = b;
                         reference::getDelimited(before, t[0], t[1], includeMarkers, b);
                         return ""s;
                       }});
  }
  return readers;
}

Operation copiesIntoItself(unsigned int start) {
  return {"copyUntil into itself "s + inWords(start),
          [=](StringBuffer& b, const Texts& t) {
            unsigned int count = 77;
            const bool found = b.copyUntil(t[0], start, count, b);
            return inWords(found) + inWords(count);
          },
          [=](ModelBuffer& b, const Texts& t) {
            const ModelBuffer before = b;
            unsigned int count = 77;
            const bool found = reference::copyUntil(before, t[0], start, count, b);
            return inWords(found) + inWords(count);
          }};
}

Operation chops(bool keepMarker) {
  return {
      "chopAtSubstr "s + inWords(keepMarker),
      [=](StringBuffer& b, const Texts& t) { return inWords(b.chopAtSubstr(t[0], keepMarker)); },
      [=](ModelBuffer& b, const Texts& t) {
        return inWords(reference::chopAtSubstr(b, t[0], keepMarker));
      }};
}

Operation removes(bool caseSensitive) {
  return {"removeDelimited "s + inWords(caseSensitive),
          [=](StringBuffer& b, const Texts& t) {
            return inWords(b.removeDelimited(t[0], t[1], caseSensitive));
          },
          [=](ModelBuffer& b, const Texts& t) {
            return inWords(reference::removeDelimited(b, t[0], t[1], caseSensitive));
          }};
}

Operation replacesBetween(bool dropMarkers) {
  return {"replaceAllBetween "s + inWords(dropMarkers),
          [=](StringBuffer& b, const Texts& t) {
            return inWords(b.replaceAllBetween(t[0], t[1], t[2], dropMarkers));
          },
          [=](ModelBuffer& b, const Texts& t) {
            return inWords(reference::replaceAllBetween(b, t[0], t[1], t[2], dropMarkers));
          }};
}

Operation replacesInRegions() {
  return {"replaceAllOccurancesBetween",
          [](StringBuffer& b, const Texts& t) {
            return inWords(b.replaceAllOccurancesBetween(t[0], t[1], t[2], t[3]));
          },
          [](ModelBuffer& b, const Texts& t) {
            return inWords(reference::replaceAllOccurancesBetween(b, t[0], t[1], t[2], t[3]));
          }};
}

// The members that take two markers and nothing else.
std::vector<Operation> markerMembers() {
  return {getsBetween(), getsDelimited(false), getsDelimited(true), removes(false), removes(true)};
}

// All that change this buffer, with texts for them.
struct Edit {
  Operation member;
  std::vector<std::string> texts;
};

std::vector<Edit> edits(const std::string& begin, const std::string& end,
                        const std::string& replacement) {
  return {{removes(false), {begin, end}},
          {removes(true), {begin, end}},
          {replacesBetween(false), {begin, end, replacement}},
          {replacesBetween(true), {begin, end, replacement}},
          {replacesInRegions(), {begin, end, "a", replacement}}};
}

Texts pointersTo(const std::vector<std::string>& texts) {
  Texts pointers;
  for (const std::string& text : texts) pointers.push_back(text.c_str());
  return pointers;
}

// --- getBetween and getDelimited ---------------------------------------------------------------

struct ReadCase {
  std::string content;
  const char* begin;
  const char* end;
  bool found;
  std::string inside;
  std::string withMarkers;
};

// The end is searched behind the begin marker; with the markers, from its second byte on.
TEST(Regions, TheFirstRegionIsRead) {
  const std::vector<ReadCase> cases = {
      {"x[y]z", "[", "]", true, "y", "[y]"},
      {"x[]y", "[", "]", true, "", "[]"},
      {"x[a][b]", "[", "]", true, "a", "[a]"},
      {"]x[a]", "[", "]", true, "a", "[a]"},
      {"x[y", "[", "]", false, "", ""},
      {"xy]", "[", "]", false, "", ""},
      {"", "[", "]", false, "", ""},
      {"<b>bold</b>", "<b>", "</b>", true, "bold", "<b>bold</b>"},
      {"<B>bold</b>", "<b>", "</b>", false, "", ""},
      // the same marker twice
      {"'a'b'", "'", "'", true, "a", "'a'"},
      {"'a", "'", "'", false, "", ""},
      // markers that overlap
      {"<!-->x-->", "<!--", "-->", true, ">x", "<!-->"},
      {"aaa", "aa", "a", true, "", "aa"},
      {"aa", "aa", "a", false, "", "aa"},
      {"abab", "ab", "ab", true, "", "abab"},
      {"/*/ x */", "/*", "*/", true, "/ x ", "/*/"},
      {"ab", "ab", "a", false, "", ""},
      {"aab", "aab", "ab", false, "", "aab"},
      // the text ends at its first NUL
      {"[a\0]"s, "[", "]", false, "", ""},
      {"[a]\0[b]"s, "[", "]", true, "a", "[a]"},
      {"\0[a]"s, "[", "]", false, "", ""},
  };
  for (const ReadCase& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    StringBuffer between("-");
    EXPECT_EQ(buffer.getBetween(c.begin, c.end, between), c.found) << c.content;
    EXPECT_TRUE(holds(between, "-" + c.inside, 0, 202));
    StringBuffer inside("-");
    buffer.getDelimited(c.begin, c.end, false, inside);
    EXPECT_TRUE(holds(inside, "-" + c.inside, 0, 202));
    StringBuffer with("-");
    buffer.getDelimited(c.begin, c.end, true, with);
    EXPECT_TRUE(holds(with, "-" + c.withMarkers, 0, 202)) << c.content;
    EXPECT_TRUE(holds(buffer, c.content, 0, 202));
  }
}

TEST(Regions, ReadersLeaveTheOutputAloneWhenNothingIsFound) {
  StringBuffer buffer("x[]y[");
  StringBuffer out;
  appendRaw(out, "a\0"s);
  EXPECT_TRUE(buffer.getBetween("[", "]", out));
  EXPECT_FALSE(buffer.getBetween("y[", "]", out));
  buffer.getDelimited("[", "]", false, out);
  buffer.getDelimited("y[", "]", true, out);
  unsigned int count = 77;
  EXPECT_TRUE(buffer.copyUntil("[", 1, count, out));
  EXPECT_EQ(count, 0U);
  EXPECT_TRUE(holds(out, "a\0"s, 0, 202));
}

// --- copyUntil ---------------------------------------------------------------------------------

struct CopyCase {
  std::string content;
  const char* marker;
  unsigned int start;
  bool found;
  unsigned int count;
  std::string copied;
};

TEST(Regions, CopyUntilCopiesFromTheStartToTheMarker) {
  const std::vector<CopyCase> cases = {
      {"ab cd;ef", ";", 2, true, 3, " cd"},
      {"ab;cd;ef", ";", 3, true, 2, "cd"},
      {"ab;cd;ef", ";", 2, true, 0, ""},
      {"ab;cd", ";", 3, false, 0, ""},
      {"ab;cd", ";", 0, true, 2, "ab"},
      {"ab;;", ";;", 1, true, 1, "b"},
      {"ab;;", ";;", 3, false, 0, ""},
      // an empty marker is found at the start
      {"abc", "", 0, true, 0, ""},
      {"abc", "", 2, true, 0, ""},
      {"abc", "", 3, false, 0, ""},
      {"", "", 0, false, 0, ""},
      {"", ";", 0, false, 0, ""},
      {"ab;", ";", 3, false, 0, ""},
      {"ab;", ";", 4, false, 0, ""},
      {"ab;", ";", 0xFFFFFFFF, false, 0, ""},
      {"ab;", nullptr, 0, false, 0, ""},
      {"a\0;"s, ";", 0, false, 0, ""},
      // behind an embedded NUL another text begins
      {"a\0bc;"s, ";", 2, true, 2, "bc"},
      {"a\0bc;"s, ";", 1, false, 0, ""},
      {"a\0bc;"s, "", 1, true, 0, ""},
      {"a\0b\0c;"s, ";", 2, false, 0, ""},
  };
  for (const CopyCase& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    StringBuffer out("-");
    unsigned int count = 77;
    EXPECT_EQ(buffer.copyUntil(c.marker, c.start, count, out), c.found) << c.content;
    EXPECT_EQ(count, c.count) << c.content;
    EXPECT_TRUE(holds(out, "-" + c.copied, 0, 202));
    EXPECT_TRUE(holds(buffer, c.content, 0, 202));
  }
}

// The way to the marker and to the NUL is measured part by part.
TEST(Regions, CopyUntilMeetsMarkersAndNulsAtEveryDistance) {
  const std::string marker = "<;>";
  for (const std::size_t part : {256U, 1024U, 4096U}) {
    for (std::size_t distance = part - 5; distance <= part + 5; ++distance) {
      const std::string before(distance, 'x');
      for (const std::string& content :
           {before, before + marker, before + marker + "y", before + "<;", before + '\0' + marker,
            before + marker + '\0' + marker, before + "<\0;>"s, before + before + marker}) {
        for (const unsigned int start : {0U, 1U, 7U})
          ASSERT_TRUE(agreesOn(copiesUntil(start), content, {marker.c_str()})) << distance;
      }
    }
  }
}

// --- chopAtSubstr ------------------------------------------------------------------------------

struct ChopCase {
  std::string content;
  const char* marker;
  bool found;
  std::string kept;
  std::string cut;
};

TEST(Regions, ChopAtSubstrCutsAtTheFirstMarker) {
  const std::vector<ChopCase> cases = {
      {"a::b", "::", true, "a::", "a"},
      {"a::b::c", "::", true, "a::", "a"},
      {"a::", "::", true, "a::", "a"},
      {"::", "::", true, "::", ""},
      {"a:b", "::", false, "a:b", "a:b"},
      {"A", "a", false, "A", "A"},
      {"", "a", false, "", ""},
      {"ab", "", false, "ab", "ab"},
      {"ab", nullptr, false, "ab", "ab"},
      {"a::b\0c"s, "::", true, "a::", "a"},
      {"a::\0c"s, "::", true, "a::", "a"},
      {"a\0::"s, "::", false, "a\0::"s, "a\0::"s},
  };
  for (const ChopCase& c : cases) {
    for (const bool keep : {false, true}) {
      StringBuffer buffer;
      appendRaw(buffer, c.content);
      EXPECT_EQ(buffer.chopAtSubstr(c.marker, keep), c.found) << c.content;
      EXPECT_TRUE(holds(buffer, keep ? c.kept : c.cut, 0, 202)) << c.content;
      EXPECT_TRUE(harness::agreesInBlocks(chops(keep), c.content, {c.marker}));
      EXPECT_TRUE(
          harness::agreesInBlocks(chops(keep), std::string(300, 'x') + c.content, {c.marker}));
    }
  }
}

TEST(Regions, ChopAtSubstrNeedsNoMemoryAndKeepsTheStorage) {
  StringBuffer buffer((std::string(300, 'x') + ";" + std::string(300, 'y')).c_str());
  buffer.setExtendSize(9);
  const char* data = buffer.getString();
  {
    const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
    EXPECT_TRUE(buffer.chopAtSubstr(";", true));
    EXPECT_EQ(fail.seen(), 0);
  }
  EXPECT_TRUE(holds(buffer, std::string(300, 'x') + ";", 804, 9));
  EXPECT_EQ(buffer.getString(), data);
}

// --- The members that rewrite the text ---------------------------------------------------------

struct EditCase {
  std::string content;
  Texts texts;
  std::string result;
  std::string left;
};

void expectEdits(const Operation& member, const std::vector<EditCase>& cases) {
  for (const EditCase& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    EXPECT_EQ(member.real(buffer, c.texts), c.result)
        << member.name << " on " << testing::PrintToString(c.content);
    EXPECT_TRUE(holds(buffer, c.left, 0, 202)) << member.name << " on " << c.content;
    EXPECT_TRUE(agreesOn(member, c.content, c.texts));
    EXPECT_TRUE(harness::agreesInBlocks(member, c.content, c.texts));
  }
}

TEST(Regions, OnlyWhatStandsInsideRegionsIsReplaced) {
  expectEdits(replacesInRegions(), {{"a[a]a[aa]a", {"[", "]", "a", "X"}, "2", "a[X]a[XX]a"},
                                    {"a[a", {"[", "]", "a", "X"}, "0", "a[a"},
                                    {"a]a", {"[", "]", "a", "X"}, "0", "a]a"},
                                    {"[a]b[a", {"[", "]", "a", "X"}, "1", "[X]b[a"},
                                    {"[a]", {"[", "]", "a", "X"}, "1", "[X]"},
                                    {"[]", {"[", "]", "a", "X"}, "1", "[]"},
                                    {"[", {"[", "]", "a", "X"}, "0", "["},
                                    {"[a][", {"[", "]", "a", "X"}, "1", "[X]["},
                                    {"[a][a]", {"[", "]", "a", ""}, "2", "[][]"},
                                    {"[[a]a]", {"[", "]", "a", "X"}, "1", "[[X]a]"},
                                    {"[b]", {"[", "]", "a", "X"}, "1", "[b]"},
                                    {"", {"[", "]", "a", "X"}, "0", ""},
                                    // matches do not reach across the markers
                                    {"a[ab]b", {"[", "]", "[a", "X"}, "1", "a[ab]b"},
                                    // the end is searched behind the begin marker
                                    {"|a|a|a|", {"|", "|", "a", "X"}, "2", "|X|a|X|"},
                                    {"<!-->a-->", {"<!--", "-->", "a", "X"}, "1", "<!-->X-->"},
                                    // an empty search text replaces nothing, the regions count
                                    {"[a]", {"[", "]", "", "X"}, "1", "[a]"},
                                    // one empty marker
                                    {"a]a", {"", "]", "a", "X"}, "1", "X]a"},
                                    {"a]a]", {"", "]", "a", "X"}, "2", "X]X]"},
                                    {"[a[a", {"[", "", "a", "X"}, "2", "[a[a"},
                                    {"a[", {"[", "", "a", "X"}, "0", "a["},
                                    // none
                                    {"aba", {"", "", "a", "X"}, "0", "aba"},
                                    {"[a]", {nullptr, "]", "a", "X"}, "0", "[a]"},
                                    {"[a]", {"[", nullptr, "a", "X"}, "0", "[a]"},
                                    {"[a]", {"[", "]", nullptr, "X"}, "0", "[a]"},
                                    {"[a]", {"[", "]", "a", nullptr}, "0", "[a]"},
                                    // the text ends at its first NUL
                                    {"[a]a\0[a]"s, {"[", "]", "a", "X"}, "1", "[X]a"},
                                    {"[a]\0[a]"s, {"[", "]", "a", "X"}, "1", "[X]"},
                                    {"[a\0]"s, {"[", "]", "a", "X"}, "0", "[a\0]"s}});
}

TEST(Regions, TheFirstRegionIsReplacedAsAWhole) {
  expectEdits(replacesBetween(false), {{"f(x)(y)", {"(", ")", "Z"}, "true", "f(Z)(y)"},
                                       {"f()", {"(", ")", "Z"}, "true", "f(Z)"},
                                       {"f(x)", {"(", ")", ""}, "true", "f()"},
                                       {"f(x", {"(", ")", "Z"}, "false", "f(x"},
                                       {"fx)", {"(", ")", "Z"}, "false", "fx)"},
                                       {"", {"(", ")", "Z"}, "false", ""},
                                       {")(x)", {"(", ")", "Z"}, "true", ")(Z)"},
                                       {"<!-->x-->", {"<!--", "-->", "Z"}, "true", "<!--Z-->"},
                                       {"ab", {"ab", "b", "Z"}, "false", "ab"},
                                       {"x)y", {"", ")", "Z"}, "true", "Z)y"},
                                       {"a(x)", {"(", "", "Z"}, "true", "a(Zx)"},
                                       {"", {"", ")", "Z"}, "false", ""},
                                       // two empty markers stand before the first byte
                                       {"", {"", "", "r"}, "false", ""},
                                       {"ab", {"", "", "r"}, "true", "rab"},
                                       {"(x)", {nullptr, ")", "Z"}, "false", "(x)"},
                                       {"(x)", {"(", nullptr, "Z"}, "false", "(x)"},
                                       {"(x)", {"(", ")", nullptr}, "false", "(x)"},
                                       {"(x)a\0(b)"s, {"(", ")", "Z"}, "true", "(Z)a"},
                                       {"(x\0)"s, {"(", ")", "Z"}, "false", "(x\0)"s},
                                       {"\0(x)"s, {"(", ")", "Z"}, "false", "\0(x)"s}});
  expectEdits(replacesBetween(true), {{"f(x)(y)", {"(", ")", "Z"}, "true", "fZ(y)"},
                                      {"f(x)", {"(", ")", ""}, "true", "f"},
                                      {"(x)", {"(", ")", ""}, "true", ""},
                                      {"f(x", {"(", ")", "Z"}, "false", "f(x"},
                                      {"<!-->x-->", {"<!--", "-->", "Z"}, "true", "Z"}});
}

// The end is searched from the first byte of the begin marker on.
TEST(Regions, EveryRegionIsRemoved) {
  expectEdits(removes(true), {{"a{x}b{y}c", {"{", "}"}, "true", "abc"},
                              {"a{x", {"{", "}"}, "true", "a{x"},
                              {"a{x}b{y", {"{", "}"}, "true", "ab{y"},
                              {"{x}{y}", {"{", "}"}, "true", ""},
                              {"a}b{c}", {"{", "}"}, "true", "a}b"},
                              {"{{x}}", {"{", "}"}, "true", "}"},
                              {"abc", {"{", "}"}, "true", "abc"},
                              {"", {"{", "}"}, "true", ""},
                              {"xaby", {"ab", "b"}, "true", "xy"},
                              {"xaby", {"ab", "a"}, "true", "xby"},
                              {"<!-->x-->y", {"<!--", "-->"}, "true", "x-->y"},
                              {"'a'b'c", {"'", "'"}, "true", "abc"},
                              {"xababy", {"ab", "ab"}, "true", "xy"},
                              {"<B>x</B><b>y</b>z", {"<b>", "</b>"}, "true", "<B>x</B>z"},
                              {"a{x}", {nullptr, "}"}, "true", "a{x}"},
                              {"a{x}", {"{", nullptr}, "true", "a{x}"},
                              {"a{x}", {"", "}"}, "true", "a{x}"},
                              {"a{x}", {"{", ""}, "true", "a{x}"},
                              {"a{x}b\0{y}"s, {"{", "}"}, "true", "ab"},
                              {"a{x}\0b"s, {"{", "}"}, "true", "a"},
                              {"a{x\0}"s, {"{", "}"}, "true", "a{x\0}"s}});
  expectEdits(removes(false), {{"<B>x</b><b>y</B>z", {"<b>", "</b>"}, "true", "z"},
                               {"a<Bx>b", {"<b", "X>"}, "true", "ab"},
                               {"a{x}b{y", {"{", "}"}, "true", "ab{y"},
                               {"\xC9x\xE9", {"\xE9", "\xC9"}, "true", "\xC9x\xE9"}});
}

TEST(Regions, ReplacingStartsWithClearedStorage) {
  const std::string content = "[" + std::string(3000, 'a') + "]";
  StringBuffer buffer(content.c_str());
  buffer.setExtendSize(7);
  EXPECT_EQ(buffer.replaceAllOccurancesBetween("[", "]", "a", ""), 1U);
  EXPECT_TRUE(holds(buffer, "[]", 0, 202));
  buffer.append(content.c_str());
  EXPECT_TRUE(buffer.replaceAllBetween("[]", "]", std::string(100, 'r').c_str(), true));
  EXPECT_TRUE(holds(buffer, std::string(100, 'r'), 303, 202));
}

TEST(Regions, WithoutARegionNothingIsTouched) {
  const std::string content = "x]" + std::string(300, 'a') + "[y";
  for (const Edit& edit : edits("[", "]", "r")) {
    StringBuffer buffer;
    harness::fillHeap(buffer, content, 5);
    buffer.setExtendSize(7);
    const char* data = buffer.getString();
    edit.member.real(buffer, pointersTo(edit.texts));
    EXPECT_TRUE(holds(buffer, content, 310, 7)) << edit.member.name;
    EXPECT_EQ(buffer.getString(), data) << edit.member.name;
  }
}

// --- All of them beside the references ---------------------------------------------------------

void expectAllAgree(const std::string& content, const char* begin, const char* end,
                    const char* replacement) {
  const Texts two = {begin, end};
  for (const Operation& member : markerMembers()) ASSERT_TRUE(agreesOn(member, content, two));
  for (const Operation& member : readersIntoItself()) ASSERT_TRUE(agreesOn(member, content, two));
  for (const bool flag : {false, true}) {
    ASSERT_TRUE(agreesOn(chops(flag), content, two));
    ASSERT_TRUE(agreesOn(replacesBetween(flag), content, {begin, end, replacement}));
  }
  ASSERT_TRUE(agreesOn(replacesInRegions(), content, {begin, end, "a", replacement}));
}

TEST(Regions, EveryShortContentAgreesWithTheReference) {
  const std::vector<std::string> markers = {"", "a", "b", "aa", "ab", "aB", "ba"};
  std::vector<std::string> contents = allStrings("abB\0"s, 3);
  for (const std::string& content : allStrings("ab", 5)) contents.push_back(content);
  for (const std::string& content : contents) {
    for (const std::string& begin : markers) {
      for (const std::string& end : markers)
        expectAllAgree(content, begin.c_str(), end.c_str(), "ab");
    }
    if (HasFailure()) return;
  }
}

TEST(Regions, EveryShortCopyAgreesWithTheReference) {
  for (const std::string& content : allStrings("ab\0"s, 5)) {
    for (unsigned int start = 0; start <= content.size(); ++start) {
      for (const char* marker : {"", "a", "b", "ab", "aa"}) {
        ASSERT_TRUE(agreesOn(copiesUntil(start), content, {marker}));
        ASSERT_TRUE(agreesOn(copiesIntoItself(start), content, {marker}));
      }
    }
  }
}

TEST(Regions, RandomContentsAgreeWithTheReference) {
  const std::vector<std::string> markers = {"[", "]", "[[", "ab", "-->", "<!--", "x", "[a"};
  for (unsigned int seed = 1; seed <= 300; ++seed) {
    const std::string content = randomText(seed, seed * 5 % 600, "[]abxX<!-->");
    const std::string replacement = randomText(seed, seed * 7 % 120, "rs");
    expectAllAgree(content, markers[seed % 8].c_str(), markers[seed / 8 % 8].c_str(),
                   replacement.c_str());
    for (const Edit& edit : edits("[", "]", replacement))
      ASSERT_TRUE(harness::agreesInBlocks(edit.member, content, pointersTo(edit.texts)));
    if (HasFailure()) return;
  }
}

TEST(Regions, EverySizeAtTheStorageBorders) {
  for (const std::size_t size : {79U, 80U, 81U, 82U, 83U, 283U, 284U, 285U, 700U}) {
    const std::string content = "x[" + std::string(size - 4, 'y') + "]x";
    for (const std::size_t grown : {0U, 1U, 2U, 81U, 82U, 300U}) {
      expectAllAgree(content, "[", "]", std::string(grown, 'r').c_str());
      expectAllAgree("[]" + content, "[", "]", std::string(grown, 'r').c_str());
    }
    for (const unsigned int start : {0U, 1U, 2U, 60U})
      EXPECT_TRUE(agreesOn(copiesUntil(start), content, {"]"}));
  }
}

TEST(Regions, TheLengthBoundsTheTextWhenTheTerminatorIsOverwritten) {
  for (const std::string& content : {""s, "[a"s, "x[a]["s, "[a]"s, "[a]b"s, "[a\0]"s}) {
    for (const char stale : {']', '[', 'a'}) {
      for (const Edit& edit : edits("[", "]", "ra"))
        EXPECT_TRUE(
            harness::agreesUnterminated(edit.member, content, pointersTo(edit.texts), stale));
      for (const Operation& member : markerMembers())
        EXPECT_TRUE(harness::agreesUnterminated(member, content, {"[", "]"}, stale));
      for (const Operation& member : readersIntoItself())
        EXPECT_TRUE(harness::agreesUnterminated(member, content, {"[", "]"}, stale));
      for (const Operation& member : {chops(false), chops(true), copiesUntil(0), copiesUntil(1)})
        EXPECT_TRUE(harness::agreesUnterminated(member, content, {"]"}, stale));
    }
  }
}

TEST(Regions, NothingIsReadBehindAnExactBlock) {
  const std::string content = "x[" + std::string(200, 'a');
  for (const Edit& edit : edits("[", "]", "ra")) {
    StringBuffer exact;
    harness::fillExactUnterminated(exact, content, ']');
    EXPECT_TRUE(harness::agrees(edit.member, exact, pointersTo(edit.texts), false));
  }
  for (const Operation& member : markerMembers()) {
    StringBuffer exact;
    harness::fillExactUnterminated(exact, content, ']');
    EXPECT_TRUE(harness::agrees(member, exact, {"[", "]"}, false));
  }
}

// --- Texts inside the buffer, exhausted memory, secrets ----------------------------------------

TEST(Regions, TheTextsMayLieInTheBuffer) {
  for (const std::string& text :
       {"x[aba]y[a]["s, "x[aba]" + std::string(100, 'y') + "[aa]" + std::string(90, 'a') + "["}) {
    for (const char* replacement : {"rst", ""}) {
      for (const Edit& edit : edits("[", "]", replacement))
        harness::expectAgreesWhereverTheTextsLie(edit.member, text, edit.texts);
    }
    for (const Operation& member : markerMembers())
      harness::expectAgreesWhereverTheTextsLie(member, text, {"[", "]"});
    for (const Operation& member : readersIntoItself())
      harness::expectAgreesWhereverTheTextsLie(member, text, {"[", "]"});
    for (const Operation& member :
         {chops(false), chops(true), copiesUntil(3), copiesIntoItself(0), copiesIntoItself(3)})
      harness::expectAgreesWhereverTheTextsLie(member, text, {"]"});
  }
}

// A failure changes nothing; a success is complete.
TEST(Regions, AReplacementIsStoredWhollyOrNothingChanges) {
  const std::string before(100, '.');
  const std::string behind = std::string(300, ',') + "[aa]x";
  const std::string content = before + "[" + std::string(200, 'a') + "]" + behind;
  const std::string replacement(400, 'r');
  const Texts texts = {"[", "]", replacement.c_str()};
  for (const bool dropMarkers : {false, true}) {
    const std::string done =
        before + (dropMarkers ? replacement : "[" + replacement + "]") + behind;
    harness::expectSurvivesFailures(replacesBetween(dropMarkers), content, texts,
                                    [&](const std::string& result, const std::string& left) {
                                      return left == (result == "true" ? done : content);
                                    });
  }
}

TEST(Regions, RemovingLosesPiecesOnly) {
  const std::string before(100, '.');
  const std::string between(300, ',');
  const std::string content = before + "[aa]" + between + "[b]x";
  for (const bool caseSensitive : {false, true}) {
    harness::expectSurvivesFailures(
        removes(caseSensitive), content, {"[", "]"},
        [&](const std::string& result, const std::string& left) {
          return result == "true" && harness::isMadeOf(left, {before, between, "x"});
        });
  }
}

// Where there is no memory for a piece, only that one is missing.
TEST(Regions, RemovingGoesOnBehindALostPiece) {
  StringBuffer buffer;
  harness::fillHeap(buffer, std::string(90, '.') + "{x}" + std::string(400, ',') + "{y};", 5);
  const harness::FailLargeAllocations fail(400);
  EXPECT_TRUE(buffer.removeDelimited("{", "}", true));
  EXPECT_TRUE(holds(buffer, std::string(90, '.') + ";"));
}

// The regions are counted whether or not there is memory for what becomes of them.
TEST(Regions, ReplacingInRegionsLosesPiecesOnlyAndCountsTheRegions) {
  const std::string before(100, '.');
  const std::string between(300, ',');
  const std::string content = before + "[ab]" + between + "[aa]x";
  const std::string replacement(400, 'r');
  const std::vector<std::string> pieces = {before, "[",         replacement, "b", "]", between,
                                           "[",    replacement, replacement, "]", "x"};
  harness::expectSurvivesFailures(
      replacesInRegions(), content, {"[", "]", "a", replacement.c_str()},
      [&](const std::string& result, const std::string& left) {
        return result == "2" && (left == content || harness::isMadeOf(left, pieces));
      });
}

TEST(Regions, ReplacedRegionsThatCannotBeStoredAreCountedAndNothingChanges) {
  const std::string content = std::string(500, '.') + "[a]";
  StringBuffer buffer;
  harness::fillHeap(buffer, content, 5);
  {
    const harness::FailAllocation fail(2);
    EXPECT_EQ(buffer.replaceAllOccurancesBetween("[", "]", "a", "b"), 1U);
    EXPECT_TRUE(fail.fired());
  }
  EXPECT_TRUE(holds(buffer, content, static_cast<unsigned int>(content.size()) + 6, 202));
}

TEST(Regions, AReplacementThatCannotBeStoredIsFalseAndNothingChanges) {
  for (const bool dropMarkers : {false, true}) {
    StringBuffer buffer("x[y]z");
    const std::string replacement(5000, 'r');
    bool result = true;
    {
      const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
      result = buffer.replaceAllBetween("[", "]", replacement.c_str(), dropMarkers);
    }
    EXPECT_FALSE(result);
    EXPECT_TRUE(holds(buffer, "x[y]z", 0, 202)) << bytesOf(buffer);
  }
}

// The result tells that the markers stand in the text, not that there was memory.
TEST(Regions, ReadersFindWhatTheOutputHasNoMemoryFor) {
  const std::string region(300, 'y');
  const StringBuffer buffer(("[" + region + "]").c_str());
  StringBuffer out("out");
  unsigned int count = 0;
  {
    const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
    EXPECT_TRUE(buffer.getBetween("[", "]", out));
    EXPECT_TRUE(buffer.copyUntil("]", 1, count, out));
    EXPECT_EQ(fail.seen(), 2);
  }
  EXPECT_EQ(count, 300U);
  EXPECT_TRUE(holds(out, "out", 0, 202));
}

TEST(Regions, ReadersSurviveExhaustedMemory) {
  const std::string content = "x[" + std::string(700, 'y') + "]";
  const std::vector<std::function<void(StringBuffer&, StringBuffer&)>> readers = {
      [](StringBuffer& b, StringBuffer& out) { b.getBetween("[", "]", out); },
      [](StringBuffer& b, StringBuffer& out) { b.getDelimited("[", "]", true, out); },
      [](StringBuffer& b, StringBuffer& out) {
        unsigned int count = 0;
        b.copyUntil("]", 2, count, out);
      },
      [](StringBuffer& b, StringBuffer&) { b.getBetween("[", "]", b); }};
  for (const auto& reader : readers) {
    const long live = harness::liveBlocks();
    {
      std::unique_ptr<StringBuffer> buffer;
      std::unique_ptr<StringBuffer> out;
      const long failed = harness::failEveryAllocation(
          [&] {
            buffer = std::make_unique<StringBuffer>(content.c_str());
            out = std::make_unique<StringBuffer>("out");
          },
          [&] { reader(*buffer, *out); },
          [&] {
            EXPECT_TRUE(harness::invariantsHold(*out));
            EXPECT_TRUE(harness::invariantsHold(*buffer));
            EXPECT_TRUE(holds(*out, "out") || out->getSize() >= 703);
            EXPECT_EQ(bytesOf(*buffer).substr(0, content.size()), content);
          });
      EXPECT_GE(failed, 1);
    }
    EXPECT_EQ(harness::liveBlocks(), live);
  }
}

TEST(Regions, ASecureBufferWipesWhatItReleases) {
  const std::string content = "x[" + std::string(300, 's') + "aa]" + std::string(300, 't') + "[a]" +
                              std::string(300, 'u') + "[v";
  for (const std::string& replacement : {""s, "r"s, std::string(900, 'r')}) {
    for (const Edit& edit : edits("[", "]", replacement))
      harness::expectWipes(edit.member, content, pointersTo(edit.texts));
  }
  for (const Edit& edit : edits("[", "]", std::string(50, 'r')))
    harness::expectWipesWhereverTheTextsLie(edit.member, content, edit.texts);
  for (const Operation& member : readersIntoItself()) {
    harness::expectWipes(member, content, {"[", "]"});
    harness::expectWipesWhereverTheTextsLie(member, content, {"[", "]"});
  }
}

TEST(Regions, TheInlineBytesOfASecureBufferAreWiped) {
  for (const Edit& edit : edits("[", "]", "")) {
    StringBuffer buffer("[aaaa] secret [aaaa]");
    buffer.setSecureBuf(true);
    edit.member.real(buffer, pointersTo(edit.texts));
    const std::string left = bytesOf(buffer);
    EXPECT_LT(left.size(), 20U);
    EXPECT_EQ(harness::peekInlineBytes(&buffer), left + std::string(82 - left.size(), '\0'))
        << edit.member.name;
  }
}

// --- Hostile sizes -----------------------------------------------------------------------------

TEST(Regions, ManyRegionsTakeLinearTime) {
  std::string regions;
  while (regions.size() < kMiB / 2) regions += "[a]";
  const std::string opened(kMiB / 2, '[');
  const double seconds = secondsOf([&] {
    for (const std::string& content : {regions, opened, opened + "]", "[" + opened}) {
      for (const Edit& edit : edits("[", "]", "rr")) {
        StringBuffer buffer(content.c_str());
        edit.member.real(buffer, pointersTo(edit.texts));
        EXPECT_TRUE(harness::invariantsHold(buffer));
      }
    }
    StringBuffer ended(std::string(kMiB / 2, ']').c_str());
    EXPECT_EQ(ended.replaceAllOccurancesBetween("", "]", "a", "b"), kMiB / 2);
    StringBuffer begun(opened.c_str());
    EXPECT_EQ(begun.replaceAllOccurancesBetween("[", "", "a", "b"), kMiB / 2 - 1);
  });
  EXPECT_LT(seconds, 8.0);
}

TEST(Regions, PeriodicMarkersTakeLinearTime) {
  const std::string as(kMiB, 'a');
  const std::string half = std::string(kMiB / 2, 'a');
  const std::string near = half + "b";
  const double seconds = secondsOf([&] {
    for (const Texts& texts :
         {Texts{near.c_str(), "a"}, Texts{"a", near.c_str()}, Texts{half.c_str(), near.c_str()}}) {
      StringBuffer buffer(as.c_str());
      StringBuffer out;
      unsigned int count = 0;
      EXPECT_FALSE(buffer.getBetween(texts[0], texts[1], out));
      buffer.getDelimited(texts[0], texts[1], true, out);
      EXPECT_FALSE(buffer.copyUntil(near.c_str(), 1, count, out));
      EXPECT_FALSE(buffer.chopAtSubstr(near.c_str(), true));
      EXPECT_FALSE(buffer.replaceAllBetween(texts[0], texts[1], "r", true));
      EXPECT_EQ(buffer.replaceAllOccurancesBetween(texts[0], texts[1], "x", "r"), 0U);
      EXPECT_TRUE(buffer.removeDelimited(texts[0], texts[1], false));
      EXPECT_TRUE(buffer.removeDelimited(texts[0], texts[1], true));
      EXPECT_EQ(buffer.getSize(), kMiB);
      EXPECT_EQ(out.getSize(), 0U);
    }
  });
  EXPECT_LT(seconds, 8.0);
}

// The end marker ends each region inside the begin marker, which then begins anew one byte on.
TEST(Regions, EndMarkersInsideBeginMarkersTakeLinearTime) {
  for (const bool caseSensitive : {false, true}) {
    const double growth = harness::growthOfTime(kMiB / 16, [&](std::size_t size) {
      StringBuffer buffer(std::string(size, 'a').c_str());
      buffer.removeDelimited(std::string(size / 64, 'a').c_str(), "a", caseSensitive);
      EXPECT_EQ(buffer.getSize(), size / 64 - 1);
    });
    EXPECT_LT(growth, 3.0);
  }
}

// Each call stops at the NUL of its record, or at its marker, however much follows.
TEST(Regions, RecordByRecordCopyingTakesLinearTime) {
  for (const std::string& record : {"record\0\0"s, "record;\0"s, "record;;"s}) {
    const double growth = harness::growthOfTime(kMiB / 8, [&](std::size_t size) {
      std::string records;
      while (records.size() < size) records += record;
      StringBuffer buffer;
      appendRaw(buffer, records + ";");
      StringBuffer out;
      unsigned int count = 0;
      for (unsigned int start = 0; start < size; start += 8)
        EXPECT_EQ(buffer.copyUntil(";", start, count, out), record[6] == ';');
    });
    EXPECT_LT(growth, 3.0) << testing::PrintToString(record);
  }
}

// ---- Allocations ----

std::string textWithRegions(std::size_t size) {
  return harness::textWithMarks(size, 100, "<b>word</b>");
}

TEST(Regions, RemovingAllocatesOnceWhateverTheSize) {
  EXPECT_TRUE(harness::allocatesAtAnySize(1, textWithRegions, [](StringBuffer& buffer) {
    buffer.removeDelimited("<b>", "</b>", true);
    return buffer.getSize();
  }));
}

TEST(Regions, ReplacingAllocatesTheSameWhateverTheSize) {
  EXPECT_TRUE(harness::allocatesAtAnySize(1, textWithRegions, [](StringBuffer& buffer) {
    buffer.replaceAllBetween("<b>", "</b>", "another text", false);
    return buffer.getSize();
  }));
  // One for the regions as they come, and one for the result.
  for (const char* replacement : {"", "text", "a sentence"}) {
    EXPECT_TRUE(harness::allocatesAtAnySize(2, textWithRegions, [&](StringBuffer& buffer) {
      buffer.replaceAllOccurancesBetween("<b>", "</b>", "word", replacement);
      return buffer.getSize();
    })) << replacement;
  }
}

}  // namespace
