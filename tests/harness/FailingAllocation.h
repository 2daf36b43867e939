#ifndef DORVANE_TESTS_HARNESS_FAILINGALLOCATION_H
#define DORVANE_TESTS_HARNESS_FAILINGALLOCATION_H

namespace harness {

// Which allocation is to fail: the k-th one counted from now on, only it or all later ones too;
// none for k = 0. Starts idle.
class FailingAllocation {
 public:
  void start(long k, bool persistent) { *this = FailingAllocation(k, persistent); }
  void stop() { m_active = false; }

  // Counts an allocation; whether it is to fail.
  bool next() {
    if (!m_active) return false;
    ++m_seen;
    const bool fail = m_k != 0 && (m_persistent ? m_seen >= m_k : m_seen == m_k);
    m_fired = m_fired || fail;
    return fail;
  }

  long seen() const { return m_seen; }
  bool fired() const { return m_fired; }

  constexpr FailingAllocation() = default;

 private:
  FailingAllocation(long k, bool persistent) : m_k(k), m_persistent(persistent), m_active(true) {}

  long m_k = 0;
  long m_seen = 0;
  bool m_persistent = false;
  bool m_active = false;
  bool m_fired = false;
};

}  // namespace harness

#endif
