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
///   20127 (US-ASCII); 65000 (UTF-7) as a source only: nothing is written in it, as for an unknown
///   page;
/// - single bytes: 437, 737, 775, 850, 852, 855, 857, 858, 860 to 866, 869, 874; 1250 to 1258;
///   28591 to 28601 and 28603 to 28606 (ISO 8859-1 to -11 and -13 to -16); 20866 and 21866
///   (KOI8-R and -U); 10000 and 10017 (Macintosh, Western and Cyrillic with the Ukrainian letters,
///   both with the euro sign). A byte that a page leaves undefined is malformed, except that in
///   1252 it is the C1 control of the same number. Deliberate: 864 has the Arabic percent sign at
///   0x25 and no other. A combination that 1255 or 1258 has only as base and mark has no form in
///   them.
/// - East Asia: 932, 936, 949, 950, 1361, 20932, 20936, 20949, 50220 to 50222 and 50225
///   (ISO-2022), 51932, 51936, 51949, 51950, 52936 (HZ) and 54936 (GB 18030), by the C library's
///   iconv. Where it lacks one (glibc has no HZ), that is logged and the bytes are passed through
///   as for an unknown page. A malformed character ends before the next ASCII byte, so that no
///   byte hides another one. A text in ISO-2022 ends in ASCII; ESC, SO and SI are malformed in it
///   where they begin no shift sequence that is known, and have no form.
///
/// How far the East Asian pages go:
/// - 932, 936 and 950 are as large as the C library's tables. In glibc 932 has private-use code
///   points for its user-defined rows F0 to F9. 936 has the euro sign at 80 and none of the
///   user-defined rows; a place that GBK leaves empty is malformed. 950 has private-use code points
///   for C6A1 to C8FE, nothing below A1 and nothing from FA on.
/// - 50220 to 50222 and 51932 are those of Windows: a double byte is the pair of 932 of that row
///   and cell, with NEC's rows 13 and 89 to 92 and the full-width forms of 932 (U+FF5E). IBM's
///   characters are written in the rows of NEC; the names of JIS for the same signs (U+301C) are
///   written, too. Private-use code points are never read and have no form.
/// - Half-width katakana: 50221 writes them after ESC "(I" and 50222 between SO and SI, which it
///   reads, too. 50220 has none to write, and all three read them after ESC "(I". JIS X 0212 is
///   read by all four pages and written by 51932.
///
/// A converter of the C library is opened when a thread first reads or writes such a page, and kept
/// until the thread ends; a thread keeps at most 64. Opening one is slow (about 0.1 ms) and needs
/// memory; afterwards only the result does. What is kept holds nothing of any text.
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
