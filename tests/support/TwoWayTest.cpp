#include "support/internal/TwoWay.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "harness/BufferState.h"

namespace {

using dorvane::internal::Exact;
using dorvane::internal::NoCase;
using dorvane::internal::TwoWay;
using harness::allStrings;

template <class Rule>
std::size_t find(const TwoWay<Rule>& needle, const std::string& hay) {
  const char* hit = needle.find(hay);
  return hit == nullptr ? std::string::npos : static_cast<std::size_t>(hit - hay.data());
}

TEST(TwoWay, AgreesOnAllShortTexts) {
  const std::vector<std::string> hays = allStrings("ab", 12);
  for (const std::string& needle : allStrings("ab", 8)) {
    if (needle.empty()) continue;
    const TwoWay<Exact> prepared(needle);
    for (const std::string& hay : hays)
      ASSERT_EQ(find(prepared, hay), hay.find(needle)) << needle << " in " << hay;
  }
}

TEST(TwoWay, AgreesOverThreeBytes) {
  const std::vector<std::string> hays = allStrings("abc", 8);
  for (const std::string& needle : allStrings("abc", 5)) {
    if (needle.empty()) continue;
    const TwoWay<Exact> prepared(needle);
    for (const std::string& hay : hays)
      ASSERT_EQ(find(prepared, hay), hay.find(needle)) << needle << " in " << hay;
  }
}

// Texts made of pieces of the needle, where it nearly occurs all the time.
TEST(TwoWay, AgreesOnTextsMadeOfItsNeedle) {
  std::mt19937 random(99);
  for (int round = 0; round < 60000; ++round) {
    const std::string needle =
        harness::randomText(random(), 1 + random() % 40, round % 2 == 0 ? "ab" : "abcd");
    const TwoWay<Exact> prepared(needle);
    std::string hay;
    while (hay.size() < 200) {
      const std::size_t from = random() % needle.size();
      hay += needle.substr(from, 1 + random() % needle.size());
    }
    ASSERT_EQ(find(prepared, hay), hay.find(needle)) << needle << " in " << hay;
  }
}

TEST(TwoWay, FoldsCase) {
  const std::vector<std::string> hays = allStrings("aAb", 7);
  for (const std::string& needle : allStrings("aBA", 5)) {
    if (needle.empty()) continue;
    std::string folded = needle;
    for (char& c : folded) c = c == 'A' ? 'a' : c == 'B' ? 'b' : c;
    const TwoWay<NoCase> prepared(needle);
    for (std::string hay : hays) {
      const std::size_t hit = find(prepared, hay);
      for (char& c : hay) c = c == 'A' ? 'a' : c;
      ASSERT_EQ(hit, hay.find(folded)) << needle << " in " << hay;
    }
  }
}

TEST(TwoWay, OrdersBytesAsUnsigned) {
  const std::string hay = "\xFF\x7F\xFF\x01\xFF\x7F\xFF\xFF\x7F\xFF\x80";
  for (std::size_t from = 0; from < hay.size(); ++from) {
    for (std::size_t size = 1; from + size <= hay.size(); ++size) {
      const std::string needle = hay.substr(from, size);
      EXPECT_EQ(find(TwoWay<Exact>(needle), hay), hay.find(needle));
    }
  }
}

}  // namespace
