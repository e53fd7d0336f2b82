// Encodings.h - encoding identifiers, their iconv names and conversion between them.
//
// Identifiers follow the classic Mac OS text-encoding numbering (base encoding in
// the low bits, Unicode format in the high byte), so text tagged by the host and
// by guests passes through unchanged. Conversion goes through the C library's
// iconv; a bad input byte becomes "?", and any other failure gives back the source
// text with its old tag: nothing here reports an error. The process-wide caches
// (system, keyboard and font encodings, the last conversion) are plain globals for
// one thread. Not here: UTF-8 coding and case mapping (encodings/UTF8.h), and
// reconciling two tags (CommonEncoding, in core/string.h).
#ifndef ZYNE_ENCODINGS_ENCODINGS_H
#define ZYNE_ENCODINGS_ENCODINGS_H

#include <cstdint>

#include "core/string.h"

inline constexpr uint32_t kEncodingMacRoman = 0;
inline constexpr uint32_t kEncodingUTF16 = 0x100;
inline constexpr uint32_t kEncodingASCII = 0x600;
inline constexpr uint32_t kEncodingUnknown = 0xFFFF;
inline constexpr uint32_t kEncodingUTF8 = 0x08000100;
inline constexpr uint32_t kEncodingUTF32 = 0x0C000100;
inline constexpr uint32_t kEncodingUTF16BE = 0x10000100;
inline constexpr uint32_t kEncodingUTF16LE = 0x14000100;

/// ISO 8859-1, the keyboard encoding.
inline constexpr uint32_t kEncodingISOLatin1 = 513;

/// True for the 16-bit family of tags (256..511), whose text is not a byte string.
inline constexpr bool IsSixteenBitEncoding(uint32_t encoding) {
    return encoding >= 256 && encoding <= 511;
}

/// The iconv name of an identifier, or null when it has none (such text is never
/// converted). Unknown (0xFFFF) names the system encoding. Static storage.
const char* GetIconvName(uint32_t encoding);

/// Splits an identifier: the Unicode forms give base 256, variant 0 and their
/// format number; any other value v gives base v, variant 0, format 0.
void GetEncodingAttributes(unsigned long encoding, int& base, int& variant, int& format);

/// The encoding of the font "System", computed once: UTF-8 in practice.
uint32_t GetSystemEncoding();
/// The keyboard's encoding, ISO 8859-1 (513), computed once.
uint32_t GetKeyboardEncoding();
/// The encoding of a font. Only the empty name (before any other name was asked
/// about) gives ASCII; every other name gives UTF-8.
uint32_t GetEncodingFromFont(const string& fontName);

/// text in the target encoding. Gives text itself (shared, tag unchanged) when the
/// target is unknown, text is empty, its tag is unknown or already the target, and
/// when the conversion is not possible.
string ConvertEncoding(const string& text, uint32_t target);
/// text in the encoding of the font "System".
string ConvertToSystemEncoding(const string& text);

/// The iconv conversion of source's text from one encoding to another. Returns a
/// block with one reference that the caller owns (release it with
/// RemoveReference()): the converted text tagged `to`, or, on failure, source itself
/// with its old tag. Null when source is null.
stringStorage* ConvertTextUnix(stringStorage* source, uint32_t from, uint32_t to);

/// A copy of source's text, same length, with each 16-bit unit byte-swapped; a trailing
/// odd byte is not copied (it reads as zero). Tagged unknown for the caller to set.
/// Empty for a null source.
string ConvertUsc2ByteSwapped(stringStorage* source);

#endif  // ZYNE_ENCODINGS_ENCODINGS_H
