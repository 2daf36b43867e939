#ifndef DORVANE_SUPPORT_CONTENTCODING_H
#define DORVANE_SUPPORT_CONTENTCODING_H

class DataBuffer;
class LogBase;
class StringBuffer;

/// The content codings of mail: base64 (RFC 2045, section 6.8; RFC 4648, section 4) and the encoded
/// words of headers (RFC 2047).
class ContentCoding {
 public:
  /// Appends the base64 text of `n` bytes, padded and without line breaks; null is empty. The
  /// bytes may lie inside `out`. False, with nothing appended, when the text does not fit or
  /// memory is exhausted. The buffer grows at most once; linear.
  bool encodeBase64_noCrLf(const void* data, unsigned int n, StringBuffer& out);

  /// Appends the bytes that the `n` bytes of base64 text stand for; null is empty. The text may
  /// lie inside `out`. Deliberate: malformed text is no failure, as mail demands. Bytes outside
  /// the alphabet, NULs too, are skipped, a "=" ends the data, the padding may be missing, and a
  /// last symbol that completes no byte is dropped. False only when memory is exhausted; what
  /// was appended before stays. Linear.
  bool decodeBase64ToDb(const char* text, unsigned int n, DataBuffer& out);

  /// Decodes the encoded words in the content, Q and B, to UTF-8 in place (RFC 2047). NULs are
  /// bytes like others.
  ///
  /// - Words are decoded wherever they are and however long they are. White space (a line end
  ///   only before a space or TAB) is dropped between words that are both decoded. Adjacent words
  ///   of one charset are joined before they are converted, so that a character may be split
  ///   between them.
  /// - Accepted beyond the RFC: an empty word, a space, a TAB or a fold inside one (the line end of
  ///   a fold is dropped), bytes of 0x80 and above in a Q word, which stand for themselves, missing
  ///   or surplus padding. A language suffix of the charset (RFC 2231, section 5) is ignored.
  /// - A word with an unknown charset or encoding, or malformed, is left as it is, byte for byte.
  ///   Bytes of a decoded word that are malformed in its charset become U+FFFD. A Q or B word
  ///   with a "?" in its text is malformed; it ends at the next "?=", unless a "=?" or a line end
  ///   that is no fold comes first, which makes it no word at all.
  /// - The charsets are those that EncodingConvert has pages for, by the names of IANA, of the
  ///   Encoding Standard of the WHATWG and of Windows. "gb2312" and the like mean the page that
  ///   extends them (936), and "big5-hkscs" means 950, where the additions of Hong Kong are
  ///   malformed. Unknown are iso-2022-cn, iso-2022-cn-ext, replacement and x-user-defined.
  /// - In a charset that leaves the byte order open (as UTF-16, RFC 2781, section 4.3), a word may
  ///   begin with a byte-order mark, which is obeyed and dropped, and holds for the words that are
  ///   joined to it. Deliberate: without a mark they are little-endian, as their code page says,
  ///   where the RFC recommends the opposite.
  ///
  /// True when neither of the last two occurred; otherwise one error is logged, with the number of
  /// such places and the offset of the first. When memory is exhausted that is logged, nothing has
  /// changed, and the result is false. The content is touched only when a word was decoded. Linear.
  ///
  /// What is decoded may hold anything, line ends and NULs too: check it before it goes into
  /// another header.
  bool QB_DecodeToUtf8(StringBuffer& text, LogBase& log);
};

#endif
