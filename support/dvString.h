#ifndef DORVANE_SUPPORT_DVSTRING_H
#define DORVANE_SUPPORT_DVSTRING_H

/// @file
/// Helpers for NUL-terminated texts. A null text reads as the empty text. Case is that of the
/// ASCII letters, never the locale's.

/// Length of a text in bytes; 4294967295 for every text that is longer than that.
unsigned int dvStrLen(const char* text) noexcept;

/// Copies `source` with its NUL to `destination`, which is large enough; the two may overlap.
void dvStrCpy(char* destination, const char* source) noexcept;

/// Copies at most `n` bytes of `source`, stopping after its NUL. Deliberate: no NUL is added when
/// the text is longer, and nothing is written behind an earlier one. The two may overlap.
void dvStrNCpy(char* destination, const char* source, unsigned int n) noexcept;

/// Three-way comparison by unsigned bytes: negative, 0 or positive.
int dvStrCmp(const char* a, const char* b) noexcept;

/// As dvStrCmp(), with upper-case letters taken as lower-case ones.
int dvStrICmp(const char* a, const char* b) noexcept;

/// The first byte equal to `c` (its low 8 bits), or null; 0 finds the terminating NUL.
const char* dvStrChr(const char* text, int c) noexcept;

/// As dvStrChr(), for the last such byte.
const char* dvStrrChr(const char* text, int c) noexcept;

/// The first occurrence of `needle`, or null. An empty needle occurs at the start. Linear in the
/// distance to the match, whatever the bytes are.
const char* dvStrStr(const char* hay, const char* needle) noexcept;

/// As dvStrStr(), letters matched without regard to case.
const char* stristr(const char* hay, const char* needle) noexcept;

/// True when the whole text matches the pattern: "*" stands for any run of bytes, the empty one
/// too, "?" for any one byte, every other byte for itself. Linear, but for a piece between two
/// stars that has a "?" in it: one of less than 512 bytes costs at most its size for each byte of
/// the text, a longer one some hundred steps. From 256 KiB on these steps are taken once for every
/// 256 KiB of the piece. When the 12 MiB that this may need cannot be had, the result is the same
/// and the cost the product of the lengths.
bool wildcardMatch(const char* text, const char* pattern, bool caseSensitive) noexcept;

/// Reverses the first `n` bytes in place; nothing when `n` is 0 or less.
void dvReverseString(char* text, int n) noexcept;

#endif
