#ifndef DORVANE_SUPPORT_DVMEMORY_H
#define DORVANE_SUPPORT_DVMEMORY_H

#include <cstddef>

/// Allocation helpers: each returns an uninitialised array of `n` elements (n may be 0), or null
/// when memory is exhausted or the array would be larger than any object can be; none throws. The
/// arrays are released with `delete[]`.
char* dvNewChar(unsigned int n);
unsigned char* dvNewUnsignedChar(unsigned int n);
unsigned int* dvNewUint32(unsigned int n);

/// Overwrites `n` bytes at `bytes` with zeros. The writes are never optimised away, even when
/// the storage is released right afterwards. Null or 0 does nothing.
void dvSecureZero(void* bytes, std::size_t n);

/// The stores to an object that is about to die reach memory before this call, although nothing of
/// this program reads them any more. (A compiler may drop plain stores in a destructor.)
inline void dvKeepStores(void* object) noexcept {
#if defined(__GNUC__)
  __asm__ __volatile__("" : : "r"(object) : "memory");
#else
  static void* volatile sink;
  sink = object;
#endif
}

#endif
