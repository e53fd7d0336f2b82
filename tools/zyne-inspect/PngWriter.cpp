// PngWriter.cpp - RGBA pixels to a PNG file with libpng, for the controls' palette icons.
//
// libpng reports errors by longjmp; the setjmp here is the only one in the tool and
// guards nothing but libpng's own calls, with no C++ object alive across it. A build
// without libpng (the i386 one here) keeps the functions and answers that it cannot.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "Inspect.h"

#ifdef ZYNE_INSPECT_HAVE_PNG
#include <csetjmp>

#include <png.h>
#endif

namespace inspect {

#ifdef ZYNE_INSPECT_HAVE_PNG

bool CanWritePng() {
    return true;
}

namespace {

// The libpng part, with plain C data only, so that a longjmp skips no destructor.
// Returns null on success, else libpng's message (a static text).
const char* EncodePng(FILE* file, png_uint_32 width, png_uint_32 height, png_bytep* rows) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    if (png == nullptr) return "out of memory";
    png_infop info = png_create_info_struct(png);
    if (info == nullptr) {
        png_destroy_write_struct(&png, nullptr);
        return "out of memory";
    }
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return "libpng could not encode the picture";
    }
    png_init_io(png, file);
    png_set_IHDR(png, info, width, height, 8, PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    png_write_image(png, rows);
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return nullptr;
}

}  // namespace

bool WritePng(const std::string& path, long width, long height,
              const std::vector<unsigned char>& rgba, std::string* error) {
    if (width <= 0 || height <= 0 || width > 65535 || height > 65535 ||
        rgba.size() != static_cast<size_t>(width) * static_cast<size_t>(height) * 4) {
        *error = path + ": the picture's size does not match its pixels";
        return false;
    }
    std::vector<png_bytep> rows(static_cast<size_t>(height));
    for (long y = 0; y < height; ++y)
        rows[static_cast<size_t>(y)] = const_cast<png_bytep>(rgba.data()) +
                                       static_cast<size_t>(y) * static_cast<size_t>(width) * 4;
    FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        *error = path + ": " + std::strerror(errno);
        return false;
    }
    const char* failure = EncodePng(file, static_cast<png_uint_32>(width),
                                    static_cast<png_uint_32>(height), rows.data());
    const bool closed = std::fclose(file) == 0;
    if (failure != nullptr || !closed) {
        *error = path + ": " + (failure != nullptr ? failure : std::strerror(errno));
        std::remove(path.c_str());
        return false;
    }
    return true;
}

#else

bool CanWritePng() {
    return false;
}

bool WritePng(const std::string& path, long, long, const std::vector<unsigned char>&,
              std::string* error) {
    *error = path + ": this build of zyne-inspect has no PNG support (no libpng for its target)";
    return false;
}

#endif

}  // namespace inspect
