#ifndef DORVANE_SUPPORT_INTERNAL_CHARSETNAMES_H
#define DORVANE_SUPPORT_INTERNAL_CHARSETNAMES_H

#include <string_view>

namespace dorvane::internal {

/// The number of the code page that a charset name of MIME stands for, without regard to case; 0
/// for a name that is not known. Knows the IANA names and the usual aliases of every page that
/// EncodingConvert converts. Cost: a binary search.
int codePageOfCharset(std::string_view name) noexcept;

}  // namespace dorvane::internal

#endif
