// Random.cpp - a seeded pseudo-random generator whose sequence is fixed by its seed.
//
// PCG32 as laid out in Random.h; unbiased ranges by rejecting the few outputs below
// 2^32 mod n (2^64 mod n), which are the ones that would make the low values likelier.
#include "runtime/Random.h"

#include <sys/time.h>

namespace {

constexpr uint64_t kMultiplier = 6364136223846793005ULL;

// Made distinct per object created without a seed; plain, as the library has one thread.
uint64_t gUnseededCount = 0;

// The splitmix64 finaliser: spreads clock bits over the whole seed.
uint64_t Mix(uint64_t x) {
    x += 0x9E3779B97F4A7C15ULL;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ULL;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBULL;
    return x ^ (x >> 31);
}

// An integer uniformly from 0 .. span - 1 (span > 0) out of a source of 64-bit draws.
template <typename Draw>
uint64_t Below(uint64_t span, Draw draw) {
    const uint64_t threshold = (0 - span) % span;  // 2^64 mod span
    for (;;) {
        const uint64_t r = draw();
        if (r >= threshold) return r % span;
    }
}

}  // namespace

Random::Random() {
    timeval now{};
    gettimeofday(&now, nullptr);
    const uint64_t micros = static_cast<uint64_t>(now.tv_sec) * 1000000ULL +
                            static_cast<uint64_t>(now.tv_usec);
    ++gUnseededCount;
    Seed(Mix(micros ^ Mix(gUnseededCount)));
}

Random::Random(uint64_t seed) { Seed(seed); }

Random::Random(uint64_t seed, uint64_t stream) { Seed(seed, stream); }

void Random::Seed(uint64_t seed, uint64_t stream) {
    mState = 0;
    mIncrement = (stream << 1) | 1;
    NextUInt32();
    mState += seed;
    NextUInt32();
}

uint32_t Random::NextUInt32() {
    const uint64_t old = mState;
    mState = old * kMultiplier + mIncrement;
    const uint32_t xorShifted = static_cast<uint32_t>(((old >> 18) ^ old) >> 27);
    const uint32_t rotation = static_cast<uint32_t>(old >> 59);
    return (xorShifted >> rotation) | (xorShifted << ((32 - rotation) & 31));
}

uint64_t Random::NextUInt64() {
    const uint64_t high = NextUInt32();
    return (high << 32) | NextUInt32();
}

double Random::Number() {
    // 53 bits times 2^-53: both steps are exact, so the x87 build gives the same double.
    return static_cast<double>(NextUInt64() >> 11) * (1.0 / 9007199254740992.0);
}

int32_t Random::InRange(int32_t lo, int32_t hi) {
    if (lo > hi) {
        const int32_t swap = lo;
        lo = hi;
        hi = swap;
    }
    if (lo == hi) return lo;
    const uint32_t span = static_cast<uint32_t>(hi) - static_cast<uint32_t>(lo) + 1;  // 0: all
    uint32_t offset;
    if (span == 0) {
        offset = NextUInt32();
    } else {
        const uint32_t threshold = (0u - span) % span;  // 2^32 mod span
        uint32_t r;
        do {
            r = NextUInt32();
        } while (r < threshold);
        offset = r % span;
    }
    return static_cast<int32_t>(static_cast<uint32_t>(lo) + offset);
}

int64_t Random::InRange64(int64_t lo, int64_t hi) {
    if (lo > hi) {
        const int64_t swap = lo;
        lo = hi;
        hi = swap;
    }
    if (lo == hi) return lo;
    const uint64_t span = static_cast<uint64_t>(hi) - static_cast<uint64_t>(lo) + 1;  // 0: all
    const uint64_t offset = span == 0 ? NextUInt64() : Below(span, [this] { return NextUInt64(); });
    return static_cast<int64_t>(static_cast<uint64_t>(lo) + offset);
}
