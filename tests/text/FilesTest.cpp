// Loading and saving of text/Files.cpp.

#include <gtest/gtest.h>
#include <limits.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/FilesReference.h"
#include "harness/ModelBuffer.h"
#include "harness/ProgramPages.h"
#include "harness/ReleasedBlocks.h"
#include "harness/StaleStorage.h"
#include "harness/SystemFiles.h"
#include "harness/TempDir.h"
#include "support/DorvaneHandle.h"
#include "support/FileSys.h"
#include "support/LogBase.h"
#include "support/XString.h"

namespace {

using namespace std::string_literals;
namespace reference = harness::reference;
using harness::appendRaw;
using harness::bytesOf;
using harness::contentOfFile;
using harness::holds;
using harness::kShortFile;
using harness::kUnreadableFile;
using harness::ModelBuffer;
using harness::openFiles;
using harness::ProgramPages;
using harness::TempDir;

const std::string kMark8 = "\xEF\xBB\xBF";
const std::string kMark16Be = "\xFE\xFF";
const std::string kMark16Le = "\xFF\xFE";

constexpr const char* kNoSize = "Failed to get file size when loading string from file";
constexpr const char* kNoMemory = "Out of memory reading file into string m_buffer";
constexpr const char* kReadError = "Failed to read data from file";
constexpr const char* kShortRead = "Failed to read the entire file (3)";
constexpr const char* kTooLarge = "File too large to hold in memory";

// Keeps the entries in order, without an allocation.
class RecordingLog : public LogBase {
 public:
  void LogError(const char* text) override { add("! ", text, ""); }
  void LogData(const char* name, const char* value) override { add(name, ": ", value); }

  std::string entries() const { return {m_entries, m_size}; }

  bool isEmpty() const { return m_size == 0; }

 private:
  void add(const char* a, const char* b, const char* c) {
    for (const char* part : {a, b, c, "\n"}) {
      const std::size_t n = std::min(std::strlen(part), sizeof m_entries - m_size);
      std::memcpy(m_entries + m_size, part, n);
      m_size += n;
    }
  }

  char m_entries[16384] = {};
  std::size_t m_size = 0;
};

std::string error(const std::string& text) { return "! " + text + "\n"; }
std::string value(const std::string& name, const std::string& text) {
  return name + ": " + text + "\n";
}

// The entries end with these, before which those of the collaborators may stand.
testing::AssertionResult endsWith(const RecordingLog& log, const std::string& entries) {
  const std::string all = log.entries();
  if (all.size() >= entries.size() && all.substr(all.size() - entries.size()) == entries)
    return testing::AssertionSuccess();
  return testing::AssertionFailure() << "recorded:\n" << all;
}

bool load(StringBuffer& buffer, const std::string& path, LogBase* log = nullptr) {
  XString pathString;
  EXPECT_TRUE(pathString.appendUtf8(path.c_str()));
  return buffer.loadFromFile(pathString, log);
}

using NewBuffer = std::unique_ptr<StringBuffer, void (*)(StringBuffer*)>;

NewBuffer create(const std::string& path, LogBase* log = nullptr) {
  XString pathString;
  EXPECT_TRUE(pathString.appendUtf8(path.c_str()));
  return {StringBuffer::createFromFile(pathString, log), StringBuffer::deleteSb};
}

std::string sparseFile(const TempDir& dir, off_t size) {
  const std::string path = dir.file("sparse", "");
  EXPECT_EQ(::truncate(path.c_str(), size), 0);
  return path;
}

// Checks at the end of the scope that no file was left open.
class NoFileLeft {
 public:
  NoFileLeft() : m_before(openFiles()) {}
  ~NoFileLeft() { EXPECT_EQ(openFiles(), m_before); }
  NoFileLeft(const NoFileLeft&) = delete;
  NoFileLeft& operator=(const NoFileLeft&) = delete;

 private:
  long m_before;
};

// The working directory while it lives.
class WorkingDirectory {
 public:
  explicit WorkingDirectory(const std::string& path) : m_before(std::filesystem::current_path()) {
    std::filesystem::current_path(path);
  }
  ~WorkingDirectory() { std::filesystem::current_path(m_before); }
  WorkingDirectory(const WorkingDirectory&) = delete;
  WorkingDirectory& operator=(const WorkingDirectory&) = delete;

 private:
  std::filesystem::path m_before;
};

// --- Loading -------------------------------------------------------------------------------------

struct LoadCase {
  std::string earlier;
  std::string file;
  std::string content;
};

void expectLoads(const TempDir& dir, const LoadCase& c) {
  const std::string path = dir.file("file", c.file);
  for (const unsigned int room : {0U, 100U, 5000U}) {
    StringBuffer buffer;
    if (room != 0) buffer.expectNumBytes(room);
    appendRaw(buffer, c.earlier);
    buffer.setExtendSize(17);
    ModelBuffer model = harness::modelOf(buffer);
    reference::loadFile(model, c.file);
    RecordingLog log;
    EXPECT_TRUE(load(buffer, path, &log));
    EXPECT_TRUE(holds(buffer, c.content))
        << testing::PrintToString(c.earlier) << " + " << testing::PrintToString(c.file);
    EXPECT_EQ(model.bytes, c.content);
    EXPECT_TRUE(matches(buffer, model));
    EXPECT_TRUE(log.isEmpty()) << log.entries();
  }
}

TEST(LoadFromFile, AppendsTheBytesAndDecodesAMark) {
  const TempDir dir;
  const NoFileLeft files;
  const std::vector<LoadCase> cases = {
      {"", "", ""},
      {"", "x", "x"},
      {"", "\0"s, "\0"s},
      {"", "abc\r\n\0\xFF"s, "abc\r\n\0\xFF"s},
      {"", "ab\0\0"s, "ab\0\0"s},  // every byte counts
      {"ab", "cd", "abcd"},
      {"ab", "", "ab"},
      {"a\0"s, "b", "a\0b"s},
      // the mark of UTF-8
      {"", kMark8 + "A", "A"},
      {"", kMark8, kMark8},
      {"", kMark8 + kMark8, kMark8},
      {"", kMark8 + "A\0B"s, "A\0B"s},
      {"", kMark8 + "A\0\0"s, "A"},
      {"", kMark8 + "\0"s, ""},
      {"", "\xEF\xBB", "\xEF\xBB"},
      {"", "\xEF\xBB"s + "AB", "\xEF\xBB"s + "AB"},
      {"",
       "\xEF\xBF\xBB"
       "AB",
       "\xEF\xBF\xBB"
       "AB"},
      {"", "x" + kMark8, "x" + kMark8},
      // the marks of UTF-16 become that of UTF-8
      {"", kMark16Be, kMark8},
      {"", kMark16Le, kMark8},
      {"", kMark16Be + "\0A\x20\xAC"s, kMark8 + "A\xE2\x82\xAC"},
      {"", kMark16Le + "A\0\xAC\x20"s, kMark8 + "A\xE2\x82\xAC"},
      {"", kMark16Le + "\x3D\xD8\x00\xDE"s, kMark8 + "\xF0\x9F\x98\x80"},
      {"", kMark16Le + kMark16Le, kMark8 + kMark8},
      {"", kMark16Le + "\0\0"s, kMark8},
      {"", kMark16Be + "\0A\0\0\0B"s, kMark8 + "A\0B"s},
      {"", kMark16Le + "A\0B"s, kMark8 + "A\xEF\xBF\xBD"},
      {"", kMark16Be + "\xD8\x00\0A"s,
       kMark8 + "\xEF\xBF\xBD"
                "A"},
      {"", "\xFE", "\xFE"},
      {"", "\xFF", "\xFF"},
      {"", "\xFEx\xFF", "\xFEx\xFF"},
      // the begin of the whole content is looked at
      {"ab", kMark8 + "A", "ab" + kMark8 + "A"},
      {"ab", kMark16Le + "A\0"s, "ab" + kMark16Le + "A\0"s},
      {kMark8, "A", "A"},
      {"\xEF",
       "\xBB\xBF"
       "A",
       "A"},
      {"\xFE", "\xFF\0A"s, kMark8 + "A"},
      {kMark16Le, "A\0"s, kMark8 + "A"},
      {kMark8 + "A", "B", "AB"},
      // an empty file leaves even that
      {kMark16Le + "A", "", kMark16Le + "A"},
      {kMark8 + "A", "", kMark8 + "A"},
  };
  for (const LoadCase& c : cases) expectLoads(dir, c);
}

TEST(LoadFromFile, EverySizeAtTheStorageBorders) {
  const TempDir dir;
  for (std::size_t size = 70; size < 90; ++size) {
    const std::string text(size, 'x');
    expectLoads(dir, {"", text, text});
    expectLoads(dir, {text, text, text + text});
    expectLoads(dir, {text.substr(40), text.substr(size - 40), text});
    expectLoads(dir, {"", kMark8 + text, text});
    std::string wide;
    for (const char c : text) wide += {c, '\0'};
    expectLoads(dir, {"", kMark16Le + wide, kMark8 + text});
  }
}

// Room for four bytes more than the file has.
TEST(LoadFromFile, GrowsByTheGrowthRule) {
  const TempDir dir;
  const struct {
    std::size_t size;
    unsigned int heapUsage;
  } cases[] = {{76, 0}, {77, 0}, {78, 285}, {81, 288}, {82, 289}, {1000, 1207}};
  for (const auto& c : cases) {
    StringBuffer buffer;
    EXPECT_TRUE(load(buffer, dir.file("file", std::string(c.size, 'x'))));
    EXPECT_TRUE(holds(buffer, std::string(c.size, 'x'), c.heapUsage, 202));
  }
}

// The buffer is cleared, which gives its block up, and what is behind the mark appended.
TEST(LoadFromFile, TheMarkOfUtf8GoesWithTheBlock) {
  const TempDir dir;
  const struct {
    std::size_t size;
    unsigned int heapUsage;
  } cases[] = {{60, 0}, {78, 0}, {79, 0}, {81, 0}, {82, 285}, {100, 303}, {1000, 1203}};
  for (const auto& c : cases) {
    const std::string path = dir.file("file", kMark8 + std::string(c.size, 'x'));
    for (const unsigned int room : {0U, 500U, 5000U}) {
      StringBuffer buffer;
      if (room != 0) buffer.expectNumBytes(room);
      buffer.setExtendSize(17);
      EXPECT_TRUE(load(buffer, path));
      EXPECT_TRUE(holds(buffer, std::string(c.size, 'x'), c.heapUsage, 202)) << room;
    }
  }
}

TEST(LoadFromFile, AnEmptyFileChangesNothing) {
  const TempDir dir;
  const std::string path = dir.file("empty", "");
  StringBuffer buffer(std::string(100, 'x').c_str());
  buffer.setExtendSize(17);
  const harness::BufferState before = harness::stateOf(buffer);
  EXPECT_TRUE(load(buffer, path));
  EXPECT_EQ(harness::stateOf(buffer), before);
}

TEST(LoadFromFile, TheTerminatorIsWrittenAnew) {
  const TempDir dir;
  StringBuffer buffer;
  harness::fillUnterminated(buffer, "ab", 'x');
  EXPECT_TRUE(load(buffer, dir.file("file", "cd")));
  EXPECT_TRUE(holds(buffer, "abcd"));
}

TEST(LoadFromFile, LargeFiles) {
  const TempDir dir;
  constexpr unsigned int kSize = 64U << 20;
  StringBuffer buffer("ab");
  EXPECT_TRUE(load(buffer, sparseFile(dir, kSize)));
  ASSERT_EQ(buffer.getSize(), kSize + 2);
  EXPECT_TRUE(harness::invariantsHold(buffer));
  const char* data = buffer.getString();
  EXPECT_EQ(std::string(data, 3), "ab\0"s);
  EXPECT_EQ(std::memcmp(data + 2, data + 3, kSize - 1), 0);
}

// --- Paths ---------------------------------------------------------------------------------------

TEST(LoadFromFile, PathsAreUtf8OrAnsi) {
  const TempDir dir;
  const std::string name = dir.file("caf\xC3\xA9 \xE2\x82\xAC", "content");
  StringBuffer utf8;
  EXPECT_TRUE(load(utf8, name));
  EXPECT_TRUE(holds(utf8, "content"));
  const ProgramPages western(1252);
  StringBuffer ansi("ab");
  EXPECT_TRUE(ansi.loadFromFileAnsi((dir / "caf\xE9 \x80").c_str(), nullptr));
  EXPECT_TRUE(holds(ansi, "abcontent"));
  EXPECT_FALSE(ansi.loadFromFileAnsi(name.c_str(), nullptr));
  const ProgramPages cyrillicPages(1251);
  dir.file("\xD0\xB9", "short i");
  StringBuffer cyrillic;
  EXPECT_TRUE(cyrillic.loadFromFileAnsi((dir / "\xE9").c_str(), nullptr));
  EXPECT_TRUE(holds(cyrillic, "short i"));
}

TEST(Files, PathsMayLieInTheBuffer) {
  const TempDir dir;
  for (const std::size_t more : {0U, 1U, 3000U}) {
    const std::string path = dir.file("file", std::string(more, 'x'));
    StringBuffer loaded(path.c_str());
    EXPECT_TRUE(loaded.loadFromFileAnsi(loaded.getString(), nullptr));
    EXPECT_TRUE(holds(loaded, path + std::string(more, 'x')));
    StringBuffer saved(("--" + path).c_str());
    EXPECT_TRUE(saved.saveToFileUtf8(saved.getString() + 2, nullptr));
    EXPECT_EQ(contentOfFile(path), "--" + path);
    EXPECT_TRUE(saved.equalsFileContents(saved.getString() + 2));
    EXPECT_TRUE(saved.appendToFileUtf8(saved.getString() + 2, nullptr));
    EXPECT_EQ(contentOfFile(path), "--" + path + "--" + path);
    EXPECT_TRUE(holds(saved, "--" + path));
  }
}

TEST(Files, NullAndEmptyPathsAreRefused) {
  const NoFileLeft files;
  for (const char* path : {static_cast<const char*>(nullptr), ""}) {
    StringBuffer buffer("ab");
    RecordingLog log;
    EXPECT_FALSE(buffer.loadFromFileAnsi(path, &log));
    EXPECT_FALSE(buffer.loadFromFileAnsi(path, nullptr));
    EXPECT_EQ(StringBuffer::createFromFileUtf8(path, &log), nullptr);
    EXPECT_EQ(StringBuffer::createFromFileUtf8(path, nullptr), nullptr);
    EXPECT_FALSE(buffer.saveToFileUtf8(path, &log));
    EXPECT_FALSE(buffer.saveToFileUtf8(path, nullptr));
    EXPECT_FALSE(buffer.appendToFileUtf8(path, &log));
    EXPECT_FALSE(buffer.appendToFileUtf8(path, nullptr));
    EXPECT_FALSE(buffer.equalsFileContents(path));
    EXPECT_TRUE(holds(buffer, "ab", 0, 202));
  }
}

// --- What cannot be loaded -----------------------------------------------------------------------

// Loads into several contents with and without a log; the log ends with `entries`.
void expectFails(const std::string& path, const std::string& entries) {
  const NoFileLeft files;
  for (const std::string& earlier : {""s, "ab"s, "a\0"s, std::string(300, 'x')}) {
    StringBuffer buffer;
    appendRaw(buffer, earlier);
    RecordingLog log;
    EXPECT_FALSE(load(buffer, path, &log));
    EXPECT_TRUE(holds(buffer, earlier)) << path;
    EXPECT_TRUE(endsWith(log, entries));
    EXPECT_FALSE(load(buffer, path, nullptr));
    EXPECT_TRUE(holds(buffer, earlier)) << path;
  }
}

// Nothing is recorded but what opening the file records.
TEST(LoadFromFile, AFailureToOpenRecordsNothingItself) {
  const TempDir dir;
  const std::string file = dir.file("file", "x");
  for (const std::string& path : {dir / "none", file + "/below", dir / "no/such/place"}) {
    XString pathString;
    pathString.appendUtf8(path.c_str());
    RecordingLog opened;
    DorvaneHandle handle;
    int errorCode = 0;
    EXPECT_FALSE(FileSys::OpenForRead3(handle, pathString, errorCode, &opened));
    StringBuffer buffer("ab");
    RecordingLog log;
    EXPECT_FALSE(buffer.loadFromFile(pathString, &log));
    EXPECT_TRUE(holds(buffer, "ab", 0, 202));
    EXPECT_EQ(log.entries(), opened.entries());
    expectFails(path, "");
  }
}

TEST(LoadFromFile, ASizeThatCannotBeToldIsAFailure) {
  const TempDir dir;
  ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
  for (const std::string& path :
       {dir.path(), dir / "fifo", "/proc/self/status"s, "/dev/zero"s, "/dev/null"s})
    expectFails(path, value("filename", path) + error(kNoSize));
}

TEST(LoadFromFile, FourGigabytesAndMoreAreRefused) {
  const TempDir dir;
  for (const off_t size : {off_t{0xFFFFFFFF}, off_t{0x100000000}, off_t{0x100000005}}) {
    const std::string path = sparseFile(dir, size);
    expectFails(path, value("filename", path) + error(kNoSize));
  }
}

TEST(LoadFromFile, ThePathIsRecordedInTheAnsiPage) {
  const TempDir dir;
  const std::string path = dir / "caf\xC3\xA9";
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  const ProgramPages western(1252);
  expectFails(path, value("filename", dir / "caf\xE9") + error(kNoSize));
}

TEST(LoadFromFile, ThePathOfASystemFileIsRecordedInTheAnsiPage) {
  SKIP_WITHOUT(kShortFile);
  SKIP_WITHOUT(kUnreadableFile);
  const TempDir dir;
  const ProgramPages western(1252);
  ASSERT_EQ(::symlink(kShortFile, (dir / "\xE2\x82\xAC").c_str()), 0);
  expectFails(dir / "\xE2\x82\xAC", value("filename", dir / "\x80") + error(kShortRead));
  ASSERT_EQ(::symlink(kUnreadableFile, (dir / "\xC3\xBC").c_str()), 0);
  expectFails(dir / "\xC3\xBC", value("filename", dir / "\xFC") + error(kReadError));
}

TEST(LoadFromFile, AShortReadIsAFailure) {
  SKIP_WITHOUT(kShortFile);
  struct stat status = {};
  ASSERT_EQ(::stat(kShortFile, &status), 0);
  const std::string received = std::to_string(contentOfFile(kShortFile).size());
  const std::string entries = value("filesize", std::to_string(status.st_size)) +
                              value("bytes_received", received) + value("filename", kShortFile) +
                              error(kShortRead);
  expectFails(kShortFile, entries);
  StringBuffer buffer;
  RecordingLog log;
  EXPECT_FALSE(load(buffer, kShortFile, &log));
  EXPECT_EQ(log.entries(), entries);  // reading to the end is no failure of the handle
}

// Cuts a file shortly after somebody has opened it.
class Shrinker {
 public:
  explicit Shrinker(std::string path) : m_path(std::move(path)), m_watch(::inotify_init1(0)) {
    EXPECT_GE(::inotify_add_watch(m_watch, m_path.c_str(), IN_OPEN), 0);
    m_thread = std::thread([this] { shrinkWhenOpened(); });
  }
  ~Shrinker() {
    m_thread.join();
    ::close(m_watch);
  }
  Shrinker(const Shrinker&) = delete;
  Shrinker& operator=(const Shrinker&) = delete;

 private:
  void shrinkWhenOpened() {
    alignas(inotify_event) char event[sizeof(inotify_event) + NAME_MAX + 1];
    EXPECT_GT(::read(m_watch, event, sizeof event), 0);
    ::usleep(2000);
    EXPECT_EQ(::truncate(m_path.c_str(), 4096), 0);
  }

  std::string m_path;
  int m_watch;
  std::thread m_thread;
};

// A file so large that reading it takes longer than cutting it; a try in which it was cut before
// its size was told or after its end was read is repeated.
TEST(LoadFromFile, AFileThatShrinksWhileItIsReadIsAShortRead) {
  constexpr off_t kSize = 256 << 20;
  for (int tries = 0; tries < 20; ++tries) {
    const TempDir dir;
    const std::string path = sparseFile(dir, kSize);
    StringBuffer buffer("before");
    RecordingLog log;
    bool loaded = false;
    {
      const Shrinker shrinker(path);
      loaded = load(buffer, path, &log);
    }
    if (loaded) continue;
    EXPECT_EQ(bytesOf(buffer), "before");
    EXPECT_TRUE(harness::invariantsHold(buffer));
    EXPECT_TRUE(endsWith(log, value("filename", path) + error(kShortRead)));
    EXPECT_EQ(log.entries().rfind("filesize: " + std::to_string(kSize) + "\nbytes_received: ", 0),
              0U);
    return;
  }
  FAIL() << "the file was never cut while it was read";
}

TEST(LoadFromFile, AReadErrorIsAFailure) {
  SKIP_WITHOUT(kUnreadableFile);
  expectFails(kUnreadableFile, value("filename", kUnreadableFile) + error(kReadError));
}

TEST(LoadFromFile, ExhaustedMemoryIsAFailure) {
  const TempDir dir;
  for (const off_t size : {off_t{78}, off_t{100000}, off_t{0x7FFFFFFF}, off_t{0xFFFFFFFB},
                           off_t{0xFFFFFFFC}, off_t{0xFFFFFFFE}}) {
    const std::string path = sparseFile(dir, size);
    const NoFileLeft files;
    for (const std::string& earlier : {""s, "ab"s, std::string(81, 'x')}) {
      StringBuffer buffer(earlier.c_str());
      const harness::BufferState before = harness::stateOf(buffer);
      XString pathString;
      pathString.appendUtf8(path.c_str());
      RecordingLog log;
      {
        const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
        EXPECT_FALSE(buffer.loadFromFile(pathString, &log));
        EXPECT_FALSE(buffer.loadFromFile(pathString, nullptr));
      }
      EXPECT_EQ(log.entries(), error(kNoMemory) + value("fileSize", std::to_string(size)));
      EXPECT_EQ(harness::stateOf(buffer), before);
    }
  }
}

// Runs `body` in a child without the rights of root; returns its result.
int asNobody(const std::function<int()>& body) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(::geteuid() != 0 || ::setuid(65534) == 0 ? body() : 77);
  int status = -1;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(Files, WithoutPermissionEverythingFails) {
  const TempDir dir;
  const std::string path = dir.file("file", "content");
  ASSERT_EQ(::chmod(dir.path().c_str(), 0755), 0);
  ASSERT_EQ(::chmod(path.c_str(), 0), 0);
  EXPECT_EQ(asNobody([&] {
              StringBuffer buffer("content");
              int succeeded = load(buffer, path) ? 1 : 0;
              succeeded += buffer.equalsFileContents(path.c_str()) ? 2 : 0;
              succeeded += buffer.saveToFileUtf8(path.c_str(), nullptr) ? 4 : 0;
              succeeded += buffer.appendToFileUtf8(path.c_str(), nullptr) ? 8 : 0;
              succeeded += create(path) != nullptr ? 16 : 0;
              return succeeded + (holds(buffer, "content") ? 0 : 32);
            }),
            0);
  ASSERT_EQ(::chmod(path.c_str(), 0600), 0);
  EXPECT_EQ(contentOfFile(path), "content");
}

// --- createFromFile ------------------------------------------------------------------------------

TEST(CreateFromFile, HoldsTheFileAsItIsLoaded) {
  const TempDir dir;
  const NoFileLeft files;
  for (const std::string& file :
       {""s, "x"s, "a\0b\0"s, kMark8, kMark8 + "A", kMark16Be, kMark16Le + "A\0"s,
        std::string(77, 'x'), std::string(78, 'x'), std::string(3000, 'x')}) {
    const std::string path = dir.file("caf\xC3\xA9", file);
    RecordingLog log;
    StringBuffer loaded;
    EXPECT_TRUE(load(loaded, path));
    const NewBuffer created = create(path, &log);
    ASSERT_NE(created, nullptr);
    EXPECT_EQ(harness::stateOf(*created), harness::stateOf(loaded));
    const NewBuffer again = {StringBuffer::createFromFileUtf8(path.c_str(), &log),
                             StringBuffer::deleteSb};
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(harness::stateOf(*again), harness::stateOf(loaded));
    EXPECT_TRUE(log.isEmpty());
  }
}

TEST(CreateFromFile, AMissingFileRecordsNothing) {
  const TempDir dir;
  const NoFileLeft files;
  const std::string file = dir.file("file", "x");
  for (const std::string& path : {dir / "none", file + "/below", dir / "none/below"}) {
    RecordingLog log;
    EXPECT_EQ(StringBuffer::createFromFileUtf8(path.c_str(), &log), nullptr);
    EXPECT_EQ(create(path, &log), nullptr);
    EXPECT_TRUE(log.isEmpty()) << log.entries();
    EXPECT_EQ(StringBuffer::createFromFileUtf8(path.c_str(), nullptr), nullptr);
  }
}

// Without a size there is no message but that of asking for it.
TEST(CreateFromFile, WhatHasNoSizeIsNotOpened) {
  const TempDir dir;
  ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
  for (const std::string& path : {dir.path(), dir / "fifo", "/dev/zero"s}) {
    RecordingLog asked;
    bool ok = false;
    FileSys::fileSizeUtf8_64(path.c_str(), &asked, ok);
    EXPECT_FALSE(ok);
    RecordingLog log;
    EXPECT_EQ(create(path, &log), nullptr);
    EXPECT_EQ(log.entries(), asked.entries());
  }
}

void expectCreatesNothing(const std::string& path, const std::string& entries) {
  const NoFileLeft files;
  const long live = harness::liveBlocks();
  RecordingLog log;
  EXPECT_EQ(StringBuffer::createFromFileUtf8(path.c_str(), &log), nullptr);
  EXPECT_EQ(StringBuffer::createFromFileUtf8(path.c_str(), nullptr), nullptr);
  EXPECT_EQ(harness::liveBlocks(), live);
  EXPECT_TRUE(endsWith(log, entries));
}

// Exactly these entries; why the size is not known is in the comment of the member.
TEST(LoadFromFile, NothingElseIsRecordedForAFileWithoutASize) {
  const TempDir dir;
  for (const std::string& path : {std::string("/proc/self/status"), std::string(dir.path()),
                                  sparseFile(dir, off_t{0xFFFFFFFF})}) {
    StringBuffer buffer;
    RecordingLog log;
    EXPECT_FALSE(load(buffer, path, &log));
    EXPECT_EQ(log.entries(), value("filename", path) + error(kNoSize));
  }
}

TEST(CreateFromFile, AFailureToLoadIsThatOfTheLoader) {
  expectCreatesNothing("/proc/self/status",
                       value("filename", "/proc/self/status") + error(kNoSize));
}

TEST(CreateFromFile, AFailureToLoadASystemFileIsThatOfTheLoader) {
  SKIP_WITHOUT(kShortFile);
  SKIP_WITHOUT(kUnreadableFile);
  expectCreatesNothing(kShortFile, value("filename", kShortFile) + error(kShortRead));
  expectCreatesNothing(kUnreadableFile, value("filename", kUnreadableFile) + error(kReadError));
}

// 200 bytes more than the file has must be countable in 32 bits.
TEST(CreateFromFile, TooLargeAFileIsRefused) {
  const TempDir dir;
  for (const off_t size : {off_t{0xFFFFFFFF} - 199, off_t{0xFFFFFFFE}, off_t{0xFFFFFFFF},
                           off_t{0x100000000}, off_t{0x1FFFFFFFF}, off_t{0x200000000} - 200}) {
    const std::string path = sparseFile(dir, size);
    RecordingLog log;
    {
      const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
      EXPECT_EQ(StringBuffer::createFromFileUtf8(path.c_str(), &log), nullptr);
      EXPECT_EQ(StringBuffer::createFromFileUtf8(path.c_str(), nullptr), nullptr);
    }
    EXPECT_EQ(log.entries(), error(kTooLarge));
  }
}

// Every failed allocation leaves nothing behind and has one of two messages, or none when the path
// itself cannot be held.
TEST(CreateFromFile, ExhaustedMemoryIsAFailure) {
  const TempDir dir;
  const off_t fits = off_t{0xFFFFFFFF} - 200;
  for (const off_t size : {off_t{3000}, fits}) {
    const std::string path = sparseFile(dir, size);
    const std::string noBuffer = error(kTooLarge + "."s);
    const std::string noRoom = error(kNoMemory) + value("fileSize", std::to_string(size));
    bool sawNoBuffer = false;
    bool sawNoRoom = false;
    const NoFileLeft files;
    for (long k = 1; k < 20; ++k) {
      RecordingLog log;
      const long live = harness::liveBlocks();
      StringBuffer* created = nullptr;
      bool fired = false;
      {
        const harness::FailAllocation fail(k, size == fits ? harness::FailAllocation::kFromThenOn
                                                           : harness::FailAllocation::kOnce);
        created = StringBuffer::createFromFileUtf8(path.c_str(), &log);
        fired = fail.fired();
      }
      StringBuffer::deleteSb(created);
      EXPECT_EQ(harness::liveBlocks(), live);
      const std::string entries = log.entries();
      if (!fired) break;
      if (created != nullptr) continue;
      sawNoBuffer = sawNoBuffer || entries == noBuffer;
      sawNoRoom = sawNoRoom || entries == noRoom;
      EXPECT_TRUE(entries == noBuffer || entries == noRoom || entries.empty()) << entries;
      if (sawNoRoom) break;  // the next one would be the block itself
    }
    EXPECT_TRUE(sawNoBuffer);
    EXPECT_TRUE(sawNoRoom);
  }
}

// Deliberate: a "file:" address is no other path than any.
TEST(CreateFromFile, TheFileIsOpenedByThePathAsItIs) {
  const TempDir dir;
  std::filesystem::create_directory(dir / "file:");
  std::filesystem::create_directory(dir / "FILE:");
  dir.file("file:/a|b", "bar");
  dir.file("FILE:/a:b", "colon");
  dir.file("a:b", "elsewhere");
  const WorkingDirectory there(dir.path());
  NewBuffer created = create("file:///a|b");
  ASSERT_NE(created, nullptr);
  EXPECT_TRUE(holds(*created, "bar"));
  EXPECT_EQ(create("file:///a:b"), nullptr);
  created = create("FILE:///a:b");
  ASSERT_NE(created, nullptr);
  EXPECT_TRUE(holds(*created, "colon"));
  RecordingLog log;
  EXPECT_EQ(create("file://" + (dir / "a:b"), &log), nullptr);
  EXPECT_TRUE(log.isEmpty());
}

TEST(CreateFromFile, LongPathsAreNotCut) {
  const TempDir dir;
  for (const std::size_t size : {990U, 998U, 999U, 1000U, 1001U, 3000U}) {
    std::string path = dir.path();
    while (path.size() + 6 < size) path += "/.";
    if (path.size() + 5 < size) path += "/";
    path += "/file";
    EXPECT_EQ(path.size(), size);
    dir.file("file", "content");
    const NewBuffer created = create(path);
    ASSERT_NE(created, nullptr) << size;
    EXPECT_TRUE(holds(*created, "content"));
  }
}

// --- Saving --------------------------------------------------------------------------------------

TEST(SaveToFile, WritesExactlyTheContent) {
  const TempDir dir;
  const NoFileLeft files;
  const std::string path = dir / "caf\xC3\xA9";
  for (const std::string& content :
       {"abc"s, ""s, "a\0b\0"s, kMark8 + "A", std::string(300000, 'x'), "short"s}) {
    StringBuffer buffer;
    appendRaw(buffer, content);
    buffer.setExtendSize(17);
    const harness::BufferState before = harness::stateOf(buffer);
    RecordingLog log;
    EXPECT_TRUE(static_cast<const StringBuffer&>(buffer).saveToFileUtf8(path.c_str(), &log));
    EXPECT_EQ(contentOfFile(path), content);
    EXPECT_TRUE(buffer.saveToFileUtf8(path.c_str(), nullptr));
    EXPECT_EQ(contentOfFile(path), content);
    EXPECT_TRUE(log.isEmpty());
    EXPECT_EQ(harness::stateOf(buffer), before);
  }
}

TEST(AppendToFile, AddsExactlyTheContent) {
  const TempDir dir;
  const NoFileLeft files;
  const std::string path = dir / "caf\xC3\xA9";
  std::string all;
  for (const std::string& content : {""s, "abc"s, "a\0"s, std::string(300000, 'x'), kMark8}) {
    StringBuffer buffer;
    appendRaw(buffer, content);
    const harness::BufferState before = harness::stateOf(buffer);
    RecordingLog log;
    EXPECT_TRUE(static_cast<const StringBuffer&>(buffer).appendToFileUtf8(path.c_str(), &log));
    EXPECT_EQ(contentOfFile(path), all += content);
    EXPECT_TRUE(log.isEmpty());
    EXPECT_EQ(harness::stateOf(buffer), before);
  }
}

TEST(SaveToFile, TheLengthCounts) {
  const TempDir dir;
  StringBuffer buffer;
  harness::fillUnterminated(buffer, "ab", 'x');
  EXPECT_TRUE(buffer.saveToFileUtf8((dir / "file").c_str(), nullptr));
  EXPECT_TRUE(buffer.appendToFileUtf8((dir / "file").c_str(), nullptr));
  EXPECT_EQ(contentOfFile(dir / "file"), "abab");
}

// The failure is recorded by the file helpers, in their words.
TEST(SaveToFile, WhatCannotBeWrittenIsAFailure) {
  const TempDir dir;
  const NoFileLeft files;
  const std::string file = dir.file("file", "x");
  for (const std::string& path : {"/dev/full"s, dir.path(), dir / "no/such", file + "/below"}) {
    for (const std::string& content : {"x"s, std::string(100000, 'x')}) {
      StringBuffer buffer(content.c_str());
      RecordingLog saved;
      EXPECT_FALSE(buffer.saveToFileUtf8(path.c_str(), &saved)) << path;
      EXPECT_FALSE(saved.isEmpty());
      RecordingLog appended;
      EXPECT_FALSE(buffer.appendToFileUtf8(path.c_str(), &appended)) << path;
      EXPECT_FALSE(appended.isEmpty());
      EXPECT_FALSE(buffer.saveToFileUtf8(path.c_str(), nullptr));
      EXPECT_FALSE(buffer.appendToFileUtf8(path.c_str(), nullptr));
      EXPECT_TRUE(holds(buffer, content));
    }
  }
}

TEST(Files, WhatIsSavedIsLoadedAgain) {
  const TempDir dir;
  const std::string path = dir / "file";
  for (unsigned int seed = 1; seed <= 50; ++seed) {
    const std::string content = harness::randomText(seed, seed * 37 % 5000, "ab\0\r\n\xFF\xC3"s);
    StringBuffer buffer;
    appendRaw(buffer, "x" + content);
    EXPECT_TRUE(buffer.saveToFileUtf8(path.c_str(), nullptr));
    EXPECT_TRUE(buffer.equalsFileContents(path.c_str()));
    StringBuffer loaded;
    EXPECT_TRUE(load(loaded, path));
    EXPECT_EQ(bytesOf(loaded), "x" + content);
  }
}

// --- equalsFileContents --------------------------------------------------------------------------

struct EqualsCase {
  std::string content;
  std::string file;
  bool result;
};

TEST(EqualsFileContents, ComparesSizesThenTexts) {
  const TempDir dir;
  const NoFileLeft files;
  const std::vector<EqualsCase> cases = {
      {"", "", true},
      {"a", "a", true},
      {"", "a", false},
      {"a", "", false},
      {"a", "b", false},
      {"ab", "ac", false},
      {"ab", "a", false},
      {"ab", "abc", false},
      {std::string(5000, 'x'), std::string(5000, 'x'), true},
      {std::string(5000, 'x'), std::string(4999, 'x') + "y", false},
      {"\xE9", "\xE9", true},
      {"\xE9", "i", false},
      // what stands behind a NUL is not compared
      {"a\0b"s, "a\0c"s, true},
      {"a\0b"s, "abc", false},
      {"abc", "a\0c"s, false},
      {"\0b"s, "\0c"s, true},
      {"\0b"s, "bc", false},
      {"a\0"s, "a", false},
      // the sizes are those before a mark is handled, the texts those afterwards
      {"A", kMark8 + "A", false},
      {kMark8 + "A", "A", false},
      {kMark8 + "A", kMark8 + "A", false},
      {"A\0xx"s, kMark8 + "A", true},
      {kMark8, kMark8, true},
      {kMark8 + "A", kMark16Le + "A\0"s, true},
      {kMark16Le + "A\0"s, kMark16Le + "A\0"s, false},
      {kMark16Be, kMark16Be, false},
  };
  for (const EqualsCase& c : cases) {
    const std::string path = dir.file("caf\xC3\xA9", c.file);
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    const harness::BufferState before = harness::stateOf(buffer);
    EXPECT_EQ(static_cast<const StringBuffer&>(buffer).equalsFileContents(path.c_str()), c.result)
        << testing::PrintToString(c.content) << ", " << testing::PrintToString(c.file);
    EXPECT_EQ(harness::stateOf(buffer), before);
  }
}

TEST(EqualsFileContents, IsFalseForWhatCannotBeLoaded) {
  const TempDir dir;
  const NoFileLeft files;
  ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
  for (const std::string& path :
       {dir / "none", dir.path(), dir / "fifo", "/proc/self/status"s, "/dev/null"s}) {
    EXPECT_FALSE(StringBuffer().equalsFileContents(path.c_str())) << path;
    EXPECT_FALSE(StringBuffer("x").equalsFileContents(path.c_str())) << path;
  }
}

TEST(EqualsFileContents, IsFalseForAFileThatIsShorterThanItsSize) {
  SKIP_WITHOUT(kShortFile);
  struct stat status = {};
  ASSERT_EQ(::stat(kShortFile, &status), 0);
  StringBuffer claimed;
  appendRaw(claimed, contentOfFile(kShortFile));
  claimed.appendCharN('\0', static_cast<unsigned int>(status.st_size) - claimed.getSize());
  EXPECT_FALSE(claimed.equalsFileContents(kShortFile));
}

TEST(EqualsFileContents, TheLengthBoundsTheText) {
  const TempDir dir;
  StringBuffer buffer;
  harness::fillUnterminated(buffer, "ab", 'x');
  EXPECT_TRUE(buffer.equalsFileContents(dir.file("file", "ab").c_str()));
}

// --- Exhausted memory and secrets ----------------------------------------------------------------

// With every allocation failing in turn.
void expectSurvives(const std::function<void(StringBuffer&)>& body, const std::string& content,
                    const std::function<void(StringBuffer&)>& check) {
  const NoFileLeft files;
  const long live = harness::liveBlocks();
  {
    std::unique_ptr<StringBuffer> buffer;
    harness::failEveryAllocation(
        [&] {
          buffer = std::make_unique<StringBuffer>();
          appendRaw(*buffer, content);
        },
        [&] { body(*buffer); },
        [&] {
          EXPECT_TRUE(harness::invariantsHold(*buffer));
          check(*buffer);
        });
  }
  EXPECT_TRUE(testing::Test::HasFailure() || harness::liveBlocks() == live);
}

// What a converted text becomes when memory is exhausted is the converter's output so far; an
// unconverted one is whole.
TEST(LoadFromFile, ExhaustedMemoryKeepsTheContentOrLoadsAll) {
  const TempDir dir;
  std::string wide = kMark16Le;
  for (int i = 0; i < 3000; ++i) wide += "\xAC\x20";
  for (const std::string& file :
       {std::string(500, 'x'), kMark8 + std::string(500, 'x'), wide, wide.substr(0, 70)}) {
    for (const std::string& earlier : {""s, "ab"s, std::string(300, 'x')}) {
      const std::string path = dir.file("file", file);
      const std::string full = reference::withoutMark(earlier + file);
      bool result = false;
      expectSurvives([&](StringBuffer& b) { result = b.loadFromFileAnsi(path.c_str(), nullptr); },
                     earlier,
                     [&](StringBuffer& b) {
                       const std::string left = bytesOf(b);
                       if (!result) {
                         EXPECT_EQ(left, earlier);
                       } else {
                         EXPECT_TRUE(left == full || left == earlier + file ||
                                     (file[0] == '\xFF' && reference::beginsWith(full, left)))
                             << testing::PrintToString(left.substr(0, 100));
                       }
                     });
    }
  }
}

TEST(Files, ExhaustedMemoryCorruptsNothingElse) {
  const TempDir dir;
  const std::string longName(200, 'n');
  const std::string content(300, 'x');
  const std::string path = dir.file(longName, content);
  const auto unchanged = [&](StringBuffer& b) { EXPECT_TRUE(holds(b, content)); };
  bool result = false;
  expectSurvives([&](StringBuffer& b) { result = b.saveToFileUtf8(path.c_str(), nullptr); },
                 content, unchanged);
  EXPECT_TRUE(result);
  EXPECT_EQ(contentOfFile(path), content);
  expectSurvives([&](StringBuffer& b) { result = b.equalsFileContents(path.c_str()); }, content,
                 unchanged);
  EXPECT_TRUE(result);
  std::string all = content;
  expectSurvives([&](StringBuffer& b) { result = b.appendToFileUtf8(path.c_str(), nullptr); },
                 content,
                 [&](StringBuffer& b) {
                   unchanged(b);
                   if (result) all += content;
                   EXPECT_EQ(contentOfFile(path), all);
                 });
  StringBuffer* created = nullptr;
  expectSurvives(
      [&](StringBuffer&) { created = StringBuffer::createFromFileUtf8(path.c_str(), nullptr); },
      content,
      [&](StringBuffer&) {
        if (created != nullptr) {
          EXPECT_TRUE(holds(*created, all));
        }
        StringBuffer::deleteSb(created);
      });
}

// How many released blocks hold a part of the secret. A new block may begin with what was released
// before, so nothing else that holds the secret is released meanwhile.
int leaks(const std::function<void()>& body) {
  constexpr std::string_view kSecret = "secret";
  int count = 0;
  const harness::WatchReleases watch([&](const unsigned char* block, std::size_t size) {
    if (std::search(block, block + size, kSecret.begin(), kSecret.end()) != block + size) ++count;
  });
  body();
  return count;
}

TEST(Files, ASecureBufferLeavesNothingBehind) {
  const TempDir dir;
  std::string text;
  text.reserve(20000);
  while (text.size() < 7000) text += "secret";
  std::string wide = kMark16Be;
  wide.reserve(20000);
  for (const char c : text) (wide += '\0') += c;
  const std::string marked = kMark8 + text;
  const std::string paths[] = {dir.file("1", text), dir.file("2", marked), dir.file("3", wide)};
  const std::string output = dir / "output";
  for (long k = 0; k < 12; ++k) {
    for (const std::string& path : paths) {
      StringBuffer loaded;
      StringBuffer whole;
      loaded.setSecureBuf(true);
      whole.setSecureBuf(true);
      EXPECT_TRUE(whole.appendN(text.data(), static_cast<unsigned int>(text.size())));
      EXPECT_EQ(leaks([&] {
                  const harness::FailAllocation fail(k);
                  loaded.loadFromFileAnsi(path.c_str(), nullptr);
                  loaded.loadFromFileAnsi(path.c_str(), nullptr);
                  whole.equalsFileContents(path.c_str());
                  whole.saveToFileUtf8(output.c_str(), nullptr);
                  whole.appendToFileUtf8(output.c_str(), nullptr);
                }),
                0)
          << k << ", " << path;
      EXPECT_TRUE(harness::wipesItsBlocks(loaded));
    }
  }
}

// --- Former bugs ---------------------------------------------------------------------------------

// Both waited for a reader, for ever.
TEST(SaveToFile, AFifoIsNotWaitedFor) {
  const TempDir dir;
  const NoFileLeft files;
  const std::string path = dir / "fifo";
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  const StringBuffer buffer("text");
  EXPECT_FALSE(buffer.saveToFileUtf8(path.c_str(), nullptr));
  EXPECT_FALSE(buffer.appendToFileUtf8(path.c_str(), nullptr));
}

}  // namespace
