// FakeGtk.cpp - fake GTK functions, exported for the glue's run-time binding.
//
// They behave like GTK for the calls the glue makes and nothing more: objects are
// addresses of private markers, never real GObjects.
#include "FakeGtk.h"

#include <cstdarg>
#include <cstring>

#define ZYNE_FAKE_GTK extern "C" __attribute__((visibility("default")))

namespace zyne::test {

FakeGtk gFakeGtk;

namespace {
char display;
char settings;
}  // namespace

}  // namespace zyne::test

using zyne::test::gFakeGtk;

ZYNE_FAKE_GTK void* gdk_display_get_default(void) {
    return gFakeGtk.displayOpen ? &zyne::test::display : nullptr;
}

ZYNE_FAKE_GTK void* gtk_settings_get_default(void) {
    return gFakeGtk.settingsAvailable ? &zyne::test::settings : nullptr;
}

ZYNE_FAKE_GTK void g_object_get(void* object, const char* firstProperty, ...) {
    ++gFakeGtk.settingsReads;
    va_list arguments;
    va_start(arguments, firstProperty);
    int* value = va_arg(arguments, int*);
    // Read whether or not the glue passed it. A missing terminator shows as whatever
    // follows: caught on i386, where that is stack garbage; on x86_64 it is a leftover
    // register, often zero, so there this check is best effort only.
    const char* nextProperty = va_arg(arguments, const char*);
    va_end(arguments);
    // GTK warns and leaves the value alone for anything it cannot read.
    if (object != &zyne::test::settings || firstProperty == nullptr ||
        std::strcmp(firstProperty, "gtk-double-click-time") != 0 || nextProperty != nullptr ||
        !gFakeGtk.settingReadable) {
        return;
    }
    *value = gFakeGtk.doubleClickTimeMs;
}

ZYNE_FAKE_GTK void gdk_beep(void) {
    ++gFakeGtk.beeps;
}
