// What holds for every public member of StringBuffer, whatever it does: the tables with one row for
// each stand in EveryMember*.cpp beside this file.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/EveryMember.h"
#include "harness/ModelBuffer.h"
#include "harness/ReleasedBlocks.h"
#include "harness/StaleStorage.h"
#include "harness/TempDir.h"

namespace {

using harness::Call;
using harness::FailAllocation;
using harness::invariantsHold;
using harness::Member;
using Others = harness::Call::Others;

std::string repeated(std::string_view text, std::size_t least) {
  std::string result(text);
  while (!text.empty() && result.size() < least) result += text;
  return result;
}

// A state in which a buffer meets the members.
struct Start {
  const char* name;
  std::size_t least;  // the row's content is repeated up to this size
  bool isFull;        // a heap block without a byte to spare
  bool isSecure;
};

constexpr Start kStarts[] = {
    {"inline", 0, false, false},
    {"inline, nearly full", 75, false, false},
    {"heap, full", 100, true, false},
    {"heap, full, secure", 100, true, true},
};

// So long that neither what becomes of it nor its copies fit into an object or onto the stack.
constexpr Start kLongSecret = {"heap, long, full, secure", 500, true, true};

void make(StringBuffer& buffer, const Start& start, const char* content) {
  buffer.setSecureBuf(start.isSecure);
  const std::string bytes = repeated(content, start.least);
  if (start.isFull) return harness::fillHeap(buffer, bytes, 0);
  ASSERT_TRUE(buffer.append(bytes.c_str()));
}

std::string inWords(const Member& member, const Start& start) {
  return std::string(member.name) + " on " + start.name;
}

// The files and the environment that the rows expect.
class EveryMember : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::current_path(m_directory.path());
    m_directory.file("file.txt", "\xEF\xBB\xBF" + std::string(300, 'f'));
    m_directory.file("utf16.txt", "\xFF\xFE" + repeated({"u\0\xE9\0", 4}, 300));
    ::setenv("EVERY_MEMBER", "value", 1);
  }
  void TearDown() override { std::filesystem::current_path(m_before); }

  static std::vector<Member> members() {
    std::vector<Member> all;
    for (const harness::Rows& rows : {harness::storageRows(), harness::readingRows(),
                                      harness::editingRows(), harness::markupRows()})
      all.insert(all.end(), rows.begin(), rows.end());
    return all;
  }

  // Calls `body(member, start)` with every member in every state.
  template <class Body>
  static void forEach(const Body& body) {
    for (const Member& member : members()) {
      for (const Start& start : kStarts) {
        SCOPED_TRACE(inWords(member, start));
        body(member, start);
      }
    }
  }

 private:
  std::filesystem::path m_before = std::filesystem::current_path();
  harness::TempDir m_directory;
};

// ---- Exhausted memory ----

// The number of allocations that have failed.
long failEveryAllocation(const Member& member, const Start& start, const char* text,
                         Others others) {
  std::optional<StringBuffer> buffer;
  std::optional<Call> call;
  const long failed = harness::failEveryAllocation(
      [&] {
        call.reset();
        make(buffer.emplace(), start, member.content);
        call.emplace(*buffer, text, others);
      },
      [&] { member.call(*call); },
      [&] {
        EXPECT_TRUE(invariantsHold(*buffer));
        EXPECT_TRUE(invariantsHold(call->other));
        EXPECT_TRUE(invariantsHold(call->out));
        EXPECT_TRUE(invariantsHold(call->out2));
      });
  return failed;
}

TEST_F(EveryMember, SurvivesEveryAllocationFailure) {
  long failed = 0;
  forEach([&failed](const Member& member, const Start& start) {
    const std::string longText = repeated(member.text, 150);
    const long blocks = harness::liveBlocks();
    for (const Others others : {Others::kOwn, Others::kBufferItself}) {
      failed += failEveryAllocation(member, start, member.text, others);
      failed += failEveryAllocation(member, start, longText.c_str(), others);
    }
    EXPECT_EQ(harness::liveBlocks(), blocks);
  });
  EXPECT_GT(failed, 1000);
}

// ---- Texts inside the buffer ----

// Everything that can be seen of a call: its results and outputs, and the buffer.
struct Outcome {
  std::string told;
  harness::BufferState state;
};

bool operator==(const Outcome& a, const Outcome& b) {
  return a.told == b.told && a.state == b.state;
}

std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
  return out << testing::PrintToString(outcome.told.substr(0, 300)) << " and " << outcome.state;
}

// With the text that begins at a byte of the content, as it is or copied before.
Outcome outcomeOf(const Member& member, const Start& start, unsigned int at, bool isCopied,
                  Others others) {
  StringBuffer buffer;
  make(buffer, start, member.content);
  const char* const inside = buffer.getString() + at;
  const std::string copy = inside;
  Call call(buffer, isCopied ? copy.c_str() : inside, others);
  member.call(call);
  EXPECT_TRUE(invariantsHold(buffer));
  EXPECT_TRUE(invariantsHold(call.out));
  return {std::string(call.told()), harness::stateOf(buffer)};
}

TEST_F(EveryMember, TakesTextsInsideTheBuffer) {
  forEach([](const Member& member, const Start& start) {
    const auto size = static_cast<unsigned int>(repeated(member.content, start.least).size());
    for (const unsigned int at : {0U, size / 2, size - std::min(size, 1U), size}) {
      for (const Others others : {Others::kOwn, Others::kBufferItself}) {
        EXPECT_EQ(outcomeOf(member, start, at, false, others),
                  outcomeOf(member, start, at, true, others))
            << "text at " << at << " of " << size << ", others " << static_cast<int>(others);
      }
    }
  });
}

// ---- Secrets ----

enum class When { kAlways, kWithLongTexts };

struct Exception {
  const char* name;
  When when;
  const char* reason;
};

// Members of which a secure buffer releases blocks that are not wiped.
constexpr Exception kExceptions[] = {
    {"StringBuffer(const char*)", When::kWithLongTexts, "the new buffer is not secure"},
    {"createNewSB(const char*)", When::kWithLongTexts, "a buffer that stays empty is given up"},
    {"createNewSB(const StringBuffer&)", When::kAlways, "a buffer that stays empty is given up"},
    {"deleteSb", When::kAlways, "the object itself is freed; its own array is wiped when secure"},
    {"iso2022Replace", When::kAlways, "a buffer that stays empty is given up"},
    {"iso2022Restore", When::kAlways, "the index of the placeholders holds positions, no content"},
    {"createFromFile", When::kAlways, "a new buffer is not secure; given up when it fails"},
    {"createFromFileUtf8", When::kAlways, "a new buffer is not secure; given up when it fails"},
    {"loadFromFileAnsi", When::kWithLongTexts, "a path is no secret"},
    {"appendToFileUtf8", When::kWithLongTexts, "a path is no secret"},
    {"equalsFileContents", When::kWithLongTexts, "a path is no secret"},
};

bool isException(std::string_view name, When when) {
  return std::any_of(std::begin(kExceptions), std::end(kExceptions), [&](const Exception& one) {
    return name == one.name && (one.when == When::kAlways || one.when == when);
  });
}

struct Releases {
  int all = 0;
  int dirty = 0;
  char sample[33] = {};  // of the last dirty block, a NUL shown as a dot

  // Never allocates.
  void add(const unsigned char* block, std::size_t size) {
    ++all;
    if (harness::isWiped(block, size)) return;
    ++dirty;
    std::transform(block, block + std::min<std::size_t>(size, 32), sample,
                   [](unsigned char b) { return b == 0 ? '.' : static_cast<char>(b); });
  }
};

// What a secure buffer releases during a call in which the k-th allocation fails, and at its end.
Releases releasesOf(const Member& member, const char* text, long k, bool& hasFailed) {
  std::optional<StringBuffer> buffer(std::in_place);
  make(*buffer, kLongSecret, member.content);
  Call call(*buffer, text);
  call.setSecure();
  Releases releases;
  const harness::WatchReleases watch(
      [&](const unsigned char* block, std::size_t size) { releases.add(block, size); });
  {
    const FailAllocation fail(k);
    member.call(call);
    hasFailed = fail.fired();
  }
  buffer.reset();
  return releases;
}

// With every allocation failing in turn, and with none.
Releases releasesOf(const Member& member, const char* text) {
  Releases sum;
  bool hasFailed = true;
  for (long k = 1; hasFailed; ++k) {
    const Releases releases = releasesOf(member, text, k, hasFailed);
    if (releases.dirty != 0) std::memcpy(sum.sample, releases.sample, sizeof sum.sample);
    sum.all += releases.all;
    sum.dirty += releases.dirty;
  }
  return sum;
}

// With a text, and with one that does not fit into the object.
template <class Body>
void forBothTexts(const Member& member, const Body& body) {
  body(member.text, When::kAlways);
  body(repeated(member.text, 150).c_str(), When::kWithLongTexts);
}

TEST_F(EveryMember, LeavesNothingOfASecureBuffer) {
  int all = 0;
  for (const Member& member : members()) {
    forBothTexts(member, [&](const char* text, When when) {
      const Releases releases = releasesOf(member, text);
      all += releases.all;
      if (isException(member.name, when)) return;
      EXPECT_EQ(releases.dirty, 0)
          << member.name << ", one is " << testing::PrintToString(releases.sample);
    });
  }
  EXPECT_GT(all, 500);
}

// An exception that is none any more has to go from the table.
TEST_F(EveryMember, ExceptionsAreNeeded) {
  for (const Exception& exception : kExceptions) {
    int dirty = 0;
    for (const Member& member : members()) {
      if (std::string_view(member.name) != exception.name) continue;
      forBothTexts(member, [&](const char* text, When when) {
        if (when == exception.when) dirty += releasesOf(member, text).dirty;
      });
    }
    EXPECT_GT(dirty, 0) << exception.name << ": " << exception.reason;
  }
}

// ---- Overwritten terminators ----

// What follows a content whose terminator a caller has overwritten.
enum class After { kOldBytes, kNothing };

// `kOldBytes`: the storage after the content is full of `stale`. `kNothing`: the block ends with
// the terminator.
void makeWithin(StringBuffer& buffer, const std::string& bytes, After after, char stale) {
  if (after == After::kNothing) return harness::fillHeap(buffer, bytes, 0);
  buffer.append(std::string(bytes.size() + 500, stale).c_str());
  buffer.weakClear();
  buffer.append(bytes.c_str());
}

// Results, outputs, content and storage of a call, with the terminators of the buffer and of the
// other one as they are or overwritten by `stale`.
std::string outcomeOf(const Member& member, StringBuffer& buffer, Others others, bool isOverwritten,
                      char stale) {
  Call call(buffer, member.text, others);
  if (isOverwritten) *buffer.pCharAt(buffer.getSize()) = stale;
  if (isOverwritten && others == Others::kOwn) {
    call.other.clear();
    harness::fillUnterminated(call.other, member.text, stale);
  }
  member.call(call);
  const harness::BufferState state = harness::stateOf(buffer);
  return std::string(call.told()) + " and " + state.content + ", heap " +
         std::to_string(state.heapUsage) + ", extend " + std::to_string(state.extendSize);
}

// The one that tells of the terminator, and one that is handed the address of the content as a
// text.
bool readsTheTerminator(std::string_view name) {
  return name == "isNonTerminated" || name == "findWordOnly";
}

void expectBoundedByTheLength(const Member& member, After after, char stale, Others others) {
  const std::string bytes = repeated(member.content, after == After::kNothing ? 100 : 1);
  if (after == After::kNothing && bytes.empty()) return;
  StringBuffer unterminated;
  StringBuffer terminated;
  makeWithin(unterminated, bytes, after, stale);
  makeWithin(terminated, bytes, after, stale);
  EXPECT_EQ(outcomeOf(member, unterminated, others, true, stale),
            outcomeOf(member, terminated, others, false, stale))
      << member.name << " of " << testing::PrintToString(bytes) << ", after it "
      << testing::PrintToString(stale) << ", others " << static_cast<int>(others);
}

TEST_F(EveryMember, IsBoundedByTheLengthWhenTheTerminatorIsOverwritten) {
  for (const Member& member : members()) {
    if (readsTheTerminator(member.name)) continue;
    for (const char stale : {'b', '4', ' ', ',', '"', '>', '%', ';', '/', '?'})
      for (const After after : {After::kOldBytes, After::kNothing})
        for (const Others others : {Others::kOwn, Others::kBufferItself})
          expectBoundedByTheLength(member, after, stale, others);
  }
}

// ---- Nothing ----

void expectSurvives(const Member& member, const Start& start, const char* content, const char* text,
                    Others others) {
  StringBuffer buffer;
  make(buffer, start, content);
  Call call(buffer, text, others);
  member.call(call);
  EXPECT_TRUE(invariantsHold(buffer)) << testing::PrintToString(text);
  EXPECT_TRUE(invariantsHold(call.out)) << testing::PrintToString(text);
}

TEST_F(EveryMember, TakesEmptyContentAndNull) {
  forEach([](const Member& member, const Start& start) {
    const long blocks = harness::liveBlocks();
    for (const Others others : {Others::kOwn, Others::kBufferItself}) {
      for (const char* text : {static_cast<const char*>(nullptr), ""})
        for (const char* content : {"", member.content})
          expectSurvives(member, start, content, text, others);
      expectSurvives(member, start, "", member.text, others);
    }
    EXPECT_EQ(harness::liveBlocks(), blocks);
  });
}

}  // namespace
