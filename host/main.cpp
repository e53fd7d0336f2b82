// main.cpp - zyne-host: loads a bridge the way the host does and prints what it did.
//
//   zyne-host [BRIDGE_PATH]
//
// Prints the registration log (one line per service lookup and call), then a summary
// of what was registered. Exit status: 0 loaded, 1 the bridge could not be loaded,
// 2 bad usage. It runs no plug-in code beyond ZYNEPluginMain.
#include <cstdio>
#include <string>
#include <string_view>

#include "ReferenceHost.h"

namespace {

void Usage(std::FILE* out) {
    std::fprintf(out,
                 "usage: zyne-host [BRIDGE_PATH]\n"
                 "Loads the bridge as the host does, prints every service lookup and call\n"
                 "it makes, then what it registered. The default bridge is\n"
                 "  %s\n",
                 ZYNE_BRIDGE_PATH);
}

}  // namespace

int main(int argc, char** argv) {
    zyne::host::HostOptions options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "--help" || argument == "-h") {
            Usage(stdout);
            return 0;
        }
        if (argument.starts_with("-") || i > 1) {
            Usage(stderr);
            return 2;
        }
        options.bridgePath = argv[i];
    }

    zyne::host::ReferenceHost host(options);
    if (!host.Load()) {
        std::fprintf(stderr, "zyne-host: %s\n", host.Error().c_str());
        return 1;
    }
    for (const std::string& line : host.Log()) std::printf("%s\n", line.c_str());
    std::printf(
        "registered %zu classes, %zu class extensions, %zu controls, %zu interfaces, "
        "%zu modules, %zu methods, %zu structures, %zu enums; plug-in interface version %ld\n",
        host.Classes().size(), host.ClassExtensions().size(), host.Controls().size(),
        host.Interfaces().size(), host.Modules().size(), host.Methods().size(),
        host.Structures().size(), host.Enums().size(), host.PluginVersion());
    for (const std::string& fault : host.Faults()) std::printf("fault: %s\n", fault.c_str());
    return 0;
}
