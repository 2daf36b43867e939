// Tested in tests/support/DorvaneHandleTest.cpp.

#include "support/DorvaneHandle.h"

#include <sys/stat.h>

#include <cerrno>

#include "support/LogBase.h"
#include "support/LogContextExitor.h"
#include "support/internal/PosixFiles.h"

using dorvane::internal::closeFile;
using dorvane::internal::openFile;
using dorvane::internal::readSome;
using dorvane::internal::readSomeAt;

namespace {

constexpr unsigned int kUnknownSize = 0xFFFFFFFFU;

void logFailure(LogBase* log, const char* text, const char* reason) {
  if (log == nullptr) return;
  const LogContextExitor context(*log, "DorvaneHandle");
  log->LogError(text);
  log->LogData("reason", reason);
}

void logFailure(LogBase* log, const char* text, int errorCode) {
  if (log == nullptr) return;
  const LogContextExitor context(*log, "DorvaneHandle");
  log->LogError(text);
  log->LogDataLong("errorCode", errorCode);
}

unsigned int unknownSize(LogBase* log, const char* reason) {
  logFailure(log, "The size of the file cannot be told", reason);
  return kUnknownSize;
}

unsigned int unknownSize(LogBase* log, int errorCode) {
  logFailure(log, "The size of the file cannot be told", errorCode);
  return kUnknownSize;
}

}  // namespace

DorvaneHandle::~DorvaneHandle() { close(); }

int DorvaneHandle::openForRead(const char* path) noexcept {
  close();
  if (path == nullptr) return ENOENT;
  // Without O_NONBLOCK a FIFO that nobody writes to would never open.
  m_descriptor = openFile(path, O_RDONLY | O_NONBLOCK);
  return isOpen() ? 0 : errno;
}

void DorvaneHandle::close() noexcept {
  if (isOpen()) closeFile(m_descriptor);
  m_descriptor = -1;
}

unsigned int DorvaneHandle::fileSize32(LogBase* log) const {
  if (!isOpen()) return unknownSize(log, "no file is open");
  struct stat status = {};
  if (fstat(m_descriptor, &status) != 0) return unknownSize(log, errno);
  if (!S_ISREG(status.st_mode)) return unknownSize(log, "it is not a regular file");
  if (status.st_size < 0 || status.st_size >= kUnknownSize)
    return unknownSize(log, "it has 4294967295 bytes or more");
  if (status.st_size > 0) return static_cast<unsigned int>(status.st_size);
  char probe = 0;
  const ssize_t readable = readSomeAt(m_descriptor, &probe, 1, 0);
  if (readable < 0) return unknownSize(log, errno);
  if (readable == 0) return 0;
  return unknownSize(log, "it claims to be empty and is not, as files under /proc do");
}

// NOLINTNEXTLINE(readability-make-member-function-const): moves the position in the file
bool DorvaneHandle::readBytesToBuf32(void* destination, unsigned int n, unsigned int& bytesRead,
                                     bool& endOfFile, LogBase* log) {
  bytesRead = 0;
  endOfFile = false;
  if (!isOpen() || (destination == nullptr && n != 0)) {
    const char* const reason = isOpen() ? "there is no room for the bytes" : "no file is open";
    logFailure(log, "Failed to read from the file", reason);
    return false;
  }
  while (bytesRead < n) {
    char* const next = static_cast<char*>(destination) + bytesRead;
    const ssize_t some = readSome(m_descriptor, next, n - bytesRead);
    if (some < 0) {
      logFailure(log, "Failed to read from the file", errno);
      return false;
    }
    endOfFile = some == 0;
    if (endOfFile) break;
    bytesRead += static_cast<unsigned int>(some);
  }
  return true;
}
