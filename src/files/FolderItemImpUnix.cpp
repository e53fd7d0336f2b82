// FolderItemImpUnix.cpp - folder items over POSIX paths: queries, changes, navigation,
// shell-run file operations, save-info strings, relative paths and special folders.
//
// Paths are built byte by byte (JoinPath) rather than with the string's own joining, which
// reconciles encodings: a file name is whatever bytes the file system holds, and those must
// reach the system calls unchanged. Every operation that can fail clears the last error
// first and leaves errno there when a call fails.
#include "files/FolderItemImpUnix.h"

#include <dirent.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>
#include <utime.h>

#include <strings.h>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "core/DateScale.h"
#include "core/SimpleVector.h"
#include "encodings/Encodings.h"
#include "files/UnixHelper.h"
#include "hostapi/ZYNEPlugin.h"
#include "streams/DataFile.h"

namespace {

// The longest chain of symbolic links ResolveAlias follows (Linux's own limit).
constexpr int kMaximumLinkSteps = 40;

// getcwd's buffer, as the working-directory folder has always used.
constexpr size_t kWorkingDirectoryBuffer = 4096;

// `count` bytes tagged UTF-8; empty for none.
string Utf8Bytes(const char* bytes, size_t count) {
    string text;
    if (count == 0) return text;
    text.ConstructFromBuffer(bytes, static_cast<unsigned>(count));
    text.SetEncoding(kEncodingUTF8);
    return text;
}

// The text in UTF-8, tagged UTF-8 even when it could not be converted (text of unknown
// encoding keeps its bytes: they are a file name as the file system has it).
string AsUtf8(const string& text) {
    const string utf8 = text.GetUTF8String();
    if (utf8.IsEmpty() || utf8.Encoding() == kEncodingUTF8) return utf8;
    return Utf8Bytes(utf8.CString(), utf8.Length());
}

// a then b, byte for byte, tagged UTF-8.
string JoinPath(const string& a, const string& b) {
    string joined;
    const size_t total = static_cast<size_t>(a.Length()) + b.Length();
    if (total == 0) return joined;
    joined.ConstructFromBuffer(nullptr, static_cast<unsigned>(total));
    if (joined.IsEmpty()) return joined;
    memcpy(joined.CString(), a.CString(), a.Length());
    memcpy(joined.CString() + a.Length(), b.CString(), b.Length());
    joined.SetEncoding(kEncodingUTF8);
    return joined;
}

string JoinPath(const string& a, const char* b) {
    return JoinPath(a, Utf8Bytes(b, strlen(b)));
}

bool EndsWithSlash(const string& path) {
    return path.Length() > 0 && path[static_cast<long>(path.Length()) - 1] == '/';
}

// The path without one trailing "/", except for the root.
string WithoutTrailingSlash(const string& path) {
    if (path.Length() > 1 && EndsWithSlash(path)) return left(path, path.Length() - 1);
    return path;
}

// The path up to and including its last "/": the folder a file is in, or a folder path
// itself when it ends with "/". Empty when there is no "/".
string FolderPrefix(const string& path) {
    const char* bytes = path.CString();
    for (long i = static_cast<long>(path.Length()) - 1; i >= 0; --i) {
        if (bytes[i] == '/') return Utf8Bytes(bytes, static_cast<size_t>(i) + 1);
    }
    return string();
}

// The path of a folder item with its "/" (whether or not the item exists as a folder).
string AsFolderPath(const string& path) {
    return EndsWithSlash(path) ? path : JoinPath(path, "/");
}

// Resolves "." and ".." components and repeated slashes without asking the file system.
// `absolute` must begin with "/". A trailing "/" is kept. Empty when ".." would climb
// above the root.
string NormalisePath(const string& absolute) {
    const char* source = absolute.CString();
    const size_t length = absolute.Length();
    char* out = static_cast<char*>(malloc(length + 2));
    if (!out) return string();
    size_t used = 0;
    out[used++] = '/';
    bool climbedTooFar = false;
    size_t i = 0;
    while (i < length) {
        while (i < length && source[i] == '/') ++i;
        const size_t start = i;
        while (i < length && source[i] != '/') ++i;
        const size_t count = i - start;
        if (count == 0 || (count == 1 && source[start] == '.')) continue;
        if (count == 2 && source[start] == '.' && source[start + 1] == '.') {
            if (used == 1) {
                climbedTooFar = true;
                break;
            }
            --used;  // the "/" after the last component
            while (used > 0 && out[used - 1] != '/') --used;
            continue;
        }
        memcpy(out + used, source + start, count);
        used += count;
        out[used++] = '/';
    }
    // The text's last component decides the ending: a name keeps no "/" unless the text
    // had one there; "." and ".." name folders and keep it.
    size_t lastStart = length;
    while (lastStart > 0 && source[lastStart - 1] != '/') --lastStart;
    const size_t lastCount = length - lastStart;
    const bool lastIsDots =
        (lastCount == 1 && source[lastStart] == '.') ||
        (lastCount == 2 && source[lastStart] == '.' && source[lastStart + 1] == '.');
    if (lastCount > 0 && !lastIsDots && used > 1) --used;
    string result = climbedTooFar ? string() : Utf8Bytes(out, used);
    free(out);
    return result;
}

// Runs a shell command line; the result is system()'s.
int RunCommand(const string& command) {
    return system(command.CString());
}

string EscapedForShell(const string& text) {
    return UnixHelper::EscapeString(text, string(UnixHelper::kShellSpecialCharacters));
}

// Save-info bytes: a raw, growable buffer filled front to back.
struct SaveInfoWriter {
    char* bytes = nullptr;
    size_t used = 0;
    size_t capacity = 0;
    bool failed = false;

    ~SaveInfoWriter() { free(bytes); }

    void Put(const void* data, size_t count) {
        if (failed || count == 0) return;
        if (used + count > capacity) {
            size_t grown = capacity ? capacity * 2 : 256;
            while (grown < used + count) grown *= 2;
            char* bigger = static_cast<char*>(realloc(bytes, grown));
            if (!bigger) {
                failed = true;
                return;
            }
            bytes = bigger;
            capacity = grown;
        }
        memcpy(bytes + used, data, count);
        used += count;
    }
    void PutBigEndian32(uint32_t value) {
        const unsigned char b[4] = {
            static_cast<unsigned char>(value >> 24), static_cast<unsigned char>(value >> 16),
            static_cast<unsigned char>(value >> 8), static_cast<unsigned char>(value)};
        Put(b, 4);
    }
    void PutRecord(unsigned short tag, const void* data, uint32_t count) {
        // Deliberate: the tag goes low byte first while the length goes high byte first;
        // saved strings have this mixed order and readers depend on it.
        const unsigned char t[2] = {static_cast<unsigned char>(tag),
                                    static_cast<unsigned char>(tag >> 8)};
        Put(t, 2);
        PutBigEndian32(count);
        Put(data, count);
    }
};

uint32_t LoadBigEndian32(const unsigned char* p) {
    return (static_cast<uint32_t>(p[0]) << 24) | (static_cast<uint32_t>(p[1]) << 16) |
           (static_cast<uint32_t>(p[2]) << 8) | p[3];
}

bool PathExists(const string& path) {
    return !path.IsEmpty() && access(path.CString(), F_OK) == 0;
}

// True when the last bytes of `path` are `suffix`, compared without regard to case.
bool HasSuffix(const string& path, const char* suffix) {
    const size_t count = strlen(suffix);
    if (path.Length() < count) return false;
    return strncasecmp(path.CString() + path.Length() - count, suffix, count) == 0;
}

// Up to `count` bytes from the start of the file into `buffer`; the number read, or -1
// when the file cannot be opened.
long ReadFileStart(const string& path, unsigned char* buffer, size_t count) {
    FILE* file = fopen(path.CString(), "rbe");  // close-on-exec
    if (!file) return -1;
    const size_t got = fread(buffer, 1, count, file);
    fclose(file);
    return static_cast<long>(got);
}

// The program word at the start of a shell command line: up to the first unescaped space;
// a backslash takes the next byte as it is.
string FirstShellWord(const char* line) {
    while (*line == ' ' || *line == '\t') ++line;
    const size_t length = strlen(line);
    char* word = static_cast<char*>(malloc(length + 1));
    if (!word) return string();
    size_t used = 0;
    for (size_t i = 0; i < length && line[i] != ' ' && line[i] != '\t'; ++i) {
        if (line[i] == '\\' && i + 1 < length) ++i;
        word[used++] = line[i];
    }
    string result = Utf8Bytes(word, used);
    free(word);
    return result;
}

}  // namespace

// ---------------------------------------------------------------------------
// Construction

FolderItemImpUnix::FolderItemImpUnix(string path, bool* parentMissing) {
    // Converted before the first byte is looked at: in UTF-16 text "/" is not a byte.
    mPath = AsUtf8(path);
    if (mPath[0] != '/') {
        char cwd[kWorkingDirectoryBuffer];
        const string folder = getcwd(cwd, sizeof cwd) ? Utf8Bytes(cwd, strlen(cwd)) : string();
        mPath = JoinPath(AsFolderPath(folder), mPath);
    }
    if (!EndsWithSlash(mPath) && IsDirectory()) mPath = JoinPath(mPath, "/");

    if (parentMissing) {
        FolderItemImp* parent = GetParent();
        if (parent && !parent->Exists()) *parentMissing = true;
        delete parent;
    }
    lastError = 0;  // the questions asked above are not the caller's failures
}

FolderItemImpUnix::FolderItemImpUnix(RawPath, string path) : mPath(AsUtf8(path)) {}

FolderItemImpUnix::~FolderItemImpUnix() = default;

FolderItemImp& FolderItemImpUnix::operator=(const FolderItemImp& other) {
    if (&other == this) return *this;
    lastError = other.GetLastError();
    if (const auto* unix = dynamic_cast<const FolderItemImpUnix*>(&other)) mPath = unix->mPath;
    return *this;
}

FolderItemImpUnix& FolderItemImpUnix::operator=(const FolderItemImpUnix& other) {
    FolderItemImpUnix::operator=(static_cast<const FolderItemImp&>(other));
    return *this;
}

FolderItemImp* FolderItemImpUnix::Clone() {
    auto* copy = new FolderItemImpUnix(RawPath{}, mPath);
    copy->mExtraWord = mExtraWord;
    return copy;
}

FolderItemImpUnix* FolderItemImpUnix::ConstructFromShellPath(string path) {
    return new FolderItemImpUnix(path);
}

FolderItemImpUnix* FolderItemImpUnix::ConstructFromURL(string url) {
    const string path = DecodeURL(url, '/');
    if (path.IsEmpty()) return nullptr;
    return new FolderItemImpUnix(path);
}

void FolderItemImpUnix::MapError(long error) {
    lastError = static_cast<int32_t>(error);
}

// ---------------------------------------------------------------------------
// Identity and names

bool FolderItemImpUnix::Exists() {
    lastError = 0;
    if (access(mPath.CString(), F_OK) == 0) return true;
    MapError(errno);
    return false;
}

bool FolderItemImpUnix::IsAlias() {
    lastError = 0;
    struct stat info;
    if (lstat(mPath.CString(), &info) != 0) {
        MapError(errno);
        return false;
    }
    return S_ISLNK(info.st_mode);
}

bool FolderItemImpUnix::IsDirectory() {
    lastError = 0;
    struct stat info;
    if (lstat(mPath.CString(), &info) != 0) {
        MapError(errno);
        return false;
    }
    return S_ISDIR(info.st_mode);
}

string FolderItemImpUnix::GetName() {
    if (mPath.Length() == 1 && mPath[0] == '/') return mPath;
    const char* bytes = mPath.CString();
    long end = static_cast<long>(mPath.Length());
    if (end > 0 && bytes[end - 1] == '/') --end;
    for (long i = end - 1; i >= 0; --i) {
        if (bytes[i] == '/') return Utf8Bytes(bytes + i + 1, static_cast<size_t>(end - i - 1));
    }
    return string();
}

bool FolderItemImpUnix::SetName(string name) {
    lastError = 0;
    const string newName = AsUtf8(name);
    const string folder = FolderPrefix(WithoutTrailingSlash(mPath));
    // A name is one component: with a "/" the rename would move the item elsewhere.
    if (newName.IsEmpty() || strchr(newName.CString(), '/') || folder.IsEmpty() ||
        mPath.Length() == 1) {
        MapError(EINVAL);
        return false;
    }
    const string newPath = JoinPath(folder, newName);
    if (Exists()) {
        if (rename(WithoutTrailingSlash(mPath).CString(), newPath.CString()) != 0) {
            MapError(errno);
            return false;
        }
    }
    lastError = 0;
    mPath = newPath;
    if (IsDirectory()) mPath = JoinPath(mPath, "/");
    lastError = 0;
    return true;
}

string FolderItemImpUnix::GetAbsolutePath() {
    return mPath;
}

string FolderItemImpUnix::GetDisplayName() {
    return GetName();
}

bool FolderItemImpUnix::SetDisplayName(string name) {
    return SetName(name);
}

// ---------------------------------------------------------------------------
// Permissions, owner, visibility

long FolderItemImpUnix::GetPermissions() {
    lastError = 0;
    struct stat info;
    if (stat(GetAbsolutePath().CString(), &info) != 0) {
        MapError(errno);
        return 0;
    }
    return static_cast<long>(info.st_mode & 0xFFF);
}

bool FolderItemImpUnix::SetPermissions(long permissions) {
    lastError = 0;
    if (chmod(mPath.CString(), static_cast<mode_t>(permissions)) == 0) return true;
    MapError(errno);
    return false;
}

bool FolderItemImpUnix::SetOwner(string owner) {
    lastError = 0;
    errno = 0;
    const passwd* user = getpwnam(AsUtf8(owner).CString());
    if (!user) {
        // No such user is not an error to getpwnam, which then leaves errno at 0.
        MapError(errno ? errno : ENOENT);
        return false;
    }
    if (chown(mPath.CString(), user->pw_uid, static_cast<gid_t>(-1)) == 0) return true;
    MapError(errno);
    return false;
}

string FolderItemImpUnix::GetOwner() {
    lastError = 0;
    struct stat info;
    if (stat(mPath.CString(), &info) != 0) {
        MapError(errno);
        return string();
    }
    const passwd* user = getpwuid(info.st_uid);
    if (!user || !user->pw_name) return string();
    return Utf8Bytes(user->pw_name, strlen(user->pw_name));
}

bool FolderItemImpUnix::SetGroup(string group) {
    lastError = 0;
    errno = 0;
    const struct group* entry = getgrnam(AsUtf8(group).CString());
    if (!entry) {
        MapError(errno ? errno : ENOENT);
        return false;
    }
    if (chown(mPath.CString(), static_cast<uid_t>(-1), entry->gr_gid) == 0) return true;
    MapError(errno);
    return false;
}

string FolderItemImpUnix::GetGroup() {
    lastError = 0;
    struct stat info;
    if (stat(mPath.CString(), &info) != 0) {
        MapError(errno);
        return string();
    }
    const struct group* entry = getgrgid(info.st_gid);
    if (!entry || !entry->gr_name) return string();
    return Utf8Bytes(entry->gr_name, strlen(entry->gr_name));
}

bool FolderItemImpUnix::GetVisible() {
    return GetName()[0] != '.';
}

bool FolderItemImpUnix::SetVisible(unsigned char visible) {
    const bool wanted = visible != 0;
    if (GetVisible() == wanted) return true;
    const string name = GetName();
    if (wanted) return SetName(mid(name, 1));
    return SetName(JoinPath(Utf8Bytes(".", 1), name));
}

bool FolderItemImpUnix::GetLocked() {
    return !IsCurrentlyWriteable();
}

bool FolderItemImpUnix::SetLocked(unsigned char) {
    return false;
}

// ---------------------------------------------------------------------------
// Save-info strings and relative paths

string FolderItemImpUnix::GetSaveInfo(FolderItemImp* base, eSaveInfoMode mode) {
    lastError = 0;
    if (!base) mode = kSaveInfoAbsolute;
    if (mode != kSaveInfoBoth && mode != kSaveInfoRelative && mode != kSaveInfoAbsolute) {
        MapError(EINVAL);
        return string();
    }

    string relative;
    if (mode != kSaveInfoAbsolute) {
        auto* unixBase = dynamic_cast<FolderItemImpUnix*>(base);
        if (unixBase) {
            relative = GetRelativePath(unixBase);
        } else {
            FolderItemImpUnix stand(RawPath{}, base->GetAbsolutePath());
            relative = GetRelativePath(&stand);
        }
        lastError = 0;
    }

    SaveInfoWriter out;
    out.PutBigEndian32(kSaveInfoMagic);
    const unsigned char header[2] = {kSaveInfoVersion, static_cast<unsigned char>(mode)};
    out.Put(header, 2);
    if (mode == kSaveInfoAbsolute || mode == kSaveInfoBoth) {
        out.PutRecord(kSaveInfoTagAbsolutePath, mPath.CString(), mPath.Length());
    }
    if (mode == kSaveInfoRelative || mode == kSaveInfoBoth) {
        out.PutRecord(kSaveInfoTagRelativePath, relative.CString(), relative.Length());
    }
    const unsigned char on = 1;
    const unsigned char off = 0;
    out.PutRecord(kSaveInfoTagFlagOn, &on, 1);
    out.PutRecord(kSaveInfoTagFlagOff, &off, 1);
    out.PutRecord(kSaveInfoTagEnd, nullptr, 0);
    if (out.failed) {
        MapError(ENOMEM);
        return string();
    }
    string info;
    info.ConstructFromBuffer(out.bytes, static_cast<unsigned>(out.used));  // tagged unknown
    return info;
}

FolderItemImpUnix* FolderItemImpUnix::ConstructFromSaveInfoString(string text,
                                                                  FolderItemImp* base) {
    if (!IsSaveInfoString(text) || text.Length() < 6) return nullptr;
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.CString());
    const size_t length = text.Length();
    const unsigned mode = bytes[5];
    if (mode > kSaveInfoAbsolute) return nullptr;

    // Relative records are resolved against a POSIX item; any other base stands in by its
    // absolute path.
    FolderItemImpUnix* unixBase = dynamic_cast<FolderItemImpUnix*>(base);
    FolderItemImpUnix* standIn = nullptr;
    if (base && !unixBase) {
        unixBase = standIn = new FolderItemImpUnix(RawPath{}, base->GetAbsolutePath());
    }
    const bool asItStands = mode == kSaveInfoAbsolute || !base;

    string path;
    string absoluteCandidate;
    string relativeCandidate;
    bool usable = true;
    size_t position = 6;
    while (usable && position < length) {
        if (length - position < 6) {
            usable = false;  // a record header cut short
            break;
        }
        // Deliberate: the first byte of the two-byte tag alone; the second is ignored.
        const unsigned tag = bytes[position];
        const uint32_t count = LoadBigEndian32(bytes + position + 2);
        if (tag == kSaveInfoTagEnd) break;
        if (count > length - position - 6) {
            usable = false;  // data running past the end
            break;
        }
        const string data = Utf8Bytes(reinterpret_cast<const char*>(bytes + position + 6), count);
        position += 6 + static_cast<size_t>(count);
        if (tag != kSaveInfoTagAbsolutePath && tag != kSaveInfoTagRelativePath) continue;

        if (asItStands) {
            path = data;
        } else if (mode == kSaveInfoRelative) {
            path = RelativePathToAbsolutePath(data, unixBase);
            if (path.IsEmpty()) usable = false;
        } else if (tag == kSaveInfoTagAbsolutePath) {
            absoluteCandidate = data;
        } else {
            relativeCandidate = RelativePathToAbsolutePath(data, unixBase);
        }
    }
    delete standIn;
    if (!usable) return nullptr;

    if (!asItStands && mode == kSaveInfoBoth) {
        if (PathExists(relativeCandidate)) {
            path = relativeCandidate;
        } else if (PathExists(absoluteCandidate)) {
            path = absoluteCandidate;
        } else if (!relativeCandidate.IsEmpty()) {
            path = relativeCandidate;
        } else {
            path = absoluteCandidate;
        }
    }
    if (path.IsEmpty()) return nullptr;
    return new FolderItemImpUnix(RawPath{}, path);
}

string FolderItemImpUnix::GetRelativePath(FolderItemImpUnix* base) {
    lastError = 0;
    if (!base) {
        MapError(EINVAL);
        return string();
    }
    const string folder = FolderPrefix(base->mPath);
    const char* from = folder.CString();
    const char* to = mPath.CString();
    const size_t fromLength = folder.Length();
    const size_t toLength = mPath.Length();

    // The shared folders end at the last "/" both paths have in the same place with the
    // same bytes before it.
    size_t common = 0;
    for (size_t i = 0; i < fromLength && i < toLength && from[i] == to[i]; ++i) {
        if (from[i] == '/') common = i + 1;
    }
    size_t levels = 0;
    for (size_t i = common; i < fromLength; ++i) {
        if (from[i] == '/') ++levels;
    }

    const size_t restLength = toLength - common;
    string relative;
    if (levels * 3 + restLength == 0) return relative;
    relative.ConstructFromBuffer(nullptr, static_cast<unsigned>(levels * 3 + restLength));
    if (relative.IsEmpty()) return relative;
    char* out = relative.CString();
    for (size_t i = 0; i < levels; ++i, out += 3) memcpy(out, "../", 3);
    memcpy(out, to + common, restLength);
    relative.SetEncoding(kEncodingUTF8);
    return relative;
}

string FolderItemImpUnix::RelativePathToAbsolutePath(string relative, FolderItemImpUnix* base) {
    if (!base) return string();
    const string steps = AsUtf8(relative);
    if (steps[0] == '/') return steps;
    const string folder = FolderPrefix(base->mPath);
    if (folder.IsEmpty()) return string();
    if (steps.IsEmpty()) return folder;
    return NormalisePath(JoinPath(folder, steps));
}

// ---------------------------------------------------------------------------
// Shell word, dates, access, length

string FolderItemImpUnix::GetShellPath() {
    return EscapedForShell(mPath);
}

double FolderItemImpUnix::GetCreationDate() {
    lastError = 0;
    struct stat info;
    if (stat(mPath.CString(), &info) != 0) {
        MapError(errno);
        return 0;
    }
    // The date is "now" less the item's age, so it lands on the date scale whatever its
    // epoch. st_ctime is the inode change time: what this item calls its creation date.
    return DateScaleNow() - static_cast<double>(time(nullptr) - info.st_ctime);
}

bool FolderItemImpUnix::SetCreationDate(double) {
    return false;
}

double FolderItemImpUnix::GetModificationDate() {
    lastError = 0;
    struct stat info;
    if (stat(mPath.CString(), &info) != 0) {
        MapError(errno);
        return 0;
    }
    return DateScaleNow() - static_cast<double>(time(nullptr) - info.st_mtime);
}

bool FolderItemImpUnix::SetModificationDate(double date) {
    lastError = 0;
    // Deliberate: the POSIX epoch is taken as 1969-12-31 18:00:00, six hours early, so a
    // date written here lands six hours after the one given. Files dated by earlier
    // versions carry this offset.
    const double posix = date - DateScaleValue(1969, 12, 31, 18, 0, 0);
    struct stat info;
    if (stat(mPath.CString(), &info) != 0) {
        MapError(errno);
        return false;
    }
    utimbuf times{};
    times.actime = info.st_atime;
    times.modtime = static_cast<time_t>(std::floor(posix));
    if (utime(mPath.CString(), &times) == 0) return true;
    MapError(errno);
    return false;
}

bool FolderItemImpUnix::IsCurrentlyReadable() {
    lastError = 0;
    // Deliberate: the answer is true even when access() says no; callers find out by
    // opening. The refusal is kept in the last error.
    if (access(mPath.CString(), R_OK) != 0) MapError(errno);
    return true;
}

bool FolderItemImpUnix::IsCurrentlyWriteable() {
    lastError = 0;
    if (access(mPath.CString(), W_OK) == 0) return true;
    return FolderItemImp::IsCurrentlyWriteable();
}

unsigned long long FolderItemImpUnix::GetLength() {
    lastError = 0;
    struct stat64 info;
    if (stat64(mPath.CString(), &info) != 0) {
        MapError(errno);
        return 0;
    }
    return static_cast<unsigned long long>(info.st_size);
}

bool FolderItemImpUnix::SetLength(unsigned long long length) {
    lastError = 0;
    if (truncate64(mPath.CString(), static_cast<off64_t>(length)) == 0) return true;
    MapError(errno);
    return false;
}

RandomAccessMechanism* FolderItemImpUnix::OpenFile(unsigned char read, unsigned char write) {
    lastError = 0;
    // Deliberate: only both flags together open for writing; write alone opens read-only.
    const int mode = read && write ? kDataFileReadWrite : kDataFileReadOnly;
    long error = 0;
    DataFile* file = DataFile::OpenFromPath(mPath, mode, &error);
    if (!file) MapError(error);
    return file;
}

// ---------------------------------------------------------------------------
// Navigation

FolderItemImp* FolderItemImpUnix::GetParent() {
    if (mPath.Length() <= 1) return nullptr;
    const string parent = FolderPrefix(WithoutTrailingSlash(mPath));
    if (parent.IsEmpty()) return nullptr;
    return new FolderItemImpUnix(parent);
}

FolderItemImp* FolderItemImpUnix::GetSpecialFolder(unsigned long code) {
    static constexpr struct {
        unsigned long code;
        const char* path;
    } kFixedFolders[] = {
        {kSpecialFolderTemporary, "/tmp"}, {kSpecialFolderEtc, "/etc"},
        {kSpecialFolderBin, "/bin"},       {kSpecialFolderUserBin, "/usr/bin"},
        {kSpecialFolderSbin, "/sbin"},     {kSpecialFolderUserSbin, "/usr/sbin"},
        {kSpecialFolderVar, "/var"},       {kSpecialFolderVarLog, "/var/log"},
        {kSpecialFolderHomes, "/home"},    {kSpecialFolderMount, "/mnt"},
        {kSpecialFolderLib, "/lib"},       {kSpecialFolderUserLib, "/usr/lib"},
    };
    for (const auto& folder : kFixedFolders) {
        if (folder.code == code) return ConstructFromShellPath(string(folder.path));
    }

    if (code == kSpecialFolderHome || code == kSpecialFolderPreferences ||
        code == kSpecialFolderUserHome || code == kSpecialFolderDesktop) {
        const char* home = getenv("HOME");
        if (!home || !*home) return nullptr;
        string path = Utf8Bytes(home, strlen(home));
        if (code == kSpecialFolderDesktop) path = JoinPath(path, "/Desktop");
        return ConstructFromShellPath(path);
    }
    if (code == kSpecialFolderCurrentWorking) {
        char cwd[kWorkingDirectoryBuffer];
        if (!getcwd(cwd, sizeof cwd)) return nullptr;
        return ConstructFromShellPath(Utf8Bytes(cwd, strlen(cwd)));
    }
    return nullptr;
}

long FolderItemImpUnix::GetChildCount() {
    lastError = 0;
    DIR* folder = opendir(mPath.CString());
    if (!folder) {
        MapError(errno);
        return 0;
    }
    long count = 0;
    while (const dirent* entry = readdir(folder)) {
        if (strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0) ++count;
    }
    closedir(folder);
    return count;
}

FolderItemImp* FolderItemImpUnix::GetChildByIndex(long index, long resolve) {
    lastError = 0;
    DIR* folder = opendir(mPath.CString());
    if (!folder) {
        MapError(errno);
        return nullptr;
    }
    // The whole folder is read first, in readdir's order. Each slot holds one reference to
    // a path block, released below.
    const string folderPath = AsFolderPath(mPath);
    SimpleVector<stringStorage*> paths;
    while (const dirent* entry = readdir(folder)) {
        if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0) continue;
        stringStorage* block = JoinPath(folderPath, Utf8Bytes(entry->d_name, strlen(entry->d_name)))
                                   .ExtractStringStorage();
        if (!paths.Append(block)) {
            if (block) block->RemoveReference();
            break;
        }
    }
    closedir(folder);

    FolderItemImp* child = nullptr;
    // Compared unsigned, so a negative index is as out of range as a large one.
    if (static_cast<unsigned long>(index) < static_cast<unsigned long>(paths.Count())) {
        child = new FolderItemImpUnix(string::ShareStorage(paths[index]));
    }
    for (long i = 0; i < paths.Count(); ++i) {
        if (paths[i]) paths[i]->RemoveReference();
    }
    if (child && resolve) child->ResolveAlias(resolve);
    return child;
}

FolderItemImp* FolderItemImpUnix::GetChildByName(string name, long resolve) {
    const string childName = AsUtf8(name);
    if (childName.CompareWithCase("..") == 0) return GetParent();
    FolderItemImp* child = new FolderItemImpUnix(JoinPath(AsFolderPath(mPath), childName));
    if (resolve) child->ResolveAlias(resolve);
    return child;
}

FolderItemImp* FolderItemImpUnix::ResolveAlias(long) {
    lastError = 0;
    int steps = 0;
    for (; steps < kMaximumLinkSteps && IsAlias(); ++steps) {
        char target[PATH_MAX];
        const ssize_t got = readlink(mPath.CString(), target, sizeof target - 1);
        if (got < 0) {
            MapError(errno);
            return this;
        }
        string next = Utf8Bytes(target, static_cast<size_t>(got));
        if (target[0] != '/') next = JoinPath(FolderPrefix(mPath), next);
        const string normalised = NormalisePath(next);
        mPath = normalised.IsEmpty() ? next : normalised;
    }
    if (steps == kMaximumLinkSteps && IsAlias()) {
        MapError(ELOOP);
        return this;
    }
    lastError = 0;
    if (!EndsWithSlash(mPath) && IsDirectory()) mPath = JoinPath(mPath, "/");
    lastError = 0;
    return this;
}

// ---------------------------------------------------------------------------
// Creating, deleting and the shell-run operations

void FolderItemImpUnix::MakeFileExecutable() {
    RunCommand(JoinPath(Utf8Bytes("chmod +x ", 9), GetShellPath()));
}

bool FolderItemImpUnix::CreateFolder() {
    lastError = 0;
    const bool made = mkdir(mPath.CString(), 0777) == 0;
    if (!made) MapError(errno);
    if (!EndsWithSlash(mPath)) mPath = JoinPath(mPath, "/");
    return made;
}

RandomAccessMechanism* FolderItemImpUnix::CreateFile(string) {
    lastError = 0;
    mPath = WithoutTrailingSlash(mPath);
    long error = 0;
    DataFile* file = DataFile::CreateFromPath(mPath, &error);
    if (!file) MapError(error);
    return file;
}

bool FolderItemImpUnix::DeleteFile() {
    const bool folder = IsDirectory();
    lastError = 0;
    const int result = folder ? rmdir(mPath.CString()) : remove(mPath.CString());
    if (result == 0) return true;
    MapError(errno);
    return false;
}

bool FolderItemImpUnix::RunFileCommand(const char* verb, FolderItemImp* destination) {
    if (destination == this) return true;
    lastError = 0;
    if (!destination) {
        MapError(EINVAL);
        return false;
    }
    string command = Utf8Bytes(verb, strlen(verb));
    command = JoinPath(command, GetShellPath());
    command = JoinPath(command, " ");
    command = JoinPath(command, EscapedForShell(destination->GetAbsolutePath()));
    errno = 0;
    if (RunCommand(command) == 0) return true;
    // The tool's own failure leaves no errno behind; EIO then stands for it.
    MapError(errno ? errno : EIO);
    return false;
}

bool FolderItemImpUnix::CopyFileTo(FolderItemImp* destination) {
    return RunFileCommand("cp ", destination);
}

bool FolderItemImpUnix::MoveFileTo(FolderItemImp* destination) {
    return RunFileCommand("mv -f ", destination);
}

bool FolderItemImpUnix::Launch(string arguments, unsigned char) {
    lastError = 0;
    string command = GetShellPath();
    if (!arguments.IsEmpty()) {
        command = JoinPath(command, " ");
        command = JoinPath(command, EscapedForShell(arguments));
    }
    command = JoinPath(command, " &");
    if (RunCommand(command) != -1) return true;
    MapError(errno);
    return false;
}

// ---------------------------------------------------------------------------
// Formats and the application folder

long FolderItemImpUnix::GetPictureFormat() {
    static constexpr struct {
        const char* suffix;
        long format;
    } kSuffixes[] = {
        {".xpm", kPictureFormatXPM},   {".xbm", kPictureFormatXBM}, {".jpg", kPictureFormatJPEG},
        {".jpeg", kPictureFormatJPEG}, {".png", kPictureFormatPNG}, {".tif", kPictureFormatTIFF},
        {".tiff", kPictureFormatTIFF}, {".gif", kPictureFormatGIF}, {".pict", kPictureFormatPICT},
        {".pct", kPictureFormatPICT},
    };
    const string path = GetAbsolutePath();
    for (const auto& entry : kSuffixes) {
        if (HasSuffix(path, entry.suffix)) return entry.format;
    }
    unsigned char start[2];
    if (ReadFileStart(path, start, 2) == 2 && start[0] == 'B' && start[1] == 'M') {
        return kPictureFormatBMP;
    }
    return kPictureFormatNone;
}

bool FolderItemImpUnix::IsValidSoundFormat() {
    static constexpr const char* kSuffixes[] = {".wav", ".aif", ".aiff", ".aifc", ".au", ".snd"};
    const string path = GetAbsolutePath();
    for (const char* suffix : kSuffixes) {
        if (HasSuffix(path, suffix)) return true;
    }
    unsigned char start[12];
    const long got = ReadFileStart(path, start, sizeof start);
    if (got >= 4 && memcmp(start, ".snd", 4) == 0) return true;
    if (got < 12) return false;
    if (memcmp(start, "RIFF", 4) == 0 && memcmp(start + 8, "WAVE", 4) == 0) return true;
    return memcmp(start, "FORM", 4) == 0 &&
           (memcmp(start + 8, "AIFF", 4) == 0 || memcmp(start + 8, "AIFC", 4) == 0);
}

FolderItemImpUnix* FolderItemImpUnix::GetAppFolderItem() {
    string program;
    if (gResolver) {
        using CommandLineService = const char* (*)();
        auto service = reinterpret_cast<CommandLineService>(gResolver("ZYNEGetCommandLineForUnix"));
        const char* line = service ? service() : nullptr;
        if (line) program = FirstShellWord(line);
        // A bare name was found through PATH; where it lives is not in the text.
        if (!program.IsEmpty() && !strchr(program.CString(), '/')) program = string();
    }
    if (program.IsEmpty()) {
        char target[PATH_MAX];
        const ssize_t got = readlink("/proc/self/exe", target, sizeof target - 1);
        if (got > 0) program = Utf8Bytes(target, static_cast<size_t>(got));
    }
    if (program.IsEmpty()) return nullptr;
    FolderItemImpUnix item(program);
    return static_cast<FolderItemImpUnix*>(item.GetParent());
}
