// The helpers of text/internal/Texts.h.

#include "text/internal/Texts.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string_view>

#include "core/StringBuffer.h"
#include "harness/BufferState.h"

namespace {

// Nothing is read of a text whose size does not fit in 32 bits.
TEST(Texts, MoreThanABufferCanHoldIsRefusedWhole) {
  if constexpr (sizeof(std::size_t) > sizeof(std::uint32_t)) {
    const std::size_t tooMany = (std::size_t{1} << 32U) + 3;
    StringBuffer out;
    EXPECT_FALSE(dorvane::internal::appendTo(out, std::string_view("abc", tooMany)));
    EXPECT_TRUE(harness::holds(out, "", 0, 202));
  }
}

}  // namespace
