// ForwarderBench.cpp - zyne-bench suite: what a bound forwarder costs over a direct call.
//
// Each pair reaches one host service two ways in the same run: through its ZYNE...
// entry point, already bound, and through a function pointer loaded from a
// volatile, as a plug-in that kept the pointer itself would call it. The services
// are trivial and never inlined, so the difference is the forwarder's own work: a
// call, a slot load and a test. At the end the ratio forwarder/direct of each pair
// is printed against the goal (RatioReporter). The binding (first call, resolver
// lookup) is not timed, and nothing here measures the host's real services.
#include <cstdio>
#include <cstring>

#include <benchmark/benchmark.h>

#include "RatioReporter.h"
#include "Suites.h"
#include "hostapi/ZYNEPlugin.h"

namespace {

// The ratio forwarder/direct above which a forwarder counts as too slow.
constexpr double kRatioGoal = 1.5;

// --- The fake host: two trivial services and a resolver that knows only them.

ZYNEobject gLastLocked = nullptr;

__attribute__((noinline)) void LockObjectService(ZYNEobject object) {
    gLastLocked = object;
}

__attribute__((noinline)) const char* StringGetCStringService(ZYNEstring string) {
    return reinterpret_cast<const char*>(string->storage + 1);
}

void* Resolve(const char* name) {
    if (std::strcmp(name, "ZYNELockObject") == 0) {
        return reinterpret_cast<void*>(&LockObjectService);
    }
    if (std::strcmp(name, "StringGetCString") == 0) {
        return reinterpret_cast<void*>(&StringGetCStringService);
    }
    return nullptr;
}

// Volatile, so every direct call loads its pointer as a forwarder loads its slot,
// and the compiler can neither inline the service nor hoist the load.
void (*volatile gDirectLockObject)(ZYNEobject) = &LockObjectService;
const char* (*volatile gDirectStringGetCString)(ZYNEstring) = &StringGetCStringService;

// The arguments: an object the services never read, a string record they do.
alignas(16) unsigned char gObjectBytes[16];
const unsigned char kStorage[] = "\4text";
ZYNEstringStruct gString = {0, kStorage, 0, 4};

ZYNEobject Object() {
    return reinterpret_cast<ZYNEobject>(gObjectBytes);
}

// --- The pairs. (The unused loop variable is the library's idiom, hence the NOLINTs.)

void ForwarderLockObject(benchmark::State& state) {
    ZYNEobject object = Object();
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        benchmark::DoNotOptimize(object);
        ZYNELockObject(object);
        benchmark::ClobberMemory();
    }
}

void DirectLockObject(benchmark::State& state) {
    ZYNEobject object = Object();
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        benchmark::DoNotOptimize(object);
        gDirectLockObject(object);
        benchmark::ClobberMemory();
    }
}

void ForwarderCString(benchmark::State& state) {
    ZYNEstring string = &gString;
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        benchmark::DoNotOptimize(string);
        const char* text = ZYNECString(string);
        benchmark::DoNotOptimize(text);
    }
}

void DirectCString(benchmark::State& state) {
    ZYNEstring string = &gString;
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        benchmark::DoNotOptimize(string);
        const char* text = gDirectStringGetCString(string);
        benchmark::DoNotOptimize(text);
    }
}

}  // namespace

bool RegisterForwarderBenchmarks(RatioReporter& reporter) {
    // Bind both forwarders before anything is timed, and make sure they reached the
    // services: an unbound forwarder would be timed asking the resolver every call.
    gResolver = &Resolve;
    ZYNELockObject(Object());
    if (gLastLocked != Object() || ZYNECString(&gString) != gString.CString()) {
        std::fprintf(stderr, "zyne-bench: the forwarders did not bind to the services\n");
        return false;
    }

    benchmark::RegisterBenchmark("ZYNELockObject/forwarder", ForwarderLockObject);
    benchmark::RegisterBenchmark("ZYNELockObject/direct", DirectLockObject);
    benchmark::RegisterBenchmark("ZYNECString/forwarder", ForwarderCString);
    benchmark::RegisterBenchmark("ZYNECString/direct", DirectCString);
    reporter.AddRatio("ZYNELockObject forwarder/direct", "ZYNELockObject/forwarder",
                      "ZYNELockObject/direct", kRatioGoal);
    reporter.AddRatio("ZYNECString forwarder/direct", "ZYNECString/forwarder", "ZYNECString/direct",
                      kRatioGoal);
    return true;
}
