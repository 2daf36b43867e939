#ifndef DORVANE_SUPPORT_DORVANECRITSEC_H
#define DORVANE_SUPPORT_DORVANECRITSEC_H

#include <mutex>

/// A critical section: one thread at a time is inside, and that thread may enter again. Entered
/// through a CritSecExitor. Nothing throws: a lock that the system refuses ends the program,
/// because going on without it would corrupt what it protects.
class DorvaneCritSec {
 public:
  DorvaneCritSec() noexcept;
  DorvaneCritSec(const DorvaneCritSec&) = delete;
  DorvaneCritSec& operator=(const DorvaneCritSec&) = delete;
  virtual ~DorvaneCritSec();

  /// Waits until no other thread is inside, and enters.
  void enterCriticalSection() noexcept;

  /// Leaves; called once per enterCriticalSection(), by the same thread.
  void leaveCriticalSection() noexcept;

 private:
  std::recursive_mutex m_mutex;
};

#endif
