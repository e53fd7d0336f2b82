// ControlScreenshotTest.cpp - a design-time control drawn on a real display: the reference
// host opens a GTK 2 window with a vertical box, the bridge places SampleLamp in it, the
// lamp draws into a GdkPixmap through the host's graphics, and the pixmap is read back
// from the X server (gdk_pixbuf_get_from_drawable) and compared pixel by pixel: fill
// inside the bounds, frame on their edge, background outside.
//
// Meant to run under xvfb-run (CTest does so when it is installed). Skips when no display
// can be opened: xvfb-run missing (ZYNE_SCREENSHOT_NO_XVFB set by CTest), DISPLAY unset,
// or a host built without GTK (the i386 host, which has no 32-bit GTK to link).
// Built twice: with the library's GTK glue linked, and with the glue binding GTK at run
// time (ZYNE_GTK_RUNTIME_BINDING), so that both paths find the window's box.
#include <ftw.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ReferenceHost.h"
#include "core/GtkGlue.h"

namespace {

using zyne::host::HostPicture;
using zyne::host::ReferenceHost;

int RemoveOne(const char* path, const struct stat*, int, FTW*) {
    std::remove(path);
    return 0;
}

unsigned long PixelAt(const HostPicture& picture, long x, long y) {
    const size_t at = static_cast<size_t>((y * picture.width + x) * 4);
    return (static_cast<unsigned long>(picture.rgba[at]) << 16) |
           (static_cast<unsigned long>(picture.rgba[at + 1]) << 8) | picture.rgba[at + 2];
}

class ControlScreenshotTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (std::getenv("ZYNE_SCREENSHOT_NO_XVFB") != nullptr)
            GTEST_SKIP() << "xvfb-run is not installed (Debian package xvfb)";
        if (!ReferenceHost::DisplayAvailable())
            GTEST_SKIP() << "no GTK display: DISPLAY unset, or a host built without GTK";
        char pattern[] = "/tmp/ControlScreenshotTest.XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        home_ = pattern;
        setenv("HOME", home_.c_str(), 1);
        host_ = std::make_unique<ReferenceHost>();
        ASSERT_TRUE(host_->Load()) << host_->Error();
        bridge_ = host_->NewInstance("PluginBridge");
        ZYNEobject item = host_->NewFolderItem(ZYNE_WIDGETS_GUEST_PATH);
        ASSERT_TRUE(host_->Call<bool>(bridge_, "LoadPlugin", item));
        host_->Unlock(item);
        definition_ = host_->Call<ZYNEobject>(bridge_, "GetPluginDefinition", 0L);
        ASSERT_NE(definition_, nullptr);
        window_ = host_->NewWindow();
        ASSERT_TRUE(host_->ShowWindow(window_, 160, 120));
    }

    void TearDown() override {
        if (host_ != nullptr) {
            for (auto object = held_.rbegin(); object != held_.rend(); ++object)
                host_->Unlock(*object);
            host_->Unlock(window_);
            host_->Unlock(definition_);
            host_->Unlock(bridge_);
            EXPECT_TRUE(host_->Faults().empty()) << host_->Faults().front();
            host_.reset();
        }
        if (!home_.empty()) nftw(home_.c_str(), RemoveOne, 16, FTW_PHYS | FTW_DEPTH);
    }

    ZYNEobject Held(ZYNEobject object) {
        if (object != nullptr) held_.push_back(object);
        return object;
    }

    std::unique_ptr<ReferenceHost> host_;
    ZYNEobject window_ = nullptr;
    ZYNEobject definition_ = nullptr;

private:
    std::string home_;
    ZYNEobject bridge_ = nullptr;
    std::vector<ZYNEobject> held_;
};

TEST_F(ControlScreenshotTest, GlueFindsAndRealisesTheWindowsVerticalBox) {
    void* box = zyne::gtk::RealizedVerticalBox(host_->WindowWidget(window_));
    EXPECT_NE(box, nullptr);
    EXPECT_EQ(box, host_->WindowBox(window_));
    // The box is no container of boxes itself: nothing is found inside it.
    EXPECT_EQ(zyne::gtk::RealizedVerticalBox(box), nullptr);
    EXPECT_EQ(zyne::gtk::RealizedVerticalBox(nullptr), nullptr);
}

TEST_F(ControlScreenshotTest, DrawnLampIsOnThePixmap) {
    ZYNEobject lamp = Held(host_->Call<ZYNEobject>(
        Held(host_->Call<ZYNEobject>(definition_, "GetControl", 1L)), "Create", window_));
    ASSERT_NE(lamp, nullptr);
    // The lamp learns of the window's box through "ZYNEGetControlHandle".
    ZYNEstring native = host_->NewString("Native");
    EXPECT_EQ(host_->VariantBoolean(Held(host_->Call<ZYNEobject>(lamp, "Prop", native))), true);
    host_->Unlock(native);
    ZYNEobject g = Held(host_->NewGraphics(160, 120));
    host_->Call<void>(lamp, "Move", 40L, 30L, 50L, 20L);
    host_->Call<void>(lamp, "Draw", g);

    const std::optional<HostPicture> shot = host_->Screenshot(g);
    ASSERT_TRUE(shot.has_value()) << "no pixmap to photograph";
    ASSERT_EQ(shot->width, 160);
    ASSERT_EQ(shot->height, 120);
    constexpr unsigned long kBackground = 0xFFFFFF, kFill = 0x00C000, kFrame = 0x000080;
    struct Probe {
        long x, y;
        unsigned long color;
    };
    const Probe probes[] = {
        {0, 0, kBackground},   {39, 30, kBackground}, {40, 29, kBackground},
        {40, 30, kFrame},      {89, 30, kFrame},      {89, 49, kFrame},
        {40, 49, kFrame},      {65, 30, kFrame},      {40, 40, kFrame},
        {41, 31, kFill},       {88, 48, kFill},       {65, 40, kFill},
        {90, 40, kBackground}, {65, 50, kBackground}, {159, 119, kBackground},
    };
    for (const Probe& p : probes) {
        EXPECT_EQ(PixelAt(*shot, p.x, p.y), p.color) << "at " << p.x << "," << p.y;
        // The screen and the host's own canvas agree everywhere probed.
        EXPECT_EQ(host_->CanvasPixel(g, p.x, p.y), p.color) << "canvas at " << p.x << "," << p.y;
    }
}

}  // namespace
