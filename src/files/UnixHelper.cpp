// UnixHelper.cpp - EscapeString and ExecuteShell.
//
// ExecuteShell forks with vfork: the child only rearranges descriptors and execs, so the
// borrowed address space is never written. Everything the child needs (the command's C
// text, the descriptor limit) is computed before the fork.
#include "files/UnixHelper.h"

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
    if (pipe(fds) != 0) return string();

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

}  // namespace UnixHelper
