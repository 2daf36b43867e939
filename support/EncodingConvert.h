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
