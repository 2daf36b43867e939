// JSON string bodies of text/Json.cpp.

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/Allocations.h"
#include "harness/BufferState.h"
#include "harness/JsonReference.h"
#include "harness/ModelBuffer.h"
#include "harness/Operation.h"
#include "harness/OwnStack.h"
#include "harness/ReleasedBlocks.h"
#include "harness/Stopwatch.h"
#include "harness/StorageLayout.h"

namespace {

using namespace std::string_literals;
namespace reference = harness::reference;
using harness::agreesOn;
using harness::allStrings;
using harness::appendRaw;
using harness::bytesOf;
using harness::holds;
using harness::inWords;
using harness::ModelBuffer;
using harness::Operation;
using harness::randomText;
using harness::releasedBy;
using harness::secondsOf;
using harness::Texts;

constexpr std::size_t kMiB = 1048576;

unsigned int sizeOf(std::string_view bytes) { return static_cast<unsigned int>(bytes.size()); }

Operation escaping() {
  return {"jsonEscape", [](StringBuffer& b, const Texts&) { return inWords(b.jsonEscape()); },
          [](ModelBuffer& b, const Texts&) { return inWords(reference::jsonEscape(b)); }};
}

// --- jsonEscape --------------------------------------------------------------------------------

struct EscapeCase {
  std::string content;
  std::string left;
};

TEST(JsonEscape, EscapesWhatAStringMayNotHold) {
  const std::vector<EscapeCase> cases = {
      {"a\"b\\c", R"(a\"b\\c)"},
      {"\b\t\n\f\r", R"(\b\t\n\f\r)"},
      {"\x01", R"(\u0001)"},
      {"\x0B", R"(\u000B)"},
      {"\x1F", R"(\u001F)"},
      {"\x1A-\x0E", R"(\u001A-\u000E)"},
      {"\\\\", R"(\\\\)"},
      {"a\0b\0"s, R"(a\u0000b\u0000)"},
      // what a lead byte claims is copied unseen
      {"\xC3\"\"", "\xC3\"\\\""},
      {"\xE2\n\"\n", "\xE2\n\"\\n"},
      {"\xF0\"\\\x01\"", "\xF0\"\\\x01\\\""},
      {"\xFB\"\"\"\"\"", "\xFB\"\"\"\"\\\""},
      {"\xFC\"\"\"\"\"\"", "\xFC\"\"\"\"\"\\\""},
      {"\"\xC3\xC3\"", "\\\"\xC3\xC3\\\""},
      // a stray continuation byte is a character of its own
      {"\x80\"", "\x80\\\""},
      {"\xBF\"", "\xBF\\\""},
      // a lead byte at the end claims more than there is
      {"\"\xC3", "\\\"\xC3"},
      {"\"\xFF", "\\\"\xFF"},
      {"\"\xFD\"\"", "\\\"\xFD\"\""},
  };
  for (const EscapeCase& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    EXPECT_TRUE(buffer.jsonEscape());
    const std::size_t extra = c.left.size() - c.content.size();
    EXPECT_TRUE(holds(buffer, c.left, static_cast<unsigned int>(extra + 4 + c.left.size()), 202))
        << testing::PrintToString(c.content);
    EXPECT_TRUE(agreesOn(escaping(), c.content, {}));
    EXPECT_TRUE(harness::agreesInBlocks(escaping(), c.content, {}));
  }
}

TEST(JsonEscape, TextThatNeedsNoEscapeIsLeftUntouched) {
  for (const std::string& content :
       {""s, "x/y"s, "\xC3\xA9"s, "\x7F"s, "\xC3"s, "\xE2\x82"s, "\x80\xBF"s, "'<>&"s, "\xC0\""s,
        "\xFF\x01\x02"s, std::string(300, 'x')}) {
    StringBuffer buffer;
    appendRaw(buffer, content);
    buffer.setExtendSize(9);
    const char* data = buffer.getString();
    const unsigned int heapUsage = buffer.heapUsage();
    EXPECT_TRUE(buffer.jsonEscape());
    EXPECT_TRUE(holds(buffer, content, heapUsage, 9)) << testing::PrintToString(content);
    EXPECT_EQ(buffer.getString(), data);
  }
}

TEST(JsonEscape, NeedsNoMemoryWhenNothingChanges) {
  StringBuffer buffer(std::string(300, 'x').c_str());
  const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
  EXPECT_TRUE(buffer.jsonEscape());
  EXPECT_EQ(fail.seen(), 0);
}

TEST(JsonEscape, EveryByteValue) {
  for (int b = 0; b < 256; ++b) {
    const std::string byte(1, static_cast<char>(b));
    for (const std::string& content :
         {byte, byte + byte, "x" + byte, byte + "\"", "\"" + byte + "\n\n\n\n\n\n\n"})
      ASSERT_TRUE(agreesOn(escaping(), content, {}));
  }
}

TEST(JsonEscape, EveryShortContentAgreesWithTheReference) {
  for (const std::string& content : allStrings("a\"\\\n\x01\xC3\xE2\xFC\0"s, 4)) {
    ASSERT_TRUE(agreesOn(escaping(), content, {}));
    ASSERT_TRUE(harness::agreesUnterminated(escaping(), content, {}, '"'));
  }
}

TEST(JsonEscape, RandomContentsAgreeWithTheReference) {
  for (unsigned int seed = 1; seed <= 300; ++seed) {
    const std::string content =
        randomText(seed, seed * 5 % 700, "abcdef\"\\\n\x01\x1F\x7F\x80\xC3\xE2\xF0\0/"s);
    ASSERT_TRUE(agreesOn(escaping(), content, {})) << "seed " << seed;
    ASSERT_TRUE(harness::agreesInBlocks(escaping(), content, {})) << "seed " << seed;
  }
}

TEST(JsonEscape, EverySizeAtTheStorageBorders) {
  for (std::size_t size = 70; size < 90; ++size) {
    for (const char* last : {"\"", "\x01", "\xFF", "\"\xFF"}) {
      const std::string content = std::string(size, 'x') + last;
      EXPECT_TRUE(agreesOn(escaping(), content, {}));
      EXPECT_TRUE(harness::agreesInBlocks(escaping(), content, {}));
    }
  }
}

// The added bytes count twice in the capacity, and the block is as large as that.
TEST(JsonEscape, TheBlockIsAsLargeAsItsCapacityAndLaterTextStaysInside) {
  for (const std::string& content : {"\x01"s, "a\"b"s, std::string(500, '\x02')}) {
    const std::string escaped = reference::jsonEscaped(content);
    const std::size_t capacity = 2 * escaped.size() - content.size() + 4;
    StringBuffer buffer(content.c_str());
    EXPECT_TRUE(buffer.jsonEscape());
    const std::string more(capacity - escaped.size() - 1, 'm');
    EXPECT_TRUE(buffer.append(more.c_str()));
    EXPECT_TRUE(holds(buffer, escaped + more, static_cast<unsigned int>(capacity), 202));
    const std::vector<std::string> blocks = releasedBy([&] { buffer.clear(); });
    ASSERT_EQ(blocks.size(), 1U);
    EXPECT_GE(blocks[0].size(), capacity);
  }
}

TEST(JsonEscape, TheExtendSizeIsKept) {
  StringBuffer buffer("\"");
  buffer.setExtendSize(17);
  EXPECT_TRUE(buffer.jsonEscape());
  EXPECT_TRUE(holds(buffer, "\\\"", 7, 17));
}

TEST(JsonEscape, EscapingTwiceEscapesTheEscapes) {
  StringBuffer buffer("\"");
  EXPECT_TRUE(buffer.jsonEscape());
  EXPECT_TRUE(buffer.jsonEscape());
  EXPECT_TRUE(holds(buffer, R"(\\\")", 10, 202));
}

TEST(JsonEscape, ExhaustedMemoryChangesNothing) {
  for (const std::string& content : {std::string(200, '"'), "short \n"s}) {
    harness::expectSurvivesFailures(
        escaping(), content, {}, [&](const std::string& result, const std::string& left) {
          return left == (result == "true" ? reference::jsonEscaped(content) : content);
        });
    StringBuffer buffer(content.c_str());
    const harness::BufferState before = harness::stateOf(buffer);
    {
      const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
      EXPECT_FALSE(buffer.jsonEscape());
    }
    EXPECT_EQ(harness::stateOf(buffer), before);
  }
}

// The old storage is wiped as far as it goes, not only as far as the new text would.
TEST(JsonEscape, ASecureBufferWipesItsOldStorage) {
  harness::expectWipes(escaping(), std::string(300, 's') + "\"", {});
  StringBuffer stale;
  stale.setSecureBuf(true);
  stale.append(std::string(4000, 's').c_str());
  stale.chopAt(90);
  stale.append("\"");
  const std::vector<std::string> blocks = releasedBy([&] { EXPECT_TRUE(stale.jsonEscape()); });
  EXPECT_EQ(blocks.size(), 1U);
  EXPECT_TRUE(harness::allWiped(blocks));
  StringBuffer small("secret\"");
  small.setSecureBuf(true);
  EXPECT_TRUE(small.jsonEscape());
  EXPECT_EQ(harness::peekInlineBytes(&small), std::string(82, '\0'));
  EXPECT_TRUE(harness::wipesItsBlocks(small));
}

// --- jsonDecode --------------------------------------------------------------------------------

// Decodes from a block without a byte to spare.
bool decode(const std::string& src, StringBuffer& out) {
  const std::unique_ptr<char[]> exact(new char[src.size()]);
  src.copy(exact.get(), src.size());
  return StringBuffer::jsonDecode(exact.get(), sizeOf(src), out);
}

testing::AssertionResult decodesAsTold(const std::string& src, const std::string& earlier = "") {
  StringBuffer out;
  appendRaw(out, earlier);
  ModelBuffer model = harness::modelOf(out);
  reference::jsonDecode(src, model);
  if (!decode(src, out)) return testing::AssertionFailure() << "false";
  testing::AssertionResult same = matches(out, model);
  return same ? same : same << ", from " << testing::PrintToString(src.substr(0, 400));
}

struct DecodeCase {
  std::string src;
  std::string decoded;
};

TEST(JsonDecode, DecodesEveryEscape) {
  const std::vector<DecodeCase> cases = {
      {"", ""},
      {"abc", "abc"},
      {R"(\"\/\\)", "\"/\\"},
      {R"(\b\f\n\r\t)", "\b\f\n\r\t"},
      {R"(\u00e9)", "\xC3\xA9"},
      {R"(\u00E9)", "\xC3\xA9"},
      {R"(\u0041\u0042)", "AB"},
      {R"(\u20AC)", "\xE2\x82\xAC"},
      {R"(\uFFFF)", "\xEF\xBF\xBF"},
      {R"(\u007F\u0080\u07FF\u0800)", "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80"},
      // each half of a pair by itself
      {R"(\ud83d\ude00)", "\xED\xA0\xBD\xED\xB8\x80"},
      // other escapes vanish
      {R"(\q)", ""},
      {R"(a\qb\U0041c\v\a\'d)", "ab0041cd"},
      {"a\\\0b"s, "ab"},
      {"a\\\xFF"s + "b", "ab"},
      {"a\\ b", "ab"},
      // a backslash at the end
      {"ab\\", "ab"},
      {"\\", ""},
      {R"(ab\\\)", "ab\\"},
      // fewer than four bytes behind "\u"
      {R"(\u12)", "12"},
      {R"(\u)", ""},
      {R"(\u123)", "123"},
      {R"(\u\n1)", "\n1"},
      {R"(a\u)", "a"},
      // four bytes that are not all digits
      {R"(\u41zz!)", "A!"},
      {R"(\u00e"x)", "\x0Ex"},
      {R"(\u4\u0041)", "\x04"s + "041"},
      {"\\u+041x", "\0x"s},
      {"\\u 041x", "\0x"s},
      {"\\u0x41x", "\0x"s},
      {"\\u41\0\0x"s, "Ax"},
      // NULs
      {"a\0b"s, "a\0b"s},
      {R"(a\u0000b)", "a\0b"s},
      {R"(a\u0000)", "a"},
      {R"(\u0000\u0000)", ""},
      {"a\0\0"s, "a"},
      // bytes that a string may not hold pass
      {"\"\n\x01\xC3\xFF", "\"\n\x01\xC3\xFF"},
  };
  for (const DecodeCase& c : cases) {
    StringBuffer out;
    EXPECT_TRUE(decode(c.src, out));
    EXPECT_TRUE(holds(out, c.decoded, 0, 202)) << testing::PrintToString(c.src);
    EXPECT_TRUE(decodesAsTold(c.src));
    EXPECT_TRUE(decodesAsTold(c.src, "earlier"));
    EXPECT_TRUE(decodesAsTold(c.src, "earlier\0"s));
  }
}

TEST(JsonDecode, NoBytesChangeNothing) {
  StringBuffer out;
  appendRaw(out, "a\0"s);
  EXPECT_TRUE(StringBuffer::jsonDecode("x", 0, out));
  EXPECT_TRUE(StringBuffer::jsonDecode(nullptr, 0, out));
  EXPECT_TRUE(StringBuffer::jsonDecode(nullptr, 5, out));
  EXPECT_TRUE(StringBuffer::jsonDecode("\\q", 2, out));
  EXPECT_TRUE(holds(out, "a\0"s, 0, 202));
}

TEST(JsonDecode, EveryByteValueBehindABackslash) {
  for (int b = 0; b < 256; ++b) {
    const std::string byte(1, static_cast<char>(b));
    for (const std::string& src :
         {byte, "\\" + byte, "x\\" + byte + "y", "\\" + byte + "0041", "\\" + byte + "00411"})
      ASSERT_TRUE(decodesAsTold(src)) << b;
    for (std::size_t at = 0; at < 4; ++at) {
      std::string escape = "\\u1e4A.";
      escape[2 + at] = byte[0];
      ASSERT_TRUE(decodesAsTold(escape)) << b;
    }
  }
}

TEST(JsonDecode, EveryUnit) {
  for (unsigned int unit = 0; unit < 0x10000; ++unit) {
    char escape[8];
    std::snprintf(escape, sizeof escape, unit % 2 == 0 ? "\\u%04x" : "\\u%04X", unit);
    StringBuffer out("x");
    ASSERT_TRUE(StringBuffer::jsonDecode(escape, 6, out));
    ASSERT_EQ(bytesOf(out), unit == 0 ? "x" : "x" + reference::utf8Of(unit)) << unit;
  }
}

TEST(JsonDecode, EveryShortSourceAgreesWithTheReference) {
  for (const std::string& src : allStrings("\\un4\0"s, 6)) ASSERT_TRUE(decodesAsTold(src));
}

TEST(JsonDecode, RandomSourcesAgreeWithTheReference) {
  for (unsigned int seed = 1; seed <= 400; ++seed) {
    const std::string src = randomText(seed, seed * 11 % 1500, "\\\\u0041nrq\0\xC3"s);
    ASSERT_TRUE(decodesAsTold(src)) << "seed " << seed;
    ASSERT_TRUE(decodesAsTold(src, std::string(seed % 90, 'e') + "\0"s)) << "seed " << seed;
  }
}

// A block ends as soon as it has 200 bytes or more, and loses the NULs at its end.
TEST(JsonDecode, BlocksEndAtTwoHundredBytes) {
  const std::string nul = R"(\u0000)";
  for (std::size_t size = 195; size <= 203; ++size) {
    const std::string plain(size, 'p');
    EXPECT_TRUE(decodesAsTold(plain + nul + "z")) << size;
    EXPECT_TRUE(decodesAsTold(plain + "\0\0\0z"s)) << size;
    EXPECT_TRUE(decodesAsTold(plain + nul + nul + nul + "z")) << size;
    EXPECT_TRUE(decodesAsTold(plain + R"(\u20AC\u20AC)" + nul + "z")) << size;
    EXPECT_TRUE(decodesAsTold(plain + R"(\n\q)" + nul + R"(\q)" + nul + "z")) << size;
    EXPECT_TRUE(decodesAsTold(plain + R"(\q\u12)" + "\0"s + R"(\u)" + nul)) << size;
    EXPECT_TRUE(decodesAsTold(nul + plain + plain + nul + plain)) << size;
  }
  const std::vector<DecodeCase> cases = {
      {std::string(199, 'p') + nul + "z", std::string(199, 'p') + "z"},
      {std::string(200, 'p') + nul + "z", std::string(200, 'p') + "\0z"s},
      {std::string(198, 'p') + nul + "z", std::string(198, 'p') + "\0z"s},
      {std::string(199, 'p') + R"(\u20AC)" + nul + "z", std::string(199, 'p') + "\xE2\x82\xAC\0z"s},
      {std::string(199, 'p') + "\0z"s, std::string(199, 'p') + "z"},
      {std::string(198, 'p') + "\\n" + nul + "z", std::string(198, 'p') + "\nz"},
      {std::string(400, '\0') + "z", "z"},
  };
  for (const DecodeCase& c : cases) {
    StringBuffer out;
    EXPECT_TRUE(decode(c.src, out));
    EXPECT_TRUE(holds(out, c.decoded)) << testing::PrintToString(c.src);
  }
}

TEST(JsonDecode, WhatWasEscapedComesBack) {
  for (unsigned int seed = 1; seed <= 200; ++seed) {
    std::string text = randomText(seed, seed * 3 % 600, "ab\"\\\n\r\t\b\f\x01\x1F\x7F/");
    for (std::size_t at = 0; at < text.size(); at += 37) text.insert(at, "\xE2\x82\xAC\xC3\xA9");
    StringBuffer escaped(text.c_str());
    EXPECT_TRUE(escaped.jsonEscape());
    StringBuffer back;
    EXPECT_TRUE(StringBuffer::jsonDecode(escaped.getString(), escaped.getSize(), back));
    ASSERT_EQ(bytesOf(back), text) << "seed " << seed;
  }
}

// --- Sources inside the output, exhausted memory, secrets --------------------------------------

void expectDecodesOwnBytes(unsigned int room, const std::string& content, std::size_t from,
                           std::size_t to) {
  StringBuffer out;
  out.setExtendSize(0);
  if (room != 0) out.expectNumBytes(room);
  appendRaw(out, content);
  out.setExtendSize(202);
  ModelBuffer model = harness::modelOf(out);
  reference::jsonDecode(content.substr(from, to - from), model);
  const char* src = out.getString() + from;
  EXPECT_TRUE(StringBuffer::jsonDecode(src, static_cast<unsigned int>(to - from), out));
  EXPECT_TRUE(matches(out, model)) << room << ", " << from << " to " << to;
}

TEST(JsonDecode, TheSourceMayLieInTheOutput) {
  std::string longContent;
  while (longContent.size() < 900) longContent += R"(ab\n\u00e9\q)";
  for (const unsigned int room : {0U, 3000U}) {
    for (const std::string& content : {R"(a\tb\u20AC)"s, longContent}) {
      const std::size_t size = content.size();
      expectDecodesOwnBytes(room, content, 0, size);
      expectDecodesOwnBytes(room, content, size / 2, size);
      expectDecodesOwnBytes(room, content, size - 1, size);
      expectDecodesOwnBytes(room, content, 1, size / 2);
    }
  }
}

TEST(JsonDecode, TheSourceMayLieBehindTheContentOrInTheUnusedInlineArray) {
  const std::string src = R"(\u20AC\n)" + std::string(40, 'i');
  const std::string decoded = "\xE2\x82\xAC\n" + std::string(40, 'i');
  for (const unsigned int room : {0U, 5000U}) {
    for (const harness::Place place :
         {harness::Place::kBehindEnd, harness::Place::kInInlineArray}) {
      for (const std::string& text : {"text"s, std::string(300, 't')}) {
        const harness::PlacedTexts placed = harness::placeTexts(place, text, {src}, room);
        EXPECT_TRUE(StringBuffer::jsonDecode(placed.texts[0], sizeOf(src), *placed.buffer));
        EXPECT_TRUE(holds(*placed.buffer, text + decoded));
      }
    }
  }
}

// What was appended before the failure stays: whole blocks.
void expectKeepsWholeBlocks(StringBuffer& out, const std::string& earlier, const std::string& src,
                            bool result) {
  std::string told = earlier;
  bool anyPrefix = bytesOf(out) == told;
  for (const std::string& block : reference::jsonDecodedBlocks(src)) {
    told += block;
    if (bytesOf(out) == told) anyPrefix = true;
  }
  EXPECT_TRUE(harness::invariantsHold(out));
  EXPECT_TRUE(anyPrefix) << out.getSize();
  EXPECT_EQ(result, bytesOf(out) == told);
}

TEST(JsonDecode, ExhaustedMemoryKeepsTheBlocksBeforeIt) {
  const std::string src(1500, 's');
  const long live = harness::liveBlocks();
  {
    std::unique_ptr<StringBuffer> out;
    bool result = false;
    const long failed = harness::failEveryAllocation(
        [&] { out = std::make_unique<StringBuffer>("earlier"); },
        [&] { result = StringBuffer::jsonDecode(src.data(), sizeOf(src), *out); },
        [&] { expectKeepsWholeBlocks(*out, "earlier", src, result); });
    EXPECT_GT(failed, 0);
  }
  EXPECT_EQ(harness::liveBlocks(), live);
}

// Whole blocks fit in the room that is there; no memory can be had beside it.
TEST(JsonDecode, ExhaustedMemoryKeepsTheBlocksThatFit) {
  const std::string src(1500, 's');
  for (const unsigned int blocks : {0U, 1U, 3U}) {
    StringBuffer out;
    harness::fillHeap(out, std::string(100, 'e'), 200 * blocks + 199);
    {
      const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
      EXPECT_FALSE(StringBuffer::jsonDecode(src.data(), sizeOf(src), out));
    }
    EXPECT_TRUE(holds(out, std::string(100, 'e') + src.substr(0, std::size_t{200} * blocks)));
  }
}

TEST(JsonDecode, ExhaustedMemoryWithASourceInTheOutputCorruptsNothing) {
  const std::string content(700, 's');
  const long live = harness::liveBlocks();
  {
    std::unique_ptr<StringBuffer> out;
    bool result = false;
    harness::failEveryAllocation(
        [&] {
          out = std::make_unique<StringBuffer>();
          harness::fillHeap(*out, content, 0);
        },
        [&] { result = StringBuffer::jsonDecode(out->getString(), out->getSize(), *out); },
        [&] { expectKeepsWholeBlocks(*out, content, content, result); });
  }
  EXPECT_EQ(harness::liveBlocks(), live);
}

TEST(JsonDecode, ASecureOutputWipesWhatItReleases) {
  for (const std::size_t size : {50U, 300U, 3000U}) {
    StringBuffer out;
    out.setSecureBuf(true);
    appendRaw(out, std::string(size, 's'));
    EXPECT_EQ(harness::dirtyReleases(
                  [&] { StringBuffer::jsonDecode(out.getString(), out.getSize(), out); }),
              0);
    EXPECT_TRUE(holds(out, std::string(2 * size, 's')));
    EXPECT_TRUE(harness::wipesItsBlocks(out));
  }
}

TEST(Json, NothingOfASecretStaysOnTheStack) {
  const std::string secret = harness::secretText(600);
  for (const std::size_t size : {60U, 199U, 200U, 201U, 450U, 600U}) {
    StringBuffer source(secret.substr(0, size).c_str());
    source.append("\"");
    StringBuffer out;
    for (StringBuffer* buffer : {&source, &out}) buffer->setSecureBuf(true);
    EXPECT_FALSE(harness::leavesOnStack(secret, [&] {
      out.clear();
      StringBuffer::jsonDecode(source.getString(), source.getSize(), out);
    })) << size;
    EXPECT_FALSE(harness::leavesOnStack(secret, [&] { source.jsonEscape(); })) << size;
    EXPECT_EQ(bytesOf(out).substr(0, size), secret.substr(0, size));
  }
}

// --- Allocations ---------------------------------------------------------------------------------

TEST(Json, AllocatesOnceWhateverTheSize) {
  EXPECT_TRUE(
      harness::allocates(1, 2, harness::repeating("some \"text\"\n\x01"),
                         [](StringBuffer& text) { return text.jsonEscape(), text.getSize(); }));
  for (const char* unit : {R"(some \"text\"\n)", R"(\u20AC\u00E9)", R"(\u0041)"})
    EXPECT_TRUE(harness::allocates(1, 2, harness::repeating(unit), [](const StringBuffer& text) {
      StringBuffer out;
      StringBuffer::jsonDecode(text.getString(), text.getSize(), out);
      return out.getSize();
    }));
}

// Memory that was held for the result is given back when the result is short.
TEST(JsonDecode, AShortResultHoldsNoMemory) {
  std::string src = "x";
  while (src.size() < 1000) src += R"(\q)";
  StringBuffer out;
  const long live = harness::liveBlocks();
  EXPECT_TRUE(StringBuffer::jsonDecode(src.data(), sizeOf(src), out));
  EXPECT_EQ(harness::liveBlocks(), live);
  EXPECT_TRUE(holds(out, "x", 0, 202));
}

// --- Hostile sizes -----------------------------------------------------------------------------

TEST(Json, LargeTextsTakeLinearTime) {
  const double seconds = secondsOf([] {
    StringBuffer controls(std::string(kMiB, '\x01').c_str());
    EXPECT_TRUE(controls.jsonEscape());
    EXPECT_EQ(controls.getSize(), 6 * kMiB);
    StringBuffer back;
    EXPECT_TRUE(StringBuffer::jsonDecode(controls.getString(), controls.getSize(), back));
    EXPECT_EQ(bytesOf(back), std::string(kMiB, '\x01'));
    StringBuffer leads((std::string(kMiB, '\xFD') + "\"").c_str());
    EXPECT_TRUE(leads.jsonEscape());
    const std::string dropped(kMiB, '\\');
    StringBuffer out;
    EXPECT_TRUE(StringBuffer::jsonDecode(dropped.data(), sizeOf(dropped), out));
    EXPECT_EQ(out.getSize(), kMiB / 2);
    const std::string nuls(kMiB, '\0');
    EXPECT_TRUE(StringBuffer::jsonDecode(nuls.data(), sizeOf(nuls), out));
    EXPECT_EQ(out.getSize(), kMiB / 2);
  });
  EXPECT_LT(seconds, 8.0);
}

}  // namespace
