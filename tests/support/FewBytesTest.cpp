#include <gtest/gtest.h>

#include <string>

#include "harness/BufferState.h"
#include "support/internal/FewBytes.h"

namespace {

using dorvane::internal::FewBytes;

std::size_t plainSearch(const FewBytes& set, std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i)
    if (set.contains(text[i])) return i;
  return text.size();
}

TEST(FewBytes, HoldsExactlyItsBytes) {
  for (const std::string_view bytes : {"&", "\r\n", "&<>", "&<>\""}) {
    const FewBytes set(bytes);
    for (int c = 0; c < 256; ++c) {
      const char byte = static_cast<char>(c);
      EXPECT_EQ(set.contains(byte), bytes.find(byte) != std::string_view::npos) << c;
    }
  }
}

TEST(FewBytes, FindsTheFirstAtEveryPlaceOfEveryLength) {
  const FewBytes set("&<>");
  for (std::size_t length = 0; length <= 70; ++length) {
    std::string text(length, '\xE9');
    EXPECT_EQ(set.findFirstIn(text.data(), length), length);
    for (std::size_t at = 0; at < length; ++at) {
      text[at] = '>';
      EXPECT_EQ(set.findFirstIn(text.data(), length), at) << length;
      text[at] = '\0';
    }
  }
}

TEST(FewBytes, AgreesWithThePlainSearchOnRandomText) {
  const FewBytes set("ab\xFF");
  for (unsigned long long seed = 0; seed < 2000; ++seed) {
    const std::string text = harness::randomText(seed, seed % 200,
                                                 "xyzuvwXYZ\x7F\x80\xFE"
                                                 "a");
    EXPECT_EQ(set.findFirstIn(text.data(), text.size()), plainSearch(set, text)) << seed;
  }
}

TEST(FewBytes, ReadsNothingBehindTheEnd) {
  for (std::size_t length = 0; length <= 40; ++length) {
    const std::string text(length, 'x');
    std::string exact(text.begin(), text.end());
    exact.shrink_to_fit();
    EXPECT_EQ(FewBytes("ab").findFirstIn(exact.data(), length), length);
  }
}

}  // namespace
