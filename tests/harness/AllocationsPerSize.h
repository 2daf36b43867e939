#ifndef DORVANE_TESTS_HARNESS_ALLOCATIONSPERSIZE_H
#define DORVANE_TESTS_HARNESS_ALLOCATIONSPERSIZE_H

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"

namespace harness {

// A text of about `size` bytes: parts of `distance` bytes that end with a mark.
inline std::string textWithMarks(std::size_t size, std::size_t distance, std::string_view mark) {
  std::string text;
  while (text.size() + distance <= size) {
    text.append(distance - mark.size(), 'x');
    text += mark;
  }
  return text;
}

// True if `member` allocates exactly `blocks` blocks, of at most twice the bytes that go in and
// come out, for a small, a middle and a large text. It returns the number of bytes that come out.
inline testing::AssertionResult allocatesAtAnySize(
    long long blocks, const std::function<std::string(std::size_t size)>& textOf,
    const std::function<std::size_t(StringBuffer& text)>& member) {
  for (const std::size_t size :
       {std::size_t{1} << 10, std::size_t{1} << 16, std::size_t{1} << 22}) {
    StringBuffer buffer(textOf(size).c_str());
    const std::size_t in = buffer.getSize();
    const AllocationCount before = allocationsMade();
    const std::size_t out = member(buffer);
    const AllocationCount after = allocationsMade();
    if (after.blocks - before.blocks != blocks)
      return testing::AssertionFailure()
             << size << ": " << after.blocks - before.blocks << " blocks instead of " << blocks;
    if (after.bytes - before.bytes > static_cast<long long>(2 * (in + out)))
      return testing::AssertionFailure()
             << size << ": " << after.bytes - before.bytes << " bytes for " << in << " and " << out;
  }
  return testing::AssertionSuccess();
}

}  // namespace harness

#endif
