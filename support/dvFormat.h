#ifndef DORVANE_SUPPORT_DVFORMAT_H
#define DORVANE_SUPPORT_DVFORMAT_H

/// @file
/// Number formatting into a caller's array. Each function writes the digits and a NUL, and
/// returns the number of characters before the NUL. None allocates or depends on the locale.

/// Exactly two upper-case hexadecimal digits of the low 8 bits. Room for 3 bytes.
unsigned int dv_02X(unsigned int value, char* out) noexcept;

/// As dv_02X(), in lower case.
unsigned int dv_02x(unsigned int value, char* out) noexcept;

/// Exactly four upper-case hexadecimal digits of the low 16 bits. Room for 5 bytes.
unsigned int dv_04X(unsigned int value, char* out) noexcept;

/// As dv_04X(), in lower case.
unsigned int dv_04x(unsigned int value, char* out) noexcept;

/// Exactly eight upper-case hexadecimal digits. Room for 9 bytes.
unsigned int dv_08X(unsigned int value, char* out) noexcept;

/// As dv_08X(), in lower case.
unsigned int dv_08x(unsigned int value, char* out) noexcept;

/// Upper-case hexadecimal digits without leading zeros, "0" for 0. Room for 9 bytes.
unsigned int dv_X(unsigned int value, char* out) noexcept;

/// As dv_X(), in lower case.
unsigned int dv_x(unsigned int value, char* out) noexcept;

/// Decimal, with a leading "-" when negative. Room for 12 bytes.
unsigned int dv_int_to_str(int value, char* out) noexcept;

/// Decimal, with a leading "-" when negative. Room for 21 bytes.
unsigned int dv_int64_to_str(long long value, char* out) noexcept;

#endif
