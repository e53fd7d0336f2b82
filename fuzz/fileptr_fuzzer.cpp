// fileptr_fuzzer.cpp - the typed reads of a stream over the input's bytes.
//
// The first byte sets the stream up (bit 0 big-endian, bit 1 doubles swapped, bit 2
// scrambling); the rest is the stream. A read byte then chooses each step: an encoded
// integer, a Pascal string, a fixed-size value or a seek, until the stream ends. Every
// successful read moves the position forward, and never past the end.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "core/string.h"
#include "streams/FilePtr.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1 || size > 1 << 20) return 0;
    FilePtr stream;
    stream.Open(reinterpret_cast<const char*>(data + 1), static_cast<int>(size - 1));
    if (data[0] & 1) stream.SetBigEndian();
    stream.SetSwapDoubles((data[0] & 2) != 0);
    if (data[0] & 4) stream.SetEncryption(1);
    const unsigned long long length = stream.GetLength();
    if (length != size - 1) abort();

    for (int step = 0; step < 4096 && !stream.IsEOF(); ++step) {
        unsigned char op = 0;
        if (!stream.ReadByte(op)) break;
        const unsigned long long before = stream.GetPosition();
        bool ok = false;
        switch (op % 8) {
            case 0:
            case 1:
            case 2: {
                int v = 0;
                ok = stream.ReadEncodedInt(v);
                break;
            }
            case 3:
            case 4: {
                string s;
                ok = stream.ReadPString(s);
                // The string has the length its first byte announced, short read or not.
                if (ok && before < length &&
                    s.Length() != static_cast<unsigned char>(data[1 + before]) &&
                    !(data[0] & 4)) {
                    abort();
                }
                break;
            }
            case 5: {
                short v = 0;
                int w = 0;
                ok = stream.ReadShort(v) && stream.ReadLong(w);
                break;
            }
            case 6: {
                double d = 0;
                ok = stream.ReadDouble(d);
                break;
            }
            default:
                // Seek back a little, bounded by the bytes read so far.
                stream.SeekFromStart(before - (op >> 3) % (before + 1));
                continue;
        }
        const unsigned long long after = stream.GetPosition();
        if (after > length || (ok && after <= before && op % 8 < 5)) abort();
    }
    return 0;
}
