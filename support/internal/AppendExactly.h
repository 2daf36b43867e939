#ifndef DORVANE_SUPPORT_INTERNAL_APPENDEXACTLY_H
#define DORVANE_SUPPORT_INTERNAL_APPENDEXACTLY_H

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "core/StringBuffer.h"

namespace dorvane::internal {

/// Appends bytes and keeps the NULs at their end, which appendN() would drop. The bytes may lie in
/// `out`. False, with the content as before, when the buffer cannot grow.
inline bool appendExactly(std::string_view bytes, StringBuffer& out) {
  constexpr std::size_t kMostAtOnce = 1U << 20U;
  const unsigned int sizeBefore = out.getSize();
  const std::size_t kept = bytes.find_last_not_of('\0') + 1;
  bool appended = out.appendN(bytes.data(), static_cast<unsigned int>(kept));
  for (std::size_t nuls = bytes.size() - kept; appended && nuls > 0;) {
    const std::size_t n = std::min(nuls, kMostAtOnce);
    appended = out.appendCharN('\0', static_cast<unsigned int>(n));
    nuls -= n;
  }
  if (!appended) out.rollback(sizeBefore);
  return appended;
}

}  // namespace dorvane::internal

#endif
