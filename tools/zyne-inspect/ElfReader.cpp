// ElfReader.cpp - the few facts the checks need from an ELF file: its class, its machine
// and the symbols its dynamic symbol table defines.
//
// The bytes are untrusted: every header, table and string is range-checked against the
// buffer before it is read, counts are bounded, and a damaged file gives a reason instead
// of a crash. Both classes are read whatever the tool's own word size, little-endian only
// (the only byte order a Linux x86 library has; a big-endian file is reported as such).
// Not here: relocation, versions, anything the dynamic loader does.
#include <cstring>
#include <string>

#include "Inspect.h"

namespace inspect {

namespace {

constexpr int kEM386 = 3;
constexpr int kEMX86_64 = 62;
constexpr uint32_t kSHTDynsym = 11;
constexpr unsigned kSTBGlobal = 1;
constexpr unsigned kSTBWeak = 2;
constexpr unsigned kSHNUndef = 0;
constexpr size_t kMaxSymbols = 1000000;
constexpr size_t kMaxSymbolName = 4096;

// Little-endian reads at an offset already checked against the buffer.
uint64_t Le(const unsigned char* p, size_t bytes) {
    uint64_t v = 0;
    for (size_t i = bytes; i-- > 0;) v = (v << 8) | p[i];
    return v;
}

// Whether [offset, offset + length) lies inside a buffer of `size` bytes, without overflow.
bool Inside(uint64_t offset, uint64_t length, size_t size) {
    return offset <= size && length <= size - offset;
}

}  // namespace

ElfInfo ReadElf(const unsigned char* data, size_t size) {
    ElfInfo elf;
    if (data == nullptr || size < 16 ||
        std::memcmp(data,
                    "\x7f"
                    "ELF",
                    4) != 0) {
        elf.problem = "not an ELF file";
        return elf;
    }
    const unsigned cls = data[4];
    if (cls != 1 && cls != 2) {
        elf.problem = "unknown ELF class " + std::to_string(cls);
        return elf;
    }
    if (data[5] != 1) {
        elf.problem = "not little-endian";
        return elf;
    }
    const bool is64 = cls == 2;
    elf.elfClass = is64 ? 64 : 32;
    const size_t headerSize = is64 ? 64 : 52;
    if (size < headerSize) {
        elf.problem = "truncated ELF header";
        return elf;
    }
    elf.machine = static_cast<int>(Le(data + 18, 2));
    const uint64_t shoff = is64 ? Le(data + 40, 8) : Le(data + 32, 4);
    const uint64_t shentsize = Le(data + (is64 ? 58 : 46), 2);
    const uint64_t shnum = Le(data + (is64 ? 60 : 48), 2);
    elf.valid = true;                          // class and machine are known from here on
    if (shoff == 0 || shnum == 0) return elf;  // no sections: nothing more to read
    const uint64_t minEntry = is64 ? 64 : 40;
    if (shentsize < minEntry || !Inside(shoff, shentsize * shnum, size)) {
        elf.problem = "section headers outside the file";
        return elf;
    }
    for (uint64_t i = 0; i < shnum; ++i) {
        const unsigned char* sh = data + shoff + i * shentsize;
        if (Le(sh + 4, 4) != kSHTDynsym) continue;
        const uint64_t offset = is64 ? Le(sh + 24, 8) : Le(sh + 16, 4);
        const uint64_t length = is64 ? Le(sh + 32, 8) : Le(sh + 20, 4);
        const uint64_t link = Le(sh + (is64 ? 40 : 24), 4);
        const uint64_t entsize = is64 ? Le(sh + 56, 8) : Le(sh + 36, 4);
        const uint64_t minSym = is64 ? 24 : 16;
        if (entsize < minSym || !Inside(offset, length, size) || link >= shnum) {
            elf.problem = "dynamic symbol table outside the file";
            return elf;
        }
        const unsigned char* strsh = data + shoff + link * shentsize;
        const uint64_t strOffset = is64 ? Le(strsh + 24, 8) : Le(strsh + 16, 4);
        const uint64_t strLength = is64 ? Le(strsh + 32, 8) : Le(strsh + 20, 4);
        if (!Inside(strOffset, strLength, size)) {
            elf.problem = "dynamic string table outside the file";
            return elf;
        }
        elf.hasDynsym = true;
        const uint64_t count = length / entsize;
        for (uint64_t s = 1; s < count && s < kMaxSymbols; ++s) {  // entry 0 is always null
            const unsigned char* sym = data + offset + s * entsize;
            const uint64_t name = Le(sym, 4);
            const unsigned info = is64 ? sym[4] : sym[12];
            const uint64_t shndx = is64 ? Le(sym + 6, 2) : Le(sym + 14, 2);
            const unsigned bind = info >> 4;
            if (shndx == kSHNUndef || (bind != kSTBGlobal && bind != kSTBWeak)) continue;
            if (name >= strLength) {
                elf.problem = "symbol name outside the string table";
                return elf;
            }
            const char* text = reinterpret_cast<const char*>(data + strOffset + name);
            const size_t room = static_cast<size_t>(strLength - name);
            const size_t n = strnlen(text, room < kMaxSymbolName ? room : kMaxSymbolName);
            elf.exports.emplace_back(text, n);
        }
        break;  // one dynamic symbol table per file
    }
    return elf;
}

std::string MachineName(int machine) {
    switch (machine) {
        case kEM386:
            return "i386";
        case kEMX86_64:
            return "x86_64";
        default:
            return "machine " + std::to_string(machine);
    }
}

Json ElfJson(const ElfInfo& elf) {
    Json j;
    j["valid"] = elf.valid;
    if (!elf.problem.empty()) j["problem"] = elf.problem;
    if (elf.elfClass != 0) {
        j["class"] = elf.elfClass;
        j["machine"] = elf.machine;
        j["machine_name"] = MachineName(elf.machine);
    }
    if (elf.hasDynsym) j["exports"] = elf.exports;
    return j;
}

}  // namespace inspect
