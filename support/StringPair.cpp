#include "support/StringPair.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "support/internal/NewArray.h"

using dorvane::internal::newArray;

namespace {

std::size_t sizeWithNul(const char* text) noexcept {
  return text == nullptr ? 0 : std::strlen(text) + 1;
}

const char* copyTo(char* room, const char* text, std::size_t size) noexcept {
  std::memcpy(room, text, size);
  return room;
}

}  // namespace

StringPair::StringPair(const char* key, const char* value) {
  const std::size_t valueSize = sizeWithNul(value);
  const std::size_t keySize = sizeWithNul(key);
  if (valueSize + keySize == 0) return;
  m_texts.reset(newArray<char>(std::uint64_t{valueSize} + keySize));
  if (m_texts == nullptr) return;
  if (value != nullptr) m_value = copyTo(m_texts.get(), value, valueSize);
  if (key != nullptr) m_key = copyTo(m_texts.get() + valueSize, key, keySize);
}

StringPair::~StringPair() = default;

unsigned int StringPair::heapUsage() {
  if (m_texts == nullptr) return 0;
  const std::uint64_t valueSize = m_value == m_texts.get() ? sizeWithNul(m_value) : 0;
  return static_cast<unsigned int>(
      std::min<std::uint64_t>(valueSize + sizeWithNul(m_key), UINT32_MAX));
}
