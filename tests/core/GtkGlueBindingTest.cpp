// GtkGlueBindingTest.cpp - the GTK glue's run-time binding, against fake GTK.
//
// The glue is compiled into this executable with ZYNE_GTK_RUNTIME_BINDING and
// finds the exported fakes of FakeGtk.cpp in the process, as the i386 bridge finds
// the host's GTK. A process with no GTK at all is GtkGlueTest's case on i386.
#include <string>

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

struct DoubleClickCase {
    std::string name;
    long expectedMs;
    int expectedReads;
    bool displayOpen;
    bool settingsAvailable = true;
    bool settingReadable = true;
};

TEST_F(GtkGlueBinding, DoubleClickTimeFollowsWhatGtkCanTell) {
    // The fake setting is 400 throughout.
    const DoubleClickCase cases[] = {
        {.name = "setting read", .expectedMs = 400, .expectedReads = 1, .displayOpen = true},
        {.name = "no display: GTK not asked",
         .expectedMs = 250,
         .expectedReads = 0,
         .displayOpen = false},
        {.name = "no settings object",
         .expectedMs = 250,
         .expectedReads = 0,
         .displayOpen = true,
         .settingsAvailable = false},
        {.name = "setting unreadable",
         .expectedMs = 250,
         .expectedReads = 1,
         .displayOpen = true,
         .settingReadable = false},
    };
    for (const DoubleClickCase& c : cases) {
        SCOPED_TRACE(c.name);
        gFakeGtk = FakeGtk{};
        gFakeGtk.displayOpen = c.displayOpen;
        gFakeGtk.settingsAvailable = c.settingsAvailable;
        gFakeGtk.settingReadable = c.settingReadable;
        gFakeGtk.doubleClickTimeMs = 400;
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
        gFakeGtk = FakeGtk{};
        gFakeGtk.displayOpen = c.displayOpen;
        zyne::gtk::Beep();
        EXPECT_EQ(gFakeGtk.beeps, c.expectedBeeps);
        EXPECT_EQ(gFakeGtk.settingsReads, 0);
    }
}

}  // namespace
