#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <vector>

#include "core/_tsStringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/LivenessMarks.h"
#include "harness/RawContent.h"
#include "harness/ReleasedBlocks.h"
#include "harness/StorageLayout.h"
#include "support/CritSecExitor.h"
#include "support/ExtPtrArray.h"

namespace {

using harness::BrokenValidityWord;
using harness::bytesOf;
using harness::holds;
using harness::invariantsHold;
using harness::stateOf;
using namespace std::string_literals;

static_assert(std::is_base_of_v<DorvaneCritSec, _tsStringBuffer>);
static_assert(std::is_base_of_v<DorvaneObject, _tsStringBuffer>);
static_assert(!std::is_base_of_v<StringBuffer, _tsStringBuffer>);
static_assert(std::has_virtual_destructor_v<_tsStringBuffer>);
static_assert(!std::is_copy_constructible_v<_tsStringBuffer>);
static_assert(!std::is_copy_assignable_v<_tsStringBuffer>);

// ---- Helpers ----

// The buffer inside a wrapper, found by the validity word of its base.
StringBuffer& innerOf(_tsStringBuffer& wrapper) {
  char* object = reinterpret_cast<char*>(&wrapper);
  const std::size_t word = harness::validityWordOffset();
  for (std::size_t at = 0; at + sizeof(StringBuffer) <= sizeof wrapper; at += alignof(StringBuffer))
    if (harness::peek<unsigned int>(object + at, word) == NonRefCountedObj::kLiveWord)
      return *std::launder(reinterpret_cast<StringBuffer*>(object + at));
  ADD_FAILURE() << "no buffer inside";
  std::abort();
}

const std::string kLong(100, 'l');

void inThreads(int count, const std::function<void(int)>& body) {
  std::vector<std::thread> threads;
  for (int t = 0; t < count; ++t) threads.emplace_back(body, t);
  for (std::thread& thread : threads) thread.join();
}

// One call, told for the wrapper and for a plain buffer alike. The source is another buffer; the
// result is 1 or 0 for a bool, the number for a number, 2 for nothing.
struct Call {
  const char* name;
  unsigned int (*wrapped)(_tsStringBuffer&, StringBuffer& source);
  unsigned int (*plain)(StringBuffer&, StringBuffer& source);
};

#define DORVANE_TESTS_CALL(NAME, EXPRESSION)                                       \
  {                                                                                \
    NAME,                                                                          \
        [](_tsStringBuffer& b, [[maybe_unused]] StringBuffer& s) -> unsigned int { \
          return EXPRESSION;                                                       \
        },                                                                         \
        [](StringBuffer& b, [[maybe_unused]] StringBuffer& s) -> unsigned int {    \
          return EXPRESSION;                                                       \
        }                                                                          \
  }

const Call kCalls[] = {
    DORVANE_TESTS_CALL("setString(buffer)", b.setString(s)),
    DORVANE_TESTS_CALL("setString(text)", b.setString("some text ")),
    DORVANE_TESTS_CALL("setString(long text)", b.setString(kLong.c_str())),
    DORVANE_TESTS_CALL("setString(null)", b.setString(static_cast<const char*>(nullptr))),
    DORVANE_TESTS_CALL("clear", (b.clear(), 2U)),
    DORVANE_TESTS_CALL("append(int)", b.append(INT_MIN)),
    DORVANE_TESTS_CALL("append(unsigned)", b.append(4294967295U)),
    DORVANE_TESTS_CALL("appendInt64", b.appendInt64(LLONG_MIN)),
    DORVANE_TESTS_CALL("append(text)", b.append("\t text \r\n")),
    DORVANE_TESTS_CALL("append(long text)", b.append(kLong.c_str())),
    DORVANE_TESTS_CALL("append(null)", b.append(static_cast<const char*>(nullptr))),
    DORVANE_TESTS_CALL("append(buffer)", b.append(s)),
    DORVANE_TESTS_CALL("appendN", b.appendN("a\0b\0\0", 5)),
    DORVANE_TESTS_CALL("appendN(null)", b.appendN(nullptr, 5)),
    DORVANE_TESTS_CALL("endsWith", b.endsWith("l")),
    DORVANE_TESTS_CALL("endsWith(null)", b.endsWith(nullptr)),
    DORVANE_TESTS_CALL("equals", b.equals("some text ")),
    DORVANE_TESTS_CALL("equals(null)", b.equals(nullptr)),
    DORVANE_TESTS_CALL("getSize", b.getSize()),
    DORVANE_TESTS_CALL("shorten", (b.shorten(3), 2U)),
    DORVANE_TESTS_CALL("trim2", (b.trim2(), 2U)),
};
#undef DORVANE_TESTS_CALL

// ---- The type ----

TEST(TsStringBuffer, IsALockFirstAndAnObjectSecond) {
  _tsStringBuffer wrapper;
  const auto address = [](const void* p) { return reinterpret_cast<std::uintptr_t>(p); };
  const auto lock = address(static_cast<DorvaneCritSec*>(&wrapper));
  const auto object = address(static_cast<DorvaneObject*>(&wrapper));
  EXPECT_EQ(lock, address(&wrapper));
  EXPECT_LT(lock, object);
  EXPECT_LT(object, address(&innerOf(wrapper)));
}

TEST(TsStringBuffer, StartsWithAnEmptyBufferOfTheUsualKind) {
  _tsStringBuffer wrapper;
  EXPECT_TRUE(holds(innerOf(wrapper), "", 0, 202));
  const harness::StorageFields fields = harness::peekFields(&innerOf(wrapper));
  EXPECT_EQ(fields.magic, 0xAA);
  EXPECT_EQ(fields.secure, 0);
  EXPECT_EQ(wrapper.getSize(), 0U);
}

TEST(TsStringBuffer, ReportsNoHeapUsage) {
  _tsStringBuffer wrapper;
  EXPECT_EQ(wrapper.heapUsage(), 0U);
  ASSERT_TRUE(wrapper.append(std::string(1000, 'x').c_str()));
  EXPECT_EQ(wrapper.heapUsage(), 0U);
  EXPECT_NE(innerOf(wrapper).heapUsage(), 0U);
}

TEST(TsStringBuffer, IsDestroyedThroughEitherBase) {
  const long before = harness::liveBlocks();
  for (const bool asObject : {true, false}) {
    auto* wrapper = new (std::nothrow) _tsStringBuffer;
    ASSERT_NE(wrapper, nullptr);
    ASSERT_TRUE(wrapper->append(kLong.c_str()));
    if (asObject)
      DorvaneObject::deleteObject(wrapper);
    else
      delete static_cast<DorvaneCritSec*>(wrapper);
  }
  EXPECT_EQ(harness::liveBlocks(), before);
}

TEST(TsStringBuffer, LivesInAnArrayOfObjects) {
  const long before = harness::liveBlocks();
  {
    ExtPtrArray array;
    auto* wrapper = new (std::nothrow) _tsStringBuffer;
    ASSERT_NE(wrapper, nullptr);
    ASSERT_TRUE(wrapper->append(kLong.c_str()));
    array.appendPtr(wrapper);
    ASSERT_EQ(array.getSize(), 1);
    EXPECT_EQ(array.elementAt(0), static_cast<DorvaneObject*>(wrapper));
  }
  EXPECT_EQ(harness::liveBlocks(), before);
}

DORVANE_TESTS_NOINLINE void destroy(_tsStringBuffer& wrapper) { wrapper.~_tsStringBuffer(); }

TEST(TsStringBuffer, DestroysTheBufferInside) {
  alignas(_tsStringBuffer) unsigned char memory[sizeof(_tsStringBuffer)];
  auto* wrapper = new (memory) _tsStringBuffer;
  ASSERT_TRUE(wrapper->append(kLong.c_str()));
  const void* inner = &innerOf(*wrapper);
  const std::vector<std::string> blocks = harness::releasedBy([&] { destroy(*wrapper); });
  ASSERT_EQ(blocks.size(), 1U);
  EXPECT_EQ(blocks[0].substr(0, 100), kLong) << "an insecure buffer is not wiped";
  const harness::StorageFields fields = harness::peekFields(inner);
  EXPECT_EQ(fields.magic, 0);
  EXPECT_NE(fields.validityWord, NonRefCountedObj::kLiveWord);
}

// ---- Every member does what the buffer's member does ----

struct ResultCase {
  const char* call;
  unsigned int result;
  std::string content;
};

// From the content "abc", with the source buffer "source".
const ResultCase kResults[] = {
    {"setString(buffer)", 1, "source"},
    {"setString(text)", 1, "some text "},
    {"setString(long text)", 1, kLong},
    {"setString(null)", 1, ""},
    {"clear", 2, ""},
    {"append(int)", 1, "abc-2147483648"},
    {"append(unsigned)", 1, "abc4294967295"},
    {"appendInt64", 1, "abc-9223372036854775808"},
    {"append(text)", 1, "abc\t text \r\n"},
    {"append(long text)", 1, "abc" + kLong},
    {"append(null)", 1, "abc"},
    {"append(buffer)", 1, "abcsource"},
    {"appendN", 1, "abca\0b"s},
    {"appendN(null)", 1, "abc"},
    {"endsWith", 0, "abc"},
    {"equals", 0, "abc"},
    {"getSize", 3, "abc"},
    {"shorten", 2, ""},
    {"trim2", 2, "abc"},
};

TEST(TsStringBuffer, PerformsEachOperation) {
  for (const ResultCase& expected : kResults) {
    SCOPED_TRACE(expected.call);
    bool found = false;
    for (const Call& call : kCalls) {
      if (std::strcmp(call.name, expected.call) != 0) continue;
      found = true;
      _tsStringBuffer wrapper;
      StringBuffer source("source");
      ASSERT_TRUE(wrapper.setString("abc"));
      EXPECT_EQ(call.wrapped(wrapper, source), expected.result);
      EXPECT_TRUE(holds(innerOf(wrapper), expected.content));
    }
    EXPECT_TRUE(found);
  }
}

TEST(TsStringBuffer, ComparesAndTrims) {
  _tsStringBuffer wrapper;
  ASSERT_TRUE(wrapper.setString(" \t\r\nsome text\n\r\t "));
  wrapper.trim2();
  EXPECT_TRUE(holds(innerOf(wrapper), "some text"));
  EXPECT_TRUE(wrapper.equals("some text"));
  EXPECT_FALSE(wrapper.equals("some tex"));
  EXPECT_FALSE(wrapper.equals("Some text"));
  EXPECT_TRUE(wrapper.endsWith("text"));
  EXPECT_FALSE(wrapper.endsWith("some"));
  wrapper.shorten(5);
  EXPECT_TRUE(wrapper.equals("some"));
  wrapper.shorten(100);
  EXPECT_EQ(wrapper.getSize(), 0U);
}

// Arbitrary sequences leave the same result and the same storage as with a plain buffer.
TEST(TsStringBuffer, AddsNothingToWhatTheBufferDoes) {
  std::mt19937_64 random(23);
  for (int round = 0; round < 200; ++round) {
    _tsStringBuffer wrapper;
    StringBuffer plain;
    StringBuffer source(harness::randomText(random(), random() % 120, "ab \n").c_str());
    for (int step = 0; step < 40; ++step) {
      const Call& call = kCalls[random() % std::size(kCalls)];
      ASSERT_EQ(call.wrapped(wrapper, source), call.plain(plain, source)) << call.name;
      ASSERT_EQ(stateOf(innerOf(wrapper)), stateOf(plain)) << call.name;
      ASSERT_TRUE(invariantsHold(innerOf(wrapper))) << call.name;
    }
  }
}

// ---- The buffer inside as an argument ----

TEST(TsStringBuffer, RefusesToAppendTheBufferInside) {
  for (const std::string& content : {"abc"s, kLong}) {
    _tsStringBuffer wrapper;
    ASSERT_TRUE(wrapper.setString(content.c_str()));
    EXPECT_FALSE(wrapper.append(innerOf(wrapper)));
    EXPECT_TRUE(holds(innerOf(wrapper), content));
    EXPECT_FALSE(wrapper.toSb(innerOf(wrapper)));
    EXPECT_TRUE(holds(innerOf(wrapper), content));
  }
}

TEST(TsStringBuffer, IsUnchangedWhenSetToTheBufferInside) {
  _tsStringBuffer wrapper;
  ASSERT_TRUE(wrapper.setString(kLong.c_str()));
  innerOf(wrapper).setExtendSize(7);
  const harness::BufferState before = stateOf(innerOf(wrapper));
  EXPECT_TRUE(wrapper.setString(innerOf(wrapper)));
  EXPECT_EQ(stateOf(innerOf(wrapper)), before);
}

TEST(TsStringBuffer, TakesTextsFromItsOwnContent) {
  for (const std::size_t length : {10U, 60U, 81U, 150U}) {
    const std::string content = harness::randomText(length, length, "abcdefgh");
    for (const std::size_t start : {std::size_t{0}, std::size_t{3}, length - 1, length}) {
      const std::string tail = content.substr(start);
      _tsStringBuffer set;
      ASSERT_TRUE(set.append(content.c_str()));
      EXPECT_TRUE(set.setString(innerOf(set).getString() + start));
      EXPECT_TRUE(holds(innerOf(set), tail));
      _tsStringBuffer append;
      ASSERT_TRUE(append.append(content.c_str()));
      EXPECT_TRUE(append.append(innerOf(append).getString() + start));
      EXPECT_TRUE(holds(innerOf(append), content + tail));
      _tsStringBuffer appendN;
      ASSERT_TRUE(appendN.append(content.c_str()));
      const auto n = static_cast<unsigned int>(tail.size());
      EXPECT_TRUE(appendN.appendN(innerOf(appendN).getString() + start, n));
      EXPECT_TRUE(holds(innerOf(appendN), content + tail));
    }
  }
}

// ---- toSb ----

TEST(TsStringBuffer, ToSbAppendsToTheDestination) {
  _tsStringBuffer wrapper;
  ASSERT_TRUE(wrapper.setString("content"));
  StringBuffer destination;
  EXPECT_TRUE(wrapper.toSb(destination));
  EXPECT_TRUE(holds(destination, "content", 0, 202));
  EXPECT_TRUE(wrapper.toSb(destination));
  EXPECT_TRUE(holds(destination, "contentcontent", 0, 202));
  EXPECT_TRUE(wrapper.equals("content"));
}

TEST(TsStringBuffer, ToSbAppendsAsAppendNDoes) {
  for (const unsigned int length : {0U, 1U, 40U, 41U, 42U, 80U, 81U, 82U, 300U}) {
    _tsStringBuffer wrapper;
    std::string content = harness::randomText(length, length, "ab"s + '\0');
    if (length > 0) content.back() = '\0';  // a NUL at the end, which stands in the content
    harness::fill(innerOf(wrapper), content);
    StringBuffer destination;
    StringBuffer plain;
    for (StringBuffer* buffer : {&destination, &plain}) harness::fill(*buffer, "0123456789\0\0"s);
    for (int i = 0; i < 3; ++i) {
      EXPECT_TRUE(wrapper.toSb(destination));
      EXPECT_TRUE(plain.appendN(content.data(), length));
      EXPECT_EQ(stateOf(destination), stateOf(plain)) << length;
    }
    EXPECT_TRUE(holds(innerOf(wrapper), content));
  }
}

TEST(TsStringBuffer, ToSbRefusesADeadBufferInside) {
  _tsStringBuffer wrapper;
  ASSERT_TRUE(wrapper.setString("content"));
  StringBuffer destination("kept");
  {
    const BrokenValidityWord dead(innerOf(wrapper));
    EXPECT_FALSE(wrapper.toSb(destination));
    EXPECT_TRUE(holds(destination, "kept"));
  }
  EXPECT_TRUE(wrapper.toSb(destination));
  EXPECT_TRUE(holds(destination, "keptcontent"));
}

TEST(TsStringBuffer, ToSbReportsThatTheDestinationCannotGrow) {
  _tsStringBuffer wrapper;
  ASSERT_TRUE(wrapper.setString(kLong.c_str()));
  StringBuffer destination("kept");
  {
    const harness::FailAllocation fail(1);
    EXPECT_FALSE(wrapper.toSb(destination));
  }
  EXPECT_TRUE(holds(destination, "kept", 0, 202));
  EXPECT_TRUE(wrapper.toSb(destination));
}

// ---- Dead arguments and failing allocations ----

DORVANE_TESTS_NOINLINE void destroy(StringBuffer& buffer) { buffer.~StringBuffer(); }

TEST(TsStringBuffer, AppendOfADestroyedBufferIsFalse) {
  alignas(StringBuffer) unsigned char memory[sizeof(StringBuffer)];
  auto* dead = new (memory) StringBuffer("ghost");
  destroy(*dead);
  _tsStringBuffer wrapper;
  ASSERT_TRUE(wrapper.setString("abc"));
  EXPECT_FALSE(wrapper.append(*dead));
  EXPECT_TRUE(holds(innerOf(wrapper), "abc", 0, 202));
  StringBuffer alive("x");
  const BrokenValidityWord broken(alive);
  EXPECT_FALSE(wrapper.append(alive));
  EXPECT_TRUE(holds(innerOf(wrapper), "abc", 0, 202));
}

TEST(TsStringBuffer, SurvivesEveryFailedAllocation) {
  const std::string content(80, 'c');
  for (const Call& call : kCalls) {
    SCOPED_TRACE(call.name);
    const long before = harness::liveBlocks();
    _tsStringBuffer wrapper;
    StringBuffer plain;
    StringBuffer source(kLong.c_str());
    unsigned int result = 0;
    unsigned int plainResult = 0;
    const auto setUp = [&] {
      wrapper.clear();
      plain.clear();
      wrapper.setString(content.c_str());
      plain.setString(content.c_str());
    };
    const auto check = [&] { EXPECT_TRUE(invariantsHold(innerOf(wrapper))); };
    harness::failEveryAllocation(
        setUp, [&] { result = call.wrapped(wrapper, source); }, check);
    setUp();
    {
      const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
      result = call.wrapped(wrapper, source);
    }
    {
      const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
      plainResult = call.plain(plain, source);
    }
    EXPECT_EQ(result, plainResult);
    EXPECT_EQ(stateOf(innerOf(wrapper)), stateOf(plain));
    for (StringBuffer* buffer : {&innerOf(wrapper), &plain, &source}) buffer->clear();
    EXPECT_EQ(harness::liveBlocks(), before);
  }
}

// ---- Threads ----

TEST(TsStringBufferThread, TwoThreadsAppendOneByteEachTenThousandTimes) {
  _tsStringBuffer wrapper;
  inThreads(2, [&](int t) {
    for (int i = 0; i < 10000; ++i) EXPECT_TRUE(wrapper.appendN(t == 0 ? "a" : "b", 1));
  });
  EXPECT_EQ(wrapper.getSize(), 20000U);
  StringBuffer all;
  ASSERT_TRUE(wrapper.toSb(all));
  EXPECT_EQ(all.countCharOccurances('a'), 10000U);
}

// What one thread appends in one call: the kind of the call, the thread, and the how-manieth
// call of the thread it is. No piece begins like another of a different length.
constexpr int kThreads = 8;
constexpr int kCallsPerThread = 100000;
constexpr long long kLowest64 = -9000000000000000000LL;

std::string pieceOf(char kind, int thread, int number) {
  char digits[16];
  std::snprintf(digits, sizeof digits, "%d%06d", thread, number);
  switch (kind) {
    case 'i':
      return "-1"s + digits;  // append(int)
    case 'u':
      return "400"s + digits;  // append(unsigned)
    case 'l':
      return "-900000000000"s + digits;  // appendInt64
    case 't':
      return "["s + digits + "]";  // append(text)
    case 'b':
      return "("s + digits + ")";  // append(buffer)
    default:
      return "{\0"s + digits + "}";  // appendN
  }
}

bool appendPiece(_tsStringBuffer& wrapper, char kind, int thread, int number) {
  const int offset = thread * 1000000 + number;
  const std::string piece = pieceOf(kind, thread, number);
  switch (kind) {
    case 'i':
      return wrapper.append(-10000000 - offset);
    case 'u':
      return wrapper.append(4000000000U + static_cast<unsigned int>(offset));
    case 'l':
      return wrapper.appendInt64(kLowest64 - offset);
    case 't':
      return wrapper.append(piece.c_str());
    case 'b':
      return wrapper.append(StringBuffer(piece.c_str()));
    default:
      return wrapper.appendN(piece.data(), static_cast<unsigned int>(piece.size()));
  }
}

char kindAt(const char* piece) {
  if (piece[0] == '-') return piece[1] == '1' ? 'i' : 'l';
  return piece[0] == '4' ? 'u' : piece[0] == '[' ? 't' : piece[0] == '(' ? 'b' : 'n';
}

constexpr char kSchedule[] = "itblnu?s";

// Every piece is there whole, and each thread's pieces are in their order.
void expectAllPieces(std::string_view content) {
  std::array<int, kThreads> next{};
  std::size_t at = 0;
  while (at < content.size()) {
    const char kind = kindAt(content.data() + at);
    const std::size_t size = pieceOf(kind, 0, 0).size();
    ASSERT_LE(at + size, content.size());
    const std::size_t digits = pieceOf(kind, 9, 0).find('9', kind == 'l' ? 2 : 0);
    const int thread = content[at + digits] - '0';
    ASSERT_TRUE(thread >= 0 && thread < kThreads) << at;
    int& number = next[static_cast<std::size_t>(thread)];
    while (kSchedule[number % 8] == '?' || kSchedule[number % 8] == 's') ++number;
    ASSERT_EQ(kind, kSchedule[number % 8]) << at;
    ASSERT_EQ(content.substr(at, size), pieceOf(kind, thread, number)) << at;
    ++number;
    at += size;
  }
  for (const int number : next) EXPECT_EQ((number + 2) / 8 * 8, kCallsPerThread);
}

TEST(TsStringBufferThread, NothingIsLostAmongMixedOperations) {
  _tsStringBuffer wrapper;
  std::atomic<int> failures{0};
  inThreads(kThreads, [&](int t) {
    unsigned int seen = 0;
    for (int i = 0; i < kCallsPerThread; ++i) {
      const char kind = kSchedule[i % 8];
      bool fine = true;
      if (kind == '?') {
        const unsigned int size = wrapper.getSize();
        fine = size >= seen && !wrapper.endsWith("?") && !wrapper.equals("?");
        seen = size;
      } else if (kind == 's') {
        wrapper.shorten(0);
      } else {
        fine = appendPiece(wrapper, kind, t, i);
      }
      if (!fine) ++failures;
      if (i % 25000 == 0) {
        StringBuffer copy;
        if (!wrapper.toSb(copy) || copy.getSize() < seen) ++failures;
      }
    }
  });
  EXPECT_EQ(failures, 0);
  EXPECT_TRUE(invariantsHold(innerOf(wrapper)));
  expectAllPieces(bytesOf(innerOf(wrapper)));
}

TEST(TsStringBufferThread, NobodySeesHalfAnOperation) {
  const std::string shortText(70, 'a');
  const std::string longText(700, 'b');
  const StringBuffer other(std::string(300, 'c').c_str());
  const std::string blanks = " \t" + std::string(200, 'd') + "\r\n";
  const auto whole = [](const std::string& copy) {
    const std::size_t n = copy.size();
    if (n == 0) return true;
    if (copy.front() == ' ') return n == 204 && copy.back() == '\n';
    if (copy.find_first_not_of(copy.front()) != std::string::npos) return false;
    return n == (copy.front() == 'a'   ? 70U
                 : copy.front() == 'b' ? 700U
                 : copy.front() == 'c' ? 300U
                                       : 200U);
  };
  _tsStringBuffer wrapper;
  std::atomic<int> torn{0};
  inThreads(8, [&](int t) {
    for (int i = 0; i < 2000; ++i) {
      switch ((t + i) % 6) {
        case 0:
          wrapper.setString(shortText.c_str());
          break;
        case 1:
          wrapper.setString(longText.c_str());
          break;
        case 2:
          wrapper.setString(other);
          break;
        case 3:
          wrapper.setString(blanks.c_str());
          break;
        case 4:
          wrapper.trim2();
          break;
        default:
          wrapper.clear();
      }
      StringBuffer copy;
      if (!wrapper.toSb(copy) || !whole(bytesOf(copy))) ++torn;
    }
  });
  EXPECT_EQ(torn, 0);
  EXPECT_TRUE(invariantsHold(innerOf(wrapper)));
}

TEST(TsStringBufferThread, EveryShorteningCounts) {
  _tsStringBuffer wrapper;
  ASSERT_TRUE(wrapper.append(std::string(40005, 'x').c_str()));
  inThreads(8, [&](int) {
    for (int i = 0; i < 5000; ++i) wrapper.shorten(1);
  });
  EXPECT_TRUE(holds(innerOf(wrapper), "xxxxx"));
}

// While another thread is inside the section, the call waits; afterwards it goes on, and leaves
// the section to others.
TEST(TsStringBufferThread, EveryOperationHoldsTheSectionOfTheWrapper) {
  std::vector<std::function<void(_tsStringBuffer&, StringBuffer&)>> calls;
  for (const Call& call : kCalls)
    calls.emplace_back([&call](_tsStringBuffer& w, StringBuffer& s) { call.wrapped(w, s); });
  calls.emplace_back([](_tsStringBuffer& w, StringBuffer& s) { w.toSb(s); });
  for (std::size_t i = 0; i < calls.size(); ++i) {
    _tsStringBuffer wrapper;
    StringBuffer source("source");
    std::atomic<bool> started{false};
    std::atomic<bool> done{false};
    std::thread worker;
    {
      const CritSecExitor inside(&wrapper);
      worker = std::thread([&] {
        started = true;
        calls[i](wrapper, source);
        done = true;
      });
      while (!started) std::this_thread::yield();
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
      EXPECT_FALSE(done) << (i < std::size(kCalls) ? kCalls[i].name : "toSb");
    }
    worker.join();
    EXPECT_TRUE(done);
    inThreads(1, [&](int) { wrapper.getSize(); });  // does not wait for ever
  }
}

TEST(TsStringBufferThread, TheArgumentsAreNotLocked) {
  _tsStringBuffer first;
  _tsStringBuffer second;
  ASSERT_TRUE(first.setString("first"));
  ASSERT_TRUE(second.setString("second"));
  const CritSecExitor inside(&second);
  inThreads(1, [&](int) {
    StringBuffer& argument = innerOf(second);
    EXPECT_TRUE(first.append(argument));
    EXPECT_TRUE(first.toSb(argument));
    EXPECT_TRUE(first.setString(argument));
  });
  EXPECT_TRUE(holds(innerOf(first), "secondfirstsecond"));
  EXPECT_TRUE(holds(innerOf(second), "secondfirstsecond"));
}

TEST(TsStringBufferThread, AFailedOperationLeavesTheSection) {
  _tsStringBuffer wrapper;
  {
    const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
    EXPECT_FALSE(wrapper.append(kLong.c_str()));
    EXPECT_FALSE(wrapper.setString(kLong.c_str()));
    EXPECT_FALSE(wrapper.toSb(innerOf(wrapper)));
  }
  inThreads(1, [&](int) { EXPECT_EQ(wrapper.getSize(), 0U); });
}

}  // namespace
