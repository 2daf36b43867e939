#ifndef DORVANE_TESTS_HARNESS_SYSTEMFILES_H
#define DORVANE_TESTS_HARNESS_SYSTEMFILES_H

#include <gtest/gtest.h>
#include <unistd.h>

namespace harness {

// Files that Linux shows under /sys: one that is shorter than its size, and one that cannot be
// read. Not every kernel and container has them.
inline constexpr const char* kShortFile = "/sys/devices/system/cpu/online";
inline constexpr const char* kUnreadableFile = "/sys/devices/system/cpu/power/autosuspend_delay_ms";

}  // namespace harness

// Skips the rest of a test on a system without the file.
#define SKIP_WITHOUT(path) \
  if (::access(path, F_OK) != 0) GTEST_SKIP() << "this system has no " << (path)

#endif
