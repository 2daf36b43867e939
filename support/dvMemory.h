#ifndef DORVANE_SUPPORT_DVMEMORY_H
#define DORVANE_SUPPORT_DVMEMORY_H

#include <cstddef>

/// Allocation helpers: each returns an uninitialised array of `n` elements (n may be 0), or
/// null when memory is exhausted; none throws. The arrays are released with `delete[]`.
char* dvNewChar(unsigned int n);
unsigned char* dvNewUnsignedChar(unsigned int n);
unsigned int* dvNewUint32(unsigned int n);

/// Overwrites `n` bytes at `bytes` with zeros. The writes are never optimised away, even when
/// the storage is released right afterwards. Null or 0 does nothing.
void dvSecureZero(void* bytes, std::size_t n);

/// Stores `value` in `field` so that the write reaches memory although the object that holds
/// the field is about to die. (A compiler may drop a plain store in a destructor.)
template <class T>
void dvStoreForGood(T& field, T value) noexcept {
  *const_cast<volatile T*>(&field) = value;
}

#endif
