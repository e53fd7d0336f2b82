// URLCoding.cpp - EncodeURLComponent and DecodeURLComponent.
//
// Both measure their output first and allocate it once.
#include "encodings/URLCoding.h"

#include "encodings/Encodings.h"

namespace {

bool IsSafe(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '_' || c == '.';
}

// 0-15 for 0-9, A-F and a-f; -1 otherwise.
int HexValue(unsigned char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

}  // namespace

string EncodeURLComponent(const string& text) {
    const auto* in = reinterpret_cast<const unsigned char*>(text.CString());
    const uint32_t length = text.Length();
    uint64_t outLength = length;
    for (uint32_t i = 0; i < length; ++i) {
        if (!IsSafe(in[i])) outLength += 2;
    }
    string result;
    if (outLength > UINT32_MAX - kStringBlockOverhead) return result;
    result.AllocateBuffer(static_cast<unsigned>(outLength));
    if (result.IsEmpty()) return result;
    static constexpr char kHex[] = "0123456789ABCDEF";
    char* out = result.CString();
    for (uint32_t i = 0; i < length; ++i) {
        const unsigned char c = in[i];
        if (IsSafe(c)) {
            *out++ = static_cast<char>(c);
        } else {
            *out++ = '%';
            *out++ = kHex[c >> 4];
            *out++ = kHex[c & 0xF];
        }
    }
    result.SetEncoding(kEncodingASCII);
    return result;
}

string DecodeURLComponent(const string& text, uint32_t encoding) {
    const auto* in = reinterpret_cast<const unsigned char*>(text.CString());
    const long length = text.Length();
    // Each "%" stands for three input bytes and one output byte, wherever it is.
    long escapes = 0;
    for (long i = 0; i < length; ++i) {
        if (in[i] == '%') {
            ++escapes;
            i += 2;
        }
    }
    const long outLength = length - 2 * escapes;
    string result;
    if (outLength <= 0) return result;
    result.AllocateBuffer(static_cast<unsigned>(outLength));
    if (result.IsEmpty()) return result;
    auto* out = reinterpret_cast<unsigned char*>(result.CString());
    long i = 0;
    for (long j = 0; j < outLength; ++j) {
        if (in[i] != '%') {
            out[j] = in[i++];
            continue;
        }
        unsigned char byte = 0;
        const int first = i + 1 < length ? HexValue(in[i + 1]) : -1;
        if (first >= 0) byte = static_cast<unsigned char>(first * 16);
        if (i + 2 < length) {
            const unsigned char c = in[i + 2];
            // Deliberate: 0-9 and A-F fill the low four bits, but a lower-case a-f
            // sets the whole byte to digit * 16, replacing the first digit: "%2F" is
            // 0x2F, "%2f" is 0xF0. Stored names depend on this decoding.
            if ((c >= '0' && c <= '9') || (c >= 'A' && c <= 'F')) {
                byte = static_cast<unsigned char>(byte | HexValue(c));
            } else if (c >= 'a' && c <= 'f') {
                byte = static_cast<unsigned char>(HexValue(c) * 16);
            }
        }
        out[j] = byte;
        i += 3;
    }
    result.SetEncoding(encoding);
    return result;
}
