#include "support/_dvUtf.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string utf8Of(unsigned int codePoint) {
  char out[6] = {'#', '#', '#', '#', '#', '#'};
  unsigned int size = 99;
  _dvUtf::oneUtf32ToUtf8(codePoint, out, size);
  EXPECT_LE(size, 4U);
  EXPECT_EQ(out[size], '#') << "wrote too much";
  return {out, size};
}

TEST(DvUtf, WritesEverySize) {
  const struct {
    unsigned int codePoint;
    std::string utf8;
  } cases[] = {
      {0, std::string(1, '\0')},
      {'A', "A"},
      {0x7F, "\x7F"},
      {0x80, "\xC2\x80"},
      {0xE9, "\xC3\xA9"},
      {0x7FF, "\xDF\xBF"},
      {0x800, "\xE0\xA0\x80"},
      {0x20AC, "\xE2\x82\xAC"},
      {0xD7FF, "\xED\x9F\xBF"},
      {0xD800, "\xED\xA0\x80"},  // surrogates, each by itself
      {0xDFFF, "\xED\xBF\xBF"},
      {0xE000, "\xEE\x80\x80"},
      {0xFFFF, "\xEF\xBF\xBF"},
      {0x10000, "\xF0\x90\x80\x80"},
      {0x10FFFF, "\xF4\x8F\xBF\xBF"},
      {0x110000, "\xEF\xBF\xBD"},
      {0xFFFFFFFF, "\xEF\xBF\xBD"},
  };
  for (const auto& c : cases) EXPECT_EQ(utf8Of(c.codePoint), c.utf8) << c.codePoint;
}

TEST(DvUtf, WritesWhatReadsBackAsTheCodePoint) {
  for (unsigned int codePoint = 0x80; codePoint <= 0x10FFFF; ++codePoint) {
    const std::string utf8 = utf8Of(codePoint);
    unsigned int value = static_cast<unsigned char>(utf8[0]) & (0x7FU >> utf8.size());
    for (std::size_t i = 1; i < utf8.size(); ++i) {
      const auto byte = static_cast<unsigned char>(utf8[i]);
      ASSERT_EQ(byte & 0xC0, 0x80);
      value = value << 6U | (byte & 0x3FU);
    }
    ASSERT_EQ(value, codePoint);
  }
}

}  // namespace
