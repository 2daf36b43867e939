#ifndef DORVANE_TESTS_LIMITS_LIMIT_H
#define DORVANE_TESTS_LIMITS_LIMIT_H

#ifndef DORVANE_TEXT_MAX_CONTENT
#error "the limit of the library under test is not known"
#endif

namespace harness {

// The longest content of the library in this build.
constexpr unsigned int kMost = DORVANE_TEXT_MAX_CONTENT;
static_assert(kMost == 1048576, "the figures of the tests are those of 1 MiB");

}  // namespace harness

#endif
