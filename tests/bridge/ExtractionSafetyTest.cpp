// ExtractionSafetyTest.cpp - extracting a container's library where nobody else can
// interfere: links planted in the data folder, a data folder that is a link or belongs to
// someone else, names from the container that would leave the folder, and the moment a
// file becomes visible under its name. Every end-to-end case runs twice: with unnamed
// temporary files, and with the exclusive-create path for file systems without them.
#include <sys/inotify.h>

#include <cerrno>
#include <climits>
#include <cstring>

#include "LoaderTestSupport.h"
#include "bridge/BridgeGlobals.h"
#include "bridge/PluginBridge.h"
#include "bridge/PluginDefinition.h"
#include "core/string.h"
#include "files/FolderItemImp.h"

namespace {

using namespace loadertest;

class ExtractionSafetyTest : public HostFixture, public ::testing::WithParamInterface<Creation> {
protected:
    CreationSwitch creation_{GetParam()};
};

std::string LinkTarget(const std::string& path) {
    char target[PATH_MAX] = {};
    const ssize_t got = readlink(path.c_str(), target, sizeof target - 1);
    return got < 0 ? std::string() : std::string(target, static_cast<size_t>(got));
}

long ModeOf(const std::string& path) {
    struct stat info;
    return lstat(path.c_str(), &info) == 0 ? static_cast<long>(info.st_mode & 07777) : -1;
}

TEST_P(ExtractionSafetyTest, LinksPlantedUnderTheNextNameAreNeitherFollowedNorReplaced) {
    const std::string container = OneGuestContainer();
    ASSERT_FALSE(container.empty());
    TempFolder outside;
    const std::string victim = outside / "victim.txt";
    const std::string victimText = "the user's own file, not to be touched";
    const struct {
        const char* what;
        std::string target;
    } rows[] = {
        {"a link to an existing file", victim},
        {"a dangling link to a file not yet made", outside / "made-through-the-link.so"},
        {"a link to a folder", outside.Path()},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        WriteFile(victim, victimText);
        ASSERT_EQ(chmod(victim.c_str(), 0600), 0);
        fs::create_directories(DataFolder());
        ASSERT_EQ(symlink(row.target.c_str(), Extracted(0).c_str()), 0);

        ZYNEobject bridge = NewBridge();
        EXPECT_TRUE(Load(bridge, container));
        EXPECT_TRUE(FirstRecordIsLinux(bridge));
        EXPECT_EQ(LinkTarget(Extracted(0)), row.target) << "the planted link is left as it is";
        EXPECT_EQ(ReadFile(Extracted(1)), ReadFile(LOADER_GUEST_ONE)) << "the next name is used";
        EXPECT_TRUE(HeldLocked(Extracted(1)));
        EXPECT_EQ(ReadFile(victim), victimText);
        EXPECT_EQ(ModeOf(victim), 0600);
        EXPECT_EQ(NamesIn(outside.Path()), std::vector<std::string>{"victim.txt"})
            << "nothing was created through the link";

        host_.Unlock(bridge);  // the sweep meets the link too
        EXPECT_EQ(ReadFile(victim), victimText) << "the sweep never follows a link";
        EXPECT_EQ(NamesIn(outside.Path()), std::vector<std::string>{"victim.txt"});
        EXPECT_FALSE(Exists(DataFolder())) << "the link itself went with the sweep";
    }
}

TEST_P(ExtractionSafetyTest, DataFolderThatIsALinkIsRefused) {
    const std::string container = OneGuestContainer();
    ASSERT_FALSE(container.empty());
    TempFolder elsewhere;
    WriteFile(elsewhere / "keep.txt", "kept");
    ASSERT_EQ(chmod(elsewhere.Path().c_str(), 0700), 0);
    ASSERT_EQ(symlink(elsewhere.Path().c_str(), DataFolder().c_str()), 0);

    ZYNEobject bridge = NewBridge();
    testing::internal::CaptureStdout();
    EXPECT_FALSE(Load(bridge, container));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_FALSE(FirstRecordIsLinux(bridge)) << "the record stays, its library unloaded";
    EXPECT_EQ(NamesIn(elsewhere.Path()), std::vector<std::string>{"keep.txt"});
    EXPECT_EQ(ModeOf(elsewhere.Path()), 0700) << "the folder behind the link is not opened up";
    host_.Unlock(bridge);
    EXPECT_EQ(ReadFile(elsewhere / "keep.txt"), "kept") << "no sweep went through the link";
    EXPECT_EQ(LinkTarget(DataFolder()), elsewhere.Path());
}

TEST_P(ExtractionSafetyTest, DataFolderOfAnotherUserIsRefused) {
    if (geteuid() != 0) GTEST_SKIP() << "giving a folder to another user needs root";
    const std::string container = OneGuestContainer();
    ASSERT_FALSE(container.empty());
    ASSERT_EQ(mkdir(DataFolder().c_str(), 0700), 0);
    WriteFile(DataFolder() + "/theirs.txt", "someone else's");
    ASSERT_EQ(chown(DataFolder().c_str(), 4242, 4242), 0);

    ZYNEobject bridge = NewBridge();
    EXPECT_FALSE(Load(bridge, container));
    EXPECT_FALSE(FirstRecordIsLinux(bridge));
    EXPECT_EQ(NamesIn(DataFolder()), std::vector<std::string>{"theirs.txt"});
    EXPECT_EQ(ModeOf(DataFolder()), 0700) << "their folder is not opened up";
    host_.Unlock(bridge);

    // Given back, the same folder is used again.
    ASSERT_EQ(chown(DataFolder().c_str(), geteuid(), getegid()), 0);
    ZYNEobject again = NewBridge();
    EXPECT_TRUE(Load(again, container));
    EXPECT_TRUE(HeldLocked(Extracted(0)));
    host_.Unlock(again);
}

// The events the data folder reported about `name`, as an inotify mask.
uint32_t EventsAbout(int watch, const std::string& name) {
    uint32_t mask = 0;
    alignas(inotify_event) char buffer[64 * 1024];
    ssize_t got;
    while ((got = read(watch, buffer, sizeof buffer)) > 0) {
        for (char* next = buffer; next < buffer + got;) {
            const auto* event = reinterpret_cast<const inotify_event*>(next);
            if (event->len > 0 && name == event->name) mask |= event->mask;
            next += sizeof(inotify_event) + event->len;
        }
    }
    return mask;
}

TEST_P(ExtractionSafetyTest, NameAppearsOnlyOnAWholeLockedFile) {
    const std::string container = OneGuestContainer();
    ASSERT_FALSE(container.empty());
    ASSERT_EQ(mkdir(DataFolder().c_str(), 0777), 0);
    const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ASSERT_GE(watch, 0);
    ASSERT_GE(inotify_add_watch(watch, DataFolder().c_str(), IN_CREATE | IN_MODIFY), 0);

    ZYNEobject bridge = NewBridge();
    EXPECT_TRUE(Load(bridge, container));
    const uint32_t events = EventsAbout(watch, "0loaderguest_one.so");
    close(watch);
    EXPECT_TRUE(events & IN_CREATE);
    if (GetParam() == Creation::kUnnamed) {
        // Written before it had a name: no other process could meet it half written.
        EXPECT_FALSE(events & IN_MODIFY) << "the named file was written to";
    } else {
        EXPECT_TRUE(events & IN_MODIFY) << "without unnamed files it is written in place";
    }
    EXPECT_EQ(ReadFile(Extracted(0)), ReadFile(LOADER_GUEST_ONE));
    host_.Unlock(bridge);
}

INSTANTIATE_TEST_SUITE_P(BothWays, ExtractionSafetyTest,
                         ::testing::Values(Creation::kUnnamed, Creation::kNamed), CreationName);

// ----- Names from the container, at the loader itself -------------------------------------

// The loader of the static bridge objects, called directly with names that no container
// tool would write, in a private HOME.
class LibraryNameTest : public ::testing::Test {
protected:
    void SetUp() override {
        const char* home = std::getenv("HOME");
        if (home != nullptr) savedHome_ = home;
        setenv("HOME", home_.Path().c_str(), 1);
    }
    void TearDown() override {
        // The process-wide folder of the static objects belongs to this test's HOME.
        delete TemporaryDataFolder();
        TemporaryDataFolder() = nullptr;
        TemporaryDataFolderCleanUp() = true;
        if (!savedHome_.empty()) setenv("HOME", savedHome_.c_str(), 1);
    }
    std::string DataFolder() const { return home_ / ".tmpZQData"; }

    TempFolder home_;

private:
    std::string savedHome_;
};

TEST_F(LibraryNameTest, NamesThatCouldLeaveTheFolderAreRefused) {
    TempFolder outside;
    const std::string escape = "../../../.." + outside.Path() + "/escaped.so";
    const struct {
        std::string bytes;
        bool extracted;
    } rows[] = {
        {"lib.so", true},  // the control: a name like any other
        {"", false},
        {".", false},
        {"..", false},
        {"/", false},
        {"sub/lib.so", false},
        {"../lib.so", false},
        {escape, false},
        {std::string("lib.so\0/../../x", 15), false},
        {std::string("\0", 1), false},
    };
    const std::string bytes = "not a library: dlopen refuses it, the file stays extracted";
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.bytes));
        string name;
        name.ConstructFromBuffer(row.bytes.data(), static_cast<unsigned>(row.bytes.size()));
        auto* record = new PluginDefinition;
        record->deleteLibraryOnClose = true;
        PluginBridge bridge(nullptr);
        SetCurrentPluginDefinition(record);
        EXPECT_FALSE(bridge.LoadLinuxPlugin(name, bytes.data(), bytes.size()));
        SetCurrentPluginDefinition(nullptr);
        EXPECT_EQ(record->lockStream != nullptr, row.extracted);
        if (row.extracted) {
            EXPECT_EQ(NamesIn(DataFolder()), std::vector<std::string>{"0" + row.bytes});
            EXPECT_EQ(ReadFile(DataFolder() + "/0" + row.bytes), bytes);
            EXPECT_TRUE(HeldLocked(DataFolder() + "/0" + row.bytes));
        } else {
            EXPECT_FALSE(Exists(DataFolder())) << "refused before anything was made";
        }
        EXPECT_TRUE(NamesIn(outside.Path()).empty());
        PluginDefinition::Release(record);
        EXPECT_TRUE(NamesIn(DataFolder()).empty());
    }
}

}  // namespace
