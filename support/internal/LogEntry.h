#ifndef DORVANE_SUPPORT_INTERNAL_LOGENTRY_H
#define DORVANE_SUPPORT_INTERNAL_LOGENTRY_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

#include "support/LogBase.h"
#include "support/dvMemory.h"
#include "support/internal/NewArray.h"

/// One block holds the entry and, after it, its texts.
struct LogBase::Entry {
  Entry* previous;
  Entry* next;
  const char* name;
  const char* value;
  std::size_t size;  // of the block
  unsigned int depth;
  Kind kind;
  bool isSecret;

  static Entry* create(const char* name, const char* value) noexcept {
    const std::size_t nameSize = std::strlen(name) + 1;
    const std::size_t valueSize = std::strlen(value) + 1;
    const std::uint64_t size = std::uint64_t{sizeof(Entry)} + nameSize + valueSize;
    char* const block = dorvane::internal::newArray<char>(size);
    if (block == nullptr) return nullptr;
    char* const texts = block + sizeof(Entry);
    std::memcpy(texts, name, nameSize);
    std::memcpy(texts + nameSize, value, valueSize);
    auto* const entry = new (block) Entry();
    entry->name = texts;
    entry->value = texts + nameSize;
    entry->size = static_cast<std::size_t>(size);
    return entry;
  }

  static void destroy(Entry* entry) noexcept {
    if (entry->isSecret) dvSecureZero(entry, entry->size);
    delete[] reinterpret_cast<char*>(entry);
  }
};

#endif
