#include "malloc/FailMalloc.h"

#include <cerrno>
#include <cstddef>

#include "harness/FailingAllocation.h"

namespace {

thread_local harness::FailingAllocation t_failing;

bool mustFail() {
  const bool fail = t_failing.next();
  if (fail) errno = ENOMEM;
  return fail;
}

}  // namespace

// glibc's own allocator goes by these names too.
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);

void* malloc(std::size_t size) noexcept { return mustFail() ? nullptr : __libc_malloc(size); }

void* calloc(std::size_t count, std::size_t size) noexcept {
  return mustFail() ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* block, std::size_t size) noexcept {
  return mustFail() ? nullptr : __libc_realloc(block, size);
}
}

namespace harness {

FailMalloc::FailMalloc(long k, Mode mode) { t_failing.start(k, mode == kFromThenOn); }

FailMalloc::~FailMalloc() { stop(); }

bool FailMalloc::stop() {
  t_failing.stop();
  return t_failing.fired();
}

}  // namespace harness
