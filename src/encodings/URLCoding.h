// URLCoding.h - percent-encoding of URL components, byte by byte.
//
// Encoding escapes every byte outside A-Z, a-z, 0-9, "-", "_" and "."; decoding turns
// "%XY" escapes back into bytes with the framework's own, long-standing digit rules
// (see DecodeURLComponent). Neither looks at the text's encoding: the bytes are what
// they are. Not here: splitting or building whole URLs ("file://" is the folder
// items' business).
#ifndef ZYNE_ENCODINGS_URL_CODING_H
#define ZYNE_ENCODINGS_URL_CODING_H

#include <cstdint>

#include "core/string.h"

/// text with every unsafe byte written as "%" and two upper-case hexadecimal digits,
/// tagged ASCII. Empty for empty text.
string EncodeURLComponent(const string& text);

/// text with "%XY" escapes decoded, tagged `encoding`. A lower-case second digit
/// replaces the first ("%2f" gives 0xF0, "%2F" gives 0x2F); an invalid first digit
/// contributes nothing. Each "%" counts as three input bytes for one output byte, also
/// near the end, so a "%" among the last two bytes shortens the result. Never fails.
string DecodeURLComponent(const string& text, uint32_t encoding);

#endif  // ZYNE_ENCODINGS_URL_CODING_H
