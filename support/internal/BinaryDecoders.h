#ifndef DORVANE_SUPPORT_INTERNAL_BINARYDECODERS_H
#define DORVANE_SUPPORT_INTERNAL_BINARYDECODERS_H

#include <cstddef>
#include <string_view>

class DataBuffer;

// The decoders behind ContentCoding and _clsEncode. Each appends what a text stands for to `out`,
// which does not hold the text, and goes on behind whatever is malformed. All are linear; false
// means that memory is exhausted, and what was appended before stays.

namespace dorvane::internal {

/// The bytes of a text that its encoding does not allow where they stand.
struct Misfits {
  std::size_t count = 0;
  std::size_t firstOffset = 0;

  void note(std::size_t offset) noexcept {
    if (count++ == 0 || offset < firstOffset) firstOffset = offset;
  }
};

// Of the next four, each skips white space and line ends (space, TAB, CR, LF) and leaves misfits
// out. A "=" ends the data of all but hexadecimal; the padding may be missing, in part or whole.
// Misfits are bytes that are neither symbols nor white space, whatever but white space follows
// the padding, and a last symbol that completes no byte or has bits set that belong to none.

/// RFC 4648, section 4.
bool decodeBase64(std::string_view text, DataBuffer& out, Misfits& misfits);

/// RFC 4648, section 5.
bool decodeBase64Url(std::string_view text, DataBuffer& out, Misfits& misfits);

/// RFC 4648, section 6; letters of either case.
bool decodeBase32(std::string_view text, DataBuffer& out, Misfits& misfits);

/// RFC 4648, section 8; digits of either case.
bool decodeHexadecimal(std::string_view text, DataBuffer& out, Misfits& misfits);

// The next two copy what is no escape. An escape that is none (its "=" or "%" is the misfit) is
// copied as it is.

/// RFC 2045, section 6.7; digits of either case. Soft line breaks and the white space before a
/// line end or the end of the text are dropped; line ends (CR LF, CR, LF) stay as they are. A
/// "=" at the end of the text is a soft line break.
bool decodeQuotedPrintable(std::string_view text, DataBuffer& out, Misfits& misfits);

/// RFC 3986, section 2.1; digits of either case. A "+" stays a "+".
bool decodePercent(std::string_view text, DataBuffer& out, Misfits& misfits);

}  // namespace dorvane::internal

#endif
