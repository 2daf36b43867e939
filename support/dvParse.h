#ifndef DORVANE_SUPPORT_DVPARSE_H
#define DORVANE_SUPPORT_DVPARSE_H

/// @file
/// Number parsing, independent of the locale. A null text is empty.
///
/// A decimal number is: any spaces, TABs, CRs and LFs, one optional "+" or "-", and digits; what
/// follows is ignored. A text that does not begin so has the value 0, and a value that does not
/// fit becomes the nearest one that does.

/// The number at the start of the text.
int dvIntValue(const char* text) noexcept;

/// As dvIntValue(), unsigned: a negative number is 0.
unsigned int dvUIntValue(const char* text) noexcept;

/// The number at the start of the bytes from `first` to `last`, both inclusive; a null pointer or
/// a `last` before `first` is an empty text. Always stores a value in `out`. True only when the
/// bytes are one number that fits, with nothing but blanks around it.
bool dvParseDecimalInt64(const char* first, const char* last, long long& out) noexcept;

/// Value of the hexadecimal digits, of either case, at the start of the text: no blanks, no sign,
/// no prefix. Only the low 32 bits count. 0 when there is no digit.
unsigned int dv_valHex(const char* text) noexcept;

/// As dv_valHex(), reading at most `n` bytes.
unsigned int dv_valHexN(const char* text, unsigned int n) noexcept;

/// The floating-point number at the start of the text: blanks and a sign as above, then digits
/// with an optional point, at least one digit in all, and an optional exponent. Correctly
/// rounded. A value too large is infinite, one too small is zero, with the sign of the text. 0,
/// without a sign, when there is none: words ("inf", "nan") and hexadecimal forms are no numbers.
double dv_atof(const char* text) noexcept;

#endif
