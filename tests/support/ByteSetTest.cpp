#include "support/ByteSet.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using dorvane::internal::ByteSet;

constexpr ByteSet kDigits = ByteSet::range('0', '9');
constexpr ByteSet kName = ByteSet::range('a', 'z') | kDigits | ByteSet::of("-_");
static_assert(ByteSet().size() == 0);
static_assert((~ByteSet()).size() == 256);
static_assert(kName.size() == 38);
static_assert((kName & kDigits).size() == 10);
static_assert((kName & ~kDigits).size() == 28);
static_assert(ByteSet::range(0, 255).size() == 256);
static_assert(ByteSet::range(9, 8).size() == 0);
static_assert(kName.contains('q') && !kName.contains('Q'));

TEST(ByteSet, HoldsExactlyWhatItsDefinitionSays) {
  const std::string high("\x80\xFF\0", 3);
  const ByteSet set = ByteSet::of(high) | ByteSet::range(0xF0, 0xF3);
  for (int c = 0; c < 256; ++c) {
    const bool expected = c == 0x80 || c == 0xFF || c == 0 || (c >= 0xF0 && c <= 0xF3);
    EXPECT_EQ(set.contains(static_cast<unsigned char>(c)), expected) << c;
    EXPECT_EQ(set.contains(static_cast<char>(c)), expected) << c;
    EXPECT_EQ((~set).contains(static_cast<char>(c)), !expected) << c;
  }
}

TEST(ByteSet, ScansToTheFirstMemberAndTheFirstStranger) {
  for (std::size_t size = 0; size <= 20; ++size) {
    EXPECT_EQ(kDigits.findFirstIn(std::string(size, 'a').data(), size), size);
    EXPECT_EQ(kDigits.findFirstNotIn(std::string(size, '7').data(), size), size);
    for (std::size_t at = 0; at < size; ++at) {
      std::string letters(size, 'a');
      std::string digits(size, '7');
      letters[at] = '5';
      digits[at] = '\xB5';
      EXPECT_EQ(kDigits.findFirstIn(letters.data(), size), at) << size;
      EXPECT_EQ(kDigits.findFirstNotIn(digits.data(), size), at) << size;
    }
  }
}

TEST(ByteSet, ScansNoByteOfAnEmptyRange) {
  EXPECT_EQ(kDigits.findFirstIn(nullptr, 0), 0U);
  EXPECT_EQ(kDigits.findFirstNotIn(nullptr, 0), 0U);
}

}  // namespace
