#ifndef DORVANE_TESTS_HARNESS_LIVENESSMARKS_H
#define DORVANE_TESTS_HARNESS_LIVENESSMARKS_H

#include <cstring>

#include "core/StringBuffer.h"

// A buffer is known to be alive by the validity word of its base and by a marker byte of its
// own. The classes here break one of the two while they live, so that a test can hand over a
// buffer that looks dead without touching freed memory.
namespace harness {

class BrokenValidityWord {
 public:
  explicit BrokenValidityWord(NonRefCountedObj& object)
      : m_word(reinterpret_cast<unsigned char*>(&object)) {
    unsigned int value = 0;
    while (std::memcpy(&value, m_word, sizeof value), value != NonRefCountedObj::kLiveWord)
      m_word += sizeof value;
    flip();
  }
  ~BrokenValidityWord() { flip(); }
  BrokenValidityWord(const BrokenValidityWord&) = delete;
  BrokenValidityWord& operator=(const BrokenValidityWord&) = delete;

 private:
  void flip() { m_word[0] = static_cast<unsigned char>(m_word[0] ^ 0xFFU); }

  unsigned char* m_word;
};

class BrokenMarker {
 public:
  explicit BrokenMarker(StringBuffer& buffer)
      : m_marker(reinterpret_cast<unsigned char*>(&buffer)) {
    for (;; ++m_marker) {
      if (*m_marker != 0xAA) continue;
      flip();
      if (!buffer.isValidObject()) return;
      flip();
    }
  }
  ~BrokenMarker() { flip(); }
  BrokenMarker(const BrokenMarker&) = delete;
  BrokenMarker& operator=(const BrokenMarker&) = delete;

 private:
  void flip() { *m_marker = static_cast<unsigned char>(*m_marker ^ 0xFFU); }

  unsigned char* m_marker;
};

}  // namespace harness

#endif
