// The storage of StringBuffer: one growth function, the clears and the truncations. Callers see the
// growth sequence through heapUsage() and getExtendSize(), so it is told only here. Tested in
// tests/core/StorageTest.cpp and, at the largest sizes, in tests/limits/.

#include <algorithm>
#include <cstdint>

#include "core/StringBuffer.h"
#include "core/internal/Limits.h"
#include "support/dvMemory.h"
#include "support/internal/AddressRange.h"

using dorvane::internal::kMaxContent;
using dorvane::internal::pointsInto;

namespace {

constexpr unsigned int kMaxExtendSize = 500000;
constexpr unsigned int kCapacityOfMaxExtendSize = 1000001;

// What a block for `total` bytes of content gets: the NUL and the slack, or only the NUL when the
// slack would make the block larger than the longest content needs.
unsigned int capacityFor(std::uint64_t total, unsigned int slack) {
  const std::uint64_t withSlack = total + slack + 1;
  return static_cast<unsigned int>(withSlack <= kMaxContent + 1 ? withSlack : total + 1);
}

// The slack of the allocation after one of `capacity` bytes.
unsigned int nextExtendSize(unsigned int extendSize, unsigned int capacity) {
  if (extendSize >= kMaxExtendSize || extendSize >= capacity) return extendSize;
  return capacity > kCapacityOfMaxExtendSize ? kMaxExtendSize : capacity / 2;
}

}  // namespace

// ---- Growth ----

bool StringBuffer::moveToLargerBlock(std::size_t n) {
  if (m_magic != kMagic || n > kMaxContent - std::min<std::uint64_t>(m_length, kMaxContent))
    return false;
  const unsigned int capacity = capacityFor(std::uint64_t{m_length} + n, m_extendSize);
  unsigned char* const block = dvNewUnsignedChar(capacity);
  if (block == nullptr) return false;

  const unsigned int held = contentSize();
  std::memcpy(block, m_data, held);
  if (held != m_length) std::memset(block + held, 0, m_length - held);
  block[m_length] = 0;
  // Deliberate: the first move to the heap leaves the extend size as it is.
  if (m_heap != nullptr) m_extendSize = nextExtendSize(m_extendSize, capacity);
  adoptBlock(block, capacity, m_length);
  return true;
}

bool StringBuffer::grow(std::size_t n) {
  unsigned char* const oldBlock = m_heap;
  const unsigned int oldCapacity = m_capacity;
  if (!moveToLargerBlock(n)) return false;
  retireBlock(oldBlock, oldCapacity);
  return true;
}

bool StringBuffer::growAndAppend(const char* bytes, std::size_t n) {
  unsigned char* const oldBlock = m_heap;
  const unsigned int oldCapacity = m_capacity;
  if (!moveToLargerBlock(n)) return false;
  // The bytes may lie in the old block, which is therefore released last.
  std::memcpy(m_data + m_length, bytes, n);
  endAt(m_length + static_cast<unsigned int>(n));
  retireBlock(oldBlock, oldCapacity);
  return true;
}

void StringBuffer::appendSingly(std::string_view bytes) {
  while (!bytes.empty()) {
    const bool hasRoom = makeRoom(1);
    const std::string_view run = bytes.substr(0, hasRoom ? storageSize() - m_length - 1 : 1);
    if (hasRoom) appendBytes(run);
    bytes.remove_prefix(run.size());
  }
}

bool StringBuffer::expectNumBytes(unsigned int n) { return m_magic == kMagic && makeRoom(n); }

bool StringBuffer::replaceKeepingBlock(std::string_view bytes) {
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
  if (m_heap != nullptr) m_inline[0] = '\0';
  dropTrailingNuls();
  return true;
}

bool StringBuffer::replaceByPieces(std::initializer_list<std::string_view> pieces) {
  std::uint64_t total = 0;
  for (const std::string_view piece : pieces) total += piece.size();
  StringBuffer out;
  out.m_secure = m_secure;
  if (total > kMaxContent || !out.makeRoom(static_cast<std::size_t>(total))) return false;
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

void StringBuffer::emptyForOutput() {
  if (m_secure)
    clear();
  else
    weakClear();
}

bool StringBuffer::appendExactFit(const char* bytes, std::size_t n) {
  const unsigned int saved = m_extendSize;
  m_extendSize = 0;
  const bool appended = appendBytes(bytes, n);
  m_extendSize = saved;
  return appended;
}

// ---- Storage primitives ----

bool StringBuffer::ownsAddress(const void* p) const noexcept {
  return pointsInto(p, m_inline, kInlineSize) ||
         (m_heap != nullptr && pointsInto(p, m_heap, m_capacity));
}

void StringBuffer::adoptBlock(unsigned char* block, unsigned int capacity,
                              unsigned int length) noexcept {
  m_heap = block;
  m_data = reinterpret_cast<char*>(block);
  m_capacity = capacity;
  m_length = length;
}

void StringBuffer::retireBlock(unsigned char* block, unsigned int capacity) const {
  if (block == nullptr) return;
  if (m_secure) dvSecureZero(block, capacity);
  delete[] block;
}

void StringBuffer::wipeStorage() noexcept {
  dvSecureZero(m_heap, m_capacity);
  dvSecureZero(m_inline, kInlineSize);
}

void StringBuffer::resetToInline() noexcept {
  m_heap = nullptr;
  m_capacity = 0;
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
  if (m_heap != nullptr) m_inline[0] = '\0';
  return done;
}

bool StringBuffer::setString(const StringBuffer& other) {
  if (&other == this) return true;
  weakClear();
  return appendN(other.m_data, other.contentSize());
}

// ---- Clearing ----

void StringBuffer::clear() {
  if (m_secure) wipeStorage();
  delete[] m_heap;
  resetToInline();
}

void StringBuffer::strongClear() { clear(); }

void StringBuffer::secureClear() {
  wipeStorage();
  delete[] m_heap;
  resetToInline();
}

void StringBuffer::weakClear() noexcept {
  m_inline[0] = '\0';
  m_extendSize = kInitialExtendSize;
  endAt(0);
}

unsigned char* StringBuffer::allocBuffer(unsigned int size) { return dvNewUnsignedChar(size); }

void StringBuffer::releaseBuffer() {
  if (m_secure) wipeStorage();
  delete[] m_heap;
  m_heap = nullptr;
  m_capacity = 0;
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
  const unsigned int length = contentSize();
  if (length <= newLength) return m_length;
  std::memset(m_data + newLength, 0, length - newLength);
  m_length = newLength;
  return newLength;
}

unsigned int StringBuffer::removeChunk(unsigned int start, unsigned int count) noexcept {
  const std::string_view all = content();
  if (start >= all.size() || count > all.size() - start) return m_length;
  std::string_view rest = all.substr(start + count);
  rest = rest.substr(0, rest.find('\0'));
  std::memmove(m_data + start, rest.data(), rest.size());
  endAt(start + static_cast<unsigned int>(rest.size()));
  return m_length;
}
