// Trimming in place. Tested in tests/text/TrimTest.cpp.

#include "core/StringBuffer.h"
#include "support/ByteSet.h"

using dorvane::internal::ByteSet;

unsigned int StringBuffer::trimEnds(const ByteSet& set) noexcept {
  const unsigned int oldLength = contentSize();
  const auto lead = static_cast<unsigned int>(set.findFirstNotIn(m_data, oldLength));
  if (lead != 0) std::memmove(m_data, m_data + lead, oldLength - lead);
  unsigned int length = oldLength - lead;
  while (length > 0 && set.contains(m_data[length - 1])) --length;
  if (length != oldLength) std::memset(m_data + length, 0, oldLength - length);
  m_length = length;
  return oldLength - length;
}
