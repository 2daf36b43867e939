#ifndef DORVANE_SUPPORT_DVMD5_H
#define DORVANE_SUPPORT_DVMD5_H

/// The MD5 message digest (RFC 1321). It protects nothing from an attacker; it serves formats
/// that demand it.
class _dvMd5 {
 public:
  /// Writes the 16 bytes of the digest of the `n` bytes at `data` (null is empty) to `digest16`,
  /// which may lie inside the data. Copies of the data are wiped. Linear.
  void digestBytes(const unsigned char* data, unsigned int n, unsigned char* digest16) noexcept;
};

#endif
