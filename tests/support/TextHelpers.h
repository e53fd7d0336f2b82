// TextHelpers.h - small helpers the text tests share: tagged strings and their bytes.
#ifndef ZYNE_TESTS_TEXT_HELPERS_H
#define ZYNE_TESTS_TEXT_HELPERS_H

#include <cstdint>
#include <cstring>
#include <string_view>

#include "core/string.h"

// A string of the given bytes (strlen when length is -1) with the given tag.
inline string Tagged(const char* bytes, uint32_t encoding, long length = -1) {
    string s;
    s.ConstructFromBuffer(bytes, static_cast<unsigned>(length < 0 ? std::strlen(bytes) : length));
    s.SetEncoding(encoding);
    return s;
}

// The string's bytes, for comparisons and readable failure messages.
inline std::string_view Bytes(const string& s) { return {s.CString(), s.Length()}; }

#endif  // ZYNE_TESTS_TEXT_HELPERS_H
