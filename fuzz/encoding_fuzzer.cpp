// encoding_fuzzer.cpp - conversion between two encodings named by the input.
//
// Each of the first two identifiers is one byte when that byte is below 0xF0 (an index
// into the identifiers the library knows, so most inputs convert for real) or, after a
// byte of 0xF0 and above, four raw bytes (any value at all). The rest is the text, tagged
// with the first identifier and converted to the second, then back, and byte-swapped as
// 16-bit units. A failed conversion must give the text back as it was.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "core/string.h"
#include "encodings/Encodings.h"

namespace {

constexpr uint32_t kKnown[] = {
    0,    7,    29,   0x100, 513,  514,  515,  516,  517,  518,  519,  520,        521,
    527,  1024, 1029, 1030,  1040, 1041, 1042, 1043, 1044, 1045, 1046, 1047,       1048,
    1049, 1050, 1051, 1052,  1053, 1056, 1057, 1058, 1059, 1280, 1281, 1282,       1283,
    1284, 1285, 1286, 1287,  1288, 1296, 0x600, 1585, 2080, 2336, 2561, 2562,      3073,
    3074, 0x08000100, 0x0C000100, 0x0D000100, 0x0E000100, 0x10000100, 0x14000100, 0xFFFF};
constexpr size_t kKnownCount = sizeof kKnown / sizeof kKnown[0];

// Reads one identifier at *at; false when the input ends first.
bool TakeIdentifier(const uint8_t* data, size_t size, size_t* at, uint32_t* out) {
    if (*at >= size) return false;
    const uint8_t first = data[(*at)++];
    if (first < 0xF0) {
        *out = kKnown[first % kKnownCount];
        return true;
    }
    if (size - *at < 4) return false;
    memcpy(out, data + *at, 4);
    *at += 4;
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 1 << 16) return 0;
    size_t at = 0;
    uint32_t from = 0;
    uint32_t to = 0;
    if (!TakeIdentifier(data, size, &at, &from) || !TakeIdentifier(data, size, &at, &to)) return 0;
    string text;
    if (size > at) text.ConstructFromBuffer(reinterpret_cast<const char*>(data + at), size - at);
    text.SetEncoding(from);

    const string converted = ConvertEncoding(text, to);
    if (converted.Encoding() != to) {
        // Not converted: the text itself, tag unchanged.
        if (converted.Encoding() != text.Encoding() || converted.Length() != text.Length() ||
            (text.Length() > 0 && memcmp(converted.CString(), text.CString(), text.Length()) != 0)) {
            abort();
        }
    }
    const string back = ConvertEncoding(converted, from);
    (void)back.Length();
    // The same conversion again is answered from the one-entry cache.
    const string cached = ConvertEncoding(text, to);
    if (cached.Length() != converted.Length() || cached.Encoding() != converted.Encoding()) abort();

    stringStorage* block = ConvertTextUnix(text.GetStorage(), from, to);
    if (block != nullptr) block->RemoveReference();
    const string swapped = ConvertUsc2ByteSwapped(text.GetStorage());
    if (swapped.Length() != text.Length()) abort();
    (void)ConvertToSystemEncoding(text);
    int base = 0, variant = 0, format = 0;
    GetEncodingAttributes(to, base, variant, format);
    return 0;
}
