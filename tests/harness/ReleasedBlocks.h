#ifndef DORVANE_TESTS_HARNESS_RELEASEDBLOCKS_H
#define DORVANE_TESTS_HARNESS_RELEASEDBLOCKS_H

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"

namespace harness {

// The bytes of every block that `body` releases, as they are at the moment of release. Blocks
// that the body itself makes count too, so keep only the code under test there.
inline std::vector<std::string> releasedBy(const std::function<void()>& body) {
  std::vector<std::string> blocks;
  WatchReleases watch([&blocks](const unsigned char* block, std::size_t size) {
    blocks.emplace_back(reinterpret_cast<const char*>(block), size);
  });
  body();
  return blocks;
}

inline bool isZero(std::string_view bytes) {
  return bytes.find_first_not_of('\0') == std::string_view::npos;
}

inline bool isWiped(std::string_view block) {
  return isWiped(reinterpret_cast<const unsigned char*>(block.data()), block.size());
}

inline testing::AssertionResult allWiped(const std::vector<std::string>& blocks) {
  for (const std::string& block : blocks) {
    if (isWiped(block)) continue;
    return testing::AssertionFailure()
           << "a block of " << block.size() << " bytes is released with a byte at "
           << block.find_first_not_of('\0');
  }
  return testing::AssertionSuccess();
}

// Whether the buffer behaves as a secure one: empties it, and looks at a block it releases.
inline bool wipesItsBlocks(StringBuffer& buffer) {
  const std::string text(100, 's');
  buffer.clear();
  buffer.append(text.c_str());
  const std::vector<std::string> blocks = releasedBy([&] { buffer.clear(); });
  return blocks.size() == 1 && isWiped(blocks[0]);
}

}  // namespace harness

#endif
