#ifndef DORVANE_SUPPORT_DORVANEHANDLE_H
#define DORVANE_SUPPORT_DORVANEHANDLE_H

class LogBase;

/// A file that is open for reading; closed at the end of its life. Needs a POSIX system.
///
/// Nothing here waits for another process: a FIFO or a device that has no data is a read error. A
/// log may be null; a failure is recorded as one error and the values that explain it.
class DorvaneHandle {
 public:
  DorvaneHandle() noexcept = default;
  DorvaneHandle(const DorvaneHandle&) = delete;
  DorvaneHandle& operator=(const DorvaneHandle&) = delete;
  ~DorvaneHandle();

  /// Opens a file for reading, after closing the one that was open. The path is the bytes that the
  /// system calls take. Returns 0 or the `errno` of the failure, and records nothing; null is no
  /// file.
  int openForRead(const char* path) noexcept;

  /// Whether a file is open.
  bool isOpen() const noexcept { return m_descriptor >= 0; }

  /// Closes the file; nothing happens when none is open.
  void close() noexcept;

  /// Size of the file in bytes. 0xFFFFFFFF when it cannot be told: no file is open, it is not
  /// regular (a directory, FIFO or device), has 4294967295 bytes or more, or claims to be empty
  /// although a byte can be read (as files under /proc do). Where the file is read stays the same.
  unsigned int fileSize32(LogBase* log) const;

  /// Reads the next `n` bytes into `destination`, fewer only where the file ends. `bytesRead`
  /// becomes their number, and `endOfFile` tells whether the end was met: false when the last of
  /// the `n` bytes is the last of the file. On a read error false; `bytesRead` counts what had
  /// arrived before. Reads that the system cuts short or a signal interrupts go on.
  bool readBytesToBuf32(void* destination, unsigned int n, unsigned int& bytesRead, bool& endOfFile,
                        LogBase* log);

 private:
  int m_descriptor = -1;
};

#endif
