// string.h - the framework's text type: a pointer to a shared, counted, tagged block.
//
// A `string` is one pointer to a stringStorage block (or null, which is the empty
// string). Copies share the block and bump its count; text is copied only when a
// holder asks for a writable byte of a shared block (MutableChar). Every block
// carries an encoding tag; joining and comparing reconcile two tags before they
// touch bytes. Positions and lengths are byte counts whatever the encoding.
// Not here: locking (counts are plain integers; one thread at a time), bounds
// checks on indexes, and the conversions themselves (encodings/Encodings.h).
//
// This header lives in src/core and is always included as "core/string.h"; it
// never stands in for the C library's <string.h>.
#ifndef ZYNE_CORE_STRING_H
#define ZYNE_CORE_STRING_H

#include <cstddef>
#include <cstdint>

// Layout of one block: header and text share a single malloc'd allocation of
// length + kStringBlockOverhead bytes, released with free(). Machine byte order.
//
//   OFFSET            SIZE      FIELD           MEANING
//   0                 4         referenceCount  holders of the block; 1 on creation, never 0
//                                               while anyone holds it
//   4 (8 on 64-bit)   pointer   textBlock       points at the length byte below
//   8 (16)            4         blockSize       length + 5, written at creation, never read
//   12 (20)           4         length          text bytes, excluding length byte and
//                                               terminator
//   16 (24)           4         encoding        encoding identifier; 0xFFFF (unknown) on
//                                               creation
//   H or H + 1        1         length byte     Pascal length: see AllocateBuffer and the
//                                               16-bit constructors
//   next              length    text            the bytes; the first one on an even address
//   next              4         terminator      four zero bytes: a valid end for 8-, 16- and
//                                               32-bit text alike
//
// H is sizeof(stringStorage): 20 on 32-bit x86, which makes the allocation length + 26.
// A 64-bit pointer widens the header to 32 bytes and the allocation to length + 38.
struct stringStorage {
    uint32_t referenceCount;   // holders; the block is freed when this drops to 0
    unsigned char* textBlock;  // the length byte; the text starts one byte later
    uint32_t blockSize;        // length + 5 at creation; informational only
    uint32_t length;           // text bytes
    uint32_t encoding;         // encoding identifier (encodings/Encodings.h)

    /// Drops one reference; the last one frees the block. The caller has checked
    /// that the block is not null.
    void RemoveReference();

    /// Byte length of the text.
    uint32_t Length() const { return length; }
    /// The first text byte; four zero bytes follow the text.
    char* CString() const { return reinterpret_cast<char*>(textBlock + 1); }
    /// The length byte, followed by the text.
    unsigned char* PString() const { return textBlock; }

    // The same accessors for a block that may be null (a null block is empty text);
    // calling a member function through a null pointer would be undefined.

    /// 0 for a null block.
    static uint32_t LengthOf(const stringStorage* block) { return block ? block->length : 0; }
    /// The shared static zero byte for a null block; never write through it.
    static char* CStringOf(const stringStorage* block);
    /// kNullPString for a null block; never write through it.
    static unsigned char* PStringOf(const stringStorage* block);
};

/// Bytes an allocation needs beyond the text: header, up to two bytes to place the
/// length byte so that the text is even-aligned, and four terminator bytes.
inline constexpr size_t kStringBlockOverhead = sizeof(stringStorage) + 6;
#if defined(__i386__)
static_assert(kStringBlockOverhead == 26, "32-bit x86 blocks are allocated as length + 26");
#endif

/// The Pascal text of an empty string: 256 zero bytes. Read-only.
extern const unsigned char kNullPString[256];
/// The wide text of an empty or non-UTF-16 string: one zero unit. Read-only.
extern const wchar_t kNullWString[1];

/// Memory source for AllocateBuffer; whatever it returns is released with free().
using StringAllocator = void* (*)(size_t size);

class string {
public:
    /// The empty string (null block).
    string() = default;
    /// Text from a C string literal of framework code: a copy tagged ASCII (0x600).
    /// A null or zero-length text gives the empty string.
    string(const char* text);
    /// Shares other's block.
    string(const string& other);
    /// Takes other's block; other becomes empty.
    string(string&& other) noexcept : mStorage(other.mStorage) { other.mStorage = nullptr; }
    ~string();

    /// Shares other's block; releases the old one first. Self-assignment does nothing.
    string& operator=(const string& other);
    string& operator=(string&& other) noexcept;

    /// A string holding the caller's one reference to block (may be null); the
    /// caller gives that reference up.
    static string AdoptStorage(stringStorage* block);
    /// A string sharing block (may be null): one more reference.
    static string ShareStorage(stringStorage* block);

    /// Releases the current block, then makes a fresh one of length bytes from
    /// allocator (malloc when null): count 1, tag unknown, length byte min(length, 255),
    /// four zero bytes after the text; the text bytes are left uninitialised for the
    /// caller to fill through CString(). Length 0, or an allocator that returns null,
    /// leaves the string empty.
    void AllocateBuffer(unsigned length, StringAllocator allocator = nullptr);
    /// A fresh block of length bytes tagged unknown, filled from bytes when bytes is
    /// not null (uninitialised otherwise). bytes may point into this string's text.
    void ConstructFromBuffer(const char* bytes, unsigned length);
    /// A fresh copy of block's text (empty for a null block), tagged unknown.
    void ConstructFromBuffer(stringStorage* block);
    /// UTF-16 text from count wide characters, each truncated to its low 16 bits,
    /// tagged UTF-16 (0x100). Count 0 gives the empty string; a null text gives zero
    /// units.
    void ConstructFromWString(const wchar_t* text, unsigned count);
    /// UTF-16 text from count units, tagged UTF-16 (0x100); a null units pointer
    /// leaves them uninitialised. Count below 1 gives the empty string.
    void ConstructFromUTF16String(const unsigned short* units, long count);

    /// The block with one more reference, which the caller owns and releases with
    /// RemoveReference(); null for the empty string.
    stringStorage* ExtractStringStorage() const;
    /// The block without a reference (valid while this string holds it); may be null.
    stringStorage* GetStorage() const { return mStorage; }

    /// Byte length; 0 when empty.
    uint32_t Length() const { return stringStorage::LengthOf(mStorage); }
    /// True for the null block and for a block of length 0.
    bool IsEmpty() const { return Length() == 0; }
    /// The block's encoding tag; unknown (0xFFFF) for the empty string.
    uint32_t Encoding() const;
    /// Sets the block's tag. The block may be shared: every holder sees the new tag.
    /// Does nothing on the empty string.
    void SetEncoding(uint32_t encoding);

    /// First text byte, or a static zero byte when empty (never write through that).
    char* CString() const { return stringStorage::CStringOf(mStorage); }
    operator char*() const { return CString(); }
    /// The length byte, or kNullPString when empty.
    unsigned char* PString() const { return stringStorage::PStringOf(mStorage); }
    operator unsigned char*() const { return PString(); }
    /// The text as wide characters when tagged exactly UTF-16 (0x100); kNullWString
    /// when empty or tagged otherwise.
    wchar_t* WString() const;
    operator wchar_t*() const { return WString(); }

    /// The byte at a 0-based index, unchecked; a static zero byte when empty.
    const char& operator[](long index) const;
    const char& operator[](int index) const { return (*this)[static_cast<long>(index)]; }
    const char& operator[](unsigned int index) const { return (*this)[static_cast<long>(index)]; }

    /// A writable pointer to the byte at a 0-based index (unchecked). A shared block
    /// is first copied (the copy is tagged unknown); an empty string gives a static
    /// scratch byte.
    char* MutableChar(int index);

    /// True when empty, false for text of the 16-bit family (tags 256..511), else
    /// whether every byte is below 0x80.
    bool ContainsOnlyASCII() const;
    /// This text in UTF-8: itself when empty or already UTF-8, else a conversion
    /// (which gives the text unchanged when it cannot be converted).
    string GetUTF8String() const;
    /// This text in UTF-16 (0x100). Text of unknown encoding is read as the system
    /// encoding. Gives the text unchanged when it cannot be converted.
    string GetUTF16String() const;

    /// Case-insensitive comparison: negative, 0 or positive.
    int Compare(const string& other) const;
    /// Case-sensitive comparison: negative, 0 or positive.
    int CompareWithCase(const string& other) const;
    /// strcmp of this C text against text (a null text counts as empty).
    int CompareWithCase(const char* text) const;

    /// Appends other, reconciling encodings as operator+ does.
    string& operator+=(const string& other);
    /// Appends the bytes of a C text. The text's encoding is not known: an empty
    /// string becomes a copy tagged unknown, a non-empty one keeps its tag.
    string& operator+=(const char* text);

private:
    void Release();
    int CompareImp(const string& other, bool ignoreCase) const;

    stringStorage* mStorage = nullptr;
};

/// x then y. An empty side gives the other shared; different tags are reconciled
/// first (ConvertToSameEncoding) and the result is tagged with the outcome, which is
/// unknown when the two could not be brought together.
string operator+(const string& x, const string& y);
/// x then the byte c: tagged unknown when c >= 0x80, else ASCII-compatible with x.
string operator+(const string& x, char c);

/// The first n bytes; s itself when n covers it, empty when n < 1.
string left(const string& s, long n);
/// The last n bytes; s itself when n covers it, empty when n < 1.
string right(const string& s, long n);
/// The bytes from 0-based offset start (negative counts as 0) to the end.
string mid(const string& s, long start);
/// count bytes from 0-based offset start; a negative start eats into count.
string mid(const string& s, long start, long count);
/// Without leading spaces and tabs.
string ltrim(const string& s);
/// Without trailing spaces and tabs.
string rtrim(const string& s);
/// Without leading and trailing spaces and tabs.
string trim(const string& s);
/// One character in the given encoding. For UTF-16 (0x100) the result is three bytes
/// long: the unit and a zero byte. Other encodings get the UTF-8 form converted, which
/// stays UTF-8 when the conversion fails. Empty for code points above 0x1FFFFF.
string UnicodeChar(uint32_t codePoint, uint32_t encoding);

/// The tag that text in a and in b can share; unknown (0xFFFF) when they need a
/// conversion and allowUnicode is false. Not symmetric.
uint32_t CommonEncoding(uint32_t a, uint32_t b, bool allowUnicode);
/// Brings *a and *b to one tag, converting either in place, and returns it; unknown
/// (0xFFFF) when that was not possible (a may then be converted already).
uint32_t ConvertToSameEncoding(string* a, string* b);

/// Hooks kept for callers that bracket string use; both do nothing.
void InitializeStringCriticalSection();
void deleteStringCriticalSection();

#endif  // ZYNE_CORE_STRING_H
