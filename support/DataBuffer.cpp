#include "support/DataBuffer.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "support/dvMemory.h"

namespace {

constexpr std::uint64_t kMostBytes = 0xFFFFFFFFU;
constexpr std::uint64_t kFirstBlock = 64;

}  // namespace

DataBuffer::~DataBuffer() { release(); }

bool DataBuffer::append(const void* bytes, unsigned int n) {
  if (bytes == nullptr || n == 0) return true;
  const std::uint64_t total = std::uint64_t{m_size} + n;
  if (total <= m_capacity) {
    std::memmove(m_block + m_size, bytes, n);
    m_size = static_cast<unsigned int>(total);
    return true;
  }
  return total <= kMostBytes && growAndAppend(bytes, n);
}

bool DataBuffer::appendChar(unsigned char byte) { return append(&byte, 1); }

bool DataBuffer::ensureBuffer(unsigned int n) {
  if (n <= m_capacity) return true;
  unsigned char* const block = dvNewUnsignedChar(n);
  if (block == nullptr) return false;
  adoptBlock(block, n);
  return true;
}

void DataBuffer::clear() {
  if (m_secure) dvSecureZero(m_block, m_capacity);
  m_size = 0;
}

bool DataBuffer::prepForSbTake(bool wipes) {
  if (m_size == 0 || m_block[m_size - 1] == 0) return true;
  const bool wasSecure = m_secure;
  m_secure = m_secure || wipes;
  const bool appended = appendChar(0);
  m_secure = wasSecure;
  return appended;
}

void DataBuffer::dropData() noexcept {
  m_block = nullptr;
  m_size = 0;
  m_capacity = 0;
}

bool DataBuffer::growAndAppend(const void* bytes, unsigned int n) {
  const std::uint64_t doubled = std::min(std::uint64_t{m_capacity} * 2, kMostBytes);
  const auto capacity =
      static_cast<unsigned int>(std::max({std::uint64_t{m_size} + n, doubled, kFirstBlock}));
  unsigned char* const block = dvNewUnsignedChar(capacity);
  if (block == nullptr) return false;
  // The bytes may lie in the old block, which adoptBlock() releases.
  std::memcpy(block + m_size, bytes, n);
  adoptBlock(block, capacity);
  m_size += n;
  return true;
}

void DataBuffer::adoptBlock(unsigned char* block, unsigned int capacity) {
  if (m_size != 0) std::memcpy(block, m_block, m_size);
  release();
  m_block = block;
  m_capacity = capacity;
}

void DataBuffer::release() {
  if (m_secure) dvSecureZero(m_block, m_capacity);
  delete[] m_block;
}
