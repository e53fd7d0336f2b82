// BmpDecoderTest.cpp - the bitmap decoder against byte images built here: every depth and
// row order it reads, and the malformed files it must refuse without reading past the end.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "bridge/BmpDecoder.h"

namespace {

using Bytes = std::vector<unsigned char>;

void Put16(Bytes& b, size_t at, uint32_t v) {
    b[at] = v & 0xFF;
    b[at + 1] = (v >> 8) & 0xFF;
}
void Put32(Bytes& b, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) b[at + i] = (v >> (8 * i)) & 0xFF;
}

// A bitmap file: header fields, then the palette (B, G, R, 0 per entry), then the stored
// rows exactly as given (padding included). Fields may be set to wrong values on purpose.
struct BmpShape {
    int32_t width = 1;
    int32_t height = 1;
    uint16_t bits = 24;
    uint32_t compression = 0;
    uint32_t infoSize = 40;
    uint16_t planes = 1;
    std::vector<uint32_t> palette{};  // 0xRRGGBB
    uint32_t colorsUsed = 0;
    std::vector<uint32_t> masks{};  // written after a 40-byte header, or into a longer one
    Bytes rows{};
    std::optional<uint32_t> pixelOffset{};  // default: right after the palette
};

Bytes Build(const BmpShape& s) {
    const size_t masksAfter = s.infoSize == 40 ? 4 * s.masks.size() : 0;
    const size_t paletteAt = 14 + s.infoSize + masksAfter;
    const size_t rowsAt = paletteAt + 4 * s.palette.size();
    Bytes b(std::max(rowsAt, size_t{54}), 0);  // a header claiming under 40 bytes still gets 40
    b[0] = 'B';
    b[1] = 'M';
    Put32(b, 10, s.pixelOffset.value_or(static_cast<uint32_t>(rowsAt)));
    Put32(b, 14, s.infoSize);
    Put32(b, 18, static_cast<uint32_t>(s.width));
    Put32(b, 22, static_cast<uint32_t>(s.height));
    Put16(b, 26, s.planes);
    Put16(b, 28, s.bits);
    Put32(b, 30, s.compression);
    Put32(b, 46, s.colorsUsed);
    for (size_t i = 0; i < s.masks.size() && 54 + 4 * i + 4 <= b.size(); ++i)
        Put32(b, 54 + 4 * i, s.masks[i]);
    for (size_t i = 0; i < s.palette.size(); ++i) Put32(b, paletteAt + 4 * i, s.palette[i]);
    b.insert(b.end(), s.rows.begin(), s.rows.end());
    Put32(b, 2, static_cast<uint32_t>(b.size()));
    return b;
}

// Decodes `bytes` from a block of exactly their size (so an over-read is a heap overflow
// that sanitizers report) into "RRGGBBAA" words, top row first; nullopt when refused.
struct Decoded {
    long width;
    long height;
    std::vector<uint32_t> pixels;
};
std::optional<Decoded> Decode(const Bytes& bytes, size_t length) {
    std::vector<unsigned char> exact(bytes.begin(), bytes.begin() + static_cast<long>(length));
    BmpImage image;
    if (!DecodeBmp(exact.data(), exact.size(), &image)) {
        EXPECT_EQ(image.pixels, nullptr);
        return std::nullopt;
    }
    Decoded out{image.width, image.height, {}};
    for (long i = 0; i < image.width * image.height; ++i) {
        const unsigned char* p = image.pixels + 4 * i;
        out.pixels.push_back((uint32_t{p[0]} << 24) | (p[1] << 16) | (p[2] << 8) | p[3]);
    }
    FreeBmpImage(&image);
    EXPECT_EQ(image.pixels, nullptr);
    return out;
}
std::optional<Decoded> Decode(const Bytes& bytes) {
    return Decode(bytes, bytes.size());
}

constexpr uint32_t kRed = 0xFF0000FF, kGreen = 0x00FF00FF, kBlue = 0x0000FFFF, kWhite = 0xFFFFFFFF,
                   kBlack = 0x000000FF;

struct GoodCase {
    const char* name;
    std::vector<uint32_t> expected;  // top row first; the size is width by |height|
    BmpShape shape;
};

std::vector<GoodCase> GoodCases() {
    std::vector<uint32_t> row33(33, kBlack);
    row33[32] = kRed;
    // clang-format off
    return {
        // Stored bottom-up: the first stored row is the bottom one. Leftmost pixel in the
        // high bit; rows padded to four bytes.
        {"1-bit bottom-up", {kBlack, kWhite, kBlack, kWhite, kBlack, kWhite},
         {.width = 3, .height = 2, .bits = 1, .palette = {0x000000, 0xFFFFFF},
          .rows = {0xA0, 0, 0, 0, /* top: */ 0x40, 0, 0, 0}}},
        {"1-bit row of 33 pixels needs 8 bytes", row33,
         {.width = 33, .bits = 1, .palette = {0x000000, 0xFF0000},
          .rows = {0, 0, 0, 0, 0x80, 0, 0, 0}}},
        {"4-bit, high nibble first", {kRed, kGreen, kBlack},
         {.width = 3, .bits = 4, .palette = {0x000000, 0xFF0000, 0x00FF00}, .colorsUsed = 3,
          .rows = {0x12, 0x00, 0, 0}}},
        {"8-bit top-down", {kRed, kGreen, kBlue, kBlue},
         {.width = 2, .height = -2, .bits = 8, .palette = {0xFF0000, 0x00FF00, 0x0000FF},
          .colorsUsed = 3, .rows = {0, 1, 0, 0, 2, 2, 0, 0}}},
        {"24-bit bottom-up with padding", {kRed, kWhite, kBlue, kGreen},
         {.width = 2, .height = 2,
          .rows = {0xFF, 0, 0, 0, 0xFF, 0, 0, 0, /* top: */ 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0}}},
        {"32-bit with a zero fourth byte everywhere is opaque", {kRed, 0x302010FF},
         {.width = 2, .bits = 32, .rows = {0, 0, 0xFF, 0, 0x10, 0x20, 0x30, 0}}},
        {"32-bit with a fourth byte in use keeps it as alpha", {0xFF000080, 0x0000FF00},
         {.width = 2, .bits = 32, .rows = {0, 0, 0xFF, 0x80, 0xFF, 0, 0, 0}}},
        {"32-bit bit fields after a short header, 5 bits a channel", {0xFFFFFFFF, 0x008484FF},
         {.width = 2, .bits = 32, .compression = 3, .masks = {0x7C00, 0x03E0, 0x001F},
          .rows = {0xFF, 0x7F, 0, 0, 0x10, 0x02, 0, 0}}},
        {"32-bit bit fields in a 124-byte header with alpha", {0x11223340},
         {.bits = 32, .compression = 3, .infoSize = 124,
          .masks = {0x0000FF00, 0x00FF0000, 0xFF000000, 0x000000FF},
          .rows = {0x40, 0x11, 0x22, 0x33}}},
        {"a 52-byte header carries masks but no alpha", {0x112233FF},
         {.bits = 32, .compression = 3, .infoSize = 52,
          .masks = {0x000000FF, 0x0000FF00, 0x00FF0000}, .rows = {0x11, 0x22, 0x33, 0x44}}},
        {"rows may start after a gap", {kRed},
         {.rows = {0, 0, 0, 0, 0, 0, 0xFF, 0}, .pixelOffset = 54 + 4}},
    };
    // clang-format on
}

TEST(BmpDecoderTest, DecodesEveryDepthAndRowOrder) {
    for (const GoodCase& c : GoodCases()) {
        SCOPED_TRACE(c.name);
        const std::optional<Decoded> d = Decode(Build(c.shape));
        ASSERT_TRUE(d.has_value());
        EXPECT_EQ(d->width, c.shape.width);
        EXPECT_EQ(d->height, std::abs(c.shape.height));
        EXPECT_EQ(d->pixels, c.expected);
    }
}

TEST(BmpDecoderTest, EveryTruncationOfAGoodFileIsRefused) {
    for (const GoodCase& c : GoodCases()) {
        SCOPED_TRACE(c.name);
        const Bytes whole = Build(c.shape);
        for (size_t length = 0; length < whole.size(); ++length)
            EXPECT_FALSE(Decode(whole, length).has_value()) << "length " << length;
    }
}

TEST(BmpDecoderTest, RefusesMalformedFiles) {
    const BmpShape good24{.rows = {0, 0, 0, 0}};
    const BmpShape good8{.bits = 8, .palette = {0, 0}, .colorsUsed = 2, .rows = {1, 0, 0, 0}};
    const BmpShape fields{
        .bits = 32, .compression = 3, .masks = {0xFF0000, 0xFF00, 0xFF}, .rows = {0, 0, 0, 0}};
    // A good file with one change: to its shape, or to its bytes once built.
    auto with = [](BmpShape s, auto change) {
        change(s);
        return Build(s);
    };
    auto patched = [](const BmpShape& s, auto change) {
        Bytes b = Build(s);
        change(b);
        return b;
    };
    using S = BmpShape&;
    // clang-format off
    const struct {
        const char* name;
        Bytes bytes;
    } cases[] = {
        {"wrong magic", patched(good24, [](Bytes& b) { b[1] = 'A'; })},
        {"core header", with(good24, [](S s) { s.infoSize = 12; })},
        {"header of 39 bytes", with(good24, [](S s) { s.infoSize = 39; })},
        {"header longer than the file", patched(good24, [](Bytes& b) { Put32(b, 14, 4000); })},
        {"width 0", with(good24, [](S s) { s.width = 0; })},
        {"negative width", with(good24, [](S s) { s.width = -1; })},
        {"height 0", with(good24, [](S s) { s.height = 0; })},
        {"most negative height", with(good24, [](S s) { s.height = INT32_MIN; })},
        {"side above the limit", with(good24, [](S s) {
             s.width = static_cast<int32_t>(kBmpMaxSide + 1); })},
        // 2^30 * 4 * 4 bytes wraps a 32-bit size to 0: refused before anything is multiplied.
        {"width * height * 4 overflows", with(good24, [](S s) {
             s.width = 1 << 30; s.height = 4; })},
        {"too many pixels in total", with(good24, [](S s) {
             s.width = static_cast<int32_t>(kBmpMaxSide);
             s.height = static_cast<int32_t>(kBmpMaxPixels / kBmpMaxSide + 1); })},
        {"two planes", with(good24, [](S s) { s.planes = 2; })},
        {"16 bits", with(good24, [](S s) { s.bits = 16; })},
        {"2 bits", with(good8, [](S s) { s.bits = 2; })},
        {"run-length 8-bit", with(good8, [](S s) { s.compression = 1; })},
        {"bit fields on 24 bits", with(good24, [](S s) { s.compression = 3; })},
        {"embedded image", with(good24, [](S s) { s.compression = 4; })},
        {"more colours than 1 bit allows", with(good8, [](S s) {
             s.bits = 1; s.colorsUsed = 3; s.palette = {0, 0, 0}; })},
        {"palette index past the palette", with(good8, [](S s) { s.rows[0] = 2; })},
        {"1-bit index past a one-entry palette", with(good8, [](S s) {
             s.bits = 1; s.colorsUsed = 1; s.palette = {0}; s.rows = {0x80, 0, 0, 0}; })},
        {"pixels inside the headers", with(good24, [](S s) { s.pixelOffset = 14 + 40 - 1; })},
        {"pixels over the palette", with(good8, [](S s) {
             s.pixelOffset = 14 + 40 + 4; s.rows.resize(8); })},
        {"pixel offset past the end", with(good24, [](S s) { s.pixelOffset = 1u << 31; })},
        {"a zero mask", with(fields, [](S s) { s.masks[1] = 0; })},
        {"a mask with a gap", with(fields, [](S s) { s.masks[2] = 0x05; })},
        {"overlapping masks", with(fields, [](S s) { s.masks[1] = 0x1FF00; })},
        {"alpha overlapping a colour", with(fields, [](S s) {
             s.infoSize = 56; s.masks.push_back(0xFF); })},
        {"bit fields in a 48-byte header", with(fields, [](S s) { s.infoSize = 48; })},
    };
    // clang-format on
    // The files the cases spoil are themselves good.
    for (const BmpShape& base : {good24, good8, fields})
        ASSERT_TRUE(Decode(Build(base)).has_value());
    for (const auto& c : cases) EXPECT_FALSE(Decode(c.bytes).has_value()) << c.name;
}

TEST(BmpDecoderTest, NilInputsAreRefusedAndFreeingTwiceIsHarmless) {
    BmpImage image;
    EXPECT_FALSE(DecodeBmp(nullptr, 100, &image));
    const Bytes good = Build({.width = 1, .height = 1, .bits = 24, .rows = {0, 0, 0, 0}});
    EXPECT_FALSE(DecodeBmp(good.data(), good.size(), nullptr));
    ASSERT_TRUE(DecodeBmp(good.data(), good.size(), &image));
    FreeBmpImage(&image);
    FreeBmpImage(&image);
    FreeBmpImage(nullptr);
    EXPECT_EQ(image.width, 0);
}

}  // namespace
