#include <gtest/gtest.h>

#include <string>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "limits/Limit.h"

// Markup at the longest content, which is 1 MiB in this build.

namespace {

using harness::holds;
using harness::invariantsHold;
using harness::kMost;

TEST(LinksAtTheLimit, AResultThatDoesNotFitChangesNothing) {
  const std::string link = "<a href=\"http://\">http://</a>";
  for (const unsigned int plain : {kMost - 30, kMost - 29, kMost - 28, kMost - 7}) {
    const std::string text = std::string(plain - 1, 'x') + " http://";
    const bool fits = plain + link.size() <= kMost;
    StringBuffer page(text.c_str());
    page.autoLinkUrls();
    StringBuffer linked(text.c_str());
    page.autoLinkUrls2(linked);
    const std::string expected = fits ? std::string(plain - 1, 'x') + " " + link : text;
    EXPECT_TRUE(holds(page, expected)) << plain;
    EXPECT_TRUE(holds(linked, expected)) << plain;
  }
}

TEST(LinksAtTheLimit, AHostileTextIsNotCut) {
  std::string text;
  while (text.size() < 600000) text += "http://a.example/ ";
  StringBuffer page(text.c_str());
  page.autoLinkUrls();
  EXPECT_TRUE(holds(page, text));
}

// What does not fit is left out whole: no half reference, and no byte beyond the limit.
TEST(XmlAtTheLimit, PiecesThatDoNotFitAreLeftOut) {
  for (unsigned int room = 0; room < 12; ++room) {
    const std::string content(kMost - room, 'x');
    StringBuffer buffer(content.c_str());
    buffer.appendXml("a<bcdefgh");
    std::string added;
    for (const char* piece : {"a", "&lt;", "b", "c", "d", "e", "f", "g", "h"})
      if (added.size() + std::string(piece).size() <= room) added += piece;
    EXPECT_TRUE(holds(buffer, content + added)) << room;
    StringBuffer inBlocks(content.c_str());
    inBlocks.appendXmlNoCdata("a<b");
    EXPECT_TRUE(holds(inBlocks, room < 6 ? content : content + "a&lt;b")) << room;
    StringBuffer element(content.c_str());
    EXPECT_EQ(element.simpleXml("t", nullptr, 0, nullptr, nullptr), room >= 5) << room;
    EXPECT_TRUE(invariantsHold(element));
  }
}

TEST(EntitiesAtTheLimit, NumbersAreDecodedInTheLongestText) {
  const std::string text = std::string(kMost - 5, 'x') + "&#65;";
  StringBuffer buffer(text.c_str());
  buffer.decodeAllXmlSpecialUtf8();
  EXPECT_TRUE(holds(buffer, std::string(kMost - 5, 'x') + "A"));
}

// More than half the limit is left when the run before the markup is stored, less than the size of
// the source again.
TEST(EntityEncodeAtTheLimit, FewAllocationsAreMadeForALongText) {
  constexpr std::size_t kRun = 600000;
  constexpr std::size_t kMarkup = 20000;
  const std::string text = std::string(kRun, 'x') + std::string(kMarkup, '<');
  for (const auto encode : {+[](StringBuffer& page) { page.encodeXMLSpecial(); },
                            +[](StringBuffer& page) { page.encodeAllXmlSpecial(); }}) {
    StringBuffer page(text.c_str());
    const harness::FailAllocation count(0);
    encode(page);
    EXPECT_LT(count.seen(), 20);
    EXPECT_EQ(page.getSize(), kRun + 4 * kMarkup);
  }
}

}  // namespace
