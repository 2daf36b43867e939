// Attribute and named values of text/NamedValues.cpp.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/Allocations.h"
#include "harness/BufferState.h"
#include "harness/ModelBuffer.h"
#include "harness/NamedValuesReference.h"
#include "harness/ReleasedBlocks.h"
#include "harness/StaleStorage.h"
#include "harness/Stopwatch.h"
#include "harness/StorageLayout.h"

namespace {

using namespace std::string_literals;
namespace reference = harness::reference::naming;
using harness::allStrings;
using harness::appendRaw;
using harness::bytesOf;
using harness::holds;
using harness::ModelBuffer;
using harness::randomText;
using harness::secondsOf;
using harness::stateOf;

std::string shown(const std::string& text) { return testing::PrintToString(text.substr(0, 200)); }

// --- Both methods beside their slow reference --------------------------------------------------

// What an output holds before it is emptied.
enum class Output { kNew, kShort, kOnHeap, kSecure };
constexpr Output kOutputs[] = {Output::kNew, Output::kShort, Output::kOnHeap, Output::kSecure};

// An emptied output keeps its block, unless it is secure.
ModelBuffer prepare(StringBuffer& out, Output kind) {
  ModelBuffer model;
  if (kind == Output::kNew) return model;
  out.append("earlier");
  if (kind != Output::kShort) out.append(std::string(100, 'o').c_str());
  out.setExtendSize(9);
  out.setSecureBuf(kind == Output::kSecure);
  if (kind == Output::kOnHeap) model.capacity = out.heapUsage();
  return model;
}

testing::AssertionResult splits(StringBuffer& buffer, bool stripQuotes,
                                Output kind = Output::kShort) {
  const harness::BufferState before = stateOf(buffer);
  StringBuffer name;
  StringBuffer value;
  ModelBuffer nameModel = prepare(name, kind);
  ModelBuffer valueModel = prepare(value, kind);
  reference::splitAttrValue(before.content, nameModel, valueModel, stripQuotes);
  buffer.splitAttrValue(name, value, stripQuotes);
  if (!(stateOf(buffer) == before)) return testing::AssertionFailure() << "the buffer has changed";
  const testing::AssertionResult first = matches(name, nameModel);
  if (!first)
    return testing::AssertionFailure()
           << "name of " << shown(before.content) << ": " << first.message();
  const testing::AssertionResult second = matches(value, valueModel);
  if (second) return second;
  return testing::AssertionFailure()
         << "value of " << shown(before.content) << ": " << second.message();
}

testing::AssertionResult splits(const std::string& content, bool stripQuotes,
                                Output kind = Output::kShort) {
  StringBuffer buffer;
  appendRaw(buffer, content);
  return splits(buffer, stripQuotes, kind);
}

testing::AssertionResult finds(StringBuffer& buffer, const char* name,
                               Output kind = Output::kShort) {
  const harness::BufferState before = stateOf(buffer);
  const std::string key(name == nullptr ? "" : name);
  StringBuffer value;
  ModelBuffer model = prepare(value, kind);
  const bool expected = reference::getNamedValue(before.content, key, model);
  if (buffer.getNamedValue(name, value) != expected)
    return testing::AssertionFailure()
           << shown(key) << " in " << shown(before.content) << " is not " << expected;
  if (!(stateOf(buffer) == before)) return testing::AssertionFailure() << "the buffer has changed";
  const testing::AssertionResult same = matches(value, model);
  if (same) return same;
  return testing::AssertionFailure()
         << shown(key) << " in " << shown(before.content) << ": " << same.message();
}

testing::AssertionResult finds(const std::string& content, const char* name,
                               Output kind = Output::kShort) {
  StringBuffer buffer;
  appendRaw(buffer, content);
  return finds(buffer, name, kind);
}

TEST(NamedValuesReference, AgreesOnAllSmallContents) {
  for (const std::string& content : allStrings("a= \"", 6))
    for (const bool stripQuotes : {false, true}) ASSERT_TRUE(splits(content, stripQuotes));
  for (const std::string& content : allStrings("a=\"\0"s, 4)) ASSERT_TRUE(splits(content, true));
  for (const std::string& content : allStrings("ab=;", 5))
    for (const char* name : {"a", "ab", "", "="}) ASSERT_TRUE(finds(content, name));
  for (const std::string& content : allStrings("a=;\0"s, 5)) ASSERT_TRUE(finds(content, "a"));
}

TEST(NamedValuesReference, AgreesOnAllSmallNames) {
  const std::vector<std::string> contents = allStrings("a= ", 4);
  for (const std::string& name : allStrings("a= ", 3))
    for (const std::string& content : contents) ASSERT_TRUE(finds(content, name.c_str()));
}

TEST(NamedValuesReference, AgreesOnRandomContents) {
  for (unsigned int seed = 1; seed <= 400; ++seed) {
    const std::string content = randomText(seed, seed, "ab \t\r\n=\"';\v\xE9");
    const std::string wide = randomText(seed, 2 * seed, "abcdefghijklmnopqrstuvwxyz   \"") + "=" +
                             randomText(seed + 1, 3 * seed, "abcdefghijklmnop;=  \"");
    for (const Output kind : kOutputs) {
      ASSERT_TRUE(splits(content, seed % 2 == 0, kind));
      ASSERT_TRUE(splits(wide, seed % 2 == 0, kind));
      ASSERT_TRUE(finds(content, " a\n", kind));
      ASSERT_TRUE(finds(wide, "", kind));
    }
  }
}

// Names and values at every border of the storage and of the staging; white space that is trimmed
// has been in the storage before.
TEST(NamedValuesReference, AgreesAtTheStorageBorders) {
  const std::size_t sizes[] = {1,   80,  81,  82,  83,  119, 120, 121, 122,
                               239, 240, 241, 283, 284, 323, 360, 1000};
  for (const std::size_t size : sizes) {
    for (const std::size_t blanks : {0U, 1U, 40U, 121U}) {
      const std::string word(size, 'x');
      const std::string space(blanks, ' ');
      for (const Output kind : kOutputs) {
        for (const std::string& value : {word, "\"" + word + "\"", word + "\""}) {
          ASSERT_TRUE(splits(space + "n" + space + "=" + space + value + space, true, kind));
          ASSERT_TRUE(splits(word + space + "=" + value + space, false, kind));
        }
        ASSERT_TRUE(finds("n=" + word + space + ";m=", "n", kind));
        ASSERT_TRUE(finds(word + "=" + word, (" " + word + "\t").c_str(), kind));
      }
    }
  }
}

// The first 120 bytes make a block of 323, which 322 bytes fill.
TEST(NamedValues, TheStagingShowsInTheStorage) {
  const std::string text(323, 'v');
  StringBuffer name;
  StringBuffer value;
  StringBuffer(("n=" + text.substr(1)).c_str()).splitAttrValue(name, value, false);
  EXPECT_TRUE(holds(value, text.substr(1), 323, 202));
  EXPECT_TRUE(holds(name, "n", 0, 202));
  StringBuffer(("n=" + text).c_str()).splitAttrValue(value, name, false);
  EXPECT_TRUE(holds(name, text, 526, 263));
  EXPECT_TRUE(holds(value, "n", 323, 202));
}

TEST(NamedValues, EveryByteCanStandInANameAndAValue) {
  for (int b = 0; b < 256; ++b) {
    const std::string byte(1, static_cast<char>(b));
    for (const bool stripQuotes : {false, true}) {
      ASSERT_TRUE(splits(byte + "n" + byte + "=" + byte + "v" + byte, stripQuotes)) << b;
      ASSERT_TRUE(splits(byte + byte + "=" + byte, stripQuotes)) << b;
    }
    ASSERT_TRUE(finds("n=" + byte + "v" + byte + ";", "n")) << b;
    ASSERT_TRUE(finds("x" + byte + "=v", (byte + "x" + byte).c_str())) << b;
    ASSERT_TRUE(finds(byte + "x" + byte + "=v", (byte + "x" + byte).c_str())) << b;
  }
}

// --- splitAttrValue ----------------------------------------------------------------------------

struct SplitCase {
  bool stripQuotes;
  std::string content;
  std::string name;
  std::string value;
};

void expectSplits(const std::vector<SplitCase>& cases) {
  for (const SplitCase& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    StringBuffer name("earlier");
    StringBuffer value("earlier");
    buffer.splitAttrValue(name, value, c.stripQuotes);
    EXPECT_TRUE(holds(name, c.name, 0, 202)) << shown(c.content);
    EXPECT_TRUE(holds(value, c.value, 0, 202)) << shown(c.content);
    EXPECT_TRUE(holds(buffer, c.content, 0, 202));
  }
}

TEST(NamedValues, SplitAtTheFirstEqualsSign) {
  expectSplits({{false, "a=b", "a", "b"},
                {false, "flag", "flag", ""},
                {false, "flag \n", "flag", ""},
                {false, "=x", "", "x"},
                {false, "=", "", ""},
                {false, "a=", "a", ""},
                {false, "a= \t\r\n", "a", ""},
                {false, "a=b=c", "a", "b=c"},
                {false, "a==b", "a", "=b"},
                {false, "", "", ""},
                {false, " \t\r\n", "", ""},
                {false, "\r\n a b \t=\n c d \t", "a b", "c d"},
                {false, "\v=\f", "\v", "\f"},
                {false, "a;b=c;d=e", "a;b", "c;d=e"},
                {false, "a=b\0c"s, "a", "b"},
                {false, "a\0=b"s, "a", ""},
                {false, "\0a=b"s, "", ""}});
}

TEST(NamedValues, QuotesStayUnlessTheyAreStripped) {
  expectSplits({{true, " charset = \"utf-8\" ", "charset", "utf-8"},
                {false, " charset = \"utf-8\" ", "charset", "\"utf-8\""},
                {true, "\"a\"=b", "\"a\"", "b"},
                {true, "a='b'", "a", "'b'"},
                {true, "a=b\"c", "a", "b\"c"},
                {true, "a=\\\"b\\\"", "a", "\\\"b\\"}});
}

TEST(NamedValues, OneQuoteGoesAtEachEndOnItsOwn) {
  expectSplits({{true, "a=b\"", "a", "b"},
                {true, "a=\"b", "a", "b"},
                {true, "a=b\" ", "a", "b"},
                {true, "a=\"\"b\"\"", "a", "\"b\""},
                {true, "a=\"", "a", ""},
                {true, "a=\"\"", "a", ""},
                {true, "a=\"\"\"", "a", "\""},
                {true, "a= \" ", "a", ""}});
}

TEST(NamedValues, TheValueIsTrimmedBeforeItsLastQuoteGoes) {
  expectSplits({{true, "a=\" b \"", "a", "b "}, {true, "a=\"b \" \t", "a", "b "}});
}

TEST(NamedValues, SplitIntoOneBufferAppendsTheValueToTheName) {
  for (const char* content :
       {"a=b", " a = \"b\" ", "flag", "=b", "a=", "", "a\"=", "a\"= ", "a\"=\"", "\"=b"}) {
    for (const bool stripQuotes : {false, true}) {
      const StringBuffer buffer(content);
      StringBuffer both;
      ModelBuffer model = prepare(both, Output::kOnHeap);
      reference::splitAttrValue(content, model, model, stripQuotes);
      buffer.splitAttrValue(both, both, stripQuotes);
      EXPECT_TRUE(matches(both, model)) << content;
    }
  }
}

// --- getNamedValue -----------------------------------------------------------------------------

struct FindCase {
  const char* name;
  std::string content;
  bool found;
  std::string value;
};

void expectFinds(const std::vector<FindCase>& cases) {
  for (const FindCase& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    StringBuffer value("earlier");
    EXPECT_EQ(buffer.getNamedValue(c.name, value), c.found) << shown(c.content);
    EXPECT_TRUE(holds(value, c.value, 0, 202)) << shown(c.content);
  }
}

TEST(NamedValues, TheValueGoesUpToTheNextSemicolon) {
  expectFinds({{"a", "a=1; b=2; c=3", true, "1"},
               {"b", "a=1; b=2; c=3", true, "2"},
               {"c", "a=1; b=2; c=3", true, "3"},
               {"d", "a=1; b=2; c=3", false, ""},
               {"b", "a=1;b=;c=3", true, ""},
               {"a", "a=", true, ""},
               {"a", "", false, ""},
               {"a", "a", false, ""},
               {"a", "a=b=c;d", true, "b=c"},
               {"a", "a=\"1;2\"", true, "\"1"},
               {"a", "b\0a=1"s, false, ""},
               {"a", "a=1\0;2"s, true, "1"}});
}

TEST(NamedValues, WhiteSpaceAroundTheValueStays) {
  expectFinds({{"a", "a= \t1 \r\n;b", true, " \t1 \r\n"}, {"a", "a= ", true, " "}});
}

TEST(NamedValues, WhiteSpaceAroundTheNameIsNoPartOfTheKey) {
  expectFinds({{" \t\r\na\n ", "a=1", true, "1"},
               {"a b", "a b=1", true, "1"},
               {"a", "a =1", false, ""},
               {"\va", "a=1", false, ""}});
}

TEST(NamedValues, AKeyAtTheEndOfALongerNameIsFound) {
  expectFinds({{"id", "uid=5; id=7", true, "5"}, {"b", "x=ab=1;b=2", true, "1"}});
}

TEST(NamedValues, CaseMatters) {
  expectFinds({{"ID", "id=1;ID=2", true, "2"}, {"iD", "id=1;ID=2", false, ""}});
}

TEST(NamedValues, WithoutANameTheFirstEqualsSignIsFound) {
  expectFinds({{nullptr, "a=1;b=2", true, "1"},
               {"", "a=1;b=2", true, "1"},
               {" \t", "a=1;b=2", true, "1"},
               {nullptr, "a;b", false, ""},
               {nullptr, "", false, ""},
               {"=", "a=1;b==2", true, "2"}});
}

TEST(NamedValues, ANameWithAnEqualsSignIsPartOfTheKey) {
  expectFinds({{"a=b", "a=b=1", true, "1"}, {"a=b", "a=b", false, ""}});
}

TEST(NamedValues, TheNameMayLieInThisBuffer) {
  StringBuffer buffer("b=2;a");
  for (unsigned int at = 0; at <= buffer.getSize(); ++at)
    EXPECT_TRUE(finds(buffer, buffer.getString() + at)) << at;
  StringBuffer tail("a=1;b=2;a");
  EXPECT_TRUE(finds(tail, tail.getString() + 8));
  // behind the end
  StringBuffer cut("x=1;y=2; x");
  cut.chopAt(8);
  EXPECT_TRUE(finds(cut, cut.getString() + 9));
  // in the unused inline array
  StringBuffer heap("name");
  const char* name = heap.getString();
  heap.append((std::string(100, '.') + ";name=value").c_str());
  EXPECT_TRUE(finds(heap, name));
}

// --- What holds for both -----------------------------------------------------------------------

TEST(NamedValues, TheOutputsAreEmptiedWhateverFollows) {
  for (const Output kind : kOutputs) {
    for (const char* content : {"", " ", "a", "a=", "=", "a=1"}) {
      EXPECT_TRUE(splits(content, true, kind));
      EXPECT_TRUE(finds(content, "b", kind));
    }
  }
}

// Both outputs are emptied before the text is read.
TEST(NamedValues, AnOutputThatIsThisBufferEmptiesTheText) {
  for (const std::string& content : {"a=1;b=2"s, "a=" + std::string(300, 'v')}) {
    StringBuffer other("earlier");
    StringBuffer name(content.c_str());
    name.splitAttrValue(name, other, true);
    StringBuffer value(content.c_str());
    value.splitAttrValue(other, value, true);
    StringBuffer both(content.c_str());
    both.splitAttrValue(both, both, true);
    StringBuffer found(content.c_str());
    EXPECT_FALSE(found.getNamedValue("a", found));
    for (StringBuffer* buffer : {&name, &value, &both, &found, &other})
      EXPECT_TRUE(holds(*buffer, "")) << shown(content);
  }
}

TEST(NamedValues, ANameInsideTheOutputIsLookedUpAsItWas) {
  for (const bool secure : {false, true}) {
    for (const std::size_t size : {1U, 100U}) {
      const StringBuffer buffer(("x=1;" + std::string(size, 'n') + "=2").c_str());
      StringBuffer value(std::string(size, 'n').c_str());
      value.setSecureBuf(secure);
      EXPECT_TRUE(buffer.getNamedValue(value.getString(), value));
      EXPECT_TRUE(holds(value, "2"));
    }
  }
}

TEST(NamedValues, TheLengthBoundsWhatIsReadWhenTheTerminatorIsOverwritten) {
  const std::string text(100, 'v');
  for (const char stale : {'v', '=', ';', '"', ' '}) {
    StringBuffer name;
    StringBuffer value;
    StringBuffer flag;
    harness::fillExactUnterminated(flag, text, stale);
    flag.splitAttrValue(name, value, true);
    EXPECT_TRUE(holds(name, text));
    EXPECT_TRUE(holds(value, ""));
    EXPECT_FALSE(flag.getNamedValue("v", value));
    EXPECT_FALSE(flag.getNamedValue(nullptr, value));
    StringBuffer pair;
    harness::fillExactUnterminated(pair, "n=" + text, stale);
    pair.splitAttrValue(name, value, true);
    EXPECT_TRUE(holds(name, "n"));
    EXPECT_TRUE(holds(value, text));
    EXPECT_TRUE(pair.getNamedValue("n", value));
    EXPECT_TRUE(holds(value, text));
    StringBuffer blank;
    harness::fillExactUnterminated(blank, std::string(100, ' '), stale);
    blank.splitAttrValue(name, value, true);
    EXPECT_TRUE(holds(name, ""));
    EXPECT_TRUE(holds(value, ""));
  }
}

// --- Exhausted memory --------------------------------------------------------------------------

TEST(NamedValues, OnExhaustedMemoryNothingIsCorrupted) {
  const std::string content = std::string(500, 'n') + " = \"" + std::string(900, 'v') + "\"";
  const long blocks = harness::liveBlocks();
  {
    StringBuffer buffer(content.c_str());
    StringBuffer name;
    StringBuffer value;
    const auto setUp = [&] {
      name.clear();
      value.clear();
      value.append("earlier");
    };
    const auto check = [&] {
      EXPECT_TRUE(holds(buffer, content));
      EXPECT_TRUE(harness::invariantsHold(name));
      EXPECT_TRUE(harness::invariantsHold(value));
      EXPECT_LE(name.getSize(), 500U);
      EXPECT_LE(value.getSize(), 903U);
    };
    EXPECT_GE(harness::failEveryAllocation(
                  setUp, [&] { buffer.splitAttrValue(name, value, true); }, check),
              4);
    EXPECT_GE(harness::failEveryAllocation(
                  setUp, [&] { buffer.getNamedValue("", value); }, check),
              2);
    const std::string longName(300, 'n');
    harness::failEveryAllocation(
        setUp, [&] { buffer.getNamedValue(longName.c_str(), value); }, check);
  }
  EXPECT_EQ(harness::liveBlocks(), blocks);
}

TEST(NamedValues, IntoThisBufferOnExhaustedMemoryNothingIsCorrupted) {
  const std::string content = std::string(200, 'n') + "=" + std::string(300, 'v');
  const long blocks = harness::liveBlocks();
  {
    StringBuffer buffer;
    StringBuffer other;
    const auto setUp = [&] {
      buffer.clear();
      other.clear();
      harness::fillHeap(buffer, content, 0);
    };
    const auto check = [&] {
      EXPECT_TRUE(harness::invariantsHold(buffer));
      EXPECT_TRUE(harness::invariantsHold(other));
    };
    const std::function<void()> bodies[] = {
        [&] { buffer.splitAttrValue(buffer, other, true); },
        [&] { buffer.splitAttrValue(other, buffer, true); },
        [&] { buffer.splitAttrValue(buffer, buffer, true); },
        [&] { buffer.getNamedValue("n", buffer); },
        [&] { buffer.getNamedValue(buffer.getString(), buffer); }};
    for (const auto& body : bodies) harness::failEveryAllocation(setUp, body, check);
  }
  EXPECT_EQ(harness::liveBlocks(), blocks);
}

TEST(NamedValues, AValueThatDoesNotFitIsFoundAllTheSame) {
  const StringBuffer buffer(("n=" + std::string(900, 'v')).c_str());
  StringBuffer value("earlier");
  const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
  EXPECT_TRUE(buffer.getNamedValue("n", value));
  EXPECT_TRUE(holds(value, ""));
}

TEST(NamedValues, ANameWithoutMemoryForItsKeyIsNotFound) {
  const std::string name(100, 'n');
  const StringBuffer buffer((name + "=1").c_str());
  StringBuffer value("earlier");
  const harness::FailAllocation fail(1);
  EXPECT_FALSE(buffer.getNamedValue(name.c_str(), value));
  EXPECT_TRUE(holds(value, ""));
}

// --- Secure buffers ----------------------------------------------------------------------------

TEST(NamedValues, SecureBuffersReleaseNothingReadable) {
  for (const std::size_t size : {10U, 100U, 900U}) {
    StringBuffer buffer;
    StringBuffer name;
    StringBuffer value;
    for (StringBuffer* secure : {&buffer, &name, &value}) secure->setSecureBuf(true);
    buffer.append((std::string(size, 'n') + "=\"" + std::string(size, 'v') + "\"").c_str());
    const std::vector<std::string> blocks = harness::releasedBy([&] {
      for (int i = 0; i < 2; ++i) {
        buffer.splitAttrValue(name, value, true);
        buffer.getNamedValue("n", value);
      }
      buffer.getNamedValue("nn", buffer);
      buffer.splitAttrValue(name, buffer, true);
    });
    EXPECT_EQ(blocks.empty(), size == 10);
    EXPECT_TRUE(harness::allWiped(blocks)) << size;
  }
}

// A name in the buffer is a part of its secret, and so is a key that is made of it.
TEST(NamedValues, TheKeyOfASecureBufferIsWiped) {
  for (const std::size_t size : {10U, 100U, 900U}) {
    StringBuffer buffer;
    buffer.setSecureBuf(true);
    buffer.append(("a=1;" + std::string(size, 's')).c_str());
    StringBuffer value;
    const std::vector<std::string> blocks =
        harness::releasedBy([&] { buffer.getNamedValue(buffer.getString() + 4, value); });
    EXPECT_TRUE(harness::allWiped(blocks)) << size;
  }
}

// So is one in a secure output.
TEST(NamedValues, TheKeyFromASecureOutputIsWiped) {
  const StringBuffer buffer("a=1");
  StringBuffer value;
  value.setSecureBuf(true);
  value.append(std::string(206, 's').c_str());
  const std::vector<std::string> blocks =
      harness::releasedBy([&] { buffer.getNamedValue(value.getString(), value); });
  EXPECT_FALSE(blocks.empty());
  EXPECT_TRUE(harness::allWiped(blocks));
}

TEST(NamedValues, ASecureOutputIsWipedWhenItIsEmptied) {
  const StringBuffer buffer("a=1");
  StringBuffer value("secret");
  value.setSecureBuf(true);
  EXPECT_FALSE(buffer.getNamedValue("b", value));
  EXPECT_EQ(harness::peekInlineBytes(&value), std::string(82, '\0'));
}

// --- Hostile sizes -----------------------------------------------------------------------------

TEST(NamedValues, HostileTextsTakeLinearTime) {
  const std::size_t size = 1 << 20;
  const double seconds = secondsOf([&] {
    StringBuffer name;
    StringBuffer value;
    for (const char c : {' ', 'a', '=', '"', ';'}) {
      for (const std::string& content : {std::string(size, c), "a=" + std::string(size, c) + "b"}) {
        const StringBuffer buffer(content.c_str());
        buffer.splitAttrValue(name, value, true);
        buffer.getNamedValue("x", value);
      }
    }
    const StringBuffer repeated((std::string(size, 'a') + "b").c_str());
    EXPECT_FALSE(repeated.getNamedValue(std::string(size / 2, 'a').c_str(), value));
    std::string periodic;
    while (periodic.size() < size) periodic += "ab=";
    const StringBuffer pairs(periodic.c_str());
    EXPECT_FALSE(pairs.getNamedValue(("b" + periodic.substr(size / 2) + "x").c_str(), value));
  });
  EXPECT_LT(seconds, 8.0);
}

// ---- Allocations ----

TEST(NamedValues, EachOutputAllocatesOnceWhateverTheSize) {
  const auto text = [](std::size_t size) {
    return std::string(size, 'n') + "=\"" + std::string(size, 'v') + "\"";
  };
  EXPECT_TRUE(harness::allocatesAtAnySize(2, text, [](StringBuffer& buffer) {
    StringBuffer name;
    StringBuffer value;
    buffer.splitAttrValue(name, value, true);
    return name.getSize() + value.getSize();
  }));
  EXPECT_TRUE(harness::allocatesAtAnySize(1, text, [](StringBuffer& buffer) {
    StringBuffer value;
    buffer.getNamedValue("n", value);
    return value.getSize();
  }));
}

}  // namespace
