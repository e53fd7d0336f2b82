// Endian.h - byte-order helpers for code that reads or writes raw buffers.
//
// The "n" routines store and load network (big-endian) order whatever the host; the
// "uhton" routines convert host order to network order (a swap on x86). Shorts are 16
// bits, longs 32 and long longs 64 on every target: byte formats do not change with the
// word size. Loads and stores go through memcpy, so pointers need no alignment.
// Not here: streams (RandomAccessMechanism does its own byte order).
#ifndef ZYNE_STREAMS_ENDIAN_H
#define ZYNE_STREAMS_ENDIAN_H

#include <bit>
#include <cstdint>
#include <cstring>

/// Reverses n bytes at p in place; nothing when n is below 2 (or p is null).
inline void swapBytes(char* p, int n) {
    if (!p || n / 2 < 1) return;
    for (int i = 0, j = n - 1; i < j; ++i, --j) {
        const char t = p[i];
        p[i] = p[j];
        p[j] = t;
    }
}

/// v with its 2 bytes reversed.
inline short SwapEndianShort(short v) {
    return static_cast<short>(__builtin_bswap16(static_cast<uint16_t>(v)));
}
/// v with its 4 bytes reversed.
inline int32_t SwapEndianLong(int32_t v) {
    return static_cast<int32_t>(__builtin_bswap32(static_cast<uint32_t>(v)));
}
/// v with its 4 bytes reversed.
inline uint32_t SwapEndianULong(uint32_t v) {
    return __builtin_bswap32(v);
}
/// v with its 8 bytes reversed.
inline int64_t SwapEndianLongLong(int64_t v) {
    return static_cast<int64_t>(__builtin_bswap64(static_cast<uint64_t>(v)));
}
/// v with its 8 bytes reversed (the result may be any bit pattern, a NaN included).
inline double SwapEndianDouble(double v) {
    return std::bit_cast<double>(__builtin_bswap64(std::bit_cast<uint64_t>(v)));
}

inline constexpr bool kHostIsLittleEndian = std::endian::native == std::endian::little;

/// Host order to network order.
inline unsigned short uhtons(unsigned short v) {
    return kHostIsLittleEndian ? __builtin_bswap16(v) : v;
}
/// Host order to network order.
inline uint32_t uhtonl(uint32_t v) {
    return kHostIsLittleEndian ? __builtin_bswap32(v) : v;
}
/// Host order to network order.
inline double uhtond(double v) {
    return kHostIsLittleEndian ? SwapEndianDouble(v) : v;
}

/// Stores the 16-bit v big-endian at p.
inline void nstoreshort(void* p, short v) {
    const auto u = static_cast<uint16_t>(v);
    const unsigned char b[2] = {static_cast<unsigned char>(u >> 8), static_cast<unsigned char>(u)};
    memcpy(p, b, 2);
}
/// Stores the 32-bit v big-endian at p.
inline void nstorelong(void* p, int32_t v) {
    const auto u = static_cast<uint32_t>(v);
    const unsigned char b[4] = {static_cast<unsigned char>(u >> 24),
                                static_cast<unsigned char>(u >> 16),
                                static_cast<unsigned char>(u >> 8), static_cast<unsigned char>(u)};
    memcpy(p, b, 4);
}
/// The big-endian 16-bit value at p.
inline short nloadshort(const void* p) {
    unsigned char b[2];
    memcpy(b, p, 2);
    return static_cast<short>(static_cast<uint16_t>((b[0] << 8) | b[1]));
}
/// The big-endian 16-bit value at p, into *out.
inline void nloadshort(const void* p, short* out) {
    *out = nloadshort(p);
}
/// The big-endian 32-bit value at p.
inline int32_t nloadlong(const void* p) {
    unsigned char b[4];
    memcpy(b, p, 4);
    return static_cast<int32_t>((static_cast<uint32_t>(b[0]) << 24) |
                                (static_cast<uint32_t>(b[1]) << 16) |
                                (static_cast<uint32_t>(b[2]) << 8) | b[3]);
}
/// The big-endian 32-bit value at p, into *out.
inline void nloadlong(const void* p, int32_t* out) {
    *out = nloadlong(p);
}

/// Copies n bytes from src to dst in reverse order (dst[0] = src[n - 1]). The ranges must
/// not overlap; nothing for n below 1.
inline void nstorebytes(void* dst, const void* src, int n) {
    auto* d = static_cast<unsigned char*>(dst);
    const auto* s = static_cast<const unsigned char*>(src);
    for (int i = 0; i < n; ++i) d[i] = s[n - 1 - i];
}

/// Stores v at p in host order.
inline void hstoredouble8(void* p, double v) {
    memcpy(p, &v, 8);
}
/// The 8 bytes at p, reversed, as a double. Deliberate: reversed whatever the host, so it
/// is not the inverse of hstoredouble8; callers pair it with big-endian data on x86.
inline double hloaddouble8(const void* p) {
    unsigned char b[8];
    nstorebytes(b, p, 8);
    double v;
    memcpy(&v, b, 8);
    return v;
}

#endif  // ZYNE_STREAMS_ENDIAN_H
