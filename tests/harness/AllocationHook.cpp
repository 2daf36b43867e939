#include "harness/AllocationHook.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "harness/FailingAllocation.h"

namespace {

// Each block is preceded by its size, at a distance that keeps the alignment.
constexpr std::size_t kHeader = alignof(std::max_align_t) > sizeof(std::size_t)
                                    ? alignof(std::max_align_t)
                                    : sizeof(std::size_t);

constexpr std::size_t kNoLimit = SIZE_MAX - kHeader;

struct HookState {
  harness::FailingAllocation failing;
  std::size_t largest = kNoLimit;
  long live = 0;
  harness::AllocationCount made = {0, 0};
  harness::WatchReleases::Callback* callback = nullptr;
};

thread_local HookState t_hook;

void* allocate(std::size_t size) noexcept {
  if (t_hook.failing.next() || size > t_hook.largest) return nullptr;
  auto* raw = static_cast<unsigned char*>(std::malloc(size + kHeader));
  if (raw == nullptr) return nullptr;
  *reinterpret_cast<std::size_t*>(raw) = size;
  ++t_hook.live;
  ++t_hook.made.blocks;
  t_hook.made.bytes += static_cast<long long>(size);
  std::memset(raw + kHeader, harness::kFreshByte, size);
  return raw + kHeader;
}

void* allocateOrThrow(std::size_t size) {
  void* block = allocate(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void release(void* block) noexcept {
  if (block == nullptr) return;
  auto* raw = static_cast<unsigned char*>(block) - kHeader;
  --t_hook.live;
  if (auto* callback = std::exchange(t_hook.callback, nullptr)) {
    (*callback)(static_cast<unsigned char*>(block), *reinterpret_cast<std::size_t*>(raw));
    t_hook.callback = callback;
  }
  std::free(raw);
}

}  // namespace

void* operator new(std::size_t size) { return allocateOrThrow(size); }
void* operator new[](std::size_t size) { return allocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void operator delete(void* block) noexcept { release(block); }
void operator delete[](void* block) noexcept { release(block); }
void operator delete(void* block, std::size_t) noexcept { release(block); }
void operator delete[](void* block, std::size_t) noexcept { release(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { release(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { release(block); }

namespace harness {

FailAllocation::FailAllocation(long k, Mode mode) { t_hook.failing.start(k, mode == kFromThenOn); }

FailLargeAllocations::FailLargeAllocations(std::size_t largest) { t_hook.largest = largest; }

FailLargeAllocations::~FailLargeAllocations() { t_hook.largest = kNoLimit; }

FailAllocation::~FailAllocation() { t_hook.failing.stop(); }

long FailAllocation::seen() const { return t_hook.failing.seen(); }

bool FailAllocation::fired() const { return t_hook.failing.fired(); }

long failEveryAllocation(const std::function<void()>& setUp, const std::function<void()>& body,
                         const std::function<void()>& check) {
  long failed = 0;
  for (const auto mode : {FailAllocation::kOnce, FailAllocation::kFromThenOn}) {
    for (long k = 1;; ++k) {
      setUp();
      bool fired = false;
      {
        FailAllocation fail(k, mode);
        body();
        fired = fail.fired();
      }
      check();
      if (!fired) break;
      ++failed;
    }
  }
  return failed;
}

WatchReleases::WatchReleases(Callback callback) {
  t_hook.callback = new Callback(std::move(callback));
}

WatchReleases::~WatchReleases() { delete std::exchange(t_hook.callback, nullptr); }

bool isWiped(const unsigned char* block, std::size_t size) {
  while (size > 0 && block[size - 1] == kFreshByte) --size;
  for (; size > 0; --size)
    if (block[size - 1] != 0) return false;
  return true;
}

AllocationCount allocationsMade() { return t_hook.made; }

long liveBlocks() { return t_hook.live; }

}  // namespace harness
