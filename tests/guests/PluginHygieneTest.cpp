// PluginHygieneTest.cpp - what loading a plug-in leaves behind in the host's process.
//
// The sample guests go through the real bridge's PluginBridge.LoadPlugin in the
// reference host: bare libraries and .zqx containers. Loading must not change the
// process's locale (global and per thread), umask, working directory or signal
// handlers; and once the bridge objects are gone and the bridge is unloaded, no guest
// library stays mapped: dlclose really unloads (nothing built with unique symbols).
// A binary of its own, so no earlier test has loaded anything into the process.
#include <dlfcn.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <locale.h>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "GuestsTestSupport.h"
#include "ReferenceHost.h"

namespace {

using guests_test::GuestPath;
using guests_test::PrivateHome;
using zyne::host::ReferenceHost;

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGPIPE, SIGCHLD, SIGSEGV, SIGHUP, SIGUSR1};

void Noted(int) {}

// The parts of the process a library could change behind its host's back.
struct ProcessState {
    std::string locale;          // setlocale(LC_ALL, nullptr)
    locale_t threadLocale;       // uselocale(0)
    mode_t mask = 0;
    std::string cwd;
    std::vector<std::string> handlers;  // one line per signal in kSignals

    static ProcessState Now() {
        ProcessState state;
        state.locale = std::setlocale(LC_ALL, nullptr);
        state.threadLocale = uselocale(static_cast<locale_t>(nullptr));
        state.mask = umask(0);
        umask(state.mask);
        char cwd[4096];
        state.cwd = getcwd(cwd, sizeof cwd) != nullptr ? cwd : "?";
        for (int signal : kSignals) {
            struct sigaction action {};
            sigaction(signal, nullptr, &action);
            std::string line = std::string(strsignal(signal)) + ": handler " +
                               std::to_string(reinterpret_cast<uintptr_t>(action.sa_sigaction)) +
                               " flags " + std::to_string(action.sa_flags) + " mask";
            for (int s = 1; s < 32; ++s) line += sigismember(&action.sa_mask, s) ? '1' : '0';
            state.handlers.push_back(line);
        }
        return state;
    }
};

void ExpectSame(const ProcessState& before, const ProcessState& after) {
    EXPECT_EQ(after.locale, before.locale);
    EXPECT_EQ(after.threadLocale, before.threadLocale) << "uselocale changed";
    EXPECT_EQ(after.mask, before.mask) << "umask changed";
    EXPECT_EQ(after.cwd, before.cwd);
    EXPECT_EQ(after.handlers, before.handlers);
}

// The files of every object loaded in the process now.
std::set<std::string> LoadedObjects() {
    std::set<std::string> names;
    dl_iterate_phdr(
        [](dl_phdr_info* info, size_t, void* data) {
            if (info->dlpi_name != nullptr && info->dlpi_name[0] != '\0')
                static_cast<std::set<std::string>*>(data)->insert(info->dlpi_name);
            return 0;
        },
        &names);
    return names;
}

class PluginHygieneTest : public ::testing::TestWithParam<const char*> {
protected:
    // A state no library would reach by accident: a non-default locale for the process
    // and another for this thread, an unusual umask, a private working directory and
    // handlers of the test's own. Restored afterwards.
    void SetUp() override {
        savedState_ = ProcessState::Now();
        char cwd[4096];
        ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
        savedCwd_ = cwd;
        ASSERT_EQ(chdir(home_.Path().c_str()), 0);
        savedMask_ = umask(027);
        if (std::setlocale(LC_ALL, "C.UTF-8") == nullptr) std::setlocale(LC_NUMERIC, "POSIX");
        threadLocale_ = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
        ASSERT_NE(threadLocale_, static_cast<locale_t>(nullptr));
        previousThreadLocale_ = uselocale(threadLocale_);
        for (int signal : {SIGINT, SIGTERM, SIGCHLD, SIGHUP, SIGUSR1}) {
            struct sigaction action {};
            action.sa_handler = &Noted;
            action.sa_flags = SA_RESTART;
            sigaddset(&action.sa_mask, SIGUSR2);
            struct sigaction old {};
            sigaction(signal, &action, &old);
            savedActions_.emplace_back(signal, old);
        }
        struct sigaction ignore {};
        ignore.sa_handler = SIG_IGN;
        struct sigaction old {};
        sigaction(SIGPIPE, &ignore, &old);
        savedActions_.emplace_back(SIGPIPE, old);
    }

    void TearDown() override {
        for (const auto& [signal, action] : savedActions_) sigaction(signal, &action, nullptr);
        uselocale(previousThreadLocale_);
        freelocale(threadLocale_);
        std::setlocale(LC_ALL, savedState_.locale.c_str());
        umask(savedMask_);
        EXPECT_EQ(chdir(savedCwd_.c_str()), 0);
    }

    PrivateHome home_;

private:
    ProcessState savedState_;
    std::string savedCwd_;
    mode_t savedMask_ = 0;
    locale_t threadLocale_{};
    locale_t previousThreadLocale_{};
    std::vector<std::pair<int, struct sigaction>> savedActions_;
};

TEST_P(PluginHygieneTest, LoadingLeavesTheProcessAsItWasAndUnloadingUnmapsTheGuest) {
    const std::string path = GuestPath(GetParam());
    const ProcessState before = ProcessState::Now();
    const std::set<std::string> loadedBefore = LoadedObjects();
    std::set<std::string> guests;  // what the load added, but the bridge itself
    std::string bridgePath;
    {
        auto host = std::make_unique<ReferenceHost>();
        ASSERT_TRUE(host->Load()) << host->Error();
        bridgePath = ZYNE_BRIDGE_PATH;
        ZYNEobject bridge = host->NewInstance("PluginBridge");
        ASSERT_NE(bridge, nullptr);
        ZYNEobject item = host->NewFolderItem(path);
        const bool loaded = host->Call<bool>(bridge, "LoadPlugin", item);
        host->Unlock(item);
        EXPECT_TRUE(loaded);
        EXPECT_GE(host->Get<long>(bridge, "Count"), 1);
        ExpectSame(before, ProcessState::Now());

        for (const std::string& name : LoadedObjects()) {
            if (!loadedBefore.contains(name) && name.find("libzynebridge") == std::string::npos)
                guests.insert(name);
        }
        EXPECT_FALSE(guests.empty()) << "no guest library was loaded";
        if (std::string(GetParam()).ends_with(".so")) {
            EXPECT_TRUE(guests.contains(path)) << path;
        }

        // The guest goes with the bridge object that loaded it.
        host->Unlock(bridge);
        for (const std::string& name : guests) {
            EXPECT_FALSE(LoadedObjects().contains(name)) << name << " stayed loaded";
        }
    }
    // And the bridge with its host.
    for (const std::string& name : LoadedObjects()) {
        EXPECT_EQ(name.find("libzynebridge"), std::string::npos) << name << " stayed loaded";
    }
    for (const std::string& name : guests) {
        void* still = dlopen(name.c_str(), RTLD_NOLOAD | RTLD_LAZY);
        EXPECT_EQ(still, nullptr) << name << " stayed loaded";
        if (still != nullptr) dlclose(still);
    }
    void* bridge = dlopen(bridgePath.c_str(), RTLD_NOLOAD | RTLD_LAZY);
    EXPECT_EQ(bridge, nullptr) << "the bridge stayed loaded";
    if (bridge != nullptr) dlclose(bridge);
    ExpectSame(before, ProcessState::Now());
}

INSTANTIATE_TEST_SUITE_P(SampleGuests, PluginHygieneTest,
                         ::testing::Values("libsample_widgets.so", "libsample_legacy.so",
                                           "Widgets.zqx", "Tools.zqx", "Legacy.zqx"),
                         [](const ::testing::TestParamInfo<const char*>& info) {
                             std::string name = info.param;
                             for (char& c : name) {
                                 if (c == '.') c = '_';
                             }
                             return name;
                         });

}  // namespace
