#include "support/dv64.h"

#include <gtest/gtest.h>

#include <climits>

namespace {

TEST(Dv64, TellsWhatFitsIn32Bits) {
  EXPECT_FALSE(dv64::TooBigForUnsigned32(0));
  EXPECT_FALSE(dv64::TooBigForUnsigned32(4294967294LL));
  EXPECT_FALSE(dv64::TooBigForUnsigned32(4294967295LL));
  EXPECT_TRUE(dv64::TooBigForUnsigned32(4294967296LL));
  EXPECT_TRUE(dv64::TooBigForUnsigned32(LLONG_MAX));
  EXPECT_TRUE(dv64::TooBigForUnsigned32(-1));
  EXPECT_TRUE(dv64::TooBigForUnsigned32(LLONG_MIN));
}

}  // namespace
