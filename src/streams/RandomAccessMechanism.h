// RandomAccessMechanism.h - the framework's one abstract byte stream and its typed helpers.
//
// A stream is a positioned, length-bounded run of bytes that can be read, written, sought
// and resized. Memory blocks, read-only buffers, string bytes, disk files and files inside
// a virtual volume all derive from it, and the virtual volume takes any stream as its
// backing store. Every stream carries a byte order switch (little-endian by default) and a
// one-byte chained-XOR scrambling switch. The typed helpers below go through the virtual
// ReadData/WriteData, so they work on every stream.
// Not here: buffering, locking, or any knowledge of what the bytes mean. Scrambling is
// applied only by the memory streams (FileHandle, FilePtr), which call ApplyEncryption and
// ApplyDecryption themselves; disk files store bytes as given.
//
// Typed values (byte order: little-endian, big-endian for shorts and longs after
// SetBigEndian; doubles big-endian only when swapDoubles is set as well):
//
//   VALUE          SIZE    LAYOUT
//   byte           1       the low byte of the value
//   short          2       low 16 bits, two's complement
//   long           4       32 bits, two's complement
//   double         8       IEEE 754 binary64
//   Pascal string  1 + n   length byte n = byte length capped at 255, then n bytes
//   line           n + 1   the text's bytes, then 0x0A (no carriage return)
//   encoded int    1 to 5  sign and magnitude, least significant group first:
//                            first byte: bits 0-5 magnitude bits 0-5, bit 6 sign (1 = negative),
//                                        bit 7 = more bytes follow
//                            next bytes: bits 0-6 the next 7 magnitude bits, bit 7 = more follow
//                          -2147483648 is written as magnitude 0x80000000 with the sign clear.
#ifndef ZYNE_STREAMS_RANDOM_ACCESS_MECHANISM_H
#define ZYNE_STREAMS_RANDOM_ACCESS_MECHANISM_H

#include <cstdint>

#include "core/string.h"

/// What GetFileHandle gives when a stream has no operating-system handle of the asked
/// kind: all bits set in a machine word (0xFFFFFFFF on 32-bit x86).
inline constexpr unsigned long kNoFileHandle = ~0UL;

/// The lastError a string-backed stream sets when a write or resize is refused.
inline constexpr int kStreamErrorReadOnly = 100;

class RandomAccessMechanism {
public:
    /// Every field 0: no error, no scrambling, little-endian.
    RandomAccessMechanism() = default;
    virtual ~RandomAccessMechanism();

    RandomAccessMechanism(const RandomAccessMechanism&) = delete;
    RandomAccessMechanism& operator=(const RandomAccessMechanism&) = delete;

    // ----- Virtual slots, in this order -----

    /// Reads up to `count` bytes at the position into `buffer` and advances. `actual`
    /// (may be null) receives the number of bytes read. What false means (end reached, or
    /// an error) is up to the stream; see each implementation.
    virtual bool ReadData(void* buffer, unsigned int count, int* actual) = 0;
    /// Writes `count` bytes at the position and advances, growing the stream as needed.
    /// The caller's bytes are not changed. False when not all of them could be stored.
    virtual bool WriteData(const void* buffer, unsigned int count) = 0;
    /// Finishes with the stream; false when the stream reports an earlier or final failure.
    virtual bool Close() = 0;
    /// True when the position is at or past the length.
    virtual bool IsEOF() = 0;
    /// Moves the position; see each implementation for positions past the end.
    virtual bool SeekFromStart(unsigned long long position) = 0;
    /// The length in bytes; all bits set when it cannot be known.
    virtual unsigned long long GetLength() = 0;
    /// Truncates or extends the stream; false when refused or failed.
    virtual bool SetLength(unsigned long long length) = 0;
    /// The position in bytes from the start.
    virtual unsigned long long GetPosition() = 0;
    /// Pushes buffered bytes to their store. Does nothing by default.
    virtual void FlushToDisk();
    /// Shorts and longs are read and written big-endian from now on.
    virtual void SetBigEndian();
    /// Shorts and longs are read and written little-endian from now on (the default).
    virtual void SetLittleEndian();
    /// The operating-system handle of the given kind (see DataFile); kNoFileHandle by
    /// default, meaning the stream has none.
    virtual unsigned long GetFileHandle(unsigned long kind);

    // ----- Scrambling -----

    /// Sets the scrambling mode (0 = off, anything else = on) and returns the previous one.
    /// Switching on from off sets wasScrambled and restarts the chain at 255; a new
    /// non-zero mode while on keeps the chain running; switching off keeps the state.
    unsigned char SetEncryption(unsigned char mode);
    /// Scrambles `count` bytes in place (c = p ^ s; s = c) when scrambling is on; nothing
    /// when it is off or count < 1. The chain is the stream's, shared by reads and writes.
    void ApplyEncryption(void* bytes, int count);
    /// Unscrambles `count` bytes in place (p = c ^ s; s = c) when scrambling is on; nothing
    /// when it is off or count < 1.
    void ApplyDecryption(void* bytes, int count);

    // ----- Typed writes: each returns WriteData's result -----

    /// The low byte of v.
    bool WriteByte(int v);
    /// The low 16 bits of v in the stream's byte order.
    bool WriteShort(int v);
    /// v as 32-bit two's complement in the stream's byte order.
    bool WriteLong(int v);
    /// v as binary64: little-endian unless both swapDoubles and big-endian are set.
    bool WriteDouble(double v);
    /// A length byte (the byte length capped at 255; its own write result is ignored), then
    /// that many bytes of s. Returns the result of writing the bytes.
    bool WritePString(const string& s);
    /// s joined with "\n" (the string concatenation, which may reconcile encodings),
    /// written in one call.
    bool WriteLine(const string& s);
    /// v in the variable-length form of the table above, 1 to 5 bytes in one WriteData.
    bool WriteEncodedInt(int v);

    // ----- Typed reads -----
    // Each reads straight into `v` and applies the byte order even after a short read, so a
    // short read may leave `v` partly changed; the result is then false.

    /// True only if exactly 1 byte was read.
    bool ReadByte(unsigned char& v);
    /// True only if exactly 2 bytes were read.
    bool ReadShort(short& v);
    /// True only if exactly 4 bytes were read.
    bool ReadLong(int& v);
    /// True only if exactly 8 bytes were read.
    bool ReadDouble(double& v);
    /// Empties s, reads the length byte (false if that fails), then reads that many bytes
    /// straight into a fresh block of s (tagged unknown) and returns ReadData's result for
    /// them. A short read still gives true; the unread tail of s is then zero bytes.
    bool ReadPString(string& s);
    /// Reads the variable-length form; any number of continuation bytes is accepted (bits
    /// beyond 32 wrap). False, with v unchanged, when any byte cannot be read.
    bool ReadEncodedInt(int& v);

    // ----- Fields -----

    /// The stream's last error code (an errno value for disk files; 100 for a refused write
    /// to a string stream); 0 until something fails.
    int GetLastError() const { return lastError; }
    void SetLastError(int error) { lastError = error; }
    /// True when shorts and longs are big-endian.
    bool IsBigEndian() const { return swapIntegers != 0; }
    /// Doubles follow the big-endian switch only when this flag is set as well.
    void SetSwapDoubles(bool on) { swapDoubles = on ? 1 : 0; }
    bool GetSwapDoubles() const { return swapDoubles != 0; }
    /// The current scrambling mode; 0 = off.
    unsigned char GetEncryption() const { return scrambleMode; }
    /// True once scrambling has ever been switched on; never cleared.
    bool WasScrambled() const { return wasScrambled != 0; }

protected:
    int32_t lastError = 0;       // last error code; 0 at construction
    uint8_t scrambleMode = 0;    // 0 = no scrambling, anything else = on
    uint8_t wasScrambled = 0;    // 1 once scrambling was switched on; never cleared
    uint32_t scrambleState = 0;  // the chain; only its low byte takes part
    uint32_t swapIntegers = 0;   // 0 = little-endian shorts and longs, 1 = big-endian
    uint8_t swapDoubles = 0;     // doubles swap only when this and swapIntegers are set
};

#endif  // ZYNE_STREAMS_RANDOM_ACCESS_MECHANISM_H
