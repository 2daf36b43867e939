// The simple XML element of text/XmlElement.cpp.

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/Allocations.h"
#include "harness/BufferState.h"
#include "harness/ModelBuffer.h"
#include "harness/ReleasedBlocks.h"
#include "harness/Stopwatch.h"
#include "harness/StorageLayout.h"
#include "harness/TextAliases.h"
#include "harness/XmlReference.h"

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
using reference::Attributes;
using Texts = std::vector<std::string>;

// Calls the member with the attributes in two arrays.
bool simpleXml(StringBuffer& buffer, const char* tag, const char* content,
               const Attributes& attributes) {
  std::vector<const char*> names;
  std::vector<const char*> values;
  for (const reference::Attribute& attribute : attributes) {
    names.push_back(attribute.key);
    values.push_back(attribute.value);
  }
  return buffer.simpleXml(tag, content, static_cast<int>(attributes.size()), names.data(),
                          values.data());
}

// Appends to buffers of several sizes, piece by piece; the storage shows the pieces.
testing::AssertionResult appends(const char* tag, const char* content,
                                 const Attributes& attributes) {
  for (const std::size_t size : {0U, 10U, 70U, 80U, 81U, 82U, 280U, 284U}) {
    StringBuffer buffer;
    for (std::size_t i = 0; i < size; ++i) buffer.appendChar('o');
    ModelBuffer model = modelOf(buffer);
    for (const std::string& piece : reference::simpleElement(tag, content, attributes))
      model.append(piece);
    if (!simpleXml(buffer, tag, content, attributes))
      return testing::AssertionFailure() << "false behind " << size << " bytes";
    const testing::AssertionResult same = matches(buffer, model);
    if (!same) return same;
  }
  return testing::AssertionSuccess();
}

struct Case {
  const char* tag;
  const char* content;
  Attributes attributes;
  const char* element;
};

void checkCases(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    StringBuffer buffer("& ");
    EXPECT_TRUE(simpleXml(buffer, c.tag, c.content, c.attributes));
    EXPECT_TRUE(holds(buffer, "& "s + c.element));
    EXPECT_TRUE(appends(c.tag, c.content, c.attributes)) << c.element;
  }
}

TEST(XmlElementTest, ListedCases) {
  checkCases({
      {"a", "", {}, "<a />"},
      {"a", "1 & 2", {{"k", "x<y"}}, "<a k=\"x<y\">1 &amp; 2</a>"},
      {"a", "&copy; 2024", {}, "<a>&copy; 2024</a>"},
      {"a", "b", {{nullptr, "dropped"}, {"k", "v"}}, "<a k=\"v\">b</a>"},
      {"a", "b", {{"k", "v"}, {"l", "w"}}, R"(<a k="v" l="w">b</a>)"},
  });
}

TEST(XmlElementTest, AnElementWithoutContentClosesItself) {
  for (const char* nothing : {static_cast<const char*>(nullptr), ""})
    checkCases({{"a", nothing, {}, "<a />"},
                {"a", nothing, {{"k", "v"}}, "<a k=\"v\" />"},
                {nullptr, nothing, {}, "< />"},
                {"", nothing, {{nullptr, nullptr}}, "< />"}});
}

TEST(XmlElementTest, ANullOrEmptyTagIsNoText) {
  checkCases({{nullptr, "b", {}, "<>b</>"}, {"", "b", {{"k", "v"}}, "< k=\"v\">b</>"}});
}

TEST(XmlElementTest, ValuesAndNamesAreWrittenRaw) {
  checkCases({{"<&", "b", {{"\"<", "<&>\"'\n\t\xE9"}}, "<<& \"<=\"<&>\"'\n\t\xE9\">b</<&>"},
              {"a", "", {{"", "v"}}, "<a =\"v\" />"},
              {"a", "", {{"k", ""}, {"l", nullptr}}, R"(<a k="" l="" />)"}});
}

TEST(XmlElementTest, TheContentIsEscapedButForItsReferencesAndQuotes) {
  checkCases({{"a", "<b>", {}, "<a>&lt;b&gt;</a>"},
              {"a", "\"'", {}, "<a>\"'</a>"},
              {"a", "&amp;&lt;&#65;&#x", {}, "<a>&amp;&lt;&#65;&#x</a>"},
              {"a", "&amp&divide;&", {}, "<a>&amp;amp&amp;divide;&amp;</a>"},
              {"a", "1\n\t2]]>", {}, "<a>1\n\t2]]&gt;</a>"}});
  for (int byte = 1; byte < 256; ++byte) {
    const std::string content(1, static_cast<char>(byte));
    EXPECT_TRUE(appends("tag", content.c_str(), {})) << byte;
  }
}

TEST(XmlElementTest, ANullNameSkipsItsValue) {
  checkCases(
      {{"a", "", {{nullptr, "1"}, {"k", "2"}, {nullptr, "3"}, {"l", "4"}}, R"(<a k="2" l="4" />)"},
       {"a", "b", {{nullptr, "1"}}, "<a>b</a>"}});
}

TEST(XmlElementTest, ACountOfNothingReadsNoAttributes) {
  const char* names[] = {"k", "l"};
  const char* values[] = {"v", "w"};
  for (const int count : {0, -1, -2147483647 - 1}) {
    StringBuffer buffer;
    EXPECT_TRUE(buffer.simpleXml("a", "", count, names, values));
    EXPECT_TRUE(buffer.simpleXml("a", "b", count, nullptr, nullptr));
    EXPECT_TRUE(holds(buffer, "<a /><a>b</a>", 0, 202));
  }
  StringBuffer buffer;
  EXPECT_TRUE(buffer.simpleXml("a", "b", 1, names, values));
  EXPECT_TRUE(holds(buffer, "<a k=\"v\">b</a>", 0, 202));
}

TEST(XmlElementTest, NullArraysHoldNoAttributes) {
  const char* texts[] = {"k", "l"};
  StringBuffer buffer;
  EXPECT_TRUE(buffer.simpleXml("a", "b", 2, nullptr, nullptr));
  EXPECT_TRUE(buffer.simpleXml("a", "", 2147483647, nullptr, nullptr));
  EXPECT_TRUE(buffer.simpleXml("a", "", 2, nullptr, texts));
  EXPECT_TRUE(holds(buffer, "<a>b</a><a /><a />", 0, 202));
  EXPECT_TRUE(buffer.simpleXml("a", "", 2, texts, nullptr));
  EXPECT_TRUE(invariantsHold(buffer));
}

TEST(XmlElementTest, NulsAtTheEndOfTheBufferAreKept) {
  StringBuffer buffer;
  appendRaw(buffer, "x\0\0"s);
  EXPECT_TRUE(buffer.simpleXml("a", "", 0, nullptr, nullptr));
  EXPECT_TRUE(holds(buffer, "x\0\0<a />"s));
}

TEST(XmlElementTest, RandomElementsAgreeWithTheReference) {
  for (unsigned int seed = 1; seed <= 200; ++seed) {
    const auto text = [&](unsigned int part) {
      return randomText(seed * 10 + part, (seed * part * 3) % 120, "<>&\"'\nal;mp#t ");
    };
    const std::string tag = text(1);
    const std::string name = text(2);
    const std::string value = text(3);
    const std::string content = text(4);
    const Attributes attributes(seed % 3, {name.c_str(), value.c_str()});
    ASSERT_TRUE(appends(tag.c_str(), content.c_str(), attributes)) << seed;
  }
}

// --- Arguments inside the buffer -----------------------------------------------------------------

TEST(XmlElementTest, TextsMayLieInTheBuffer) {
  using Text = const char*;
  const auto check = [](const std::function<bool(StringBuffer&, Text)>& member) {
    harness::expectTextsMayLieInside(
        [&](StringBuffer& b, Text text) { return member(b, text) ? 1 : 0; });
  };
  check([](StringBuffer& b, Text text) { return simpleXml(b, text, "", {}); });
  check([](StringBuffer& b, Text text) { return simpleXml(b, text, "content", {{"k", "v"}}); });
  check([](StringBuffer& b, Text text) { return simpleXml(b, "tag", text, {}); });
  check([](StringBuffer& b, Text text) { return simpleXml(b, "tag", "content", {{text, "v"}}); });
  check([](StringBuffer& b, Text text) { return simpleXml(b, "tag", "content", {{"k", text}}); });
  check([](StringBuffer& b, Text text) {
    return simpleXml(b, text, text, {{"k", text}, {text, text}, {"l", "w"}, {text, "x"}});
  });
}

// --- Exhausted memory ----------------------------------------------------------------------------

struct Dropped {
  std::string content;
  bool last = false;
};

// What is left of the pieces when no more than `most` bytes fit.
Dropped withoutGrowth(std::string content, const Texts& pieces, std::size_t most) {
  Dropped result{std::move(content), false};
  for (const std::string& piece : pieces) {
    result.last = result.content.size() + piece.size() <= most;
    if (result.last) result.content += piece;
  }
  return result;
}

TEST(XmlElementTest, PiecesThatDoNotFitAreLeftOut) {
  const Attributes attributes = {{"name", "value"}, {"k", "v"}};
  for (const bool heap : {false, true})
    for (const char* content : {"", "a < b & c"})
      for (std::size_t room = 0; room < 60; ++room) {
        StringBuffer buffer;
        const std::string before(heap ? 300 : 81 - room, 'o');
        if (heap)
          fillHeap(buffer, before, static_cast<unsigned int>(room));
        else
          buffer.append(before.c_str());
        const Dropped expected = withoutGrowth(
            before, reference::simpleElement("tag", content, attributes), heap ? 300 + room : 81);
        const std::vector<const char*> names = {"name", "k"};
        const std::vector<const char*> values = {"value", "v"};
        bool result = false;
        {
          const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
          result = buffer.simpleXml("tag", content, 2, names.data(), values.data());
        }
        EXPECT_TRUE(holds(buffer, expected.content)) << room;
        EXPECT_EQ(result, expected.last) << room;
      }
}

TEST(XmlElementTest, ExhaustedMemoryNeverLeavesRawContent) {
  const std::string content = std::string(50, '<') + std::string(100, '&');
  const std::string tag(90, 't');
  std::optional<StringBuffer> buffer;
  long live = 0;
  bool result = false;
  const char* names[] = {tag.c_str()};
  const long failures = harness::failEveryAllocation(
      [&] {
        live = harness::liveBlocks();
        buffer.emplace();
      },
      [&] { result = buffer->simpleXml(tag.c_str(), content.c_str(), 1, names, names); },
      [&] {
        EXPECT_TRUE(invariantsHold(*buffer));
        EXPECT_EQ(bytesOf(*buffer).find("<<"), std::string::npos);
        EXPECT_EQ(bytesOf(*buffer).find("&&"), std::string::npos);
        EXPECT_TRUE(!result || bytesOf(*buffer).back() == '>');
        buffer.reset();
        EXPECT_EQ(harness::liveBlocks(), live);
      });
  EXPECT_GT(failures, 0);
}

TEST(XmlElementTest, ADestroyedBufferAppendsWhatFits) {
  StringBuffer buffer(std::string(75, 'x').c_str());
  harness::flipMarker(buffer);
  EXPECT_TRUE(buffer.simpleXml("long name", "long content", 0, nullptr, nullptr));
  EXPECT_FALSE(buffer.simpleXml("long name", "long content", 0, nullptr, nullptr));
  harness::flipMarker(buffer);
  EXPECT_TRUE(holds(buffer, std::string(75, 'x') + "<></><"));
}

// --- Secure buffers ------------------------------------------------------------------------------

TEST(XmlElementTest, SecureBuffersReleaseOnlyWipedBlocks) {
  for (const std::size_t size : {30U, 81U, 300U, 3000U}) {
    const std::string secret = std::string(size, 's') + "<&";
    std::optional<StringBuffer> buffer;
    buffer.emplace();
    buffer->setSecureBuf(true);
    const char* texts[] = {"k"};
    const std::vector<std::string> blocks = harness::releasedBy([&] {
      buffer->simpleXml("tag", secret.c_str(), 1, texts, texts);
      const char* own[] = {buffer->getString()};
      buffer->simpleXml(own[0], own[0], 1, own, own);
      buffer.reset();
    });
    EXPECT_FALSE(blocks.empty());
    EXPECT_TRUE(harness::allWiped(blocks)) << size;
  }
}

// --- Large texts ---------------------------------------------------------------------------------

TEST(XmlElementTest, LargeTextsTakeLinearTime) {
  constexpr unsigned int kCount = 1 << 18;
  const std::string content(1 << 20, '&');
  const std::vector<const char*> names(kCount, "k");
  StringBuffer buffer;
  const double seconds = secondsOf([&] {
    EXPECT_TRUE(buffer.simpleXml("a", content.c_str(), static_cast<int>(kCount), names.data(),
                                 names.data()));
  });
  EXPECT_LT(seconds, 8.0);
  EXPECT_EQ(buffer.getSize(), 2 + kCount * 6 + 1 + (5U << 20) + 4);
  EXPECT_TRUE(invariantsHold(buffer));
}

// The copy of the content, its escaped form, which is made and copied, and the element.
TEST(XmlElementTest, AllocatesFourTimesWhateverTheSize) {
  const auto element = [](const StringBuffer& text) {
    const std::vector<const char*> names(100, "name");
    const std::vector<const char*> values(100, "value");
    StringBuffer out;
    const harness::AllocationCount before = harness::allocationsMade();
    EXPECT_TRUE(out.simpleXml("tag", text.getString(), 100, names.data(), values.data()));
    EXPECT_EQ(harness::allocationsMade().blocks - before.blocks, 4);
    return out.getSize();
  };
  EXPECT_TRUE(harness::allocates(6, 5, harness::repeating("text & more <text> "), element));
}

}  // namespace
