#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/Allocations.h"
#include "harness/BufferState.h"
#include "harness/ModelBuffer.h"
#include "harness/ObfuscateReference.h"
#include "harness/ObfuscationVectors.h"
#include "harness/RawContent.h"
#include "harness/ReleasedBlocks.h"
#include "harness/Stopwatch.h"
#include "support/_dvMd5.h"
#include "support/dvPlatform.h"

namespace {

using harness::ByteOrders;
using harness::bytesOf;
using harness::fill;
using harness::fillHeap;
using harness::holds;
using harness::matches;
using harness::ModelBuffer;
using harness::modelOf;
using harness::ObfuscationVector;
using harness::stateOf;
using harness::reference::base64Of;
using harness::reference::obfuscated;
using harness::reference::permutationOf;
using harness::reference::scrambled;
using harness::reference::unscrambled;
using namespace std::string_literals;

// ---- Helpers ----

std::string hexOf(std::string_view bytes) {
  std::string hex;
  for (const char c : bytes) {
    hex += "0123456789abcdef"[static_cast<unsigned char>(c) >> 4];
    hex += "0123456789abcdef"[static_cast<unsigned char>(c) & 15];
  }
  return hex;
}

std::string md5Of(std::string_view bytes) {
  unsigned char digest[16];
  _dvMd5().digestBytes(reinterpret_cast<const unsigned char*>(bytes.data()),
                       static_cast<unsigned int>(bytes.size()), digest);
  return hexOf({reinterpret_cast<const char*>(digest), sizeof digest});
}

std::string ofThisHost(const ByteOrders& results) {
  return dvIsBigEndian() ? results.big : results.little;
}

std::string textOf(const ObfuscationVector& vector) {
  std::string text(vector.length, '\0');
  unsigned int state = vector.seed;
  for (char& c : text) {
    state = harness::nextTextState(state);
    c = static_cast<char>(static_cast<unsigned char>(state >> 24));
  }
  return text;
}

std::string sorted(std::string bytes) {
  std::sort(bytes.begin(), bytes.end());
  return bytes;
}

std::string withoutNulsAtTheEnd(std::string bytes) {
  bytes.resize(bytes.find_last_not_of('\0') + 1);
  return bytes;
}

std::string everyByte() {
  std::string all(256, '\0');
  for (int i = 0; i < 256; ++i)
    all[static_cast<std::size_t>(i)] = static_cast<char>(static_cast<unsigned char>(i));
  return all;
}

// Texts of all kinds: all short ones over three bytes, and random ones at the size borders.
const std::vector<std::string>& texts() {
  static const std::vector<std::string> all = [] {
    std::vector<std::string> made = harness::allStrings("a\xFF\0"s, 5);
    const std::string bytes = everyByte();
    for (const unsigned int length :
         {6U,   14U,  15U,  16U,  17U,  31U,  32U,  33U,  47U,  48U,  49U,  59U,   60U,  61U,
          62U,  63U,  64U,  79U,  80U,  81U,  82U,  83U,  84U,  100U, 211U, 212U,  213U, 214U,
          215U, 254U, 255U, 256U, 257U, 283U, 284U, 285U, 511U, 512U, 513U, 1000U, 5000U})
      for (const unsigned int seed : {1U, 2U})
        made.push_back(harness::randomText(seed * 100000 + length, length, bytes));
    made.push_back(bytes);
    made.emplace_back(90, '\0');
    made.emplace_back(90, '\xFF');
    return made;
  }();
  return all;
}

// Ways to hold a text: in new storage, in a heap block that is full, or in one with room.
constexpr unsigned int kNewStorage = 0xFFFFFFFFU;
constexpr unsigned int kRooms[] = {kNewStorage, 0, 7, 40, 2000};

bool hold(StringBuffer& buffer, const std::string& text, unsigned int room) {
  if (room == kNewStorage) {
    fill(buffer, text);
    return true;
  }
  if (text.size() < 82 || text.back() == '\0') return false;
  fillHeap(buffer, text, room);
  return true;
}

void forEveryText(const std::function<void(StringBuffer&, const std::string&)>& body) {
  for (const std::string& text : texts()) {
    for (const unsigned int room : kRooms) {
      StringBuffer buffer;
      if (!hold(buffer, text, room)) continue;
      body(buffer, text);
      if (testing::Test::HasFailure()) return;
    }
  }
}

// ---- Known results ----

TEST(Obfuscate, ScramblesAsComputedElsewhere) {
  for (const ObfuscationVector& vector : harness::kObfuscationVectors) {
    const std::string text = textOf(vector);
    StringBuffer buffer;
    fill(buffer, text);
    const harness::BufferState before = stateOf(buffer);
    buffer.scramble();
    const std::string result = bytesOf(buffer);
    EXPECT_EQ(vector.length <= harness::kLongestVectorInFull ? hexOf(result) : md5Of(result),
              ofThisHost(vector.scrambled))
        << vector.length;
    buffer.unscramble();
    EXPECT_TRUE(stateOf(buffer) == before) << vector.length;
  }
}

TEST(Obfuscate, ObfuscatesAsComputedElsewhere) {
  for (const ObfuscationVector& vector : harness::kObfuscationVectors) {
    const std::string text = textOf(vector);
    StringBuffer buffer;
    fill(buffer, text);
    buffer.obfus();
    const std::string result = bytesOf(buffer);
    EXPECT_EQ(vector.length <= harness::kLongestVectorInFull ? result : md5Of(result),
              ofThisHost(vector.obfuscated))
        << vector.length;
    StringBuffer appended;
    EXPECT_TRUE(appended.appendObfus(result.c_str()));
    EXPECT_TRUE(holds(appended, withoutNulsAtTheEnd(text)));
    buffer.unobfus();
    EXPECT_TRUE(holds(buffer, withoutNulsAtTheEnd(text)));
  }
}

// With 32 bits for the sum, the permutation would be another one.
TEST(Obfuscate, SumsTheBytesIn64Bits) {
  std::string text(harness::kHeavyTextLength, '\xFF');
  for (std::size_t at = 0; at < text.size(); at += 1000)
    text[at] = static_cast<char>(static_cast<unsigned char>(at / 1000 % 256));
  StringBuffer buffer;
  fill(buffer, text);
  buffer.scramble();
  EXPECT_EQ(md5Of({buffer.getString(), buffer.getSize()}),
            ofThisHost(harness::kHeavyTextScrambled));
}

// ---- scramble, unscramble ----

TEST(Scramble, AgreesWithThePlainRule) {
  forEveryText([](StringBuffer& buffer, const std::string& text) {
    ModelBuffer model = modelOf(buffer);
    model.bytes = scrambled(text);
    buffer.scramble();
    EXPECT_TRUE(matches(buffer, model));
    EXPECT_EQ(sorted(bytesOf(buffer)), sorted(text));
    model.bytes = text;
    buffer.unscramble();
    EXPECT_TRUE(matches(buffer, model));
  });
}

TEST(Scramble, IsUndoneInEitherOrder) {
  forEveryText([](StringBuffer& buffer, const std::string& text) {
    ModelBuffer model = modelOf(buffer);
    model.bytes = unscrambled(text);
    buffer.unscramble();
    EXPECT_TRUE(matches(buffer, model));
    model.bytes = text;
    buffer.scramble();
    EXPECT_TRUE(matches(buffer, model));
  });
}

TEST(Scramble, LeavesFewerThanTwoBytesAlone) {
  StringBuffer empty;
  empty.scramble();
  empty.unscramble();
  EXPECT_TRUE(holds(empty, "", 0, 202));
  for (int byte = 0; byte < 256; ++byte) {
    const std::string text(1, static_cast<char>(static_cast<unsigned char>(byte)));
    StringBuffer one;
    fill(one, text);
    one.scramble();
    EXPECT_TRUE(holds(one, text, 0, 202));
    one.unscramble();
    EXPECT_TRUE(holds(one, text, 0, 202));
  }
}

TEST(Scramble, NeedsNoMemoryForFewerThanTwoBytes) {
  StringBuffer one("x");
  const harness::FailAllocation count(0);
  one.scramble();
  one.unscramble();
  EXPECT_EQ(count.seen(), 0);
}

// The permutation follows from the bytes and their number, not from their order.
TEST(Scramble, PermutesTextsOfTheSameBytesAlike) {
  const std::string forward = everyByte().substr(1);
  std::string backward(forward.rbegin(), forward.rend());
  StringBuffer first;
  StringBuffer second;
  fill(first, forward);
  fill(second, backward);
  first.scramble();
  second.scramble();
  const std::string a = bytesOf(first);
  const std::string b = bytesOf(second);
  EXPECT_NE(a, forward);
  for (std::size_t i = 0; i < forward.size(); ++i)
    EXPECT_EQ(forward.find(a[i]), backward.find(b[i])) << i;
}

TEST(Scramble, KeepsNulsWhereverTheyGo) {
  for (int nuls = 1; nuls < 20; ++nuls) {
    const std::string text = "abc" + std::string(static_cast<std::size_t>(nuls), '\0');
    StringBuffer buffer;
    fill(buffer, text);
    buffer.scramble();
    EXPECT_TRUE(holds(buffer, scrambled(text), 0, 202));
    buffer.unscramble();
    EXPECT_TRUE(holds(buffer, text, 0, 202));
  }
}

TEST(Scramble, WithoutMemoryChangesNothing) {
  for (const std::string& text : {"abcdefgh"s, harness::randomText(1, 500, "abc")}) {
    StringBuffer buffer;
    fill(buffer, text);
    const harness::BufferState before = stateOf(buffer);
    const long blocks = harness::liveBlocks();
    for (void (StringBuffer::*const method)() :
         {&StringBuffer::scramble, &StringBuffer::unscramble}) {
      {
        const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
        (buffer.*method)();
        EXPECT_TRUE(fail.fired());
      }
      EXPECT_EQ(stateOf(buffer), before);
      EXPECT_EQ(harness::liveBlocks(), blocks);
    }
  }
}

TEST(Scramble, IsLinear) {
  for (const char byte : {'\0', 'a'}) {
    const std::string text = "x" + std::string(1 << 19, byte) + "y";
    StringBuffer buffer;
    fill(buffer, text);
    EXPECT_LT(harness::secondsOf([&] {
                buffer.scramble();
                buffer.unscramble();
              }),
              2.0);
    EXPECT_TRUE(holds(buffer, text));
  }
}

// ---- obfus, unobfus ----

TEST(Obfus, ReplacesTheTextByItsScrambledBase64Form) {
  forEveryText([](StringBuffer& buffer, const std::string& text) {
    if (text.empty()) return;
    ModelBuffer model = modelOf(buffer);
    model.bytes.clear();  // the block is kept
    model.extendSize = 202;
    model.append(obfuscated(text));
    buffer.obfus();
    EXPECT_TRUE(matches(buffer, model));
    EXPECT_EQ(sorted(bytesOf(buffer)), sorted(base64Of(text)));
  });
}

TEST(Obfus, OfAnEmptyBufferLeavesItEmpty) {
  StringBuffer buffer;
  buffer.obfus();
  EXPECT_TRUE(holds(buffer, "", 0, 202));
  buffer.unobfus();
  EXPECT_TRUE(holds(buffer, "", 0, 202));
}

TEST(Unobfus, UndoesObfus) {
  forEveryText([](StringBuffer& buffer, const std::string& text) {
    if (text.empty()) return;
    buffer.obfus();
    ModelBuffer model;  // the block is released
    model.appendN(text);
    buffer.unobfus();
    EXPECT_TRUE(matches(buffer, model));
  });
}

TEST(Unobfus, ReleasesTheOldBlock) {
  StringBuffer buffer;
  const std::string text = obfuscated("short");
  buffer.append(std::string(500, 'x').c_str());
  buffer.setString(text.c_str());
  ASSERT_NE(buffer.heapUsage(), 0U);
  buffer.unobfus();
  EXPECT_TRUE(holds(buffer, "short", 0, 202));
}

// Deliberate: bytes that end in NULs are stored as the text before them.
TEST(Unobfus, DropsNulsAtTheEnd) {
  for (const std::string& text : {"ab\0"s, "ab\0\0\0"s, "a\0b\0"s, "\0\0"s, "\0"s}) {
    StringBuffer buffer;
    fill(buffer, text);
    buffer.obfus();
    EXPECT_EQ(buffer.getSize(), base64Of(text).size());
    buffer.unobfus();
    EXPECT_TRUE(holds(buffer, withoutNulsAtTheEnd(text)));
  }
}

// NULs in the content, at its end too, are bytes of the scrambled text: they have their share in
// the permutation.
TEST(Unobfus, UnscramblesTheWholeLength) {
  for (std::size_t nuls = 1; nuls < 20; ++nuls) {
    StringBuffer buffer;
    fill(buffer, scrambled("QUJD" + std::string(nuls, '\0')));
    buffer.unobfus();
    EXPECT_TRUE(holds(buffer, "ABC", 0, 202)) << nuls;
  }
}

TEST(Unobfus, OfOtherTextsDecodesWhatIsBase64) {
  const struct {
    const char* base64;  // before it is scrambled
    const char* content;
  } cases[] = {
      {"QUJD", "ABC"}, {"QUI=", "AB"}, {"QUI", "AB"}, {"Q U-J\r\nD", "ABC"}, {"!", ""},
      {"-----", ""},   {"====", ""},   {"Q", ""},     {"QUJDQQ==", "ABCA"},  {"QUJDR", "ABC"},
  };
  for (const auto& c : cases) {
    const std::string text = scrambled(c.base64);
    StringBuffer buffer(text.c_str());
    buffer.unobfus();
    EXPECT_TRUE(holds(buffer, c.content, 0, 202)) << c.base64;
    StringBuffer appended("<");
    EXPECT_TRUE(appended.appendObfus(text.c_str())) << c.base64;
    EXPECT_TRUE(holds(appended, "<"s + c.content, 0, 202)) << c.base64;
  }
}

// ---- appendObfus ----

TEST(AppendObfus, AppendsWhatWasObfuscated) {
  for (const std::string& text : texts()) {
    for (const std::size_t length : {0U, 1U, 40U, 81U, 82U, 283U}) {
      const std::string content = harness::randomText(length, length, "xyz");
      StringBuffer buffer(content.c_str());
      ModelBuffer model = modelOf(buffer);
      model.appendN(text);
      ASSERT_TRUE(buffer.appendObfus(obfuscated(text).c_str()));
      ASSERT_TRUE(matches(buffer, model)) << length << " + " << text.size();
    }
  }
}

TEST(AppendObfus, OfNothingIsTrueAndChangesNothing) {
  for (const std::string& content : {""s, "abc"s, "abc\0\0"s, std::string(100, 'x')}) {
    StringBuffer buffer;
    fill(buffer, content);
    const harness::BufferState before = stateOf(buffer);
    EXPECT_TRUE(buffer.appendObfus(nullptr));
    EXPECT_TRUE(buffer.appendObfus(""));
    EXPECT_EQ(stateOf(buffer), before);
  }
}

TEST(AppendObfus, DropsNulsAtTheEndAsAppendNDoes) {
  StringBuffer buffer;
  fill(buffer, "a\0\0"s);
  EXPECT_TRUE(buffer.appendObfus(obfuscated("b\0"s).c_str()));
  EXPECT_TRUE(holds(buffer, "a\0\0b"s, 0, 202));
  EXPECT_TRUE(buffer.appendObfus(obfuscated("\0"s).c_str()));
  EXPECT_TRUE(holds(buffer, "a\0\0b"s, 0, 202));
  StringBuffer nuls;
  fill(nuls, "a\0\0"s);
  EXPECT_TRUE(nuls.appendObfus(obfuscated("\0"s).c_str()));
  EXPECT_TRUE(holds(nuls, "a", 0, 202));
}

TEST(AppendObfus, TakesItsTextFromItsOwnContent) {
  for (const std::size_t secret : {1U, 20U, 45U, 60U, 90U, 200U}) {
    const std::string plain = harness::randomText(secret, secret, "secret");
    const std::string code = obfuscated(plain);
    for (const std::size_t prefix : {0U, 1U, 5U, 21U}) {
      for (const unsigned int room : {kNewStorage, 0U, 10U, 500U}) {
        const std::string content = std::string(prefix, '#') + code;
        StringBuffer buffer;
        if (!hold(buffer, content, room)) continue;
        ModelBuffer model = modelOf(buffer);
        model.appendN(plain);
        EXPECT_TRUE(buffer.appendObfus(buffer.getString() + prefix));
        EXPECT_TRUE(matches(buffer, model)) << secret << ", " << prefix << ", " << room;
      }
    }
  }
  StringBuffer buffer("abc");
  EXPECT_TRUE(buffer.appendObfus(buffer.getString() + 3));
  EXPECT_TRUE(holds(buffer, "abc", 0, 202));
}

TEST(AppendObfus, TakesItsTextFromBehindItsContent) {
  const std::string plain = "behind";
  const std::string code = obfuscated(plain);
  for (const unsigned int used : {0U, 1U, 3U}) {
    StringBuffer buffer(("0123\1" + code).c_str());
    const char* text = buffer.getString() + 5;
    buffer.chopAt(used);
    EXPECT_TRUE(buffer.appendObfus(text));
    EXPECT_TRUE(holds(buffer, "0123"s.substr(0, used) + plain, 0, 202));
  }
}

TEST(AppendObfus, TakesItsTextFromTheUnusedInlineArray) {
  const std::string plain = "from the inline array";
  StringBuffer buffer(obfuscated(plain).c_str());
  const char* text = buffer.getString();
  const std::string code = text;
  buffer.append(std::string(200, 'x').c_str());
  ASSERT_NE(buffer.getString(), text);
  const std::string before = bytesOf(buffer);
  ASSERT_EQ(std::string(text, code.size()), code) << "the first move leaves the array as it is";
  if (text[code.size()] != '\0') return;
  EXPECT_TRUE(buffer.appendObfus(text));
  EXPECT_TRUE(holds(buffer, before + plain));
}

// ---- Failing allocations ----

// The buffer holds what it held, or the complete result.
TEST(Obfuscate, WithoutMemoryTheBufferStaysAsItIs) {
  for (const std::size_t length : {2U, 50U, 62U, 70U, 90U, 400U, 3000U}) {
    const std::string plain = harness::randomText(length, length, "abcdef");
    const std::string code = obfuscated(plain);
    const struct {
      const char* name;
      std::string before;
      std::string after;
      std::function<bool(StringBuffer&)> run;
    } cases[] = {
        {"obfus", plain, code, [](StringBuffer& b) { return b.obfus(), true; }},
        {"unobfus", code, plain, [](StringBuffer& b) { return b.unobfus(), true; }},
        {"appendObfus", "old", "old" + plain,
         [&code](StringBuffer& b) { return b.appendObfus(code.c_str()); }},
        {"scramble", plain, scrambled(plain), [](StringBuffer& b) { return b.scramble(), true; }},
    };
    for (const auto& c : cases) {
      for (const bool full : {false, true}) {
        SCOPED_TRACE(c.name + " of "s + std::to_string(length) + (full ? ", full" : ""));
        const long blocks = harness::liveBlocks();
        StringBuffer buffer;
        bool result = false;
        const long failed = harness::failEveryAllocation(
            [&] {
              buffer.clear();
              if (full) buffer.setExtendSize(0);
              fill(buffer, c.before);
            },
            [&] { result = c.run(buffer); },
            [&] {
              const std::string content = bytesOf(buffer);
              EXPECT_TRUE(harness::invariantsHold(buffer));
              EXPECT_TRUE(content == c.before || content == c.after) << content.substr(0, 80);
            });
        EXPECT_GT(failed, 0);
        EXPECT_TRUE(result);
        EXPECT_TRUE(holds(buffer, c.after)) << "the last run has all the memory it wants";
        buffer.clear();
        EXPECT_EQ(harness::liveBlocks(), blocks);
      }
    }
  }
}

TEST(AppendObfus, IsFalseWhenTheResultCannotBeAppended) {
  const std::string code = obfuscated(std::string(300, 's'));
  StringBuffer buffer("old");
  long needed = 0;
  {
    const harness::FailAllocation count(0);
    EXPECT_TRUE(buffer.appendObfus(code.c_str()));
    needed = count.seen();
  }
  ASSERT_GT(needed, 0);
  buffer.clear();
  buffer.append("old");
  {
    const harness::FailAllocation fail(needed);
    EXPECT_FALSE(buffer.appendObfus(code.c_str()));
  }
  EXPECT_TRUE(holds(buffer, "old"));
}

// The permutation takes four bytes for each of the text.
TEST(Obfuscate, AllocatesOftenEnoughWhateverTheSize) {
  const auto text = [](std::size_t size) { return harness::randomText(size, size, "abcdef"); };
  const auto code = [](std::size_t size) {
    return obfuscated(harness::randomText(size, size / 4 * 3, "abcdef"));
  };
  EXPECT_TRUE(
      harness::allocates(3, 5, text, [](StringBuffer& b) { return b.obfus(), b.getSize(); }));
  EXPECT_TRUE(
      harness::allocates(4, 5, code, [](StringBuffer& b) { return b.unobfus(), b.getSize(); }));
  EXPECT_TRUE(harness::allocates(4, 5, code, [](const StringBuffer& b) {
    StringBuffer out;
    out.appendObfus(b.getString());
    return out.getSize();
  }));
}

// ---- Wiping ----

// The array of the permutation holds no content.
bool isPermutation(std::string_view block) {
  std::vector<unsigned int> p(block.size() / sizeof(unsigned int));
  if (p.size() * sizeof(unsigned int) != block.size()) return false;
  std::memcpy(p.data(), block.data(), block.size());
  std::sort(p.begin(), p.end());
  for (std::size_t i = 0; i < p.size(); ++i)
    if (p[i] != i) return false;
  return true;
}

void expectWiped(std::vector<std::string> blocks) {
  blocks.erase(std::remove_if(blocks.begin(), blocks.end(),
                              [](const std::string& block) { return isPermutation(block); }),
               blocks.end());
  EXPECT_TRUE(harness::allWiped(blocks));
}

TEST(Obfuscate, SecureBuffersReleaseNothingReadable) {
  for (const std::size_t length : {20U, 70U, 82U, 150U, 3000U}) {
    for (const unsigned int slack : {0U, 5U, 202U}) {
      SCOPED_TRACE(std::to_string(length) + ", " + std::to_string(slack));
      const std::string plain = harness::randomText(length, length, "PASSWORD");
      const std::string code = obfuscated(plain);
      StringBuffer buffer;
      buffer.setSecureBuf(true);
      buffer.setExtendSize(slack);
      fill(buffer, plain);
      expectWiped(harness::releasedBy([&] { buffer.scramble(); }));
      expectWiped(harness::releasedBy([&] { buffer.unscramble(); }));
      expectWiped(harness::releasedBy([&] { buffer.obfus(); }));
      EXPECT_TRUE(holds(buffer, code));
      expectWiped(harness::releasedBy([&] { buffer.unobfus(); }));
      EXPECT_TRUE(holds(buffer, plain));
      expectWiped(harness::releasedBy([&] { buffer.appendObfus(code.c_str()); }));
      EXPECT_TRUE(holds(buffer, plain + plain));
      expectWiped(harness::releasedBy([&] { buffer.clear(); }));
    }
  }
}

// A secret that was decoded stands nowhere but in the buffer, whatever kind of buffer it is.
TEST(Obfuscate, DecodedTemporariesAreWipedAlways) {
  for (const std::size_t length : {20U, 70U, 82U, 150U, 3000U}) {
    const std::string plain = harness::randomText(length, length, "PASSWORD");
    const std::string code = obfuscated(plain);
    const auto shows = [](const std::vector<std::string>& blocks, const std::string& text) {
      const std::string start = text.substr(0, 12);
      const std::string end = text.substr(text.size() - 12);
      for (const std::string& block : blocks)
        if (block.find(start) != std::string::npos || block.find(end) != std::string::npos)
          return true;
      return false;
    };
    StringBuffer buffer(code.c_str());
    EXPECT_FALSE(shows(harness::releasedBy([&] { buffer.unobfus(); }), plain)) << length;
    EXPECT_TRUE(holds(buffer, plain));
    StringBuffer target("target");
    const auto blocks = harness::releasedBy([&] { target.appendObfus(code.c_str()); });
    EXPECT_FALSE(shows(blocks, plain)) << length;
    EXPECT_FALSE(shows(blocks, base64Of(plain))) << length;
    EXPECT_TRUE(holds(target, "target" + plain));
  }
}

}  // namespace
