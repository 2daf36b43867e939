// Link detection of text/Links.cpp.

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
#include "harness/LinksReference.h"
#include "harness/RawContent.h"
#include "harness/ReleasedBlocks.h"
#include "harness/Stopwatch.h"

namespace {

using namespace std::string_literals;
namespace reference = harness::reference::links;
using harness::fill;
using harness::GrowthModel;
using harness::holds;
using harness::invariantsHold;
using harness::randomText;
using harness::secondsOf;
using harness::stateOf;
using Texts = std::vector<std::string>;

std::string link(const std::string& address) {
  return "<a href=\"" + address + "\">" + address + "</a>";
}

std::string textOf(const Texts& tokens, unsigned long long choice, std::size_t count) {
  std::string text;
  for (; count > 0; --count, choice /= tokens.size()) text += tokens[choice % tokens.size()];
  return text;
}

// The result of a change is cleared and appended at once.
testing::AssertionResult linksTo(std::string_view input, const std::string& result) {
  const StringBuffer caller;
  StringBuffer text;
  fill(text, input);
  text.setExtendSize(77);
  caller.autoLinkUrls2(text);
  GrowthModel stored;
  stored.append(static_cast<unsigned int>(result.size()));
  const testing::AssertionResult same =
      input == result ? holds(text, result)
                      : holds(text, result, stored.capacity, stored.extendSize);
  if (same) return same;
  return testing::AssertionFailure()
         << testing::PrintToString(std::string(input.substr(0, 300))) << ": " << same.message();
}

testing::AssertionResult links(const std::string& input) {
  return linksTo(input, reference::autoLinked(input));
}

testing::AssertionResult pageLinksTo(std::string_view input, const std::string& result) {
  StringBuffer page;
  fill(page, input);
  page.autoLinkUrls();
  const testing::AssertionResult same =
      result.size() > 81 || input == result ? holds(page, result) : holds(page, result, 0, 202);
  if (same) return same;
  return testing::AssertionFailure()
         << testing::PrintToString(std::string(input.substr(0, 300))) << ": " << same.message();
}

testing::AssertionResult pageLinks(const std::string& input) {
  return pageLinksTo(input, reference::autoLinkedPage(input));
}

// --- autoLinkUrls2 -------------------------------------------------------------------------------

TEST(AutoLinkUrls2Test, ListedCases) {
  const std::string url = "http://a.b/c";
  const std::string secure = "https://a.b/c?d=e&f#g";
  EXPECT_TRUE(linksTo("", ""));
  EXPECT_TRUE(
      linksTo("no address: http:/x https:// ", "no address: http:/x " + link("https://") + " "));
  EXPECT_TRUE(linksTo("see " + url + " now", "see " + link(url) + " now"));
  EXPECT_TRUE(linksTo(url, link(url)));
  EXPECT_TRUE(linksTo(secure, link(secure)));
  EXPECT_TRUE(linksTo("(" + url + ")", "(" + link(url) + ")"));
  EXPECT_TRUE(linksTo("\"" + url + "\" x", "\"" + link(url + "\"") + " x"));
  EXPECT_TRUE(linksTo("'" + url + "'", "'" + link(url + "'")));
  EXPECT_TRUE(
      linksTo(url + " " + secure + " " + url, link(url) + " " + link(secure) + " " + link(url)));
  EXPECT_TRUE(linksTo(secure + "\n" + url, link(secure) + "\n" + link(url)));
  EXPECT_TRUE(linksTo("xhttp://y", "x" + link("http://y")));
  EXPECT_TRUE(linksTo("http://https://x", link("http://https://x")));
  EXPECT_TRUE(linksTo("https://http://x", link("https://http://x")));
  EXPECT_TRUE(linksTo("hhttp://x hthttps://y", "h" + link("http://x") + " ht" + link("https://y")));
}

TEST(AutoLinkUrls2Test, ATextWithoutAddressIsUnchanged) {
  for (const std::string& text :
       {"abc"s, "http:/"s, "https:/"s, "http"s, "ftp://x"s, "http:// "s.substr(0, 6),
        "<a href=x>y</a>"s, std::string(300, 'h')})
    EXPECT_TRUE(linksTo(text, text));
}

TEST(AutoLinkUrls2Test, TheSchemeIsFoundInAnyCaseAndKeepsIt) {
  for (const std::string& plain : {"http://"s, "https://"s})
    for (unsigned int mask = 0; mask < 1U << plain.size(); ++mask) {
      std::string written = plain;
      for (std::size_t i = 0; i < plain.size(); ++i)
        if (plain[i] >= 'a' && (mask >> i & 1U) != 0) written[i] = static_cast<char>(plain[i] - 32);
      ASSERT_TRUE(linksTo("a " + written + "X.y b", "a " + link(written + "X.y") + " b"));
    }
}

TEST(AutoLinkUrls2Test, EveryChangedByteOfTheSchemeMakesItNone) {
  for (const std::string& scheme : {"http://"s, "https://"s})
    for (std::size_t i = 0; i < scheme.size(); ++i)
      for (int byte = 1; byte < 256; ++byte) {
        std::string changed = scheme;
        changed[i] = static_cast<char>(byte);
        ASSERT_TRUE(links("a " + changed + "b c"));
      }
}

TEST(AutoLinkUrls2Test, AnAddressEndsAtBlanksAndBracketsOnly) {
  const std::string ends = "\t\n\r ()<>[]{}";
  for (int byte = 1; byte < 256; ++byte) {
    const std::string c(1, static_cast<char>(byte));
    const bool end = ends.find(c) != std::string::npos;
    ASSERT_TRUE(linksTo("http://x" + c + "y z",
                        end ? link("http://x") + c + "y z" : link("http://x" + c + "y") + " z"));
    ASSERT_TRUE(linksTo("HTTPS://" + c, end ? link("HTTPS://") + c : link("HTTPS://" + c)));
  }
}

TEST(AutoLinkUrls2Test, TheTextEndsAtItsFirstNul) {
  EXPECT_TRUE(linksTo("http://x\0y http://z"s, link("http://x")));
  EXPECT_TRUE(linksTo("a\0http://z"s, "a"));
  EXPECT_TRUE(linksTo("\0http://z"s, ""));
  EXPECT_TRUE(linksTo("http:\0//z"s, "http:"));
}

TEST(AutoLinkUrls2Test, NothingIsEscaped) {
  EXPECT_TRUE(
      linksTo("http://x?a=1&b='2'&amp;\"3\" <b>", link("http://x?a=1&b='2'&amp;\"3\"") + " <b>"));
}

TEST(AutoLinkUrls2Test, TheCallingBufferIsNotUsed) {
  StringBuffer caller("http://caller");
  caller.setExtendSize(5);
  const harness::BufferState before = stateOf(caller);
  StringBuffer text("http://text");
  caller.autoLinkUrls2(text);
  EXPECT_TRUE(holds(text, link("http://text")));
  EXPECT_EQ(stateOf(caller), before);
}

TEST(AutoLinkUrls2Test, TheCallingBufferItselfCanBePassed) {
  for (const std::size_t size : {5U, 60U, 81U, 82U, 300U}) {
    StringBuffer buffer(("http://" + std::string(size, 'x') + " end").c_str());
    buffer.autoLinkUrls2(buffer);
    EXPECT_TRUE(holds(buffer, link("http://" + std::string(size, 'x')) + " end"));
  }
}

TEST(AutoLinkUrls2Test, ResultsOfEverySize) {
  for (std::size_t size = 0; size < 200; ++size) {
    ASSERT_TRUE(links("http://" + std::string(size, 'u')));
    ASSERT_TRUE(links(std::string(size, 't') + " http://u (https://v) " + std::string(size, 't')));
  }
}

const Texts kTokens = {"http://", "https://", "HTTP://", "http:", "s://", "x", " ",
                       "<",       ")",        "\"",      "h",     "ht",   "/", "\n"};

TEST(AutoLinkUrls2Test, ShortTextsAgreeWithTheReference) {
  for (unsigned long long choice = 0; choice < 38416; ++choice)
    ASSERT_TRUE(links(textOf(kTokens, choice, 4)));
}

TEST(AutoLinkUrls2Test, RandomTextsAgreeWithTheReference) {
  for (unsigned int seed = 1; seed <= 300; ++seed) {
    std::string text;
    for (const char pick : randomText(seed, seed, "ABCDEFGHIJKLMN"))
      text += kTokens[static_cast<std::size_t>(pick - 'A')];
    ASSERT_TRUE(links(text));
  }
}

// --- autoLinkUrls --------------------------------------------------------------------------------

TEST(AutoLinkUrlsTest, ListedCases) {
  const std::string url = "http://u";
  const std::string to = link(url);
  const struct {
    std::string page;
    std::string result;
  } cases[] = {
      {"", ""},
      {"abc", "abc"},
      {"a " + url + " b", "a " + to + " b"},
      {"<body>" + url + "</body>", "<body>" + to + "</body>"},
      {url + "<body>" + url, url + "<body>" + to},
      {"<a href=\"x\">" + url + "</a> " + url, "<a href=\"x\">" + url + "</a> " + to},
      {"<body><a href=" + url + ">" + url + "</a>" + url + "</body>",
       "<body><a href=" + url + ">" + url + "</a>" + to + "</body>"},
      {url + " <a>" + url + "</a> " + url + " <a>x</a>",
       to + " <a>" + url + "</a> " + to + " <a>x</a>"},
      {"<a>1</a><a>" + url + "</a>" + url, "<a>1</a><a>" + url + "</a>" + to},
  };
  for (const auto& c : cases) {
    EXPECT_TRUE(pageLinksTo(c.page, c.result));
    EXPECT_TRUE(pageLinks(c.page));
  }
}

TEST(AutoLinkUrlsTest, TheHeadIsCopiedUnchanged) {
  const std::string head = "<html><head><a>http://h</a> https://i</head>";
  EXPECT_TRUE(pageLinksTo(head + "<body>http://u", head + "<body>" + link("http://u")));
  EXPECT_TRUE(pageLinksTo(head + "<BoDy x=http://b>", head + "<BoDy x=" + link("http://b") + ">"));
  EXPECT_TRUE(pageLinksTo("<a <body>http://u", "<a <body>" + link("http://u")));
  EXPECT_TRUE(pageLinksTo("http://h<bodyguard http://u", "http://h<bodyguard " + link("http://u")));
  EXPECT_TRUE(pageLinksTo("<bod http://u", "<bod " + link("http://u")));
}

TEST(AutoLinkUrlsTest, OnlyTheFirstBodyCounts) {
  EXPECT_TRUE(pageLinksTo("http://h<body>http://u<body>http://v",
                          "http://h<body>" + link("http://u") + "<body>" + link("http://v")));
}

TEST(AutoLinkUrlsTest, AnAnchorIsFoundInAnyCaseAndByItsBeginning) {
  const std::string url = "http://u";
  for (const std::string& anchor :
       {"<A HREF=x>http://i</A>"s, "<a>http://i</A>"s, "<A>http://i</a >"s, "<a>http://i</a\n\t>"s,
        "<abbr>http://i</abbr>"s, "<article>http://i<p></aside>"s, "<a</a>"s, "<a></a x=http://i>"s,
        "<a><a>http://i</a>"s, "<a>http://i</ a></a>"s})
    EXPECT_TRUE(pageLinksTo(url + anchor + url, link(url) + anchor + link(url)));
}

TEST(AutoLinkUrlsTest, OtherElementsAreNoAnchors) {
  const std::string url = "http://u";
  for (const std::string& tag : {"<b>"s, "< a>"s, "</a>"s, "<"s, "<!a>"s})
    EXPECT_TRUE(pageLinksTo(url + tag + url, link(url) + tag + link(url)));
}

TEST(AutoLinkUrlsTest, AnUnclosedAnchorIsCopiedToTheEnd) {
  const std::string url = "http://u";
  for (const std::string& rest : {"<a href=http://i>http://j"s, "<a"s, "<a http://i"s,
                                  "<a>http://i</a http://j"s, "<a>http://i<a http://j</b>"s})
    EXPECT_TRUE(pageLinksTo(url + rest, link(url) + rest));
}

TEST(AutoLinkUrlsTest, TheTextEndsAtItsFirstNul) {
  EXPECT_TRUE(pageLinksTo("http://u\0http://v"s, link("http://u")));
  EXPECT_TRUE(pageLinksTo("http://u<a>\0</a>http://v"s, link("http://u") + "<a>"));
  EXPECT_TRUE(pageLinksTo("http://u \0<body>"s, link("http://u") + " "));
}

TEST(AutoLinkUrlsTest, ShortTextsAgreeWithTheReference) {
  const Texts tokens = {"<a",   "</a", ">",    "http://", "https://x", "<body", "<A",
                        "</A>", "<",   "body", " ",       "a",         "/a>"};
  for (unsigned long long choice = 0; choice < 28561; ++choice)
    ASSERT_TRUE(pageLinks(textOf(tokens, choice, 4)));
  for (unsigned int seed = 1; seed <= 300; ++seed) {
    std::string text;
    for (const char pick : randomText(seed, seed, "ABCDEFGHIJKLM"))
      text += tokens[static_cast<std::size_t>(pick - 'A')];
    ASSERT_TRUE(pageLinks(text));
  }
}

TEST(AutoLinkUrlsTest, ResultsOfEverySize) {
  for (std::size_t size = 0; size < 150; ++size)
    ASSERT_TRUE(pageLinks("http://" + std::string(size, 'u') + "<a>" + std::string(size, 't') +
                          "</a> https://v"));
}

// --- Exhausted memory ----------------------------------------------------------------------------

const std::function<void(StringBuffer&)> kMembers[] = {
    [](StringBuffer& buffer) {
      const StringBuffer caller;
      caller.autoLinkUrls2(buffer);
    },
    [](StringBuffer& buffer) { buffer.autoLinkUrls(); },
};

TEST(LinksTest, ExhaustedMemoryChangesNothing) {
  std::string text = "head <body>";
  for (int i = 0; i < 20; ++i) text += "text http://address/" + std::to_string(i) + " <a>x</a> ";
  for (const auto& member : kMembers) {
    StringBuffer linked(text.c_str());
    member(linked);
    std::optional<StringBuffer> buffer;
    long live = 0;
    const long failures = harness::failEveryAllocation(
        [&] {
          live = harness::liveBlocks();
          buffer.emplace(text.c_str());
        },
        [&] { member(*buffer); },
        [&] {
          EXPECT_TRUE(invariantsHold(*buffer));
          const std::string_view content(buffer->getString(), buffer->getSize());
          EXPECT_TRUE(content == text || content == linked.getString());
          buffer.reset();
          EXPECT_EQ(harness::liveBlocks(), live);
        });
    EXPECT_GT(failures, 0);
  }
}

// Each text has its longest piece, the one that needs a block, in another place.
TEST(LinksTest, NoPieceIsLostWithoutMemory) {
  const std::string x(200, 'x');
  for (const auto& member : kMembers)
    for (const std::string& text : {x + "<body>http://a", x + " http://a",
                                    "<a>" + x + "</a>http://a", "http://a " + x, "http://" + x}) {
      StringBuffer linked(text.c_str());
      member(linked);
      std::optional<StringBuffer> buffer;
      const long failures = harness::failEveryAllocation(
          [&] { buffer.emplace(text.c_str()); }, [&] { member(*buffer); },
          [&] {
            const std::string_view content(buffer->getString(), buffer->getSize());
            EXPECT_TRUE(content == text || content == linked.getString()) << text;
          });
      EXPECT_GT(failures, 0);
    }
}

// The temporary in which the result is made, and the block that it is copied to.
TEST(LinksTest, AllocatesTwiceWhateverTheSize) {
  for (const auto& member : kMembers)
    for (const char* unit : {"text that has no address ", "text <a>x</a> text http://address/x "})
      EXPECT_TRUE(harness::allocates(2, 3, harness::repeating(unit), [&](StringBuffer& text) {
        return member(text), text.getSize();
      }));
}

// --- Secure buffers ------------------------------------------------------------------------------

TEST(LinksTest, SecureBuffersReleaseOnlyWipedBlocks) {
  for (const auto& member : kMembers)
    for (const std::size_t size : {30U, 82U, 300U, 3000U}) {
      std::string text;
      while (text.size() < size) text += "secret http://secret <a>secret</a> ";
      std::optional<StringBuffer> buffer;
      buffer.emplace();
      buffer->setSecureBuf(true);
      ASSERT_TRUE(buffer->append(text.c_str()));
      const std::vector<std::string> blocks = harness::releasedBy([&] {
        member(*buffer);
        buffer.reset();
      });
      EXPECT_TRUE(size < 82 || !blocks.empty());
      EXPECT_TRUE(harness::allWiped(blocks)) << size;
    }
}

TEST(LinksTest, ASecureBufferStaysSecure) {
  for (const auto& member : kMembers) {
    StringBuffer buffer("secret http://secret");
    buffer.setSecureBuf(true);
    member(buffer);
    EXPECT_TRUE(harness::wipesItsBlocks(buffer));
  }
}

// --- Hostile sizes -------------------------------------------------------------------------------

unsigned int sizeAfter(const std::function<void(StringBuffer&)>& member, const std::string& begin,
                       const std::string& unit, const std::string& end) {
  constexpr std::size_t kSize = 1 << 20;
  std::string text = begin;
  while (text.size() < kSize) text += unit;
  text += end;
  StringBuffer buffer(text.c_str());
  EXPECT_LT(secondsOf([&] { member(buffer); }), 8.0) << begin << unit << end;
  EXPECT_TRUE(invariantsHold(buffer));
  return buffer.getSize();
}

TEST(LinksTest, HostileTextsTakeLinearTime) {
  const auto units = [](std::size_t size) {
    return static_cast<unsigned int>(((1U << 20) + size - 1) / size);
  };
  for (const auto& member : kMembers) {
    EXPECT_EQ(sizeAfter(member, "", "http://a ", ""), units(9) * 32);
    EXPECT_EQ(sizeAfter(member, "", "https://a ", ""), units(10) * 34);
    EXPECT_EQ(sizeAfter(member, "", "http://", ""), 2 * 7 * units(7) + 15);
    EXPECT_EQ(sizeAfter(member, "", "http:/", ""), 6 * units(6));
    EXPECT_EQ(sizeAfter(member, "", "hhttp:/h", ""), 8 * units(8));
    EXPECT_EQ(sizeAfter(member, "", "<", ""), 1U << 20);
    sizeAfter(member, "", "http://a ", "https://b");
    sizeAfter(member, "", "https://a ", "http://b");
    sizeAfter(member, "", "http:// https://<", "");
  }
}

TEST(LinksTest, HostilePagesTakeLinearTime) {
  const auto& member = kMembers[1];
  EXPECT_EQ(sizeAfter(member, "", "<a", ""), 1U << 20);
  EXPECT_EQ(sizeAfter(member, "", "<a</a", ""), ((1U << 20) + 4) / 5 * 5);
  sizeAfter(member, "", "<a></a>", "");
  sizeAfter(member, "", "<a></a>http://x ", "<a");
  sizeAfter(member, "", "<bod", "<body>http://a");
  sizeAfter(member, "<body>", "x<a>y</a>", "http://a");
  sizeAfter(member, "", "</a", "");
  sizeAfter(member, "<a", "</a", "");
}

// The result grows in steps whose number does not depend on its size.
TEST(LinksTest, FewAllocationsAreMadeForALargePage) {
  for (const auto& member : kMembers)
    for (const char* unit : {"<a></a>http://a ", "http://a ", "<a></a>", "x"}) {
      std::string text;
      while (text.size() < 8U << 20) text += unit;
      StringBuffer buffer(text.c_str());
      const harness::FailAllocation count(0);
      member(buffer);
      EXPECT_LT(count.seen(), 20) << unit;
    }
}

}  // namespace
