// ISO-2022 escape protection of text/Iso2022.cpp.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <list>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/Iso2022Reference.h"
#include "harness/ModelBuffer.h"
#include "harness/ReleasedBlocks.h"
#include "harness/StaleStorage.h"
#include "harness/Stopwatch.h"
#include "support/ExtPtrArray.h"
#include "support/ExtPtrArraySb.h"

namespace {

using namespace std::string_literals;
namespace reference = harness::reference;
using harness::allStrings;
using harness::appendRaw;
using harness::bytesOf;
using harness::holds;
using harness::ModelBuffer;
using harness::randomText;
using harness::secondsOf;
using reference::kClosing;
using reference::kOpening;

using Runs = std::vector<std::string>;

std::vector<std::string> runsIn(const ExtPtrArray& array) {
  std::vector<std::string> runs;
  for (int i = 0; i < array.getSize(); ++i) {
    auto* run = dynamic_cast<StringBuffer*>(array.elementAt(i));
    EXPECT_TRUE(run == nullptr || harness::invariantsHold(*run));
    runs.push_back(run == nullptr ? "null" : bytesOf(*run));
  }
  return runs;
}

void fill(ExtPtrArray& array, const Runs& runs) {
  for (const std::string& run : runs) {
    StringBuffer* buffer = StringBuffer::createNewSB();
    appendRaw(*buffer, run);
    array.appendPtr(buffer);
  }
}

// A run of two-byte text with its escapes.
std::string run(const std::string& inner) { return kOpening + inner + kClosing; }

// Every letter of a pattern stands for a piece of text.
std::string spelled(std::string_view pattern) {
  std::string text;
  for (const char c : pattern) {
    if (c == '[')
      text += kOpening;
    else if (c == ']')
      text += kClosing;
    else if (c >= '0' && c <= '9')
      text += "DV_ISO2022_"s + c;
    else
      text += c;
  }
  return text;
}

// In a large block with an extend size of its own, or where the content fits.
void make(StringBuffer& buffer, const std::string& content, unsigned int room) {
  if (room != 0) buffer.expectNumBytes(room);
  appendRaw(buffer, content);
}

testing::AssertionResult replacesAsTold(const std::string& content, unsigned int room = 0) {
  StringBuffer buffer;
  make(buffer, content, room);
  ModelBuffer model = harness::modelOf(buffer);
  const Runs told = reference::iso2022Replace(model);
  ExtPtrArray runs;
  buffer.iso2022Replace(runs);
  if (runsIn(runs) != told)
    return testing::AssertionFailure() << testing::PrintToString(runsIn(runs)) << " instead of "
                                       << testing::PrintToString(told);
  testing::AssertionResult same = matches(buffer, model);
  if (!same) return same << ", of " << testing::PrintToString(content.substr(0, 300));
  buffer.iso2022Restore(runs);
  reference::iso2022Restore(model, told);
  if (bytesOf(buffer) != model.bytes)
    return testing::AssertionFailure() << testing::PrintToString(bytesOf(buffer)) << " restored";
  return testing::AssertionSuccess();
}

testing::AssertionResult restoresAsTold(const std::string& content, const Runs& runs,
                                        unsigned int room = 0) {
  StringBuffer buffer;
  make(buffer, content, room);
  ModelBuffer model = harness::modelOf(buffer);
  reference::iso2022Restore(model, runs);
  ExtPtrArray array;
  fill(array, runs);
  buffer.iso2022Restore(array);
  if (runsIn(array) != runs) return testing::AssertionFailure() << "the runs have changed";
  testing::AssertionResult same = matches(buffer, model);
  return same ? same : same << ", of " << testing::PrintToString(content.substr(0, 300));
}

// --- iso2022Replace ------------------------------------------------------------------------------

struct ReplaceCase {
  std::string content;
  std::string left;
  Runs runs;
};

TEST(Iso2022Replace, SavesEveryRun) {
  const std::vector<ReplaceCase> cases = {
      {"", "", {}},
      {"plain", "plain", {}},
      {"ab" + run("xy") + "cd", "abDV_ISO2022_1cd", {run("xy")}},
      {run("xy"), "DV_ISO2022_1", {run("xy")}},
      {run(""), "DV_ISO2022_1", {run("")}},
      {run("a") + run("b"), "DV_ISO2022_1DV_ISO2022_2", {run("a"), run("b")}},
      {run("a") + "1" + run("b") + "2", "DV_ISO2022_11DV_ISO2022_22", {run("a"), run("b")}},
      // what stands in a run belongs to it
      {run("$&<\"\r\n" + kOpening + "z") + "!",
       "DV_ISO2022_1!",
       {run("$&<\"\r\n" + kOpening + "z")}},
      {"x" + run("\x1B$\x1B(\x1B") + "y", "xDV_ISO2022_1y", {run("\x1B$\x1B(\x1B")}},
      // a closing escape without an opening one is text
      {kClosing + "a" + run("b") + kClosing, kClosing + "aDV_ISO2022_1" + kClosing, {run("b")}},
      // other escapes are text
      {"\x1B$@ab\x1B(J", "\x1B$@ab\x1B(J", {}},
      {"\x1B$b\x1B$A\x1B$\x1B", "\x1B$b\x1B$A\x1B$\x1B", {}},
      {"\x1B\x1B$Bx",
       "\x1B"
       "DV_ISO2022_1",
       {"\x1B$Bx"}},
      // an unterminated run goes to the end
      {"ab" + kOpening + "xy", "abDV_ISO2022_1", {kOpening + "xy"}},
      {run("a") + kOpening + "xy\x1B(",
       "DV_ISO2022_1DV_ISO2022_2",
       {run("a"), kOpening + "xy\x1B("}},
      {"ab" + kOpening, "abDV_ISO2022_1", {kOpening}},
      {kOpening, "DV_ISO2022_1", {kOpening}},
      // placeholders that stand there already stay
      {"DV_ISO2022_1" + run("a"), "DV_ISO2022_1DV_ISO2022_1", {run("a")}},
  };
  for (const ReplaceCase& c : cases) {
    StringBuffer buffer(c.content.c_str());
    ExtPtrArray runs;
    buffer.iso2022Replace(runs);
    EXPECT_TRUE(holds(buffer, c.left, 0, 202)) << testing::PrintToString(c.content);
    EXPECT_EQ(runsIn(runs), c.runs);
    for (const unsigned int room : {0U, 90U, 5000U}) EXPECT_TRUE(replacesAsTold(c.content, room));
  }
}

TEST(Iso2022Replace, NumbersGoOnBeyondNine) {
  std::string content;
  std::string left;
  Runs runs;
  for (int i = 1; i <= 120; ++i) {
    runs.push_back(run(std::to_string(i)));
    content += "-" + runs.back();
    left += "-DV_ISO2022_" + std::to_string(i);
  }
  StringBuffer buffer(content.c_str());
  ExtPtrArray array;
  buffer.iso2022Replace(array);
  EXPECT_TRUE(holds(buffer, left));
  EXPECT_EQ(runsIn(array), runs);
  buffer.iso2022Restore(array);
  EXPECT_TRUE(holds(buffer, content));
}

// The numbers are those of this call, not the places in the array.
TEST(Iso2022Replace, RunsAreAppendedAndEarlierElementsUntouched) {
  ExtPtrArray array;
  fill(array, {"earlier"});
  array.appendPtr(nullptr);
  DorvaneObject* const first = array.elementAt(0);
  StringBuffer buffer((run("a") + run("b")).c_str());
  buffer.iso2022Replace(array);
  EXPECT_TRUE(holds(buffer, "DV_ISO2022_1DV_ISO2022_2"));
  EXPECT_EQ(runsIn(array), (Runs{"earlier", "null", run("a"), run("b")}));
  EXPECT_EQ(array.elementAt(0), first);
  StringBuffer again(run("c").c_str());
  again.iso2022Replace(array);
  EXPECT_TRUE(holds(again, "DV_ISO2022_1"));
  EXPECT_EQ(array.getSize(), 5);
  StringBuffer none("none");
  none.iso2022Replace(array);
  EXPECT_TRUE(holds(none, "none"));
  EXPECT_EQ(array.getSize(), 5);
}

TEST(Iso2022Replace, TheArrayMayBeOneOfBuffers) {
  ExtPtrArraySb array;
  StringBuffer buffer(("a" + run("b")).c_str());
  buffer.iso2022Replace(array);
  ASSERT_NE(array.sbAt(0), nullptr);
  EXPECT_TRUE(holds(*array.sbAt(0), run("b"), 0, 202));
  buffer.iso2022Restore(array);
  EXPECT_TRUE(holds(buffer, "a" + run("b")));
}

// The text ends at its first NUL.
TEST(Iso2022Replace, ANulEndsTheText) {
  for (const std::string& content :
       {run("a") + "b\0c"s, "x" + kOpening + "a\0b"s + kClosing, run("a") + "\0"s + run("b")}) {
    EXPECT_TRUE(replacesAsTold(content)) << testing::PrintToString(content);
    EXPECT_TRUE(replacesAsTold(content, 5000));
  }
}

TEST(Iso2022Replace, TheLengthBoundsTheText) {
  StringBuffer buffer;
  harness::fillUnterminated(buffer, run("a") + "\x1B$", 'B');
  ExtPtrArray runs;
  buffer.iso2022Replace(runs);
  EXPECT_EQ(bytesOf(buffer), "DV_ISO2022_1\x1B$");
  StringBuffer open;
  harness::fillUnterminated(open, kOpening + "a\x1B(", 'B');
  open.iso2022Replace(runs);
  EXPECT_EQ(bytesOf(open), "DV_ISO2022_1");
  EXPECT_EQ(runsIn(runs), (Runs{run("a"), kOpening + "a\x1B("}));
}

TEST(Iso2022Replace, EveryShortPatternAgreesWithTheReference) {
  for (const std::string& pattern : allStrings("[]x\x1B", 6))
    ASSERT_TRUE(replacesAsTold(spelled(pattern))) << pattern;
  for (const std::string& bytes : allStrings("\x1B$B(", 5))
    ASSERT_TRUE(replacesAsTold(bytes + "\x1B$B")) << testing::PrintToString(bytes);
}

TEST(Iso2022Replace, RandomContentsAgreeWithTheReference) {
  for (unsigned int seed = 1; seed <= 300; ++seed) {
    const std::string content = spelled(randomText(seed, seed * 3 % 500, "[]abcdefgh\x1B$(B"));
    if (content.find(kOpening) == std::string::npos) continue;
    for (const unsigned int room : {0U, 300U, 5000U})
      ASSERT_TRUE(replacesAsTold(content, room)) << "seed " << seed;
  }
}

TEST(Iso2022Replace, EverySizeAtTheStorageBorders) {
  for (std::size_t size = 60; size < 90; ++size) {
    EXPECT_TRUE(replacesAsTold(std::string(size, 'x') + run("a")));
    EXPECT_TRUE(replacesAsTold(run(std::string(size, 'x'))));
    EXPECT_TRUE(replacesAsTold(std::string(size - 40, 'x') + run("a") + std::string(40, 'y')));
  }
}

// --- iso2022Restore ------------------------------------------------------------------------------

struct RestoreCase {
  std::string content;
  Runs runs;
  std::string left;
};

TEST(Iso2022Restore, PutsRunsInTheFirstPlaceOfTheirNumber) {
  const std::vector<RestoreCase> cases = {
      {"abDV_ISO2022_1cd", {run("xy")}, "ab" + run("xy") + "cd"},
      {"DV_ISO2022_2-DV_ISO2022_1", {"one", "two"}, "two-one"},
      {"", {"one"}, ""},
      {"DV_ISO2022_1", {}, "DV_ISO2022_1"},
      // the first occurrence only
      {"DV_ISO2022_1 DV_ISO2022_1", {"one"}, "one DV_ISO2022_1"},
      // more runs than placeholders, more placeholders than runs
      {"DV_ISO2022_1", {"one", "two", "three"}, "one"},
      {"text", {"one", "two"}, "text"},
      {"DV_ISO2022_2 DV_ISO2022_3", {"one", "two"}, "two DV_ISO2022_3"},
      // exactly the letters
      {"dv_iso2022_1 DV_ISO2022_ 1", {"one"}, "dv_iso2022_1 DV_ISO2022_ 1"},
      // ascending: a lone placeholder of a longer number is met by the shorter one
      {"DV_ISO2022_10", {"one"}, "one0"},
      {"DV_ISO2022_1DV_ISO2022_10", {"one"}, "oneDV_ISO2022_10"},
      {"DV_ISO2022_12 DV_ISO2022_1", {"one", "two"}, "one2 DV_ISO2022_1"},
      // a run that brings another placeholder
      {"DV_ISO2022_1-DV_ISO2022_2", {"DV_ISO2022_2", "two"}, "two-DV_ISO2022_2"},
      {"DV_ISO2022_2-DV_ISO2022_1", {"DV_ISO2022_2", "two"}, "two-DV_ISO2022_2"},
      {"DV_ISO2022_1", {"DV_ISO2022_1", "two"}, "DV_ISO2022_1"},
      {"DV_ISO2022_1022_2", {"DV_ISO2", "two"}, "two"},
      {"DV_DV_ISO2022_1_2", {"ISO2022", "two"}, "two"},
      // the text of a run
      {"aDV_ISO2022_1b", {""}, "ab"},
      {"aDV_ISO2022_1b", {"x\0y"s}, "axb"},
      {"aDV_ISO2022_1b", {"\0y"s}, "ab"},
      // bytes behind a NUL stay and are not looked at
      {"DV_ISO2022_1\0DV_ISO2022_2"s, {"one", "two"}, "one\0DV_ISO2022_2"s},
  };
  for (const RestoreCase& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    ExtPtrArray array;
    fill(array, c.runs);
    buffer.iso2022Restore(array);
    EXPECT_TRUE(holds(buffer, c.left)) << testing::PrintToString(c.content);
    for (const unsigned int room : {0U, 90U, 5000U})
      EXPECT_TRUE(restoresAsTold(c.content, c.runs, room));
  }
}

TEST(Iso2022Restore, NullElementsAreSkipped) {
  ExtPtrArray array;
  array.appendPtr(nullptr);
  fill(array, {"two"});
  StringBuffer buffer("DV_ISO2022_1 DV_ISO2022_2");
  buffer.iso2022Restore(array);
  EXPECT_TRUE(holds(buffer, "DV_ISO2022_1 two"));
}

TEST(Iso2022Restore, WithoutAPlaceholderNothingChanges) {
  StringBuffer buffer(std::string(300, 'x').c_str());
  buffer.setExtendSize(17);
  const harness::BufferState before = harness::stateOf(buffer);
  const char* data = buffer.getString();
  ExtPtrArray array;
  fill(array, {"one", std::string(1000, '2')});
  buffer.iso2022Restore(array);
  EXPECT_EQ(harness::stateOf(buffer), before);
  EXPECT_EQ(buffer.getString(), data);
  EXPECT_EQ(runsIn(array), (Runs{"one", std::string(1000, '2')}));
}

TEST(Iso2022Restore, EveryShortTextWithEveryPairOfRunsAgrees) {
  std::vector<std::string> pieces;
  for (const std::string& pattern : allStrings("x12", 2)) pieces.push_back(spelled(pattern));
  pieces.push_back("DV_ISO2");
  for (const std::string& pattern : allStrings("x1203", 3)) {
    for (const std::string& first : pieces)
      for (const std::string& second : pieces)
        ASSERT_TRUE(restoresAsTold(spelled(pattern), {first, second})) << pattern;
  }
}

TEST(Iso2022Restore, RandomTextsAndRunsAgree) {
  for (unsigned int seed = 1; seed <= 300; ++seed) {
    Runs runs;
    for (unsigned int i = 0; i < seed % 13; ++i)
      runs.push_back(spelled(randomText(seed * 31 + i, (seed + i * 7) % 40, "ab[]123")));
    const std::string content = spelled(randomText(seed, seed % 60, "ab0123456789"));
    for (const unsigned int room : {0U, 300U, 5000U})
      ASSERT_TRUE(restoresAsTold(content, runs, room)) << "seed " << seed;
  }
}

// One run after the other, as if the text were small.
void restoreOneByOne(StringBuffer& buffer, const ExtPtrArray& runs) {
  for (int i = 0; i < runs.getSize(); ++i) {
    const auto* run = dynamic_cast<const StringBuffer*>(runs.elementAt(i));
    const std::string number = reference::placeholder(static_cast<std::size_t>(i) + 1);
    if (run != nullptr) buffer.replaceFirstOccurance(number.c_str(), run->getString());
  }
}

// Makes two buffers alike, restores one at once and the other run by run.
testing::AssertionResult restoresAsOneByOne(const std::function<void(StringBuffer&)>& set,
                                            ExtPtrArray& runs) {
  StringBuffer atOnce;
  StringBuffer oneByOne;
  set(atOnce);
  set(oneByOne);
  const std::string content = bytesOf(atOnce);
  atOnce.iso2022Restore(runs);
  restoreOneByOne(oneByOne, runs);
  const harness::BufferState told = harness::stateOf(oneByOne);
  if (harness::stateOf(atOnce) == told) return harness::invariantsHold(atOnce);
  return testing::AssertionFailure() << harness::stateOf(atOnce) << " instead of " << told
                                     << ", of " << testing::PrintToString(content);
}

// Every letter of a pattern stands for a part of a placeholder, an escape or something else; all
// together they make, break, join and hide placeholders.
std::string assembled(std::string_view pattern) {
  std::string text;
  for (const char c : pattern) {
    switch (c) {
      case '[':
        text += kOpening;
        break;
      case ']':
        text += kClosing;
        break;
      case 'P':
        text += "DV_ISO2022_";
        break;
      case 'p':
        text += "DV_ISO";
        break;
      case 'q':
        text += "2022_";
        break;
      case 'N':
        text += '\0';
        break;
      case 'L':
        text.append(130, '-');
        break;
      default:
        text += c;
    }
  }
  return text;
}

// Three arrays in ten have runs as iso2022Replace() saves them; the others have all kinds.
void fillAtRandom(ExtPtrArray& array, unsigned int seed) {
  const std::string_view alphabet = seed % 10 < 3 ? "P123a" : "PPPpqD12305a[]LN";
  for (unsigned int i = 0; i < seed * 7 % 31; ++i) {
    const std::string inner = assembled(randomText(seed * 37ULL + i, (seed + i * 5) % 9, alphabet));
    if ((seed + i * 3) % 11 == 0)
      array.appendPtr(nullptr);
    else
      fill(array, {(seed + i) % 10 < 8 - seed % 4 ? run(inner) : inner});
  }
}

TEST(Iso2022Restore, AtOnceIsTheSameAsOneByOne) {
  for (unsigned int seed = 1; seed <= 2500; ++seed) {
    ExtPtrArray runs;
    fillAtRandom(runs, seed);
    const std::string_view alphabet = seed % 3 == 0 ? "PPP1122300a" : "PPPPpq123456789000a[]N";
    const std::string content = assembled(randomText(seed, seed * 11 % 90, alphabet));
    for (const unsigned int room : {0U, 100U, 600U, 5000U}) {
      ASSERT_TRUE(restoresAsOneByOne(
          [&](StringBuffer& buffer) {
            buffer.setExtendSize(seed * 13 % 7 * 40);
            make(buffer, content, room);
            if (seed % 5 == 0) buffer.setExtendSize(seed % 4 * 50);
          },
          runs))
          << "seed " << seed << ", room " << room;
    }
  }
}

// The pieces meet in every way: what stands before the placeholder, the run, what stands behind.
TEST(Iso2022Restore, EveryJunctionAgrees) {
  const std::string prefixes[] = {"",    "D", "DV_", "DV_ISO2022", "DV_ISO2022_", "DV_ISO2022_1",
                                  "\x1B"};
  const std::string suffixes[] = {"",  "V_ISO2022_2", "_2",           "2", "DV_ISO2022_2",
                                  "0", "x",           "DV_ISO2022_20"};
  const std::string ends[] = {"",  "D",  "DV_ISO2022",    "DV_ISO2022_",  "DV_ISO2022_2",
                              "B", "DD", "DV_ISO2022_2x", "DV_ISO2022_02"};
  const std::string starts[] = {"", "\x1B", "V", "_", "I", "S", "O", "2", "0", "1", "D", "B"};
  for (const std::string& start : starts) {
    for (const std::string& end : ends) {
      ExtPtrArray runs;
      fill(runs, {start + end, "two", "three"});
      for (int i = 3; i < 25; ++i) fill(runs, {run(std::to_string(i))});
      for (const std::string& before : prefixes) {
        for (const std::string& behind : suffixes)
          ASSERT_TRUE(restoresAsOneByOne(
              [&](StringBuffer& buffer) { make(buffer, before + "DV_ISO2022_1" + behind, 400); },
              runs))
              << testing::PrintToString(before) << testing::PrintToString(start + end) << behind;
      }
    }
  }
}

// A stale length, a lost terminator, a text that ends early: the same as one by one.
TEST(Iso2022Restore, StaleStorageAgrees) {
  ExtPtrArray runs;
  for (int i = 0; i < 12; ++i) fill(runs, {run(std::to_string(i))});
  const std::string content = "DV_ISO2022_1 DV_ISO2022_2 DV_ISO2022_12";
  StringBuffer released;
  harness::releaseWithStaleLength(released, '1');
  released.iso2022Restore(runs);
  EXPECT_EQ(released.getSize(), 5000U);
  EXPECT_EQ(std::string(released.getString(), 81), std::string(81, '1'));
  EXPECT_TRUE(restoresAsOneByOne(
      [&](StringBuffer& b) { harness::fillUnterminated(b, content + "DV_ISO2022_", '1'); }, runs));
  EXPECT_TRUE(restoresAsOneByOne(
      [&](StringBuffer& b) {
        harness::fillExactUnterminated(b, content + std::string(60, 'x') + "DV_ISO2022_", '2');
      },
      runs));
  for (const std::size_t nuls : {1U, 5U, 50U}) {
    EXPECT_TRUE(restoresAsOneByOne(
        [&](StringBuffer& b) { appendRaw(b, content + std::string(nuls, '\0')); }, runs));
    EXPECT_TRUE(restoresAsOneByOne(
        [&](StringBuffer& b) { appendRaw(b, "x" + std::string(nuls, '\0')); }, runs));
  }
}

// A run ends with its length, though a caller has overwritten its terminator.
TEST(Iso2022Restore, TheLengthBoundsARun) {
  for (const std::string text : {"one", "1", "DV_ISO2022_"}) {
    ExtPtrArray runs;
    fill(runs, {""});
    harness::fillUnterminated(*dynamic_cast<StringBuffer*>(runs.elementAt(0)), text, '!');
    StringBuffer buffer("<DV_ISO2022_1>");
    buffer.iso2022Restore(runs);
    EXPECT_TRUE(holds(buffer, "<" + text + ">"));
  }
}

TEST(Iso2022Restore, TheBufferItselfMayBeARun) {
  for (const std::size_t size : {3U, 300U}) {
    const std::string edge(size, 'x');
    ExtPtrArray array;
    fill(array, {edge + "DV_ISO2022_1" + edge});
    auto& self = *dynamic_cast<StringBuffer*>(array.elementAt(0));
    self.iso2022Restore(array);
    EXPECT_TRUE(holds(self, edge + edge + "DV_ISO2022_1" + edge + edge));
  }
  ExtPtrArray array;
  fill(array, {run("1"), "<DV_ISO2022_1,DV_ISO2022_2,DV_ISO2022_3>", run("3")});
  auto& self = *dynamic_cast<StringBuffer*>(array.elementAt(1));
  self.expectNumBytes(500);
  const std::string inner = "<" + run("1") + ",DV_ISO2022_2,";
  self.iso2022Restore(array);
  EXPECT_TRUE(holds(self, "<" + run("1") + "," + inner + run("3") + ">,DV_ISO2022_3>"));
}

TEST(Iso2022, WhatWasReplacedComesBack) {
  for (unsigned int seed = 1; seed <= 200; ++seed) {
    const std::string content = spelled(randomText(seed, seed * 5 % 700, "[]ab\r\n&<$B(\x1B"));
    StringBuffer buffer(content.c_str());
    ExtPtrArray runs;
    buffer.iso2022Replace(runs);
    EXPECT_EQ(bytesOf(buffer).find(kOpening), std::string::npos);
    buffer.iso2022Restore(runs);
    ASSERT_TRUE(holds(buffer, content)) << "seed " << seed;
  }
}

// --- Exhausted memory ----------------------------------------------------------------------------

// The original, told by what is left: each placeholder in order is one of the runs.
std::string putBack(const std::string& left, const Runs& runs) {
  ModelBuffer model;
  model.append(left);
  reference::iso2022Restore(model, runs);
  return model.bytes;
}

// Whether `some` is `all` without some of its bytes.
bool isPartOf(std::string_view some, std::string_view all) {
  std::size_t found = 0;
  for (std::size_t i = 0; i < all.size() && found < some.size(); ++i)
    if (all[i] == some[found]) ++found;
  return found == some.size();
}

// A piece of text that does not fit may be lost, but not when it is a run that cannot be saved.
TEST(Iso2022Replace, WhenARunCannotBeSavedItAndTheRestOfTheTextStay) {
  const std::string content = std::string(100, 'a') + run(std::string(100, 'r')) +
                              std::string(100, 'b') + run("s") + "c" + run("t") + "d";
  const long live = harness::liveBlocks();
  int unsaved = 0;
  {
    std::unique_ptr<StringBuffer> buffer;
    std::unique_ptr<ExtPtrArray> runs;
    harness::failEveryAllocation(
        [&] {
          runs = std::make_unique<ExtPtrArray>();
          buffer = std::make_unique<StringBuffer>();
          harness::fillHeap(*buffer, content, 0);
        },
        [&] { buffer->iso2022Replace(*runs); },
        [&] {
          EXPECT_TRUE(harness::invariantsHold(*buffer));
          const std::string whole = putBack(bytesOf(*buffer), runsIn(*runs));
          if (runs->getSize() == 3) {
            EXPECT_TRUE(isPartOf(whole, content));
          } else {
            EXPECT_TRUE(whole == content)
                << "with " << runs->getSize() << " runs, " << buffer->getSize() << " bytes";
            ++unsaved;
          }
        });
  }
  EXPECT_GT(unsaved, 0);
  EXPECT_TRUE(HasFailure() || harness::liveBlocks() == live);
}

// Room is made once, for the longest text that may be left at any run.
TEST(Iso2022Replace, AsksForNoMoreThanItMayNeed) {
  std::string tenRuns;
  for (int i = 0; i < 10; ++i) tenRuns += run("");
  const struct {
    std::string content;
    std::size_t longest;
  } cases[] = {
      {std::string(100, 'x') + run(std::string(94, 'r')), 200},  // shorter afterwards
      {std::string(200, 'x') + run(""), 212},                    // longer afterwards
      {std::string(200, 'x') + run("") + run("") + run(std::string(94, 'r')), 312 + 12},
      {std::string(200, 'x') + run(std::string(94, 'r')) + run(""), 306},
      {std::string(200, 'x') + tenRuns, 200 + 9 * 12 + 13},  // the tenth number has two digits
  };
  for (const auto& c : cases) {
    ExtPtrArray runs;
    StringBuffer buffer(c.content.c_str());
    buffer.expectNumBytes(1000);
    bool found = false;
    for (const std::string& block : harness::releasedBy([&] { buffer.iso2022Replace(runs); }))
      found = found || block.size() == c.longest + 203;
    EXPECT_TRUE(found) << c.longest;
  }
}

// A restoring step either takes place, or loses what did not fit, or the text stays.
TEST(Iso2022Restore, ExhaustedMemoryCorruptsNothing) {
  const std::string content =
      std::string(90, 'a') + "DV_ISO2022_1" + std::string(90, 'b') + "DV_ISO2022_2";
  const Runs told = {run(std::string(500, 'r')), run(std::string(900, 's'))};
  const long live = harness::liveBlocks();
  {
    std::unique_ptr<StringBuffer> buffer;
    ExtPtrArray runs;
    fill(runs, told);
    const long failed = harness::failEveryAllocation(
        [&] {
          buffer = std::make_unique<StringBuffer>();
          harness::fillHeap(*buffer, content, 0);
        },
        [&] { buffer->iso2022Restore(runs); },
        [&] {
          EXPECT_TRUE(harness::invariantsHold(*buffer));
          EXPECT_EQ(bytesOf(*buffer).substr(0, 90), std::string(90, 'a'));
          EXPECT_EQ(runsIn(runs), told);
        });
    EXPECT_GT(failed, 0);
  }
  EXPECT_EQ(harness::liveBlocks(), live);
}

// As long as the storage suffices, exhausted memory costs time and nothing else.
TEST(Iso2022Restore, InPlaceNoFailedAllocationIsSeen) {
  std::string content = "<";
  for (int i = 40; i > 0; --i) content += reference::placeholder(static_cast<std::size_t>(i)) + "-";
  ExtPtrArray runs;
  for (int i = 1; i <= 40; ++i)
    fill(runs, {i % 9 == 0 ? "7" : run("DV_ISO2022_" + std::to_string(i + 1))});
  const auto set = [&](StringBuffer& buffer) {
    buffer.expectNumBytes(5000);
    buffer.append(content.c_str());
  };
  StringBuffer told;
  set(told);
  restoreOneByOne(told, runs);
  std::unique_ptr<StringBuffer> buffer;
  EXPECT_GT(harness::failEveryAllocation(
                [&] {
                  buffer = std::make_unique<StringBuffer>();
                  set(*buffer);
                },
                [&] { buffer->iso2022Restore(runs); },
                [&] { EXPECT_EQ(harness::stateOf(*buffer), harness::stateOf(told)); }),
            2);
}

// --- Secrets -------------------------------------------------------------------------------------

// How many released blocks hold a part of the secret. A new block may begin with what was released
// before, so nothing else that holds the secret is released meanwhile.
int leaks(const std::function<void()>& body) {
  constexpr std::string_view kSecret = "secret";
  int count = 0;
  const harness::WatchReleases watch([&](const unsigned char* block, std::size_t size) {
    if (std::search(block, block + size, kSecret.begin(), kSecret.end()) != block + size) ++count;
  });
  body();
  return count;
}

TEST(Iso2022, ASecureBufferLeavesNothingBehind) {
  const std::string few = "secret" + run("secret") + "secret" + std::string(80, 'x') + kOpening;
  std::string many;
  many.reserve(4000);
  for (const char c : std::string(40, 'r')) ((many += few) += kClosing) += c;
  std::list<ExtPtrArray> kept;
  const std::string* const contents[] = {&few, &many};
  for (const std::string* content : contents) {
    for (long k = 0; k < 12; ++k) {
      StringBuffer buffer;
      buffer.setSecureBuf(true);
      harness::fillHeap(buffer, *content, 0);
      ExtPtrArray& runs = kept.emplace_back();
      EXPECT_EQ(leaks([&] {
                  const harness::FailAllocation fail(k);
                  buffer.iso2022Replace(runs);
                  buffer.iso2022Restore(runs);
                }),
                0)
          << k;
      EXPECT_TRUE(harness::wipesItsBlocks(buffer));
    }
  }
}

// --- Hostile sizes -------------------------------------------------------------------------------

TEST(Iso2022, ManyRunsTakeLinearTime) {
  std::string content;
  for (int i = 0; i < 40000; ++i) content += kOpening + "abcdefghijklmnopqrst"[i % 20] + kClosing;
  StringBuffer buffer(content.c_str());
  EXPECT_LT(secondsOf([&] {
              ExtPtrArray runs;
              buffer.iso2022Replace(runs);
              EXPECT_EQ(runs.getSize(), 40000);
              buffer.iso2022Restore(runs);
            }),
            2.0);
  EXPECT_TRUE(holds(buffer, content));
}

// Each run with the placeholder of the next one or of many others, one inside the other as deep as
// there are runs; and placeholders in reverse order, often repeated, or for no run.
TEST(Iso2022, HostileRunsAreRestoredInTime) {
  constexpr std::size_t kCount = 20000;
  const auto number = [](std::size_t i) { return reference::placeholder(i); };
  const std::vector<std::function<std::string(std::size_t)>> inners = {
      [&](std::size_t i) { return number(i + 2); },
      [&](std::size_t i) { return number(kCount - i); },
      [&](std::size_t i) { return number(i + 2) + number(kCount) + number(i * 7919 % kCount); },
      [&](std::size_t) { return number(1); }};
  for (const auto& inner : inners) {
    ExtPtrArray runs;
    std::string content;
    for (std::size_t i = 0; i < kCount; ++i) {
      fill(runs, {run(inner(i))});
      content += number(kCount - i);
    }
    StringBuffer buffer(content.c_str());
    EXPECT_LT(secondsOf([&] { buffer.iso2022Restore(runs); }), 8.0);
    EXPECT_GT(buffer.getSize(), kCount * 6);
  }
}

// Small enough for comparison: a chain of runs, and trees of all shapes.
TEST(Iso2022, DeepRunsAgree) {
  for (const std::size_t count : {1500U, 2500U}) {
    ExtPtrArray runs;
    std::string content = "DV_ISO2022_1";
    for (std::size_t i = 0; i < count; ++i) {
      const std::string inner =
          reference::placeholder(i + 2) + reference::placeholder(i * 7 % count);
      fill(runs, {run(i % 2 == 0 ? inner + "x" : "x" + inner)});
      content += reference::placeholder(count - i);
    }
    for (const unsigned int room : {0U, 200000U})
      ASSERT_TRUE(
          restoresAsOneByOne([&](StringBuffer& buffer) { make(buffer, content, room); }, runs));
  }
}

TEST(Iso2022, TreesOfRunsAgree) {
  for (unsigned int seed = 1; seed <= 60; ++seed) {
    std::mt19937 random(seed);
    const std::size_t count = 40 + random() % 400;
    const auto some = [&] {
      std::string text;
      for (std::size_t i = 1 + random() % (seed % 4 + 1); i > 0; --i)
        text += reference::placeholder(1 + random() % count) + "x-"[random() % 2];
      return text;
    };
    ExtPtrArray runs;
    std::string content = some() + some();
    for (std::size_t i = 0; i < count; ++i)
      fill(runs, {run(some() + (random() % 3 != 0 ? reference::placeholder(i + 2) + some() : ""))});
    for (const unsigned int room : {0U, 100000U})
      ASSERT_TRUE(
          restoresAsOneByOne([&](StringBuffer& buffer) { make(buffer, content, room); }, runs))
          << "seed " << seed;
  }
}

TEST(Iso2022, HostileTextsAreReplacedInLinearTime) {
  const double seconds = secondsOf([] {
    constexpr std::size_t kMiB = 1048576;
    std::string openings;
    while (openings.size() < kMiB) openings += kOpening;
    std::string closed;
    while (closed.size() < kMiB / 8) closed += kOpening + kClosing;
    for (const std::string& content : {openings, closed, std::string(kMiB, '\x1B')}) {
      StringBuffer buffer(content.c_str());
      ExtPtrArray runs;
      buffer.iso2022Replace(runs);
      EXPECT_EQ(runs.getSize() > 0, content.find(kOpening) != std::string::npos);
    }
  });
  EXPECT_LT(seconds, 8.0);
}

}  // namespace
