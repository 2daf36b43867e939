#ifndef DORVANE_TESTS_HARNESS_STOPWATCH_H
#define DORVANE_TESTS_HARNESS_STOPWATCH_H

#include <algorithm>
#include <cstddef>
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

// How much longer `run(2 * size)` takes than `run(size)`: about 2 times for linear work and 4 times
// for quadratic work. The best of several runs counts.
template <class Run>
double growthOfTime(std::size_t size, Run run) {
  double best[2] = {1e9, 1e9};
  for (int round = 0; round < 5; ++round) {
    for (std::size_t i = 0; i < 2; ++i)
      best[i] = std::min(best[i], secondsOf([&] { run(size << i); }));
  }
  return best[1] / best[0];
}

}  // namespace harness

#endif
