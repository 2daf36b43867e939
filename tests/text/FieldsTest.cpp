// Delimited fields of text/Fields.cpp.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/Allocations.h"
#include "harness/BufferState.h"
#include "harness/FieldsReference.h"
#include "harness/LivenessMarks.h"
#include "harness/ModelBuffer.h"
#include "harness/ReleasedBlocks.h"
#include "harness/StaleStorage.h"
#include "harness/Stopwatch.h"
#include "harness/StorageLayout.h"

namespace {

using namespace std::string_literals;
namespace reference = harness::reference::fields;
using harness::allStrings;
using harness::appendRaw;
using harness::bytesOf;
using harness::holds;
using harness::ModelBuffer;
using harness::modelOf;
using harness::randomText;
using harness::secondsOf;
using harness::stateOf;
using reference::Honour;

constexpr Honour kPlain = {false, false};
constexpr Honour kQuotes = {true, false};
constexpr Honour kEscapes = {false, true};
constexpr Honour kBoth = {true, true};
constexpr Honour kAllHonours[] = {kPlain, kQuotes, kEscapes, kBoth};

std::string shown(const std::string& content) {
  return testing::PrintToString(content.substr(0, 200));
}

std::string told(const std::string& content, unsigned int index, Honour honour) {
  return shown(content) + " field " + std::to_string(index) + (honour.quotes ? " quotes" : "") +
         (honour.escapes ? " escapes" : "");
}

// --- Every method beside its slow reference ----------------------------------------------------

// What an output buffer can hold before it is emptied.
using Prepare = std::function<void(StringBuffer&)>;

void leaveEmpty(StringBuffer& /*buffer*/) {}

void fillShort(StringBuffer& buffer) {
  buffer.append("earlier");
  buffer.setExtendSize(7);
}

void fillOnHeap(StringBuffer& buffer) {
  harness::fillHeap(buffer, std::string(100, 'o'), 5);
  buffer.setExtendSize(9);
}

void makeSecure(StringBuffer& buffer) {
  buffer.setSecureBuf(true);
  fillOnHeap(buffer);
}

// An emptied output keeps its block, unless it is secure.
ModelBuffer emptied(StringBuffer& out, bool secure) {
  ModelBuffer model;
  model.capacity = secure ? 0 : out.heapUsage();
  return model;
}

testing::AssertionResult counts(StringBuffer& buffer, char delimiter, Honour honour) {
  const harness::BufferState before = stateOf(buffer);
  const unsigned int expected = reference::countColumns(before.content, delimiter, honour);
  const unsigned int count = buffer.countColumns(delimiter, honour.quotes, honour.escapes);
  if (count != expected)
    return testing::AssertionFailure()
           << count << " fields instead of " << expected << " in " << shown(before.content);
  if (!(stateOf(buffer) == before)) return testing::AssertionFailure() << "the buffer has changed";
  return testing::AssertionSuccess();
}

testing::AssertionResult gets(StringBuffer& buffer, unsigned int index, char delimiter,
                              Honour honour, const Prepare& prepare = leaveEmpty,
                              bool secure = false) {
  const harness::BufferState before = stateOf(buffer);
  StringBuffer out;
  prepare(out);
  ModelBuffer model = emptied(out, secure);
  const bool expected = reference::getNthDelimited(before.content, index, delimiter, honour, model);
  const std::string call = told(before.content, index, honour);
  if (buffer.getNthDelimited(index, delimiter, honour.quotes, honour.escapes, out) != expected)
    return testing::AssertionFailure() << "get " << call << " is not " << expected;
  if (!(stateOf(buffer) == before)) return testing::AssertionFailure() << call << ": changed";
  const testing::AssertionResult same = matches(out, model);
  return same ? same : testing::AssertionFailure() << "get " << call << ": " << same.message();
}

testing::AssertionResult sets(StringBuffer& buffer, unsigned int index, char delimiter,
                              Honour honour, const std::string& text) {
  ModelBuffer model = modelOf(buffer);
  const std::string call = told(model.bytes, index, honour) + " to " + shown(text);
  StringBuffer value;
  appendRaw(value, text);
  const harness::BufferState before = stateOf(value);
  const bool expected = reference::setNthDelimited(model, index, delimiter, honour, text);
  if (buffer.setNthDelimited(index, delimiter, honour.quotes, honour.escapes, value) != expected)
    return testing::AssertionFailure() << "set " << call << " is not " << expected;
  if (!(stateOf(value) == before)) return testing::AssertionFailure() << call << ": changed";
  const testing::AssertionResult same = matches(buffer, model);
  return same ? same : testing::AssertionFailure() << "set " << call << ": " << same.message();
}

testing::AssertionResult removes(StringBuffer& buffer, unsigned int index, char delimiter,
                                 Honour honour) {
  ModelBuffer model = modelOf(buffer);
  const std::string call = told(model.bytes, index, honour);
  const bool expected = reference::removeNthDelimited(model.bytes, index, delimiter, honour);
  if (buffer.removeNthDelimited(index, delimiter, honour.quotes, honour.escapes) != expected)
    return testing::AssertionFailure() << "remove " << call << " is not " << expected;
  const testing::AssertionResult same = matches(buffer, model);
  return same ? same : testing::AssertionFailure() << "remove " << call << ": " << same.message();
}

testing::AssertionResult pops(StringBuffer& buffer, char delimiter,
                              const Prepare& prepare = fillShort) {
  ModelBuffer model = modelOf(buffer);
  const std::string content = model.bytes;
  StringBuffer out;
  prepare(out);
  ModelBuffer tail = modelOf(out);
  const bool expected = reference::pop(model.bytes, delimiter, tail);
  if (buffer.pop(delimiter, out) != expected)
    return testing::AssertionFailure() << "pop " << shown(content) << " is not " << expected;
  const testing::AssertionResult same = matches(out, tail);
  if (!same) return testing::AssertionFailure() << "out of " << shown(content) << same.message();
  return matches(buffer, model);
}

testing::AssertionResult separates(StringBuffer& buffer, char separator,
                                   const Prepare& prepare = fillShort) {
  const harness::BufferState whole = stateOf(buffer);
  StringBuffer before;
  StringBuffer after;
  prepare(before);
  prepare(after);
  ModelBuffer first = modelOf(before);
  ModelBuffer second = modelOf(after);
  const bool expected = reference::separate(whole.content, separator, first, second);
  if (buffer.separate(separator, before, after) != expected)
    return testing::AssertionFailure() << "separate " << shown(whole.content) << ": " << !expected;
  if (!(stateOf(buffer) == whole)) return testing::AssertionFailure() << "the buffer has changed";
  const testing::AssertionResult same = matches(before, first);
  return same ? matches(after, second) : same;
}

// Whether a field is the last one of a text that a NUL ends.
bool setsBeforeANul(const std::string& content, unsigned int index, char delimiter, Honour honour) {
  const reference::Found found = reference::findField(content, index, delimiter, honour);
  return found.field && !found.separator && found.end != content.size();
}

// All methods on one content; only what stands before the first NUL matters to a last field that
// is set.
testing::AssertionResult agrees(const std::string& content, unsigned int index, char delimiter,
                                Honour honour, const std::string& value) {
  StringBuffer read;
  appendRaw(read, content);
  testing::AssertionResult result = counts(read, delimiter, honour);
  if (result) result = gets(read, index, delimiter, honour);
  if (result) result = removes(read, index, delimiter, honour);
  if (!result || setsBeforeANul(content, index, delimiter, honour)) return result;
  StringBuffer written;
  appendRaw(written, content);
  return sets(written, index, delimiter, honour, value);
}

testing::AssertionResult endsAgree(const std::string& content, char delimiter,
                                   const Prepare& prepare = fillShort) {
  StringBuffer buffer;
  appendRaw(buffer, content);
  const testing::AssertionResult result = separates(buffer, delimiter, prepare);
  return result ? pops(buffer, delimiter, prepare) : result;
}

TEST(FieldsReference, AgreesOnAllSmallContents) {
  for (const std::string& content : allStrings("a,\"\\", 5))
    for (const Honour honour : kAllHonours)
      for (unsigned int index = 0; index < 4; ++index)
        ASSERT_TRUE(agrees(content, index, ',', honour, index % 2 == 0 ? "z" : ""));
  for (const std::string& content : allStrings("a,\0"s, 6)) ASSERT_TRUE(endsAgree(content, ','));
}

TEST(FieldsReference, AgreesOnAllSmallContentsWithNuls) {
  for (const std::string& content : allStrings("a,\"\0"s, 5))
    for (const Honour honour : {kPlain, kQuotes})
      for (unsigned int index = 0; index < 4; ++index)
        ASSERT_TRUE(agrees(content, index, ',', honour, "z\0,y"s));
}

TEST(FieldsReference, AgreesOnRandomContents) {
  for (unsigned int seed = 1; seed <= 400; ++seed) {
    const std::string mixed = randomText(seed, seed % 150, "ab,;\"\\\n\xE9");
    const std::string wide = randomText(seed, 3 * seed, "abcdefghijklmnopqrstuvwxyz01234,,\"\"\\");
    const std::string value = randomText(seed + 1, seed % 300, "xyz,\"\\");
    for (const Honour honour : kAllHonours) {
      ASSERT_TRUE(agrees(mixed, seed % 7, ',', honour, value));
      ASSERT_TRUE(agrees(wide, seed % 11, ',', honour, value));
    }
    ASSERT_TRUE(endsAgree(mixed, ','));
    ASSERT_TRUE(endsAgree(wide, ',', fillOnHeap));
  }
}

// Fields, what stands before them and what stands behind them, at every border of the storage.
TEST(FieldsReference, AgreesAtTheStorageBorders) {
  const std::size_t sizes[] = {0, 1, 79, 80, 81, 82, 83, 119, 120, 255, 256, 283, 284, 285};
  for (const std::size_t field : sizes) {
    for (const std::size_t other : sizes) {
      const std::string content =
          std::string(other, 'a') + "," + std::string(field, 'b') + "," + std::string(other, 'c');
      for (const std::size_t value : {0U, 1U, 81U, 82U, 300U})
        for (unsigned int index = 0; index < 3; ++index)
          ASSERT_TRUE(agrees(content, index, ',', kBoth, std::string(value, 'v')));
      for (const Prepare& prepare : {Prepare(leaveEmpty), Prepare(fillOnHeap)})
        ASSERT_TRUE(endsAgree(content, ',', prepare));
    }
  }
}

// Each run between bytes that are left out is one append, as the storage of the output shows.
TEST(FieldsReference, AgreesOnRunsThatCrossTheStorageBorders) {
  for (std::size_t run = 70; run <= 90; ++run) {
    const std::string bytes(run, 'r');
    for (const std::string& content :
         {"\"" + bytes + "\"\"" + bytes + "\"", bytes + "\\," + bytes + "\\\\" + bytes,
          bytes + "\"" + bytes + "\"" + bytes + std::string(130, '"') + bytes}) {
      StringBuffer buffer(content.c_str());
      for (const Honour honour : kAllHonours) {
        ASSERT_TRUE(gets(buffer, 0, ',', honour));
        ASSERT_TRUE(gets(buffer, 0, ',', honour, fillOnHeap));
        ASSERT_TRUE(gets(buffer, 0, ',', honour, makeSecure, true));
      }
    }
  }
}

TEST(FieldsReference, EveryByteCanBeTheDelimiter) {
  for (int b = 1; b < 256; ++b) {
    const char delimiter = static_cast<char>(b);
    const std::string byte(1, delimiter);
    for (const Honour honour : kAllHonours)
      for (unsigned int index = 0; index < 4; ++index)
        ASSERT_TRUE(agrees("p" + byte + "q" + byte + "\"r" + byte + "\"", index, delimiter, honour,
                           byte + "v"))
            << b;
    ASSERT_TRUE(endsAgree("p" + byte + "q" + byte + "r", delimiter)) << b;
  }
}

TEST(FieldsReference, EveryByteCanStandInAField) {
  for (int b = 0; b < 256; ++b) {
    const std::string byte(1, static_cast<char>(b));
    for (const Honour honour : kAllHonours)
      for (unsigned int index = 0; index < 4; ++index)
        ASSERT_TRUE(agrees("p" + byte + ",\"" + byte + ",\"," + byte, index, ',', honour, "v"))
            << b;
    ASSERT_TRUE(endsAgree(byte + "=" + byte, '=')) << b;
  }
}

// --- countColumns ------------------------------------------------------------------------------

struct CountCase {
  Honour honour;
  std::string content;
  unsigned int count;
};

TEST(Fields, CountColumns) {
  const std::vector<CountCase> cases = {
      {kPlain, "", 0},
      {kPlain, "\0,"s, 1},
      {kPlain, "a", 1},
      {kPlain, "a,b,", 3},
      {kPlain, ",", 2},
      {kPlain, "a\0,b"s, 1},
      // quotes
      {kQuotes, "a,\"b,c\"", 2},
      {kPlain, "a,\"b,c\"", 3},
      {kQuotes, "a,\"b,c,d", 2},
      {kQuotes, "\"a\"\",b\",c", 2},
      {kQuotes, "a\"b,c", 1},
      // escapes
      {kEscapes, "a\\,b,c", 2},
      {kPlain, "a\\,b,c", 3},
      {kEscapes, "a\\\\,b", 2},
      {kEscapes, "a,b\\", 2},
      // both: an escaped quote toggles nothing, also inside quotes
      {kBoth, "\\\"a,b\\\"", 2},
      {kBoth, "\"a\\\",b\",c", 2},
      {kQuotes, "\\\"a,b\\\"", 1},
      {kEscapes, "\"a,b\"", 2},
  };
  for (const CountCase& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    EXPECT_EQ(buffer.countColumns(',', c.honour.quotes, c.honour.escapes), c.count)
        << shown(c.content);
    EXPECT_TRUE(counts(buffer, ',', c.honour));
  }
}

TEST(Fields, QuotesAndBackslashesAreNoDelimitersWhereTheyAreHonoured) {
  StringBuffer quoted("a\"b\"c");
  EXPECT_EQ(quoted.countColumns('"', true, false), 1U);
  EXPECT_EQ(quoted.countColumns('"', false, true), 3U);
  StringBuffer escaped("a\\b\\c");
  EXPECT_EQ(escaped.countColumns('\\', false, true), 1U);
  EXPECT_EQ(escaped.countColumns('\\', true, false), 3U);
}

TEST(Fields, ANulIsNoDelimiterOfFields) {
  StringBuffer buffer;
  appendRaw(buffer, "a\0b"s);
  EXPECT_EQ(buffer.countColumns('\0', true, true), 1U);
  EXPECT_TRUE(gets(buffer, 0, '\0', kBoth));
  EXPECT_TRUE(gets(buffer, 1, '\0', kBoth));
  EXPECT_TRUE(removes(buffer, 1, '\0', kBoth));
  EXPECT_TRUE(holds(buffer, "a\0b"s, 0, 202));
}

// --- getNthDelimited ---------------------------------------------------------------------------

struct GetCase {
  Honour honour;
  std::string content;
  unsigned int index;
  bool exists;
  std::string field;
};

void expectGets(const std::vector<GetCase>& cases) {
  for (const GetCase& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    StringBuffer out("earlier");
    EXPECT_EQ(buffer.getNthDelimited(c.index, ',', c.honour.quotes, c.honour.escapes, out),
              c.exists)
        << told(c.content, c.index, c.honour);
    EXPECT_TRUE(holds(out, c.field, 0, 202)) << told(c.content, c.index, c.honour);
    EXPECT_TRUE(gets(buffer, c.index, ',', c.honour));
  }
}

TEST(Fields, GetByIndex) {
  expectGets({{kPlain, "a,,c", 0, true, "a"},
              {kPlain, "a,,c", 1, true, ""},
              {kPlain, "a,,c", 2, true, "c"},
              {kPlain, "a,,c", 3, false, ""},
              {kPlain, "a,", 1, true, ""},
              {kPlain, "a,", 2, false, ""},
              {kPlain, "", 0, false, ""},
              {kPlain, "\0a,b"s, 0, true, ""},
              {kPlain, "\0a,b"s, 1, false, ""},
              {kPlain, "a,b\0c,d"s, 1, true, "b"},
              {kPlain, "a,b\0c,d"s, 2, false, ""},
              {kPlain, "\"a,b\"", 1, true, "b\""}});
}

TEST(Fields, GetLeavesTheQuotesOut) {
  expectGets({{kQuotes, "\"a,b\",c", 0, true, "a,b"},
              {kQuotes, "x,\"a,b\"", 1, true, "a,b"},
              {kQuotes, "a\"b\"c", 0, true, "abc"},
              {kQuotes, "\"\",x", 0, true, ""},
              {kQuotes, "\"a,b", 0, true, "a,b"},
              {kQuotes, "\"a,b", 1, false, ""},
              {kEscapes, "\"a\",b", 0, true, "\"a\""}});
}

TEST(Fields, ADoubledQuoteInsideQuotesStandsForOne) {
  expectGets({{kQuotes, "\"x\"\"y\"", 0, true, "x\"y"},
              {kQuotes, "\"x\"\",y\",z", 0, true, "x\",y"},
              {kQuotes, "\"\"\"\"", 0, true, "\""},
              {kQuotes, "\"\"\"", 0, true, "\""},
              {kQuotes, "\"\"\"\"\"\"", 0, true, "\"\""},
              {kQuotes, "\"a\"\"\"\"b\"", 0, true, "a\"\"b"},
              // outside quotes a pair opens and closes
              {kQuotes, "x\"\"y", 0, true, "xy"},
              // a pair before the wanted field does the same
              {kQuotes, "\"a\"\"b\",c", 1, true, "c"},
              {kQuotes, "\"a\"\",b\",c", 1, true, "c"},
              // the field that ends before a pair
              {kQuotes, "a,\"\"", 0, true, "a"},
              {kQuotes, "a,\"\"", 1, true, ""},
              {kBoth, "\"x\\\"\"y\"", 0, true, "x\"y"},
              {kBoth, "\"x\"\\\"y", 0, true, "x\"y"}});
}

TEST(Fields, GetLeavesTheEscapingBackslashesOut) {
  expectGets({{kEscapes, "a\\,b,c", 0, true, "a,b"},
              {kEscapes, "a\\,b,c", 1, true, "c"},
              {kEscapes, "a\\\\b", 0, true, "a\\b"},
              {kEscapes, "a\\\\,b", 1, true, "b"},
              {kEscapes, "a\\nb", 0, true, "anb"},
              {kEscapes, "a,b\\", 1, true, "b"},
              {kEscapes, "\\", 0, true, ""},
              {kPlain, "a\\b", 0, true, "a\\b"},
              {kBoth, "\"a\\,b\\\"\",c", 0, true, "a,b\""}});
}

TEST(Fields, GetEmptiesTheOutputFirstWhateverFollows) {
  for (const unsigned int index : {0U, 1U, 2U, 10000001U, 0xFFFFFFFFU}) {
    for (const std::string& content : {""s, "a,b"s, "a," + std::string(150, 'b')}) {
      StringBuffer buffer(content.c_str());
      EXPECT_TRUE(gets(buffer, index, ',', kPlain, fillShort));
      EXPECT_TRUE(gets(buffer, index, ',', kPlain, fillOnHeap));
      EXPECT_TRUE(gets(buffer, index, ',', kPlain, makeSecure, true));
    }
  }
}

TEST(Fields, GetIntoThisBufferEmptiesIt) {
  for (const Prepare& prepare : {Prepare(fillShort), Prepare(fillOnHeap)}) {
    for (const unsigned int index : {0U, 1U, 10000001U}) {
      StringBuffer buffer;
      prepare(buffer);
      ModelBuffer model = emptied(buffer, false);
      EXPECT_FALSE(buffer.getNthDelimited(index, ',', true, true, buffer));
      EXPECT_TRUE(matches(buffer, model));
    }
  }
}

// --- setNthDelimited ---------------------------------------------------------------------------

struct SetCase {
  Honour honour;
  std::string content;
  unsigned int index;
  std::string value;
  std::string result;
};

void expectSets(const std::vector<SetCase>& cases) {
  for (const SetCase& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    EXPECT_TRUE(sets(buffer, c.index, ',', c.honour, c.value));
    EXPECT_TRUE(holds(buffer, c.result, 0, 202)) << told(c.content, c.index, c.honour);
  }
}

TEST(Fields, SetReplacesAField) {
  expectSets({{kPlain, "a,b,c", 0, "X", "X,b,c"},
              {kPlain, "a,b,c", 1, "X", "a,X,c"},
              {kPlain, "a,b,c", 2, "X", "a,b,X"},
              {kPlain, "a,,c", 1, "X", "a,X,c"},
              {kPlain, "a,b,", 2, "X", "a,b,X"},
              {kPlain, "a,b,c", 1, "", "a,,c"},
              {kPlain, "abc", 0, "", ""},
              {kPlain, "abc", 0, "X", "X"},
              {kPlain, ",", 0, "X", "X,"},
              {kPlain, "\"a,b\",c", 1, "X", "\"a,X,c"}});
}

TEST(Fields, SetAddsMissingFields) {
  expectSets({{kPlain, "a", 1, "z", "a,z"},
              {kPlain, "a", 2, "z", "a,,z"},
              {kPlain, "a", 3, "z", "a,,,z"},
              {kPlain, "a,b", 3, "z", "a,b,,z"},
              {kPlain, "a", 2, "", "a,,"},
              {kQuotes, "\"a,b", 1, "z", "\"a,b,z"},
              {kPlain, "a\0b"s, 1, "z", "a\0b,z"s}});
}

TEST(Fields, SetInAnEmptyBuffer) {
  expectSets({{kPlain, "", 0, "z", "z"},
              {kPlain, "", 1, "z", ",z"},
              {kPlain, "", 3, "z", ",,,z"},
              {kPlain, "", 2, "", ",,"}});
}

TEST(Fields, AnEmptyValueInAnEmptyBufferLeavesOneDelimiter) {
  expectSets({{kPlain, "", 0, "", ","}, {kBoth, "", 0, "", ","}});
}

TEST(Fields, SetInsertsTheValueAsItStands) {
  expectSets({{kBoth, "a,b,c", 1, "x,\"y\\", "a,x,\"y\\,c"},
              {kBoth, "a,b,c", 1, "x\0y"s, "a,x\0y,c"s},
              {kBoth, "a", 1, "x\0y"s, "a,x\0y"s}});
}

TEST(Fields, SetHonoursQuotesAndEscapes) {
  expectSets({{kQuotes, "\"a,b\",c", 1, "X", "\"a,b\",X"},
              {kQuotes, "\"a,b\",c", 0, "X", "X,c"},
              {kEscapes, "a\\,b,c", 0, "X", "X,c"},
              {kEscapes, "a\\,b,c", 1, "X", "a\\,b,X"},
              {kBoth, "\"a\\\",b\",c", 1, "X", "\"a\\\",b\",X"}});
}

TEST(Fields, SetKeepsWhatLiesBehindANulWithTheTail) {
  expectSets({{kPlain, "a,b\0c"s, 0, "X", "X,b\0c"s}, {kPlain, "a,b,c\0d"s, 1, "", "a,,c\0d"s}});
}

TEST(Fields, SetOfTheLastFieldBeforeANulReplacesIt) {
  for (const std::string& content : {"a,b\0c,d"s, "a,\0d"s, "a,b\0"s}) {
    StringBuffer buffer;
    appendRaw(buffer, content);
    EXPECT_TRUE(buffer.setNthDelimited(1, ',', false, false, StringBuffer("X")));
    EXPECT_TRUE(holds(buffer, "a,X", 0, 202));
  }
}

TEST(Fields, TheSavedTailGoesBackWithoutNulsAtItsEnd) {
  expectSets({{kPlain, "a,b\0\0"s, 0, "X", "X,b"}});
}

TEST(Fields, SetOfThisBufferInsertsNothing) {
  for (const unsigned int index : {0U, 1U, 2U, 4U}) {
    StringBuffer buffer("a,b,c");
    ModelBuffer model = modelOf(buffer);
    reference::setNthDelimited(model, index, ',', kPlain, "");
    EXPECT_TRUE(buffer.setNthDelimited(index, ',', false, false, buffer));
    EXPECT_TRUE(matches(buffer, model)) << index;
  }
}

TEST(Fields, SetOfAnEmptyBufferInItselfLeavesOneDelimiter) {
  StringBuffer buffer;
  EXPECT_TRUE(buffer.setNthDelimited(0, ',', false, false, buffer));
  EXPECT_TRUE(holds(buffer, ",", 0, 202));
}

// Calls `body` with the marker of a buffer broken, its validity word, or both.
void whileDead(StringBuffer& buffer, const std::function<void()>& body) {
  {
    const harness::BrokenMarker noMarker(buffer);
    body();
    const harness::BrokenValidityWord noWord(buffer);
    body();
  }
  const harness::BrokenValidityWord noWord(buffer);
  body();
}

TEST(Fields, SetOfADeadBufferInsertsNothing) {
  for (const std::string& content : {"a,b,c"s, "a"s, "a,b," + std::string(500, 'c')}) {
    for (const unsigned int index : {0U, 1U, 4U}) {
      StringBuffer value("dead");
      whileDead(value, [&] {
        StringBuffer buffer(content.c_str());
        ModelBuffer model = modelOf(buffer);
        reference::setNthDelimited(model, index, ',', kPlain, "");
        EXPECT_TRUE(buffer.setNthDelimited(index, ',', false, false, value));
        EXPECT_TRUE(matches(buffer, model)) << index;
      });
    }
  }
}

TEST(Fields, SetOfADeadBufferInAnEmptyOneLeavesOnlyTheDelimiters) {
  StringBuffer value("dead");
  whileDead(value, [&] {
    for (const unsigned int index : {0U, 2U}) {
      StringBuffer buffer;
      EXPECT_TRUE(buffer.setNthDelimited(index, ',', false, false, value));
      EXPECT_TRUE(holds(buffer, std::string(index, ','), 0, 202));
    }
  });
}

TEST(Fields, ATailOf400BytesNeedsNoBlock) {
  for (const std::size_t tail : {1U, 399U, 400U, 401U, 402U, 5000U}) {
    const std::string rest = "," + std::string(tail - 1, 't');
    StringBuffer buffer(("field" + rest).c_str());
    const StringBuffer value("new");
    bool result = false;
    long seen = 0;
    {
      const harness::FailAllocation count(0);
      result = buffer.setNthDelimited(0, ',', false, false, value);
      seen = count.seen();
    }
    EXPECT_TRUE(result);
    EXPECT_LE(seen, tail <= 400 ? 0 : 1) << tail;
    EXPECT_EQ(bytesOf(buffer), "new" + rest);
  }
}

TEST(Fields, ATailThatCannotBeSavedChangesNothing) {
  for (const std::size_t tail : {400U, 401U, 5000U}) {
    const std::string content = "field," + std::string(tail - 1, 't');
    StringBuffer buffer(content.c_str());
    const harness::BufferState before = stateOf(buffer);
    const StringBuffer value("new");
    bool result = false;
    {
      const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
      result = buffer.setNthDelimited(0, ',', false, false, value);
    }
    EXPECT_TRUE(result || tail > 400);
    const std::string expected = result ? "new" + content.substr(5) : content;
    EXPECT_TRUE(holds(buffer, expected, before.heapUsage, before.extendSize));
  }
}

// --- removeNthDelimited ------------------------------------------------------------------------

struct RemoveCase {
  Honour honour;
  std::string content;
  unsigned int index;
  bool removed;
  std::string left;
};

TEST(Fields, RemoveAFieldAndOneDelimiter) {
  const std::vector<RemoveCase> cases = {
      {kPlain, "a,b,c", 0, true, "b,c"},
      {kPlain, "a,b,c", 1, true, "a,c"},
      {kPlain, "a,b,c", 2, true, "a,b"},
      {kPlain, "a,b,c", 3, false, "a,b,c"},
      {kPlain, "a", 0, true, ""},
      {kPlain, "a", 5, false, "a"},
      {kPlain, "", 0, false, ""},
      {kPlain, ",", 0, true, ""},
      {kPlain, ",", 1, true, ""},
      {kPlain, ",,", 1, true, ","},
      {kPlain, "a,", 0, true, ""},
      {kPlain, ",b,c", 0, true, "b,c"},
      {kQuotes, "a,\"b,c\",d", 1, true, "a,d"},
      {kQuotes, "\"a,b", 0, true, ""},
      {kQuotes, "\"a,b", 1, false, "\"a,b"},
      {kEscapes, "a\\,b,c", 0, true, "c"},
      {kEscapes, "a\\,b,c", 1, true, "a\\,b"},
      {kBoth, "\"a\\\",b\",c", 0, true, "c"},
      // what follows moves by the length, whatever it holds
      {kPlain, "a,b,c\0d,e"s, 0, true, "b,c\0d,e"s},
      {kPlain, "a,b,c\0d,e"s, 1, true, "a,c\0d,e"s},
      {kPlain, "a,b,c\0\0"s, 1, true, "a,c\0\0"s},
      // the last field of the text ends the content
      {kPlain, "a,b\0c,d"s, 1, true, "a"},
      {kPlain, "a\0b"s, 0, true, ""},
      {kPlain, "\0a,b"s, 0, true, ""},
      {kPlain, "\0a,b"s, 1, false, "\0a,b"s},
  };
  for (const RemoveCase& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    EXPECT_EQ(buffer.removeNthDelimited(c.index, ',', c.honour.quotes, c.honour.escapes),
              c.removed);
    EXPECT_TRUE(holds(buffer, c.left, 0, 202)) << told(c.content, c.index, c.honour);
  }
}

TEST(Fields, RemoveKeepsTheBlockAndAllocatesNothing) {
  StringBuffer buffer;
  harness::fillHeap(buffer, std::string(100, 'a') + ",b," + std::string(100, 'c'), 0);
  buffer.setExtendSize(7);
  for (const unsigned int index : {1U, 0U, 0U}) {
    const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
    EXPECT_TRUE(buffer.removeNthDelimited(index, ',', false, false));
    EXPECT_EQ(fail.seen(), 0);
  }
  EXPECT_TRUE(holds(buffer, "", 204, 7));
}

// --- The limits of the index -------------------------------------------------------------------

TEST(Fields, GetAndRemoveRefuseAnIndexAboveTenMillion) {
  StringBuffer buffer;
  ASSERT_TRUE(buffer.appendCharN(',', 10000002));
  StringBuffer out("earlier");
  EXPECT_FALSE(buffer.getNthDelimited(10000001, ',', false, false, out));
  EXPECT_TRUE(holds(out, "", 0, 202));
  EXPECT_TRUE(buffer.getNthDelimited(10000000, ',', false, false, out));
  EXPECT_FALSE(buffer.removeNthDelimited(10000001, ',', false, false));
  EXPECT_EQ(buffer.getSize(), 10000002U);
  EXPECT_TRUE(buffer.removeNthDelimited(10000000, ',', false, false));
  EXPECT_EQ(buffer.getSize(), 10000001U);
}

TEST(Fields, SetRefusesAnIndexAboveOneMillion) {
  const StringBuffer value("z");
  for (const std::string& content : {""s, "a"s, std::string(1000002, ',')}) {
    StringBuffer buffer(content.c_str());
    const harness::BufferState before = stateOf(buffer);
    for (const unsigned int index : {1000001U, 10000000U, 0xFFFFFFFFU})
      EXPECT_FALSE(buffer.setNthDelimited(index, ',', false, false, value));
    EXPECT_EQ(stateOf(buffer), before);
    EXPECT_TRUE(sets(buffer, 1000000, ',', kPlain, "z"));
  }
}

// --- pop ---------------------------------------------------------------------------------------

struct PopCase {
  char delimiter;
  std::string content;
  bool found;
  std::string left;
  std::string tail;
};

TEST(Fields, PopCutsAtTheLastDelimiter) {
  const std::vector<PopCase> cases = {
      {',', "a,b,c", true, "a,b", "c"},
      {',', "abc", false, "abc", ""},
      {',', "", false, "", ""},
      {',', ",", true, "", ""},
      {',', "a,", true, "a", ""},
      {',', ",a", true, "", "a"},
      {',', "\"a,b\"", true, "\"a", "b\""},
      // the stored bytes are searched
      {',', "a,b\0c,d"s, true, "a,b\0c"s, "d"},
      {',', "a,b\0c"s, true, "a", "b\0c"s},
      {'\0', "a\0b\0c"s, true, "a\0b"s, "c"},
      {'\0', "abc", false, "abc", ""},
      {'\0', "abc\0"s, true, "abc", ""},
      {'\xE9', "a\xE9z", true, "a", "z"},
  };
  for (const PopCase& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    StringBuffer out("x");
    EXPECT_EQ(buffer.pop(c.delimiter, out), c.found) << shown(c.content);
    EXPECT_TRUE(holds(buffer, c.left, 0, 202)) << shown(c.content);
    EXPECT_TRUE(holds(out, "x" + c.tail, 0, 202)) << shown(c.content);
  }
}

TEST(Fields, PopIntoThisBufferLeavesWhatIsBeforeTheDelimiter) {
  for (const std::string& tail : {"c"s, ""s, std::string(70, 'c'), std::string(500, 'c')}) {
    for (const std::string& head : {"a,b"s, ""s, std::string(90, 'a')}) {
      StringBuffer buffer((head + "," + tail).c_str());
      EXPECT_TRUE(buffer.pop(',', buffer));
      EXPECT_TRUE(holds(buffer, head));
    }
  }
  StringBuffer none("abc");
  EXPECT_FALSE(none.pop(',', none));
  EXPECT_TRUE(holds(none, "abc", 0, 202));
}

TEST(Fields, PopKeepsTheBlock) {
  StringBuffer buffer((std::string(300, 'a') + ",b").c_str());
  buffer.setExtendSize(7);
  EXPECT_TRUE(pops(buffer, ','));
  EXPECT_TRUE(holds(buffer, std::string(300, 'a'), 302 + 203, 7));
}

TEST(Fields, PopCutsAlsoWhenTheOutputCannotGrow) {
  StringBuffer buffer(("a,b," + std::string(200, 'c')).c_str());
  StringBuffer out("earlier");
  bool result = false;
  {
    const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
    result = buffer.pop(',', out);
  }
  EXPECT_TRUE(result);
  EXPECT_TRUE(holds(buffer, "a,b"));
  EXPECT_TRUE(holds(out, "earlier", 0, 202));
}

// --- separate ----------------------------------------------------------------------------------

struct SeparateCase {
  char separator;
  std::string content;
  bool found;
  std::string before;
  std::string after;
};

TEST(Fields, SeparateAtTheFirstSeparator) {
  const std::vector<SeparateCase> cases = {
      {'=', "k=v=w", true, "k", "v=w"},
      {'=', "=v", true, "", "v"},
      {'=', "k=", true, "k", ""},
      {'=', "=", true, "", ""},
      {'=', "kv", false, "", ""},
      {'=', "", false, "", ""},
      {'=', "\"k=v\"", true, "\"k", "v\""},
      {'=', "\\=v", true, "\\", "v"},
      {'=', "k\0=v"s, false, "", ""},
      {'=', "k=v\0w"s, true, "k", "v"},
      {'\0', "kv", false, "", ""},
      {'\0', "k\0v"s, false, "", ""},
      {'\0', "", false, "", ""},
      {'\xE9', "k\xE9v", true, "k", "v"},
  };
  for (const SeparateCase& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    StringBuffer before("x");
    StringBuffer after("y");
    EXPECT_EQ(buffer.separate(c.separator, before, after), c.found) << shown(c.content);
    EXPECT_TRUE(holds(before, "x" + c.before, 0, 202)) << shown(c.content);
    EXPECT_TRUE(holds(after, "y" + c.after, 0, 202)) << shown(c.content);
    EXPECT_TRUE(holds(buffer, c.content, 0, 202));
  }
}

TEST(Fields, SeparateByNulTouchesNothing) {
  StringBuffer buffer;
  appendRaw(buffer, "a\0b"s);
  StringBuffer out;
  appendRaw(out, "x\0"s);
  EXPECT_FALSE(buffer.separate('\0', out, out));
  EXPECT_TRUE(holds(out, "x\0"s, 0, 202));
}

TEST(Fields, SeparateIntoOneBufferAppendsBothParts) {
  const StringBuffer buffer("k=v=w");
  StringBuffer out("x");
  EXPECT_TRUE(buffer.separate('=', out, out));
  EXPECT_TRUE(holds(out, "xkv=w", 0, 202));
}

TEST(Fields, SeparateWithThisBufferBehindTheSeparator) {
  for (const std::string& after : {"v"s, std::string(79, 'v'), std::string(300, 'v')}) {
    StringBuffer buffer(("k=" + after).c_str());
    StringBuffer before;
    EXPECT_TRUE(buffer.separate('=', before, buffer));
    EXPECT_TRUE(holds(before, "k", 0, 202));
    EXPECT_TRUE(holds(buffer, "k=" + after + after));
  }
}

TEST(Fields, SeparateWithThisBufferBeforeTheSeparator) {
  for (const std::string& name : {"k"s, std::string(79, 'k'), std::string(300, 'k')}) {
    StringBuffer buffer((name + "=v").c_str());
    StringBuffer after;
    EXPECT_TRUE(buffer.separate('=', buffer, after));
    EXPECT_TRUE(holds(buffer, name + "=v" + name));
    EXPECT_TRUE(holds(after, "v", 0, 202));
  }
}

// --- What holds for all of them ----------------------------------------------------------------

TEST(Fields, TheLengthBoundsWhatIsReadWhenTheTerminatorIsOverwritten) {
  const std::string content = std::string(60, 'a') + ";" + std::string(60, 'b');
  for (const char stale : {',', '"', '\\', 'x'}) {
    const auto fill = [&](StringBuffer& buffer) {
      buffer.clear();
      harness::fillExactUnterminated(buffer, content, stale);
    };
    StringBuffer buffer;
    StringBuffer out;
    fill(buffer);
    EXPECT_EQ(buffer.countColumns(',', true, true), 1U);
    EXPECT_FALSE(buffer.pop(',', out));
    EXPECT_FALSE(buffer.separate(',', out, out));
    EXPECT_TRUE(holds(out, "", 0, 202));
    EXPECT_TRUE(buffer.separate(';', out, out));
    EXPECT_EQ(bytesOf(out), std::string(60, 'a') + std::string(60, 'b'));
    EXPECT_FALSE(buffer.getNthDelimited(1, ',', true, true, out));
    EXPECT_TRUE(buffer.getNthDelimited(0, ',', true, true, out));
    EXPECT_EQ(bytesOf(out), content);
    EXPECT_TRUE(buffer.getNthDelimited(1, ';', true, true, out));
    EXPECT_EQ(bytesOf(out), std::string(60, 'b'));
    EXPECT_FALSE(buffer.removeNthDelimited(1, ',', true, true));
    EXPECT_EQ(bytesOf(buffer), content);
    fill(buffer);
    EXPECT_TRUE(buffer.setNthDelimited(0, ';', true, true, StringBuffer("v")));
    EXPECT_TRUE(holds(buffer, "v;" + std::string(60, 'b')));
    fill(buffer);
    EXPECT_TRUE(buffer.setNthDelimited(1, ',', true, true, StringBuffer("v")));
    EXPECT_TRUE(holds(buffer, content + ",v"));
    fill(buffer);
    EXPECT_TRUE(buffer.pop(';', out));
    EXPECT_TRUE(holds(buffer, std::string(60, 'a')));
  }
}

TEST(Fields, AQuoteAtTheEndIsNoPairWithAStaleOne) {
  StringBuffer buffer;
  const std::string content = "\"" + std::string(100, 'a') + "\"";
  harness::fillExactUnterminated(buffer, content, '"');
  StringBuffer out;
  EXPECT_TRUE(buffer.getNthDelimited(0, ',', true, false, out));
  EXPECT_EQ(bytesOf(out), std::string(100, 'a'));
}

// --- Exhausted memory --------------------------------------------------------------------------

// Runs `body` on a fresh record and a fresh output; `check` also gets the result.
void failEverywhere(const std::string& content,
                    const std::function<bool(StringBuffer&, StringBuffer&)>& body,
                    const std::function<void(StringBuffer&, StringBuffer&, bool)>& check) {
  const long blocks = harness::liveBlocks();
  {
    StringBuffer buffer;
    StringBuffer out;
    bool result = false;
    const auto setUp = [&] {
      buffer.clear();
      out.clear();
      harness::fillHeap(buffer, content, 0);
      out.append("x");
    };
    const long points = harness::failEveryAllocation(
        setUp, [&] { result = body(buffer, out); },
        [&] {
          EXPECT_TRUE(harness::invariantsHold(buffer));
          EXPECT_TRUE(harness::invariantsHold(out));
          check(buffer, out, result);
        });
    EXPECT_GE(points, 1);
  }
  EXPECT_EQ(harness::liveBlocks(), blocks);
}

const std::string kRecord = "a," + std::string(500, 'b') + "," + std::string(500, 'c');

TEST(Fields, GetOnExhaustedMemoryCorruptsNothing) {
  const std::string content = "\"" + std::string(100, 'a') + "\"\"" + std::string(900, 'a') + "\"";
  failEverywhere(
      content,
      [](StringBuffer& buffer, StringBuffer& out) {
        return buffer.getNthDelimited(0, ',', true, true, out);
      },
      [&](StringBuffer& buffer, StringBuffer& out, bool result) {
        EXPECT_TRUE(result);
        EXPECT_EQ(bytesOf(buffer), content);
        EXPECT_LE(out.getSize(), 1001U);
      });
}

TEST(Fields, AFailedSetLeavesTheFieldAsItWas) {
  const StringBuffer value(std::string(900, 'v').c_str());
  for (const unsigned int index : {0U, 1U, 2U, 600U}) {
    ModelBuffer complete{kRecord};
    reference::setNthDelimited(complete, index, ',', kPlain, std::string(900, 'v'));
    failEverywhere(
        kRecord,
        [&](StringBuffer& buffer, StringBuffer& /*out*/) {
          return buffer.setNthDelimited(index, ',', false, false, value);
        },
        [&](StringBuffer& buffer, StringBuffer& /*out*/, bool result) {
          const std::string content = bytesOf(buffer);
          const std::string added = index == 600 ? std::string(598, ',') : "";
          EXPECT_EQ(result, content == complete.bytes) << index;
          EXPECT_TRUE(result || content == kRecord || content == kRecord + added) << index;
        });
  }
}

// Whether there is room is found out in the steps in which the parts are appended.
TEST(Fields, SetGrowsAsItsPartsAreAppended) {
  for (const std::size_t room : {0U, 1U, 40U, 300U})
    for (const std::size_t size : {1U, 10U, 50U, 90U, 200U, 600U, 2000U})
      for (const std::size_t tail : {0U, 1U, 30U, 100U, 700U, 5000U})
        for (const std::string& end : {""s, "\0"s}) {
          const std::string rest = tail == 0 ? "" : "," + std::string(tail - 1, 't');
          StringBuffer buffer;
          harness::fillHeap(buffer, "first," + std::string(40, 'o') + rest,
                            static_cast<unsigned int>(room));
          ModelBuffer model = modelOf(buffer);
          reference::setNthDelimited(model, 1, ',', kPlain, std::string(size, 'v') + end);
          StringBuffer value;
          appendRaw(value, std::string(size, 'v') + end);
          EXPECT_TRUE(buffer.setNthDelimited(1, ',', false, false, value));
          EXPECT_TRUE(matches(buffer, model)) << room << " " << size << " " << tail;
        }
}

TEST(Fields, SetWithoutAFailureIsComplete) {
  const StringBuffer value(std::string(900, 'v').c_str());
  StringBuffer buffer(kRecord.c_str());
  const harness::FailAllocation none(0);
  EXPECT_TRUE(buffer.setNthDelimited(1, ',', false, false, value));
  EXPECT_EQ(buffer.getSize(), 2U + 900U + 501U);
}

TEST(Fields, PopOnExhaustedMemoryLosesOnlyTheTail) {
  failEverywhere(
      kRecord, [](StringBuffer& buffer, StringBuffer& out) { return buffer.pop(',', out); },
      [](StringBuffer& buffer, StringBuffer& out, bool result) {
        EXPECT_TRUE(result);
        EXPECT_EQ(bytesOf(buffer), kRecord.substr(0, 502));
        EXPECT_TRUE(bytesOf(out) == "x" || bytesOf(out) == "x" + std::string(500, 'c'));
      });
}

TEST(Fields, SeparateOnExhaustedMemoryChangesNothingElse) {
  failEverywhere(
      kRecord,
      [](StringBuffer& buffer, StringBuffer& out) { return buffer.separate(',', out, out); },
      [](StringBuffer& buffer, StringBuffer& out, bool result) {
        EXPECT_TRUE(result);
        EXPECT_EQ(bytesOf(buffer), kRecord);
        EXPECT_TRUE(bytesOf(out) == "xa" || bytesOf(out) == "xa" + kRecord.substr(2));
      });
}

TEST(Fields, IntoThisBufferOnExhaustedMemoryCorruptsNothing) {
  const auto sound = [](StringBuffer& /*buffer*/, StringBuffer& /*out*/, bool /*result*/) {};
  failEverywhere(
      kRecord, [](StringBuffer& buffer, StringBuffer& /*out*/) { return buffer.pop('a', buffer); },
      sound);
  failEverywhere(
      kRecord,
      [](StringBuffer& buffer, StringBuffer& /*out*/) {
        return buffer.separate(',', buffer, buffer);
      },
      sound);
}

TEST(Fields, WhatNeedsNoMemoryAllocatesNone) {
  StringBuffer buffer(kRecord.c_str());
  StringBuffer out;
  const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
  EXPECT_EQ(buffer.countColumns(',', true, true), 3U);
  EXPECT_TRUE(buffer.getNthDelimited(0, ',', true, true, out));
  EXPECT_FALSE(buffer.getNthDelimited(3, ',', true, true, out));
  EXPECT_FALSE(buffer.pop(';', out));
  EXPECT_FALSE(buffer.separate(';', out, out));
  EXPECT_TRUE(buffer.removeNthDelimited(1, ',', true, true));
  EXPECT_EQ(fail.seen(), 0);
}

// --- Secure buffers ----------------------------------------------------------------------------

TEST(Fields, SetWipesTheTailAndTheReleasedBlocksOfASecureBuffer) {
  for (const std::size_t tail : {1U, 400U, 401U, 3000U}) {
    for (const std::size_t size : {1U, 300U, 5000U}) {
      const StringBuffer value(std::string(size, 'v').c_str());
      StringBuffer buffer;
      buffer.setSecureBuf(true);
      const std::string rest = "," + std::string(tail - 1, 't');
      harness::fillHeap(buffer, std::string(100, 's') + rest, 0);
      const std::vector<std::string> blocks =
          harness::releasedBy([&] { buffer.setNthDelimited(0, ',', false, false, value); });
      EXPECT_TRUE(harness::allWiped(blocks)) << tail << " " << size;
      EXPECT_TRUE(holds(buffer, bytesOf(value) + rest));
      EXPECT_TRUE(harness::wipesItsBlocks(buffer));
    }
  }
}

// Also when the buffer cannot grow behind a tail that was saved in a block.
TEST(Fields, SetWipesTheTailAlsoOnExhaustedMemory) {
  const StringBuffer value(std::string(900, 'v').c_str());
  for (long k = 1; k <= 4; ++k) {
    StringBuffer buffer;
    buffer.setSecureBuf(true);
    harness::fillHeap(buffer, kRecord, 0);
    bool leaked = false;
    {
      const harness::WatchReleases watch([&leaked](const unsigned char* block, std::size_t size) {
        leaked = leaked || !harness::isZero({reinterpret_cast<const char*>(block), size});
      });
      const harness::FailAllocation fail(k, harness::FailAllocation::kFromThenOn);
      buffer.setNthDelimited(1, ',', false, false, value);
    }
    EXPECT_FALSE(leaked) << k;
    EXPECT_TRUE(harness::invariantsHold(buffer));
  }
}

TEST(Fields, SecureBuffersReleaseNothingReadable) {
  StringBuffer buffer;
  buffer.setSecureBuf(true);
  harness::fillHeap(buffer, kRecord + ",\"" + std::string(200, 'q') + "\"\"\"", 0);
  StringBuffer out;
  out.setSecureBuf(true);
  const std::vector<std::string> blocks = harness::releasedBy([&] {
    for (unsigned int i = 0; i < 5; ++i) buffer.getNthDelimited(i, ',', true, true, out);
    buffer.separate(',', out, out);
    buffer.pop(',', out);
    buffer.removeNthDelimited(1, ',', true, true);
    buffer.pop(',', buffer);
    buffer.getNthDelimited(0, ',', true, true, buffer);
  });
  EXPECT_FALSE(blocks.empty());
  EXPECT_TRUE(harness::allWiped(blocks));
}

TEST(Fields, GetWipesASecureOutput) {
  const StringBuffer record("a");
  StringBuffer out("secret");
  out.setSecureBuf(true);
  EXPECT_FALSE(record.getNthDelimited(1, ',', false, false, out));
  EXPECT_EQ(harness::peekInlineBytes(&out), std::string(82, '\0'));
}

// --- Hostile sizes -----------------------------------------------------------------------------

TEST(Fields, HostileFieldsTakeLinearTime) {
  const std::size_t size = 1 << 20;
  const double seconds = secondsOf([&] {
    for (const char c : {'"', '\\', ',', 'x'}) {
      StringBuffer buffer(std::string(size, c).c_str());
      StringBuffer out;
      EXPECT_TRUE(buffer.getNthDelimited(0, ',', true, true, out));
      EXPECT_EQ(buffer.countColumns(',', true, true), c == ',' ? size + 1 : 1U);
      EXPECT_TRUE(buffer.setNthDelimited(0, ',', true, true, StringBuffer("v")));
      EXPECT_TRUE(buffer.removeNthDelimited(0, ',', true, true));
      EXPECT_EQ(buffer.pop(',', out), c == ',');
    }
  });
  EXPECT_LT(seconds, 8.0);
}

TEST(Fields, AFieldOfDoubledQuotesTakesLinearTime) {
  const std::size_t size = 1 << 20;
  StringBuffer pairs(("\"" + std::string(size, '"') + "\"").c_str());
  StringBuffer out;
  const double seconds =
      secondsOf([&] { EXPECT_TRUE(pairs.getNthDelimited(0, ',', true, false, out)); });
  EXPECT_EQ(out.getSize(), size / 2);
  EXPECT_LT(seconds, 8.0);
}

// A long field is passed once for each field behind it, but never once for each of its own bytes.
TEST(Fields, FieldAfterFieldOfALongRecordTakesTheTimeOfTheRecordEach) {
  const std::string quotes = "x" + std::string(1 << 18, '"') + "y";
  StringBuffer buffer((quotes + ",b,c," + quotes).c_str());
  StringBuffer out;
  const double seconds = secondsOf([&] {
    for (unsigned int index = 0; index < 4; ++index)
      EXPECT_TRUE(buffer.getNthDelimited(index, ',', true, true, out));
  });
  // The first quote opens, the last one closes, and the others are pairs.
  EXPECT_TRUE(holds(out, "x" + std::string((1 << 17) - 1, '"') + "y"));
  EXPECT_LT(seconds, 8.0);
}

// ---- Allocations ----

TEST(Fields, ReadingAllocatesOnceWhateverTheSize) {
  const auto record = [](std::size_t size) {
    return "a,\"" + harness::textWithMarks(size, 100, "\"\"") + "\",b";
  };
  EXPECT_TRUE(harness::allocatesAtAnySize(1, record, [](StringBuffer& buffer) {
    StringBuffer field;
    buffer.getNthDelimited(1, ',', true, true, field);
    return field.getSize();
  }));
}

// One for the value, one for the record and one for what stands after the field.
TEST(Fields, WritingAllocatesTheSameWhateverTheSize) {
  const auto record = [](std::size_t size) { return "a,b," + std::string(size, 'c'); };
  EXPECT_TRUE(harness::allocatesAtAnySize(3, record, [](StringBuffer& buffer) {
    const StringBuffer value(buffer.getString());
    buffer.setNthDelimited(1, ',', true, true, value);
    return buffer.getSize();
  }));
}

}  // namespace
