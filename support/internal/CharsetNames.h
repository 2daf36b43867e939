#ifndef DORVANE_SUPPORT_INTERNAL_CHARSETNAMES_H
#define DORVANE_SUPPORT_INTERNAL_CHARSETNAMES_H

#include <string_view>

namespace dorvane::internal {

/// The number of the code page that a charset name of MIME stands for, without regard to case; 0
/// for a name that is not known. Knows the IANA names, the labels of the Encoding Standard of the
/// WHATWG and the usual aliases of every page that EncodingConvert converts. "utf-7" gives a page
/// that is read and never written. Cost: a binary search.
int codePageOfCharset(std::string_view name) noexcept;

/// True for the name of a page, as codePageOfCharset() gives it, that is one of UTF-16, UTF-32,
/// UCS-2 or UCS-4 that leaves the byte order to a mark (RFC 2781, section 4.3), as "utf-16" does
/// and "utf-16le" does not. codePageOfCharset() then gives the little-endian page.
bool leavesByteOrderOpen(std::string_view name, int page) noexcept;

}  // namespace dorvane::internal

#endif
