#include "support/_dvHashMap.h"

#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <random>
#include <string>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"

namespace {

using harness::holds;

TEST(DvHashMap, FindsWhatWasInserted) {
  _dvHashMap map;
  EXPECT_TRUE(map.hashInsertString("name", "Bob"));
  EXPECT_TRUE(map.hashInsertString("empty", ""));
  EXPECT_EQ(map.getSize(), 2U);
  StringBuffer out("what it held before");
  EXPECT_TRUE(map.hashLookupString("name", out));
  EXPECT_TRUE(holds(out, "Bob"));
  EXPECT_TRUE(map.hashLookupString("empty", out));
  EXPECT_TRUE(holds(out, ""));
}

TEST(DvHashMap, LeavesTheOutputAloneOnAMiss) {
  _dvHashMap map;
  StringBuffer out("before");
  EXPECT_FALSE(map.hashLookupString("name", out));
  EXPECT_TRUE(map.hashInsertString("name", "Bob"));
  EXPECT_FALSE(map.hashLookupString("nam", out));
  EXPECT_FALSE(map.hashLookupString("Name", out));
  EXPECT_FALSE(map.hashLookupString("names", out));
  EXPECT_FALSE(map.hashLookupString("", out));
  EXPECT_TRUE(holds(out, "before"));
}

TEST(DvHashMap, ReplacesTheValueOfAKey) {
  _dvHashMap map;
  StringBuffer out;
  for (const char* value : {"1", "a much longer value than the one before", ""}) {
    EXPECT_TRUE(map.hashInsertString("key", value));
    EXPECT_EQ(map.getSize(), 1U);
    EXPECT_TRUE(map.hashLookupString("key", out));
    EXPECT_TRUE(holds(out, value));
  }
}

TEST(DvHashMap, TakesNullAsTheEmptyText) {
  _dvHashMap map;
  StringBuffer out("before");
  EXPECT_TRUE(map.hashInsertString(nullptr, nullptr));
  EXPECT_TRUE(map.hashLookupString("", out));
  EXPECT_TRUE(holds(out, ""));
  EXPECT_TRUE(map.hashInsertString("", "x"));
  EXPECT_EQ(map.getSize(), 1U);
  EXPECT_TRUE(map.hashLookupString(nullptr, out));
  EXPECT_TRUE(holds(out, "x"));
  EXPECT_TRUE(map.hashRemove(nullptr));
  EXPECT_EQ(map.getSize(), 0U);
}

TEST(DvHashMap, TakesTheKeyFromTheOutput) {
  _dvHashMap map;
  EXPECT_TRUE(map.hashInsertString("key", std::string(300, 'v').c_str()));
  StringBuffer out("key");
  EXPECT_TRUE(map.hashLookupString(out.getString(), out));
  EXPECT_TRUE(holds(out, std::string(300, 'v')));
}

TEST(DvHashMap, RemovesAndClears) {
  _dvHashMap map;
  StringBuffer out;
  EXPECT_FALSE(map.hashRemove("a"));
  for (const char* key : {"a", "b", "c"}) EXPECT_TRUE(map.hashInsertString(key, key));
  EXPECT_TRUE(map.hashRemove("b"));
  EXPECT_FALSE(map.hashRemove("b"));
  EXPECT_EQ(map.getSize(), 2U);
  EXPECT_FALSE(map.hashLookupString("b", out));
  EXPECT_TRUE(map.hashLookupString("c", out));
  map.clear();
  EXPECT_EQ(map.getSize(), 0U);
  EXPECT_FALSE(map.hashLookupString("a", out));
  EXPECT_TRUE(map.hashInsertString("a", "again"));
  EXPECT_TRUE(map.hashLookupString("a", out));
  EXPECT_TRUE(holds(out, "again"));
}

TEST(DvHashMap, AgreesWithAMapOnRandomOperations) {
  std::mt19937 random(42);
  _dvHashMap map;
  std::map<std::string, std::string> reference;
  StringBuffer out;
  for (int round = 0; round < 30000; ++round) {
    const std::string key = std::to_string(random() % 500) + std::string(random() % 3, 'k');
    const std::string value = std::to_string(random());
    switch (random() % 3) {
      case 0:
        ASSERT_TRUE(map.hashInsertString(key.c_str(), value.c_str()));
        reference[key] = value;
        break;
      case 1:
        ASSERT_EQ(map.hashRemove(key.c_str()), reference.erase(key) == 1);
        break;
      default:
        ASSERT_EQ(map.hashLookupString(key.c_str(), out), reference.count(key) == 1);
        if (reference.count(key) == 1) {
          ASSERT_TRUE(holds(out, reference[key]));
        }
    }
    ASSERT_EQ(map.getSize(), reference.size());
  }
}

// Keys that differ in one byte, at every position: no byte is left out of the comparison.
TEST(DvHashMap, TellsSimilarKeysApart) {
  _dvHashMap map;
  StringBuffer out;
  for (std::size_t length = 1; length <= 40; ++length) {
    for (std::size_t at = 0; at < length; ++at) {
      std::string key(length, 'a');
      key[at] = '\xFF';
      ASSERT_FALSE(map.hashLookupString(key.c_str(), out));
      ASSERT_TRUE(map.hashInsertString(key.c_str(), key.c_str()));
    }
  }
  EXPECT_EQ(map.getSize(), 820U);
}

TEST(DvHashMap, HoldsAMillionKeys) {
  constexpr unsigned int kKeys = 1000000;
  const auto start = std::chrono::steady_clock::now();
  _dvHashMap map;
  for (unsigned int i = 0; i < kKeys; ++i)
    ASSERT_TRUE(map.hashInsertString(("key" + std::to_string(i)).c_str(), "value"));
  EXPECT_EQ(map.getSize(), kKeys);
  StringBuffer out;
  for (unsigned int i = 0; i < kKeys; ++i)
    ASSERT_TRUE(map.hashLookupString(("key" + std::to_string(i)).c_str(), out));
  EXPECT_FALSE(map.hashLookupString("key1000000", out));
  EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 30);
}

TEST(DvHashMap, ChangesNothingWhenMemoryIsExhausted) {
  const long before = harness::liveBlocks();
  {
    _dvHashMap* map = nullptr;
    bool inserted = false;
    const long failed = harness::failEveryAllocation(
        [&] {
          delete map;
          map = new _dvHashMap;
          ASSERT_TRUE(map->hashInsertString("key", "old"));
        },
        [&] { inserted = map->hashInsertString("key", "new"); },
        [&] {
          StringBuffer out;
          EXPECT_EQ(map->getSize(), 1U);
          EXPECT_TRUE(map->hashLookupString("key", out));
          EXPECT_TRUE(holds(out, inserted ? "new" : "old"));
        });
    delete map;
    EXPECT_EQ(failed, 2);
  }
  EXPECT_EQ(harness::liveBlocks(), before);
}

// The bucket array of 16 is full: the entry finds memory, the greater array does not.
TEST(DvHashMap, GoesOnWithFewBucketsWhenItCannotGrow) {
  _dvHashMap map;
  for (int i = 0; i < 16; ++i) ASSERT_TRUE(map.hashInsertString(std::to_string(i).c_str(), "v"));
  bool inserted = false;
  {
    const harness::FailAllocation fail(2);
    inserted = map.hashInsertString("one more", "w");
    EXPECT_TRUE(fail.fired());
  }
  EXPECT_TRUE(inserted);
  EXPECT_EQ(map.getSize(), 17U);
  StringBuffer out;
  EXPECT_TRUE(map.hashLookupString("one more", out));
  EXPECT_TRUE(map.hashLookupString("7", out));
}

TEST(DvHashMap, RefusesTheFirstKeyWithoutBuckets) {
  _dvHashMap map;
  bool inserted = true;
  {
    const harness::FailAllocation fail(2);
    inserted = map.hashInsertString("key", "value");
  }
  EXPECT_FALSE(inserted);
  EXPECT_EQ(map.getSize(), 0U);
}

TEST(DvHashMap, EmptiesTheOutputThatCannotGrow) {
  _dvHashMap map;
  ASSERT_TRUE(map.hashInsertString("key", std::string(300, 'v').c_str()));
  StringBuffer out("before");
  bool found = true;
  {
    const harness::FailAllocation fail(1);
    found = map.hashLookupString("key", out);
  }
  EXPECT_FALSE(found);
  EXPECT_TRUE(holds(out, ""));
}

}  // namespace
