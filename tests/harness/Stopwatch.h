#ifndef DORVANE_TESTS_HARNESS_STOPWATCH_H
#define DORVANE_TESTS_HARNESS_STOPWATCH_H

#include <ctime>

namespace harness {

// The processor time that `body` takes, which a busy machine does not change; for generous bounds
// that only non-linear work exceeds.
template <class Body>
double secondsOf(Body body) {
  const std::clock_t start = std::clock();
  body();
  return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

}  // namespace harness

#endif
