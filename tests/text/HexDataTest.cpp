#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/Allocations.h"
#include "harness/BufferState.h"
#include "harness/HexDataReference.h"
#include "harness/ModelBuffer.h"
#include "harness/OwnStack.h"
#include "harness/ReleasedBlocks.h"
#include "harness/Stopwatch.h"
#include "support/DataBuffer.h"
#include "support/LogBase.h"

using harness::appendRaw;
using harness::bytesOf;
using harness::fillHeap;
using harness::holds;
using harness::invariantsHold;
using harness::matches;
using harness::ModelBuffer;
using harness::modelOf;
namespace reference = harness::reference;

namespace {

using namespace std::string_literals;
using Bytes = const unsigned char*;

Bytes bytesAt(const char* data) { return reinterpret_cast<Bytes>(data); }

unsigned int sizeOf(std::string_view text) { return static_cast<unsigned int>(text.size()); }

const std::string& allBytes() {
  static const std::string bytes = [] {
    std::string all;
    for (int code = 0; code < 256; ++code)
      all += static_cast<char>(static_cast<unsigned char>(code));
    return all;
  }();
  return bytes;
}

std::string letters(std::size_t n) {
  std::string text;
  for (std::size_t i = 0; i < n; ++i) text += static_cast<char>('A' + i % 50);
  return text;
}

// The base64 text of some bytes, three at a time.
std::string base64Of(std::string_view data) {
  const char* const symbols = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t i = 0; i < data.size(); i += 3) {
    unsigned int group = 0;
    for (std::size_t k = i; k < i + 3; ++k)
      group = group * 256 + (k < data.size() ? static_cast<unsigned char>(data[k]) : 0U);
    for (std::size_t k = 0; k < 4; ++k)
      text += i + k > data.size() ? '=' : symbols[(group >> (18 - 6 * k)) & 63U];
  }
  return text;
}

// One member that renders bytes, beside the pieces that it appends one after the other.
struct Renderer {
  std::string name;
  std::function<bool(StringBuffer&, Bytes, unsigned int)> run;
  std::function<std::vector<std::string>(std::string_view)> batches;
};

const Renderer& dump() {
  static const Renderer renderer = {
      "appendHexData",
      [](StringBuffer& b, Bytes d, unsigned int n) { return b.appendHexData(d, n); },
      [](std::string_view d) { return reference::batches(reference::dumpPieces(d), 128); }};
  return renderer;
}

const Renderer& plain() {
  static const Renderer renderer = {
      "appendHexDataNoWS",
      [](StringBuffer& b, Bytes d, unsigned int n) { return b.appendHexDataNoWS(d, n, false); },
      [](std::string_view d) { return reference::batches(reference::hexPieces(d, "", ""), 255); }};
  return renderer;
}

const Renderer& spaced() {
  static const Renderer renderer = {
      "appendHexDataNoWS, spaced",
      [](StringBuffer& b, Bytes d, unsigned int n) { return b.appendHexDataNoWS(d, n, true); },
      [](std::string_view d) { return reference::batches(reference::hexPieces(d, " ", ""), 255); }};
  return renderer;
}

const Renderer& smallData() {
  static const Renderer renderer = {
      "appendSmallDataAsSpacedHexString",
      [](StringBuffer& b, Bytes d, unsigned int n) {
        b.appendSmallDataAsSpacedHexString(d, n);
        return true;
      },
      [](std::string_view d) { return reference::batches(reference::hexPieces(d, "", " "), 255); }};
  return renderer;
}

const Renderer& base64() {
  static const Renderer renderer = {
      "appendBase64", [](StringBuffer& b, Bytes d, unsigned int n) { return b.appendBase64(d, n); },
      [](std::string_view d) { return std::vector<std::string>{base64Of(d)}; }};
  return renderer;
}

std::vector<Renderer> renderers() { return {dump(), plain(), spaced(), smallData(), base64()}; }

// Appends to the buffer; compares result and whole state, growth steps included.
testing::AssertionResult agrees(const Renderer& renderer, StringBuffer& buffer, const char* data,
                                unsigned int count) {
  ModelBuffer model = modelOf(buffer);
  for (const std::string& batch : renderer.batches(std::string_view(data, count)))
    model.appendN(batch);
  const bool result = renderer.run(buffer, bytesAt(data), count);
  const testing::AssertionResult same = matches(buffer, model);
  if (result && same) return testing::AssertionSuccess();
  return testing::AssertionFailure()
         << renderer.name << " of " << count << " bytes gives " << result << "; " << same.message();
}

testing::AssertionResult agrees(const Renderer& renderer, StringBuffer& buffer,
                                std::string_view data) {
  return agrees(renderer, buffer, data.data(), sizeOf(data));
}

std::string rendered(const Renderer& renderer, std::string_view data) {
  StringBuffer buffer;
  EXPECT_TRUE(agrees(renderer, buffer, data)) << renderer.name;
  return bytesOf(buffer);
}

// ---------------------------------------------------------------------------------------------
// Layouts

TEST(HexDump, FullLinesAreEightGroupsAndALineFeed) {
  EXPECT_EQ(rendered(dump(), allBytes().substr(0, 16)),
            "0001 0203 0405 0607 0809 0A0B 0C0D 0E0F\n");
  EXPECT_EQ(rendered(dump(), allBytes().substr(0, 32)),
            "0001 0203 0405 0607 0809 0A0B 0C0D 0E0F\n"
            "1011 1213 1415 1617 1819 1A1B 1C1D 1E1F\n");
}

TEST(HexDump, AnUnfinishedLineEndsWithASpaceWhenEvenAndBareWhenOdd) {
  EXPECT_EQ(rendered(dump(), "\x01"), "01");
  EXPECT_EQ(rendered(dump(), "\x01\x02"), "0102 ");
  EXPECT_EQ(rendered(dump(), "\x01\x02\x03"), "0102 03");
  EXPECT_EQ(rendered(dump(), "\x01\x02\x03\x04"), "0102 0304 ");
  EXPECT_EQ(rendered(dump(), std::string(15, '\xFF')), "FFFF FFFF FFFF FFFF FFFF FFFF FFFF FF");
}

TEST(HexDump, TheSeventeenthByteStandsAloneOnTheSecondLine) {
  EXPECT_EQ(rendered(dump(), std::string(17, '\xA5')),
            "A5A5 A5A5 A5A5 A5A5 A5A5 A5A5 A5A5 A5A5\nA5");
}

// Every call begins a line of its own, whatever the buffer holds.
TEST(HexDump, TheColumnStartsAnewWithEachCall) {
  StringBuffer buffer("x");
  EXPECT_TRUE(agrees(dump(), buffer, "\x01\x02\x03"));
  EXPECT_TRUE(agrees(dump(), buffer, std::string(16, '\0')));
  EXPECT_TRUE(holds(buffer, "x0102 030000 0000 0000 0000 0000 0000 0000 0000\n"));
}

TEST(HexPlain, DigitsRunOn) {
  EXPECT_EQ(rendered(plain(), "\xAB\x01"), "AB01");
  EXPECT_EQ(rendered(plain(), "\0\x0A\xF0"s), "000AF0");
}

TEST(HexPlain, SpacedPutsASpaceBeforeEachByteAlsoTheFirst) {
  EXPECT_EQ(rendered(spaced(), "\xAB\x01"), " AB 01");
}

TEST(HexSmall, EachByteIsFollowedByASpace) {
  EXPECT_EQ(rendered(smallData(), "\x0A"), "0A ");
  EXPECT_EQ(rendered(smallData(), "\xFF\0"s), "FF 00 ");
}

TEST(Base64, StandardAlphabetAndPaddingWithoutLineBreaks) {
  EXPECT_EQ(rendered(base64(), "f"), "Zg==");
  EXPECT_EQ(rendered(base64(), "fo"), "Zm8=");
  EXPECT_EQ(rendered(base64(), "foobar"), "Zm9vYmFy");
  EXPECT_EQ(rendered(base64(), "\xFB\xEF\xFF"), "++//");
  const std::string text = rendered(base64(), std::string(1000, 'x'));
  EXPECT_EQ(text.size(), 1336U);
  EXPECT_EQ(text.find_first_of("\r\n"), std::string::npos);
}

// More than 4 GiB of text: refused before the data is looked at.
TEST(Base64, MoreThanABufferHoldsAppendsNothing) {
  for (const unsigned int count : {0xC0000000U, 0xFFFFFFFFU}) {
    StringBuffer buffer("abc");
    EXPECT_FALSE(buffer.appendBase64(bytesAt("x"), count));
    EXPECT_TRUE(holds(buffer, "abc", 0, 202));
  }
}

TEST(HexData, NullAndEmptyAppendNothingWithTrue) {
  for (const Renderer& renderer : renderers()) {
    for (const std::string& content : {""s, "abc\0"s, std::string(300, 'x')}) {
      StringBuffer buffer;
      appendRaw(buffer, content);
      const ModelBuffer before = modelOf(buffer);
      EXPECT_TRUE(renderer.run(buffer, nullptr, 0)) << renderer.name;
      EXPECT_TRUE(renderer.run(buffer, nullptr, 7)) << renderer.name;
      EXPECT_TRUE(renderer.run(buffer, bytesAt("abc"), 0)) << renderer.name;
      EXPECT_TRUE(matches(buffer, before)) << renderer.name;
    }
  }
}

TEST(HexData, EveryByteValueHasTwoUpperCaseDigits) {
  EXPECT_EQ(rendered(plain(), allBytes()),
            reference::joined(reference::hexPieces(allBytes(), "", "")));
  for (const char c : allBytes()) {
    const std::string digits = reference::hexDigits(c);
    EXPECT_EQ(rendered(dump(), std::string(1, c)), digits);
    EXPECT_EQ(rendered(spaced(), std::string(1, c)), " " + digits);
    EXPECT_EQ(rendered(smallData(), std::string(1, c)), digits + " ");
  }
}

// ---------------------------------------------------------------------------------------------
// Growth

// Whole batches are appended one after the other, and each makes room for itself.
TEST(HexData, EveryCountGrowsBatchByBatch) {
  const std::string data = harness::randomText(1, 400, allBytes());
  for (const Renderer& renderer : renderers()) {
    for (std::size_t n = 0; n <= data.size(); ++n) {
      StringBuffer buffer;
      EXPECT_TRUE(agrees(renderer, buffer, std::string_view(data).substr(0, n)));
    }
  }
}

TEST(HexData, EveryStartLengthAndRoom) {
  const std::string data = harness::randomText(2, 200, allBytes());
  for (const Renderer& renderer : renderers()) {
    for (const std::size_t start : {1U, 2U, 75U, 76U, 77U, 78U, 79U, 80U, 81U, 82U, 284U}) {
      for (const std::size_t n : {1U, 2U, 3U, 25U, 51U, 52U, 85U, 86U, 127U, 128U, 200U}) {
        for (const unsigned int room : {0U, 1U, 2U, 3U, 126U, 127U, 128U, 254U, 255U, 256U}) {
          StringBuffer buffer;
          fillHeap(buffer, std::string(start, 'x'), room);
          buffer.setExtendSize(room);
          EXPECT_TRUE(agrees(renderer, buffer, std::string_view(data).substr(0, n)));
        }
      }
    }
  }
}

TEST(HexData, NulsBeforeTheRenderingStay) {
  for (const Renderer& renderer : renderers()) {
    StringBuffer buffer;
    appendRaw(buffer, "a\0b\0\0"s);
    EXPECT_TRUE(agrees(renderer, buffer, "xyz"));
  }
}

TEST(HexData, AllocatesOnceWhateverTheSize) {
  for (const Renderer& renderer : renderers()) {
    EXPECT_TRUE(harness::allocates(1, 2, letters, [&](const StringBuffer& text) {
      StringBuffer out;
      renderer.run(out, bytesAt(text.getString()), text.getSize());
      return out.getSize();
    })) << renderer.name;
  }
}

// The content is not copied for each of many renderings.
TEST(HexData, ManyRenderingsAllocateSeldom) {
  const std::string data = letters(1 << 18);
  for (const Renderer& renderer : {dump(), plain(), spaced(), smallData()}) {
    StringBuffer out;
    const harness::AllocationCount before = harness::allocationsMade();
    for (int i = 0; i < 64; ++i) renderer.run(out, bytesAt(data.data()), sizeOf(data));
    const harness::AllocationCount after = harness::allocationsMade();
    EXPECT_LE(after.blocks - before.blocks, 8) << renderer.name;
    EXPECT_LE(after.bytes - before.bytes, 5LL * out.getSize()) << renderer.name;
  }
}

// ---------------------------------------------------------------------------------------------
// The data may lie in the buffer

// A buffer and places in its storage of at least `kPlaceSize` bytes.
struct Scene {
  static constexpr unsigned int kPlaceSize = 40;
  StringBuffer buffer;
  std::vector<const char*> places;
};

// Places at the start, in the middle, at the NUL and behind it; `full` leaves no room.
std::unique_ptr<Scene> makeScene(bool onHeap, unsigned int cut) {
  auto scene = std::make_unique<Scene>();
  const unsigned int size = onHeap ? 300 : 81;
  fillHeap(scene->buffer, letters(size), 0);
  for (const unsigned int at : {0U, 7U, cut - 1, cut, cut + 1})
    if (at + Scene::kPlaceSize <= size) scene->places.push_back(scene->buffer.pCharAt(at));
  scene->buffer.chopAt(cut);
  return scene;
}

std::unique_ptr<Scene> makeSceneWithStaleInlineArray() {
  auto scene = std::make_unique<Scene>();
  fillHeap(scene->buffer, letters(81), 0);
  for (const unsigned int at : {0U, 20U, 41U}) scene->places.push_back(scene->buffer.pCharAt(at));
  scene->buffer.appendCharN('x', 300);
  return scene;
}

TEST(HexData, TheDataMayLieInTheBuffer) {
  const std::vector<std::function<std::unique_ptr<Scene>()>> makers = {
      [] { return makeScene(false, 81); }, [] { return makeScene(false, 10); },
      [] { return makeScene(false, 40); }, [] { return makeScene(true, 300); },
      [] { return makeScene(true, 259); }, [] { return makeScene(true, 100); },
      [] { return makeScene(true, 1); },   makeSceneWithStaleInlineArray,
  };
  for (const Renderer& renderer : renderers()) {
    for (std::size_t i = 0; i < makers.size(); ++i) {
      const std::size_t places = makers[i]()->places.size();
      for (std::size_t place = 0; place < places; ++place) {
        for (const unsigned int count : {1U, 2U, 13U, Scene::kPlaceSize}) {
          const auto scene = makers[i]();
          const std::string data(scene->places[place], count);
          ModelBuffer model = modelOf(scene->buffer);
          for (const std::string& batch : renderer.batches(data)) model.appendN(batch);
          EXPECT_TRUE(renderer.run(scene->buffer, bytesAt(scene->places[place]), count));
          EXPECT_TRUE(matches(scene->buffer, model))
              << renderer.name << " of " << count << " bytes, scene " << i << ", place " << place;
        }
      }
    }
  }
}

// More than one growth while the data still lies in the first block.
TEST(HexData, TheWholeContentCanBeRendered) {
  for (const Renderer& renderer : renderers()) {
    for (const std::size_t n : {1U, 30U, 81U, 82U, 300U, 2000U}) {
      StringBuffer buffer;
      fillHeap(buffer, letters(n), 0);
      const std::string expected = letters(n) + reference::joined(renderer.batches(letters(n)));
      EXPECT_TRUE(renderer.run(buffer, bytesAt(buffer.getString()), buffer.getSize()));
      EXPECT_TRUE(holds(buffer, expected)) << renderer.name << " " << n;
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Back to bytes

std::string contentOf(const DataBuffer& data) {
  if (data.getSize() == 0) return "";
  return {reinterpret_cast<const char*>(data.getData2()), data.getSize()};
}

// Both readers append the expected bytes; the buffer that is read does not change.
testing::AssertionResult reads(std::string_view hex, const std::string& expected) {
  DataBuffer out;
  out.append("<", 1);
  const bool fromText = StringBuffer::hexStringToBinary2(hex.data(), sizeOf(hex), out);
  StringBuffer buffer;
  appendRaw(buffer, hex);
  const ModelBuffer before = modelOf(buffer);
  DataBuffer outOfBuffer;
  outOfBuffer.append("<", 1);
  const bool fromBuffer = static_cast<const StringBuffer&>(buffer).hexStringToBinary(outOfBuffer);
  const testing::AssertionResult same = matches(buffer, before);
  if (fromText && fromBuffer && same && contentOf(out) == "<" + expected &&
      contentOf(outOfBuffer) == "<" + expected)
    return testing::AssertionSuccess();
  return testing::AssertionFailure()
         << testing::PrintToString(std::string(hex.substr(0, 200))) << " gives " << fromText << " "
         << testing::PrintToString(contentOf(out).substr(0, 200)) << ", " << fromBuffer << " "
         << testing::PrintToString(contentOf(outOfBuffer).substr(0, 200)) << "; " << same.message();
}

TEST(HexToBinary, DigitsOfBothCases) {
  EXPECT_TRUE(reads("0A1b", "\x0A\x1B"));
  EXPECT_TRUE(reads("abcdefABCDEF0123456789", "\xAB\xCD\xEF\xAB\xCD\xEF\x01\x23\x45\x67\x89"));
}

TEST(HexToBinary, AnOddFirstCharacterFormsAByteOfItsOwn) {
  EXPECT_TRUE(reads("abc", "\x0A\xBC"));
  EXPECT_TRUE(reads("0FF", "\0\xFF"s));
}

TEST(HexToBinary, ACountOf1AppendsNothing) {
  EXPECT_TRUE(reads("a", ""));
  EXPECT_TRUE(reads("7", ""));
}

// A block of one byte: a sanitizer sees a read behind it.
TEST(HexToBinary, ACountOf1ReadsNoSecondCharacter) {
  const std::unique_ptr<char[]> one(new char[1]);
  one[0] = 'a';
  DataBuffer out;
  EXPECT_TRUE(StringBuffer::hexStringToBinary2(one.get(), 1, out));
  EXPECT_EQ(out.getSize(), 0U);
}

TEST(HexToBinary, OnlyTheCountedCharactersAreRead) {
  for (const unsigned int n : {2U, 3U, 4U, 999U, 1000U, 1001U}) {
    const std::unique_ptr<char[]> block(new char[n]);
    for (unsigned int i = 0; i < n; ++i) block[i] = '1';
    DataBuffer out;
    EXPECT_TRUE(StringBuffer::hexStringToBinary2(block.get(), n, out));
    EXPECT_EQ(contentOf(out), reference::unhex(std::string(n, '1')));
  }
  DataBuffer out;
  EXPECT_TRUE(StringBuffer::hexStringToBinary2("0A1B", 2, out));
  EXPECT_EQ(contentOf(out), "\x0A");
}

TEST(HexToBinary, NullEmptyAndALeadingNulAppendNothingWithTrue) {
  DataBuffer out;
  EXPECT_TRUE(StringBuffer::hexStringToBinary2(nullptr, 4, out));
  EXPECT_TRUE(StringBuffer::hexStringToBinary2(nullptr, 0, out));
  EXPECT_TRUE(StringBuffer::hexStringToBinary2("0A", 0, out));
  EXPECT_EQ(out.getSize(), 0U);
  EXPECT_TRUE(reads("", ""));
  EXPECT_TRUE(reads("\0\x41\x42\x43"s, ""));
  EXPECT_TRUE(reads("\0\x41\x42"s, ""));
}

TEST(HexToBinary, ANulInTheSecondPlaceEndsOnlyOddCounts) {
  EXPECT_TRUE(reads("a\0b"s, ""));
  EXPECT_TRUE(reads("a\0bcd"s, ""));
  // 10 * 16 + (0 - 48), modulo 256.
  EXPECT_TRUE(reads("a\0"s, "\x70"));
  EXPECT_TRUE(reads("a\0bc"s, "\x70\xBC"));
}

TEST(HexToBinary, LaterNulsAreDecodedLikeAnyCharacter) {
  EXPECT_TRUE(reads("ab\0c"s, "\xAB\x0C"));
  EXPECT_TRUE(reads("1ab\0\0"s, "\x01\xAB\xD0"));
}

// A high byte is a negative signed char, hence below ':', on every platform.
TEST(HexToBinary, EveryCharacterTakesPartAsItIs) {
  EXPECT_TRUE(reads("0z", "\x43"));
  EXPECT_TRUE(reads("z0", "\x30"));
  EXPECT_TRUE(reads("0\x80", "\x50"));
  EXPECT_TRUE(reads("0G", "\x10"));
  EXPECT_TRUE(reads("0:", "\x03"));
  EXPECT_TRUE(reads("0g", "\x30"));
  EXPECT_TRUE(reads("0/", "\xFF"));
  for (const char first : allBytes()) {
    for (const char second : allBytes()) {
      const std::string pair = {first, second};
      ASSERT_TRUE(reads(pair, reference::unhex(pair)));
    }
    const std::string odd = {first, '1', '2'};
    EXPECT_TRUE(reads(odd, reference::unhex(odd)));
  }
}

TEST(HexToBinary, EveryLengthAroundTheBatches) {
  const std::string text = harness::randomText(3, 4100, "0123456789abcdefABCDEF");
  for (std::size_t n = 0; n <= text.size(); n += n % 500 > 490 || n % 500 < 10 ? 1 : 37)
    EXPECT_TRUE(reads(text.substr(0, n), reference::unhex(text.substr(0, n))));
}

TEST(HexToBinary, RandomBytesAgreeWithTheReference) {
  for (unsigned long long seed = 1; seed <= 200; ++seed) {
    const std::string text = harness::randomText(seed, seed * 11, allBytes());
    EXPECT_TRUE(reads(text, reference::unhex(text)));
  }
}

TEST(HexToBinary, RenderedBytesComeBack) {
  const std::string data = harness::randomText(4, 3000, allBytes());
  EXPECT_TRUE(reads(rendered(plain(), data), data));
}

TEST(HexCanonical, AZeroIsPutBeforeContentOfOddLength) {
  const std::vector<std::string> contents = {
      "",      "ABC", "ABCD",      "a",         "\0"s,       "a\0b"s,     "a\0"s,
      "ab\0"s, "xyz", letters(80), letters(81), letters(82), letters(283)};
  for (const std::string& content : contents) {
    for (const unsigned int room : {0U, 1U, 202U}) {
      StringBuffer buffer;
      buffer.setExtendSize(room);
      appendRaw(buffer, content);
      ModelBuffer model = modelOf(buffer);
      if (content.size() % 2 == 1) model.prepend("0");
      buffer.canonicalizeHexString();
      EXPECT_TRUE(matches(buffer, model)) << testing::PrintToString(content);
    }
  }
  StringBuffer odd("ABC");
  odd.canonicalizeHexString();
  EXPECT_TRUE(holds(odd, "0ABC", 0, 202));
}

// ---------------------------------------------------------------------------------------------
// Named encodings

// Keeps the order of what is logged.
class OrderedLog : public LogBase {
 public:
  void LogError(const char* text) override { entries.push_back("error: "s + text); }
  void LogData(const char* name, const char* value) override {
    entries.push_back(name + " = "s + value);
  }
  std::vector<std::string> entries;
};

TEST(HexDecode, AnUnknownNameIsLoggedWithFalse) {
  StringBuffer buffer("0A1B");
  DataBuffer out;
  out.append("<", 1);
  OrderedLog log;
  EXPECT_FALSE(static_cast<const StringBuffer&>(buffer).decode("no-such-encoding", out, log));
  EXPECT_EQ(log.entries, (std::vector<std::string>{"error: Unrecognized binary encoding",
                                                   "binaryEncodingName = no-such-encoding"}));
  EXPECT_EQ(contentOf(out), "<");
  EXPECT_TRUE(holds(buffer, "0A1B", 0, 202));
}

TEST(HexDecode, NullAndEmptyNamesAreUnknown) {
  for (const char* const name : {static_cast<const char*>(nullptr), ""}) {
    StringBuffer buffer("0A1B");
    DataBuffer out;
    LogBase log;
    EXPECT_FALSE(buffer.decode(name, out, log));
    EXPECT_EQ(log.errorCount(), 1U);
    EXPECT_STREQ(log.errorAt(0), "Unrecognized binary encoding");
    EXPECT_STREQ(log.valueOf("binaryEncodingName"), "");
    EXPECT_EQ(out.getSize(), 0U);
  }
}

TEST(HexDecode, DecodedBytesAreAppended) {
  struct {
    const char* name;
    const char* text;
    std::string decoded;
  } const cases[] = {{"hex", "0A1b", "\x0A\x1B"}, {"base64", "Zm9vYg==", "foob"},
                     {"BASE64", "Zm9v", "foo"},   {"quoted-printable", "a=3Db", "a=b"},
                     {"url", "a%20b", "a b"},     {"hex", "", ""}};
  for (const auto& c : cases) {
    StringBuffer buffer(c.text);
    DataBuffer out;
    out.append("<", 1);
    OrderedLog log;
    EXPECT_TRUE(buffer.decode(c.name, out, log)) << c.name;
    EXPECT_EQ(contentOf(out), "<" + c.decoded) << c.name;
    EXPECT_TRUE(log.entries.empty()) << c.name;
    EXPECT_TRUE(holds(buffer, c.text, 0, 202)) << c.name;
  }
}

TEST(HexDecode, TheNameMayLieInTheBuffer) {
  StringBuffer buffer("url");
  DataBuffer out;
  OrderedLog log;
  EXPECT_TRUE(buffer.decode(buffer.getString(), out, log));
  EXPECT_EQ(contentOf(out), "url");
  StringBuffer unknown("x-base64");
  EXPECT_FALSE(unknown.decode(unknown.getString(), out, log));
  ASSERT_EQ(log.entries.size(), 2U);
  EXPECT_EQ(log.entries[1], "binaryEncodingName = x-base64");
}

// ---------------------------------------------------------------------------------------------
// Failing allocations

bool beginsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

// Renders with each allocation failing; `accept` judges the result and what was appended.
void failEach(const Renderer& renderer, const std::string& content, const std::string& data,
              const std::function<bool(bool, const std::string&)>& accept) {
  std::unique_ptr<StringBuffer> buffer;
  bool result = false;
  const long before = harness::liveBlocks();
  const long failed = harness::failEveryAllocation(
      [&] {
        buffer = std::make_unique<StringBuffer>();
        fillHeap(*buffer, content, 0);
      },
      [&] { result = renderer.run(*buffer, bytesAt(data.data()), sizeOf(data)); },
      [&] {
        const std::string after = bytesOf(*buffer);
        EXPECT_TRUE(invariantsHold(*buffer)) << renderer.name;
        ASSERT_TRUE(beginsWith(after, content)) << renderer.name;
        EXPECT_TRUE(accept(result, after.substr(content.size())))
            << renderer.name << " gave " << result << " and " << after.size() << " bytes";
      });
  buffer.reset();
  EXPECT_EQ(harness::liveBlocks(), before) << renderer.name;
  EXPECT_GT(failed, 0) << renderer.name;
}

// Whether `text` is the batches in order, some of which may be missing; counts those.
bool isMadeOf(std::string_view text, const std::vector<std::string>& batches, int* missing) {
  *missing = 0;
  for (const std::string& batch : batches) {
    if (beginsWith(text, batch)) {
      text.remove_prefix(batch.size());
    } else {
      ++*missing;
    }
  }
  return text.empty();
}

std::vector<std::string> startContents() { return {"", letters(80), letters(150)}; }

// Numbered bytes, so that no two batches are alike.
std::string numbered(std::size_t n) {
  std::string data;
  for (std::size_t i = 0; i < n; ++i) data += static_cast<char>(i % 2 == 0 ? i / 512 : i / 2 % 256);
  return data;
}

TEST(HexFailure, TheDumpEndsAtTheFirstFailedGrowth) {
  const std::string data = numbered(1500);
  const std::string whole = reference::joined(dump().batches(data));
  for (const std::string& content : startContents())
    failEach(dump(), content, data, [&](bool result, const std::string& added) {
      return result ? added == whole : added != whole && beginsWith(whole, added);
    });
}

TEST(HexFailure, TrueMeansThatTheRenderingIsComplete) {
  const std::string data = numbered(1500);
  for (const Renderer& renderer : {plain(), spaced()}) {
    const std::string whole = reference::joined(renderer.batches(data));
    for (const std::string& content : startContents())
      failEach(renderer, content, data, [&](bool result, const std::string& added) {
        int missing = 0;
        return result == (added == whole) && isMadeOf(added, renderer.batches(data), &missing);
      });
  }
}

TEST(HexFailure, SmallDataLeavesOutTheBatchAndGoesOn) {
  const std::string data = numbered(1500);
  const std::vector<std::string> batches = smallData().batches(data);
  for (const std::string& content : startContents()) {
    failEach(smallData(), content, data, [&](bool, const std::string& added) {
      int missing = 0;
      return isMadeOf(added, batches, &missing);
    });
    for (long k = 1; k <= 6; ++k) {
      StringBuffer buffer;
      fillHeap(buffer, content, 0);
      {
        harness::FailAllocation once(k);
        buffer.appendSmallDataAsSpacedHexString(bytesAt(data.data()), sizeOf(data));
      }
      int missing = 0;
      EXPECT_TRUE(isMadeOf(bytesOf(buffer).substr(content.size()), batches, &missing)) << k;
      EXPECT_LE(missing, 1) << k;
    }
  }
}

// Whole batches fit in the room that is there; no memory can be had beside it.
TEST(HexFailure, TheBatchesThatFitAreKept) {
  const std::string data = numbered(1500);
  for (const Renderer& renderer : {dump(), plain(), spaced(), smallData()}) {
    const std::vector<std::string> batches = renderer.batches(data);
    for (const unsigned int room : {0U, 126U, 127U, 128U, 254U, 255U, 600U}) {
      StringBuffer buffer;
      fillHeap(buffer, letters(150), room);
      std::string expected = letters(150);
      for (const std::string& batch : batches) {
        const bool fits = expected.size() + batch.size() <= 150 + room;
        if (fits) expected += batch;
        if (!fits && renderer.name != smallData().name) break;
      }
      {
        const harness::FailAllocation all(1, harness::FailAllocation::kFromThenOn);
        renderer.run(buffer, bytesAt(data.data()), sizeOf(data));
      }
      EXPECT_TRUE(holds(buffer, expected, 151 + room, 202)) << renderer.name << " " << room;
    }
  }
}

// 85 bytes fill the first batch; the 86th still fits inline when that one cannot be had.
TEST(HexFailure, ABatchThatFitsIsKeptBehindOneThatDoesNot) {
  const std::string data = std::string(85, 'A') + "U";
  StringBuffer buffer("x");
  {
    harness::FailAllocation all(1, harness::FailAllocation::kFromThenOn);
    buffer.appendSmallDataAsSpacedHexString(bytesAt(data.data()), 86);
  }
  EXPECT_TRUE(holds(buffer, "x55 ", 0, 202));
}

TEST(HexFailure, TheDumpThatCannotGrowAtAllIsFalse) {
  const std::string data(60, 'A');
  StringBuffer buffer("x");
  {
    harness::FailAllocation all(1, harness::FailAllocation::kFromThenOn);
    EXPECT_FALSE(buffer.appendHexData(bytesAt(data.data()), 60));
  }
  EXPECT_TRUE(holds(buffer, "x", 0, 202));
}

TEST(HexFailure, Base64AppendsAllOrNothing) {
  const std::string data = numbered(1500);
  for (const std::string& content : startContents())
    failEach(base64(), content, data, [&](bool result, const std::string& added) {
      return added == (result ? base64Of(data) : "");
    });
}

TEST(HexFailure, DataInTheBufferMayFailToo) {
  for (const Renderer& renderer : renderers()) {
    std::unique_ptr<StringBuffer> buffer;
    const long before = harness::liveBlocks();
    harness::failEveryAllocation(
        [&] {
          buffer = std::make_unique<StringBuffer>();
          fillHeap(*buffer, letters(500), 0);
        },
        [&] { renderer.run(*buffer, bytesAt(buffer->getString()), buffer->getSize()); },
        [&] {
          EXPECT_TRUE(invariantsHold(*buffer)) << renderer.name;
          EXPECT_TRUE(beginsWith(bytesOf(*buffer), letters(500))) << renderer.name;
        });
    buffer.reset();
    EXPECT_EQ(harness::liveBlocks(), before) << renderer.name;
  }
}

TEST(HexFailure, AnOutputThatCannotGrowIsFalse) {
  const std::string hex = rendered(plain(), numbered(3000));
  const StringBuffer buffer(hex.c_str());
  const std::vector<std::function<bool(DataBuffer&)>> readers = {
      [&](DataBuffer& out) {
        return StringBuffer::hexStringToBinary2(hex.data(), sizeOf(hex), out);
      },
      [&](DataBuffer& out) { return buffer.hexStringToBinary(out); }};
  for (const auto& read : readers) {
    std::unique_ptr<DataBuffer> out;
    bool result = false;
    const long before = harness::liveBlocks();
    const long failed = harness::failEveryAllocation(
        [&] {
          out = std::make_unique<DataBuffer>();
          out->append("<", 1);
        },
        [&] { result = read(*out); },
        [&] {
          const std::string whole = "<" + numbered(3000);
          EXPECT_EQ(result, contentOf(*out) == whole);
          EXPECT_TRUE(beginsWith(whole, contentOf(*out)));
          ASSERT_GE(out->getSize(), 1U);
          EXPECT_TRUE(result || (out->getSize() - 1) % 500 == 0) << "only whole batches";
        });
    out.reset();
    EXPECT_EQ(harness::liveBlocks(), before);
    EXPECT_GT(failed, 0);
  }
}

TEST(HexFailure, CanonicalizingIsDoneWhollyOrNotAtAll) {
  StringBuffer buffer;
  fillHeap(buffer, letters(101), 0);
  {
    harness::FailAllocation all(1, harness::FailAllocation::kFromThenOn);
    buffer.canonicalizeHexString();
  }
  EXPECT_TRUE(holds(buffer, letters(101), 102, 202));
}

TEST(HexFailure, DecodingMayFailAnywhere) {
  for (const char* const name : {"hex", "base64", "quoted-printable", "nonsense"}) {
    const StringBuffer buffer(std::string(400, 'A').c_str());
    std::unique_ptr<DataBuffer> out;
    std::unique_ptr<LogBase> log;
    bool result = false;
    const long before = harness::liveBlocks();
    harness::failEveryAllocation(
        [&] {
          out = std::make_unique<DataBuffer>();
          log = std::make_unique<LogBase>();
        },
        [&] { result = buffer.decode(name, *out, *log); },
        [&] { EXPECT_EQ(bytesOf(buffer), std::string(400, 'A')) << result; });
    EXPECT_EQ(result, name != "nonsense"s);
    out.reset();
    log.reset();
    EXPECT_EQ(harness::liveBlocks() - before, 0) << name;
  }
}

// ---------------------------------------------------------------------------------------------
// Secure buffers

TEST(HexSecure, EveryReleasedBlockIsWiped) {
  for (const Renderer& renderer : renderers()) {
    for (const bool fromBuffer : {false, true}) {
      const std::string data = letters(700);
      StringBuffer buffer;
      buffer.setSecureBuf(true);
      fillHeap(buffer, data, 0);
      const Bytes source = bytesAt(fromBuffer ? buffer.getString() : data.data());
      const auto blocks = harness::releasedBy([&] {
        renderer.run(buffer, source, 700);
        buffer.canonicalizeHexString();
        buffer.clear();
      });
      EXPECT_TRUE(harness::allWiped(blocks)) << renderer.name << " " << fromBuffer;
      EXPECT_GE(blocks.size(), 2U) << renderer.name;
    }
  }
}

TEST(HexSecure, ReadingIntoASecureOutputLeavesNothing) {
  StringBuffer buffer;
  buffer.setSecureBuf(true);
  buffer.append(rendered(plain(), letters(3000)).c_str());
  const auto blocks = harness::releasedBy([&] {
    DataBuffer out;
    out.setSecure(true);
    buffer.hexStringToBinary(out);
  });
  EXPECT_TRUE(harness::allWiped(blocks));
  EXPECT_FALSE(blocks.empty());
}

// Short and long texts, and an output that cannot grow.
TEST(HexSecure, NothingOfASecretStaysOnTheStack) {
  const std::string secret = harness::secretText(1200);
  for (const std::size_t size : {60U, 499U, 500U, 501U, 1200U}) {
    for (const long failing : {0L, 1L, 2L}) {
      StringBuffer digits;
      digits.setSecureBuf(true);
      digits.append(rendered(plain(), secret.substr(0, size)).c_str());
      EXPECT_FALSE(harness::leavesOnStack(secret,
                                          [&] {
                                            const harness::FailAllocation fail(failing);
                                            DataBuffer out;
                                            out.setSecure(true);
                                            EXPECT_TRUE(digits.hexStringToBinary(out) ||
                                                        failing != 0);
                                          }))
          << size << ", " << failing;
    }
  }
}

TEST(HexSecure, NothingOfTheDigitsOfASecretStaysOnTheStack) {
  const std::string secret = harness::secretText(300);
  for (const Renderer& renderer : renderers()) {
    const std::string digits = rendered(renderer, secret);
    for (const bool secure : {false, true}) {
      StringBuffer buffer;
      buffer.setSecureBuf(secure);
      EXPECT_FALSE(harness::leavesOnStack(digits, [&] {
        renderer.run(buffer, bytesAt(secret.data()), sizeOf(secret));
      })) << renderer.name;
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Large data

TEST(HexHostile, EveryRendererAndTheReaderAreLinear) {
  const std::string data = harness::randomText(6, 1U << 18U, allBytes());
  for (const Renderer& renderer : renderers()) {
    StringBuffer buffer;
    EXPECT_LT(harness::secondsOf([&] { renderer.run(buffer, bytesAt(data.data()), sizeOf(data)); }),
              2.0)
        << renderer.name;
    EXPECT_TRUE(bytesOf(buffer) == reference::joined(renderer.batches(data))) << renderer.name;
  }
  StringBuffer digits;
  digits.appendHexDataNoWS(bytesAt(data.data()), sizeOf(data), false);
  DataBuffer out;
  EXPECT_LT(harness::secondsOf([&] { digits.hexStringToBinary(out); }), 8.0);
  EXPECT_TRUE(contentOf(out) == data);
}

}  // namespace
