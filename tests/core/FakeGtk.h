// FakeGtk.h - stand-ins for the GTK functions the glue binds at run time.
//
// An executable that compiles the glue with ZYNE_GTK_RUNTIME_BINDING links
// FakeGtk.cpp and exports its functions (ENABLE_EXPORTS), so the glue's
// dlsym(RTLD_DEFAULT, ...) finds them where it would find the host's GTK. Each
// fake plays the part set in gFakeGtk and records what the glue asked of it.
// Never link these into an executable that also links GTK: they would shadow it.
#ifndef ZYNE_TESTS_CORE_FAKE_GTK_H
#define ZYNE_TESTS_CORE_FAKE_GTK_H

namespace zyne::test {

/// The fakes' script and record; a test sets it whole before using the glue.
struct FakeGtk {
    // The part to play.
    bool displayOpen = false;       // gdk_display_get_default() answers a display
    bool settingsAvailable = true;  // gtk_settings_get_default() answers settings
    bool settingReadable = true;    // g_object_get() can read the setting
    int doubleClickTimeMs = 250;    // the "gtk-double-click-time" it reads

    // What was done. g_object_get() counts every call, readable or not; it writes
    // the value only when handed the settings object, the property's exact name and
    // a list closed by a null name, as GTK needs.
    int settingsReads = 0;
    int beeps = 0;
};

/// The one script all fakes follow.
extern FakeGtk gFakeGtk;

}  // namespace zyne::test

#endif  // ZYNE_TESTS_CORE_FAKE_GTK_H
