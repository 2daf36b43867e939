#include "support/dvString.h"

#include <gtest/gtest.h>

#include <chrono>
#include <clocale>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "harness/BufferState.h"

namespace {

using harness::allStrings;

int sign(int value) { return (value > 0) - (value < 0); }

unsigned char lowered(unsigned char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + 32) : c;
}

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

TEST(DvStrLen, CountsTheBytesBeforeTheNul) {
  EXPECT_EQ(dvStrLen(nullptr), 0U);
  EXPECT_EQ(dvStrLen(""), 0U);
  EXPECT_EQ(dvStrLen("abc\xFF"), 4U);
}

TEST(DvStrCpy, CopiesTheTextWithItsNul) {
  char room[8] = "1234567";
  dvStrCpy(room, "abc");
  EXPECT_EQ(std::string_view(room, 8), std::string_view("abc\0"
                                                        "567\0",
                                                        8));
  dvStrCpy(room, nullptr);
  EXPECT_STREQ(room, "");
}

TEST(DvStrCpy, CopiesWithinOneArray) {
  char room[8] = "abcdef";
  dvStrCpy(room + 1, room);
  EXPECT_STREQ(room, "aabcdef");
  dvStrCpy(room, room + 2);
  EXPECT_STREQ(room, "bcdef");
}

TEST(DvStrNCpy, StopsAtTheCountOrBehindTheNul) {
  const struct {
    const char* source;
    unsigned int n;
    std::string_view expected;
  } cases[] = {
      {"abc", 0, "......"},         {"abc", 2, "ab...."},       {"abc", 3, "abc..."},
      {"abc", 4, {"abc\0..", 6}},   {"abc", 6, {"abc\0..", 6}}, {"", 6, {"\0.....", 6}},
      {nullptr, 6, {"\0.....", 6}}, {nullptr, 0, "......"},
  };
  for (const auto& c : cases) {
    char room[] = "......";
    dvStrNCpy(room, c.source, c.n);
    EXPECT_EQ(std::string_view(room, 6), c.expected) << c.n;
  }
}

TEST(DvStrNCpy, ReadsNoFurtherThanTheCount) {
  const std::vector<char> unterminated(5, 'x');
  char room[6] = {};
  dvStrNCpy(room, unterminated.data(), 5);
  EXPECT_STREQ(room, "xxxxx");
}

TEST(DvStrCmp, ComparesUnsignedBytes) {
  for (int a = 0; a < 256; ++a) {
    for (int b = 0; b < 256; ++b) {
      const char first[] = {'x', static_cast<char>(a), 0};
      const char second[] = {'x', static_cast<char>(b), 0};
      ASSERT_EQ(sign(dvStrCmp(first, second)), sign(a - b)) << a << ' ' << b;
      const int folded =
          lowered(static_cast<unsigned char>(a)) - lowered(static_cast<unsigned char>(b));
      ASSERT_EQ(sign(dvStrICmp(first, second)), sign(folded)) << a << ' ' << b;
    }
  }
}

TEST(DvStrCmp, OrdersAPrefixFirst) {
  for (const auto compare : {dvStrCmp, dvStrICmp}) {
    EXPECT_LT(compare("ab", "abc"), 0);
    EXPECT_GT(compare("abc", "ab"), 0);
    EXPECT_EQ(compare("abc", "abc"), 0);
    EXPECT_EQ(compare(nullptr, ""), 0);
    EXPECT_EQ(compare(nullptr, nullptr), 0);
    EXPECT_LT(compare(nullptr, "a"), 0);
    EXPECT_GT(compare("a", nullptr), 0);
  }
  EXPECT_EQ(dvStrICmp("HeLLo", "hEllO"), 0);
  EXPECT_LT(dvStrICmp("_", "A"), 0);  // letters are taken as lower-case ones
}

TEST(DvStrChr, FindsTheFirstAndTheLastByte) {
  const char* text = "abcabc\xE9";
  EXPECT_EQ(dvStrChr(text, 'b'), text + 1);
  EXPECT_EQ(dvStrrChr(text, 'b'), text + 4);
  EXPECT_EQ(dvStrChr(text, 0xE9), text + 6);
  EXPECT_EQ(dvStrChr(text, static_cast<signed char>('\xE9')), text + 6);
  EXPECT_EQ(dvStrrChr(text, 0xE9), text + 6);
  EXPECT_EQ(dvStrChr(text, 0), text + 7);
  EXPECT_EQ(dvStrrChr(text, 0), text + 7);
  EXPECT_EQ(dvStrChr(text, 'x'), nullptr);
  EXPECT_EQ(dvStrrChr(text, 'x'), nullptr);
  EXPECT_EQ(dvStrChr(nullptr, 'x'), nullptr);
  EXPECT_EQ(dvStrrChr(nullptr, 'x'), nullptr);
}

TEST(DvStrStr, FindsTheFirstOccurrence) {
  const char* text = "Abra abra";
  EXPECT_EQ(dvStrStr(text, "abra"), text + 5);
  EXPECT_EQ(stristr(text, "ABRA"), text);
  EXPECT_EQ(stristr(text, "a A"), text + 3);
  EXPECT_EQ(dvStrStr(text, "x"), nullptr);
  EXPECT_EQ(stristr(text, "abras"), nullptr);
  for (const auto find : {dvStrStr, stristr}) {
    EXPECT_EQ(find(text, ""), text);
    EXPECT_EQ(find(text, nullptr), text);
    EXPECT_EQ(find(nullptr, "x"), nullptr);
    const char* const empty = "";
    EXPECT_EQ(find(empty, ""), empty);
    EXPECT_EQ(find(empty, "x"), nullptr);
  }
}

TEST(DvStrStr, FindsAMatchAcrossEveryPositionOfALongText) {
  const std::string needle = "Needle";
  for (std::size_t at = 0; at <= 2200; ++at) {
    const std::string text = std::string(at, 'n') + needle + std::string(40, 'n');
    ASSERT_EQ(dvStrStr(text.c_str(), "Needle"), text.c_str() + at);
    ASSERT_EQ(dvStrStr(text.c_str(), "needle"), nullptr);
    ASSERT_EQ(stristr(text.c_str(), "nEEdle"), text.c_str() + at);
  }
}

TEST(DvStrStr, FindsNeedlesOfEverySize) {
  const std::string text = harness::randomText(1, 3000, "abcd");
  for (std::size_t size = 1; size <= 700; size += 9) {
    for (std::size_t from = 0; from + size <= text.size(); from += 151) {
      const std::string needle = text.substr(from, size);
      ASSERT_EQ(dvStrStr(text.c_str(), needle.c_str()), text.c_str() + text.find(needle));
      ASSERT_EQ(stristr(text.c_str(), needle.c_str()), text.c_str() + text.find(needle));
      ASSERT_EQ(dvStrStr(text.c_str(), (needle + "x").c_str()), nullptr);
    }
  }
}

TEST(DvStrStr, ReadsNoFurtherThanTheNul) {
  for (std::size_t size = 0; size < 700; ++size) {
    std::vector<char> text(size + 1, 'a');
    text[size] = '\0';
    ASSERT_EQ(dvStrStr(text.data(), "ab"), nullptr);
    ASSERT_EQ(stristr(text.data(), "AB"), nullptr);
  }
}

TEST(Stristr, FoldsNoLetterBeyondAscii) {
  const char* const turkish = std::setlocale(LC_ALL, "tr_TR.ISO-8859-9");
  EXPECT_EQ(stristr("\xC9", "\xE9"), nullptr);
  EXPECT_NE(stristr("TITLE", "title"), nullptr);
  EXPECT_EQ(dvStrICmp("TITLE", "title"), 0);
  if (turkish != nullptr) std::setlocale(LC_ALL, "C");
}

// Every call looks at the text up to its match only, although the text is long.
TEST(Stristr, CostsTheDistanceToTheMatch) {
  std::string text;
  while (text.size() < (4U << 20U)) text += "abcdefgh";
  const auto start = std::chrono::steady_clock::now();
  unsigned int hits = 0;
  for (const char* at = text.c_str(); (at = stristr(at, "GH")) != nullptr; at += 2) ++hits;
  EXPECT_EQ(hits, text.size() / 8);
  EXPECT_LT(secondsSince(start), 20);
}

TEST(WildcardMatch, FollowsItsRules) {
  const struct {
    const char* text;
    const char* pattern;
    bool caseSensitive;
    bool expected;
  } cases[] = {
      {"", "", true, true},
      {"", "*", true, true},
      {"", "**", true, true},
      {"", "?", true, false},
      {"a", "", true, false},
      {"abc", "abc", true, true},
      {"abc", "ABC", true, false},
      {"abc", "ABC", false, true},
      {"aBc", "A?C", false, true},
      {"abc", "a*", true, true},
      {"abc", "*c", true, true},
      {"abc", "*b*", true, true},
      {"abc", "a*c", true, true},
      {"ac", "a*c", true, true},
      {"abc", "a?c", true, true},
      {"ac", "a?c", true, false},
      {"abc", "*?*?*?*", true, true},
      {"abc", "*?*?*?*?*", true, false},
      {"aa", "a*a", true, true},
      {"a", "a*a", true, false},
      {"mississippi", "m*iss*ip*i", true, true},
      {"mississippi", "m*iss*iss*iss*", true, false},
      {"file.TXT", "*.txt", false, true},
      {"file.TXT", "*.txt", true, false},
      {"a*b", "a*b", true, true},
      {"\xE9", "?", true, true},
      {"\xC9", "\xE9", false, false},
      {nullptr, "*", true, true},
      {nullptr, nullptr, true, true},
      {"a", nullptr, true, false},
  };
  for (const auto& c : cases)
    EXPECT_EQ(wildcardMatch(c.text, c.pattern, c.caseSensitive), c.expected)
        << (c.text ? c.text : "null") << " ~ " << (c.pattern ? c.pattern : "null");
}

// The plain definition, without regard to cost.
bool matchesByDefinition(std::string_view text, std::string_view pattern) {
  if (pattern.empty()) return text.empty();
  if (pattern[0] == '*')
    return matchesByDefinition(text, pattern.substr(1)) ||
           (!text.empty() && matchesByDefinition(text.substr(1), pattern));
  return !text.empty() && (pattern[0] == '?' || pattern[0] == text[0]) &&
         matchesByDefinition(text.substr(1), pattern.substr(1));
}

TEST(WildcardMatch, AgreesWithItsDefinitionOnAllShortTexts) {
  const std::vector<std::string> texts = allStrings("ab", 6);
  const std::vector<std::string> patterns = allStrings("ab?*", 5);
  for (const std::string& text : texts)
    for (const std::string& pattern : patterns)
      ASSERT_EQ(wildcardMatch(text.c_str(), pattern.c_str(), true),
                matchesByDefinition(text, pattern))
          << text << " ~ " << pattern;
}

TEST(WildcardMatch, StaysFastOnHostilePatterns) {
  const std::string text(1U << 20U, 'a');
  std::string stars;
  for (int i = 0; i < 1000; ++i) stars += "a*";
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(wildcardMatch(text.c_str(), (stars + "b").c_str(), true));
  EXPECT_FALSE(wildcardMatch(text.c_str(), ("*" + std::string(10000, 'a') + "b*").c_str(), true));
  EXPECT_FALSE(wildcardMatch(text.c_str(), ("*b" + stars).c_str(), false));
  EXPECT_TRUE(wildcardMatch(text.c_str(), stars.c_str(), false));
  EXPECT_LT(secondsSince(start), 10);
}

TEST(DvReverseString, ReversesTheFirstBytes) {
  const struct {
    int n;
    const char* expected;
  } cases[] = {{-1, "abcde"}, {0, "abcde"}, {1, "abcde"}, {2, "bacde"}, {4, "dcbae"}, {5, "edcba"}};
  for (const auto& c : cases) {
    char text[] = "abcde";
    dvReverseString(text, c.n);
    EXPECT_STREQ(text, c.expected) << c.n;
  }
  dvReverseString(nullptr, 3);
}

}  // namespace
