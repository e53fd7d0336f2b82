// FilesTestSupport.h - private folders, file helpers and environment guards for FilesTest.
//
// Every test that touches the disk makes its own folder with mkdtemp under /tmp and removes
// it (permissions restored first, so read-only trees go too). Environment variables and
// the working directory that a test changes are put back by guards.
#ifndef ZYNE_TESTS_FILES_FILES_TEST_SUPPORT_H
#define ZYNE_TESTS_FILES_FILES_TEST_SUPPORT_H

#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/string.h"
#include "encodings/Encodings.h"
#include "files/FolderItemImp.h"
#include "files/FolderItemImpUnix.h"

namespace filestest {

inline int MakeWritable(const char* path, const struct stat* info, int type, FTW*) {
    if (type == FTW_D || type == FTW_DNR || type == FTW_DP)
        chmod(path, 0700);
    else if (type == FTW_F)
        chmod(path, info->st_mode | 0600);
    return 0;
}
inline int RemoveOne(const char* path, const struct stat*, int, FTW*) {
    remove(path);
    return 0;
}

/// A private folder under /tmp, removed with everything in it when the object goes.
class TempFolder {
public:
    TempFolder() {
        char pattern[] = "/tmp/FilesTest.XXXXXX";
        const char* made = mkdtemp(pattern);
        mPath = made ? made : "";
    }
    ~TempFolder() {
        if (mPath.empty()) return;
        // Pre-order pass: open up folders so that their contents can be listed and removed.
        nftw(mPath.c_str(), MakeWritable, 16, FTW_PHYS);
        nftw(mPath.c_str(), RemoveOne, 16, FTW_PHYS | FTW_DEPTH);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    bool Valid() const { return !mPath.empty(); }
    /// The folder's path without a trailing "/".
    const std::string& Path() const { return mPath; }
    /// The folder's path + "/" + relative.
    std::string operator/(std::string_view relative) const {
        return mPath + "/" + std::string(relative);
    }

private:
    std::string mPath;
};

/// Writes `bytes` to `path` (created or truncated); false on failure.
inline bool WriteFile(const std::string& path, std::string_view bytes, mode_t mode = 0644) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, mode);
    const bool ok =
        fd >= 0 && write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    if (fd >= 0) close(fd);
    return ok;
}

/// The bytes of `path`, or "<missing>" when it cannot be read.
inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return in ? std::string(std::istreambuf_iterator<char>(in), {}) : "<missing>";
}

inline bool PathExists(const std::string& path) {
    struct stat info;
    return lstat(path.c_str(), &info) == 0;
}

/// A framework string of raw bytes tagged UTF-8 (file names are bytes).
inline string Utf8(std::string_view bytes) {
    string s;
    s.ConstructFromBuffer(bytes.data(), static_cast<unsigned>(bytes.size()));
    if (!bytes.empty()) s.SetEncoding(kEncodingUTF8);
    return s;
}

inline std::string Std(const string& s) {
    return std::string(s.CString(), s.Length());
}

/// Deletes a folder item when it goes out of scope.
using ItemPtr = std::unique_ptr<FolderItemImp>;
using UnixPtr = std::unique_ptr<FolderItemImpUnix>;

/// A POSIX item for `path`, as a shell path names it.
inline UnixPtr Item(const std::string& path) {
    return UnixPtr(FolderItemImpUnix::ConstructFromShellPath(Utf8(path)));
}

/// An item's absolute path, or "<null>" for no item.
inline std::string PathOf(FolderItemImp* item) {
    return item ? Std(item->GetAbsolutePath()) : "<null>";
}

/// True when the process can ignore permission bits (root): EACCES tests cannot work then.
inline bool PermissionsAreIgnored() {
    return geteuid() == 0;
}

/// Sets (or unsets, with null) an environment variable and restores it afterwards.
class EnvGuard {
public:
    EnvGuard(const char* name, const char* value) : mName(name) {
        if (const char* old = getenv(name)) mOld = old;
        value ? setenv(name, value, 1) : unsetenv(name);
    }
    ~EnvGuard() { mOld ? setenv(mName.c_str(), mOld->c_str(), 1) : unsetenv(mName.c_str()); }
    EnvGuard(const EnvGuard&) = delete;
    EnvGuard& operator=(const EnvGuard&) = delete;

private:
    std::string mName;
    std::optional<std::string> mOld;
};

/// Changes the working directory and goes back afterwards.
class CwdGuard {
public:
    explicit CwdGuard(const std::string& folder) {
        char buffer[4096];
        if (getcwd(buffer, sizeof buffer)) mOld = buffer;
        mChanged = chdir(folder.c_str()) == 0;
    }
    ~CwdGuard() {
        if (!mOld.empty() && chdir(mOld.c_str()) != 0) std::abort();
    }
    CwdGuard(const CwdGuard&) = delete;
    CwdGuard& operator=(const CwdGuard&) = delete;
    bool Changed() const { return mChanged; }

private:
    std::string mOld;
    bool mChanged = false;
};

}  // namespace filestest

#endif  // ZYNE_TESTS_FILES_FILES_TEST_SUPPORT_H
