// Hang.cpp - a guest whose entry point never returns, as one waiting for a lock or a
// server does; zyne-inspect must give up after its time limit and kill it.
//
// When INSPECT_HANG_PID_FILE names a file, the guest first starts a helper process that
// also waits forever and writes the helper's process id there, so a test can tell that
// the whole process group went, not just the process that loaded the guest.
#include <ZYNEPlugin.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace {

ZYNEclassDefinition HangFirst = {
    .version = ZYNE_RECORD_VERSION,
    .name = "HangFirst",
    .dataSize = 8,
};

}  // namespace

void PluginEntry() {
    ZYNERegisterClass(&HangFirst);
    if (const char* pidFile = std::getenv("INSPECT_HANG_PID_FILE")) {
        const pid_t helper = fork();
        if (helper == 0) {
            for (;;) pause();
        }
        if (std::FILE* out = std::fopen(pidFile, "w")) {
            std::fprintf(out, "%ld\n", static_cast<long>(helper));
            std::fclose(out);
        }
    }
    for (;;) pause();
}
