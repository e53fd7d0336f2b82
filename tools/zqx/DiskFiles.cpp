// DiskFiles.cpp - temporary files, copies between descriptors, read-only mappings.
//
// The tool is built with 64-bit file offsets (see CMakeLists.txt), so off_t and the calls
// here handle containers past 2 GiB on 32-bit x86 too.
#include "DiskFiles.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace zqx {

namespace {

std::string TemporaryFolder() {
    const char* dir = getenv("TMPDIR");
    return dir && *dir ? dir : "/tmp";
}

// Copies with read and write from the current positions to the end of `from`.
bool CopyByReading(int from, int to) {
    std::vector<unsigned char> buffer(kCopyChunk);
    for (;;) {
        const ssize_t got = read(from, buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return false;
        if (got == 0) return true;
        if (!WriteAll(to, buffer.data(), size_t(got))) return false;
    }
}

// The temporary files a stopping signal removes. Written outside the handler only with
// the slot inactive, so the handler never sees half a name.
struct Pending {
    volatile sig_atomic_t active = 0;
    int dirFd = AT_FDCWD;
    char name[PATH_MAX] = {};
};
Pending gPending[2];

void RemovePendingAndDie(int sig) {
    for (Pending& p : gPending)
        if (p.active) unlinkat(p.dirFd, p.name, 0);
    signal(sig, SIG_DFL);
    raise(sig);
}

// Handlers for the stopping signals, once; a signal ignored when we started (nohup, a
// background job) stays ignored.
void CatchStoppingSignals() {
    static bool installed = false;
    if (installed) return;
    installed = true;
    for (const int sig : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction old {};
        if (sigaction(sig, nullptr, &old) != 0 || old.sa_handler == SIG_IGN) continue;
        struct sigaction act {};
        act.sa_handler = RemovePendingAndDie;
        sigemptyset(&act.sa_mask);
        for (const int other : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&act.sa_mask, other);
        sigaction(sig, &act, nullptr);
    }
}

}  // namespace

void RemoveOnSignal(PendingSlot slot, int dirFd, const std::string& name) {
    Pending& p = gPending[static_cast<int>(slot)];
    p.active = 0;
    if (name.size() >= sizeof p.name) return;
    CatchStoppingSignals();
    p.dirFd = dirFd;
    memcpy(p.name, name.c_str(), name.size() + 1);
    p.active = 1;
}

void ForgetOnSignal(PendingSlot slot) {
    gPending[static_cast<int>(slot)].active = 0;
}

StoppingSignalsHeld::StoppingSignalsHeld() {
    sigset_t stopping;
    sigemptyset(&stopping);
    for (const int sig : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&stopping, sig);
    sigprocmask(SIG_BLOCK, &stopping, &mSaved);
}

StoppingSignalsHeld::~StoppingSignalsHeld() {
    sigprocmask(SIG_SETMASK, &mSaved, nullptr);
}

std::string Shown(const std::string& path, bool output) {
    if (path != "-") return path;
    return output ? "standard output" : "standard input";
}

bool WriteAll(int fd, const void* bytes, size_t size) {
    const auto* p = static_cast<const unsigned char*>(bytes);
    while (size > 0) {
        const ssize_t put = write(fd, p, size);
        if (put < 0 && errno == EINTR) continue;
        if (put < 0) return false;
        if (put == 0) {
            errno = EIO;
            return false;
        }
        p += put;
        size -= size_t(put);
    }
    return true;
}

bool CopyDescriptor(int from, int to) {
    // The kernel copies (and may share extents) between regular files; pipes, terminals
    // and file systems that can't fall back to plain reads and writes. A failure after
    // some bytes went cannot fall back: the positions have moved.
    bool copied = false;
    for (;;) {
        const ssize_t n = copy_file_range(from, nullptr, to, nullptr, size_t{1} << 30, 0);
        if (n > 0) {
            copied = true;
            continue;
        }
        if (n == 0) return true;
        if (errno == EINTR) continue;
        if (!copied && (errno == EXDEV || errno == EINVAL || errno == ENOSYS ||
                        errno == EOPNOTSUPP || errno == EBADF || errno == ETXTBSY))
            return CopyByReading(from, to);
        return false;
    }
}

int UnnamedTemporaryFile() {
    const std::string dir = TemporaryFolder();
    int fd = open(dir.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (fd >= 0) return fd;
    // File systems without O_TMPFILE: a named file, unlinked at once.
    std::string path = dir + "/zqx-XXXXXX";
    fd = mkostemp(path.data(), O_CLOEXEC);
    if (fd >= 0) unlink(path.c_str());
    return fd;
}

int SpoolDescriptor(int from, const std::string& shown, std::string* error) {
    // A closed descriptor first: the temporary file could take its number and be copied
    // into itself.
    if (fcntl(from, F_GETFL) < 0) {
        *error = shown + ": " + std::string(strerror(errno));
        return -1;
    }
    const int fd = UnnamedTemporaryFile();
    if (fd < 0) {
        *error = shown + ": no temporary file to hold it: " + std::string(strerror(errno));
        return -1;
    }
    if (!CopyDescriptor(from, fd) || lseek(fd, 0, SEEK_SET) != 0) {
        *error = shown + ": " + std::string(strerror(errno));
        close(fd);
        return -1;
    }
    return fd;
}

int SpoolStandardInput(std::string* error) {
    return SpoolDescriptor(0, "standard input", error);
}

// ----- OutputFile -----

OutputFile::~OutputFile() {
    Drop();
}

void OutputFile::Drop() {
    if (mFd >= 0) close(mFd);
    mFd = -1;
    if (!mTemp.empty()) unlink(mTemp.c_str());
    ForgetOnSignal(PendingSlot::kContainer);
    mTemp.clear();
}

bool OutputFile::Begin(const std::string& target, mode_t mode, std::string* error) {
    Drop();
    mTarget = target;
    mMode = mode;
    if (target == "-") {
        // Standard output closed: refused before the temporary file can take its number.
        mFd = fcntl(STDOUT_FILENO, F_GETFL) < 0 ? -1 : UnnamedTemporaryFile();
    } else {
        // Beside the target, so that the final rename stays inside one file system.
        mTemp = target + ".XXXXXX";
        const StoppingSignalsHeld held;
        mFd = mkostemp(mTemp.data(), O_CLOEXEC);
        if (mFd < 0)
            mTemp.clear();
        else
            RemoveOnSignal(PendingSlot::kContainer, AT_FDCWD, mTemp);
    }
    struct stat st {};
    if (mFd < 0 || fstat(mFd, &st) != 0) {
        *error = Shown(target, true) + ": " + strerror(errno);
        Drop();
        return false;
    }
    mDev = st.st_dev;
    mIno = st.st_ino;
    return true;
}

bool OutputFile::Commit(std::string* error) {
    if (mFd < 0) {
        *error = Shown(mTarget, true) + ": nothing to write";
        return false;
    }
    bool ok;
    if (mTarget == "-") {
        ok = lseek(mFd, 0, SEEK_SET) == 0 && CopyDescriptor(mFd, 1);
    } else {
        // On disk before the name moves, so that a crash leaves the old file or the new.
        ok = fchmod(mFd, mMode) == 0 && fsync(mFd) == 0;
    }
    int err = ok ? 0 : errno;
    if (close(mFd) != 0 && ok) {
        ok = false;
        err = errno;
    }
    mFd = -1;
    if (ok && mTarget != "-" && rename(mTemp.c_str(), mTarget.c_str()) != 0) {
        ok = false;
        err = errno;
    }
    if (!ok) {
        *error = Shown(mTarget, true) + ": " + strerror(err);
        Drop();
        return false;
    }
    ForgetOnSignal(PendingSlot::kContainer);
    mTemp.clear();
    return true;
}

// ----- MappedFile -----

MappedFile::~MappedFile() {
    if (mBytes) munmap(mBytes, mSize);
}

bool MappedFile::Map(int fd) {
    struct stat st {};
    if (fstat(fd, &st) != 0) return false;
    if (st.st_size < 0 || static_cast<unsigned long long>(st.st_size) > SIZE_MAX) {
        errno = EFBIG;
        return false;
    }
    if (st.st_size == 0) return true;
    void* p = mmap(nullptr, size_t(st.st_size), PROT_READ, MAP_PRIVATE, fd, 0);
    if (p == MAP_FAILED) return false;
    mBytes = static_cast<unsigned char*>(p);
    mSize = size_t(st.st_size);
    return true;
}

}  // namespace zqx
