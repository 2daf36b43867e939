#ifndef DORVANE_SUPPORT_INTERNAL_SINGLEBYTETABLES_H
#define DORVANE_SUPPORT_INTERNAL_SINGLEBYTETABLES_H

namespace dorvane::internal {

/// The upper half of a single-byte code page whose lower half is ASCII.
struct SingleByteTable {
  struct Inverse {
    unsigned short codePoint;
    unsigned char byte;
  };

  /// The code points of the bytes 0x80 to 0xFF; 0 where the page defines none.
  unsigned short codePoints[128];

  /// The same pairs in ascending order of the code points; undefined bytes come first.
  Inverse inverse[128];

  /// The byte of a code point above 0x7F, or 0. Cost: a binary search.
  unsigned int byteOf(unsigned int codePoint) const noexcept;
};

/// The table of a code page, or null.
const SingleByteTable* findSingleByteTable(int number) noexcept;

}  // namespace dorvane::internal

#endif
