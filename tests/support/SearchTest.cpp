#include "support/internal/Search.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "harness/BufferState.h"

namespace {

using dorvane::internal::findBytes;
using dorvane::internal::findBytesNoCase;
using harness::allStrings;
using harness::randomText;

constexpr std::size_t kNone = std::string_view::npos;

std::string lowered(std::string_view text) {
  std::string result(text);
  for (char& c : result)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return result;
}

std::size_t offset(std::string_view hay, const char* hit) {
  return hit == nullptr ? kNone : static_cast<std::size_t>(hit - hay.data());
}

// Compares both searches with the plain ones of the standard library.
testing::AssertionResult agrees(const std::string& hay, const std::string& needle) {
  const std::size_t exact = offset(hay, findBytes(hay, needle));
  if (exact != hay.find(needle))
    return testing::AssertionFailure() << "exact: " << exact << " for " << needle << " in " << hay;
  const std::size_t noCase = offset(hay, findBytesNoCase(hay, needle));
  if (noCase != lowered(hay).find(lowered(needle)))
    return testing::AssertionFailure()
           << "no case: " << noCase << " for " << needle << " in " << hay;
  return testing::AssertionSuccess();
}

struct Timer {
  std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
  double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }
};

TEST(Search, AgreesOnAllShortTexts) {
  const std::vector<std::string> hays = allStrings("abA", 6);
  const std::vector<std::string> needles = allStrings("abA", 4);
  for (const std::string& hay : hays)
    for (const std::string& needle : needles) ASSERT_TRUE(agrees(hay, needle));
}

// A needle that nearly matches often enough sends the search into its linear fallback; there the
// same short texts stand at the end of a long one.
TEST(Search, AgreesOnAllShortTextsBehindAHostileStart) {
  const std::string start(400, 'a');
  const std::string nearly = std::string(12, 'a') + "b" + std::string(12, 'a');
  const std::vector<std::string> words = allStrings("abA", 5);
  for (const std::string& word : words) {
    ASSERT_TRUE(agrees(start + word, nearly + word));
    ASSERT_TRUE(agrees(start + nearly + word + word, nearly + word));
    ASSERT_TRUE(agrees(start + word + nearly + word, word + nearly + word));
  }
}

// The match stands at every distance from where the fallback takes over.
TEST(Search, MissesNoMatchWhereTheFallbackTakesOver) {
  const std::string needle = std::string(12, 'a') + "b" + std::string(12, 'a');
  for (std::size_t at = 0; at <= 300; ++at) {
    const std::string hay = std::string(at, 'a') + needle;
    ASSERT_EQ(offset(hay, findBytes(hay, needle)), at);
    ASSERT_EQ(offset(hay, findBytesNoCase(hay, needle)), at);
  }
}

TEST(Search, AgreesOnRandomPeriodicTexts) {
  std::mt19937 random(20260101);
  for (int round = 0; round < 4000; ++round) {
    const std::string_view alphabet = round % 3 == 0 ? "ab" : round % 3 == 1 ? "aA" : "abAB";
    std::string unit = randomText(random(), 1 + random() % 30, alphabet);
    std::string hay;
    while (hay.size() < 1500) {
      hay += unit;
      if (random() % 8 == 0) hay[random() % hay.size()] ^= 'a' ^ 'b';
    }
    const std::size_t from = random() % 1000;
    std::string needle = hay.substr(from, 1 + random() % 400);
    if (round % 2 == 0) needle[random() % needle.size()] ^= 'a' ^ 'b';
    ASSERT_TRUE(agrees(hay, needle));
  }
}

TEST(Search, FindsAMatchAtEveryPositionOfEverySize) {
  for (std::size_t size = 1; size <= 70; ++size) {
    for (std::size_t length = 1; length <= 5; ++length) {
      for (std::size_t at = 0; at + length <= size; ++at) {
        std::string hay(size, '.');
        hay.replace(at, length, std::string("xYzzY").substr(0, length));
        const std::string exact = hay.substr(at, length);
        ASSERT_EQ(offset(hay, findBytes(hay, exact)), at) << size << ' ' << length;
        ASSERT_EQ(offset(hay, findBytesNoCase(hay, lowered(exact))), at) << size << ' ' << length;
      }
    }
  }
}

TEST(Search, FoldsTheAsciiLettersAndNothingElse) {
  for (int h = 0; h < 256; ++h) {
    for (int n = 0; n < 256; ++n) {
      const std::string hay(20, static_cast<char>(h));
      const std::string needle(2, static_cast<char>(n));
      ASSERT_EQ(findBytes(hay, needle) != nullptr, h == n) << h << ' ' << n;
      ASSERT_EQ(findBytesNoCase(hay, needle) != nullptr, lowered(hay)[0] == lowered(needle)[0])
          << h << ' ' << n;
    }
  }
}

TEST(Search, TakesNulsAsBytes) {
  const std::string hay("a\0b\0\0c", 6);
  EXPECT_EQ(offset(hay, findBytes(hay, std::string_view("\0\0c", 3))), 3U);
  EXPECT_EQ(offset(hay, findBytesNoCase(hay, std::string_view("\0\0C", 3))), 3U);
  EXPECT_EQ(offset(hay, findBytes(hay, std::string_view("\0", 1))), 1U);
}

TEST(Search, FindsAnEmptyNeedleAtTheStart) {
  const std::string hay = "abc";
  EXPECT_EQ(findBytes(hay, ""), hay.data());
  EXPECT_EQ(findBytesNoCase(hay, ""), hay.data());
  EXPECT_EQ(findBytes(std::string_view(hay.data(), 0), ""), hay.data());
  EXPECT_EQ(findBytes(std::string_view(hay.data(), 0), "a"), nullptr);
  EXPECT_EQ(findBytesNoCase(std::string_view(hay.data(), 0), "a"), nullptr);
}

TEST(Search, ReadsNoByteBehindTheText) {
  for (std::size_t size = 1; size <= 40; ++size) {
    const std::vector<char> hay(size, 'a');  // an exact heap block, watched by the sanitizer
    EXPECT_EQ(findBytes({hay.data(), size}, "ab"), nullptr);
    EXPECT_EQ(findBytesNoCase({hay.data(), size}, "AB"), nullptr);
  }
}

TEST(Search, StaysLinearOnHostileTexts) {
  constexpr std::size_t kSize = 1U << 20U;
  const std::string text(kSize, 'a');
  const std::string half(kSize / 2, 'a');
  const std::string quarter(kSize / 4, 'a');
  const Timer timer;
  for (const std::string& needle : {half + 'b', 'b' + half, quarter + 'b' + quarter,
                                    'a' + quarter + 'b' + 'a', std::string("aba")}) {
    EXPECT_EQ(findBytes(text, needle), nullptr);
    EXPECT_EQ(findBytesNoCase(text, needle), nullptr);
  }
  EXPECT_LT(timer.seconds(), 10);
}

}  // namespace
