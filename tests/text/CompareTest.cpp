// The questions of text/Compare.cpp.

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/CompareReference.h"
#include "harness/ModelBuffer.h"
#include "harness/StaleStorage.h"
#include "harness/Stopwatch.h"

namespace {

using namespace std::string_literals;
namespace reference = harness::reference;
using harness::allStrings;
using harness::appendRaw;
using harness::randomText;
using harness::secondsOf;
using harness::stateOf;

class Holding {
 public:
  explicit Holding(std::string_view bytes) { appendRaw(m_buffer, bytes); }
  const StringBuffer* operator->() const { return &m_buffer; }
  const StringBuffer& operator*() const { return m_buffer; }

 private:
  StringBuffer m_buffer;
};

std::string allBytes() {
  std::string bytes;
  for (int b = 0; b < 256; ++b) bytes += static_cast<char>(b);
  return bytes;
}

std::string oneByte(int b) { return std::string(1, static_cast<char>(b)); }

// --- Against the slow reference ----------------------------------------------------------------

void expectEqualityAgrees(const StringBuffer& buffer, const std::string& content,
                          const char* text) {
  const auto length = static_cast<unsigned int>(content.size());
  EXPECT_EQ(buffer.equals(text), reference::equalsText(content, text, false));
  EXPECT_EQ(buffer.equalsIgnoreCase(text), reference::equalsText(content, text, true));
  for (const unsigned int n : {0U, 1U, length, length + 1})
    EXPECT_EQ(buffer.equalsIgnoreCase2(text, n), reference::equalsIgnoreCase2(content, text, n));
  const std::string other = text == nullptr ? "" : text;
  const std::string own = reference::textOf(content);
  EXPECT_EQ(reference::signOf(buffer.compare(text)), reference::threeWay(own, other));
  EXPECT_EQ(reference::signOf(buffer.compareNoCase(text)),
            reference::threeWay(reference::folded(own), reference::folded(other)));
}

void expectEndsAgree(const StringBuffer& buffer, const std::string& content, const char* text) {
  EXPECT_EQ(buffer.beginsWith(text), reference::beginsWith(content, text, false));
  EXPECT_EQ(buffer.beginsWithIgnoreCase(text), reference::beginsWith(content, text, true));
  EXPECT_EQ(buffer.endsWith(text), reference::endsWith(content, text, false));
  EXPECT_EQ(buffer.endsWithIgnoreCase(text), reference::endsWith(content, text, true));
}

void expectSearchAgrees(const StringBuffer& buffer, const std::string& content,
                        const char* needle) {
  const int at = reference::indexOf(content, needle, false);
  const int atNoCase = reference::indexOf(content, needle, true);
  EXPECT_EQ(buffer.indexOf(needle), at);
  EXPECT_EQ(buffer.indexOfNoCase(needle), atNoCase);
  EXPECT_EQ(buffer.containsSubstring(needle), at >= 0);
  EXPECT_EQ(buffer.containsSubstringNoCase(needle), atNoCase >= 0);
  EXPECT_EQ(buffer.findSubstr(needle), at < 0 ? nullptr : buffer.getString() + at);
  EXPECT_EQ(buffer.containsAnyOf(needle), reference::containsAnyOf(content, needle));
}

void expectAllAgree(const StringBuffer& buffer, const std::string& content, const char* text) {
  SCOPED_TRACE(testing::PrintToString(content) + " and " + testing::PrintToString(text));
  expectEqualityAgrees(buffer, content, text);
  expectEndsAgree(buffer, content, text);
  expectSearchAgrees(buffer, content, text);
}

TEST(CompareReference, AgreesOnAllSmallContentsAndTexts) {
  const std::vector<std::string> texts = allStrings("aAb", 3);
  for (const std::string& content : allStrings("aAb\0"s, 3)) {
    const Holding buffer(content);
    expectAllAgree(*buffer, content, nullptr);
    for (const std::string& text : texts) expectAllAgree(*buffer, content, text.c_str());
    if (HasFailure()) return;
  }
}

TEST(CompareReference, AgreesWhenACallerOverwroteTheTerminator) {
  const std::vector<std::string> texts = allStrings("aA", 3);
  for (const std::string& content : allStrings("aA\0"s, 3)) {
    StringBuffer buffer;
    harness::fillUnterminated(buffer, content, 'a');
    expectAllAgree(buffer, content, nullptr);
    for (const std::string& text : texts) expectAllAgree(buffer, content, text.c_str());
    if (HasFailure()) return;
  }
}

TEST(CompareReference, AgreesOnRandomTexts) {
  for (unsigned int seed = 1; seed <= 300; ++seed) {
    const std::string content = randomText(seed, seed % 200, "abAB\xE1\xC1@`"s);
    const std::string text = randomText(seed + 1000, seed % 5, "abAB\xE1\xC1@`"s);
    const Holding buffer(content);
    expectAllAgree(*buffer, content, text.c_str());
    expectAllAgree(*buffer, content, content.c_str() + content.size() / 2);
    expectAllAgree(*buffer, content, content.substr(0, content.size() / 2).c_str());
    if (HasFailure()) return;
  }
}

TEST(CompareReference, AgreesOnEveryPairOfBytes) {
  for (int a = 0; a < 256; ++a) {
    const std::string content = oneByte(a);
    const Holding buffer(content);
    for (int b = 1; b < 256; ++b) {
      const std::string text = oneByte(b);
      expectEqualityAgrees(*buffer, content, text.c_str());
      EXPECT_EQ(buffer->beginsWithIgnoreCase(text.c_str()),
                reference::beginsWith(content, text.c_str(), true));
      EXPECT_EQ(buffer->endsWithIgnoreCase(text.c_str()),
                reference::endsWith(content, text.c_str(), true));
      EXPECT_EQ(buffer->indexOfNoCase(text.c_str()),
                reference::indexOf(content, text.c_str(), true));
    }
    if (HasFailure()) return;
  }
}

TEST(CompareReference, AgreesOnPrefixesOfCountedLength) {
  const std::vector<std::string> texts = allStrings("aA\0"s, 3);
  for (const std::string& content : allStrings("aA\0"s, 3)) {
    const Holding buffer(content);
    for (const std::string& text : texts) {
      for (unsigned int n = 0; n <= text.size() + 1; ++n) {
        SCOPED_TRACE(testing::PrintToString(content) + " and " + testing::PrintToString(text));
        EXPECT_EQ(buffer->beginsWithN(text.c_str(), n),
                  reference::beginsWithN(content, text.c_str(), n, false));
        EXPECT_EQ(buffer->beginsWithIgnoreCaseN(text.c_str(), n),
                  reference::beginsWithN(content, text.c_str(), n, true));
      }
    }
    if (HasFailure()) return;
  }
}

TEST(CompareReference, AgreesOnPairsOfBuffers) {
  const std::vector<std::string> contents = allStrings("aA\0"s, 4);
  for (const std::string& left : contents) {
    const Holding a(left);
    for (const std::string& right : contents) {
      const Holding b(right);
      SCOPED_TRACE(testing::PrintToString(left) + " and " + testing::PrintToString(right));
      EXPECT_EQ(a->equals(*b), reference::equalsContent(left, right, false));
      EXPECT_EQ(a->equalsIgnoreCase(*b), reference::equalsContent(left, right, true));
    }
    if (HasFailure()) return;
  }
}

TEST(CompareReference, AgreesOnWildcardPatterns) {
  const std::vector<std::string> patterns = allStrings("aA*?", 4);
  for (const std::string& content : allStrings("aAb\0"s, 3)) {
    const Holding buffer(content);
    for (const std::string& pattern : patterns) {
      for (const bool caseSensitive : {false, true}) {
        EXPECT_EQ(buffer->matches(pattern.c_str(), caseSensitive),
                  reference::matches(content, pattern.c_str(), caseSensitive))
            << testing::PrintToString(content) << " and " << pattern << ", " << caseSensitive;
      }
    }
    if (HasFailure()) return;
  }
}

// --- Equality and order ------------------------------------------------------------------------

TEST(Compare, AnEmptyBufferEqualsNullAndTheEmptyText) {
  const Holding empty("");
  EXPECT_TRUE(empty->equals(nullptr));
  EXPECT_TRUE(empty->equals(""));
  EXPECT_TRUE(empty->equalsIgnoreCase(nullptr));
  EXPECT_TRUE(empty->equalsIgnoreCase(""));
}

TEST(Compare, ABufferWithContentEqualsNeitherNullNorTheEmptyText) {
  const Holding a("a");
  EXPECT_FALSE(a->equals(nullptr));
  EXPECT_FALSE(a->equals(""));
  EXPECT_FALSE(a->equalsIgnoreCase(nullptr));
  EXPECT_FALSE(a->equalsIgnoreCase(""));
}

TEST(Compare, NullAsksForTheLengthAndAnEmptyTextForTheText) {
  const Holding nul("\0abc"s);
  EXPECT_FALSE(nul->equals(nullptr));
  EXPECT_TRUE(nul->equals(""));
  EXPECT_FALSE(nul->equalsIgnoreCase(nullptr));
  EXPECT_TRUE(nul->equalsIgnoreCase(""));
}

TEST(Compare, BuffersAreComparedUpToTheirFirstNulNotByteByByte) {
  EXPECT_TRUE(Holding("ab\0c"s)->equals(*Holding("ab\0d"s)));
  EXPECT_TRUE(Holding("ab\0c"s)->equalsIgnoreCase(*Holding("AB\0d"s)));
  EXPECT_TRUE(Holding("\0c"s)->equals(*Holding("\0d"s)));
  EXPECT_FALSE(Holding("ab\0c"s)->equals(*Holding("ab"s)));
  EXPECT_FALSE(Holding("ab\0c"s)->equalsIgnoreCase(*Holding("ab"s)));
  EXPECT_FALSE(Holding("ab\0c"s)->equals(*Holding("abc\0"s)));
}

TEST(Compare, ABufferEqualsItself) {
  for (const std::string& content : {""s, "ab"s, "ab\0c"s, std::string(300, 'x')}) {
    const Holding buffer(content);
    EXPECT_TRUE(buffer->equals(*buffer));
    EXPECT_TRUE(buffer->equalsIgnoreCase(*buffer));
  }
}

struct CountedCase {
  std::string content;
  const char* text;
  unsigned int n;
  bool equal;
};

TEST(Compare, EqualsIgnoreCase2TestsTheLengthFirstAndThenTheText) {
  const std::vector<CountedCase> cases = {
      {"", nullptr, 0, true},  {"", "", 0, false},         {"", "a", 0, false},
      {"", nullptr, 1, false}, {"a", nullptr, 1, false},   {"a", nullptr, 0, false},
      {"a", "a", 0, false},    {"a", "A", 1, true},        {"a", "A", 2, false},
      {"ab", "AB", 2, true},   {"ab", "ABc", 2, false},    {"ab", "A", 2, false},
      {"ab", "abc", 3, false}, {"ab\0c"s, "AB", 4, true},  {"ab\0c"s, "AB", 2, false},
      {"\0"s, "", 1, true},    {"\xC9", "\xE9", 1, false},
  };
  for (const CountedCase& c : cases)
    EXPECT_EQ(Holding(c.content)->equalsIgnoreCase2(c.text, c.n), c.equal)
        << testing::PrintToString(c.content) << " " << testing::PrintToString(c.text) << " " << c.n;
}

// The array ends where the reading has to.
TEST(Compare, EqualsIgnoreCase2ReadsNoMoreThanOneByteBeyondTheCount) {
  for (const std::string& content : {"a"s, "abcdefg"s, std::string(200, 'q')}) {
    const std::size_t n = content.size();
    const std::unique_ptr<char[]> text(new char[n + 1]);
    content.copy(text.get(), n);
    text[n] = 'x';
    const Holding buffer(content);
    EXPECT_FALSE(buffer->equalsIgnoreCase2(text.get(), static_cast<unsigned int>(n)));
    text[n] = '\0';
    EXPECT_TRUE(buffer->equalsIgnoreCase2(text.get(), static_cast<unsigned int>(n)));
  }
}

TEST(Compare, OrderIsThatOfUnsignedBytes) {
  EXPECT_GT(Holding("\xE9")->compare("z"), 0);
  EXPECT_LT(Holding("z")->compare("\xE9"), 0);
  EXPECT_GT(Holding("\xE9")->compareNoCase("z"), 0);
  EXPECT_LT(Holding("B")->compare("a"), 0);
  EXPECT_GT(Holding("B")->compareNoCase("a"), 0);
  EXPECT_LT(Holding("ab")->compare("abc"), 0);
  EXPECT_GT(Holding("abc")->compare("ab"), 0);
  EXPECT_EQ(Holding("aBc")->compareNoCase("AbC"), 0);
  EXPECT_EQ(Holding("ab\0c"s)->compare("ab"), 0);
}

TEST(Compare, CompareWithNullIsCompareWithTheEmptyText) {
  EXPECT_EQ(Holding("")->compare(nullptr), 0);
  EXPECT_EQ(Holding("")->compareNoCase(nullptr), 0);
  EXPECT_GT(Holding("a")->compare(nullptr), 0);
  EXPECT_GT(Holding("a")->compareNoCase(nullptr), 0);
  EXPECT_EQ(Holding("\0a"s)->compare(nullptr), 0);
}

// --- Prefixes and suffixes ---------------------------------------------------------------------

TEST(Compare, NullIsNeitherPrefixNorSuffixNorPart) {
  for (const std::string& content : {""s, "abc"s}) {
    const Holding buffer(content);
    EXPECT_FALSE(buffer->beginsWith(nullptr));
    EXPECT_FALSE(buffer->beginsWithIgnoreCase(nullptr));
    EXPECT_FALSE(buffer->endsWith(nullptr));
    EXPECT_FALSE(buffer->endsWithIgnoreCase(nullptr));
    EXPECT_FALSE(buffer->containsSubstring(nullptr));
    EXPECT_FALSE(buffer->containsSubstringNoCase(nullptr));
    EXPECT_FALSE(buffer->containsAnyOf(nullptr));
    EXPECT_FALSE(buffer->matches(nullptr, true));
    EXPECT_FALSE(buffer->matches(nullptr, false));
    EXPECT_EQ(buffer->indexOf(nullptr), -1);
    EXPECT_EQ(buffer->indexOfNoCase(nullptr), -1);
    EXPECT_EQ(buffer->findSubstr(nullptr), nullptr);
  }
}

TEST(Compare, TheEmptyTextIsPrefixSuffixAndPartOfEveryContent) {
  for (const std::string& content : {""s, "abc"s, "\0a"s, "a\0"s}) {
    const Holding buffer(content);
    EXPECT_TRUE(buffer->beginsWith(""));
    EXPECT_TRUE(buffer->beginsWithIgnoreCase(""));
    EXPECT_TRUE(buffer->endsWith(""));
    EXPECT_TRUE(buffer->endsWithIgnoreCase(""));
    EXPECT_TRUE(buffer->containsSubstring(""));
    EXPECT_TRUE(buffer->containsSubstringNoCase(""));
    EXPECT_EQ(buffer->indexOf(""), 0);
    EXPECT_EQ(buffer->indexOfNoCase(""), 0);
    EXPECT_EQ(buffer->findSubstr(""), buffer->getString());
  }
}

struct PrefixCase {
  std::string content;
  const char* text;
  unsigned int n;
  bool exact;
  bool ignoringCase;
};

TEST(Compare, BeginsWithNComparesUpToTheCountOrANulThatBothHave) {
  const std::vector<PrefixCase> cases = {
      {"", nullptr, 0, false, false},
      {"abc", nullptr, 0, false, false},
      {"abc", nullptr, 2, false, false},
      {"", "x", 0, true, true},
      {"abc", "x", 0, true, true},
      {"abc", "abX", 2, true, true},
      {"abc", "abX", 3, false, false},
      {"abc", "ABX", 2, false, true},
      {"abc", "abc", 100, true, true},
      {"abc", "ABC", 4294967295U, false, true},
      {"abc", "abc", 4294967295U, true, true},
      {"abc", "abcd", 3, true, true},
      {"abc", "abcd", 4, false, false},
      {"abc", "ab", 3, false, false},
      {"ab\0c"s, "ab\0d", 4, true, true},
      {"ab\0c"s, "AB\0d", 4, false, true},
      {"", "", 5, true, true},
      {"\xC9", "\xE9", 1, false, false},
  };
  for (const PrefixCase& c : cases) {
    const Holding buffer(c.content);
    EXPECT_EQ(buffer->beginsWithN(c.text, c.n), c.exact) << c.content << " " << c.n;
    EXPECT_EQ(buffer->beginsWithIgnoreCaseN(c.text, c.n), c.ignoringCase)
        << c.content << " " << c.n;
  }
}

TEST(Compare, BeginsWithNReadsNoMoreThanTheCount) {
  const std::string content(200, 'q');
  const Holding buffer(content);
  for (const std::size_t n : {1U, 7U, 100U, 200U}) {
    const std::unique_ptr<char[]> text(new char[n]);
    content.copy(text.get(), n);
    EXPECT_TRUE(buffer->beginsWithN(text.get(), static_cast<unsigned int>(n)));
    EXPECT_TRUE(buffer->beginsWithIgnoreCaseN(text.get(), static_cast<unsigned int>(n)));
  }
}

TEST(Compare, EndsWithTakesTheEndOfTheContentNotOfTheText) {
  EXPECT_TRUE(Holding("x\0abc"s)->endsWith("abc"));
  EXPECT_TRUE(Holding("x\0abc"s)->endsWithIgnoreCase("ABC"));
  EXPECT_FALSE(Holding("abc\0x"s)->endsWith("abc"));
  EXPECT_FALSE(Holding("bc")->endsWith("abc"));
  EXPECT_TRUE(Holding("abc")->endsWith("abc"));
  EXPECT_FALSE(Holding("abcabd")->endsWith("abc"));
}

TEST(Compare, ANulInsideTheComparedEndMakesEndsWithFail) {
  EXPECT_FALSE(Holding("xab\0c"s)->endsWith("abc"));
  EXPECT_FALSE(Holding("ab\0"s)->endsWith("ab"));
  EXPECT_FALSE(Holding("ab\0"s)->endsWithIgnoreCase("ab"));
  EXPECT_FALSE(Holding("ab\0"s)->endsWith("b"));
}

// --- Search ------------------------------------------------------------------------------------

TEST(Compare, IndexOfIsTheOffsetOfTheFirstMatchOrMinusOne) {
  const Holding buffer("one two one TWO");
  EXPECT_EQ(buffer->indexOf("one"), 0);
  EXPECT_EQ(buffer->indexOf("two"), 4);
  EXPECT_EQ(buffer->indexOf("TWO"), 12);
  EXPECT_EQ(buffer->indexOf("three"), -1);
  EXPECT_EQ(buffer->indexOfNoCase("TWO"), 4);
  EXPECT_EQ(buffer->indexOfNoCase("Three"), -1);
  EXPECT_EQ(Holding("x\xC9")->indexOfNoCase("\xE9"), -1);
  EXPECT_EQ(Holding("x\xC9")->indexOfNoCase("\xC9"), 1);
}

TEST(Compare, SearchStopsAtTheFirstNul) {
  const Holding buffer("ab\0cd"s);
  EXPECT_FALSE(buffer->containsSubstring("cd"));
  EXPECT_FALSE(buffer->containsSubstringNoCase("CD"));
  EXPECT_EQ(buffer->indexOf("cd"), -1);
  EXPECT_EQ(buffer->findSubstr("cd"), nullptr);
  EXPECT_FALSE(buffer->containsChar('c'));
  EXPECT_TRUE(buffer->containsChar('b'));
  EXPECT_TRUE(buffer->matches("ab", true));
  EXPECT_FALSE(buffer->matches("*d", true));
}

TEST(Compare, FindSubstrPointsIntoTheContent) {
  StringBuffer buffer("key=value");
  char* found = buffer.findSubstr("value");
  ASSERT_EQ(found, buffer.getString() + 4);
  *found = 'V';
  EXPECT_TRUE(buffer.equals("key=Value"));
}

TEST(Compare, ContainsCharFindsEveryByteButNul) {
  const std::string bytes = allBytes().substr(1);
  const Holding all(bytes);
  EXPECT_FALSE(all->containsChar('\0'));
  EXPECT_FALSE(Holding("a\0b"s)->containsChar('\0'));
  for (int b = 1; b < 256; ++b) {
    std::string without = bytes;
    without.erase(without.find(static_cast<char>(b)), 1);
    EXPECT_TRUE(all->containsChar(static_cast<char>(b))) << b;
    EXPECT_FALSE(Holding(without)->containsChar(static_cast<char>(b))) << b;
    EXPECT_FALSE(Holding("")->containsChar(static_cast<char>(b))) << b;
  }
}

TEST(Compare, FindLastCharLooksAtTheWholeContentNulsIncluded) {
  const std::string bytes = allBytes() + "!" + allBytes();
  const Holding buffer(bytes);
  for (int b = 0; b < 256; ++b) {
    const char c = static_cast<char>(b);
    EXPECT_EQ(buffer->findLastChar(c), buffer->getString() + bytes.rfind(c)) << b;
    EXPECT_EQ(Holding("")->findLastChar(c), nullptr) << b;
  }
  EXPECT_EQ(Holding("abc")->findLastChar('x'), nullptr);
  EXPECT_EQ(Holding("abc")->findLastChar('\0'), nullptr);
  const Holding first("abc");
  EXPECT_EQ(first->findLastChar('a'), first->getString());
}

TEST(Compare, CharAtGivesEveryByteOfTheContentAndZeroBehindIt) {
  const std::string bytes = allBytes() + "x";
  const Holding buffer(bytes);
  for (unsigned int i = 0; i < bytes.size(); ++i) EXPECT_EQ(buffer->charAt(i), bytes[i]) << i;
  EXPECT_EQ(buffer->charAt(buffer->getSize()), '\0');
  EXPECT_EQ(buffer->charAt(buffer->getSize() + 1), '\0');
  EXPECT_EQ(buffer->charAt(4294967295U), '\0');
  EXPECT_EQ(Holding("")->charAt(0), '\0');
  StringBuffer cut("abcd");
  cut.chopAt(2);
  EXPECT_EQ(cut.charAt(3), '\0');
}

TEST(Compare, LastCharIsTheLastByteOfTheContent) {
  EXPECT_EQ(Holding("")->lastChar(), '\0');
  EXPECT_EQ(Holding("ab\0c"s)->lastChar(), 'c');
  EXPECT_EQ(Holding("ab\0"s)->lastChar(), '\0');
  for (int b = 0; b < 256; ++b)
    EXPECT_EQ(Holding("a" + oneByte(b))->lastChar(), static_cast<char>(b));
}

TEST(Compare, CountCharOccurancesNeverCountsAByteOf0x80AndAbove) {
  const std::string bytes = allBytes() + allBytes() + "x";
  const Holding buffer(bytes);
  for (int b = 0; b < 256; ++b) {
    const unsigned int expected = b == 'x' ? 3 : b < 0x80 ? 2 : 0;
    EXPECT_EQ(buffer->countCharOccurances(static_cast<char>(b)), expected) << b;
  }
  EXPECT_EQ(Holding("\xE9\xE9")->countCharOccurances('\xE9'), 0U);
  EXPECT_EQ(Holding("")->countCharOccurances('\0'), 0U);
}

TEST(Compare, CountCharOccurancesWalksTheLength) {
  EXPECT_EQ(Holding("banana")->countCharOccurances('a'), 3U);
  EXPECT_EQ(Holding("ba\0na\0na"s)->countCharOccurances('a'), 3U);
  EXPECT_EQ(Holding("ba\0na\0na"s)->countCharOccurances('\0'), 2U);
}

TEST(Compare, MatchesPassesItsFlagOn) {
  const Holding buffer("Report.TXT");
  EXPECT_TRUE(buffer->matches("Rep*.T?T", true));
  EXPECT_FALSE(buffer->matches("rep*.txt", true));
  EXPECT_TRUE(buffer->matches("rep*.txt", false));
  EXPECT_FALSE(buffer->matches("Rep*.TX", true));
  EXPECT_FALSE(buffer->matches("", true));
  EXPECT_TRUE(Holding("")->matches("", true));
  EXPECT_TRUE(Holding("")->matches("**", true));
  EXPECT_FALSE(Holding("")->matches("?", true));
}

// --- Byte classes ------------------------------------------------------------------------------

bool isAsciiLetter(int b) { return (b >= 'A' && b <= 'Z') || (b >= 'a' && b <= 'z'); }
bool isDigit(int b) { return b >= '0' && b <= '9'; }
bool isLatin1Letter(int b) { return b >= 0xC0 && b != 0xD7 && b != 0xF7; }

using ByteClass = std::function<bool(int)>;
using Question = std::function<bool(const StringBuffer&)>;

struct AllOfCase {
  const char* name;
  char member;
  ByteClass inClass;
  Question question;
};

std::vector<AllOfCase> allOfCases() {
  return {
      {"is7bit", 'a', [](int b) { return b < 0x80; },
       [](const StringBuffer& s) { return s.is7bit(0); }},
      {"is7bitAlpha", 'a', isAsciiLetter, [](const StringBuffer& s) { return s.is7bitAlpha(0); }},
      {"allWhitespace", ' ', [](int b) { return b == 32 || b == 9 || b == 10 || b == 13; },
       [](const StringBuffer& s) { return s.allWhitespace(); }},
      {"isDecimalNumber", '5', isDigit, [](const StringBuffer& s) { return s.isDecimalNumber(); }},
      {"isAllCaps", 'A', [](int b) { return b < 'a' || b > 'z'; },
       [](const StringBuffer& s) { return s.isAllCaps(); }},
  };
}

// Each byte value alone, at the start, in the middle and at the end of a content of members.
TEST(CompareClasses, EveryByteOfTheContentMustBelong) {
  for (const AllOfCase& c : allOfCases()) {
    EXPECT_TRUE(c.question(*Holding(""))) << c.name;
    const std::string members(90, c.member);
    for (int b = 0; b < 256; ++b) {
      for (const std::size_t at : {0U, 1U, 45U, 89U}) {
        std::string content = members;
        content[at] = static_cast<char>(b);
        EXPECT_EQ(c.question(*Holding(content)), c.inClass(b)) << c.name << " " << b << " " << at;
      }
      EXPECT_EQ(c.question(*Holding(oneByte(b))), c.inClass(b)) << c.name << " " << b;
    }
  }
}

TEST(CompareClasses, TheyWalkTheLengthNotTheText) {
  EXPECT_FALSE(Holding("a\0\xE9"s)->is7bit(0));
  EXPECT_TRUE(Holding("a\0b"s)->is7bit(0));
  EXPECT_FALSE(Holding("a\0b"s)->is7bitAlpha(0));
  EXPECT_FALSE(Holding(" \0 "s)->allWhitespace());
  EXPECT_TRUE(Holding("a\0b"s)->containsAnyOf("xb"));
  EXPECT_TRUE(Holding("a\0b"s)->containsCharInRange('b', 'b'));
  EXPECT_FALSE(Holding("1\0"
                       "2"s)
                   ->isDecimalNumber());
  EXPECT_FALSE(Holding("A\0b"s)->isAllCaps());
  EXPECT_TRUE(Holding("A\0B"s)->isAllCaps());
}

TEST(CompareClasses, TheLimitBoundsWhatIsExamined) {
  const unsigned int wholeLimits[] = {0, 4, 5, 100, 4294967295U};
  const Holding foreign("abc\xE9");
  for (const unsigned int limit : {1U, 2U, 3U}) {
    EXPECT_TRUE(foreign->is7bit(limit)) << limit;
    EXPECT_TRUE(foreign->is7bitAlpha(limit)) << limit;
  }
  for (const unsigned int limit : wholeLimits) {
    EXPECT_FALSE(foreign->is7bit(limit)) << limit;
    EXPECT_FALSE(foreign->is7bitAlpha(limit)) << limit;
    EXPECT_TRUE(Holding("abcd")->is7bit(limit)) << limit;
    EXPECT_TRUE(Holding("abcd")->is7bitAlpha(limit)) << limit;
    EXPECT_TRUE(Holding("")->is7bit(limit)) << limit;
    EXPECT_TRUE(Holding("")->is7bitAlpha(limit)) << limit;
  }
}

TEST(CompareClasses, TheLimitIsExactAtEveryLength) {
  for (unsigned int good = 0; good < 40; ++good) {
    const std::string content = std::string(good, 'a') + "\xE9" + std::string(20, 'a');
    const Holding buffer(content);
    if (good > 0) {
      EXPECT_TRUE(buffer->is7bit(good)) << good;
      EXPECT_TRUE(buffer->is7bitAlpha(good)) << good;
    }
    EXPECT_FALSE(buffer->is7bit(good + 1)) << good;
    EXPECT_FALSE(buffer->is7bitAlpha(good + 1)) << good;
  }
}

TEST(CompareClasses, ContainsAnyOfFindsEveryByteOfTheSet) {
  EXPECT_FALSE(Holding("abc")->containsAnyOf(""));
  EXPECT_FALSE(Holding("")->containsAnyOf("abc"));
  EXPECT_FALSE(Holding("a\0b"s)->containsAnyOf("\0b"));
  EXPECT_FALSE(Holding("a\0b"s)->containsAnyOf("x"));
  for (int b = 1; b < 256; ++b) {
    const std::string set = oneByte(b);
    std::string others = allBytes();
    others.erase(static_cast<std::size_t>(b), 1);
    EXPECT_TRUE(Holding("\0\0"s + set)->containsAnyOf(set.c_str())) << b;
    EXPECT_FALSE(Holding(others)->containsAnyOf(set.c_str())) << b;
    EXPECT_EQ(Holding("\xE9")->containsAnyOf(("!" + set).c_str()), b == 0xE9) << b;
  }
}

TEST(CompareClasses, ContainsCharInRangeComparesUnsignedBytes) {
  const int bounds[] = {0, 1, 'a', 'b', 0x7F, 0x80, 0x81, 0xE9, 0xFE, 0xFF};
  for (int b = 0; b < 256; ++b) {
    const Holding buffer(oneByte(b));
    for (const int low : bounds) {
      for (const int high : bounds) {
        EXPECT_EQ(buffer->containsCharInRange(static_cast<char>(low), static_cast<char>(high)),
                  low <= b && b <= high)
            << low << " " << b << " " << high;
      }
    }
  }
  EXPECT_FALSE(Holding("")->containsCharInRange('\0', '\xFF'));
  EXPECT_TRUE(Holding("abc")->containsCharInRange('c', 'd'));
}

bool isImprobable(int b) {
  return b == 0x81 || b == 0x83 || (b >= 0x85 && b <= 0x8C) || (b >= 0xA4 && b <= 0xA8) ||
         (b >= 0xAA && b <= 0xAD) || b == 0xAF || (b >= 0xB0 && b <= 0xBF);
}

TEST(CompareClasses, CountImprobableAnsiCharsCountsEachHighByte) {
  for (int b = 0; b < 256; ++b) {
    unsigned int high = 77;
    unsigned int improbable = 77;
    Holding("a" + oneByte(b) + "\0"s + oneByte(b))->countImprobableAnsiChars(high, improbable);
    EXPECT_EQ(high, b >= 0x80 ? 2U : 0U) << b;
    EXPECT_EQ(improbable, isImprobable(b) ? 2U : 0U) << b;
  }
}

TEST(CompareClasses, CountImprobableAnsiCharsSetsBothCounts) {
  unsigned int high = 77;
  unsigned int improbable = 77;
  Holding("")->countImprobableAnsiChars(high, improbable);
  EXPECT_EQ(high, 0U);
  EXPECT_EQ(improbable, 0U);
  Holding(allBytes() + allBytes())->countImprobableAnsiChars(high, improbable);
  EXPECT_EQ(high, 256U);
  EXPECT_EQ(improbable, 72U);
}

TEST(CompareClasses, IsAlphaNumericKnowsLatin1AndIgnoresItsNumber) {
  for (int b = 0; b < 256; ++b) {
    const bool expected = isAsciiLetter(b) || isDigit(b) || b == '_' || isLatin1Letter(b);
    for (const int ignored : {-1, 0, 1, 1252})
      EXPECT_EQ(StringBuffer::isAlphaNumeric(ignored, static_cast<char>(b)), expected) << b;
  }
}

TEST(CompareClasses, IsCidCharAllowsElevenPunctuationMarks) {
  const std::string punctuation = "!%&-./:;?@_";
  for (int b = 0; b < 256; ++b) {
    const bool marked = punctuation.find(static_cast<char>(b)) != std::string::npos;
    const bool expected = isAsciiLetter(b) || isDigit(b) || marked || isLatin1Letter(b);
    EXPECT_EQ(StringBuffer::isCidChar(static_cast<char>(b)), expected) << b;
  }
}

// --- What holds for all of them ----------------------------------------------------------------

void askEverything(const StringBuffer& s, const char* text) {
  unsigned int high = 0;
  unsigned int improbable = 0;
  const bool answers[] = {s.equals(text),
                          s.equals(s),
                          s.equalsIgnoreCase(text),
                          s.equalsIgnoreCase(s),
                          s.equalsIgnoreCase2(text, s.getSize()),
                          s.beginsWith(text),
                          s.beginsWithN(text, 2),
                          s.beginsWithIgnoreCase(text),
                          s.beginsWithIgnoreCaseN(text, 2),
                          s.endsWith(text),
                          s.endsWithIgnoreCase(text),
                          s.containsSubstring(text),
                          s.containsSubstringNoCase(text),
                          s.containsChar('y'),
                          s.is7bit(0),
                          s.is7bit(4000),
                          s.is7bitAlpha(0),
                          s.is7bitAlpha(4000),
                          s.allWhitespace(),
                          s.containsAnyOf(text),
                          s.containsCharInRange('0', '9'),
                          s.isDecimalNumber(),
                          s.isAllCaps()};
  const int numbers[] = {s.compare(text),       s.compareNoCase(text), s.indexOf(text),
                         s.indexOfNoCase(text), s.charAt(0),           s.lastChar()};
  s.countImprobableAnsiChars(high, improbable);
  EXPECT_LE(improbable, high);
  EXPECT_LE(s.countCharOccurances('y'), s.getSize());
  EXPECT_EQ(std::size(answers) + std::size(numbers), 29U);
}

TEST(Compare, NothingChangesAndNothingIsAllocated) {
  for (const std::string& content :
       {""s, "abc\0def"s, std::string(81, 'y'), std::string(3000, 'y')}) {
    StringBuffer buffer;
    appendRaw(buffer, content);
    const harness::BufferState before = stateOf(buffer);
    const char* data = buffer.getString();
    {
      const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
      askEverything(buffer, "yy");
      EXPECT_FALSE(buffer.matches("*q", true));
      EXPECT_FALSE(buffer.matches("*Q", false));
      EXPECT_EQ(fail.seen(), 0);
    }
    EXPECT_EQ(stateOf(buffer), before);
    EXPECT_EQ(buffer.getString(), data);
  }
}

TEST(Compare, AnArgumentMayPointIntoTheBuffer) {
  const StringBuffer inlined("abcABCabc");
  const char* data = inlined.getString();
  EXPECT_TRUE(inlined.equals(data));
  EXPECT_FALSE(inlined.equals(data + 3));
  EXPECT_TRUE(inlined.beginsWithN(data + 6, 3));
  EXPECT_TRUE(inlined.beginsWithIgnoreCaseN(data + 3, 6));
  EXPECT_TRUE(inlined.endsWith(data + 6));
  EXPECT_EQ(inlined.indexOf(data + 6), 0);
  EXPECT_EQ(inlined.indexOfNoCase(data + 3), 0);
  EXPECT_EQ(inlined.findSubstr(data + 6), data);
  EXPECT_TRUE(inlined.matches(data, true));
  EXPECT_TRUE(inlined.containsAnyOf(data + 8));
  EXPECT_TRUE(inlined.endsWith(data + 9));
  EXPECT_EQ(inlined.compare(data + 9), inlined.compare(""));
}

TEST(Compare, TheLengthBoundsWhatIsReadFromAnExactBlock) {
  StringBuffer buffer;
  const std::string content(100, 'y');
  harness::fillExactUnterminated(buffer, content, 'y');
  askEverything(buffer, "yy");
  EXPECT_TRUE(buffer.equals(content.c_str()));
  EXPECT_TRUE(buffer.equals(*Holding(content)));
  EXPECT_TRUE(buffer.equalsIgnoreCase2(std::string(100, 'Y').c_str(), 100));
  EXPECT_TRUE(buffer.endsWith("yyy"));
  EXPECT_EQ(buffer.compare(content.c_str()), 0);
  EXPECT_EQ(buffer.compareNoCase(content.c_str()), 0);
  EXPECT_FALSE(buffer.containsSubstring((content + "y").c_str()));
  EXPECT_FALSE(buffer.beginsWithN((content + "y").c_str(), 101));
  EXPECT_TRUE(buffer.beginsWithN(content.c_str(), 101));
}

TEST(Compare, TheLengthBoundsWhatMatchesReads) {
  for (const std::string& content : {""s, "a"s, "ab"s, "b\0a"s}) {
    StringBuffer buffer;
    harness::fillUnterminated(buffer, content, 'a');
    for (const std::string& pattern : allStrings("ab*?", 3)) {
      for (const bool caseSensitive : {false, true})
        EXPECT_EQ(buffer.matches(pattern.c_str(), caseSensitive),
                  reference::matches(content, pattern.c_str(), caseSensitive))
            << testing::PrintToString(content) << " and " << pattern;
    }
  }
  StringBuffer exact;
  harness::fillExactUnterminated(exact, std::string(100, 'y'), 'y');
  EXPECT_TRUE(exact.matches(std::string(100, '?').c_str(), true));
  EXPECT_FALSE(exact.matches("*x", false));
}

TEST(Compare, AfterReleaseBufferOnlyTheInlineArrayIsRead) {
  StringBuffer buffer;
  harness::releaseWithStaleLength(buffer, 'y');
  askEverything(buffer, "yy");
  EXPECT_EQ(buffer.charAt(4999), '\0');
  EXPECT_LE(buffer.countCharOccurances('y'), 81U);
  EXPECT_FALSE(buffer.matches(std::string(82, '?').c_str(), true));
  EXPECT_FALSE(buffer.containsSubstring(std::string(82, 'y').c_str()));
  buffer.clear();
}

TEST(Compare, HostileTextsTakeLinearTime) {
  const std::string content(1 << 20, 'a');
  const Holding buffer(content);
  const std::string needle = std::string(1 << 19, 'a') + "b";
  const std::string set = std::string(1 << 19, 'b');
  const double seconds = secondsOf([&] {
    EXPECT_EQ(buffer->indexOf(needle.c_str()), -1);
    EXPECT_EQ(buffer->indexOfNoCase(needle.c_str()), -1);
    EXPECT_FALSE(buffer->containsAnyOf(set.c_str()));
    EXPECT_FALSE(buffer->matches("*a*a*a*a*a*a*a*a*a*a*a*a*b", true));
    EXPECT_FALSE(buffer->matches("*a*a*a*a*a*a*a*a*a*a*a*a*b", false));
  });
  EXPECT_LT(seconds, 8.0);
}

}  // namespace
