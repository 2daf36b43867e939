#include "support/StringPair.h"

#include <gtest/gtest.h>

#include <new>
#include <string>

#include "harness/AllocationHook.h"
#include "support/ExtPtrArray.h"

namespace {

TEST(StringPair, KeepsCopiesOfBothTexts) {
  std::string key = "key";
  std::string value = "value";
  StringPair pair(key.c_str(), value.c_str());
  key = "xxx";
  value = "yyyyy";
  EXPECT_STREQ(pair.getKey(), "key");
  EXPECT_STREQ(pair.getValue(), "value");
  EXPECT_EQ(pair.heapUsage(), 10U);
}

TEST(StringPair, KeepsANullKeyAndReadsANullValueAsEmpty) {
  const struct {
    const char* key;
    const char* value;
    unsigned int heapUsage;
  } cases[] = {{nullptr, nullptr, 0}, {nullptr, "v", 2}, {"k", nullptr, 2},
               {"", "", 2},           {"k", "", 3},      {"", "v", 3}};
  for (const auto& c : cases) {
    StringPair pair(c.key, c.value);
    EXPECT_STREQ(pair.getKey(), c.key);
    EXPECT_STREQ(pair.getValue(), c.value == nullptr ? "" : c.value);
    EXPECT_EQ(pair.heapUsage(), c.heapUsage);
  }
}

TEST(StringPair, LivesInAnOwningArray) {
  const long before = harness::liveBlocks();
  {
    ExtPtrArray pairs;
    ASSERT_TRUE(pairs.appendPtr(new (std::nothrow) StringPair("a", "1")));
    ASSERT_TRUE(pairs.appendPtr(new (std::nothrow) StringPair("b", "2")));
    EXPECT_STREQ(static_cast<StringPair*>(pairs.elementAt(1))->getValue(), "2");
  }
  EXPECT_EQ(harness::liveBlocks(), before);
}

TEST(StringPair, HasANullKeyWhenMemoryIsExhausted) {
  const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
  StringPair pair("key", "value");
  EXPECT_TRUE(fail.fired());
  EXPECT_EQ(pair.getKey(), nullptr);
  EXPECT_STREQ(pair.getValue(), "");
  EXPECT_EQ(pair.heapUsage(), 0U);
}

}  // namespace
