// Isolation.cpp - a plug-in walked in a child process, so that its guest cannot take the
// tool down.
//
// The child becomes the leader of its own process group, walks the plug-in (Walker.cpp) and
// writes the report as JSON to a pipe; the parent reads the pipe until it closes or the
// time limit passes. On expiry the whole group is killed, so helpers a guest started go too.
// A child killed by a signal or one that leaves no readable report is reported as such.
// Not here: what a report holds.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "Inspect.h"

namespace inspect {

namespace {

double Now() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

bool WriteAll(int fd, const std::string& text) {
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

Json Failure(const std::string& pluginPath, const char* status, const std::string& error) {
    Json report;
    report["file"] = pluginPath;
    report["status"] = status;
    report["error"] = error;
    return report;
}

// The process group of the child being waited for; 0 when none. A stop by a signal takes
// it down too: the child is in a group of its own, which the terminal's signals miss, and a
// hanging guest would otherwise outlive the tool.
volatile sig_atomic_t gChildGroup = 0;

void StopChildAndDie(int sig) {
    if (gChildGroup > 0) kill(-static_cast<pid_t>(gChildGroup), SIGKILL);
    signal(sig, SIG_DFL);
    raise(sig);
}

constexpr int kStoppingSignals[] = {SIGINT, SIGTERM, SIGHUP};

// Handlers for the stopping signals, once; a signal ignored when we started stays ignored.
void CatchStoppingSignals() {
    static bool installed = false;
    if (installed) return;
    installed = true;
    for (const int sig : kStoppingSignals) {
        struct sigaction old {};
        if (sigaction(sig, nullptr, &old) != 0 || old.sa_handler == SIG_IGN) continue;
        struct sigaction act {};
        act.sa_handler = StopChildAndDie;
        sigemptyset(&act.sa_mask);
        for (const int other : kStoppingSignals) sigaddset(&act.sa_mask, other);
        sigaction(sig, &act, nullptr);
    }
}

}  // namespace

Json WalkIsolated(const std::string& pluginPath, const WalkOptions& options,
                  double timeoutSeconds) {
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0)
        return Failure(pluginPath, kStatusFailed, std::string("pipe: ") + std::strerror(errno));
    std::fflush(stdout);
    std::fflush(stderr);
    CatchStoppingSignals();
    // Held back until the child's group is known, so that a stop can't miss it.
    sigset_t stopping, saved;
    sigemptyset(&stopping);
    for (const int sig : kStoppingSignals) sigaddset(&stopping, sig);
    sigprocmask(SIG_BLOCK, &stopping, &saved);
    const pid_t pid = fork();
    if (pid < 0) {
        const int failed = errno;
        sigprocmask(SIG_SETMASK, &saved, nullptr);
        close(fds[0]);
        close(fds[1]);
        return Failure(pluginPath, kStatusFailed, std::string("fork: ") + std::strerror(failed));
    }
    if (pid == 0) {
        setpgid(0, 0);
        sigprocmask(SIG_SETMASK, &saved, nullptr);
        close(fds[0]);
        std::string text;
        try {
            // Names need not be UTF-8 (a file name, a guest's strings): such bytes become
            // U+FFFD rather than the report being lost.
            text = WalkPlugin(pluginPath, options).dump(-1, ' ', false,
                                                        Json::error_handler_t::replace);
        } catch (...) {
            _exit(3);
        }
        _exit(WriteAll(fds[1], text) ? 0 : 3);
    }
    // Both sides set the group, so that a kill never races the child's own setpgid.
    setpgid(pid, pid);
    gChildGroup = pid;
    sigprocmask(SIG_SETMASK, &saved, nullptr);
    close(fds[1]);

    std::string text;
    bool timedOut = false;
    const double deadline = Now() + timeoutSeconds;
    for (;;) {
        const double left = deadline - Now();
        if (left <= 0) {
            timedOut = true;
            break;
        }
        pollfd p{fds[0], POLLIN, 0};
        const int ready = poll(&p, 1, static_cast<int>(left * 1000) + 1);
        if (ready < 0 && errno == EINTR) continue;
        if (ready < 0) break;
        if (ready == 0) continue;  // the loop head decides whether time is up
        char buffer[65536];
        const ssize_t n = read(fds[0], buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;  // end of the report (or a broken pipe)
        text.append(buffer, static_cast<size_t>(n));
    }
    close(fds[0]);
    if (timedOut) kill(-pid, SIGKILL);

    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    gChildGroup = 0;
    if (timedOut) {
        char message[96];
        std::snprintf(message, sizeof message, "no report within %g s; the child was killed",
                      timeoutSeconds);
        return Failure(pluginPath, kStatusTimedOut, message);
    }
    if (WIFSIGNALED(status)) {
        const int sig = WTERMSIG(status);
        Json report = Failure(
            pluginPath, kStatusCrashed,
            std::string("killed by signal ") + std::to_string(sig) + " (" + strsignal(sig) + ")");
        report["signal"] = sig;
        return report;
    }
    Json report = Json::parse(text, nullptr, false);
    if (report.is_discarded() || !report.is_object()) {
        return Failure(
            pluginPath, kStatusCrashed,
            "exited with status " + std::to_string(WEXITSTATUS(status)) + " without a report");
    }
    return report;
}

}  // namespace inspect
