// UTF8.h - coding single UTF-8 characters, stepping through UTF-8 text, and Unicode case
// mapping of UTF-8 and UCS-2 texts through the framework's case table (CaseTable.h).
//
// Decoding is lenient: a character's length is judged by its lead byte alone and
// continuation bytes are not checked, so any byte sequence decodes to something. The
// routines that take a length never read past it; there, a last character whose lead
// byte promises more bytes than remain is "cut short": it is copied through unchanged,
// never case-mapped, and compares after every whole character.
//
// Not here: conversion between encodings, normalisation, full (one-to-many) case
// mappings, locale-specific casing.
#ifndef ZYNE_ENCODINGS_UTF8_H
#define ZYNE_ENCODINGS_UTF8_H

/// Writes the UTF-8 form of `c` to `out` followed by a zero byte, and returns the number
/// of bytes of the form: 1 below 0x80, 2 below 0x800, 3 below 0x10000, 4 up to 0x1FFFFF.
/// Above 0x1FFFFF only the zero byte is written and the result is 0. `out` needs room for
/// 5 bytes; a null `out` gives 0.
int UTF8Encode(unsigned long c, unsigned char* out);

/// The code point starting at p, its length judged by the lead byte alone (below 0x80:
/// one byte; 110xxxxx: two; 1110xxxx: three; anything else: four). The caller guarantees
/// that many bytes. 0 for null.
unsigned long UTF8Decode(const unsigned char* p);

/// UTF8Decode, then moves *p past the bytes decoded. 0, with nothing moved, for null.
unsigned long UTF8DecodeAndAdvance(const unsigned char** p);
unsigned long UTF8DecodeAndAdvance(unsigned char** p);

/// Moves *p forward by `count` characters, never past `end`. A character is one byte plus
/// the bytes of the form 10xxxxxx that follow it. A count below 1 does nothing.
void AdvanceUTF8(const unsigned char** p, const unsigned char* end, int count);
void AdvanceUTF8(unsigned char** p, const unsigned char* end, int count);

/// Moves *p back by `count` characters, never before `start`; the exact inverse of
/// AdvanceUTF8. Malformed text: a run of continuation bytes (10xxxxxx), however long,
/// belongs to the nearest byte before it that is not one, or to the byte at `start` when
/// every byte back to `start` is one. A count below 1, or *p at or before `start`, does
/// nothing.
void BackupUTF8(const unsigned char** p, const unsigned char* start, int count);
void BackupUTF8(unsigned char** p, const unsigned char* start, int count);

/// The upper-case partner of `c` when the low 16 bits of `c` are a lower-case code point
/// of the case table; otherwise `c` unchanged.
unsigned long UnicodeCharToUpper(unsigned long c);

/// The lower-case partner of `c` when the low 16 bits of `c` are an upper-case code point
/// of the case table; otherwise `c` unchanged.
unsigned long UnicodeCharToLower(unsigned long c);

/// True when no character of the text is in either column of the case table, so that
/// case mapping leaves it unchanged. True for empty or null text.
bool UTF8IsCaseless(const unsigned char* text, unsigned long length);

/// Case-maps `length` bytes of UTF-8 into a new buffer of length + 5 bytes. *result gets
/// the buffer (the caller frees it with delete[]); *resultLength its byte length, not
/// counting the zero byte that always follows. Mapping can change a character's byte
/// count: the output stops, at a character boundary, before it would leave no room for
/// that zero byte. With only resultLength given, the buffer is freed again; with neither,
/// nothing is done. When memory runs out, *result is null and *resultLength 0.
void UTF8ToUpper(const unsigned char* text, unsigned long length, unsigned char** result,
                 unsigned long* resultLength);

/// As UTF8ToUpper, mapping to lower case.
void UTF8ToLower(const unsigned char* text, unsigned long length, unsigned char** result,
                 unsigned long* resultLength);

/// As UTF8ToUpper, mapping the first character and every character that follows a
/// separator to upper case and all others to lower case. Separators: U+0009..U+000D,
/// U+0020, U+0085, U+00A0, U+1680, U+180E, U+2000..U+200A, U+2028, U+2029, U+202F,
/// U+205F and U+3000.
void UTF8Capitalize(const unsigned char* text, unsigned long length, unsigned char** result,
                    unsigned long* resultLength);

/// Case-maps byteLength / 2 UCS-2 units (an odd last byte is ignored) into a new array
/// of 2 * byteLength bytes (that is, byteLength units; those beyond the converted ones are
/// zero), freed by the caller with delete[]. Null for null units or when memory runs out.
unsigned short* UCS2ToUpper(const unsigned short* units, unsigned long byteLength);

/// As UCS2ToUpper, mapping to lower case.
unsigned short* UCS2ToLower(const unsigned short* units, unsigned long byteLength);

/// As UCS2ToUpper, with UTF8Capitalize's rule.
unsigned short* UCS2Capitalize(const unsigned short* units, unsigned long byteLength);

/// Compares two UTF-8 texts character by character: -1, 0 or 1. Differing characters
/// are, when ignoreCase is not 0, both mapped to upper case first; the smaller code point
/// sorts first. When one text runs out, the smaller byte length sorts first. Null text
/// is empty.
int UTF8StringCompare(const unsigned char* text1, unsigned long length1, const unsigned char* text2,
                      unsigned long length2, unsigned char ignoreCase);

/// UTF8StringCompare over 16-bit units; when one text runs out, the smaller unit count
/// sorts first.
int UCS2StringCompare(const unsigned short* units1, unsigned long byteLength1,
                      const unsigned short* units2, unsigned long byteLength2,
                      unsigned char ignoreCase);

#endif  // ZYNE_ENCODINGS_UTF8_H
