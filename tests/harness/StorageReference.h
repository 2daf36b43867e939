#ifndef DORVANE_TESTS_HARNESS_STORAGEREFERENCE_H
#define DORVANE_TESTS_HARNESS_STORAGEREFERENCE_H

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "harness/BufferState.h"

namespace harness::reference {

// What a StringBuffer holds and how large its block is, told byte by byte and step by step. No
// storage is managed and nothing is fast; allocations always succeed.
class StorageModel {
 public:
  std::string content;
  unsigned int capacity = 0;  // 0: inline
  unsigned int extendSize = 202;

  unsigned int size() const { return static_cast<unsigned int>(content.size()); }

  void expectNumBytes(unsigned int n) {
    const unsigned int total = size() + n;
    if (capacity == 0) {
      if (total >= 82) capacity = total + extendSize + 1;
      return;
    }
    if (total < capacity) return;
    capacity = total + extendSize + 1;
    if (extendSize > 499999 || extendSize >= capacity) return;
    extendSize = capacity > 1000001 ? 500000 : capacity / 2;
  }

  void appendN(std::string_view bytes) {
    if (bytes.empty()) return;
    makeRoom(static_cast<unsigned int>(bytes.size()));
    content += bytes;
    while (!content.empty() && content.back() == '\0') content.pop_back();
  }

  void append(std::string_view text) {
    if (text.empty()) return;
    makeRoom(static_cast<unsigned int>(text.size()));
    content += text;
  }

  void appendChar(char c) {
    makeRoom(1);
    content += c;
  }

  void clear() {
    weakClear();
    capacity = 0;
  }

  void weakClear() {
    content.clear();
    extendSize = 202;
  }

  void setString(std::string_view text) {
    weakClear();
    append(text);
  }

  void setString(const StorageModel& other) {
    weakClear();
    appendN(other.content);
  }

  void assign(const StorageModel& other) {
    clear();
    appendN(other.content);
  }

  void shorten(unsigned int n) {
    for (; n > 0 && !content.empty(); --n) content.pop_back();
  }

  void chopAt(unsigned int index) {
    if (index < size()) content.resize(index);
  }

  unsigned int rollback(unsigned int newLength) {
    while (size() > newLength) content.pop_back();
    return size();
  }

  unsigned int removeChunk(unsigned int start, unsigned int count) {
    if (start >= size() || 0ULL + start + count > size()) return size();
    unsigned int end = start;
    for (unsigned int i = start + count; i < size() && content[i] != '\0'; ++i)
      content[end++] = content[i];
    content.resize(end);
    return end;
  }

  void takeSb(StorageModel& source) {
    *this = source;
    source = StorageModel();
  }

  void minimizeMemoryUsage() {
    if (capacity == 0) return;
    if (size() <= 81) {
      capacity = 0;
    } else if (capacity > size() + 256) {
      capacity = size() + 1;
    }
  }

 private:
  void makeRoom(unsigned int n) {
    const unsigned int need = size() + n + 1;
    if (capacity == 0 ? need >= 83 : need > capacity) expectNumBytes(n);
  }
};

// Compares everything that a user can observe.
inline testing::AssertionResult agrees(StringBuffer& buffer, const StorageModel& model) {
  return holds(buffer, model.content, model.capacity, model.extendSize);
}

}  // namespace harness::reference

#endif
