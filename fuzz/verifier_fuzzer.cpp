// verifier_fuzzer.cpp - the container verifier of "zqx check" over the input's bytes.
//
// The verifier reads raw bytes and must report damage, never trip over it: every input
// gives a report, and a report that claims a version always names the one in the bytes.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "ContainerCheck.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const zqx::CheckReport report = zqx::CheckContainer(data, size);
    for (const zqx::CheckProblem& problem : report.problems) {
        // An offset is -1 (none) or somewhere a reader could have looked.
        if (problem.offset < -1 || problem.message.empty()) abort();
    }
    if (report.freeBlocks > report.blocks) abort();
    return 0;
}
