// The lexer of text/Tokenize.cpp.

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/ModelBuffer.h"
#include "harness/StaleStorage.h"
#include "harness/Stopwatch.h"
#include "harness/TokenizeReference.h"
#include "support/ExtPtrArray.h"

namespace {

using namespace std::string_literals;
namespace reference = harness::reference::tokenizing;
using harness::allStrings;
using harness::appendRaw;
using harness::bytesOf;
using harness::holds;
using harness::randomText;
using harness::secondsOf;
using harness::stateOf;
using reference::Pieces;
using Texts = std::vector<std::string>;

constexpr const char* kCppPunctuation = "*;(){}&+=[],!~";

// A byte that can stand in a punctuation set and its set.
std::string setOf(int byte) { return std::string(1, static_cast<char>(byte)); }

StringBuffer* tokenAt(const ExtPtrArray& array, int index) {
  return static_cast<StringBuffer*>(array.elementAt(index));
}

Texts contentsOf(const ExtPtrArray& array) {
  Texts texts;
  for (int i = 0; i < array.getSize(); ++i) texts.push_back(bytesOf(*tokenAt(array, i)));
  return texts;
}

// Compares the tokens from `first` on, with their storage.
testing::AssertionResult arrayHolds(const ExtPtrArray& array, int first, const Pieces& tokens) {
  const auto count = static_cast<std::size_t>(array.getSize() - first);
  if (count != tokens.size())
    return testing::AssertionFailure() << count << " tokens instead of " << tokens.size();
  for (std::size_t i = 0; i < count; ++i) {
    StringBuffer* token = tokenAt(array, first + static_cast<int>(i));
    if (token == nullptr) return testing::AssertionFailure() << "token " << i << " is null";
    const testing::AssertionResult same =
        holds(*token, tokens[i].content, tokens[i].storage.capacity, tokens[i].storage.extendSize);
    if (!same) return testing::AssertionFailure() << "token " << i << ": " << same.message();
  }
  return testing::AssertionSuccess();
}

// Both methods beside their slow reference. The buffer and what the array held before stay.
testing::AssertionResult agrees(StringBuffer& buffer, const char* punctuation) {
  const std::string content = bytesOf(buffer);
  const std::string set(punctuation == nullptr ? "" : punctuation);
  const harness::BufferState before = stateOf(buffer);
  ExtPtrArray out;
  StringBuffer* kept = StringBuffer::createNewSB("kept");
  out.appendPtr(kept);
  buffer.tokenize(out, punctuation);
  const unsigned int count = buffer.tokenCount(punctuation);
  if (!(stateOf(buffer) == before)) return testing::AssertionFailure() << "the buffer has changed";
  if (tokenAt(out, 0) != kept || !holds(*kept, "kept"))
    return testing::AssertionFailure() << "the array's earlier content has changed";
  if (count != reference::tokenCount(content, set))
    return testing::AssertionFailure()
           << "counts " << count << " in " << testing::PrintToString(content.substr(0, 200));
  const testing::AssertionResult same = arrayHolds(out, 1, reference::tokenize(content, set));
  if (same) return same;
  return testing::AssertionFailure() << testing::PrintToString(content.substr(0, 200)) << " with "
                                     << testing::PrintToString(set) << ": " << same.message();
}

testing::AssertionResult agrees(const std::string& content, const char* punctuation) {
  StringBuffer buffer;
  appendRaw(buffer, content);
  return agrees(buffer, punctuation);
}

struct TokenCase {
  const char* punctuation;
  std::string content;
  Texts tokens;
  unsigned int count;
};

void expectTokens(const std::vector<TokenCase>& cases) {
  for (const TokenCase& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    ExtPtrArray out;
    buffer.tokenize(out, c.punctuation);
    EXPECT_EQ(contentsOf(out), c.tokens) << testing::PrintToString(c.content);
    EXPECT_EQ(buffer.tokenCount(c.punctuation), c.count) << testing::PrintToString(c.content);
    EXPECT_TRUE(agrees(buffer, c.punctuation));
  }
}

// --- Beside the slow reference -----------------------------------------------------------------

TEST(TokenizeReference, AgreesOnAllSmallContents) {
  for (const std::string& content : allStrings("a ;\"\\"s, 5))
    for (const char* punctuation : {"", ";"}) ASSERT_TRUE(agrees(content, punctuation));
  for (const std::string& content : allStrings("a ;\0"s, 4)) ASSERT_TRUE(agrees(content, ";"));
}

TEST(TokenizeReference, AgreesOnAllSmallSets) {
  const std::vector<std::string> contents = allStrings("a ;\"\\", 3);
  for (const std::string& set : allStrings("; \"\\a", 2))
    for (const std::string& content : contents) ASSERT_TRUE(agrees(content, set.c_str()));
}

TEST(TokenizeReference, AgreesOnRandomContents) {
  for (unsigned int seed = 1; seed <= 300; ++seed) {
    ASSERT_TRUE(agrees(randomText(seed, seed % 200, "ab \t\n\r\v;,(\"\\\xE9\0"s), ";,(\xE9"));
    ASSERT_TRUE(agrees(randomText(seed, 20 * seed, "abcdefghijklmnopqrstuvwxyz01234567 ;\"\\"),
                       kCppPunctuation));
  }
}

// Tokens that are inline, just on the heap, one staging block long, several blocks long; a heap
// block with more than 256 bytes to spare is made smaller.
TEST(TokenizeReference, AgreesAtTheStorageBorders) {
  const std::size_t sizes[] = {80,  81,  82,  83,  254, 255, 256, 257, 456, 457, 458,
                               509, 510, 511, 712, 713, 714, 764, 765, 766, 3000};
  for (const std::size_t size : sizes) {
    const std::string word(size, 'x');
    const std::string quoted = "\"" + std::string(size - 2, ' ') + "\"";
    const Texts contents = {word, word + " " + word, ";" + word + ";", quoted + ";" + word + "\n"};
    for (const std::string& content : contents) ASSERT_TRUE(agrees(content, ";"));
  }
}

TEST(Tokenize, ALongTokenIsMinimised) {
  const StringBuffer buffer(std::string(714, 'x').c_str());
  ExtPtrArray out;
  buffer.tokenize(out, "");
  ASSERT_EQ(out.getSize(), 1);
  // Blocks of 255, 255 and 204 bytes: capacities 458, 713 and 1071, of which 356 are unused.
  EXPECT_TRUE(holds(*tokenAt(out, 0), std::string(714, 'x'), 715, 535));
}

// --- The rules ---------------------------------------------------------------------------------

TEST(Tokenize, AnEmptyBufferAddsNothing) {
  expectTokens({{"", "", {}, 0}, {";", "", {}, 0}});
  StringBuffer emptied(std::string(200, 'x').c_str());
  emptied.weakClear();
  EXPECT_TRUE(agrees(emptied, ";"));
}

TEST(Tokenize, AnEmptyTextInABufferThatIsNotEmptyIsOneEmptyToken) {
  expectTokens({{";", "\0"s, {""}, 0}, {";", "\0a;b"s, {""}, 0}});
}

TEST(Tokenize, TheTextEndsAtItsFirstNul) {
  expectTokens({{";", "a;b\0c;d"s, {"a", ";", "b"}, 2},
                {";", "a;\0c"s, {"a", ";", ""}, 1},
                {";", "\"a\0\""s, {"\"a"}, 1}});
}

TEST(Tokenize, WhiteSpaceSeparatesAndMakesNoTokens) {
  expectTokens({{"", "  a  b", {"a", "b"}, 2},
                {"", "a\tb\nc\rd e", {"a", "b", "c", "d", "e"}, 5},
                {"", "a \t\r\n b", {"a", "b"}, 2},
                {"", "a\vb\fc", {"a\vb\fc"}, 1}});
}

TEST(Tokenize, TextThatEndsWithWhiteSpaceOrPunctuationHasAnEmptyLastToken) {
  expectTokens({{"", "a b ", {"a", "b", ""}, 2},
                {"", " ", {""}, 0},
                {"", "\r\n", {""}, 0},
                {";", "a;", {"a", ";", ""}, 1},
                {";", ";", {";", ""}, 0},
                {";", ";;", {";", ";", ""}, 0},
                {";", "; ", {";", ""}, 0}});
}

TEST(Tokenize, EachPunctuationByteIsATokenOfItsOwn) {
  expectTokens({{";", "a;b", {"a", ";", "b"}, 2},
                {";,", ",;a", {",", ";", "a"}, 1},
                {";", "a ; b", {"a", ";", "b"}, 2},
                {";,", "a;,b", {"a", ";", ",", "b"}, 2}});
}

TEST(Tokenize, WhiteSpaceInThePunctuationSetIsPunctuation) {
  expectTokens({{" ", "a b", {"a", " ", "b"}, 2},
                {"\n", "a \n", {"a", "\n", ""}, 1},
                {" ", "  ", {" ", " ", ""}, 0}});
}

TEST(Tokenize, ANullSetIsAnEmptyOne) {
  expectTokens(
      {{nullptr, "a;b c", {"a;b", "c"}, 2}, {nullptr, "", {}, 0}, {nullptr, " ", {""}, 0}});
  EXPECT_TRUE(agrees("a ;\"b c\" \\ d ", nullptr));
}

TEST(Tokenize, QuotesStayInTheTokenAndHideWhiteSpaceAndPunctuation) {
  expectTokens({{"", "say \"hello world\"", {"say", "\"hello world\""}, 2},
                {";", "\"a;b\";c", {"\"a;b\"", ";", "c"}, 2},
                {";", "x\" ;\"y z", {"x\" ;\"y", "z"}, 2},
                {"", "\"\"", {"\"\""}, 1},
                {"", "\"", {"\""}, 1},
                {";", "a \"b; c ", {"a", "\"b; c "}, 2}});
}

TEST(Tokenize, AnEscapedByteStaysInTheTokenWithItsBackslash) {
  expectTokens({{"", "a\\ b", {"a\\ b"}, 1},
                {";", "a\\;b;c", {"a\\;b", ";", "c"}, 2},
                {"", "a\\\\ b", {"a\\\\", "b"}, 2},
                {"", "a\\\" b", {"a\\\"", "b"}, 2},
                {"", "a\\", {"a\\"}, 1},
                {"", "\\", {"\\"}, 1},
                {"", "\\ ", {"\\ "}, 1}});
}

TEST(Tokenize, ABackslashInsideQuotesEscapesNothing) {
  expectTokens({{"", "\"a\\\" b\"", {"\"a\\\"", "b\""}, 2},
                {";", "\"\\\";x", {"\"\\\"", ";", "x"}, 2},
                {"", "\"\\ ", {"\"\\ "}, 1}});
}

TEST(Tokenize, QuotesAndBackslashesAreNeverPunctuation) {
  expectTokens({{"\"", "a\"b c\"d e", {"a\"b c\"d", "e"}, 2},
                {"\\", "a\\ b\\c", {"a\\ b\\c"}, 1},
                {"\"\\;", "\"\\;", {"\"\\;"}, 1}});
}

TEST(Tokenize, EveryByteCanBePunctuationOrJoinAToken) {
  for (int b = 0; b < 256; ++b) {
    const std::string byte = setOf(b);
    for (const std::string& content :
         {byte, "p" + byte + "q", byte + byte, "\\" + byte + "\"p" + byte + "\" " + byte}) {
      EXPECT_TRUE(agrees(content, byte.c_str())) << b;
      EXPECT_TRUE(agrees(content, "")) << b;
    }
  }
}

TEST(Tokenize, EveryOtherByteIsPunctuationWhenTheSetHoldsThemAll) {
  std::string all;
  for (int b = 1; b < 256; ++b) all += static_cast<char>(b);
  EXPECT_TRUE(agrees(all, all.c_str()));
  EXPECT_TRUE(agrees(all + all, all.substr(127).c_str()));
}

TEST(Tokenize, TheSetEndsAtItsNul) { expectTokens({{";\0,", "a;b,c", {"a", ";", "b,c"}, 2}}); }

TEST(Tokenize, TheSetMayBeThisBuffersOwnText) {
  for (const char* content : {"a b;c", ";; a", "\"a b\" ;"}) {
    StringBuffer buffer(content);
    for (unsigned int at = 0; at <= buffer.getSize(); ++at)
      EXPECT_TRUE(agrees(buffer, buffer.getString() + at)) << content << " from " << at;
  }
}

// --- tokenizeCPP -------------------------------------------------------------------------------

TEST(Tokenize, CppTokensOfACall) {
  const StringBuffer buffer("f(a, b);");
  ExtPtrArray out;
  buffer.tokenizeCPP(out);
  EXPECT_EQ(contentsOf(out), (Texts{"f", "(", "a", ",", "b", ")", ";", ""}));
  EXPECT_EQ(buffer.tokenCount(kCppPunctuation), 3U);
}

TEST(Tokenize, CppPunctuationIsExact) {
  for (int b = 1; b < 256; ++b) {
    const std::string content = "p" + setOf(b) + "q";
    const StringBuffer buffer(content.c_str());
    ExtPtrArray out;
    buffer.tokenizeCPP(out);
    EXPECT_TRUE(arrayHolds(out, 0, reference::tokenize(content, kCppPunctuation))) << b;
  }
}

TEST(Tokenize, CppTokensAgreeWithTokenize) {
  for (unsigned int seed = 1; seed <= 50; ++seed) {
    const std::string content = randomText(seed, 100, "ab *;(){}&+=[],!~<>-\"\\\n");
    const StringBuffer buffer(content.c_str());
    ExtPtrArray out;
    buffer.tokenizeCPP(out);
    ASSERT_TRUE(arrayHolds(out, 0, reference::tokenize(content, kCppPunctuation)));
  }
}

// --- Storage, failure, time --------------------------------------------------------------------

TEST(Tokenize, TheLengthBoundsWhatIsReadWhenTheTerminatorIsOverwritten) {
  for (const char stale : {'x', ' ', ';', '"', '\\'}) {
    for (const std::string& content : {std::string(100, 'a'), std::string(99, 'a') + ";",
                                       std::string(99, 'a') + "\\", "\"" + std::string(99, ' ')}) {
      StringBuffer buffer;
      harness::fillExactUnterminated(buffer, content, stale);
      ExtPtrArray out;
      buffer.tokenize(out, ";");
      EXPECT_TRUE(arrayHolds(out, 0, reference::tokenize(content, ";")));
      EXPECT_EQ(buffer.tokenCount(";"), reference::tokenCount(content, ";"));
    }
  }
}

// Tokens that stay inline share chunks, so that a long text makes few allocations: what was added
// before the failure is a first part of all tokens.
TEST(Tokenize, ExhaustedMemoryEndsTheTokens) {
  StringBuffer buffer;
  for (int i = 0; i < 50; ++i) buffer.append("f(a, \"b c\") + x[1]; ");
  ExtPtrArray complete;
  buffer.tokenizeCPP(complete);
  const Texts all = contentsOf(complete);
  const long blocks = harness::liveBlocks();
  {
    ExtPtrArray out;
    const long points = harness::failEveryAllocation(
        [&] { out.removeAll(); }, [&] { buffer.tokenizeCPP(out); },
        [&] {
          const Texts tokens = contentsOf(out);
          ASSERT_LE(tokens.size(), all.size());
          EXPECT_EQ(tokens, Texts(all.begin(), all.begin() + out.getSize()));
        });
    EXPECT_GE(points, 8);
  }
  EXPECT_EQ(harness::liveBlocks(), blocks);
}

TEST(Tokenize, ExhaustedMemoryInALongTokenCorruptsNothing) {
  const StringBuffer buffer(("a " + std::string(900, 'x') + ";" + std::string(300, 'y')).c_str());
  const long blocks = harness::liveBlocks();
  {
    ExtPtrArray out;
    harness::failEveryAllocation([&] { out.removeAll(); }, [&] { buffer.tokenize(out, ";"); },
                                 [&] {
                                   EXPECT_LE(out.getSize(), 4);
                                   for (int i = 0; i < out.getSize(); ++i) {
                                     ASSERT_NE(tokenAt(out, i), nullptr);
                                     EXPECT_TRUE(harness::invariantsHold(*tokenAt(out, i)));
                                     EXPECT_LE(tokenAt(out, i)->getSize(), 900U);
                                   }
                                 });
  }
  EXPECT_EQ(harness::liveBlocks(), blocks);
}

TEST(Tokenize, CountingAllocatesNothing) {
  const StringBuffer buffer(std::string(1000, ';').c_str());
  const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
  EXPECT_EQ(buffer.tokenCount(","), 1U);
  EXPECT_EQ(fail.seen(), 0);
}

TEST(Tokenize, SecretsDoNotStayInReleasedMemory) {
  StringBuffer buffer;
  buffer.setSecureBuf(true);
  for (int i = 0; i < 9; ++i) buffer.append((std::string(60, 'Z') + " ;").c_str());
  ExtPtrArray out;
  bool leaked = false;
  {
    const harness::WatchReleases watch([&leaked](const unsigned char* block, std::size_t size) {
      const std::string_view bytes(reinterpret_cast<const char*>(block), size);
      leaked = leaked || bytes.find("ZZ") != std::string_view::npos;
    });
    buffer.tokenize(out, ";");
  }
  EXPECT_FALSE(leaked);
  EXPECT_EQ(out.getSize(), 19);
  EXPECT_EQ(buffer.tokenCount(";"), 9U);
}

TEST(Tokenize, HostileContentsTakeLinearTime) {
  const std::size_t size = 1 << 20;
  const std::string words = std::string(size / 2, 'x') + " " + std::string(size / 2, ';');
  const double seconds = secondsOf([&] {
    for (const std::string& content : {std::string(size, ' '), std::string(size, '"'),
                                       std::string(size, '\\'), "\"" + std::string(size, ';')}) {
      const StringBuffer buffer(content.c_str());
      ExtPtrArray out;
      buffer.tokenize(out, ";");
      EXPECT_EQ(out.getSize(), 1);
      EXPECT_EQ(buffer.tokenCount(";"), content[0] == ' ' ? 0U : 1U);
    }
    const StringBuffer buffer(std::string(100000, ';').c_str());
    ExtPtrArray out;
    buffer.tokenize(out, ";");
    EXPECT_EQ(out.getSize(), 100001);
    EXPECT_EQ(StringBuffer(words.c_str()).tokenCount(";"), 1U);
  });
  EXPECT_LT(seconds, 8.0);
}

// ---- Former bugs ----

// Long tokens left what they had outgrown, and what they gave back, in released memory.
using Cut = void (*)(const StringBuffer& buffer, ExtPtrArray& out);

class TokensOfASecret : public testing::TestWithParam<Cut> {};

TEST_P(TokensOfASecret, LeaveNothingBehindHoweverLong) {
  std::string content;
  for (const std::size_t size : {70U, 82U, 255U, 256U, 300U, 511U, 900U, 3000U})
    content += std::string(size, 'Z') + " ;";
  for (long k = 0; k <= 12; ++k) {
    StringBuffer buffer(content.c_str());
    buffer.setSecureBuf(true);
    ExtPtrArray out;
    bool leaked = false;
    {
      const harness::WatchReleases watch([&leaked](const unsigned char* block, std::size_t size) {
        const std::string_view bytes(reinterpret_cast<const char*>(block), size);
        leaked = leaked || bytes.find("ZZ") != std::string_view::npos;
      });
      const harness::FailAllocation fail(k);
      GetParam()(buffer, out);
    }
    EXPECT_FALSE(leaked) << "allocation " << k;
    if (k == 0) {
      EXPECT_TRUE(arrayHolds(out, 0, reference::tokenize(content, ";")));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(EachCutter, TokensOfASecret,
                         testing::Values(
                             +[](const StringBuffer& b, ExtPtrArray& out) { b.tokenize(out, ";"); },
                             +[](const StringBuffer& b, ExtPtrArray& out) { b.tokenizeCPP(out); }));

}  // namespace
