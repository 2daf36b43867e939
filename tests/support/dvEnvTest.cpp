#include "support/dvEnv.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"

namespace {

using harness::holds;

TEST(DvGetEnv, AppendsTheValue) {
  ASSERT_EQ(setenv("DORVANE_TEST_VALUE", "value", 1), 0);
  ASSERT_EQ(setenv("DORVANE_TEST_EMPTY", "", 1), 0);
  StringBuffer out(">");
  EXPECT_TRUE(dvGetEnv("DORVANE_TEST_VALUE", out));
  EXPECT_TRUE(holds(out, ">value"));
  EXPECT_TRUE(dvGetEnv("DORVANE_TEST_EMPTY", out));
  EXPECT_TRUE(holds(out, ">value"));
}

TEST(DvGetEnv, AppendsNothingForAnUnsetVariable) {
  ASSERT_EQ(unsetenv("DORVANE_TEST_UNSET"), 0);
  StringBuffer out(">");
  EXPECT_FALSE(dvGetEnv("DORVANE_TEST_UNSET", out));
  EXPECT_FALSE(dvGetEnv("", out));
  EXPECT_FALSE(dvGetEnv(nullptr, out));
  EXPECT_TRUE(holds(out, ">"));
}

TEST(DvGetEnv, TakesTheNameFromTheOutput) {
  const std::string value(400, 'v');
  ASSERT_EQ(setenv("DORVANE_TEST_LONG", value.c_str(), 1), 0);
  StringBuffer out("DORVANE_TEST_LONG");
  EXPECT_TRUE(dvGetEnv(out.getString(), out));
  EXPECT_TRUE(holds(out, "DORVANE_TEST_LONG" + value));
}

TEST(DvGetEnv, ChangesNothingWhenTheOutputCannotGrow) {
  ASSERT_EQ(setenv("DORVANE_TEST_LONG", std::string(400, 'v').c_str(), 1), 0);
  StringBuffer out(">");
  bool done = true;
  {
    const harness::FailAllocation fail(1);
    done = dvGetEnv("DORVANE_TEST_LONG", out);
  }
  EXPECT_FALSE(done);
  EXPECT_TRUE(holds(out, ">"));
}

}  // namespace
