#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/RawContent.h"
#include "harness/ReleasedBlocks.h"
#include "harness/StorageLayout.h"
#include "harness/StorageReference.h"
#include "harness/StorageScenes.h"
#include "support/LogBase.h"

namespace {

using harness::appendBytes;
using harness::FailAllocation;
using harness::fill;
using harness::holds;
using harness::invariantsHold;
using harness::isInline;
using harness::letters;
using harness::makeDirty;
using harness::modelOf;
using harness::peekFields;
using harness::peekInlineBytes;
using harness::play;
using harness::releasedBy;
using harness::Scene;
using harness::scenes;
using harness::sizeOf;
using harness::reference::agrees;
using harness::reference::StorageModel;
using namespace std::string_literals;
using namespace std::string_view_literals;

constexpr unsigned int kAll = 0xFFFFFFFFU;

// ---- A new buffer ----

TEST(StorageBasics, ANewBufferIsEmptyInlineAndValid) {
  StringBuffer buffer;
  EXPECT_TRUE(holds(buffer, "", 0, 202));
  EXPECT_STREQ(buffer.getString(), "");
  EXPECT_TRUE(buffer.isValidObject());
  EXPECT_TRUE(isInline(buffer));
}

TEST(StorageBasics, FieldsHaveTheirInitialValues) {
  const StringBuffer buffer;
  const harness::StorageFields fields = peekFields(&buffer);
  EXPECT_EQ(fields.validityWord, 0x62CB09E3U);
  EXPECT_EQ(fields.magic, 0xAA);
  EXPECT_EQ(fields.secure, 0);
  EXPECT_EQ(fields.data, buffer.getString());
  EXPECT_EQ(fields.inlineBytes[0], '\0');
  EXPECT_EQ(fields.heap, nullptr);
  EXPECT_EQ(fields.capacity, 0U);
  EXPECT_EQ(fields.length, 0U);
  EXPECT_EQ(fields.extendSize, 202U);
}

TEST(StorageBasics, MembersHaveTheirTypes) {
  static_assert(std::is_base_of_v<NonRefCountedObj, StringBuffer>);
  static_assert(std::has_virtual_destructor_v<StringBuffer>);
  const StringBuffer buffer("x");
  static_assert(std::is_same_v<decltype(buffer.getString()), const char*>);
  static_assert(std::is_same_v<decltype(buffer.getSize()), unsigned int>);
  static_assert(std::is_same_v<decltype(buffer.pCharAt(0U)), char*>);
  static_assert(std::is_same_v<decltype(buffer.getExtendSize()), unsigned int>);
  static_assert(std::is_same_v<decltype(StringBuffer::allocBuffer(1U)), unsigned char*>);
  EXPECT_EQ(buffer.getSize(), 1U);
}

TEST(StorageBasics, PCharAtReachesTheTerminatorAndNotBeyond) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    play(scene, buffer);
    for (unsigned int i = 0; i <= buffer.getSize(); ++i)
      ASSERT_EQ(buffer.pCharAt(i), buffer.getString() + i) << scene.name;
    EXPECT_EQ(*buffer.pCharAt(buffer.getSize()), '\0') << scene.name;
    EXPECT_EQ(buffer.pCharAt(buffer.getSize() + 1), nullptr) << scene.name;
    EXPECT_EQ(buffer.pCharAt(kAll), nullptr) << scene.name;
  }
}

TEST(StorageBasics, PCharAtGivesWritableBytes) {
  StringBuffer buffer("abc");
  *buffer.pCharAt(1) = 'X';
  EXPECT_TRUE(holds(buffer, "aXc", 0, 202));
}

TEST(StorageBasics, CheckValidityDoesNothing) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    play(scene, buffer);
    buffer.checkValidity();
    EXPECT_TRUE(agrees(buffer, modelOf(scene))) << scene.name;
  }
}

TEST(StorageBasics, AnOverwrittenMarkerMakesTheObjectInvalid) {
  StringBuffer buffer("abc");
  harness::flipMarker(buffer);
  EXPECT_FALSE(buffer.isValidObject());
  harness::flipMarker(buffer);
  EXPECT_TRUE(buffer.isValidObject());
}

TEST(StorageBasics, IsNonTerminatedSeesAnOverwrittenTerminator) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    play(scene, buffer);
    EXPECT_FALSE(buffer.isNonTerminated()) << scene.name;
    *buffer.pCharAt(buffer.getSize()) = 'X';
    EXPECT_TRUE(buffer.isNonTerminated()) << scene.name;
    *buffer.pCharAt(buffer.getSize()) = '\0';
    EXPECT_FALSE(buffer.isNonTerminated()) << scene.name;
  }
}

TEST(StorageBasics, SetExtendSizeHasNoBound) {
  StringBuffer buffer;
  for (const unsigned int size : {0U, 1U, 202U, 499999U, 500000U, 500001U, 0x7FFFFFFFU, kAll}) {
    buffer.setExtendSize(size);
    EXPECT_TRUE(holds(buffer, "", 0, size));
  }
}

TEST(StorageBasics, SetSecureBufWipesNothingAtThatMoment) {
  StringBuffer buffer;
  makeDirty(buffer);
  const std::string block(buffer.getString(), 285);
  const std::string inlineBytes = peekInlineBytes(&buffer);
  buffer.setSecureBuf(true);
  buffer.setSecureBuf(false);
  EXPECT_EQ(std::string(buffer.getString(), 285), block);
  EXPECT_EQ(peekInlineBytes(&buffer), inlineBytes);
  EXPECT_TRUE(holds(buffer, letters(10), 285, 202));
}

TEST(StorageBasics, AllocBufferGivesABlockForTheArrayDelete) {
  const long live = harness::liveBlocks();
  for (const unsigned int size : {0U, 1U, 2U, 82U, 100000U}) {
    const std::unique_ptr<unsigned char[]> block(StringBuffer::allocBuffer(size));
    ASSERT_NE(block, nullptr);
    std::memset(block.get(), 0x5A, size);
  }
  EXPECT_EQ(harness::liveBlocks(), live);
}

TEST(StorageBasics, AllocBufferIsNullWhenMemoryIsExhausted) {
  unsigned char* block = nullptr;
  {
    const FailAllocation fail(1);
    block = StringBuffer::allocBuffer(10);
  }
  EXPECT_EQ(block, nullptr);
}

// ---- Growth ----

struct GrowthStep {
  unsigned int length;  // when the growth happens
  unsigned int capacity;
  unsigned int extendSize;
};

constexpr GrowthStep kGrowthByOneByte[] = {
    {81, 285, 202},
    {284, 488, 244},
    {487, 733, 366},
    {732, 1100, 550},
    {1099, 1651, 825},
    {1650, 2477, 1238},
    {2476, 3716, 1858},
    {3715, 5575, 2787},
    {5574, 8363, 4181},
    {8362, 12545, 6272},
    {12544, 18818, 9409},
    {18817, 28228, 14114},
    {28227, 42343, 21171},
    {42342, 63515, 31757},
    {63514, 95273, 47636},
    {95272, 142910, 71455},
    {142909, 214366, 107183},
    {214365, 321550, 160775},
    {321549, 482326, 241163},
    {482325, 723490, 361745},
    {723489, 1085236, 500000},
    {1085235, 1585237, 500000},
    {1585236, 2085238, 500000},
};

TEST(StorageGrowth, OneByteAtATimeFollowsTheSequenceBeyondTheCap) {
  StringBuffer buffer;
  const FailAllocation count(0);
  long allocations = 0;
  for (const GrowthStep& step : kGrowthByOneByte) {
    const unsigned int before = buffer.heapUsage();
    while (buffer.getSize() < step.length) buffer.appendN("x", 1);
    ASSERT_EQ(buffer.heapUsage(), before) << "grown before length " << step.length;
    ASSERT_EQ(count.seen(), allocations);
    ASSERT_TRUE(buffer.appendN("x", 1));
    ASSERT_EQ(buffer.heapUsage(), step.capacity) << "at length " << step.length;
    ASSERT_EQ(buffer.getExtendSize(), step.extendSize) << "at length " << step.length;
    // The block doubles where the steps are of constant size: the last one needs no memory.
    if (step.capacity != 2085238) ++allocations;
    ASSERT_EQ(count.seen(), allocations);
  }
  EXPECT_EQ(buffer.getSize(), 1585237U);
  EXPECT_EQ(std::strspn(buffer.getString(), "x"), buffer.getSize());
}

TEST(StorageGrowth, TheCapIsReachedAtTheTwentyFirstAllocation) {
  constexpr const GrowthStep& kLast = kGrowthByOneByte[20];
  static_assert(kLast.length == 723489 && kLast.capacity == 1085236 && kLast.extendSize == 500000);
  StringBuffer buffer;
  const FailAllocation count(0);
  while (buffer.getSize() <= kLast.length) buffer.appendN("y", 1);
  EXPECT_EQ(count.seen(), 21);
  EXPECT_EQ(buffer.heapUsage(), kLast.capacity);
  EXPECT_EQ(buffer.getExtendSize(), kLast.extendSize);
}

TEST(StorageGrowth, BeyondTheCapEachGrowthAddsTheFixedSlack) {
  const std::string megabyte(1 << 20, 'm');
  StringBuffer buffer;
  appendBytes(buffer, megabyte);  // 1048576 + 203
  appendBytes(buffer, megabyte);  // 2097152 + 203
  EXPECT_EQ(buffer.heapUsage(), 2097355U);
  EXPECT_EQ(buffer.getExtendSize(), 500000U);
  appendBytes(buffer, megabyte);
  EXPECT_TRUE(holds(buffer, megabyte + megabyte + megabyte, 3145728 + 500001, 500000));
}

TEST(StorageGrowth, ContentStaysInlineUpTo81Bytes) {
  for (unsigned int n = 1; n <= 300; ++n) {
    StringBuffer buffer;
    ASSERT_TRUE(appendBytes(buffer, letters(n)));
    ASSERT_TRUE(holds(buffer, letters(n), n <= 81 ? 0 : n + 203, 202));
    ASSERT_EQ(isInline(buffer), n <= 81);
  }
}

TEST(StorageGrowth, TheEightySecondByteMovesToABlockOf285Bytes) {
  StringBuffer buffer;
  appendBytes(buffer, letters(81));
  EXPECT_TRUE(holds(buffer, letters(81), 0, 202));
  appendBytes(buffer, "d");
  EXPECT_TRUE(holds(buffer, letters(82), 285, 202));
}

TEST(StorageGrowth, TheFirstMoveKeepsTheExtendSize) {
  for (const unsigned int extend : {0U, 1U, 7U, 83U, 202U, 499999U, 500000U, 700000U}) {
    StringBuffer buffer;
    buffer.setExtendSize(extend);
    ASSERT_TRUE(appendBytes(buffer, letters(90)));
    EXPECT_TRUE(holds(buffer, letters(90), 91 + extend, extend));
  }
}

TEST(StorageGrowth, PiecesOfEverySizeAgreeWithTheModel) {
  for (unsigned int piece = 1; piece <= 300; piece += piece < 90 ? 1 : 7) {
    StringBuffer buffer;
    StorageModel model;
    const std::string text = letters(piece);
    for (int i = 0; i < 40; ++i) {
      ASSERT_TRUE(appendBytes(buffer, text));
      model.appendN(text);
      ASSERT_TRUE(agrees(buffer, model)) << "piece of " << piece;
    }
  }
}

TEST(StorageGrowth, EveryAppendingOperationGrowsAlike) {
  const StringBuffer byte("q");
  StringBuffer raw, text, other;
  StorageModel model;
  for (int i = 0; i < 3000; ++i) {
    raw.appendN("q", 1);
    text.append("q");
    other.append(byte);
    model.appendChar('q');
    ASSERT_EQ(raw.heapUsage(), model.capacity);
    ASSERT_EQ(text.heapUsage(), model.capacity);
    ASSERT_EQ(other.heapUsage(), model.capacity);
  }
  EXPECT_TRUE(agrees(raw, model));
  EXPECT_TRUE(agrees(text, model));
  EXPECT_TRUE(agrees(other, model));
}

struct SlackCase {
  unsigned int extendSize;
  unsigned int total;  // content after the append that grows
  unsigned int capacity;
  unsigned int extendAfter;
};

// Each starts from 100 bytes in a block of 303.
constexpr SlackCase kSlackCases[] = {
    // half the new capacity
    {0, 303, 304, 152},
    {1, 303, 305, 152},
    {202, 303, 506, 253},
    {303, 303, 607, 303},
    // a larger slack shrinks too, up to 499999
    {499999, 303, 500303, 250151},
    // from 500000 on it is left alone
    {500000, 303, 500304, 500000},
    {500001, 303, 500305, 500001},
    {600000, 303, 600304, 600000},
    // the cap comes with capacities above 1000001
    {202, 999796, 999999, 499999},
    {202, 999797, 1000000, 500000},
    {202, 999798, 1000001, 500000},
    {202, 999799, 1000002, 500000},
    {202, 999800, 1000003, 500000},
    {202, 1999998, 2000201, 500000},
    {499999, 500001, 1000001, 500000},
    {499999, 500002, 1000002, 500000},
};

TEST(StorageGrowth, TheExtendSizeFollowsTheNewCapacity) {
  for (const SlackCase& c : kSlackCases) {
    StringBuffer buffer;
    const std::string content = letters(c.total);
    appendBytes(buffer, std::string_view(content).substr(0, 100));
    ASSERT_TRUE(holds(buffer, letters(100), 303, 202));
    buffer.setExtendSize(c.extendSize);
    ASSERT_TRUE(appendBytes(buffer, std::string_view(content).substr(100)));
    EXPECT_TRUE(holds(buffer, content, c.capacity, c.extendAfter)) << "slack " << c.extendSize;
  }
}

TEST(StorageGrowth, AnExtendSizeOfZeroMakesTheNextAllocationExact) {
  StringBuffer buffer;
  buffer.setExtendSize(0);
  appendBytes(buffer, letters(82));
  EXPECT_TRUE(holds(buffer, letters(82), 83, 0));
  appendBytes(buffer, "e");
  EXPECT_TRUE(holds(buffer, letters(82) + "e", 84, 42));
  buffer.setExtendSize(0);
  appendBytes(buffer, "f");
  EXPECT_TRUE(holds(buffer, letters(82) + "ef", 85, 42));
}

TEST(StorageGrowth, AHugeExtendSizeGivesExactBlocksAndStays) {
  StringBuffer buffer;
  buffer.setExtendSize(kAll);
  ASSERT_TRUE(appendBytes(buffer, letters(82)));
  EXPECT_TRUE(holds(buffer, letters(82), 83, kAll));
  ASSERT_TRUE(appendBytes(buffer, "xyz"));
  EXPECT_TRUE(holds(buffer, letters(82) + "xyz", 86, kAll));
  buffer.setExtendSize(kAll - 86);  // total + slack + 1 is one more than 32 bits hold
  ASSERT_TRUE(appendBytes(buffer, "w"));
  EXPECT_TRUE(holds(buffer, letters(82) + "xyzw", 87, kAll - 86));
}

TEST(StorageGrowth, ASlackThatCannotBeAllocatedIsAFailedGrowth) {
  StringBuffer buffer;
  appendBytes(buffer, letters(81));
  buffer.setExtendSize(1000000000);
  bool appended = true;
  {
    const FailAllocation fail(1);
    appended = buffer.appendN("x", 1);
  }
  EXPECT_FALSE(appended);
  EXPECT_TRUE(holds(buffer, letters(81), 0, 1000000000));
}

TEST(StorageGrowth, EveryBlockIsAsLargeAsItsCapacity) {
  for (const Scene& scene : scenes()) {
    for (const unsigned int n : {0U, 500U, 1000U}) {
      StringBuffer buffer;
      play(scene, buffer);
      buffer.expectNumBytes(n);
      const unsigned int capacity = buffer.heapUsage();
      if (capacity == 0) continue;
      const auto blocks = releasedBy([&] { buffer.clear(); });
      ASSERT_EQ(blocks.size(), 1U);
      EXPECT_EQ(blocks[0].size(), capacity) << scene.name << " " << n;
    }
  }
}

TEST(StorageGrowth, EmbeddedNulsAreCopiedToTheNewBlock) {
  const std::string head = "ab\0\0cd\0"s;
  StringBuffer buffer;
  fill(buffer, head);
  ASSERT_TRUE(appendBytes(buffer, letters(90)));
  EXPECT_TRUE(holds(buffer, head + letters(90), 97 + 203, 202));
  ASSERT_TRUE(appendBytes(buffer, letters(300)));
  EXPECT_TRUE(holds(buffer, head + letters(90) + letters(300), 397 + 203, 300));
}

// ---- expectNumBytes ----

TEST(ExpectNumBytes, ChangesOnlyTheRoom) {
  for (const Scene& scene : scenes()) {
    for (const unsigned int n : {0U, 1U, 2U, 61U, 80U, 81U, 82U, 83U, 202U, 203U, 264U, 265U, 284U,
                                 285U, 286U, 1000U, 100000U}) {
      StringBuffer buffer;
      StorageModel model = modelOf(scene);
      play(scene, buffer);
      model.expectNumBytes(n);
      ASSERT_TRUE(buffer.expectNumBytes(n));
      ASSERT_TRUE(agrees(buffer, model)) << scene.name << " " << n;
    }
  }
}

TEST(ExpectNumBytes, InlineBorderIsEightyOneBytes) {
  for (unsigned int length = 0; length <= 81; ++length) {
    StringBuffer buffer;
    fill(buffer, letters(length));
    ASSERT_TRUE(buffer.expectNumBytes(81 - length));
    ASSERT_TRUE(holds(buffer, letters(length), 0, 202));
    ASSERT_TRUE(buffer.expectNumBytes(82 - length));
    ASSERT_TRUE(holds(buffer, letters(length), 285, 202));
  }
}

TEST(ExpectNumBytes, HeapBorderIsTheCapacityLessTheTerminator) {
  StringBuffer buffer;
  appendBytes(buffer, letters(82));
  ASSERT_TRUE(buffer.expectNumBytes(202));
  EXPECT_TRUE(holds(buffer, letters(82), 285, 202));
  ASSERT_TRUE(buffer.expectNumBytes(203));
  EXPECT_TRUE(holds(buffer, letters(82), 488, 244));
}

TEST(ExpectNumBytes, TheExpectedBytesThenFitWithoutAllocation) {
  const std::string text = letters(5000);
  StringBuffer buffer;
  ASSERT_TRUE(buffer.expectNumBytes(5000));
  const FailAllocation count(0);
  for (const char c : text) buffer.appendN(&c, 1);
  EXPECT_EQ(count.seen(), 0);
}

TEST(ExpectNumBytes, RefusesMoreThanABlockCanHold) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    play(scene, buffer);
    EXPECT_FALSE(buffer.expectNumBytes(kAll)) << scene.name;
    EXPECT_FALSE(buffer.expectNumBytes(kAll - buffer.getSize())) << scene.name;
    EXPECT_TRUE(agrees(buffer, modelOf(scene))) << scene.name;
  }
}

TEST(ExpectNumBytes, RefusesAnObjectWithAnOverwrittenMarker) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    play(scene, buffer);
    harness::flipMarker(buffer);
    EXPECT_FALSE(buffer.expectNumBytes(0)) << scene.name;
    EXPECT_FALSE(buffer.expectNumBytes(1)) << scene.name;
    EXPECT_FALSE(buffer.expectNumBytes(1000)) << scene.name;
    harness::flipMarker(buffer);
    EXPECT_TRUE(agrees(buffer, modelOf(scene))) << scene.name;
  }
}

TEST(ExpectNumBytes, WithAnOverwrittenMarkerAppendsThatFitStillSucceed) {
  StringBuffer buffer("ab");
  harness::flipMarker(buffer);
  EXPECT_TRUE(buffer.append("cd"));
  EXPECT_TRUE(buffer.appendN(letters(77).data(), 77));
  EXPECT_FALSE(buffer.append("x"));
  EXPECT_FALSE(buffer.appendN("x", 1));
  EXPECT_TRUE(buffer.setString("short"));
  EXPECT_FALSE(buffer.setString(letters(82).c_str()));
  harness::flipMarker(buffer);
  EXPECT_TRUE(holds(buffer, "", 0, 202));
}

// ---- appendN ----

struct RawCase {
  std::string before;
  std::string bytes;
  std::string after;
};

const RawCase kRawCases[] = {
    {"", "abc"s, "abc"},
    {"abc", "def"s, "abcdef"},
    // NULs inside are kept
    {"a", "b\0c"s, "ab\0c"s},
    {"", "\0\0x"s, "\0\0x"s},
    {"a\0"s, "\0b"s, "a\0\0b"s},
    // NULs at the end are dropped from the length
    {"", "ab\0\0"s, "ab"},
    {"x", "ab\0"s, "xab"},
    {"x", "a\0b\0\0"s, "xa\0b"s},
    // and so are those that were there before
    {"abc", "\0"s, "abc"},
    {"", "\0\0\0"s, ""},
    {"ab\0\0"s, "\0"s, "ab"},
    {"\0\0"s, "\0"s, ""},
    {"ab\0\0"s, "c"s, "ab\0\0c"s},
    // nothing to append: not even a trim
    {"ab\0"s, "", "ab\0"s},
    {"", "", ""},
};

TEST(AppendN, KeepsNulsInsideAndDropsThoseAtTheEnd) {
  for (const RawCase& c : kRawCases) {
    StringBuffer buffer;
    fill(buffer, c.before);
    EXPECT_TRUE(appendBytes(buffer, c.bytes));
    EXPECT_TRUE(holds(buffer, c.after, 0, 202)) << testing::PrintToString(c.before + "|" + c.bytes);
  }
}

TEST(AppendN, FourBytesWithTwoTrailingNulsRaiseTheLengthByTwo) {
  StringBuffer buffer("xy");
  EXPECT_TRUE(buffer.appendN("ab\0\0", 4));
  EXPECT_TRUE(holds(buffer, "xyab", 0, 202));
}

TEST(AppendN, NullOrNoBytesChangeNothing) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    play(scene, buffer);
    EXPECT_TRUE(buffer.appendN(nullptr, 0));
    EXPECT_TRUE(buffer.appendN(nullptr, 5));
    EXPECT_TRUE(buffer.appendN(nullptr, kAll));
    EXPECT_TRUE(buffer.appendN("abc", 0));
    EXPECT_TRUE(agrees(buffer, modelOf(scene))) << scene.name;
  }
}

TEST(AppendN, DroppedNulsStayInTheStorage) {
  StringBuffer buffer("ab");
  std::memset(buffer.pCharAt(2) + 1, 'Z', 10);
  EXPECT_TRUE(buffer.appendN("c\0\0\0", 4));
  EXPECT_TRUE(holds(buffer, "abc", 0, 202));
  EXPECT_EQ(std::string(buffer.getString(), 9), "abc\0\0\0\0ZZ"s);
}

TEST(AppendN, RoomIsMadeForNulsThatAreDroppedAfterwards) {
  const std::string nuls(100, '\0');
  StringBuffer buffer;
  EXPECT_TRUE(appendBytes(buffer, nuls));
  EXPECT_TRUE(holds(buffer, "", 303, 202));
}

TEST(AppendN, AgreesWithTheModelForAllShortStrings) {
  const std::vector<std::string> all = harness::allStrings("a\0"sv, 5);
  for (const std::string& before : all) {
    for (const std::string& bytes : all) {
      StringBuffer buffer;
      fill(buffer, before);
      StorageModel model;
      model.append(before);
      model.appendN(bytes);
      ASSERT_TRUE(appendBytes(buffer, bytes));
      ASSERT_TRUE(agrees(buffer, model)) << testing::PrintToString(before + "|" + bytes);
    }
  }
}

TEST(AppendN, OnlyTheNulIsTrimmedOfAllByteValues) {
  for (int value = 0; value <= 255; ++value) {
    const std::string byte(1, static_cast<char>(value));
    StringBuffer buffer("x");
    EXPECT_TRUE(appendBytes(buffer, byte));
    EXPECT_TRUE(holds(buffer, value == 0 ? "x" : "x" + byte, 0, 202)) << value;
    EXPECT_TRUE(appendBytes(buffer, byte + "y"));
    EXPECT_TRUE(holds(buffer, (value == 0 ? "x" : "x" + byte) + byte + "y", 0, 202)) << value;
  }
}

TEST(AppendN, AgreesWithTheModelFromEveryScene) {
  for (const Scene& scene : scenes()) {
    for (const unsigned int n : {1U, 2U, 60U, 61U, 62U, 80U, 81U, 82U, 83U, 202U, 203U, 204U, 264U,
                                 265U, 284U, 285U, 486U, 1000U}) {
      StringBuffer buffer;
      StorageModel model = modelOf(scene);
      play(scene, buffer);
      const std::string bytes = harness::randomText(n, n, "ab\0"sv);
      model.appendN(bytes);
      ASSERT_TRUE(appendBytes(buffer, bytes));
      ASSERT_TRUE(agrees(buffer, model)) << scene.name << " " << n;
    }
  }
}

TEST(AppendN, RefusesALengthThatNoBufferCanReach) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    play(scene, buffer);
    EXPECT_FALSE(buffer.appendN("abc", kAll)) << scene.name;
    EXPECT_TRUE(agrees(buffer, modelOf(scene))) << scene.name;
  }
}

TEST(AppendN, AMegabyteOfNulsIsOneTrim) {
  const std::string nuls(1 << 20, '\0');
  StringBuffer buffer("head");
  EXPECT_TRUE(appendBytes(buffer, nuls));
  EXPECT_TRUE(holds(buffer, "head", 4 + (1 << 20) + 203, 202));
  for (int i = 0; i < 100000; ++i) buffer.appendN("\0", 1);
  EXPECT_TRUE(holds(buffer, "head", 4 + (1 << 20) + 203, 202));
}

// ---- append of a text ----

TEST(AppendText, NullAndEmptyChangeNothing) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    play(scene, buffer);
    EXPECT_TRUE(buffer.append(static_cast<const char*>(nullptr)));
    EXPECT_TRUE(buffer.append(""));
    EXPECT_TRUE(buffer.append("\0abc"));
    EXPECT_TRUE(agrees(buffer, modelOf(scene))) << scene.name;
  }
}

TEST(AppendText, StopsAtTheFirstNulOfTheArgument) {
  StringBuffer buffer("x");
  EXPECT_TRUE(buffer.append("ab\0cd"));
  EXPECT_TRUE(holds(buffer, "xab", 0, 202));
}

TEST(AppendText, TrimsNoTrailingNuls) {
  StringBuffer buffer;
  fill(buffer, "ab\0\0"sv);
  EXPECT_TRUE(buffer.append("c"));
  EXPECT_TRUE(holds(buffer, "ab\0\0c"sv, 0, 202));
}

TEST(AppendText, AgreesWithTheModelFromEveryScene) {
  for (const Scene& scene : scenes()) {
    for (const unsigned int n :
         {1U, 61U, 80U, 81U, 82U, 83U, 202U, 203U, 264U, 265U, 284U, 285U, 1000U}) {
      StringBuffer buffer;
      StorageModel model = modelOf(scene);
      play(scene, buffer);
      model.append(letters(n));
      ASSERT_TRUE(buffer.append(letters(n).c_str()));
      ASSERT_TRUE(agrees(buffer, model)) << scene.name << " " << n;
    }
  }
}

TEST(AppendText, KeepsEveryByteValueButNul) {
  std::string all;
  for (int value = 1; value <= 255; ++value) all += static_cast<char>(value);
  StringBuffer buffer;
  EXPECT_TRUE(buffer.append(all.c_str()));
  EXPECT_TRUE(holds(buffer, all, 255 + 203, 202));
}

// ---- append of a buffer ----

TEST(AppendBuffer, AppendsTheContentAsRawBytes) {
  for (const RawCase& c : kRawCases) {
    StringBuffer buffer, other;
    fill(buffer, c.before);
    fill(other, c.bytes);
    EXPECT_TRUE(buffer.append(other));
    EXPECT_TRUE(holds(buffer, c.after, 0, 202)) << testing::PrintToString(c.before + "|" + c.bytes);
    EXPECT_TRUE(holds(other, c.bytes, 0, 202));
  }
}

TEST(AppendBuffer, AgreesWithTheModelForEveryPairOfScenes) {
  for (const Scene& scene : scenes()) {
    for (const Scene& otherScene : scenes()) {
      StringBuffer buffer, other;
      play(scene, buffer);
      play(otherScene, other);
      StorageModel model = modelOf(scene);
      model.appendN(modelOf(otherScene).content);
      ASSERT_TRUE(buffer.append(other));
      ASSERT_TRUE(agrees(buffer, model)) << scene.name << ", " << otherScene.name;
      ASSERT_TRUE(agrees(other, modelOf(otherScene)));
    }
  }
}

TEST(AppendBuffer, RefusesItself) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    play(scene, buffer);
    const StringBuffer& self = buffer;
    EXPECT_FALSE(buffer.append(self)) << scene.name;
    EXPECT_TRUE(agrees(buffer, modelOf(scene))) << scene.name;
  }
}

TEST(AppendBuffer, RefusesABufferWhoseValidityWordDiffers) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer("abc"), other;
    play(scene, other);
    harness::flipValidityWord(other);
    EXPECT_FALSE(buffer.append(other)) << scene.name;
    EXPECT_TRUE(holds(buffer, "abc", 0, 202)) << scene.name;
    harness::flipValidityWord(other);
    EXPECT_TRUE(buffer.append(other)) << scene.name;
  }
}

TEST(AppendBuffer, TheMarkerOfTheOtherBufferDoesNotMatter) {
  StringBuffer buffer("abc"), other("def");
  harness::flipMarker(other);
  EXPECT_TRUE(buffer.append(other));
  EXPECT_TRUE(holds(buffer, "abcdef", 0, 202));
}

// ---- setString of a text ----

TEST(SetStringText, NullAndEmptyLeaveAnEmptyBuffer) {
  for (const char* text : {static_cast<const char*>(nullptr), "", "\0abc"}) {
    for (const Scene& scene : scenes()) {
      StringBuffer buffer;
      StorageModel model = modelOf(scene);
      play(scene, buffer);
      model.weakClear();
      EXPECT_TRUE(buffer.setString(text)) << scene.name;
      EXPECT_TRUE(agrees(buffer, model)) << scene.name;
    }
  }
}

TEST(SetStringText, ReplacesTheContentAndKeepsTheBlock) {
  for (const Scene& scene : scenes()) {
    for (const unsigned int n : {1U, 10U, 80U, 81U, 82U, 83U, 284U, 285U, 487U, 488U, 1000U}) {
      StringBuffer buffer;
      StorageModel model = modelOf(scene);
      play(scene, buffer);
      model.setString(letters(n));
      ASSERT_TRUE(buffer.setString(letters(n).c_str()));
      ASSERT_TRUE(agrees(buffer, model)) << scene.name << " " << n;
    }
  }
}

TEST(SetStringText, StopsAtTheFirstNulOfTheArgument) {
  StringBuffer buffer("before");
  EXPECT_TRUE(buffer.setString("ab\0cd"));
  EXPECT_TRUE(holds(buffer, "ab", 0, 202));
}

TEST(SetStringText, ResetsTheExtendSize) {
  StringBuffer buffer("abc");
  buffer.setExtendSize(7);
  EXPECT_TRUE(buffer.setString("d"));
  EXPECT_TRUE(holds(buffer, "d", 0, 202));
  buffer.setExtendSize(7);
  EXPECT_TRUE(buffer.setString(static_cast<const char*>(nullptr)));
  EXPECT_TRUE(holds(buffer, "", 0, 202));
  buffer.setExtendSize(7);
  EXPECT_TRUE(buffer.setString(letters(90).c_str()));
  EXPECT_TRUE(holds(buffer, letters(90), 293, 202));
}

TEST(SetStringText, ASuffixOfItselfBecomesTheContent) {
  StringBuffer buffer("abcdefg");
  EXPECT_TRUE(buffer.setString(buffer.getString() + 3));
  EXPECT_TRUE(holds(buffer, "defg", 0, 202));
}

TEST(SetStringText, ClearingAndRefillingDoesNotReallocate) {
  StringBuffer buffer;
  appendBytes(buffer, letters(284));
  const char* const block = buffer.getString();
  const std::string text = letters(284);
  const FailAllocation count(0);
  for (int i = 0; i < 10; ++i) {
    buffer.setString(text.c_str());
    buffer.weakClear();
    buffer.append(text.c_str());
  }
  EXPECT_EQ(count.seen(), 0);
  EXPECT_EQ(buffer.getString(), block);
}

// ---- setString of a buffer ----

TEST(SetStringBuffer, ReplacesTheContentAsRawBytesAndKeepsTheBlock) {
  for (const Scene& scene : scenes()) {
    for (const Scene& otherScene : scenes()) {
      StringBuffer buffer, other;
      play(scene, buffer);
      play(otherScene, other);
      StorageModel model = modelOf(scene);
      model.setString(modelOf(otherScene));
      ASSERT_TRUE(buffer.setString(other));
      ASSERT_TRUE(agrees(buffer, model)) << scene.name << ", " << otherScene.name;
      ASSERT_TRUE(agrees(other, modelOf(otherScene)));
    }
  }
}

TEST(SetStringBuffer, OfItselfChangesNothing) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    StorageModel model = modelOf(scene);
    play(scene, buffer);
    buffer.setExtendSize(model.extendSize = 77);
    const StringBuffer& self = buffer;
    EXPECT_TRUE(buffer.setString(self)) << scene.name;
    EXPECT_TRUE(agrees(buffer, model)) << scene.name;
  }
}

TEST(SetStringBuffer, DoesNotTestTheValidityWord) {
  StringBuffer buffer("abc"), other("defg");
  harness::flipValidityWord(other);
  EXPECT_TRUE(buffer.setString(other));
  EXPECT_TRUE(holds(buffer, "defg", 0, 202));
}

TEST(SetStringBuffer, DoesNotCopyTheSecureFlag) {
  StringBuffer buffer("abc"), other("defg");
  other.setSecureBuf(true);
  EXPECT_TRUE(buffer.setString(other));
  EXPECT_FALSE(harness::wipesItsBlocks(buffer));
}

// ---- Arguments that point into the buffer ----

// The content ends at `length`, but the whole storage holds text that ends at its last byte.
struct FilledStorage {
  const char* name;
  bool onHeap;
  unsigned int length;
};

constexpr FilledStorage kFilledStorages[] = {
    {"inline, empty", false, 0},      {"inline, one byte", false, 1},
    {"inline, half", false, 40},      {"inline, almost full", false, 80},
    {"inline, full", false, 81},      {"heap, empty", true, 0},
    {"heap, short", true, 5},         {"heap, half", true, 150},
    {"heap, almost full", true, 283}, {"heap, full", true, 284},
};

void play(const FilledStorage& filled, StringBuffer& buffer, StorageModel& model) {
  const std::string text = letters(filled.onHeap ? 284 : 81);
  for (const std::string& piece : {text.substr(0, 81), text.substr(81, filled.onHeap ? 1 : 0),
                                   text.substr(filled.onHeap ? 82 : 81)}) {
    appendBytes(buffer, piece);
    model.appendN(piece);
  }
  buffer.chopAt(filled.length);
  model.chopAt(filled.length);
}

// Applies the change to an argument inside the storage and, to a copy, on the model.
using TextChange = std::function<bool(StringBuffer&, const char*)>;
using ModelChange = std::function<void(StorageModel&, const std::string&)>;

void expectAsIfCopied(const TextChange& change, const ModelChange& same) {
  for (const FilledStorage& filled : kFilledStorages) {
    for (unsigned int at = 0; at < (filled.onHeap ? 285U : 82U); ++at) {
      StringBuffer buffer;
      StorageModel model;
      play(filled, buffer, model);
      const char* const argument = buffer.getString() + at;
      same(model, std::string(argument));
      ASSERT_TRUE(change(buffer, argument)) << filled.name << ", at " << at;
      ASSERT_TRUE(agrees(buffer, model)) << filled.name << ", at " << at;
    }
  }
}

// As above with an argument in the inline array while the content is on the heap.
void expectAsIfCopiedFromInline(const TextChange& change, const ModelChange& same) {
  for (const unsigned int length : {82U, 150U, 283U, 284U}) {
    for (unsigned int at = 0; at < 82; ++at) {
      StringBuffer buffer;
      StorageModel model;
      appendBytes(buffer, letters(81));
      model.appendN(letters(81));
      const char* const argument = buffer.getString() + at;
      for (unsigned int i = 81; i < length; ++i) {
        buffer.appendChar('z');
        model.appendChar('z');
      }
      same(model, std::string(argument));
      ASSERT_TRUE(change(buffer, argument)) << length << " bytes, at " << at;
      ASSERT_TRUE(agrees(buffer, model)) << length << " bytes, at " << at;
    }
  }
}

TEST(StorageAliasing, AppendOfOwnText) {
  const TextChange change = [](StringBuffer& b, const char* text) { return b.append(text); };
  const ModelChange same = [](StorageModel& m, const std::string& text) { m.append(text); };
  expectAsIfCopied(change, same);
  expectAsIfCopiedFromInline(change, same);
}

TEST(StorageAliasing, SetStringOfOwnText) {
  const TextChange change = [](StringBuffer& b, const char* text) { return b.setString(text); };
  const ModelChange same = [](StorageModel& m, const std::string& text) { m.setString(text); };
  expectAsIfCopied(change, same);
  expectAsIfCopiedFromInline(change, same);
}

TEST(StorageAliasing, AssignmentOfOwnText) {
  const TextChange change = [](StringBuffer& b, const char* text) { return &(b = text) == &b; };
  const ModelChange same = [](StorageModel& m, const std::string& text) { m.append(text); };
  expectAsIfCopied(change, same);
  expectAsIfCopiedFromInline(change, same);
}

TEST(StorageAliasing, AppendOfItsOwnTextDoublesTheContent) {
  for (const unsigned int n : {1U, 40U, 41U, 81U, 142U, 143U, 284U, 1000U}) {
    StringBuffer buffer;
    appendBytes(buffer, letters(n));
    EXPECT_TRUE(buffer.append(buffer.getString()));
    EXPECT_TRUE(holds(buffer, letters(n) + letters(n)));
  }
}

void expectOwnBytesAppended(const FilledStorage& filled, unsigned int at, unsigned int n) {
  StringBuffer buffer;
  StorageModel model;
  play(filled, buffer, model);
  const char* const argument = buffer.getString() + at;
  model.appendN(std::string(argument, n));
  ASSERT_TRUE(buffer.appendN(argument, n)) << filled.name << ", " << n << " at " << at;
  ASSERT_TRUE(agrees(buffer, model)) << filled.name << ", " << n << " at " << at;
}

TEST(StorageAliasing, AppendNOfOwnBytes) {
  for (const FilledStorage& filled : kFilledStorages) {
    const unsigned int storage = filled.onHeap ? 285 : 82;
    for (unsigned int at = 0; at < storage; ++at) {
      for (const unsigned int n : {1U, 2U, 7U, 81U, storage - at})
        if (at + n <= storage) expectOwnBytesAppended(filled, at, n);
    }
  }
}

TEST(StorageAliasing, AppendNOfInlineBytesWhileOnTheHeap) {
  for (const unsigned int n : {1U, 40U, 81U}) {
    const TextChange change = [n](StringBuffer& b, const char* p) {
      return b.appendN(p, std::min(n, static_cast<unsigned int>(std::strlen(p))));
    };
    const ModelChange same = [n](StorageModel& m, const std::string& text) {
      m.appendN(text.substr(0, n));
    };
    expectAsIfCopiedFromInline(change, same);
  }
}

TEST(StorageAliasing, SetStringOfOwnTextBehindAnEmbeddedNul) {
  StringBuffer buffer;
  fill(buffer, "ab\0cd\0ef"sv);
  EXPECT_TRUE(buffer.setString(buffer.getString() + 3));
  EXPECT_TRUE(holds(buffer, "cd", 0, 202));
}

TEST(StorageAliasing, SetStringOfOwnEmbeddedNulEmptiesTheBuffer) {
  StringBuffer buffer;
  fill(buffer, "ab\0cd"sv);
  EXPECT_TRUE(buffer.setString(buffer.getString() + 2));
  EXPECT_TRUE(holds(buffer, "", 0, 202));
}

// ---- The clear variants ----

void weakClearOf(StringBuffer& buffer) { buffer.weakClear(); }
void clearOf(StringBuffer& buffer) { buffer.clear(); }
void strongClearOf(StringBuffer& buffer) { buffer.strongClear(); }
void secureClearOf(StringBuffer& buffer) { buffer.secureClear(); }

struct Variant {
  const char* name;
  void (*clear)(StringBuffer&);
  bool wipesPlain;  // wipes a buffer that is not secure
};

constexpr Variant kReleasing[] = {
    {"clear", clearOf, false},
    {"strongClear", strongClearOf, false},
    {"secureClear", secureClearOf, true},
};

TEST(ClearVariants, ReleaseTheBlockAndReturnToTheInlineArray) {
  for (const Variant& variant : kReleasing) {
    for (const Scene& scene : scenes()) {
      StringBuffer buffer;
      play(scene, buffer);
      buffer.setExtendSize(77);
      const bool hadBlock = buffer.heapUsage() != 0;
      const auto blocks = releasedBy([&] { variant.clear(buffer); });
      EXPECT_EQ(blocks.size(), hadBlock ? 1U : 0U) << variant.name << ", " << scene.name;
      EXPECT_TRUE(holds(buffer, "", 0, 202)) << variant.name << ", " << scene.name;
      EXPECT_TRUE(isInline(buffer)) << variant.name << ", " << scene.name;
    }
  }
}

TEST(ClearVariants, WeakClearKeepsTheBlock) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    StorageModel model = modelOf(scene);
    play(scene, buffer);
    buffer.setExtendSize(77);
    const char* const storage = buffer.getString();
    model.weakClear();
    const auto blocks = releasedBy([&] { buffer.weakClear(); });
    EXPECT_TRUE(blocks.empty()) << scene.name;
    EXPECT_TRUE(agrees(buffer, model)) << scene.name;
    EXPECT_EQ(buffer.getString(), storage) << scene.name;
  }
}

TEST(ClearVariants, WeakClearEndsTheInlineArrayToo) {
  StringBuffer buffer;
  makeDirty(buffer);
  ASSERT_EQ(peekInlineBytes(&buffer), letters(81) + "\0"s);
  buffer.weakClear();
  EXPECT_EQ(peekInlineBytes(&buffer)[0], '\0');
}

TEST(ClearVariants, WeakClearNeverWipes) {
  for (const bool secure : {false, true}) {
    StringBuffer onHeap;
    makeDirty(onHeap);
    onHeap.setSecureBuf(secure);
    const std::string block(onHeap.getString(), 285);
    onHeap.weakClear();
    EXPECT_EQ(std::string(onHeap.getString(), 285), "\0"s + block.substr(1));
    EXPECT_EQ(peekInlineBytes(&onHeap), "\0"s + letters(81).substr(1) + "\0"s);

    StringBuffer inInline("abcdef");
    inInline.setSecureBuf(secure);
    inInline.weakClear();
    EXPECT_EQ(std::string(inInline.getString(), 7), "\0bcdef\0"s);
  }
}

TEST(ClearVariants, ASecureBufferWipesItsWholeBlockAndInlineArray) {
  for (const Variant& variant : kReleasing) {
    StringBuffer buffer;
    buffer.setSecureBuf(true);
    makeDirty(buffer);
    const auto blocks = releasedBy([&] { variant.clear(buffer); });
    ASSERT_EQ(blocks.size(), 1U) << variant.name;
    EXPECT_EQ(blocks[0].size(), 285U) << variant.name;
    EXPECT_TRUE(harness::allWiped(blocks)) << variant.name;
    EXPECT_TRUE(harness::isZero(peekInlineBytes(&buffer))) << variant.name;
  }
}

TEST(ClearVariants, ASecureBufferWipesInlineContent) {
  for (const Variant& variant : kReleasing) {
    StringBuffer buffer;
    buffer.setSecureBuf(true);
    appendBytes(buffer, letters(81));
    buffer.chopAt(10);
    variant.clear(buffer);
    EXPECT_TRUE(harness::isZero(peekInlineBytes(&buffer))) << variant.name;
  }
}

TEST(ClearVariants, ASecureBufferWipesEvenWhenItIsEmpty) {
  for (const Variant& variant : kReleasing) {
    StringBuffer buffer;
    buffer.setSecureBuf(true);
    makeDirty(buffer);
    buffer.weakClear();
    const auto blocks = releasedBy([&] { variant.clear(buffer); });
    ASSERT_EQ(blocks.size(), 1U) << variant.name;
    EXPECT_TRUE(harness::allWiped(blocks)) << variant.name;
    EXPECT_TRUE(harness::isZero(peekInlineBytes(&buffer))) << variant.name;
  }
}

TEST(ClearVariants, OnlySecureClearWipesABufferThatIsNotSecure) {
  for (const Variant& variant : kReleasing) {
    StringBuffer buffer;
    makeDirty(buffer);
    const auto blocks = releasedBy([&] { variant.clear(buffer); });
    ASSERT_EQ(blocks.size(), 1U) << variant.name;
    EXPECT_EQ(harness::isZero(blocks[0]), variant.wipesPlain) << variant.name;
    EXPECT_EQ(blocks[0].substr(0, 10) == letters(10), !variant.wipesPlain) << variant.name;
  }
}

TEST(ClearVariants, SecureClearWipesInlineContentOfAnyBuffer) {
  StringBuffer buffer("secret");
  buffer.secureClear();
  EXPECT_EQ(std::string(buffer.getString(), 7), std::string(7, '\0'));
}

TEST(ClearVariants, KeepTheSecureFlag) {
  for (const Variant& variant :
       {kReleasing[0], kReleasing[1], kReleasing[2], Variant{"weakClear", weakClearOf, false}}) {
    for (const bool secure : {false, true}) {
      StringBuffer buffer("abc");
      buffer.setSecureBuf(secure);
      variant.clear(buffer);
      EXPECT_EQ(harness::wipesItsBlocks(buffer), secure) << variant.name;
    }
  }
}

// ---- Secure growth ----

TEST(SecureStorage, TheFirstMoveToTheHeapLeavesTheInlineBytes) {
  StringBuffer buffer;
  buffer.setSecureBuf(true);
  appendBytes(buffer, letters(81));
  const char* const inlineArray = buffer.getString();
  appendBytes(buffer, "x");
  ASSERT_NE(buffer.getString(), inlineArray);
  EXPECT_EQ(std::string(inlineArray, 82), letters(81) + "\0"s);
  buffer.clear();
  EXPECT_TRUE(harness::isZero(peekInlineBytes(&buffer)));
}

TEST(SecureStorage, GrowthWipesTheWholeOldBlock) {
  StringBuffer buffer;
  buffer.setSecureBuf(true);
  makeDirty(buffer);
  const std::string more = letters(300);
  const auto blocks = releasedBy([&] { buffer.append(more.c_str()); });
  ASSERT_EQ(blocks.size(), 1U);
  EXPECT_EQ(blocks[0].size(), 285U);
  EXPECT_TRUE(harness::allWiped(blocks));
  EXPECT_TRUE(holds(buffer, letters(10) + letters(300), 513, 256));
}

TEST(SecureStorage, GrowthFromNothingWipesTheOldBlockToo) {
  StringBuffer buffer;
  buffer.setSecureBuf(true);
  makeDirty(buffer);
  buffer.weakClear();
  const std::string more = letters(300);
  const auto blocks = releasedBy([&] { buffer.setString(more.c_str()); });
  ASSERT_EQ(blocks.size(), 1U);
  EXPECT_TRUE(harness::allWiped(blocks));
  EXPECT_TRUE(holds(buffer, letters(300), 503, 251));
}

TEST(SecureStorage, GrowthOfAPlainBufferWipesNothing) {
  StringBuffer buffer;
  makeDirty(buffer);
  const std::string more = letters(300);
  const auto blocks = releasedBy([&] { buffer.append(more.c_str()); });
  ASSERT_EQ(blocks.size(), 1U);
  EXPECT_EQ(blocks[0].substr(0, 10), letters(10));
}

TEST(SecureStorage, NoBlockOfSetStringWithOwnTextKeepsContent) {
  StringBuffer buffer;
  buffer.setSecureBuf(true);
  appendBytes(buffer, letters(600));
  EXPECT_TRUE(harness::allWiped(releasedBy([&] { buffer.setString(buffer.getString() + 3); })));
  EXPECT_TRUE(holds(buffer, letters(600).substr(3), 803, 202));
}

TEST(SecureStorage, NoBlockOfAppendWithOwnTextKeepsContent) {
  StringBuffer buffer;
  buffer.setSecureBuf(true);
  appendBytes(buffer, letters(600));
  EXPECT_TRUE(harness::allWiped(releasedBy([&] { buffer.append(buffer.getString()); })));
  EXPECT_TRUE(holds(buffer, letters(600) + letters(600), 1403, 701));
}

// ---- releaseBuffer ----

TEST(ReleaseBuffer, FreesTheBlockAndKeepsLengthAndExtendSize) {
  StringBuffer buffer;
  appendBytes(buffer, letters(300));
  buffer.setExtendSize(77);
  const auto blocks = releasedBy([&] { buffer.releaseBuffer(); });
  EXPECT_EQ(blocks.size(), 1U);
  EXPECT_EQ(buffer.heapUsage(), 0U);
  EXPECT_TRUE(isInline(buffer));
  EXPECT_EQ(buffer.getSize(), 300U);
  EXPECT_EQ(buffer.getExtendSize(), 77U);
  buffer.clear();
  EXPECT_TRUE(holds(buffer, "", 0, 202));
}

TEST(ReleaseBuffer, LeavesTheInlineArrayOfAPlainBuffer) {
  StringBuffer buffer;
  makeDirty(buffer);
  buffer.releaseBuffer();
  EXPECT_EQ(peekInlineBytes(&buffer), letters(81) + "\0"s);
  EXPECT_EQ(buffer.getSize(), 10U);
}

TEST(ReleaseBuffer, LeavesInlineContentOfAPlainBuffer) {
  StringBuffer buffer("abc");
  buffer.releaseBuffer();
  EXPECT_TRUE(holds(buffer, "abc", 0, 202));
}

TEST(ReleaseBuffer, WipesTheBlockAndTheInlineArrayOfASecureBuffer) {
  StringBuffer buffer;
  buffer.setSecureBuf(true);
  makeDirty(buffer);
  const auto blocks = releasedBy([&] { buffer.releaseBuffer(); });
  ASSERT_EQ(blocks.size(), 1U);
  EXPECT_TRUE(harness::allWiped(blocks));
  EXPECT_TRUE(harness::isZero(peekInlineBytes(&buffer)));
  EXPECT_EQ(buffer.getSize(), 10U);
}

TEST(ReleaseBuffer, WipesInlineContentOfASecureBuffer) {
  StringBuffer buffer;
  buffer.setSecureBuf(true);
  appendBytes(buffer, letters(81));
  buffer.releaseBuffer();
  EXPECT_TRUE(harness::isZero(peekInlineBytes(&buffer)));
  EXPECT_EQ(buffer.getSize(), 81U);
}

TEST(ReleaseBuffer, DoesNotWipeTheBlockOfAPlainBuffer) {
  StringBuffer buffer;
  makeDirty(buffer);
  const auto blocks = releasedBy([&] { buffer.releaseBuffer(); });
  ASSERT_EQ(blocks.size(), 1U);
  EXPECT_EQ(blocks[0].substr(0, 10), letters(10));
}

// What members do while the length is stale is bounded by the storage; sanitizers watch. Each
// leaves a buffer that clear() makes whole again.
TEST(ReleaseBuffer, TheStaleLengthHarmsNoOtherMember) {
  static const char kText[] = "some text";
  const std::vector<std::function<void(StringBuffer&)>> uses = {
      [](StringBuffer& b) { b.weakClear(); },
      [](StringBuffer& b) { b.secureClear(); },
      [](StringBuffer& b) { b.releaseBuffer(); },
      [](StringBuffer& b) { b.append(kText); },
      [](StringBuffer& b) { b.appendN(kText, sizeof kText); },
      [](StringBuffer& b) { b.append(StringBuffer(kText)); },
      [](StringBuffer& b) { b.appendChar('x'); },
      [](StringBuffer& b) { b.expectNumBytes(1); },
      [](StringBuffer& b) { b.expectNumBytes(1000); },
      [](StringBuffer& b) { b.setString(kText); },
      [](StringBuffer& b) { b.setString(b.getString() + 5); },
      [](StringBuffer& b) { b.shorten(2); },
      [](StringBuffer& b) { b.shorten(kAll); },
      [](StringBuffer& b) { b.chopAt(200); },
      [](StringBuffer& b) { b.rollback(200); },
      [](StringBuffer& b) { b.rollback(0); },
      [](StringBuffer& b) { b.removeChunk(0, 10); },
      [](StringBuffer& b) { b.removeChunk(90, 100); },
      [](StringBuffer& b) { b.isNonTerminated(); },
      [](StringBuffer& b) { StringBuffer().append(b); },
      [](StringBuffer& b) { StringBuffer().setString(b); },
      [](StringBuffer& b) { StringBuffer copy(b); },
      [](StringBuffer& b) { StringBuffer() = b; },
      [](StringBuffer& b) { StringBuffer::deleteSb(StringBuffer::createNewSB(b)); },
      [](StringBuffer& b) { delete[] b.createCopy(); },
      [](StringBuffer& b) { delete[] b.copyString(nullptr); },
      [](StringBuffer& b) { delete[] b.extractString(nullptr); },
      [](StringBuffer& b) { StringBuffer().takeSb(b); },
      [](StringBuffer& b) { b.takeSb(b); },
      [](StringBuffer& b) { b.minimizeMemoryUsage(); },
      [](StringBuffer& b) {
        LogBase log;
        b.logSbMemUsage(log);
      },
      [](StringBuffer& b) {
        char copy[400];
        b.copyToBuffer(copy, sizeof copy);
      },
  };
  for (const bool secure : {false, true}) {
    for (std::size_t i = 0; i < uses.size(); ++i) {
      StringBuffer buffer;
      buffer.setSecureBuf(secure);
      appendBytes(buffer, letters(300));
      buffer.releaseBuffer();
      uses[i](buffer);
      EXPECT_TRUE(buffer.isValidObject()) << i;
      buffer.clear();
      EXPECT_TRUE(holds(buffer, "", 0, 202)) << i;
      EXPECT_TRUE(buffer.append(letters(100).c_str())) << i;
      EXPECT_TRUE(holds(buffer, letters(100), 303, 202)) << i;
    }
  }
}

TEST(ReleaseBuffer, PCharAtStaysInsideTheStorage) {
  StringBuffer buffer;
  appendBytes(buffer, letters(300));
  buffer.releaseBuffer();
  for (unsigned int i = 0; i <= 301; ++i) {
    const char* const byte = buffer.pCharAt(i);
    EXPECT_TRUE(byte == nullptr || byte < buffer.getString() + 82) << i;
  }
  buffer.clear();
}

TEST(ReleaseBuffer, ABufferWithAStaleLengthCanDie) {
  for (const bool secure : {false, true}) {
    const auto buffer = std::make_unique<StringBuffer>(letters(100000).c_str());
    buffer->setSecureBuf(secure);
    buffer->releaseBuffer();
    EXPECT_EQ(buffer->getSize(), 100000U);
  }
}

// ---- Truncations ----

TEST(Shorten, RemovesFromTheEndAndZeroesEachByte) {
  StringBuffer buffer("abcdef");
  buffer.shorten(2);
  EXPECT_TRUE(holds(buffer, "abcd", 0, 202));
  EXPECT_EQ(std::string(buffer.getString(), 7), "abcd\0\0\0"s);
  buffer.shorten(0);
  EXPECT_TRUE(holds(buffer, "abcd", 0, 202));
  buffer.shorten(4);
  EXPECT_TRUE(holds(buffer, "", 0, 202));
  EXPECT_EQ(std::string(buffer.getString(), 7), std::string(7, '\0'));
  buffer.shorten(1);
  EXPECT_TRUE(holds(buffer, "", 0, 202));
}

TEST(Shorten, StopsWhenNothingIsLeft) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    StorageModel model = modelOf(scene);
    play(scene, buffer);
    const unsigned int length = buffer.getSize();
    buffer.shorten(kAll);
    model.content.clear();
    EXPECT_TRUE(agrees(buffer, model)) << scene.name;
    EXPECT_EQ(std::string(buffer.getString(), length), std::string(length, '\0')) << scene.name;
  }
}

TEST(Shorten, AgreesWithTheModel) {
  for (const Scene& scene : scenes()) {
    for (const unsigned int n : {0U, 1U, 2U, 3U, 5U, 79U, 80U, 81U, 82U, 283U, 284U, 285U}) {
      StringBuffer buffer;
      StorageModel model = modelOf(scene);
      play(scene, buffer);
      buffer.shorten(n);
      model.shorten(n);
      ASSERT_TRUE(agrees(buffer, model)) << scene.name << " " << n;
    }
  }
}

TEST(Shorten, DropsNoNulsBeyondTheCount) {
  StringBuffer buffer;
  fill(buffer, "ab\0\0x"sv);
  buffer.shorten(1);
  EXPECT_TRUE(holds(buffer, "ab\0\0"sv, 0, 202));
}

TEST(ChopAt, LeavesTheBytesBehindTheNewEnd) {
  StringBuffer buffer("abcdef");
  buffer.chopAt(2);
  EXPECT_TRUE(holds(buffer, "ab", 0, 202));
  EXPECT_EQ(std::string(buffer.getString(), 7), "ab\0def\0"s);
}

TEST(ChopAt, ActsOnlyInsideTheContent) {
  for (const Scene& scene : scenes()) {
    const unsigned int length = modelOf(scene).size();
    for (const unsigned int index : {length, length + 1, length + 1000, kAll}) {
      StringBuffer buffer;
      play(scene, buffer);
      buffer.chopAt(index);
      ASSERT_TRUE(agrees(buffer, modelOf(scene))) << scene.name << " " << index;
    }
    for (unsigned int index = 0; index < length; ++index) {
      StringBuffer buffer;
      StorageModel model = modelOf(scene);
      play(scene, buffer);
      buffer.chopAt(index);
      model.chopAt(index);
      ASSERT_TRUE(agrees(buffer, model)) << scene.name << " " << index;
    }
  }
}

TEST(Rollback, ReturnsTheResultingLength) {
  StringBuffer buffer("abcd");
  EXPECT_EQ(buffer.rollback(10), 4U);
  EXPECT_EQ(buffer.rollback(kAll), 4U);
  EXPECT_EQ(buffer.rollback(4), 4U);
  EXPECT_TRUE(holds(buffer, "abcd", 0, 202));
  EXPECT_EQ(buffer.rollback(1), 1U);
  EXPECT_TRUE(holds(buffer, "a", 0, 202));
  EXPECT_EQ(buffer.rollback(0), 0U);
  EXPECT_TRUE(holds(buffer, "", 0, 202));
}

TEST(Rollback, ZeroesEachRemovedByte) {
  StringBuffer buffer("abcdef");
  EXPECT_EQ(buffer.rollback(2), 2U);
  EXPECT_EQ(std::string(buffer.getString(), 7), "ab\0\0\0\0\0"s);
}

TEST(Rollback, AgreesWithTheModel) {
  for (const Scene& scene : scenes()) {
    for (unsigned int n = 0; n <= modelOf(scene).size() + 2; ++n) {
      StringBuffer buffer;
      StorageModel model = modelOf(scene);
      play(scene, buffer);
      ASSERT_EQ(buffer.rollback(n), model.rollback(n)) << scene.name << " " << n;
      ASSERT_TRUE(agrees(buffer, model)) << scene.name << " " << n;
    }
  }
}

struct ChunkCase {
  std::string content;
  unsigned int start;
  unsigned int count;
  std::string after;
};

const ChunkCase kChunkCases[] = {
    {"abcdefg", 2, 3, "abfg"},
    {"abcdefg", 0, 3, "defg"},
    {"abcdefg", 4, 3, "abcd"},
    {"abcdefg", 0, 7, ""},
    {"abcdefg", 6, 1, "abcdef"},
    {"abcdefg", 3, 0, "abcdefg"},
    // not inside the content
    {"abcdefg", 5, 3, "abcdefg"},
    {"abcdefg", 7, 0, "abcdefg"},
    {"abcdefg", 8, 1, "abcdefg"},
    {"abcdefg", 0, 8, "abcdefg"},
    {"", 0, 0, ""},
    {"", 0, 1, ""},
    // past 32 bits
    {"abcdefg", 3, kAll, "abcdefg"},
    {"abcdefg", 3, kAll - 1, "abcdefg"},
    {"abcdefg", 6, kAll - 5, "abcdefg"},
    {"abcdefg", kAll, 1, "abcdefg"},
    {"abcdefg", kAll, kAll, "abcdefg"},
    // a NUL inside the range goes with it, a NUL behind it ends the content
    {"ab\0cdef"s, 1, 3, "adef"},
    {"abcd\0ef"s, 1, 2, "ad"},
    {"abcd\0ef"s, 1, 3, "a"},
    {"abcd\0ef"s, 5, 1, "abcd\0f"s},
    {"abcd\0ef"s, 0, 0, "abcd"},
    {"abcd\0ef"s, 4, 0, "abcd"},
    {"abcd\0ef"s, 5, 0, "abcd\0ef"s},
};

TEST(RemoveChunk, RemovesARangeThatLiesInsideTheContent) {
  for (const ChunkCase& c : kChunkCases) {
    StringBuffer buffer;
    fill(buffer, c.content);
    EXPECT_EQ(buffer.removeChunk(c.start, c.count), c.after.size())
        << testing::PrintToString(c.content) << " " << c.start << " " << c.count;
    EXPECT_TRUE(holds(buffer, c.after, 0, 202))
        << testing::PrintToString(c.content) << " " << c.start << " " << c.count;
  }
}

void expectEveryChunk(const std::string& content) {
  const unsigned int beyond = sizeOf(content) + 2;
  for (unsigned int start = 0; start < beyond; ++start) {
    for (unsigned int count = 0; count < beyond; ++count) {
      StringBuffer buffer;
      fill(buffer, content);
      StorageModel model;
      model.append(content);
      ASSERT_EQ(buffer.removeChunk(start, count), model.removeChunk(start, count));
      ASSERT_TRUE(agrees(buffer, model))
          << testing::PrintToString(content) << " " << start << " " << count;
    }
  }
}

TEST(RemoveChunk, AgreesWithTheModelForAllShortStrings) {
  for (const std::string& content : harness::allStrings("ab\0"sv, 5)) expectEveryChunk(content);
}

TEST(RemoveChunk, KeepsTheBlock) {
  StringBuffer buffer;
  appendBytes(buffer, letters(300));
  EXPECT_EQ(buffer.removeChunk(10, 280), 20U);
  EXPECT_TRUE(holds(buffer, letters(10) + letters(300).substr(290), 503, 202));
}

TEST(RemoveChunk, IsBoundedByTheLengthWhenTheTerminatorIsOverwritten) {
  StringBuffer buffer;
  buffer.setExtendSize(0);
  appendBytes(buffer, letters(100));
  *buffer.pCharAt(100) = 'X';
  EXPECT_EQ(buffer.removeChunk(10, 5), 95U);
  EXPECT_TRUE(holds(buffer, letters(10) + letters(100).substr(15), 101, 0));
}

TEST(RemoveChunk, IsLinearInTheContent) {
  const std::string megabyte = letters(1 << 20);
  StringBuffer buffer;
  appendBytes(buffer, megabyte);
  EXPECT_EQ(buffer.removeChunk(1, 1), (1U << 20) - 1);
  EXPECT_TRUE(holds(buffer, "a" + megabyte.substr(2)));
}

// ---- Failing allocations ----

enum class OnFailure { kUnchanged, kWeaklyCleared };

struct GrowingUse {
  const char* name;
  OnFailure onFailure;
  std::function<bool(StringBuffer&)> run;
  std::function<void(StorageModel&)> same;
};

// Every member of this family that can allocate, with an argument that needs a new block.
const std::vector<GrowingUse>& growingUses() {
  static const std::string text = letters(2000);
  static const StringBuffer other(text.c_str());
  static const std::vector<GrowingUse> all = {
      {"expectNumBytes", OnFailure::kUnchanged,
       [](StringBuffer& b) { return b.expectNumBytes(2000); },
       [](StorageModel& m) { m.expectNumBytes(2000); }},
      {"appendN", OnFailure::kUnchanged, [](StringBuffer& b) { return appendBytes(b, text); },
       [](StorageModel& m) { m.appendN(text); }},
      {"append text", OnFailure::kUnchanged, [](StringBuffer& b) { return b.append(text.c_str()); },
       [](StorageModel& m) { m.append(text); }},
      {"append buffer", OnFailure::kUnchanged, [](StringBuffer& b) { return b.append(other); },
       [](StorageModel& m) { m.appendN(text); }},
      {"setString text", OnFailure::kWeaklyCleared,
       [](StringBuffer& b) { return b.setString(text.c_str()); },
       [](StorageModel& m) { m.setString(text); }},
      {"setString buffer", OnFailure::kWeaklyCleared,
       [](StringBuffer& b) { return b.setString(other); },
       [](StorageModel& m) { m.setString(text); }},
  };
  return all;
}

void expectStatedOutcome(const GrowingUse& use, const Scene& scene, bool secure) {
  std::unique_ptr<StringBuffer> buffer;
  bool result = false;
  const auto setUp = [&] {
    buffer = std::make_unique<StringBuffer>();
    buffer->setSecureBuf(secure);
    play(scene, *buffer);
  };
  const auto check = [&] {
    StorageModel expected = modelOf(scene);
    if (result) {
      use.same(expected);
    } else if (use.onFailure == OnFailure::kWeaklyCleared) {
      expected.weakClear();
    }
    EXPECT_TRUE(agrees(*buffer, expected)) << use.name << ", " << scene.name;
    EXPECT_TRUE(buffer->append("")) << use.name;
  };
  const long failed = harness::failEveryAllocation(
      setUp, [&] { result = use.run(*buffer); }, check);
  EXPECT_EQ(failed, 2) << use.name << ", " << scene.name;  // one allocation, two modes
  EXPECT_TRUE(result) << use.name << ", " << scene.name;
}

TEST(StorageFailure, AFailedGrowthLeavesTheStatedState) {
  scenes();  // the tables live on
  growingUses();
  const long live = harness::liveBlocks();
  for (const GrowingUse& use : growingUses())
    for (const Scene& scene : scenes())
      for (const bool secure : {false, true}) expectStatedOutcome(use, scene, secure);
  EXPECT_EQ(harness::liveBlocks(), live);
}

TEST(StorageFailure, ASingleFailureIsReportedAndNotRetried) {
  for (const GrowingUse& use : growingUses()) {
    for (const Scene& scene : scenes()) {
      StringBuffer buffer;
      play(scene, buffer);
      bool result = true;
      {
        const FailAllocation fail(1, FailAllocation::kOnce);
        result = use.run(buffer);
      }
      EXPECT_FALSE(result) << use.name << ", " << scene.name;
    }
  }
}

TEST(StorageFailure, AfterAFailureTheSameCallSucceeds) {
  for (const GrowingUse& use : growingUses()) {
    StringBuffer buffer("abc");
    {
      const FailAllocation fail(1);
      use.run(buffer);
    }
    EXPECT_TRUE(use.run(buffer)) << use.name;
    EXPECT_TRUE(invariantsHold(buffer)) << use.name;
  }
}

using OwnTextUse = std::function<bool(StringBuffer&)>;

void expectUnchangedOrDone(const OwnTextUse& use, unsigned int length, const std::string& done) {
  std::unique_ptr<StringBuffer> buffer;
  bool result = false;
  const auto setUp = [&] {
    buffer = std::make_unique<StringBuffer>();
    appendBytes(*buffer, letters(length));
  };
  const auto check = [&] {
    EXPECT_TRUE(holds(*buffer, result ? done : letters(length)));
    if (result) return;
    EXPECT_EQ(buffer->heapUsage(), length <= 81 ? 0 : length + 203);
  };
  harness::failEveryAllocation(
      setUp, [&] { result = use(*buffer); }, check);
  EXPECT_TRUE(result);
}

TEST(StorageFailure, WithOwnTextTheBufferIsUnchangedOrDone) {
  const long live = harness::liveBlocks();
  for (const unsigned int n : {10U, 50U, 81U, 82U, 300U, 1000U}) {
    expectUnchangedOrDone([](StringBuffer& b) { return b.setString(b.getString() + 3); }, n,
                          letters(n).substr(3));
    expectUnchangedOrDone([](StringBuffer& b) { return b.append(b.getString()); }, n,
                          letters(n) + letters(n));
    expectUnchangedOrDone([](StringBuffer& b) { return b.appendN(b.getString(), b.getSize()); }, n,
                          letters(n) + letters(n));
  }
  EXPECT_EQ(harness::liveBlocks(), live);
}

TEST(StorageFailure, AFailedGrowthOfASecureBufferWipesNothing) {
  StringBuffer buffer;
  buffer.setSecureBuf(true);
  makeDirty(buffer);
  const std::string block(buffer.getString(), 285);
  const std::string inlineBytes = peekInlineBytes(&buffer);
  const std::string more = letters(300);
  {
    const FailAllocation fail(1);
    buffer.append(more.c_str());
  }
  EXPECT_EQ(std::string(buffer.getString(), 285), block);
  EXPECT_EQ(peekInlineBytes(&buffer), inlineBytes);
}

TEST(StorageFailure, ContentOfUpTo81BytesNeedsNoMemory) {
  const FailAllocation fail(1, FailAllocation::kFromThenOn);
  StringBuffer buffer, other;
  bool done = buffer.append("abc") && buffer.appendN("def", 3) && other.append(buffer);
  for (int i = 0; i < 75; ++i) done = done && buffer.append("x");
  done = done && buffer.setString(buffer.getString() + 1) && buffer.setString(other);
  buffer.clear();
  EXPECT_TRUE(done);
  EXPECT_EQ(fail.seen(), 0);
}

// ---- Long walks against the model ----

class Walk {
 public:
  explicit Walk(unsigned int seed) : m_random(seed) {}

  void step() {
    switch (m_random() % 12) {
      case 0:
        return appendRaw();
      case 1:
        return appendText();
      case 2:
        return appendOther();
      case 3:
        return m_random() % 4 == 0 ? setText() : appendRaw();
      case 4:
        return m_random() % 8 == 0 ? clear() : appendText();
      case 5:
        return truncate();
      case 6:
        return remove();
      case 7:
        return expect();
      case 8:
        return appendOwnText();
      case 9:
        return m_random() % 4 == 0 ? setOwnText() : appendRaw();
      case 10:
        return setExtendSize();
      default:
        return appendOwnBytes();
    }
  }

  testing::AssertionResult agrees() { return harness::reference::agrees(m_buffer, m_model); }

 private:
  unsigned int below(unsigned int n) {
    return n == 0 ? 0 : static_cast<unsigned int>(m_random() % n);
  }

  std::string bytes(std::string_view alphabet) {
    static constexpr unsigned int kSizes[] = {0, 1, 2, 5, 20, 79, 80, 81, 82, 83, 202, 285};
    return harness::randomText(m_random(), kSizes[below(12)], alphabet);
  }

  void appendRaw() {
    const std::string piece = bytes("ab\0"sv);
    EXPECT_TRUE(appendBytes(m_buffer, piece));
    m_model.appendN(piece);
  }

  void appendText() {
    const std::string piece = bytes("ab"sv);
    EXPECT_TRUE(m_buffer.append(piece.c_str()));
    m_model.append(piece);
  }

  void appendOther() {
    const std::string piece = bytes("ab\0"sv);
    StringBuffer other;
    fill(other, piece);
    EXPECT_TRUE(m_buffer.append(other));
    m_model.appendN(piece);
  }

  void setText() {
    const std::string piece = bytes("ab"sv);
    EXPECT_TRUE(m_buffer.setString(piece.c_str()));
    m_model.setString(piece);
  }

  void clear() {
    if (below(2) == 0) {
      m_buffer.clear();
      m_model.clear();
    } else {
      m_buffer.weakClear();
      m_model.weakClear();
    }
  }

  void truncate() {
    const unsigned int n = below(m_model.size() + 2);
    if (below(2) == 0) {
      m_buffer.shorten(n);
      m_model.shorten(n);
    } else {
      m_buffer.chopAt(n);
      m_model.chopAt(n);
    }
  }

  void remove() {
    const unsigned int start = below(m_model.size() + 1);
    const unsigned int count = below(m_model.size() + 1);
    EXPECT_EQ(m_buffer.removeChunk(start, count), m_model.removeChunk(start, count));
  }

  void expect() {
    const unsigned int n = below(600);
    EXPECT_TRUE(m_buffer.expectNumBytes(n));
    m_model.expectNumBytes(n);
  }

  const char* ownText() { return m_buffer.getString() + below(m_model.size() + 1); }

  void appendOwnText() {
    if (m_model.size() > 5000) return clear();
    const char* const argument = ownText();
    m_model.append(std::string(argument));
    EXPECT_TRUE(m_buffer.append(argument));
  }

  void setOwnText() {
    const char* const argument = ownText();
    m_model.setString(std::string(argument));
    EXPECT_TRUE(m_buffer.setString(argument));
  }

  void appendOwnBytes() {
    if (m_model.size() > 5000) return clear();
    const unsigned int start = below(m_model.size() + 1);
    const unsigned int n = below(m_model.size() - start + 1);
    m_model.appendN(m_model.content.substr(start, n));
    EXPECT_TRUE(m_buffer.appendN(m_buffer.getString() + start, n));
  }

  void setExtendSize() {
    static constexpr unsigned int kSizes[] = {0, 1, 100, 202, 1000, 499999, 500000};
    m_model.extendSize = kSizes[below(7)];
    m_buffer.setExtendSize(m_model.extendSize);
  }

  std::mt19937 m_random;
  StringBuffer m_buffer;
  StorageModel m_model;
};

TEST(StorageWalk, RandomChangesAgreeWithTheModel) {
  for (unsigned int seed = 1; seed <= 30; ++seed) {
    Walk walk(seed);
    for (int i = 0; i < 300; ++i) {
      walk.step();
      ASSERT_TRUE(walk.agrees()) << "seed " << seed << ", step " << i;
    }
  }
}

// ---- Former bugs ----

// Room was asked for in the type of sizes, which a file of nearly 4 GiB and a few bytes more do not
// fit into on 32 bits. An explicit instantiation may name private members.
template <auto kMember, class Result = bool>
struct AsksIn64Bits {
  static_assert(std::is_same_v<decltype(kMember), Result (StringBuffer::*)(unsigned long long)>);
};
template struct AsksIn64Bits<&StringBuffer::makeRoom>;
template struct AsksIn64Bits<&StringBuffer::grow>;
template struct AsksIn64Bits<&StringBuffer::reserve, void>;

TEST(StorageGrowth, RoomBeyond32BitsIsRefusedNotCut) {
  StringBuffer buffer("text");
  const dorvane::internal::BufferAccess access(buffer);
  EXPECT_FALSE(access.makeRoom(0x100000000ULL + 10));
  access.reserve(0x100000000ULL + 100);
  EXPECT_TRUE(holds(buffer, "text", 0, 202));
}

}  // namespace
