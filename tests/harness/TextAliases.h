#ifndef DORVANE_TESTS_HARNESS_TEXTALIASES_H
#define DORVANE_TESTS_HARNESS_TEXTALIASES_H

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/BufferState.h"
#include "harness/ModelBuffer.h"
#include "harness/StorageLayout.h"

namespace harness {

// A buffer that can be made again and again, for arguments that point into it.
struct AliasScene {
  const char* name;
  std::string content;  // without NULs
  unsigned int room;    // bytes to spare in a heap block; kInline: there is no block
  unsigned int length;  // what is left of the content; old bytes stand behind it

  static constexpr unsigned int kInline = 0xFFFFFFFFU;

  void make(StringBuffer& buffer) const {
    if (room != kInline) {
      buffer.append(content.substr(0, 20).c_str());
      fillHeap(buffer, content.substr(20), room);
    } else {
      buffer.append(content.c_str());
    }
    buffer.chopAt(length);
  }
};

inline std::vector<AliasScene> aliasScenes() {
  const std::string few = "<ab&\"c>x";
  std::string many;
  while (many.size() < 200) many += "k<ey & 'v\"al>ue";
  const auto size = static_cast<unsigned int>(many.size());
  return {{"inline, with room", few, AliasScene::kInline, 8},
          {"inline, cut", few, AliasScene::kInline, 3},
          {"inline, nearly full", many.substr(0, 79), AliasScene::kInline, 79},
          {"inline, full", many.substr(0, 81), AliasScene::kInline, 81},
          {"inline, full, cut", many.substr(0, 81), AliasScene::kInline, 70},
          {"heap, full", many, 0, size},
          {"heap, full, cut", many, 0, size - 5},
          {"heap, with room", many, 5000, size},
          {"heap, with room, cut", many, 5000, size / 2}};
}

// Addresses of texts in the storage: in the content, at its NUL, behind it, and in the inline
// array while the content is elsewhere.
inline std::vector<const char*> textsInside(const AliasScene& scene, StringBuffer& buffer) {
  std::vector<const char*> all;
  const std::size_t stored = scene.content.size();
  for (const std::size_t at : {std::size_t{0}, std::size_t{1}, std::size_t{scene.length} / 2,
                               std::size_t{scene.length} - 1, std::size_t{scene.length},
                               std::size_t{scene.length} + 1, stored - 1, stored})
    if (at <= stored) all.push_back(buffer.getString() + at);
  const StorageLayout layout;
  const auto* array = reinterpret_cast<const char*>(&buffer) + layout.offsetOf(layout.inlineArray);
  if (buffer.heapUsage() != 0) all.insert(all.end(), {array, array + 5});
  return all;
}

// Runs a member with every text that lies in the buffer: it must do what it does with a copy.
inline void expectTextsMayLieInside(const std::function<int(StringBuffer&, const char*)>& member) {
  for (const AliasScene& scene : aliasScenes()) {
    SCOPED_TRACE(scene.name);
    StringBuffer counted;
    scene.make(counted);
    const std::size_t texts = textsInside(scene, counted).size();
    for (std::size_t i = 0; i < texts; ++i) {
      StringBuffer aliased;
      StringBuffer copied;
      scene.make(aliased);
      scene.make(copied);
      const char* inside = textsInside(scene, aliased)[i];
      const std::string copy = inside;
      EXPECT_EQ(member(aliased, inside), member(copied, copy.c_str())) << i;
      EXPECT_TRUE(invariantsHold(aliased));
      EXPECT_EQ(stateOf(aliased), stateOf(copied)) << "text " << i << ": " << copy;
    }
  }
}

}  // namespace harness

#endif
