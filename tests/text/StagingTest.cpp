// The staging areas of text/internal/Staging.h, and what they leave on the stack.

#include "text/internal/Staging.h"

#include <gtest/gtest.h>

#include <new>
#include <string>
#include <string_view>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/OwnStack.h"
#include "harness/StorageLayout.h"

namespace {

using dorvane::internal::Staging;
using harness::holds;
using harness::leavesOnStack;
using harness::secretText;

constexpr std::size_t kSize = 64;
using Area = Staging<kSize>;

// --- Blocks ------------------------------------------------------------------------------------

TEST(Staging, RunsGoOutInFullBlocks) {
  for (std::size_t size = 0; size <= 3 * kSize + 1; ++size) {
    StringBuffer out;
    Area area(out);
    area.putRun(secretText(size));
    const std::size_t staged = size == 0 ? 0 : (size - 1) % kSize + 1;
    EXPECT_EQ(area.used(), staged);
    EXPECT_TRUE(holds(out, secretText(size - staged)));
    EXPECT_TRUE(area.flush());
    EXPECT_EQ(area.used(), 0U);
    EXPECT_TRUE(holds(out, secretText(size)));
  }
}

// A piece is never cut: when it does not fit, what is staged goes out first.
TEST(Staging, APieceStaysWhole) {
  StringBuffer out;
  Area area(out);
  area.putRun(std::string(kSize - 1, 'r'));
  EXPECT_TRUE(area.put("ab"));
  EXPECT_TRUE(holds(out, std::string(kSize - 1, 'r')));
  EXPECT_EQ(area.used(), 2U);
  EXPECT_TRUE(area.put(std::string(kSize - 2, 'p')));
  EXPECT_EQ(area.room(), 0U);
  EXPECT_EQ(out.getSize(), kSize - 1);
}

TEST(Staging, ABlockForWhichThereIsNoMemoryIsDropped) {
  StringBuffer out;
  Area area(out);
  const std::string dropped(kSize, 'b');
  area.putRun(std::string(kSize, 'a'));
  {
    const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
    area.putRun(dropped);
    EXPECT_FALSE(area.put("d"));
  }
  EXPECT_EQ(area.used(), 1U);
  EXPECT_TRUE(area.flush());
  EXPECT_TRUE(holds(out, std::string(kSize, 'a') + "d"));
}

// --- Secrets -----------------------------------------------------------------------------------

// What an area leaves where its block stood, which is its last member.
template <class Use>
std::string leftBy(const Use& use) {
  alignas(Area) unsigned char place[sizeof(Area)] = {};
  StringBuffer out;
  Area* const area = new (place) Area(out);
  use(*area);
  area->~Area();
  std::string left(kSize, '\0');
  harness::peekBytes(place + sizeof place - kSize, left.data(), left.size());
  return left;
}

// Flushed blocks, longer and shorter ones, and what was never flushed.
TEST(Staging, EverythingThatWasStagedIsWiped) {
  for (const std::size_t first : {std::size_t{0}, std::size_t{1}, kSize / 2, kSize, 2 * kSize}) {
    for (const std::size_t second : {std::size_t{0}, std::size_t{1}, kSize / 2, kSize}) {
      for (const bool flushed : {false, true}) {
        const std::string left = leftBy([&](Area& area) {
          area.putRun(std::string(first, 's'));
          area.flush();
          area.putRun(std::string(second, 's'));
          if (flushed) area.flush();
        });
        EXPECT_EQ(left.find("s"), std::string::npos) << first << ", " << second;
      }
    }
  }
}

TEST(Staging, ABlockThatFoundNoMemoryIsWipedToo) {
  const std::string run(kSize + 1, 's');
  const std::string left = leftBy([&](Area& area) {
    const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
    area.putRun(run);
    area.putRun(run);
  });
  EXPECT_EQ(left.find("s"), std::string::npos);
}

// Copies the text to the stack and leaves it there; a sanitizer's own place for such arrays would
// hide it.
#if defined(__clang__) || defined(__GNUC__)
__attribute__((noinline, no_sanitize("address")))
#endif
void leaveOnStack(std::string_view text) {
  char array[1024];
  char first = '\0';
  text.copy(array, sizeof array);
  harness::peekBytes(array, &first, 1);
}

TEST(OwnStack, ShowsWhatACallLeaves) {
  const std::string secret = secretText(600);
  EXPECT_TRUE(leavesOnStack(secret, [&] { leaveOnStack(secret); }));
  EXPECT_FALSE(leavesOnStack(secret, [] {}));
  EXPECT_FALSE(
      leavesOnStack(secret, [&] { leaveOnStack(std::string_view(secret).substr(0, 31)); }));
}

}  // namespace
