// UnixHelper.cpp - EscapeString, ExecuteShell and LoadLibrary.
//
// ExecuteShell and the loader-cache query fork with vfork: the child only rearranges
// descriptors and execs, so the borrowed address space is never written. Everything the
// child needs (the command's C text, the descriptor limit) is computed before the fork.
#include "files/UnixHelper.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "encodings/Encodings.h"

namespace UnixHelper {

string EscapeString(const string& text, const string& characters) {
    const string utf8 = text.GetUTF8String();
    const unsigned length = utf8.Length();
    char* buffer = static_cast<char*>(malloc(2 * static_cast<size_t>(length) + 1));
    if (!buffer) return string();
    const char* set = characters.CString();
    const char* source = utf8.CString();
    char* out = buffer;
    for (unsigned i = 0; i < length; ++i) {
        // Deliberate: strchr also finds the terminator, so a zero byte in the text gets a
        // backslash too, and the result then ends at that zero byte (below).
        if (strchr(set, source[i]) != nullptr) *out++ = '\\';
        *out++ = source[i];
    }
    *out = '\0';

    string result;
    result.ConstructFromBuffer(buffer, static_cast<unsigned>(strlen(buffer)));
    free(buffer);
    result.SetEncoding(utf8.IsEmpty() ? kEncodingASCII : utf8.Encoding());
    return result;
}

namespace {

// Closes every descriptor from 3 to limit - 1. close_range does it in one call where the
// kernel has it; the loop is the fallback. Only async-signal-safe calls: runs in the child.
void CloseDescriptorsFrom3(long limit) {
#ifdef SYS_close_range
    if (limit > 3 && syscall(SYS_close_range, 3U, static_cast<unsigned>(limit - 1), 0U) == 0) {
        return;
    }
#endif
    for (long fd = 3; fd < limit; ++fd) close(static_cast<int>(fd));
}

// Appends `count` bytes to a malloc'd buffer of *size bytes and *capacity slots; false
// when memory ran out (the buffer is then left as it was).
bool AppendBytes(char** buffer, size_t* size, size_t* capacity, const char* bytes, size_t count) {
    if (*size + count > *capacity) {
        size_t grown = *capacity ? *capacity * 2 : 4096;
        while (grown < *size + count) grown *= 2;
        char* bigger = static_cast<char*>(realloc(*buffer, grown));
        if (!bigger) return false;
        *buffer = bigger;
        *capacity = grown;
    }
    memcpy(*buffer + *size, bytes, count);
    *size += count;
    return true;
}

}  // namespace

string ExecuteShell(const string& command, unsigned char captureOutput) {
    int fds[2];
    // Close-on-exec: a program some other part of the process starts meanwhile must not
    // hold the write end open. dup2 clears the flag on the child's 1 and 2.
    if (pipe2(fds, O_CLOEXEC) != 0) return string();

    const char* commandText = command.CString();
    const long openMax = sysconf(_SC_OPEN_MAX);
    const int readEnd = fds[0];
    const int writeEnd = fds[1];

    const pid_t child = vfork();
    if (child == 0) {
        close(readEnd);
        dup2(writeEnd, 1);
        dup2(1, 2);
        if (writeEnd != 1 && writeEnd != 2) close(writeEnd);
        CloseDescriptorsFrom3(openMax);
        execlp("/bin/bash", "bash", "-c", commandText, static_cast<char*>(nullptr));
        _exit(-1);
    }

    close(writeEnd);
    string result;
    if (child > 0 && captureOutput) {
        char* collected = nullptr;
        size_t size = 0;
        size_t capacity = 0;
        char chunk[512];
        for (;;) {
            const ssize_t got = read(readEnd, chunk, sizeof chunk);
            if (got < 0 && errno == EINTR) continue;
            if (got <= 0) break;
            if (!AppendBytes(&collected, &size, &capacity, chunk, static_cast<size_t>(got))) break;
        }
        // Raw bytes: the result is tagged unknown, as text built from bytes always is.
        if (size > 0) result.ConstructFromBuffer(collected, static_cast<unsigned>(size));
        free(collected);
    }
    close(readEnd);
    if (child > 0) {
        int status = 0;
        while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
    }
    return result;
}

// ----- LoadLibrary ----------------------------------------------------------------------

namespace {

// dlopen's flag 1: lazy binding, symbols kept local.
constexpr int kLazyLocal = RTLD_LAZY;
// Symbolic links followed from one path at most; a longer chain is taken for a cycle.
constexpr int kMaxLinkHops = 40;
// readlink's buffer, zeroed before each read.
constexpr size_t kLinkBufferBytes = 1024;
// The loader-cache pipe is read this many bytes at a time.
constexpr size_t kCacheChunkBytes = 512;

// The loader cache: everything "/sbin/ldconfig -p" wrote, read once per process.
string gLoaderCache;
bool gLoaderCacheRead = false;

void* Open(const char* path) {
    return dlopen(path, kLazyLocal);
}

// Follows symbolic links from `path` (or `path` + ".so" when `path` has no status),
// dlopening each target, until a target loads or a path is not a link.
void* OpenByFollowingLinks(string path) {
    struct stat info;
    if (lstat(path.CString(), &info) != 0) {
        path += ".so";
        if (lstat(path.CString(), &info) != 0) return nullptr;
    }
    for (int hop = 0; hop < kMaxLinkHops; ++hop) {
        if (hop > 0 && lstat(path.CString(), &info) != 0) return nullptr;
        if (!S_ISLNK(info.st_mode)) return nullptr;
        char target[kLinkBufferBytes];
        memset(target, 0, sizeof target);
        // One byte short of the buffer, so the zero after the target always stays.
        if (readlink(path.CString(), target, sizeof target - 1) < 0) return nullptr;
        // Deliberate: a relative target is opened as it stands (the loader searches its
        // own paths for a bare name), not relative to the link's folder.
        if (void* handle = Open(target)) return handle;
        path = string();
        path.ConstructFromBuffer(target, static_cast<unsigned>(strlen(target)));
    }
    return nullptr;
}

// Runs "/sbin/ldconfig -p" through "/bin/sh" the first time it is needed and keeps what
// it wrote (standard output and standard error) in gLoaderCache.
void ReadLoaderCache() {
    if (gLoaderCacheRead) return;
    gLoaderCacheRead = true;
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) return;
    const long openMax = sysconf(_SC_OPEN_MAX);
    const int readEnd = fds[0];
    const int writeEnd = fds[1];

    const pid_t child = vfork();
    if (child == 0) {
        // dup2 clears close-on-exec on 1 and 2; both pipe ends close at the exec.
        dup2(writeEnd, 1);
        dup2(writeEnd, 2);
        CloseDescriptorsFrom3(openMax);
        execlp("/bin/sh", "sh", "-c", "/sbin/ldconfig -p", static_cast<char*>(nullptr));
        _exit(127);
    }
    close(writeEnd);
    if (child > 0) {
        char* collected = nullptr;
        size_t size = 0;
        size_t capacity = 0;
        char chunk[kCacheChunkBytes];
        for (;;) {
            const ssize_t got = read(readEnd, chunk, sizeof chunk);
            if (got < 0 && errno == EINTR) continue;
            if (got <= 0) break;
            if (!AppendBytes(&collected, &size, &capacity, chunk, static_cast<size_t>(got))) break;
        }
        if (size > 0) gLoaderCache.ConstructFromBuffer(collected, static_cast<unsigned>(size));
        free(collected);
        int status = 0;
        while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
    }
    close(readEnd);
}

// Every cache line holding `name` ("\tlibz.so.1 (libc6,x86-64) => /lib/.../libz.so.1"):
// its path is opened, then the links from it are followed. The first handle wins.
void* OpenFromLoaderCache(const string& name) {
    ReadLoaderCache();
    const char* text = gLoaderCache.CString();
    const char* end = text + gLoaderCache.Length();
    const char* from = text;
    while (from < end) {
        const auto* hit = static_cast<const char*>(
            memmem(from, static_cast<size_t>(end - from), name.CString(), name.Length()));
        if (hit == nullptr) return nullptr;
        const char* afterHit = hit + name.Length();
        const auto* arrow = static_cast<const char*>(
            memmem(afterHit, static_cast<size_t>(end - afterHit), "=>", 2));
        if (arrow == nullptr) return nullptr;
        const auto* lineEnd =
            static_cast<const char*>(memchr(afterHit, '\n', static_cast<size_t>(end - afterHit)));
        if (lineEnd != nullptr && arrow > lineEnd) {
            from = afterHit;  // this line names no path for the hit
            continue;
        }
        // The path starts three characters after "=>" and runs to the first CR or LF.
        const char* start = arrow + 3 <= end ? arrow + 3 : end;
        const char* stop = start;
        while (stop < end && *stop != '\r' && *stop != '\n') ++stop;
        string path;
        path.ConstructFromBuffer(start, static_cast<unsigned>(stop - start));
        path = trim(path);
        if (!path.IsEmpty()) {
            if (void* handle = Open(path.CString())) return handle;
            if (void* handle = OpenByFollowingLinks(path)) return handle;
        }
        from = stop;
    }
    return nullptr;
}

}  // namespace

void* LoadLibrary(const string& name) {
    if (name.IsEmpty()) return nullptr;
    if (void* handle = Open(name.CString())) return handle;
    if (memmem(name.CString(), name.Length(), ".so", 3) == nullptr) {
        if (void* handle = Open((name + ".so").CString())) return handle;
    }
    if (void* handle = OpenByFollowingLinks(name)) return handle;
    return OpenFromLoaderCache(name);
}

}  // namespace UnixHelper
