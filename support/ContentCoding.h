#ifndef DORVANE_SUPPORT_CONTENTCODING_H
#define DORVANE_SUPPORT_CONTENTCODING_H

class DataBuffer;
class StringBuffer;

/// The base64 content coding of mail (RFC 2045, section 6.8; RFC 4648, section 4).
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
};

#endif
