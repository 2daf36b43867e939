#include "support/DorvaneCritSec.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <type_traits>
#include <vector>

#include "support/CritSecExitor.h"

namespace {

static_assert(std::is_nothrow_default_constructible_v<DorvaneCritSec>);
static_assert(std::has_virtual_destructor_v<DorvaneCritSec>);
static_assert(std::is_nothrow_constructible_v<CritSecExitor, DorvaneCritSec*>);

TEST(DorvaneCritSecThread, LetsOneThreadInAtATime) {
  DorvaneCritSec section;
  int count = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 10000; ++i) {
        const CritSecExitor guard(&section);
        ++count;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count, 40000);
}

TEST(DorvaneCritSecThread, LetsItsThreadInAgain) {
  DorvaneCritSec section;
  std::atomic<bool> inside{false};
  std::atomic<bool> entered{false};
  std::thread other;
  {
    const CritSecExitor outer(&section);
    {
      const CritSecExitor inner(&section);
      other = std::thread([&] {
        const CritSecExitor guard(&section);
        entered = true;
        EXPECT_FALSE(inside);
      });
      inside = true;
    }
    EXPECT_FALSE(entered) << "the outer guard still holds the section";
    inside = false;
  }
  other.join();
  EXPECT_TRUE(entered);
}

TEST(CritSecExitor, ToleratesNull) { EXPECT_NO_FATAL_FAILURE(const CritSecExitor guard(nullptr)); }

}  // namespace
