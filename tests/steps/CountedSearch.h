#ifndef DORVANE_TESTS_STEPS_COUNTEDSEARCH_H
#define DORVANE_TESTS_STEPS_COUNTEDSEARCH_H

#include <functional>

namespace steps {

// How many bytes the searches of the library look at while `body` runs. The program brings plain
// searches of its own that take the place of the library's, and count.
unsigned long long bytesSearchedBy(const std::function<void()>& body);

}  // namespace steps

#endif
