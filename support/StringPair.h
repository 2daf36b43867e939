#ifndef DORVANE_SUPPORT_STRINGPAIR_H
#define DORVANE_SUPPORT_STRINGPAIR_H

#include <memory>

#include "support/DorvaneObject.h"

/// A key and a value, both texts of its own.
class StringPair : public DorvaneObject {
 public:
  /// Copies both texts. The key may be null and stays so; a null value reads as the empty text.
  /// When memory is exhausted the pair has a null key and an empty value: users skip such pairs.
  StringPair(const char* key, const char* value);
  StringPair(const StringPair&) = delete;
  StringPair& operator=(const StringPair&) = delete;
  ~StringPair() override;

  /// The key, or null.
  const char* getKey() const noexcept { return m_key; }

  /// The value; never null.
  const char* getValue() const noexcept { return m_value; }

  /// Bytes that the two texts occupy, NULs included; at most 4294967295.
  unsigned int heapUsage() override;

 private:
  // Both texts stand in one block: the value first, then the key.
  std::unique_ptr<char[]> m_texts;
  const char* m_key = nullptr;
  const char* m_value = "";
};

#endif
