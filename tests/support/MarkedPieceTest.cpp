#include "support/internal/MarkedPiece.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/ReleasedBlocks.h"
#include "support/dvString.h"

namespace {

using dorvane::internal::Exact;
using dorvane::internal::MarkedPiece;
using dorvane::internal::NoCase;
using dorvane::internal::PrimeField;
using dorvane::internal::SumTransform;
using harness::allStrings;
using harness::randomText;

constexpr std::size_t kNone = std::string_view::npos;

// Every step of a search looks at two bytes or multiplies two numbers.
unsigned long long steps = 0;

struct CountingRule {
  static unsigned char fold(unsigned char c) noexcept {
    ++steps;
    return c;
  }
};

struct CountingField : PrimeField {
  static std::uint64_t multiply(std::uint64_t a, std::uint64_t b) noexcept {
    ++steps;
    return PrimeField::multiply(a, b);
  }
};

std::size_t findPlainly(std::string_view text, std::string_view piece) {
  for (std::size_t at = 0; at + piece.size() <= text.size(); ++at)
    if (std::equal(piece.begin(), piece.end(), text.begin() + static_cast<std::ptrdiff_t>(at),
                   [](char p, char t) { return p == '?' || p == t; }))
      return at;
  return kNone;
}

std::size_t findBySums(std::string_view text, std::string_view piece) {
  std::size_t found = 0;
  EXPECT_TRUE(MarkedPiece<Exact>(piece).findBySums(text, found));
  return found;
}

// --- The field and the transform -----------------------------------------------------------------

// By doubling and adding alone.
std::uint64_t productByAdding(std::uint64_t a, std::uint64_t b) {
  std::uint64_t product = 0;
  for (int bit = 63; bit >= 0; --bit) {
    product = PrimeField::add(product, product);
    if ((b >> static_cast<unsigned int>(bit) & 1U) != 0) product = PrimeField::add(product, a);
  }
  return product;
}

TEST(PrimeField, ComputesModuloThePrime) {
  constexpr std::uint64_t kPrime = PrimeField::kPrime;
  std::vector<std::uint64_t> numbers = {0, 1, 2, 0xFFFFFFFE, 0xFFFFFFFF, 0x100000000, kPrime / 2};
  for (std::uint64_t i = 1; i < 4; ++i) {
    numbers.push_back(kPrime - i);
    numbers.push_back((i << 62U) - i);
  }
  std::mt19937_64 random(3);
  for (int i = 0; i < 100; ++i) numbers.push_back(random() % kPrime);
  for (const std::uint64_t a : numbers) {
    for (const std::uint64_t b : numbers) {
      ASSERT_EQ(PrimeField::multiply(a, b), productByAdding(a, b)) << a << " * " << b;
      ASSERT_EQ(PrimeField::add(PrimeField::subtract(a, b), b), a) << a << " - " << b;
      ASSERT_LT(PrimeField::add(a, b), kPrime);
    }
    ASSERT_EQ(PrimeField::power(a, kPrime), a);
  }
}

TEST(SumTransform, ProductsComeBackAsCyclicConvolutions) {
  for (const std::size_t size : {2U, 4U, 64U, 256U}) {
    std::mt19937_64 random(size);
    std::vector<std::uint64_t> a(size), b(size), sums(size);
    for (std::size_t i = 0; i < size; ++i) {
      a[i] = random() % PrimeField::kPrime;
      b[i] = random() % PrimeField::kPrime;
    }
    for (std::size_t i = 0; i < size; ++i)
      for (std::size_t j = 0; j < size; ++j)
        sums[(i + j) % size] =
            PrimeField::add(sums[(i + j) % size], PrimeField::multiply(a[i], b[j]));
    const SumTransform<PrimeField> transform(size);
    transform.forward(a.data());
    transform.forward(b.data());
    for (std::size_t i = 0; i < size; ++i) a[i] = PrimeField::multiply(a[i], b[i]);
    transform.back(a.data());
    for (std::size_t i = 0; i < size; ++i)
      ASSERT_EQ(a[i], PrimeField::multiply(sums[i], size)) << i << " of " << size;
  }
}

// --- Searching -----------------------------------------------------------------------------------

TEST(MarkedPiece, SumsAgreeOnAllShortTexts) {
  const std::vector<std::string> texts = allStrings("ab", 7);
  for (const std::string& piece : allStrings("ab?", 4)) {
    if (piece.empty()) continue;
    for (const std::string& text : texts)
      ASSERT_EQ(findBySums(text, piece), findPlainly(text, piece)) << piece << " in " << text;
  }
}

TEST(MarkedPiece, SumsTellEveryPairOfBytesApart) {
  std::string text;
  for (int i = 0; i < 256; ++i) text.push_back(static_cast<char>(i));
  for (int i = 0; i < 256; ++i) {
    const std::string byte(1, static_cast<char>(i));
    EXPECT_EQ(findBySums(text, byte), i == '?' ? 0U : static_cast<std::size_t>(i));
  }
}

// A text in which the piece nearly occurs again and again, and then does, at the borders of what is
// summed up at once.
TEST(MarkedPiece, FindsTheFirstPlaceInEveryWindow) {
  for (const std::size_t size : {512U, 513U, 700U}) {
    const std::string piece = randomText(size, size - 1, "aaaaaa?") + "b";
    for (const std::size_t at : {0U, 1U, 3U, 511U, 512U, 513U, 1535U, 1536U, 1537U, 4000U}) {
      std::string text(at + size - 1, 'a');
      text += "b" + std::string(100, 'a') + std::string(size, 'b');
      ASSERT_EQ(findBySums(text, piece), at) << size;
      ASSERT_EQ(MarkedPiece<Exact>(piece).find(text), at) << size;
      text[at + size - 1] = 'c';
      const std::size_t later = findPlainly(text, piece);
      ASSERT_EQ(findBySums(text, piece), later) << size;
      ASSERT_EQ(MarkedPiece<Exact>(piece).find(text), later) << size;
    }
  }
}

TEST(MarkedPiece, RandomTextsAgree) {
  for (unsigned int seed = 1; seed <= 300; ++seed) {
    const std::string piece =
        randomText(seed, 1 + seed % 40, seed % 2 == 0 ? "ab???" : "\x01\xFF??");
    const std::string text =
        randomText(seed + 1000, seed * 13 % 900, seed % 2 == 0 ? "ab" : "\x01\xFF\xFE");
    ASSERT_EQ(findBySums(text, piece), findPlainly(text, piece)) << seed;
    ASSERT_EQ(MarkedPiece<Exact>(piece).find(text), findPlainly(text, piece)) << seed;
  }
}

TEST(MarkedPiece, FoldsLettersOnly) {
  const std::string piece = std::string(600, 'x') + "?Az{";
  const std::string text = "[" + std::string(700, 'X') + "-aZ{";
  std::size_t found = 0;
  EXPECT_TRUE(MarkedPiece<NoCase>(piece).findBySums(text, found));
  EXPECT_EQ(found, 101U);
  EXPECT_EQ(MarkedPiece<NoCase>(piece).find(text), 101U);
  EXPECT_EQ(MarkedPiece<NoCase>(piece).find(text.substr(0, text.size() - 1) + "["), kNone);
}

// --- Parts ---------------------------------------------------------------------------------------

TEST(MarkedPiece, APieceOfSeveralPartsIsFound) {
  constexpr std::size_t kPart = 16;
  for (const std::size_t size : {kPart - 1, kPart, kPart + 1, 2 * kPart, 5 * kPart + 7}) {
    std::string piece(size, 'a');
    piece[5] = '?';
    piece[size - 3] = 'b';
    const MarkedPiece<Exact, PrimeField, kPart> parts(piece);
    for (std::size_t at = 0; at < 60; at += 7) {
      std::string text(at + size + 100, 'a');
      text[at + size - 3] = 'b';
      std::size_t found = 0;
      EXPECT_TRUE(parts.findBySums(text, found));
      EXPECT_EQ(found, at);
      for (std::size_t i = 0; i < size; ++i) {
        std::string other = text;
        other[at + i] = 'x';
        EXPECT_TRUE(parts.findBySums(other, found));
        ASSERT_EQ(found, i == 5 ? at : kNone) << i << " of " << size;
      }
    }
  }
}

// --- Memory --------------------------------------------------------------------------------------

TEST(MarkedPiece, ExhaustedMemoryChangesNoResult) {
  const std::string piece = std::string(2000, 'a') + "?b";
  const std::string text = std::string(10000, 'a') + "cb" + std::string(100, 'a');
  const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
  EXPECT_EQ(MarkedPiece<Exact>(piece).find(text), 8000U);
  EXPECT_EQ(fail.seen(), 1);
  std::size_t found = 0;
  EXPECT_FALSE(MarkedPiece<Exact>(piece).findBySums(text, found));
}

TEST(MarkedPiece, LeavesNoNumbersBehind) {
  const std::string piece = std::string(2000, 'a') + "?b";
  const std::string text(10000, 'a');
  const auto blocks = harness::releasedBy([&] { MarkedPiece<Exact>(piece).find(text); });
  EXPECT_EQ(blocks.size(), 1U);
  EXPECT_TRUE(harness::allWiped(blocks));
}

// --- Former bugs ---------------------------------------------------------------------------------

// A piece with a "?" that nearly fits everywhere took as many steps as the product of the lengths.
TEST(MarkedPiece, StepsGrowWithTheTextAndNotWithThePiece) {
  constexpr std::size_t kText = 1U << 15U;
  const std::string text(kText, 'a');
  for (const std::size_t size : {100U, 511U, 512U, 5000U, 15000U, 30000U}) {
    const std::string pieces[] = {std::string(size - 2, 'a') + "?b",
                                  "?" + std::string(size, 'a') + "b",
                                  std::string(size / 2, 'a') + "?" + std::string(size / 2, 'b')};
    for (const std::string& piece : pieces) {
      steps = 0;
      EXPECT_EQ((MarkedPiece<CountingRule, CountingField>(piece).find(text)), kNone);
      EXPECT_LT(steps, 1100 * kText) << piece.size();
    }
  }
}

TEST(MarkedPiece, WildcardMatchSearchesSo) {
  const std::string text(1U << 14U, 'a');
  const std::string pattern = "*" + std::string(8000, 'a') + "?b*";
  for (const bool caseSensitive : {true, false}) {
    const harness::FailAllocation watch(0);
    EXPECT_FALSE(wildcardMatch(text.c_str(), pattern.c_str(), caseSensitive));
    EXPECT_EQ(watch.seen(), 1);
    const std::string matching = text + "xb" + text;
    EXPECT_TRUE(wildcardMatch(matching.c_str(), pattern.c_str(), caseSensitive));
  }
}

}  // namespace
