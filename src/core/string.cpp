// string.cpp - blocks, construction, access, substrings, joining and comparison.
//
// All blocks come from one routine, NewBlock, which fixes the layout described in
// string.h. Operations that produce text never modify a shared block: they build a
// new one (or hand back an argument's block unchanged when the result would equal
// it). Encoding conversions are delegated to encodings/Encodings.cpp; a failed one
// shows here only as the unknown tag.
#include "core/string.h"

#include <cassert>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "core/ByteRoutines.h"
#include "core/VectorStuff.h"
#include "encodings/Encodings.h"
#include "encodings/UTF8.h"

#if defined(__i386__)
static_assert(offsetof(stringStorage, referenceCount) == 0 &&
                  offsetof(stringStorage, textBlock) == 4 &&
                  offsetof(stringStorage, blockSize) == 8 &&
                  offsetof(stringStorage, length) == 12 &&
                  offsetof(stringStorage, encoding) == 16 && sizeof(stringStorage) == 20,
              "the 32-bit x86 block header is five 32-bit words");
#endif

const unsigned char kNullPString[256] = {};
const wchar_t kNullWString[1] = {0};

namespace {

// The C text of every empty string. Read-only, so a stray write faults at once
// instead of silently giving every empty string a character.
const char kEmptyCString[1] = {0};
// MutableChar's answer for an empty string: writable, and never read by anyone.
char gScratchByte = 0;

// Largest text a block can hold without the allocation size wrapping.
constexpr uint32_t kMaxBlockLength = UINT32_MAX - kStringBlockOverhead;

// A fresh block of length bytes (length > 0): count 1, tag unknown, length byte
// min(length, 255), zero terminator; the text itself uninitialised. Null when the
// allocator fails or the size is impossible.
stringStorage* NewBlock(uint32_t length, StringAllocator allocator = nullptr) {
    if (length == 0 || length > kMaxBlockLength) return nullptr;
    const size_t bytes = size_t{length} + kStringBlockOverhead;
    void* memory = allocator ? allocator(bytes) : std::malloc(bytes);
    if (!memory) return nullptr;
    auto* block = static_cast<stringStorage*>(memory);
    unsigned char* lengthByte = reinterpret_cast<unsigned char*>(block + 1);
    // The text (one byte after the length byte) goes on an even address, so that
    // 16-bit text is aligned.
    if ((reinterpret_cast<uintptr_t>(lengthByte) & 1) == 0) ++lengthByte;
    block->referenceCount = 1;
    block->textBlock = lengthByte;
    block->blockSize = length + 5;
    block->length = length;
    block->encoding = kEncodingUnknown;
    *lengthByte = static_cast<unsigned char>(length < 255 ? length : 255);
    std::memset(lengthByte + 1 + length, 0, 4);
    return block;
}

// A fresh block holding the bytes of a then b, tagged encoding; null when empty.
stringStorage* JoinedBlock(const char* a, uint32_t aLength, const char* b, uint32_t bLength,
                           uint32_t encoding) {
    if (bLength > kMaxBlockLength - aLength) return nullptr;
    stringStorage* block = NewBlock(aLength + bLength);
    if (!block) return nullptr;
    std::memcpy(block->CString(), a, aLength);
    std::memcpy(block->CString() + aLength, b, bLength);
    block->encoding = encoding;
    return block;
}

// count bytes of s from offset start (both in range), tagged as s.
string Slice(const string& s, uint32_t start, uint32_t count) {
    string result;
    result.ConstructFromBuffer(s.CString() + start, count);
    result.SetEncoding(s.Encoding());
    return result;
}

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

}  // namespace

// ---------------------------------------------------------------------------
// stringStorage

void stringStorage::RemoveReference() {
    assert(referenceCount > 0 && "a string block was released more often than it was held");
    if (--referenceCount == 0) std::free(this);
}

char* stringStorage::CStringOf(const stringStorage* block) {
    return block ? block->CString() : const_cast<char*>(kEmptyCString);
}

unsigned char* stringStorage::PStringOf(const stringStorage* block) {
    return block ? block->PString() : const_cast<unsigned char*>(kNullPString);
}

// ---------------------------------------------------------------------------
// Construction and assignment

string::string(const char* text) {
    if (!text) return;
    mStorage = NewBlock(static_cast<uint32_t>(std::strlen(text)));
    if (!mStorage) return;
    std::memcpy(mStorage->CString(), text, mStorage->length);
    mStorage->encoding = kEncodingASCII;
}

string::string(const string& other) : mStorage(other.mStorage) {
    if (mStorage) ++mStorage->referenceCount;
}

string::~string() {
    Release();
}

void string::Release() {
    if (mStorage) mStorage->RemoveReference();
    mStorage = nullptr;
}

string& string::operator=(const string& other) {
    if (this == &other || mStorage == other.mStorage) return *this;
    Release();
    mStorage = other.mStorage;
    if (mStorage) ++mStorage->referenceCount;
    return *this;
}

string& string::operator=(string&& other) noexcept {
    if (this == &other) return *this;
    Release();
    mStorage = other.mStorage;
    other.mStorage = nullptr;
    return *this;
}

string string::AdoptStorage(stringStorage* block) {
    string s;
    s.mStorage = block;
    return s;
}

string string::ShareStorage(stringStorage* block) {
    if (block) ++block->referenceCount;
    return AdoptStorage(block);
}

void string::AllocateBuffer(unsigned length, StringAllocator allocator) {
    Release();
    mStorage = NewBlock(length, allocator);
}

void string::ConstructFromBuffer(const char* bytes, unsigned length) {
    // The new block is filled before the old one is released: bytes may point into it.
    stringStorage* block = NewBlock(length);
    if (block && bytes) std::memcpy(block->CString(), bytes, length);
    Release();
    mStorage = block;
}

void string::ConstructFromBuffer(stringStorage* block) {
    if (!block) {
        Release();
        return;
    }
    ConstructFromBuffer(block->CString(), block->length);
}

void string::ConstructFromWString(const wchar_t* text, unsigned count) {
    Release();
    if (count == 0 || count > kMaxBlockLength / 4) return;
    // Room for four bytes a character although only two are used: the spare half
    // is zeroed and simply extends the terminator.
    mStorage = NewBlock(4 * count);
    if (!mStorage) return;
    const uint32_t byteLength = 2 * count;
    mStorage->length = byteLength;
    mStorage->encoding = kEncodingUTF16;
    // Deliberate: the low 8 bits of the byte length, unclamped; a 16-bit text of
    // 128 units or more has a meaningless Pascal length byte. Callers rely on it.
    *mStorage->PString() = static_cast<unsigned char>(byteLength & 0xFF);
    char* out = mStorage->CString();
    std::memset(out + byteLength, 0, byteLength);
    if (!text) {
        std::memset(out, 0, byteLength);
        return;
    }
    for (unsigned i = 0; i < count; ++i) {
        // A character beyond the 16-bit range keeps its low 16 bits only.
        const auto unit = static_cast<uint16_t>(static_cast<uint32_t>(text[i]) & 0xFFFF);
        std::memcpy(out + 2 * i, &unit, 2);
    }
}

void string::ConstructFromUTF16String(const unsigned short* units, long count) {
    Release();
    if (count < 1 || static_cast<unsigned long>(count) > kMaxBlockLength / 2) return;
    const auto byteLength = static_cast<uint32_t>(2 * count);
    mStorage = NewBlock(byteLength);
    if (!mStorage) return;
    mStorage->encoding = kEncodingUTF16;
    // Deliberate: the low 8 bits of the byte length, unclamped (see
    // ConstructFromWString).
    *mStorage->PString() = static_cast<unsigned char>(byteLength & 0xFF);
    if (units) std::memcpy(mStorage->CString(), units, byteLength);
}

stringStorage* string::ExtractStringStorage() const {
    if (mStorage) ++mStorage->referenceCount;
    return mStorage;
}

// ---------------------------------------------------------------------------
// Access

uint32_t string::Encoding() const {
    return mStorage ? mStorage->encoding : kEncodingUnknown;
}

void string::SetEncoding(uint32_t encoding) {
    if (mStorage) mStorage->encoding = encoding;
}

wchar_t* string::WString() const {
    if (!mStorage || mStorage->encoding != kEncodingUTF16) {
        return const_cast<wchar_t*>(kNullWString);
    }
    return reinterpret_cast<wchar_t*>(mStorage->CString());
}

const char& string::operator[](long index) const {
    if (!mStorage) return kEmptyCString[0];
    return mStorage->CString()[index];
}

char* string::MutableChar(int index) {
    if (!mStorage) return &gScratchByte;
    if (mStorage->referenceCount > 1) {
        // Copy on write. Deliberate: the copy is tagged unknown, so a write through
        // MutableChar drops the tag of a shared string; callers that care set it again.
        ConstructFromBuffer(mStorage);
    }
    assert(mStorage->referenceCount == 1 && "writing into a shared string block");
    return mStorage->CString() + index;
}

bool string::ContainsOnlyASCII() const {
    if (IsEmpty()) return true;
    const uint32_t encoding = mStorage->encoding;
    if (encoding != kEncodingUTF8 && IsSixteenBitEncoding(encoding)) return false;
    return VectorStuff()->ContainsOnlyLowBytes(
        reinterpret_cast<const unsigned char*>(mStorage->CString()), mStorage->length);
}

string string::GetUTF8String() const {
    if (!mStorage || mStorage->encoding == kEncodingUTF8) return *this;
    return ConvertEncoding(*this, kEncodingUTF8);
}

string string::GetUTF16String() const {
    if (!mStorage || mStorage->encoding == kEncodingUTF16) return *this;
    if (mStorage->encoding != kEncodingUnknown) return ConvertEncoding(*this, kEncodingUTF16);
    // Text of unknown encoding is read as the system encoding. The tag is changed on
    // the block itself, which other holders share, and restored afterwards.
    const string source = *this;
    source.mStorage->encoding = GetSystemEncoding();
    string result = ConvertEncoding(source, kEncodingUTF16);
    source.mStorage->encoding = kEncodingUnknown;
    return result;
}

// ---------------------------------------------------------------------------
// Joining

string operator+(const string& x, const string& y) {
    if (y.IsEmpty()) return x;
    if (x.IsEmpty()) return y;
    if (x.Encoding() == y.Encoding()) {
        return string::AdoptStorage(
            JoinedBlock(x.CString(), x.Length(), y.CString(), y.Length(), x.Encoding()));
    }
    string a = x;
    string b = y;
    const uint32_t encoding = ConvertToSameEncoding(&a, &b);
    return string::AdoptStorage(
        JoinedBlock(a.CString(), a.Length(), b.CString(), b.Length(), encoding));
}

string& string::operator+=(const string& other) {
    if (other.IsEmpty()) return *this;
    if (!IsEmpty() && Encoding() != other.Encoding()) {
        *this = *this + other;
        return *this;
    }
    const uint32_t encoding = IsEmpty() ? other.Encoding() : Encoding();
    stringStorage* joined =
        JoinedBlock(CString(), Length(), other.CString(), other.Length(), encoding);
    Release();
    mStorage = joined;
    return *this;
}

string& string::operator+=(const char* text) {
    const size_t length = text ? std::strlen(text) : 0;
    if (length == 0) return *this;
    if (length > kMaxBlockLength) return *this;
    if (IsEmpty()) {
        ConstructFromBuffer(text, static_cast<unsigned>(length));
        return *this;
    }
    stringStorage* joined =
        JoinedBlock(CString(), Length(), text, static_cast<uint32_t>(length), Encoding());
    Release();
    mStorage = joined;
    return *this;
}

string operator+(const string& x, char c) {
    string result;
    result.AllocateBuffer(x.Length() + 1);
    if (result.IsEmpty()) return result;
    std::memcpy(result.CString(), x.CString(), x.Length());
    *result.MutableChar(static_cast<int>(x.Length())) = c;
    if (static_cast<signed char>(c) >= 0) {
        result.SetEncoding(x.IsEmpty() ? kEncodingASCII
                                       : CommonEncoding(x.Encoding(), kEncodingASCII, false));
    }
    return result;
}

// ---------------------------------------------------------------------------
// Comparison

int string::CompareImp(const string& other, bool ignoreCase) const {
    if (mStorage == other.mStorage || (IsEmpty() && other.IsEmpty())) return 0;
    const uint32_t mine = IsEmpty() ? kEncodingASCII : mStorage->encoding;
    const uint32_t theirs = other.IsEmpty() ? kEncodingASCII : other.mStorage->encoding;
    string a = *this;
    string b = other;
    if (mine != theirs && mine != kEncodingUnknown && theirs != kEncodingUnknown) {
        ConvertToSameEncoding(&a, &b);
    }
    // Deliberate: equal lengths compare like strncmp/strncasecmp (stopping at a zero
    // byte), unequal lengths byte by byte as signed characters through the 8-bit
    // upper-case table. The two paths differ in signedness and folding.
    return ignoreCase ? ustrcmpi(a.CString(), a.Length(), b.CString(), b.Length())
                      : ustrcmp(a.CString(), a.Length(), b.CString(), b.Length());
}

int string::Compare(const string& other) const {
    return CompareImp(other, true);
}

int string::CompareWithCase(const string& other) const {
    return CompareImp(other, false);
}

int string::CompareWithCase(const char* text) const {
    return std::strcmp(CString(), text ? text : "");
}

// ---------------------------------------------------------------------------
// Substrings

string left(const string& s, long n) {
    if (n < 1) return string();
    if (n < static_cast<long>(s.Length())) return Slice(s, 0, static_cast<uint32_t>(n));
    return s;
}

string right(const string& s, long n) {
    if (n < 1) return string();
    const long length = s.Length();
    if (n < length) return Slice(s, static_cast<uint32_t>(length - n), static_cast<uint32_t>(n));
    return s;
}

string mid(const string& s, long start) {
    if (start < 0) start = 0;
    const long length = s.Length();
    if (length == 0 || start >= length) return string();
    if (start == 0) return s;
    return Slice(s, static_cast<uint32_t>(start), static_cast<uint32_t>(length - start));
}

string mid(const string& s, long start, long count) {
    if (start < 0) {
        count += start;
        start = 0;
    }
    const long length = s.Length();
    if (count < 1 || length == 0 || start >= length) return string();
    // Only an exact cover shares the block; a count past the end copies.
    if (start == 0 && count == length) return s;
    const long available = length - start;
    return Slice(s, static_cast<uint32_t>(start),
                 static_cast<uint32_t>(count < available ? count : available));
}

// Trimming gives what removing one blank at a time would give (the same block when
// nothing is removed), in one copy.
string ltrim(const string& s) {
    const long length = s.Length();
    long start = 0;
    while (start < length && IsBlank(s[start])) ++start;
    return mid(s, start);
}

string rtrim(const string& s) {
    long end = s.Length();
    while (end > 0 && IsBlank(s[end - 1])) --end;
    return left(s, end);
}

string trim(const string& s) {
    return ltrim(rtrim(s));
}

string UnicodeChar(uint32_t codePoint, uint32_t encoding) {
    if (encoding == kEncodingUTF16) {
        // Deliberate: three bytes, the 16-bit unit in machine order and a zero byte.
        // Callers measure this text as 3 bytes long.
        string result;
        result.AllocateBuffer(3);
        if (result.IsEmpty()) return result;
        const auto unit = static_cast<uint16_t>(codePoint);
        std::memcpy(result.CString(), &unit, 2);
        result.CString()[2] = 0;
        result.SetEncoding(kEncodingUTF16);
        return result;
    }
    unsigned char bytes[8] = {};
    const int count = UTF8Encode(codePoint, bytes);
    string utf8;
    if (count > 0) {
        utf8.ConstructFromBuffer(reinterpret_cast<const char*>(bytes),
                                 static_cast<unsigned>(count));
    }
    utf8.SetEncoding(kEncodingUTF8);
    if (encoding == kEncodingUTF8) return utf8;
    return ConvertEncoding(utf8, encoding);
}

// ---------------------------------------------------------------------------
// Encoding reconciliation

uint32_t CommonEncoding(uint32_t a, uint32_t b, bool allowUnicode) {
    // Deliberate: not symmetric. Rule 2 tests b for ASCII, rule 4 tests a.
    if (a == b) return a;
    // Any 8-bit encoding absorbs ASCII.
    if (b == kEncodingASCII && a != kEncodingUTF8 && !IsSixteenBitEncoding(a)) return a;
    const bool aAsciiOrUtf8 = a == kEncodingASCII || a == kEncodingUTF8;
    const bool bAsciiOrUtf8 = b == kEncodingASCII || b == kEncodingUTF8;
    if (aAsciiOrUtf8 && bAsciiOrUtf8) return kEncodingUTF8;
    if (a == kEncodingASCII && !IsSixteenBitEncoding(b)) return b;
    if (!allowUnicode) return kEncodingUnknown;
    if (a != kEncodingUTF16 && b != kEncodingUTF16) return kEncodingUTF8;
    if (a == kEncodingUTF8 || b == kEncodingUTF8) return kEncodingUTF8;
    return kEncodingUTF16;
}

uint32_t ConvertToSameEncoding(string* a, string* b) {
    if (a->IsEmpty()) return b->IsEmpty() ? kEncodingASCII : b->Encoding();
    if (b->IsEmpty()) return a->Encoding();
    const uint32_t aEncoding = a->Encoding();
    const uint32_t bEncoding = b->Encoding();
    if (aEncoding == bEncoding) return aEncoding;
    if (aEncoding == kEncodingUnknown || bEncoding == kEncodingUnknown) return kEncodingUnknown;
    // ASCII text is valid as it stands in the other encoding: no bytes change.
    const uint32_t common = CommonEncoding(aEncoding, bEncoding, false);
    if (common != kEncodingUnknown) return common;

    const bool eitherUtf16 = aEncoding == kEncodingUTF16 || bEncoding == kEncodingUTF16;
    const bool eitherUtf8 = aEncoding == kEncodingUTF8 || bEncoding == kEncodingUTF8;
    const uint32_t target = eitherUtf16 && !eitherUtf8 ? kEncodingUTF16 : kEncodingUTF8;
    if (aEncoding != target) {
        string converted = ConvertEncoding(*a, target);
        if (converted.IsEmpty()) return kEncodingUnknown;
        *a = converted;
    }
    if (bEncoding == target) return target;
    string converted = ConvertEncoding(*b, target);
    if (converted.IsEmpty()) return kEncodingUnknown;
    *b = converted;
    return target;
}

// ---------------------------------------------------------------------------
// Critical-section hooks: the library is single-threaded; nothing to set up.

void InitializeStringCriticalSection() {}

void deleteStringCriticalSection() {}
