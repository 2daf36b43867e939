// Lists of pieces as their memory shows them. What the pieces hold is in SplitTest.cpp and
// TokenizeTest.cpp.

#include "text/internal/Pieces.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "support/ExtPtrArraySb.h"

namespace {

using dorvane::internal::Piece;
using dorvane::internal::PieceList;
using dorvane::internal::PieceMaker;
using harness::FailAllocation;
using harness::holds;
using harness::liveBlocks;

struct Maker {
  const char* name;
  std::function<void(StringBuffer& text, ExtPtrArraySb& out)> run;
};

// All that make lists at commas.
std::vector<Maker> makers() {
  return {
      {"split", [](StringBuffer& b, ExtPtrArraySb& out) { b.split(out, ',', false, false); }},
      {"split, quotes", [](StringBuffer& b, ExtPtrArraySb& out) { b.split(out, ',', true, true); }},
      {"split2", [](StringBuffer& b, ExtPtrArraySb& out) { b.split2(out, ",", false, false); }},
      {"splitAndTrim",
       [](StringBuffer& b, ExtPtrArraySb& out) { b.splitAndTrim(out, ',', false, false); }},
      {"splitUsingBoundary",
       [](StringBuffer& b, ExtPtrArraySb& out) {
         StringBuffer comma(",");
         b.splitUsingBoundary(comma, out, 0);
       }},
      {"splitByLineEndings",
       [](StringBuffer& b, ExtPtrArraySb& out) {
         b.replaceCharAnsi(',', '\n');
         b.splitByLineEndings(out, false, false);
         b.replaceCharAnsi('\n', ',');
       }},
      {"splitIntoLines",
       [](StringBuffer& b, ExtPtrArraySb& out) {
         b.replaceCharAnsi(',', '\n');
         b.splitIntoLines(out, 0);
         b.replaceCharAnsi('\n', ',');
       }},
      {"tokenize",
       [](StringBuffer& b, ExtPtrArraySb& out) {
         b.replaceCharAnsi(',', ' ');
         b.tokenize(out, "");
         b.replaceCharAnsi(' ', ',');
       }},
  };
}

std::string fields(std::size_t count, std::size_t size) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) text += (i == 0 ? "" : ",") + std::string(size, 'f');
  return text;
}

// Bytes of all blocks that the release of a list gives back.
std::size_t bytesOf(ExtPtrArraySb& list) {
  std::size_t bytes = 0;
  const harness::WatchReleases watch(
      [&](const unsigned char* /*block*/, std::size_t size) { bytes += size; });
  list.removeAll();
  return bytes;
}

bool isBlockByBlock() { return PieceMaker::mostPiecesInChunk() == 1; }

// ---- Memory ----

TEST(PiecesTest, ALongListTakes144BytesAPiece) {
  constexpr std::size_t kCount = 20000;
  StringBuffer text(fields(kCount, 8).c_str());
  for (const Maker& maker : makers()) {
    ExtPtrArraySb out;
    maker.run(text, out);
    ASSERT_EQ(out.getSize(), static_cast<int>(kCount)) << maker.name;
    EXPECT_LE(bytesOf(out), kCount * (isBlockByBlock() ? 153 : 145)) << maker.name;
  }
}

TEST(PiecesTest, AShortListTakesHardlyMore) {
  for (std::size_t count = 1; count <= 100; ++count) {
    StringBuffer text(fields(count, 8).c_str());
    for (const Maker& maker : makers()) {
      ExtPtrArraySb out;
      maker.run(text, out);
      ASSERT_EQ(out.getSize(), static_cast<int>(count)) << maker.name;
      EXPECT_LE(bytesOf(out), count * 152 + 300) << maker.name << ", " << count;
    }
  }
}

TEST(PiecesTest, AFewPiecesOfALongTextTakeLittle) {
  const StringBuffer text(fields(1000, 8).c_str());
  StringBuffer comma(",");
  for (int count = 1; count < 20; ++count) {
    ExtPtrArraySb out;
    text.splitUsingBoundary(comma, out, count);
    ASSERT_EQ(out.getSize(), count);
    EXPECT_LE(bytesOf(out), static_cast<std::size_t>(count) * 152 + 300) << count;
  }
}

TEST(PiecesTest, AListTakesFewAllocations) {
  constexpr long kCount = 100000;
  StringBuffer text(fields(kCount, 8).c_str());
  for (const Maker& maker : makers()) {
    ExtPtrArraySb out;
    const FailAllocation count(0);
    maker.run(text, out);
    EXPECT_LE(count.seen(), 20 + (isBlockByBlock() ? kCount : 0)) << maker.name;
  }
}

// Where the beginning of the text is no sample of the rest.
TEST(PiecesTest, AListThatIsNotWhatItSeemsIsComplete) {
  const std::string texts[] = {
      fields(3000, 1) + "," + std::string(300000, 'y'),
      std::string(300000, 'y') + "," + fields(3000, 1),
      fields(100, 0) + "," + fields(100, 70) + "," + fields(5000, 0),
      std::string(50000, ','),
  };
  for (const std::string& all : texts) {
    StringBuffer text(all.c_str());
    const long blocks = liveBlocks();
    {
      ExtPtrArraySb out;
      ASSERT_TRUE(text.split(out, ',', false, false));
      std::string joined;
      for (int i = 0; i < out.getSize(); ++i) {
        if (i > 0) joined += ',';
        joined += out.sbAt(i)->getString();
      }
      EXPECT_EQ(joined, all);
    }
    EXPECT_EQ(liveBlocks(), blocks);
  }
}

// An array that many lists are added to still grows by a part of itself.
TEST(PiecesTest, ManyListsInOneArrayAreLinear) {
  const StringBuffer text("a,b,c");
  ExtPtrArraySb out;
  long grown = 0;
  for (int round = 0; round < 20000; ++round) {
    const FailAllocation count(0);
    text.split(out, ',', false, false);
    // One chunk at least; what is beyond that is the array's.
    grown += count.seen() - (isBlockByBlock() ? 3 : 1);
  }
  EXPECT_EQ(out.getSize(), 60000);
  EXPECT_LE(grown, 120);
}

// ---- Failing allocations ----

TEST(PiecesTest, ListsEndWhereMemoryDoes) {
  StringBuffer text(fields(200, 8).c_str());
  for (const Maker& maker : makers()) {
    std::optional<ExtPtrArraySb> out;
    long blocks = 0;
    const long failures = harness::failEveryAllocation(
        [&] {
          blocks = liveBlocks();
          out.emplace();
        },
        [&] { maker.run(text, *out); },
        [&] {
          ASSERT_LE(out->getSize(), 200);
          for (int i = 0; i < out->getSize(); ++i) EXPECT_TRUE(holds(*out->sbAt(i), "ffffffff"));
          out.reset();
          EXPECT_EQ(liveBlocks(), blocks) << maker.name;
        });
    EXPECT_GE(failures, 4) << maker.name;
  }
}

// One allocation that fails is made up for by smaller ones.
TEST(PiecesTest, AListIsCompleteWithoutItsLargeChunk) {
  const StringBuffer text(fields(200, 8).c_str());
  for (long k = 1; k < 5; ++k) {
    ExtPtrArraySb out;
    bool done = false;
    {
      const FailAllocation fail(k);
      done = text.split(out, ',', false, false);
      EXPECT_TRUE(fail.fired());
    }
    EXPECT_TRUE(done || isBlockByBlock()) << k;
    EXPECT_EQ(out.getSize() == 200, done);
  }
}

// ---- Pieces as buffers ----

TEST(PiecesTest, APieceHoldsAShortTextFromTheStart) {
  for (const std::size_t n : {std::size_t{0}, std::size_t{1}, Piece::kLongestText}) {
    const std::string text(n, 't');
    ExtPtrArraySb out;
    PieceList list(out, text, false);
    EXPECT_TRUE(PieceList::isShort(text));
    StringBuffer* const piece = list.make(text);
    ASSERT_NE(piece, nullptr);
    EXPECT_TRUE(holds(*piece, text, 0, 202));
    EXPECT_TRUE(list.add(piece));
  }
  const std::string text(Piece::kLongestText + 1, 't');
  ExtPtrArraySb out;
  PieceList list(out, text, false);
  EXPECT_FALSE(PieceList::isShort(text));
  StringBuffer* const piece = list.make(text);
  ASSERT_NE(piece, nullptr);
  EXPECT_TRUE(holds(*piece, "", 0, 202));
  EXPECT_TRUE(list.add(piece));
}

}  // namespace
