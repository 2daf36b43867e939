#include "support/FileSys.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <functional>
#include <string>
#include <string_view>
#include <thread>

#include "harness/TempDir.h"
#include "support/DorvaneHandle.h"
#include "support/LogBase.h"
#include "support/XString.h"
#include "support/internal/PosixFiles.h"

namespace {

using namespace std::string_literals;
using dorvane::internal::closeFile;
using dorvane::internal::openFile;
using dorvane::internal::writeSome;
using harness::contentOfFile;
using harness::openFiles;
using harness::TempDir;

void set(XString& path, std::string_view bytes) {
  path.clear();
  ASSERT_TRUE(path.appendUtf8N(bytes.data(), static_cast<unsigned int>(bytes.size())));
}

// Expects one error with the path and the system's reason (0: none is recorded).
void expectError(const LogBase& log, const char* text, const std::string& path, int errorCode) {
  ASSERT_EQ(log.errorCount(), 1U) << path;
  EXPECT_STREQ(log.errorAt(0), text) << path;
  EXPECT_TRUE(log.hasContext("FileSys"));
  EXPECT_EQ(log.valueOf("path"), path);
  const char* const code = log.valueOf("errorCode");
  EXPECT_EQ(code == nullptr ? "0" : code, std::to_string(errorCode)) << path;
}

void expectNothing(const LogBase& log) { EXPECT_EQ(log.errorCount() + log.valueCount(), 0U); }

bool writeFile(const std::string& path, std::string_view data, LogBase* log) {
  return FileSys::writeFileUtf8(path.c_str(), data.data(), static_cast<unsigned int>(data.size()),
                                log);
}

bool appendFile(std::string_view path, std::string_view data, LogBase* log) {
  XString pathString;
  set(pathString, path);
  return FileSys::appendFileX(pathString, data.data(), static_cast<unsigned int>(data.size()), log);
}

// ---- Opening ----

int openError(std::string_view path, LogBase* log) {
  XString pathString;
  set(pathString, path);
  DorvaneHandle handle;
  int errorCode = -1;
  const bool opened = FileSys::OpenForRead3(handle, pathString, errorCode, log);
  EXPECT_EQ(opened, errorCode == 0);
  EXPECT_EQ(handle.isOpen(), opened);
  EXPECT_EQ(pathString.getSizeUtf8(), path.size());
  return errorCode;
}

TEST(FileSys, OpensWhatExists) {
  const TempDir dir;
  const long before = openFiles();
  LogBase log;
  EXPECT_EQ(openError(dir.file("file", "x"), &log), 0);
  EXPECT_EQ(openError(dir.path(), &log), 0);
  ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
  EXPECT_EQ(openError(dir / "fifo", &log), 0);
  expectNothing(log);
  EXPECT_EQ(openFiles(), before);
}

TEST(FileSys, ReportsWhatCannotBeOpened) {
  const TempDir dir;
  const std::string file = dir.file("file", "x");
  const struct {
    std::string path;
    int errorCode;
  } cases[] = {{dir / "none", ENOENT},
               {file + "/below", ENOTDIR},
               {dir / std::string(300, 'n'), ENAMETOOLONG}};
  for (const auto& c : cases) {
    LogBase log;
    EXPECT_EQ(openError(c.path, &log), c.errorCode);
    EXPECT_EQ(openError(c.path, nullptr), c.errorCode);
    expectError(log, "Failed to open the file", c.path, c.errorCode);
  }
}

TEST(FileSys, AFailedOpenClosesTheFormerFile) {
  const TempDir dir;
  XString path;
  set(path, dir.file("file", "x"));
  DorvaneHandle handle;
  int errorCode = -1;
  ASSERT_TRUE(FileSys::OpenForRead3(handle, path, errorCode, nullptr));
  path.clear();
  EXPECT_FALSE(FileSys::OpenForRead3(handle, path, errorCode, nullptr));
  EXPECT_FALSE(handle.isOpen());
}

TEST(FileSys, RefusesPathsThatNameNothing) {
  const TempDir dir;
  const std::string file = dir.file("file", "x");
  const std::string withNul = file + "\0.txt"s;
  LogBase log;
  EXPECT_EQ(openError("", &log), ENOENT);
  expectError(log, "The path is empty", "", 0);
  log.clear();
  EXPECT_EQ(openError(withNul, &log), EINVAL);
  expectError(log, "The path holds a NUL", file, 0);
  log.clear();
  EXPECT_FALSE(appendFile(withNul, "y", &log));
  expectError(log, "The path holds a NUL", file, 0);
  EXPECT_FALSE(appendFile(withNul, "y", nullptr));
  EXPECT_EQ(contentOfFile(file), "x");
  for (const char* const path : {static_cast<const char*>(nullptr), ""}) {
    log.clear();
    bool ok = true;
    EXPECT_EQ(FileSys::fileSizeUtf8_64(path, &log, ok), 0);
    EXPECT_FALSE(ok);
    expectError(log, "The path is empty", "", 0);
    log.clear();
    EXPECT_FALSE(FileSys::writeFileUtf8(path, "x", 1, &log));
    expectError(log, "The path is empty", "", 0);
  }
  EXPECT_FALSE(appendFile("", "y", nullptr));
}

// ---- Sizes ----

// Expects both forms to agree, and to record no more than one error.
void expectSize(const std::string& path, bool known, long long size, const char* error,
                int errorCode = 0) {
  LogBase log;
  bool ok = !known;
  EXPECT_EQ(FileSys::fileSizeUtf8_64(path.c_str(), &log, ok), size) << path;
  EXPECT_EQ(ok, known) << path;
  EXPECT_EQ(FileSys::fileSizeUtf8_32(path.c_str(), nullptr, ok), size) << path;
  EXPECT_EQ(ok, known) << path;
  if (error == nullptr)
    expectNothing(log);
  else
    expectError(log, error, path, errorCode);
}

TEST(FileSys, TellsTheSizesOfRegularFiles) {
  const TempDir dir;
  const long before = openFiles();
  expectSize(dir.file("empty", ""), true, 0, nullptr);
  expectSize(dir.file("one", "x"), true, 1, nullptr);
  expectSize("/proc/self/status", true, 0, nullptr);
  const std::string sparse = dir.file("sparse", "");
  ASSERT_EQ(::truncate(sparse.c_str(), 0xFFFFFFFF), 0);
  expectSize(sparse, true, 0xFFFFFFFF, nullptr);
  ASSERT_EQ(::symlink(sparse.c_str(), (dir / "link").c_str()), 0);
  expectSize(dir / "link", true, 0xFFFFFFFF, nullptr);
  EXPECT_EQ(openFiles(), before);
}

TEST(FileSys, MissingFilesHaveNoSizeAndNoError) {
  const TempDir dir;
  expectSize(dir / "none", false, 0, nullptr);
  expectSize(dir.file("file", "x") + "/below", false, 0, nullptr);
  ASSERT_EQ(::symlink("nowhere", (dir / "link").c_str()), 0);
  expectSize(dir / "link", false, 0, nullptr);
}

TEST(FileSys, OnlyRegularFilesHaveASize) {
  const TempDir dir;
  ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
  for (const std::string& path : {dir.path(), dir / "fifo", "/dev/null"s})
    expectSize(path, false, 0, "The file is not a regular file");
  ASSERT_EQ(::symlink("loop", (dir / "loop").c_str()), 0);
  expectSize(dir / "loop", false, 0, "Failed to get the file size", ELOOP);
}

TEST(FileSys, LargeFilesHaveOnlyA64BitSize) {
  const TempDir dir;
  const std::string path = dir.file("sparse", "");
  ASSERT_EQ(::truncate(path.c_str(), 0x100000000), 0);
  LogBase log;
  bool ok = false;
  EXPECT_EQ(FileSys::fileSizeUtf8_64(path.c_str(), &log, ok), 0x100000000);
  EXPECT_TRUE(ok);
  expectNothing(log);
  EXPECT_EQ(FileSys::fileSizeUtf8_32(path.c_str(), &log, ok), 0U);
  EXPECT_FALSE(ok);
  expectError(log, "The file has more than 4294967295 bytes", path, 0);
}

// ---- Writing ----

TEST(FileSys, WritesFiles) {
  const TempDir dir;
  const std::string path = dir / "file";
  const long before = openFiles();
  const std::string large = std::string(3000000, 'x') + '\0';
  LogBase log;
  for (const std::string& data : {"abc"s, ""s, "\0\xFF\r\n"s, large, "short"s}) {
    EXPECT_TRUE(writeFile(path, data, &log));
    EXPECT_EQ(contentOfFile(path), data);
  }
  EXPECT_TRUE(FileSys::writeFileUtf8(path.c_str(), nullptr, 0, nullptr));
  EXPECT_EQ(contentOfFile(path), "");
  expectNothing(log);
  EXPECT_EQ(openFiles(), before);
}

TEST(FileSys, AppendsToFiles) {
  const TempDir dir;
  const std::string path = dir / "file";
  LogBase log;
  std::string content;
  for (const std::string& data : {""s, "abc"s, "\0"s, std::string(200000, 'x')}) {
    EXPECT_TRUE(appendFile(path, data, &log));
    content += data;
    EXPECT_EQ(contentOfFile(path), content);
  }
  expectNothing(log);
}

TEST(FileSys, NewFilesFollowTheMask) {
  const TempDir dir;
  const mode_t saved = ::umask(027);
  EXPECT_TRUE(writeFile(dir / "written", "x", nullptr));
  EXPECT_TRUE(appendFile(dir / "appended", "x", nullptr));
  ::umask(saved);
  for (const char* const name : {"written", "appended"}) {
    struct stat status = {};
    ASSERT_EQ(::stat((dir / name).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0640U) << name;
  }
}

TEST(FileSys, RefusesMissingBytesBeforeTheFileIsTouched) {
  const TempDir dir;
  const std::string path = dir.file("file", "kept");
  XString pathString;
  set(pathString, path);
  LogBase log;
  EXPECT_FALSE(FileSys::writeFileUtf8(path.c_str(), nullptr, 1, &log));
  expectError(log, "There are no bytes to write", path, 0);
  EXPECT_FALSE(FileSys::appendFileX(pathString, nullptr, 1, nullptr));
  EXPECT_EQ(contentOfFile(path), "kept");
}

TEST(FileSys, ReportsWhatCannotBeWritten) {
  const TempDir dir;
  const std::string file = dir.file("file", "x");
  const long before = openFiles();
  const struct {
    std::string path;
    const char* error;
    int errorCode;
  } cases[] = {{dir / "none/below", "Failed to open the file for writing", ENOENT},
               {file + "/below", "Failed to open the file for writing", ENOTDIR},
               {dir.path(), "Failed to open the file for writing", EISDIR},
               {"/dev/full", "Failed to write the file", ENOSPC}};
  for (const auto& c : cases) {
    LogBase log;
    EXPECT_FALSE(writeFile(c.path, "x", &log));
    expectError(log, c.error, c.path, c.errorCode);
    log.clear();
    EXPECT_FALSE(appendFile(c.path, "x", &log));
    expectError(log, c.error, c.path, c.errorCode);
    EXPECT_FALSE(writeFile(c.path, "x", nullptr));
  }
  EXPECT_TRUE(writeFile("/dev/full", "", nullptr));
  EXPECT_EQ(openFiles(), before);
}

// Runs `body` in a process of its own, which may give up what it needs to.
void inChild(const std::function<bool()>& body) {
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) ::_exit(body() ? 0 : 1);
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

bool failsWith(int errorCode, const LogBase& log) {
  const char* const code = log.valueOf("errorCode");
  return log.errorCount() == 1 && code != nullptr && code == std::to_string(errorCode);
}

TEST(FileSys, ReportsMissingPermission) {
  const TempDir dir;
  const std::string path = dir.file("file", "x");
  ASSERT_EQ(::chmod(path.c_str(), 0), 0);
  ASSERT_EQ(::chmod(dir.path().c_str(), 0711), 0);
  const std::string hidden = dir / "hidden";
  ASSERT_EQ(::mkdir(hidden.c_str(), 0), 0);
  inChild([&] {
    constexpr uid_t kNobody = 65534;
    if (::geteuid() == 0 && ::seteuid(kNobody) != 0) return false;
    LogBase opening;
    LogBase writing;
    LogBase appending;
    LogBase measuring;
    bool ok = true;
    const bool refused = openError(path, &opening) == EACCES && !writeFile(path, "y", &writing) &&
                         !appendFile(path, "y", &appending) &&
                         FileSys::fileSizeUtf8_64((hidden + "/f").c_str(), &measuring, ok) == 0;
    return refused && !ok && failsWith(EACCES, opening) && failsWith(EACCES, writing) &&
           failsWith(EACCES, appending) && failsWith(EACCES, measuring);
  });
  ASSERT_EQ(::chmod(path.c_str(), 0600), 0);
  EXPECT_EQ(contentOfFile(path), "x");
}

TEST(FileSys, ReportsAFileThatTakesOnlyAPart) {
  const TempDir dir;
  const std::string path = dir / "file";
  inChild([&] {
    const rlimit limit = {50, 50};
    if (::signal(SIGXFSZ, SIG_IGN) == SIG_ERR || ::setrlimit(RLIMIT_FSIZE, &limit) != 0)
      return false;
    LogBase log;
    return !writeFile(path, std::string(100, 'x'), &log) && failsWith(EFBIG, log);
  });
  EXPECT_EQ(contentOfFile(path), std::string(50, 'x'));
}

void ignoreSignal(int) {}

// The writer is interrupted while it waits for the reader of a FIFO, again and again.
TEST(PosixFiles, CallsGoOnAfterSignals) {
  const TempDir dir;
  const std::string path = dir / "fifo";
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  struct sigaction action = {};
  struct sigaction saved = {};
  action.sa_handler = ignoreSignal;  // and no SA_RESTART
  ASSERT_EQ(::sigaction(SIGUSR1, &action, &saved), 0);

  std::string data;
  for (int i = 0; i < 100000; ++i) data += std::to_string(i);
  const pthread_t writer = ::pthread_self();
  std::string arrived;
  std::thread reader([&] {
    const auto interrupt = [writer] {
      for (int i = 0; i < 5; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        ::pthread_kill(writer, SIGUSR1);
      }
    };
    interrupt();
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    std::string block(40000, '\0');
    for (;;) {
      if (arrived.size() < data.size()) interrupt();
      const ssize_t n = ::read(descriptor, block.data(), block.size());
      if (n <= 0) break;
      arrived.append(block, 0, static_cast<std::size_t>(n));
    }
    ::close(descriptor);
  });
  const int fifo = openFile(path.c_str(), O_WRONLY);
  EXPECT_GE(fifo, 0);
  for (std::size_t written = 0; written < data.size();) {
    const ssize_t some = writeSome(fifo, data.data() + written, data.size() - written);
    if (some <= 0) break;
    written += static_cast<std::size_t>(some);
  }
  EXPECT_EQ(closeFile(fifo), 0);
  reader.join();
  EXPECT_EQ(arrived, data);
  ASSERT_EQ(::sigaction(SIGUSR1, &saved, nullptr), 0);
}

// ---- Names ----

TEST(FileSys, NamesAreBytes) {
  const TempDir dir;
  for (const std::string& name : {"\u00e9\u65e5\U0001F600"s, "\xE9\x80"s, " a\nb\\|?*"s}) {
    const std::string path = dir / name;
    EXPECT_TRUE(writeFile(path, name, nullptr));
    EXPECT_EQ(contentOfFile(path), name);
    EXPECT_TRUE(appendFile(path, "+", nullptr));
    EXPECT_EQ(contentOfFile(path), name + "+");
    EXPECT_EQ(openError(path, nullptr), 0);
    expectSize(path, true, static_cast<long long>(name.size()) + 1, nullptr);
  }
}

TEST(FileSys, AnsiPathsNameUtf8Files) {
  const TempDir dir;
  dir.file("\u00e9\u20ac", "x");
  XString path;
  ASSERT_TRUE(path.setFromAnsi((dir / "\xE9\x80").c_str()));
  DorvaneHandle handle;
  int errorCode = -1;
  EXPECT_TRUE(FileSys::OpenForRead3(handle, path, errorCode, nullptr));
  EXPECT_EQ(errorCode, 0);
  EXPECT_EQ(handle.fileSize32(nullptr), 1U);
}

// ---- Former bugs ----

// Writing to a FIFO waited for a reader, and for one that does not read.
TEST(FileSys, NeverWaitsForTheReaderOfAFifo) {
  const TempDir dir;
  const std::string path = dir / "fifo";
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  for (const std::string& data : {""s, "x"s, std::string(200000, 'x')}) {
    LogBase log;
    EXPECT_FALSE(writeFile(path, data, &log));
    expectError(log, "Failed to open the file for writing", path, ENXIO);
    log.clear();
    EXPECT_FALSE(appendFile(path, data, &log));
    expectError(log, "Failed to open the file for writing", path, ENXIO);
  }
  const int reader = openFile(path.c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_GE(reader, 0);
  LogBase log;
  EXPECT_TRUE(writeFile(path, "taken at once", &log));
  EXPECT_TRUE(appendFile(path, ", both", &log));
  expectNothing(log);
  char arrived[40] = {};
  EXPECT_EQ(::read(reader, arrived, sizeof arrived), 19);
  EXPECT_STREQ(arrived, "taken at once, both");
  EXPECT_FALSE(writeFile(path, std::string(2000000, 'x'), &log));
  expectError(log, "Failed to write the file", path, EAGAIN);
  ASSERT_EQ(closeFile(reader), 0);
}

}  // namespace
