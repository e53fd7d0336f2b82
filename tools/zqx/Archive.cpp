// Archive.cpp - loading and saving containers in memory, path lookup and the guarded walk.
//
// Saving goes through a temporary file created next to the target and renamed over it, so
// an interrupted run never leaves a half-written container behind.
#include "Archive.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <set>

#include "core/DateScale.h"
#include "encodings/Encodings.h"
#include "streams/FileHandle.h"

namespace zqx {

namespace {

constexpr int kMaxDepth = 512;  // deeper trees are damage (or hostile)

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

bool ReadWholeFile(const std::string& path, std::vector<unsigned char>* bytes, std::string* error) {
    const bool useStdin = path == "-";
    const int fd = useStdin ? 0 : open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        *error = path + ": " + strerror(errno);
        return false;
    }
    struct stat st {};
    if (fstat(fd, &st) == 0 && S_ISDIR(st.st_mode)) {
        if (!useStdin) close(fd);
        *error = path + ": is a directory";
        return false;
    }
    bytes->clear();
    unsigned char buffer[65536];
    for (;;) {
        const ssize_t got = read(fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) {
            *error = (useStdin ? std::string("standard input") : path) + ": " + strerror(errno);
            if (!useStdin) close(fd);
            return false;
        }
        if (got == 0) break;
        // The memory stream and the format's block offsets are 32-bit.
        if (bytes->size() + static_cast<size_t>(got) > 0xFFFFFFF0u) {
            *error = path + ": too large for a container (over 4 GiB)";
            if (!useStdin) close(fd);
            return false;
        }
        bytes->insert(bytes->end(), buffer, buffer + got);
    }
    if (!useStdin) close(fd);
    return true;
}

static bool WriteAll(int fd, const unsigned char* bytes, size_t size) {
    while (size > 0) {
        const ssize_t put = write(fd, bytes, size);
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) return false;
        bytes += put;
        size -= static_cast<size_t>(put);
    }
    return true;
}

bool WriteWholeFile(const std::string& path, const unsigned char* bytes, size_t size,
                    std::string* error) {
    if (path == "-") {
        if (!WriteAll(1, bytes, size)) {
            *error = std::string("standard output: ") + strerror(errno);
            return false;
        }
        return true;
    }
    std::string temp = path + ".XXXXXX";
    const int fd = mkstemp(temp.data());
    if (fd < 0) {
        *error = path + ": " + strerror(errno);
        return false;
    }
    const mode_t mask = umask(0);  // mkstemp's 0600 would hide the container from others
    umask(mask);
    const bool ok = WriteAll(fd, bytes, size) && fchmod(fd, 0666 & ~mask) == 0 && fsync(fd) == 0;
    const int saved = errno;
    if (close(fd) != 0 || !ok || rename(temp.c_str(), path.c_str()) != 0) {
        *error = path + ": " + strerror(ok ? errno : saved);
        unlink(temp.c_str());
        return false;
    }
    return true;
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

Archive::Archive() = default;

Archive::~Archive() {
    delete mVolume;  // destroys the stream, which it owns
}

bool Archive::CreateEmpty() {
    mStream = new FileHandle();
    mStream->SetBigEndian();
    mVolume = VHFSVolume::Create(mStream, 1);
    return mVolume && mVolume->IsValid() && mVolume->GetRoot().type == kDirectoryFileType;
}

bool Archive::Open(const std::string& path, std::string* error) {
    std::vector<unsigned char> bytes;
    if (!ReadWholeFile(path, &bytes, error)) return false;
    const std::string shown = path == "-" ? "standard input" : path;
    if (bytes.size() < 8) {
        *error = shown + ": not a container (" + std::to_string(bytes.size()) +
                 " bytes, too short for a volume header)";
        return false;
    }
    mStream = new FileHandle();
    if (!mStream->WriteData(bytes.data(), static_cast<unsigned>(bytes.size())) ||
        !mStream->SeekFromStart(0)) {
        *error = shown + ": out of memory";
        delete mStream;
        mStream = nullptr;
        return false;
    }
    mStream->SetBigEndian();
    mStream->SetSwapDoubles(true);
    mVolume = new VHFSVolume(mStream, 1);
    if (!mVolume->IsValid()) {
        const bool magic = memcmp(bytes.data(), "VFSv", 4) == 0;
        const int32_t version =
            static_cast<int32_t>(uint32_t(bytes[4]) << 24 | uint32_t(bytes[5]) << 16 |
                                 uint32_t(bytes[6]) << 8 | bytes[7]);
        if (!magic)
            *error = shown + ": not a container (no \"VFSv\" magic)";
        else if (version < 1 || version > 3)
            *error = shown + ": unsupported format version " + std::to_string(version) +
                     " (1 to 3 are read)";
        else
            *error = shown + ": damaged container (the first block is unreadable; try 'zqx check')";
        return false;
    }
    if (mVolume->GetRoot().type != kDirectoryFileType) {
        *error = shown + ": damaged container (no root folder; try 'zqx check')";
        return false;
    }
    return true;
}

std::vector<unsigned char> Archive::Bytes() {
    mVolume->FlushToDisk();
    std::vector<unsigned char> out;
    ZQ::Handle h = mStream->GetHandle();
    const auto length = mStream->GetLength();
    if (h && *h) out.assign(*h, *h + length);
    return out;
}

bool Archive::Save(const std::string& path, std::string* error) {
    const std::vector<unsigned char> bytes = Bytes();
    if (bytes.empty()) {
        *error = path + ": the container could not be built (out of memory)";
        return false;
    }
    return WriteWholeFile(path, bytes.data(), bytes.size(), error);
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
