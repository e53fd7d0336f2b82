// StringUtilities.h - numbers and integer fields to and from `string`.
//
// Decimal, hexadecimal and floating-point text for numbers (the digits are always
// ASCII, whatever the process locale), four-character codes, and the 16- and 32-bit
// fields that save-info records keep inside byte strings. Parsing text into numbers
// is in core/ByteRoutines.h (uatol and kin).
#ifndef ZYNE_CORE_STRING_UTILITIES_H
#define ZYNE_CORE_STRING_UTILITIES_H

#include <cstdint>

#include "core/string.h"

/// Decimal text of a signed number ("-42"), tagged ASCII.
string ultoa(long value);
/// Decimal text of a signed 64-bit number, tagged ASCII.
string ulltoa(long long value);
/// Decimal text of an unsigned 64-bit number, tagged ASCII.
string uulltoa(unsigned long long value);
/// The shortest text that reads back as the same double, with "." as the decimal
/// point whatever the locale ("0.1", "1e+20", "-inf", "nan"), tagged ASCII.
string udtoa(double value);
/// Exactly eight upper-case hexadecimal digits with leading zeros, tagged ASCII.
string ultohexa(uint32_t value);

/// The four bytes of a code, most significant first, tagged MacRoman (always four
/// bytes long, zero bytes included).
string FourCharCodeToString(uint32_t code);
/// The first four bytes of text in MacRoman, most significant first. A shorter
/// non-empty text is padded with spaces; the empty text gives 0.
uint32_t StringToFourCharCode(const string& text);

/// The first byte of a two-byte field written by WriteShortAsBits; 0 when empty.
unsigned short ReadShortAsBits(const string& bytes);
/// The first four bytes, most significant first; bytes past the end read as 0.
uint32_t ReadLongAsBits(const string& bytes);
/// Two bytes, least significant first, tagged unknown.
string WriteShortAsBits(unsigned short value);
/// Four bytes, most significant first, tagged unknown.
string WriteLongAsBits(uint32_t value);

#endif  // ZYNE_CORE_STRING_UTILITIES_H
