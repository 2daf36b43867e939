#ifndef DORVANE_TESTS_HARNESS_OPERATION_H
#define DORVANE_TESTS_HARNESS_OPERATION_H

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/ModelBuffer.h"
#include "harness/ReleasedBlocks.h"
#include "harness/StaleStorage.h"

// Members that take texts, run beside their slow references wherever the content and the texts
// may lie.
namespace harness {

using Texts = std::vector<const char*>;

// A member with all its arguments but the texts bound. What it returns and what it stores in
// output parameters is told in words.
struct Operation {
  std::string name;
  std::function<std::string(StringBuffer&, const Texts&)> real;
  std::function<std::string(ModelBuffer&, const Texts&)> told;
};

inline std::string inWords(bool result) { return result ? "true" : "false"; }
inline std::string inWords(unsigned int result) { return std::to_string(result); }

inline std::string inWords(const ModelBuffer& model) {
  return testing::PrintToString(model.bytes) + " heap " + std::to_string(model.capacity) +
         " extend " + std::to_string(model.extendSize);
}

inline std::string inWords(StringBuffer& buffer) {
  return invariantsHold(buffer) ? inWords(modelOf(buffer)) : "a broken buffer";
}

// Copies of texts; null stays null.
class CopiedTexts {
 public:
  explicit CopiedTexts(const Texts& texts) {
    for (const char* text : texts) m_copies.emplace_back(text == nullptr ? "" : text);
    for (std::size_t i = 0; i < texts.size(); ++i)
      m_texts.push_back(texts[i] == nullptr ? nullptr : m_copies[i].c_str());
  }
  CopiedTexts(const CopiedTexts&) = delete;
  CopiedTexts& operator=(const CopiedTexts&) = delete;

  const Texts& texts() const { return m_texts; }

 private:
  std::vector<std::string> m_copies;
  Texts m_texts;
};

inline std::string inWords(const Operation& operation, const Texts& texts,
                           const std::string& content) {
  std::string words = operation.name + "(";
  for (const char* text : texts)
    words += (text == nullptr ? "null" : testing::PrintToString(std::string(text).substr(0, 60))) +
             std::string(", ");
  return words + ") on " + testing::PrintToString(content.substr(0, 120));
}

// Result, content and terminator, and with `storageToo` heap use and extend size.
inline testing::AssertionResult agrees(const Operation& operation, StringBuffer& buffer,
                                       const Texts& texts, bool storageToo = true) {
  const CopiedTexts copies(texts);
  ModelBuffer model = modelOf(buffer);
  const std::string content = model.bytes;
  const std::string expected = operation.told(model, copies.texts());
  const std::string result = operation.real(buffer, texts);
  testing::AssertionResult same = testing::AssertionSuccess();
  if (result != expected)
    same = testing::AssertionFailure()
           << "gave " << result.substr(0, 400) << " instead of " << expected.substr(0, 400);
  else if (storageToo)
    same = matches(buffer, model);
  else if (bytesOf(buffer) != model.bytes)
    same = testing::AssertionFailure() << "holds " << testing::PrintToString(bytesOf(buffer))
                                       << " instead of " << testing::PrintToString(model.bytes);
  if (same) return same;
  return testing::AssertionFailure()
         << inWords(operation, copies.texts(), content) << " " << same.message();
}

inline testing::AssertionResult agreesOn(const Operation& operation, std::string_view content,
                                         const Texts& texts) {
  StringBuffer buffer;
  appendRaw(buffer, content);
  return agrees(operation, buffer, texts);
}

// The same content in a large block with an extend size of its own, and without room to spare.
inline testing::AssertionResult agreesInBlocks(const Operation& operation, std::string_view content,
                                               const Texts& texts) {
  StringBuffer roomy;
  roomy.expectNumBytes(static_cast<unsigned int>(content.size()) + 3000);
  roomy.setExtendSize(17);
  appendRaw(roomy, content);
  const testing::AssertionResult first = agrees(operation, roomy, texts);
  if (!first) return first;
  StringBuffer exact;
  exact.setExtendSize(0);
  appendRaw(exact, content);
  exact.setExtendSize(202);
  return agrees(operation, exact, texts);
}

// The content amid old bytes that a caller has left in the place of the terminator, too.
inline testing::AssertionResult agreesUnterminated(const Operation& operation,
                                                   std::string_view content, const Texts& texts,
                                                   char stale) {
  StringBuffer buffer;
  fillUnterminated(buffer, content, stale);
  return agrees(operation, buffer, texts, false);
}

// --- Texts inside the buffer -------------------------------------------------------------------

enum class Place { kInContent, kBehindEnd, kInInlineArray };

// A buffer whose text is `text`, and the places of further texts in its storage.
struct PlacedTexts {
  std::unique_ptr<StringBuffer> buffer;
  Texts texts;
};

inline std::string joinWithNuls(const std::vector<std::string>& parts) {
  std::string joined = parts.front();
  for (std::size_t i = 1; i < parts.size(); ++i) joined += '\0' + parts[i];
  return joined;
}

inline Texts placesOf(const char* at, const std::vector<std::string>& parts) {
  Texts places;
  for (const std::string& part : parts) {
    places.push_back(at);
    at += part.size() + 1;
  }
  return places;
}

// `room` is the size of the block; 0 leaves the content where it fits.
inline PlacedTexts placeBesideText(const std::string& text, const std::vector<std::string>& texts,
                                   unsigned int room, bool cut) {
  PlacedTexts placed{std::make_unique<StringBuffer>(), {}};
  StringBuffer& buffer = *placed.buffer;
  buffer.setExtendSize(0);
  if (room != 0) buffer.expectNumBytes(room);
  appendRaw(buffer, text + '\0' + joinWithNuls(texts));
  if (cut) buffer.chopAt(static_cast<unsigned int>(text.size()));
  buffer.setExtendSize(202);
  placed.texts = placesOf(buffer.getString() + text.size() + 1, texts);
  return placed;
}

inline PlacedTexts placeInInlineArray(const std::string& text,
                                      const std::vector<std::string>& texts, unsigned int room) {
  PlacedTexts placed{std::make_unique<StringBuffer>(), {}};
  StringBuffer& buffer = *placed.buffer;
  appendRaw(buffer, "_" + joinWithNuls(texts));
  placed.texts = placesOf(buffer.getString() + 1, texts);
  buffer.setExtendSize(0);
  buffer.expectNumBytes(std::max(room, 82U));
  buffer.chopAt(0);
  appendRaw(buffer, text);
  buffer.setExtendSize(202);
  return placed;
}

inline PlacedTexts placeTexts(Place place, const std::string& text,
                              const std::vector<std::string>& texts, unsigned int room) {
  return place == Place::kInInlineArray
             ? placeInInlineArray(text, texts, room)
             : placeBesideText(text, texts, room, place == Place::kBehindEnd);
}

// With all texts inside the buffer, and with one inside and the others outside.
inline void expectAgreesAt(Place place, const Operation& operation, const std::string& text,
                           const std::vector<std::string>& texts, unsigned int room) {
  for (std::size_t inside = 0; inside <= texts.size(); ++inside) {
    PlacedTexts placed = placeTexts(place, text, texts, room);
    for (std::size_t i = 0; i < texts.size(); ++i)
      if (inside < texts.size() && i != inside) placed.texts[i] = texts[i].c_str();
    ASSERT_TRUE(agrees(operation, *placed.buffer, placed.texts))
        << "place " << static_cast<int>(place) << ", room " << room << ", inside " << inside;
  }
}

// Each text in turn is the text of the buffer from one of its bytes on.
inline void expectAgreesOnSuffixes(const Operation& operation, const std::string& text,
                                   const std::vector<std::string>& texts, unsigned int room) {
  for (std::size_t inside = 0; inside < texts.size(); ++inside) {
    for (const std::size_t at : {std::size_t{0}, text.size() / 2, text.size() - 1, text.size()}) {
      const PlacedTexts placed = placeTexts(Place::kBehindEnd, text, texts, room);
      Texts mixed;
      for (const std::string& outside : texts) mixed.push_back(outside.c_str());
      mixed[inside] = placed.buffer->getString() + at;
      ASSERT_TRUE(agrees(operation, *placed.buffer, mixed)) << "suffix at " << at;
    }
  }
}

inline void expectAgreesWhereverTheTextsLie(const Operation& operation, const std::string& text,
                                            const std::vector<std::string>& texts) {
  for (const unsigned int room : {0U, 5000U}) {
    for (const Place place : {Place::kInContent, Place::kBehindEnd, Place::kInInlineArray})
      expectAgreesAt(place, operation, text, texts, room);
    expectAgreesOnSuffixes(operation, text, texts, room);
  }
}

// --- Secrets and exhausted memory --------------------------------------------------------------

// How many blocks `body` releases that still hold something.
inline int dirtyReleases(const std::function<void()>& body) {
  int dirty = 0;
  const WatchReleases watch([&dirty](const unsigned char* block, std::size_t size) {
    if (!isWiped(block, size)) ++dirty;
  });
  body();
  return dirty;
}

// Every released block of a secure buffer is wiped, also when an allocation fails, and the buffer
// stays secure. Only for operations whose results have at most 15 letters.
inline void expectWipes(const Operation& operation, const std::string& content,
                        const Texts& texts) {
  for (long k = 0; k <= 8; ++k) {
    StringBuffer buffer;
    buffer.setSecureBuf(true);
    fillHeap(buffer, content, 0);
    const int dirty = dirtyReleases([&] {
      const FailAllocation fail(k);
      operation.real(buffer, texts);
    });
    EXPECT_EQ(dirty, 0) << operation.name << ", allocation " << k;
    EXPECT_TRUE(invariantsHold(buffer));
    EXPECT_TRUE(wipesItsBlocks(buffer)) << operation.name;
  }
}

inline void expectWipesWhereverTheTextsLie(const Operation& operation, const std::string& text,
                                           const std::vector<std::string>& texts) {
  for (const unsigned int room : {0U, 5000U}) {
    for (const Place place : {Place::kInContent, Place::kBehindEnd, Place::kInInlineArray}) {
      const PlacedTexts placed = placeTexts(place, text, texts, room);
      placed.buffer->setSecureBuf(true);
      EXPECT_EQ(dirtyReleases([&] { operation.real(*placed.buffer, placed.texts); }), 0)
          << operation.name << ", place " << static_cast<int>(place);
    }
  }
}

// Runs the operation with every allocation failing in turn; `accept` judges result and content.
// Only for operations whose results have at most 15 letters.
inline void expectSurvivesFailures(
    const Operation& operation, const std::string& content, const Texts& texts,
    const std::function<bool(const std::string& result, const std::string& left)>& accept) {
  const long blocks = liveBlocks();
  {
    std::unique_ptr<StringBuffer> buffer;
    std::string result;
    const long failed = failEveryAllocation(
        [&] {
          buffer = std::make_unique<StringBuffer>();
          fillHeap(*buffer, content, 0);
        },
        [&] { result = operation.real(*buffer, texts); },
        [&] {
          EXPECT_TRUE(invariantsHold(*buffer)) << operation.name;
          EXPECT_TRUE(accept(result, bytesOf(*buffer)))
              << operation.name << " gave " << result << " and "
              << testing::PrintToString(bytesOf(*buffer).substr(0, 300));
        });
    EXPECT_GT(failed, 0) << operation.name;
  }
  EXPECT_EQ(liveBlocks(), blocks) << operation.name;
}

// True when `text` consists of some of the pieces, in order.
inline bool isMadeOf(std::string_view text, const std::vector<std::string>& pieces,
                     std::size_t from = 0) {
  if (text.empty()) return true;
  for (std::size_t i = from; i < pieces.size(); ++i) {
    const std::string& piece = pieces[i];
    if (!piece.empty() && text.substr(0, piece.size()) == piece &&
        isMadeOf(text.substr(piece.size()), pieces, i + 1))
      return true;
  }
  return false;
}

}  // namespace harness

#endif
