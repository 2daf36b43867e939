#ifndef DORVANE_SUPPORT_DVUTF_H
#define DORVANE_SUPPORT_DVUTF_H

/// UTF helpers.
class _dvUtf {
 public:
  /// Writes the UTF-8 bytes of one code point (RFC 3629) to `out`, 1 to 4 of them, without a NUL,
  /// and stores their number. Deliberate: a surrogate is written as three bytes, so that each
  /// half of a pair can be converted by itself. A value above 0x10FFFF is written as U+FFFD.
  static void oneUtf32ToUtf8(unsigned int codePoint, char* out, unsigned int& nOut) noexcept;
};

#endif
