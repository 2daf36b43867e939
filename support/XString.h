#ifndef DORVANE_SUPPORT_XSTRING_H
#define DORVANE_SUPPORT_XSTRING_H

#include "core/StringBuffer.h"

/// A text that is set and read as UTF-8 or in the ANSI code page (Psdk::getAnsiCodePage()).
///
/// The content is held as UTF-8. Malformed UTF-8 is kept byte for byte; only the ANSI form, which
/// is made when it is asked for, has substitutes for it. Null is the empty text. Texts may lie in
/// the string that they are given to. Not copyable, since a copy could not report that memory is
/// exhausted.
class XString {
 public:
  XString() noexcept = default;
  XString(const XString&) = delete;
  XString& operator=(const XString&) = delete;
  ~XString() = default;

  /// A secure string overwrites its storage, and what its members allocate on the way, with zeros
  /// before release. The flag itself wipes nothing.
  void setSecure(bool secure) noexcept;

  /// Replaces the content by a UTF-8 text. False when memory is exhausted; the content is empty
  /// then, so that a result nobody looks at names no wrong file.
  bool setFromUtf8(const char* text);

  /// Replaces the content by a text in the ANSI page. False when a character is not in that page
  /// (U+FFFD stands for it), or when memory is exhausted (the content is empty then).
  bool setFromAnsi(const char* text);

  /// Appends a UTF-8 text. False, with nothing changed, when memory is exhausted.
  bool appendUtf8(const char* text);

  /// Appends `n` bytes of UTF-8. NULs belong to the content, though getUtf8() and getAnsi() end at
  /// the first one. False, with nothing changed, when memory is exhausted.
  bool appendUtf8N(const char* bytes, unsigned int n);

  /// The content as UTF-8; never null. Valid until the string is next changed.
  const char* getUtf8() const noexcept { return m_utf8.getString(); }

  /// The text in the ANSI page; never null. A character that the page does not have is "?", and so
  /// is each malformed one, as EncodingConvert counts them. Empty when memory is exhausted. Valid
  /// until the string is next changed, or asked again after the ANSI page of the program has
  /// changed. Linear at the first call, then constant.
  const char* getAnsi();

  /// Replaces every character `from` by the character `to`: below 0x80 the ASCII characters, from
  /// 0x80 on those of the ANSI page. Other UTF-8 sequences stay whole. A `from` of NUL replaces
  /// nothing. False, with nothing changed, when one of the two is no character of the page or
  /// memory is exhausted. Linear.
  bool replaceChar(char from, char to);

  /// Empties the string.
  void clear();

  /// True when the content has no byte.
  bool isEmpty() const noexcept { return getSizeUtf8() == 0; }

  /// Length of the content in bytes of UTF-8, NULs included.
  unsigned int getSizeUtf8() const noexcept { return m_utf8.getSize(); }

 private:
  void forgetAnsi();

  StringBuffer m_utf8;
  StringBuffer m_ansi;  // the ANSI form, when there is one and it differs from the UTF-8 form
  int m_ansiPage = 0;   // the page of that form; 0 when there is none
  bool m_secure = false;
};

#endif
