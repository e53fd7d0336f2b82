// bmp_fuzzer.cpp - the bitmap decoder over the input's bytes.
//
// A decoded image must keep the decoder's own limits and hold exactly width * height * 4
// bytes of pixels (every byte is read, so a short buffer is caught); a refused one must be
// left empty.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "bridge/BmpDecoder.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    BmpImage image;
    if (!DecodeBmp(data, size, &image)) {
        if (image.pixels != nullptr || image.width != 0 || image.height != 0) abort();
        FreeBmpImage(&image);
        return 0;
    }
    if (image.pixels == nullptr || image.width < 1 || image.height < 1 ||
        image.width > kBmpMaxSide || image.height > kBmpMaxSide ||
        image.width * image.height > kBmpMaxPixels) {
        abort();
    }
    unsigned sum = 0;
    const size_t bytes = static_cast<size_t>(image.width) * static_cast<size_t>(image.height) * 4;
    for (size_t i = 0; i < bytes; ++i) sum += image.pixels[i];
    volatile unsigned sink = sum;
    (void)sink;
    FreeBmpImage(&image);
    if (image.pixels != nullptr) abort();
    return 0;
}
