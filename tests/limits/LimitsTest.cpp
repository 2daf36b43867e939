#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/ReleasedBlocks.h"
#include "harness/StorageScenes.h"
#include "limits/Limit.h"
#include "support/DataBuffer.h"

// These tests are linked with a build of the library whose longest content is 1 MiB, so that
// what happens at the longest content is reached with little memory.

namespace {

using harness::appendBytes;
using harness::FailAllocation;
using harness::holds;
using harness::isInline;
using harness::kMost;
using harness::letters;
using harness::modelOf;
using harness::play;
using harness::Scene;
using harness::scenes;
using harness::reference::agrees;

constexpr unsigned int kMostBlock = kMost + 1;
constexpr unsigned int kAll = 0xFFFFFFFFU;

const std::string& longest() {
  static const std::string text = letters(kMost);
  return text;
}

const std::string& tooLong() {
  static const std::string text = letters(kMost + 1);
  return text;
}

// ---- The longest content ----

TEST(LongestContent, FitsInOnePiece) {
  StringBuffer raw, text(longest().c_str());
  EXPECT_TRUE(appendBytes(raw, longest()));
  EXPECT_TRUE(holds(raw, longest(), kMostBlock, 202));
  EXPECT_TRUE(holds(text, longest(), kMostBlock, 202));
}

TEST(LongestContent, FitsInTwoPieces) {
  for (const unsigned int first : {1U, 81U, 82U, 500000U, kMost - 82, kMost - 1}) {
    StringBuffer buffer;
    ASSERT_TRUE(appendBytes(buffer, std::string_view(longest()).substr(0, first)));
    ASSERT_TRUE(appendBytes(buffer, std::string_view(longest()).substr(first)));
    EXPECT_TRUE(holds(buffer, longest()));
    EXPECT_EQ(buffer.heapUsage(), kMostBlock) << first;
  }
}

TEST(LongestContent, OneByteMoreIsRefused) {
  StringBuffer raw, text;
  EXPECT_FALSE(appendBytes(raw, tooLong()));
  EXPECT_FALSE(text.append(tooLong().c_str()));
  EXPECT_TRUE(holds(raw, "", 0, 202));
  EXPECT_TRUE(holds(text, "", 0, 202));
  EXPECT_TRUE(isInline(raw));
}

TEST(LongestContent, AFullBufferTakesNothingMore) {
  const StringBuffer other("x");
  DataBuffer data;
  data.append("x", 1);
  StringBuffer buffer(longest().c_str());
  EXPECT_FALSE(buffer.appendN("x", 1));
  EXPECT_FALSE(buffer.appendN("\0", 1));
  EXPECT_FALSE(buffer.append("x"));
  EXPECT_FALSE(buffer.append(other));
  EXPECT_FALSE(buffer.append(data));
  EXPECT_FALSE(buffer.appendChar('x'));
  EXPECT_FALSE(buffer.expectNumBytes(1));
  buffer = "x";
  EXPECT_TRUE(holds(buffer, longest(), kMostBlock, 202));
}

TEST(LongestContent, AFullBufferStillTakesNothing) {
  StringBuffer buffer(longest().c_str());
  EXPECT_TRUE(buffer.expectNumBytes(0));
  EXPECT_TRUE(buffer.appendN("x", 0));
  EXPECT_TRUE(buffer.append(""));
  EXPECT_TRUE(buffer.append(StringBuffer()));
  EXPECT_TRUE(holds(buffer, longest(), kMostBlock, 202));
}

TEST(LongestContent, ARefusalMakesNoAllocation) {
  StringBuffer buffer("abc");
  const char* const text = tooLong().c_str();
  const FailAllocation count(0);
  EXPECT_FALSE(buffer.append(text));
  EXPECT_FALSE(buffer.appendN(text, kMost));
  EXPECT_FALSE(buffer.expectNumBytes(kAll));
  EXPECT_EQ(count.seen(), 0);
}

TEST(LongestContent, ShorterAgainTheBufferGrowsAgain) {
  StringBuffer buffer(longest().c_str());
  EXPECT_FALSE(buffer.append("xy"));
  buffer.shorten(1);
  EXPECT_FALSE(buffer.append("xy"));
  EXPECT_TRUE(buffer.append("x"));
  EXPECT_TRUE(holds(buffer, longest().substr(0, kMost - 1) + "x", kMostBlock, 202));
}

// ---- Requests for room ----

TEST(RequestedRoom, IsBoundedByTheLongestContent) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    play(scene, buffer);
    const unsigned int left = kMost - buffer.getSize();
    EXPECT_FALSE(buffer.expectNumBytes(left + 1)) << scene.name;
    EXPECT_TRUE(agrees(buffer, modelOf(scene))) << scene.name;
    EXPECT_TRUE(buffer.expectNumBytes(left)) << scene.name;
    EXPECT_TRUE(holds(buffer, modelOf(scene).content)) << scene.name;
    EXPECT_EQ(buffer.heapUsage(), kMostBlock) << scene.name;
  }
}

// A sum that is formed in 32 bits would be small again here.
TEST(RequestedRoom, DoesNotWrap) {
  for (const Scene& scene : scenes()) {
    const unsigned int length = modelOf(scene).size();
    for (const unsigned int n : {kAll, kAll - 1, kAll - length, 0U - length, 1U - length, kAll - 82,
                                 kAll - 202, kAll - 203, 0x80000000U, kMost + 1}) {
      if (n == 0 || n == 1) continue;  // nothing wraps
      StringBuffer buffer;
      play(scene, buffer);
      EXPECT_FALSE(buffer.expectNumBytes(n)) << scene.name << ", " << n;
      EXPECT_FALSE(buffer.appendN("abc", n)) << scene.name << ", " << n;
      EXPECT_TRUE(agrees(buffer, modelOf(scene))) << scene.name << ", " << n;
    }
  }
}

// ---- A slack that does not fit ----

struct SlackCase {
  unsigned int length;
  unsigned int extendSize;
  unsigned int capacity;
};

constexpr SlackCase kFirstBlocks[] = {
    {82, 0, 83},
    {100, kMost - 101, kMost},
    {100, kMost - 100, kMostBlock},
    {100, kMost - 99, 101},
    {100, kMost, 101},
    {100, 0x7FFFFFFFU, 101},
    {100, kAll - 101, 101},
    {100, kAll - 100, 101},
    {100, kAll, 101},
    {kMost - 202, 202, kMostBlock},
    {kMost - 201, 202, kMost - 200},
    {kMost - 1, 202, kMost},
    {kMost - 1, 1, kMostBlock},
    {kMost, 0, kMostBlock},
    {kMost, 1, kMostBlock},
    {kMost, kAll, kMostBlock},
};

TEST(HugeSlack, IsLeftOutOfTheFirstBlock) {
  for (const SlackCase& c : kFirstBlocks) {
    StringBuffer buffer;
    buffer.setExtendSize(c.extendSize);
    EXPECT_TRUE(appendBytes(buffer, letters(c.length)));
    EXPECT_TRUE(holds(buffer, letters(c.length), c.capacity, c.extendSize))
        << c.length << ", slack " << c.extendSize;
  }
}

constexpr SlackCase kLaterBlocks[] = {
    // figures of step for step growth while everything fits
    {303, kMost - 304, kMost},
    {303, kMost - 303, kMostBlock},
    // from here on the slack is left out
    {303, kMost - 302, 304},
    {303, kMost, 304},
    {303, kAll, 304},
    {303, kAll - 303, 304},
    {kMost - 600000, 600000, kMostBlock},
    {kMost - 599999, 600000, kMost - 599998},
    {kMost, 600000, kMostBlock},
};

// Each slack is above 500000, so that it stays as it was set.
TEST(HugeSlack, IsLeftOutOfALaterBlock) {
  for (const SlackCase& c : kLaterBlocks) {
    const std::string content = letters(c.length);
    StringBuffer buffer(content.substr(0, 100).c_str());
    ASSERT_EQ(buffer.heapUsage(), 303U);
    buffer.setExtendSize(c.extendSize);
    EXPECT_TRUE(appendBytes(buffer, std::string_view(content).substr(100)));
    EXPECT_TRUE(holds(buffer, content, c.capacity, c.extendSize))
        << c.length << ", slack " << c.extendSize;
  }
}

// Where the slack no longer fits, every step is recorded as exact; the block doubles all the same.
TEST(HugeSlack, LeftOutStepByStepTakesFewAllocations) {
  StringBuffer buffer;
  ASSERT_TRUE(appendBytes(buffer, letters(kMost - 30000)));
  buffer.setExtendSize(600000);
  ASSERT_TRUE(appendBytes(buffer, letters(1000)));
  const harness::AllocationCount before = harness::allocationsMade();
  while (buffer.getSize() < kMost) {
    ASSERT_TRUE(buffer.appendChar('x'));
    ASSERT_EQ(buffer.heapUsage(), buffer.getSize() + 1);
  }
  EXPECT_LE(harness::allocationsMade().blocks - before.blocks, 2);
  EXPECT_FALSE(buffer.appendChar('x'));
}

TEST(HugeSlack, OfANewBufferIsLeftOut) {
  StringBuffer* const buffer = StringBuffer::createNewSB(kMost);
  ASSERT_NE(buffer, nullptr);
  EXPECT_TRUE(holds(*buffer, "", 0, kMost));
  EXPECT_TRUE(buffer->append(letters(82).c_str()));
  EXPECT_TRUE(holds(*buffer, letters(82), 83, kMost));
  StringBuffer::deleteSb(buffer);
}

TEST(HugeSlack, OfRegularGrowthIsLeftOut) {
  StringBuffer buffer(letters(600000).c_str());
  EXPECT_TRUE(buffer.append(letters(300000).c_str()));
  EXPECT_EQ(buffer.heapUsage(), 900203U);
  EXPECT_EQ(buffer.getExtendSize(), 450101U);
  EXPECT_TRUE(buffer.append(letters(400).c_str()));
  EXPECT_TRUE(holds(buffer, letters(600000) + letters(300000) + letters(400)));
  EXPECT_EQ(buffer.heapUsage(), 900401U);
}

// ---- Members that replace the content ----

TEST(TooLongText, LeavesSetStringEmpty) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    auto model = modelOf(scene);
    play(scene, buffer);
    model.weakClear();
    EXPECT_FALSE(buffer.setString(tooLong().c_str())) << scene.name;
    EXPECT_TRUE(agrees(buffer, model)) << scene.name;
  }
}

TEST(TooLongText, LeavesANewObjectEmpty) {
  StringBuffer buffer(tooLong().c_str());
  EXPECT_TRUE(holds(buffer, "", 0, 202));
}

TEST(TooLongText, IsNotAssigned) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    play(scene, buffer);
    buffer = tooLong().c_str();
    EXPECT_TRUE(agrees(buffer, modelOf(scene))) << scene.name;
  }
}

TEST(TooLongText, MakesTheFactoryReturnNull) {
  tooLong();
  const long live = harness::liveBlocks();
  EXPECT_EQ(StringBuffer::createNewSB(tooLong().c_str()), nullptr);
  EXPECT_EQ(harness::liveBlocks(), live);
}

TEST(LongestText, IsCopiedBySetStringAssignmentAndFactories) {
  const StringBuffer other(longest().c_str());
  StringBuffer set, assigned("abc"), copied(other);
  EXPECT_TRUE(set.setString(longest().c_str()));
  EXPECT_TRUE(holds(set, longest(), kMostBlock, 202));
  EXPECT_TRUE(set.setString(other));
  EXPECT_TRUE(holds(set, longest(), kMostBlock, 202));
  assigned = other;
  EXPECT_TRUE(holds(assigned, longest(), kMostBlock, 202));
  EXPECT_TRUE(holds(copied, longest(), kMostBlock, 202));
  StringBuffer* const made = StringBuffer::createNewSB(other);
  ASSERT_NE(made, nullptr);
  EXPECT_TRUE(holds(*made, longest(), kMostBlock, 202));
  StringBuffer::deleteSb(made);
}

// ---- Buffers as arguments ----

TEST(TooMuchTogether, TwoBuffersAreRefused) {
  const StringBuffer other(letters(500000).c_str());
  StringBuffer buffer(letters(kMost - 499999).c_str());
  const unsigned int capacity = buffer.heapUsage();
  EXPECT_FALSE(buffer.append(other));
  EXPECT_TRUE(holds(buffer, letters(kMost - 499999), capacity, 202));
  buffer.shorten(1);
  EXPECT_TRUE(buffer.append(other));
  EXPECT_TRUE(holds(buffer, letters(kMost - 500000) + letters(500000)));
}

TEST(TooMuchTogether, ADataBufferIsRefused) {
  DataBuffer data;
  ASSERT_TRUE(data.append(tooLong().data(), kMost + 1));
  StringBuffer buffer("abc");
  EXPECT_FALSE(buffer.append(data));
  EXPECT_TRUE(holds(buffer, "abc", 0, 202));
}

TEST(TooMuchTogether, TheOwnTextIsRefusedWhole) {
  const std::string half = letters(kMost / 2);
  StringBuffer fitting(half.c_str());
  EXPECT_TRUE(fitting.append(fitting.getString()));
  EXPECT_TRUE(holds(fitting, half + half));
  EXPECT_EQ(fitting.heapUsage(), kMostBlock);

  StringBuffer refused((half + "x").c_str());
  const unsigned int capacity = refused.heapUsage();
  EXPECT_FALSE(refused.append(refused.getString()));
  EXPECT_FALSE(refused.appendN(refused.getString(), refused.getSize()));
  refused = refused.getString();
  EXPECT_TRUE(holds(refused, half + "x", capacity, 202));
}

TEST(TooMuchTogether, AValueThatItsBackslashesMakeTooLongIsRefused) {
  const std::string quotes(kMost / 2 + 1, '"');
  StringBuffer buffer;
  EXPECT_FALSE(buffer.appendNameValue("n", quotes.c_str()));
  EXPECT_TRUE(holds(buffer, "n=\"", 0, 202));
  EXPECT_TRUE(buffer.appendNameValue("", quotes.substr(5).c_str()));
  EXPECT_EQ(buffer.getSize(), 3 + 2 + kMost - 8 + 1);
}

// ---- A refusal changes nothing else ----

TEST(Refusal, OfASecureBufferWipesAndReleasesNothing) {
  StringBuffer buffer;
  buffer.setSecureBuf(true);
  harness::makeDirty(buffer);
  const std::string block(buffer.getString(), 285);
  const char* const text = tooLong().c_str();
  EXPECT_TRUE(harness::releasedBy([&] { buffer.append(text); }).empty());
  EXPECT_EQ(std::string(buffer.getString(), 285), block);
  EXPECT_TRUE(holds(buffer, letters(10), 285, 202));
}

TEST(Refusal, IsFollowedByOrdinaryGrowth) {
  StringBuffer buffer(letters(80).c_str());
  EXPECT_FALSE(buffer.append(tooLong().c_str()));
  EXPECT_TRUE(buffer.append("ab"));
  EXPECT_TRUE(holds(buffer, letters(80) + "ab", 285, 202));
}

// ---- Former bugs ----

// A value that does not fit beside the format was left out, with true.
TEST(TooMuchTogether, AFormatAndItsValueAreRefused) {
  StringBuffer buffer("abc");
  EXPECT_FALSE(buffer.append_s("<%s>", longest().c_str()));
  EXPECT_FALSE(buffer.append_s("<%s>", letters(kMost - 4).c_str()));
  EXPECT_TRUE(holds(buffer, "abc", 0, 202));
  EXPECT_TRUE(buffer.append_s("<%s>", letters(kMost - 5).c_str()));
  EXPECT_TRUE(holds(buffer, "abc<" + letters(kMost - 5) + ">"));
}

}  // namespace
