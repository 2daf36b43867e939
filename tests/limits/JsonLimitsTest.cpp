#include <gtest/gtest.h>

#include <string>

#include "core/StringBuffer.h"
#include "harness/BufferState.h"
#include "harness/ModelBuffer.h"
#include "limits/Limit.h"
#include "support/_dvHashMap.h"

// JSON string bodies, templates, regions and fields at the longest content, which is 1 MiB in this
// build.

namespace {

using harness::holds;
using harness::kMost;
using harness::matches;
using harness::ModelBuffer;
using harness::modelOf;

TEST(JsonAtTheLimit, AnEscapeThatCannotFitChangesNothing) {
  for (const std::string& content :
       {std::string(kMost / 2 + 1, '"'), std::string(kMost / 2, '\x01'),
        std::string(kMost - 1, 'x') + "\"", std::string(kMost, '\x1F')}) {
    StringBuffer buffer(content.c_str());
    ASSERT_EQ(buffer.getSize(), content.size());
    const ModelBuffer before = modelOf(buffer);
    EXPECT_FALSE(buffer.jsonEscape());
    EXPECT_TRUE(matches(buffer, before)) << content.size();
  }
}

TEST(JsonAtTheLimit, TheLongestTextThatNeedsNoEscapeIsFine) {
  StringBuffer buffer(std::string(kMost, 'x').c_str());
  EXPECT_TRUE(buffer.jsonEscape());
  EXPECT_EQ(buffer.getSize(), kMost);
}

// The added byte counts twice in the capacity, unless the block would be larger than the longest
// content and its NUL need.
TEST(JsonAtTheLimit, TheCapacityIsStatedAsLongAsItFits) {
  for (unsigned int plain = kMost - 7; plain < kMost; ++plain) {
    const std::string xs(plain - 1, 'x');
    StringBuffer buffer((xs + "\"").c_str());
    EXPECT_TRUE(buffer.jsonEscape());
    const unsigned int length = plain + 1;
    const unsigned int stated = 1 + 4 + length;
    EXPECT_TRUE(holds(buffer, xs + "\\\"", stated <= kMost + 1 ? stated : length + 1, 202))
        << kMost - plain;
  }
}

TEST(JsonAtTheLimit, WhatFitsIsDecodedBeforeTheRestIsRefused) {
  const std::string src(1000, 's');
  StringBuffer out(std::string(kMost - 500, 'o').c_str());
  EXPECT_FALSE(StringBuffer::jsonDecode(src.data(), 1000, out));
  EXPECT_TRUE(holds(out, std::string(kMost - 500, 'o') + std::string(400, 's')));
}

TEST(VariablesAtTheLimit, AValueThatCannotBeEscapedIsLeftOut) {
  _dvHashMap variables;
  ASSERT_TRUE(variables.hashInsertString("v", std::string(kMost / 2 + 1, '"').c_str()));
  for (const int mode : {4, 22}) {
    StringBuffer buffer("a{$v}b");
    EXPECT_FALSE(buffer.variableSubstitute(variables, mode));
    EXPECT_TRUE(holds(buffer, "ab", 0, 202));
  }
}

TEST(VariablesAtTheLimit, AValueThatDoesNotFitIsLeftOut) {
  _dvHashMap variables;
  ASSERT_TRUE(variables.hashInsertString("v", std::string(kMost - 1, 'v').c_str()));
  StringBuffer buffer("ab{$v}c");
  EXPECT_FALSE(buffer.variableSubstitute(variables, 0));
  EXPECT_TRUE(holds(buffer, "abc", 0, 202));
}

TEST(WordReplaceAtTheLimit, PiecesThatDoNotFitAreLeftOutAndCounted) {
  const std::string replacement(kMost - 2, 'r');
  StringBuffer buffer("a,a,");
  EXPECT_EQ(buffer.replaceAllWordOccurances("a", replacement.c_str(), 0, false), 2U);
  EXPECT_TRUE(holds(buffer, replacement + ",,"));
}

TEST(RegionsAtTheLimit, AReplacementThatDoesNotFitChangesNothing) {
  const std::string replacement(kMost - 2, 'r');
  for (const bool dropMarkers : {false, true}) {
    StringBuffer buffer("xx[a]yy");
    EXPECT_FALSE(buffer.replaceAllBetween("[", "]", replacement.c_str(), dropMarkers));
    EXPECT_TRUE(holds(buffer, "xx[a]yy", 0, 202));
  }
}

TEST(RegionsAtTheLimit, TheLongestResultIsStored) {
  const std::string replacement(kMost - 4, 'r');
  StringBuffer buffer("x[a]y");
  EXPECT_FALSE(buffer.replaceAllBetween("[", "]", (replacement + "r").c_str(), false));
  EXPECT_TRUE(buffer.replaceAllBetween("[", "]", replacement.c_str(), false));
  EXPECT_TRUE(holds(buffer, "x[" + replacement + "]y", kMost + 1, 202));
}

// The first replacement fits; of what follows, only the end marker does.
TEST(RegionsAtTheLimit, PiecesThatDoNotFitAreLeftOutAndTheRegionsCounted) {
  const std::string replacement(kMost - 2, 'r');
  StringBuffer buffer("[aaa][aaa]");
  EXPECT_EQ(buffer.replaceAllOccurancesBetween("[", "]", "a", replacement.c_str()), 2U);
  EXPECT_TRUE(holds(buffer, "[" + replacement + "]", kMost + 1, 202));
}

TEST(FieldsAtTheLimit, AFieldThatDoesNotFitIsLeftAsItWas) {
  const std::string head = "a,old";
  for (const unsigned int size : {198U, 199U, 200U, 201U, kMost - 100, kMost})
    for (const unsigned int tail : {40U, kMost - 201, kMost - 5}) {
      const std::string rest = "," + std::string(tail - 1, 't');
      const std::string value(size, 'v');
      const bool fits = 2 + value.size() + rest.size() <= kMost;
      StringBuffer buffer((head + rest).c_str());
      EXPECT_EQ(buffer.setNthDelimited(1, ',', false, false, StringBuffer(value.c_str())), fits);
      EXPECT_TRUE(holds(buffer, fits ? "a," + value + rest : head + rest)) << size << " " << tail;
    }
}

}  // namespace
