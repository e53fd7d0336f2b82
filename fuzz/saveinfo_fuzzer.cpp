// saveinfo_fuzzer.cpp - resolves the input as a save-info string against a few bases.
//
// Each input is resolved with no base, with a deep existing folder, with the root (so
// that "../" climbs past the top) and with a file, through both factories. Resolving only
// asks whether paths exist; nothing is created, so no folder of our own is needed. Checks:
// the magic test looks at the first four bytes alone, and an item is never made from text
// without the magic.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "core/string.h"
#include "files/FolderItemImp.h"
#include "files/FolderItemImpUnix.h"

namespace {

void Resolve(const string& text, FolderItemImp* base) {
    FolderItemImp* item = FolderItemImp::ConstructFromSaveInfoString(text, base);
    if (item != nullptr) {
        (void)item->GetAbsolutePath();
        (void)item->GetName();
        delete item;
    }
    FolderItemImpUnix* unixItem = FolderItemImpUnix::ConstructFromSaveInfoString(text, base);
    if (unixItem != nullptr) {
        if (!FolderItemImp::IsSaveInfoString(text)) abort();
        (void)unixItem->GetAbsolutePath();
        delete unixItem;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 1 << 20) return 0;
    string text;
    if (size > 0) text.ConstructFromBuffer(reinterpret_cast<const char*>(data), size);
    static const unsigned char kMagic[4] = {0x00, 0xF1, 0xD1, 0x73};
    const bool magic = size >= 4 && memcmp(data, kMagic, 4) == 0;
    if (FolderItemImp::IsSaveInfoString(text) != magic) abort();

    Resolve(text, nullptr);
    static const char* const kBases[] = {"/usr/share/doc/", "/", "/etc/hostname"};
    for (const char* path : kBases) {
        FolderItemImp* base = FolderItemImp::ConstructFromShellPath(string(path), 0);
        if (base == nullptr) continue;
        Resolve(text, base);
        auto* unixBase = dynamic_cast<FolderItemImpUnix*>(base);
        if (unixBase != nullptr) (void)FolderItemImpUnix::RelativePathToAbsolutePath(text, unixBase);
        delete base;
    }
    return 0;
}
