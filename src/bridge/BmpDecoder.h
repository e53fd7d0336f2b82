// BmpDecoder.h - a bounds-checked decoder of Windows bitmaps for palette icons.
//
// Decodes a whole ".bmp" file held in memory into 8-bit RGBA pixels, top row first,
// which is what the bridge hands to the host's "ZYNEBuildPictureFromBuffer". The input is
// untrusted (it comes out of a plug-in container): every offset, count and size is
// checked against the bytes actually present before anything is read or allocated.
//
// Decoded: the 40-byte info header and its later, longer forms (52, 56, 64, 108, 124
// bytes); 1, 4 and 8 bits per pixel through a palette; 24 bits (B, G, R); 32 bits
// uncompressed (B, G, R, X) or with bit-field masks; bottom-up and top-down rows; rows
// padded to four bytes. Refused: the 12-byte core header, 16 bits per pixel, run-length
// and embedded JPEG/PNG compression, and anything malformed (see DecodeBmp).
#ifndef ZYNE_BRIDGE_BMP_DECODER_H
#define ZYNE_BRIDGE_BMP_DECODER_H

#include <cstddef>
#include <cstdint>

/// The pixel type word handed to "ZYNEBuildPictureFromBuffer" for a decoded bitmap: four
/// bytes per pixel in memory order red, green, blue, alpha (alpha 255 is opaque), rows
/// top first, each row exactly width * 4 bytes (the rowBytes argument says so too).
/// The reference host accepts this value and no other.
inline constexpr long kPixelTypeRGBA8 = 1;

/// The largest width or height decoded; palette icons are a few dozen pixels wide.
inline constexpr long kBmpMaxSide = 16384;
/// The most pixels one bitmap may hold (64 MiB of RGBA output).
inline constexpr long kBmpMaxPixels = 16L * 1024 * 1024;

/// A decoded bitmap. `pixels` is malloc'ed, width * height * 4 bytes in the
/// kPixelTypeRGBA8 layout, and owned by whoever holds the image (FreeBmpImage).
struct BmpImage {
    long width = 0;
    long height = 0;
    unsigned char* pixels = nullptr;
};

/// Decodes the `length` bytes at `bytes` (a whole .bmp file) into `*image`. False, with
/// `*image` left empty, when the bytes are not a bitmap this decoder reads: no "BM"
/// magic; a header or palette or pixel rows running past the end; a pixel offset inside
/// the headers; width or height 0, negative width, a side above kBmpMaxSide or more than
/// kBmpMaxPixels pixels (so width * height * 4 never overflows); planes other than 1; an
/// unsupported depth or compression; a palette larger than the depth allows; a pixel that
/// names a palette entry the file does not have; bit-field masks that are empty, not one
/// run of bits, or overlapping. Nothing is read outside [bytes, bytes + length).
bool DecodeBmp(const unsigned char* bytes, size_t length, BmpImage* image);

/// Frees the image's pixels and empties it. Harmless on an empty image or nil.
void FreeBmpImage(BmpImage* image);

#endif  // ZYNE_BRIDGE_BMP_DECODER_H
