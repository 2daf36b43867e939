#include "support/_dvUrlEncode.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"

namespace {

using harness::bytesOf;
using harness::holds;

void fill(StringBuffer& buffer, const std::string& content) {
  for (const char c : content) ASSERT_TRUE(buffer.appendChar(c));
}

TEST(DvUrlEncode, EncodesEveryByteButTheUnreserved) {
  const char* const unreserved =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
  for (unsigned int c = 0; c < 256; ++c) {
    StringBuffer buffer;
    fill(buffer, std::string(1, static_cast<char>(c)));
    char expected[4];
    const bool kept = c != 0 && std::strchr(unreserved, static_cast<int>(c)) != nullptr;
    std::snprintf(expected, sizeof(expected), kept ? "%c" : "%%%02X", c);
    EXPECT_TRUE(_dvUrlEncode::urlEncodeSb(buffer));
    EXPECT_TRUE(holds(buffer, expected)) << c;
  }
}

TEST(DvUrlEncode, EncodesWholeTexts) {
  const struct {
    std::string content;
    const char* encoded;
  } cases[] = {
      {"", ""},
      {"plain-text_1.0~", "plain-text_1.0~"},
      {"a b", "a%20b"},
      {"%20", "%2520"},
      {"/?#[]@!$&'()*+,;=:", "%2F%3F%23%5B%5D%40%21%24%26%27%28%29%2A%2B%2C%3B%3D%3A"},
      {"\xC3\xA9", "%C3%A9"},
      {std::string("a\0b\0", 4), "a%00b%00"},
      {"   ", "%20%20%20"},
  };
  for (const auto& c : cases) {
    StringBuffer buffer;
    fill(buffer, c.content);
    EXPECT_TRUE(_dvUrlEncode::urlEncodeSb(buffer));
    EXPECT_TRUE(holds(buffer, c.encoded)) << c.encoded;
  }
}

TEST(DvUrlEncode, AgreesWithThePlainRuleAroundTheInlineSize) {
  for (std::size_t size = 0; size < 300; ++size) {
    const std::string content = harness::randomText(size, size, "ab~ %\xFF");
    std::string expected;
    for (const char c : content) {
      char code[4] = {c};
      if (std::strchr("ab~", c) == nullptr)
        std::snprintf(code, sizeof(code), "%%%02X", static_cast<unsigned char>(c));
      expected += code;
    }
    StringBuffer buffer(content.c_str());
    EXPECT_TRUE(_dvUrlEncode::urlEncodeSb(buffer));
    ASSERT_TRUE(holds(buffer, expected));
  }
}

TEST(DvUrlEncode, TouchesNothingWhenThereIsNothingToEncode) {
  const std::string content(500, 'x');
  StringBuffer buffer(content.c_str());
  const harness::BufferState before = harness::stateOf(buffer);
  const char* const address = buffer.getString();
  const harness::FailAllocation count(0);
  EXPECT_TRUE(_dvUrlEncode::urlEncodeSb(buffer));
  EXPECT_EQ(count.seen(), 0);
  EXPECT_EQ(harness::stateOf(buffer), before);
  EXPECT_EQ(buffer.getString(), address);
}

TEST(DvUrlEncode, ChangesNothingWhenMemoryIsExhausted) {
  const std::string content(100, ' ');
  const long live = harness::liveBlocks();
  {
    StringBuffer buffer;
    harness::BufferState before;
    bool done = false;
    const long failed = harness::failEveryAllocation(
        [&] {
          buffer.clear();
          buffer.append(content.c_str());
          before = harness::stateOf(buffer);
        },
        [&] { done = _dvUrlEncode::urlEncodeSb(buffer); },
        [&] {
          EXPECT_EQ(done, buffer.getSize() == 300);
          EXPECT_EQ(!done, harness::stateOf(buffer) == before);
          EXPECT_TRUE(harness::invariantsHold(buffer));
        });
    EXPECT_GT(failed, 0);
  }
  EXPECT_EQ(harness::liveBlocks(), live);
}

TEST(DvUrlEncode, WipesWhatASecureBufferReleases) {
  const std::string content(200, '?');
  StringBuffer buffer;
  buffer.setSecureBuf(true);
  ASSERT_TRUE(buffer.append(content.c_str()));
  bool wiped = true;
  {
    const harness::WatchReleases watch([&](const unsigned char* block, std::size_t size) {
      for (std::size_t i = 0; i < size; ++i) wiped = wiped && block[i] == 0;
    });
    EXPECT_TRUE(_dvUrlEncode::urlEncodeSb(buffer));
  }
  EXPECT_TRUE(wiped);
  EXPECT_EQ(bytesOf(buffer).substr(0, 6), "%3F%3F");
}

}  // namespace
