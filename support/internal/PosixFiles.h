#ifndef DORVANE_SUPPORT_INTERNAL_POSIXFILES_H
#define DORVANE_SUPPORT_INTERNAL_POSIXFILES_H

#if !defined(__unix__) && !defined(__APPLE__)
#error "The files of dorvane-text need a POSIX system"
#endif

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>

// The system calls on files, repeated when a signal interrupts them. A result below 0 is a failure
// whose reason is in `errno`.

namespace dorvane::internal {

// Files of 2 GiB and more need it on 32-bit systems, where the build has to ask for it.
static_assert(sizeof(off_t) == 8, "define _FILE_OFFSET_BITS=64");

/// What one call transfers at most; some systems refuse 2 GiB and more.
inline constexpr std::size_t kMostAtOnce = std::size_t{1} << 30U;

/// What `call` returns once no signal interrupts it.
template <class Call>
auto uninterrupted(const Call& call) noexcept {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

/// Opens a file that no child process inherits and that becomes no controlling terminal. A file
/// that is created may be read and written by whom the process's mask leaves it to.
inline int openFile(const char* path, int flags) noexcept {
  constexpr mode_t kReadableAndWritable = 0666;
  return uninterrupted([path, flags] {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): declared so
    return ::open(path, flags | O_CLOEXEC | O_NOCTTY, kReadableAndWritable);
  });
}

inline ssize_t readSome(int descriptor, void* to, std::size_t n) noexcept {
  return uninterrupted([=] { return ::read(descriptor, to, std::min(n, kMostAtOnce)); });
}

inline ssize_t readSomeAt(int descriptor, void* to, std::size_t n, off_t offset) noexcept {
  return uninterrupted([=] { return ::pread(descriptor, to, n, offset); });
}

inline ssize_t writeSome(int descriptor, const void* from, std::size_t n) noexcept {
  return uninterrupted([=] { return ::write(descriptor, from, std::min(n, kMostAtOnce)); });
}

/// Closes a file. Deliberate: never repeated, since the descriptor is gone after an interrupted
/// call too and may already be another file's.
inline int closeFile(int descriptor) noexcept { return ::close(descriptor); }

}  // namespace dorvane::internal

#endif
