#include "malloc/FailMalloc.h"

#include <cerrno>
#include <cstddef>

namespace {

struct State {
  long failAt = 0;
  bool persistent = false;
  bool active = false;
  bool fired = false;
  long seen = 0;
};

thread_local State t_state;

bool mustFail() {
  State& state = t_state;
  if (!state.active) return false;
  ++state.seen;
  const bool fail = state.persistent ? state.seen >= state.failAt : state.seen == state.failAt;
  if (fail) errno = ENOMEM;
  state.fired = state.fired || fail;
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

FailMalloc::FailMalloc(long k, Mode mode) { t_state = {k, mode == kFromThenOn, true, false, 0}; }

FailMalloc::~FailMalloc() { stop(); }

bool FailMalloc::stop() {
  t_state.active = false;
  return t_state.fired;
}

}  // namespace harness
