#ifndef DORVANE_TESTS_HARNESS_ALLOCATIONS_H
#define DORVANE_TESTS_HARNESS_ALLOCATIONS_H

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"

namespace harness {

// Makes a text of a size out of a unit that is repeated.
inline std::function<std::string(std::size_t)> repeating(std::string_view unit) {
  return [unit](std::size_t size) {
    std::string text;
    while (text.size() < size) text += unit;
    return text;
  };
}

// A text of about `size` bytes: parts of `distance` bytes that end with a mark.
inline std::string textWithMarks(std::size_t size, std::size_t distance, std::string_view mark) {
  std::string text;
  while (text.size() + distance <= size) {
    text.append(distance - mark.size(), 'x');
    text += mark;
  }
  return text;
}

// True if `member` allocates exactly so many blocks for a small, a middle and a large text, and at
// most `bytes` bytes for each that goes in or comes out. It returns how many come out.
template <class Member>
testing::AssertionResult allocates(long long blocks, std::size_t bytes,
                                   const std::function<std::string(std::size_t)>& textOf,
                                   const Member& member) {
  for (const std::size_t size :
       {std::size_t{1} << 10U, std::size_t{1} << 16U, std::size_t{1} << 22U}) {
    StringBuffer buffer(textOf(size).c_str());
    const std::size_t in = buffer.getSize();
    const AllocationCount before = allocationsMade();
    const std::size_t out = member(buffer);
    const AllocationCount after = allocationsMade();
    if (after.blocks - before.blocks == blocks &&
        after.bytes - before.bytes <= static_cast<long long>(bytes * (in + out)))
      continue;
    return testing::AssertionFailure()
           << after.blocks - before.blocks << " blocks of " << after.bytes - before.bytes
           << " bytes for " << in << " that become " << out;
  }
  return testing::AssertionSuccess();
}

// The same with at most two bytes for each.
template <class Member>
testing::AssertionResult allocatesAtAnySize(long long blocks,
                                            const std::function<std::string(std::size_t)>& textOf,
                                            const Member& member) {
  return allocates(blocks, 2, textOf, member);
}

}  // namespace harness

#endif
