#ifndef DORVANE_SUPPORT_CRITSECEXITOR_H
#define DORVANE_SUPPORT_CRITSECEXITOR_H

#include "support/DorvaneCritSec.h"

/// Holds a critical section for the length of a scope. A null pointer holds nothing.
class CritSecExitor {
 public:
  /// Waits for the section and enters it.
  explicit CritSecExitor(DorvaneCritSec* section) noexcept : m_section(section) {
    if (m_section != nullptr) m_section->enterCriticalSection();
  }

  /// Leaves the section.
  ~CritSecExitor() {
    if (m_section != nullptr) m_section->leaveCriticalSection();
  }

  CritSecExitor(const CritSecExitor&) = delete;
  CritSecExitor& operator=(const CritSecExitor&) = delete;

 private:
  DorvaneCritSec* m_section;
};

#endif
