// Random.h - a seeded pseudo-random generator whose sequence is fixed by its seed.
//
// The generator is PCG32 (the "XSH RR" output of a 64-bit linear congruential state):
//   state' = state * 6364136223846793005 + increment        (mod 2^64, increment odd)
//   output = rotate_right32(uint32(((state >> 18) ^ state) >> 27), state >> 59)
// where the output is taken from the state before the step. Seeding with (seed, stream)
// sets increment = (stream << 1) | 1, state = 0, steps once, adds seed, steps once more.
// The default stream is 721347520444481703 (increment 1442695040888963407). Only 64-bit
// integer arithmetic is involved, so a seed gives the same sequence on x86_64 and i386
// and with any C library; nothing here uses std::rand or the standard distributions,
// whose outputs differ between libraries.
//
// Derived values: Number() puts the high 53 bits of two outputs (first output high) over
// 2^53, which is exact in a double and lies in [0, 1); InRange draws by rejection from the
// top of the 32-bit (or 64-bit) range so that every value in range is equally likely.
//
// Not cryptographic. One object, one sequence: objects are independent and nothing here
// is shared between them.
#ifndef ZYNE_RUNTIME_RANDOM_H
#define ZYNE_RUNTIME_RANDOM_H

#include <cstdint>

class Random {
public:
    /// The stream used when none is given.
    static constexpr uint64_t kDefaultStream = 721347520444481703ULL;

    /// Seeded from the clock (microseconds) and a per-process counter, so that two objects
    /// made in the same microsecond still differ.
    Random();
    /// Seeded with seed on the default stream.
    explicit Random(uint64_t seed);
    /// Seeded with seed on the given stream (only its low 63 bits count).
    Random(uint64_t seed, uint64_t stream);

    /// Restarts the sequence: the same seed (and stream) gives the same outputs again.
    void Seed(uint64_t seed, uint64_t stream = kDefaultStream);

    /// The next 32 random bits.
    uint32_t NextUInt32();
    /// The next 64 random bits: two outputs, the first in the high half.
    uint64_t NextUInt64();
    /// A number in [0, 1) with 53 random bits (multiples of 2^-53); uses two outputs.
    double Number();
    /// An integer from lo to hi, both included, each equally likely; lo and hi may come in
    /// either order, and lo == hi gives lo without using an output.
    int32_t InRange(int32_t lo, int32_t hi);
    /// The same over 64-bit integers.
    int64_t InRange64(int64_t lo, int64_t hi);

private:
    uint64_t mState = 0;
    uint64_t mIncrement = 1;
};

#endif  // ZYNE_RUNTIME_RANDOM_H
