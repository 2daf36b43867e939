// The overlapping matches of text/internal/OverlappingMatches.h.

#include "text/internal/OverlappingMatches.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "harness/BufferState.h"
#include "harness/ReplaceReference.h"
#include "harness/Stopwatch.h"
#include "support/internal/Search.h"

namespace {

using dorvane::internal::findOffset;
using dorvane::internal::findOffsetNoCase;
using dorvane::internal::OverlappingMatches;
using harness::allStrings;
using harness::randomText;

constexpr std::size_t kNone = std::string::npos;

// Asks for the first match some bytes behind each match, at most `stride`, and compares with a
// search from there.
testing::AssertionResult agrees(const std::string& text, const std::string& needle, bool foldCase,
                                std::size_t stride) {
  OverlappingMatches matches(text, needle, foldCase ? findOffsetNoCase : findOffset);
  for (std::size_t from = 0; from <= text.size();) {
    const std::size_t expected = harness::reference::search(text, from, needle, foldCase);
    const std::size_t found = matches.from(from);
    if (found != expected)
      return testing::AssertionFailure()
             << testing::PrintToString(needle) << " in " << testing::PrintToString(text) << " from "
             << from << ": " << found << " instead of " << expected;
    if (found == kNone) break;
    from = found + 1 + found * 7 % stride;
  }
  return testing::AssertionSuccess();
}

TEST(OverlappingMatches, EveryShortTextAndNeedle) {
  for (const std::string& text : allStrings("abA", 6)) {
    for (const std::string& needle : allStrings("ab", 4)) {
      if (needle.empty()) continue;
      for (const std::size_t stride : {1U, 2U, 3U, 5U}) {
        for (const bool foldCase : {false, true}) {
          ASSERT_TRUE(agrees(text, needle, foldCase, stride));
        }
      }
    }
  }
}

TEST(OverlappingMatches, PeriodicTextsWithGaps) {
  for (unsigned int seed = 1; seed <= 300; ++seed) {
    const std::string period = randomText(seed, seed % 5 + 1, "ab");
    std::string text;
    while (text.size() < 300) {
      for (unsigned int i = 0; i <= (seed + text.size()) % 11; ++i) text += period;
      text += randomText(seed + text.size(), (seed * 7 + text.size()) % 3, "aB");
    }
    for (const std::size_t size : {1U, 2U, 3U, 4U, 7U, 12U, 30U}) {
      for (const std::size_t stride : {1U, 2U, 4U, 9U, 40U}) {
        for (const bool foldCase : {false, true})
          ASSERT_TRUE(agrees(text, text.substr(seed % 40, size), foldCase, stride));
      }
    }
  }
}

// Many matches, each far longer than the way to the next.
TEST(OverlappingMatches, AllOfThemCostOnePass) {
  constexpr std::size_t kSize = std::size_t{1} << 20U;
  const std::string text(kSize, 'a');
  const std::string needle(kSize / 2, 'a');
  for (const bool foldCase : {false, true}) {
    std::size_t count = 0;
    EXPECT_LT(harness::secondsOf([&] {
                OverlappingMatches matches(text, needle, foldCase ? findOffsetNoCase : findOffset);
                for (std::size_t from = 0; matches.from(from) != kNone; ++from) ++count;
              }),
              4.0);
    EXPECT_EQ(count, kSize / 2 + 1);
  }
}

// Two matches side by side tell nothing about the period, which shows in those behind them.
TEST(OverlappingMatches, APairFarApartDoesNotHideThePeriod) {
  std::string needle = "a";
  while (needle.size() < 30000) needle += "ba";
  std::string text = needle + needle;
  while (text.size() < 300000) text += "ba";
  for (const bool foldCase : {false, true}) {
    EXPECT_LT(harness::secondsOf([&] {
                OverlappingMatches matches(text, needle, foldCase ? findOffsetNoCase : findOffset);
                std::size_t from = 0;
                for (std::size_t at; (at = matches.from(from)) != kNone;) from = at + 1;
              }),
              1.0);
  }
}

}  // namespace
