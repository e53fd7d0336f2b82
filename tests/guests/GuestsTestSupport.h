// GuestsTestSupport.h - what the sample-guest tests share: where the build put the guests
// and tools, a private HOME and temporary folder per test, and running a command.
#ifndef ZYNE_TESTS_GUESTS_SUPPORT_H
#define ZYNE_TESTS_GUESTS_SUPPORT_H

#include <sys/wait.h>

#include <ftw.h>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

namespace guests_test {

inline std::string GuestPath(const std::string& name) {
    return std::string(ZYNE_GUESTS_DIR) + "/" + name;
}

inline int RemoveOne(const char* path, const struct stat*, int, FTW*) {
    std::remove(path);
    return 0;
}

/// A fresh folder under /tmp, set as HOME for the test's lifetime; removed afterwards.
class PrivateHome {
public:
    PrivateHome() {
        char pattern[] = "/tmp/GuestsTest.XXXXXX";
        const char* made = mkdtemp(pattern);
        path_ = made != nullptr ? made : "";
        const char* home = std::getenv("HOME");
        hadHome_ = home != nullptr;
        if (hadHome_) savedHome_ = home;
        setenv("HOME", path_.c_str(), 1);
    }
    ~PrivateHome() {
        if (hadHome_) {
            setenv("HOME", savedHome_.c_str(), 1);
        } else {
            unsetenv("HOME");
        }
        if (!path_.empty()) nftw(path_.c_str(), RemoveOne, 16, FTW_PHYS | FTW_DEPTH);
    }
    PrivateHome(const PrivateHome&) = delete;
    PrivateHome& operator=(const PrivateHome&) = delete;
    const std::string& Path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
    std::string savedHome_;
    bool hadHome_ = false;
};

struct Result {
    int status = -1;  // exit status; -1 when it did not exit normally
    std::string out;  // standard output
};

/// Runs `command` through the shell, standard error left to the test's own.
inline Result RunCommand(const std::string& command) {
    Result result;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return result;
    char buffer[4096];
    size_t got;
    while ((got = fread(buffer, 1, sizeof buffer, pipe)) > 0) result.out.append(buffer, got);
    const int status = pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

/// Single quotes for the shell.
inline std::string Quote(const std::string& text) {
    std::string quoted = "'";
    for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

}  // namespace guests_test

#endif  // ZYNE_TESTS_GUESTS_SUPPORT_H
