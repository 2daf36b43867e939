#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <ctime>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/LivenessMarks.h"
#include "harness/ModelBuffer.h"
#include "harness/ReplaceReference.h"
#include "harness/StaleStorage.h"

using harness::appendRaw;
using harness::bytesOf;
using harness::fillHeap;
using harness::holds;
using harness::invariantsHold;
using harness::matches;
using harness::ModelBuffer;
using harness::modelOf;

namespace {

using namespace std::string_literals;
using Text = const char*;
using Pieces = std::vector<std::string>;

// ---------------------------------------------------------------------------------------------
// Members and what they append

// A member that takes up to two texts, and the pieces that it appends for them: each piece makes
// room for itself.
struct TextMember {
  std::string name;
  std::function<bool(StringBuffer&, Text, Text)> run;
  std::function<Pieces(Text, Text)> pieces;
  bool exactFit = false;  // grows without slack and keeps the extend size
  bool inFront = false;   // the piece goes before the content
};

std::string textOf(Text text) { return text == nullptr ? "" : text; }

// `format` with its first `placeholder` replaced; a null value leaves it standing.
std::string formatted(Text format, const std::string& placeholder, Text value) {
  std::string result = textOf(format);
  const std::size_t at = result.find(placeholder);
  if (value != nullptr && at != std::string::npos) result.replace(at, placeholder.size(), value);
  return result;
}

std::string escapedQuotes(const std::string& value) {
  std::string result;
  for (char c : value) result += c == '"' ? "\\\""s : std::string(1, c);
  return result;
}

std::vector<TextMember> plainTextMembers() {
  return {
      {"append2", [](StringBuffer& b, Text f, Text s) { return b.append2(f, s); },
       [](Text f, Text s) {
         return Pieces{textOf(f), textOf(s)};
       }},
      {"append3", [](StringBuffer& b, Text f, Text s) { return b.append3(f, s, f); },
       [](Text f, Text s) {
         return Pieces{textOf(f), textOf(s), textOf(f)};
       }},
      {"appendMinSize", [](StringBuffer& b, Text f, Text) { return b.appendMinSize(f); },
       [](Text f, Text) { return Pieces{textOf(f)}; }, true},
      {"appendNameIntValue",
       [](StringBuffer& b, Text f, Text) { return b.appendNameIntValue(f, -17); },
       [](Text f, Text) {
         return Pieces{textOf(f), "=", "-17"};
       }},
      {"prepend", [](StringBuffer& b, Text f, Text) { return b.prepend(f); },
       [](Text f, Text) { return Pieces{textOf(f)}; }, false, true},
  };
}

std::vector<TextMember> textMembers() {
  std::vector<TextMember> members = plainTextMembers();
  members.push_back({"append_s", [](StringBuffer& b, Text f, Text s) { return b.append_s(f, s); },
                     [](Text f, Text s) { return Pieces{formatted(f, "%s", s)}; }});
  members.push_back({"append_d", [](StringBuffer& b, Text f, Text) { return b.append_d(f, -305); },
                     [](Text f, Text) { return Pieces{formatted(f, "%d", "-305")}; }});
  members.push_back({"appendNameValue",
                     [](StringBuffer& b, Text f, Text s) { return b.appendNameValue(f, s); },
                     [](Text f, Text s) {
                       return Pieces{textOf(f), "=\"", escapedQuotes(textOf(s)), "\""};
                     }});
  return members;
}

// A member with all its arguments bound, that appends bytes known before.
struct ValueMember {
  std::string name;
  std::function<bool(StringBuffer&)> run;
  std::string bytes;
};

std::vector<ValueMember> valueMembers() {
  return {
      {"append(int)", [](StringBuffer& b) { return b.append(-42); }, "-42"},
      {"append(unsigned)", [](StringBuffer& b) { return b.append(4000000000U); }, "4000000000"},
      {"appendInt64", [](StringBuffer& b) { return b.appendInt64(-5000000000LL); }, "-5000000000"},
      {"appendHex", [](StringBuffer& b) { return b.appendHex(0xABC, true, 8); }, "00000abc"},
      {"appendChar", [](StringBuffer& b) { return b.appendChar('c'); }, "c"},
      {"appendChar(NUL)", [](StringBuffer& b) { return b.appendChar('\0'); }, "\0"s},
      {"appendUChar", [](StringBuffer& b) { return b.appendUChar(0xFF); }, "\xFF"},
      {"appendUChar(NUL)", [](StringBuffer& b) { return b.appendUChar(0); }, "\0"s},
      {"appendChar2", [](StringBuffer& b) { return b.appendChar2('x', '\0'); }, "x\0"s},
      {"appendChar3", [](StringBuffer& b) { return b.appendChar3('\0', 'y', '\0'); }, "\0y\0"s},
      {"appendCharN", [](StringBuffer& b) { return b.appendCharN('z', 5); }, "zzzzz"},
      {"appendCharN(NUL)", [](StringBuffer& b) { return b.appendCharN('\0', 4); }, "\0\0\0\0"s},
      {"appendLineEnding", [](StringBuffer& b) { return b.appendLineEnding(); }, "\n"},
  };
}

// What the member does to a buffer, told on the model.
void apply(const TextMember& member, Text first, Text second, ModelBuffer& model) {
  const unsigned int extendSize = model.extendSize;
  if (member.exactFit) model.extendSize = 0;
  for (const std::string& piece : member.pieces(first, second))
    member.inFront ? model.prepend(piece) : model.append(piece);
  if (member.exactFit) model.extendSize = extendSize;
}

testing::AssertionResult agrees(const TextMember& member, StringBuffer& buffer, Text first,
                                Text second) {
  ModelBuffer model = modelOf(buffer);
  const ModelBuffer before = model;
  const std::string firstCopy = textOf(first);
  const std::string secondCopy = textOf(second);
  apply(member, first == nullptr ? nullptr : firstCopy.c_str(),
        second == nullptr ? nullptr : secondCopy.c_str(), model);
  const bool result = member.run(buffer, first, second);
  const testing::AssertionResult same = matches(buffer, model);
  if (result && same) return testing::AssertionSuccess();
  return testing::AssertionFailure()
         << member.name << " of " << testing::PrintToString(firstCopy.substr(0, 100)) << ", "
         << testing::PrintToString(secondCopy.substr(0, 100)) << " to " << before.bytes.size()
         << " bytes in " << before.capacity << " gives " << result << "; " << same.message();
}

testing::AssertionResult agrees(const ValueMember& member, StringBuffer& buffer) {
  ModelBuffer model = modelOf(buffer);
  model.append(member.bytes);
  if (!member.run(buffer)) return testing::AssertionFailure() << member.name << " gives false";
  return matches(buffer, model);
}

// Buffers at every border of their storage: inline with 81 - n bytes, on the heap with n bytes
// to spare, for each extend size.
void forEachBorder(const std::function<void(StringBuffer&)>& act) {
  for (unsigned int extendSize : {202U, 0U, 9U, 5000U}) {
    for (unsigned int room = 0; room <= 14; ++room) {
      StringBuffer inlined(std::string(81 - room, 'i').c_str());
      inlined.setExtendSize(extendSize);
      act(inlined);
      StringBuffer onHeap;
      fillHeap(onHeap, std::string(120, 'h'), room);
      onHeap.setExtendSize(extendSize);
      act(onHeap);
    }
  }
}

TEST(Append, EveryStorageBorderGrowsByTheRule) {
  for (const ValueMember& member : valueMembers()) {
    StringBuffer empty;
    EXPECT_TRUE(agrees(member, empty)) << member.name;
    forEachBorder([&](StringBuffer& buffer) {
      EXPECT_TRUE(agrees(member, buffer)) << member.name;
      EXPECT_TRUE(agrees(member, buffer)) << member.name;
    });
  }
}

TEST(Append, EveryStorageBorderGrowsByTheRuleForTexts) {
  const std::string n300(300, 'n');
  const std::vector<Text> texts = {nullptr, "", "n", "a%s\"%d\"z", "12345678", n300.c_str()};
  for (const TextMember& member : textMembers())
    for (Text first : texts)
      for (Text second : texts)
        forEachBorder(
            [&](StringBuffer& buffer) { ASSERT_TRUE(agrees(member, buffer, first, second)); });
}

TEST(Append, LengthsAroundTheInlineBorder) {
  for (const TextMember& member : textMembers()) {
    for (std::size_t length = 70; length < 90; ++length) {
      const std::string text(length, 't');
      StringBuffer one;
      ASSERT_TRUE(agrees(member, one, text.c_str(), nullptr));
      StringBuffer two("x");
      ASSERT_TRUE(agrees(member, two, "n", text.c_str()));
      StringBuffer three;
      ASSERT_TRUE(agrees(member, three, "%s", ("\"" + text).c_str()));
    }
  }
}

TEST(Append, ByteAfterByteFollowsTheGrowthSequence) {
  StringBuffer buffer;
  ModelBuffer model;
  for (int i = 0; i < 3000; ++i) {
    const char c = static_cast<char>('a' + i % 26);
    ASSERT_TRUE(buffer.appendChar(c));
    model.append({&c, 1});
    ASSERT_TRUE(matches(buffer, model));
    if (i == 80) {
      ASSERT_TRUE(holds(buffer, model.bytes, 0, 202));
    }
    if (i == 81) {
      ASSERT_TRUE(holds(buffer, model.bytes, 285, 202));
    }
    if (i == 284) {
      ASSERT_TRUE(holds(buffer, model.bytes, 488, 244));
    }
    if (i == 487) {
      ASSERT_TRUE(holds(buffer, model.bytes, 733, 366));
    }
    if (i == 732) {
      ASSERT_TRUE(holds(buffer, model.bytes, 1100, 550));
    }
    if (i == 1099) {
      ASSERT_TRUE(holds(buffer, model.bytes, 1651, 825));
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Characters

TEST(AppendChar, StoresEveryByteUnchanged) {
  std::string expected;
  StringBuffer chars;
  StringBuffer bytes;
  for (int value = 0; value < 256; ++value) {
    const auto byte = static_cast<unsigned char>(value);
    expected += static_cast<char>(byte);
    ASSERT_TRUE(chars.appendChar(static_cast<char>(byte)));
    ASSERT_TRUE(bytes.appendUChar(byte));
    ASSERT_TRUE(holds(chars, expected));
    ASSERT_TRUE(holds(bytes, expected));
  }
}

TEST(AppendChar, ANulRaisesTheLength) {
  StringBuffer buffer("ab");
  EXPECT_TRUE(buffer.appendChar('\0'));
  EXPECT_EQ(buffer.getSize(), 3U);
  EXPECT_TRUE(buffer.appendUChar(0));
  EXPECT_TRUE(holds(buffer, "ab\0\0"s, 0, 202));
  EXPECT_TRUE(buffer.appendChar('c'));
  EXPECT_TRUE(holds(buffer, "ab\0\0c"s, 0, 202));
}

TEST(AppendChar2, AppendsBothBytesInOrder) {
  for (int value = 0; value < 256; ++value) {
    const char c = static_cast<char>(static_cast<unsigned char>(value));
    StringBuffer buffer("x");
    EXPECT_TRUE(buffer.appendChar2(c, '1'));
    EXPECT_TRUE(buffer.appendChar2('2', c));
    EXPECT_TRUE(holds(buffer, std::string{'x', c, '1', '2', c}));
  }
}

TEST(AppendChar3, AppendsAllThreeBytesInOrder) {
  for (int value = 0; value < 256; ++value) {
    const char c = static_cast<char>(static_cast<unsigned char>(value));
    StringBuffer buffer("x");
    EXPECT_TRUE(buffer.appendChar3(c, '1', '2'));
    EXPECT_TRUE(buffer.appendChar3('3', c, '4'));
    EXPECT_TRUE(buffer.appendChar3('5', '6', c));
    EXPECT_TRUE(holds(buffer, std::string{'x', c, '1', '2', '3', c, '4', '5', '6', c}));
  }
}

TEST(AppendCharN, AppendsThatManyCopies) {
  for (unsigned int count : {0U, 1U, 2U, 79U, 80U, 81U, 82U, 83U, 500U}) {
    for (int value : {0, 0x61, 0x7F, 0x80, 0xFF}) {
      const char c = static_cast<char>(static_cast<unsigned char>(value));
      StringBuffer buffer("x");
      ModelBuffer model = modelOf(buffer);
      model.append(std::string(count, c));
      EXPECT_TRUE(buffer.appendCharN(c, count));
      EXPECT_TRUE(matches(buffer, model));
    }
  }
}

TEST(AppendCharN, NulsAreCounted) {
  StringBuffer buffer("a");
  EXPECT_TRUE(buffer.appendCharN('\0', 3));
  EXPECT_TRUE(holds(buffer, "a\0\0\0"s, 0, 202));
}

TEST(AppendCharN, TheGreatestCountIs12582912) {
  StringBuffer buffer("x");
  EXPECT_TRUE(buffer.appendCharN('a', 12582912));
  EXPECT_EQ(buffer.getSize(), 12582913U);
  EXPECT_EQ(buffer.heapUsage(), 12582913U + 203U);
  EXPECT_TRUE(holds(buffer, "x" + std::string(12582912, 'a')));
}

// Deliberate: an oversized count is ignored, and that is no failure.
TEST(AppendCharN, AGreaterCountAppendsNothing) {
  for (unsigned int count : {12582913U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    StringBuffer buffer("x");
    EXPECT_TRUE(buffer.appendCharN('a', count)) << count;
    EXPECT_TRUE(holds(buffer, "x", 0, 202)) << count;
  }
}

TEST(AppendLineEnding, AppendsOneLineFeed) {
  StringBuffer buffer("line");
  EXPECT_TRUE(buffer.appendLineEnding());
  EXPECT_TRUE(holds(buffer, "line\n", 0, 202));
}

// ---------------------------------------------------------------------------------------------
// Numbers

TEST(AppendInt, DecimalTextWithASign) {
  for (int value : {0, 1, -1, 7, -42, 9, 10, 99, 100, 12345, -99999, 1000000000, INT_MAX, -INT_MAX,
                    INT_MIN + 2, INT_MIN}) {
    StringBuffer buffer("v");
    EXPECT_TRUE(buffer.append(value));
    EXPECT_TRUE(holds(buffer, "v" + std::to_string(value), 0, 202));
  }
}

TEST(AppendUnsigned, DecimalTextWithoutASign) {
  for (unsigned int value : {0U, 1U, 9U, 10U, 2147483647U, 2147483648U, UINT_MAX}) {
    StringBuffer buffer("v");
    EXPECT_TRUE(buffer.append(value));
    EXPECT_TRUE(holds(buffer, "v" + std::to_string(value), 0, 202));
  }
}

TEST(AppendInt64, DecimalTextWithASign) {
  for (long long value : {0LL, -1LL, 42LL, 2147483648LL, -2147483649LL, 4294967296LL, LLONG_MAX,
                          LLONG_MIN + 1, LLONG_MIN}) {
    StringBuffer buffer("v");
    EXPECT_TRUE(buffer.appendInt64(value));
    EXPECT_TRUE(holds(buffer, "v" + std::to_string(value), 0, 202));
  }
}

TEST(AppendInt, EveryPowerOfTenAndItsNeighbours) {
  StringBuffer buffer;
  std::string expected;
  for (long long power = 1; power <= 100000000000000000LL; power *= 10) {
    for (long long value : {power - 1, power, power + 1, -power - 1, -power, 1 - power}) {
      ASSERT_TRUE(buffer.appendInt64(value));
      expected += std::to_string(value);
      if (power > 1000000000) continue;
      ASSERT_TRUE(buffer.append(static_cast<int>(value)));
      expected += std::to_string(value);
    }
    if (power > 1000000000) continue;
    ASSERT_TRUE(buffer.append(static_cast<unsigned int>(power)));
    expected += std::to_string(power);
  }
  EXPECT_TRUE(holds(buffer, expected));
}

std::string printed(const char* format, unsigned int value) {
  char digits[16];
  std::snprintf(digits, sizeof digits, format, value);
  return digits;
}

// A width of 2, 4 or 8 prints that many digits, of the low bits; any other all that are needed.
std::string hexOf(unsigned int value, bool lowercase, unsigned int width) {
  if (width == 2) return printed(lowercase ? "%02x" : "%02X", value & 0xFFU);
  if (width == 4) return printed(lowercase ? "%04x" : "%04X", value & 0xFFFFU);
  if (width == 8) return printed(lowercase ? "%08x" : "%08X", value);
  return printed(lowercase ? "%x" : "%X", value);
}

TEST(AppendHex, ListedCases) {
  const struct {
    unsigned int value;
    bool lowercase;
    unsigned int width;
    Text expected;
  } cases[] = {{255, false, 2, "FF"},
               {255, true, 4, "00ff"},
               {255, false, 3, "FF"},
               {0, false, 2, "00"},
               {0, false, 0, "0"},
               {0, true, 8, "00000000"},
               {0x1AB, false, 2, "AB"},
               {0x12ABC, true, 4, "2abc"},
               {0xDEADBEEF, false, 8, "DEADBEEF"},
               {0xDEADBEEF, true, 1, "deadbeef"},
               {5, true, 16, "5"},
               {10, false, 0xFFFFFFFF, "A"}};
  for (const auto& c : cases) {
    StringBuffer buffer("h");
    EXPECT_TRUE(buffer.appendHex(c.value, c.lowercase, c.width));
    EXPECT_TRUE(holds(buffer, "h"s + c.expected, 0, 202));
  }
}

TEST(AppendHex, EveryWidthAndManyValues) {
  for (unsigned int width = 0; width <= 17; ++width) {
    for (unsigned int shift = 0; shift < 32; ++shift) {
      for (unsigned int low : {0U, 1U, 0x5AU, 0xCDU, 0xFFU}) {
        for (bool lowercase : {false, true}) {
          const unsigned int value = low << shift;
          StringBuffer buffer;
          ASSERT_TRUE(buffer.appendHex(value, lowercase, width));
          ASSERT_TRUE(holds(buffer, hexOf(value, lowercase, width))) << value << ' ' << width;
        }
      }
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Texts

TEST(Append2, SkipsNullAndEmptyTexts) {
  for (Text nothing : {static_cast<Text>(nullptr), ""}) {
    StringBuffer buffer("x");
    EXPECT_TRUE(buffer.append2(nothing, nothing));
    EXPECT_TRUE(holds(buffer, "x", 0, 202));
    EXPECT_TRUE(buffer.append2("a", nothing));
    EXPECT_TRUE(buffer.append2(nothing, "b"));
    EXPECT_TRUE(buffer.append3(nothing, "c", nothing));
    EXPECT_TRUE(buffer.append3("d", nothing, "e"));
    EXPECT_TRUE(holds(buffer, "xabcde", 0, 202));
  }
}

TEST(Append3, AppendsInOrder) {
  StringBuffer buffer;
  EXPECT_TRUE(buffer.append3("one ", "two ", "three"));
  EXPECT_TRUE(holds(buffer, "one two three", 0, 202));
}

// NULs that end the content stay: only raw appends drop them.
TEST(Append, TextsDoNotDropNulsBeforeThem) {
  for (const TextMember& member : plainTextMembers()) {
    StringBuffer buffer;
    appendRaw(buffer, "ab\0\0"s);
    EXPECT_TRUE(agrees(member, buffer, "t", "u")) << member.name;
  }
}

TEST(AppendMinSize, ANeededAllocationIsExact) {
  StringBuffer buffer;
  EXPECT_TRUE(buffer.appendMinSize(std::string(200, 'a').c_str()));
  EXPECT_TRUE(holds(buffer, std::string(200, 'a'), 201, 202));
  EXPECT_TRUE(buffer.appendMinSize("bc"));
  EXPECT_TRUE(holds(buffer, std::string(200, 'a') + "bc", 203, 202));
}

TEST(AppendMinSize, ANeededAllocationIsExactForBuffers) {
  StringBuffer other(std::string(200, 'a').c_str());
  StringBuffer buffer;
  buffer.setExtendSize(33);
  EXPECT_TRUE(buffer.appendMinSize(other));
  EXPECT_TRUE(holds(buffer, std::string(200, 'a'), 201, 33));
  EXPECT_TRUE(buffer.appendMinSize(other));
  EXPECT_TRUE(holds(buffer, std::string(400, 'a'), 401, 33));
  EXPECT_TRUE(holds(other, std::string(200, 'a'), 403, 202));
}

TEST(AppendMinSize, TheExtendSizeIsRestoredOnFailure) {
  StringBuffer other(std::string(200, 'a').c_str());
  for (std::size_t length : {1U, 300U}) {
    StringBuffer buffer;
    fillHeap(buffer, std::string(length, 'x'), 0);
    buffer.setExtendSize(77);
    const harness::BufferState before = harness::stateOf(buffer);
    bool texts = true;
    bool buffers = true;
    {
      harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
      texts = buffer.appendMinSize(other.getString());
      buffers = buffer.appendMinSize(other);
    }
    EXPECT_FALSE(texts);
    EXPECT_FALSE(buffers);
    EXPECT_EQ(harness::stateOf(buffer), before);
  }
}

TEST(AppendMinSize, WithoutGrowthTheStorageStays) {
  StringBuffer buffer;
  fillHeap(buffer, std::string(100, 'a'), 20);
  EXPECT_TRUE(buffer.appendMinSize(std::string(20, 'b').c_str()));
  EXPECT_TRUE(holds(buffer, std::string(100, 'a') + std::string(20, 'b'), 121, 202));
}

TEST(AppendMinSize, NullEmptyTextsAndEmptyBuffersAppendNothing) {
  StringBuffer empty;
  for (const std::string& content : {"ab"s, "ab\0"s}) {
    StringBuffer buffer;
    appendRaw(buffer, content);
    EXPECT_TRUE(buffer.appendMinSize(static_cast<Text>(nullptr)));
    EXPECT_TRUE(buffer.appendMinSize(""));
    EXPECT_TRUE(buffer.appendMinSize(empty));
    EXPECT_TRUE(holds(buffer, content, 0, 202));
  }
}

TEST(AppendMinSize, BuffersAreAppendedRawWithoutTheirLastNuls) {
  StringBuffer other;
  appendRaw(other, "c\0d\0\0"s);
  StringBuffer buffer("ab");
  EXPECT_TRUE(buffer.appendMinSize(other));
  EXPECT_TRUE(holds(buffer, "abc\0d"s, 0, 202));
}

TEST(AppendMinSize, ABufferThatIsNoLongerAliveIsRefused) {
  StringBuffer other("xy");
  StringBuffer buffer("ab");
  {
    harness::BrokenValidityWord dead(other);
    EXPECT_FALSE(buffer.appendMinSize(other));
  }
  EXPECT_TRUE(holds(buffer, "ab", 0, 202));
  EXPECT_TRUE(buffer.appendMinSize(other));
  EXPECT_TRUE(holds(buffer, "abxy", 0, 202));
}

TEST(AppendMinSize, OfItselfDoublesTheContent) {
  for (std::size_t length : {1U, 40U, 41U, 81U, 82U, 300U}) {
    for (unsigned int room : {0U, 500U}) {
      const std::string content = harness::randomText(length, length, "abcdef");
      StringBuffer buffer;
      fillHeap(buffer, content, room);
      buffer.setExtendSize(55);
      ModelBuffer model = modelOf(buffer);
      model.extendSize = 0;
      model.append(content);
      model.extendSize = 55;
      EXPECT_TRUE(buffer.appendMinSize(buffer));
      EXPECT_TRUE(matches(buffer, model)) << length << ", " << room;
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Formats

TEST(AppendS, ReplacesTheFirstPlaceholderOnly) {
  const struct {
    Text format;
    Text value;
    Text appended;
  } cases[] = {{"a%sb%s", "X", "aXb%s"},
               {"%s", "X", "X"},
               {"a%s", "", "a"},
               {"%s%s", "%s", "%s%s"},
               {"none", "X", "none"},
               {"", "X", ""},
               {nullptr, "X", ""},
               {nullptr, nullptr, ""},
               {"%%s", "X", "%X"},
               {"%d%S%s", "X", "%d%SX"},
               {"a%sb%s", nullptr, "a%sb%s"},
               {"%", "X", "%"},
               {"s%", "X", "s%"},
               {"a%sb", "%d%s", "a%d%sb"}};
  for (const auto& c : cases) {
    StringBuffer buffer("> ");
    EXPECT_TRUE(buffer.append_s(c.format, c.value));
    EXPECT_TRUE(holds(buffer, "> "s + c.appended, 0, 202));
  }
}

TEST(AppendD, ReplacesTheFirstPlaceholderOnly) {
  const struct {
    Text format;
    int value;
    Text appended;
  } cases[] = {{"a%db%d", 7, "a7b%d"},
               {"%d", -12, "-12"},
               {"none", 5, "none"},
               {"%s%d", 0, "%s0"},
               {nullptr, 3, ""},
               {"", 3, ""},
               {"%%d", 1, "%1"},
               {"[%d]", INT_MAX, "[2147483647]"},
               {"[%d]", INT_MIN, "[-2147483648]"}};
  for (const auto& c : cases) {
    StringBuffer buffer("> ");
    EXPECT_TRUE(buffer.append_d(c.format, c.value));
    EXPECT_TRUE(holds(buffer, "> "s + c.appended, 0, 202));
  }
}

// Nothing appended, nothing dropped.
TEST(AppendS, NulsBeforeTheAppendedTextStay) {
  StringBuffer buffer;
  appendRaw(buffer, "a\0"s);
  EXPECT_TRUE(buffer.append_s("%s", ""));
  EXPECT_TRUE(holds(buffer, "a\0"s));
  EXPECT_TRUE(buffer.append_s("<%s>", "b"));
  EXPECT_TRUE(buffer.append_d("<%d>", 1));
  EXPECT_TRUE(holds(buffer, "a\0<b><1>"s));
}

TEST(AppendS, GrowsOnceByTheWholeText) {
  const std::string value(300, 'v');
  StringBuffer buffer("x");
  EXPECT_TRUE(buffer.append_s("<%s>", value.c_str()));
  EXPECT_TRUE(holds(buffer, "x<" + value + ">", 303 + 202 + 1, 202));
}

TEST(AppendNameValue, EscapesDoubleQuotesInTheValueOnly) {
  const struct {
    Text name;
    Text value;
    Text appended;
  } cases[] = {{"n", "a\"b", "n=\"a\\\"b\""},
               {"n", "v", "n=\"v\""},
               {"n", "", "n=\"\""},
               {"n", nullptr, "n=\"\""},
               {"", "v", "=\"v\""},
               {nullptr, nullptr, "=\"\""},
               {"n\"m", "v", "n\"m=\"v\""},
               {"n", "\"", "n=\"\\\"\""},
               {"n", "\"\"\"", "n=\"\\\"\\\"\\\"\""},
               {"n", "\\\"", "n=\"\\\\\"\""},
               {"n", "a\\b'c&<>\n", "n=\"a\\b'c&<>\n\""}};
  for (const auto& c : cases) {
    StringBuffer buffer("> ");
    EXPECT_TRUE(buffer.appendNameValue(c.name, c.value));
    EXPECT_TRUE(holds(buffer, "> "s + c.appended, 0, 202));
  }
}

TEST(AppendNameValue, EveryByteOfAValue) {
  for (int value = 1; value < 256; ++value) {
    const std::string text(1, static_cast<char>(static_cast<unsigned char>(value)));
    StringBuffer buffer;
    EXPECT_TRUE(buffer.appendNameValue("n", text.c_str()));
    EXPECT_TRUE(holds(buffer, "n=\"" + (value == '"' ? "\\\"" : text) + "\"")) << value;
  }
}

TEST(AppendNameValue, AnEscapedValueGrowsAsOnePiece) {
  const std::string value = std::string(100, 'v') + "\"" + std::string(200, '"');
  StringBuffer buffer;
  ModelBuffer model;
  for (const std::string& piece : {"name"s, "=\""s, escapedQuotes(value), "\""s})
    model.append(piece);
  EXPECT_TRUE(buffer.appendNameValue("name", value.c_str()));
  EXPECT_TRUE(matches(buffer, model));
}

TEST(AppendNameIntValue, NameEqualsAndDecimal) {
  for (int value : {0, 7, -42, INT_MAX, -INT_MAX}) {
    for (Text name : {"count", "", static_cast<Text>(nullptr)}) {
      StringBuffer buffer("> ");
      EXPECT_TRUE(buffer.appendNameIntValue(name, value));
      EXPECT_TRUE(holds(buffer, "> " + textOf(name) + "=" + std::to_string(value), 0, 202));
    }
  }
}

// ---------------------------------------------------------------------------------------------
// UTF-16 text

// The bytes of UTF-16 units in little-endian order and of the 0 unit behind them, at an even or
// odd address.
class Utf16Text {
 public:
  explicit Utf16Text(const std::vector<unsigned int>& units, bool odd = false) : m_odd(odd) {
    m_bytes.push_back(0x55);
    if (!odd) m_bytes.push_back(0x55);
    for (unsigned int unit : units) add(unit);
    add(0);
  }
  const unsigned short* get() const {
    return reinterpret_cast<const unsigned short*>(m_bytes.data() + (m_odd ? 1 : 2));
  }

 private:
  void add(unsigned int unit) {
    m_bytes.push_back(static_cast<unsigned char>(unit & 0xFFU));
    m_bytes.push_back(static_cast<unsigned char>(unit >> 8));
  }

  bool m_odd;
  std::vector<unsigned char> m_bytes;
};

TEST(AppendUtf16, ListedCases) {
  const struct {
    std::vector<unsigned int> units;
    std::string appended;
  } cases[] = {{{}, ""},
               {{'a'}, "a"},
               {{'a', 0xE9, 0x20AC}, "a\xC3\xA9\xE2\x82\xAC"},
               {{0xD83D, 0xDE00}, "\xF0\x9F\x98\x80"},
               {{0xD800, 0xDC00}, "\xF0\x90\x80\x80"},
               {{0xDBFF, 0xDFFF}, "\xF4\x8F\xBF\xBF"},
               {{0x7F, 0x80, 0x7FF, 0x800, 0xFFFF}, "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"},
               {{0x100, 0x41},
                "\xC4\x80"
                "A"}};
  for (const auto& c : cases) {
    for (bool odd : {false, true}) {
      StringBuffer buffer("> ");
      EXPECT_TRUE(buffer.appendNullTerminatedUnicodeAsUtf8(Utf16Text(c.units, odd).get()));
      EXPECT_TRUE(holds(buffer, "> " + c.appended, 0, 202));
    }
  }
}

TEST(AppendUtf16, NullAppendsNothing) {
  StringBuffer buffer;
  appendRaw(buffer, "ab\0"s);
  EXPECT_TRUE(buffer.appendNullTerminatedUnicodeAsUtf8(nullptr));
  EXPECT_TRUE(buffer.appendNullTerminatedUnicodeAsUtf8(Utf16Text({}).get()));
  EXPECT_TRUE(holds(buffer, "ab\0"s, 0, 202));
}

TEST(AppendUtf16, EveryUnitOutsideTheSurrogates) {
  std::vector<unsigned int> units;
  std::string expected;
  for (unsigned int unit = 1; unit < 0x10000; ++unit) {
    if (unit >= 0xD800 && unit < 0xE000) continue;
    units.push_back(unit);
    expected += harness::reference::utf8Of(unit);
  }
  StringBuffer buffer;
  EXPECT_TRUE(buffer.appendNullTerminatedUnicodeAsUtf8(Utf16Text(units).get()));
  EXPECT_TRUE(holds(buffer, expected));
}

TEST(AppendUtf16, SurrogatePairsOfEveryPlane) {
  std::vector<unsigned int> units;
  std::string expected;
  for (unsigned int codePoint = 0x10000; codePoint < 0x110000; codePoint += 0x3F1) {
    units.push_back(0xD800 + ((codePoint - 0x10000) >> 10));
    units.push_back(0xDC00 + ((codePoint - 0x10000) & 0x3FF));
    expected += harness::reference::utf8Of(codePoint);
  }
  StringBuffer buffer;
  EXPECT_TRUE(buffer.appendNullTerminatedUnicodeAsUtf8(Utf16Text(units, true).get()));
  EXPECT_TRUE(holds(buffer, expected));
}

TEST(AppendUtf16, IllFormedUnitsAreReplacedAndTheRestGoesOn) {
  const std::string bad = "\xEF\xBF\xBD";
  const struct {
    std::vector<unsigned int> units;
    std::string appended;
  } cases[] = {{{0xD800}, bad},
               {{0xDC00}, bad},
               {{'a', 0xD800, 'b'}, "a" + bad + "b"},
               {{'a', 0xDFFF, 'b'}, "a" + bad + "b"},
               {{0xD800, 0xD83D, 0xDE00}, bad + "\xF0\x9F\x98\x80"},
               {{0xDE00, 0xD83D, 'x'}, bad + bad + "x"}};
  for (const auto& c : cases) {
    StringBuffer buffer("> ");
    EXPECT_TRUE(buffer.appendNullTerminatedUnicodeAsUtf8(Utf16Text(c.units).get()));
    EXPECT_TRUE(holds(buffer, "> " + c.appended, 0, 202));
  }
}

TEST(AppendUtf16, AByteOrderMarkIsText) {
  StringBuffer buffer;
  EXPECT_TRUE(buffer.appendNullTerminatedUnicodeAsUtf8(Utf16Text({0xFEFF, 'a'}).get()));
  EXPECT_TRUE(holds(buffer,
                    "\xEF\xBB\xBF"
                    "a",
                    0, 202));
}

TEST(AppendUtf16, GrowsOnceByTheWholeText) {
  for (std::size_t length : {26U, 27U, 28U, 100U, 500U}) {
    const Utf16Text text(std::vector<unsigned int>(length, 0x20AC));
    forEachBorder([&](StringBuffer& buffer) {
      ModelBuffer model = modelOf(buffer);
      std::string appended;
      for (std::size_t i = 0; i < length; ++i) appended += "\xE2\x82\xAC";
      model.append(appended);
      ASSERT_TRUE(buffer.appendNullTerminatedUnicodeAsUtf8(text.get()));
      ASSERT_TRUE(matches(buffer, model));
    });
  }
}

TEST(AppendUtf16, TheUnitsMayLieInTheBuffer) {
  for (std::size_t offset : {0U, 1U, 2U}) {
    for (unsigned int room : {0U, 400U}) {
      const std::string units = "A\0B\0\xAC\x20\0\0"s;
      const std::string content = std::string(offset, 'x') + units + std::string(90, 'y');
      StringBuffer buffer;
      fillHeap(buffer, content, room);
      ModelBuffer model = modelOf(buffer);
      model.append("AB\xE2\x82\xAC");
      EXPECT_TRUE(buffer.appendNullTerminatedUnicodeAsUtf8(
          reinterpret_cast<const unsigned short*>(buffer.getString() + offset)));
      EXPECT_TRUE(matches(buffer, model)) << offset << ", " << room;
    }
  }
}

// ---------------------------------------------------------------------------------------------
// At the start

TEST(Prepend, PutsATextBeforeTheContent) {
  StringBuffer buffer("abc");
  EXPECT_TRUE(buffer.prepend("xy"));
  EXPECT_TRUE(holds(buffer, "xyabc", 0, 202));
  EXPECT_TRUE(buffer.prepend(nullptr));
  EXPECT_TRUE(buffer.prepend(""));
  EXPECT_TRUE(holds(buffer, "xyabc", 0, 202));
}

TEST(Prepend, ToAnEmptyBufferIsAnAppend) {
  for (Text text : {"abc", "", static_cast<Text>(nullptr)}) {
    StringBuffer buffer;
    EXPECT_TRUE(buffer.prepend(text));
    EXPECT_TRUE(holds(buffer, textOf(text), 0, 202));
  }
}

TEST(Prepend, MovesTheWholeContentWithItsNuls) {
  for (const std::string& content : {"\0"s, "a\0b"s, "ab\0\0"s, "\0\0a"s}) {
    StringBuffer buffer;
    appendRaw(buffer, content);
    EXPECT_TRUE(buffer.prepend("text"));
    EXPECT_TRUE(holds(buffer, "text" + content, 0, 202));
  }
}

TEST(Prepend, LongAndShortTextsAgreeWithTheModel) {
  for (std::size_t length = 0; length <= 200; length += 7) {
    for (std::size_t textLength : {1U, 2U, 40U, 81U, 82U, 150U, 700U}) {
      const std::string content = harness::randomText(length + 1, length, "abcdefgh");
      const std::string text = harness::randomText(textLength, textLength, "ABCDEFGH");
      for (unsigned int room : {0U, 100U, 1000U}) {
        StringBuffer buffer;
        fillHeap(buffer, content, room);
        ModelBuffer model = modelOf(buffer);
        model.prepend(text);
        ASSERT_TRUE(buffer.prepend(text.c_str()));
        ASSERT_TRUE(matches(buffer, model)) << length << ", " << textLength << ", " << room;
      }
    }
  }
}

// ---------------------------------------------------------------------------------------------
// At a position

// insertAt() of another living buffer, one step after the other.
void insertAt(ModelBuffer& buffer, const std::string& other, unsigned int position) {
  if (other.empty()) return;
  buffer.makeRoom(other.size());
  if (position == 0) {
    buffer.prepend(other.c_str());
  } else if (position < buffer.bytes.size()) {
    const std::string tail = buffer.bytes.c_str() + position;
    buffer.bytes.resize(position);
    buffer.appendN(other);
    buffer.appendN(tail);
  } else {
    buffer.appendN(other);
  }
}

testing::AssertionResult insertAgrees(StringBuffer& buffer, const std::string& inserted,
                                      unsigned int position) {
  StringBuffer other;
  appendRaw(other, inserted);
  ModelBuffer model = modelOf(buffer);
  const ModelBuffer before = model;
  insertAt(model, inserted, position);
  const bool result = buffer.insertAt(other, position);
  const testing::AssertionResult same = matches(buffer, model);
  if (result && same && bytesOf(other) == inserted) return testing::AssertionSuccess();
  return testing::AssertionFailure()
         << testing::PrintToString(inserted) << " at " << position << " in "
         << testing::PrintToString(before.bytes) << " gives " << result << "; " << same.message();
}

TEST(InsertAt, ListedCases) {
  const struct {
    unsigned int position;
    Text result;
  } cases[] = {{0, "xyabc"}, {1, "axybc"},  {2, "abxyc"},
               {3, "abcxy"}, {10, "abcxy"}, {0xFFFFFFFF, "abcxy"}};
  for (const auto& c : cases) {
    StringBuffer buffer("abc");
    EXPECT_TRUE(buffer.insertAt(StringBuffer("xy"), c.position));
    EXPECT_TRUE(holds(buffer, c.result, 0, 202));
  }
}

TEST(InsertAt, AnEmptyBufferChangesNothing) {
  StringBuffer other;
  for (unsigned int position : {0U, 1U, 2U, 3U, 9U}) {
    StringBuffer buffer;
    appendRaw(buffer, "a\0\0"s);
    EXPECT_TRUE(buffer.insertAt(other, position));
    EXPECT_TRUE(holds(buffer, "a\0\0"s, 0, 202));
  }
  StringBuffer itself;
  EXPECT_TRUE(itself.insertAt(itself, 0));
  EXPECT_TRUE(itself.insertAt(itself, 5));
  EXPECT_TRUE(holds(itself, "", 0, 202));
}

TEST(InsertAt, IntoAnEmptyBuffer) {
  StringBuffer first;
  StringBuffer second;
  EXPECT_TRUE(insertAgrees(first, "a\0b\0"s, 0));
  EXPECT_TRUE(holds(first, "a"));
  EXPECT_TRUE(insertAgrees(second, "a\0b\0"s, 1));
  EXPECT_TRUE(holds(second, "a\0b"s));
}

TEST(InsertAt, AtTheStartOnlyTheTextIsInserted) {
  StringBuffer buffer("abc");
  EXPECT_TRUE(insertAgrees(buffer, "xy\0z"s, 0));
  EXPECT_TRUE(holds(buffer, "xyabc"));
  EXPECT_TRUE(insertAgrees(buffer, "\0z"s, 0));
  EXPECT_TRUE(holds(buffer, "xyabc"));
}

TEST(InsertAt, ElsewhereTheContentIsInsertedWithoutItsLastNuls) {
  StringBuffer middle("abc");
  EXPECT_TRUE(middle.insertAt(StringBuffer("x"), 1));
  EXPECT_TRUE(insertAgrees(middle, "1\0002\0"s, 2));
  EXPECT_TRUE(holds(middle, "ax1\0002bc"s));
  StringBuffer end("abc");
  EXPECT_TRUE(insertAgrees(end, "1\0002\0"s, 3));
  EXPECT_TRUE(holds(end, "abc1\0002"s));
}

// Deliberate: of what stood behind the position only the text, up to its first NUL, comes back.
TEST(InsertAt, TheTailIsTheTextBehindThePosition) {
  StringBuffer buffer;
  appendRaw(buffer, "abc\0def"s);
  EXPECT_TRUE(buffer.insertAt(StringBuffer("x"), 1));
  EXPECT_TRUE(holds(buffer, "axbc", 0, 202));
  StringBuffer behind;
  appendRaw(behind, "abc\0def"s);
  EXPECT_TRUE(behind.insertAt(StringBuffer("x"), 5));
  EXPECT_TRUE(holds(behind, "abc\0dxef"s, 0, 202));
}

TEST(InsertAt, EveryShortTextAgreesWithTheSteps) {
  const std::vector<std::string> contents = harness::allStrings(std::string_view("ab\0", 3), 4);
  const std::vector<std::string> inserted = harness::allStrings(std::string_view("x\0", 2), 3);
  for (const std::string& content : contents) {
    for (const std::string& text : inserted) {
      for (unsigned int position = 0; position <= 5; ++position) {
        StringBuffer buffer;
        appendRaw(buffer, content);
        ASSERT_TRUE(insertAgrees(buffer, text, position));
      }
    }
  }
}

// Room is made for the whole content of the other buffer at once, whatever is inserted of it.
TEST(InsertAt, EveryStorageBorderGrowsByTheRule) {
  for (const std::string& inserted :
       {"1"s, "12345678"s, std::string(300, 'o'), "1\00034567"s, "1234\0\0\0"s}) {
    for (unsigned int position : {0U, 1U, 50U, 66U, 67U, 81U, 119U, 120U, 1000U}) {
      forEachBorder(
          [&](StringBuffer& buffer) { ASSERT_TRUE(insertAgrees(buffer, inserted, position)); });
    }
  }
}

TEST(InsertAt, RandomBuffersAgreeWithTheSteps) {
  std::mt19937_64 random(7);
  for (int i = 0; i < 1500; ++i) {
    const std::string content =
        harness::randomText(random(), random() % 400, i % 3 == 0 ? "ab\0"s : "abc"s);
    const std::string inserted =
        harness::randomText(random(), random() % 300, i % 4 == 0 ? "xy\0"s : "xyz"s);
    StringBuffer buffer;
    buffer.setExtendSize(static_cast<unsigned int>(random() % 300));
    appendRaw(buffer, content);
    ASSERT_TRUE(
        insertAgrees(buffer, inserted, static_cast<unsigned int>(random() % (content.size() + 3))));
  }
}

TEST(InsertAt, ItselfAtTheStartDoublesTheText) {
  for (std::size_t length : {1U, 3U, 40U, 41U, 81U, 82U, 300U}) {
    for (unsigned int room : {0U, 400U}) {
      const std::string content = harness::randomText(length, length, "abcdef");
      StringBuffer buffer;
      fillHeap(buffer, content, room);
      ModelBuffer model = modelOf(buffer);
      insertAt(model, content, 0);
      EXPECT_TRUE(buffer.insertAt(buffer, 0));
      EXPECT_TRUE(matches(buffer, model)) << length << ", " << room;
      EXPECT_EQ(bytesOf(buffer), content + content);
    }
  }
  StringBuffer withNul;
  appendRaw(withNul, "ab\0c"s);
  EXPECT_TRUE(withNul.insertAt(withNul, 0));
  EXPECT_TRUE(holds(withNul, "abab\0c"s, 0, 202));
}

// Deliberate: the cut stays although nothing is inserted.
TEST(InsertAt, ItselfInsideTheContentCutsAndFails) {
  for (unsigned int position : {1U, 2U, 3U}) {
    StringBuffer buffer("abcd");
    EXPECT_FALSE(buffer.insertAt(buffer, position));
    EXPECT_TRUE(holds(buffer, std::string("abcd").substr(0, position), 0, 202));
  }
  StringBuffer onHeap;
  fillHeap(onHeap, std::string(100, 'a'), 0);
  EXPECT_FALSE(onHeap.insertAt(onHeap, 90));
  EXPECT_TRUE(holds(onHeap, std::string(90, 'a'), 403, 201));  // room was made before the cut
}

TEST(InsertAt, ItselfAtTheEndFails) {
  for (unsigned int position : {4U, 5U, 0xFFFFFFFFU}) {
    StringBuffer buffer("abcd");
    EXPECT_FALSE(buffer.insertAt(buffer, position));
    EXPECT_TRUE(holds(buffer, "abcd", 0, 202));
  }
}

TEST(InsertAt, ABufferThatIsNoLongerAliveFailsAsItselfDoes) {
  StringBuffer other("xy");
  StringBuffer inside("abcd");
  StringBuffer atEnd("abcd");
  {
    harness::BrokenValidityWord dead(other);
    EXPECT_FALSE(inside.insertAt(other, 1));
    EXPECT_FALSE(atEnd.insertAt(other, 4));
    EXPECT_FALSE(atEnd.insertAt(other, 9));
  }
  EXPECT_TRUE(holds(inside, "a", 0, 202));
  EXPECT_TRUE(holds(atEnd, "abcd", 0, 202));
  EXPECT_TRUE(holds(other, "xy", 0, 202));
}

// ---------------------------------------------------------------------------------------------
// Arguments that point into the buffer itself

// A filled buffer and the places in its storage that an argument may point at.
struct Scene {
  StringBuffer buffer;
  std::vector<Text> places;
};

constexpr Text kStale = "%s\"%d\"stale";

// Inline content, with stale text behind its end.
std::unique_ptr<Scene> inlineScene() {
  std::unique_ptr<Scene> scene(new Scene);
  scene->buffer.append("a%sb\"%dc");
  const unsigned int length = scene->buffer.getSize();
  scene->buffer.append((std::string("_") + kStale).c_str());
  scene->buffer.chopAt(length);
  const char* start = scene->buffer.getString();
  scene->places = {start, start + 1, start + length - 1, start + length, start + length + 1};
  return scene;
}

// Heap content with `room` bytes to spare (stale text in front of them), and text that was left
// in the inline array.
std::unique_ptr<Scene> heapScene(unsigned int room) {
  std::unique_ptr<Scene> scene(new Scene);
  StringBuffer& buffer = scene->buffer;
  const char* inlineArray = buffer.getString();
  buffer.append((std::string("__") + kStale).c_str());
  const std::string head = bytesOf(buffer) + std::string(90, 'h') + "%d";
  buffer.setExtendSize(0);
  buffer.append((std::string(90, 'h') + "%d" + std::string(room, '.') + "_" + kStale).c_str());
  buffer.setExtendSize(202);
  const auto length = static_cast<unsigned int>(head.size());
  buffer.chopAt(length);
  const char* start = buffer.getString();
  scene->places = {
      start,          start + 9, start + length - 1, start + length, start + length + room + 1,
      inlineArray + 2};
  return scene;
}

using MakeScene = std::function<std::unique_ptr<Scene>()>;

std::vector<MakeScene> scenes() {
  return {inlineScene, [] { return heapScene(0); }, [] { return heapScene(1000); }};
}

TEST(Append, TheScenesHoldStaleTextWhereTheyShould) {
  for (const MakeScene& makeScene : scenes()) {
    const std::unique_ptr<Scene> scene = makeScene();
    EXPECT_STREQ(scene->places.back(), kStale);
    EXPECT_TRUE(invariantsHold(scene->buffer));
    EXPECT_TRUE(scene->places.back() < scene->buffer.getString() ||
                scene->places.back() > scene->buffer.getString() + scene->buffer.getSize());
  }
}

TEST(Append, TextsMayLieInTheBuffer) {
  const std::vector<Text> texts = {"n%s\"%d", nullptr};
  for (const TextMember& member : textMembers()) {
    for (const MakeScene& makeScene : scenes()) {
      const int places = static_cast<int>(makeScene()->places.size());
      for (int first = -2; first < places; ++first) {
        for (int second = -2; second < places; ++second) {
          const std::unique_ptr<Scene> scene = makeScene();
          const auto at = [&](int i) {
            return i < 0 ? texts[static_cast<std::size_t>(-i - 1)]
                         : scene->places[static_cast<std::size_t>(i)];
          };
          ASSERT_TRUE(agrees(member, scene->buffer, at(first), at(second)))
              << first << ", " << second;
        }
      }
    }
  }
}

TEST(Append, TheContentAppendedToItselfIsDoubled) {
  for (std::size_t length : {3U, 40U, 41U, 81U, 90U, 300U}) {
    const std::string content = harness::randomText(length, length, "abcdef");
    StringBuffer twice(content.c_str());
    EXPECT_TRUE(twice.append2(twice.getString(), nullptr));
    EXPECT_TRUE(holds(twice, content + content));
    StringBuffer thrice(content.c_str());
    EXPECT_TRUE(thrice.append2(thrice.getString(), thrice.getString()));
    EXPECT_TRUE(holds(thrice, content + content + content));
    StringBuffer inFront(content.c_str());
    EXPECT_TRUE(inFront.prepend(inFront.getString() + 1));
    EXPECT_TRUE(holds(inFront, content.substr(1) + content));
  }
}

// ---------------------------------------------------------------------------------------------
// Allocations that fail, and buffers that may not grow

// The content with the first `count` pieces.
std::string withPieces(const std::string& content, const Pieces& pieces, std::size_t count,
                       bool inFront) {
  std::string appended;
  for (std::size_t i = 0; i < count; ++i) appended += pieces[i];
  return inFront ? appended + content : content + appended;
}

// A failure leaves the content with those pieces that were appended completely before it.
bool acceptable(const TextMember& member, const std::string& before, const Pieces& pieces,
                bool result, const std::string& after) {
  if (result) return after == withPieces(before, pieces, pieces.size(), member.inFront);
  for (std::size_t count = 0; count < pieces.size(); ++count)
    if (after == withPieces(before, pieces, count, member.inFront)) return true;
  return false;
}

void failEach(const TextMember& member, const std::string& content, unsigned int room, Text first,
              Text second) {
  std::unique_ptr<StringBuffer> buffer;
  const Pieces pieces = member.pieces(first, second);
  bool result = false;
  const long before = harness::liveBlocks();
  const long failed = harness::failEveryAllocation(
      [&] {
        buffer.reset(new StringBuffer);
        fillHeap(*buffer, content, room);
        buffer->setExtendSize(31);
      },
      [&] { result = member.run(*buffer, first, second); },
      [&] {
        EXPECT_TRUE(invariantsHold(*buffer)) << member.name;
        EXPECT_TRUE(acceptable(member, content, pieces, result, bytesOf(*buffer)))
            << member.name << " gave " << result << " and " << bytesOf(*buffer);
        if (member.exactFit) {
          EXPECT_EQ(buffer->getExtendSize(), 31U);
        }
      });
  buffer.reset();
  EXPECT_EQ(harness::liveBlocks(), before) << member.name;
  if (room == 0) {
    EXPECT_GT(failed, 0) << member.name;
  }
}

TEST(AppendFailure, WhatWasAppendedCompletelyStays) {
  const std::string n120 = "%s%d\"" + std::string(115, 'n');
  const std::string quotes(400, '"');
  for (const TextMember& member : textMembers()) {
    failEach(member, "short", 0, n120.c_str(), n120.c_str());
    for (unsigned int room : {0U, 1U, 2U})
      failEach(member, std::string(90, 'h'), room, n120.c_str(), n120.c_str());
    for (unsigned int room : {121U, 123U})
      failEach(member, std::string(90, 'h'), room, n120.c_str(), quotes.c_str());
  }
}

TEST(AppendFailure, AFailedGrowthLeavesTheBufferUnchanged) {
  for (const ValueMember& member : valueMembers()) {
    for (bool onHeap : {false, true}) {
      StringBuffer buffer;
      fillHeap(buffer, std::string(onHeap ? 90 : 81, 'h'), 0);
      const harness::BufferState before = harness::stateOf(buffer);
      bool result = true;
      {
        harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
        result = member.run(buffer);
      }
      EXPECT_FALSE(result) << member.name;
      EXPECT_EQ(harness::stateOf(buffer), before) << member.name;
      EXPECT_TRUE(agrees(member, buffer));
    }
  }
}

TEST(AppendFailure, AppendsThatFitNeedNoMemory) {
  for (const ValueMember& member : valueMembers()) {
    StringBuffer buffer("x");
    bool result = false;
    {
      harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
      result = member.run(buffer);
    }
    EXPECT_TRUE(result) << member.name;
    EXPECT_TRUE(holds(buffer, "x" + member.bytes, 0, 202)) << member.name;
  }
}

TEST(AppendFailure, ABufferWithABrokenMarkerDoesNotGrow) {
  for (const ValueMember& member : valueMembers()) {
    StringBuffer full(std::string(81, 'i').c_str());
    StringBuffer roomy("x");
    bool grown = true;
    bool fitted = false;
    {
      const harness::BrokenMarker fullDead(full);
      const harness::BrokenMarker roomyDead(roomy);
      grown = member.run(full);
      fitted = member.run(roomy);
    }
    EXPECT_FALSE(grown) << member.name;
    EXPECT_TRUE(holds(full, std::string(81, 'i'), 0, 202)) << member.name;
    EXPECT_TRUE(fitted) << member.name;
    EXPECT_TRUE(holds(roomy, "x" + member.bytes, 0, 202)) << member.name;
  }
}

TEST(AppendFailure, TextsDoNotGrowABufferWithABrokenMarker) {
  for (const TextMember& member : textMembers()) {
    StringBuffer buffer;
    fillHeap(buffer, std::string(90, 'h'), 0);
    bool result = true;
    {
      const harness::BrokenMarker dead(buffer);
      result = member.run(buffer, "name", "value");
    }
    EXPECT_FALSE(result) << member.name;
    EXPECT_TRUE(holds(buffer, std::string(90, 'h'), 91, 202)) << member.name;
  }
}

TEST(AppendFailure, InsertAtReportsFalseWithTheContentUnchanged) {
  StringBuffer other(std::string(150, 'o').c_str());
  for (unsigned int position : {0U, 1U, 5U, 89U, 190U, 300U}) {
    for (unsigned int room : {0U, 149U, 150U}) {
      const std::string content = harness::randomText(position, 190, "abcdef");
      std::string inserted = content;
      inserted.insert(std::min<std::size_t>(position, content.size()), bytesOf(other));
      std::unique_ptr<StringBuffer> buffer;
      bool result = false;
      const long before = harness::liveBlocks();
      harness::failEveryAllocation(
          [&] {
            buffer.reset(new StringBuffer);
            fillHeap(*buffer, content, room);
          },
          [&] { result = buffer->insertAt(other, position); },
          [&] { EXPECT_TRUE(holds(*buffer, result ? inserted : content)) << position; });
      buffer.reset();
      EXPECT_EQ(harness::liveBlocks(), before);
    }
  }
}

// Room is made before anything is cut.
TEST(AppendFailure, ABufferThatCannotGrowIsNotCutByItself) {
  StringBuffer buffer;
  fillHeap(buffer, std::string(100, 'a'), 0);
  for (unsigned int position : {0U, 50U, 100U}) {
    bool result = true;
    {
      harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
      result = buffer.insertAt(buffer, position);
    }
    EXPECT_FALSE(result) << position;
    EXPECT_TRUE(holds(buffer, std::string(100, 'a'), 101, 202)) << position;
  }
}

TEST(AppendFailure, Utf16TextIsNotAppendedInPart) {
  const Utf16Text text(std::vector<unsigned int>(300, 0x20AC));
  std::string euros;
  for (int i = 0; i < 300; ++i) euros += "\xE2\x82\xAC";
  std::unique_ptr<StringBuffer> buffer;
  bool result = false;
  const long before = harness::liveBlocks();
  const long failed = harness::failEveryAllocation(
      [&] { buffer.reset(new StringBuffer("> ")); },
      [&] { result = buffer->appendNullTerminatedUnicodeAsUtf8(text.get()); },
      [&] {
        EXPECT_TRUE(invariantsHold(*buffer));
        const std::string after = bytesOf(*buffer);
        EXPECT_EQ(after.substr(0, 2), "> ");
        if (!result) {
          EXPECT_EQ(after, "> ");
        }
        EXPECT_EQ(("> " + euros).substr(0, after.size()), after);
      });
  buffer.reset();
  EXPECT_EQ(harness::liveBlocks(), before);
  EXPECT_GT(failed, 0);
}

// ---------------------------------------------------------------------------------------------
// Secure buffers

struct Releases {
  int all = 0;
  int dirty = 0;
};

// How many blocks `act` released, and how many of them held anything at that moment.
Releases watch(const std::function<void()>& act) {
  Releases releases;
  harness::WatchReleases watching([&](const unsigned char* block, std::size_t size) {
    ++releases.all;
    if (!harness::isWiped(block, size)) ++releases.dirty;
  });
  act();
  return releases;
}

TEST(AppendSecure, EveryBlockIsWipedBeforeItsRelease) {
  for (const ValueMember& member : valueMembers()) {
    StringBuffer buffer;
    buffer.setSecureBuf(true);
    fillHeap(buffer, std::string(90, 's'), 0);
    const Releases releases = watch([&] { member.run(buffer); });
    EXPECT_EQ(releases.all, 1) << member.name;
    EXPECT_EQ(releases.dirty, 0) << member.name;
  }
}

TEST(AppendSecure, EveryTemporaryIsWipedBeforeItsRelease) {
  const std::string value = std::string(120, 'v') + "\"" + std::string(400, '"');
  const std::string format = std::string(120, 'f') + "%s%d" + std::string(120, 'g');
  for (const TextMember& member : textMembers()) {
    for (unsigned int room : {0U, 1U, 100U}) {
      StringBuffer buffer;
      buffer.setSecureBuf(true);
      fillHeap(buffer, std::string(90, 's'), room);
      const Releases releases = watch([&] { member.run(buffer, format.c_str(), value.c_str()); });
      EXPECT_GE(releases.all, 1) << member.name;
      EXPECT_EQ(releases.dirty, 0) << member.name;
    }
  }
}

TEST(AppendSecure, TextsInsideTheBufferAreWipedToo) {
  for (const TextMember& member : textMembers()) {
    for (const MakeScene& makeScene : scenes()) {
      const std::unique_ptr<Scene> scene = makeScene();
      scene->buffer.setSecureBuf(true);
      const Releases releases =
          watch([&] { member.run(scene->buffer, scene->places[0], scene->places[1]); });
      EXPECT_EQ(releases.dirty, 0) << member.name;
    }
  }
}

TEST(AppendSecure, TheTailOfAnInsertionIsWiped) {
  StringBuffer other(std::string(50, 'o').c_str());
  for (unsigned int room : {0U, 500U}) {
    for (unsigned int position : {0U, 5U, 150U, 300U}) {
      StringBuffer buffer;
      buffer.setSecureBuf(true);
      fillHeap(buffer, std::string(300, 's'), room);
      const Releases releases = watch([&] { EXPECT_TRUE(buffer.insertAt(other, position)); });
      EXPECT_EQ(releases.dirty, 0) << room << ", " << position;
      EXPECT_EQ(buffer.getSize(), 350U);
      StringBuffer itself;
      itself.setSecureBuf(true);
      fillHeap(itself, std::string(300, 's'), room);
      const Releases cut = watch([&] { itself.insertAt(itself, position); });
      EXPECT_EQ(cut.dirty, 0) << room << ", " << position;
    }
  }
}

TEST(AppendSecure, DecodedUtf16TextIsWiped) {
  const Utf16Text text(std::vector<unsigned int>(300, 0x20AC));
  StringBuffer buffer;
  buffer.setSecureBuf(true);
  fillHeap(buffer, std::string(90, 's'), 0);
  const Releases releases =
      watch([&] { EXPECT_TRUE(buffer.appendNullTerminatedUnicodeAsUtf8(text.get())); });
  EXPECT_GE(releases.all, 1);
  EXPECT_EQ(releases.dirty, 0);
}

// ---------------------------------------------------------------------------------------------
// Hostile sizes

double secondsOf(const std::function<void()>& act) {
  const std::clock_t start = std::clock();
  act();
  return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

TEST(AppendHostile, LargeTextsAreLinear) {
  constexpr std::size_t kLarge = 262144;
  for (char c : {'%', '"', 'a'}) {
    const std::string large(kLarge, c);
    for (const TextMember& member : textMembers()) {
      StringBuffer buffer("content");
      bool result = false;
      EXPECT_LT(secondsOf([&] { result = member.run(buffer, large.c_str(), large.c_str()); }), 8.0)
          << member.name;
      EXPECT_TRUE(result) << member.name;
      std::size_t appended = 0;
      for (const std::string& piece : member.pieces(large.c_str(), large.c_str()))
        appended += piece.size();
      EXPECT_EQ(buffer.getSize(), 7 + appended) << member.name;
    }
  }
}

// ---- Former bugs ----

// Runs `body` with no memory from the first allocation on.
bool withoutMemory(const std::function<bool()>& body) {
  harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
  return body();
}

// The texts before it were lost with it.
TEST(Append3, TextsBeforeOneThatFindsNoMemoryStay) {
  for (const bool secure : {false, true}) {
    StringBuffer buffer;
    buffer.setSecureBuf(secure);
    fillHeap(buffer, std::string(300, 'o'), 100);
    const Text own = buffer.getString() + 100;
    EXPECT_FALSE(withoutMemory([&] { return buffer.append3("first", "second", own); }));
    EXPECT_TRUE(holds(buffer, std::string(300, 'o') + "firstsecond", 401, 202));
    EXPECT_FALSE(withoutMemory([&] { return buffer.append3("1", own, "3"); }));
    EXPECT_FALSE(withoutMemory([&] { return buffer.append2("2", own); }));
    EXPECT_TRUE(holds(buffer, std::string(300, 'o') + "firstsecond12", 401, 202));
  }
}

// Without memory for a temporary the value was missing or cut, with true.
TEST(AppendS, NeedsNoMemoryForWhatFits) {
  const std::string value(300, 'v');
  StringBuffer buffer;
  fillHeap(buffer, std::string(90, 'x'), 400);
  EXPECT_TRUE(withoutMemory([&] { return buffer.append_s("<%s>", value.c_str()); }));
  EXPECT_TRUE(holds(buffer, std::string(90, 'x') + "<" + value + ">", 491, 202));
  EXPECT_FALSE(withoutMemory([&] { return buffer.append_s("<%s>", value.c_str()); }));
  EXPECT_TRUE(holds(buffer, std::string(90, 'x') + "<" + value + ">", 491, 202));
}

TEST(AppendNameValue, NeedsNoMemoryForWhatFits) {
  const std::string value = std::string(100, '"') + std::string(100, 'v');
  StringBuffer buffer;
  fillHeap(buffer, std::string(90, 'x'), 304);
  EXPECT_TRUE(withoutMemory([&] { return buffer.appendNameValue("n", value.c_str()); }));
  const std::string content = std::string(90, 'x') + "n=\"" + escapedQuotes(value) + "\"";
  EXPECT_TRUE(holds(buffer, content, 395, 202));
  EXPECT_FALSE(withoutMemory([&] { return buffer.appendNameValue("", "v"); }));
  EXPECT_TRUE(holds(buffer, content, 395, 202));
}

// insertAt() measured both texts up to a NUL, which a caller may have overwritten.
TEST(InsertAt, IsBoundedByTheLengths) {
  for (const std::string& content : {"a"s, "abcd"s, std::string(81, 'c'), std::string(100, 'c')}) {
    for (const std::string& inserted : {"1"s, "12"s, std::string(90, '9')}) {
      for (const unsigned int position : {0U, 1U, 3U, 80U, 81U, 99U, 200U}) {
        StringBuffer buffer;
        StringBuffer other;
        harness::fillUnterminated(buffer, content, 'X');
        harness::fillUnterminated(other, inserted, 'Y');
        std::string expected = content;
        expected.insert(std::min<std::size_t>(position, content.size()), inserted);
        EXPECT_TRUE(buffer.insertAt(other, position));
        EXPECT_TRUE(holds(buffer, expected)) << position;
        EXPECT_EQ(bytesOf(other), inserted);
      }
    }
  }
}

TEST(InsertAt, ReadsNothingAfterABlock) {
  for (const unsigned int position : {0U, 50U, 100U}) {
    StringBuffer buffer;
    StringBuffer other;
    harness::fillExactUnterminated(buffer, std::string(100, 'c'), 'X');
    harness::fillExactUnterminated(other, std::string(90, 'o'), 'Y');
    EXPECT_TRUE(buffer.insertAt(other, position));
    std::string expected(100, 'c');
    EXPECT_TRUE(holds(buffer, expected.insert(position, 90, 'o'), 393, 196)) << position;
  }
  StringBuffer itself;
  harness::fillExactUnterminated(itself, std::string(100, 'c'), 'X');
  EXPECT_TRUE(itself.insertAt(itself, 0));
  EXPECT_TRUE(holds(itself, std::string(200, 'c')));
}

TEST(InsertAt, BytesThatWereCutOffDoNotComeBack) {
  for (const unsigned int position : {0U, 2U, 4U}) {
    StringBuffer buffer("abcdefgh");
    buffer.chopAt(4);
    *buffer.pCharAt(4) = 'e';
    StringBuffer other("1234");
    other.chopAt(2);
    *other.pCharAt(2) = '3';
    EXPECT_TRUE(buffer.insertAt(other, position));
    EXPECT_TRUE(holds(buffer, "abcd"s.insert(position, "12"), 0, 202));
  }
}

}  // namespace
