#ifndef DORVANE_SUPPORT_DVURLENCODE_H
#define DORVANE_SUPPORT_DVURLENCODE_H

class StringBuffer;

/// URL encoding.
class _dvUrlEncode {
 public:
  /// Percent-encodes the content in place (RFC 3986, section 2.1): every byte but the unreserved
  /// letters, digits, "-", ".", "_" and "~" becomes "%" and two upper-case hexadecimal digits,
  /// a space "%20" and a NUL "%00". False, with nothing changed, when the buffer cannot grow.
  static bool urlEncodeSb(StringBuffer& text);
};

#endif
