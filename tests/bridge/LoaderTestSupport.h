// LoaderTestSupport.h - what the extraction-safety and loader-process tests share: private
// folders, containers made with the zqx tool, and a fixture that runs the real bridge
// through the reference host in a private HOME.
#ifndef ZYNE_TESTS_BRIDGE_LOADER_TEST_SUPPORT_H
#define ZYNE_TESTS_BRIDGE_LOADER_TEST_SUPPORT_H

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "../support/RunProgram.h"
#include "../support/TempHome.h"
#include "ReferenceHost.h"

namespace loadertest {

namespace fs = std::filesystem;

using testsupport::TempFolder;

inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteFile(const std::string& path, const std::string& bytes) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
}

inline bool Exists(const std::string& path) {
    struct stat info;
    return lstat(path.c_str(), &info) == 0;
}

// File names in a folder, sorted; empty when it does not exist.
inline std::vector<std::string> NamesIn(const std::string& folder) {
    std::set<std::string> names;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        names.insert(entry.path().filename().string());
    }
    return {names.begin(), names.end()};
}

// Whether some other open file holds a lock on `path` right now.
inline bool HeldLocked(const std::string& path) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    const bool locked = flock(fd, LOCK_EX | LOCK_NB) != 0;
    close(fd);
    return locked;
}

// Runs a program (its path first) with its output discarded; its exit status, or -1.
inline int RunProgram(const std::vector<std::string>& command) {
    return testsupport::RunProgram(command).status;
}

// A container "One.zqx" in `folder` whose family "One" holds the guest `library` for Linux.
inline std::string MakeOneGuestContainer(const TempFolder& folder, const std::string& library) {
    const std::string output = folder / "One.zqx";
    const int status =
        RunProgram({LOADER_ZQX_TOOL, "plugin", output, "--name", "One", "--linux", library});
    EXPECT_EQ(status, 0) << "zqx plugin " << output;
    return status == 0 ? output : std::string();
}

// How the loader creates an extracted file: unnamed and linked into place once written,
// or (as on file systems without unnamed files) created exclusively under its name.
enum class Creation { kUnnamed, kNamed };

inline void PrintTo(Creation creation, std::ostream* out) {
    *out << (creation == Creation::kUnnamed ? "unnamed files" : "named files");
}

inline std::string CreationName(const ::testing::TestParamInfo<Creation>& info) {
    return info.param == Creation::kUnnamed ? "Unnamed" : "Named";
}

// Switches the loader of the bridge in this process to `creation` until destroyed.
class CreationSwitch {
public:
    explicit CreationSwitch(Creation creation) {
        if (creation == Creation::kNamed) setenv("ZYNE_LOADER_NO_TMPFILE", "1", 1);
    }
    ~CreationSwitch() { unsetenv("ZYNE_LOADER_NO_TMPFILE"); }
    CreationSwitch(const CreationSwitch&) = delete;
    CreationSwitch& operator=(const CreationSwitch&) = delete;
};

// The real bridge in the reference host, with HOME pointing at a private folder.
class HostFixture : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(host_.Load()) << host_.Error(); }
    void TearDown() override {
        EXPECT_TRUE(host_.Faults().empty()) << host_.Faults().front();
    }

    ZYNEobject NewBridge() {
        ZYNEobject bridge = host_.NewInstance("PluginBridge");
        EXPECT_NE(bridge, nullptr);
        return bridge;
    }
    bool Load(ZYNEobject bridge, const std::string& path) {
        ZYNEobject item = host_.NewFolderItem(path);
        const bool loaded = host_.Call<bool>(bridge, "LoadPlugin", item);
        host_.Unlock(item);
        return loaded;
    }
    // Whether record 0 of `bridge` has its Linux library loaded.
    bool FirstRecordIsLinux(ZYNEobject bridge) {
        ZYNEobject definition = host_.Call<ZYNEobject>(bridge, "GetPluginDefinition", 0L);
        if (definition == nullptr) return false;
        const bool linux = host_.Get<bool>(definition, "IsTargetLinux");
        host_.Unlock(definition);
        return linux;
    }

    std::string DataFolder() const { return home_ / ".tmpZQData"; }
    std::string Extracted(int n) const {
        return DataFolder() + "/" + std::to_string(n) + "loaderguest_one.so";
    }
    std::string OneGuestContainer() { return MakeOneGuestContainer(files_, LOADER_GUEST_ONE); }

    testsupport::PrivateHome home_;
    TempFolder files_;
    zyne::host::ReferenceHost host_;
};

}  // namespace loadertest

#endif  // ZYNE_TESTS_BRIDGE_LOADER_TEST_SUPPORT_H
