#ifndef DORVANE_TESTS_HARNESS_LIVENESSMARKS_H
#define DORVANE_TESTS_HARNESS_LIVENESSMARKS_H

#include "core/StringBuffer.h"
#include "harness/StorageLayout.h"

// A buffer is known to be alive by the validity word of its base and by a marker byte of its
// own. The classes here break one of the two while they live, so that a test can hand over a
// buffer that looks dead without touching freed memory.
namespace harness {

class BrokenValidityWord {
 public:
  explicit BrokenValidityWord(NonRefCountedObj& object) : m_object(object) { flip(); }
  ~BrokenValidityWord() { flip(); }
  BrokenValidityWord(const BrokenValidityWord&) = delete;
  BrokenValidityWord& operator=(const BrokenValidityWord&) = delete;

 private:
  void flip() { flipValidityWord(m_object); }

  NonRefCountedObj& m_object;
};

class BrokenMarker {
 public:
  explicit BrokenMarker(StringBuffer& buffer) : m_buffer(buffer) { flip(); }
  ~BrokenMarker() { flip(); }
  BrokenMarker(const BrokenMarker&) = delete;
  BrokenMarker& operator=(const BrokenMarker&) = delete;

 private:
  void flip() { flipMarker(m_buffer); }

  StringBuffer& m_buffer;
};

}  // namespace harness

#endif
