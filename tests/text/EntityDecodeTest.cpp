// Entity decoding of text/EntityDecode.cpp.

#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/Allocations.h"
#include "harness/BufferState.h"
#include "harness/EntityDecodeReference.h"
#include "harness/Html4Entities.h"
#include "harness/ModelBuffer.h"
#include "harness/RawContent.h"
#include "harness/ReleasedBlocks.h"
#include "harness/StaleStorage.h"
#include "harness/Stopwatch.h"

namespace {

using namespace std::string_literals;
namespace reference = harness::reference::entity;
using harness::allStrings;
using harness::bytesOf;
using harness::fill;
using harness::holds;
using harness::invariantsHold;
using harness::matches;
using harness::ModelBuffer;
using harness::modelOf;
using harness::secondsOf;
using harness::stateOf;
using harness::reference::utf8Of;
using harness::reference::windows1252;
using Texts = std::vector<std::string>;

testing::AssertionResult failed(std::string_view input, const std::string& why) {
  return testing::AssertionFailure()
         << testing::PrintToString(std::string(input.substr(0, 300))) << ": " << why;
}

std::string byteText(unsigned int byte) {
  std::string text(1, static_cast<char>(byte));
  return text;
}

// The text of a choice of tokens; each digit of `choice` to the base of their number picks one.
std::string textOf(const Texts& tokens, unsigned long long choice, std::size_t count) {
  std::string text;
  for (; count > 0; --count, choice /= tokens.size()) text += tokens[choice % tokens.size()];
  return text;
}

// --- decodeXMLSpecial ----------------------------------------------------------------------------

struct Case {
  std::string input;
  std::string result;
  unsigned int count;
};

// Works in place: the block and the extend size stay.
testing::AssertionResult decodesXml(StringBuffer& buffer) {
  const std::string input = bytesOf(buffer);
  const char* storage = buffer.getString();
  ModelBuffer model = modelOf(buffer);
  const unsigned int expected = reference::decodeXmlSpecial(model);
  const unsigned int count = buffer.decodeXMLSpecial();
  if (count != expected)
    return failed(input, std::to_string(count) + " instead of " + std::to_string(expected));
  if (buffer.getString() != storage) return failed(input, "moved");
  const testing::AssertionResult same = matches(buffer, model);
  return same ? same : failed(input, same.message());
}

testing::AssertionResult decodesXml(std::string_view input) {
  StringBuffer buffer;
  fill(buffer, input);
  buffer.setExtendSize(77);
  return decodesXml(buffer);
}

TEST(DecodeXmlSpecialTest, ListedCases) {
  const Case cases[] = {
      {"", "", 0},
      {"abc", "abc", 0},
      {"&lt;a&gt; &amp; b", "<a> & b", 3},
      {"&amp;lt;", "&lt;", 1},
      {"&amp;gt;", "&gt;", 1},
      {"&amp;amp;", "&amp;", 1},
      {"&amp;amp;lt;", "&amp;lt;", 1},
      {"&quot;&apos;&nbsp;&copy;&#65;", "&quot;&apos;&nbsp;&copy;&#65;", 0},
      {"&LT;&Gt;&AMP;&lt&gt&amp", "&LT;&Gt;&AMP;&lt&gt&amp", 0},
      {"&&lt;;", "&<;", 1},
      {"&l&lt;t;", "&l<t;", 1},
      {"&lt;lt;&lt;", "<lt;<", 2},
      {"x&lt;", "x<", 1},
      {"a\0b"s, "a\0b"s, 0},
      {"a\0&lt;"s, "a\0&lt;"s, 0},
      {"&lt;a\0&lt;"s, "<a", 1},
      {"&copy;a\0b"s, "&copy;a", 0},
  };
  for (const Case& c : cases) {
    StringBuffer buffer;
    fill(buffer, c.input);
    EXPECT_EQ(buffer.decodeXMLSpecial(), c.count) << c.input;
    EXPECT_TRUE(holds(buffer, c.result, 0, 202)) << c.input;
    EXPECT_TRUE(decodesXml(c.input));
  }
}

TEST(DecodeXmlSpecialTest, AllShortTextsAgreeWithTheReference) {
  for (const std::string& text : allStrings("&lt;"s, 6)) ASSERT_TRUE(decodesXml(text));
  const Texts tokens = {"&", "amp;", "lt;", "&gt;", "&amp;", ";", "x", "\0"s, "\xE9"};
  for (unsigned long long choice = 0; choice < 59049; ++choice)
    ASSERT_TRUE(decodesXml(textOf(tokens, choice, 5)));
}

TEST(DecodeXmlSpecialTest, TheBlockIsKept) {
  for (const std::size_t size : {80U, 81U, 82U, 83U, 300U}) {
    StringBuffer buffer;
    buffer.setExtendSize(9);
    fill(buffer, std::string(size, 'x') + "&amp;lt;&gt;" + std::string(size, 'y'));
    EXPECT_TRUE(decodesXml(buffer)) << size;
  }
}

TEST(DecodeXmlSpecialTest, NothingIsAllocated) {
  StringBuffer buffer((std::string(500, 'x') + "&lt;&amp;&gt;").c_str());
  unsigned int count = 0;
  long seen = 0;
  {
    const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
    count = buffer.decodeXMLSpecial();
    seen = fail.seen();
  }
  EXPECT_EQ(count, 3U);
  EXPECT_EQ(seen, 0);
  EXPECT_TRUE(holds(buffer, std::string(500, 'x') + "<&>"));
}

// --- The two full decoders -----------------------------------------------------------------------

struct Decoder {
  const char* name;
  void (StringBuffer::*run)();
  bool utf8;
};
constexpr Decoder kUtf8 = {"decodeAllXmlSpecialUtf8", &StringBuffer::decodeAllXmlSpecialUtf8, true};
constexpr Decoder kIso = {"decodeAllXmlSpecialIso", &StringBuffer::decodeAllXmlSpecialIso, false};
constexpr Decoder kDecoders[] = {kUtf8, kIso};

// Compares with the reference. Storage that a numeric scan has made anew is inline when the
// result fits; how large a block would be is not told.
testing::AssertionResult decodes(const Decoder& decoder, StringBuffer& buffer) {
  const std::string input = bytesOf(buffer);
  const reference::Decoded expected = reference::decodeAll(modelOf(buffer), decoder.utf8);
  (buffer.*decoder.run)();
  const std::string& bytes = expected.buffer.bytes;
  const testing::AssertionResult same = !expected.rewritten ? matches(buffer, expected.buffer)
                                        : bytes.size() < 82 ? holds(buffer, bytes, 0, 202)
                                                            : holds(buffer, bytes);
  return same ? same : failed(input, decoder.name + ": "s + same.message());
}

testing::AssertionResult decodes(const Decoder& decoder, std::string_view input,
                                 unsigned int extendSize = 202) {
  StringBuffer buffer;
  fill(buffer, input);
  buffer.setExtendSize(extendSize);
  return decodes(decoder, buffer);
}

testing::AssertionResult bothDecode(std::string_view input) {
  const testing::AssertionResult utf8 = decodes(kUtf8, input);
  return utf8 ? decodes(kIso, input, 77) : utf8;
}

struct DecodeCase {
  std::string input;
  std::string utf8;
  std::string iso;
};

// Each case by its stated result, and beside the reference.
template <std::size_t n>
void checkCases(const DecodeCase (&cases)[n]) {
  for (const DecodeCase& c : cases)
    for (const Decoder& decoder : kDecoders) {
      StringBuffer buffer;
      fill(buffer, c.input);
      (buffer.*decoder.run)();
      EXPECT_TRUE(holds(buffer, decoder.utf8 ? c.utf8 : c.iso, 0, 202))
          << decoder.name << " of " << testing::PrintToString(c.input);
      EXPECT_TRUE(decodes(decoder, c.input));
    }
}

TEST(DecodeAllTest, ListedCases) {
  checkCases({
      {"", "", ""},
      {"&", "&", "&"},
      {"&amp;lt;", "<", "<"},
      {"a&nbsp;b", "a b", "a b"},
      {"&#xE9;x", "\xC3\xA9x", "\xE9x"},
      {"&#xE9x", "\xC3\xA9", "\xE9"},
      {"&#233;", "\xC3\xA9", "\xE9"},
      {"&quot;&apos;&amp;&lt;&gt;&nbsp;", "\"'&<> ", "\"'&<> "},
      {"caf&eacute; &euro;5", "caf\xC3\xA9 \xE2\x82\xAC"s + "5", "caf\xE9 \x80"s + "5"},
      {"&trade;&#8482;", "\xE2\x84\xA2\xE2\x84\xA2", "\x99\x99"},
      {"&bull;&ndash;", "\xE2\x80\xA2\xE2\x80\x93", "\x95\x96"},
      {"&euro;&#8364;&#x20AC;", "\xE2\x82\xAC\xE2\x82\xAC\xE2\x82\xAC", "\x80\x80\x80"},
  });
}

TEST(DecodeAllTest, AnAmpersandIsDecodedBeforeTheNamesAndOnceMoreBehindThem) {
  checkCases({
      {"&amp;amp;", "&", "&"},
      {"&amp;amp;amp;", "&amp;", "&amp;"},
      {"&amp;amp;lt;", "&lt;", "&lt;"},
      {"&amp;lt;&amp;gt;", "<>", "<>"},
      {"&amp;nbsp;", " ", " "},
      {"&amp;copy;", "\xC2\xA9", "\xA9"},
      {"&amp;amp;copy;", "&copy;", "&copy;"},
      {"&amp;#65;", "A", "A"},
      {"&amp;amp;#65;", "A", "A"},
      {"&amp;amp;#x41;", "A", "A"},
      {"&amp;amp;amp;#65;", "&amp;#65;", "&amp;#65;"},
      {"&am&amp;p;", "&am&p;", "&am&p;"},
      {"&am&amp;amp;p;", "&am&p;", "&am&p;"},
  });
}

TEST(DecodeAllTest, QuotesAreDecodedOnlyBeforeTheFirstAmpersands) {
  checkCases({
      {"&amp;quot;", "&quot;", "&quot;"},
      {"&amp;apos;", "&apos;", "&apos;"},
      {"&amp;amp;quot;", "&quot;", "&quot;"},
      {"&quot;&amp;quot;", "\"&quot;", "\"&quot;"},
  });
}

TEST(DecodeAllTest, TheDecimalScanSeesWhatTheHexadecimalScanWrites) {
  checkCases({
      {"&#x26;#65;", "A", "A"},
      {"&#x26#65;", "&65;", "&65;"},
      {"&#38;#65;", "&#65;", "&#65;"},
      {"&#38;#x41;", "&#x41;", "&#x41;"},
      {"&#x26;#x41;", "&#x41;", "&#x41;"},
      {"&#x26;#38;#65;", "&#65;", "&#65;"},
      {"&#x26;lt;", "&lt;", "&lt;"},
      {"&#38;amp;", "&amp;", "&amp;"},
      {"&#&#x36;5;", "A", "A"},
      {"&#x26;&#x23;65;", "A", "A"},
      {"&#x&#x34;1;", "&#x41;", "&#x41;"},
  });
}

TEST(DecodeAllTest, AtMostTwoHexadecimalDigitsAreTaken) {
  checkCases({
      {"&#x4;;", "\x04;", "\x04;"},
      {"&#x41;B", "AB", "AB"},
      {"&#x041;", "\x04;", "\x04;"},
      {"&#x0041;", "&#x0041;", "&#x0041;"},
      {"&#x0;x", "&#x0;x", "&#x0;x"},
      {"&#x00;x", "&#x00;x", "&#x00;x"},
      {"&#x01;x", "\x01x", "\x01x"},
      {"&#x100;x", "&#x100;x", "&#x100;x"},
      {"&#xff;&#xFF;&#xfF;", "\xC3\xBF\xC3\xBF\xC3\xBF", "\xFF\xFF\xFF"},
      {"&#xg;&#x;&#x ", "&#xg;&#x;&#x ", "&#xg;&#x;&#x "},
      {"&#x4g;x", "\x04;x", "\x04;x"},
      {"&#x 41;&#x+4;", "&#x 41;&#x+4;", "&#x 41;&#x+4;"},
  });
}

TEST(DecodeAllTest, AtMostThreeDecimalDigitsAreTaken) {
  checkCases({
      {"&#9;;", "\t;", "\t;"},
      {"&#65;B", "AB", "AB"},
      {"&#065;B", "AB", "AB"},
      {"&#0065;", "\x06;", "\x06;"},
      {"&#00065;", "&#00065;", "&#00065;"},
      {"&#0;x", "&#0;x", "&#0;x"},
      {"&#254;x", "\xC3\xBEx", "\xFEx"},
      {"&#255;x", "&#255;x", "&#255;x"},
      {"&#256;x", "&#256;x", "&#256;x"},
      {"&#1234;x", "&#1234;x", "&#1234;x"},
      {"&#;&#x;&#-5;&#;", "&#;&#x;&#-5;&#;", "&#;&#x;&#-5;&#;"},
      {"&#6a;x", "\x06;x", "\x06;x"},
  });
}

// A decimal number may begin with blanks and a sign; the first byte is taken in any case.
TEST(DecodeAllTest, TheFirstByteBehindTheNumberSignIsAlwaysTaken) {
  checkCases({{"&#+65;x", "Ax", "Ax"},
              {"&# 65;x", "Ax", "Ax"},
              {"&#\n7;x", "\ax", "\ax"},
              {"&# +5;x", "&# +5;x", "&# +5;x"},
              {"&#  5;x", "&#  5;x", "&#  5;x"},
              {"&#-65;x", "&#-65;x", "&#-65;x"}});
}

TEST(DecodeAllTest, TheByteBehindTheDigitsIsDroppedWhateverItIs) {
  for (int byte = 1; byte < 256; ++byte) {
    const std::string next = byteText(static_cast<unsigned int>(byte));
    ASSERT_TRUE(bothDecode("&#x41" + next + "yz"));
    ASSERT_TRUE(bothDecode("&#x4" + next + "yz"));
    ASSERT_TRUE(bothDecode("&#101" + next + "yz"));
    ASSERT_TRUE(bothDecode("&#65" + next + "yz"));
    ASSERT_TRUE(bothDecode("&#6" + next + "yz"));
  }
  checkCases({{"&#x41&#x42;", "A#x42;", "A#x42;"},
              {"&#65&#66;", "A#66;", "A#66;"},
              {"&#x41\n", "A", "A"},
              {"&#200<b>", "\xC3\x88"s + "b>", "\xC8"s + "b>"}});
}

TEST(DecodeAllTest, OnlyALowerCaseXBeginsAHexadecimalReference) {
  checkCases({{"&#X41;", "&#X41;", "&#X41;"},
              {"&#XE9;&#xE9;", "&#XE9;\xC3\xA9", "&#XE9;\xE9"},
              {"&#X20AC;", "&#X20AC;", "&#X20AC;"},
              {"&#x20ac;&#x2122;", "&#x20ac;&#x2122;", "&#x20ac;&#x2122;"}});
}

TEST(DecodeAllTest, AReferenceTooNearTheEndStays) {
  checkCases({
      {"&#x4", "&#x4", "&#x4"},
      {"&#x41", "A", "A"},
      {"&#x4;", "\x04", "\x04"},
      {"a&#x4", "a&#x4", "a&#x4"},
      {"a&#x41", "aA", "aA"},
      {"&#5", "&#5", "&#5"},
      {"&#5;", "\x05", "\x05"},
      {"&#65", "A", "A"},
      {"a&#5", "a&#5", "a&#5"},
      {"a&#65", "aA", "aA"},
      {"a&#233", "a\xC3\xA9", "a\xE9"},
      {"&#65;&#5", "A&#5", "A&#5"},
      {"&#", "&#", "&#"},
      {"&#x", "&#x", "&#x"},
      {"xxx&#", "xxx&#", "xxx&#"},
      {"xxx&#x", "xxx&#x", "xxx&#x"},
  });
}

TEST(DecodeAllTest, ValuesThatDoNotFitAreNoReferences) {
  for (const char* digits : {"999999999999999999999", "4294967296", "2147483648",
                             "18446744073709551681", "00000000000000000000000000000065"}) {
    EXPECT_TRUE(bothDecode("&#"s + digits + ";x"));
    EXPECT_TRUE(bothDecode("&#x"s + digits + ";x"));
  }
  checkCases({{"&#999999999999999999999;", "&#999999999999999999999;", "&#999999999999999999999;"},
              {"&#xFFFFFFFFFFFFFFFF;", "&#xFFFFFFFFFFFFFFFF;", "&#xFFFFFFFFFFFFFFFF;"}});
}

TEST(DecodeAllTest, ANoBreakSpaceBecomesAPlainSpace) {
  checkCases(
      {{"&nbsp;", " ", " "}, {"&#160;x", "\xC2\xA0x", "\xA0x"}, {"&NBSP;", "&NBSP;", "&NBSP;"}});
}

TEST(DecodeAllTest, NumbersNameBytesOfWindows1252) {
  for (unsigned int byte = 1; byte < 256; ++byte) {
    constexpr char kDigits[] = "0123456789abcdef";
    const std::string hex = {kDigits[byte >> 4], kDigits[byte & 15]};
    const std::string iso = byteText(byte);
    const std::string utf8 = byte < 128 ? iso : utf8Of(windows1252(byte));
    for (const Decoder& decoder : kDecoders) {
      StringBuffer buffer(("<&#x" + hex + ";|&#" + std::to_string(byte) + ";>").c_str());
      (buffer.*decoder.run)();
      const std::string& written = decoder.utf8 ? utf8 : iso;
      // Of the decimal numbers, 255 is none.
      const std::string decimal = byte < 255 ? written : "&#255;";
      const std::string expected = "<" + written + "|" + decimal + ">";
      EXPECT_TRUE(holds(buffer, expected)) << decoder.name << " " << byte;
    }
  }
}

TEST(DecodeAllTest, ATextWithoutAmpersandIsUntouched) {
  for (const Decoder& decoder : kDecoders)
    for (const std::string& text : {"a;b#x41;"s, "lt;\0gt;"s, std::string(300, 'x') + "\0\0"s}) {
      StringBuffer buffer;
      buffer.setExtendSize(9);
      fill(buffer, text);
      buffer.setExtendSize(7);
      const harness::BufferState before = stateOf(buffer);
      const char* storage = buffer.getString();
      (buffer.*decoder.run)();
      EXPECT_EQ(stateOf(buffer), before) << decoder.name;
      EXPECT_EQ(buffer.getString(), storage);
    }
}

TEST(DecodeAllTest, TextWithAnAmpersandIsCutAtItsFirstNul) {
  checkCases({{"&lt;a\0&lt;b"s, "<a", "<a"},
              {"&copy;\0b"s, "\xC2\xA9", "\xA9"},
              {"&x\0&lt;"s, "&x", "&x"},
              {"&\0amp;"s, "&", "&"},
              {"&#65;\0&#65;"s, "A", "A"}});
}

// Names are looked for in the text, numbers in the whole content.
TEST(DecodeAllTest, OnlyNumbersAreDecodedBehindANul) {
  checkCases({{"a\0&lt;&copy;&amp;"s, "a\0&lt;&copy;&amp;"s, "a\0&lt;&copy;&amp;"s},
              {"A\0&#x41;x"s, "A\0Ax"s, "A\0Ax"s},
              {"\0&#233;x"s, "\0\xC3\xA9x"s, "\0\xE9x"s},
              {"ab\0&#x26;#65;z"s, "ab\0Az"s, "ab\0Az"s},
              {"a\0&"s, "a\0&"s, "a\0&"s}});
  for (const std::string& text : allStrings("&#6x;\0"s, 6)) ASSERT_TRUE(bothDecode(text));
}

// Digits in the place of the terminator are read by nobody.
TEST(DecodeAllTest, NumbersEndWhereTheContentDoes) {
  for (const Decoder& decoder : kDecoders)
    for (const std::string& end : {"&#x41"s, "&#65"s}) {
      const std::string text = "A\0"s + std::string(90, 'x');
      StringBuffer buffer;
      harness::fillExactUnterminated(buffer, text + end + "0", '6');
      StringBuffer terminated;
      harness::fillHeap(terminated, text + end + "0", 0);
      (terminated.*decoder.run)();
      (buffer.*decoder.run)();
      EXPECT_EQ(bytesOf(buffer), bytesOf(terminated)) << end;
    }
  for (const Decoder& decoder : kDecoders)
    for (const std::string& end : {"&#x0000041"s, "&#00065"s}) {
      StringBuffer buffer;
      harness::fillExactUnterminated(buffer, "A\0"s + std::string(90, 'x') + end, '6');
      (buffer.*decoder.run)();
      EXPECT_TRUE(invariantsHold(buffer));
    }
}

// --- The names -----------------------------------------------------------------------------------

std::set<std::string> namedReferences(const reference::Rows& rows) {
  std::set<std::string> names;
  for (const reference::Row& row : rows)
    if (row.reference[1] != '#') names.insert(row.reference.substr(1, row.reference.size() - 2));
  return names;
}

// The character of a row told anew: from the list of HTML 4 or from the number itself.
unsigned int independentCodePoint(const std::string& reference) {
  if (reference.compare(0, 3, "&#x") == 0)
    return static_cast<unsigned int>(std::stoul(reference.substr(3), nullptr, 16));
  if (reference[1] == '#') return static_cast<unsigned int>(std::stoul(reference.substr(2)));
  for (const harness::ByteEntity& entity : harness::kWindows1252Html4)
    if (reference == "&"s + entity.name + ";")
      return entity.byte < 128 ? entity.byte : windows1252(entity.byte);
  return 0;
}

TEST(DecodeAllTest, TheRowsAreThoseOfHtml4) {
  EXPECT_EQ(reference::rows().size(), 143U);
  EXPECT_EQ(reference::rows().size() + reference::spaceRows().size(), 157U);
  for (const reference::Row& row : reference::rows())
    EXPECT_EQ(row.codePoint, independentCodePoint(row.reference)) << row.reference;
  const std::set<std::string> spaces = namedReferences(reference::spaceRows());
  EXPECT_EQ(spaces.size(), 7U);
  std::set<std::string> html4(std::begin(harness::kHtml4Names), std::end(harness::kHtml4Names));
  for (const std::string& name : spaces) EXPECT_EQ(html4.count(name), 1U) << name;
}

TEST(DecodeAllTest, EveryRowIsDecodedToItsCharacter) {
  for (const reference::Row& row : reference::rows()) {
    const std::string utf8 = utf8Of(independentCodePoint(row.reference));
    const std::string iso(1, reference::byteOf(independentCodePoint(row.reference)));
    checkCases({{row.reference, utf8, iso},
                {"x" + row.reference + row.reference + ";", "x" + utf8 + utf8 + ";",
                 "x" + iso + iso + ";"}});
  }
}

TEST(DecodeAllTest, OnlyTheDecoderToBytesKnowsTheTypographicSpaces) {
  for (const reference::Row& row : reference::spaceRows())
    checkCases({{row.reference, row.reference, " "},
                {"x&amp;" + row.reference.substr(1) + "y", "x" + row.reference + "y", "x y"}});
}

TEST(DecodeAllTest, EveryHtml4NameFollowsTheTable) {
  const std::set<std::string> known = namedReferences(reference::rows());
  const std::set<std::string> spaces = namedReferences(reference::spaceRows());
  const std::set<std::string> first = {"quot", "amp", "lt", "gt", "nbsp"};
  unsigned int unknown = 0;
  for (const std::string name : harness::kHtml4Names) {
    const std::string whole = "&" + name + ";";
    ASSERT_TRUE(bothDecode(whole));
    if (known.count(name) + spaces.count(name) + first.count(name) != 0) continue;
    ++unknown;
    checkCases({{whole, whole, whole}});
  }
  EXPECT_GT(unknown, 100U);
}

// The character of "&fnof;" is in Windows-1252, and the bullet has a name that is known.
TEST(DecodeAllTest, TwoCharactersOfWindows1252AreNotKnown) {
  checkCases({{"&fnof;", "&fnof;", "&fnof;"},
              {"&#402;", "&#402;", "&#402;"},
              {"&#8226;", "&#8226;", "&#8226;"}});
}

TEST(DecodeAllTest, NamesNeedTheirCaseAndTheirSemicolon) {
  for (const reference::Row& row : reference::rows()) {
    const std::string& whole = row.reference;
    const std::string open = whole.substr(0, whole.size() - 1);
    ASSERT_TRUE(bothDecode(open));
    ASSERT_TRUE(bothDecode(open + " ;"));
    ASSERT_TRUE(bothDecode("&" + whole));
    ASSERT_TRUE(bothDecode(open + whole));
    for (std::size_t i = 1; i < whole.size(); ++i) {
      std::string changed = whole;
      changed[i] = static_cast<char>(changed[i] ^ 0x20);
      ASSERT_TRUE(bothDecode(changed));
      ASSERT_TRUE(bothDecode(whole.substr(0, i)));
      ASSERT_TRUE(bothDecode(whole.substr(0, i) + "&" + whole.substr(i)));
    }
  }
}

// --- Beside the passes over the whole text -------------------------------------------------------

// As bothDecode(), without the time that a message takes; for many short texts.
bool agreesFast(const Decoder& decoder, const std::string& input) {
  StringBuffer buffer(input.c_str());
  const reference::Decoded expected = reference::decodeAll({input, 0, 202}, decoder.utf8);
  (buffer.*decoder.run)();
  const std::string& bytes = expected.buffer.bytes;
  return buffer.getSize() == bytes.size() && buffer.heapUsage() == 0 &&
         buffer.getExtendSize() == 202 &&
         std::memcmp(buffer.getString(), bytes.c_str(), bytes.size() + 1) == 0;
}

testing::AssertionResult bothAgree(const std::string& input) {
  if (agreesFast(kUtf8, input) && agreesFast(kIso, input)) return testing::AssertionSuccess();
  const testing::AssertionResult slow = bothDecode(input);
  return slow ? failed(input, "differs") : slow;
}

TEST(DecodeAllTest, AllShortTextsAgreeWithThePasses) {
  for (const std::string& text : allStrings("&#x1;", 6)) ASSERT_TRUE(bothAgree(text));
  for (const std::string& text : allStrings("&#06x", 6)) ASSERT_TRUE(bothAgree(text));
  const Texts tokens = {"&", "amp;", "#", "x", "26", "3", ";", "lt;"};
  for (unsigned long long choice = 0; choice < 32768; ++choice)
    ASSERT_TRUE(bothAgree(textOf(tokens, choice, 5)));
}

TEST(DecodeAllTest, NumbersOfEveryLengthAgreeWithThePasses) {
  const Texts tokens = {"0", "1", "2", "6", "9", "f", "A"};
  std::size_t combinations = 1;
  for (std::size_t digits = 0; digits < 5; ++digits, combinations *= tokens.size())
    for (unsigned long long choice = 0; choice < combinations; ++choice) {
      const std::string number = textOf(tokens, choice, digits);
      for (const char* begin : {"&#", "&#x", "&#X", "&amp;#x"})
        for (const char* end : {"", ";", ";x", "g;"}) ASSERT_TRUE(bothAgree(begin + number + end));
    }
  for (std::size_t zeros = 0; zeros < 40; ++zeros)
    for (const char* begin : {"&#", "&#x", "&amp;#", "&amp;amp;#x"})
      ASSERT_TRUE(bothAgree(begin + std::string(zeros, '0') + "41;"));
}

// Parts of references, the commonest ones twice or more.
const Texts& referenceParts() {
  static const Texts all = {
      "&",     "&",      "&amp;",  "&amp;", "amp;",    "amp;",  "&amp;amp;", "#",
      "#",     "#x",     "#x",     "#X",    "&#",      "&#x",   "&#38;",     "&#x26;",
      "26",    "38",     "0",      "00",    "6",       "41",    "233",       "E9",
      "ff",    "255",    "256",    "99999", "8364",    "20AC",  ";",         ";",
      ";",     "&lt;",   "lt;",    "quot;", "&quot;",  "nbsp;", "&copy;",    "copy;",
      "trade", "&euro;", "&ensp;", "bull",  "&#8482;", "x",     "\xC3\xA9"};
  return all;
}

// Appends from three to seven tokens, all chosen by one random number.
std::string randomReferences(unsigned long long random) {
  const std::size_t count = 3 + random % 5;
  return textOf(referenceParts(), random / 5, count);
}

std::mt19937_64 randomNumbers(unsigned long long seed) { return std::mt19937_64(seed); }

TEST(DecodeAllTest, ReferencesInsideReferencesAgreeWithThePasses) {
  std::mt19937_64 random = randomNumbers(1);
  for (int i = 0; i < 1000000; ++i) ASSERT_TRUE(bothAgree(randomReferences(random())));
}

TEST(DecodeAllTest, LongerTextsAgreeWithThePassesInTheirStorageToo) {
  std::mt19937_64 random = randomNumbers(2);
  for (int i = 0; i < 4000; ++i) {
    std::string text;
    const std::size_t tokens = random() % 40;
    while (text.size() < tokens * 5)
      text += random() % 3 == 0 ? "text of some length " : randomReferences(random());
    for (const Decoder& decoder : kDecoders)
      ASSERT_TRUE(decodes(decoder, text, i % 2 == 0 ? 202 : 10));
  }
}

TEST(DecodeAllTest, ResultsOfEverySizeAgreeWithThePasses) {
  for (std::size_t size = 70; size < 90; ++size)
    for (const char* end :
         {"&", "&lt;", "&amp;lt;", "&copy;", "&trade;&copy;", "&#65;", "&#x41;"}) {
      ASSERT_TRUE(bothDecode(std::string(size, 'x') + end));
      ASSERT_TRUE(bothDecode(end + std::string(size, 'x') + end));
    }
}

// --- Exhausted memory ----------------------------------------------------------------------------

TEST(DecodeAllTest, ExhaustedMemoryLeavesASoundBuffer) {
  std::string text;
  for (int i = 0; i < 40; ++i) text += "a&lt;b &copy; &amp;trade; &#x41; &#200; &amp;amp;";
  for (const Decoder& decoder : kDecoders) {
    std::optional<StringBuffer> buffer;
    long live = 0;
    harness::failEveryAllocation(
        [&] {
          live = harness::liveBlocks();
          buffer.emplace(text.c_str());
        },
        [&] { ((*buffer).*decoder.run)(); },
        [&] {
          EXPECT_TRUE(invariantsHold(*buffer));
          EXPECT_LE(buffer->getSize(), text.size());
          buffer.reset();
          EXPECT_EQ(harness::liveBlocks(), live);
        });
  }
}

// The result grows in steps whose number does not depend on its size.
TEST(DecodeAllTest, FewAllocationsAreMadeForALargeText) {
  std::string text;
  while (text.size() < 8U << 20) text += "&#65; text ";
  StringBuffer buffer(text.c_str());
  const harness::FailAllocation count(0);
  buffer.decodeAllXmlSpecialIso();
  EXPECT_LE(count.seen(), 2);
}

TEST(DecodeAllTest, NumbersWithoutMemoryStay) {
  for (const std::size_t size : {100U, 480U, 486U, 3000U})
    for (const Decoder& decoder : kDecoders) {
      const std::string text = std::string(size / 2, 't') + "&#65;" + std::string(size / 2, 'u');
      const std::string decoded = std::string(size / 2, 't') + "A" + std::string(size / 2, 'u');
      std::optional<StringBuffer> buffer;
      const long failures = harness::failEveryAllocation(
          [&] { buffer.emplace(text.c_str()); }, [&] { ((*buffer).*decoder.run)(); },
          [&] { EXPECT_TRUE(bytesOf(*buffer) == text || bytesOf(*buffer) == decoded) << size; });
      EXPECT_GT(failures, 0);
    }
}

// --- Secure buffers ------------------------------------------------------------------------------

TEST(DecodeAllTest, SecureBuffersReleaseOnlyWipedBlocks) {
  for (const Decoder& decoder : {kUtf8, kIso, Decoder{"decodeXMLSpecial", nullptr, false}})
    for (const char* unit : {"secret &lt;", "secret &copy;", "secret &#65;", "&amp;#xE9; &trade;"})
      for (const std::size_t size : {60U, 300U, 480U, 3000U}) {
        std::string text;
        while (text.size() < size) text += unit;
        std::optional<StringBuffer> buffer;
        buffer.emplace();
        buffer->setSecureBuf(true);
        ASSERT_TRUE(buffer->append(text.c_str()));
        const std::vector<std::string> blocks = harness::releasedBy([&] {
          if (decoder.run != nullptr)
            ((*buffer).*decoder.run)();
          else
            buffer->decodeXMLSpecial();
          buffer.reset();
        });
        EXPECT_TRUE(harness::allWiped(blocks)) << decoder.name << " " << unit << " " << size;
      }
}

TEST(DecodeAllTest, ASecureBufferStaysSecure) {
  for (const Decoder& decoder : kDecoders)
    for (const char* text : {"&lt;", "&copy;", "&#65;", "&#x41;"}) {
      StringBuffer buffer(text);
      buffer.setSecureBuf(true);
      (buffer.*decoder.run)();
      EXPECT_TRUE(harness::wipesItsBlocks(buffer)) << decoder.name << " " << text;
    }
}

// --- Hostile sizes -------------------------------------------------------------------------------

// Decodes a text of `size` bytes that repeats one unit; returns the resulting length.
unsigned int sizeAfter(const Decoder& decoder, const std::string& unit, std::size_t size) {
  std::string text;
  while (text.size() < size) text += unit;
  StringBuffer buffer(text.c_str());
  EXPECT_LT(secondsOf([&] { (buffer.*decoder.run)(); }), 8.0) << decoder.name << " " << unit;
  EXPECT_TRUE(invariantsHold(buffer));
  return buffer.getSize();
}

TEST(DecodeAllTest, HostileTextsTakeLinearTime) {
  constexpr std::size_t kSize = 1 << 19;
  for (const Decoder& decoder : kDecoders) {
    EXPECT_EQ(sizeAfter(decoder, "&", kSize), kSize);
    EXPECT_EQ(sizeAfter(decoder, "&amp;lt;", kSize), kSize / 8);
    EXPECT_EQ(sizeAfter(decoder, "&amp;amp", kSize), kSize / 8 * 4);
    EXPECT_EQ(sizeAfter(decoder, "&#x", kSize), (kSize + 2) / 3 * 3);
    EXPECT_EQ(sizeAfter(decoder, "&#x41;  ", kSize), kSize / 8 * 3);
    EXPECT_EQ(sizeAfter(decoder, "&#65;   ", kSize), kSize / 8 * 4);
    EXPECT_EQ(sizeAfter(decoder, "&copy;  ", kSize), kSize / 8 * (decoder.utf8 ? 4U : 3U));
    EXPECT_EQ(sizeAfter(decoder, "&yacut; ", kSize), kSize);
    sizeAfter(decoder, "&#x" + std::string(kSize, '0') + "1", kSize);
    sizeAfter(decoder, "&#" + std::string(kSize, '9'), kSize);
  }
}

// One block for each kind of number.
TEST(DecodeAllTest, AllocatesOncePerKindOfNumberWhateverTheSize) {
  for (const Decoder& decoder : kDecoders) {
    const auto decode = [&](StringBuffer& text) { return (text.*decoder.run)(), text.getSize(); };
    EXPECT_TRUE(harness::allocates(1, 2, harness::repeating("text &#233; &lt;"), decode));
    EXPECT_TRUE(harness::allocates(1, 2, harness::repeating("text &#xE9; &lt;"), decode));
    EXPECT_TRUE(harness::allocates(2, 2, harness::repeating("text &#xE9; &#65; &amp;"), decode));
    EXPECT_TRUE(harness::allocates(0, 0, harness::repeating("text &lt;&amp;gt;"), decode));
  }
}

}  // namespace
