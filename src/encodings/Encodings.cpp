// Encodings.cpp - identifier tables, the encoding caches and iconv conversion.
//
// ConvertEncoding is the one way text changes encoding: it retags ASCII text when
// the target is a superset of ASCII, remembers its last conversion (callers join
// and compare the same text repeatedly), and otherwise calls ConvertTextUnix over
// the C library's iconv. Names are handed to iconv exactly as the table lists them;
// an iconv without one of them leaves such text unconverted. Nothing here locks.
#include "encodings/Encodings.h"

#include <cerrno>
#include <cstddef>
#include <cstring>

#include <iconv.h>

namespace {

struct IconvName {
    uint32_t encoding;
    const char* name;
};

// The system encoding's iconv name, also used for text of unknown encoding.
constexpr const char kSystemIconvName[] = "UTF-8";

// Deliberate: kept exactly as the interchange with host and guests expects, including
// the rows that share a name (1057 and 1585 both "CP936", 1056 and 2561 both "CP932"),
// 29 naming "MACUK", and 0x0D000100 / 0x0E000100 naming the 32-bit forms.
constexpr IconvName kIconvNames[] = {
    {0, "MAC"},
    {7, "MACCYRILLIC"},
    {29, "MACUK"},
    {0x100, "UTF-16"},
    {513, "ISO_8859-1"},
    {514, "ISO_8859-2"},
    {515, "ISO_8859-3"},
    {516, "ISO_8859-4"},
    {517, "ISO_8859-5"},
    {518, "ISO_8859-6"},
    {519, "ISO_8859-7"},
    {520, "ISO_8859-8"},
    {521, "ISO_8859-9"},
    {527, "ISO_8859-15:1998"},
    {1024, "CP437"},
    {1029, "CP737"},
    {1030, "CP775"},
    {1040, "CP850"},
    {1041, "CP851"},
    {1042, "CP852"},
    {1043, "CP855"},
    {1044, "CP857"},
    {1045, "CP860"},
    {1046, "CP861"},
    {1047, "CP862"},
    {1048, "CP863"},
    {1049, "CP864"},
    {1050, "CP865"},
    {1051, "CP866"},
    {1052, "CP869"},
    {1053, "CP874"},
    {1056, "CP932"},
    {1057, "CP936"},
    {1058, "CP949"},
    {1059, "CP950"},
    {1280, "CP1252"},
    {1281, "CP1250"},
    {1282, "CP1251"},
    {1283, "CP1253"},
    {1284, "CP1254"},
    {1285, "CP1255"},
    {1286, "CP1256"},
    {1287, "CP1257"},
    {1288, "CP1258"},
    {1296, "CP1361"},
    {0x600, "US-ASCII"},
    {1585, "CP936"},
    {2080, "ISO-2022-JP"},
    {2336, "EUCJP"},
    {2561, "CP932"},
    {2562, "KOI8_R"},
    {3073, "CP037"},
    {3074, "CP037"},
    {0x08000100, "UTF-8"},
    {0x0C000100, "UTF-32"},
    {0x0D000100, "UTF-32LE"},
    {0x0E000100, "UTF-32BE"},
    {0x10000100, "UTF-16BE"},
    {0x14000100, "UTF-16LE"},
    {kEncodingUnknown, kSystemIconvName},
};

// The font-encoding cache. Deliberate: the cached name is never replaced, so it
// stays the empty string and only the empty name ever matches it.
struct FontEncodingCache {
    string name;
    uint32_t encoding = kEncodingASCII;
};

FontEncodingCache& FontCache() {
    static FontEncodingCache gCache;
    return gCache;
}

// ConvertEncoding's one entry: the last source (held, so its block cannot be reused
// for other text while cached) and what it became.
struct ConversionCache {
    string source;
    string result;
};

ConversionCache& LastConversion() {
    static ConversionCache gCache;
    return gCache;
}

// ASCII text is valid as it stands in UTF-8 and in every 8-bit encoding up to 0xFFFF.
bool IsAsciiSuperset(uint32_t target) {
    return target == kEncodingUTF8 || (target <= 0xFFFF && !(target >= 256 && target <= 512));
}

stringStorage* ShareBlock(stringStorage* block) {
    ++block->referenceCount;
    return block;
}

}  // namespace

const char* GetIconvName(uint32_t encoding) {
    for (const IconvName& row : kIconvNames) {
        if (row.encoding == encoding) return row.name;
    }
    return nullptr;
}

void GetEncodingAttributes(unsigned long encoding, int& base, int& variant, int& format) {
    // The Unicode identifiers: base 256 and their format number.
    static constexpr struct {
        uint32_t encoding;
        int format;
    } kUnicodeFormats[] = {{0x08000100, 2}, {0x0C000100, 7}, {0x0D000100, 7},
                           {0x0E000100, 6}, {0x10000100, 4}, {0x14000100, 5}};
    variant = 0;
    for (const auto& row : kUnicodeFormats) {
        if (row.encoding == encoding) {
            base = 256;
            format = row.format;
            return;
        }
    }
    base = static_cast<int>(encoding);
    format = 0;
}

uint32_t GetEncodingFromFont(const string& fontName) {
    FontEncodingCache& cache = FontCache();
    if (fontName.GetStorage() == cache.name.GetStorage()) return cache.encoding;
    cache.encoding = kEncodingUTF8;
    return cache.encoding;
}

uint32_t GetSystemEncoding() {
    static const uint32_t gSystemEncoding = GetEncodingFromFont(string("System"));
    return gSystemEncoding;
}

uint32_t GetKeyboardEncoding() {
    static const uint32_t gKeyboardEncoding = kEncodingISOLatin1;
    return gKeyboardEncoding;
}

string ConvertEncoding(const string& text, uint32_t target) {
    const uint32_t source = text.Encoding();
    if (target == kEncodingUnknown || text.IsEmpty() || source == kEncodingUnknown ||
        source == target) {
        return text;
    }
    ConversionCache& cache = LastConversion();
    if (text.GetStorage() == cache.source.GetStorage() && !cache.result.IsEmpty() &&
        cache.result.Encoding() == target) {
        return cache.result;
    }
    cache.source = text;
    string result;
    if (source == kEncodingASCII && IsAsciiSuperset(target)) {
        result.ConstructFromBuffer(text.GetStorage());
        result.SetEncoding(target);
    } else {
        result = string::AdoptStorage(ConvertTextUnix(text.GetStorage(), source, target));
    }
    cache.result = result;
    return result;
}

string ConvertToSystemEncoding(const string& text) {
    static const uint32_t gSystemFontEncoding = GetEncodingFromFont(string("System"));
    return ConvertEncoding(text, gSystemFontEncoding);
}

stringStorage* ConvertTextUnix(stringStorage* source, uint32_t from, uint32_t to) {
    if (!source) return nullptr;
    const char* fromName = GetIconvName(from);
    const char* toName = GetIconvName(to);
    if (!fromName || !toName || source->length == 0) return ShareBlock(source);
    iconv_t converter = iconv_open(toName, fromName);
    if (converter == reinterpret_cast<iconv_t>(-1)) return ShareBlock(source);

    // Four output bytes per input byte. A conversion that needs more (a BOM plus a
    // 32-bit unit for one input byte, say) fails and leaves the text as it was.
    const uint32_t capacity = source->length <= UINT32_MAX / 4 ? 4 * source->length : 0;
    string output;
    output.AllocateBuffer(capacity);
    stringStorage* block = output.GetStorage();
    bool ok = block != nullptr;

    char* in = source->CString();
    size_t inLeft = source->length;
    char* out = ok ? block->CString() : nullptr;
    size_t outLeft = capacity;
    while (ok) {
        if (iconv(converter, &in, &inLeft, &out, &outLeft) != static_cast<size_t>(-1)) {
            // Close the output of a stateful encoding (ISO-2022-JP back to ASCII).
            ok = iconv(converter, nullptr, nullptr, &out, &outLeft) != static_cast<size_t>(-1);
            break;
        }
        if (errno != EINVAL && errno != EILSEQ) {
            ok = false;  // E2BIG included: the output did not fit.
            break;
        }
        // A bad or truncated sequence: skip one byte, write "?" (a single byte, even
        // when the target is 16- or 32-bit).
        ++in;
        --inLeft;
        if (outLeft == 0) {
            ok = false;
            break;
        }
        *out++ = '?';
        --outLeft;
        // Deliberate: a bad byte that is the last of the input fails the whole
        // conversion, and the text comes back unconverted.
        if (inLeft == 0) ok = false;
    }
    iconv_close(converter);
    if (!ok) return ShareBlock(source);

    const auto produced = static_cast<uint32_t>(capacity - outLeft);
    // Zero all four terminator bytes, not just one, so 16- and 32-bit text ends too.
    std::memset(block->CString() + produced, 0, 4);
    block->length = produced;
    // Deliberate: the Pascal length byte keeps the value set at allocation.
    block->encoding = to;
    return output.ExtractStringStorage();
}

string ConvertUsc2ByteSwapped(stringStorage* source) {
    string result;
    if (!source) return result;
    result.AllocateBuffer(source->length);
    if (result.IsEmpty()) return result;
    const auto* in = reinterpret_cast<const unsigned char*>(source->CString());
    auto* out = reinterpret_cast<unsigned char*>(result.CString());
    const uint32_t units = source->length / 2;
    for (uint32_t i = 0; i < units; ++i) {
        out[2 * i] = in[2 * i + 1];
        out[2 * i + 1] = in[2 * i];
    }
    // A trailing odd byte is not copied.
    if (source->length % 2 != 0) out[source->length - 1] = 0;
    return result;
}
