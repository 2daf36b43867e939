#include "support/dvMemory.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <memory>
#include <vector>

#include "harness/AllocationHook.h"
#include "support/internal/NewArray.h"

namespace {

TEST(DvMemory, AllocatesArraysOfEverySize) {
  for (const unsigned int n : {0U, 1U, 81U, 100000U}) {
    const std::unique_ptr<char[]> chars(dvNewChar(n));
    const std::unique_ptr<unsigned char[]> bytes(dvNewUnsignedChar(n));
    const std::unique_ptr<unsigned int[]> words(dvNewUint32(n));
    ASSERT_NE(chars, nullptr);
    ASSERT_NE(bytes, nullptr);
    ASSERT_NE(words, nullptr);
    std::memset(chars.get(), 1, n);  // the sanitizer watches the borders
    std::memset(bytes.get(), 2, n);
    std::memset(words.get(), 3, std::size_t{n} * 4);
  }
}

TEST(DvMemory, ReturnsNullWhenMemoryIsExhausted) {
  const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
  EXPECT_EQ(dvNewChar(10), nullptr);
  EXPECT_EQ(dvNewUnsignedChar(10), nullptr);
  EXPECT_EQ(dvNewUint32(10), nullptr);
}

TEST(DvSecureZero, WipesExactlyTheBytesItIsGiven) {
  for (std::size_t size = 0; size <= 70; ++size) {
    std::vector<unsigned char> room(size + 2, 0xEE);
    dvSecureZero(room.data() + 1, size);
    EXPECT_EQ(room.front(), 0xEE);
    EXPECT_EQ(room.back(), 0xEE);
    for (std::size_t i = 1; i <= size; ++i) ASSERT_EQ(room[i], 0) << size;
  }
  dvSecureZero(nullptr, 5);
}

// A plain memset before the release would be dropped by the optimiser.
TEST(DvSecureZero, ReachesMemoryThatIsReleasedRightAfterwards) {
  std::vector<unsigned char> released;
  {
    const harness::WatchReleases watch([&](const unsigned char* block, std::size_t size) {
      released.assign(block, block + size);
    });
    char* secret = dvNewChar(32);
    ASSERT_NE(secret, nullptr);
    std::memset(secret, 's', 32);
    dvSecureZero(secret, 32);
    delete[] secret;
  }
  EXPECT_EQ(released, std::vector<unsigned char>(32, 0));
}

struct Marked {
  ~Marked() {
    mark = 7;
    dvKeepStores(this);
  }
  unsigned int mark = 1;
};

TEST(DvKeepStores, ReachMemoryOfADyingObject) {
  unsigned int left = 0;
  {
    const harness::WatchReleases watch([&](const unsigned char* block, std::size_t size) {
      ASSERT_EQ(size, sizeof(Marked));
      std::memcpy(&left, block, sizeof(left));
    });
    delete new Marked;
  }
  EXPECT_EQ(left, 7U);
}

// ---- Former bugs ----

// A size that no object can have used to throw: on 32 bits dvNewUint32() of 536870912 elements.
TEST(NewArray, RefusesWhatIsLargerThanAnyObject) {
  using dorvane::internal::newArray;
  constexpr std::uint64_t kMost = PTRDIFF_MAX;
  for (const std::uint64_t n : {kMost + 1, kMost * 2, std::uint64_t{SIZE_MAX}, UINT64_MAX}) {
    EXPECT_EQ(newArray<char>(n), nullptr) << n;
    EXPECT_EQ(newArray<unsigned int>(n), nullptr) << n;
    EXPECT_EQ(newArray<unsigned int>(n / 4), nullptr) << n / 4;
    EXPECT_EQ(newArray<std::max_align_t>(n / sizeof(std::max_align_t)), nullptr) << n;
  }
}

}  // namespace
