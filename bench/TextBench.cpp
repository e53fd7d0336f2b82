// TextBench.cpp - zyne-bench suite: the framework's text routines against what a
// plain C++ program would use instead.
//
// Four pairs, each measured in one run against its reference: StringMap lookup
// against std::unordered_map with the same ASCII case folding; UTF8ToUpper over
// mixed-script text against memcpy of the same bytes (the limit no mapping beats);
// ConvertEncoding from MacRoman to UTF-8 against one direct iconv call; and sharing
// a string (copy, left and mid covering the whole text) against copying a raw
// pointer, with the heap allocations each operation makes. Inputs are built once,
// outside the timed loops, from fixed seeds, so every run times the same work.
// Not here: correctness (tests/), multi-threaded use, and texts that do not convert.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <iconv.h>

#include <benchmark/benchmark.h>

#include "AllocationCounter.h"
#include "RatioReporter.h"
#include "Suites.h"
#include "core/StringMap.h"
#include "core/string.h"
#include "encodings/Encodings.h"
#include "encodings/UTF8.h"

namespace {

// The ratio subject/reference above which a routine counts as too slow.
constexpr double kLookupGoal = 1.5;
constexpr double kConversionGoal = 1.2;

constexpr size_t kKeyCount = 100000;
constexpr size_t kTextBytes = size_t{1} << 20;

// Whether AllocationCount sees the bridge's allocations; set once at registration.
bool gCountAllocations = false;

// Counts the allocations of a timed loop, from construction to Publish, and sets
// them per operation as the counter "allocs/op". Sets nothing when counting does not
// work, so that the summary says "not measured" rather than a false 0.
class AllocationMeter {
public:
    AllocationMeter() : start_(AllocationCount()) {}

    void Publish(benchmark::State& state, size_t operationsPerIteration) const {
        const uint64_t allocations = AllocationCount() - start_;
        if (!gCountAllocations || state.iterations() == 0) return;
        const double operations =
            static_cast<double>(state.iterations()) * static_cast<double>(operationsPerIteration);
        state.counters["allocs/op"] = static_cast<double>(allocations) / operations;
    }

private:
    uint64_t start_;
};

// --- StringMap lookup against std::unordered_map.

unsigned char FoldASCII(unsigned char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + 32) : c;
}

// The reference's hash and equality: FNV-1a and byte comparison, both over ASCII
// letters folded to lower case, as a program needing a case-insensitive map would
// write them. The hash is deliberately not noexcept: libstdc++ then keeps each key's
// hash in its node, as it does for std::hash<std::string>, so that walking a chain
// compares stored hashes instead of rehashing every key on the way.
struct FoldedHash {
    size_t operator()(const std::string& key) const {
        uint64_t h = 14695981039346656037ull;
        for (const char c : key) {
            h ^= FoldASCII(static_cast<unsigned char>(c));
            h *= 1099511628211ull;
        }
        return static_cast<size_t>(h);
    }
};

struct FoldedEqual {
    bool operator()(const std::string& a, const std::string& b) const noexcept {
        if (a.size() != b.size()) return false;
        for (size_t i = 0; i < a.size(); ++i) {
            if (FoldASCII(static_cast<unsigned char>(a[i])) !=
                FoldASCII(static_cast<unsigned char>(b[i]))) {
                return false;
            }
        }
        return true;
    }
};

// Words that identifiers in plug-in code are made of.
constexpr const char* kWords[] = {
    "window", "title",   "text",    "encoding", "folder", "item",   "volume", "stream",
    "buffer", "count",   "index",   "path",     "name",   "font",   "size",   "color",
    "menu",   "control", "event",   "handle",   "value",  "record", "field",  "table",
    "list",   "string",  "file",    "offset",   "length", "mode",   "state",  "owner",
    "parent", "child",   "default", "cache",    "lock",   "timer",  "socket", "image"};

// An identifier of two to four words in one of the usual spellings (UpperCamel,
// lowerCamel, snake_case, SCREAMING_SNAKE, or m/k/g before UpperCamel), with a
// number after it one time in three.
std::string MakeIdentifier(std::mt19937& random) {
    constexpr size_t kWordCount = sizeof kWords / sizeof kWords[0];
    static constexpr const char* kPrefixes[] = {"m", "k", "g"};
    const unsigned words = 2 + random() % 3;
    const unsigned style = random() % 5;
    std::string id = style == 4 ? kPrefixes[random() % 3] : "";
    for (unsigned w = 0; w < words; ++w) {
        std::string word = kWords[random() % kWordCount];
        if (style == 2 || style == 3) {
            if (w > 0) id += '_';
            if (style == 3) {
                for (char& c : word) c = static_cast<char>(c - 32);
            }
        } else if (style != 1 || w > 0) {
            word[0] = static_cast<char>(word[0] - 32);
        }
        id += word;
    }
    if (random() % 3 == 0) id += std::to_string(random() % 1000);
    return id;
}

// Both maps hold the same 100,000 keys (distinct without regard to case), each
// key's value the address of its own byte in `targets`. The lookup keys are the
// same texts in shuffled order, in blocks of their own: a lookup never finds its
// key by pointer. The two maps are filled in step, so their nodes and key blocks
// lie interleaved in the heap and neither gets the tidier memory.
struct LookupData {
    StringMap<void*> map;  // keys tagged UTF-8
    std::unordered_map<std::string, void*, FoldedHash, FoldedEqual> reference;
    std::vector<string> utf8Keys;      // tagged UTF-8, as text the framework converted
    std::vector<string> asciiKeys;     // made from C text, so tagged ASCII
    std::vector<std::string> stdKeys;  // for the reference
    std::vector<char> targets = std::vector<char>(kKeyCount);  // what the values point at

    LookupData() {
        std::mt19937 random(20240611);
        std::vector<std::string> ids;
        std::unordered_set<std::string> folded;
        while (ids.size() < kKeyCount) {
            std::string id = MakeIdentifier(random);
            std::string lower = id;
            for (char& c : lower) c = static_cast<char>(FoldASCII(static_cast<unsigned char>(c)));
            if (folded.insert(lower).second) ids.push_back(std::move(id));
        }
        for (size_t i = 0; i < ids.size(); ++i) {
            void* value = &targets[i];
            map.AddEntry(Utf8String(ids[i]), value);
            reference.emplace(ids[i], value);
        }
        std::shuffle(ids.begin(), ids.end(), random);
        for (const std::string& id : ids) {
            utf8Keys.push_back(Utf8String(id));
            asciiKeys.emplace_back(id.c_str());
            stdKeys.push_back(id);
        }
    }

    static string Utf8String(const std::string& text) {
        string result;
        result.ConstructFromBuffer(text.data(), static_cast<unsigned>(text.size()));
        result.SetEncoding(kEncodingUTF8);
        return result;
    }
};

const LookupData& Lookups() {
    static const LookupData data;
    return data;
}

// One iteration looks every key up once.
void StringMapLookup(benchmark::State& state, const std::vector<string>& keys) {
    const StringMap<void*>& map = Lookups().map;
    size_t misses = 0;
    AllocationMeter meter;
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        for (const string& key : keys) {
            void* value = nullptr;
            if (!map.GetEntry(key, value)) ++misses;
            benchmark::DoNotOptimize(value);
        }
    }
    meter.Publish(state, keys.size());
    if (misses != 0) state.SkipWithError("StringMap lost keys");
}

void StringMapLookupUTF8(benchmark::State& state) {
    StringMapLookup(state, Lookups().utf8Keys);
}

void StringMapLookupASCII(benchmark::State& state) {
    StringMapLookup(state, Lookups().asciiKeys);
}

void UnorderedMapLookup(benchmark::State& state) {
    const LookupData& data = Lookups();
    size_t misses = 0;
    AllocationMeter meter;
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        for (const std::string& key : data.stdKeys) {
            const auto found = data.reference.find(key);
            if (found == data.reference.end()) {
                ++misses;
            } else {
                benchmark::DoNotOptimize(found->second);
            }
        }
    }
    meter.Publish(state, data.stdKeys.size());
    if (misses != 0) state.SkipWithError("unordered_map lost keys");
}

// --- UTF8ToUpper against memcpy.

// 1 MiB of UTF-8: whole paragraphs of accented Latin, Greek, Cyrillic, Chinese and
// Japanese and ASCII, then ASCII to the exact size.
const std::vector<unsigned char>& MixedScriptText() {
    static const std::vector<unsigned char> text = [] {
        static constexpr char kParagraph[] =
            "Ça a été déjà dit : Ærøskøbing, Øresund, naïve façade, Straße über Größe, "
            "señor año, Łódź. Ελληνικά: η γρήγορη καφέ αλεπού πηδά πάνω από τον σκύλο. "
            "Русский: съешь же ещё этих мягких французских булок, да выпей чаю. "
            "中文：快速的棕色狐狸跳过了懒狗。日本語のテキストと漢字を混ぜる。"
            "ASCII: The quick brown fox jumps over 13 lazy dogs; int main(void).\n";
        const size_t paragraph = sizeof kParagraph - 1;
        std::vector<unsigned char> bytes;
        bytes.reserve(kTextBytes);
        while (bytes.size() + paragraph <= kTextBytes) {
            bytes.insert(bytes.end(), kParagraph, kParagraph + paragraph);
        }
        while (bytes.size() < kTextBytes) bytes.push_back(static_cast<unsigned char>('a'));
        return bytes;
    }();
    return text;
}

void UTF8ToUpperText(benchmark::State& state) {
    const std::vector<unsigned char>& text = MixedScriptText();
    AllocationMeter meter;
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        unsigned char* upper = nullptr;
        unsigned long upperLength = 0;
        UTF8ToUpper(text.data(), text.size(), &upper, &upperLength);
        benchmark::DoNotOptimize(upper);
        if (!upper) {
            state.SkipWithError("UTF8ToUpper ran out of memory");
            break;
        }
        delete[] upper;
    }
    meter.Publish(state, 1);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

// The limit: the same bytes copied into a buffer made beforehand.
void MemcpyText(benchmark::State& state) {
    const std::vector<unsigned char>& text = MixedScriptText();
    std::vector<unsigned char> copy(text.size());
    benchmark::DoNotOptimize(copy.data());
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        std::memcpy(copy.data(), text.data(), text.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

// --- ConvertEncoding from MacRoman against iconv.

// A converter from MacRoman to UTF-8 under iconv's own name for it, or null.
iconv_t OpenMacRomanConverter() {
    iconv_t converter = iconv_open("UTF-8", "MACINTOSH");
    // NOLINTNEXTLINE(performance-no-int-to-ptr): iconv_open's failure value is (iconv_t)-1.
    if (converter == reinterpret_cast<iconv_t>(-1)) return nullptr;
    return converter;
}

// 1 MiB of MacRoman, about 45% of it bytes 0x80..0xFF (each two or three bytes in
// UTF-8), the rest lower-case letters, spaces and punctuation. Held twice, in two
// blocks with the same text: ConvertEncoding remembers its last source block, so
// alternating between the two makes every call convert, and neither side copies
// its input per iteration.
struct MacRomanData {
    std::vector<char> bytes;
    string sources[2];     // both tagged MacRoman
    std::string expected;  // the UTF-8 a direct iconv call gives; empty when it failed

    MacRomanData() {
        static constexpr char kPlain[] = "etaoinshrdlu cmfwypvbgkjqxz ,.";
        std::mt19937 random(19840124);
        bytes.resize(kTextBytes);
        for (char& b : bytes) {
            b = random() % 100 < 45 ? static_cast<char>(0x80 + random() % 0x80)
                                    : kPlain[random() % (sizeof kPlain - 1)];
        }
        for (string& source : sources) {
            source.ConstructFromBuffer(bytes.data(), static_cast<unsigned>(bytes.size()));
            source.SetEncoding(kEncodingMacRoman);
        }
        iconv_t converter = OpenMacRomanConverter();
        if (!converter) return;
        std::string output(4 * bytes.size(), '\0');
        char* in = bytes.data();
        size_t inLeft = bytes.size();
        char* out = output.data();
        size_t outLeft = output.size();
        if (iconv(converter, &in, &inLeft, &out, &outLeft) != static_cast<size_t>(-1)) {
            output.resize(output.size() - outLeft);
            expected = std::move(output);
        }
        iconv_close(converter);
    }
};

const MacRomanData& MacRoman() {
    static const MacRomanData data;
    return data;
}

// Whether ConvertEncoding gives what iconv gives; checked once per benchmark run,
// outside the timed loop, so that both sides are known to do the same work.
bool ConversionAgrees(const MacRomanData& data) {
    if (data.expected.empty()) return false;
    const string utf8 = ConvertEncoding(data.sources[0], kEncodingUTF8);
    return utf8.Encoding() == kEncodingUTF8 && utf8.Length() == data.expected.size() &&
           std::memcmp(utf8.CString(), data.expected.data(), data.expected.size()) == 0;
}

void ConvertEncodingMacRoman(benchmark::State& state) {
    const MacRomanData& data = MacRoman();
    if (!ConversionAgrees(data)) {
        state.SkipWithError("ConvertEncoding and iconv disagree on the MacRoman text");
        return;
    }
    size_t next = 1;  // sources[0] is the cached one after the check
    AllocationMeter meter;
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        const string utf8 = ConvertEncoding(data.sources[next], kEncodingUTF8);
        next ^= 1;
        benchmark::DoNotOptimize(utf8.GetStorage());
        if (utf8.Encoding() != kEncodingUTF8) {
            state.SkipWithError("ConvertEncoding did not convert");
            break;
        }
    }
    meter.Publish(state, 1);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * data.bytes.size()));
}

// One converter for the whole run; per iteration the output allocation that
// ConvertTextUnix makes too (four bytes per input byte), the conversion, the
// closing call and the release.
void IconvMacRoman(benchmark::State& state) {
    const MacRomanData& data = MacRoman();
    iconv_t converter = OpenMacRomanConverter();
    if (!converter || data.expected.empty()) {
        state.SkipWithError("iconv cannot convert MACINTOSH to UTF-8");
        if (converter) iconv_close(converter);
        return;
    }
    const size_t capacity = 4 * data.bytes.size();
    AllocationMeter meter;
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        char* output = static_cast<char*>(std::malloc(capacity));
        char* in = const_cast<char*>(data.bytes.data());
        size_t inLeft = data.bytes.size();
        char* out = output;
        size_t outLeft = capacity;
        const bool ok =
            output && iconv(converter, &in, &inLeft, &out, &outLeft) != static_cast<size_t>(-1) &&
            iconv(converter, nullptr, nullptr, &out, &outLeft) != static_cast<size_t>(-1);
        benchmark::DoNotOptimize(output);
        std::free(output);
        if (!ok) {
            state.SkipWithError("iconv failed");
            break;
        }
    }
    meter.Publish(state, 1);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * data.bytes.size()));
    iconv_close(converter);
}

// --- Sharing a string against copying a raw pointer.

const string& SharedText() {
    static const string text("sixty-four bytes of framework text, shared by reference count!!");
    return text;
}

// Volatile, so every iteration loads it as the string cases load their block.
const char* volatile gRawText = "sixty-four bytes of framework text, shared by reference count!!";

void StringCopy(benchmark::State& state) {
    const string& text = SharedText();
    AllocationMeter meter;
    for (auto _ : state) {        // NOLINT(clang-analyzer-deadcode.DeadStores)
        const string copy(text);  // NOLINT(performance-unnecessary-copy-initialization): timed
        benchmark::DoNotOptimize(copy.GetStorage());
    }
    meter.Publish(state, 1);
}

void StringLeftWhole(benchmark::State& state) {
    const string& text = SharedText();
    long length = text.Length();
    benchmark::DoNotOptimize(length);
    AllocationMeter meter;
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        const string part = left(text, length);
        benchmark::DoNotOptimize(part.GetStorage());
    }
    meter.Publish(state, 1);
}

void StringMidFromZero(benchmark::State& state) {
    const string& text = SharedText();
    long start = 0;
    benchmark::DoNotOptimize(start);
    AllocationMeter meter;
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        const string part = mid(text, start);
        benchmark::DoNotOptimize(part.GetStorage());
    }
    meter.Publish(state, 1);
}

void StringMidWhole(benchmark::State& state) {
    const string& text = SharedText();
    long length = text.Length();
    benchmark::DoNotOptimize(length);
    AllocationMeter meter;
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        const string part = mid(text, 0, length);
        benchmark::DoNotOptimize(part.GetStorage());
    }
    meter.Publish(state, 1);
}

void RawPointerCopy(benchmark::State& state) {
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        const char* copy = gRawText;
        benchmark::DoNotOptimize(copy);
    }
}

}  // namespace

bool RegisterTextBenchmarks(RatioReporter& reporter) {
    gCountAllocations = AllocationCountingWorks();

    benchmark::RegisterBenchmark("StringMap/GetEntry-utf8-keys", StringMapLookupUTF8);
    benchmark::RegisterBenchmark("StringMap/GetEntry-ascii-keys", StringMapLookupASCII);
    benchmark::RegisterBenchmark("StringMap/unordered_map", UnorderedMapLookup);
    reporter.AddRatio("StringMap GetEntry/unordered_map find (100000 keys tagged UTF-8)",
                      "StringMap/GetEntry-utf8-keys", "StringMap/unordered_map", kLookupGoal);
    reporter.AddRatio("StringMap GetEntry/unordered_map find (100000 keys tagged ASCII)",
                      "StringMap/GetEntry-ascii-keys", "StringMap/unordered_map", kLookupGoal);

    benchmark::RegisterBenchmark("UTF8ToUpper/mixed-scripts-1MiB", UTF8ToUpperText);
    benchmark::RegisterBenchmark("UTF8ToUpper/memcpy", MemcpyText);
    reporter.AddRatio("UTF8ToUpper/memcpy (1 MiB mixed scripts)", "UTF8ToUpper/mixed-scripts-1MiB",
                      "UTF8ToUpper/memcpy", 0.0);

    benchmark::RegisterBenchmark("ConvertEncoding/MacRoman-to-UTF8-1MiB", ConvertEncodingMacRoman);
    benchmark::RegisterBenchmark("ConvertEncoding/iconv", IconvMacRoman);
    reporter.AddRatio("ConvertEncoding/iconv (1 MiB MacRoman to UTF-8)",
                      "ConvertEncoding/MacRoman-to-UTF8-1MiB", "ConvertEncoding/iconv",
                      kConversionGoal);

    benchmark::RegisterBenchmark("string/copy", StringCopy);
    benchmark::RegisterBenchmark("string/left-whole", StringLeftWhole);
    benchmark::RegisterBenchmark("string/mid-from-0", StringMidFromZero);
    benchmark::RegisterBenchmark("string/mid-0-length", StringMidWhole);
    benchmark::RegisterBenchmark("string/raw-pointer", RawPointerCopy);
    reporter.AddRatio("string copy/raw pointer copy", "string/copy", "string/raw-pointer", 0.0);
    reporter.AddRatio("left(s, length)/raw pointer copy", "string/left-whole", "string/raw-pointer",
                      0.0);
    reporter.AddRatio("mid(s, 0)/raw pointer copy", "string/mid-from-0", "string/raw-pointer", 0.0);
    reporter.AddRatio("mid(s, 0, length)/raw pointer copy", "string/mid-0-length",
                      "string/raw-pointer", 0.0);

    reporter.AddCount("allocations per string copy", "string/copy", "allocs/op");
    reporter.AddCount("allocations per left(s, length)", "string/left-whole", "allocs/op");
    reporter.AddCount("allocations per mid(s, 0)", "string/mid-from-0", "allocs/op");
    reporter.AddCount("allocations per mid(s, 0, length)", "string/mid-0-length", "allocs/op");
    reporter.AddCount("allocations per StringMap lookup, UTF-8 keys",
                      "StringMap/GetEntry-utf8-keys", "allocs/op");
    reporter.AddCount("allocations per StringMap lookup, ASCII keys",
                      "StringMap/GetEntry-ascii-keys", "allocs/op");
    reporter.AddCount("allocations per unordered_map lookup", "StringMap/unordered_map",
                      "allocs/op");
    reporter.AddCount("allocations per UTF8ToUpper of 1 MiB", "UTF8ToUpper/mixed-scripts-1MiB",
                      "allocs/op");
    reporter.AddCount("allocations per ConvertEncoding of 1 MiB",
                      "ConvertEncoding/MacRoman-to-UTF8-1MiB", "allocs/op");
    reporter.AddCount("allocations per iconv reference of 1 MiB", "ConvertEncoding/iconv",
                      "allocs/op");
    return true;
}
