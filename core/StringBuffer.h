#ifndef DORVANE_CORE_STRINGBUFFER_H
#define DORVANE_CORE_STRINGBUFFER_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string_view>
#include <type_traits>

#include "support/NonRefCountedObj.h"
#include "support/dvMemory.h"

class DataBuffer;
class DorvaneHandle;
class ExtPtrArray;
class ExtPtrArraySb;
class LogBase;
class XString;
class _dvHashMap;

namespace dorvane::internal {
template <class Buffer>
class BufferAccess;
class ByteSet;
class Piece;
class SanityCheck;
}  // namespace dorvane::internal

/// A byte string with an explicit 32-bit length and a terminating NUL: the text buffer of the
/// library. It holds up to 81 bytes inside the object; longer content lives in one heap block that
/// grows by a self-adjusting slack.
///
/// What holds for every member, unless its own comment says otherwise:
///
/// - **Bytes.** Lengths, positions and counts are in bytes. The content is 8-bit text in any
///   encoding; only members that name an encoding interpret it.
/// - **Texts.** A `const char*` argument is a NUL-terminated text; null means the empty text.
///   Any argument may point into this very buffer: the result is as if it had been copied
///   before anything changed.
/// - **Embedded NULs.** "The text" of a buffer is its content up to its first NUL; "the
///   content" is all getSize() bytes. Searches look at the text, byte operations at the
///   content.
/// - **Results.** `true` also means that there was nothing to do. A failure is an allocation
///   that failed or a content that would exceed 4294967294 bytes; nothing throws, and what had
///   been appended completely before the failure stays. Where a result says something else (that a
///   field exists, how many there were), a piece for which there is no memory is left out.
/// - **Output parameters** of type StringBuffer& are appended to; those that are emptied first
///   say so.
/// - **Ownership.** Arrays handed out are the caller's, released with `delete[]`; buffers made
///   by createNewSB() are released with deleteSb() or by the array that owns them.
/// - **Secure buffers.** After setSecureBuf(true) the whole storage, heap block and inline
///   array, is overwritten with zeros whenever it is released, cleared or destroyed, and so are
///   the temporaries that the buffer's own members make. Deliberate: weakClear() and the first
///   move from the inline array to the heap wipe nothing; the inline bytes go at the next
///   release, clear or destruction.
/// - **Threads.** A buffer is used by one thread at a time; nothing in it locks.
///
/// "Deliberate:" marks behaviour that looks odd and is relied upon. docs/surprises.md shows what
/// surprises most, with the safe way.
class StringBuffer : public NonRefCountedObj {
 public:
  /// @name Storage (core/Storage.cpp)
  /// @{

  /// The content, NUL-terminated; never null. Valid until the buffer is next changed.
  const char* getString() const noexcept { return m_data; }

  /// Length of the content in bytes, the terminating NUL not counted.
  unsigned int getSize() const noexcept { return m_length; }

  /// Address of the byte at `index`; the position of the terminating NUL counts. Null when `index`
  /// lies beyond it.
  char* pCharAt(unsigned int index) const noexcept;

  /// True from construction to destruction, unless the object's memory was overwritten.
  bool isValidObject() const noexcept { return m_magic == kMagic; }

  /// Does nothing; kept for callers that still call it.
  void checkValidity() const noexcept {}

  /// Marks the buffer as secure or not; wipes nothing at this moment.
  void setSecureBuf(bool secure) noexcept { m_secure = secure; }

  /// The slack, in bytes, that the next heap allocation adds to what is needed: 202 at first and
  /// after every clear, then half the capacity after each heap-to-heap growth, at most 500000.
  /// Deliberate: the first move to the heap leaves it as it is.
  unsigned int getExtendSize() const noexcept { return m_extendSize; }

  /// Sets the slack, without a bound; 0 makes the next allocation exact. A slack that does not fit
  /// beside the content is left out of the allocation.
  void setExtendSize(unsigned int extendSize) noexcept { m_extendSize = extendSize; }

  /// True when the byte after the content is not NUL, because a caller wrote there.
  bool isNonTerminated() const noexcept;

  /// Makes room for `n` more bytes and the NUL. False, with nothing changed, when the block cannot
  /// be had or the object is no longer valid.
  bool expectNumBytes(unsigned int n);

  /// Appends `n` raw bytes, NULs included; null or 0 bytes do nothing. Deliberate: afterwards all
  /// NULs at the end of the content, earlier ones too, are dropped from the length, so that binary
  /// data and UTF-16 come out shorter.
  bool appendN(const char* bytes, unsigned int n);

  /// Appends a text.
  bool append(const char* text);

  /// Appends the content of `other` as appendN() does. Deliberate: false, with nothing changed,
  /// when `other` is this buffer or no longer alive.
  bool append(const StringBuffer& other);

  /// Replaces the content by a text, keeping the heap block for reuse. When the buffer cannot grow
  /// it is left empty, with false.
  bool setString(const char* text);

  /// Replaces the content by that of `other` as appendN() appends it, keeping the heap block. True,
  /// with nothing changed, when `other` is this buffer.
  bool setString(const StringBuffer& other);

  /// Empties the buffer, releases the heap block and resets the extend size to 202.
  void clear();

  /// Same as clear().
  void strongClear();

  /// As clear(), but wipes the storage whether or not the buffer is secure.
  void secureClear();

  /// Empties the buffer and resets the extend size to 202, but keeps the heap block for reuse.
  /// Deliberate: wipes nothing, even when the buffer is secure.
  void weakClear() noexcept;

  /// Allocates a block of `size` bytes as the buffer itself does; null when memory is exhausted.
  /// Released with `delete[]`, also one of 0 bytes, which is not null.
  static unsigned char* allocBuffer(unsigned int size);

  /// Low-level: releases the heap block (wiped when secure) and returns to the inline array.
  /// Deliberate: getSize() keeps its value and the inline bytes keep theirs (unless wiped); the
  /// caller empties the buffer next. Until then the other members see at most the 81 bytes of the
  /// inline array.
  void releaseBuffer();

  /// Removes up to `n` bytes from the end, overwriting each with NUL.
  void shorten(unsigned int n) noexcept;

  /// Cuts the content at `index`; nothing happens when `index` is not inside it. The bytes after
  /// the new end stay in the storage.
  void chopAt(unsigned int index) noexcept;

  /// Cuts the content back to `newLength` bytes, overwriting the removed ones with NUL; returns the
  /// resulting length. Content that is no longer than that stays as it is.
  unsigned int rollback(unsigned int newLength) noexcept;

  /// Removes `count` bytes at `start` and closes the gap; returns the resulting length. Nothing
  /// changes when the range does not lie inside the content. Deliberate: a NUL after the range
  /// ends the content there.
  unsigned int removeChunk(unsigned int start, unsigned int count) noexcept;

  /// @}
  /// @name Lifecycle, copies and transfers (core/Lifecycle.cpp)
  /// @{

  /// An empty buffer.
  StringBuffer() noexcept;

  /// A buffer that holds a text; empty when memory is exhausted. Implicit on purpose, so that a
  /// text can stand where a buffer is expected.
  StringBuffer(const char* text);  // NOLINT(google-explicit-constructor)

  /// A copy of the content and of the secure flag; empty when `other` is no longer alive or memory
  /// is exhausted.
  StringBuffer(const StringBuffer& other);

  /// Takes content, heap block, extend size and secure flag of `source` over and leaves `source`
  /// empty, with its flag; nothing of a secret stays in it. Empty if `source` is no longer alive.
  /// An addition for containers, which move their elements; there is no move assignment, so that
  /// assigning a temporary does what assigning does.
  StringBuffer(StringBuffer&& source) noexcept;

  /// Deliberate: appends the text, as append() does, instead of replacing the content, so that
  /// `= {}`, `= nullptr` and `= 0` change nothing.
  StringBuffer& operator=(const char* text);

  /// Clears this buffer as clear() does and appends the content of `other`. The secure flag is not
  /// copied. Deliberate: assigning a buffer to itself empties it, and so does a buffer that is no
  /// longer alive.
  StringBuffer& operator=(const StringBuffer& other);

  /// Releases the storage (wiped when secure) and marks the object as dead.
  ~StringBuffer() override;

  /// A new empty buffer, or null when memory is exhausted (as with all four factories).
  static StringBuffer* createNewSB();

  /// A new buffer that holds a text.
  static StringBuffer* createNewSB(const char* text);

  /// A new copy of the content of `other`; a heap block is exactly getSize() + 1 bytes large. The
  /// secure flag is not copied.
  static StringBuffer* createNewSB(const StringBuffer& other);

  /// A new empty buffer with the given extend size.
  static StringBuffer* createNewSB(unsigned int extendSize);

  /// Destroys and frees a buffer made by createNewSB(); null does nothing.
  static void deleteSb(StringBuffer* buffer);

  /// A new array with the getSize() bytes of the content and a NUL; null when memory is exhausted.
  char* createCopy() const;

  /// A new array of getSize() + 1 bytes with the text; the bytes after the text are 0. Null when
  /// memory is exhausted. The length of the content is stored in `*outLength`, also on failure;
  /// `outLength` may be null.
  char* copyString(unsigned int* outLength) const;

  /// Copies the text, cut to `size` - 1 bytes, and a NUL after it. Returns the smaller of
  /// getSize() and `size` - 1, where a NUL stands too; bytes between the text's own NUL and there
  /// keep their values. With a null destination or a size of 0 nothing is written and 0 returned.
  unsigned int copyToBuffer(char* destination, unsigned int size) const;

  /// Hands the storage to the caller and empties the buffer: the heap block itself, or a new copy
  /// of the inline content. The length is stored in `*outLength`, which may be null. When the copy
  /// cannot be allocated the result is null and the buffer unchanged. Deliberate: nothing is wiped,
  /// even when the buffer is secure.
  unsigned char* extractString(unsigned int* outLength);

  /// As extractString(); also stores the size of the block. Deliberate: nothing is wiped here
  /// either; on failure `length` has been stored and `size` has not.
  unsigned char* extractString2(unsigned int& length, unsigned int& size);

  /// Clears this buffer as clear() does, then moves the content, the heap block and the extend size
  /// of `source` here and leaves `source` empty. Both secure flags stay. Deliberate: taking from
  /// itself leaves the buffer empty.
  void takeSb(StringBuffer& source);

  /// Clears this buffer as clear() does, then adopts the block of `source` as the content, leaving
  /// `source` empty. A final 0 byte of the source is the terminator and not content; without one a
  /// NUL is added. A source without a byte, or with a single NUL, is left alone, with true and this
  /// buffer empty. False when the NUL cannot be added to the source; this buffer is empty then.
  bool takeFromDb(DataBuffer& source);

  /// Appends the bytes of a data buffer as appendN() does.
  bool append(const DataBuffer& data);

  /// Gives unused heap storage back: content of up to 81 bytes moves inline, longer content into a
  /// block of exact size when more than 256 bytes are saved. The extend size stays. When the
  /// smaller block cannot be allocated nothing changes.
  void minimizeMemoryUsage();

  /// Size of the object plus the capacity of the heap block.
  unsigned int memoryUsage() const noexcept;

  /// Capacity of the heap block; 0 while the content is inline.
  unsigned int heapUsage() override;

  /// Records the context "sbMemUsage" with the values "bufSize" (capacity), "dataSize" (length) and
  /// "str" (the text). The text of a secure buffer is shown like any other; a LogBase wipes its
  /// copy when it forgets it.
  void logSbMemUsage(LogBase& log) const;

  /// @}
  /// @name Appending and formatting (text/Append.cpp)
  /// @{

  /// Appends the decimal form of `value`. Deliberate: a `char` and a `bool` convert to int, so that
  /// append('c') appends "99"; use appendChar().
  bool append(int value);

  /// Appends the decimal form of `value`.
  bool append(unsigned int value);

  /// Appends the decimal form of `value`.
  bool appendInt64(long long value);

  /// Appends the hexadecimal form of `value`. Widths 2, 4 and 8 print exactly that many digits, of
  /// the low bits, with leading zeros; any other width prints the digits the value needs.
  bool appendHex(unsigned int value, bool lowercase, unsigned int width);

  /// Appends one byte. A NUL is counted in the length, unlike with appendN().
  bool appendChar(char c);

  /// Appends one byte, a NUL included.
  bool appendUChar(unsigned char c);

  /// Appends two bytes, NULs included.
  bool appendChar2(char c1, char c2);

  /// Appends three bytes, NULs included.
  bool appendChar3(char c1, char c2, char c3);

  /// Appends `count` copies of a byte, NULs included. Deliberate: a count above 12582912 appends
  /// nothing, with true.
  bool appendCharN(char c, unsigned int count);

  /// Appends one line feed.
  bool appendLineEnding();

  /// Appends two texts in order. On failure the ones before stay appended.
  bool append2(const char* first, const char* second);

  /// Appends three texts in order. On failure the ones before stay appended.
  bool append3(const char* first, const char* second, const char* third);

  /// Appends a text; a needed allocation is exact. The extend size keeps its value.
  bool appendMinSize(const char* text);

  /// Appends the content of `other` as appendN() does; a needed allocation is exact, and the extend
  /// size keeps its value. False when `other` is no longer alive. A buffer appended to itself is
  /// doubled.
  bool appendMinSize(const StringBuffer& other);

  /// Appends `format` with its first "%s" replaced by `value`. Deliberate:
  /// - A null value leaves the "%s", an empty one removes it.
  /// - Only these two bytes count: "%5s" and "%%" are ordinary text, so that a value is lost.
  bool append_s(const char* format, const char* value);

  /// Appends `format` with its first "%d" replaced by the decimal form of `value`. Deliberate: only
  /// these two bytes count, so that "%5d" stays as it is and the value is lost.
  bool append_d(const char* format, int value);

  /// Appends `name="value"`, with a backslash before each double quote of the value. Nothing else
  /// is escaped.
  bool appendNameValue(const char* name, const char* value);

  /// Appends `name=value`, the value in decimal.
  bool appendNameIntValue(const char* name, int value);

  /// Appends the UTF-8 form of a UTF-16 text in little-endian byte order that ends with a 0 unit.
  /// The units may stand at an odd address. Ill-formed units become U+FFFD.
  bool appendNullTerminatedUnicodeAsUtf8(const unsigned short* units);

  /// Puts a text before the content. Linear in the content.
  bool prepend(const char* text);

  /// Inserts the content of `other` at `position`: at 0 its text (up to a NUL), at or after the
  /// end as append() does. Deliberate: when this buffer, or one that is no longer alive, is
  /// inserted inside the content, the content is cut at `position` and the result is false. Also
  /// deliberate: of the content after `position` only the text, up to its first NUL, is kept.
  bool insertAt(const StringBuffer& other, unsigned int position);

  /// @}
  /// @name Hexadecimal and base64 data (text/HexData.cpp)
  ///
  /// Digits are written in upper case, high nibble first. Null data or a count of 0 appends
  /// nothing, with true.
  /// @{

  /// Appends a dump: 16 bytes a line as eight groups of four digits, a space between the groups and
  /// a line feed after each full line. An unfinished line ends with a space after an even number
  /// of bytes and with bare digits after an odd one. On failure the digits that fitted stay, in
  /// blocks of at most 128 characters.
  bool appendHexData(const unsigned char* data, unsigned int count);

  /// Appends two digits per byte, each pair preceded by a space when `spaced`. On failure the
  /// digits that fitted stay, in blocks of at most 255 characters.
  bool appendHexDataNoWS(const unsigned char* data, unsigned int count, bool spaced);

  /// Appends two digits and a space per byte. Deliberate: there is no result; a block of at most
  /// 255 characters for which memory is exhausted is left out.
  void appendSmallDataAsSpacedHexString(const unsigned char* data, unsigned int count);

  /// Appends the base64 form (RFC 4648, section 4) without line breaks. On failure nothing is
  /// appended.
  bool appendBase64(const unsigned char* data, unsigned int count);

  /// Appends the bytes that `count` hexadecimal characters spell to `out`; an odd count gives the
  /// first character a byte of its own. False when `out` cannot grow. Deliberate:
  /// - Characters are not validated: one that is no digit yields some byte.
  /// - A count of 1, an odd count whose second character is NUL and a text that begins with NUL
  ///   append nothing, with true; NULs elsewhere are decoded like any character.
  static bool hexStringToBinary2(const char* hex, unsigned int count, DataBuffer& out);

  /// As hexStringToBinary2() of the content.
  bool hexStringToBinary(DataBuffer& out) const;

  /// Puts a "0" before content of odd length, so that it spells whole bytes.
  void canonicalizeHexString();

  /// Decodes the content by a named binary encoding ("base64", "hex", "quoted-printable", ..., see
  /// _clsEncode) and appends the bytes to `out`. An unknown name logs the error "Unrecognized
  /// binary encoding" and the value "binaryEncodingName". Deliberate: the bytes may be any, so that
  /// `%0D%0A` in a URL gives a line end and `%00` a NUL.
  bool decode(const char* encodingName, DataBuffer& out, LogBase& log) const;

  /// @}
  /// @name Comparison and search (text/Compare.cpp)
  ///
  /// None changes the buffer. They look at the text unless they say "content". "Ignoring case"
  /// folds ASCII letters only. Bytes compare as unsigned values.
  /// @{

  /// True when the text equals `text`; null equals only empty content.
  bool equals(const char* text) const noexcept;

  /// True when the lengths are equal and the texts, each up to its first NUL, are too.
  bool equals(const StringBuffer& other) const noexcept;

  /// As equals(text), ignoring case.
  bool equalsIgnoreCase(const char* text) const noexcept;

  /// As equals(other), ignoring case.
  bool equalsIgnoreCase(const StringBuffer& other) const noexcept;

  /// True when the length is `n` and the text equals `text` ignoring case. Deliberate: false for an
  /// `n` of 0 with a text that is not null. At most n + 1 bytes of `text` are read.
  bool equalsIgnoreCase2(const char* text, unsigned int n) const noexcept;

  /// Three-way comparison: negative, 0 or positive. Null is the empty text.
  int compare(const char* text) const noexcept;

  /// As compare(), ignoring case.
  int compareNoCase(const char* text) const noexcept;

  /// True when the text begins with `text`; false for null, true for an empty text.
  bool beginsWith(const char* text) const noexcept;

  /// True when the first `n` bytes agree, up to a NUL that both have; false for a null text, true
  /// for an `n` of 0.
  bool beginsWithN(const char* text, unsigned int n) const noexcept;

  /// As beginsWith(), ignoring case.
  bool beginsWithIgnoreCase(const char* text) const noexcept;

  /// As beginsWithN(), ignoring case.
  bool beginsWithIgnoreCaseN(const char* text, unsigned int n) const noexcept;

  /// True when the content ends with `text`; false for null, true for an empty text.
  bool endsWith(const char* text) const noexcept;

  /// As endsWith(), ignoring case.
  bool endsWithIgnoreCase(const char* text) const noexcept;

  /// True when `needle` occurs; false for null, true for an empty one. Linear.
  bool containsSubstring(const char* needle) const noexcept;

  /// As containsSubstring(), ignoring case.
  bool containsSubstringNoCase(const char* needle) const noexcept;

  /// Offset of the first occurrence of `needle`; -1 when it does not occur, is null, or lies beyond
  /// 2^31 - 1. An empty one occurs at 0, in an empty buffer too. Linear.
  int indexOf(const char* needle) const noexcept;

  /// As indexOf(), ignoring case.
  int indexOfNoCase(const char* needle) const noexcept;

  /// Address of the first occurrence of `needle` inside the buffer; null when it does not occur or
  /// is null. An empty one occurs at the start. Linear.
  char* findSubstr(const char* needle) const noexcept;

  /// True when the text contains `c`; false for NUL.
  bool containsChar(char c) const noexcept;

  /// Address of the last byte of the content that equals `c`, or null.
  char* findLastChar(char c) const noexcept;

  /// The byte at `index`; 0 beyond the content.
  char charAt(unsigned int index) const noexcept;

  /// The last byte of the content; 0 when it is empty.
  char lastChar() const noexcept;

  /// True when the whole text matches a pattern in which "*" stands for any run of bytes and "?"
  /// for one byte; false for a null pattern. Linear, but for a part between two stars that has a
  /// "?": one of less than 512 bytes costs at most its size for each byte of the text, a longer one
  /// some hundred steps, once for every 256 KiB of it. Such a long one may take up to 12 MiB for
  /// the search; when they cannot be had, each byte of the text costs up to its size.
  bool matches(const char* pattern, bool caseSensitive) const noexcept;

  /// Number of bytes of the content that equal `ch`. Deliberate: 0 for a byte of 0x80 and above.
  unsigned int countCharOccurances(char ch) const noexcept;

  /// True when none of the first `limit` bytes of the content (0 or too many: all) is 0x80 or
  /// above.
  bool is7bit(unsigned int limit) const noexcept;

  /// True when each of the first `limit` bytes of the content (0 or too many: all) is an ASCII
  /// letter.
  bool is7bitAlpha(unsigned int limit) const noexcept;

  /// True when each byte of the content is a space, TAB, LF or CR.
  bool allWhitespace() const noexcept;

  /// True when a byte of the content occurs in the text `set`.
  bool containsAnyOf(const char* set) const noexcept;

  /// True when a byte b of the content has low <= b <= high, as unsigned values.
  bool containsCharInRange(char low, char high) const noexcept;

  /// True when each byte of the content is a digit; true when it is empty.
  bool isDecimalNumber() const noexcept;

  /// True when no byte of the content is a lower-case ASCII letter.
  bool isAllCaps() const noexcept;

  /// Stores the number of content bytes of 0x80 and above in `high`, and how many of these are rare
  /// in Western text of Windows-1252 or Latin-1 in `improbable`.
  void countImprobableAnsiChars(unsigned int& high, unsigned int& improbable) const noexcept;

  /// True for an ASCII letter, a digit, "_" and the Latin-1 letters 0xC0 to 0xFF (not 0xD7 and
  /// 0xF7, the multiplication and division signs). The number has no effect.
  static bool isAlphaNumeric(int ignored, char c) noexcept;

  /// True for the bytes of a content identifier or an address: ASCII letters, digits, the
  /// punctuation "!", "%", "&", "-", ".", "/", ":", ";", "?", "@" and "_", and the Latin-1 letters
  /// as in isAlphaNumeric().
  static bool isCidChar(char c) noexcept;

  /// @}
  /// @name Numbers read from the text (text/Numbers.cpp)
  ///
  /// The decimal readers skip leading blanks (space, TAB, CR, LF), take one optional sign and the
  /// digits, and ignore what follows; a number out of range saturates. Without a number, 0.
  /// @{

  /// The number at the start of the text, as dvIntValue() reads it.
  int intValue() const noexcept;

  /// The number at the start of the text, as dvUIntValue() reads it; a negative one gives 0.
  unsigned int uintValue() const noexcept;

  /// The number at the start of the content, as dvParseDecimalInt64() reads it.
  long long int64Value() const noexcept;

  /// Same as int64Value().
  long long toInt64() const noexcept;

  /// The floating-point number at the start of the text, as dv_atof() reads it, whatever the
  /// locale.
  double doubleValue() const noexcept;

  /// Value of the hexadecimal digits at the start of a text, modulo 2^32. Deliberate: the first
  /// byte that is no digit still multiplies the value by 16 ("1G" gives 16).
  static unsigned int hexValueUint32(const char* text) noexcept;

  /// True when each byte of the content is a hexadecimal digit; true when it is empty.
  bool isHexidecimal() const noexcept;

  /// @}
  /// @name Trimming and chopping (text/Trim.cpp)
  ///
  /// All work in place and never allocate, except stripDirectory(). Each removes the bytes of its
  /// own set; the counts are the bytes by which the content became shorter.
  /// @{

  /// Removes spaces and TABs from both ends.
  unsigned int trim() noexcept;

  /// Removes spaces, TABs, LFs and CRs from both ends.
  unsigned int trim2() noexcept;

  /// Removes the bytes `"` ``'`` `*` `-` `/` `@` from both ends. Deliberate: no white space.
  unsigned int trim3() noexcept;

  /// Removes spaces, TABs, LFs and CRs from the end.
  unsigned int trimRight2() noexcept;

  /// Removes CRs and LFs from the end.
  unsigned int trimTrailingCRLFs() noexcept;

  /// Makes every run of spaces, TABs, LFs and CRs one space; the ends keep theirs.
  unsigned int trimInsideSpaces() noexcept;

  /// Removes the text before the first `ch`, and `ch` itself if `alsoRemoveChar` is set; what is
  /// kept ends at the first NUL. Nothing happens when the text does not contain `ch`, or when it is
  /// NUL.
  void trimBefore(char ch, bool alsoRemoveChar) noexcept;

  /// Removes the content after the last `ch`, and `ch` itself if `alsoRemoveChar` is set. Nothing
  /// happens when the content does not contain `ch`.
  void trimAfter(char ch, bool alsoRemoveChar) noexcept;

  /// Cuts the content at the first `ch`, which goes too; false when there is none.
  bool chopAtFirstChar(char ch) noexcept;

  /// Cuts the content at the last `ch`, which goes too; false when there is none.
  bool chopAtLastChar(char ch) noexcept;

  /// Keeps what follows the last "/" or backslash of the text; a text without one stays as it is.
  /// Deliberate: only the first 2048 bytes are looked at and kept; ".." is kept too, so that the
  /// result alone is no safe file name.
  void stripDirectory();

  /// @}
  /// @name Character filters, case and line endings (text/Filters.cpp)
  ///
  /// All but toCRLF(), toLF() and indent() work in place, on the content byte by byte, and never
  /// allocate. Letters of 0x80 and above are those of Latin-1: upper case 0xC0 to 0xDF, lower case
  /// 0xE0 to 0xFF. Deliberate: case goes by the whole ranges, so that 0xD7 and 0xF7, and 0xDF and
  /// 0xFF, count as pairs.
  /// @{

  /// Removes every `ch` at or after `startIndex`.
  void eliminateChar(char ch, unsigned int startIndex) noexcept;

  /// Removes every `ch`; returns how many.
  unsigned int removeCharOccurances(char ch) noexcept;

  /// Removes every byte of 0x80 and above; returns the new length.
  unsigned int drop8bitChars() noexcept;

  /// Removes everything but digits and spaces; returns the new length. Deliberate: spaces stay.
  unsigned int dropNonNumeric() noexcept;

  /// Removes every space, TAB, LF and CR; returns the new length.
  unsigned int removeFws() noexcept;

  /// Removes every ASCII byte that is not a letter, a digit or one of "!", "-", ".", ":" and "_";
  /// returns the new length. Bytes of 0x80 and above stay.
  unsigned int removeInvalidXmlTagChars() noexcept;

  /// Removes `* < > ? |` and turns backslashes into "/"; returns the new length. Deliberate: a
  /// colon, a double quote and "/" stay, and dots may come together, so that `..\x` and `.?./x`
  /// become "../x".
  unsigned int removeInvalidFilenameChars() noexcept;

  /// Removes each backslash and keeps the byte after it; returns the new length.
  unsigned int unescape() noexcept;

  /// Replaces every byte `from` by `to`; returns how many.
  unsigned int replaceCharAnsi(char from, char to) noexcept;

  /// Replaces every NUL inside the content by a space; returns the length.
  unsigned int replaceNullsWithSpaces() noexcept;

  /// Replaces "_" by "/" and "-" by "+": base64url (RFC 4648, section 5) to base64.
  void replaceModBase64Chars() noexcept;

  /// Replaces every byte that is one of set[0] to set[4] by `to`. Deliberate: exactly 5 bytes of
  /// the set are read, NULs included. An array or a literal that is too short does not compile.
  template <class Set>
  void replaceChar5(const Set& set, char to) noexcept {
    replaceSet<5>(set, to);
  }

  /// As replaceChar5(), with set[0] to set[9]. Deliberate: exactly 10 bytes are read.
  template <class Set>
  void replaceChar10(const Set& set, char to) noexcept {
    replaceSet<10>(set, to);
  }

  /// As replaceChar5(), with set[0] to set[19]. Deliberate: exactly 20 bytes are read.
  template <class Set>
  void replaceChar20(const Set& set, char to) noexcept {
    replaceSet<20>(set, to);
  }

  /// Makes every byte an ASCII digit or letter: 0xB0-0xB9, 0xC1-0xDA and 0xE1-0xFA lose their top
  /// bit, any other byte that is neither becomes "0".
  void toAlphaNumUsAscii() noexcept;

  /// Lower-cases the text, Latin-1 letters included: not for UTF-8 that is not ASCII. Deliberate:
  /// stops at the first NUL.
  void toLowerCase() noexcept;

  /// Upper-cases the text, as toLowerCase() lower-cases it. Deliberate: stops at the first NUL.
  void toUpperCase() noexcept;

  /// Lower-cases the first byte.
  void toLowerFirstChar() noexcept;

  /// Upper-cases the first byte of the text and each byte that follows a TAB, an LF, a space or a
  /// "-"; nothing is lowered. Returns whether the next byte would still have been raised: true only
  /// when the text is empty.
  bool toProperCase() noexcept;

  /// Makes every lone LF and every lone CR a CR LF; returns how many. When memory is exhausted
  /// nothing changes, with 0.
  unsigned int toCRLF();

  /// Makes every CR LF an LF, as replaceAllWithUchar() does; returns how many. Deliberate: cuts the
  /// content at its first NUL, even when there is no CR LF.
  unsigned int toLF();

  /// Puts `count` copies of `ch` at the start and after every LF. Deliberate: a count above
  /// 12582912 puts nothing there. When memory is exhausted the content stays as it is.
  void indent(char ch, unsigned int count);

  /// @}
  /// @name Substring replacement (text/Replace.cpp)
  ///
  /// Matching is byte by byte on the text. Matches do not overlap, and replaced text is not
  /// searched again. A null or empty `find` does nothing: false or 0. Linear in the text and the
  /// result.
  /// @{

  /// Replaces the first match; true when there was one. Deliberate: a null replacement leaves the
  /// text as it is (still true), an empty one deletes the match. False also when memory is
  /// exhausted before anything has changed; when it is exhausted later, the replacement or the text
  /// after the match is missing, with true.
  bool replaceFirstOccurance(const char* find, const char* replacement);

  /// As replaceFirstOccurance(), for the last match of a scan from the start. Deliberate: as
  /// matches do not overlap, in "aaa" the last "aa" is the one at 0.
  bool replaceLastOccurance(const char* find, const char* replacement);

  /// Replaces all matches and returns their number. A null or empty replacement deletes them.
  /// Content after an embedded NUL is dropped when there is a match. A piece for which memory is
  /// exhausted is left out.
  unsigned int replaceAllOccurances(const char* find, const char* replacement);

  /// As replaceAllOccurances(), ASCII letters matched without regard to case.
  unsigned int replaceAllOccurancesNoCase(const char* find, const char* replacement);

  /// Replaces each byte `from` by `to` inside the matches only, in place; returns the number of
  /// matches.
  unsigned int replaceCharInOccurances(const char* find, char from, char to);

  /// Replaces all matches by the one byte `value` (its low 8 bits), in place, and returns their
  /// number. A `find` of one byte is replaced in the whole content. Deliberate: a longer `find`
  /// cuts the content at its first NUL, even when there is no match.
  unsigned int replaceAllWithUchar(const char* find, unsigned int value);

  /// As replaceAllWithUchar() for a code below 128; a code up to 255 is a Windows-1252 character
  /// and replaces the matches by its UTF-8 form, as replaceAllOccurances() does; a greater one does
  /// nothing.
  unsigned int replaceAllWithUcharUtf8(const char* find, unsigned int code);

  /// @}
  /// @name Whole words (text/WordReplace.cpp)
  ///
  /// A match counts when no word byte stands beside it. Word bytes are ASCII letters, digits, "_"
  /// and the Latin-1 letters 0xC0 to 0xFF (not 0xD7 and 0xF7); the extended set, for words inside
  /// addresses and paths, has also `! % & - . / : ; ? @`. The numbers have no effect. All are
  /// linear in the text.
  /// @{

  /// The first whole-word match in a text, or null; null also for an empty word. Deliberate: a
  /// match where a search starts is not tested on its left side, and the search starts again one
  /// byte after the start of each rejected match.
  static const char* findWordOnly(const char* text, const char* word, int ignored,
                                  bool caseSensitive, bool extendedWordChars) noexcept;

  /// As replaceFirstOccurance() for whole words. Deliberate: what stands after an embedded NUL is
  /// dropped.
  bool replaceFirstWordOccurance(const char* find, const char* replacement, int ignored,
                                 bool extendedWordChars);

  /// As replaceAllOccurances() for whole words. Deliberate: a match that begins where the one
  /// before ends is not tested on its left side.
  unsigned int replaceAllWordOccurances(const char* find, const char* replacement, int ignored,
                                        bool extendedWordChars);

  /// As replaceAllWordOccurances() with the plain set, ASCII letters matched without regard to
  /// case.
  unsigned int replaceAllWordOccurancesNoCase(const char* find, const char* replacement,
                                              int ignored);

  /// @}
  /// @name Delimited regions (text/Regions.cpp)
  ///
  /// A region is what stands between a begin and an end marker of the text. Output buffers may be
  /// this very buffer. All are linear in the text.
  /// @{

  /// Appends what stands between the first begin marker and the next end marker to `out`; true when
  /// both were found, also when `out` cannot grow; false also for a null or empty marker.
  bool getBetween(const char* begin, const char* end, StringBuffer& out) const;

  /// As getBetween(), the markers included if the flag is set. Deliberate: with the markers, the
  /// end marker may overlap the begin marker in all but its first byte.
  void getDelimited(const char* begin, const char* end, bool includeMarkers,
                    StringBuffer& out) const;

  /// Appends the text from `start` up to the next marker to `out` and stores its size in `count`;
  /// false, with a count of 0, when there is none, the marker is null or `start` does not lie
  /// inside the content. An empty marker is found at `start`. Result and count are the same when
  /// `out` cannot grow.
  bool copyUntil(const char* marker, unsigned int start, unsigned int& count,
                 StringBuffer& out) const;

  /// Cuts the text at the first marker, or after it; false when there is none or it is empty.
  bool chopAtSubstr(const char* marker, bool keepMarker) noexcept;

  /// Replaces what stands between the markers of the first region, and the markers if the flag is
  /// set. False, with nothing changed, when there is no region, an argument is null or memory is
  /// exhausted. Deliberate: the other regions stay, whatever the name says.
  bool replaceAllBetween(const char* begin, const char* end, const char* replacement,
                         bool dropMarkers);

  /// Replaces the matches of `find` inside all regions, as replaceAllOccurances() does; returns the
  /// number of regions, also for an empty `find`, which replaces nothing. Nothing happens without a
  /// region, when an argument is null or when both markers are empty. A piece for which memory is
  /// exhausted is left out; when the result cannot be stored, nothing has changed and the number is
  /// the same.
  unsigned int replaceAllOccurancesBetween(const char* begin, const char* end, const char* find,
                                           const char* replacement);

  /// Removes all regions, markers included; always true. Nothing changes when a marker is null or
  /// empty. A piece for which memory is exhausted is left out. Deliberate:
  /// - An end marker inside the begin marker ends the region at once.
  /// - It is one pass, so that what is left may join to a new region.
  bool removeDelimited(const char* begin, const char* end, bool caseSensitive);

  /// @}
  /// @name Variables (text/Variables.cpp)
  ///
  /// Values are not searched again. Both are linear in the text, the result and their look-ups. A
  /// piece for which memory is exhausted is left out.
  /// @{

  /// Replaces each `{$name}` by the value of `name` in `variables`, percent-encoded in mode 4,
  /// JSON-escaped in mode 22, as it is in any other. A marker without a value is removed; one
  /// without "}" ends the replacement. In `{$x.name}`, a one-byte qualifier is skipped. Plain text
  /// grows in blocks of at most 252 bytes. Deliberate:
  /// - The byte after a "{" that begins no marker is copied unseen.
  /// - The content is rewritten, up to an embedded NUL, even without a marker.
  /// - The result is always false.
  bool variableSubstitute(_dvHashMap& variables, int valueEncoding);

  /// Replaces each name between two percent signs, and the signs, by the value of that environment
  /// variable; an unknown one is removed. A percent sign without a partner stays. Nothing changes
  /// without a pair, or when the result cannot be stored.
  void envReplace();
  /// @}
  /// @name Splitting into lists (text/Split.cpp)
  ///
  /// Each piece of the text is appended to `out` as a new buffer that the array owns; what the
  /// array already holds stays. All are linear in the text.
  /// - Quotes and backslashes are kept in the pieces.
  /// - `honourQuotes`: a delimiter between double quotes is ordinary text; an unterminated quote
  ///   runs to the end.
  /// - `honourEscapes`: the byte after a backslash is ordinary: delimiter, quote or backslash.
  /// - Empty content gives no piece; content that begins with a NUL gives one empty piece.
  /// - False when memory is exhausted; the pieces before stay in the array. Bytes for which a piece
  ///   cannot grow are left out of it.
  /// - The pieces of a secure buffer are not secure, but what they outgrow while they are made is
  ///   wiped.
  /// - Deliberate: each piece is a buffer of its own with its inline array, so that a text of
  ///   delimiters takes about 144 bytes for each. A piece that outlives its list holds the memory
  ///   of the pieces that were made with it.
  /// @{

  /// Cuts at each `delimiter`: n delimiters give n + 1 pieces. The pieces are minimised.
  bool split(ExtPtrArraySb& out, char delimiter, bool honourQuotes, bool honourEscapes) const;

  /// Cuts at each byte that occurs in `delimiters` (null is the empty set). The pieces are not
  /// minimised.
  bool split2(ExtPtrArraySb& out, const char* delimiters, bool honourQuotes,
              bool honourEscapes) const;

  /// As split(); then removes space, TAB, LF and CR from both ends of every buffer in the array.
  /// Deliberate: the buffers that the array held before are trimmed too.
  bool splitAndTrim(ExtPtrArraySb& out, char delimiter, bool honourQuotes,
                    bool honourEscapes) const;

  /// Cuts at each CR LF, CR or LF. The pieces are minimised.
  bool splitByLineEndings(ExtPtrArraySb& out, bool honourQuotes, bool honourEscapes) const;

  /// Cuts at each CR LF, CR or LF, without quotes and escapes; the pieces are not minimised.
  /// Content that begins with a NUL gives no piece. Deliberate: the number has no effect.
  bool splitIntoLines(ExtPtrArraySb& out, unsigned int ignored) const;

  /// Cuts at each occurrence of a boundary text. A leading boundary and adjacent ones give no empty
  /// pieces; an empty boundary makes the whole text one piece. Deliberate: after `maxPieces` pieces
  /// (0 or less: no limit) the rest of the text is dropped.
  bool splitUsingBoundary(StringBuffer& boundary, ExtPtrArraySb& out, int maxPieces) const;

  /// @}
  /// @name Tokenizing (text/Tokenize.cpp)
  ///
  /// Tokens are runs of bytes between white space (space, TAB, LF, CR). A double-quoted string and
  /// an escaped byte stay inside their token, quotes and backslashes included. Deliberate: a
  /// backslash inside quotes escapes nothing. The tokens of a secure buffer are as the pieces of a
  /// split. Deliberate: each token is a buffer of its own, so that it takes about 144 bytes.
  /// @{

  /// Appends the tokens to `out` as new, minimised buffers that the array owns; each byte of
  /// `punctuation` outside quotes is a token of its own. Deliberate: text that ends with white
  /// space or punctuation gives an empty last token; quotes and backslashes are never punctuation.
  /// Bytes for which a token cannot grow are left out of it; the tokens end where no new one can be
  /// had.
  void tokenize(ExtPtrArray& out, const char* punctuation) const;

  /// As tokenize() with the punctuation `! & ( ) * + , ; = [ ] { } ~`: most of that of C.
  void tokenizeCPP(ExtPtrArray& out) const;

  /// Number of tokens that are neither punctuation nor empty.
  unsigned int tokenCount(const char* punctuation) const noexcept;

  /// @}
  /// @name Delimited fields (text/Fields.cpp)
  ///
  /// The text is one record of fields, numbered from 0, between delimiter bytes. `honourQuotes`: a
  /// delimiter between double quotes is no separator. `honourEscapes`: the byte after a backslash
  /// is ordinary. All are linear in the record.
  /// @{

  /// Number of fields; 0 for empty content.
  unsigned int countColumns(char delimiter, bool honourQuotes, bool honourEscapes) const noexcept;

  /// Empties `out` and stores the field in it, without its quotes and escaping backslashes; a
  /// doubled quote inside quotes stands for one. True when the field exists. Deliberate:
  /// - True also when `out` cannot hold all of the field.
  /// - False for an index above 10000000.
  /// - With `out` being this buffer it is emptied, with false.
  bool getNthDelimited(unsigned int index, char delimiter, bool honourQuotes, bool honourEscapes,
                       StringBuffer& out) const;

  /// Replaces a field by the content of `value` as it stands, adding empty fields before it when
  /// the record is too short. False when memory is exhausted: a field that exists is unchanged
  /// then; for one that does not, delimiters may have been added. Deliberate:
  /// - False for an index above 1000000.
  /// - An empty value in an empty buffer leaves one delimiter.
  /// - This buffer or a dead one as the value inserts nothing.
  /// - What follows a NUL goes with the last field.
  bool setNthDelimited(unsigned int index, char delimiter, bool honourQuotes, bool honourEscapes,
                       const StringBuffer& value);

  /// Removes a field and one delimiter beside it. False when the field does not exist. Deliberate:
  /// false for an index above 10000000; what follows a NUL goes with the last field.
  bool removeNthDelimited(unsigned int index, char delimiter, bool honourQuotes,
                          bool honourEscapes);

  /// Cuts the content at its last delimiter and appends what stood after it to `out`; false when
  /// there is none. Deliberate: true, and the content cut, also when `out` cannot grow or is this
  /// buffer, so that the piece is lost.
  bool pop(char delimiter, StringBuffer& out);

  /// Appends the text before and after the first separator to two buffers; false, with both
  /// untouched, when there is none. Deliberate: true also when a buffer cannot hold all of it.
  bool separate(char separator, StringBuffer& before, StringBuffer& after) const;

  /// @}
  /// @name Capture scanners (text/Scanners.cpp)
  ///
  /// Each appends the longest run of its bytes at the start of a text and returns its length, by
  /// which the caller moves on; 0 for null. Deliberate: the length is returned even when the buffer
  /// cannot grow.
  /// @{

  /// Digits.
  unsigned int captureDecimal(const char* text);

  /// Hexadecimal digits of either case.
  unsigned int captureHex(const char* text);

  /// Spaces, TABs, LFs and CRs.
  unsigned int captureWS(const char* text);

  /// Everything but spaces, TABs, LFs and CRs.
  unsigned int captureNonWS(const char* text);

  /// ASCII letters, digits and "_". Deliberate: also with a digit in front.
  unsigned int captureIdentifier(const char* text);

  /// ASCII letters.
  unsigned int captureAlpha(const char* text);

  /// ASCII letters and digits.
  unsigned int captureAlphaNum(const char* text);

  /// Empties the buffer as clear() does and stores the bytes up to the first NUL, CR or LF in it,
  /// then trims it as trim2() and lower-cases it as toLowerCase() if asked for. Returns the number
  /// of bytes before trimming, or 0 when the buffer cannot grow; the start of the line that it
  /// could hold stays then. Null: 0, with the buffer empty.
  unsigned int captureLine(const char* text, bool trim, bool toLower);

  /// @}
  /// @name Named values (text/NamedValues.cpp)
  ///
  /// White space is space, TAB, LF and CR. Deliberate: the outputs are emptied first, so that an
  /// output that is this buffer leaves nothing to read.
  /// @{

  /// Splits `name = value` at the first "="; both are trimmed. With `stripQuotes`, one double quote
  /// goes at each end of the value. Text without an "=" is a name alone. Bytes for which an output
  /// cannot grow are left out. Deliberate: each of the two quotes goes on its own, whether or not
  /// the other is there.
  void splitAttrValue(StringBuffer& name, StringBuffer& value, bool stripQuotes) const;

  /// Stores the value of the first `name=` of the text, up to the next ";". White space around the
  /// name is ignored, case is not; a null or blank name finds the first "=". False, with `value`
  /// empty, when there is none, or no memory for the key of a long name. Deliberate: true also when
  /// `value` cannot hold all of it; `name=` is also found at the end of a longer name.
  bool getNamedValue(const char* name, StringBuffer& value) const;
  /// @}
  /// @name Entity encoding (text/EntityEncode.cpp)
  ///
  /// All four work on single bytes and know nothing of UTF-8.
  /// @{

  /// Escapes "<", ">" and every "&" that does not begin a character reference it knows; returns the
  /// number of bytes escaped. "&#" always counts as known. Deliberate: the list of known names is
  /// this member's own ("&brkbar;", "&hibar;" and "&diviee;" are on it, "&brvbar;", "&macr;" and
  /// "&divide;" are not), so that a text that it has escaped before is not escaped twice. A piece
  /// for which memory is exhausted is left out.
  unsigned int encodeXMLSpecial();

  /// Writes every markup byte (`"` `&` ``'`` `<` `>`) and every Windows-1252 byte above 0x7F that
  /// has a name as a named entity. Deliberate: existing references are escaped again, UTF-8 text
  /// gives one entity per byte, and 0xA0 stays as it is. A piece for which memory is exhausted is
  /// left out.
  void encodeAllXmlSpecial();

  /// Escapes "&", "<", ">" and the double quote, in this order; returns the number of double
  /// quotes. Deliberate: existing references are escaped again; single quotes stay, so that a text
  /// can end an attribute that they enclose.
  unsigned int replaceHTMLSpecial();

  /// Decodes "&amp;", "&apos;", "&gt;", "&lt;" and "&quot;" from byte `start` on, once each, in
  /// place, and returns their number. Nothing happens when `start` is beyond the content.
  unsigned int replacePreDefinedXmlEntities(unsigned int start);

  /// @}
  /// @name Entity decoding (text/EntityDecode.cpp)
  ///
  /// References are decoded only with their ";" and with the letter case of their names; unknown
  /// ones stay. Decoded text can be markup: escape it again before it goes into a page.
  /// @{

  /// Decodes "&lt;", "&gt;" and "&amp;", once each; returns how many. Text that holds an "&" is cut
  /// at its first NUL.
  unsigned int decodeXMLSpecial();

  /// Decodes to UTF-8: the five references of XML, "&nbsp;", the named references of HTML 4 whose
  /// characters Windows-1252 has, without "&fnof;", the decimal references of its punctuation from
  /// 0x80 to 0x9F, "&#x20AC;", and numeric references up to 255. Text that holds an "&" is cut at
  /// its first NUL; otherwise numeric references are decoded after NULs, too. Linear. When memory
  /// is exhausted, a piece of the pass over the names, plain text too, is left out; numeric
  /// references stay then. Deliberate:
  /// - "&amp;" is decoded first and once more in the end, so that "&amp;lt;" becomes "<", which can
  ///   be markup.
  /// - "&nbsp;" becomes a plain space.
  /// - The bullet is known as "&bull;" only, not as "&#8226;".
  /// - Of a numeric reference up to 255 (decimal: 254) at most two hexadecimal or three decimal
  ///   digits are taken, for a byte of Windows-1252, so that "&#0233;" gives the control byte 23,
  ///   and "&#255;" stays.
  /// - The byte after these digits is dropped, whatever it is.
  void decodeAllXmlSpecialUtf8();

  /// As decodeAllXmlSpecialUtf8(), to single Windows-1252 bytes; also decodes the references of the
  /// typographic spaces, joiners and marks ("&ensp;", "&zwj;", "&lrm;", ...), to a plain space.
  /// Deliberate: "&amp;" and numeric references come out as there, so that markup and control bytes
  /// can appear.
  void decodeAllXmlSpecialIso();

  /// @}
  /// @name XML emission (text/XmlEmit.cpp)
  ///
  /// All append. `"`, ``'``, `<`, `>` and `&` are escaped, existing references again; every other
  /// byte passes unchanged, also bytes that XML forbids. Texts and names may lie in this buffer. A
  /// piece for which the buffer cannot grow is left out. The status results are 1 when the last
  /// piece was appended, otherwise 0. XML 1.0: https://www.w3.org/TR/xml/
  /// @{

  /// Appends a text, escaped. Deliberate:
  /// - It goes character by character, where appendXmlNoCdata() appends pieces of up to 250 bytes;
  ///   heapUsage() shows it.
  /// - Text with an LF or a TAB goes unchanged into a CDATA section, where `]]>` is not looked for,
  ///   so that it can end the section early. Use appendXmlNoCdata() for text that is not trusted.
  void appendXml(const char* text);

  /// Appends a text, always escaped, in pieces of up to 250 bytes.
  void appendXmlNoCdata(const char* text);

  /// Appends `count` bytes, always escaped, NULs included. Null appends nothing.
  void appendXmlNoCdataN(const char* bytes, unsigned int count);

  /// Appends an opening tag; each pair of texts in `attributes` (null: none) becomes an attribute,
  /// its value written as by appendXml(). Deliberate: a value with an LF or a TAB becomes a CDATA
  /// section inside the attribute, which is not well-formed. A null element or key is skipped. The
  /// names are not checked.
  int appendXmlOpenTag(const char* tag, const ExtPtrArray* attributes);

  /// Appends a closing tag.
  int appendXmlCloseTag(const char* tag);

  /// Appends an element: its opening tag, its content as by appendXml(text), its closing tag.
  int appendXml(const char* tag, const ExtPtrArray& attributes, const char* content);

  /// @}
  /// @name Simple XML element (text/XmlElement.cpp)
  /// @{

  /// Appends an element. Its content is escaped as by encodeXMLSpecial(), so that references stay
  /// as they are; one without content is written as "<tag />". Deliberate: the values are written
  /// raw, without any escaping. A pair with a null name is skipped; null arrays hold no pairs. True
  /// when the last piece was appended; earlier pieces for which the buffer cannot grow are left
  /// out.
  bool simpleXml(const char* tag, const char* content, int attributeCount, const char* const* names,
                 const char* const* values);

  /// @}
  /// @name Links (text/Links.cpp)
  ///
  /// An address runs from "http://" or "https://", found without regard to case, up to the first
  /// TAB, LF, CR, space, or one of `()<>[]{}`. Nothing is escaped. All are linear in the text. When
  /// memory is exhausted, or the result too long, the text stays as it is.
  /// @{

  /// Makes every address in `text` a link: `<a href="ADDRESS">ADDRESS</a>`. Deliberate: works on
  /// the buffer that is passed, which may be this one; quotes belong to the address, so one in
  /// hostile text can end the attribute early. What stands after an embedded NUL is dropped.
  void autoLinkUrls2(StringBuffer& text) const;

  /// The same for the body of the HTML page in this buffer, that is from the first "<body" on, or
  /// all of it. Existing anchors, from "<a" to "</a" and the next ">", are copied unchanged; one
  /// that is not closed runs to the end. Deliberate: "<abbr" counts as an anchor too, as does every
  /// name that begins with "a".
  void autoLinkUrls();

  /// @}
  /// @name JSON string bodies (text/Json.cpp)
  ///
  /// RFC 8259, section 7. UTF-8 sequences pass unchanged. Both are linear in what they read.
  /// @{

  /// Escapes the content so that it can stand between double quotes. False, with nothing changed,
  /// when memory is exhausted. Deliberate:
  /// - The bytes that a UTF-8 lead byte claims as its sequence are copied unseen, so that after a
  ///   stray one a quote, a backslash or a control byte can end or spoil the string.
  /// - heapUsage() afterwards counts the added bytes twice.
  bool jsonEscape();

  /// Appends the `n` bytes of a JSON string body at `src` to `out`, decoded. A `\u` without four
  /// bytes after it leaves those as text. A null `src` counts as no bytes. False when `out` cannot
  /// grow; the blocks before stay. Deliberate:
  /// - Surrogates are converted one by one, so that a pair gives six bytes that are not UTF-8.
  /// - `\u0000` gives a NUL, where the text of `out` ends.
  /// - The content grows in blocks of about 200 bytes, and NULs at the end of a block are dropped,
  ///   as by appendN().
  /// - Malformed escapes are dropped.
  static bool jsonDecode(const char* src, unsigned int n, StringBuffer& out);
  /// @}
  /// @name AWS canonical forms (text/AwsCanonical.cpp)
  ///
  /// Percent-encode the content in place, in upper-case hexadecimal. Text that is encoded already
  /// stays as it is, for "%" is kept. The bytes that a UTF-8 lead byte claims as its sequence are
  /// encoded unseen. False, with nothing changed, when memory is exhausted. Deliberate: heapUsage()
  /// afterwards counts the added bytes twice.
  /// @{

  /// The form of a URI path: keeps letters, digits and `%-./_~`.
  bool awsNormalizeUriUtf8();

  /// The form of a query string: keeps letters, digits and `%&-./=?_~`. Does not sort.
  bool awsNormalizeQueryParams();

  /// @}
  /// @name Code pages (text/CodePages.cpp)
  ///
  /// Re-encode the whole content through EncodingConvert, which names the pages it knows.
  /// Deliberate: a failed conversion leaves what the converter made of the text, substitutions
  /// included; when memory is exhausted on the way that is its beginning, or nothing. Also
  /// deliberate: zeros at the end of the result are dropped, as by appendN(), so that UTF-16 and
  /// UTF-32 may lose a part of the last character. The ANSI and the OEM page are those of Psdk.
  /// @{

  /// From one page to another. True, with nothing changed, when the pages are the same, one is 0 or
  /// the buffer is empty. A result that does not fit in the buffer leaves the old text, with false
  /// and without an error in the log. Deliberate:
  /// - ASCII (20127) to a page that extends it changes nothing and looks at no byte, while 437 to
  ///   1252, 65001 or 28591 changes nothing only when all bytes are ASCII.
  /// - The zero bytes that a text in UTF-16 or UTF-32 ends with are lost, with true;
  ///   cvUtf8ToUnicode() and EncodingConvert keep them.
  bool convertEncoding(int fromCodePage, int toCodePage, LogBase& log);

  /// From the ANSI page to UTF-8. Deliberate: nothing is logged, and zeros at the end stay.
  void cvAnsiToUtf8(LogBase& log);

  /// From UTF-8 to the ANSI page.
  void cvUtf8ToAnsi();

  /// From any page to the ANSI page.
  void convertToAnsi(int fromCodePage);

  /// From the ANSI page to any page. As in the other members here, an unknown page leaves the bytes
  /// as they are, but for zeros at the end.
  void convertFromAnsi(int toCodePage);

  /// From any page to the OEM page.
  void convertToOem(int fromCodePage);

  /// From the OEM page to any page.
  void convertFromOem(int toCodePage);

  /// Replaces the content of `out` by the content in UTF-16, little-endian, read in the ANSI page.
  /// When memory is exhausted `out` holds the beginning, or nothing. It is wiped only if it is
  /// secure itself.
  void cvAnsiToUnicode(DataBuffer& out) const;

  /// As cvAnsiToUnicode(), read as UTF-8.
  void cvUtf8ToUnicode(DataBuffer& out) const;

  /// Replaces a character of UTF-8 text by another; bytes inside multi-byte sequences are never
  /// touched. A `from` or `to` of 0x80 and above names the character of the ANSI page. Nothing
  /// happens when `from` is NUL or does not occur in the text, up to the first NUL. Otherwise, in a
  /// content that is not all ASCII, what stands after an embedded NUL is dropped, even when `from`
  /// and `to` are the same. Deliberate: in a content that is all ASCII the byte `to` is stored as
  /// it is, after a NUL too.
  void replaceCharUtf8(char from, char to);

  /// Decodes MIME encoded words (RFC 2047) to UTF-8; always true. Words that cannot be decoded
  /// stay. Raw bytes in a Q word and folds inside words are decoded, a word with a "?" in its text
  /// is not: the rules are those of ContentCoding::QB_DecodeToUtf8(). Deliberate:
  /// - A Q word that comes out of a B word is decoded, too.
  /// - CR, LF and NUL come out of a word as they are, so that it can add a field to a header.
  bool qbDecode(LogBase& log);

  /// @}
  /// @name ISO-2022 escape protection (text/Iso2022.cpp)
  ///
  /// Carries the two-byte runs of ISO-2022-JP text (RFC 1468), from ESC `$B` to ESC `(B`, past
  /// members that know only single bytes.
  /// @{

  /// Moves each run, escapes included, into a new buffer of `runs` and puts "DV_ISO2022_1",
  /// "DV_ISO2022_2", ... in its place, counted from 1 in every call. An unterminated run goes to
  /// the end of the text. When a run cannot be saved, it and the rest of the text stay.
  void iso2022Replace(ExtPtrArray& runs);

  /// Puts the runs back, each in the place of the first placeholder of its number; elements that
  /// are null or have no placeholder are left alone. The elements must be buffers. When the buffer
  /// cannot grow for a run, the run or the text after its placeholder is missing afterwards.
  /// Linear in the text and the runs, but for runs that join with their neighbours; while
  /// the buffer grows beyond a megabyte, every step of its growth takes a pass of its own.
  void iso2022Restore(ExtPtrArray& runs);

  /// @}
  /// @name Files (text/Files.cpp)
  ///
  /// Paths are UTF-8 unless a member says otherwise. `log` may be null; then nothing is recorded.
  /// A file that is created, for a secure buffer too, has the permissions that the process's umask
  /// leaves of 0666; a file that exists keeps its own.
  /// @{

  /// Appends a whole file. Then looks at the first bytes of the content: UTF-16 with a byte-order
  /// mark becomes UTF-8, and the mark of UTF-8 is removed. On failure the content stays, with
  /// false; an empty file is a success. Files of 4294967295 bytes and more, and what is no regular
  /// file with a known size, are refused. So are files under /proc, which state no size, and many
  /// under /sys, which state a wrong one. Deliberate:
  /// - A UTF-16 mark is converted with the text, so that the text begins with EF BB BF.
  /// - Earlier content is looked at too. A content of exactly the three bytes of the mark stays.
  /// - True says that the bytes were read, not how their decoding went: U+FFFD stands for malformed
  ///   UTF-16, and when memory is exhausted then, the beginning of the text is left, or nothing, or
  ///   all of the bytes as they were read.
  bool loadFromFile(XString& path, LogBase* log);

  /// As loadFromFile(), the path in the ANSI page: earlier content stays, and is looked at too.
  bool loadFromFileAnsi(const char* path, LogBase* log);

  /// A new buffer, the caller's, that holds a file as loadFromFile() loads it; null on failure. A
  /// file of more than 4294967095 bytes is refused before it is opened, with the error "File too
  /// large to hold in memory". Deliberate: with a full stop after it the same error says that
  /// there was no memory for the buffer; the path is opened as it is, also one that begins with
  /// "file:///".
  static StringBuffer* createFromFile(XString& path, LogBase* log);

  /// As createFromFile(); nothing is recorded when the file does not exist.
  static StringBuffer* createFromFileUtf8(const char* path, LogBase* log);

  /// Writes exactly the content to a file, which is created or truncated. False when not all of it
  /// could be written; then the file holds a part, or nothing, and what it held before is lost. The
  /// safe way is to save it under another name beside the old file, and to rename it after success.
  /// A FIFO or a device is never waited for: false if nobody reads from it, or if it does not take
  /// all bytes at once.
  bool saveToFileUtf8(const char* path, LogBase* log) const;

  /// Appends the content to a file, which is created when it does not exist. After a failure a part
  /// may have been appended. A FIFO or a device is not waited for, as in saveToFileUtf8().
  bool appendToFileUtf8(const char* path, LogBase* log) const;

  /// True when a file has as many bytes as the content and, loaded as by loadFromFile(), the same
  /// text. False also for what cannot be loaded, and as a rule for a file with a byte-order mark
  /// and the buffer that was loaded from it. Deliberate: the sizes are compared before a byte-order
  /// mark is handled, and what stands after a NUL is not compared.
  bool equalsFileContents(const char* path) const;

  /// @}
  /// @name Obfuscation (text/Obfuscate.cpp)
  ///
  /// Keeps a value from being readable at a glance. This is not encryption: there is no key. When
  /// memory is exhausted the buffer stays as it is. Deliberate: the scrambled form depends on the
  /// byte order of the host and on 32-bit arithmetic.
  /// @{

  /// Permutes the bytes of the content; the permutation follows from the bytes' sum and number.
  void scramble();

  /// Undoes scramble().
  void unscramble();

  /// Replaces the content by its base64 form, scrambled.
  void obfus();

  /// Undoes obfus(). NULs at the end of the decoded bytes are dropped.
  void unobfus();

  /// Appends what obfus() made a text from, as appendN() does. True for a null or empty text.
  bool appendObfus(const char* text);

  /// @}
  /// @name Word forms (text/WordForms.cpp)
  ///
  /// English nouns, in lower-case ASCII, by their last letters. When memory is exhausted, the
  /// ending that was removed stays removed.
  /// @{

  /// Makes a singular a plural: "city" gives "cities". Deliberate: "roof" gives "rooves", and what
  /// ends in "s" counts as a plural already.
  void pluralize();

  /// Makes a plural a singular: "cities" gives "city". The result means nothing. Deliberate:
  /// "heroes" stays.
  unsigned int unpluralize();

  /// Deliberate: same as unpluralize() today, and never to change when that one does.
  unsigned int unpluralizeFrozen1();

  /// @}

 private:
  template <class Buffer>
  friend class dorvane::internal::BufferAccess;
  friend class dorvane::internal::Piece;
  friend class dorvane::internal::SanityCheck;

  struct Layout;

  static constexpr unsigned char kMagic = 0xAA;
  static constexpr unsigned int kInlineSize = 82;
  static constexpr unsigned int kInitialExtendSize = 202;

  // The storage primitives: all other code is written on these.

  // The capacity that callers see, and the memory that is held, are two things. The recorded
  // capacity is bookkeeping: it follows the growth rule append by append, and is 0 while the
  // content is inline. The held block is never smaller; bytes of it beyond the recorded capacity
  // are never written. A block may be held while the content is still inline: room for what is to
  // come.

  bool isInline() const noexcept { return m_recordedCapacity == 0; }

  // Size of the current storage; the content and its NUL fit inside.
  unsigned int storageSize() const noexcept {
    return isInline() ? kInlineSize : m_recordedCapacity;
  }

  // True if n more bytes and the NUL fit without growth.
  bool fits(unsigned long long n) const noexcept { return m_length + n < storageSize(); }

  // The length, bounded by the storage: releaseBuffer() leaves a stale one.
  unsigned int contentSize() const noexcept {
    return m_length < storageSize() ? m_length : storageSize() - 1;
  }

  // All bytes of the content, and those before its first NUL.
  std::string_view content() const noexcept { return {m_data, contentSize()}; }
  std::string_view text() const noexcept;

  // What `use` makes of the content as a NUL-terminated text. A caller may have overwritten the
  // terminator; the text still ends where the content does.
  template <class Use>
  auto withTerminatedText(const Use& use) const {
    if (!isNonTerminated()) return use(static_cast<const char*>(m_data));
    StringBuffer copy;
    copy.m_secure = m_secure;
    copy.appendBytes(content());
    return use(static_cast<const char*>(copy.m_data));
  }

  // True if `p` points into this buffer's storage, so that changing the buffer may change or
  // release what `p` points at.
  bool ownsAddress(const void* p) const noexcept;

  // Makes room for n more bytes and the NUL.
  bool makeRoom(unsigned long long n) { return fits(n) || grow(n); }
  bool grow(unsigned long long n);

  // Holds memory for `total` bytes of content, whatever the steps are in which it is appended.
  // Nothing that a caller can see changes. If the memory cannot be had, the appends that follow
  // make room as usual.
  void reserve(unsigned long long total);
  // Gives a block back that is held while the content is inline.
  void dropReserve() noexcept;

  // Appends raw bytes, without the trim of appendN(); they may lie in this buffer's storage.
  bool appendBytes(const char* bytes, std::size_t n);
  bool appendBytes(std::string_view bytes) { return appendBytes(bytes.data(), bytes.size()); }
  bool growAndAppend(const char* bytes, std::size_t n);
  // Ends the content at n: writes the NUL and sets the length. There is room for it.
  void endAt(unsigned int n) noexcept {
    m_data[n] = '\0';
    m_length = n;
  }

  // Ends the content before the NULs at its end.
  void dropTrailingNuls() noexcept;

  // A block that is no longer the storage, and how much of it has been in use.
  struct RetiredBlock {
    unsigned char* bytes = nullptr;
    unsigned int used = 0;
  };

  // Takes the next step of the growth rule, for n more bytes. The content may move; its old block
  // then stays alive, in `old`, for the caller to release. The terminator is the caller's, too.
  bool takeStep(unsigned long long n, RetiredBlock& old);
  // Moves the content into a new block, of which nothing is recorded yet.
  void moveTo(unsigned char* block, unsigned int size, RetiredBlock& old) noexcept;
  // Copies the content to the start of a block.
  void copyContentTo(unsigned char* block) const noexcept;
  void release(const RetiredBlock& old) const;

  // What holds between the members, also after a caller has written to the content.
  bool isSane() const noexcept;

  // Overwrites what has been in use of the heap block, and the inline array, with zeros.
  void wipeStorage() noexcept;

  // Empty and inline with the initial extend size; a heap block is forgotten, not released.
  void resetToInline() noexcept;

  // Makes a block of `capacity` bytes the storage; its first `length` bytes are the content and a
  // NUL follows them. The former storage has been given up before.
  void adoptBlock(unsigned char* block, unsigned int capacity, unsigned int length) noexcept;

  // Moves the content into a block of exactly that size, if it can be had.
  void moveToExactBlock(unsigned int capacity);

  // Takes the content and the block of `source`, which becomes empty; this buffer has none.
  void takeStorage(StringBuffer& source) noexcept;

  // As weakClear() and appendN(), but nothing has changed if the buffer cannot grow.
  bool replaceKeepingBlock(std::string_view bytes);

  // Replaces the content by the pieces in order, as clear() and one appendN() of them all would
  // store them, but nothing has changed if the buffer cannot grow. The pieces may lie in this
  // buffer.
  bool replaceByPieces(std::initializer_list<std::string_view> pieces);

  // Gives the storage up (wiped if secure) and adopts a block whose first `length` bytes are the
  // new content; the extend size stays.
  void replaceByBlock(unsigned char* block, unsigned int capacity, unsigned int length);

  // Replaces each byte of the content that is one of the n bytes of a set.
  void replaceBytesOf(const char* set, unsigned int n, char to) noexcept;
  template <unsigned int kNeeded, class Set>
  void replaceSet(const Set& set, char to) noexcept {
    static_assert(!std::is_array_v<Set> || sizeof(Set) >= kNeeded,
                  "the set has too few bytes; repeat one to fill it");
    replaceBytesOf(set, kNeeded, to);
  }

  unsigned char m_magic = kMagic;
  bool m_secure = false;
  char* m_data = m_inline;
  char m_inline[kInlineSize];
  unsigned int m_slot = 0;  // the place of a piece in its chunk: core/internal/PieceMaker.h
  unsigned char* m_heap = nullptr;
  unsigned int m_recordedCapacity = 0;
  unsigned int m_length = 0;
  unsigned int m_extendSize = kInitialExtendSize;
  unsigned int m_heldSize = 0;
};

inline bool StringBuffer::appendBytes(const char* bytes, std::size_t n) {
  if (!fits(n)) return growAndAppend(bytes, n);
  std::memmove(m_data + m_length, bytes, n);
  endAt(m_length + static_cast<unsigned int>(n));
  return true;
}

inline bool StringBuffer::append(const char* text) {
  return text == nullptr || *text == '\0' || appendBytes(text, std::strlen(text));
}

inline bool StringBuffer::appendN(const char* bytes, unsigned int n) {
  if (bytes == nullptr || n == 0) return true;
  if (!appendBytes(bytes, n)) return false;
  if (m_data[m_length - 1] == '\0') dropTrailingNuls();
  return true;
}

// The length is stored before the bytes: they may be anybody's for all the compiler knows, so that
// it would have to read the length again after them.
inline bool StringBuffer::appendChar(char c) {
  if (!makeRoom(1)) return false;
  const unsigned int length = m_length;
  char* const end = m_data + length;
  m_length = length + 1;
  end[0] = c;
  end[1] = '\0';
  return true;
}

inline StringBuffer::StringBuffer() noexcept { m_inline[0] = '\0'; }

inline StringBuffer::StringBuffer(const char* text) : StringBuffer() { append(text); }

inline StringBuffer::~StringBuffer() {
  if (m_secure) wipeStorage();
  delete[] m_heap;
  m_inline[0] = '\0';
  m_heap = nullptr;
  m_data = nullptr;
  m_recordedCapacity = 0;
  m_length = 0;
  m_extendSize = 0;
  m_heldSize = 0;
  m_magic = 0;
  dvKeepStores(this);
}

#endif
