// FolderItemImp.cpp - the base defaults, the operations every item shares, and the factories.
//
// Most slots answer a constant. The shared operations (GetURL, DeleteFolder, CopyFileTo,
// MoveFileTo, the trial open of IsCurrentlyWriteable) work only through other slots, so they
// serve disk items and virtual-volume items alike. The static factories forward to the
// POSIX item, the one kind of item a path or URL can name.
#include "files/FolderItemImp.h"

#include <strings.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "core/SimpleVector.h"
#include "encodings/Encodings.h"
#include "encodings/URLCoding.h"
#include "files/FolderItemImpUnix.h"
#include "streams/RandomAccessMechanism.h"

namespace {

// Bounds the walk up through GetParent: a broken item whose parents never end must not
// hang GetURL.
constexpr int kMaximumDepth = 4096;

// Bytes moved per read and write by the stream copy.
constexpr unsigned kCopyChunk = 64 * 1024;

}  // namespace

FolderItemImp::~FolderItemImp() = default;

FolderItemImp& FolderItemImp::operator=(const FolderItemImp&) {
    return *this;
}

FolderItemImp* FolderItemImp::Clone() {
    return new FolderItemImp();
}

bool FolderItemImp::Exists() {
    return false;
}

bool FolderItemImp::IsAlias() {
    return false;
}

bool FolderItemImp::IsDirectory() {
    return false;
}

bool FolderItemImp::IsVirtual() const {
    return false;
}

bool FolderItemImp::IsTrashFolder() {
    return false;
}

string FolderItemImp::GetName() {
    return string();
}

bool FolderItemImp::SetName(string) {
    return false;
}

string FolderItemImp::GetAbsolutePath() {
    return GetName();
}

string FolderItemImp::GetDisplayName() {
    return GetName();
}

bool FolderItemImp::SetDisplayName(string name) {
    return SetName(name);
}

bool FolderItemImp::GetExtensionVisible() {
    return true;
}

bool FolderItemImp::SetExtensionVisible(unsigned char) {
    return false;
}

long FolderItemImp::GetPermissions() {
    return 0;
}

bool FolderItemImp::SetPermissions(long) {
    return false;
}

bool FolderItemImp::SetOwner(string) {
    return false;
}

string FolderItemImp::GetOwner() {
    return string();
}

bool FolderItemImp::SetGroup(string) {
    return false;
}

string FolderItemImp::GetGroup() {
    return string();
}

bool FolderItemImp::GetVisible() {
    return true;
}

bool FolderItemImp::SetVisible(unsigned char) {
    return false;
}

bool FolderItemImp::GetLocked() {
    return false;
}

bool FolderItemImp::SetLocked(unsigned char) {
    return false;
}

string FolderItemImp::GetTypeString() {
    // The empty string has no block to carry a tag; the ASCII tag of the literal is all
    // there is to it.
    return string("");
}

string FolderItemImp::GetSaveInfo(FolderItemImp*, eSaveInfoMode) {
    return string();
}

string FolderItemImp::GetShellPath() {
    return GetAbsolutePath();
}

string FolderItemImp::GetURL() {
    // Names from the item up to the root, each encoded on its own so that the separators
    // stay literal while a "/" or space inside a name does not. The root is named "/" and
    // contributes the empty name: the join then begins with the separator, so the names
    // spell the absolute path. The references collected here are adopted below.
    SimpleVector<stringStorage*> names;
    FolderItemImp* item = this;
    for (int depth = 0; item && depth < kMaximumDepth; ++depth) {
        const string name = item->GetName();
        const string encoded =
            name.CompareWithCase("/") == 0 ? string() : EncodeURLComponent(name.GetUTF8String());
        stringStorage* block = encoded.ExtractStringStorage();
        const bool kept = names.Append(block);
        if (!kept && block) block->RemoveReference();
        FolderItemImp* parent = kept ? item->GetParent() : nullptr;
        if (item != this) delete item;
        item = parent;
    }
    if (item != this) delete item;

    string url("file://");
    for (long i = names.Count() - 1; i >= 0; --i) {
        if (i != names.Count() - 1) url += string("/");
        if (names[i]) url += string::AdoptStorage(names[i]);
    }
    // The root alone joins to nothing; its URL is the separator.
    if (url.Length() == 7 || (IsDirectory() && url[static_cast<long>(url.Length()) - 1] != '/')) {
        url += string("/");
    }
    return url;
}

long FolderItemImp::GetFourCharType() {
    return kUnknownFourCharCode;
}

bool FolderItemImp::SetFourCharType(long) {
    return false;
}

long FolderItemImp::GetFourCharCreator() {
    return kUnknownFourCharCode;
}

bool FolderItemImp::SetFourCharCreator(long) {
    return false;
}

double FolderItemImp::GetCreationDate() {
    return 0;
}

bool FolderItemImp::SetCreationDate(double) {
    return false;
}

double FolderItemImp::GetModificationDate() {
    return 0;
}

bool FolderItemImp::SetModificationDate(double) {
    return false;
}

long FolderItemImp::GetVRefNum() {
    return 0;
}

long FolderItemImp::GetDirID() {
    return 0;
}

long FolderItemImp::GetSelectedFilterIndex() {
    return -1;
}

bool FolderItemImp::SetSelectedFilterIndex(long) {
    return false;
}

bool FolderItemImp::IsCurrentlyReadable() {
    return true;
}

bool FolderItemImp::IsCurrentlyWriteable() {
    if (!Exists() || IsDirectory()) return false;
    // Opening for writing does not change the file, but the open may touch what the item
    // reports as its date on some media; the date read first is written back.
    const double date = GetModificationDate();
    RandomAccessMechanism* trial = OpenFile(1, 1);
    if (!trial) return false;
    trial->Close();
    delete trial;
    SetModificationDate(date);
    return true;
}

unsigned long long FolderItemImp::GetLength() {
    return 0;
}

bool FolderItemImp::SetLength(unsigned long long) {
    return false;
}

unsigned long long FolderItemImp::GetResourceForkLength() {
    return 0;
}

RandomAccessMechanism* FolderItemImp::OpenFile(unsigned char, unsigned char) {
    return nullptr;
}

long FolderItemImp::OpenResourceFork() {
    return -1;
}

FolderItemImp* FolderItemImp::GetParent() {
    return nullptr;
}

FolderItemImp* FolderItemImp::GetSpecialFolder(unsigned long) {
    return nullptr;
}

long FolderItemImp::GetChildCount() {
    return 0;
}

FolderItemImp* FolderItemImp::GetChildByIndex(long, long) {
    return nullptr;
}

FolderItemImp* FolderItemImp::GetChildByName(string, long) {
    return nullptr;
}

FolderItemImp* FolderItemImp::ResolveAlias(long) {
    return this;
}

void FolderItemImp::ShowOnDisk() {}

void FolderItemImp::MakeFileExecutable() {}

bool FolderItemImp::CreateFolder() {
    return false;
}

RandomAccessMechanism* FolderItemImp::CreateFile(string) {
    return nullptr;
}

bool FolderItemImp::DeleteFile() {
    return false;
}

bool FolderItemImp::DeleteFolder() { return DeleteFolderBelow(0); }

bool FolderItemImp::DeleteFolderBelow(int depth) {
    if (!IsDirectory()) return false;
    // A damaged container can list a folder inside itself; no real tree is this deep.
    if (depth >= kMaxFolderDepth) {
        lastError = ELOOP;
        return false;
    }
    lastError = 0;

    // All children are listed before any is deleted: deleting while walking the listing
    // would shift the indexes under the walk.
    SimpleVector<FolderItemImp*> children;
    const long count = GetChildCount();
    for (long i = 0; i < count; ++i) {
        FolderItemImp* child = GetChildByIndex(i, 0);
        if (child && !children.Append(child)) {
            delete child;
            break;
        }
    }

    bool childrenDeleted = true;
    int32_t childError = 0;
    for (long i = 0; i < children.Count(); ++i) {
        FolderItemImp* child = children[i];
        const bool deleted =
            child->IsDirectory() ? child->DeleteFolderBelow(depth + 1) : child->DeleteFile();
        if (!deleted) {
            childrenDeleted = false;
            childError = child->GetLastError();
            break;
        }
    }

    // The folder itself is tried in every case; with a child left behind it fails only
    // because of that child, whose error is the one worth reporting.
    const bool selfDeleted = DeleteFile();
    if (!childrenDeleted) lastError = childError;

    for (long i = 0; i < children.Count(); ++i) delete children[i];
    return childrenDeleted && selfDeleted;
}

bool FolderItemImp::CopyFileTo(FolderItemImp* destination) {
    if (destination == this) return true;
    lastError = 0;
    if (!destination) {
        lastError = EINVAL;
        return false;
    }
    if (IsDirectory()) {
        lastError = EISDIR;
        return false;
    }

    RandomAccessMechanism* source = OpenFile(1, 0);
    if (!source) {
        if (lastError == 0) lastError = ENOENT;
        return false;
    }
    RandomAccessMechanism* target = destination->CreateFile(string(""));
    if (!target) {
        lastError = destination->GetLastError() ? destination->GetLastError() : EIO;
        delete source;
        return false;
    }

    char* buffer = static_cast<char*>(malloc(kCopyChunk));
    bool copied = buffer != nullptr;
    if (!buffer) lastError = ENOMEM;
    while (copied) {
        int actual = 0;
        const bool readOk = source->ReadData(buffer, kCopyChunk, &actual);
        if (actual > 0 && !target->WriteData(buffer, static_cast<unsigned>(actual))) {
            lastError = target->GetLastError() ? target->GetLastError() : EIO;
            copied = false;
        }
        if (!readOk || actual <= 0) break;
    }
    free(buffer);
    // A read that stopped on an error rather than at the end leaves its error behind.
    if (copied && source->GetLastError() != 0) {
        lastError = source->GetLastError();
        copied = false;
    }
    if (!target->Close() && copied) {
        lastError = target->GetLastError() ? target->GetLastError() : EIO;
        copied = false;
    }
    source->Close();
    delete target;
    delete source;
    return copied;
}

bool FolderItemImp::MoveFileTo(FolderItemImp* destination) {
    if (!CopyFileTo(destination)) return false;
    // Moving an item onto itself copied nothing; deleting it now would lose it.
    if (destination == this) return true;
    return DeleteFile();
}

bool FolderItemImp::Launch(string, unsigned char) {
    return false;
}

bool FolderItemImp::MoveToTrash() {
    return false;
}

// ---------------------------------------------------------------------------
// Factories and URLs

FolderItemImp* FolderItemImp::ConstructFromShellPath(string path, unsigned char) {
    return FolderItemImpUnix::ConstructFromShellPath(path);
}

FolderItemImp* FolderItemImp::ConstructFromURL(string url, unsigned char) {
    return FolderItemImpUnix::ConstructFromURL(url);
}

FolderItemImp* FolderItemImp::ConstructFromSaveInfoString(string text, FolderItemImp* base) {
    return FolderItemImpUnix::ConstructFromSaveInfoString(text, base);
}

bool FolderItemImp::IsSaveInfoString(string text) {
    if (text.Length() < 4) return false;
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.CString());
    const uint32_t magic = (static_cast<uint32_t>(bytes[0]) << 24) |
                           (static_cast<uint32_t>(bytes[1]) << 16) |
                           (static_cast<uint32_t>(bytes[2]) << 8) | bytes[3];
    return magic == kSaveInfoMagic;
}

string FolderItemImp::DecodeURL(string url, char separator) {
    const string utf8 = url.GetUTF8String();
    if (utf8.Length() < 7 || strncasecmp(utf8.CString(), "file://", 7) != 0) return string();
    const char* rest = utf8.CString() + 7;
    const unsigned restLength = utf8.Length() - 7;
    if (restLength == 0 || rest[0] != '/') return string();

    string copy;
    copy.ConstructFromBuffer(rest, restLength);
    if (copy.IsEmpty()) return string();
    char* bytes = copy.CString();  // a fresh block: ours alone to write
    for (unsigned i = 0; i < restLength; ++i) {
        if (bytes[i] == '/') bytes[i] = separator;
    }
    copy.SetEncoding(kEncodingUTF8);
    return DecodeURLComponent(copy, kEncodingUTF8);
}
