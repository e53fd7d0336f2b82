// UnixFolderItemImpVirtual.cpp - folder items inside a virtual volume, over VHFSVolume calls.
//
// Every operation starts by finding the item's current ref (FileRef) and ends having closed
// whatever it opened, except OpenFile and CreateFile, whose streams go to the caller. Walks
// up the tree are bounded by the number of blocks in the volume, so a damaged volume whose
// parent ids loop gives a long path rather than a hang.
// Listings read from the volume are kept and shared (VirtualFolderListing below); each use
// first checks the block layer's change count, so anything written through the volume,
// by any item or by direct calls, makes the next use read the directory again.
// Not here: error numbers (the volume reports none; failures are false, null, 0 or empty).
#include "virtualvolume/UnixFolderItemImpVirtual.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <new>

#include "core/StringMap.h"
#include "encodings/Encodings.h"

/// The children of one directory as GetChildren gave them, and when. Shared by counted
/// references: a directory item and every child it hands out use the same listing.
struct VirtualFolderListing {
    ~VirtualFolderListing() { free(firstEqual); }

    long references = 1;
    VHFSVolume* volume = nullptr;  // not owned
    uint32_t dirID = 0;            // the directory listed
    uint8_t dirIsFolder = 0;       // its ref's type was "fold" (GetChildren needs that)
    uint64_t changeCount = 0;      // the block layer's change count when read
    uint8_t readable = 0;          // GetChildren succeeded
    VFileRefList children;         // in stored order, unreadable children included
    // Per child, the index of the first child whose name compares equal to its name
    // (malloc'd, children.Count() entries); made on first need, by hinted lookups. Null
    // when not made or when it could not be.
    long* firstEqual = nullptr;
    uint8_t firstEqualTried = 0;
};

namespace {

VirtualFolderListing* Retain(VirtualFolderListing* listing) {
    if (listing) ++listing->references;
    return listing;
}

void Release(VirtualFolderListing* listing) {
    if (listing && --listing->references == 0) delete listing;
}

uint64_t ChangeCountOf(VHFSVolume* volume) {
    VFSVolume* blocks = volume ? volume->GetBlockVolume() : nullptr;
    return blocks ? blocks->GetChangeCount() : 0;
}

bool IsFresh(const VirtualFolderListing* listing, VHFSVolume* volume, const VFileRef& dir) {
    return listing && listing->volume == volume && listing->dirID == dir.id &&
           listing->dirIsFolder == (dir.type == kDirectoryFileType ? 1 : 0) &&
           listing->changeCount == ChangeCountOf(volume);
}

// Names compare with the C library's case folding (string::Compare); a StringMap files keys
// by ASCII folding. The two agree on which names are equal only when the locale folds
// exactly the ASCII letters, so the map is used only then.
bool LocaleFoldsAsciiOnly() {
    for (int c = 0; c < 256; ++c) {
        const int ascii = c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c;
        if (tolower(c) != ascii) return false;
    }
    return true;
}

// Fills listing->firstEqual; leaves it null when the locale or memory does not allow.
void MakeFirstEqual(VirtualFolderListing* listing) {
    listing->firstEqualTried = 1;
    const long count = listing->children.Count();
    if (count <= 0 || !LocaleFoldsAsciiOnly()) return;
    auto* firstEqual = static_cast<long*>(malloc(static_cast<size_t>(count) * sizeof(long)));
    if (!firstEqual) return;
    StringMap<long> first;
    for (long i = 0; i < count; ++i) {
        long at = i;
        if (!first.GetEntry(listing->children[i].name, at) &&
            !first.AddEntry(listing->children[i].name, i)) {
            free(firstEqual);
            return;
        }
        firstEqual[i] = at;
    }
    listing->firstEqual = firstEqual;
}

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

UnixFolderItemImpVirtual::~UnixFolderItemImpVirtual() {
    DropListings();
}

VirtualFolderListing* UnixFolderItemImpVirtual::Listing(VirtualFolderListing** slot,
                                                        const VFileRef& dir) {
    if (IsFresh(*slot, mVolume, dir)) return *slot;
    Release(*slot);
    *slot = new (std::nothrow) VirtualFolderListing;
    if (!*slot) return nullptr;
    (*slot)->volume = mVolume;
    (*slot)->dirID = dir.id;
    (*slot)->dirIsFolder = dir.type == kDirectoryFileType ? 1 : 0;
    // Taken before reading: reading changes nothing.
    (*slot)->changeCount = ChangeCountOf(mVolume);
    (*slot)->readable = mVolume->GetChildren(dir, (*slot)->children) ? 1 : 0;
    return *slot;
}

void UnixFolderItemImpVirtual::ShareListings(const UnixFolderItemImpVirtual& other) {
    VirtualFolderListing* inside = Retain(other.mInside);
    VirtualFolderListing* own = Retain(other.mOwn);
    DropListings();
    mInside = inside;
    mOwn = own;
    mHint = other.mHint;
}

void UnixFolderItemImpVirtual::DropListings() {
    Release(mInside);
    Release(mOwn);
    mInside = nullptr;
    mOwn = nullptr;
    mHint = -1;
}

VFileRef UnixFolderItemImpVirtual::FileRef() {
    if (!mVolume) return VFileRef();
    if (mResolved) return mRef;
    VirtualFolderListing* listing = Listing(&mInside, mRef);
    if (!listing || !listing->readable) return VFileRef();
    const VFileRefList& children = listing->children;
    // An item handed out by index is usually still at its index: then the first child of
    // its name is known without comparing it with every other name.
    if (mHint >= 0 && mHint < children.Count() && children[mHint].name.Compare(mName) == 0) {
        if (!listing->firstEqualTried) MakeFirstEqual(listing);
        if (listing->firstEqual) return children[listing->firstEqual[mHint]];
    }
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
        ShareListings(*item);
    }
    return *this;
}

UnixFolderItemImpVirtual& UnixFolderItemImpVirtual::operator=(
    const UnixFolderItemImpVirtual& other) {
    UnixFolderItemImpVirtual::operator=(static_cast<const FolderItemImp&>(other));
    return *this;
}

FolderItemImp* UnixFolderItemImpVirtual::Clone() {
    auto* copy = new (std::nothrow) UnixFolderItemImpVirtual(mVolume, mRef, mName, mResolved);
    if (copy) copy->ShareListings(*this);
    return copy;
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
    const VirtualFolderListing* listing = Listing(&mOwn, ref);
    if (!listing || !listing->readable) return 0;
    return listing->children.Count();
}

FolderItemImp* UnixFolderItemImpVirtual::GetChildByIndex(long index, long) {
    const VFileRef ref = FileRef();
    if (ref.type != kDirectoryFileType || index < 0) return nullptr;
    VirtualFolderListing* listing = Listing(&mOwn, ref);
    if (!listing || !listing->readable || index >= listing->children.Count()) return nullptr;
    auto* child =
        new (std::nothrow) UnixFolderItemImpVirtual(mVolume, ref, listing->children[index].name, 0);
    if (child) {
        child->mInside = Retain(listing);
        child->mHint = index;
    }
    return child;
}

FolderItemImp* UnixFolderItemImpVirtual::GetChildByName(string name, long) {
    const VFileRef ref = FileRef();
    if (ref.type != kDirectoryFileType) return nullptr;
    auto* child = new (std::nothrow) UnixFolderItemImpVirtual(mVolume, ref, name, 0);
    // A listing already read is shared; none is read just for this.
    if (child && IsFresh(mOwn, mVolume, ref)) child->mInside = Retain(mOwn);
    return child;
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
