// Archive.cpp - containers opened on disk for reading, editing and creating; path lookup and
// the guarded walk.
//
// The volume's stream is a DataFile over a descriptor of the container (or of the
// temporary file being written). Files the volume grows are extended with ftruncate, which
// fills with zeros, so new blocks need no zero-fill writes of their own: the bytes come out
// the same either way.
#include "Archive.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>

#include "ContainerCheck.h"
#include "core/DateScale.h"
#include "encodings/Encodings.h"
#include "streams/DataFile.h"

namespace zqx {

namespace {

constexpr int kMaxDepth = 512;  // deeper trees are damage (or hostile)

// The volume's own block sizes (VFSVolume.h): new blocks, and the reuse window.
constexpr double kUsualBlock = 1024.0;
constexpr double kMinReuse = 256.0;
constexpr double kMaxReuse = 16384.0;
constexpr double kBlockOverheadBytes = 32.0;

// Why the first bytes of a file are no container we can read; empty when they may be.
std::string HeaderProblem(int fd, const std::string& shown) {
    unsigned char head[8] = {};
    ssize_t got = 0;
    for (;;) {
        got = pread(fd, head, sizeof head, 0);
        if (got >= 0 || errno != EINTR) break;
    }
    if (got < 0) return shown + ": " + strerror(errno);
    struct stat st {};
    const long long size = fstat(fd, &st) == 0 ? static_cast<long long>(st.st_size) : got;
    if (got < 8)
        return shown + ": not a container (" + std::to_string(size) +
               " bytes, too short for a volume header)";
    if (memcmp(head, "VFSv", 4) != 0) return shown + ": not a container (no \"VFSv\" magic)";
    const int32_t version = static_cast<int32_t>(uint32_t(head[4]) << 24 | uint32_t(head[5]) << 16 |
                                                 uint32_t(head[6]) << 8 | head[7]);
    if (version < 1 || version > 3)
        return shown + ": unsupported format version " + std::to_string(version) +
               " (1 to 3 are read)";
    return "";
}

}  // namespace

string Utf8(const std::string& s) {
    string out;
    out.ConstructFromBuffer(s.data(), static_cast<unsigned>(s.size()));
    out.SetEncoding(kEncodingUTF8);
    return out;
}

std::string Std(const string& s) {
    return std::string(s.CString(), s.Length());
}

std::string UnsafeNameReason(const std::string& raw) {
    const size_t nul = raw.find('\0');
    const std::string name = raw.substr(0, nul);
    if (name.empty()) return "empty name";
    if (nul != std::string::npos && raw.find_first_not_of('\0', nul) != std::string::npos)
        return "name contains a NUL byte";
    if (name == "." || name == "..") return "name \"" + name + "\" is not allowed";
    if (name.find('/') != std::string::npos) return "name contains \"/\"";
    return "";
}

std::string Printable(const std::string& s) {
    std::string out = s;
    for (char& c : out)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '?';
    return out;
}

Archive::Archive() = default;

Archive::~Archive() {
    std::string ignored;
    Close(&ignored);
    mOutput.Drop();
    if (mLockFd >= 0) close(mLockFd);  // releases the lock
}

bool Archive::Close(std::string* error) {
    bool ok = true;
    if (mVolume) {
        // Saved here to see the result; the volume saves it once more on destruction.
        ok = mVolume->GetBlockVolume()->UpdateBlockMap();
        delete mVolume;  // flushes and closes the stream
        mVolume = nullptr;
        if (!ok) *error = "the block map could not be saved";
    }
    if (mFile) {
        // The stream keeps the first error of any write, flush or close it saw.
        if (const int failed = mFile->GetLastError()) {
            ok = false;
            *error = strerror(failed);
        }
        delete mFile;
        mFile = nullptr;
    }
    return ok;
}

bool Archive::Attach(int fd, const std::string& shown, std::string* error) {
    long failed = 0;
    mFile =
        DataFile::OpenFromHandle(static_cast<unsigned long>(fd), kFileHandleDescriptor, &failed);
    if (!mFile) {
        close(fd);
        *error = shown + ": " + strerror(static_cast<int>(failed));
        return false;
    }
    // As the loader reads containers: big-endian, doubles too.
    mFile->SetBigEndian();
    mFile->SetSwapDoubles(true);
    return true;
}

bool Archive::Open(const std::string& path, std::string* error) {
    const std::string shown = Shown(path);
    int fd = path == "-" ? SpoolStandardInput(error) : open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (path != "-") *error = shown + ": " + strerror(errno);
        return false;
    }
    struct stat st {};
    if (fstat(fd, &st) == 0 && S_ISDIR(st.st_mode)) {
        close(fd);
        *error = shown + ": is a directory";
        return false;
    }
    if (S_ISFIFO(st.st_mode) || S_ISSOCK(st.st_mode)) {
        // A named pipe (or "<(...)") is read once, in order: spooled like standard input.
        const int spooled = SpoolDescriptor(fd, shown, error);
        close(fd);
        if (spooled < 0) return false;
        fd = spooled;
    }
    if (std::string problem = HeaderProblem(fd, shown); !problem.empty()) {
        close(fd);
        *error = problem;
        return false;
    }
    if (!Attach(fd, shown, error)) return false;
    // Read-only: should the volume try to save a repaired block map, the writes fail and
    // the file stays as it is.
    mVolume = new VHFSVolume(mFile, 0);
    if (!mVolume->IsValid()) {
        *error = shown + ": damaged container (the first block is unreadable; try 'zqx check')";
        return false;
    }
    if (mVolume->GetRoot().type != kDirectoryFileType) {
        *error = shown + ": damaged container (no root folder; try 'zqx check')";
        return false;
    }
    return true;
}

bool Archive::OpenForEdit(const std::string& path, std::string* error) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat st {};
    if (fd < 0 || fstat(fd, &st) != 0) {
        *error = path + ": " + strerror(errno);
        if (fd >= 0) close(fd);
        return false;
    }
    mLockFd = fd;
    if (!S_ISREG(st.st_mode)) {
        *error = path + ": not a regular file; only container files can be changed";
        return false;
    }
    // Another zqx changing the same container would lose one of the two changes.
    if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        *error =
            path + (errno == EWOULDBLOCK ? ": being changed by another zqx; not changed"
                                         : ": can't be locked: " + std::string(strerror(errno)));
        return false;
    }
    struct stat now {};
    if (stat(path.c_str(), &now) != 0 || now.st_dev != st.st_dev || now.st_ino != st.st_ino) {
        *error = path + ": replaced while being opened; not changed";
        return false;
    }
    if (std::string problem = HeaderProblem(fd, path); !problem.empty()) {
        *error = problem;
        return false;
    }
    {
        // A damaged container is left alone: the volume would repair some damage silently
        // and build on the rest.
        MappedFile mapped;
        if (!mapped.Map(fd)) {
            *error = path + ": " + strerror(errno);
            return false;
        }
        const CheckReport report = CheckContainer(mapped.Bytes(), mapped.Size());
        if (!report.problems.empty()) {
            const size_t n = report.problems.size();
            *error = path + ": damaged container (" + std::to_string(n) +
                     (n == 1 ? " problem" : " problems") +
                     ", the first: " + report.problems[0].message +
                     "); not changed (see 'zqx check')";
            return false;
        }
    }
    mShown = path;
    // The changed copy replaces the file itself: through a symbolic link, the file it names
    // (renaming over the link would leave that file unchanged and the link gone).
    char* real = realpath(path.c_str(), nullptr);
    if (!real) {
        *error = path + ": " + strerror(errno);
        return false;
    }
    const std::string target = real;
    free(real);
    if (!mOutput.Begin(target, st.st_mode & 07777, error)) return false;
    const int copy = dup(mOutput.Descriptor());
    if (lseek(fd, 0, SEEK_SET) != 0 || !CopyDescriptor(fd, mOutput.Descriptor()) || copy < 0) {
        *error = path + ": copying it to change it: " + strerror(errno);
        if (copy >= 0) close(copy);
        return false;
    }
    if (!Attach(copy, path, error)) return false;
    mVolume = new VHFSVolume(mFile, 0);
    if (!mVolume->IsValid() || mVolume->GetRoot().type != kDirectoryFileType) {
        *error = path + ": damaged container (no root folder; try 'zqx check')";
        return false;
    }
    mVolume->GetBlockVolume()->SetZeroFill(false);
    return true;
}

bool Archive::Create(const std::string& path, std::string* error) {
    const mode_t mask = umask(0);
    umask(mask);
    mShown = Shown(path, true);
    if (!mOutput.Begin(path, 0666 & ~mask, error)) return false;
    const int copy = dup(mOutput.Descriptor());
    if (copy < 0) {
        *error = Shown(path, true) + ": " + strerror(errno);
        return false;
    }
    if (!Attach(copy, Shown(path, true), error)) return false;
    mVolume = VHFSVolume::Create(mFile, 0);
    if (!mVolume || !mVolume->IsValid() || mVolume->GetRoot().type != kDirectoryFileType) {
        *error = Shown(path, true) + ": could not start a container: " +
                 strerror(mFile->GetLastError() ? mFile->GetLastError() : EIO);
        return false;
    }
    mVolume->GetBlockVolume()->SetZeroFill(false);
    return true;
}

bool Archive::Commit(std::string* error) {
    std::string why;
    if (!Close(&why)) {
        mOutput.Drop();
        *error = mShown + ": writing failed: " + why;
        return false;
    }
    return mOutput.Commit(error);
}

bool Archive::Output(dev_t* dev, ino_t* ino) const {
    if (mOutput.Descriptor() < 0) return false;
    *dev = mOutput.Device();
    *ino = mOutput.Inode();
    return true;
}

void Archive::SetExtensionData(double bytes) {
    double block = bytes > 0 ? std::ceil(bytes) + kBlockOverheadBytes : kUsualBlock;
    if (block < kUsualBlock) block = kUsualBlock;
    mVolume->GetBlockVolume()->SetBlockSizePrefs(kMinReuse, block, kMaxReuse);
}

std::string Archive::RawName(uint32_t id) {
    VFSVolume* blocks = mVolume->GetBlockVolume();
    const short f = blocks->OpenFile(id);
    std::string raw(kItemNameFieldSize, '\0');
    if (f < 0) return "";
    double got = kItemNameFieldSize;
    if (!blocks->SetFilePosition(f, kItemNamePosition) ||
        !blocks->ReadFileData(f, &got, raw.data()))
        raw.assign(kItemNameFieldSize, '\0');
    blocks->CloseFile(f);
    return raw;
}

bool Archive::SetDates(const VFileRef& ref, double created, double modified) {
    VFileInfo info = mVolume->GetFileInfo(ref);
    info.ref = ref;
    info.creationDate = created;
    info.modificationDate = modified;
    return mVolume->SetFileInfo(info);
}

VFileRef Archive::Child(const VFileRef& dir, const std::string& name) {
    VFileRefList children;
    if (!mVolume->GetChildren(dir, children)) return VFileRef();
    for (long i = 0; i < children.Count(); ++i)
        if (Std(children[i].name) == name) return children[i];
    return VFileRef();
}

bool Archive::Resolve(const std::string& path, VFileRef* out, std::string* error) {
    VFileRef at = Root();
    std::string walked;
    size_t pos = 0;
    while (pos <= path.size()) {
        size_t slash = path.find('/', pos);
        if (slash == std::string::npos) slash = path.size();
        const std::string part = path.substr(pos, slash - pos);
        pos = slash + 1;
        if (part.empty()) continue;
        if (at.type != kDirectoryFileType) {
            *error = walked + ": not a folder";
            return false;
        }
        walked += walked.empty() ? part : "/" + part;
        VFileRef next = Child(at, part);
        if (next.type == 0) {
            *error = walked + ": no such member";
            return false;
        }
        at = next;
    }
    *out = at;
    return true;
}

bool Archive::Walk(const VFileRef& start, const std::string& startPath,
                   const std::function<bool(const Member&)>& visit,
                   const std::function<void(const std::string&)>& problem) {
    std::set<uint32_t> seen;
    bool ok = true;
    std::function<void(const VFileRef&, const std::string&, int)> go =
        [&](const VFileRef& ref, const std::string& path, int depth) {
            Member m;
            m.ref = ref;
            m.path = path;
            m.depth = depth;
            const std::string raw = RawName(ref.id);
            m.name = raw.substr(0, raw.find('\0'));
            // The start too: a hostile member can be named on the command line.
            m.unsafe = ref.id == kRootDirectoryIDnum ? "" : UnsafeNameReason(raw);
            m.isFolder = ref.type == kDirectoryFileType;
            const VFileInfo info = Info(ref);
            m.length = info.length;
            m.created = info.creationDate;
            m.modified = info.modificationDate;
            if (!visit(m) || !m.isFolder) return;
            if (depth >= kMaxDepth) {
                problem(path + ": folders nested deeper than " + std::to_string(kMaxDepth) +
                        " levels; not entered");
                ok = false;
                return;
            }
            VFileRefList children;
            if (!mVolume->GetChildren(ref, children)) {
                problem(path + ": folder listing unreadable");
                ok = false;
                return;
            }
            for (long i = 0; i < children.Count(); ++i) {
                const VFileRef& child = children[i];
                const std::string name = Std(child.name);
                const std::string childPath = path.empty() ? name : path + "/" + name;
                if (child.type == 0) {
                    problem(childPath + ": listed item " + std::to_string(child.id) +
                            " is unreadable; skipped");
                    ok = false;
                    continue;
                }
                if (!seen.insert(child.id).second) {
                    problem(childPath + ": item " + std::to_string(child.id) +
                            " is listed more than once (a folder cycle); skipped");
                    ok = false;
                    continue;
                }
                go(child, childPath, depth + 1);
            }
        };
    seen.insert(start.id);
    seen.insert(kRootDirectoryIDnum);
    go(start, startPath, 0);
    return ok;
}

double PosixToDateScale(double posixSeconds) {
    return posixSeconds + kDateScalePOSIXEpoch;
}

std::string FormatDate(double value) {
    if (!std::isfinite(value) || std::fabs(value) > 1e13) return "-";
    using namespace std::chrono;
    const double posix = std::floor(value - kDateScalePOSIXEpoch);
    const auto secs = sys_seconds(seconds(static_cast<long long>(posix)));
    const auto day = floor<days>(secs);
    const year_month_day ymd(day);
    const hh_mm_ss hms(secs - day);
    char text[64];
    snprintf(text, sizeof text, "%04d-%02u-%02uT%02lld:%02lld:%02lldZ", int(ymd.year()),
             unsigned(ymd.month()), unsigned(ymd.day()),
             static_cast<long long>(hms.hours().count()),
             static_cast<long long>(hms.minutes().count()),
             static_cast<long long>(hms.seconds().count()));
    return text;
}

std::string TypeText(uint32_t type) {
    std::string out;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const unsigned char c = static_cast<unsigned char>(type >> shift);
        out += (c >= 0x20 && c < 0x7F) ? static_cast<char>(c) : '.';
    }
    return out;
}

}  // namespace zqx
