#include "support/NonRefCountedObj.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>

namespace {

// The validity word of the object that lives, or lived, in a room.
bool holdsLiveWord(const unsigned char* room) {
  const unsigned int wanted = 0x62CB09E3U;
  for (std::size_t at = 0; at + sizeof(wanted) <= sizeof(NonRefCountedObj); at += 4)
    if (std::memcmp(room + at, &wanted, sizeof(wanted)) == 0) return true;
  return false;
}

TEST(NonRefCountedObj, CarriesItsWordWhileItLives) {
  alignas(NonRefCountedObj) unsigned char room[sizeof(NonRefCountedObj)] = {};
  auto* object = new (room) NonRefCountedObj;
  EXPECT_TRUE(object->hasLiveWord());
  EXPECT_TRUE(holdsLiveWord(room));
  object->~NonRefCountedObj();
  EXPECT_FALSE(holdsLiveWord(room));
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

// What a copy is made of does not matter: the word of a dead object is never taken over.
TEST(NonRefCountedObj, TakesNoWordFromADeadObject) {
  alignas(NonRefCountedObj) unsigned char room[sizeof(NonRefCountedObj)] = {};
  auto* dead = new (room) NonRefCountedObj;
  NonRefCountedObj living;
  dead->~NonRefCountedObj();
  living = *dead;
  EXPECT_TRUE(living.hasLiveWord());
}

}  // namespace
