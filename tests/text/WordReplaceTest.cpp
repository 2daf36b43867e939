// Whole-word search and replacement of text/WordReplace.cpp.

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/Allocations.h"
#include "harness/BufferState.h"
#include "harness/ModelBuffer.h"
#include "harness/Operation.h"
#include "harness/Stopwatch.h"
#include "harness/StorageLayout.h"
#include "harness/WordReplaceReference.h"

namespace {

using namespace std::string_literals;
namespace reference = harness::reference;
using harness::agreesOn;
using harness::allStrings;
using harness::appendRaw;
using harness::bytesOf;
using harness::holds;
using harness::inWords;
using harness::ModelBuffer;
using harness::Operation;
using harness::randomText;
using harness::secondsOf;
using harness::Texts;

constexpr std::size_t kMiB = 1048576;
constexpr long kNone = -1;

// --- The members, each beside its slow reference -----------------------------------------------

Operation first(bool extended, int ignored = 0) {
  return {"replaceFirstWordOccurance "s + (extended ? "extended" : "plain"),
          [=](StringBuffer& b, const Texts& t) {
            return inWords(b.replaceFirstWordOccurance(t[0], t[1], ignored, extended));
          },
          [=](ModelBuffer& b, const Texts& t) {
            return inWords(reference::replaceFirstWord(b, t[0], t[1], extended));
          }};
}

Operation all(bool extended, int ignored = 0) {
  return {"replaceAllWordOccurances "s + (extended ? "extended" : "plain"),
          [=](StringBuffer& b, const Texts& t) {
            return inWords(b.replaceAllWordOccurances(t[0], t[1], ignored, extended));
          },
          [=](ModelBuffer& b, const Texts& t) {
            return inWords(reference::replaceAllWords(b, t[0], t[1], true, extended));
          }};
}

Operation allNoCase(int ignored = 0) {
  return {"replaceAllWordOccurancesNoCase",
          [=](StringBuffer& b, const Texts& t) {
            return inWords(b.replaceAllWordOccurancesNoCase(t[0], t[1], ignored));
          },
          [=](ModelBuffer& b, const Texts& t) {
            return inWords(reference::replaceAllWords(b, t[0], t[1], false, false));
          }};
}

std::vector<Operation> members() {
  return {first(false), first(true), all(false), all(true), allNoCase()};
}

// Position of the match, or kNone.
long findAt(const std::string& text, const char* word, bool caseSensitive, bool extended,
            int ignored = 0) {
  const char* found =
      StringBuffer::findWordOnly(text.c_str(), word, ignored, caseSensitive, extended);
  return found == nullptr ? kNone : static_cast<long>(found - text.c_str());
}

long foundByReference(const std::string& text, const std::string& word, bool caseSensitive,
                      bool extended) {
  const std::size_t at =
      reference::findWord(text.c_str(), 0, word.c_str(), caseSensitive, extended);
  return at == std::string::npos ? kNone : static_cast<long>(at);
}

// --- findWordOnly ------------------------------------------------------------------------------

struct FindCase {
  std::string text;
  const char* word;
  bool caseSensitive;
  bool extended;
  long at;
};

TEST(FindWord, FindsTheFirstWholeWord) {
  const std::vector<FindCase> cases = {
      {"cat concat cat", "cat", true, false, 0},
      {"concat cats", "cat", true, false, kNone},
      {"concat cats cat", "cat", true, false, 12},
      {"cats cat", "cat", true, false, 5},
      // a word at the end, and one that is the whole text
      {"the cat", "cat", true, false, 4},
      {"cat", "cat", true, true, 0},
      {"ca", "cat", true, false, kNone},
      {"a cat", "a cat", true, false, 0},
      // letter case
      {"Cat cat", "cat", true, false, 4},
      {"Cat cat", "cat", false, false, 0},
      {"\xE9 \xC9", "\xC9", false, false, 2},
      // the two sets
      {"my_var", "var", true, false, kNone},
      {"my_var", "var", true, true, kNone},
      {"a.b", "b", true, false, 2},
      {"a.b", "b", true, true, kNone},
      {"http://x.org/a?b", "b", true, false, 15},
      {"http://x.org/a?b", "b", true, true, kNone},
      {"(b)", "b", true, true, 1},
      {"a,b", "b", true, true, 2},
      // a letter of Latin-1 beside the word
      {"caf\xE9", "caf", true, false, kNone},
      {"caf\xE9", "caf", true, true, kNone},
      {"caf\xD7", "caf", true, false, 0},
      {"\xF7"s + "caf", "caf", true, true, 1},
      // a search that starts again at a match does not look to the left of it
      {"aaa", "a", true, false, 2},
      {"aa", "a", true, false, 1},
      {"ba", "a", true, false, kNone},
      {"abab", "ab", true, false, kNone},
      {"aaaa", "aa", true, false, 2},
      {"xaa", "a", true, false, 2},
      // words that are no words
      {"a -- b", "--", true, false, 2},
      {"a -- b", " ", true, false, kNone},
      {"a -- b", "- ", true, false, kNone},
      {"a - - b", " ", true, false, 3},
      {". .", " ", true, false, 1},
  };
  for (const FindCase& c : cases) {
    EXPECT_EQ(findAt(c.text, c.word, c.caseSensitive, c.extended), c.at)
        << c.text << ", " << c.word;
    EXPECT_EQ(foundByReference(c.text, c.word, c.caseSensitive, c.extended), c.at) << c.text;
  }
}

TEST(FindWord, NullAndEmptyTextsHoldNothing) {
  for (const bool flag : {false, true}) {
    EXPECT_EQ(StringBuffer::findWordOnly(nullptr, "a", 0, flag, flag), nullptr);
    EXPECT_EQ(StringBuffer::findWordOnly("a", nullptr, 0, flag, flag), nullptr);
    EXPECT_EQ(StringBuffer::findWordOnly(nullptr, nullptr, 0, flag, flag), nullptr);
    EXPECT_EQ(StringBuffer::findWordOnly("", "a", 0, flag, flag), nullptr);
    EXPECT_EQ(StringBuffer::findWordOnly("a", "", 0, flag, flag), nullptr);
    EXPECT_EQ(StringBuffer::findWordOnly("", "", 0, flag, flag), nullptr);
  }
}

// Each byte on the left, on the right and on both sides of a word.
TEST(FindWord, TheSetsAreExact) {
  for (const bool extended : {false, true}) {
    int wordBytes = 0;
    for (int b = 1; b < 256; ++b) {
      const std::string byte(1, static_cast<char>(b));
      const bool isWord = reference::isWordByte(byte[0], extended);
      wordBytes += isWord ? 1 : 0;
      for (const bool caseSensitive : {false, true}) {
        EXPECT_EQ(findAt(" " + byte + "cat ", "cat", caseSensitive, extended), isWord ? kNone : 2)
            << b;
        EXPECT_EQ(findAt("cat" + byte, "cat", caseSensitive, extended), isWord ? kNone : 0) << b;
      }
    }
    EXPECT_EQ(wordBytes, 62 + 62 + (extended ? 11 : 1));
  }
}

TEST(FindWord, TheIgnoredNumberHasNoEffect) {
  for (const int ignored : {-2147483647 - 1, -1, 0, 1, 7, 2147483647}) {
    EXPECT_EQ(findAt("concat cat", "cat", true, false, ignored), 7);
    for (const Operation& member : {first(false, ignored), all(true, ignored), allNoCase(ignored)})
      EXPECT_TRUE(agreesOn(member, "cat concat cat", {"cat", "dog"}));
  }
}

TEST(FindWord, EveryShortTextAgreesWithTheReference) {
  const std::vector<std::string> words = allStrings("aA.", 3);
  for (const std::string& text : allStrings("aA. ", 5)) {
    for (const std::string& word : words) {
      for (const bool caseSensitive : {false, true}) {
        for (const bool extended : {false, true})
          ASSERT_EQ(findAt(text, word.c_str(), caseSensitive, extended),
                    foundByReference(text, word, caseSensitive, extended))
              << testing::PrintToString(text) << ", " << testing::PrintToString(word);
      }
    }
  }
}

TEST(FindWord, LongPeriodicTextsAgreeWithTheReference) {
  for (unsigned int seed = 1; seed <= 400; ++seed) {
    const std::string text = randomText(seed, seed % 120, seed % 3 == 0 ? "ab" : "aaab ");
    const std::string word = text.substr(text.size() / 3, seed % 23);
    for (const bool caseSensitive : {false, true}) {
      ASSERT_EQ(findAt(text, word.c_str(), caseSensitive, false),
                foundByReference(text, word, caseSensitive, false))
          << text << ", " << word;
    }
  }
}

// The text is measured part by part, and a word may lie across the end of a part.
TEST(FindWord, WordsMeetTheEndsOfTheMeasuredParts) {
  for (const std::size_t part : {256U, 1024U, 4096U}) {
    for (std::size_t at = part - 6; at <= part + 3; ++at) {
      const std::string before = std::string(at - 1, '.') + " ";
      for (const char* tail :
           {"", " ", "s", "s word", " word", "\xD7", "_", "word", "words word"}) {
        const std::string text = before + "word" + tail;
        for (const bool caseSensitive : {false, true}) {
          for (const bool extended : {false, true})
            ASSERT_EQ(findAt(text, "word", caseSensitive, extended),
                      foundByReference(text, "word", caseSensitive, extended))
                << at << ", " << tail;
        }
      }
    }
  }
}

TEST(FindWord, LongTextsAgreeWithTheReference) {
  for (unsigned int seed = 1; seed <= 200; ++seed) {
    const std::string text = std::string(seed * 13 % 1100, seed % 2 == 0 ? '.' : 'b') +
                             randomText(seed, 60, "ab ") + std::string(seed * 31 % 5000, 'b') +
                             randomText(seed + 1, 60, "ab ");
    for (const char* word : {"a", "ab", "aa", "b b", "ba a"}) {
      for (const bool flag : {false, true})
        ASSERT_EQ(findAt(text, word, flag, flag), foundByReference(text, word, flag, flag))
            << text << ", " << word;
    }
  }
}

// --- Replacing ---------------------------------------------------------------------------------

struct ReplaceCase {
  Operation member;
  std::string content;
  const char* find;
  const char* replacement;
  std::string result;
  std::string left;
};

TEST(WordReplace, ReplacesWholeWordsOnly) {
  const std::vector<ReplaceCase> cases = {
      {all(false), "a a a", "a", "b", "3", "b b b"},
      {all(false), "cat concat cat", "cat", "dog", "2", "dog concat dog"},
      {all(false), "my_var var", "var", "x", "1", "my_var x"},
      {all(false), "a.b b", "b", "x", "2", "a.x x"},
      {all(true), "a.b b", "b", "x", "1", "a.b x"},
      {allNoCase(), "Cat cat catalog", "CAT", "dog", "2", "dog dog catalog"},
      {allNoCase(), "a.B b", "b", "x", "2", "a.x x"},
      {all(false), "Cat cat", "cat", "dog", "1", "Cat dog"},
      {first(false), "concat cat cat", "cat", "dog", "true", "concat dog cat"},
      {first(false), "Cat cat", "cat", "dog", "true", "Cat dog"},
      {first(true), "a.b b b", "b", "x", "true", "a.b x b"},
      {first(false), "a.b b", "b", "x", "true", "a.x b"},
      {first(false), "concat", "cat", "dog", "false", "concat"},
      {all(false), "concat", "cat", "dog", "0", "concat"},
      {allNoCase(), "concat", "cat", "dog", "0", "concat"},
      // the whole text, and its end
      {all(false), "cat", "cat", "dog", "1", "dog"},
      {first(false), "cat", "cat", "dogs", "true", "dogs"},
      {first(false), "a cat", "cat", "", "true", "a "},
      // the replacement is not searched again
      {all(false), "a a", "a", "a a", "2", "a a a a"},
  };
  for (const ReplaceCase& c : cases) {
    StringBuffer buffer(c.content.c_str());
    EXPECT_EQ(c.member.real(buffer, {c.find, c.replacement}), c.result) << c.content;
    EXPECT_TRUE(holds(buffer, c.left, 0, 202)) << c.member.name;
    EXPECT_TRUE(agreesOn(c.member, c.content, {c.find, c.replacement}));
  }
}

// Behind a replaced word the search starts anew, and does not look to the left.
TEST(WordReplace, AMatchRightBehindTheLastOneIsNotTestedOnItsLeft) {
  StringBuffer joined(" a a");
  EXPECT_EQ(joined.replaceAllWordOccurances(" a", "+", 0, false), 2U);
  EXPECT_TRUE(holds(joined, "++"));
}

TEST(WordReplace, ANullReplacementDeletesAllButKeepsTheFirst) {
  const std::string content = "cat, cat";
  for (const Operation& member : {all(false), allNoCase()}) {
    for (const char* nothing : {static_cast<const char*>(nullptr), ""}) {
      StringBuffer buffer(content.c_str());
      EXPECT_EQ(member.real(buffer, {"cat", nothing}), "2");
      EXPECT_TRUE(holds(buffer, ", ", 0, 202));
    }
  }
  StringBuffer kept(content.c_str());
  EXPECT_TRUE(kept.replaceFirstWordOccurance("cat", nullptr, 0, false));
  EXPECT_TRUE(holds(kept, content, 0, 202));
  EXPECT_TRUE(kept.replaceFirstWordOccurance("cat", "", 0, false));
  EXPECT_TRUE(holds(kept, ", cat", 0, 202));
}

TEST(WordReplace, ANullOrEmptyWordDoesNothing) {
  for (const Operation& member : members()) {
    for (const char* nothing : {static_cast<const char*>(nullptr), ""}) {
      for (const std::string& content : {""s, "a b"s, "a\0b"s, std::string(300, 'a')}) {
        EXPECT_TRUE(agreesOn(member, content, {nothing, "x"}));
        EXPECT_TRUE(harness::agreesInBlocks(member, content, {nothing, nullptr}));
      }
    }
  }
}

TEST(WordReplace, WithoutAMatchNothingIsTouched) {
  const std::string content = "b" + std::string(300, 'a') + "\0 c"s;
  for (const Operation& member : members()) {
    for (const char* word : {"ba", "c", "ab", "aaab"}) {
      StringBuffer buffer;
      harness::fillHeap(buffer, content, 5);
      buffer.setExtendSize(7);
      const char* data = buffer.getString();
      const std::string result = member.real(buffer, {word, "x"});
      EXPECT_TRUE(result == "0" || result == "false") << result;
      EXPECT_TRUE(holds(buffer, content, static_cast<unsigned int>(content.size()) + 6, 7));
      EXPECT_EQ(buffer.getString(), data);
    }
  }
}

// The text ends at its first NUL, which accepts a word in front of it; what follows is lost.
TEST(WordReplace, ContentBehindANulIsDroppedWhenThereIsAMatch) {
  const std::vector<ReplaceCase> cases = {
      {all(false), "a b\0 b"s, "b", "x", "1", "a x"},
      {allNoCase(), "a b\0 b"s, "B", "x", "1", "a x"},
      {first(false), "a b\0 b"s, "b", "x", "true", "a x"},
      {first(false), "b a\0 b"s, "b", "x", "true", "x a"},
      {first(false), "b a\0 b"s, "b", nullptr, "true", "b a"},
      {first(false), "a\0 b"s, "b", "x", "false", "a\0 b"s},
      {all(true), "a\0 b"s, "b", "x", "0", "a\0 b"s},
  };
  for (const ReplaceCase& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    EXPECT_EQ(c.member.real(buffer, {c.find, c.replacement}), c.result);
    EXPECT_TRUE(holds(buffer, c.left, 0, 202)) << c.member.name;
  }
}

TEST(WordReplace, EveryShortContentAgreesWithTheReference) {
  const std::vector<std::string> finds = allStrings("aA.", 2);
  for (const std::string& content : allStrings("aA. \0"s, 4)) {
    for (const std::string& find : finds) {
      for (const char* replacement : {static_cast<const char*>(nullptr), "", "a.a"}) {
        for (const Operation& member : members())
          ASSERT_TRUE(agreesOn(member, content, {find.c_str(), replacement}));
      }
    }
  }
}

TEST(WordReplace, RandomContentsAgreeWithTheReference) {
  const std::vector<std::string> finds = {"a", "ab", "a b", "-", "_a", "\xE9", "b."};
  for (unsigned int seed = 1; seed <= 150; ++seed) {
    const std::string content = randomText(seed, seed * 3 % 400, "aabAB  .-_\xE9\xD7");
    const std::string replacement = randomText(seed, seed * 7 % 90, "xyz");
    for (const Operation& member : members()) {
      const Texts texts = {finds[seed % finds.size()].c_str(), replacement.c_str()};
      ASSERT_TRUE(agreesOn(member, content, texts)) << "seed " << seed;
      ASSERT_TRUE(harness::agreesInBlocks(member, content, texts)) << "seed " << seed;
    }
  }
}

TEST(WordReplace, EverySizeAtTheStorageBorders) {
  for (const std::size_t size : {79U, 80U, 81U, 82U, 83U, 283U, 284U, 285U, 600U}) {
    const std::string content = "a " + std::string(size - 4, '.') + " a";
    for (const std::size_t grown : {0U, 1U, 2U, 3U, 100U, 300U}) {
      const std::string replacement(grown, 'r');
      for (const Operation& member : members()) {
        EXPECT_TRUE(agreesOn(member, content, {"a", replacement.c_str()})) << size;
        EXPECT_TRUE(harness::agreesInBlocks(member, content, {"a", replacement.c_str()}));
      }
    }
  }
}

TEST(WordReplace, TheLengthBoundsTheTextWhenTheTerminatorIsOverwritten) {
  for (const Operation& member : members()) {
    for (const std::string& content : {""s, "a"s, "b a"s, "a b"s, "ab a"s, "a\0a"s}) {
      for (const char stale : {'a', ' '})
        EXPECT_TRUE(harness::agreesUnterminated(member, content, {"a", "xy"}, stale));
    }
    StringBuffer exact;
    harness::fillExactUnterminated(exact, "a " + std::string(200, 'b') + " a", 'a');
    EXPECT_TRUE(harness::agrees(member, exact, {"a", "xy"}, false));
  }
}

// --- Texts inside the buffer, exhausted memory, secrets ----------------------------------------

TEST(WordReplace, TheTextsMayLieInTheBuffer) {
  const std::string shortText = "one Two one_ one";
  const std::string longText = "one Two one_ " + std::string(90, '.') + " one";
  for (const Operation& member : members()) {
    for (const std::string& text : {shortText, longText}) {
      harness::expectAgreesWhereverTheTextsLie(member, text, {"one", "three"});
      harness::expectAgreesWhereverTheTextsLie(member, text, {"one", ""});
    }
  }
}

TEST(WordReplace, ExhaustedMemoryLosesPiecesOnly) {
  const std::string prefix = std::string(90, '.') + " ";
  const std::string content = prefix + "cat " + std::string(300, ',') + " cat,";
  const std::string replacement(500, 'r');
  const std::vector<std::string> pieces = {prefix, replacement, " " + std::string(300, ',') + " ",
                                           replacement, ","};
  const Texts texts = {"cat", replacement.c_str()};
  for (const Operation& member : {all(false), all(true), allNoCase()}) {
    harness::expectSurvivesFailures(member, content, texts,
                                    [&](const std::string& result, const std::string& left) {
                                      return result == "2" && harness::isMadeOf(left, pieces);
                                    });
  }
  const std::string tail = content.substr(prefix.size() + 3);
  for (const Operation& member : {first(false), first(true)}) {
    harness::expectSurvivesFailures(member, content, texts,
                                    [&](const std::string& result, const std::string& left) {
                                      if (result == "false") return left == content;
                                      return left.substr(0, prefix.size()) == prefix &&
                                             harness::isMadeOf(left, {prefix, replacement, tail});
                                    });
  }
}

TEST(WordReplace, ASecureBufferWipesWhatItReleases) {
  const std::string content = "cat " + std::string(300, 's') + " cat " + std::string(300, 't');
  const std::string replacement(700, 'r');
  for (const Operation& member : members()) {
    for (const char* text : {static_cast<const char*>(nullptr), "", "x", replacement.c_str()})
      harness::expectWipes(member, content, {"cat", text});
    harness::expectWipesWhereverTheTextsLie(member, content, {"cat", replacement.substr(0, 60)});
  }
}

TEST(WordReplace, TheInlineBytesOfASecureBufferAreWiped) {
  for (const Operation& member : {all(false), allNoCase()}) {
    StringBuffer buffer("secret secret secret");
    buffer.setSecureBuf(true);
    EXPECT_EQ(member.real(buffer, {"secret", "s"}), "3");
    EXPECT_EQ(harness::peekInlineBytes(&buffer), "s s s" + std::string(77, '\0'));
  }
}

// --- Hostile sizes -----------------------------------------------------------------------------

// Every position nearly begins a match.
TEST(WordReplace, SearchesInPeriodicTextsTakeLinearTime) {
  const std::string as(kMiB, 'a');
  const std::string half(kMiB / 2, 'a');
  std::string pairs;
  while (pairs.size() < kMiB) pairs += "ab";
  const std::string halfPairs = pairs.substr(0, kMiB / 2);
  const double seconds = secondsOf([&] {
    for (const bool caseSensitive : {false, true}) {
      EXPECT_EQ(findAt(as, (half + "b").c_str(), caseSensitive, false), kNone);
      EXPECT_EQ(findAt(as, ("b" + half).c_str(), caseSensitive, false), kNone);
      EXPECT_EQ(findAt(as, half.c_str(), caseSensitive, false), static_cast<long>(kMiB / 2));
      EXPECT_EQ(findAt(as, "a", caseSensitive, true), static_cast<long>(kMiB - 1));
      EXPECT_EQ(findAt("b" + as, "a", caseSensitive, true), static_cast<long>(kMiB));
      EXPECT_EQ(findAt(pairs, halfPairs.c_str(), caseSensitive, true), kNone);
    }
  });
  EXPECT_LT(seconds, 8.0);
}

TEST(WordReplace, ManyMatchesAndManyRejectionsTakeLinearTime) {
  std::string words;
  while (words.size() < kMiB) words += "a b";
  const std::string as(kMiB, 'a');
  const std::string half(kMiB / 2, 'a');
  const double seconds = secondsOf([&] {
    for (const Operation& member : {all(false), all(true), allNoCase()}) {
      StringBuffer joined(words.c_str());
      EXPECT_EQ(member.real(joined, {"a", "x"}), "1");
      StringBuffer spaces((std::string(kMiB, ' ')).c_str());
      EXPECT_EQ(member.real(spaces, {"  ", "x"}), std::to_string(kMiB / 2));
      StringBuffer periodic(as.c_str());
      EXPECT_EQ(member.real(periodic, {half.c_str(), "x"}), "1");
      EXPECT_EQ(periodic.getSize(), kMiB / 2 + 1);
    }
  });
  EXPECT_LT(seconds, 8.0);
}

// Each call pays for the way to its match, however much follows.
TEST(WordReplace, FindingWordAfterWordTakesLinearTime) {
  for (const std::string& part : {"a "s, "a" + std::string(99, ' ')}) {
    const double growth = harness::growthOfTime(kMiB / 8, [&](std::size_t size) {
      std::string text;
      while (text.size() < size) text += part;
      std::size_t count = 0;
      const char* p = text.c_str();
      for (; (p = StringBuffer::findWordOnly(p, "a", 0, true, false)) != nullptr; ++p) ++count;
      EXPECT_EQ(count, text.size() / part.size());
    });
    EXPECT_LT(growth, 3.0) << part.size();
  }
}

// ---- Former bugs ----

// A tail of up to 400 bytes was lost, with true.
TEST(WordReplace, WithoutMemoryForTheTailNothingChanges) {
  for (const std::size_t tail : {1U, 202U, 399U, 400U, 401U}) {
    for (const bool extended : {false, true}) {
      const std::string content = std::string(90, '(') + "cat" + std::string(tail, '(');
      const std::string replacement(600, 'r');
      StringBuffer buffer;
      harness::fillHeap(buffer, content, 0);
      bool found = true;
      {
        const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
        found = buffer.replaceFirstWordOccurance("cat", replacement.c_str(), 0, extended);
      }
      EXPECT_FALSE(found) << tail;
      EXPECT_TRUE(holds(buffer, content)) << tail;
    }
  }
}

// ---- Allocations ----

TEST(WordReplace, AllocatesOnceWhateverTheSize) {
  for (const char* replacement : {"", "x", "a longer one"}) {
    const auto text = [](std::size_t size) { return harness::textWithMarks(size, 20, " word "); };
    EXPECT_TRUE(harness::allocatesAtAnySize(1, text, [&](StringBuffer& buffer) {
      buffer.replaceAllWordOccurances("word", replacement, 0, false);
      return buffer.getSize();
    })) << replacement;
    EXPECT_TRUE(harness::allocatesAtAnySize(1, text, [&](StringBuffer& buffer) {
      buffer.replaceAllWordOccurancesNoCase("WORD", replacement, 0);
      return buffer.getSize();
    })) << replacement;
  }
}

}  // namespace
