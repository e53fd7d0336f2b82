// RandomAccessMechanism.cpp - the stream's default slots, scrambling and typed helpers.
//
// Byte order is applied by assembling values from bytes, so the results are the same on
// any host. The typed helpers know nothing of the concrete stream; all their I/O goes
// through ReadData and WriteData. Layouts are tabled in RandomAccessMechanism.h.
#include "streams/RandomAccessMechanism.h"

#include <bit>
#include <climits>
#include <cstring>

namespace {

// Byte i (0 = least significant) of a value of `size` bytes sits at index i in
// little-endian order, size - 1 - i in big-endian order.
void StoreBytes(unsigned char* out, uint64_t value, int size, bool bigEndian) {
    for (int i = 0; i < size; ++i) {
        out[bigEndian ? size - 1 - i : i] = static_cast<unsigned char>(value >> (8 * i));
    }
}

uint64_t LoadBytes(const unsigned char* in, int size, bool bigEndian) {
    uint64_t value = 0;
    for (int i = 0; i < size; ++i) {
        value |= static_cast<uint64_t>(in[bigEndian ? size - 1 - i : i]) << (8 * i);
    }
    return value;
}

constexpr unsigned char kEncodedSignBit = 0x40;
constexpr unsigned char kEncodedMoreBit = 0x80;

}  // namespace

RandomAccessMechanism::~RandomAccessMechanism() = default;

void RandomAccessMechanism::FlushToDisk() {}

void RandomAccessMechanism::SetBigEndian() {
    swapIntegers = 1;
}

void RandomAccessMechanism::SetLittleEndian() {
    swapIntegers = 0;
}

unsigned long RandomAccessMechanism::GetFileHandle(unsigned long) {
    return kNoFileHandle;
}

// ----- Scrambling -----

unsigned char RandomAccessMechanism::SetEncryption(unsigned char mode) {
    const unsigned char previous = scrambleMode;
    scrambleMode = mode;
    if (mode == 0) return previous;
    wasScrambled = 1;
    if (previous == 0) scrambleState = 255;
    return previous;
}

void RandomAccessMechanism::ApplyEncryption(void* bytes, int count) {
    if (scrambleMode == 0 || count < 1) return;
    auto* p = static_cast<unsigned char*>(bytes);
    unsigned char s = static_cast<unsigned char>(scrambleState);
    for (int i = 0; i < count; ++i) {
        p[i] = static_cast<unsigned char>(p[i] ^ s);
        s = p[i];
    }
    scrambleState = s;
}

void RandomAccessMechanism::ApplyDecryption(void* bytes, int count) {
    if (scrambleMode == 0 || count < 1) return;
    auto* p = static_cast<unsigned char*>(bytes);
    unsigned char s = static_cast<unsigned char>(scrambleState);
    for (int i = 0; i < count; ++i) {
        const unsigned char c = p[i];
        p[i] = static_cast<unsigned char>(c ^ s);
        s = c;
    }
    scrambleState = s;
}

// ----- Typed writes -----

bool RandomAccessMechanism::WriteByte(int v) {
    const unsigned char b = static_cast<unsigned char>(v);
    return WriteData(&b, 1);
}

bool RandomAccessMechanism::WriteShort(int v) {
    unsigned char b[2];
    StoreBytes(b, static_cast<uint16_t>(v), 2, swapIntegers != 0);
    return WriteData(b, 2);
}

bool RandomAccessMechanism::WriteLong(int v) {
    unsigned char b[4];
    StoreBytes(b, static_cast<uint32_t>(v), 4, swapIntegers != 0);
    return WriteData(b, 4);
}

bool RandomAccessMechanism::WriteDouble(double v) {
    unsigned char b[8];
    // Deliberate: doubles stay little-endian on a big-endian stream unless swapDoubles is
    // set too; containers written before doubles were swapped depend on it.
    StoreBytes(b, std::bit_cast<uint64_t>(v), 8, swapDoubles != 0 && swapIntegers != 0);
    return WriteData(b, 8);
}

bool RandomAccessMechanism::WritePString(const string& s) {
    const uint32_t n = s.Length() > 255 ? 255 : s.Length();
    // Deliberate: the length byte's own result is ignored; only the text's write counts.
    WriteByte(static_cast<int>(n));
    return WriteData(s.CString(), n);
}

bool RandomAccessMechanism::WriteLine(const string& s) {
    const string line = s + string("\n");
    return WriteData(line.CString(), line.Length());
}

bool RandomAccessMechanism::WriteEncodedInt(int v) {
    uint32_t m;
    bool negative = false;
    if (v < 0 && v != INT_MIN) {
        m = 0u - static_cast<uint32_t>(v);
        negative = true;
    } else {
        // Deliberate: INT_MIN goes out as magnitude 0x80000000 with the sign clear; the
        // reader maps that magnitude back to INT_MIN whatever the sign says.
        m = static_cast<uint32_t>(v);
    }
    unsigned char bytes[5];
    int n = 0;
    bytes[n++] = static_cast<unsigned char>((m & 63u) | (negative ? kEncodedSignBit : 0));
    m >>= 6;
    while (m != 0) {
        bytes[n - 1] |= kEncodedMoreBit;
        bytes[n++] = static_cast<unsigned char>(m & 127u);
        m >>= 7;
    }
    return WriteData(bytes, static_cast<unsigned>(n));
}

// ----- Typed reads -----

bool RandomAccessMechanism::ReadByte(unsigned char& v) {
    int actual = 0;
    const bool ok = ReadData(&v, 1, &actual);
    return ok && actual == 1;
}

// Deliberate: the typed reads put whatever arrived into host order even after a short read
// (the result is false then); callers that ignore the result see the partial value.

bool RandomAccessMechanism::ReadShort(short& v) {
    int actual = 0;
    const bool ok = ReadData(&v, 2, &actual);
    unsigned char b[2];
    memcpy(b, &v, 2);
    v = static_cast<short>(static_cast<uint16_t>(LoadBytes(b, 2, swapIntegers != 0)));
    return ok && actual == 2;
}

bool RandomAccessMechanism::ReadLong(int& v) {
    int actual = 0;
    const bool ok = ReadData(&v, 4, &actual);
    unsigned char b[4];
    memcpy(b, &v, 4);
    v = static_cast<int>(static_cast<uint32_t>(LoadBytes(b, 4, swapIntegers != 0)));
    return ok && actual == 4;
}

bool RandomAccessMechanism::ReadDouble(double& v) {
    int actual = 0;
    const bool ok = ReadData(&v, 8, &actual);
    unsigned char b[8];
    memcpy(b, &v, 8);
    v = std::bit_cast<double>(LoadBytes(b, 8, swapDoubles != 0 && swapIntegers != 0));
    return ok && actual == 8;
}

bool RandomAccessMechanism::ReadPString(string& s) {
    s = string();
    unsigned char n = 0;
    if (!ReadByte(n)) return false;
    int actual = 0;
    if (n == 0) {
        char scratch = 0;
        return ReadData(&scratch, 0, &actual);
    }
    s.AllocateBuffer(n);
    if (s.IsEmpty()) return false;
    char* text = s.CString();
    // The block comes uninitialised; clear it so that a short read leaves zeros, not
    // stale heap bytes.
    memset(text, 0, n);
    // Deliberate: a short read still answers true; only ReadData's own result counts.
    return ReadData(text, n, &actual);
}

bool RandomAccessMechanism::ReadEncodedInt(int& v) {
    unsigned char b = 0;
    if (!ReadByte(b)) return false;
    const bool negative = (b & kEncodedSignBit) != 0;
    uint32_t m = b & 63u;
    if (b & kEncodedMoreBit) {
        uint32_t shift = 6;
        unsigned char c = 0;
        do {
            if (!ReadByte(c)) return false;
            // Deliberate: no limit on continuation bytes; groups past bit 31 wrap around.
            m |= static_cast<uint32_t>(c & 127u) << (shift % 32);
            shift += 7;
        } while (c & kEncodedMoreBit);
    }
    if (m == 0x80000000u) {
        v = INT_MIN;
    } else {
        v = static_cast<int>(negative ? 0u - m : m);
    }
    return true;
}
