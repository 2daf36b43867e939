#include "support/dvPlatform.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

namespace {

TEST(DvIsBigEndian, AgreesWithTheMemoryOrder) {
  const std::uint16_t number = 0x1234;
  unsigned char bytes[2];
  std::memcpy(bytes, &number, 2);
  EXPECT_EQ(dvIsBigEndian(), bytes[0] == 0x12);
}

}  // namespace
