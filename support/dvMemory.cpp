#include "support/dvMemory.h"

#include <cstring>

#include "support/internal/NewArray.h"

using dorvane::internal::newArray;

char* dvNewChar(unsigned int n) { return newArray<char>(n); }

unsigned char* dvNewUnsignedChar(unsigned int n) { return newArray<unsigned char>(n); }

unsigned int* dvNewUint32(unsigned int n) { return newArray<unsigned int>(n); }

void dvSecureZero(void* bytes, std::size_t n) {
  if (bytes == nullptr || n == 0) return;
#if defined(__GNUC__)
  std::memset(bytes, 0, n);
  // The barrier makes the zeros observable, so the memset cannot be dropped.
  __asm__ __volatile__("" : : "r"(bytes) : "memory");
#else
  volatile unsigned char* p = static_cast<volatile unsigned char*>(bytes);
  while (n-- > 0) *p++ = 0;
#endif
}
