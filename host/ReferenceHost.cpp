// ReferenceHost.cpp - the host's life cycle, loading, the resolver, the log and the
// core services ("RegisterPluginVersion", "ZYNEGetZQVersion").
//
// Every family of built-in services is installed here, in the constructor, from its
// table; the families themselves live in HostRegistration.cpp, HostStrings.cpp,
// HostObjects.cpp, HostFolderItems.cpp, HostVariants.cpp, HostProperties.cpp,
// HostPictures.cpp, HostClassRefs.cpp, HostCollections.cpp, HostMemoryBlocks.cpp,
// HostArrays.cpp, HostInterfaces.cpp and HostDatabases.cpp.
// Nothing here interprets records beyond their names.
#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "HostState.h"

namespace zyne::host {

namespace {

ReferenceHost* gCurrent = nullptr;

// The resolver handed to the plug-in: a plain function, so the host is found through
// the one live instance. Without one (a plug-in calling after its host is gone) it
// answers null rather than crash.
void* Resolve(const char* name) {
    ReferenceHost* host = ReferenceHost::Current();
    return host != nullptr ? host->Lookup(name) : nullptr;
}

void RegisterPluginVersion(long version) {
    detail::HostState& state = detail::CurrentState();
    state.Called("RegisterPluginVersion", version);
    state.pluginVersion = version;
}

double GetZQVersion() {
    detail::HostState& state = detail::CurrentState();
    state.Called("ZYNEGetZQVersion");
    // Only installed while a version is set; 0.0 is what a missing service means anyway.
    const double version = state.options.version.value_or(0.0);
    state.lastVersionAnswer = version;
    return version;
}

constexpr const char* kVersionService = "ZYNEGetZQVersion";

// Frees the strings and objects still alive when the host goes. Tests have counted
// them by then (LiveStrings, LiveObjects); the memory goes back so that a leak
// checker sees only what nobody accounts for. Only the host's own destructors run:
// the plug-in's code is unloaded already, and what its objects hold is in these
// sets too. A destructor that unlocks an object freed here is logged as a fault.
void FreeLeftovers(detail::HostState& state) {
    auto fromPlugin = [&](const ZYNEclassDefinition* record) {
        return std::find(state.classes.begin(), state.classes.end(), record) !=
                   state.classes.end() ||
               std::find(state.classExtensions.begin(), state.classExtensions.end(), record) !=
                   state.classExtensions.end();
    };
    while (!state.liveObjects.empty()) {
        ZYNEobject object = *state.liveObjects.begin();
        state.liveObjects.erase(object);
        // Word 0 of every object is its ClassInfo.
        const ClassInfo* info = *reinterpret_cast<const ClassInfo* const*>(object);
        for (const ClassInfo* c = info; c != nullptr; c = c->superclass) {
            // The plug-in's records went with its code: compared, never read.
            if (c->record == nullptr || fromPlugin(c->record)) continue;
            if (c->record->destructor != nullptr) c->record->destructor(object);
        }
        std::free(object);
    }
    for (ZYNEstring string : state.liveStrings) {
        std::free(const_cast<unsigned char*>(string->storage));
        std::free(string);
    }
    state.liveStrings.clear();
}

const detail::ServiceRow kCoreServices[] = {
    {"RegisterPluginVersion", reinterpret_cast<void*>(&RegisterPluginVersion)},
    {kVersionService, reinterpret_cast<void*>(&GetZQVersion)},
};

}  // namespace

namespace detail {

std::span<const ServiceRow> CoreServices() {
    return kCoreServices;
}

HostState& CurrentState() {
    if (gCurrent == nullptr) {
        std::fputs("zynehost: a host service was called with no host alive\n", stderr);
        std::abort();
    }
    return *gCurrent->state_;
}

bool SameName(std::string_view a, std::string_view b) {
    auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                              [&](char x, char y) { return lower(x) == lower(y); });
}

void HostState::Fault(std::string what) {
    log.push_back("fault: " + what);
    faults.push_back(std::move(what));
}

bool HostState::HostTakesThreeWordMethods() const {
    // Deliberate: mirrors the glue's strict comparison; a host of exactly 5.9 takes the
    // current form. What the glue saw decides: once it has bound the version service it
    // keeps calling it even after a test withdraws or replaces the name.
    if (lastVersionAnswer) return *lastVersionAnswer < 5.9;
    const bool answers = options.version.has_value() && services.contains(kVersionService);
    return !(answers && *options.version >= 5.9);
}

}  // namespace detail

ReferenceHost::ReferenceHost(HostOptions options) : state_(std::make_unique<detail::HostState>()) {
    if (gCurrent != nullptr) {
        // Not an assert: release builds would go on with two hosts behind one resolver.
        std::fputs("zynehost: a second ReferenceHost while one is alive\n", stderr);
        std::abort();
    }
    gCurrent = this;
    state_->options = std::move(options);

    // Every built-in service family, installed in one place.
    for (std::span<const detail::ServiceRow> family :
         {detail::CoreServices(), detail::RegistrationServices(), detail::StringServices(),
          detail::ObjectServices(), detail::FolderItemServices(), detail::VariantServices(),
          detail::PropertyServices(), detail::PictureServices(), detail::ClassRefServices(),
          detail::MemoryBlockServices(), detail::ArrayServices(),
          detail::InterfaceServices(), detail::DatabaseServices(),
          detail::GtkWindowServices()}) {
        for (const detail::ServiceRow& row : family) state_->services[row.name] = row.function;
    }
    if (!state_->options.version) Withdraw(kVersionService);
    detail::AddBuiltInClasses(*state_);
}

ReferenceHost::~ReferenceHost() {
    // The bridge is unloaded while this host is still whole and current: static
    // destructors in the bridge may unlock what they hold, through the services.
    if (state_->bridge != nullptr) dlclose(state_->bridge);
    FreeLeftovers(*state_);
    state_.reset();
    gCurrent = nullptr;
}

ReferenceHost* ReferenceHost::Current() {
    return gCurrent;
}

ZYNEResolver ReferenceHost::Resolver() {
    return &Resolve;
}

bool ReferenceHost::Load() {
    detail::HostState& state = *state_;
    const std::string& path = state.options.bridgePath;
    if (state.bridge != nullptr) {
        state.error = "cannot load " + path + ": a bridge is already loaded";
        return false;
    }
    void* handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL);
    if (handle == nullptr) {
        const char* why = dlerror();
        state.error = "cannot load " + path + ": " + (why != nullptr ? why : "unknown error");
        return false;
    }
    dlerror();
    using PluginMain = void (*)(ZYNEResolver);
    auto main = reinterpret_cast<PluginMain>(dlsym(handle, "ZYNEPluginMain"));
    if (main == nullptr) {
        const char* why = dlerror();
        state.error = "cannot load " + path + ": no ZYNEPluginMain (" +
                      (why != nullptr ? why : "null symbol") + ")";
        dlclose(handle);
        return false;
    }
    state.bridge = handle;
    state.error.clear();
    main(&Resolve);
    return true;
}

const std::string& ReferenceHost::Error() const {
    return state_->error;
}

void* ReferenceHost::Handle() const {
    return state_->bridge;
}

void* ReferenceHost::RawSymbol(const char* name) const {
    return state_->bridge != nullptr ? dlsym(state_->bridge, name) : nullptr;
}

void ReferenceHost::Provide(std::string name, void* function) {
    state_->services[std::move(name)] = function;
}

void ReferenceHost::Withdraw(const std::string& name) {
    state_->services.erase(name);
}

bool ReferenceHost::Offers(std::string_view name) const {
    auto found = state_->services.find(name);
    return found != state_->services.end() && found->second != nullptr;
}

void* ReferenceHost::Lookup(const char* name) {
    if (name == nullptr) {
        state_->log.push_back("resolve null -> missing");
        return nullptr;
    }
    auto found = state_->services.find(std::string_view(name));
    void* function = found != state_->services.end() ? found->second : nullptr;
    state_->log.push_back("resolve " + std::string(name) +
                          (function != nullptr ? " -> found" : " -> missing"));
    return function;
}

void ReferenceHost::SetVersion(std::optional<double> version) {
    state_->options.version = version;
    if (version) {
        Provide(kVersionService, reinterpret_cast<void*>(&GetZQVersion));
    } else {
        Withdraw(kVersionService);
    }
}

std::optional<double> ReferenceHost::Version() const {
    return state_->options.version;
}

const std::vector<std::string>& ReferenceHost::Log() const {
    return state_->log;
}

void ReferenceHost::ClearLog() {
    state_->log.clear();
}

void ReferenceHost::Record(std::string line) {
    state_->log.push_back(std::move(line));
}

bool ReferenceHost::Resolved(std::string_view name) const {
    const std::string found = "resolve " + std::string(name) + " -> found";
    const std::string missing = "resolve " + std::string(name) + " -> missing";
    return std::any_of(state_->log.begin(), state_->log.end(),
                       [&](const std::string& line) { return line == found || line == missing; });
}

size_t ReferenceHost::Count(std::string_view line) const {
    return static_cast<size_t>(std::count(state_->log.begin(), state_->log.end(), line));
}

const std::vector<std::string>& ReferenceHost::Faults() const {
    return state_->faults;
}

long ReferenceHost::PluginVersion() const {
    return state_->pluginVersion;
}

}  // namespace zyne::host
