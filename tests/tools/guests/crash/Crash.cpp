// Crash.cpp - a guest whose entry point dies of SIGSEGV halfway through registering, as a
// guest with a wild pointer does; zyne-inspect must report the crash, not share it.
#include <ZYNEPlugin.h>

#include <csignal>

namespace {

ZYNEclassDefinition CrashFirst = {
    .version = ZYNE_RECORD_VERSION,
    .name = "CrashFirst",
    .dataSize = 8,
};

}  // namespace

void PluginEntry() {
    ZYNERegisterClass(&CrashFirst);
    std::raise(SIGSEGV);
}
