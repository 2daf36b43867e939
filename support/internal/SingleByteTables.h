#ifndef DORVANE_SUPPORT_INTERNAL_SINGLEBYTETABLES_H
#define DORVANE_SUPPORT_INTERNAL_SINGLEBYTETABLES_H

namespace dorvane::internal {

/// The upper half of a single-byte code page whose lower half is ASCII.
struct SingleByteTable {
  /// The code points of the bytes 0x80 to 0xFF; 0 where the page defines none.
  unsigned short codePoints[128];

  /// The bytes, each in the slot of its code point or in the next free one; 0 in a free slot.
  unsigned char slots[256];

  static constexpr unsigned int slotOf(unsigned int codePoint) noexcept {
    return (codePoint * 0x9E3BU >> 7U) & 0xFFU;  // at most 7 probes in any page
  }

  /// The byte of a code point above 0x7F, or 0.
  constexpr unsigned int byteOf(unsigned int codePoint) const noexcept {
    unsigned int slot = slotOf(codePoint);
    while (slots[slot] != 0 && codePoints[slots[slot] - 0x80] != codePoint)
      slot = (slot + 1) & 0xFFU;
    return slots[slot];
  }
};

/// The table of a code page, or null.
const SingleByteTable* findSingleByteTable(int number) noexcept;

}  // namespace dorvane::internal

#endif
