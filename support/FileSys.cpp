// Tested in tests/support/FileSysTest.cpp.

#include "support/FileSys.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "support/DorvaneHandle.h"
#include "support/LogBase.h"
#include "support/LogContextExitor.h"
#include "support/XString.h"
#include "support/dv64.h"
#include "support/internal/PosixFiles.h"

using dorvane::internal::closeFile;
using dorvane::internal::openFile;
using dorvane::internal::uninterrupted;
using dorvane::internal::writeSome;

namespace {

void logFailure(LogBase* log, const char* text, const char* path, int errorCode = 0) {
  if (log == nullptr) return;
  const LogContextExitor context(*log, "FileSys");
  log->LogError(text);
  log->LogData("path", path);
  if (errorCode != 0) log->LogDataLong("errorCode", errorCode);
}

// For what the system is not asked about.
bool refuse(LogBase* log, const char* text, const char* path) {
  logFailure(log, text, path);
  return false;
}

bool isUsable(const char* path, LogBase* log) {
  if (path != nullptr && *path != '\0') return true;
  return refuse(log, "The path is empty", "");
}

// What stands behind a NUL would be ignored by the system: the file would not be the one named.
bool isUsable(XString& path, LogBase* log) {
  if (!isUsable(path.getUtf8(), log)) return false;
  if (std::strlen(path.getUtf8()) == path.getSizeUtf8()) return true;
  return refuse(log, "The path holds a NUL", path.getUtf8());
}

bool isMissing(int errorCode) noexcept { return errorCode == ENOENT || errorCode == ENOTDIR; }

// 0 or the reason of the failure.
int writeAll(int descriptor, const char* data, unsigned int n) noexcept {
  while (n > 0) {
    const ssize_t written = writeSome(descriptor, data, n);
    if (written < 0) return errno;
    if (written == 0) return EIO;
    data += written;
    n -= static_cast<unsigned int>(written);
  }
  return 0;
}

// Many failures to write are told only when the file is closed.
int writeAndClose(int descriptor, const char* data, unsigned int n) noexcept {
  const int writeError = writeAll(descriptor, data, n);
  const bool closed = closeFile(descriptor) == 0;
  if (writeError != 0) return writeError;
  return closed ? 0 : errno;
}

bool write(const char* path, int flags, const char* data, unsigned int n, LogBase* log) {
  if (data == nullptr && n != 0) return refuse(log, "There are no bytes to write", path);
  // Without O_NONBLOCK a FIFO that nobody reads from would never open. Regular files ignore it.
  const int descriptor = openFile(path, O_WRONLY | O_CREAT | O_NONBLOCK | flags);
  if (descriptor < 0) {
    logFailure(log, "Failed to open the file for writing", path, errno);
    return false;
  }
  const int errorCode = writeAndClose(descriptor, data, n);
  if (errorCode != 0) logFailure(log, "Failed to write the file", path, errorCode);
  return errorCode == 0;
}

}  // namespace

bool FileSys::OpenForRead3(DorvaneHandle& handle, XString& path, int& errorCode, LogBase* log) {
  handle.close();
  errorCode = path.isEmpty() ? ENOENT : EINVAL;
  if (!isUsable(path, log)) return false;
  errorCode = handle.openForRead(path.getUtf8());
  if (errorCode != 0) logFailure(log, "Failed to open the file", path.getUtf8(), errorCode);
  return errorCode == 0;
}

long long FileSys::fileSizeUtf8_64(const char* path, LogBase* log, bool& ok) {
  ok = false;
  if (!isUsable(path, log)) return 0;
  struct stat status = {};
  if (uninterrupted([path, &status] { return stat(path, &status); }) != 0) {
    if (!isMissing(errno)) logFailure(log, "Failed to get the file size", path, errno);
    return 0;
  }
  ok = S_ISREG(status.st_mode) || refuse(log, "The file is not a regular file", path);
  return ok ? status.st_size : 0;
}

unsigned int FileSys::fileSizeUtf8_32(const char* path, LogBase* log, bool& ok) {
  const long long size = fileSizeUtf8_64(path, log, ok);
  if (dv64::TooBigForUnsigned32(size))
    ok = refuse(log, "The file has more than 4294967295 bytes", path);
  return ok ? static_cast<unsigned int>(size) : 0;
}

bool FileSys::writeFileUtf8(const char* path, const char* data, unsigned int n, LogBase* log) {
  return isUsable(path, log) && write(path, O_TRUNC, data, n, log);
}

bool FileSys::appendFileX(XString& path, const char* data, unsigned int n, LogBase* log) {
  return isUsable(path, log) && write(path.getUtf8(), O_APPEND, data, n, log);
}
