// main.cpp - zyne-host: loads a bridge the way the host does and prints what it did.
//
//   zyne-host [BRIDGE_PATH]
//       Prints the registration log (one line per service lookup and call), then a
//       summary of what was registered.
//   zyne-host load [--bridge BRIDGE_PATH] [--log] PLUGIN...
//       Loads the bridge, then each plug-in file through it, as host code does: a new
//       PluginBridge per file, LoadPlugin with a host FolderItem, then the bridge's and
//       each definition's properties. --log adds the host's service log at the end.
//
// Exit status: 0 loaded (every plug-in, for load), 1 the bridge or a plug-in could not be
// loaded, 2 bad usage.
#include <cstdio>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "ReferenceHost.h"

namespace {

using zyne::host::ReferenceHost;

void Usage(std::FILE* out) {
    std::fprintf(out,
                 "usage: zyne-host [BRIDGE_PATH]\n"
                 "       zyne-host load [--bridge BRIDGE_PATH] [--log] PLUGIN...\n"
                 "The first form loads the bridge as the host does, prints every service\n"
                 "lookup and call it makes, then what it registered. The second loads each\n"
                 "PLUGIN (a .zqx container or a shared library) through the bridge and prints\n"
                 "what the bridge found. The default bridge is\n"
                 "  %s\n",
                 ZYNE_BRIDGE_PATH);
}

int Registration(const zyne::host::HostOptions& options) {
    ReferenceHost host(options);
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

// The text of a string property, quoted, or nil; the string is released.
std::string Quoted(ReferenceHost& host, ZYNEstring string) {
    if (string == nullptr) return "nil";
    std::string text = "\"" + ReferenceHost::Text(string) + "\"";
    host.Unlock(string);
    return text;
}

// The PluginDefinition properties printed per definition, in this order.
constexpr const char* kCounts[] = {
    "ClassCount",          "ControlCount",
    "InterfaceCount",      "MethodCount",
    "ModuleCount",         "StructureCount",
    "EnumCount",           "ClassExtensionCount",
    "DatabaseEngineCount", "DataSourceInterfaceCount",
    "DataSourceCount",     "DatabaseConnectionCount",
};
constexpr const char* kTargets[] = {
    "IsTargetLinux",          "IsTargetWin32", "IsTargetCarbon",  "IsTargetMachO",
    "IsTargetMachOUniversal", "IsTargetCocoa", "IsTargetClassic",
};

void PrintDefinition(ReferenceHost& host, ZYNEobject definition, long index) {
    std::printf("  definition %ld: ID %s\n", index,
                Quoted(host, host.Get<ZYNEstring>(definition, "ID")).c_str());
    std::string targets;
    for (const char* flag : kTargets) {
        if (host.Get<bool>(definition, flag))
            targets += (targets.empty() ? "" : " ") + std::string(flag + 8);  // after "IsTarget"
    }
    std::printf("    targets: %s\n", targets.empty() ? "none" : targets.c_str());
    std::printf("   ");
    for (const char* count : kCounts)
        std::printf(" %s %ld", count, host.Get<long>(definition, count));
    std::printf("\n");
}

// Loads one plug-in through a new PluginBridge and prints what the bridge reports; false
// when LoadPlugin answers false.
bool LoadOne(ReferenceHost& host, const std::string& path) {
    using FromPath = ZYNEobject (*)(const char*);
    const auto fromPath = host.Service<FromPath>("FolderItemFromPath");
    ZYNEobject bridge = host.NewInstance("PluginBridge");
    ZYNEobject location = fromPath != nullptr ? fromPath(path.c_str()) : nullptr;
    if (bridge == nullptr || location == nullptr) {
        std::fprintf(stderr, "zyne-host: %s: %s\n", path.c_str(),
                     bridge == nullptr ? "the bridge registered no PluginBridge class"
                                       : "the host has no FolderItemFromPath service");
        host.Unlock(location);
        host.Unlock(bridge);
        return false;
    }
    const bool loaded = host.Call<bool>(bridge, "LoadPlugin", location);
    host.Unlock(location);
    std::printf("%s: LoadPlugin %s\n", path.c_str(), loaded ? "true" : "false");
    std::printf("  PluginName %s\n",
                Quoted(host, host.Get<ZYNEstring>(bridge, "PluginName")).c_str());
    std::printf("  HasHelp %s\n", host.Get<bool>(bridge, "HasHelp") ? "true" : "false");
    const long count = host.Get<long>(bridge, "Count");
    std::printf("  Count %ld\n", count);
    for (long i = 0; i < count; ++i) {
        ZYNEobject definition = host.Call<ZYNEobject>(bridge, "GetPluginDefinition", i);
        if (definition == nullptr) {
            std::printf("  definition %ld: nil\n", i);
            continue;
        }
        PrintDefinition(host, definition, i);
        host.Unlock(definition);
    }
    host.Unlock(bridge);
    return loaded;
}

int Load(const zyne::host::HostOptions& options, const std::vector<std::string>& plugins,
         bool log) {
    ReferenceHost host(options);
    if (!host.Load()) {
        std::fprintf(stderr, "zyne-host: %s\n", host.Error().c_str());
        return 1;
    }
    bool all = true;
    try {
        for (const std::string& path : plugins) all = LoadOne(host, path) && all;
    } catch (const std::exception& e) {
        // The bridge lacks a method or property the host expected.
        std::fprintf(stderr, "zyne-host: %s\n", e.what());
        return 1;
    }
    if (log) {
        for (const std::string& line : host.Log()) std::printf("%s\n", line.c_str());
    }
    for (const std::string& fault : host.Faults()) std::printf("fault: %s\n", fault.c_str());
    return all ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    zyne::host::HostOptions options;
    if (argc > 1 && std::string_view(argv[1]) == "load") {
        std::vector<std::string> plugins;
        bool log = false;
        for (int i = 2; i < argc; ++i) {
            const std::string_view argument = argv[i];
            if (argument == "--help" || argument == "-h") {
                Usage(stdout);
                return 0;
            }
            if (argument == "--log") {
                log = true;
            } else if (argument == "--bridge" && i + 1 < argc) {
                options.bridgePath = argv[++i];
            } else if (argument.starts_with("-")) {
                Usage(stderr);
                return 2;
            } else {
                plugins.emplace_back(argument);
            }
        }
        if (plugins.empty()) {
            Usage(stderr);
            return 2;
        }
        return Load(options, plugins, log);
    }

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
    return Registration(options);
}
