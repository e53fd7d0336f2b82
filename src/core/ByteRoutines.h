// ByteRoutines.h - byte-string, memory and text-to-number routines, and rectangle predicates.
//
// The framework's own small replacements for the C library's string calls: they accept
// null pointers (as empty text, unless stated otherwise), never allocate, and do not
// depend on the C library's locale except where the C call they stand for does (ustrcmpi).
// The case-insensitive forms with lengths go through a fixed 8-bit upper-case table: ASCII
// letters plus the lower-case letters of the Mac OS Roman character set.
//
// Not here: conversions to and from the framework's string type, Unicode case mapping
// (encodings/UTF8.h).
#ifndef ZYNE_CORE_BYTE_ROUTINES_H
#define ZYNE_CORE_BYTE_ROUTINES_H

#include "hostapi/ZYNERecords.h"

/// Number of bytes before the zero byte; 0 for null.
unsigned long ustrlen(const char* text);

/// Copies `source` with its zero byte to `dest` and returns `dest`. A null source copies
/// the empty text; a null dest does nothing.
char* ustrcpy(char* dest, const char* source);

/// Appends `source` to the text in `dest` and returns `dest`. Null arguments do nothing.
char* ustrcat(char* dest, const char* source);

/// Copies a Pascal string (a length byte and that many bytes) and returns `dest`. Null
/// arguments do nothing.
unsigned char* pstrcpy(unsigned char* dest, const unsigned char* source);

/// Copies `count` bytes (the ranges may overlap) and returns `dest`.
void* umemcpy(void* dest, const void* source, unsigned long count);

/// Fills `count` bytes with `value` and returns `dest`.
void* umemset(void* dest, unsigned char value, unsigned long count);

/// Clears `count` bytes.
void umemzero(void* dest, unsigned long count);

/// Compares `count` bytes as unsigned values: negative, 0 or positive, like memcmp.
int umemcmp(const void* a, const void* b, unsigned long count);

/// strcmp: negative, 0 or positive. A null text sorts before any text, two nulls are equal.
int ustrcmp(const char* a, const char* b);

/// strcasecmp (ASCII letters, or as the C library's locale has it): negative, 0 or
/// positive. A null first argument sorts before any text, a null second after any text,
/// two nulls are equal.
int ustrcmpi(const char* a, const char* b);

/// Compares two texts of given lengths: negative, 0 or positive. Equal lengths compare as
/// strncmp over that length (stopping at a zero byte); unequal lengths compare byte by byte
/// as signed characters, and a proper prefix sorts first. A null text has length 0.
int ustrcmp(const char* a, unsigned lengthA, const char* b, unsigned lengthB);

/// The case-insensitive form of the above: strncasecmp for equal lengths; for unequal
/// lengths each byte goes through utoupper first.
int ustrcmpi(const char* a, unsigned lengthA, const char* b, unsigned lengthB);

/// The byte through the 8-bit upper-case table: a-z to A-Z, the Mac OS Roman lower-case
/// letters to their capitals (the dotless i, 0xF5, to a plain I), every other byte itself.
unsigned char utoupper(unsigned char c);

/// Text to number: skips leading spaces (0x20 only), takes one "+" or "-", then decimal
/// digits up to the first other byte. No digits, or null, give 0; overflow wraps.
long uatol(const char* text);

/// uatol reading only the first `length` bytes (none for a length of 0 or less).
long uatol(const char* text, int length);

/// uatol for 64-bit results.
long long uatoll(const char* text);

/// Text to floating point: skips leading spaces (0x20 only), then reads what strtod reads
/// in the "C" locale (sign, digits, a "." decimal point, exponent; also "inf", "nan" and
/// hexadecimal forms), whatever the process's locale. Nothing readable, or null, gives 0;
/// a magnitude too large gives an infinity.
double uatod(const char* text);

/// True when `inner` lies wholly within `outer` (edges may coincide). An empty inner
/// rectangle (right < left or bottom < top) is within nothing.
bool InRect(const ZQ::Rect& inner, const ZQ::Rect& outer);

/// True when `a` covers a smaller area than `b`. An empty rectangle (right <= left or
/// bottom <= top) has area 0.
bool SmallerRect(const ZQ::Rect& a, const ZQ::Rect& b);

#endif  // ZYNE_CORE_BYTE_ROUTINES_H
