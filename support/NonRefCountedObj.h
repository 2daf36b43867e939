#ifndef DORVANE_SUPPORT_NONREFCOUNTEDOBJ_H
#define DORVANE_SUPPORT_NONREFCOUNTEDOBJ_H

#include "support/DorvaneObject.h"
#include "support/dvMemory.h"

/// Base of objects with one owner. It carries a validity word, so that an operation that is
/// handed a reference to an object that has already died can refuse it instead of copying
/// whatever its memory holds now.
class NonRefCountedObj : public DorvaneObject {
 public:
  /// The value of the validity word from construction to destruction.
  static constexpr unsigned int kLiveWord = 0x62CB09E3U;

  NonRefCountedObj() noexcept : m_validityWord(kLiveWord) {}

  /// A copy is an object of its own, alive from here on.
  NonRefCountedObj(const NonRefCountedObj&) noexcept : NonRefCountedObj() {}

  /// Leaves the validity word as it is.
  NonRefCountedObj& operator=(const NonRefCountedObj&) noexcept { return *this; }

  /// Overwrites the validity word; the store reaches memory at every optimisation level.
  ~NonRefCountedObj() override {
    m_validityWord = 0;
    dvKeepStores(this);
  }

  /// True while the object lives.
  bool hasLiveWord() const noexcept { return m_validityWord == kLiveWord; }

 private:
  unsigned int m_validityWord;
};

#endif
