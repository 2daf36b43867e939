#ifndef DORVANE_CORE_INTERNAL_SANITYCHECK_H
#define DORVANE_CORE_INTERNAL_SANITYCHECK_H

#include "core/StringBuffer.h"

#ifdef DORVANE_CHECK_INVARIANTS
#include <cstdio>
#include <cstdlib>
#endif

namespace dorvane::internal {

/// Checks the invariants of a buffer on entry and on exit of the scope that it is declared in. On
/// in debug, sanitizer and fuzz builds; otherwise it does nothing.
class SanityCheck {
 public:
#ifdef DORVANE_CHECK_INVARIANTS
  explicit SanityCheck(const StringBuffer& buffer) : m_buffer(buffer) { check(); }
  ~SanityCheck() { check(); }
  SanityCheck(const SanityCheck&) = delete;
  SanityCheck& operator=(const SanityCheck&) = delete;

 private:
  void check() const {
    if (m_buffer.isSane()) return;
    std::fputs("dorvane-text: the storage of a StringBuffer is corrupt\n", stderr);
    std::abort();
  }

  const StringBuffer& m_buffer;
#else
  explicit SanityCheck(const StringBuffer& /*buffer*/) noexcept {}
#endif
};

}  // namespace dorvane::internal

#endif
