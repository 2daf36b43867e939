#include "support/ExtPtrArray.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>

#include "support/DorvaneObject.h"
#include "support/internal/Prefetch.h"

using dorvane::internal::kPrefetchDistance;
using dorvane::internal::prefetchForWriting;

ExtPtrArray::~ExtPtrArray() { removeAll(); }

bool ExtPtrArray::growAndAppend(DorvaneObject* object) {
  if (!grow(1)) {
    DorvaneObject::deleteObject(object);
    return false;
  }
  m_elements[m_size++] = object;
  return true;
}

bool ExtPtrArray::grow(int n) {
  constexpr std::int64_t kMostElements = std::min<std::int64_t>(
      std::numeric_limits<int>::max(), std::numeric_limits<std::ptrdiff_t>::max() / sizeof(void*));
  const std::int64_t wanted = std::int64_t{m_size} + n;
  if (wanted > kMostElements) return false;
  const std::int64_t least = n == 1 ? std::max<std::int64_t>(16, std::int64_t{m_capacity} * 2)
                                    : std::int64_t{m_capacity} + m_capacity / 8;
  const std::int64_t capacity = std::min(std::max(least, wanted), kMostElements);
  auto** elements = new (std::nothrow) DorvaneObject*[static_cast<std::size_t>(capacity)];
  if (elements == nullptr) return false;
  std::copy_n(m_elements, m_size, elements);
  delete[] m_elements;
  m_elements = elements;
  m_capacity = static_cast<int>(capacity);
  return true;
}

void ExtPtrArray::removeAll() {
  // The memory of a long list is fetched while the objects before are destroyed.
  constexpr std::size_t kFetched = 136;
  for (int i = 0; i < m_size; ++i) {
    if (m_size - i > kPrefetchDistance)
      prefetchForWriting<kFetched>(m_elements[i + kPrefetchDistance]);
    delete m_elements[i];
  }
  delete[] m_elements;
  m_elements = nullptr;
  m_size = 0;
  m_capacity = 0;
}
