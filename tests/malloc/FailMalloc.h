#ifndef DORVANE_TESTS_MALLOC_FAILMALLOC_H
#define DORVANE_TESTS_MALLOC_FAILMALLOC_H

// This program replaces malloc, calloc and realloc themselves, so that what the C library allocates
// for its own purposes fails too; operator new comes through here as well.
namespace harness {

// While one lives, allocations made by this thread are counted from 1, and the k-th fails: only
// that one, or that one and all later ones. Not nestable.
class FailMalloc {
 public:
  enum Mode { kOnce, kFromThenOn };
  FailMalloc(long k, Mode mode);
  ~FailMalloc();
  FailMalloc(const FailMalloc&) = delete;
  FailMalloc& operator=(const FailMalloc&) = delete;

  // Whether one has failed, and fails no more from now on.
  bool stop();
};

}  // namespace harness

#endif
