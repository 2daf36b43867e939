// The storage of StringBuffer: one growth function, the clears and the truncations. Callers see the
// growth sequence through heapUsage() and getExtendSize(), so it is written only here. It says what
// is recorded; how much memory is held is another matter, decided in sizeToHold(). Tested in
// tests/core/StorageTest.cpp, tests/core/HeldBlockTest.cpp and, at the largest sizes, in
// tests/limits/.

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "core/StringBuffer.h"
#include "core/internal/Limits.h"
#include "core/internal/SanityCheck.h"
#include "support/dvMemory.h"
#include "support/internal/AddressRange.h"

using dorvane::internal::kMaxContent;
using dorvane::internal::pointsInto;

using dorvane::internal::SanityCheck;

namespace {

constexpr unsigned int kMaxExtendSize = 500000;
constexpr unsigned int kCapacityOfMaxExtendSize = 1000001;
constexpr std::uint64_t kMaxBlock = kMaxContent + 1;

// What a block for `total` bytes of content is recorded with: the NUL and the slack, or only the
// NUL if the slack would make it larger than the longest content needs.
unsigned int capacityFor(std::uint64_t total, unsigned int slack) {
  const std::uint64_t withSlack = total + slack + 1;
  return static_cast<unsigned int>(withSlack <= kMaxBlock ? withSlack : total + 1);
}

// The slack of the step after one to `capacity` bytes.
unsigned int nextExtendSize(unsigned int extendSize, unsigned int capacity) {
  if (extendSize >= kMaxExtendSize || extendSize >= capacity) return extendSize;
  return capacity > kCapacityOfMaxExtendSize ? kMaxExtendSize : capacity / 2;
}

// The memory to hold for a recorded capacity. Steps that grow with the content hold what they
// record. Those of constant size, and those to the longest content, would copy the content in every
// one of them: the block doubles there, so that a byte is copied once on average.
std::uint64_t sizeToHold(unsigned int capacity, unsigned int slack, unsigned int held) {
  const bool isLinear = slack >= kMaxExtendSize || capacity + std::uint64_t{slack} >= kMaxBlock;
  if (held == 0 || slack == 0 || !isLinear) return capacity;
  return std::max<std::uint64_t>(capacity, std::min(std::uint64_t{held} * 2, kMaxBlock));
}

// No slack of a content that ends with `total` bytes is larger, if it starts with `extendSize`. One
// that does not fit beside the content is left out.
std::uint64_t largestSlack(std::uint64_t total, unsigned int extendSize) {
  const std::uint64_t grown = std::min<std::uint64_t>(total / 2, kMaxExtendSize);
  return total + extendSize + 1 > kMaxBlock ? grown : std::max<std::uint64_t>(extendSize, grown);
}

constexpr bool isAt(std::size_t offset, std::size_t expected) {
  return sizeof(void*) != 8 || offset == expected;
}

}  // namespace

// ---- Layout ----

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
#endif

// The layout where a pointer has 64 bits. It is part of the binary interface.
struct StringBuffer::Layout {
  static_assert(isAt(sizeof(StringBuffer), 136));
  static_assert(isAt(offsetof(StringBuffer, m_magic), 12));
  static_assert(isAt(offsetof(StringBuffer, m_secure), 13));
  static_assert(isAt(offsetof(StringBuffer, m_data), 16));
  static_assert(isAt(offsetof(StringBuffer, m_inline), 24));
  static_assert(isAt(offsetof(StringBuffer, m_slot), 108));
  static_assert(isAt(offsetof(StringBuffer, m_heap), 112));
  static_assert(isAt(offsetof(StringBuffer, m_recordedCapacity), 120));
  static_assert(isAt(offsetof(StringBuffer, m_length), 124));
  static_assert(isAt(offsetof(StringBuffer, m_extendSize), 128));
  static_assert(isAt(offsetof(StringBuffer, m_heldSize), 132));
};

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

// ---- Growth ----

bool StringBuffer::takeStep(unsigned long long n, RetiredBlock& old) {
  if (m_magic != kMagic || n > kMaxContent - std::min<std::uint64_t>(m_length, kMaxContent))
    return false;
  const unsigned int capacity = capacityFor(m_length + n, m_extendSize);
  const bool wasInline = isInline();
  if (capacity > m_heldSize) {
    auto size = static_cast<unsigned int>(sizeToHold(capacity, m_extendSize, m_heldSize));
    unsigned char* block = dvNewUnsignedChar(size);
    if (block == nullptr && size != capacity) block = dvNewUnsignedChar(size = capacity);
    if (block == nullptr) return false;
    moveTo(block, size, old);
  } else if (wasInline) {
    copyContentTo(m_heap);
  }
  m_data = reinterpret_cast<char*>(m_heap);
  m_recordedCapacity = capacity;
  // Deliberate: the first move to the heap leaves the extend size as it is.
  if (!wasInline) m_extendSize = nextExtendSize(m_extendSize, capacity);
  return true;
}

bool StringBuffer::grow(unsigned long long n) {
  const SanityCheck check(*this);
  RetiredBlock old;
  if (!takeStep(n, old)) return false;
  m_data[m_length] = '\0';
  release(old);
  return true;
}

bool StringBuffer::growAndAppend(const char* bytes, std::size_t n) {
  const SanityCheck check(*this);
  RetiredBlock old;
  if (!takeStep(n, old)) return false;
  // The bytes may lie in the old block, which is therefore released last, or in this one.
  std::memmove(m_data + m_length, bytes, n);
  endAt(m_length + static_cast<unsigned int>(n));
  release(old);
  return true;
}

void StringBuffer::copyContentTo(unsigned char* block) const noexcept {
  const unsigned int size = contentSize();
  std::memcpy(block, m_data, size);
  if (size != m_length) std::memset(block + size, 0, m_length - size);
}

void StringBuffer::moveTo(unsigned char* block, unsigned int size, RetiredBlock& old) noexcept {
  copyContentTo(block);
  old = {m_heap, m_recordedCapacity};
  m_heap = block;
  m_heldSize = size;
}

void StringBuffer::release(const RetiredBlock& old) const {
  if (m_secure) dvSecureZero(old.bytes, old.used);
  delete[] old.bytes;
}

// Room for the largest capacity that can be recorded on the way there. A block doubles at least
// where the steps of growth are of constant size: however many reservations a content goes through,
// a byte of it is copied once on average.
void StringBuffer::reserve(unsigned long long total) {
  const SanityCheck check(*this);
  if (m_magic != kMagic || total < kInlineSize || total > kMaxContent || total < m_length) return;
  const auto slack = static_cast<unsigned int>(largestSlack(total, m_extendSize));
  const auto needed =
      static_cast<unsigned int>(std::min<std::uint64_t>(total + slack + 1, kMaxBlock));
  if (needed <= m_heldSize || total < storageSize()) return;
  auto size = static_cast<unsigned int>(sizeToHold(needed, slack, isInline() ? 0 : m_heldSize));
  unsigned char* block = dvNewUnsignedChar(size);
  if (block == nullptr && size != needed) block = dvNewUnsignedChar(size = needed);
  if (block == nullptr) return;
  RetiredBlock old;
  if (isInline()) {
    old.bytes = m_heap;
    m_heap = block;
    m_heldSize = size;
  } else {
    moveTo(block, size, old);
    m_data = reinterpret_cast<char*>(block);
    m_data[m_length] = '\0';
  }
  release(old);
}

void StringBuffer::dropReserve() noexcept {
  if (!isInline()) return;
  delete[] m_heap;
  m_heap = nullptr;
  m_heldSize = 0;
}

bool StringBuffer::expectNumBytes(unsigned int n) { return m_magic == kMagic && makeRoom(n); }

bool StringBuffer::replaceKeepingBlock(std::string_view bytes) {
  const SanityCheck check(*this);
  const unsigned int savedLength = m_length;
  const unsigned int savedExtendSize = m_extendSize;
  m_length = 0;
  m_extendSize = kInitialExtendSize;
  if (!bytes.empty() && !fits(bytes.size())) {
    if (growAndAppend(bytes.data(), bytes.size())) {
      m_inline[0] = '\0';
      dropTrailingNuls();
      return true;
    }
    m_length = savedLength;
    m_extendSize = savedExtendSize;
    return false;
  }
  if (!bytes.empty()) std::memmove(m_data, bytes.data(), bytes.size());
  endAt(static_cast<unsigned int>(bytes.size()));
  if (!isInline()) m_inline[0] = '\0';
  dropTrailingNuls();
  return true;
}

bool StringBuffer::replaceByPieces(std::initializer_list<std::string_view> pieces) {
  std::uint64_t total = 0;
  for (const std::string_view piece : pieces) total += piece.size();
  StringBuffer out;
  out.m_secure = m_secure;
  if (total > kMaxContent || !out.makeRoom(total)) return false;
  for (const std::string_view piece : pieces) out.appendBytes(piece);
  out.dropTrailingNuls();
  takeSb(out);
  return true;
}

void StringBuffer::replaceByBlock(unsigned char* block, unsigned int capacity,
                                  unsigned int length) {
  if (m_secure) wipeStorage();
  delete[] m_heap;
  adoptBlock(block, capacity, length);
  endAt(length);
}

// ---- Storage primitives ----

// A buffer that looks dead is not judged, nor the length of one whose storage was just released.
bool StringBuffer::isSane() const noexcept {
  if (m_magic != kMagic) return true;
  if ((m_heap == nullptr) != (m_heldSize == 0)) return false;
  if (isInline()) return m_data == m_inline;
  return m_data == reinterpret_cast<const char*>(m_heap) && m_recordedCapacity <= m_heldSize &&
         m_length < m_recordedCapacity;
}

bool StringBuffer::ownsAddress(const void* p) const noexcept {
  return pointsInto(p, m_inline, kInlineSize) ||
         (m_heap != nullptr && pointsInto(p, m_heap, m_heldSize));
}

void StringBuffer::adoptBlock(unsigned char* block, unsigned int capacity,
                              unsigned int length) noexcept {
  m_heap = block;
  m_data = reinterpret_cast<char*>(block);
  m_recordedCapacity = capacity;
  m_heldSize = capacity;
  m_length = length;
}

void StringBuffer::wipeStorage() noexcept {
  dvSecureZero(m_heap, m_recordedCapacity);
  dvSecureZero(m_inline, kInlineSize);
}

void StringBuffer::resetToInline() noexcept {
  m_heap = nullptr;
  m_recordedCapacity = 0;
  m_heldSize = 0;
  m_data = m_inline;
  m_extendSize = kInitialExtendSize;
  endAt(0);
}

void StringBuffer::dropTrailingNuls() noexcept {
  unsigned int length = contentSize();
  while (length > 0 && m_data[length - 1] == '\0') --length;
  m_length = length;
}

std::string_view StringBuffer::text() const noexcept {
  const std::string_view all = content();
  const void* nul = std::memchr(all.data(), '\0', all.size());
  return nul == nullptr
             ? all
             : all.substr(0, static_cast<std::size_t>(static_cast<const char*>(nul) - all.data()));
}

// ---- Content ----

char* StringBuffer::pCharAt(unsigned int index) const noexcept {
  return index <= contentSize() ? m_data + index : nullptr;
}

bool StringBuffer::isNonTerminated() const noexcept {
  return m_length >= storageSize() || m_data[m_length] != '\0';
}

bool StringBuffer::append(const StringBuffer& other) {
  if (&other == this || !other.hasLiveWord()) return false;
  return appendN(other.m_data, other.contentSize());
}

bool StringBuffer::setString(const char* text) {
  const SanityCheck check(*this);
  const std::size_t n = text == nullptr ? 0 : std::strlen(text);
  m_extendSize = kInitialExtendSize;
  bool done = true;
  if (n != 0 && pointsInto(text, m_data, storageSize())) {
    // A text inside the storage always fits there; only its place changes.
    std::memmove(m_data, text, n);
    endAt(static_cast<unsigned int>(n));
  } else {
    endAt(0);
    done = n == 0 || appendBytes(text, n);
  }
  if (!isInline()) m_inline[0] = '\0';
  return done;
}

bool StringBuffer::setString(const StringBuffer& other) {
  if (&other == this) return true;
  weakClear();
  return appendN(other.m_data, other.contentSize());
}

// ---- Clearing ----

void StringBuffer::clear() {
  const SanityCheck check(*this);
  if (m_secure) wipeStorage();
  delete[] m_heap;
  resetToInline();
}

void StringBuffer::strongClear() { clear(); }

void StringBuffer::secureClear() {
  const SanityCheck check(*this);
  wipeStorage();
  delete[] m_heap;
  resetToInline();
}

void StringBuffer::weakClear() noexcept {
  const SanityCheck check(*this);
  m_inline[0] = '\0';
  m_extendSize = kInitialExtendSize;
  endAt(0);
}

unsigned char* StringBuffer::allocBuffer(unsigned int size) { return dvNewUnsignedChar(size); }

void StringBuffer::releaseBuffer() {
  if (m_secure) wipeStorage();
  delete[] m_heap;
  m_heap = nullptr;
  m_recordedCapacity = 0;
  m_heldSize = 0;
  m_data = m_inline;
}

// ---- Truncations ----

void StringBuffer::shorten(unsigned int n) noexcept {
  const unsigned int length = contentSize();
  rollback(n < length ? length - n : 0);
}

void StringBuffer::chopAt(unsigned int index) noexcept {
  if (index < contentSize()) endAt(index);
}

unsigned int StringBuffer::rollback(unsigned int newLength) noexcept {
  const SanityCheck check(*this);
  const unsigned int length = contentSize();
  if (length <= newLength) return m_length;
  std::memset(m_data + newLength, 0, length - newLength);
  m_length = newLength;
  return newLength;
}

unsigned int StringBuffer::removeChunk(unsigned int start, unsigned int count) noexcept {
  const SanityCheck check(*this);
  const std::string_view all = content();
  if (start >= all.size() || count > all.size() - start) return m_length;
  std::string_view rest = all.substr(start + count);
  rest = rest.substr(0, rest.find('\0'));
  std::memmove(m_data + start, rest.data(), rest.size());
  endAt(start + static_cast<unsigned int>(rest.size()));
  return m_length;
}
