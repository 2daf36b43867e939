// How a StringBuffer comes into being, is copied, hands its storage on and ends.
// Tested in tests/core/LifecycleTest.cpp.

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>

#include "core/StringBuffer.h"
#include "core/internal/SanityCheck.h"
#include "support/DataBuffer.h"
#include "support/LogBase.h"
#include "support/LogContextExitor.h"
#include "support/dvMemory.h"

using dorvane::internal::SanityCheck;

// ---- Construction, assignment, destruction ----

StringBuffer::StringBuffer(const StringBuffer& other) : StringBuffer() {
  m_secure = other.m_secure;
  append(other);
}

StringBuffer::StringBuffer(StringBuffer&& source) noexcept : StringBuffer() {
  if (!source.hasLiveWord()) return;
  m_secure = source.m_secure;
  takeStorage(source);
  if (m_secure) dvSecureZero(source.m_inline, kInlineSize);
}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): append() refuses this very buffer.
StringBuffer& StringBuffer::operator=(const StringBuffer& other) {
  clear();
  append(other);
  return *this;
}

StringBuffer& StringBuffer::operator=(const char* text) {
  append(text);
  return *this;
}

// ---- Factories ----

StringBuffer* StringBuffer::createNewSB() { return new (std::nothrow) StringBuffer; }

StringBuffer* StringBuffer::createNewSB(const char* text) {
  StringBuffer* const buffer = createNewSB();
  if (buffer == nullptr || buffer->append(text)) return buffer;
  deleteSb(buffer);
  return nullptr;
}

StringBuffer* StringBuffer::createNewSB(const StringBuffer& other) {
  StringBuffer* const buffer = createNewSB(0U);
  if (buffer == nullptr) return nullptr;
  if (!buffer->appendN(other.m_data, other.contentSize())) {
    deleteSb(buffer);
    return nullptr;
  }
  buffer->m_extendSize = kInitialExtendSize;
  return buffer;
}

StringBuffer* StringBuffer::createNewSB(unsigned int extendSize) {
  StringBuffer* const buffer = createNewSB();
  if (buffer != nullptr) buffer->m_extendSize = extendSize;
  return buffer;
}

void StringBuffer::deleteSb(StringBuffer* buffer) { deleteObject(buffer); }

// ---- Copies out ----

char* StringBuffer::createCopy() const {
  const unsigned int n = contentSize();
  char* const copy = dvNewChar(n + 1);
  if (copy == nullptr) return nullptr;
  std::memcpy(copy, m_data, n);
  copy[n] = '\0';
  return copy;
}

char* StringBuffer::copyString(unsigned int* outLength) const {
  const unsigned int n = contentSize();
  if (outLength != nullptr) *outLength = n;
  char* const copy = dvNewChar(n + 1);
  if (copy == nullptr) return nullptr;
  const std::string_view held = text();
  std::memcpy(copy, held.data(), held.size());
  std::memset(copy + held.size(), 0, n + 1 - held.size());
  return copy;
}

unsigned int StringBuffer::copyToBuffer(char* destination, unsigned int size) const {
  if (destination == nullptr || size == 0) return 0;
  const unsigned int n = std::min(contentSize(), size - 1);
  // Up to n bytes, a NUL of the content included.
  const std::size_t copied = std::min<std::size_t>(text().size() + 1, n);
  std::memmove(destination, m_data, copied);
  destination[n] = '\0';
  return n;
}

// ---- Transfers ----

unsigned char* StringBuffer::extractString(unsigned int* outLength) {
  unsigned int length = 0;
  unsigned int size = 0;
  unsigned char* const block = extractString2(length, size);
  if (outLength != nullptr) *outLength = length;
  return block;
}

unsigned char* StringBuffer::extractString2(unsigned int& length, unsigned int& size) {
  length = contentSize();
  unsigned char* block = m_heap;
  unsigned int blockSize = m_recordedCapacity;
  if (isInline()) {
    blockSize = contentSize() + 1;
    block = dvNewUnsignedChar(blockSize);
    if (block == nullptr) return nullptr;
    std::memcpy(block, m_inline, length);
    dropReserve();
  }
  block[length] = '\0';
  size = blockSize;
  resetToInline();
  return block;
}

void StringBuffer::takeSb(StringBuffer& source) {
  const SanityCheck check(*this);
  clear();
  takeStorage(source);
}

void StringBuffer::takeStorage(StringBuffer& source) noexcept {
  const unsigned int length = source.contentSize();
  m_extendSize = source.m_extendSize;
  if (source.isInline()) {
    std::memmove(m_inline, source.m_inline, length);
    endAt(length);
    source.dropReserve();
  } else {
    const unsigned int held = source.m_heldSize;
    adoptBlock(source.m_heap, source.m_recordedCapacity, length);
    m_heldSize = held;
  }
  source.resetToInline();
}

bool StringBuffer::takeFromDb(DataBuffer& source) {
  clear();
  if (!source.prepForSbTake(m_secure)) return false;
  if (source.getSize() < 2) return true;
  adoptBlock(source.getData2(), source.getBufSize(), source.getSize() - 1);
  source.dropData();
  return true;
}

bool StringBuffer::append(const DataBuffer& data) {
  return appendN(reinterpret_cast<const char*>(data.getData2()), data.getSize());
}

// ---- Memory ----

void StringBuffer::minimizeMemoryUsage() {
  const SanityCheck check(*this);
  dropReserve();
  if (isInline()) return;
  const unsigned int length = contentSize();
  if (length < kInlineSize) {
    const RetiredBlock old = {m_heap, m_recordedCapacity};
    std::memcpy(m_inline, m_data, length);
    m_heap = nullptr;
    m_recordedCapacity = 0;
    m_heldSize = 0;
    m_data = m_inline;
    endAt(length);
    release(old);
  } else if (m_recordedCapacity > std::uint64_t{length} + 256) {
    moveToExactBlock(length + 1);
  } else if (m_heldSize > std::uint64_t{m_recordedCapacity} + 256) {
    moveToExactBlock(m_recordedCapacity);
  }
}

// A block that cannot be had leaves everything as it is.
void StringBuffer::moveToExactBlock(unsigned int capacity) {
  unsigned char* const block = dvNewUnsignedChar(capacity);
  if (block == nullptr) return;
  RetiredBlock old;
  const unsigned int length = contentSize();
  moveTo(block, capacity, old);
  adoptBlock(block, capacity, length);
  endAt(length);
  release(old);
}

unsigned int StringBuffer::memoryUsage() const noexcept {
  constexpr unsigned int kObjectSize = sizeof(StringBuffer);
  constexpr unsigned int kMost = std::numeric_limits<unsigned int>::max();
  return m_recordedCapacity > kMost - kObjectSize ? kMost : m_recordedCapacity + kObjectSize;
}

unsigned int StringBuffer::heapUsage() { return m_recordedCapacity; }

void StringBuffer::logSbMemUsage(LogBase& log) const {
  const LogContextExitor context(log, "sbMemUsage", m_secure);
  log.LogDataLong("bufSize", static_cast<long>(m_recordedCapacity));
  log.LogDataLong("dataSize", static_cast<long>(m_length));
  withTerminatedText([&log](const char* text) { log.LogData("str", text); });
}
