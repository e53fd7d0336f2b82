// VHFSVolume.cpp - item headers, directory lists and the operations on them.
//
// Counts and ids read from a directory are believed only as far as the directory's own
// length and chain allow; parent walks are bounded by the number of blocks.
#include "virtualvolume/VHFSVolume.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

#include "core/DateScale.h"
#include "encodings/Encodings.h"

const unsigned char kRootDirName[kItemNameFieldSize] = {'/'};

namespace {

// Keeps one block-layer file open for the length of a call.
class OpenItem {
public:
    OpenItem(VFSVolume* volume, uint32_t id)
        : mVolume(volume), mFile(volume && id != 0 ? volume->OpenFile(id) : -1) {}
    ~OpenItem() {
        if (mFile >= 0) mVolume->CloseFile(mFile);
    }
    OpenItem(const OpenItem&) = delete;
    OpenItem& operator=(const OpenItem&) = delete;

    bool IsOpen() const { return mFile >= 0; }
    bool Seek(double position) { return mVolume->SetFilePosition(mFile, position); }
    bool ReadLong(double position, int32_t* value) {
        return Seek(position) && mVolume->ReadFileLong(mFile, value);
    }
    bool ReadDouble(double position, double* value) {
        return Seek(position) && mVolume->ReadFileDouble(mFile, value);
    }
    bool WriteLong(double position, uint32_t value) {
        return Seek(position) && mVolume->WriteFileLong(mFile, static_cast<int32_t>(value));
    }
    bool WriteDouble(double position, double value) {
        return Seek(position) && mVolume->WriteFileDouble(mFile, value);
    }
    // The first 223 bytes of `utf8` in the zero-filled 224-byte name field.
    bool WriteName(const string& utf8) {
        unsigned char field[kItemNameFieldSize] = {};
        const uint32_t n = utf8.Length() < kItemNameMaxBytes ? utf8.Length() : kItemNameMaxBytes;
        memcpy(field, utf8.CString(), n);
        return Seek(kItemNamePosition) && mVolume->WriteFileData(mFile, field, kItemNameFieldSize);
    }
    short File() const { return mFile; }

private:
    VFSVolume* mVolume;
    short mFile;
};

// The number of children a directory really lists: a count its length can't hold reads
// as none, and so does one the whole stream can't hold (a damaged length), so that a list
// whose chain loops is not read round and round.
int32_t SaneChildCount(int32_t count, double length, VFSVolume* volume) {
    if (count < 0 || !(static_cast<double>(count) <= length / 4.0)) return 0;
    if (static_cast<double>(count) * 4.0 > static_cast<double>(volume->GetStream()->GetLength()))
        return 0;
    return count;
}

string TaggedUTF8Prefix(const string& utf8) {
    string name = left(utf8, kItemNameMaxBytes);
    string copy;
    copy.ConstructFromBuffer(name.CString(), name.Length());
    copy.SetEncoding(kEncodingUTF8);
    return copy;
}

}  // namespace

// ----- VFileRefList -----

VFileRefList::~VFileRefList() {
    Clear();
    free(static_cast<void*>(mItems));
}

bool VFileRefList::Append(const VFileRef& ref) {
    if (mCount == mCapacity) {
        const long capacity = mCapacity < 16 ? 16 : mCapacity * 2;
        auto* items =
            static_cast<VFileRef*>(malloc(static_cast<size_t>(capacity) * sizeof(VFileRef)));
        if (!items) return false;
        for (long i = 0; i < mCount; ++i) {
            new (&items[i]) VFileRef(static_cast<VFileRef&&>(mItems[i]));
            mItems[i].~VFileRef();
        }
        free(static_cast<void*>(mItems));
        mItems = items;
        mCapacity = capacity;
    }
    new (&mItems[mCount]) VFileRef(ref);
    ++mCount;
    return true;
}

void VFileRefList::Clear() {
    for (long i = 0; i < mCount; ++i) mItems[i].~VFileRef();
    mCount = 0;
}

// ----- VHFSVolume -----

VHFSVolume* VHFSVolume::Create(RandomAccessMechanism* stream, unsigned char ownsStream) {
    VFSVolume* blocks = VFSVolume::Create(stream, ownsStream);
    if (!blocks) return nullptr;
    auto* volume = new (std::nothrow) VHFSVolume();
    if (!volume) {
        delete blocks;
        return nullptr;
    }
    volume->mVolume = blocks;
    if (!blocks->IsValid()) return volume;
    const uint32_t id = blocks->CreateFile();
    OpenItem root(blocks, id);
    const double now = DateScaleNow();
    const short f = root.File();
    // A volume whose root could not be written is still returned: GetRoot then gives an
    // empty ref, and every operation that needs a directory fails.
    if (id == kRootDirectoryIDnum && root.IsOpen() && blocks->WriteFileDouble(f, 4.0) &&
        blocks->WriteFileLong(f, static_cast<int32_t>(kDirectoryFileType)) &&
        blocks->WriteFileLong(f, 0) && blocks->WriteFileDouble(f, now) &&
        blocks->WriteFileDouble(f, now) &&
        blocks->WriteFileData(f, kRootDirName, kItemNameFieldSize))
        blocks->WriteFileLong(f, 0);  // no children yet
    return volume;
}

VHFSVolume::VHFSVolume(RandomAccessMechanism* stream, unsigned char ownsStream)
    : mVolume(new (std::nothrow) VFSVolume(stream, ownsStream)) {
    if (!mVolume && ownsStream) delete stream;
}

VHFSVolume::~VHFSVolume() {
    delete mVolume;
}

void VHFSVolume::LoadFileInfo(VFileRef* ref) {
    OpenItem item(mVolume, ref->id);
    if (!item.IsOpen()) return;
    int32_t type = 0;
    ref->type = item.ReadLong(kItemTypePosition, &type) ? static_cast<VFileType>(type) : 0;
    char buffer[kItemNameFieldSize + 1] = {};
    double got = kItemNameFieldSize;
    if (item.Seek(kItemNamePosition)) mVolume->ReadFileData(item.File(), &got, buffer);
    string name;
    name.ConstructFromBuffer(buffer, static_cast<unsigned>(strlen(buffer)));
    name.SetEncoding(kEncodingUTF8);
    ref->name = name;
}

VFileRef VHFSVolume::GetRoot() {
    VFileRef root;
    if (!IsValid()) return root;
    root.id = kRootDirectoryIDnum;
    LoadFileInfo(&root);
    if (root.type == 0) root = VFileRef();
    return root;
}

bool VHFSVolume::IsListed(uint32_t id, const VFileRef& dir, bool* listed) {
    *listed = false;
    OpenItem d(mVolume, dir.id);
    double length = 0.0;
    int32_t count = 0;
    if (!d.IsOpen() || !d.ReadDouble(kItemLengthPosition, &length) ||
        !d.ReadLong(kDirectoryCountPosition, &count))
        return false;
    count = SaneChildCount(count, length, mVolume);
    for (int32_t i = 0; i < count; ++i) {
        int32_t child = 0;
        if (!mVolume->ReadFileLong(d.File(), &child)) return false;
        if (static_cast<uint32_t>(child) == id) {
            *listed = true;
            break;
        }
    }
    return true;
}

bool VHFSVolume::ReadParentID(uint32_t id, uint32_t* parent) {
    OpenItem item(mVolume, id);
    int32_t value = 0;
    if (!item.IsOpen() || !item.ReadLong(kItemParentPosition, &value)) return false;
    *parent = static_cast<uint32_t>(value);
    return true;
}

VFileRef VHFSVolume::GetParent(const VFileRef& item) {
    VFileRef parent;
    uint32_t id = 0;
    if (!IsValid() || !ReadParentID(item.id, &id) || id == 0) return parent;
    parent.id = id;
    LoadFileInfo(&parent);
    if (parent.type == 0) parent = VFileRef();
    return parent;
}

bool VHFSVolume::GetChildren(const VFileRef& dir, VFileRefList& out) {
    out.Clear();
    if (!IsValid() || dir.type != kDirectoryFileType) return false;
    // The ids are read while the directory is open, then loaded once it is closed again.
    VFileRefList found;
    {
        OpenItem item(mVolume, dir.id);
        int32_t type = 0;
        int32_t count = 0;
        double length = 0.0;
        if (!item.IsOpen() || !item.ReadDouble(kItemLengthPosition, &length) ||
            !item.ReadLong(kItemTypePosition, &type) ||
            static_cast<VFileType>(type) != kDirectoryFileType ||
            !item.ReadLong(kDirectoryCountPosition, &count))
            return false;
        count = SaneChildCount(count, length, mVolume);
        for (int32_t i = 0; i < count; ++i) {
            int32_t id = 0;
            if (!mVolume->ReadFileLong(item.File(), &id)) return false;  // the list is cut short
            VFileRef child;
            child.id = static_cast<uint32_t>(id);
            if (!found.Append(child)) return false;
        }
    }
    for (long i = 0; i < found.Count(); ++i) {
        VFileRef child = found[i];
        LoadFileInfo(&child);
        if (!out.Append(child)) return false;
    }
    return true;
}

VFileRef VHFSVolume::CreateFile(const VFileRef& parent, const string& name, VFileType type) {
    return CreateItem(parent, name, type, false);
}

VFileRef VHFSVolume::CreateDirectory(const VFileRef& parent, const string& name) {
    return CreateItem(parent, name, kTempFileType, true);
}

VFileRef VHFSVolume::CreateItem(const VFileRef& parent, const string& name, VFileType type,
                                bool directory) {
    VFileRef ref;
    const string utf8 = name.GetUTF8String();
    if (!IsValid() || parent.type != kDirectoryFileType || utf8.IsEmpty() || type == 0 ||
        type == kDirectoryFileType)
        return ref;
    {
        OpenItem dir(mVolume, parent.id);
        int32_t stored = 0;
        if (!dir.IsOpen() || !dir.ReadLong(kItemTypePosition, &stored) ||
            static_cast<VFileType>(stored) != kDirectoryFileType)
            return ref;
    }
    const uint32_t id = mVolume->CreateFile();
    if (id == 0) return ref;
    bool complete = false;
    {
        OpenItem item(mVolume, id);
        if (!item.IsOpen()) return ref;
        const double now = DateScaleNow();  // one value for both dates
        const short f = item.File();
        complete = mVolume->WriteFileDouble(f, 0.0) &&
                   mVolume->WriteFileLong(f, static_cast<int32_t>(type)) &&
                   mVolume->WriteFileLong(f, static_cast<int32_t>(parent.id)) &&
                   mVolume->WriteFileDouble(f, now) && mVolume->WriteFileDouble(f, now) &&
                   item.WriteName(utf8);
        // A directory is made as a "temp" item and then turned into an empty "fold" one,
        // before it is linked: a listed half-made directory, whose torn type could even
        // pass for a file's, never exists.
        complete = complete && (!directory || (item.WriteDouble(kItemLengthPosition, 4.0) &&
                                               mVolume->WriteFileLong(
                                                   f, static_cast<int32_t>(kDirectoryFileType)) &&
                                               item.WriteLong(kDirectoryCountPosition, 0)));
    }
    if (!complete) {
        // An item whose header could not be written is given back rather than left in no
        // folder; only the used id stays used.
        mVolume->DeleteFile(id);
        return ref;
    }
    ref.id = id;
    LoadFileInfo(&ref);
    // The header was written just now: a read failing here changes nothing about what the
    // item is, and must not leave it unlisted.
    const VFileType written = directory ? kDirectoryFileType : type;
    if (ref.type != written) ref.type = written;
    // Deliberate: the link's result is not checked; the item exists either way.
    LinkFile(ref, parent);
    return ref;
}

bool VHFSVolume::LinkFile(const VFileRef& item, const VFileRef& dir) {
    if (!IsValid() || item.type == 0 || dir.type != kDirectoryFileType) return false;
    OpenItem d(mVolume, dir.id);
    int32_t count = 0;
    if (!d.IsOpen() || !d.ReadLong(kDirectoryCountPosition, &count)) return false;
    if (count < 0 || count >= 0x3FFFFFFF) return false;  // no list can be that long
    const double n = count + 1.0;
    // The count goes last: until it is written the list is as it was, so a write failing
    // half-way never makes the list count an id that is not there.
    return d.WriteLong(kDirectoryCountPosition + 4.0 * n, item.id) &&
           d.WriteDouble(kItemLengthPosition, 4.0 * n + 4.0) &&
           d.WriteLong(kDirectoryCountPosition, static_cast<uint32_t>(count + 1));
}

bool VHFSVolume::UnlinkFile(const VFileRef& item, const VFileRef& dir) {
    if (!IsValid()) return false;
    OpenItem d(mVolume, dir.id);
    double length = 0.0;
    int32_t type = 0;
    int32_t count = 0;
    if (!d.IsOpen() || !d.ReadDouble(kItemLengthPosition, &length) ||
        !d.ReadLong(kItemTypePosition, &type) ||
        static_cast<VFileType>(type) != kDirectoryFileType ||
        !d.ReadLong(kDirectoryCountPosition, &count))
        return false;
    count = SaneChildCount(count, length, mVolume);
    if (count == 0) return false;
    int32_t last = 0;
    if (!d.ReadLong(kDirectoryCountPosition + 4.0 * count, &last)) return false;
    if (static_cast<uint32_t>(last) != item.id && d.Seek(kDirectoryCountPosition + 4.0)) {
        for (int32_t i = 0; i < count; ++i) {
            int32_t id = 0;
            // A list that can't be read is not a list without the item: dropping the count
            // then would drop the last child instead.
            if (!mVolume->ReadFileLong(d.File(), &id)) return false;
            if (static_cast<uint32_t>(id) == item.id) {
                // The last child moves into the hole; if it can't, nothing changes.
                if (!d.WriteLong(kDirectoryCountPosition + 4.0 + 4.0 * i,
                                 static_cast<uint32_t>(last)))
                    return false;
                break;
            }
        }
    }
    // Deliberate: the count drops even when the item was not listed; the length stays.
    return d.WriteLong(kDirectoryCountPosition, static_cast<uint32_t>(count - 1));
}

bool VHFSVolume::DeleteFile(const VFileRef& item) {
    if (!IsValid()) return false;
    if (item.type == kDirectoryFileType) {
        VFileRefList children;
        if (!GetChildren(item, children) || children.Count() != 0) return false;
    }
    if (item.id == kRootDirectoryIDnum) return false;
    VFileRef parent = GetParent(item);
    if (parent.type != kDirectoryFileType) return false;
    // An item its parent does not list (its link failed when it was made) is only freed:
    // unlinking it would drop the count all the same and so lose the parent's last child.
    bool listed = false;
    if (!IsListed(item.id, parent, &listed)) return false;
    if (!listed) {
        mVolume->DeleteFile(item.id);
        return true;
    }
    if (mVolume->DeleteFile(item.id)) return UnlinkFile(item, parent);
    // Deliberate: a block-level refusal (the item is open) still reports success, and the
    // item stays listed.
    return true;
}

bool VHFSVolume::MoveFile(VFileRef& item, VFileRef& newParent) {
    if (!IsValid() || item.type == 0 || newParent.type != kDirectoryFileType) return false;
    VFileRef parent = GetParent(item);
    if (parent.id == newParent.id && parent.id != 0) return true;
    // A directory moved into itself or below itself would leave the tree: walk up from the
    // new parent, at most once per block, looking for the item.
    const double limit = mVolume->GetBlockMap().Count() + 1.0;
    uint32_t up = newParent.id;
    for (double hops = 0; up != 0 && hops <= limit; ++hops) {
        if (up == item.id) return false;
        if (!ReadParentID(up, &up)) break;
    }
    if (!UnlinkFile(item, parent) || !LinkFile(item, newParent)) return false;
    OpenItem it(mVolume, item.id);
    return it.IsOpen() && it.WriteLong(kItemParentPosition, newParent.id);
}

bool VHFSVolume::SetFileName(VFileRef& item, const string& name) {
    if (!IsValid() || item.type == 0) return false;
    const string utf8 = name.GetUTF8String();
    OpenItem it(mVolume, item.id);
    if (!it.IsOpen() || !it.WriteName(utf8)) return false;
    item.name = TaggedUTF8Prefix(utf8);
    return true;
}

bool VHFSVolume::SetFileType(VFileRef& item, VFileType type) {
    if (!IsValid() || item.type == 0 || item.type == kDirectoryFileType || type == 0 ||
        type == kDirectoryFileType)
        return false;
    OpenItem it(mVolume, item.id);
    if (!it.IsOpen() || !it.WriteLong(kItemTypePosition, type)) return false;
    item.type = type;
    return true;
}

VFileInfo VHFSVolume::GetFileInfo(const VFileRef& ref) {
    // Deliberate: the ref part stays empty; callers that want it fill it in themselves.
    VFileInfo info;
    if (!IsValid()) return info;
    OpenItem it(mVolume, ref.id);
    if (!it.IsOpen()) return info;
    if (!it.ReadDouble(kItemLengthPosition, &info.length)) info.length = 0.0;
    if (!it.ReadDouble(kItemCreationPosition, &info.creationDate)) info.creationDate = 0.0;
    if (!it.ReadDouble(kItemModificationPosition, &info.modificationDate))
        info.modificationDate = 0.0;
    return info;
}

bool VHFSVolume::SetFileInfo(const VFileInfo& info) {
    if (!IsValid() || info.ref.type == 0) return false;
    OpenItem it(mVolume, info.ref.id);
    return it.IsOpen() && it.WriteDouble(kItemLengthPosition, info.length) &&
           it.WriteDouble(kItemCreationPosition, info.creationDate) &&
           it.WriteDouble(kItemModificationPosition, info.modificationDate);
}

VFile* VHFSVolume::OpenFile(const VFileRef& ref) {
    if (!IsValid() || ref.type == 0 || ref.type == kDirectoryFileType || ref.id == 0)
        return nullptr;
    const short file = mVolume->OpenFile(ref.id);
    if (file < 0) return nullptr;
    double length = 0.0;
    if (!mVolume->SetFilePosition(file, kItemLengthPosition) ||
        !mVolume->ReadFileDouble(file, &length)) {
        mVolume->CloseFile(file);
        return nullptr;
    }
    // A stored length that is no 32-bit count is damage; reads stop at the chain's end.
    // Nor can content be longer than the stream that holds it: a chain that loops would
    // otherwise be read round and round up to a damaged length of 4 GiB.
    const double most = static_cast<double>(mVolume->GetStream()->GetLength());
    if (length > most) length = most;
    uint32_t content = 0;
    if (std::isfinite(length) && length > 0.0)
        content = length >= 4294967295.0 ? 0xFFFFFFFFU : static_cast<uint32_t>(length);
    auto* stream = new (std::nothrow) VFile(mVolume, file, content);
    if (!stream) mVolume->CloseFile(file);
    return stream;
}

void VHFSVolume::FlushToDisk() {
    if (IsValid()) mVolume->FlushToDisk();
}
