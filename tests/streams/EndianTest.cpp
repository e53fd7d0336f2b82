// EndianTest.cpp - the free byte-order helpers: swaps, network stores and loads.
#include "streams/Endian.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

// The bytes of a value as they sit in memory.
template <typename T>
std::string Bytes(T v) {
    return std::string(reinterpret_cast<const char*>(&v), sizeof v);
}

TEST(EndianTest, SwapsAndHostToNetwork) {
    for (auto [in, out] : {std::pair<std::string, std::string>{"", ""},
                           {"a", "a"},
                           {"ab", "ba"},
                           {"abc", "cba"},
                           {"abcdefgh", "hgfedcba"}}) {
        swapBytes(in.data(), static_cast<int>(in.size()));
        EXPECT_EQ(in, out);
    }
    EXPECT_EQ(SwapEndianShort(static_cast<short>(0xFF00)), 0x00FF);
    EXPECT_EQ(SwapEndianLong(-2), static_cast<int32_t>(0xFEFFFFFF));
    EXPECT_EQ(SwapEndianULong(0xA1B2C3D4u), 0xD4C3B2A1u);
    EXPECT_EQ(SwapEndianLongLong(0x0102030405060708LL), 0x0807060504030201LL);
    EXPECT_EQ(Bytes(SwapEndianDouble(1.0)), Bytes(uhtond(1.0)));
    // Network order is big-endian whatever the host.
    EXPECT_EQ(Bytes(uhtons(0x1234)), "\x12\x34");
    EXPECT_EQ(Bytes(uhtonl(0x01020304u)), "\x01\x02\x03\x04");
    EXPECT_EQ(Bytes(uhtond(1.0)), std::string("\x3F\xF0\0\0\0\0\0\0", 8));
}

TEST(EndianTest, NetworkStoresAndLoadsAtOddAddresses) {
    unsigned char buf[9] = {};
    nstoreshort(buf + 1, static_cast<short>(0xABCD));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buf + 1), 2), "\xAB\xCD");
    short s = 0;
    nloadshort(buf + 1, &s);
    EXPECT_EQ(s, static_cast<short>(0xABCD));
    EXPECT_EQ(nloadshort(buf + 1), s);

    nstorelong(buf + 3, -16);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buf + 3), 4), "\xFF\xFF\xFF\xF0");
    int32_t l = 0;
    nloadlong(buf + 3, &l);
    EXPECT_EQ(l, -16);
    EXPECT_EQ(nloadlong(buf + 3), -16);

    const unsigned char src[4] = {1, 2, 3, 4};
    unsigned char dst[4] = {};
    nstorebytes(dst, src, 4);
    EXPECT_EQ(dst[0], 4);
    EXPECT_EQ(dst[3], 1);

    unsigned char raw[8];
    hstoredouble8(raw, 2.5);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(raw), 8), Bytes(2.5));
    // hloaddouble8 reverses: it reads what a big-endian writer stored.
    const unsigned char bigOne[8] = {0x3F, 0xF0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(hloaddouble8(bigOne), 1.0);
}

}  // namespace
