// Opening a converter loads a module, which takes a hundred times as long as a header of mail and
// is the one step that the C library may not survive without memory. So it happens as rarely as
// possible. Tested in tests/support/SystemPagesTest.cpp and tests/malloc.

#include "support/internal/SystemConverter.h"

#include <utility>

#if __has_include(<iconv.h>)

#include <iconv.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cwchar>

#include "support/dvPlatform.h"

namespace dorvane::internal {
namespace {

// The encoding of a block of code points. glibc calls it by this name without an intermediate
// step, which would keep a copy of the text.
#if defined(__STDC_ISO_10646__) && WCHAR_MAX > 0xFFFF
constexpr const char* kCodePoints = "WCHAR_T";
#else
const char* const kCodePoints = dvIsBigEndian() ? "UTF-32BE" : "UTF-32LE";
#endif

bool isOpen(iconv_t converter) noexcept { return reinterpret_cast<std::intptr_t>(converter) != -1; }

// glibc says of some allocations that fail inside it the same as of a name that it does not know.
// Asked again it says that there is no memory, or it succeeds.
iconv_t openLookingTwice(const char* to, const char* from) noexcept {
  iconv_t opened = iconv_open(to, from);
  return isOpen(opened) || errno != EINVAL ? opened : iconv_open(to, from);
}

// ---- The converters of a thread
//
// They belong to a key, not to a thread_local object: where memory is exhausted glibc ends the
// process when such an object is made, while a key only tells that it failed.

struct Kept {
  iconv_t of[SystemConverter::kSlots];  // null where there is none
};

pthread_key_t g_key;
std::atomic<bool> g_hasKey{false};

extern "C" void dorvaneCloseConverters(void* kept) {
  if (kept == nullptr) return;
  for (iconv_t converter : static_cast<Kept*>(kept)->of)
    if (converter != nullptr) iconv_close(converter);
  std::free(kept);
}

// The key goes when the library is unloaded, since its function goes too.
class KeyOwner {
 public:
  KeyOwner() noexcept { g_hasKey = pthread_key_create(&g_key, dorvaneCloseConverters) == 0; }
  ~KeyOwner() {
    if (!g_hasKey.exchange(false)) return;
    dorvaneCloseConverters(pthread_getspecific(g_key));
    pthread_key_delete(g_key);
  }
  KeyOwner(const KeyOwner&) = delete;
  KeyOwner& operator=(const KeyOwner&) = delete;
};

Kept* findKept() noexcept {
  static const KeyOwner kOwner;
  return g_hasKey ? static_cast<Kept*>(pthread_getspecific(g_key)) : nullptr;
}

// By calloc, as the converters themselves: this is no memory of the program's own.
Kept* findOrMakeKept() noexcept {
  Kept* kept = findKept();
  if (kept != nullptr || !g_hasKey) return kept;
  kept = static_cast<Kept*>(std::calloc(1, sizeof(Kept)));
  if (kept == nullptr || pthread_setspecific(g_key, kept) == 0) return kept;
  std::free(kept);
  return nullptr;
}

}  // namespace

PageState SystemConverter::open(unsigned int slot, Direction direction, const char* const* first,
                                const char* const* end) noexcept {
  giveBack();
  m_slot = slot;
  if (Kept* const kept = findKept(); kept != nullptr)
    m_handle = std::exchange(kept->of[slot], nullptr);
  if (m_handle != nullptr) return PageState::kReady;
  const bool decodes = direction == Direction::kDecode;
  for (; first != end && *first != nullptr; ++first) {
    iconv_t opened =
        openLookingTwice(decodes ? kCodePoints : *first, decodes ? *first : kCodePoints);
    if (isOpen(opened)) {
      m_handle = opened;
      return PageState::kReady;
    }
    if (errno != EINVAL) return PageState::kNoMemory;
  }
  return PageState::kNoConverter;
}

// Its state may hold a part of a secret text; the reset clears it.
void SystemConverter::giveBack() noexcept {
  if (m_handle == nullptr) return;
  auto* const converter = static_cast<iconv_t>(std::exchange(m_handle, nullptr));
  iconv(converter, nullptr, nullptr, nullptr, nullptr);
  Kept* const kept = findOrMakeKept();
  if (kept == nullptr || kept->of[m_slot] != nullptr) {
    iconv_close(converter);
  } else {
    kept->of[m_slot] = converter;
  }
}

ConverterStep SystemConverter::convert(const void* in, std::size_t inSize, void* out,
                                       std::size_t outSize) const noexcept {
  char* from = const_cast<char*>(static_cast<const char*>(in));
  char* to = static_cast<char*>(out);
  std::size_t inLeft = inSize;
  std::size_t outLeft = outSize;
  const std::size_t result = iconv(static_cast<iconv_t>(m_handle), &from, &inLeft, &to, &outLeft);
  const bool failed = result == static_cast<std::size_t>(-1);
  return {inSize - inLeft, outSize - outLeft, failed ? errno : 0};
}

std::size_t SystemConverter::finish(void* out, std::size_t outSize) const noexcept {
  char* to = static_cast<char*>(out);
  std::size_t left = outSize;
  iconv(static_cast<iconv_t>(m_handle), nullptr, nullptr, &to, &left);
  return outSize - left;
}

}  // namespace dorvane::internal

#else

namespace dorvane::internal {

PageState SystemConverter::open(unsigned int, Direction, const char* const*,
                                const char* const*) noexcept {
  return PageState::kNoConverter;
}

void SystemConverter::giveBack() noexcept {}

ConverterStep SystemConverter::convert(const void*, std::size_t, void*,
                                       std::size_t) const noexcept {
  return {0, 0, -1};
}

std::size_t SystemConverter::finish(void*, std::size_t) const noexcept { return 0; }

}  // namespace dorvane::internal

#endif

namespace dorvane::internal {

SystemConverter::SystemConverter(SystemConverter&& other) noexcept
    : m_handle(std::exchange(other.m_handle, nullptr)), m_slot(other.m_slot) {}

SystemConverter& SystemConverter::operator=(SystemConverter&& other) noexcept {
  if (this == &other) return *this;
  giveBack();
  m_handle = std::exchange(other.m_handle, nullptr);
  m_slot = other.m_slot;
  return *this;
}

SystemConverter::~SystemConverter() { giveBack(); }

}  // namespace dorvane::internal
