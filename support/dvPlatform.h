#ifndef DORVANE_SUPPORT_DVPLATFORM_H
#define DORVANE_SUPPORT_DVPLATFORM_H

/// @file
/// The host that the program runs on.

/// True on a host that stores the most significant byte of a number first.
inline bool dvIsBigEndian() noexcept {
  const unsigned int one = 1;
  return *reinterpret_cast<const unsigned char*>(&one) == 0;
}

#endif
