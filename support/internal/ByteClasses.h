#ifndef DORVANE_SUPPORT_INTERNAL_BYTECLASSES_H
#define DORVANE_SUPPORT_INTERNAL_BYTECLASSES_H

#include "support/ByteSet.h"

// The byte classes that several families share; a class of one file stands in that file.
namespace dorvane::internal {

inline constexpr ByteSet kLineEndings = ByteSet::of("\r\n");
inline constexpr ByteSet kWhiteSpace = ByteSet::of(" \t\r\n");

inline constexpr ByteSet kDigits = ByteSet::range('0', '9');
inline constexpr ByteSet kUpperLetters = ByteSet::range('A', 'Z');
inline constexpr ByteSet kLowerLetters = ByteSet::range('a', 'z');
inline constexpr ByteSet kLetters = kUpperLetters | kLowerLetters;
inline constexpr ByteSet kLettersAndDigits = kLetters | kDigits;
inline constexpr ByteSet kHexDigits = kDigits | ByteSet::range('A', 'F') | ByteSet::range('a', 'f');

/// The letters of Latin-1: without the multiplication and the division sign.
inline constexpr ByteSet kLatin1Letters = ByteSet::range(0xC0, 0xFF) & ~ByteSet::of("\xD7\xF7");

/// The bytes of a word, and those of a word inside addresses and paths.
inline constexpr ByteSet kWordBytes = kLettersAndDigits | kLatin1Letters | ByteSet::of("_");
inline constexpr ByteSet kAddressBytes =
    kLettersAndDigits | kLatin1Letters | ByteSet::of("!%&-./:;?@_");

static_assert(kLineEndings.size() == 2);
static_assert(kWhiteSpace.size() == 4);
static_assert(kLettersAndDigits.size() == 62);
static_assert(kHexDigits.size() == 22);
static_assert(kLatin1Letters.size() == 62);
static_assert(kWordBytes.size() == 125);
static_assert(kAddressBytes.size() == 135);

}  // namespace dorvane::internal

#endif
