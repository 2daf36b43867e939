#ifndef DORVANE_TESTS_HARNESS_ALLOCATIONHOOK_H
#define DORVANE_TESTS_HARNESS_ALLOCATIONHOOK_H

#include <cstddef>
#include <functional>

// The test programs replace the global operator new and delete by versions that count, that can
// fail on demand and that can show a block at the moment it is released.
namespace harness {

// While one lives, allocations made by this thread are counted from 1, and the k-th fails: only
// that one, or that one and all later ones. k = 0 only counts. Allocations of the test itself
// inside the scope count too, so keep only the code under test there. Not nestable.
class FailAllocation {
 public:
  enum Mode { kOnce, kFromThenOn };
  explicit FailAllocation(long k, Mode mode = kOnce);
  ~FailAllocation();
  FailAllocation(const FailAllocation&) = delete;
  FailAllocation& operator=(const FailAllocation&) = delete;

  long seen() const;   // allocations tried since construction
  bool fired() const;  // whether one has failed
};

// While one lives, this thread gets no block of more than `largest` bytes: what is reserved for a
// whole result fails, and its first pieces find memory.
class FailLargeAllocations {
 public:
  explicit FailLargeAllocations(std::size_t largest);
  ~FailLargeAllocations();
  FailLargeAllocations(const FailLargeAllocations&) = delete;
  FailLargeAllocations& operator=(const FailLargeAllocations&) = delete;
};

// Runs `body` with every k-th allocation failing, k = 1, 2, ..., once each and persistently,
// until a run makes no more than k - 1 allocations. `setUp` makes fresh objects before each run
// outside the failing scope; `check` verifies the invariants after it. Returns the number of
// failed allocation points; allocated bytes must balance (checked by the caller's sanitizer).
long failEveryAllocation(const std::function<void()>& setUp, const std::function<void()>& body,
                         const std::function<void()>& check);

// While one lives, every block that this thread releases with operator delete or delete[] is
// shown to the callback before it is freed, with the size that was asked for at allocation.
class WatchReleases {
 public:
  using Callback = std::function<void(const unsigned char* block, std::size_t size)>;
  explicit WatchReleases(Callback callback);
  ~WatchReleases();
  WatchReleases(const WatchReleases&) = delete;
  WatchReleases& operator=(const WatchReleases&) = delete;
};

// What a fresh block is filled with: neither a zero nor text.
constexpr unsigned char kFreshByte = 0xA5;

// True if nothing of what was written to a block is left in it. The end of a block that was never
// in use still has its fresh bytes.
bool isWiped(const unsigned char* block, std::size_t size);

// Allocations of this thread and the bytes that they asked for, since its start.
struct AllocationCount {
  long long blocks;
  long long bytes;
};
AllocationCount allocationsMade();

// Number of live blocks allocated by this thread; equal before and after means no leak.
long liveBlocks();

}  // namespace harness

#endif
