#include "support/XString.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/ProgramPages.h"
#include "harness/ReleasedBlocks.h"
#include "support/CharTables.h"

namespace {

using namespace std::string_literals;
using harness::allWiped;
using harness::ProgramPages;
using harness::releasedBy;

bool append(XString& string, std::string_view bytes) {
  return string.appendUtf8N(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

std::string bytesOf(const XString& string) { return {string.getUtf8(), string.getSizeUtf8()}; }

std::string utf8Of(char windows1252) {
  const auto byte = static_cast<unsigned char>(windows1252);
  if (byte < 0x80) return {windows1252};
  std::string bytes;
  for (const unsigned int value : _ansi_to_utf8[byte - 0x80])
    if (value != 0) bytes += static_cast<char>(value);
  return bytes;
}

static_assert(!std::is_copy_constructible_v<XString> && !std::is_copy_assignable_v<XString>);

TEST(XString, BeginsEmpty) {
  XString string;
  EXPECT_STREQ(string.getUtf8(), "");
  EXPECT_STREQ(string.getAnsi(), "");
  EXPECT_TRUE(string.isEmpty());
  EXPECT_EQ(string.getSizeUtf8(), 0U);
}

TEST(XString, ReadsAndWritesBothEncodings) {
  const struct {
    int page;
    const char* ansi;
    const char* utf8;
  } cases[] = {
      {1252, "", ""},
      {1252, "plain", "plain"},
      {1252, "\x80 5 \xE9t\xE9", "\u20ac 5 \u00e9t\u00e9"},
      {1250, "\x9E", "\u017e"},
      {1251, "\xCF\xF0\xE8", "\u041f\u0440\u0438"},
      {1253, "\xE1/\xF9", "\u03b1/\u03c9"},
      {65001, "\u00e9", "\u00e9"},
  };
  for (const auto& c : cases) {
    const ProgramPages page(c.page);
    XString string;
    EXPECT_TRUE(string.setFromAnsi(c.ansi));
    EXPECT_EQ(bytesOf(string), c.utf8);
    EXPECT_STREQ(string.getAnsi(), c.ansi);
    EXPECT_TRUE(string.setFromUtf8("before"));
    EXPECT_STREQ(string.getAnsi(), "before");
    EXPECT_TRUE(string.setFromUtf8(c.utf8));
    EXPECT_STREQ(string.getAnsi(), c.ansi);
    EXPECT_EQ(bytesOf(string), c.utf8);
    EXPECT_EQ(string.isEmpty(), *c.ansi == '\0');
  }
}

TEST(XString, KnowsEveryAnsiCharacter) {
  for (int c = 1; c < 256; ++c) {
    const char text[] = {static_cast<char>(c), '\0'};
    XString string;
    EXPECT_TRUE(string.setFromAnsi(text)) << c;
    EXPECT_EQ(bytesOf(string), utf8Of(text[0])) << c;
    EXPECT_STREQ(string.getAnsi(), text) << c;
  }
}

TEST(XString, TakesNullAsTheEmptyText) {
  XString string;
  ASSERT_TRUE(string.setFromUtf8("a"));
  EXPECT_TRUE(string.appendUtf8(nullptr));
  EXPECT_TRUE(string.appendUtf8N(nullptr, 5));
  EXPECT_TRUE(string.appendUtf8N("b", 0));
  EXPECT_EQ(bytesOf(string), "a");
  EXPECT_TRUE(string.setFromUtf8(nullptr));
  EXPECT_TRUE(string.isEmpty());
  ASSERT_TRUE(string.setFromUtf8("a"));
  EXPECT_TRUE(string.setFromAnsi(nullptr));
  EXPECT_TRUE(string.isEmpty());
}

TEST(XString, ClearEmpties) {
  XString string;
  ASSERT_TRUE(string.setFromUtf8("\u00e9"));
  EXPECT_STREQ(string.getAnsi(), "\xE9");
  string.clear();
  EXPECT_TRUE(string.isEmpty());
  EXPECT_STREQ(string.getAnsi(), "");
}

TEST(XString, AppendKeepsEveryByte) {
  XString string;
  std::string expected;
  for (const std::string& piece : {"a"s, "\0"s, "b\0\0"s, ""s, "\0c"s, "\xFF\xC3"s, "\0"s}) {
    EXPECT_TRUE(append(string, piece));
    expected += piece;
    EXPECT_EQ(bytesOf(string), expected);
  }
  EXPECT_STREQ(string.getUtf8(), "a");
  EXPECT_STREQ(string.getAnsi(), "a");
  EXPECT_TRUE(string.appendUtf8("end"));
  EXPECT_EQ(bytesOf(string), expected + "end");
}

TEST(XString, AppendKeepsManyNuls) {
  const std::string nuls((3U << 20U) + 5, '\0');
  XString string;
  EXPECT_TRUE(append(string, "x" + nuls));
  EXPECT_TRUE(string.appendUtf8("y"));
  EXPECT_EQ(bytesOf(string), "x" + nuls + "y");
}

TEST(XString, KeepsMalformedUtf8AndSubstitutesInAnsi) {
  const struct {
    const char* utf8;
    const char* ansi;
  } cases[] = {
      {"a\xFFz", "a?z"},         {"\xC3", "?"}, {"\xE2\x82/", "?/"}, {"\x80\x80", "??"},
      {"\u65e5\u00e9", "?\xE9"},
  };
  for (const auto& c : cases) {
    XString string;
    EXPECT_TRUE(string.setFromUtf8(c.utf8));
    EXPECT_STREQ(string.getAnsi(), c.ansi);
    EXPECT_EQ(bytesOf(string), c.utf8);
  }
}

TEST(XString, ReportsWhatIsNotInTheAnsiPage) {
  const ProgramPages page(20127);
  XString string;
  EXPECT_FALSE(string.setFromAnsi("a\xE9z"));
  EXPECT_EQ(bytesOf(string), "a\uFFFDz");
}

TEST(XString, FollowsTheAnsiPageOfTheProgram) {
  XString string;
  ASSERT_TRUE(string.setFromUtf8("\u00e9\u0440"));
  EXPECT_STREQ(string.getAnsi(), "\xE9?");
  const ProgramPages page(1251);
  EXPECT_STREQ(string.getAnsi(), "?\xF0");
}

TEST(XString, AnsiFormIsKept) {
  XString string;
  ASSERT_TRUE(string.setFromUtf8("\u00e9"));
  const char* const first = string.getAnsi();
  const harness::FailAllocation none(1, harness::FailAllocation::kFromThenOn);
  EXPECT_EQ(string.getAnsi(), first);
  EXPECT_EQ(none.seen(), 0);
}

TEST(XString, TextsMayLieInTheString) {
  const std::string filler(90, '-');
  for (const std::string& rest : {""s, filler}) {
    const std::string utf8 = "ab\u00e9\u20ac" + rest;
    const std::string ansi = "ab\xE9\x80" + rest;
    XString string;
    const auto set = [&] { ASSERT_TRUE(string.setFromUtf8(utf8.c_str())); };
    set();
    EXPECT_TRUE(string.setFromUtf8(string.getUtf8() + 2));
    EXPECT_EQ(bytesOf(string), utf8.substr(2));
    set();
    EXPECT_TRUE(string.setFromUtf8(string.getAnsi()));
    EXPECT_EQ(bytesOf(string), ansi);
    set();
    EXPECT_TRUE(string.setFromAnsi(string.getAnsi() + 1));
    EXPECT_EQ(bytesOf(string), utf8.substr(1));
    set();
    EXPECT_TRUE(string.appendUtf8(string.getUtf8()));
    EXPECT_EQ(bytesOf(string), utf8 + utf8);
    set();
    EXPECT_TRUE(string.appendUtf8(string.getAnsi()));
    EXPECT_EQ(bytesOf(string), utf8 + ansi);
    set();
    EXPECT_TRUE(string.appendUtf8N(string.getUtf8() + 1, string.getSizeUtf8()));  // and the NUL
    EXPECT_EQ(bytesOf(string), utf8 + utf8.substr(1) + '\0');
  }
}

// ---- replaceChar ----

// Where the well-formed character at the front of a text ends, or 1.
std::size_t characterSize(std::string_view text) {
  for (const std::string_view character : {"\u00e9", "\u00fc", "\u20ac", "\u0161"})
    if (text.substr(0, character.size()) == character) return character.size();
  return 1;
}

// Character by character, in Windows-1252.
std::string replaced(std::string_view text, char from, char to) {
  std::string result;
  while (!text.empty()) {
    const std::string_view character = text.substr(0, characterSize(text));
    result += character == utf8Of(from) ? utf8Of(to) : character;
    text.remove_prefix(character.size());
  }
  return result;
}

TEST(XString, ReplacesCharactersLikeTheSlowWay) {
  const std::vector<std::string> pieces = {"/",   "a",    "\u00e9",   "\u20ac", "\u0161",
                                           "\0"s, "\xC3", "\xE2\x82", "\xA9"};
  for (const std::string& choice : harness::allStrings("012345678", 3)) {
    std::string text;
    for (const char c : choice) text += pieces[static_cast<std::size_t>(c - '0')];
    for (const char from : {'/', 'a', '\xE9', '\x80'}) {
      for (const char to : {'\\', '/', '\0', '\xFC', '\x9A', '\x80'}) {
        XString string;
        ASSERT_TRUE(append(string, text));
        ASSERT_TRUE(string.replaceChar(from, to));
        ASSERT_EQ(bytesOf(string), replaced(text, from, to))
            << testing::PrintToString(text) << from << to;
      }
    }
  }
}

TEST(XString, ReplacesInLongTexts) {
  std::string text;
  for (int i = 0; i < 1000; ++i)
    text += "-\u00e9" + std::string(static_cast<std::size_t>(i) / 9, 'x');
  for (const char to : {'e', '\xFC', '\x80'}) {
    XString string;
    ASSERT_TRUE(append(string, text));
    EXPECT_TRUE(string.replaceChar('\xE9', to));
    EXPECT_EQ(bytesOf(string), replaced(text, '\xE9', to));
  }
}

TEST(XString, ReplaceCharRefusesWhatIsNoCharacter) {
  XString string;
  ASSERT_TRUE(append(string, "a\0\xE9\u00e9"s));
  EXPECT_TRUE(string.replaceChar('\0', 'x'));
  {
    const ProgramPages page(20127);
    EXPECT_FALSE(string.replaceChar('\xE9', 'x'));
    EXPECT_FALSE(string.replaceChar('a', '\xE9'));
  }
  EXPECT_EQ(bytesOf(string), "a\0\xE9\u00e9"s);
}

TEST(XString, ReplaceCharRenewsTheAnsiForm) {
  XString string;
  ASSERT_TRUE(string.setFromUtf8("\u00e9/"));
  EXPECT_STREQ(string.getAnsi(), "\xE9/");
  EXPECT_TRUE(string.replaceChar('/', '\xE9'));
  EXPECT_STREQ(string.getAnsi(), "\xE9\xE9");
  EXPECT_TRUE(string.replaceChar('\xE9', '\xFC'));
  EXPECT_STREQ(string.getAnsi(), "\xFC\xFC");
}

TEST(XString, AppendRenewsTheAnsiForm) {
  XString string;
  ASSERT_TRUE(string.setFromUtf8("\u00e9"));
  EXPECT_STREQ(string.getAnsi(), "\xE9");
  ASSERT_TRUE(string.appendUtf8("\u00fc"));
  EXPECT_STREQ(string.getAnsi(), "\xE9\xFC");
  ASSERT_TRUE(append(string, "!"));
  EXPECT_STREQ(string.getAnsi(), "\xE9\xFC!");
}

// ---- Secure strings ----

TEST(XString, SecureStringWipesAllItAllocates) {
  const std::string secret = "\u00e9" + std::string(300, 's');
  const std::string ansi = "\xE9" + std::string(300, 's');
  const auto blocks = releasedBy([&] {
    XString string;
    string.setSecure(true);
    string.setFromUtf8(secret.c_str());
    string.getAnsi();
    string.setFromAnsi(ansi.c_str());
    string.appendUtf8(secret.c_str());
    string.getAnsi();
    string.replaceChar('\xE9', 'e');
    string.replaceChar('s', '\x80');
    string.getAnsi();
    string.clear();
    string.setFromAnsi(ansi.c_str());
    string.getAnsi();
  });
  EXPECT_GT(blocks.size(), 8U);
  // The form of the one character that replaceChar() looks up is no secret.
  std::vector<std::string> large;
  for (const std::string& block : blocks)
    if (block.size() > 64) large.push_back(block);
  EXPECT_TRUE(allWiped(large));
}

// ---- Memory ----

TEST(XString, SurvivesEveryFailedAllocation) {
  const std::string text = "\u00e9" + std::string(200, '/');
  const std::string ansi = "\xE9" + std::string(200, '/');
  const std::string tail = text + text + "\0\0"s;
  const std::string wide = "\u00e9" + replaced(std::string(200, '/'), '/', '\x80');
  const long live = harness::liveBlocks();
  {
    XString string;
    bool set = false;
    bool fromAnsi = false;
    bool appended = false;
    bool changed = false;
    std::string afterSet;
    std::string afterAnsi;
    const auto fresh = [&] {
      string.clear();
      set = fromAnsi = appended = changed = false;
    };
    const long setFailures = harness::failEveryAllocation(
        fresh, [&] { set = string.setFromUtf8(text.c_str()); },
        [&] { EXPECT_EQ(bytesOf(string), set ? text : ""); });
    EXPECT_EQ(setFailures, 2);
    const long ansiFailures = harness::failEveryAllocation(
        fresh, [&] { fromAnsi = string.setFromAnsi(ansi.c_str()); },
        [&] { EXPECT_EQ(bytesOf(string), fromAnsi ? text : ""); });
    EXPECT_EQ(ansiFailures, 4);
    const auto filled = [&] {
      fresh();
      ASSERT_TRUE(string.setFromUtf8(text.c_str()));
    };
    const char* seen = nullptr;
    const long getFailures = harness::failEveryAllocation(
        filled, [&] { seen = string.getAnsi(); },
        [&] {
          EXPECT_TRUE(seen == ansi || *seen == '\0');
          EXPECT_STREQ(string.getAnsi(), ansi.c_str());
        });
    EXPECT_EQ(getFailures, 4);
    const long appendFailures = harness::failEveryAllocation(
        filled, [&] { appended = append(string, tail); },
        [&] { EXPECT_EQ(bytesOf(string), appended ? text + tail : text); });
    EXPECT_GE(appendFailures, 2);
    const long replaceFailures = harness::failEveryAllocation(
        filled, [&] { changed = string.replaceChar('/', '\x80'); },
        [&] { EXPECT_EQ(bytesOf(string), changed ? wide : text); });
    EXPECT_GE(replaceFailures, 2);
  }
  EXPECT_EQ(harness::liveBlocks(), live);
}

}  // namespace
