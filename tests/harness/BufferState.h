#ifndef DORVANE_TESTS_HARNESS_BUFFERSTATE_H
#define DORVANE_TESTS_HARNESS_BUFFERSTATE_H

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"

namespace harness {

// Everything about a buffer that its user can observe.
struct BufferState {
  std::string content;
  unsigned int heapUsage = 0;
  unsigned int extendSize = 0;
  bool terminated = true;
  bool valid = true;
};

BufferState stateOf(StringBuffer& buffer);
bool operator==(const BufferState& a, const BufferState& b);
std::ostream& operator<<(std::ostream& out, const BufferState& state);

// The bytes of a buffer, embedded NULs included.
std::string bytesOf(const StringBuffer& buffer);

// What must hold for every living buffer after every operation.
testing::AssertionResult invariantsHold(StringBuffer& buffer);

// Compares content, length and terminator, and checks the invariants.
testing::AssertionResult holds(StringBuffer& buffer, std::string_view content);

// As above, and compares heap usage and extend size.
testing::AssertionResult holds(StringBuffer& buffer, std::string_view content,
                               unsigned int heapUsage, unsigned int extendSize);

// The state of a buffer that started empty and to which pieces of the given sizes have been
// appended: the growth rule told once more, plainly, for comparison.
class GrowthModel {
 public:
  unsigned int length = 0;
  unsigned int capacity = 0;  // 0: inline
  unsigned int extendSize = 202;
  void append(unsigned int n);
  void clear() { *this = GrowthModel(); }
};

// A pseudo-random text over the given alphabet; the same seed gives the same text.
std::string randomText(unsigned long long seed, std::size_t length, std::string_view alphabet);

// All strings over the alphabet with at most `maxLength` bytes, the empty one first.
std::vector<std::string> allStrings(std::string_view alphabet, std::size_t maxLength);

}  // namespace harness

#endif
