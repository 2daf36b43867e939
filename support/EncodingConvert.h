#ifndef DORVANE_SUPPORT_ENCODINGCONVERT_H
#define DORVANE_SUPPORT_ENCODINGCONVERT_H

class DataBuffer;
class LogBase;

/// Converts text between code pages, named by their Windows numbers.
///
/// Every conversion appends to `out` and never stops early. A malformed or unmappable character
/// becomes U+FFFD, or "?" where the target page has no U+FFFD, and the rest goes on; afterwards
/// one error is logged, with the number of such characters and the byte offset of the first, and
/// the result is false. In malformed UTF-8 each maximal subpart counts as one character (The
/// Unicode Standard, section 3.9); an unpaired surrogate is malformed. No byte-order mark is
/// added or removed, and NULs are characters like others. A page that is not known is logged,
/// the bytes are passed through unchanged, and the result is false. When memory is exhausted an
/// error is logged, what was appended before stays, and the result is false. A null source is
/// empty. All are linear.
///
/// The pages:
/// - 65001 (UTF-8), 1200 and 1201 (UTF-16, little and big endian), 12000 and 12001 (UTF-32),
///   20127 (US-ASCII);
/// - single bytes: 437, 737, 775, 850, 852, 855, 857, 858, 860 to 866, 869, 874; 1250 to 1258;
///   28591 to 28601 and 28603 to 28606 (ISO 8859-1 to -11 and -13 to -16); 20866 and 21866
///   (KOI8-R and -U). A byte that a page leaves undefined is malformed, except that in 1252 it is
///   the C1 control of the same number. Deliberate: 864 has the Arabic percent sign at 0x25 and no
///   other. A combination that 1255 or 1258 has only as base and mark has no form in them.
/// - East Asia: 932, 936, 949, 950, 1361, 20932, 20936, 20949, 50220 to 50222 and 50225
///   (ISO-2022), 51932, 51936, 51949, 51950, 52936 (HZ) and 54936 (GB 18030), as the C library's
///   iconv converts them. Where it lacks one (glibc has no HZ), that is logged and the bytes are
///   passed through as for an unknown page. A malformed character ends before the next ASCII
///   byte, so that no byte hides another one. A text in ISO-2022 ends in ASCII; ESC, SO and SI
///   are malformed in it where they begin no shift sequence that is known, and have no form. 50220
///   to 50222 read half-width katakana behind ESC "(I", not behind SO, and write none.
class EncodingConvert {
 public:
  /// From any page to any page.
  bool EncConvert(int fromCodePage, int toCodePage, const unsigned char* source, unsigned int n,
                  DataBuffer& out, LogBase& log);

  /// From the system's ANSI page (Psdk::getAnsiCodePage()). A negative length is logged and
  /// refused, with false, in this member and the next three.
  bool AnsiToMultiByte(int toCodePage, const char* source, int n, DataBuffer& out, LogBase& log);

  /// To the system's ANSI page.
  bool MultiByteToAnsi(int fromCodePage, const unsigned char* source, int n, DataBuffer& out,
                       LogBase& log);

  /// From the system's OEM page (Psdk::getOemCodePage()).
  bool OemToMultiByte(int toCodePage, const char* source, int n, DataBuffer& out, LogBase& log);

  /// To the system's OEM page.
  bool MultiByteToOem(int fromCodePage, const unsigned char* source, int n, DataBuffer& out,
                      LogBase& log);
};

#endif
