#include "core/internal/PieceMaker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <numeric>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/ReleasedBlocks.h"
#include "harness/StorageLayout.h"
#include "support/ExtPtrArraySb.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define UNDER_ASAN
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define UNDER_ASAN
#endif

namespace {

using dorvane::internal::Piece;
using dorvane::internal::PieceMaker;
using harness::FailAllocation;
using harness::holds;
using harness::isZero;
using harness::liveBlocks;
using harness::peekFields;
using harness::releasedBy;

constexpr std::size_t kInChunk = 16;

std::string textOf(std::size_t n) {
  std::string text;
  for (std::size_t i = 0; i < n; ++i) text.push_back(static_cast<char>('a' + (i * 7 + n) % 26));
  return text;
}

// Pieces in full chunks of kInChunk, under the sanitizers too; their texts are their numbers.
std::vector<StringBuffer*> makePieces(std::size_t count) {
  std::vector<StringBuffer*> pieces;
  pieces.reserve(count);
  PieceMaker maker(kInChunk);
  for (std::size_t i = 0; i < count; ++i) {
    EXPECT_TRUE(!maker.needsChunk() || maker.startChunk(kInChunk));
    pieces.push_back(maker.make(std::to_string(i)));
  }
  return pieces;
}

// ---- What a piece is ----

TEST(PieceMaker, APieceHoldsItsTextAndIsLikeANewBuffer) {
  PieceMaker maker(Piece::kLongestText + 1);
  ASSERT_TRUE(maker.startChunk(Piece::kLongestText + 1));
  for (std::size_t n = 0; n <= Piece::kLongestText; ++n) {
    // A copy of its exact size: a sanitizer sees a read beyond it.
    const std::string text = textOf(n);
    const std::vector<char> bytes(text.begin(), text.end());
    StringBuffer* const piece = maker.make({bytes.data(), bytes.size()});
    ASSERT_NE(piece, nullptr);
    EXPECT_TRUE(holds(*piece, text, 0, 202)) << n;
    EXPECT_TRUE(piece->append("and more")) << n;
    EXPECT_TRUE(holds(*piece, text + "and more")) << n;
    StringBuffer::deleteSb(piece);
  }
}

TEST(PieceMaker, APieceHoldsNothingOfTheBytesAfterItsText) {
  PieceMaker maker(kInChunk);
  for (std::size_t n = 0; n <= Piece::kLongestText; ++n) {
    for (std::size_t after = 0; after <= 20; ++after) {
      const std::string text = textOf(n);
      std::vector<char> bytes(text.begin(), text.end());
      bytes.insert(bytes.end(), after, '#');
      StringBuffer* const piece = maker.make({bytes.data(), n}, bytes.data() + bytes.size());
      ASSERT_NE(piece, nullptr);
      EXPECT_TRUE(holds(*piece, text, 0, 202)) << n << ", " << after;
      EXPECT_EQ(harness::peekInlineBytes(piece).find('#'), std::string::npos) << n << ", " << after;
      StringBuffer::deleteSb(piece);
    }
  }
}

TEST(PieceMaker, PiecesAreAlignedAndApart) {
  const std::vector<StringBuffer*> pieces = makePieces(3 * kInChunk);
  std::vector<std::uintptr_t> addresses;
  for (StringBuffer* piece : pieces) addresses.push_back(reinterpret_cast<std::uintptr_t>(piece));
  std::sort(addresses.begin(), addresses.end());
  for (std::size_t i = 0; i < addresses.size(); ++i) {
    EXPECT_EQ(addresses[i] % alignof(StringBuffer), 0U);
    EXPECT_TRUE(i == 0 || addresses[i] - addresses[i - 1] >= sizeof(StringBuffer));
  }
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    EXPECT_TRUE(holds(*pieces[i], std::to_string(i)));
    StringBuffer::deleteSb(pieces[i]);
  }
}

TEST(PieceMaker, APieceHasTheSizeOfABuffer) { EXPECT_EQ(sizeof(Piece), sizeof(StringBuffer)); }

TEST(PieceMaker, ACopyOfAPieceIsABufferOfItsOwn) {
  const long blocks = liveBlocks();
  std::vector<StringBuffer*> pieces = makePieces(3);
  auto copy = std::make_unique<StringBuffer>(*pieces[2]);
  auto moved = std::make_unique<StringBuffer>(std::move(*pieces[1]));
  for (StringBuffer* piece : pieces) StringBuffer::deleteSb(piece);
  EXPECT_TRUE(holds(*copy, "2"));
  EXPECT_TRUE(holds(*moved, "1"));
  copy.reset();
  moved.reset();
  std::vector<StringBuffer*>().swap(pieces);
  EXPECT_EQ(liveBlocks(), blocks);
}

// ---- Release ----

using Release = std::function<void(StringBuffer*)>;

const Release kReleases[] = {
    [](StringBuffer* piece) { StringBuffer::deleteSb(piece); },
    [](StringBuffer* piece) { delete piece; },
    [](StringBuffer* piece) { delete static_cast<NonRefCountedObj*>(piece); },
    [](StringBuffer* piece) { delete static_cast<DorvaneObject*>(piece); },
    [](StringBuffer* piece) { DorvaneObject::deleteObject(piece); },
    [](StringBuffer* piece) { ExtPtrArraySb().appendPtr(piece); },
    [](StringBuffer* piece) { std::unique_ptr<StringBuffer>{piece}; },
};

// The chunk goes with the last of its pieces, whichever that is.
void expectChunkGoesLast(std::vector<StringBuffer*> pieces) {
  const long blocks = liveBlocks();
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    EXPECT_EQ(liveBlocks(), blocks) << i;
    kReleases[i % std::size(kReleases)](pieces[i]);
  }
  EXPECT_EQ(liveBlocks(), blocks - 1);
}

TEST(PieceMaker, PiecesAreReleasedInTheirOrder) { expectChunkGoesLast(makePieces(kInChunk)); }

TEST(PieceMaker, PiecesAreReleasedBackwards) {
  std::vector<StringBuffer*> pieces = makePieces(kInChunk);
  std::reverse(pieces.begin(), pieces.end());
  expectChunkGoesLast(pieces);
}

TEST(PieceMaker, PiecesAreReleasedInAnyOrder) {
  std::mt19937 random(1);
  for (int round = 0; round < 200; ++round) {
    std::vector<StringBuffer*> pieces = makePieces(1 + random() % kInChunk);
    std::shuffle(pieces.begin(), pieces.end(), random);
    expectChunkGoesLast(pieces);
  }
}

TEST(PieceMaker, PiecesOfManyChunksAreReleasedInAnyOrder) {
  std::mt19937 random(2);
  const long blocks = liveBlocks();
  {
    std::vector<StringBuffer*> pieces = makePieces(40 * kInChunk + 3);
    for (std::size_t i = 0; i < pieces.size(); i += 3) pieces[i]->append(textOf(300).c_str());
    std::shuffle(pieces.begin(), pieces.end(), random);
    for (std::size_t i = 0; i < pieces.size(); ++i) kReleases[i % std::size(kReleases)](pieces[i]);
  }
  EXPECT_EQ(liveBlocks(), blocks);
}

TEST(PieceMaker, AChunkThatIsNotFullStaysWithItsMaker) {
  const long blocks = liveBlocks();
  {
    PieceMaker maker(kInChunk);
    ASSERT_TRUE(maker.startChunk(2));
    StringBuffer::deleteSb(maker.make("one"));
    EXPECT_EQ(liveBlocks(), blocks + 1);
    StringBuffer* const second = maker.make("two");
    EXPECT_TRUE(maker.needsChunk());
    StringBuffer::deleteSb(second);
    EXPECT_EQ(liveBlocks(), blocks);
    StringBuffer::deleteSb(maker.make("three"));
    EXPECT_EQ(liveBlocks(), blocks);
    ASSERT_TRUE(maker.startChunk(2));
  }
  EXPECT_EQ(liveBlocks(), blocks);
}

TEST(PieceMaker, AMakerThatMakesNothingAllocatesNothing) {
  const FailAllocation count(0);
  { const PieceMaker maker; }
  EXPECT_EQ(count.seen(), 0);
}

TEST(PieceMaker, ADeadPieceIsMarkedAsDead) {
  std::vector<StringBuffer*> pieces = makePieces(2);
  const void* const dead = pieces[0];
  StringBuffer::deleteSb(pieces[0]);
  const auto fields = peekFields(dead);
  EXPECT_EQ(fields.validityWord, 0U);
  EXPECT_EQ(fields.magic, 0);
  EXPECT_EQ(fields.data, nullptr);
  StringBuffer::deleteSb(pieces[1]);
}

TEST(PieceMaker, ASecurePieceIsWipedAtItsRelease) {
  std::vector<StringBuffer*> pieces = makePieces(3);
  pieces[0]->setSecureBuf(true);
  pieces[1]->setSecureBuf(true);
  pieces[1]->append(textOf(200).c_str());
  const std::string before = harness::peekInlineBytes(pieces[0]);
  EXPECT_FALSE(isZero(before));
  EXPECT_TRUE(releasedBy([&] { StringBuffer::deleteSb(pieces[0]); }).empty());
  EXPECT_TRUE(isZero(harness::peekInlineBytes(pieces[0])));
  EXPECT_TRUE(harness::allWiped(releasedBy([&] { StringBuffer::deleteSb(pieces[1]); })));
  EXPECT_TRUE(isZero(harness::peekInlineBytes(pieces[1])));
  StringBuffer::deleteSb(pieces[2]);
}

// ---- Threads ----

TEST(PieceMakerThread, PiecesAreReleasedOnAnyThread) {
  constexpr std::size_t kThreads = 4;
  constexpr std::size_t kPieces = 500 * kInChunk;
  std::vector<StringBuffer*> pieces;
  pieces.reserve(kPieces);
  const long before = liveBlocks();
  for (StringBuffer* piece : makePieces(kPieces)) pieces.push_back(piece);
  for (std::size_t i = 0; i < kPieces; i += 5) pieces[i]->append(textOf(200).c_str());
  const long made = liveBlocks() - before;
  std::shuffle(pieces.begin(), pieces.end(), std::mt19937(3));

  std::vector<long> freed(kThreads);
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      const long atFirst = liveBlocks();
      for (std::size_t i = t; i < kPieces; i += kThreads) StringBuffer::deleteSb(pieces[i]);
      freed[t] = liveBlocks() - atFirst;
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_GT(made, 0);
  EXPECT_EQ(std::accumulate(freed.begin(), freed.end(), made), 0);
}

TEST(PieceMakerThread, PiecesAreReleasedWhileOthersAreMade) {
  constexpr std::size_t kRounds = 2000;
  for (std::size_t round = 0; round < 5; ++round) {
    std::vector<std::atomic<StringBuffer*>> made(kRounds);
    std::thread other([&] {
      for (std::atomic<StringBuffer*>& slot : made) {
        StringBuffer* piece = nullptr;
        while ((piece = slot.load(std::memory_order_acquire)) == nullptr) std::this_thread::yield();
        EXPECT_EQ(piece->getSize(), 5U);
        StringBuffer::deleteSb(piece);
      }
    });
    {
      PieceMaker maker(kInChunk);
      for (std::atomic<StringBuffer*>& slot : made) {
        ASSERT_TRUE(!maker.needsChunk() || maker.startChunk(kInChunk));
        slot.store(maker.make("piece"), std::memory_order_release);
      }
    }
    other.join();
  }
}

// ---- Failing allocations ----

TEST(PieceMaker, AChunkThatCannotBeHadIsSmaller) {
  PieceMaker maker(1000);
  {
    const FailAllocation fail(1);
    ASSERT_TRUE(maker.startChunk(8));
    EXPECT_EQ(fail.seen(), 2);
  }
  for (int i = 0; i < 4; ++i) {
    EXPECT_FALSE(maker.needsChunk());
    StringBuffer::deleteSb(maker.make(""));
  }
  EXPECT_TRUE(maker.needsChunk());
}

TEST(PieceMaker, WithoutMemoryThereIsNoPiece) {
  PieceMaker maker(1000);
  {
    const FailAllocation fail(1, FailAllocation::kFromThenOn);
    EXPECT_FALSE(maker.startChunk(8));
    EXPECT_EQ(fail.seen(), 4);
    EXPECT_EQ(maker.make("text"), nullptr);
  }
  StringBuffer* const piece = maker.make("text");
  ASSERT_NE(piece, nullptr);
  EXPECT_TRUE(holds(*piece, "text"));
  StringBuffer::deleteSb(piece);
}

// ---- Sanitizers ----

#if defined(UNDER_ASAN)
TEST(PieceMakerDeathTest, AReleasedPieceIsSeenAsReleased) {
  PieceMaker maker;
  ASSERT_TRUE(maker.startChunk(100));
  StringBuffer* const piece = maker.make("text");
  StringBuffer* const other = maker.make("text");
  StringBuffer::deleteSb(piece);
  EXPECT_DEATH(static_cast<void>(*reinterpret_cast<const volatile char*>(piece)),
               "heap-use-after-free");
  StringBuffer::deleteSb(other);
}
#else
TEST(PieceMaker, PiecesShareChunks) {
  const long blocks = liveBlocks();
  PieceMaker maker;
  ASSERT_TRUE(maker.startChunk(2));
  StringBuffer* const one = maker.make("one");
  StringBuffer* const two = maker.make("two");
  EXPECT_EQ(liveBlocks(), blocks + 1);
  StringBuffer::deleteSb(one);
  StringBuffer::deleteSb(two);
  EXPECT_EQ(liveBlocks(), blocks);
}
#endif

// ---- Buffers that are no pieces ----

struct LargerBuffer : StringBuffer {
  char more[100] = {};
};

// The sizes of the blocks that one release gives back.
std::vector<std::size_t> sizesReleasedBy(const std::function<void()>& body) {
  std::vector<std::size_t> sizes;
  for (const std::string& block : releasedBy(body)) sizes.push_back(block.size());
  return sizes;
}

TEST(PlainBuffers, AreBlocksOfTheirOwn) {
  const std::vector<std::size_t> one = {sizeof(StringBuffer)};
  auto* buffer = new StringBuffer;
  EXPECT_EQ(sizesReleasedBy([&] { delete buffer; }), one);
  buffer = new (std::nothrow) StringBuffer("text");
  EXPECT_EQ(sizesReleasedBy([&] { StringBuffer::deleteSb(buffer); }), one);
  DorvaneObject* const object = StringBuffer::createNewSB();
  EXPECT_EQ(sizesReleasedBy([&] { delete object; }), one);
}

TEST(PlainBuffers, DerivedClassesHaveASizeOfTheirOwn) {
  DorvaneObject* const object = new LargerBuffer;
  EXPECT_EQ(sizesReleasedBy([&] { DorvaneObject::deleteObject(object); }),
            std::vector<std::size_t>{sizeof(LargerBuffer)});
}

struct alignas(64) AlignedBuffer : StringBuffer {};

TEST(PlainBuffers, DerivedClassesHaveTheirAlignment) {
  for (int i = 0; i < 10; ++i) {
    const std::unique_ptr<StringBuffer> buffer(new AlignedBuffer);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer.get()) % 64, 0U);
  }
}

TEST(PlainBuffers, AreMadeInPlaceAndInArrays) {
  alignas(StringBuffer) unsigned char place[sizeof(StringBuffer)];
  auto* const buffer = new (place) StringBuffer("in place");
  EXPECT_TRUE(holds(*buffer, "in place"));
  buffer->~StringBuffer();

  const long blocks = liveBlocks();
  auto* const buffers = new StringBuffer[10];
  EXPECT_EQ(liveBlocks(), blocks + 1);
  for (int i = 0; i < 10; ++i) EXPECT_TRUE(holds(buffers[i], "", 0, 202));
  delete[] buffers;
  EXPECT_EQ(liveBlocks(), blocks);
}

}  // namespace
