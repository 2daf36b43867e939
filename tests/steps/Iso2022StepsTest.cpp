// What the searches of iso2022Restore() look at.

#include <gtest/gtest.h>

#include <string>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "steps/CountedSearch.h"
#include "support/ExtPtrArray.h"

namespace {

constexpr int kRuns = 2000;

// Runs that may join with what stands beside them.
void addShortRuns(ExtPtrArray& runs) {
  const char* const texts[] = {"1", "", "D", "_", "DV_ISO2022_"};
  for (int i = 0; i < kRuns; ++i) runs.appendPtr(StringBuffer::createNewSB(texts[i % 5]));
}

std::string repeated(const std::string& unit, std::size_t size) {
  std::string text;
  while (text.size() < size) text += unit;
  return text;
}

TEST(Iso2022Steps, ThePlainSearchesAreThoseOfTheLibrary) {
  const StringBuffer buffer("some text to search");
  EXPECT_EQ(steps::bytesSearchedBy([&] { EXPECT_EQ(buffer.indexOf("text"), 5); }), 9U);
  EXPECT_EQ(steps::bytesSearchedBy([&] { EXPECT_EQ(buffer.indexOfNoCase("TEXT"), 5); }), 9U);
  EXPECT_EQ(buffer.indexOf(""), 0);
  EXPECT_EQ(buffer.indexOf("texts"), -1);
}

// --- Former bugs ---------------------------------------------------------------------------------

// Every run that may join with its neighbours was looked for in the whole text.
TEST(Iso2022Steps, RunsWithoutAPlaceholderAreNotLookedForOneByOne) {
  const std::string contents[] = {repeated("plain text ", 100000),
                                  repeated("DV_ISO2022_x ", 100000),
                                  repeated("DV_ISO2022_0 ", 100000)};
  ExtPtrArray runs;
  addShortRuns(runs);
  for (const std::string& content : contents) {
    StringBuffer buffer(content.c_str());
    EXPECT_LT(steps::bytesSearchedBy([&] { buffer.iso2022Restore(runs); }), 8 * content.size());
    EXPECT_TRUE(buffer.getString() == content);
  }
}

TEST(Iso2022Steps, WithoutAMarkerNoMemoryIsNeeded) {
  const std::string content = repeated("plain text ", 100000);
  ExtPtrArray runs;
  addShortRuns(runs);
  StringBuffer buffer(content.c_str());
  const auto restore = [&] {
    const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
    buffer.iso2022Restore(runs);
    EXPECT_EQ(fail.seen(), 0);
  };
  EXPECT_LT(steps::bytesSearchedBy(restore), 2 * content.size());
}

}  // namespace
