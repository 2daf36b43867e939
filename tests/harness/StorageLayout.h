#ifndef DORVANE_TESTS_HARNESS_STORAGELAYOUT_H
#define DORVANE_TESTS_HARNESS_STORAGELAYOUT_H

#include <cstddef>
#include <cstring>
#include <string>

#include "core/StringBuffer.h"

#define DORVANE_TESTS_NOINLINE __attribute__((noinline))

namespace harness {

// The private fields of a StringBuffer, read from the memory of a living or destroyed object.
struct StorageFields {
  unsigned int validityWord = 0;
  unsigned char magic = 0;
  unsigned char secure = 0;
  const void* data = nullptr;
  std::string inlineBytes;
  const void* heap = nullptr;
  unsigned int capacity = 0;
  unsigned int length = 0;
  unsigned int extendSize = 0;
  unsigned int heldSize = 0;
};

// The same fields in the same order: tells where they lie in the object.
struct StorageLayout : NonRefCountedObj {
  unsigned char magic = 0;
  bool secure = false;
  char* data = nullptr;
  char inlineArray[82] = {};
  unsigned char* heap = nullptr;
  unsigned int capacity = 0;
  unsigned int length = 0;
  unsigned int extendSize = 0;
  unsigned int heldSize = 0;

  template <class Field>
  std::size_t offsetOf(const Field& field) const {
    return static_cast<std::size_t>(reinterpret_cast<const char*>(&field) -
                                    reinterpret_cast<const char*>(this));
  }
};
static_assert(sizeof(StorageLayout) == sizeof(StringBuffer), "the layouts have come apart");

// Reads n bytes that the compiler may believe to be dead.
DORVANE_TESTS_NOINLINE inline void peekBytes(const void* from, void* to, std::size_t n) {
  const auto* source = static_cast<const volatile unsigned char*>(from);
  auto* target = static_cast<unsigned char*>(to);
  for (std::size_t i = 0; i < n; ++i) target[i] = source[i];
}

template <class Field>
Field peek(const void* object, std::size_t offset) {
  Field value;
  peekBytes(static_cast<const char*>(object) + offset, &value, sizeof value);
  return value;
}

// Where the validity word stands in every NonRefCountedObj.
inline std::size_t validityWordOffset() {
  const NonRefCountedObj object;
  std::size_t offset = 0;
  while (offset + sizeof(unsigned int) < sizeof object &&
         peek<unsigned int>(&object, offset) != NonRefCountedObj::kLiveWord)
    offset += sizeof(unsigned int);
  return offset;
}

inline std::string peekInlineBytes(const void* object) {
  const StorageLayout at;
  std::string bytes(sizeof at.inlineArray, '\0');
  peekBytes(static_cast<const char*>(object) + at.offsetOf(at.inlineArray), bytes.data(),
            bytes.size());
  return bytes;
}

inline StorageFields peekFields(const void* object) {
  const StorageLayout at;
  StorageFields fields;
  fields.validityWord = peek<unsigned int>(object, validityWordOffset());
  fields.magic = peek<unsigned char>(object, at.offsetOf(at.magic));
  fields.secure = peek<unsigned char>(object, at.offsetOf(at.secure));
  fields.data = peek<const void*>(object, at.offsetOf(at.data));
  fields.inlineBytes = peekInlineBytes(object);
  fields.heap = peek<const void*>(object, at.offsetOf(at.heap));
  fields.capacity = peek<unsigned int>(object, at.offsetOf(at.capacity));
  fields.length = peek<unsigned int>(object, at.offsetOf(at.length));
  fields.extendSize = peek<unsigned int>(object, at.offsetOf(at.extendSize));
  fields.heldSize = peek<unsigned int>(object, at.offsetOf(at.heldSize));
  return fields;
}

DORVANE_TESTS_NOINLINE inline void flipByte(void* object, std::size_t offset) {
  auto* byte = static_cast<volatile unsigned char*>(object) + offset;
  *byte = static_cast<unsigned char>(*byte ^ 0xFF);
}

// Makes a living buffer look as if its memory had been overwritten; a second call mends it.
inline void flipMarker(StringBuffer& buffer) {
  const StorageLayout at;
  flipByte(&buffer, at.offsetOf(at.magic));
}

inline void flipValidityWord(NonRefCountedObj& object) { flipByte(&object, validityWordOffset()); }

}  // namespace harness

#endif
