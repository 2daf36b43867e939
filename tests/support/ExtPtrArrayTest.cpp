#include "support/ExtPtrArray.h"

#include <gtest/gtest.h>

#include <climits>
#include <new>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "support/DorvaneObject.h"
#include "support/ExtPtrArraySb.h"

namespace {

// Notes its own destruction.
class Witness : public DorvaneObject {
 public:
  Witness(int id, std::vector<int>& destroyed) : m_id(id), m_destroyed(destroyed) {}
  Witness(const Witness&) = delete;
  Witness& operator=(const Witness&) = delete;
  ~Witness() override { m_destroyed.push_back(m_id); }

 private:
  int m_id;
  std::vector<int>& m_destroyed;
};

TEST(DorvaneObject, IsDestroyedThroughItsVirtualDestructor) {
  std::vector<int> destroyed;
  DorvaneObject::deleteObject(new Witness(1, destroyed));
  EXPECT_EQ(destroyed, std::vector<int>{1});
  DorvaneObject::deleteObject(nullptr);
  DorvaneObject plain;
  EXPECT_EQ(plain.heapUsage(), 0U);
}

TEST(ExtPtrArray, StartsEmpty) {
  const ExtPtrArray array;
  EXPECT_EQ(array.getSize(), 0);
  EXPECT_EQ(array.elementAt(0), nullptr);
}

TEST(ExtPtrArray, HoldsItsElementsInOrder) {
  std::vector<int> destroyed;
  std::vector<int> expected;
  {
    ExtPtrArray array;
    std::vector<DorvaneObject*> objects;
    for (int i = 0; i < 100; ++i) {
      objects.push_back(new Witness(i, destroyed));
      expected.push_back(i);
      ASSERT_TRUE(array.appendPtr(objects.back()));
      ASSERT_EQ(array.getSize(), i + 1);
    }
    for (int i = 0; i < 100; ++i) EXPECT_EQ(array.elementAt(i), objects[static_cast<size_t>(i)]);
    for (const int index : {-1, 100, INT_MAX, INT_MIN}) EXPECT_EQ(array.elementAt(index), nullptr);
    EXPECT_TRUE(destroyed.empty());
  }
  EXPECT_EQ(destroyed, expected);
}

TEST(ExtPtrArray, KeepsNullElements) {
  ExtPtrArray array;
  EXPECT_TRUE(array.appendPtr(nullptr));
  EXPECT_EQ(array.getSize(), 1);
  EXPECT_EQ(array.elementAt(0), nullptr);
}

TEST(ExtPtrArray, DestroysEverythingAtOnce) {
  std::vector<int> destroyed;
  ExtPtrArray array;
  ASSERT_TRUE(array.appendPtr(new Witness(1, destroyed)));
  array.removeAll();
  EXPECT_EQ(destroyed, std::vector<int>{1});
  EXPECT_EQ(array.getSize(), 0);
  ASSERT_TRUE(array.appendPtr(new Witness(2, destroyed)));
  EXPECT_EQ(array.getSize(), 1);
}

TEST(ExtPtrArray, DestroysWhatItCannotTake) {
  std::vector<int> destroyed;
  destroyed.reserve(4);
  ExtPtrArray array;
  auto* witness = new Witness(1, destroyed);
  bool taken = true;
  {
    const harness::FailAllocation fail(1);
    taken = array.appendPtr(witness);
  }
  EXPECT_FALSE(taken);
  EXPECT_EQ(destroyed, std::vector<int>{1});
  EXPECT_EQ(array.getSize(), 0);
}

TEST(ExtPtrArray, TakesWithoutAllocationWhatWasReserved) {
  std::vector<int> destroyed;
  ExtPtrArray array;
  ASSERT_TRUE(array.reserveMore(40));
  EXPECT_EQ(array.getSize(), 0);
  std::vector<DorvaneObject*> objects;
  for (int i = 0; i < 40; ++i) objects.push_back(new Witness(i, destroyed));
  const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
  for (DorvaneObject* object : objects) EXPECT_TRUE(array.appendPtr(object));
  EXPECT_EQ(fail.seen(), 0);
}

TEST(ExtPtrArray, RefusesAReservationThatCannotBe) {
  ExtPtrArray array;
  ASSERT_TRUE(array.appendPtr(nullptr));
  EXPECT_FALSE(array.reserveMore(INT_MAX));
  {
    const harness::FailAllocation fail(1);
    EXPECT_FALSE(array.reserveMore(1000));
  }
  EXPECT_TRUE(array.reserveMore(0));
  EXPECT_TRUE(array.reserveMore(-1));
  EXPECT_EQ(array.getSize(), 1);
}

TEST(ExtPtrArraySb, GivesItsBuffers) {
  const long before = harness::liveBlocks();
  {
    ExtPtrArraySb array;
    ASSERT_TRUE(array.appendPtr(StringBuffer::createNewSB("first")));
    ASSERT_TRUE(array.appendPtr(StringBuffer::createNewSB(std::string(200, 'x').c_str())));
    ASSERT_TRUE(array.appendPtr(nullptr));
    EXPECT_TRUE(harness::holds(*array.sbAt(0), "first"));
    EXPECT_TRUE(harness::holds(*array.sbAt(1), std::string(200, 'x')));
    for (const int index : {-1, 2, 3}) EXPECT_EQ(array.sbAt(index), nullptr);
  }
  EXPECT_EQ(harness::liveBlocks(), before);
}

}  // namespace
