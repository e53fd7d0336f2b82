// TempHome.h - private folders for tests: a temporary folder removed with everything in it,
// and one that also stands in as HOME for as long as it lives.
#ifndef ZYNE_TESTS_TEMP_HOME_H
#define ZYNE_TESTS_TEMP_HOME_H

#include <stdlib.h>

#include <ftw.h>
#include <cstdio>
#include <optional>
#include <string>

namespace testsupport {

/// A fresh folder under /tmp ("" when it could not be made), removed when it goes.
class TempFolder {
public:
    TempFolder() {
        char pattern[] = "/tmp/ZyneTest.XXXXXX";
        const char* made = mkdtemp(pattern);
        path_ = made != nullptr ? made : "";
    }
    ~TempFolder() {
        auto removeOne = [](const char* path, const struct stat*, int, FTW*) {
            std::remove(path);
            return 0;
        };
        if (!path_.empty()) nftw(path_.c_str(), removeOne, 16, FTW_PHYS | FTW_DEPTH);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    const std::string& Path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

/// A TempFolder set as HOME while it lives; the previous HOME (or its absence) comes back.
class PrivateHome : public TempFolder {
public:
    PrivateHome() {
        if (const char* home = getenv("HOME")) saved_ = home;
        setenv("HOME", Path().c_str(), 1);
    }
    ~PrivateHome() {
        if (saved_) {
            setenv("HOME", saved_->c_str(), 1);
        } else {
            unsetenv("HOME");
        }
    }

private:
    std::optional<std::string> saved_;
};

}  // namespace testsupport

#endif  // ZYNE_TESTS_TEMP_HOME_H
