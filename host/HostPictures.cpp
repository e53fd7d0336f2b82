// HostPictures.cpp - the host's pictures and the service that makes them from pixels
// ("ZYNEBuildPictureFromBuffer").
//
// A host picture is an ordinary host object of the host's own class "Picture" whose
// instance data keeps its size and a private copy of its pixels, freed when the last
// reference goes. The host takes one pixel layout, the bridge's kPixelTypeRGBA8 (four
// bytes per pixel, red, green, blue, alpha, rows top first); rows may be padded in the
// buffer handed over (rowBytes), the copy is packed. Nothing is drawn.
//
//   OFFSET     SIZE     FIELD      MEANING
//   6 words    1 word   width      pixels, above 0
//   7 words    1 word   height     pixels, above 0
//   8 words    1 word   pixels     malloc'ed, width * height * 4 bytes; never null
#include <cstdlib>
#include <cstring>

#include "HostOnlyClass.h"
#include "bridge/BmpDecoder.h"

namespace zyne::host {

namespace {

struct PictureData {
    long width;
    long height;
    unsigned char* pixels;
};

void DestroyPicture(ZYNEobject self);

detail::HostOnlyClass gPictureClass("Picture", sizeof(PictureData), &DestroyPicture);

PictureData& DataOf(ZYNEobject picture) {
    return gPictureClass.DataOf<PictureData>(picture);
}

void DestroyPicture(ZYNEobject self) {
    std::free(DataOf(self).pixels);
    DataOf(self).pixels = nullptr;
}

// The largest side the host takes; a larger request is a plug-in's mistake.
constexpr long kMaxSide = 1L << 15;

ZYNEobject BuildPictureFromBuffer(long width, long height, ZQPixelType pixelType, void* buffer,
                                  long rowBytes) {
    detail::HostState& state = detail::CurrentState();
    state.Called("ZYNEBuildPictureFromBuffer", width, height, pixelType, buffer, rowBytes);
    if (pixelType != kPixelTypeRGBA8) {
        state.Fault("ZYNEBuildPictureFromBuffer with pixel type " + std::to_string(pixelType));
        return nullptr;
    }
    if (buffer == nullptr || width <= 0 || height <= 0 || width > kMaxSide || height > kMaxSide ||
        rowBytes < width * 4) {
        state.Fault("ZYNEBuildPictureFromBuffer with a buffer that cannot hold " +
                    std::to_string(width) + " x " + std::to_string(height) + " pixels");
        return nullptr;
    }
    const size_t packed = static_cast<size_t>(width) * 4;
    auto* pixels = static_cast<unsigned char*>(std::malloc(packed * static_cast<size_t>(height)));
    if (pixels == nullptr) return nullptr;
    for (long y = 0; y < height; ++y) {
        std::memcpy(pixels + packed * static_cast<size_t>(y),
                    static_cast<const unsigned char*>(buffer) + rowBytes * y, packed);
    }
    ZYNEobject picture = state.NewObject(&gPictureClass.info);
    if (picture == nullptr) {
        std::free(pixels);
        return nullptr;
    }
    DataOf(picture) = {width, height, pixels};
    return picture;
}

const detail::ServiceRow kPictureServices[] = {
    {"ZYNEBuildPictureFromBuffer", reinterpret_cast<void*>(&BuildPictureFromBuffer)},
};

}  // namespace

std::span<const detail::ServiceRow> detail::PictureServices() {
    return kPictureServices;
}

std::optional<HostPicture> ReferenceHost::PictureOf(ZYNEobject picture) const {
    if (state_->ClassInfoOf(picture) != &gPictureClass.info) return std::nullopt;
    const PictureData& data = DataOf(picture);
    const auto* begin = data.pixels;
    const size_t size = static_cast<size_t>(data.width) * static_cast<size_t>(data.height) * 4;
    return HostPicture{data.width, data.height, std::vector<unsigned char>(begin, begin + size)};
}

}  // namespace zyne::host
