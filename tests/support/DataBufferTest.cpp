#include "support/DataBuffer.h"

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "harness/AllocationHook.h"
#include "harness/BufferState.h"

namespace {

std::string contentOf(const DataBuffer& buffer) {
  return {reinterpret_cast<const char*>(buffer.getData2()), buffer.getSize()};
}

bool appendText(DataBuffer& buffer, std::string_view text) {
  return buffer.append(text.data(), static_cast<unsigned int>(text.size()));
}

TEST(DataBuffer, StartsEmptyWithoutABlock) {
  const DataBuffer buffer;
  EXPECT_EQ(buffer.getSize(), 0U);
  EXPECT_EQ(buffer.getBufSize(), 0U);
  EXPECT_EQ(buffer.getData2(), nullptr);
}

TEST(DataBuffer, AppendsBytesOfEverySize) {
  DataBuffer buffer;
  std::string expected;
  for (std::size_t size = 0; size < 200; ++size) {
    const std::string piece = harness::randomText(size, size, std::string_view("ab\0\xFF", 4));
    ASSERT_TRUE(appendText(buffer, piece));
    expected += piece;
    ASSERT_EQ(contentOf(buffer), expected);
    ASSERT_GE(buffer.getBufSize(), buffer.getSize());
  }
}

TEST(DataBuffer, AppendsSingleBytes) {
  DataBuffer buffer;
  std::string expected;
  for (int c = 0; c < 256; ++c) {
    ASSERT_TRUE(buffer.appendChar(static_cast<unsigned char>(c)));
    expected += static_cast<char>(c);
  }
  EXPECT_EQ(contentOf(buffer), expected);
}

TEST(DataBuffer, HasNothingToDoForNullOrNoBytes) {
  DataBuffer buffer;
  EXPECT_TRUE(buffer.append(nullptr, 5));
  EXPECT_TRUE(buffer.append("x", 0));
  EXPECT_EQ(buffer.getSize(), 0U);
  EXPECT_EQ(buffer.getBufSize(), 0U);
}

TEST(DataBuffer, AppendsItsOwnBytes) {
  DataBuffer buffer;
  ASSERT_TRUE(appendText(buffer, "abc"));
  std::string expected = "abc";
  while (expected.size() < 3000) {
    ASSERT_TRUE(buffer.append(buffer.getData2() + 1, buffer.getSize() - 1));
    expected += expected.substr(1);
    ASSERT_EQ(contentOf(buffer), expected);
  }
}

TEST(DataBuffer, MakesRoomOnce) {
  DataBuffer buffer;
  ASSERT_TRUE(appendText(buffer, "abc"));
  EXPECT_TRUE(buffer.ensureBuffer(1000));
  EXPECT_GE(buffer.getBufSize(), 1000U);
  EXPECT_EQ(contentOf(buffer), "abc");
  const unsigned char* const block = buffer.getData2();
  EXPECT_TRUE(buffer.ensureBuffer(1000));
  EXPECT_TRUE(buffer.ensureBuffer(0));
  EXPECT_TRUE(appendText(buffer, std::string(997, 'x')));
  EXPECT_EQ(buffer.getData2(), block);
}

TEST(DataBuffer, ClearsAndKeepsItsBlock) {
  DataBuffer buffer;
  ASSERT_TRUE(appendText(buffer, std::string(100, 'x')));
  const unsigned char* const block = buffer.getData2();
  const unsigned int capacity = buffer.getBufSize();
  buffer.clear();
  EXPECT_EQ(buffer.getSize(), 0U);
  EXPECT_EQ(buffer.getBufSize(), capacity);
  EXPECT_EQ(buffer.getData2(), block);
}

TEST(DataBuffer, CountsOneNulBehindItsBytesForTheTaker) {
  const struct {
    std::string content;
    std::string expected;
  } cases[] = {{"", ""},
               {"abc", std::string("abc\0", 4)},
               {std::string("abc\0", 4), std::string("abc\0", 4)},
               {std::string(1, '\0'), std::string(1, '\0')},
               {std::string(64, 'x'), std::string(64, 'x') + '\0'}};
  for (const auto& c : cases) {
    DataBuffer buffer;
    ASSERT_TRUE(appendText(buffer, c.content));
    EXPECT_TRUE(buffer.prepForSbTake());
    EXPECT_EQ(contentOf(buffer), c.expected);
  }
}

TEST(DataBuffer, LeavesItsBlockToANewOwner) {
  const long before = harness::liveBlocks();
  {
    DataBuffer buffer;
    ASSERT_TRUE(appendText(buffer, "abc"));
    const std::unique_ptr<unsigned char[]> owner(buffer.getData2());
    buffer.dropData();
    EXPECT_EQ(buffer.getSize(), 0U);
    EXPECT_EQ(buffer.getBufSize(), 0U);
    EXPECT_EQ(buffer.getData2(), nullptr);
    EXPECT_TRUE(appendText(buffer, "def"));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(owner.get()), 3), "abc");
  }
  EXPECT_EQ(harness::liveBlocks(), before);
}

TEST(DataBuffer, ChangesNothingWhenItCannotGrow) {
  const std::string content(64, 'x');
  DataBuffer buffer;
  ASSERT_TRUE(appendText(buffer, content));
  ASSERT_EQ(buffer.getBufSize(), 64U);
  {
    const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
    EXPECT_FALSE(buffer.append("y", 1));
    EXPECT_FALSE(buffer.appendChar('y'));
    EXPECT_FALSE(buffer.ensureBuffer(65));
    EXPECT_FALSE(buffer.prepForSbTake());
  }
  EXPECT_EQ(contentOf(buffer), content);
  EXPECT_EQ(buffer.getBufSize(), 64U);
}

TEST(DataBuffer, RefusesMoreThan32BitsCanCount) {
  DataBuffer buffer;
  ASSERT_TRUE(appendText(buffer, "abc"));
  EXPECT_FALSE(buffer.append(buffer.getData2(), UINT_MAX - 2));
  EXPECT_EQ(contentOf(buffer), "abc");
}

// The blocks that a body releases, as they are at that moment.
std::vector<std::string> releasedBy(const std::function<void()>& body) {
  std::vector<std::string> blocks;
  const harness::WatchReleases watch([&](const unsigned char* block, std::size_t size) {
    blocks.emplace_back(reinterpret_cast<const char*>(block), size);
  });
  body();
  return blocks;
}

TEST(DataBuffer, WipesItsBlocksWhenSecure) {
  for (const bool secure : {true, false}) {
    const std::vector<std::string> blocks = releasedBy([&] {
      DataBuffer buffer;
      buffer.setSecure(secure);
      const char secret[] = "a secret of some length";
      for (int i = 0; i < 10; ++i) buffer.append(secret, sizeof(secret) - 1);
    });
    ASSERT_EQ(blocks.size(), 3U);
    for (const std::string& block : blocks)
      EXPECT_EQ(block == std::string(block.size(), '\0'), secure);
  }
}

TEST(DataBuffer, WipesItsBlockWhenASecureOneIsCleared) {
  DataBuffer buffer;
  buffer.setSecure(true);
  ASSERT_TRUE(appendText(buffer, "secret"));
  buffer.clear();
  for (unsigned int i = 0; i < 6; ++i) EXPECT_EQ(buffer.getData2()[i], 0);
  ASSERT_TRUE(appendText(buffer, "again"));
  EXPECT_EQ(contentOf(buffer), "again");
}

}  // namespace
