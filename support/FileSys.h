#ifndef DORVANE_SUPPORT_FILESYS_H
#define DORVANE_SUPPORT_FILESYS_H

class DorvaneHandle;
class LogBase;
class XString;

/// Files by their names. Needs a POSIX system.
///
/// A path is UTF-8; its bytes go to the system as they are, so that names in other encodings work
/// too. An empty path, and one in which an XString holds a NUL, is refused. A log may be null; a
/// failure is recorded as one error, the path ("path") and, where the system gives one, the `errno`
/// value ("errorCode").
class FileSys {
 public:
  /// Opens a file for reading, after closing the one that the handle held. `errorCode` becomes 0,
  /// or the `errno` value of the failure. Never waits, not for the writer of a FIFO either. A
  /// directory opens too; its size cannot be told and reading it fails.
  static bool OpenForRead3(DorvaneHandle& handle, XString& path, int& errorCode, LogBase* log);

  /// Size of a regular file in bytes, as the system states it (files under /proc state 0). `ok`
  /// becomes whether it was obtained; the result is 0 when not. Deliberate: that a file does not
  /// exist is not recorded, since asking for its size is how callers find out.
  static long long fileSizeUtf8_64(const char* path, LogBase* log, bool& ok);

  /// As fileSizeUtf8_64(); a size above 4294967295 is not obtained.
  static unsigned int fileSizeUtf8_32(const char* path, LogBase* log, bool& ok);

  /// Creates or truncates a file and writes `n` bytes; null bytes are refused unless `n` is 0. True
  /// when the system has taken all of them and the file is closed; after a failure the file may
  /// hold a part, or nothing. A FIFO or a device is never waited for: it fails if nobody reads from
  /// it, or if it does not take all bytes at once.
  static bool writeFileUtf8(const char* path, const char* data, unsigned int n, LogBase* log);

  /// As writeFileUtf8(), but the bytes go after those that the file has.
  static bool appendFileX(XString& path, const char* data, unsigned int n, LogBase* log);
};

#endif
