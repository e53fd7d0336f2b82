// GtkGlueBindingTest.cpp - the GTK glue's run-time binding, against fake GTK.
//
// The glue is compiled into this executable with ZYNE_GTK_RUNTIME_BINDING and
// finds the exported fakes of FakeGtk.cpp in the process, as the i386 bridge finds
// the host's GTK. A process with no GTK at all is GtkGlueTest's case on i386.
#include <gtest/gtest.h>

#include "FakeGtk.h"
#include "core/GtkGlue.h"

using zyne::test::FakeGtk;
using zyne::test::gFakeGtk;

namespace {

class GtkGlueBinding : public ::testing::Test {
protected:
    void SetUp() override { gFakeGtk = FakeGtk{}; }
};

TEST_F(GtkGlueBinding, DoubleClickTimeFollowsWhatGtkCanTell) {
    const struct {
        const char* name;
        bool displayOpen, settingsAvailable, settingReadable;
        long expectedMs;  // the fake setting is 400 throughout
        int expectedReads;
    } cases[] = {
        {"setting read", true, true, true, 400, 1},
        {"no display: GTK not asked", false, true, true, 250, 0},
        {"no settings object", true, false, true, 250, 0},
        {"setting unreadable", true, true, false, 250, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        gFakeGtk = FakeGtk{c.displayOpen, c.settingsAvailable, c.settingReadable, 400};
        EXPECT_EQ(zyne::gtk::DoubleClickTimeMs(), c.expectedMs);
        EXPECT_EQ(gFakeGtk.settingsReads, c.expectedReads);
        EXPECT_EQ(gFakeGtk.beeps, 0);
    }
}

TEST_F(GtkGlueBinding, DoubleClickTimeIsReadAfreshEachCall) {
    gFakeGtk.displayOpen = true;
    gFakeGtk.doubleClickTimeMs = 400;
    EXPECT_EQ(zyne::gtk::DoubleClickTimeMs(), 400);
    gFakeGtk.doubleClickTimeMs = 600;
    EXPECT_EQ(zyne::gtk::DoubleClickTimeMs(), 600);
}

TEST_F(GtkGlueBinding, BeepRingsOncePerCallOnlyWithADisplay) {
    const struct {
        bool displayOpen;
        int expectedBeeps;
    } cases[] = {{true, 1}, {false, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.displayOpen ? "display open" : "no display");
        gFakeGtk = FakeGtk{c.displayOpen};
        zyne::gtk::Beep();
        EXPECT_EQ(gFakeGtk.beeps, c.expectedBeeps);
        EXPECT_EQ(gFakeGtk.settingsReads, 0);
    }
}

}  // namespace
