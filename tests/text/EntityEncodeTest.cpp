#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/Allocations.h"
#include "harness/BufferState.h"
#include "harness/EntityEncodeReference.h"
#include "harness/Html4Entities.h"
#include "harness/RawContent.h"
#include "harness/Stopwatch.h"

namespace {

using namespace std::string_literals;
namespace reference = harness::reference::entity;
using harness::fill;
using harness::GrowthModel;
using harness::holds;
using harness::invariantsHold;
using harness::secondsOf;
using harness::stateOf;
using Texts = std::vector<std::string>;

struct Case {
  std::string input;
  std::string result;
  unsigned int count;
};

testing::AssertionResult failed(std::string_view input, const std::string& why) {
  return testing::AssertionFailure()
         << testing::PrintToString(std::string(input.substr(0, 200))) << ": " << why;
}

std::string withoutNulsAtTheEnd(std::string_view bytes) {
  return std::string(bytes.substr(0, bytes.find_last_not_of('\0') + 1));
}

// All texts made of at most `most` of the tokens.
Texts allSequences(const Texts& tokens, std::size_t most) {
  Texts all;
  std::string digits;
  for (std::size_t i = 0; i < tokens.size(); ++i) digits += static_cast<char>(i);
  for (const std::string& sequence : harness::allStrings(digits, most)) {
    std::string text;
    for (const char digit : sequence) text += tokens[static_cast<std::size_t>(digit)];
    all.push_back(text);
  }
  return all;
}

std::string allBytesFrom(int first) {
  std::string bytes;
  for (int byte = first; byte < 256; ++byte) bytes += static_cast<char>(byte);
  return bytes;
}

// ---- encodeXMLSpecial ---------------------------------------------------------------------------

// Without a replacement nothing at all may change; with one the content is cleared and the result
// appended at once.
testing::AssertionResult escapesTo(std::string_view input, const std::string& result,
                                   unsigned int count) {
  StringBuffer buffer;
  fill(buffer, input);
  buffer.setExtendSize(77);
  const harness::BufferState before = stateOf(buffer);
  const char* storage = buffer.getString();
  const unsigned int counted = buffer.encodeXMLSpecial();
  if (counted != count)
    return failed(input, std::to_string(counted) + " instead of " + std::to_string(count));
  if (count == 0) {
    const bool same = stateOf(buffer) == before && buffer.getString() == storage;
    return same ? testing::AssertionSuccess() : failed(input, "touched");
  }
  const GrowthModel stored = reference::storedAtOnce(result);
  return holds(buffer, result, stored.capacity, stored.extendSize);
}

testing::AssertionResult escapes(std::string_view input) {
  const reference::Result expected = reference::encodeXmlSpecial(input);
  return escapesTo(input, expected.content, expected.count);
}

testing::AssertionResult isKnown(const std::string& reference) {
  return escapesTo(reference, reference, 0);
}

testing::AssertionResult isUnknown(const std::string& reference) {
  return escapesTo(reference, "&amp;" + reference.substr(1), 1);
}

TEST(EncodeXmlSpecialTest, ListedCases) {
  const Case cases[] = {
      {"", "", 0},
      {"a", "a", 0},
      {"a&b", "a&amp;b", 1},
      {"&copy; &#169; &#xZZ", "&copy; &#169; &#xZZ", 0},
      {"&divide;", "&amp;divide;", 1},
      {"&diviee;", "&diviee;", 0},
      {"&", "&amp;", 1},
      {"a&", "a&amp;", 1},
      {"<>", "&lt;&gt;", 2},
      {"<a href=\"x\">'&'</a>", "&lt;a href=\"x\"&gt;'&amp;'&lt;/a&gt;", 5},
      {"&&amp;", "&amp;&amp;", 1},
      {"&amp;amp;", "&amp;amp;", 0},
      {"&amp&amp;", "&amp;amp&amp;", 1},
      {"&&&", "&amp;&amp;&amp;", 3},
      {"&lt<", "&amp;lt&lt;", 2},
  };
  for (const Case& c : cases) {
    EXPECT_TRUE(escapesTo(c.input, c.result, c.count));
    EXPECT_TRUE(escapes(c.input));
  }
}

TEST(EncodeXmlSpecialTest, OnlyAngleBracketsAndAmpersandsAreEscaped) {
  for (int byte = 0; byte < 256; ++byte) {
    const std::string c(1, static_cast<char>(byte));
    const bool escaped = c == "<" || c == ">" || c == "&";
    const std::string written = c == "<" ? "&lt;" : c == ">" ? "&gt;" : c == "&" ? "&amp;" : c;
    ASSERT_TRUE(escapesTo("x" + c + "y", "x" + written + "y", escaped ? 1 : 0)) << byte;
    ASSERT_TRUE(escapesTo("<" + c + "y", "&lt;" + written + "y", escaped ? 2 : 1)) << byte;
  }
}

TEST(EncodeXmlSpecialTest, NothingToEscapeLeavesTheStorageAlone) {
  for (const std::size_t size : {1u, 81u, 82u, 500u}) {
    StringBuffer buffer((std::string(size, 'x') + "<stale>").c_str());
    buffer.chopAt(static_cast<unsigned int>(size));
    const harness::BufferState before = stateOf(buffer);
    const char* storage = buffer.getString();
    EXPECT_EQ(buffer.encodeXMLSpecial(), 0u);
    EXPECT_EQ(stateOf(buffer), before);
    ASSERT_EQ(buffer.getString(), storage);
    EXPECT_STREQ(storage + size + 1, "stale>");
  }
}

TEST(EncodeXmlSpecialTest, NumericReferencesAreKeptWhateverFollows) {
  for (const char* text : {"&#", "&#;", "&#1", "&#169;", "&#x41;", "&#xZZ", "&# ", "&##", "a&#"})
    EXPECT_TRUE(isKnown(text)) << text;
  EXPECT_TRUE(escapesTo("&#<", "&#&lt;", 1));
  EXPECT_TRUE(escapesTo("&#&", "&#&amp;", 1));
  for (const char c : allBytesFrom(1)) EXPECT_TRUE(escapes("&#"s + c));
}

TEST(EncodeXmlSpecialTest, EveryListedNameIsKept) {
  EXPECT_EQ(reference::knownNames().size(), 122u);
  for (const std::string& name : reference::knownNames()) {
    EXPECT_TRUE(isKnown("&" + name + ";"));
    EXPECT_TRUE(escapesTo("<&" + name + ";>", "&lt;&" + name + ";&gt;", 2));
  }
}

TEST(EncodeXmlSpecialTest, NamesOutsideTheListAreEscaped) {
  for (const char* name :
       {"brvbar", "macr", "divide", "laquo", "times", "Ntilde", "euro", "ndash", "hellip",
        "alpha",  "sum",  "trade",  "Amp",   "AMP",   "LT",     "Lt",   "Gt",    "QUOT",
        "Quot",   "Nbsp", "ACUTE",  "Acute", "uuML",  "yEN",    "CENT"})
    EXPECT_TRUE(isUnknown("&"s + name + ";")) << name;
}

TEST(EncodeXmlSpecialTest, NamesOfTheListThatHtmlDoesNotHaveAreKept) {
  for (const char* name :
       {"brkbar", "hibar", "diviee", "Cent",  "Copy", "Eth",  "eTH", "tHORN",  "aElig",  "Aelig",
        "oElig",  "Oelig", "Iquest", "Iexcl", "Ordf", "Ordm", "Uml", "Utilde", "utilde", "Yen"})
    EXPECT_TRUE(isKnown("&"s + name + ";")) << name;
}

TEST(EncodeXmlSpecialTest, EveryHtml4NameFollowsTheList) {
  unsigned int known = 0;
  for (const std::string name : harness::kHtml4Names) {
    const bool listed = reference::knownNames().count(name) != 0;
    known += listed;
    EXPECT_TRUE(listed ? isKnown("&" + name + ";") : isUnknown("&" + name + ";")) << name;
  }
  EXPECT_GT(known, 80u);
}

TEST(EncodeXmlSpecialTest, LettersInAnyCaseFollowTheList) {
  for (const std::string& name : reference::knownNames()) {
    std::string text;
    for (unsigned int mask = 0; mask < 1u << name.size(); ++mask) {
      text += '&';
      for (std::size_t i = 0; i < name.size(); ++i)
        text += static_cast<char>(mask >> i & 1 ? std::toupper(name[i]) : std::tolower(name[i]));
      text += ';';
    }
    ASSERT_TRUE(escapes(text)) << name;
  }
}

TEST(EncodeXmlSpecialTest, NameNeedsItsSemicolon) {
  for (const std::string& name : reference::knownNames()) {
    EXPECT_TRUE(isUnknown("&" + name));
    for (const char* rest : {" ;", ",", ":", "x;", "&", "<"})
      EXPECT_TRUE(escapes("&" + name + rest));
  }
}

TEST(EncodeXmlSpecialTest, EveryCutNameIsEscaped) {
  for (const std::string& name : reference::knownNames())
    for (std::size_t length = 0; length < name.size(); ++length) {
      ASSERT_TRUE(isUnknown("&" + name.substr(0, length)));
      ASSERT_TRUE(escapes("&" + name.substr(0, length) + ";"));
      ASSERT_TRUE(escapes("&" + name.substr(length) + ";"));
    }
}

TEST(EncodeXmlSpecialTest, EveryNameWithOneByteChangedFollowsTheList) {
  const std::string bytes = allBytesFrom(1);
  for (const std::string& name : reference::knownNames()) {
    const std::string whole = name + ";";
    std::string text;
    for (std::size_t i = 0; i < whole.size(); ++i)
      for (const char c : bytes) {
        std::string changed = whole;
        changed[i] = c;
        text.append("&").append(changed);
      }
    ASSERT_TRUE(escapes(text)) << name;
  }
}

TEST(EncodeXmlSpecialTest, NulInsideANameEndsIt) {
  EXPECT_TRUE(escapesTo("&am\0p;x"s, "&amp;am\0p;x"s, 1));
  EXPECT_TRUE(escapesTo("&amp\0;x"s, "&amp;amp\0;x"s, 1));
  EXPECT_TRUE(escapesTo("&\0amp;x"s, "&amp;\0amp;x"s, 1));
}

// The block ends right behind the NUL, so that reading on would leave it.
TEST(EncodeXmlSpecialTest, NamesAtTheEndOfTheStorage) {
  for (const std::size_t before : {0u, 74u, 75u, 81u, 200u})
    for (const char* end : {"&", "&a", "&am", "&amp", "&amp;", "&#", "&frac12", "&frac12;",
                            "&middot", "&middot;", "&Aacut", "&Aacute", "&Aacute;", "&f", "&t"}) {
      const std::string text = std::string(before, 'x') + end;
      StringBuffer buffer;
      buffer.setExtendSize(0);
      fill(buffer, text);
      const reference::Result expected = reference::encodeXmlSpecial(text);
      EXPECT_EQ(buffer.encodeXMLSpecial(), expected.count) << text;
      EXPECT_TRUE(holds(buffer, expected.content));
    }
}

TEST(EncodeXmlSpecialTest, BytesBehindAnEmbeddedNulAreEscapedToo) {
  EXPECT_TRUE(escapesTo("a\0b<c"s, "a\0b&lt;c"s, 1));
  EXPECT_TRUE(escapesTo("<a\0b"s, "&lt;a\0b"s, 1));
  EXPECT_TRUE(escapesTo("\0a"s, "\0a"s, 0));
}

TEST(EncodeXmlSpecialTest, NulsAtTheEndOfTheResultAreDropped) {
  EXPECT_TRUE(escapesTo("<\0"s, "&lt;", 1));
  EXPECT_TRUE(escapesTo("a<b\0\0"s, "a&lt;b", 1));
  EXPECT_TRUE(escapesTo("ab\0\0"s, "ab\0\0"s, 0));
}

TEST(EncodeXmlSpecialTest, SecondCallChangesNothing) {
  for (unsigned long long seed = 1; seed <= 20; ++seed) {
    StringBuffer buffer(harness::randomText(seed, 300, "&lt;gamp#<>\" ").c_str());
    buffer.encodeXMLSpecial();
    const harness::BufferState once = stateOf(buffer);
    EXPECT_EQ(buffer.encodeXMLSpecial(), 0u);
    EXPECT_EQ(stateOf(buffer), once);
  }
}

TEST(EncodeXmlSpecialTest, ResultSizesAtEveryBorder) {
  for (std::size_t size = 0; size < 600; ++size) {
    ASSERT_TRUE(escapes(std::string(size, 'x') + "<"));
    ASSERT_TRUE(escapes("&" + std::string(size, 'x')));
  }
}

TEST(EncodeXmlSpecialTest, ShortTextsAgreeWithTheReference) {
  for (const std::string& text : harness::allStrings("&lt;a#", 5)) ASSERT_TRUE(escapes(text));
  for (const std::string& text : allSequences({"&", "amp", ";", "<", ">", "x", "#"}, 5))
    ASSERT_TRUE(escapes(text));
}

TEST(EncodeXmlSpecialTest, RandomTextsAgreeWithTheReference) {
  const std::string mostlyText = allBytesFrom(1) + "&&&&<<<>>>;;;";
  for (unsigned long long seed = 1; seed <= 60; ++seed) {
    ASSERT_TRUE(escapes(harness::randomText(seed, 30 * seed, mostlyText)));
    ASSERT_TRUE(escapes(harness::randomText(seed, 10 * seed, "&&;;amplgtquosc#<>")));
  }
}

// ---- encodeAllXmlSpecial ------------------------------------------------------------------------

// The content is always cleared and the result appended at once, even when it is the same.
testing::AssertionResult encodesAllTo(std::string_view input, const std::string& result) {
  StringBuffer buffer;
  fill(buffer, input);
  if (!input.empty()) buffer.setExtendSize(77);
  buffer.encodeAllXmlSpecial();
  const std::string kept = withoutNulsAtTheEnd(result);
  const GrowthModel stored = reference::storedAtOnce(result);
  const testing::AssertionResult same = holds(buffer, kept, stored.capacity, stored.extendSize);
  return same ? same : failed(input, same.message());
}

testing::AssertionResult encodesAll(std::string_view input) {
  return encodesAllTo(input, reference::encodeAll(input));
}

TEST(EncodeAllXmlSpecialTest, ListedCases) {
  const Case cases[] = {
      {"", "", 0},
      {"abc", "abc", 0},
      {"\xC3\xA9", "&Atilde;&copy;", 0},
      {"&amp;", "&amp;amp;", 0},
      {"&#169;", "&amp;#169;", 0},
      {"<a b='c' d=\"e\">", "&lt;a b=&apos;c&apos; d=&quot;e&quot;&gt;", 0},
      {"\x80 100", "&euro; 100", 0},
      {"\x9F\xFF\xDD\xFD", "&Yuml;&yuml;&Yacute;&yacute;", 0},
      {"a\xA0z", "a\xA0z", 0},
      {"\xC6\xE6\x8C\x9C", "&AElig;&aelig;&OElig;&oelig;", 0},
      {"\xA6\xAF\xF7\xD7", "&brvbar;&macr;&divide;&times;", 0},
  };
  for (const Case& c : cases) {
    EXPECT_TRUE(encodesAllTo(c.input, c.result));
    EXPECT_TRUE(encodesAll(c.input));
  }
}

// HTML 4 names the characters; beside that the apostrophe has its XML name, and the florin sign
// and the no-break space keep their bytes.
std::string fromHtml4(unsigned char byte) {
  if (byte == 0x27) return "&apos;";
  if (byte != 0x83 && byte != 0xA0)
    for (const harness::ByteEntity& entity : harness::kWindows1252Html4)
      if (entity.byte == byte) return "&"s + entity.name + ";";
  return std::string(1, static_cast<char>(byte));
}

TEST(EncodeAllXmlSpecialTest, EveryByteHasItsHtml4Name) {
  for (int byte = 1; byte < 256; ++byte) {
    const std::string c(1, static_cast<char>(byte));
    const std::string written = fromHtml4(static_cast<unsigned char>(byte));
    EXPECT_TRUE(encodesAllTo(c, written)) << byte;
    EXPECT_TRUE(encodesAllTo("x" + c + c + "y", "x" + written + written + "y")) << byte;
  }
  const std::string bytes = allBytesFrom(0);
  std::string written;
  for (const char c : bytes) written += fromHtml4(static_cast<unsigned char>(c));
  EXPECT_TRUE(encodesAllTo(bytes, written));
}

TEST(EncodeAllXmlSpecialTest, BytesWithoutANameStay) {
  std::string bytes;
  for (int byte = 1; byte < 0x80; ++byte)
    if ("\"&'<>"s.find(static_cast<char>(byte)) == std::string::npos)
      bytes += static_cast<char>(byte);
  bytes += "\x81\x83\x8D\x8E\x8F\x90\x9D\x9E\xA0";
  EXPECT_EQ(bytes.size(), 131u);
  EXPECT_TRUE(encodesAllTo(bytes, bytes));
}

TEST(EncodeAllXmlSpecialTest, StorageIsThatOfTheResultAppendedAtOnce) {
  StringBuffer buffer(std::string(1000, 'x').c_str());
  buffer.shorten(919);
  buffer.encodeAllXmlSpecial();
  EXPECT_TRUE(holds(buffer, std::string(81, 'x'), 0, 202));
  ASSERT_TRUE(buffer.append("x"));
  buffer.encodeAllXmlSpecial();
  EXPECT_TRUE(holds(buffer, std::string(82, 'x'), 285, 202));
}

TEST(EncodeAllXmlSpecialTest, EmbeddedNulsStayAndThoseAtTheEndGo) {
  EXPECT_TRUE(encodesAllTo("a\0<\0b"s, "a\0&lt;\0b"s));
  EXPECT_TRUE(encodesAllTo("\0<"s, "\0&lt;"s));
  EXPECT_TRUE(encodesAllTo("<\0"s, "&lt;"));
  EXPECT_TRUE(encodesAllTo("\0"s, ""));
}

TEST(EncodeAllXmlSpecialTest, ResultSizesAtEveryBorder) {
  for (std::size_t size = 0; size < 600; ++size) {
    ASSERT_TRUE(encodesAll(std::string(size, 'x')));
    ASSERT_TRUE(encodesAll(std::string(size, 'x') + "\xE9"));
    ASSERT_TRUE(encodesAll("'" + std::string(size, '\x81')));
  }
}

TEST(EncodeAllXmlSpecialTest, ShortContentsAgreeWithTheReference) {
  for (const std::string& text : harness::allStrings("a&\"\xE9\x81\0"s, 5))
    ASSERT_TRUE(encodesAll(withoutNulsAtTheEnd(text)));
}

TEST(EncodeAllXmlSpecialTest, RandomContentsAgreeWithTheReference) {
  for (unsigned long long seed = 1; seed <= 60; ++seed) {
    const std::string content = harness::randomText(seed, 50 * seed, allBytesFrom(0));
    ASSERT_TRUE(encodesAll(withoutNulsAtTheEnd(content)));
    ASSERT_TRUE(encodesAll(harness::randomText(seed, 50 * seed, std::string(200, 'x') + "<\xE9")));
  }
}

// ---- replaceHTMLSpecial -------------------------------------------------------------------------

// Four replacements over the whole text; the storage is that of the last one that found something.
testing::AssertionResult replacesHtml(std::string_view input) {
  StringBuffer buffer;
  fill(buffer, input);
  buffer.setExtendSize(77);
  reference::Text expected{std::string(input), {}};
  expected.storage.length = buffer.getSize();
  expected.storage.capacity = buffer.heapUsage();
  expected.storage.extendSize = 77;
  const unsigned int count = reference::replaceHtmlSpecial(expected);
  const unsigned int counted = buffer.replaceHTMLSpecial();
  if (counted != count)
    return failed(input, std::to_string(counted) + " instead of " + std::to_string(count));
  const testing::AssertionResult same =
      holds(buffer, expected.content, expected.storage.capacity, expected.storage.extendSize);
  return same ? same : failed(input, same.message());
}

TEST(ReplaceHtmlSpecialTest, ListedCases) {
  const Case cases[] = {
      {"", "", 0},
      {"abc", "abc", 0},
      {"a&b", "a&amp;b", 0},
      {"<a b=\"c\">", "&lt;a b=&quot;c&quot;&gt;", 2},
      {"&amp;", "&amp;amp;", 0},
      {"&lt;&quot;", "&amp;lt;&amp;quot;", 0},
      {"\"\"\"", "&quot;&quot;&quot;", 3},
      {"<<>>", "&lt;&lt;&gt;&gt;", 0},
      {"it's", "it's", 0},
  };
  for (const Case& c : cases) {
    StringBuffer buffer(c.input.c_str());
    EXPECT_EQ(buffer.replaceHTMLSpecial(), c.count) << c.input;
    EXPECT_TRUE(holds(buffer, c.result)) << c.input;
    EXPECT_TRUE(replacesHtml(c.input));
  }
}

TEST(ReplaceHtmlSpecialTest, OnlyFourBytesAreReplaced) {
  for (int byte = 1; byte < 256; ++byte) {
    const std::string c(1, static_cast<char>(byte));
    StringBuffer buffer(("x" + c + "y").c_str());
    const std::string written = c == "&"    ? "&amp;"
                                : c == "<"  ? "&lt;"
                                : c == ">"  ? "&gt;"
                                : c == "\"" ? "&quot;"
                                            : c;
    EXPECT_EQ(buffer.replaceHTMLSpecial(), c == "\"" ? 1u : 0u);
    EXPECT_TRUE(holds(buffer, "x" + written + "y")) << byte;
  }
}

TEST(ReplaceHtmlSpecialTest, WithoutAMatchNothingIsTouched) {
  for (const std::string& content : {"abc"s, std::string(500, 'x'), "a\0<"s, "a\0\0"s}) {
    StringBuffer buffer;
    fill(buffer, content);
    buffer.setExtendSize(77);
    const harness::BufferState before = stateOf(buffer);
    const char* storage = buffer.getString();
    EXPECT_EQ(buffer.replaceHTMLSpecial(), 0u);
    EXPECT_EQ(stateOf(buffer), before);
    EXPECT_EQ(buffer.getString(), storage);
  }
}

TEST(ReplaceHtmlSpecialTest, ContentBehindANulIsDroppedWhenSomethingMatches) {
  for (const Case& c : {Case{"a&\0b"s, "a&amp;", 0}, Case{"a\"b\0\"c"s, "a&quot;b", 1},
                        Case{"<a\0>"s, "&lt;a", 0}}) {
    StringBuffer buffer;
    fill(buffer, c.input);
    EXPECT_EQ(buffer.replaceHTMLSpecial(), c.count);
    EXPECT_TRUE(holds(buffer, c.result));
    EXPECT_TRUE(replacesHtml(c.input));
  }
}

TEST(ReplaceHtmlSpecialTest, ResultSizesAtEveryBorder) {
  for (std::size_t size = 0; size < 600; ++size)
    for (const char* special : {"&", "<", ">", "\"", "&<>\""}) {
      ASSERT_TRUE(replacesHtml(std::string(size, 'x') + special));
      ASSERT_TRUE(replacesHtml(special + std::string(size, 'x')));
    }
}

TEST(ReplaceHtmlSpecialTest, ShortContentsAgreeWithTheReference) {
  for (const std::string& text : harness::allStrings("a&<>\""s, 5)) ASSERT_TRUE(replacesHtml(text));
  for (const std::string& text : harness::allStrings("a&\"\0"s, 5)) ASSERT_TRUE(replacesHtml(text));
}

TEST(ReplaceHtmlSpecialTest, RandomTextsAgreeWithTheReference) {
  for (unsigned long long seed = 1; seed <= 60; ++seed) {
    ASSERT_TRUE(replacesHtml(harness::randomText(seed, 50 * seed, allBytesFrom(1))));
    ASSERT_TRUE(replacesHtml(harness::randomText(seed, 10 * seed, "x&<>\"")));
  }
}

// ---- replacePreDefinedXmlEntities ---------------------------------------------------------------

// Works in place: whatever the result, the storage is the same.
testing::AssertionResult decodesTo(std::string_view input, unsigned int start,
                                   const std::string& result, unsigned int count) {
  StringBuffer buffer;
  fill(buffer, input);
  buffer.setExtendSize(77);
  const char* storage = buffer.getString();
  const unsigned int heap = buffer.heapUsage();
  const unsigned int counted = buffer.replacePreDefinedXmlEntities(start);
  if (counted != count)
    return failed(input, std::to_string(counted) + " instead of " + std::to_string(count));
  if (buffer.getString() != storage) return failed(input, "moved");
  const testing::AssertionResult same = holds(buffer, result, heap, 77);
  return same ? same : failed(input, same.message());
}

testing::AssertionResult decodes(std::string_view input, unsigned int start) {
  const reference::Result expected = reference::replacePreDefined(input, start);
  return decodesTo(input, start, expected.content, expected.count);
}

TEST(ReplacePreDefinedXmlEntitiesTest, ListedCases) {
  const Case cases[] = {
      {"", "", 0},
      {"abc", "abc", 0},
      {"&lt;x&gt; &nbsp;", "<x> &nbsp;", 2},
      {"&amp;&apos;&gt;&lt;&quot;", "&'><\"", 5},
      {"&amp;lt;", "&lt;", 1},
      {"&amp;amp;", "&amp;", 1},
      {"&&amp;", "&&", 1},
      {"&am&amp;p;", "&am&p;", 1},
      {"&AMP;&Lt;&lT;&QUOT;&Apos;", "&AMP;&Lt;&lT;&QUOT;&Apos;", 0},
      {"&amp&lt &gt&", "&amp&lt &gt&", 0},
      {"&#38;&#x3C;", "&#38;&#x3C;", 0},
      {"&copy;&eacute;", "&copy;&eacute;", 0},
      {"&ampx;&aposs;&a;&;", "&ampx;&aposs;&a;&;", 0},
      {"x&lt;", "x<", 1},
  };
  for (const Case& c : cases) {
    EXPECT_TRUE(decodesTo(c.input, 0, c.result, c.count));
    EXPECT_TRUE(decodes(c.input, 0));
  }
}

TEST(ReplacePreDefinedXmlEntitiesTest, BytesBeforeTheStartStay) {
  EXPECT_TRUE(decodesTo("&lt;&lt;&gt;", 4, "&lt;<>", 2));
  EXPECT_TRUE(decodesTo("&lt;&lt;&gt;", 5, "&lt;&lt;>", 1));
  EXPECT_TRUE(decodesTo("&lt;&lt;&gt;", 1, "&lt;<>", 2));
  EXPECT_TRUE(decodesTo("&amp;lt;", 1, "&amp;lt;", 0));
}

TEST(ReplacePreDefinedXmlEntitiesTest, StartBehindTheContentChangesNothing) {
  for (const unsigned int start : {4u, 5u, 81u, 82u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu})
    EXPECT_TRUE(decodesTo("&lt;", start, "&lt;", 0)) << start;
  EXPECT_TRUE(decodesTo("&lt;", 3, "&lt;", 0));
  EXPECT_TRUE(decodesTo("", 0, "", 0));
  const std::string text = std::string(100, 'x') + "&lt;";
  EXPECT_TRUE(decodesTo(text, 104, text, 0));
}

TEST(ReplacePreDefinedXmlEntitiesTest, EveryChangedReferenceStays) {
  for (const std::string whole : {"&amp;", "&apos;", "&gt;", "&lt;", "&quot;"})
    for (std::size_t i = 0; i < whole.size(); ++i) {
      ASSERT_TRUE(decodes(whole.substr(0, i), 0));
      for (const char c : allBytesFrom(1)) {
        std::string changed = whole;
        changed[i] = c;
        ASSERT_TRUE(decodes(changed, 0));
        ASSERT_TRUE(decodes("&lt;" + changed + "x", 0));
      }
    }
}

TEST(ReplacePreDefinedXmlEntitiesTest, OtherBytesAreCopied) {
  for (const char c : allBytesFrom(1)) EXPECT_TRUE(decodes("&lt;x"s + c + "y", 0));
}

TEST(ReplacePreDefinedXmlEntitiesTest, NulBeforeTheStartIsKept) {
  EXPECT_TRUE(decodesTo("a\0&lt;"s, 2, "a\0<"s, 1));
  EXPECT_TRUE(decodesTo("&lt;\0&lt;b"s, 5, "&lt;\0<b"s, 1));
}

TEST(ReplacePreDefinedXmlEntitiesTest, NulBehindTheStartIsSafe) {
  for (const std::string& content : {"a\0&lt;"s, "&lt;\0&lt;"s, "\0&lt;"s, "&l\0t;"s, "&lt;\0"s})
    for (unsigned int start = 0; start <= content.size(); ++start) {
      StringBuffer buffer;
      fill(buffer, content);
      EXPECT_LE(buffer.replacePreDefinedXmlEntities(start), 2u);
      EXPECT_TRUE(invariantsHold(buffer));
      EXPECT_LE(buffer.getSize(), content.size());
    }
}

// The block ends right behind the NUL, so that reading on would leave it.
TEST(ReplacePreDefinedXmlEntitiesTest, CutReferencesAtTheEndOfTheStorage) {
  for (const std::string end : {"&", "&a", "&am", "&amp", "&ap", "&apo", "&apos", "&g", "&gt", "&l",
                                "&lt", "&q", "&qu", "&quo", "&quot"}) {
    StringBuffer buffer;
    buffer.setExtendSize(0);
    fill(buffer, std::string(100, 'x') + end);
    ASSERT_EQ(buffer.heapUsage(), buffer.getSize() + 1);
    EXPECT_EQ(buffer.replacePreDefinedXmlEntities(0), 0u);
    EXPECT_TRUE(holds(buffer, std::string(100, 'x') + end));
  }
}

TEST(ReplacePreDefinedXmlEntitiesTest, NothingIsAllocated) {
  StringBuffer buffer((std::string(500, 'x') + "&lt;&amp;&quot;").c_str());
  unsigned int count = 0;
  long seen = 0;
  {
    harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
    count = buffer.replacePreDefinedXmlEntities(0);
    seen = fail.seen();
  }
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(seen, 0);
  EXPECT_TRUE(holds(buffer, std::string(500, 'x') + "<&\""));
}

TEST(ReplacePreDefinedXmlEntitiesTest, ShortTextsAgreeWithTheReferenceFromEveryStart) {
  for (const std::string& text : allSequences({"&", "amp", "lt", "quot", ";", "x"}, 4))
    for (unsigned int start = 0; start <= text.size(); ++start) ASSERT_TRUE(decodes(text, start));
}

TEST(ReplacePreDefinedXmlEntitiesTest, RandomTextsAgreeWithTheReference) {
  const Texts tokens = {"&amp;", "&apos;", "&gt;", "&lt;", "&quot;", "&", "amp;", "x", "\xE9", " "};
  for (unsigned long long seed = 1; seed <= 60; ++seed) {
    std::string text;
    for (const char digit : harness::randomText(seed, 8 * seed, "0123456789"))
      text += tokens[static_cast<std::size_t>(digit - '0')];
    for (const unsigned int start : {0u, 1u, 7u, 80u, 300u}) ASSERT_TRUE(decodes(text, start));
  }
}

TEST(ReplacePreDefinedXmlEntitiesTest, UndoesTheBlindEscaper) {
  for (unsigned long long seed = 1; seed <= 20; ++seed) {
    const std::string text = harness::randomText(seed, 300, "&lt;gamp<>\"x");
    StringBuffer buffer(text.c_str());
    buffer.replaceHTMLSpecial();
    buffer.replacePreDefinedXmlEntities(0);
    EXPECT_TRUE(holds(buffer, text));
  }
}

// ---- Empty buffers ------------------------------------------------------------------------------

TEST(EntityEncodeTest, EmptyBufferStaysAsItIs) {
  StringBuffer buffer;
  EXPECT_EQ(buffer.encodeXMLSpecial(), 0u);
  EXPECT_TRUE(holds(buffer, "", 0, 202));
  buffer.encodeAllXmlSpecial();
  EXPECT_TRUE(holds(buffer, "", 0, 202));
  EXPECT_EQ(buffer.replaceHTMLSpecial(), 0u);
  EXPECT_TRUE(holds(buffer, "", 0, 202));
  EXPECT_EQ(buffer.replacePreDefinedXmlEntities(0), 0u);
  EXPECT_TRUE(holds(buffer, "", 0, 202));
}

TEST(EntityEncodeTest, EmptiedBufferIgnoresItsFormerBytes) {
  StringBuffer buffer(("<&lt;\"" + std::string(100, '>')).c_str());
  buffer.weakClear();
  EXPECT_EQ(buffer.encodeXMLSpecial(), 0u);
  EXPECT_EQ(buffer.replaceHTMLSpecial(), 0u);
  EXPECT_EQ(buffer.replacePreDefinedXmlEntities(0), 0u);
  EXPECT_TRUE(holds(buffer, "", 309, 202));
  buffer.encodeAllXmlSpecial();
  EXPECT_TRUE(holds(buffer, ""));
}

// ---- Exhausted memory ---------------------------------------------------------------------------

// Whether `content` is what some of the pieces make in their order.
bool isMadeOf(std::string_view content, const Texts& pieces) {
  std::vector<bool> reached(content.size() + 1);
  reached[0] = true;
  for (const std::string& piece : pieces)
    for (std::size_t end = content.size(); end >= piece.size() && end > 0; --end) {
      const std::size_t begin = end - piece.size();
      if (reached[begin] && content.substr(begin, piece.size()) == piece) reached[end] = true;
    }
  return reached[content.size()];
}

void expectPiecesDropped(const std::string& content, const Texts& pieces,
                         const std::function<void(StringBuffer&)>& encode) {
  std::optional<StringBuffer> buffer;
  long live = 0;
  const long failures = harness::failEveryAllocation(
      [&] {
        live = harness::liveBlocks();
        buffer.emplace();
        fill(*buffer, content);
      },
      [&] { encode(*buffer); },
      [&] {
        EXPECT_TRUE(invariantsHold(*buffer));
        EXPECT_TRUE(isMadeOf(harness::bytesOf(*buffer), pieces));
        buffer.reset();
        EXPECT_EQ(harness::liveBlocks(), live);
      });
  EXPECT_GT(failures, 0);
}

TEST(EncodeXmlSpecialTest, ExhaustedMemoryDropsWholePieces) {
  std::string content;
  Texts pieces;
  unsigned int count = 0;
  for (int i = 0; i < 30; ++i) {
    pieces.insert(pieces.end(),
                  {std::string(20, static_cast<char>('a' + i % 26)), "&lt;", "&amp;"});
    content += *(pieces.end() - 3) + "<&";
  }
  expectPiecesDropped(content, pieces,
                      [&](StringBuffer& buffer) { count = buffer.encodeXMLSpecial(); });
  EXPECT_EQ(count, 60u);
}

TEST(EncodeXmlSpecialTest, ExhaustedMemoryNeverLeavesMarkup) {
  const std::string content = std::string(100, '<');
  expectPiecesDropped(content, Texts(100, "&lt;"),
                      [](StringBuffer& buffer) { EXPECT_LE(buffer.encodeXMLSpecial(), 100u); });
}

TEST(EncodeAllXmlSpecialTest, ExhaustedMemoryDropsWholePieces) {
  std::string content;
  Texts pieces;
  for (int i = 0; i < 100; ++i) {
    content += static_cast<char>(i % 2 == 0 ? 'a' + i % 26 : 0xC0 + i % 60);
    pieces.push_back(reference::encodeAll(content.substr(content.size() - 1)));
  }
  expectPiecesDropped(content, pieces, [](StringBuffer& buffer) { buffer.encodeAllXmlSpecial(); });
}

TEST(ReplaceHtmlSpecialTest, ExhaustedMemoryNeverLeavesMarkup) {
  std::string content;
  for (int i = 0; i < 40; ++i) content += "<a b=\"&\">";
  std::optional<StringBuffer> buffer;
  unsigned int count = 0;
  long live = 0;
  const long failures = harness::failEveryAllocation(
      [&] {
        live = harness::liveBlocks();
        buffer.emplace(content.c_str());
      },
      [&] { count = buffer->replaceHTMLSpecial(); },
      [&] {
        EXPECT_TRUE(invariantsHold(*buffer));
        EXPECT_EQ(harness::bytesOf(*buffer).find_first_of("<>\""), std::string::npos);
        EXPECT_LE(count, 80u);
        buffer.reset();
        EXPECT_EQ(harness::liveBlocks(), live);
      });
  EXPECT_GT(failures, 0);
  EXPECT_EQ(count, 80u);
}

// The result grows in steps whose number does not depend on its size.
TEST(EntityEncodeTest, FewAllocationsAreMadeForALargeText) {
  std::string text;
  while (text.size() < 8U << 20) text += "< text & text ";
  StringBuffer careful(text.c_str());
  StringBuffer full(text.c_str());
  const harness::FailAllocation count(0);
  careful.encodeXMLSpecial();
  full.encodeAllXmlSpecial();
  EXPECT_LT(count.seen(), 20);
}

// The temporary in which the result is made, and the block that it is copied to.
TEST(EntityEncodeTest, AllocatesTwiceWhateverTheSize) {
  const auto careful = [](StringBuffer& text) { return text.encodeXMLSpecial(), text.getSize(); };
  const auto full = [](StringBuffer& text) { return text.encodeAllXmlSpecial(), text.getSize(); };
  for (const char* unit : {"text & more <text> ", "&amp; &lt; text that goes on <"}) {
    EXPECT_TRUE(harness::allocates(2, 3, harness::repeating(unit), careful));
    EXPECT_TRUE(harness::allocates(2, 3, harness::repeating(unit), full));
  }
}

// ---- Secure buffers -----------------------------------------------------------------------------

const std::function<void(StringBuffer&)> kEncoders[] = {
    [](StringBuffer& buffer) { buffer.encodeXMLSpecial(); },
    [](StringBuffer& buffer) { buffer.encodeAllXmlSpecial(); },
    [](StringBuffer& buffer) { buffer.replaceHTMLSpecial(); },
    [](StringBuffer& buffer) { buffer.replacePreDefinedXmlEntities(0); },
};

TEST(EntityEncodeTest, SecureBufferReleasesOnlyWipedBlocks) {
  for (const auto& encode : kEncoders)
    for (const std::size_t size : {30u, 82u, 300u, 3000u}) {
      std::optional<StringBuffer> buffer;
      buffer.emplace();
      buffer->setSecureBuf(true);
      std::string secret;
      while (secret.size() < size) secret += "secret <\"&lt;\xE9>";
      ASSERT_TRUE(buffer->append(secret.c_str()));
      long blocks = 0;
      long unwiped = 0;
      {
        harness::WatchReleases watch([&](const unsigned char* block, std::size_t length) {
          ++blocks;
          unwiped += harness::isWiped(block, length) ? 0 : 1;
        });
        encode(*buffer);
        EXPECT_TRUE(invariantsHold(*buffer));
        buffer.reset();
      }
      EXPECT_EQ(unwiped, 0) << size;
      if (size > 81) {
        EXPECT_GT(blocks, 0);
      }
    }
}

// ---- Hostile sizes ------------------------------------------------------------------------------

// Encodes a text of 512 KiB that repeats one unit; returns the resulting length.
unsigned int sizeAfter(const char* unit, const std::function<void(StringBuffer&)>& encode) {
  std::string text;
  while (text.size() < 1 << 19) text += unit;
  StringBuffer buffer(text.c_str());
  EXPECT_LT(secondsOf([&] { encode(buffer); }), 8.0) << unit;
  EXPECT_TRUE(invariantsHold(buffer));
  return buffer.getSize();
}

TEST(EntityEncodeTest, HostileTextsTakeLinearTime) {
  constexpr unsigned int kUnits = 1 << 17;
  const auto& [encodeXml, encodeAll, replaceHtml, decode] = kEncoders;
  EXPECT_EQ(sizeAfter("&frx", encodeXml), 8 * kUnits);
  EXPECT_EQ(sizeAfter("&lt;", encodeXml), 4 * kUnits);
  EXPECT_EQ(sizeAfter("&amp", encodeAll), 8 * kUnits);
  EXPECT_EQ(sizeAfter("<<<<", replaceHtml), 16 * kUnits);
  EXPECT_EQ(sizeAfter("&amp", decode), 4 * kUnits);
  EXPECT_EQ(sizeAfter("&lt;", decode), kUnits);
}

TEST(EntityEncodeTest, LargeTextsAgreeWithTheReference) {
  const std::string text = harness::randomText(1, 1 << 16, allBytesFrom(1));
  EXPECT_TRUE(escapes(text));
  EXPECT_TRUE(encodesAll(text));
  EXPECT_TRUE(replacesHtml(text));
  EXPECT_TRUE(decodes(reference::encodeAll(text), 1000));
}

}  // namespace
