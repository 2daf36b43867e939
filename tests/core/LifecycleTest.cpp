#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/RawContent.h"
#include "harness/ReleasedBlocks.h"
#include "harness/StorageLayout.h"
#include "harness/StorageReference.h"
#include "harness/StorageScenes.h"
#include "support/DataBuffer.h"
#include "support/LogBase.h"

namespace {

using harness::appendBytes;
using harness::FailAllocation;
using harness::fill;
using harness::holds;
using harness::isInline;
using harness::isZero;
using harness::letters;
using harness::makeDirty;
using harness::modelOf;
using harness::peekFields;
using harness::peekInlineBytes;
using harness::play;
using harness::releasedBy;
using harness::Scene;
using harness::scenes;
using harness::sizeOf;
using harness::StorageFields;
using harness::wipesItsBlocks;
using harness::reference::agrees;
using harness::reference::StorageModel;
using namespace std::string_literals;
using namespace std::string_view_literals;

constexpr unsigned int kAll = 0xFFFFFFFFU;

struct DeleteSb {
  void operator()(StringBuffer* buffer) const { StringBuffer::deleteSb(buffer); }
};
using NewSb = std::unique_ptr<StringBuffer, DeleteSb>;
using Chars = std::unique_ptr<char[]>;
using Bytes = std::unique_ptr<unsigned char[]>;

std::string bytesAt(const void* bytes, std::size_t n) {
  return {static_cast<const char*>(bytes), n};
}

// Memory for an object whose bytes are looked at after its destruction.
class Storage {
 public:
  void* get() { return m_bytes; }
  StringBuffer& buffer() { return *std::launder(reinterpret_cast<StringBuffer*>(m_bytes)); }
  DORVANE_TESTS_NOINLINE void destroy() { buffer().~StringBuffer(); }

 private:
  alignas(StringBuffer) unsigned char m_bytes[sizeof(StringBuffer)] = {};
};

// ---- Constructors ----

TEST(Constructors, OfATextHoldTheText) {
  for (const unsigned int n : {0U, 1U, 2U, 80U, 81U, 82U, 83U, 284U, 285U, 1000U, 100000U}) {
    StringBuffer buffer(letters(n).c_str());
    EXPECT_TRUE(holds(buffer, letters(n), n <= 81 ? 0 : n + 203, 202));
    EXPECT_FALSE(wipesItsBlocks(buffer));
  }
}

TEST(Constructors, OfANullOrEmptyTextGiveAnEmptyBuffer) {
  StringBuffer null(static_cast<const char*>(nullptr));
  EXPECT_TRUE(holds(null, "", 0, 202));
  StringBuffer empty("");
  EXPECT_TRUE(holds(empty, "", 0, 202));
  StringBuffer nul("\0abc");
  EXPECT_TRUE(holds(nul, "", 0, 202));
}

TEST(Constructors, OfATextStopAtItsFirstNul) {
  StringBuffer buffer("ab\0cd");
  EXPECT_TRUE(holds(buffer, "ab", 0, 202));
}

TEST(Constructors, ATextConvertsImplicitly) {
  static_assert(std::is_convertible_v<const char*, StringBuffer>);
  const auto lengthOf = [](const StringBuffer& buffer) { return buffer.getSize(); };
  EXPECT_EQ(lengthOf("abc"), 3U);
}

TEST(Constructors, KeepEveryByteValueButNul) {
  std::string all;
  for (int value = 1; value <= 255; ++value) all += static_cast<char>(value);
  StringBuffer buffer(all.c_str());
  EXPECT_TRUE(holds(buffer, all, 458, 202));
  StringBuffer copy(buffer);
  EXPECT_TRUE(holds(copy, all, 458, 202));
}

TEST(Constructors, ACopyHoldsTheContentAsRawBytes) {
  for (const Scene& scene : scenes()) {
    StringBuffer other;
    play(scene, other);
    StorageModel model;
    model.appendN(modelOf(scene).content);
    StringBuffer copy(other);
    EXPECT_TRUE(agrees(copy, model)) << scene.name;
    EXPECT_TRUE(agrees(other, modelOf(scene))) << scene.name;
  }
}

TEST(Constructors, ACopyDoesNotTakeTheExtendSize) {
  StringBuffer other("abc");
  other.setExtendSize(7);
  StringBuffer copy(other);
  EXPECT_TRUE(holds(copy, "abc", 0, 202));
}

TEST(Constructors, ACopyOfASecureBufferIsSecure) {
  for (const bool secure : {false, true}) {
    for (const Scene& scene : scenes()) {
      StringBuffer other;
      play(scene, other);
      other.setSecureBuf(secure);
      StringBuffer copy(other);
      EXPECT_EQ(wipesItsBlocks(copy), secure) << scene.name;
      EXPECT_EQ(wipesItsBlocks(other), secure) << scene.name;
    }
  }
}

TEST(Constructors, ACopyOfABufferWhoseValidityWordDiffersIsEmpty) {
  for (const Scene& scene : scenes()) {
    StringBuffer other;
    play(scene, other);
    other.setSecureBuf(true);
    harness::flipValidityWord(other);
    StringBuffer copy(other);
    EXPECT_TRUE(holds(copy, "", 0, 202)) << scene.name;
    EXPECT_TRUE(wipesItsBlocks(copy)) << scene.name;  // the flag comes first
  }
}

TEST(Constructors, ACopyOfItselfIsEmpty) {
  Storage storage;
  StringBuffer* const self = static_cast<StringBuffer*>(storage.get());
  new (storage.get()) StringBuffer(*self);
  EXPECT_TRUE(holds(storage.buffer(), "", 0, 202));
  storage.destroy();
}

TEST(Constructors, WithoutMemoryTheObjectStaysEmpty) {
  const std::string text = letters(82);
  const StringBuffer other(text.c_str());
  Storage ofText, ofBuffer;
  {
    const FailAllocation fail(1, FailAllocation::kFromThenOn);
    new (ofText.get()) StringBuffer(text.c_str());
    new (ofBuffer.get()) StringBuffer(other);
  }
  EXPECT_TRUE(holds(ofText.buffer(), "", 0, 202));
  EXPECT_TRUE(holds(ofBuffer.buffer(), "", 0, 202));
  ofText.destroy();
  ofBuffer.destroy();
}

TEST(Constructors, UpTo81BytesNeedNoMemory) {
  const std::string text = letters(81);
  const FailAllocation fail(1, FailAllocation::kFromThenOn);
  const StringBuffer buffer(text.c_str());
  const StringBuffer copy(buffer);
  EXPECT_EQ(copy.getSize(), 81U);
  EXPECT_EQ(fail.seen(), 0);
}

// ---- Assignment of a text ----

TEST(AssignText, ConcatenatesInsteadOfReplacing) {
  StringBuffer buffer;
  buffer = "abc";
  EXPECT_TRUE(holds(buffer, "abc", 0, 202));
  buffer = "def";
  EXPECT_TRUE(holds(buffer, "abcdef", 0, 202));
}

TEST(AssignText, ReturnsThisBuffer) {
  StringBuffer buffer;
  EXPECT_EQ(&(buffer = "abc"), &buffer);
  EXPECT_EQ(&(buffer = static_cast<const char*>(nullptr)), &buffer);
}

TEST(AssignText, NullAndEmptyLeaveTheContent) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    play(scene, buffer);
    buffer = static_cast<const char*>(nullptr);
    buffer = "";
    EXPECT_TRUE(agrees(buffer, modelOf(scene))) << scene.name;
  }
}

TEST(AssignText, GrowsAsAppendDoes) {
  for (const Scene& scene : scenes()) {
    for (const unsigned int n : {1U, 61U, 80U, 81U, 82U, 202U, 203U, 264U, 265U, 1000U}) {
      StringBuffer buffer;
      StorageModel model = modelOf(scene);
      play(scene, buffer);
      model.append(letters(n));
      buffer = letters(n).c_str();
      ASSERT_TRUE(agrees(buffer, model)) << scene.name << " " << n;
    }
  }
}

TEST(AssignText, AFailedGrowthLeavesTheContent) {
  const std::string text = letters(2000);
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    play(scene, buffer);
    {
      const FailAllocation fail(1, FailAllocation::kFromThenOn);
      buffer = text.c_str();
    }
    EXPECT_TRUE(agrees(buffer, modelOf(scene))) << scene.name;
  }
}

// ---- Assignment of a buffer ----

TEST(AssignBuffer, ReplacesTheContentAfterAClear) {
  for (const Scene& scene : scenes()) {
    for (const Scene& otherScene : scenes()) {
      StringBuffer buffer, other;
      play(scene, buffer);
      play(otherScene, other);
      buffer.setExtendSize(7);
      StorageModel model = modelOf(scene);
      model.assign(modelOf(otherScene));
      EXPECT_EQ(&(buffer = other), &buffer);
      ASSERT_TRUE(agrees(buffer, model)) << scene.name << ", " << otherScene.name;
      ASSERT_TRUE(agrees(other, modelOf(otherScene)));
    }
  }
}

TEST(AssignBuffer, OfItselfEmptiesTheBuffer) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    play(scene, buffer);
    const StringBuffer& self = buffer;
    buffer = self;
    EXPECT_TRUE(holds(buffer, "", 0, 202)) << scene.name;
  }
}

TEST(AssignBuffer, OfABufferWhoseValidityWordDiffersEmpties) {
  StringBuffer buffer("abc"), other("def");
  harness::flipValidityWord(other);
  buffer = other;
  EXPECT_TRUE(holds(buffer, "", 0, 202));
}

TEST(AssignBuffer, DoesNotCopyTheSecureFlag) {
  for (const bool secure : {false, true}) {
    StringBuffer buffer("abc"), other("def");
    buffer.setSecureBuf(secure);
    other.setSecureBuf(!secure);
    buffer = other;
    EXPECT_TRUE(holds(buffer, "def", 0, 202));
    EXPECT_EQ(wipesItsBlocks(buffer), secure);
  }
}

TEST(AssignBuffer, WipesTheFormerStorageOfASecureBuffer) {
  StringBuffer buffer;
  const StringBuffer other("x");
  buffer.setSecureBuf(true);
  makeDirty(buffer);
  const auto blocks = releasedBy([&] { buffer = other; });
  ASSERT_EQ(blocks.size(), 1U);
  EXPECT_TRUE(harness::allWiped(blocks));
  EXPECT_EQ(peekInlineBytes(&buffer), "x" + std::string(81, '\0'));
}

TEST(AssignBuffer, AFailedGrowthLeavesTheBufferEmpty) {
  const StringBuffer other(letters(100).c_str());
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    play(scene, buffer);
    {
      const FailAllocation fail(1, FailAllocation::kFromThenOn);
      buffer = other;
    }
    EXPECT_TRUE(holds(buffer, "", 0, 202)) << scene.name;
  }
}

// ---- Destructor ----

// Destroys the buffer and tells what its memory holds then.
StorageFields fieldsAfterDeath(Storage& storage) {
  storage.destroy();
  return peekFields(storage.get());
}

void expectPoison(const StorageFields& fields) {
  EXPECT_NE(fields.validityWord, 0x62CB09E3U);
  EXPECT_EQ(fields.magic, 0);
  EXPECT_EQ(fields.data, nullptr);
  EXPECT_EQ(fields.inlineBytes[0], '\0');
  EXPECT_EQ(fields.heap, nullptr);
  EXPECT_EQ(fields.capacity, 0U);
  EXPECT_EQ(fields.length, 0U);
  EXPECT_EQ(fields.extendSize, 0U);
}

TEST(Destructor, PoisonsTheFieldsInMemory) {
  for (const Scene& scene : scenes()) {
    for (const bool secure : {false, true}) {
      Storage storage;
      new (storage.get()) StringBuffer();
      play(scene, storage.buffer());
      storage.buffer().setSecureBuf(secure);
      ASSERT_EQ(peekFields(storage.get()).length, storage.buffer().getSize());
      SCOPED_TRACE(scene.name);
      expectPoison(fieldsAfterDeath(storage));
    }
  }
}

TEST(Destructor, KeepsTheValueOfTheSecureFlag) {
  for (const bool secure : {false, true}) {
    Storage storage;
    new (storage.get()) StringBuffer("abc");
    storage.buffer().setSecureBuf(secure);
    EXPECT_EQ(fieldsAfterDeath(storage).secure, secure ? 1 : 0);
  }
}

TEST(Destructor, ReleasesTheBlock) {
  scenes();
  const long live = harness::liveBlocks();
  for (const Scene& scene : scenes()) {
    Storage storage;
    new (storage.get()) StringBuffer();
    play(scene, storage.buffer());
    const bool onHeap = storage.buffer().heapUsage() != 0;
    EXPECT_EQ(releasedBy([&] { storage.destroy(); }).size(), onHeap ? 1U : 0U) << scene.name;
  }
  EXPECT_EQ(harness::liveBlocks(), live);
}

TEST(Destructor, WipesTheWholeStorageOfASecureBuffer) {
  Storage storage;
  new (storage.get()) StringBuffer();
  storage.buffer().setSecureBuf(true);
  makeDirty(storage.buffer());
  const auto blocks = releasedBy([&] { storage.destroy(); });
  ASSERT_EQ(blocks.size(), 1U);
  EXPECT_EQ(blocks[0].size(), 285U);
  EXPECT_TRUE(harness::allWiped(blocks));
  EXPECT_TRUE(isZero(peekInlineBytes(storage.get())));
}

TEST(Destructor, WipesInlineContentOfASecureBuffer) {
  Storage storage;
  new (storage.get()) StringBuffer(letters(81).c_str());
  storage.buffer().setSecureBuf(true);
  storage.buffer().chopAt(10);
  storage.destroy();
  EXPECT_TRUE(isZero(peekInlineBytes(storage.get())));
}

TEST(Destructor, WipesASecureBufferThatIsEmpty) {
  Storage storage;
  new (storage.get()) StringBuffer();
  storage.buffer().setSecureBuf(true);
  makeDirty(storage.buffer());
  storage.buffer().weakClear();
  const auto blocks = releasedBy([&] { storage.destroy(); });
  ASSERT_EQ(blocks.size(), 1U);
  EXPECT_TRUE(harness::allWiped(blocks));
  EXPECT_TRUE(isZero(peekInlineBytes(storage.get())));
}

TEST(Destructor, LeavesTheBlockOfAPlainBuffer) {
  Storage storage;
  new (storage.get()) StringBuffer();
  makeDirty(storage.buffer());
  const auto blocks = releasedBy([&] { storage.destroy(); });
  ASSERT_EQ(blocks.size(), 1U);
  EXPECT_EQ(blocks[0].substr(0, 10), letters(10));
}

TEST(Destructor, ADestroyedBufferIsRefusedAsASource) {
  Storage storage;
  new (storage.get()) StringBuffer("secret");
  StringBuffer& dead = storage.buffer();
  storage.destroy();

  StringBuffer buffer("abc");
  EXPECT_FALSE(buffer.append(dead));
  EXPECT_TRUE(holds(buffer, "abc", 0, 202));
  StringBuffer copy(dead);
  EXPECT_TRUE(holds(copy, "", 0, 202));
  buffer = dead;
  EXPECT_TRUE(holds(buffer, "", 0, 202));
}

// ---- Factories ----

TEST(Factories, MakeAnEmptyBuffer) {
  const NewSb buffer(StringBuffer::createNewSB());
  ASSERT_NE(buffer, nullptr);
  EXPECT_TRUE(holds(*buffer, "", 0, 202));
  EXPECT_FALSE(wipesItsBlocks(*buffer));
}

TEST(Factories, MakeABufferThatHoldsAText) {
  for (const unsigned int n : {0U, 1U, 80U, 81U, 82U, 83U, 1000U}) {
    const NewSb buffer(StringBuffer::createNewSB(letters(n).c_str()));
    ASSERT_NE(buffer, nullptr);
    EXPECT_TRUE(holds(*buffer, letters(n), n <= 81 ? 0 : n + 203, 202));
  }
  const NewSb null(StringBuffer::createNewSB(static_cast<const char*>(nullptr)));
  ASSERT_NE(null, nullptr);
  EXPECT_TRUE(holds(*null, "", 0, 202));
}

TEST(Factories, MakeAnExactCopy) {
  for (const unsigned int n : {0U, 1U, 80U, 81U, 82U, 83U, 100U, 284U, 1000U, 100000U}) {
    StringBuffer other(letters(n).c_str());
    other.setExtendSize(7);
    const NewSb copy(StringBuffer::createNewSB(other));
    ASSERT_NE(copy, nullptr);
    EXPECT_TRUE(holds(*copy, letters(n), n <= 81 ? 0 : n + 1, 202));
  }
}

TEST(Factories, ACopyHoldsTheContentAsRawBytes) {
  for (const Scene& scene : scenes()) {
    StringBuffer other;
    play(scene, other);
    StorageModel model;
    model.extendSize = 0;
    model.appendN(modelOf(scene).content);
    model.extendSize = 202;
    const NewSb copy(StringBuffer::createNewSB(other));
    ASSERT_NE(copy, nullptr);
    EXPECT_TRUE(agrees(*copy, model)) << scene.name;
    EXPECT_TRUE(agrees(other, modelOf(scene))) << scene.name;
  }
}

TEST(Factories, ACopyAllocatesNoByteTooMany) {
  const StringBuffer other(letters(100).c_str());
  const NewSb copy(StringBuffer::createNewSB(other));
  ASSERT_NE(copy, nullptr);
  const auto blocks = releasedBy([&] { copy->clear(); });
  ASSERT_EQ(blocks.size(), 1U);
  EXPECT_EQ(blocks[0].size(), 101U);
}

TEST(Factories, ACopyAllocatesTheObjectAndOneBlock) {
  const StringBuffer other(letters(1000).c_str());
  StringBuffer* copy = nullptr;
  long allocations = 0;
  {
    const FailAllocation count(0);
    copy = StringBuffer::createNewSB(other);
    allocations = count.seen();
  }
  EXPECT_EQ(allocations, 2);
  StringBuffer::deleteSb(copy);
}

TEST(Factories, ACopyDoesNotTestTheValidityWord) {
  StringBuffer other("abc");
  harness::flipValidityWord(other);
  const NewSb copy(StringBuffer::createNewSB(other));
  ASSERT_NE(copy, nullptr);
  EXPECT_TRUE(holds(*copy, "abc", 0, 202));
}

TEST(Factories, ACopyDoesNotTakeTheSecureFlag) {
  StringBuffer other(letters(100).c_str());
  other.setSecureBuf(true);
  const NewSb copy(StringBuffer::createNewSB(other));
  ASSERT_NE(copy, nullptr);
  EXPECT_FALSE(wipesItsBlocks(*copy));
}

TEST(Factories, MakeAnEmptyBufferWithAnExtendSize) {
  for (const unsigned int extend : {0U, 1U, 202U, 1000U, 500000U}) {
    const NewSb buffer(StringBuffer::createNewSB(extend));
    ASSERT_NE(buffer, nullptr);
    EXPECT_TRUE(holds(*buffer, "", 0, extend));
    EXPECT_TRUE(buffer->append(letters(82).c_str()));
    EXPECT_TRUE(holds(*buffer, letters(82), 83 + extend, extend));
  }
}

TEST(Factories, AHugeExtendSizeGivesAnExactBlock) {
  const NewSb buffer(StringBuffer::createNewSB(kAll));
  ASSERT_NE(buffer, nullptr);
  EXPECT_TRUE(holds(*buffer, "", 0, kAll));
  EXPECT_TRUE(buffer->append(letters(82).c_str()));
  EXPECT_TRUE(holds(*buffer, letters(82), 83, kAll));
}

using Factory = std::function<StringBuffer*()>;

long failFactory(const Factory& make, const std::string& content) {
  StringBuffer* made = nullptr;
  bool intact = true;
  const auto check = [&] {
    if (made != nullptr) intact = intact && holds(*made, content);
    StringBuffer::deleteSb(made);
  };
  const long live = harness::liveBlocks();
  const long failed = harness::failEveryAllocation([] {}, [&] { made = make(); }, check);
  EXPECT_TRUE(intact);
  EXPECT_EQ(harness::liveBlocks(), live);
  return failed;
}

TEST(Factories, AreNullWithoutMemoryAndLeakNothing) {
  const std::string text = letters(100);
  const StringBuffer other(text.c_str());
  EXPECT_EQ(failFactory([] { return StringBuffer::createNewSB(); }, ""), 2);
  EXPECT_EQ(failFactory([] { return StringBuffer::createNewSB(1000U); }, ""), 2);
  EXPECT_EQ(failFactory([] { return StringBuffer::createNewSB("abc"); }, "abc"), 2);
  EXPECT_EQ(failFactory([&] { return StringBuffer::createNewSB(text.c_str()); }, text), 4);
  EXPECT_EQ(failFactory([&] { return StringBuffer::createNewSB(other); }, text), 4);
}

TEST(Factories, AFailureOfTheObjectOrOfItsBlockGivesNull) {
  const std::string text = letters(100);
  const StringBuffer other(text.c_str());
  for (const Factory& make : {Factory([&] { return StringBuffer::createNewSB(text.c_str()); }),
                              Factory([&] { return StringBuffer::createNewSB(other); })}) {
    for (const long k : {1L, 2L}) {
      StringBuffer* made = nullptr;
      {
        const FailAllocation fail(k, FailAllocation::kOnce);
        made = make();
      }
      EXPECT_EQ(made, nullptr) << k;
      StringBuffer::deleteSb(made);
    }
  }
}

TEST(Factories, DeleteSbDestroysAndFrees) {
  const long live = harness::liveBlocks();
  StringBuffer* const buffer = StringBuffer::createNewSB(letters(100).c_str());
  ASSERT_NE(buffer, nullptr);
  buffer->setSecureBuf(true);
  EXPECT_EQ(harness::liveBlocks(), live + 2);
  auto blocks = releasedBy([&] { StringBuffer::deleteSb(buffer); });
  ASSERT_EQ(blocks.size(), 2U);
  EXPECT_TRUE(isZero(blocks[0]));
  EXPECT_EQ(blocks[1].size(), sizeof(StringBuffer));
  std::vector<std::string>().swap(blocks);
  EXPECT_EQ(harness::liveBlocks(), live);
}

TEST(Factories, DeleteSbOfNullDoesNothing) {
  const long live = harness::liveBlocks();
  StringBuffer::deleteSb(nullptr);
  EXPECT_EQ(harness::liveBlocks(), live);
}

TEST(Factories, BuffersAreLibraryObjects) {
  DorvaneObject* const object = StringBuffer::createNewSB(letters(100).c_str());
  ASSERT_NE(object, nullptr);
  EXPECT_EQ(object->heapUsage(), 303U);
  DorvaneObject::deleteObject(object);
}

// ---- Copies out ----

TEST(CopiesOut, CreateCopyHasTheContentAndTheTerminator) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    play(scene, buffer);
    const Chars copy(buffer.createCopy());
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(bytesAt(copy.get(), buffer.getSize() + 1), modelOf(scene).content + "\0"s)
        << scene.name;
    EXPECT_TRUE(agrees(buffer, modelOf(scene))) << scene.name;
  }
}

TEST(CopiesOut, CopyStringIsTheTextAndTheRestIsZero) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    play(scene, buffer);
    const std::string& content = modelOf(scene).content;
    std::string expected(content.c_str());
    expected.resize(content.size() + 1);
    unsigned int length = 12345;
    const Chars copy(buffer.copyString(&length));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(length, content.size()) << scene.name;
    EXPECT_EQ(bytesAt(copy.get(), length + 1), expected) << scene.name;
    EXPECT_TRUE(agrees(buffer, modelOf(scene))) << scene.name;
  }
}

TEST(CopiesOut, CopyStringNeedsNoLengthArgument) {
  const StringBuffer buffer("abc");
  const Chars copy(buffer.copyString(nullptr));
  ASSERT_NE(copy, nullptr);
  EXPECT_STREQ(copy.get(), "abc");
}

TEST(CopiesOut, AllocateExactlyOneByteMoreThanTheContent) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    play(scene, buffer);
    char* copy = buffer.createCopy();
    auto blocks = releasedBy([&] { delete[] copy; });
    ASSERT_EQ(blocks.size(), 1U);
    EXPECT_EQ(blocks[0].size(), buffer.getSize() + 1);
    copy = buffer.copyString(nullptr);
    blocks = releasedBy([&] { delete[] copy; });
    ASSERT_EQ(blocks.size(), 1U);
    EXPECT_EQ(blocks[0].size(), buffer.getSize() + 1);
  }
}

TEST(CopiesOut, AreNullWithoutMemory) {
  StringBuffer buffer("abcdef");
  unsigned int length = 12345;
  char* copy = nullptr;
  char* text = nullptr;
  char* textOnly = nullptr;
  {
    const FailAllocation fail(1, FailAllocation::kFromThenOn);
    copy = buffer.createCopy();
    text = buffer.copyString(&length);
    textOnly = buffer.copyString(nullptr);
  }
  EXPECT_EQ(copy, nullptr);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(textOnly, nullptr);
  EXPECT_EQ(length, 6U);  // stored before the allocation
  EXPECT_TRUE(holds(buffer, "abcdef", 0, 202));
}

struct BoundedCopy {
  std::string content;
  unsigned int size;
  unsigned int result;
  std::string destination;  // ten bytes, "##########" before
};

const BoundedCopy kBoundedCopies[] = {
    // nothing is written
    {"abcdef", 0, 0, "##########"},
    {"", 0, 0, "##########"},
    // only the NUL
    {"abcdef", 1, 0, "\0#########"s},
    {"", 1, 0, "\0#########"s},
    {"", 10, 0, "\0#########"s},
    // cut
    {"abcdef", 2, 1, "a\0########"s},
    {"abcdef", 6, 5, "abcde\0####"s},
    // all of it
    {"abcdef", 7, 6, "abcdef\0###"s},
    {"abcdef", 8, 6, "abcdef\0###"s},
    {"abcdef", kAll, 6, "abcdef\0###"s},
    // up to a NUL of the content; the result counts on
    {"ab\0def"s, 10, 6, "ab\0###\0###"s},
    {"ab\0def"s, 5, 4, "ab\0#\0#####"s},
    {"ab\0def"s, 4, 3, "ab\0\0######"s},
    {"ab\0def"s, 3, 2, "ab\0#######"s},
    {"\0bc"s, 4, 3, "\0##\0######"s},
    {"ab\0\0"s, 10, 4, "ab\0#\0#####"s},
};

TEST(CopiesOut, CopyToBufferIsBounded) {
  for (const BoundedCopy& c : kBoundedCopies) {
    StringBuffer buffer;
    fill(buffer, c.content);
    std::string destination(10, '#');
    EXPECT_EQ(buffer.copyToBuffer(destination.data(), c.size), c.result);
    EXPECT_EQ(destination, c.destination)
        << testing::PrintToString(c.content) << ", size " << c.size;
    EXPECT_TRUE(holds(buffer, c.content, 0, 202));
  }
}

TEST(CopiesOut, CopyToBufferWithoutDestinationWritesNothing) {
  const StringBuffer buffer("abc");
  EXPECT_EQ(buffer.copyToBuffer(nullptr, 10), 0U);
  EXPECT_EQ(buffer.copyToBuffer(nullptr, 0), 0U);
}

TEST(CopiesOut, CopyToBufferCopiesFromTheHeap) {
  const StringBuffer buffer(letters(300).c_str());
  for (const unsigned int size : {1U, 2U, 82U, 300U, 301U, 302U, 400U}) {
    std::string destination(400, '#');
    const unsigned int n = size > 300 ? 300 : size - 1;
    EXPECT_EQ(buffer.copyToBuffer(destination.data(), size), n);
    EXPECT_EQ(destination, letters(n) + "\0"s + std::string(399 - n, '#'));
  }
}

TEST(CopiesOut, CopyToBufferMayWriteIntoItsOwnContent) {
  StringBuffer buffer("abcdef");
  EXPECT_EQ(buffer.copyToBuffer(buffer.pCharAt(1), 4), 3U);
  EXPECT_TRUE(holds(buffer, "aabc\0f"sv, 0, 202));
}

// ---- Extraction ----

TEST(Extraction, HandsOutTheHeapBlockItself) {
  StringBuffer buffer;
  makeDirty(buffer);
  buffer.setExtendSize(7);
  const void* const block = buffer.getString();
  unsigned int length = 0;
  long allocations = 0;
  unsigned char* extracted = nullptr;
  {
    const FailAllocation count(0);
    extracted = buffer.extractString(&length);
    allocations = count.seen();
  }
  const Bytes owner(extracted);
  EXPECT_EQ(allocations, 0);
  EXPECT_EQ(extracted, block);
  EXPECT_EQ(length, 10U);
  EXPECT_EQ(bytesAt(extracted, 11), letters(10) + "\0"s);
  EXPECT_TRUE(holds(buffer, "", 0, 202));
  EXPECT_TRUE(isInline(buffer));
}

TEST(Extraction, CopiesInlineContent) {
  for (const std::string& content : {""s, "a"s, "abcdefghij"s, "ab\0cd\0"s, letters(81)}) {
    StringBuffer buffer;
    fill(buffer, content);
    buffer.setExtendSize(7);
    unsigned int length = 12345;
    unsigned char* const extracted = buffer.extractString(&length);
    ASSERT_NE(extracted, nullptr);
    EXPECT_NE(static_cast<const void*>(extracted), buffer.getString());
    EXPECT_EQ(length, content.size());
    EXPECT_TRUE(holds(buffer, "", 0, 202));
    const auto blocks = releasedBy([&] { delete[] extracted; });
    ASSERT_EQ(blocks.size(), 1U);
    EXPECT_EQ(blocks[0], content + "\0"s);
  }
}

TEST(Extraction, NeedsNoLengthArgument) {
  StringBuffer inInline("abc"), onHeap(letters(100).c_str());
  const Bytes first(inInline.extractString(nullptr));
  const Bytes second(onHeap.extractString(nullptr));
  EXPECT_EQ(bytesAt(first.get(), 4), "abc\0"s);
  EXPECT_EQ(bytesAt(second.get(), 101), letters(100) + "\0"s);
}

TEST(Extraction, ReportsTheSizeOfTheBlock) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    play(scene, buffer);
    const StorageModel model = modelOf(scene);
    unsigned int length = 12345;
    unsigned int size = 12345;
    unsigned char* const extracted = buffer.extractString2(length, size);
    ASSERT_NE(extracted, nullptr);
    EXPECT_EQ(length, model.size()) << scene.name;
    EXPECT_EQ(size, model.capacity != 0 ? model.capacity : model.size() + 1) << scene.name;
    EXPECT_EQ(bytesAt(extracted, length + 1), model.content + "\0"s) << scene.name;
    EXPECT_TRUE(holds(buffer, "", 0, 202)) << scene.name;
    const auto blocks = releasedBy([&] { delete[] extracted; });
    ASSERT_EQ(blocks.size(), 1U);
    EXPECT_EQ(blocks[0].size(), size) << scene.name;
  }
}

TEST(Extraction, WipesNothing) {
  for (const bool secure : {false, true}) {
    StringBuffer onHeap;
    makeDirty(onHeap);
    onHeap.setSecureBuf(secure);
    const std::string block(onHeap.getString(), 285);
    const Bytes extracted(onHeap.extractString(nullptr));
    EXPECT_EQ(bytesAt(extracted.get(), 285), block);

    StringBuffer inInline("abcdef");
    inInline.setSecureBuf(secure);
    unsigned int length = 0;
    unsigned int size = 0;
    const Bytes copy(inInline.extractString2(length, size));
    EXPECT_EQ(bytesAt(copy.get(), 7), "abcdef\0"s);
    EXPECT_EQ(bytesAt(inInline.getString(), 7), "\0bcdef\0"s);
  }
}

TEST(Extraction, KeepsTheSecureFlag) {
  for (const bool secure : {false, true}) {
    StringBuffer buffer(letters(100).c_str());
    buffer.setSecureBuf(secure);
    const Bytes extracted(buffer.extractString(nullptr));
    EXPECT_EQ(wipesItsBlocks(buffer), secure);
  }
}

TEST(Extraction, WithoutMemoryTheBufferIsAsItWas) {
  StringBuffer buffer("abcdef");
  buffer.setExtendSize(7);
  unsigned int length = 12345;
  unsigned int length2 = 12345;
  unsigned int size = 777;
  const unsigned char* extracted = nullptr;
  const unsigned char* extracted2 = nullptr;
  {
    const FailAllocation fail(1, FailAllocation::kFromThenOn);
    extracted = buffer.extractString(&length);
    extracted2 = buffer.extractString2(length2, size);
  }
  EXPECT_EQ(extracted, nullptr);
  EXPECT_EQ(extracted2, nullptr);
  EXPECT_EQ(length, 6U);
  EXPECT_EQ(length2, 6U);
  EXPECT_EQ(size, 777U);  // stored only on success
  EXPECT_TRUE(holds(buffer, "abcdef", 0, 7));
}

// ---- takeSb ----

TEST(TakeSb, MovesTheContentForEveryPairOfScenes) {
  for (const Scene& scene : scenes()) {
    for (const Scene& sourceScene : scenes()) {
      StringBuffer buffer, source;
      play(scene, buffer);
      play(sourceScene, source);
      StorageModel model = modelOf(scene);
      StorageModel sourceModel = modelOf(sourceScene);
      sourceModel.extendSize = 77;
      source.setExtendSize(77);
      model.takeSb(sourceModel);
      buffer.takeSb(source);
      ASSERT_TRUE(agrees(buffer, model)) << scene.name << ", " << sourceScene.name;
      ASSERT_TRUE(agrees(source, sourceModel)) << scene.name << ", " << sourceScene.name;
    }
  }
}

TEST(TakeSb, MovesTheBlockItselfWithoutAllocation) {
  StringBuffer buffer("x"), source(letters(300).c_str());
  const char* const block = source.getString();
  long allocations = 0;
  {
    const FailAllocation count(0);
    buffer.takeSb(source);
    allocations = count.seen();
  }
  EXPECT_EQ(allocations, 0);
  EXPECT_EQ(buffer.getString(), block);
  EXPECT_TRUE(isInline(source));
}

TEST(TakeSb, BothStayUsable) {
  StringBuffer buffer, source(letters(300).c_str());
  buffer.takeSb(source);
  EXPECT_TRUE(buffer.append(letters(300).c_str()));
  EXPECT_TRUE(holds(buffer, letters(300) + letters(300), 803, 401));
  EXPECT_TRUE(source.append("again"));
  EXPECT_TRUE(holds(source, "again", 0, 202));
}

TEST(TakeSb, OfItselfLeavesTheBufferEmpty) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    play(scene, buffer);
    buffer.setExtendSize(7);
    const auto blocks = releasedBy([&] { buffer.takeSb(buffer); });
    EXPECT_EQ(blocks.size(), modelOf(scene).capacity != 0 ? 1U : 0U) << scene.name;
    EXPECT_TRUE(holds(buffer, "", 0, 202)) << scene.name;
  }
}

TEST(TakeSb, WipesTheFormerStorageOfASecureBuffer) {
  StringBuffer buffer, source("abc");
  buffer.setSecureBuf(true);
  makeDirty(buffer);
  const auto blocks = releasedBy([&] { buffer.takeSb(source); });
  ASSERT_EQ(blocks.size(), 1U);
  EXPECT_TRUE(harness::allWiped(blocks));
  EXPECT_EQ(peekInlineBytes(&buffer), "abc" + std::string(79, '\0'));
}

TEST(TakeSb, OfItselfWipesASecureBuffer) {
  StringBuffer buffer;
  buffer.setSecureBuf(true);
  makeDirty(buffer);
  EXPECT_TRUE(harness::allWiped(releasedBy([&] { buffer.takeSb(buffer); })));
  EXPECT_TRUE(isZero(peekInlineBytes(&buffer)));
}

TEST(TakeSb, DoesNotWipeTheSource) {
  StringBuffer buffer, source("abcdef");
  source.setSecureBuf(true);
  buffer.takeSb(source);
  EXPECT_TRUE(holds(buffer, "abcdef", 0, 202));
  EXPECT_EQ(bytesAt(source.getString(), 7), "\0bcdef\0"s);
}

TEST(TakeSb, LeavesBothSecureFlags) {
  for (const bool secure : {false, true}) {
    StringBuffer buffer, source(letters(100).c_str());
    buffer.setSecureBuf(secure);
    source.setSecureBuf(!secure);
    buffer.takeSb(source);
    EXPECT_EQ(wipesItsBlocks(buffer), secure);
    EXPECT_EQ(wipesItsBlocks(source), !secure);
  }
}

// ---- takeFromDb ----

struct AdoptCase {
  std::string bytes;
  std::string content;
  bool adopted;
};

const AdoptCase kAdoptCases[] = {
    // no byte, or a single NUL
    {"", "", false},
    {"\0"s, "", false},
    // one byte that is not NUL gets its terminator and is content
    {"x", "x", true},
    {"ab", "ab", true},
    // one NUL at the end is the terminator, no more are dropped
    {"ab\0"s, "ab", true},
    {"ab\0\0"s, "ab\0"s, true},
    {"\0\0"s, "\0"s, true},
    {"\0x"s, "\0x"s, true},
    {"a\0b"s, "a\0b"s, true},
    {"x\0"s, "x", true},
};

void expectAdopted(const AdoptCase& c, const Scene& scene) {
  StringBuffer buffer;
  DataBuffer data;
  play(scene, buffer);
  buffer.setExtendSize(7);
  data.append(c.bytes.data(), sizeOf(c.bytes));
  ASSERT_TRUE(data.prepForSbTake());  // so that the block is final
  const void* const block = data.getData2();
  const unsigned int blockSize = data.getBufSize();
  const unsigned int size = data.getSize();
  ASSERT_TRUE(buffer.takeFromDb(data));
  ASSERT_TRUE(holds(buffer, c.content, c.adopted ? blockSize : 0, 202));
  EXPECT_EQ(buffer.getString() == block, c.adopted);
  EXPECT_EQ(data.getSize(), c.adopted ? 0 : size);
  EXPECT_EQ(data.getBufSize(), c.adopted ? 0 : blockSize);
  EXPECT_EQ(data.getData2(), c.adopted ? nullptr : block);
}

TEST(TakeFromDb, AdoptsTheBlock) {
  for (const AdoptCase& c : kAdoptCases) {
    for (const Scene& scene : scenes()) {
      SCOPED_TRACE(testing::PrintToString(c.bytes) + ", " + scene.name);
      expectAdopted(c, scene);
    }
  }
}

TEST(TakeFromDb, ReadiesTheSource) {
  for (const AdoptCase& c : kAdoptCases) {
    StringBuffer buffer("before");
    DataBuffer data;
    data.append(c.bytes.data(), sizeOf(c.bytes));
    EXPECT_TRUE(buffer.takeFromDb(data));
    EXPECT_TRUE(holds(buffer, c.content)) << testing::PrintToString(c.bytes);
    EXPECT_EQ(buffer.heapUsage() != 0, c.adopted) << testing::PrintToString(c.bytes);
  }
}

TEST(TakeFromDb, TheSourceStaysUsable) {
  StringBuffer buffer;
  DataBuffer data;
  data.append("abc", 3);
  EXPECT_TRUE(buffer.takeFromDb(data));
  EXPECT_TRUE(data.append("de", 2));
  EXPECT_EQ(bytesAt(data.getData2(), data.getSize()), "de");
  EXPECT_TRUE(buffer.takeFromDb(data));
  EXPECT_TRUE(holds(buffer, "de"));
}

TEST(TakeFromDb, ShortContentGrowsByTheRuleOfTheHeap) {
  StringBuffer buffer;
  DataBuffer data;
  ASSERT_TRUE(data.ensureBuffer(2));
  data.append("x", 2);
  ASSERT_EQ(data.getBufSize(), 2U);
  EXPECT_TRUE(buffer.takeFromDb(data));
  EXPECT_TRUE(holds(buffer, "x", 2, 202));
  EXPECT_TRUE(buffer.append("yz"));
  EXPECT_TRUE(holds(buffer, "xyz", 206, 103));
}

TEST(TakeFromDb, OwnInlineTextMayGrowASmallBlock) {
  StringBuffer buffer(letters(81).c_str());
  const char* const inlineText = buffer.getString() + 1;
  DataBuffer data;
  ASSERT_TRUE(data.ensureBuffer(2));
  data.append("x", 2);
  ASSERT_TRUE(buffer.takeFromDb(data));
  const std::string text(inlineText);
  StorageModel model;
  model.capacity = 2;
  model.setString(text);
  EXPECT_TRUE(buffer.setString(inlineText));
  EXPECT_TRUE(agrees(buffer, model));
}

TEST(TakeFromDb, WipesTheFormerStorageOfASecureBuffer) {
  StringBuffer buffer;
  buffer.setSecureBuf(true);
  makeDirty(buffer);
  DataBuffer data;
  data.append("abc", 4);
  const auto blocks = releasedBy([&] { buffer.takeFromDb(data); });
  ASSERT_EQ(blocks.size(), 1U);
  EXPECT_TRUE(harness::allWiped(blocks));
  EXPECT_TRUE(isZero(peekInlineBytes(&buffer)));
}

TEST(TakeFromDb, ASecureBufferWipesTheWholeAdoptedBlock) {
  StringBuffer buffer;
  buffer.setSecureBuf(true);
  DataBuffer data;
  ASSERT_TRUE(data.ensureBuffer(500));
  std::memset(data.getData2(), 'x', 500);
  data.append("abc", 4);
  ASSERT_TRUE(buffer.takeFromDb(data));
  const auto blocks = releasedBy([&] { buffer.clear(); });
  ASSERT_EQ(blocks.size(), 1U);
  EXPECT_EQ(blocks[0].size(), 500U);
  EXPECT_TRUE(harness::allWiped(blocks));
}

TEST(TakeFromDb, WithoutMemoryForTheNulTheBufferStaysEmpty) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    play(scene, buffer);
    DataBuffer data;
    ASSERT_TRUE(data.ensureBuffer(3));
    data.append("abc", 3);
    bool taken = true;
    {
      const FailAllocation fail(1, FailAllocation::kFromThenOn);
      taken = buffer.takeFromDb(data);
    }
    EXPECT_FALSE(taken) << scene.name;
    EXPECT_TRUE(holds(buffer, "", 0, 202)) << scene.name;
    EXPECT_EQ(bytesAt(data.getData2(), data.getSize()), "abc") << scene.name;
    EXPECT_TRUE(buffer.takeFromDb(data)) << scene.name;
    EXPECT_TRUE(holds(buffer, "abc")) << scene.name;
  }
}

TEST(TakeFromDb, NeedsNoMemoryWhenTheNulIsThere) {
  StringBuffer buffer(letters(100).c_str());
  DataBuffer data;
  data.append("abc", 4);
  const FailAllocation fail(1, FailAllocation::kFromThenOn);
  EXPECT_TRUE(buffer.takeFromDb(data));
  EXPECT_EQ(fail.seen(), 0);
}

// ---- append of a data buffer ----

TEST(AppendDataBuffer, AppendsTheBytesAsRawBytes) {
  const std::string kBytes[] = {"", "x", "abc", "ab\0\0"s, "\0"s, "a\0b"s, letters(300)};
  for (const Scene& scene : scenes()) {
    for (const std::string& bytes : kBytes) {
      StringBuffer buffer;
      DataBuffer data;
      play(scene, buffer);
      data.append(bytes.data(), sizeOf(bytes));
      StorageModel model = modelOf(scene);
      model.appendN(bytes);
      ASSERT_TRUE(buffer.append(data));
      ASSERT_TRUE(agrees(buffer, model)) << scene.name << ", " << testing::PrintToString(bytes);
      ASSERT_EQ(bytesAt(data.getData2(), data.getSize()), bytes);
    }
  }
}

TEST(AppendDataBuffer, AFailedGrowthLeavesTheContent) {
  DataBuffer data;
  data.append(letters(2000).data(), 2000);
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    play(scene, buffer);
    bool appended = true;
    {
      const FailAllocation fail(1);
      appended = buffer.append(data);
    }
    EXPECT_FALSE(appended) << scene.name;
    EXPECT_TRUE(agrees(buffer, modelOf(scene))) << scene.name;
  }
}

// ---- minimizeMemoryUsage ----

struct ShrinkCase {
  unsigned int length;
  unsigned int capacity;
  unsigned int after;
};

constexpr ShrinkCase kShrinkCases[] = {
    // up to 81 bytes move inline
    {0, 285, 0},
    {1, 285, 0},
    {50, 285, 0},
    {80, 285, 0},
    {81, 285, 0},
    {81, 83, 0},
    // a slack of up to 256 bytes is tolerated
    {82, 83, 83},
    {82, 285, 285},
    {82, 338, 338},
    {82, 339, 83},
    {100, 356, 356},
    {100, 357, 101},
    {1000, 1001, 1001},
    {1000, 1200, 1200},
    {1000, 1256, 1256},
    {1000, 1257, 1001},
    {1000, 1300, 1001},
    {1000, 100000, 1001},
};

// Content of the given length in a block of the given capacity.
void build(const ShrinkCase& c, StringBuffer& buffer) {
  buffer.setExtendSize(0);
  buffer.expectNumBytes(c.capacity - 1);
  appendBytes(buffer, letters(c.length));
}

TEST(MinimizeMemoryUsage, GivesBackWhatIsWorthIt) {
  for (const ShrinkCase& c : kShrinkCases) {
    StringBuffer buffer;
    build(c, buffer);
    ASSERT_TRUE(holds(buffer, letters(c.length), c.capacity, 0));
    buffer.setExtendSize(77);
    buffer.minimizeMemoryUsage();
    EXPECT_TRUE(holds(buffer, letters(c.length), c.after, 77)) << c.length << ", " << c.capacity;
    EXPECT_EQ(isInline(buffer), c.after == 0) << c.length << ", " << c.capacity;
  }
}

TEST(MinimizeMemoryUsage, AllocatesExactlyTheContentAndItsTerminator) {
  StringBuffer buffer(letters(1000).c_str());
  buffer.expectNumBytes(5000);
  buffer.minimizeMemoryUsage();
  const auto blocks = releasedBy([&] { buffer.clear(); });
  ASSERT_EQ(blocks.size(), 1U);
  EXPECT_EQ(blocks[0].size(), 1001U);
}

TEST(MinimizeMemoryUsage, AgreesWithTheModel) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    StorageModel model = modelOf(scene);
    play(scene, buffer);
    buffer.minimizeMemoryUsage();
    model.minimizeMemoryUsage();
    EXPECT_TRUE(agrees(buffer, model)) << scene.name;
    buffer.minimizeMemoryUsage();
    EXPECT_TRUE(agrees(buffer, model)) << scene.name;
  }
}

TEST(MinimizeMemoryUsage, KeepsEmbeddedAndTrailingNuls) {
  const std::string content = "ab\0cd\0\0"s;
  StringBuffer buffer(letters(300).c_str());
  buffer.weakClear();
  fill(buffer, content);
  buffer.minimizeMemoryUsage();
  EXPECT_TRUE(holds(buffer, content, 0, 202));

  const std::string longContent = letters(100) + content;
  buffer.expectNumBytes(1000);
  fill(buffer, longContent);
  buffer.minimizeMemoryUsage();
  EXPECT_TRUE(holds(buffer, content + longContent, 115, 202));
}

TEST(MinimizeMemoryUsage, ASecureBufferWipesTheWholeOldBlock) {
  for (const ShrinkCase& c : kShrinkCases) {
    StringBuffer buffer;
    buffer.setSecureBuf(true);
    buffer.setExtendSize(0);
    buffer.append(letters(c.capacity - 1).c_str());
    buffer.chopAt(c.length);
    if (buffer.heapUsage() != c.capacity) continue;  // 82 bytes do not fill a block of 83
    const auto blocks = releasedBy([&] { buffer.minimizeMemoryUsage(); });
    EXPECT_EQ(blocks.size(), c.after == c.capacity ? 0U : 1U) << c.length << ", " << c.capacity;
    EXPECT_TRUE(harness::allWiped(blocks)) << c.length << ", " << c.capacity;
    EXPECT_TRUE(holds(buffer, letters(c.length), c.after, 0)) << c.length << ", " << c.capacity;
  }
}

TEST(MinimizeMemoryUsage, APlainBufferWipesNothing) {
  StringBuffer buffer;
  makeDirty(buffer);
  const auto blocks = releasedBy([&] { buffer.minimizeMemoryUsage(); });
  ASSERT_EQ(blocks.size(), 1U);
  EXPECT_EQ(blocks[0].substr(0, 10), letters(10));
}

TEST(MinimizeMemoryUsage, WithoutMemoryTheOldBlockStays) {
  for (const ShrinkCase& c : kShrinkCases) {
    StringBuffer buffer;
    build(c, buffer);
    const bool reallocates = c.after != 0 && c.after != c.capacity;
    {
      const FailAllocation fail(1, FailAllocation::kFromThenOn);
      buffer.minimizeMemoryUsage();
      EXPECT_EQ(fail.seen(), reallocates ? 1 : 0) << c.length << ", " << c.capacity;
    }
    EXPECT_TRUE(holds(buffer, letters(c.length), reallocates ? c.capacity : c.after, 0));
  }
}

// ---- Memory reporting ----

TEST(MemoryReporting, HeapUsageIsTheCapacity) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    play(scene, buffer);
    DorvaneObject& object = buffer;
    EXPECT_EQ(buffer.heapUsage(), modelOf(scene).capacity) << scene.name;
    EXPECT_EQ(object.heapUsage(), modelOf(scene).capacity) << scene.name;
  }
}

TEST(MemoryReporting, MemoryUsageAddsTheObject) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    play(scene, buffer);
    EXPECT_EQ(buffer.memoryUsage(), sizeof(StringBuffer) + modelOf(scene).capacity) << scene.name;
  }
}

TEST(MemoryReporting, TheLogHoldsTheSizesAndTheText) {
  for (const Scene& scene : scenes()) {
    StringBuffer buffer;
    play(scene, buffer);
    const StorageModel model = modelOf(scene);
    LogBase log;
    buffer.logSbMemUsage(log);
    EXPECT_TRUE(log.hasContext("sbMemUsage")) << scene.name;
    EXPECT_STREQ(log.valueOf("bufSize"), std::to_string(model.capacity).c_str()) << scene.name;
    EXPECT_STREQ(log.valueOf("dataSize"), std::to_string(model.size()).c_str()) << scene.name;
    EXPECT_STREQ(log.valueOf("str"), model.content.c_str()) << scene.name;
    EXPECT_EQ(log.errorCount(), 0U);
    EXPECT_EQ(log.valueCount(), 3U);
    EXPECT_EQ(log.contextCount(), 1U);
    EXPECT_TRUE(agrees(buffer, model)) << scene.name;
  }
}

TEST(MemoryReporting, TheContextClosesWithTheCall) {
  const StringBuffer buffer("abc");
  LogBase log;
  buffer.logSbMemUsage(log);
  log.LogData("after", "x");
  StringBuffer text;
  ASSERT_TRUE(log.toText(text));
  EXPECT_TRUE(holds(text, "sbMemUsage:\n  bufSize: 0\n  dataSize: 3\n  str: abc\nafter: x\n"));
}

// A user's log that overrides the two recording operations alone.
class ListLog : public LogBase {
 public:
  void LogError(const char* text) override { lines.push_back("error "s + text); }
  void LogData(const char* name, const char* value) override {
    lines.push_back(std::string(name) + "=" + value);
  }
  std::vector<std::string> lines;
};

TEST(MemoryReporting, TheValuesComeInOrder) {
  const StringBuffer buffer(letters(100).c_str());
  ListLog log;
  buffer.logSbMemUsage(log);
  const std::vector<std::string> expected = {"bufSize=303", "dataSize=100", "str=" + letters(100)};
  EXPECT_EQ(log.lines, expected);
}

TEST(MemoryReporting, WithoutMemoryTheLogIsShorterAndNothingElse) {
  StringBuffer buffer(letters(100).c_str());
  std::unique_ptr<LogBase> log;
  harness::failEveryAllocation([&] { log = std::make_unique<LogBase>(); },
                               [&] { buffer.logSbMemUsage(*log); },
                               [&] { EXPECT_TRUE(holds(buffer, letters(100), 303, 202)); });
  EXPECT_EQ(log->valueCount(), 3U);
}

// A caller has overwritten the terminator behind a block of exact size.
TEST(MemoryReporting, TheLogIsBoundedByTheLength) {
  StringBuffer buffer;
  buffer.setExtendSize(0);
  appendBytes(buffer, letters(100));
  ASSERT_EQ(buffer.heapUsage(), 101U);
  *buffer.pCharAt(100) = 'X';
  LogBase log;
  buffer.logSbMemUsage(log);
  EXPECT_STREQ(log.valueOf("dataSize"), "100");
  EXPECT_STREQ(log.valueOf("str"), letters(100).c_str());
}

TEST(CopiesOut, AreBoundedByTheLengthWhenTheTerminatorIsOverwritten) {
  StringBuffer buffer;
  buffer.setExtendSize(0);
  appendBytes(buffer, letters(100));
  ASSERT_EQ(buffer.heapUsage(), 101U);
  *buffer.pCharAt(100) = 'X';
  std::string destination(200, '#');
  EXPECT_EQ(buffer.copyToBuffer(destination.data(), 200), 100U);
  EXPECT_EQ(destination.substr(0, 102), letters(100) + "\0#"s);
  const Chars copy(buffer.copyString(nullptr));
  EXPECT_EQ(bytesAt(copy.get(), 101), letters(100) + "\0"s);
}

// ---- Two buffers on a long walk ----

class Pair {
 public:
  explicit Pair(unsigned int seed) : m_random(seed) {}

  void step() {
    const unsigned int i = m_random() % 2;
    StringBuffer& buffer = m_buffers[i];
    StorageModel& model = m_models[i];
    switch (m_random() % 8) {
      case 0:
        return assign(i);
      case 1:
        return take(i);
      case 2:
        return shrink(buffer, model);
      case 3:
        return assignText(buffer, model);
      case 4:
        return extract(buffer, model);
      case 5:
        return adopt(buffer, model);
      case 6:
        return copy(i);
      default:
        return append(buffer, model);
    }
  }

  testing::AssertionResult agree() {
    const testing::AssertionResult first = agrees(m_buffers[0], m_models[0]);
    return first ? agrees(m_buffers[1], m_models[1]) : first;
  }

 private:
  std::string bytes(std::string_view alphabet) {
    static constexpr unsigned int kSizes[] = {0, 1, 2, 40, 80, 81, 82, 202, 285, 400};
    return harness::randomText(m_random(), kSizes[m_random() % 10], alphabet);
  }

  void assign(unsigned int i) {
    m_buffers[i] = m_buffers[1 - i];
    m_models[i].assign(m_models[1 - i]);
  }

  void take(unsigned int i) {
    m_buffers[i].takeSb(m_buffers[1 - i]);
    m_models[i].takeSb(m_models[1 - i]);
  }

  static void shrink(StringBuffer& buffer, StorageModel& model) {
    buffer.minimizeMemoryUsage();
    model.minimizeMemoryUsage();
  }

  void assignText(StringBuffer& buffer, StorageModel& model) {
    const std::string text = bytes("ab"sv);
    buffer = text.c_str();
    model.append(text);
  }

  void extract(StringBuffer& buffer, StorageModel& model) {
    if (m_random() % 3 != 0) return append(buffer, model);
    unsigned int length = 0;
    unsigned int size = 0;
    const Bytes extracted(buffer.extractString2(length, size));
    EXPECT_EQ(bytesAt(extracted.get(), length), model.content);
    EXPECT_EQ(size, model.capacity != 0 ? model.capacity : model.size() + 1);
    model.clear();
  }

  void adopt(StringBuffer& buffer, StorageModel& model) {
    std::string content = bytes("ab\0"sv);
    DataBuffer data;
    data.append(content.data(), sizeOf(content));
    if (!content.empty() && content.back() == '\0') content.pop_back();
    EXPECT_TRUE(buffer.takeFromDb(data));
    model.clear();
    model.content = content;
    model.capacity = buffer.heapUsage();  // the block of the data buffer
  }

  void copy(unsigned int i) {
    const NewSb made(StringBuffer::createNewSB(m_buffers[1 - i]));
    StorageModel model;
    model.extendSize = 0;
    model.appendN(m_models[1 - i].content);
    model.extendSize = 202;
    EXPECT_TRUE(agrees(*made, model));
    m_buffers[i].takeSb(*made);
    m_models[i].takeSb(model);
  }

  void append(StringBuffer& buffer, StorageModel& model) {
    const std::string piece = bytes("ab\0"sv);
    EXPECT_TRUE(appendBytes(buffer, piece));
    model.appendN(piece);
  }

  std::mt19937 m_random;
  StringBuffer m_buffers[2];
  StorageModel m_models[2];
};

TEST(LifecycleWalk, RandomTransfersAgreeWithTheModel) {
  scenes();
  const long live = harness::liveBlocks();
  for (unsigned int seed = 1; seed <= 30; ++seed) {
    Pair pair(seed);
    for (int i = 0; i < 300; ++i) {
      pair.step();
      ASSERT_TRUE(pair.agree()) << "seed " << seed << ", step " << i;
    }
  }
  EXPECT_EQ(harness::liveBlocks(), live);
}

// ---- Former bugs ----

// The block that the final NUL did not fit into was released as it was.
TEST(TakeFromDb, ASecureBufferWipesTheBlockThatAPlainSourceOutgrows) {
  for (const bool secure : {true, false}) {
    StringBuffer buffer;
    buffer.setSecureBuf(secure);
    DataBuffer data;
    ASSERT_TRUE(data.ensureBuffer(200));
    data.append(letters(200).data(), 200);
    const auto blocks = releasedBy([&] { EXPECT_TRUE(buffer.takeFromDb(data)); });
    ASSERT_EQ(blocks.size(), 1U);
    EXPECT_EQ(blocks[0], secure ? std::string(200, '\0') : letters(200));
    EXPECT_TRUE(holds(buffer, letters(200), 400, 202));
    // The source is as secure as before.
    data.append(letters(64).data(), 64);
    const auto later = releasedBy([&] { data.append("x", 1); });
    ASSERT_EQ(later.size(), 1U);
    EXPECT_EQ(later[0], letters(64));
  }
}

// The log's copy of the text stayed in released memory.
TEST(MemoryReporting, TheLogWipesItsCopyOfASecret) {
  for (const bool secure : {true, false}) {
    StringBuffer buffer(letters(100).c_str());
    buffer.setSecureBuf(secure);
    LogBase log;
    buffer.logSbMemUsage(log);
    log.LogData("after", "an ordinary value");
    int secrets = 0;
    int others = 0;
    for (const std::string& block : releasedBy([&] { log.clear(); })) {
      secrets += block.find(letters(100)) == std::string::npos ? 0 : 1;
      others += block.find("an ordinary value") == std::string::npos ? 0 : 1;
    }
    EXPECT_EQ(secrets, secure ? 0 : 1);
    EXPECT_EQ(others, 1);
  }
}

// The array went out with what a caller had written in the place of the terminator.
TEST(ExtractString, EndsWithANulThoughTheTerminatorIsOverwritten) {
  for (const unsigned int size : {50U, 100U}) {
    StringBuffer buffer;
    buffer.setExtendSize(0);
    appendBytes(buffer, letters(size));
    *buffer.pCharAt(size) = 'X';
    unsigned int length = 0;
    const Bytes block(buffer.extractString(&length));
    EXPECT_EQ(length, size);
    EXPECT_EQ(bytesAt(block.get(), size + 1), letters(size) + "\0"s);
  }
}

}  // namespace
