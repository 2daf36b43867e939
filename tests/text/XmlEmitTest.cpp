// XML emission of text/XmlEmit.cpp.

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/ModelBuffer.h"
#include "harness/ReleasedBlocks.h"
#include "harness/Stopwatch.h"
#include "harness/StorageLayout.h"
#include "harness/TextAliases.h"
#include "harness/XmlReference.h"
#include "support/ExtPtrArray.h"
#include "support/StringPair.h"

namespace {

using namespace std::string_literals;
namespace reference = harness::reference::xml;
using harness::appendRaw;
using harness::bytesOf;
using harness::fillHeap;
using harness::holds;
using harness::invariantsHold;
using harness::matches;
using harness::ModelBuffer;
using harness::modelOf;
using harness::randomText;
using harness::secondsOf;
using harness::stateOf;
using reference::Attributes;
using Texts = std::vector<std::string>;

unsigned int sizeOf(std::string_view bytes) { return static_cast<unsigned int>(bytes.size()); }

// The attributes as the members take them.
void fillPairs(ExtPtrArray& pairs, const Attributes& attributes) {
  for (const reference::Attribute& attribute : attributes)
    ASSERT_TRUE(pairs.appendPtr(new StringPair(attribute.key, attribute.value)));
}

// Buffers that something is appended to.
const std::function<void(StringBuffer&)> kStarts[] = {
    [](StringBuffer&) {},
    [](StringBuffer& buffer) { buffer.append("<old> & "); },
    [](StringBuffer& buffer) { buffer.append(std::string(80, 'o').c_str()); },
    [](StringBuffer& buffer) { buffer.append(std::string(81, 'o').c_str()); },
    [](StringBuffer& buffer) { fillHeap(buffer, std::string(300, 'o'), 0); },
    [](StringBuffer& buffer) { fillHeap(buffer, std::string(300, 'o'), 40); },
    [](StringBuffer& buffer) {
      buffer.setExtendSize(7);
      buffer.append(std::string(100, 'o').c_str());
      buffer.weakClear();
    },
};

// Calls the member on every kind of buffer; what it appends is told.
void expectAppends(const std::function<int(StringBuffer&)>& member, const std::string& appended,
                   int status) {
  for (const auto& start : kStarts) {
    StringBuffer buffer;
    start(buffer);
    const std::string before = bytesOf(buffer);
    EXPECT_EQ(member(buffer), status);
    EXPECT_TRUE(holds(buffer, before + appended));
  }
}

// --- Escaped text --------------------------------------------------------------------------------

// Compares storage and content with the block by block reference.
testing::AssertionResult appendsEscaped(StringBuffer& buffer, const std::string& bytes) {
  ModelBuffer model = modelOf(buffer);
  reference::appendNoCdata(model, bytes);
  if (bytes.find('\0') == std::string::npos) {
    StringBuffer copy;
    fillHeap(copy, bytesOf(buffer), 0);
    copy.appendXmlNoCdata(bytes.c_str());
    const testing::AssertionResult same = holds(copy, model.bytes);
    if (!same) return same;
  }
  // Not terminated, in a block of its own: to read on would be seen.
  const std::vector<char> exact(bytes.begin(), bytes.end());
  buffer.appendXmlNoCdataN(exact.data(), sizeOf(bytes));
  return matches(buffer, model);
}

testing::AssertionResult appendsEscaped(const std::string& bytes) {
  for (const auto& start : kStarts) {
    StringBuffer buffer;
    start(buffer);
    const testing::AssertionResult same = appendsEscaped(buffer, bytes);
    if (!same)
      return testing::AssertionFailure()
             << testing::PrintToString(bytes.substr(0, 300)) << ": " << same.message();
  }
  return testing::AssertionSuccess();
}

TEST(XmlEmitTest, FiveBytesAreEscapedAndNoOther) {
  const std::string marks = "\"'<>&";
  const char* entities[] = {"&quot;", "&apos;", "&lt;", "&gt;", "&amp;"};
  for (int byte = 1; byte < 256; ++byte) {
    const std::string c(1, static_cast<char>(byte));
    const std::size_t mark = marks.find(c);
    const std::string written = mark == std::string::npos ? c : entities[mark];
    StringBuffer buffer("<");
    buffer.appendXmlNoCdata((c + "x" + c).c_str());
    buffer.appendXmlNoCdataN(c.c_str(), 1);
    EXPECT_TRUE(holds(buffer, "<" + written + "x" + written + written)) << byte;
    if (c == "\n" || c == "\t") continue;
    buffer.appendXml(c.c_str());
    EXPECT_TRUE(holds(buffer, "<" + written + "x" + written + written + written)) << byte;
  }
}

TEST(XmlEmitTest, ListedTexts) {
  const struct {
    const char* text;
    const char* xml;
    const char* noCdata;
  } cases[] = {
      {nullptr, "", ""},
      {"", "", ""},
      {"a", "a", "a"},
      {"a<b & \"c\"", "a&lt;b &amp; &quot;c&quot;", "a&lt;b &amp; &quot;c&quot;"},
      {"&amp;", "&amp;amp;", "&amp;amp;"},
      {"&#65;", "&amp;#65;", "&amp;#65;"},
      {"a\nb", "<![CDATA[a\nb]]>", "a\nb"},
      {"\t", "<![CDATA[\t]]>", "\t"},
      {"\n", "<![CDATA[\n]]>", "\n"},
      {"<a&'\">\n", "<![CDATA[<a&'\">\n]]>", "&lt;a&amp;&apos;&quot;&gt;\n"},
      {"a]]>\tb", "<![CDATA[a]]>\tb]]>", "a]]&gt;\tb"},
      {"a]]>b", "a]]&gt;b", "a]]&gt;b"},
      {"a\r\v\f b", "a\r\v\f b", "a\r\v\f b"},
  };
  for (const auto& c : cases) {
    expectAppends([&](StringBuffer& buffer) { return buffer.appendXml(c.text), 0; }, c.xml, 0);
    expectAppends([&](StringBuffer& buffer) { return buffer.appendXmlNoCdata(c.text), 0; },
                  c.noCdata, 0);
  }
}

TEST(XmlEmitTest, OnlyLineFeedsAndTabsMakeASection) {
  for (int byte = 1; byte < 256; ++byte) {
    const std::string text = "<"s + static_cast<char>(byte) + "&";
    const bool section = byte == '\n' || byte == '\t';
    StringBuffer buffer;
    buffer.appendXml(text.c_str());
    EXPECT_TRUE(
        holds(buffer, section ? "<![CDATA[" + text + "]]>" : reference::escaped(text), 0, 202))
        << byte;
  }
}

TEST(XmlEmitTest, ASectionIsAppendedInThreePieces) {
  for (const std::size_t size : {1U, 60U, 69U, 70U, 81U, 300U, 3000U})
    for (const auto& start : kStarts) {
      const std::string text = "\n" + std::string(size, '<');
      StringBuffer buffer;
      start(buffer);
      ModelBuffer model = modelOf(buffer);
      for (const std::string& piece : {"<![CDATA["s, text, "]]>"s}) model.append(piece);
      buffer.appendXml(text.c_str());
      EXPECT_TRUE(matches(buffer, model)) << size;
    }
}

TEST(XmlEmitTest, NothingToAppendChangesNothing) {
  for (const std::string& content : {""s, "ab\0\0"s, std::string(100, 'x') + "\0"s}) {
    StringBuffer buffer;
    appendRaw(buffer, content);
    buffer.setExtendSize(5);
    const harness::BufferState before = stateOf(buffer);
    buffer.appendXml(nullptr);
    buffer.appendXml("");
    buffer.appendXmlNoCdata(nullptr);
    buffer.appendXmlNoCdata("");
    buffer.appendXmlNoCdataN(nullptr, 0);
    buffer.appendXmlNoCdataN(nullptr, 5);
    buffer.appendXmlNoCdataN("abc", 0);
    EXPECT_EQ(stateOf(buffer), before);
  }
}

TEST(XmlEmitTest, ExactlyTheCountedBytesAreAppended) {
  const std::string text = "a<b>\"c\"&d";
  for (std::size_t count = 0; count <= text.size(); ++count)
    EXPECT_TRUE(appendsEscaped(text.substr(0, count)));
  StringBuffer buffer;
  buffer.appendXmlNoCdataN("<>abc", 1);
  EXPECT_TRUE(holds(buffer, "&lt;", 0, 202));
}

TEST(XmlEmitTest, NulsAreBytesLikeOthers) {
  const struct {
    std::string before;
    std::string bytes;
    std::string after;
  } cases[] = {
      {"", "a\0b"s, "a\0b"s}, {"x", "\0<"s, "x\0&lt;"s},      {"x\0"s, "y\0"s, "x\0y\0"s},
      {"x\0"s, "", "x\0"s},   {"x\0\0"s, "&", "x\0\0&amp;"s},
  };
  for (const auto& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.before);
    buffer.appendXmlNoCdataN(c.bytes.data(), sizeOf(c.bytes));
    EXPECT_TRUE(holds(buffer, c.after)) << testing::PrintToString(c.bytes);
  }
  StringBuffer buffer;
  appendRaw(buffer, "x\0"s);
  buffer.appendXmlNoCdata("y");
  EXPECT_TRUE(holds(buffer, "x\0y"s));
}

TEST(XmlEmitTest, BlocksOf250BytesAreFlushedBeforeTheyOverflow) {
  for (std::size_t before = 240; before < 256; ++before)
    for (const char* mark : {"\"", "'", "<", ">", "&", "x"})
      for (const char* end : {"", "x", "<<<<<<"})
        ASSERT_TRUE(appendsEscaped(std::string(before, 'x') + mark + end)) << before;
  for (std::size_t size = 0; size < 260; ++size) {
    ASSERT_TRUE(appendsEscaped(std::string(size, '"')));
    ASSERT_TRUE(appendsEscaped(std::string(size, '<') + "xyz"));
  }
  for (const std::size_t size : {499U, 500U, 501U, 749U, 750U, 751U, 2500U})
    ASSERT_TRUE(appendsEscaped(std::string(size, 'x')));
}

// A block that ends in NULs loses them, so what is in front of the flush matters.
TEST(XmlEmitTest, NulsMeetTheEndOfABlock) {
  for (std::size_t before = 240; before < 256; ++before)
    for (std::size_t nuls = 1; nuls < 12; ++nuls)
      ASSERT_TRUE(appendsEscaped(std::string(before, 'x') + std::string(nuls, '\0') + "y"));
}

TEST(XmlEmitTest, RandomBytesAgreeWithTheReference) {
  std::string alphabet = "\"\"''<<>>&&";
  for (int byte = 0; byte < 256; byte += 5) alphabet += static_cast<char>(byte);
  for (unsigned int seed = 1; seed <= 200; ++seed)
    ASSERT_TRUE(appendsEscaped(randomText(seed, seed * 7, alphabet)));
  for (const std::string& text : harness::allStrings("<\"x\0"s, 4))
    ASSERT_TRUE(appendsEscaped(text));
}

TEST(XmlEmitTest, RandomTextsAreEscapedOrPutIntoASection) {
  for (unsigned int seed = 1; seed <= 200; ++seed) {
    const std::string text = randomText(seed, seed * 5, seed % 2 != 0 ? "<>&x\"'" : "<\nx\t&]>yz");
    expectAppends([&](StringBuffer& buffer) { return buffer.appendXml(text.c_str()), 0; },
                  reference::content(text.c_str()), 0);
  }
}

TEST(XmlEmitTest, TextIsAppendedCharacterByCharacter) {
  for (unsigned int seed = 1; seed <= 300; ++seed)
    for (const auto& start : kStarts) {
      const std::string text = randomText(seed, seed * 7, seed % 3 == 0 ? "x" : "<>&xyz\"'");
      StringBuffer buffer;
      start(buffer);
      ModelBuffer model = modelOf(buffer);
      reference::appendText(model, text.c_str());
      buffer.appendXml(text.c_str());
      EXPECT_TRUE(matches(buffer, model)) << seed;
    }
  StringBuffer buffer;
  buffer.appendXml(std::string(200, 'x').c_str());
  EXPECT_TRUE(holds(buffer, std::string(200, 'x'), 285, 202));
  StringBuffer inBlocks;
  inBlocks.appendXmlNoCdata(std::string(200, 'x').c_str());
  EXPECT_TRUE(holds(inBlocks, std::string(200, 'x'), 403, 202));
}

// --- Tags and elements ---------------------------------------------------------------------------

const Attributes kFew = {{"k", "v'1"}};
const Attributes kMany = {{"a", "1"},      {"b", ""},           {nullptr, "dropped"}, {"", "e"},
                          {"c", "<&\">'"}, {"d\"<", "x\ny<&>"}, {"f", nullptr},       {"g", "\t"}};

TEST(XmlEmitTest, ListedTags) {
  const struct {
    const char* tag;
    Attributes attributes;
    const char* open;
    const char* close;
  } cases[] = {
      {"e", {}, "<e>", "</e>"},
      {nullptr, {}, "<>", "</>"},
      {"", {}, "<>", "</>"},
      {"e", kFew, "<e k=\"v&apos;1\">", "</e>"},
      {nullptr, kFew, "< k=\"v&apos;1\">", "</>"},
      {"<&", {}, "<<&>", "</<&>"},
      {"a\nb", {}, "<a\nb>", "</a\nb>"},
      {"e", kMany,
       "<e a=\"1\" b=\"\" =\"e\" c=\"&lt;&amp;&quot;&gt;&apos;\" d\"<=\"<![CDATA[x\ny<&>]]>\""
       " f=\"\" g=\"<![CDATA[\t]]>\">",
       "</e>"},
      {"e", {{nullptr, "v"}}, "<e>", "</e>"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(reference::openTag(c.tag, c.attributes), c.open);
    ExtPtrArray pairs;
    fillPairs(pairs, c.attributes);
    expectAppends([&](StringBuffer& b) { return b.appendXmlOpenTag(c.tag, &pairs); }, c.open, 1);
    expectAppends([&](StringBuffer& b) { return b.appendXmlCloseTag(c.tag); }, c.close, 1);
  }
}

TEST(XmlEmitTest, ANullOrEmptyArrayHoldsNoAttributes) {
  const ExtPtrArray none;
  expectAppends([](StringBuffer& b) { return b.appendXmlOpenTag("e", nullptr); }, "<e>", 1);
  expectAppends([&](StringBuffer& b) { return b.appendXmlOpenTag("e", &none); }, "<e>", 1);
}

TEST(XmlEmitTest, NullElementsAreSkipped) {
  ExtPtrArray pairs;
  ASSERT_TRUE(pairs.appendPtr(nullptr));
  fillPairs(pairs, kFew);
  ASSERT_TRUE(pairs.appendPtr(nullptr));
  fillPairs(pairs, kFew);
  const std::string attribute = " k=\"v&apos;1\"";
  expectAppends([&](StringBuffer& b) { return b.appendXmlOpenTag("e", &pairs); },
                "<e" + attribute + attribute + ">", 1);
  expectAppends([&](StringBuffer& b) { return b.appendXml("e", pairs, nullptr); },
                "<e" + attribute + attribute + "></e>", 1);
}

TEST(XmlEmitTest, ListedElements) {
  const struct {
    const char* tag;
    Attributes attributes;
    const char* content;
    const char* element;
  } cases[] = {
      {"e", {}, "", "<e></e>"},
      {"e", {}, nullptr, "<e></e>"},
      {nullptr, {}, nullptr, "<></>"},
      {"e", kFew, "a&b", "<e k=\"v&apos;1\">a&amp;b</e>"},
      {"e", {}, "a\tb&", "<e><![CDATA[a\tb&]]></e>"},
      {"e", {}, "&lt;", "<e>&amp;lt;</e>"},
      {"e", {}, "<e></e>", "<e>&lt;e&gt;&lt;/e&gt;</e>"},
  };
  for (const auto& c : cases) {
    ExtPtrArray pairs;
    fillPairs(pairs, c.attributes);
    expectAppends([&](StringBuffer& b) { return b.appendXml(c.tag, pairs, c.content); }, c.element,
                  1);
  }
}

TEST(XmlEmitTest, RandomElementsAgreeWithTheReference) {
  for (unsigned int seed = 1; seed <= 100; ++seed) {
    const auto text = [&](unsigned int part) {
      return randomText(seed * 10 + part, (seed * part) % 90, "<>&\"'\n\tabcdefgh ");
    };
    const std::string tag = text(1);
    const std::string key = text(2);
    const std::string value = text(3);
    const std::string content = text(4);
    const Attributes attributes(seed % 4, {key.c_str(), value.c_str()});
    ExtPtrArray pairs;
    fillPairs(pairs, attributes);
    expectAppends([&](StringBuffer& b) { return b.appendXml(tag.c_str(), pairs, content.c_str()); },
                  reference::element(tag.c_str(), attributes, content.c_str()), 1);
  }
}

// --- Arguments inside the buffer -----------------------------------------------------------------

TEST(XmlEmitTest, TextsMayLieInTheBuffer) {
  ExtPtrArray pairs;
  fillPairs(pairs, kMany);
  using Text = const char*;
  const std::function<int(StringBuffer&, Text)> members[] = {
      [](StringBuffer& b, Text text) { return b.appendXml(text), 0; },
      [](StringBuffer& b, Text text) { return b.appendXmlNoCdata(text), 0; },
      [](StringBuffer& b, Text text) { return b.appendXmlCloseTag(text); },
      [&](StringBuffer& b, Text text) { return b.appendXmlOpenTag(text, &pairs); },
      [&](StringBuffer& b, Text text) { return b.appendXml(text, pairs, "content"); },
      [&](StringBuffer& b, Text text) { return b.appendXml("tag", pairs, text); },
      [&](StringBuffer& b, Text text) { return b.appendXml(text, pairs, text); },
  };
  for (const auto& member : members) {
    harness::expectTextsMayLieInside(member);
    if (HasFailure()) return;
  }
}

TEST(XmlEmitTest, ATextWithALineFeedMayLieInTheBuffer) {
  const ExtPtrArray none;
  for (const std::size_t size : {5U, 60U, 80U, 81U, 82U, 300U}) {
    const std::string content = "\n<" + std::string(size - 2, 'x');
    StringBuffer text(content.c_str());
    text.appendXml(text.getString());
    EXPECT_TRUE(holds(text, content + "<![CDATA[" + content + "]]>"));
    StringBuffer element(content.c_str());
    element.appendXml(element.getString() + 2, none, element.getString());
    EXPECT_TRUE(
        holds(element, content + reference::element(content.c_str() + 2, {}, content.c_str())));
  }
}

TEST(XmlEmitTest, CountedBytesMayLieInTheBuffer) {
  for (const harness::AliasScene& scene : harness::aliasScenes()) {
    SCOPED_TRACE(scene.name);
    const unsigned int stored = sizeOf(scene.content) + 1;
    for (const unsigned int from : {0U, 1U, scene.length - 1, scene.length, scene.length + 1})
      for (const unsigned int count : {1U, 2U, stored}) {
        if (from + 1 > stored) continue;
        const unsigned int n = count < stored - from ? count : stored - from;
        StringBuffer aliased;
        scene.make(aliased);
        StringBuffer copied;
        scene.make(copied);
        const std::string copy(aliased.getString() + from, n);
        aliased.appendXmlNoCdataN(aliased.getString() + from, n);
        copied.appendXmlNoCdataN(copy.data(), n);
        EXPECT_EQ(stateOf(aliased), stateOf(copied)) << from << " " << n;
        EXPECT_TRUE(invariantsHold(aliased));
      }
  }
}

// --- Exhausted memory ----------------------------------------------------------------------------

// Calls the member with a storage that cannot grow: pieces that still fit are appended, the
// others are left out.
void expectDropsPieces(const std::function<int(StringBuffer&)>& member, const Texts& pieces) {
  for (const bool heap : {false, true})
    for (std::size_t room = 0; room < 40; ++room) {
      StringBuffer buffer;
      std::string content(heap ? 300 : 81 - room, 'o');
      if (heap)
        fillHeap(buffer, content, static_cast<unsigned int>(room));
      else
        buffer.append(content.c_str());
      const std::size_t most = heap ? 300 + room : 81;
      bool last = false;
      for (const std::string& piece : pieces) {
        last = content.size() + piece.size() <= most;
        if (last) content += piece;
      }
      int status = 0;
      {
        const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
        status = member(buffer);
      }
      EXPECT_EQ(status, last ? 1 : 0) << room;
      EXPECT_TRUE(holds(buffer, content)) << room;
    }
}

TEST(XmlEmitTest, PiecesThatDoNotFitAreLeftOut) {
  ExtPtrArray pairs;
  fillPairs(pairs, {{"key", "v"}, {"k", "<"}, {"line", "\nx"}});
  const Texts open = {"<",    "tag", " ", "key",  "=\"", "v",         "\"",  " ",   "k",  "=\"",
                      "&lt;", "\"",  " ", "line", "=\"", "<![CDATA[", "\nx", "]]>", "\"", ">"};
  expectDropsPieces([&](StringBuffer& b) { return b.appendXmlOpenTag("tag", &pairs); }, open);
  expectDropsPieces([](StringBuffer& b) { return b.appendXmlCloseTag("longer name"); },
                    {"</", "longer name", ">"});
  Texts element = open;
  element.insert(element.end(), {"&amp;", "</", "tag", ">"});
  expectDropsPieces([&](StringBuffer& b) { return b.appendXml("tag", pairs, "&"); }, element);
  expectDropsPieces([](StringBuffer& b) { return b.appendXml("a long text\n"), 1; },
                    {"<![CDATA[", "a long text\n", "]]>", ""});
  expectDropsPieces([](StringBuffer& b) { return b.appendXml("v<w&&long"), 1; },
                    {"v", "&lt;", "w", "&amp;", "&amp;", "l", "o", "n", "g", ""});
}

// Whether some of the pieces, in their order, make the content.
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

TEST(XmlEmitTest, ExhaustedMemoryLeavesWholePieces) {
  const Attributes attributes = {{"key", "v<"}, {"key", "w&"}};
  ExtPtrArray pairs;
  fillPairs(pairs, attributes);
  std::string text;
  Texts pieces = {"old", "<", "tag", " ",   "key", "=\"",   "v",  "&lt;",
                  "\"",  " ", "key", "=\"", "w",   "&amp;", "\"", ">"};
  for (int i = 0; i < 120; ++i) {
    const char c = static_cast<char>('a' + i % 26);
    text += std::string(1, c) + "<\"";
    pieces.insert(pieces.end(), {std::string(1, c), "&lt;", "&quot;"});
  }
  pieces.insert(pieces.end(), {"</", "tag", ">"});
  std::optional<StringBuffer> buffer;
  long live = 0;
  int status = 0;
  const long failures = harness::failEveryAllocation(
      [&] {
        live = harness::liveBlocks();
        buffer.emplace("old");
      },
      [&] { status = buffer->appendXml("tag", pairs, text.c_str()); },
      [&] {
        EXPECT_TRUE(invariantsHold(*buffer));
        EXPECT_TRUE(isMadeOf(bytesOf(*buffer), pieces));
        EXPECT_TRUE(status == 0 || bytesOf(*buffer).back() == '>');
        buffer.reset();
        EXPECT_EQ(harness::liveBlocks(), live);
      });
  EXPECT_GT(failures, 0);
}

TEST(XmlEmitTest, ExhaustedMemoryWithTextsInTheBufferIsSafe) {
  const ExtPtrArray none;
  std::optional<StringBuffer> buffer;
  long live = 0;
  harness::failEveryAllocation(
      [&] {
        live = harness::liveBlocks();
        buffer.emplace();
        fillHeap(*buffer, std::string(300, '<'), 0);
      },
      [&] {
        buffer->appendXml(buffer->getString() + 3, none, buffer->getString() + 200);
        buffer->appendXmlNoCdata(buffer->getString());
        buffer->appendXmlNoCdataN(buffer->getString(), 100);
      },
      [&] {
        EXPECT_TRUE(invariantsHold(*buffer));
        EXPECT_EQ(bytesOf(*buffer).substr(0, 300), std::string(300, '<'));
        buffer.reset();
        EXPECT_EQ(harness::liveBlocks(), live);
      });
}

TEST(XmlEmitTest, ADestroyedBufferAppendsWhatFits) {
  StringBuffer buffer(std::string(75, 'x').c_str());
  harness::flipMarker(buffer);
  EXPECT_EQ(buffer.appendXmlOpenTag("long name", nullptr), 1);
  EXPECT_EQ(buffer.appendXmlCloseTag("long name"), 1);
  EXPECT_EQ(buffer.appendXmlCloseTag("long name"), 1);
  EXPECT_EQ(buffer.appendXmlCloseTag("long name"), 0);
  buffer.appendXmlNoCdata("<");
  harness::flipMarker(buffer);
  EXPECT_TRUE(holds(buffer, std::string(75, 'x') + "<></>>"));
}

// --- Secure buffers ------------------------------------------------------------------------------

TEST(XmlEmitTest, SecureBuffersReleaseOnlyWipedBlocks) {
  ExtPtrArray pairs;
  fillPairs(pairs, kMany);
  for (const std::size_t size : {30U, 81U, 300U, 3000U}) {
    std::optional<StringBuffer> buffer;
    buffer.emplace();
    buffer->setSecureBuf(true);
    ASSERT_TRUE(buffer->append(std::string(size, '"').c_str()));
    const std::vector<std::string> blocks = harness::releasedBy([&] {
      buffer->appendXmlNoCdata(buffer->getString());
      buffer->appendXmlNoCdataN(buffer->getString(), buffer->getSize());
      buffer->appendXml(buffer->getString(), pairs, buffer->getString());
      buffer->append("\n");
      buffer->appendXml(buffer->getString(), pairs, buffer->getString());
      buffer->appendXmlOpenTag(buffer->getString(), &pairs);
      buffer->appendXmlCloseTag(buffer->getString());
      buffer.reset();
    });
    EXPECT_FALSE(blocks.empty());
    EXPECT_TRUE(harness::allWiped(blocks)) << size;
  }
}

// --- Large texts ---------------------------------------------------------------------------------

TEST(XmlEmitTest, LargeTextsTakeLinearTime) {
  constexpr unsigned int kSize = 1 << 20;
  const ExtPtrArray none;
  const std::string quotes(kSize, '"');
  const std::string line = quotes + "\n";
  StringBuffer buffer;
  const double seconds = secondsOf([&] {
    buffer.appendXmlNoCdata(quotes.c_str());
    buffer.appendXmlNoCdataN(quotes.data(), kSize);
    buffer.appendXml(quotes.c_str());
    buffer.appendXml(line.c_str());
    buffer.appendXml("e", none, quotes.c_str());
  });
  EXPECT_LT(seconds, 8.0);
  EXPECT_EQ(buffer.getSize(), 4 * 6 * kSize + kSize + 1 + 12 + 7);
  EXPECT_TRUE(invariantsHold(buffer));
}

// --- Former bugs ---------------------------------------------------------------------------------

// NULs at the end of a block were dropped, and with them those that the content had before.
TEST(XmlEmitTest, NulsAtTheEndOfABlockStay) {
  const struct {
    std::string before;
    std::string bytes;
    std::string after;
  } cases[] = {
      {"x\0"s, "\0"s, "x\0\0"s},
      {"", "a\0"s, "a\0"s},
      {"", "\0\0"s, "\0\0"s},
      {"", std::string(249, 'a') + "\0b"s, std::string(249, 'a') + "\0b"s},
      {"", std::string(249, 'a') + "\0&"s, std::string(249, 'a') + "\0&amp;"s},
      {"", std::string(600, '\0'), std::string(600, '\0')},
  };
  for (const auto& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.before);
    buffer.appendXmlNoCdataN(c.bytes.data(), sizeOf(c.bytes));
    EXPECT_TRUE(holds(buffer, c.after)) << testing::PrintToString(c.bytes);
    EXPECT_TRUE(appendsEscaped(c.bytes));
  }
}

}  // namespace
