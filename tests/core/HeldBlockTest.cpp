// The memory that a buffer holds beside the capacity that it shows: how often it allocates, that
// room held in advance shows nowhere, and that a moved buffer takes its block along.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "core/internal/SanityCheck.h"
#include "core/internal/Scratch.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/LivenessMarks.h"
#include "harness/ReleasedBlocks.h"
#include "harness/StorageLayout.h"
#include "harness/StorageReference.h"
#include "harness/StorageScenes.h"

namespace {

using dorvane::internal::BufferAccess;
using dorvane::internal::Scratch;
using harness::AllocationCount;
using harness::allocationsMade;
using harness::FailAllocation;
using harness::holds;
using harness::letters;
using harness::peekFields;
using harness::reference::agrees;
using harness::reference::StorageModel;

// Blocks that `body` allocates, and the bytes that they ask for.
template <class Body>
AllocationCount allocationsOf(const Body& body) {
  const AllocationCount before = allocationsMade();
  body();
  const AllocationCount after = allocationsMade();
  return {after.blocks - before.blocks, after.bytes - before.bytes};
}

constexpr unsigned int kKiB = 1024;
constexpr unsigned int kMiB = 1024 * kKiB;

void appendInPieces(StringBuffer& buffer, unsigned int total, const std::string& piece) {
  for (unsigned int size = 0; size < total; size += static_cast<unsigned int>(piece.size()))
    buffer.appendN(piece.data(), static_cast<unsigned int>(piece.size()));
}

// ---- How often a buffer allocates ----

struct AppendCost {
  unsigned int total;
  long long mostBlocks;
};

// The blocks grow by half up to a million bytes, and double from there on.
TEST(HeldBlock, AppendsCopyEachByteAConstantNumberOfTimes) {
  const std::string piece = letters(1024);
  for (const AppendCost& cost :
       {AppendCost{kKiB, 2}, AppendCost{64 * kKiB, 12}, AppendCost{kMiB, 18},
        AppendCost{16 * kMiB, 24}, AppendCost{256 * kMiB, 28}}) {
    StringBuffer buffer;
    const AllocationCount made = allocationsOf([&] { appendInPieces(buffer, cost.total, piece); });
    EXPECT_EQ(buffer.getSize(), cost.total);
    EXPECT_LE(made.blocks, cost.mostBlocks) << cost.total;
    EXPECT_LE(made.bytes, 5LL * cost.total) << cost.total;
  }
}

TEST(HeldBlock, StepsOfConstantSizeShowOnlyInTheRecord) {
  StringBuffer buffer;
  StorageModel model;
  const std::string piece = letters(100003);
  long long blocks = 0;
  for (int i = 0; i < 300; ++i) {
    blocks += allocationsOf([&] { harness::appendBytes(buffer, piece); }).blocks;
    model.appendN(piece);
    ASSERT_EQ(buffer.heapUsage(), model.capacity) << i;
    ASSERT_EQ(buffer.getExtendSize(), model.extendSize) << i;
    const auto fields = peekFields(&buffer);
    ASSERT_LT(fields.length, fields.capacity);
    ASSERT_LE(fields.capacity, fields.heldSize);
  }
  EXPECT_TRUE(agrees(buffer, model));
  EXPECT_LE(blocks, 10);
}

TEST(HeldBlock, AStepTakesTheExactSizeIfTheLargerBlockCannotBeHad) {
  StringBuffer buffer;
  StorageModel model;
  buffer.setExtendSize(model.extendSize = 500000);
  const std::string piece = letters(600000);
  for (int i = 0; i < 6; ++i) {
    const FailAllocation fail(i == 0 ? 0 : 1);  // the first block is exact in any case
    ASSERT_TRUE(harness::appendBytes(buffer, piece)) << i;
    model.appendN(piece);
  }
  EXPECT_TRUE(agrees(buffer, model));
  EXPECT_EQ(peekFields(&buffer).heldSize, buffer.heapUsage());
}

TEST(HeldBlock, AStepWithoutMemoryFailsWithNothingChanged) {
  StringBuffer buffer;
  buffer.setExtendSize(500000);
  const std::string piece = letters(600000);
  harness::appendBytes(buffer, piece);
  const harness::BufferState before = harness::stateOf(buffer);
  bool appended = true;
  {
    const FailAllocation fail(1, FailAllocation::kFromThenOn);
    appended = harness::appendBytes(buffer, piece);
  }
  EXPECT_FALSE(appended);
  EXPECT_EQ(harness::stateOf(buffer), before);
}

// ---- Exact blocks ----

TEST(HeldBlock, ExactFitOperationsHoldWhatTheyRecord) {
  const std::string text = letters(3 * kMiB);
  StringBuffer exact;
  exact.setExtendSize(0);
  harness::appendBytes(exact, text);
  EXPECT_EQ(peekFields(&exact).heldSize, exact.heapUsage());
  EXPECT_EQ(exact.heapUsage(), text.size() + 1);

  StringBuffer minSize;
  minSize.appendMinSize(text.c_str());
  minSize.appendMinSize(text.c_str());
  EXPECT_EQ(minSize.heapUsage(), 2 * text.size() + 1);
  EXPECT_EQ(peekFields(&minSize).heldSize, minSize.heapUsage());

  StringBuffer* const copy = StringBuffer::createNewSB(minSize);
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(peekFields(copy).heldSize, copy->heapUsage());
  StringBuffer::deleteSb(copy);

  StringBuffer quotes;
  quotes.appendCharN('"', 1000);
  ASSERT_TRUE(quotes.jsonEscape());
  EXPECT_EQ(peekFields(&quotes).heldSize, quotes.heapUsage());
}

TEST(HeldBlock, MinimizingGivesBackWhatIsHeldBeyondTheRecord) {
  StringBuffer buffer;
  buffer.setExtendSize(500000);
  harness::appendBytes(buffer, letters(600000));
  harness::appendBytes(buffer, letters(600000));
  ASSERT_GT(peekFields(&buffer).heldSize, buffer.heapUsage());
  buffer.chopAt(buffer.heapUsage() - 256);
  harness::appendBytes(buffer, letters(buffer.heapUsage() - buffer.getSize() - 1));
  const harness::BufferState before = harness::stateOf(buffer);
  buffer.minimizeMemoryUsage();
  EXPECT_EQ(harness::stateOf(buffer), before) << "a slack of up to 256 bytes is tolerated";
  EXPECT_EQ(peekFields(&buffer).heldSize, buffer.heapUsage());
  EXPECT_EQ(allocationsOf([&] { buffer.minimizeMemoryUsage(); }).blocks, 0);
}

TEST(HeldBlock, MinimizingToleratesALittleMoreThanTheRecord) {
  const std::string text = letters(1000);
  StringBuffer buffer;
  BufferAccess(buffer).reserve(1340);
  buffer.appendMinSize(text.substr(0, 900).c_str());
  buffer.appendMinSize(text.c_str());
  ASSERT_GT(peekFields(&buffer).heldSize, buffer.heapUsage());
  EXPECT_EQ(allocationsOf([&] { buffer.minimizeMemoryUsage(); }).blocks, 0);
}

// ---- Room held in advance ----

TEST(Reserve, ShowsNowhere) {
  for (const harness::Scene& scene : harness::scenes()) {
    StringBuffer buffer;
    play(scene, buffer);
    const StorageModel model = modelOf(scene);
    for (const unsigned int total : {0U, 81U, 82U, 300U, 5000U, kMiB}) {
      BufferAccess(buffer).reserve(total);
      EXPECT_TRUE(agrees(buffer, model)) << scene.name << " " << total;
    }
    BufferAccess(buffer).dropReserve();
    EXPECT_TRUE(agrees(buffer, model)) << scene.name;
  }
}

// Whatever is reserved in between, each operation leaves what the plain model has.
TEST(Reserve, RandomOperationsRecordTheSameSteps) {
  std::mt19937 random(7);
  const auto below = [&random](unsigned int n) { return static_cast<unsigned int>(random() % n); };
  for (int round = 0; round < 300; ++round) {
    StringBuffer buffer;
    StorageModel model;
    buffer.setSecureBuf(round % 2 == 0);
    for (int step = 0; step < 60; ++step) {
      const std::string bytes = letters(below(4) == 0 ? below(20000) : below(300));
      if (below(3) == 0) BufferAccess(buffer).reserve(below(2) == 0 ? below(100000) : below(400));
      switch (below(12)) {
        case 0:
          buffer.appendChar('c');
          model.appendChar('c');
          break;
        case 1:
          buffer.weakClear();
          model.weakClear();
          break;
        case 2:
          buffer.setString(bytes.c_str());
          model.setString(bytes);
          break;
        case 3:
          buffer.minimizeMemoryUsage();
          model.minimizeMemoryUsage();
          break;
        case 4: {
          const unsigned int at = below(model.size() + 1);
          buffer.chopAt(at);
          model.chopAt(at);
          break;
        }
        case 5: {
          const unsigned int n = below(5000);
          ASSERT_TRUE(buffer.expectNumBytes(n));
          model.expectNumBytes(n);
          break;
        }
        case 6: {
          StringBuffer other;
          StorageModel otherModel;
          if (below(2) == 0) BufferAccess(other).reserve(3000);
          harness::appendBytes(other, bytes);
          otherModel.appendN(bytes);
          buffer.takeSb(other);
          model.takeSb(otherModel);
          ASSERT_TRUE(agrees(other, otherModel));
          break;
        }
        case 7: {
          const unsigned int extend = below(2) == 0 ? below(600000) : below(300);
          buffer.setExtendSize(extend);
          model.extendSize = extend;
          break;
        }
        case 8:
          if (below(4) == 0) {
            buffer.clear();
            model.clear();
          }
          break;
        default:
          ASSERT_TRUE(harness::appendBytes(buffer, bytes));
          model.appendN(bytes);
      }
      ASSERT_TRUE(agrees(buffer, model)) << round << " " << step;
    }
  }
}

TEST(Reserve, OneAllocationServesAllSteps) {
  const std::string piece = letters(100);
  for (const unsigned int total : {100U, 5000U, 1000000U, 64000000U}) {
    StringBuffer buffer;
    const AllocationCount made = allocationsOf([&] {
      BufferAccess(buffer).reserve(total);
      appendInPieces(buffer, total, piece);
    });
    EXPECT_EQ(made.blocks, 1) << total;
    EXPECT_EQ(buffer.getSize(), total);
  }
}

TEST(Reserve, AFailureChangesNothing) {
  for (const unsigned int size : {10U, 100U, 1000U}) {
    StringBuffer buffer;
    harness::appendBytes(buffer, letters(size));
    const harness::StorageFields before = peekFields(&buffer);
    {
      const FailAllocation fail(1, FailAllocation::kFromThenOn);
      BufferAccess(buffer).reserve(100000);
    }
    const harness::StorageFields after = peekFields(&buffer);
    EXPECT_EQ(before.heap, after.heap);
    EXPECT_EQ(before.heldSize, after.heldSize);
    EXPECT_TRUE(holds(buffer, letters(size)));
  }
}

TEST(Reserve, MoreThanTheLongestContentIsNotTried) {
  StringBuffer buffer;
  const AllocationCount made = allocationsOf([&] { BufferAccess(buffer).reserve(0xFFFFFFFFULL); });
  EXPECT_EQ(made.blocks, 0);
}

TEST(Reserve, ASlackThatDoesNotFitIsLeftOut) {
  StringBuffer buffer;
  buffer.setExtendSize(0xFFFFFFFFU);
  const AllocationCount made = allocationsOf([&] { BufferAccess(buffer).reserve(1000); });
  EXPECT_LE(made.bytes, 1501);
  const std::string text = letters(1000);
  EXPECT_EQ(allocationsOf([&] { harness::appendBytes(buffer, text); }).blocks, 0);
  EXPECT_EQ(buffer.heapUsage(), 1001U);
}

TEST(Reserve, ABufferWithABrokenMarkerHoldsNothing) {
  StringBuffer buffer;
  const harness::BrokenMarker broken(buffer);
  EXPECT_EQ(allocationsOf([&] { BufferAccess(buffer).reserve(5000); }).blocks, 0);
}

// The outgrown blocks of a secure buffer are wiped, and so is one that was reserved and filled.
TEST(Reserve, ReleasedBlocksOfASecureBufferAreWiped) {
  const std::string secret = letters(9000);
  const std::vector<std::string> blocks = harness::releasedBy([&] {
    StringBuffer buffer;
    buffer.setSecureBuf(true);
    buffer.appendN(secret.data(), 500);
    BufferAccess(buffer).reserve(20000);
    harness::appendBytes(buffer, secret);
    BufferAccess(buffer).reserve(200000);
    harness::appendBytes(buffer, secret);
  });
  EXPECT_GE(blocks.size(), 3U);
  EXPECT_TRUE(harness::allWiped(blocks));
}

TEST(Reserve, AnUnusedBlockIsReleased) {
  const long before = harness::liveBlocks();
  {
    StringBuffer buffer;
    BufferAccess(buffer).reserve(5000);
    EXPECT_EQ(harness::liveBlocks(), before + 1);
    BufferAccess(buffer).dropReserve();
    EXPECT_EQ(harness::liveBlocks(), before);
    BufferAccess(buffer).reserve(5000);
    StringBuffer taker;
    taker.takeSb(buffer);
    EXPECT_EQ(harness::liveBlocks(), before);
    BufferAccess(buffer).reserve(5000);
    unsigned int length = 0;
    delete[] buffer.extractString(&length);
    EXPECT_EQ(harness::liveBlocks(), before);
    BufferAccess(buffer).reserve(5000);
  }
  EXPECT_EQ(harness::liveBlocks(), before);
}

// ---- Moving ----

static_assert(std::is_nothrow_move_constructible_v<StringBuffer>);

TEST(Move, TakesBlockExtendSizeAndFlagAndLeavesTheSourceEmpty) {
  for (const harness::Scene& scene : harness::scenes()) {
    for (const bool secure : {false, true}) {
      StringBuffer source;
      play(scene, source);
      source.setExtendSize(77);
      source.setSecureBuf(secure);
      const void* const heap = peekFields(&source).heap;
      StorageModel model = modelOf(scene);
      model.extendSize = 77;

      const AllocationCount before = allocationsMade();
      StringBuffer moved(std::move(source));
      EXPECT_EQ(allocationsMade().blocks, before.blocks) << scene.name;
      EXPECT_TRUE(agrees(moved, model)) << scene.name;
      EXPECT_EQ(peekFields(&moved).heap, heap) << scene.name;
      EXPECT_EQ(peekFields(&moved).secure != 0, secure);
      // NOLINTNEXTLINE(bugprone-use-after-move): a moved-from buffer is empty.
      EXPECT_TRUE(holds(source, "", 0, 202)) << scene.name;
      EXPECT_EQ(peekFields(&source).secure != 0, secure);
    }
  }
}

TEST(Move, NothingOfASecretStaysInTheSource) {
  StringBuffer source("secret");
  source.setSecureBuf(true);
  const StringBuffer moved(std::move(source));
  // NOLINTNEXTLINE(bugprone-use-after-move)
  EXPECT_TRUE(harness::isZero(harness::peekInlineBytes(&source)));
  EXPECT_STREQ(moved.getString(), "secret");
}

TEST(Move, ABufferThatIsNoLongerAliveGivesNothing) {
  StringBuffer source("text");
  const harness::BrokenValidityWord broken(source);
  StringBuffer moved(std::move(source));
  EXPECT_TRUE(holds(moved, "", 0, 202));
}

TEST(Move, AVectorMovesItsBuffers) {
  std::vector<StringBuffer> buffers;
  buffers.emplace_back(letters(1000).c_str());
  const void* const heap = peekFields(&buffers[0]).heap;
  for (int i = 0; i < 100; ++i) buffers.emplace_back("x");
  EXPECT_EQ(peekFields(&buffers[0]).heap, heap);
}

// There is no move assignment: a temporary is assigned as any other buffer is.
TEST(Move, AssigningATemporaryCopies) {
  StringBuffer buffer("before");
  buffer = StringBuffer(letters(300).c_str());
  EXPECT_TRUE(holds(buffer, letters(300), 503, 202));
}

// ---- Temporaries ----

TEST(ScratchBuffer, IsAsSecretAsItsOwner) {
  StringBuffer owner;
  EXPECT_EQ(peekFields(std::make_unique<Scratch>(owner).get()).secure, 0);
  owner.setSecureBuf(true);
  EXPECT_EQ(peekFields(std::make_unique<Scratch>(owner).get()).secure, 1);
}

// ---- Invariants ----

#ifdef DORVANE_CHECK_INVARIANTS
TEST(SanityCheckDeathTest, ACorruptStorageStopsTheProgram) {
  StringBuffer buffer;
  harness::appendBytes(buffer, letters(300));
  const harness::StorageLayout at;
  EXPECT_DEATH(
      {
        harness::flipByte(&buffer, at.offsetOf(at.heldSize) + 3);
        harness::flipByte(&buffer, at.offsetOf(at.capacity) + 3);
        harness::flipByte(&buffer, at.offsetOf(at.length) + 3);
        harness::flipByte(&buffer, at.offsetOf(at.heldSize) + 3);
        buffer.weakClear();
      },
      "corrupt");
}
#endif

}  // namespace
