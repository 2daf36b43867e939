#include "support/NonRefCountedObj.h"

#include <gtest/gtest.h>

#include <cstring>

#include "harness/AllocationHook.h"

namespace {

bool holdsLiveWord(const void* object) {
  const unsigned int wanted = 0x62CB09E3U;
  const auto* bytes = static_cast<const unsigned char*>(object);
  for (std::size_t at = 0; at + sizeof(wanted) <= sizeof(NonRefCountedObj); at += sizeof(wanted))
    if (std::memcmp(bytes + at, &wanted, sizeof(wanted)) == 0) return true;
  return false;
}

TEST(NonRefCountedObj, CarriesItsWordWhileItLives) {
  auto* object = new NonRefCountedObj;
  EXPECT_TRUE(object->hasLiveWord());
  EXPECT_TRUE(holdsLiveWord(object));
  bool released = false;
  bool liveAtRelease = true;
  {
    const harness::WatchReleases watch([&](const unsigned char* block, std::size_t) {
      released = true;
      liveAtRelease = holdsLiveWord(block);
    });
    delete object;
  }
  EXPECT_TRUE(released);
  EXPECT_FALSE(liveAtRelease);
}

TEST(NonRefCountedObj, GivesEveryCopyItsOwnWord) {
  NonRefCountedObj original;
  const NonRefCountedObj copy(original);
  EXPECT_TRUE(copy.hasLiveWord());
  NonRefCountedObj assigned;
  assigned = copy;
  EXPECT_TRUE(assigned.hasLiveWord());
  EXPECT_EQ(assigned.heapUsage(), 0U);
}

}  // namespace
