#ifndef DORVANE_TESTS_HARNESS_RAWCONTENT_H
#define DORVANE_TESTS_HARNESS_RAWCONTENT_H

#include <gtest/gtest.h>

#include <string_view>

#include "core/StringBuffer.h"

namespace harness {

// Appends exactly these bytes, NULs at the end included (which appendN() alone would drop).
inline void fill(StringBuffer& buffer, std::string_view bytes) {
  const std::size_t kept = bytes.find_last_not_of('\0') + 1;
  ASSERT_TRUE(buffer.appendN(bytes.data(), static_cast<unsigned int>(kept)));
  for (std::size_t i = kept; i < bytes.size(); ++i) ASSERT_TRUE(buffer.appendChar('\0'));
}

}  // namespace harness

#endif
