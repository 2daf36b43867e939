#include "support/dvFormat.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

using HexWriter = unsigned int(unsigned int value, char* out) noexcept;

constexpr unsigned int kValues[] = {
    0,     1,     9,      10,      15,       16,         0x7F,       0x80,       0xFF,
    0x100, 0xABC, 0xFFFF, 0x10000, 0xABCDEF, 0x12345678, 0x89ABCDEF, 0x80000000, UINT_MAX};

std::string hexOf(HexWriter* write, unsigned int value) {
  char out[16];
  std::memset(out, '#', sizeof(out));
  const unsigned int size = write(value, out);
  EXPECT_EQ(size, std::strlen(out));
  EXPECT_EQ(out[size + 1], '#') << "wrote behind the NUL";
  return out;
}

std::string printed(const char* format, unsigned int value) {
  char out[16];
  std::snprintf(out, sizeof(out), format, value);
  return out;
}

TEST(DvFormat, WritesHexadecimalDigits) {
  const struct {
    HexWriter* write;
    const char* format;
    unsigned int mask;
  } cases[] = {
      {dv_02X, "%02X", 0xFF},   {dv_02x, "%02x", 0xFF},     {dv_04X, "%04X", 0xFFFF},
      {dv_04x, "%04x", 0xFFFF}, {dv_08X, "%08X", UINT_MAX}, {dv_08x, "%08x", UINT_MAX},
      {dv_X, "%X", UINT_MAX},   {dv_x, "%x", UINT_MAX},
  };
  for (const auto& c : cases)
    for (const unsigned int value : kValues)
      EXPECT_EQ(hexOf(c.write, value), printed(c.format, value & c.mask)) << c.format;
}

TEST(DvFormat, WritesEveryByteInTwoDigits) {
  for (unsigned int value = 0; value < 256; ++value) {
    EXPECT_EQ(hexOf(dv_02X, value), printed("%02X", value));
    EXPECT_EQ(hexOf(dv_02x, value), printed("%02x", value));
  }
}

TEST(DvFormat, WritesDecimalNumbers) {
  for (const int value : {0, 1, -1, 9, 10, -10, 4711, INT_MAX, INT_MIN}) {
    char out[12];
    EXPECT_EQ(dv_int_to_str(value, out), std::to_string(value).size());
    EXPECT_EQ(std::string(out), std::to_string(value));
  }
  for (const long long value : {0LL, 1LL, -1LL, 4294967296LL, LLONG_MAX, LLONG_MIN}) {
    char out[21];
    EXPECT_EQ(dv_int64_to_str(value, out), std::to_string(value).size());
    EXPECT_EQ(std::string(out), std::to_string(value));
  }
}

}  // namespace
