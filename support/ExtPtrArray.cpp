#include "support/ExtPtrArray.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>

#include "support/DorvaneObject.h"

ExtPtrArray::~ExtPtrArray() { removeAll(); }

bool ExtPtrArray::appendPtr(DorvaneObject* object) {
  if (!reserveMore(1)) {
    DorvaneObject::deleteObject(object);
    return false;
  }
  m_elements[m_size++] = object;
  return true;
}

bool ExtPtrArray::reserveMore(int n) {
  constexpr std::int64_t kMostElements = std::min<std::int64_t>(
      std::numeric_limits<int>::max(), std::numeric_limits<std::ptrdiff_t>::max() / sizeof(void*));
  if (n <= m_capacity - m_size) return true;
  const std::int64_t wanted = std::int64_t{m_size} + n;
  if (wanted > kMostElements) return false;
  const std::int64_t doubled = std::max<std::int64_t>(16, std::int64_t{m_capacity} * 2);
  const std::int64_t capacity = std::min(std::max(doubled, wanted), kMostElements);
  auto** elements = new (std::nothrow) DorvaneObject*[static_cast<std::size_t>(capacity)];
  if (elements == nullptr) return false;
  std::copy_n(m_elements, m_size, elements);
  delete[] m_elements;
  m_elements = elements;
  m_capacity = static_cast<int>(capacity);
  return true;
}

void ExtPtrArray::removeAll() {
  for (int i = 0; i < m_size; ++i) DorvaneObject::deleteObject(m_elements[i]);
  delete[] m_elements;
  m_elements = nullptr;
  m_size = 0;
  m_capacity = 0;
}
