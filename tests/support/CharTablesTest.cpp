#include "support/CharTables.h"

#include <gtest/gtest.h>
#include <iconv.h>

#include <string>

namespace {

TEST(TrailingBytesForUTF8, FollowsTheOriginalDefinition) {
  for (unsigned int lead = 0; lead < 256; ++lead) {
    // As many bytes follow as the lead byte has 1 bits at its top, less one.
    unsigned int expected = 0;
    for (unsigned int bit = 0x40; lead >= 0xC0 && (lead & bit) != 0 && expected < 5; bit >>= 1U)
      ++expected;
    EXPECT_EQ(trailingBytesForUTF8[lead], expected) << lead;
  }
}

// The UTF-8 form of a Windows-1252 byte as the C library gives it; empty when it is undefined.
std::string convertedByTheSystem(unsigned int byte) {
  const iconv_t converter = iconv_open("UTF-8", "CP1252");
  EXPECT_NE(converter, reinterpret_cast<iconv_t>(-1));
  char source = static_cast<char>(byte);
  char* in = &source;
  std::size_t inLeft = 1;
  char utf8[8];
  char* out = utf8;
  std::size_t outLeft = sizeof(utf8);
  const bool done = iconv(converter, &in, &inLeft, &out, &outLeft) != static_cast<std::size_t>(-1);
  iconv_close(converter);
  return done ? std::string(utf8, out) : std::string();
}

TEST(AnsiToUtf8, HoldsTheWindows1252Characters) {
  unsigned int undefined = 0;
  for (unsigned int byte = 0x80; byte < 0x100; ++byte) {
    std::string expected = convertedByTheSystem(byte);
    if (expected.empty()) {
      ++undefined;
      expected = {'\xC2', static_cast<char>(byte)};
    }
    std::string held;
    for (const unsigned int value : _ansi_to_utf8[byte - 0x80]) {
      if (value == 0) break;
      held += static_cast<char>(value);
    }
    EXPECT_EQ(held, expected) << byte;
  }
  EXPECT_EQ(undefined, 5U);
}

TEST(AnsiToUtf8, FillsUnusedBytesWithZeros) {
  for (const auto& entry : _ansi_to_utf8) {
    const bool threeBytes = entry[0] >= 0xE0;
    EXPECT_NE(entry[1], 0U);
    EXPECT_EQ(entry[2] != 0, threeBytes);
  }
}

}  // namespace
