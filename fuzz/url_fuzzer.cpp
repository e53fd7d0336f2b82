// url_fuzzer.cpp - percent-decoding of URL components and "file://" URLs.
//
// The first byte picks the separator for whole URLs and the tag of decoded components;
// the rest is the text. Decoding never grows the text, and encoding then decoding a
// component gives the component back.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "core/string.h"
#include "encodings/Encodings.h"
#include "encodings/URLCoding.h"
#include "files/FolderItemImp.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1 || size > 1 << 20) return 0;
    const char separator = static_cast<char>(data[0]);
    string text;
    if (size > 1) text.ConstructFromBuffer(reinterpret_cast<const char*>(data + 1), size - 1);
    text.SetEncoding(kEncodingUTF8);

    static const uint32_t kTags[] = {kEncodingUTF8, kEncodingASCII, kEncodingMacRoman,
                                     kEncodingUnknown};
    const uint32_t tag = kTags[data[0] & 3];
    const string decoded = DecodeURLComponent(text, tag);
    if (decoded.Length() > text.Length()) abort();
    if (!decoded.IsEmpty() && decoded.Encoding() != tag) abort();

    const string encoded = EncodeURLComponent(text);
    const string again = DecodeURLComponent(encoded, kEncodingUTF8);
    if (again.Length() != text.Length() ||
        (text.Length() > 0 && memcmp(again.CString(), text.CString(), text.Length()) != 0)) {
        abort();
    }

    const string path = FolderItemImp::DecodeURL(text, separator);
    if (path.Length() > text.Length()) abort();
    return 0;
}
