// GtkGlueTest.cpp - the GTK glue as this build made it, in a process with no display.
//
// Natively the glue calls the linked GTK; on i386 it binds at run time and finds
// no GTK in this process. Either way no display is open, so it must give GTK's
// defaults without asking GTK anything that needs one. The fake-GTK cases are in
// GtkGlueBindingTest.cpp, an executable of their own, as the fakes would shadow GTK.
#include <dlfcn.h>

#include <cstdlib>

#include <gtest/gtest.h>

#include "core/GtkGlue.h"

namespace {

class GtkGlueHeadless : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        // Nothing in the glue opens a display; this makes sure nothing could.
        unsetenv("DISPLAY");
        // Where GTK is in the process, a critical or a warning from it (as GTK gives
        // when asked for settings or a beep with no display) aborts the test.
        using SetAlwaysFatal = int (*)(int);
        constexpr int kCritical = 1 << 3;
        constexpr int kWarning = 1 << 4;
        if (auto setAlwaysFatal =
                reinterpret_cast<SetAlwaysFatal>(dlsym(RTLD_DEFAULT, "g_log_set_always_fatal"))) {
            setAlwaysFatal(kCritical | kWarning);
        }
    }
};

TEST_F(GtkGlueHeadless, DoubleClickTimeIsGtkDefault) {
    EXPECT_EQ(zyne::gtk::DoubleClickTimeMs(), 250);
    // Again, now that whatever the glue binds or caches is in place.
    EXPECT_EQ(zyne::gtk::DoubleClickTimeMs(), 250);
}

TEST_F(GtkGlueHeadless, BeepWithoutDisplayIsHarmless) {
    zyne::gtk::Beep();
    zyne::gtk::Beep();
}

}  // namespace
