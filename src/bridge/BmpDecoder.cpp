// BmpDecoder.cpp - decoding Windows bitmaps into RGBA pixels, with every read bounded.
//
// A bitmap file, all fields little-endian:
//
//   OFFSET          SIZE      FIELD          MEANING
//   0               2         magic          "BM"
//   2               4         fileSize       not trusted; the buffer's length is
//   6               4         reserved       ignored
//   10              4         pixelOffset    where the first stored row starts
//   14              4         infoSize       40, or a later header's size (52 .. 124);
//                                            12 (the core header) is refused
//   18              4         width          pixels, above 0
//   22              4         height         pixels; above 0: rows stored bottom-up,
//                                            below 0: top-down; never 0
//   26              2         planes         1
//   28              2         bitCount       1, 4, 8, 24 or 32
//   30              4         compression    0 uncompressed; 3 bit-field masks (32 bits)
//   34              20        -              image size, resolution: ignored
//   46              4         colorsUsed     palette entries; 0 = 1 << bitCount
//   50              4         -              important colours: ignored
//   54              12        masks          red, green, blue masks, 40-byte header with
//                                            compression 3 only; later headers hold them
//                                            at 54 and add alpha at 66 (56 bytes and up)
//   14 + infoSize   4 * n     palette        blue, green, red, unused (1 .. 8 bits only)
//   pixelOffset     ...       rows           each padded to a multiple of 4 bytes
//
// Palette colours are opaque. Uncompressed 32-bit pixels carry alpha in their fourth
// byte only when some pixel of the image has a non-zero fourth byte; otherwise (the usual
// case: writers leave it 0) every pixel is opaque.
#include "bridge/BmpDecoder.h"

#include <cstdlib>

namespace {

constexpr uint64_t kFileHeaderSize = 14;
constexpr uint32_t kInfoHeaderSize = 40;
constexpr uint32_t kCompressionNone = 0;
constexpr uint32_t kCompressionBitFields = 3;

uint16_t U16(const unsigned char* p) {
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}

uint32_t U32(const unsigned char* p) {
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
           (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}

// One channel of a bit-field pixel: where its bits lie and how many there are.
struct Channel {
    uint32_t mask = 0;
    int shift = 0;
    int bits = 0;

    // False for a mask that is not one run of set bits; an empty mask is "absent".
    bool Set(uint32_t value) {
        mask = value;
        if (value == 0) return true;
        while (((value >> shift) & 1U) == 0) ++shift;
        const uint32_t run = value >> shift;
        if ((run & (run + 1)) != 0) return false;  // a gap inside the mask
        while (bits < 32 && ((run >> bits) & 1U) != 0) ++bits;
        return true;
    }
    // The channel's value scaled to 0 .. 255.
    unsigned char Read(uint32_t pixel) const {
        const uint32_t value = (pixel & mask) >> shift;
        if (bits >= 8) return static_cast<unsigned char>(value >> (bits - 8));
        const uint32_t max = (1U << bits) - 1;
        return static_cast<unsigned char>((value * 255 + max / 2) / max);
    }
};

// Everything the headers say, checked against the buffer.
struct Layout {
    long width = 0;
    long height = 0;  // always positive here
    bool topDown = false;
    int bitCount = 0;
    uint64_t pixelOffset = 0;
    uint64_t stride = 0;  // bytes per stored row, padding included
    const unsigned char* palette = nullptr;
    uint32_t paletteCount = 0;
    bool bitFields = false;
    Channel red, green, blue, alpha;
};

bool ReadMasks(const unsigned char* at, bool withAlpha, Layout* layout) {
    if (!layout->red.Set(U32(at)) || !layout->green.Set(U32(at + 4)) ||
        !layout->blue.Set(U32(at + 8)) || !layout->alpha.Set(withAlpha ? U32(at + 12) : 0)) {
        return false;
    }
    const uint32_t r = layout->red.mask, g = layout->green.mask, b = layout->blue.mask,
                   a = layout->alpha.mask;
    if (r == 0 || g == 0 || b == 0) return false;
    return (r & g) == 0 && (r & b) == 0 && (g & b) == 0 && ((r | g | b) & a) == 0;
}

bool ReadLayout(const unsigned char* bytes, size_t length, Layout* layout) {
    const uint64_t size = length;
    if (bytes == nullptr || size < kFileHeaderSize + kInfoHeaderSize) return false;
    if (bytes[0] != 'B' || bytes[1] != 'M') return false;
    const unsigned char* info = bytes + kFileHeaderSize;
    const uint32_t infoSize = U32(info);
    if (infoSize < kInfoHeaderSize || kFileHeaderSize + infoSize > size) return false;

    const auto width = static_cast<int32_t>(U32(info + 4));
    const auto height = static_cast<int32_t>(U32(info + 8));
    const uint16_t planes = U16(info + 12);
    const uint16_t bitCount = U16(info + 14);
    const uint32_t compression = U32(info + 16);
    const uint32_t colorsUsed = U32(info + 32);

    // Sides are bounded before anything is multiplied, so no product below can overflow
    // (kBmpMaxPixels * 4 fits a 32-bit size_t).
    const int64_t rows = height < 0 ? -static_cast<int64_t>(height) : height;
    if (width <= 0 || rows == 0 || width > kBmpMaxSide || rows > kBmpMaxSide) return false;
    if (static_cast<int64_t>(width) * rows > kBmpMaxPixels) return false;
    if (planes != 1) return false;
    layout->width = width;
    layout->height = static_cast<long>(rows);
    layout->topDown = height < 0;
    layout->bitCount = bitCount;

    uint64_t headersEnd = kFileHeaderSize + infoSize;
    switch (bitCount) {
        case 1:
        case 4:
        case 8: {
            if (compression != kCompressionNone) return false;
            const uint32_t most = 1U << bitCount;
            if (colorsUsed > most) return false;
            layout->paletteCount = colorsUsed != 0 ? colorsUsed : most;
            if (headersEnd + 4ULL * layout->paletteCount > size) return false;
            layout->palette = bytes + headersEnd;
            headersEnd += 4ULL * layout->paletteCount;
            break;
        }
        case 24:
            if (compression != kCompressionNone) return false;
            break;
        case 32:
            if (compression == kCompressionBitFields) {
                layout->bitFields = true;
                if (infoSize == kInfoHeaderSize) {
                    // The three masks follow the short header.
                    if (headersEnd + 12 > size) return false;
                    if (!ReadMasks(bytes + headersEnd, false, layout)) return false;
                    headersEnd += 12;
                } else {
                    if (infoSize < 52) return false;
                    if (!ReadMasks(info + kInfoHeaderSize, infoSize >= 56, layout)) return false;
                }
            } else if (compression != kCompressionNone) {
                return false;
            }
            break;
        default:
            return false;  // 16 bits and anything unknown
    }

    layout->pixelOffset = U32(bytes + 10);
    // Rows start after every header, never inside one (a palette may not be overlapped).
    if (layout->pixelOffset < headersEnd) return false;
    layout->stride = ((static_cast<uint64_t>(width) * bitCount + 31) / 32) * 4;
    return layout->pixelOffset + layout->stride * layout->height <= size;
}

// Decodes one stored row into `out` (width RGBA pixels). False on a palette index the
// file does not have. `anyAlpha` collects whether a 32-bit pixel had a fourth byte.
bool DecodeRow(const Layout& layout, const unsigned char* row, unsigned char* out, bool* anyAlpha) {
    for (long x = 0; x < layout.width; ++x, out += 4) {
        switch (layout.bitCount) {
            case 1:
            case 4:
            case 8: {
                const int bits = layout.bitCount;
                const long bitPosition = x * bits;
                const unsigned byte = row[bitPosition / 8];
                // The leftmost pixel is in the byte's most significant bits.
                const int shift = 8 - bits - static_cast<int>(bitPosition % 8);
                const unsigned index = (byte >> shift) & ((1U << bits) - 1);
                if (index >= layout.paletteCount) return false;
                const unsigned char* entry = layout.palette + 4 * index;
                out[0] = entry[2];
                out[1] = entry[1];
                out[2] = entry[0];
                out[3] = 255;
                break;
            }
            case 24: {
                const unsigned char* p = row + 3 * x;
                out[0] = p[2];
                out[1] = p[1];
                out[2] = p[0];
                out[3] = 255;
                break;
            }
            default: {  // 32
                const unsigned char* p = row + 4 * x;
                if (layout.bitFields) {
                    const uint32_t pixel = U32(p);
                    out[0] = layout.red.Read(pixel);
                    out[1] = layout.green.Read(pixel);
                    out[2] = layout.blue.Read(pixel);
                    out[3] = layout.alpha.mask != 0 ? layout.alpha.Read(pixel) : 255;
                } else {
                    out[0] = p[2];
                    out[1] = p[1];
                    out[2] = p[0];
                    out[3] = p[3];
                    if (p[3] != 0) *anyAlpha = true;
                }
                break;
            }
        }
    }
    return true;
}

}  // namespace

bool DecodeBmp(const unsigned char* bytes, size_t length, BmpImage* image) {
    if (image == nullptr) return false;
    *image = BmpImage{};
    Layout layout;
    if (!ReadLayout(bytes, length, &layout)) return false;

    const size_t rowBytes = static_cast<size_t>(layout.width) * 4;
    auto* pixels = static_cast<unsigned char*>(std::malloc(rowBytes * layout.height));
    if (pixels == nullptr) return false;
    bool anyAlpha = false;
    for (long y = 0; y < layout.height; ++y) {
        const long stored = layout.topDown ? y : layout.height - 1 - y;
        const unsigned char* row =
            bytes + layout.pixelOffset + layout.stride * static_cast<uint64_t>(stored);
        if (!DecodeRow(layout, row, pixels + rowBytes * y, &anyAlpha)) {
            std::free(pixels);
            return false;
        }
    }
    if (layout.bitCount == 32 && !layout.bitFields && !anyAlpha) {
        // No pixel used the fourth byte: it is padding, not transparency.
        for (size_t i = 3; i < rowBytes * layout.height; i += 4) pixels[i] = 255;
    }
    image->width = layout.width;
    image->height = layout.height;
    image->pixels = pixels;
    return true;
}

void FreeBmpImage(BmpImage* image) {
    if (image == nullptr) return;
    std::free(image->pixels);
    *image = BmpImage{};
}
