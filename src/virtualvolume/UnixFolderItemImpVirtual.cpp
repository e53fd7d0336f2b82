// UnixFolderItemImpVirtual.cpp - folder items inside a virtual volume, over VHFSVolume calls.
//
// Every operation starts by finding the item's current ref (FileRef) and ends having closed
// whatever it opened, except OpenFile and CreateFile, whose streams go to the caller. Walks
// up the tree are bounded by the number of blocks in the volume, so a damaged volume whose
// parent ids loop gives a long path rather than a hang.
// Not here: error numbers (the volume reports none; failures are false, null, 0 or empty).
#include "virtualvolume/UnixFolderItemImpVirtual.h"

#include <cstring>
#include <new>

#include "encodings/Encodings.h"

namespace {

// Four bytes of a code as the host holds the 32-bit value in memory.
void CopyCodeInMemoryOrder(uint32_t code, char* out) {
    memcpy(out, &code, sizeof code);
}

// The stored length as a byte count; a damaged length (negative, not a number, too large)
// must not reach a float-to-integer conversion it would overflow.
unsigned long long LengthAsCount(double length) {
    if (!(length > 0.0)) return 0;
    if (length >= 18446744073709551615.0) return ~0ULL;
    return static_cast<unsigned long long>(length);
}

}  // namespace

UnixFolderItemImpVirtual::UnixFolderItemImpVirtual(VHFSVolume* volume, const VFileRef& ref)
    : mVolume(volume) {
    if (ref.id == kRootDirectoryIDnum) {
        mRef = ref;
        mName = ref.name;
        mResolved = 1;
    }
}

UnixFolderItemImpVirtual::UnixFolderItemImpVirtual(VHFSVolume* volume, const VFileRef& ref,
                                                   const string& name, uint8_t resolved)
    : mVolume(volume), mName(name), mRef(ref), mResolved(resolved) {}

UnixFolderItemImpVirtual::~UnixFolderItemImpVirtual() = default;

VFileRef UnixFolderItemImpVirtual::FileRef() {
    if (!mVolume) return VFileRef();
    if (mResolved) return mRef;
    VFileRefList children;
    if (!mVolume->GetChildren(mRef, children)) return VFileRef();
    // Names need not be unique: the first in stored order wins.
    for (long i = 0; i < children.Count(); ++i) {
        if (children[i].name.Compare(mName) == 0) return children[i];
    }
    return VFileRef();
}

FolderItemImp& UnixFolderItemImpVirtual::operator=(const FolderItemImp& other) {
    if (&other == this || !other.IsVirtual()) return *this;
    if (const auto* item = dynamic_cast<const UnixFolderItemImpVirtual*>(&other)) {
        mVolume = item->mVolume;
        mRef = item->mRef;
        mName = item->mName;
        mResolved = item->mResolved;
    }
    return *this;
}

UnixFolderItemImpVirtual& UnixFolderItemImpVirtual::operator=(
    const UnixFolderItemImpVirtual& other) {
    UnixFolderItemImpVirtual::operator=(static_cast<const FolderItemImp&>(other));
    return *this;
}

FolderItemImp* UnixFolderItemImpVirtual::Clone() {
    return new (std::nothrow) UnixFolderItemImpVirtual(mVolume, mRef, mName, mResolved);
}

bool UnixFolderItemImpVirtual::Exists() {
    return FileRef().type != 0;
}

bool UnixFolderItemImpVirtual::IsDirectory() {
    return FileRef().type == kDirectoryFileType;
}

bool UnixFolderItemImpVirtual::IsVirtual() const {
    return true;
}

string UnixFolderItemImpVirtual::GetName() {
    return mName;
}

bool UnixFolderItemImpVirtual::SetName(string name) {
    VFileRef ref = FileRef();
    if (ref.type == 0) return false;
    if (!mVolume->SetFileName(ref, name)) return false;
    // The volume may have cut the name; the item must look up what was stored.
    mName = ref.name;
    if (mResolved) mRef.name = ref.name;
    return true;
}

string UnixFolderItemImpVirtual::GetAbsolutePath() {
    string path = GetName();
    // A sound chain of parents is no longer than the number of items, and every item has
    // at least one block.
    VFSVolume* blocks = mVolume ? mVolume->GetBlockVolume() : nullptr;
    const double limit = blocks ? blocks->GetBlockMap().Count() + 1.0 : 0.0;
    FolderItemImp* ancestor = GetParent();
    for (double depth = 0; ancestor && depth <= limit; ++depth) {
        path = ancestor->GetName() + string("/") + path;
        FolderItemImp* next = ancestor->GetParent();
        delete ancestor;
        ancestor = next;
    }
    delete ancestor;
    return path;
}

string UnixFolderItemImpVirtual::GetTypeString() {
    const VFileRef ref = FileRef();
    if (ref.type == 0) return string();
    const bool directory = ref.type == kDirectoryFileType;
    const uint32_t creator = directory ? kDirectoryCreatorCode : kUnknownFileType;
    const uint32_t type = ref.id == kRootDirectoryIDnum ? kRootTypeCode : ref.type;
    // Deliberate: each code is copied as the host holds it in memory, so on a little-endian
    // host a directory reads "SCAM/dlof" and the root "SCAM/ksid"; callers expect exactly
    // these bytes.
    char bytes[9];
    CopyCodeInMemoryOrder(creator, bytes);
    bytes[4] = '/';
    CopyCodeInMemoryOrder(type, bytes + 5);
    string text;
    text.ConstructFromBuffer(bytes, sizeof bytes);
    text.SetEncoding(kEncodingASCII);
    return text;
}

long UnixFolderItemImpVirtual::GetFourCharType() {
    const VFileRef ref = FileRef();
    if (ref.type == 0) return FolderItemImp::GetFourCharType();
    return static_cast<long>(ref.type);
}

bool UnixFolderItemImpVirtual::SetFourCharType(long type) {
    VFileRef ref = FileRef();
    if (ref.type == 0 || ref.type == kDirectoryFileType) return false;
    return mVolume->SetFileType(ref, static_cast<VFileType>(type));
}

double UnixFolderItemImpVirtual::GetCreationDate() {
    const VFileRef ref = FileRef();
    if (ref.type == 0) return 0.0;
    return mVolume->GetFileInfo(ref).creationDate;
}

// Deliberate: the setters of dates and length go through GetFileInfo, whose ref part is
// empty, so SetFileInfo refuses the info and they report failure having changed nothing.
// Callers rely on that; do not fill in the ref.

bool UnixFolderItemImpVirtual::SetCreationDate(double date) {
    const VFileRef ref = FileRef();
    if (ref.type == 0 || ref.type == kDirectoryFileType) return false;
    VFileInfo info = mVolume->GetFileInfo(ref);
    info.creationDate = date;
    return mVolume->SetFileInfo(info);
}

double UnixFolderItemImpVirtual::GetModificationDate() {
    const VFileRef ref = FileRef();
    if (ref.type == 0) return 0.0;
    return mVolume->GetFileInfo(ref).modificationDate;
}

bool UnixFolderItemImpVirtual::SetModificationDate(double date) {
    const VFileRef ref = FileRef();
    if (ref.type == 0 || ref.type == kDirectoryFileType) return false;
    VFileInfo info = mVolume->GetFileInfo(ref);
    info.modificationDate = date;
    return mVolume->SetFileInfo(info);
}

long UnixFolderItemImpVirtual::GetDirID() {
    if (FileRef().type == 0) return 0;
    // The root holds its own ref; every other item holds its directory's.
    return static_cast<long>(mRef.id);
}

unsigned long long UnixFolderItemImpVirtual::GetLength() {
    const VFileRef ref = FileRef();
    if (ref.type == 0) return 0;
    return LengthAsCount(mVolume->GetFileInfo(ref).length);
}

bool UnixFolderItemImpVirtual::SetLength(unsigned long long length) {
    const VFileRef ref = FileRef();
    if (ref.type == 0 || ref.type == kDirectoryFileType) return false;
    VFileInfo info = mVolume->GetFileInfo(ref);
    info.length = static_cast<double>(length);
    return mVolume->SetFileInfo(info);
}

RandomAccessMechanism* UnixFolderItemImpVirtual::OpenFile(unsigned char, unsigned char) {
    const VFileRef ref = FileRef();
    if (ref.type == 0 || ref.type == kDirectoryFileType) return nullptr;
    VFile* stream = mVolume->OpenFile(ref);
    if (!stream) return nullptr;
    // The volume's own values are big-endian; so are the files the loader reads out of it.
    stream->SetBigEndian();
    stream->SetSwapDoubles(true);
    return stream;
}

FolderItemImp* UnixFolderItemImpVirtual::GetParent() {
    if (mResolved || !mVolume || mRef.type == 0) return nullptr;
    const VFileRef above = mVolume->GetParent(mRef);
    // The containing directory has no parent: it is the root, which holds its own ref.
    if (above.type == 0)
        return new (std::nothrow) UnixFolderItemImpVirtual(mVolume, mRef, mRef.name, 1);
    return new (std::nothrow) UnixFolderItemImpVirtual(mVolume, above, mRef.name, 0);
}

long UnixFolderItemImpVirtual::GetChildCount() {
    const VFileRef ref = FileRef();
    if (ref.type != kDirectoryFileType) return 0;
    VFileRefList children;
    if (!mVolume->GetChildren(ref, children)) return 0;
    return children.Count();
}

FolderItemImp* UnixFolderItemImpVirtual::GetChildByIndex(long index, long) {
    const VFileRef ref = FileRef();
    if (ref.type != kDirectoryFileType || index < 0) return nullptr;
    VFileRefList children;
    if (!mVolume->GetChildren(ref, children) || index >= children.Count()) return nullptr;
    return new (std::nothrow) UnixFolderItemImpVirtual(mVolume, ref, children[index].name, 0);
}

FolderItemImp* UnixFolderItemImpVirtual::GetChildByName(string name, long) {
    const VFileRef ref = FileRef();
    if (ref.type != kDirectoryFileType) return nullptr;
    return new (std::nothrow) UnixFolderItemImpVirtual(mVolume, ref, name, 0);
}

bool UnixFolderItemImpVirtual::CreateFolder() {
    if (!mVolume || Exists()) return false;
    return mVolume->CreateDirectory(mRef, mName).type != 0;
}

RandomAccessMechanism* UnixFolderItemImpVirtual::CreateFile(string) {
    if (!mVolume || Exists()) return nullptr;
    const VFileRef made = mVolume->CreateFile(mRef, mName, kUnknownFileType);
    if (made.type == 0) return nullptr;
    // Deliberate: unlike OpenFile, the new file's stream keeps the stream defaults
    // (little-endian); writers of typed values must switch it themselves.
    return mVolume->OpenFile(made);
}

bool UnixFolderItemImpVirtual::DeleteFile() {
    const VFileRef ref = FileRef();
    if (ref.type == 0) return false;
    return mVolume->DeleteFile(ref);
}

bool UnixFolderItemImpVirtual::MoveFileTo(FolderItemImp* destination) {
    if (!mVolume) return false;
    if (destination == this) return true;
    auto* target = destination && destination->IsVirtual()
                       ? dynamic_cast<UnixFolderItemImpVirtual*>(destination)
                       : nullptr;
    if (!target || target->mVolume != mVolume) {
        // A disk item or another volume: bytes are copied, then this item goes.
        if (!CopyFileTo(destination)) return false;
        return DeleteFile();
    }

    VFileRef item = FileRef();
    VFileRef there = target->FileRef();
    // Nothing to move, or another item naming this one: deleting the "existing
    // destination" below would then lose a file and move nothing.
    if (item.type == 0 || item.id == there.id) return true;
    if (there.type == kDirectoryFileType) {
        // Deliberate: success is reported whatever the volume calls returned.
        mVolume->MoveFile(item, there);
        return true;
    }
    if (there.type != 0) target->DeleteFile();
    VFileRef folder;
    if (FolderItemImp* parent = target->GetParent()) {
        if (auto* virtualParent = dynamic_cast<UnixFolderItemImpVirtual*>(parent))
            folder = virtualParent->FileRef();
        delete parent;
    }
    // Deliberate: the rename happens and success is reported whatever the move returned.
    mVolume->MoveFile(item, folder);
    mVolume->SetFileName(item, target->mName);
    return true;
}
