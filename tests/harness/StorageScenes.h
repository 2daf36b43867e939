#ifndef DORVANE_TESTS_HARNESS_STORAGESCENES_H
#define DORVANE_TESTS_HARNESS_STORAGESCENES_H

#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/StorageReference.h"

namespace harness {

// A way to a certain state: bytes appended one by one, then a cut, then perhaps a weak clear.
struct Scene {
  static constexpr unsigned int kNoCut = 0xFFFFFFFFU;

  const char* name;
  std::string bytes;
  unsigned int chopAt = kNoCut;
  bool weakClear = false;
};

// abc...zabc...: no NUL, and every position within 26 bytes is told apart.
inline std::string letters(std::size_t n) {
  std::string text(n, '\0');
  for (std::size_t i = 0; i < n; ++i) text[i] = static_cast<char>('a' + i % 26);
  return text;
}

// Buffers of every kind: inline and on the heap, full and not, cut, with NULs.
inline const std::vector<Scene>& scenes() {
  using namespace std::string_literals;
  static const std::vector<Scene> all = {
      {"empty", ""},
      {"one byte", "a"},
      {"short", "abcdef"},
      {"inline, one byte free", letters(80)},
      {"inline, full", letters(81)},
      {"heap, with room", letters(82)},
      {"heap, full", letters(284)},
      {"heap, second block full", letters(487)},
      {"heap, cut to inline size", letters(284), 20},
      {"heap, cut to nothing", letters(284), 0},
      {"heap, weakly cleared", letters(284), Scene::kNoCut, true},
      {"embedded NULs", "ab\0cd\0ef"s},
      {"trailing NULs", "ab\0\0"s},
      {"only NULs", "\0\0"s},
      {"heap, trailing NULs", letters(100) + "\0\0"s},
  };
  return all;
}

template <class Buffer>
void play(const Scene& scene, Buffer& buffer) {
  for (const char c : scene.bytes) buffer.appendChar(c);
  if (scene.chopAt != Scene::kNoCut) buffer.chopAt(scene.chopAt);
  if (scene.weakClear) buffer.weakClear();
}

inline reference::StorageModel modelOf(const Scene& scene) {
  reference::StorageModel model;
  play(scene, model);
  return model;
}

inline unsigned int sizeOf(std::string_view bytes) {
  return static_cast<unsigned int>(bytes.size());
}

inline bool appendBytes(StringBuffer& buffer, std::string_view bytes) {
  return buffer.appendN(bytes.data(), sizeOf(bytes));
}

inline bool isInline(const StringBuffer& buffer) {
  const auto* object = reinterpret_cast<const char*>(&buffer);
  return buffer.getString() >= object && buffer.getString() < object + sizeof(StringBuffer);
}

// A heap block of 285 bytes full of letters, of which the first ten are the content, under a
// full inline array.
inline void makeDirty(StringBuffer& buffer) {
  appendBytes(buffer, letters(81));
  appendBytes(buffer, letters(1));
  appendBytes(buffer, letters(202));
  buffer.chopAt(10);
}

}  // namespace harness

#endif
