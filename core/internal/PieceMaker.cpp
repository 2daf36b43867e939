// How the memory of pieces is found and given back.
//
//     chunk:  [ pieces left | slot 0 | slot 1 | ... ]
//
// A piece knows the number of its slot, and so where its chunk begins; that takes no memory, for
// the number is where a buffer has padding. The chunk counts the pieces that are alive or still to
// be made. While a maker works on it, only the slots that it has not used keep it alive; after that
// the chunk belongs to its pieces, and the release of the last one frees it.
//
// Tested in tests/core/PieceMakerTest.cpp.

#include "core/internal/PieceMaker.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <limits>
#include <new>

#if defined(__has_include)
#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#define DORVANE_HAVE_SINGLE_THREADED
#endif
#endif

#if defined(__SANITIZE_ADDRESS__)
#define DORVANE_UNDER_ASAN
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define DORVANE_UNDER_ASAN
#endif
#endif

#if defined(__GNUC__) && defined(__ELF__)
// Defined where a program runs under AddressSanitizer, or its form in hardware.
extern "C" {
__attribute__((weak)) void __asan_init();    // NOLINT(bugprone-reserved-identifier)
__attribute__((weak)) void __hwasan_init();  // NOLINT(bugprone-reserved-identifier)
}
#endif

namespace dorvane::internal {

struct alignas(Piece) PieceChunk {
  explicit PieceChunk(unsigned int pieces) noexcept : left(pieces) {}

  std::atomic<unsigned int> left;
};

namespace {

// Nearly 32 MiB. A chunk is as large as its list needs, not a page or so: an allocator keeps a
// large block for a program that comes back for it, whereas the memory of many small ones goes back
// to the system with every list, and is had again page by page. Beyond 32 MiB it keeps none.
constexpr std::size_t kMostPieces = (std::size_t{32} << 20) / sizeof(Piece) - 64;

static_assert(kMostPieces <= std::numeric_limits<unsigned int>::max());
static_assert(alignof(Piece) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__);

bool isSingleThreaded() noexcept {
#if defined(DORVANE_HAVE_SINGLE_THREADED)
  return __libc_single_threaded != 0;
#else
  return false;
#endif
}

// Whether `n` were all that was left. As long as there is one thread only, the atomic operation is
// spared, which would cost a fifth of the release of a list.
bool takesLast(std::atomic<unsigned int>& left, unsigned int n) noexcept {
  if (!isSingleThreaded()) return left.fetch_sub(n, std::memory_order_acq_rel) == n;
  const unsigned int rest = left.load(std::memory_order_acquire) - n;
  left.store(rest, std::memory_order_release);
  return rest == 0;
}

void* newMemory(std::size_t pieces) noexcept {
  return ::operator new(sizeof(PieceChunk) + pieces * sizeof(Piece), std::nothrow);
}

void giveBack(PieceChunk* chunk, std::size_t pieces) noexcept {
  if (!takesLast(chunk->left, static_cast<unsigned int>(pieces))) return;
  chunk->~PieceChunk();
  ::operator delete(chunk);
}

// AddressSanitizer knows blocks, not slots. Under it every piece is a block of its own, so that one
// that is used after its release is reported, with the place of the release.
bool isBlockByBlock() noexcept {
#if defined(DORVANE_UNDER_ASAN)
  return true;
#elif defined(__GNUC__) && defined(__ELF__)
  return __asan_init != nullptr || __hwasan_init != nullptr;
#else
  return false;
#endif
}

}  // namespace

Piece::~Piece() = default;

// Not inline: a compiler that knows the largest size copies by an instruction that is slow to
// start.
void Piece::copyText(std::string_view text) noexcept {
  m_inline[text.copy(m_inline, text.size())] = '\0';
}

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
#endif

void Piece::operator delete(void* piece) noexcept {
  // The destructor leaves the number alone, and the read is volatile, so that it reads memory
  // whatever a compiler concludes about an object that is dead.
  auto* const slot = static_cast<unsigned char*>(piece);
  const std::size_t number =
      *reinterpret_cast<const volatile unsigned int*>(slot + offsetof(Piece, m_slot));
  giveBack(reinterpret_cast<PieceChunk*>(slot - number * sizeof(Piece) - sizeof(PieceChunk)), 1);
}

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

PieceMaker::~PieceMaker() {
  if (!needsChunk()) giveBack(m_chunk, m_slots - m_made);
}

bool PieceMaker::startChunk(std::size_t expected) noexcept {
  std::size_t slots = std::clamp<std::size_t>(expected, 1, m_mostInChunk);
  void* memory = newMemory(slots);
  while (memory == nullptr && slots > 1) memory = newMemory(slots /= 2);
  if (memory == nullptr) return false;
  m_chunk = new (memory) PieceChunk(static_cast<unsigned int>(slots));
  m_next = static_cast<unsigned char*>(memory) + sizeof(PieceChunk);
  m_made = 0;
  m_slots = slots;
  return true;
}

std::size_t PieceMaker::mostPiecesInChunk() noexcept { return isBlockByBlock() ? 1 : kMostPieces; }

}  // namespace dorvane::internal
