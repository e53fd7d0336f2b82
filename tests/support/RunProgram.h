// RunProgram.h - runs a command-line program as a user would, for tests: given standard
// input, its output and errors captured, a private HOME and TMPDIR, killed when it hangs.
#ifndef ZYNE_TESTS_RUN_PROGRAM_H
#define ZYNE_TESTS_RUN_PROGRAM_H

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

extern char** environ;

namespace testsupport {

struct ProgramRun {
    int status = -1;  // the exit status; -1 when it did not exit by itself
    bool signaled = false;
    std::string out;
    std::string err;
};

struct ProgramSetting {
    std::string home;               // HOME and TMPDIR when set; else they are inherited
    std::string input;              // standard input
    std::vector<std::string> env;   // "NAME=value" added to the environment
    int seconds = 30;               // killed, and a test failure, after this long
};

namespace detail {

// An unnamed file holding `bytes`, positioned at its start; -1 when it cannot be made.
inline int ScratchFile(const std::string& bytes = {}) {
    char pattern[] = "/tmp/ZyneRun.XXXXXX";
    const int fd = mkostemp(pattern, O_CLOEXEC);
    if (fd < 0) return -1;
    unlink(pattern);
    if (!bytes.empty() && write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
        close(fd);
        return -1;
    }
    lseek(fd, 0, SEEK_SET);
    return fd;
}

inline std::string Contents(int fd) {
    std::string text;
    char buffer[4096];
    ssize_t got;
    for (off_t at = 0; (got = pread(fd, buffer, sizeof buffer, at)) > 0; at += got) {
        text.append(buffer, static_cast<size_t>(got));
    }
    return text;
}

}  // namespace detail

/// Runs `command` (the program's path first) and waits for it.
inline ProgramRun RunProgram(const std::vector<std::string>& command,
                             const ProgramSetting& setting = {}) {
    ProgramRun run;
    const int in = detail::ScratchFile(setting.input);
    const int out = detail::ScratchFile();
    const int err = detail::ScratchFile();
    std::vector<std::string> envText;
    for (char** e = environ; *e != nullptr; ++e) {
        const std::string v = *e;
        // A date fixed from outside would make outputs that tests compare differ.
        if (v.starts_with("SOURCE_DATE_EPOCH=")) continue;
        if (!setting.home.empty() && (v.starts_with("HOME=") || v.starts_with("TMPDIR="))) continue;
        envText.push_back(v);
    }
    if (!setting.home.empty()) {
        envText.push_back("HOME=" + setting.home);
        envText.push_back("TMPDIR=" + setting.home);
    }
    envText.insert(envText.end(), setting.env.begin(), setting.env.end());
    std::vector<char*> envp;
    for (std::string& v : envText) envp.push_back(v.data());
    envp.push_back(nullptr);
    std::vector<std::string> argText = command;
    std::vector<char*> argv;
    for (std::string& a : argText) argv.push_back(a.data());
    argv.push_back(nullptr);

    pid_t pid = 0;
    int spawned = -1;
    if (in >= 0 && out >= 0 && err >= 0 && !argv.empty()) {
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, in, 0);
        posix_spawn_file_actions_adddup2(&actions, out, 1);
        posix_spawn_file_actions_adddup2(&actions, err, 2);
        spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), envp.data());
        posix_spawn_file_actions_destroy(&actions);
    }
    if (spawned == 0) {
        int status = 0;
        const auto deadline =
            std::chrono::steady_clock::now() + std::chrono::seconds(setting.seconds);
        while (waitpid(pid, &status, WNOHANG) == 0) {
            if (std::chrono::steady_clock::now() > deadline) {
                kill(pid, SIGKILL);
                waitpid(pid, &status, 0);
                ADD_FAILURE() << command[0] << " hung and was killed";
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        if (WIFEXITED(status)) run.status = WEXITSTATUS(status);
        run.signaled = WIFSIGNALED(status);
        run.out = detail::Contents(out);
        run.err = detail::Contents(err);
    } else {
        ADD_FAILURE() << "could not start " << (command.empty() ? "nothing" : command[0]);
    }
    for (int fd : {in, out, err}) {
        if (fd >= 0) close(fd);
    }
    return run;
}

}  // namespace testsupport

#endif  // ZYNE_TESTS_RUN_PROGRAM_H
