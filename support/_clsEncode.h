#ifndef DORVANE_SUPPORT_CLSENCODE_H
#define DORVANE_SUPPORT_CLSENCODE_H

class DataBuffer;
class LogBase;
class StringBuffer;

/// The named encodings of binary data as text:
///
/// | Name                                           | Defined in             |
/// |------------------------------------------------|------------------------|
/// | base64                                         | RFC 4648, section 4    |
/// | base64url, base64-url, modBase64               | RFC 4648, section 5    |
/// | base32                                         | RFC 4648, section 6    |
/// | hex, hexadecimal, base16                       | RFC 4648, section 8    |
/// | quoted-printable, quoted_printable, qp         | RFC 2045, section 6.7  |
/// | url, url-encoding, percent                     | RFC 3986, section 2.1  |
class _clsEncode {
 public:
  /// The identifier of an encoding; 0 when the name is null or not known. ASCII letters match
  /// without regard to case.
  static int parseEncodingName(const char* name) noexcept;

  /// Decodes the content of `text`, appending to `out`, or to the emptied `out` when `append` is
  /// false. Linear.
  ///
  /// Base64, base32 and hexadecimal skip space, TAB, CR and LF; their padding may be missing,
  /// and base32 and hexadecimal take letters of either case. Quoted-printable drops soft line
  /// breaks and the white space at the end of a line. URL encoding leaves "+" as it is.
  ///
  /// Malformed text is decoded as far as it goes: a byte that does not belong there is left out
  /// (an escape that is none is copied as it is), and behind the padding nothing is decoded.
  /// Then one error is logged, with the number of such bytes ("misfits") and the byte offset of
  /// the first ("firstOffset"), and the result is false. An identifier that is not known and
  /// exhausted memory are logged too, with false; what was appended before stays.
  static bool decodeBinary(int encoding, const StringBuffer& text, DataBuffer& out, bool append,
                           LogBase& log);
};

#endif
