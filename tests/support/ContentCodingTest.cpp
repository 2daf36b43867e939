#include "support/ContentCoding.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/LivenessMarks.h"
#include "harness/RadixReference.h"
#include "harness/RawContent.h"
#include "harness/ReleasedBlocks.h"
#include "harness/Stopwatch.h"
#include "support/DataBuffer.h"

namespace {

using namespace std::string_literals;
using harness::base64Radix;
using harness::bytesOf;
using harness::FailAllocation;
using harness::holds;
using harness::stateOf;

constexpr std::size_t kMiB = 1U << 20U;

// Lengths of data around the sizes of the blocks that are encoded and decoded at a time.
const std::vector<std::size_t>& lengthsAtBorders() {
  static const std::vector<std::size_t> lengths = [] {
    std::vector<std::size_t> all;
    for (std::size_t n = 0; n <= 70; ++n) all.push_back(n);
    for (const std::size_t block : {1024U, 2304U, 3072U, 4096U, 6144U, 9216U})
      for (std::size_t n = block - 5; n <= block + 5; ++n) all.push_back(n);
    return all;
  }();
  return lengths;
}

std::string allBytes() {
  std::string bytes;
  for (int c = 0; c < 256; ++c) bytes += static_cast<char>(c);
  return bytes;
}

std::string randomBytes(std::size_t length, unsigned long long seed = 1) {
  return harness::randomText(seed, length, allBytes());
}

std::string referenceOf(std::string_view data) { return harness::encoded(base64Radix(), data); }

unsigned int sizeOf(std::string_view text) { return static_cast<unsigned int>(text.size()); }

bool encode(std::string_view data, StringBuffer& out) {
  return ContentCoding().encodeBase64_noCrLf(data.data(), sizeOf(data), out);
}

bool decode(std::string_view text, DataBuffer& out) {
  return ContentCoding().decodeBase64ToDb(text.data(), sizeOf(text), out);
}

std::string encoded(std::string_view data) {
  StringBuffer out;
  EXPECT_TRUE(encode(data, out));
  return bytesOf(out);
}

std::string contentOf(const DataBuffer& buffer) {
  if (buffer.getSize() == 0) return "";
  return {reinterpret_cast<const char*>(buffer.getData2()), buffer.getSize()};
}

std::string decoded(std::string_view text) {
  DataBuffer out;
  EXPECT_TRUE(decode(text, out));
  return contentOf(out);
}

struct Vector {
  const char* data;
  const char* text;
};

// RFC 4648, section 10.
constexpr Vector kVectors[] = {
    {"", ""},
    {"f", "Zg=="},
    {"fo", "Zm8="},
    {"foo", "Zm9v"},
    {"foob", "Zm9vYg=="},
    {"fooba", "Zm9vYmE="},
    {"foobar", "Zm9vYmFy"},
};

// ---------------------------------------------------------------------------------------------
// Encoding

TEST(ContentCoding, EncodesTheStandardVectors) {
  for (const Vector& vector : kVectors) EXPECT_EQ(encoded(vector.data), vector.text);
}

TEST(ContentCoding, EncodesDataOfEveryLength) {
  for (const std::size_t n : lengthsAtBorders()) {
    const std::string data = randomBytes(n, n + 1);
    ASSERT_EQ(encoded(data), referenceOf(data)) << n;
  }
}

TEST(ContentCoding, EncodesEveryPairOfBytesInEveryPlace) {
  const std::string all = allBytes();
  for (const char first : all) {
    std::string data;
    for (const char second : all) data.append({first, second});
    for (std::size_t shift = 0; shift < 3; ++shift) {
      data.insert(0, 1, 'x');
      ASSERT_EQ(encoded(data), referenceOf(data)) << int{first} << ' ' << shift;
    }
  }
}

TEST(ContentCoding, EncodesNullAndNothingAsNothing) {
  StringBuffer out("kept");
  EXPECT_TRUE(ContentCoding().encodeBase64_noCrLf(nullptr, 0, out));
  EXPECT_TRUE(ContentCoding().encodeBase64_noCrLf(nullptr, 17, out));
  EXPECT_TRUE(ContentCoding().encodeBase64_noCrLf("data", 0, out));
  EXPECT_TRUE(holds(out, "kept", 0, 202));
}

// A buffer with some content, for growth from every kind of storage.
struct Start {
  std::string content;
  unsigned int extendSize;
};

const std::vector<Start>& starts() {
  static const std::vector<Start> all = {{"", 202},
                                         {"kept", 202},
                                         {"", 0},
                                         {std::string(81, 'k'), 202},
                                         {std::string(82, 'k'), 202},
                                         {std::string(100, 'k'), 8000},
                                         {std::string(5000, 'k'), 9},
                                         {"ends with NULs\0\0"s, 202}};
  return all;
}

void begin(StringBuffer& buffer, const Start& start) {
  buffer.setExtendSize(start.extendSize);
  harness::fill(buffer, start.content);
}

TEST(ContentCoding, GrowsAsIfTheTextWereAppendedInOnePiece) {
  for (const Start& start : starts()) {
    for (const std::size_t n : lengthsAtBorders()) {
      const std::string data = randomBytes(n);
      const std::string text = referenceOf(data);
      StringBuffer out;
      begin(out, start);
      StringBuffer expected;
      begin(expected, start);
      for (int round = 0; round < 3; ++round) {
        ASSERT_TRUE(encode(data, out));
        ASSERT_TRUE(expected.appendN(text.data(), sizeOf(text)));
        ASSERT_EQ(stateOf(out), stateOf(expected)) << n << ' ' << start.content.size();
      }
    }
  }
}

TEST(ContentCoding, GrowsExactlyWhenTheTextDoesNotFit) {
  const std::string data = randomBytes(3075);
  const std::string text = referenceOf(data);
  const std::string content(100, 'k');
  for (const unsigned int capacity : {4199U, 4200U, 4201U, 4202U}) {
    StringBuffer out;
    out.setExtendSize(capacity - 101);
    harness::fill(out, content);
    ASSERT_EQ(out.heapUsage(), capacity);
    StringBuffer expected;
    expected.setExtendSize(capacity - 101);
    harness::fill(expected, content);
    if (capacity <= 4200) {
      const FailAllocation fail(1);
      EXPECT_FALSE(encode(data, out));
      EXPECT_TRUE(holds(out, content, capacity, capacity - 101));
    }
    ASSERT_TRUE(encode(data, out));
    ASSERT_TRUE(expected.appendN(text.data(), sizeOf(text)));
    EXPECT_EQ(stateOf(out), stateOf(expected)) << capacity;
    EXPECT_EQ(out.heapUsage() == capacity, capacity > 4200) << capacity;
  }
}

TEST(ContentCoding, EncodesWithASingleAllocation) {
  const std::string data = randomBytes(3 * kMiB);
  StringBuffer out;
  const FailAllocation count(0);
  ASSERT_TRUE(encode(data, out));
  EXPECT_EQ(count.seen(), 1);
}

TEST(ContentCoding, EncodesBytesOfTheBufferItself) {
  for (const std::size_t size : {4U, 60U, 81U, 82U, 300U, 3073U, 20000U}) {
    for (const unsigned int slack : {0U, 202U, 60000U}) {
      for (const std::size_t at : {std::size_t{0}, size / 2, size - 1}) {
        const std::string content = randomBytes(size - 1) + 'x';
        StringBuffer out;
        out.setExtendSize(slack);
        harness::fill(out, content);
        const std::string data = content.substr(at);
        ASSERT_TRUE(encode({out.getString() + at, data.size()}, out));
        ASSERT_TRUE(holds(out, content + referenceOf(data))) << size << ' ' << slack << ' ' << at;
      }
    }
  }
}

TEST(ContentCoding, EncodesBytesBehindTheContentOfTheBuffer) {
  const std::string content = randomBytes(9000) + 'x';
  for (const unsigned int slack : {0U, 202U, 60000U}) {
    for (const unsigned int kept : {0U, 10U, 5000U}) {
      StringBuffer out;
      out.setExtendSize(slack);
      harness::fill(out, content);
      out.chopAt(kept);
      std::string data = content.substr(kept);
      data[0] = '\0';
      ASSERT_TRUE(encode({out.getString() + kept, data.size()}, out));
      ASSERT_TRUE(holds(out, content.substr(0, kept).append(referenceOf(data))));
    }
  }
}

TEST(ContentCoding, WipesTheCopyOfBytesOfASecureBuffer) {
  StringBuffer out;
  out.setSecureBuf(true);
  harness::fill(out, std::string(20000, 's'));
  const std::vector<std::string> blocks = harness::releasedBy([&out] {
    encode({out.getString(), out.getSize()}, out);
  });
  EXPECT_EQ(blocks.size(), 2U);
  EXPECT_TRUE(harness::allWiped(blocks));
}

TEST(ContentCoding, RefusesDataWhoseTextNoBufferCanHold) {
  const char byte = 'x';
  StringBuffer out("kept");
  for (const unsigned int n : {0xFFFFFFFFU, 0xC0000001U, 0xC0000000U, 0xBFFFFFFEU}) {
    const FailAllocation count(0);
    EXPECT_FALSE(ContentCoding().encodeBase64_noCrLf(&byte, n, out)) << n;
    EXPECT_EQ(count.seen(), 0);
    EXPECT_TRUE(holds(out, "kept", 0, 202));
  }
}

TEST(ContentCoding, RefusesDataThatOnlyAnEmptyBufferCouldHold) {
  const char byte = 'x';
  StringBuffer out("kept");
  const FailAllocation fail(1, FailAllocation::kFromThenOn);
  EXPECT_FALSE(ContentCoding().encodeBase64_noCrLf(&byte, 0xBFFFFFFDU, out));
  EXPECT_TRUE(holds(out, "kept", 0, 202));
}

TEST(ContentCoding, EncodesIntoADamagedBufferWhateverFits) {
  StringBuffer out;
  harness::fill(out, std::string(9000, 'x'));
  out.weakClear();
  const std::string data = randomBytes(5000);
  const std::string more(30, 'm');
  {
    const harness::BrokenMarker broken(out);
    EXPECT_TRUE(encode(data, out));
    EXPECT_TRUE(encode(more, out));
    EXPECT_FALSE(encode(data, out));
  }
  EXPECT_TRUE(holds(out, referenceOf(data) + referenceOf(more)));
}

TEST(ContentCoding, ChangesNothingWhenTheBufferCannotGrow) {
  for (const Start& start : starts()) {
    for (const std::size_t n : {61U, 3072U, 3073U, 40000U}) {
      const std::string data = randomBytes(n);
      StringBuffer done;
      begin(done, start);
      ASSERT_TRUE(encode(data, done));
      StringBuffer out;
      harness::BufferState before;
      bool result = false;
      const long failures = harness::failEveryAllocation(
          [&] {
            out.clear();
            begin(out, start);
            before = stateOf(out);
          },
          [&] { result = encode(data, out); },
          [&] { ASSERT_EQ(stateOf(out), result ? stateOf(done) : before); });
      EXPECT_TRUE(result);
      EXPECT_EQ(failures, done.heapUsage() == before.heapUsage ? 0 : 2);
    }
  }
}

TEST(ContentCoding, ChangesNothingWhenItsOwnBytesCannotBeCopied) {
  const std::string content = randomBytes(20000) + 'x';
  StringBuffer out;
  harness::BufferState before;
  bool done = false;
  const long failures = harness::failEveryAllocation(
      [&] {
        out.clear();
        harness::fill(out, content);
        before = stateOf(out);
      },
      [&] {
        done = encode({out.getString(), out.getSize()}, out);
      },
      [&] {
        if (done)
          ASSERT_TRUE(holds(out, content + referenceOf(content)));
        else
          ASSERT_EQ(stateOf(out), before);
      });
  EXPECT_TRUE(done);
  EXPECT_EQ(failures, 4);
}

// ---------------------------------------------------------------------------------------------
// Decoding

TEST(ContentCoding, DecodesTheStandardVectors) {
  for (const Vector& vector : kVectors) EXPECT_EQ(decoded(vector.text), vector.data);
}

TEST(ContentCoding, DecodesTextOfEveryLength) {
  for (const std::size_t n : lengthsAtBorders()) {
    const std::string data = randomBytes(n, n + 1);
    std::string text = referenceOf(data);
    ASSERT_EQ(decoded(text), data) << n;
    while (!text.empty() && text.back() == '=') text.pop_back();
    ASSERT_EQ(decoded(text), data) << n << " without padding";
  }
}

TEST(ContentCoding, DecodesMalformedTextAsFarAsItGoes) {
  const struct {
    const char* what;
    std::string text;
    std::string bytes;
  } cases[] = {
      {"one pad of two", "Zg=", "f"},
      {"pads too many", "Zg======", "f"},
      {"pads without need", "Zm9v====", "foo"},
      {"a pad at the start", "=Zm9v", ""},
      {"data behind the padding", "Zg==Zm9v", "f"},
      {"a pad inside a group", "Z=g=", ""},
      {"a pad inside the second group", "Zm9vY=mFy", "foo"},
      {"a last symbol alone", "Zm9vY", "foo"},
      {"a symbol alone", "Z", ""},
      {"bits behind the last byte", "Zh==", "f"},
      {"bits behind the last two bytes", "Zm9=", "fo"},
      {"line ends", "Zm\r\n9v\nYm\rFy\r\n", "foobar"},
      {"a line end before the padding", "Zg\r\n==", "f"},
      {"white space", " \tZ m\v9\fv \t", "foo"},
      {"signs of the other alphabet", "Zm-9v_", "foo"},
      {"NULs", "Zm\0009v\0"s, "foo"},
      {"bytes above 0x7F", "\xFFZ\x80m\xDA"s + "9v", "foo"},
      {"nothing but others", "!?*\x01\xFF", ""},
  };
  for (const auto& c : cases) EXPECT_EQ(decoded(c.text), c.bytes) << c.what;
}

TEST(ContentCoding, DecodesEveryByteValueInEveryPlace) {
  const std::string text = referenceOf("nine byte");
  for (std::size_t at = 0; at < text.size(); ++at) {
    for (const char c : allBytes()) {
      std::string changed = text;
      changed[at] = c;
      ASSERT_EQ(decoded(changed), harness::decoded(base64Radix(), changed).bytes)
          << at << ' ' << int{c};
      changed = text;
      changed.insert(at, 1, c);
      ASSERT_EQ(decoded(changed), harness::decoded(base64Radix(), changed).bytes)
          << at << ' ' << int{c};
    }
  }
}

TEST(ContentCoding, DecodesAllShortTexts) {
  for (const std::string& text : harness::allStrings("Qg/= !", 6))
    ASSERT_EQ(decoded(text), harness::decoded(base64Radix(), text).bytes) << text;
}

TEST(ContentCoding, DecodesInterruptedText) {
  for (unsigned long long seed = 1; seed <= 60; ++seed) {
    const std::string data = randomBytes(2000 + 100 * seed, seed);
    std::string text;
    std::size_t i = 0;
    for (const char c : referenceOf(data)) {
      text += c;
      if (++i % (seed * 5) == 0) text += seed % 2 == 0 ? "\r\n" : " !";
    }
    ASSERT_EQ(decoded(text), data) << seed;
  }
}

TEST(ContentCoding, DecodesNullAndNothingAsNothing) {
  DataBuffer out;
  ASSERT_TRUE(out.append("kept", 4));
  EXPECT_TRUE(ContentCoding().decodeBase64ToDb(nullptr, 0, out));
  EXPECT_TRUE(ContentCoding().decodeBase64ToDb(nullptr, 8, out));
  EXPECT_TRUE(ContentCoding().decodeBase64ToDb("Zm9v", 0, out));
  EXPECT_TRUE(ContentCoding().decodeBase64ToDb(" \r\n", 3, out));
  EXPECT_EQ(contentOf(out), "kept");
}

TEST(ContentCoding, DecodesNoFurtherThanTheGivenLength) {
  const std::string text = referenceOf(randomBytes(60));
  for (std::size_t n = 0; n <= text.size(); ++n) {
    const std::vector<char> exact(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(n));
    ASSERT_EQ(decoded({exact.data() == nullptr ? "" : exact.data(), n}),
              harness::decoded(base64Radix(), text.substr(0, n)).bytes);
  }
}

TEST(ContentCoding, AppendsWhatItDecodes) {
  DataBuffer out;
  std::string expected;
  for (const std::size_t n : lengthsAtBorders()) {
    const std::string data = randomBytes(n, n);
    expected += data;
    ASSERT_TRUE(decode(referenceOf(data), out));
  }
  EXPECT_EQ(contentOf(out), expected);
}

TEST(ContentCoding, DecodesTextOfTheBufferItself) {
  for (const std::size_t size : {5U, 100U, 5000U, 40000U}) {
    for (const unsigned int room : {0U, 100000U}) {
      const std::string text = referenceOf(randomBytes(size));
      DataBuffer out;
      ASSERT_TRUE(out.ensureBuffer(room));
      ASSERT_TRUE(out.append(text.data(), sizeOf(text)));
      const std::size_t at = size / 4 * 4;
      const auto* start = reinterpret_cast<const char*>(out.getData2());
      ASSERT_TRUE(decode({start + at, text.size() - at}, out));
      ASSERT_EQ(contentOf(out), text + harness::decoded(base64Radix(), text.substr(at)).bytes);
    }
  }
}

TEST(ContentCoding, DecodesTextBehindTheContentOfTheBuffer) {
  const std::string data = randomBytes(9000);
  const std::string text = referenceOf(data);
  DataBuffer out;
  ASSERT_TRUE(out.append(text.data(), sizeOf(text)));
  const auto* start = reinterpret_cast<const char*>(out.getData2());
  out.clear();
  ASSERT_TRUE(decode({start, text.size()}, out));
  EXPECT_EQ(contentOf(out), data);
}

TEST(ContentCoding, DecodesWithASingleAllocation) {
  const std::string text = referenceOf(randomBytes(3 * kMiB));
  DataBuffer out;
  const FailAllocation count(0);
  ASSERT_TRUE(decode(text, out));
  EXPECT_EQ(count.seen(), 1);
}

TEST(ContentCoding, DecodesManySmallTextsWithFewAllocations) {
  DataBuffer out;
  const FailAllocation count(0);
  for (int i = 0; i < 100000; ++i) ASSERT_TRUE(decode("Zm9vYmFy", out));
  EXPECT_EQ(out.getSize(), 600000U);
  EXPECT_LT(count.seen(), 30);
}

TEST(ContentCoding, KeepsTheContentWhenTheBufferCannotGrow) {
  for (const std::size_t n : {3U, 5000U, 40000U}) {
    const std::string data = randomBytes(n);
    const std::string text = referenceOf(data);
    for (const bool aliased : {false, true}) {
      std::vector<DataBuffer> buffers(1);
      bool done = false;
      const std::string kept = aliased ? text : "kept";
      const long failures = harness::failEveryAllocation(
          [&] {
            std::vector<DataBuffer>(1).swap(buffers);
            ASSERT_TRUE(buffers[0].append(kept.data(), sizeOf(kept)));
          },
          [&] {
            const auto* own = reinterpret_cast<const char*>(buffers[0].getData2());
            done = decode({aliased ? own : text.data(), text.size()}, buffers[0]);
          },
          [&] { ASSERT_EQ(contentOf(buffers[0]), done ? kept + data : kept); });
      EXPECT_TRUE(done);
      EXPECT_EQ(failures > 0, n > 3 || aliased);
    }
  }
}

TEST(ContentCoding, CopiesBackSeveralMegabytes) {
  const std::string data = randomBytes(5 * kMiB + 1);
  StringBuffer text;
  ASSERT_TRUE(encode(data, text));
  ASSERT_EQ(text.getSize(), (data.size() + 2) / 3 * 4);
  DataBuffer out;
  ASSERT_TRUE(decode({text.getString(), text.getSize()}, out));
  EXPECT_TRUE(contentOf(out) == data);
}

TEST(ContentCoding, DecodesHostileTextInLinearTime) {
  const std::string texts[] = {std::string(8 * kMiB, '!'), std::string(8 * kMiB, '='),
                               std::string(8 * kMiB, '\n')};
  EXPECT_LT(harness::secondsOf([&texts] {
              for (const std::string& text : texts) EXPECT_EQ(decoded(text), "");
            }),
            20);
}

}  // namespace
