#include "support/DorvaneHandle.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <string_view>
#include <type_traits>

#include "harness/SystemFiles.h"
#include "harness/TempDir.h"
#include "support/LogBase.h"
#include "support/internal/PosixFiles.h"

namespace {

using harness::openFiles;
using harness::TempDir;

constexpr unsigned int kUnknown = 0xFFFFFFFFU;

static_assert(!std::is_copy_constructible_v<DorvaneHandle> &&
              !std::is_copy_assignable_v<DorvaneHandle>);

std::string reasonIn(const LogBase& log) {
  const char* const reason = log.valueOf("reason");
  return reason != nullptr ? reason : log.valueOf("errorCode") != nullptr ? "errorCode" : "";
}

// Expects a size, and one error with this reason when it is unknown.
void expectSize(const std::string& path, unsigned int size, std::string_view reason) {
  DorvaneHandle handle;
  ASSERT_EQ(handle.openForRead(path.c_str()), 0) << path;
  LogBase log;
  EXPECT_EQ(handle.fileSize32(&log), size) << path;
  EXPECT_EQ(handle.fileSize32(nullptr), size) << path;
  EXPECT_EQ(log.errorCount(), size == kUnknown ? 1U : 0U) << path;
  EXPECT_EQ(reasonIn(log), reason) << path;
}

// Reads up to n bytes; expects success and the mark of the end.
std::string read(DorvaneHandle& handle, unsigned int n, bool atEnd) {
  std::string bytes(n + 1, '#');
  unsigned int count = 77;
  bool endOfFile = !atEnd;
  LogBase log;
  EXPECT_TRUE(handle.readBytesToBuf32(bytes.data(), n, count, endOfFile, &log));
  EXPECT_EQ(endOfFile, atEnd);
  EXPECT_EQ(log.errorCount(), 0U);
  EXPECT_LE(count, n);
  EXPECT_EQ(bytes.substr(count), std::string(n + 1 - count, '#'));  // nothing behind is written
  return bytes.substr(0, count);
}

TEST(DorvaneHandle, WithoutAFile) {
  DorvaneHandle handle;
  EXPECT_FALSE(handle.isOpen());
  handle.close();
  LogBase log;
  EXPECT_EQ(handle.fileSize32(&log), kUnknown);
  EXPECT_EQ(handle.fileSize32(nullptr), kUnknown);
  EXPECT_EQ(reasonIn(log), "no file is open");
  char byte = '#';
  unsigned int count = 77;
  bool endOfFile = true;
  EXPECT_FALSE(handle.readBytesToBuf32(&byte, 1, count, endOfFile, &log));
  EXPECT_FALSE(handle.readBytesToBuf32(&byte, 1, count, endOfFile, nullptr));
  EXPECT_EQ(count, 0U);
  EXPECT_FALSE(endOfFile);
  EXPECT_EQ(log.errorCount(), 2U);
  EXPECT_TRUE(log.hasContext("DorvaneHandle"));
}

TEST(DorvaneHandle, OpensAndClosesFiles) {
  const TempDir dir;
  const std::string one = dir.file("one", "1");
  const std::string two = dir.file("two", "22");
  const long before = openFiles();
  {
    DorvaneHandle handle;
    EXPECT_EQ(handle.openForRead(one.c_str()), 0);
    EXPECT_TRUE(handle.isOpen());
    EXPECT_EQ(openFiles(), before + 1);
    EXPECT_EQ(handle.openForRead(two.c_str()), 0);
    EXPECT_EQ(openFiles(), before + 1);
    EXPECT_EQ(read(handle, 5, true), "22");
    EXPECT_EQ(handle.openForRead((dir / "none").c_str()), ENOENT);
    EXPECT_FALSE(handle.isOpen());
    EXPECT_EQ(openFiles(), before);
    EXPECT_EQ(handle.openForRead(nullptr), ENOENT);
    EXPECT_EQ(handle.openForRead(""), ENOENT);
    EXPECT_EQ(handle.openForRead((one + "/below").c_str()), ENOTDIR);
    EXPECT_EQ(handle.openForRead(one.c_str()), 0);
    handle.close();
    EXPECT_FALSE(handle.isOpen());
    EXPECT_EQ(openFiles(), before);
    EXPECT_EQ(handle.openForRead(one.c_str()), 0);
  }
  EXPECT_EQ(openFiles(), before);
}

TEST(DorvaneHandle, TellsTheSizeOfRegularFiles) {
  const TempDir dir;
  expectSize(dir.file("empty", ""), 0, "");
  expectSize(dir.file("one", "x"), 1, "");
  expectSize(dir.file("large", std::string(100000, 'x')), 100000, "");
}

TEST(DorvaneHandle, RefusesSizesThatDoNotFit) {
  const TempDir dir;
  const std::string path = dir.file("sparse", "");
  const struct {
    off_t size;
    unsigned int told;
  } cases[] = {{0x80000000, 0x80000000U},
               {0xFFFFFFFE, 0xFFFFFFFEU},
               {0xFFFFFFFF, kUnknown},
               {0x100000000, kUnknown},
               {0x100000005, kUnknown}};
  for (const auto& c : cases) {
    ASSERT_EQ(::truncate(path.c_str(), c.size), 0);
    expectSize(path, c.told, c.told == kUnknown ? "it has 4294967295 bytes or more" : "");
  }
}

TEST(DorvaneHandle, CannotTellTheSizeOfWhatIsNotRegular) {
  const TempDir dir;
  ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
  for (const std::string& path : {dir / "fifo", dir.path(), std::string("/dev/null")})
    expectSize(path, kUnknown, "it is not a regular file");
}

TEST(DorvaneHandle, CannotTellTheSizeOfAFileThatOnlyClaimsToBeEmpty) {
  expectSize("/proc/self/status", kUnknown,
             "it claims to be empty and is not, as files under /proc do");
  expectSize("/proc/self/mem", kUnknown, "errorCode");  // nothing is mapped at its begin
}

TEST(DorvaneHandle, TheProbeLeavesTheReadPosition) {
  DorvaneHandle handle;
  ASSERT_EQ(handle.openForRead("/proc/self/status"), 0);
  EXPECT_EQ(handle.fileSize32(nullptr), kUnknown);
  EXPECT_EQ(read(handle, 5, false), "Name:");
}

TEST(DorvaneHandle, ReadsInPieces) {
  const TempDir dir;
  DorvaneHandle handle;
  ASSERT_EQ(handle.openForRead(dir.file("file", "abcdef").c_str()), 0);
  EXPECT_EQ(read(handle, 0, false), "");
  EXPECT_EQ(read(handle, 1, false), "a");
  EXPECT_EQ(read(handle, 2, false), "bc");
  EXPECT_EQ(read(handle, 3, false), "def");  // the end has not been met yet
  EXPECT_EQ(read(handle, 3, true), "");
  EXPECT_EQ(handle.fileSize32(nullptr), 6U);
}

TEST(DorvaneHandle, ReadsAllThatThereIs) {
  const TempDir dir;
  const std::string content = std::string(300000, 'a') + '\0' + std::string(300000, 'z');
  DorvaneHandle handle;
  ASSERT_EQ(handle.openForRead(dir.file("file", content).c_str()), 0);
  EXPECT_EQ(read(handle, 700000, true), content);
}

TEST(DorvaneHandle, GoesOnAfterShortReads) {
  DorvaneHandle handle;
  // The system hands this file out in pieces of less than a page.
  ASSERT_EQ(handle.openForRead("/proc/self/smaps"), 0);
  EXPECT_EQ(read(handle, 10000, false).size(), 10000U);
}

TEST(DorvaneHandle, ReportsAFileThatEndsBeforeItsSize) {
  const TempDir dir;
  const std::string path = dir.file("file", "0123456789");
  DorvaneHandle handle;
  ASSERT_EQ(handle.openForRead(path.c_str()), 0);
  ASSERT_EQ(handle.fileSize32(nullptr), 10U);
  ASSERT_EQ(::truncate(path.c_str(), 4), 0);
  EXPECT_EQ(read(handle, 10, true), "0123");
}

TEST(DorvaneHandle, ReadsSystemFilesThatAreShorterThanTheyClaim) {
  const char* const path = harness::kShortFile;
  SKIP_WITHOUT(path);
  DorvaneHandle handle;
  ASSERT_EQ(handle.openForRead(path), 0);
  const unsigned int size = handle.fileSize32(nullptr);
  ASSERT_NE(size, kUnknown);
  const std::string content = read(handle, size, true);
  EXPECT_EQ(content, harness::contentOfFile(path));
  EXPECT_LT(content.size(), size);
}

TEST(DorvaneHandle, ReportsReadErrors) {
  const TempDir dir;
  char bytes[4] = {};
  unsigned int count = 77;
  bool endOfFile = true;
  LogBase log;
  DorvaneHandle directory;
  ASSERT_EQ(directory.openForRead(dir.path().c_str()), 0);
  EXPECT_FALSE(directory.readBytesToBuf32(bytes, 4, count, endOfFile, &log));
  EXPECT_FALSE(directory.readBytesToBuf32(bytes, 4, count, endOfFile, nullptr));
  EXPECT_EQ(count, 0U);
  EXPECT_FALSE(endOfFile);
  EXPECT_EQ(log.valueOf("errorCode"), std::to_string(EISDIR));

  DorvaneHandle file;
  ASSERT_EQ(file.openForRead(dir.file("file", "x").c_str()), 0);
  EXPECT_FALSE(file.readBytesToBuf32(nullptr, 1, count, endOfFile, &log));
  EXPECT_STREQ(log.valueOf("reason"), "there is no room for the bytes");
  EXPECT_TRUE(file.readBytesToBuf32(nullptr, 0, count, endOfFile, &log));
  EXPECT_EQ(log.errorCount(), 2U);
}

TEST(DorvaneHandle, NeverWaitsForAFifo) {
  const TempDir dir;
  const std::string path = dir / "fifo";
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  DorvaneHandle handle;
  ASSERT_EQ(handle.openForRead(path.c_str()), 0);
  EXPECT_EQ(read(handle, 4, true), "");  // no writer: the end

  const int writer = dorvane::internal::openFile(path.c_str(), O_WRONLY);
  ASSERT_GE(writer, 0);
  ASSERT_EQ(::write(writer, "abc", 3), 3);
  std::string bytes(5, '#');
  unsigned int count = 77;
  bool endOfFile = true;
  LogBase log;
  EXPECT_FALSE(handle.readBytesToBuf32(bytes.data(), 5, count, endOfFile, &log));
  EXPECT_EQ(bytes.substr(0, count), "abc");
  EXPECT_FALSE(endOfFile);
  EXPECT_EQ(log.valueOf("errorCode"), std::to_string(EAGAIN));
  ASSERT_EQ(::write(writer, "de", 2), 2);
  ASSERT_EQ(::close(writer), 0);
  EXPECT_EQ(read(handle, 5, true), "de");
}

// ---- System calls ----

TEST(PosixFiles, RepeatsInterruptedCalls) {
  int calls = 0;
  const int result = dorvane::internal::uninterrupted([&calls] {
    errno = EINTR;
    return ++calls < 4 ? -1 : 9;
  });
  EXPECT_EQ(result, 9);
  EXPECT_EQ(calls, 4);
  const int failure = dorvane::internal::uninterrupted([&calls] {
    ++calls;
    errno = EIO;
    return -1;
  });
  EXPECT_EQ(failure, -1);
  EXPECT_EQ(calls, 5);
}

TEST(PosixFiles, NoChildInheritsAFile) {
  const int descriptor = dorvane::internal::openFile("/dev/null", O_RDONLY);
  ASSERT_GE(descriptor, 0);
  EXPECT_NE(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0);
  EXPECT_EQ(dorvane::internal::closeFile(descriptor), 0);
}

}  // namespace
