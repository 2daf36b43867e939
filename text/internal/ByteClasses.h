#ifndef DORVANE_TEXT_INTERNAL_BYTECLASSES_H
#define DORVANE_TEXT_INTERNAL_BYTECLASSES_H

#include "support/ByteSet.h"

// The byte classes that several families share; a class of one file stands in that file.
namespace dorvane::internal {

inline constexpr ByteSet kLineEndings = ByteSet::of("\r\n");
inline constexpr ByteSet kWhiteSpace = ByteSet::of(" \t\r\n");

static_assert(kLineEndings.size() == 2);
static_assert(kWhiteSpace.size() == 4);

}  // namespace dorvane::internal

#endif
