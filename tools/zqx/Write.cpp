// Write.cpp - the commands that build or change containers: create, plugin, add, rm, mkdir.
//
// Containers are built in a temporary file beside the destination and renamed into place
// at the end (Archive.h), so a failed run leaves any existing container untouched. File
// contents are copied in bounded chunks straight from disk into the volume. Folder
// contents go in sorted byte order and every date can be fixed, so equal inputs give
// equal bytes. Only regular files and folders are stored; anything else is named and
// skipped.
// Not here: reading members back out (Read.cpp).
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <set>

#include "Archive.h"
#include "Commands.h"
#include "DiskFiles.h"
#include "core/DateScale.h"
#include "virtualvolume/VFile.h"

namespace zqx {

namespace {

constexpr int kMaxSourceDepth = 512;

// Content bytes that fit in an item's first block after its 256-byte header, when the
// block is a new one of the usual 1024 bytes (32 of which are block header and trailer).
constexpr uint64_t kFirstBlockContent = 1024 - 32 - 256;
// The largest block a file's content is given. Bigger files take several; the limit keeps
// the waste small when a file grows while it is read.
constexpr uint64_t kMaxContentBlock = uint64_t{64} << 20;

// The name a path is stored under: its last part, or for "." and ".." the real folder's.
std::string BaseName(const std::string& path) {
    std::string p = path;
    while (p.size() > 1 && p.back() == '/') p.pop_back();
    const size_t slash = p.rfind('/');
    std::string last = slash == std::string::npos ? p : p.substr(slash + 1);
    if (last == "." || last == ".." || last.empty()) {
        char* real = realpath(path.empty() ? "." : path.c_str(), nullptr);
        if (!real) return "";
        const std::string full = real;
        free(real);
        last = full == "/" ? "" : full.substr(full.rfind('/') + 1);
    }
    return last;
}

// Copies files and folders from disk into a container.
class Builder {
public:
    Builder(Archive& archive, uint32_t type, std::optional<double> date, const Messages& msg)
        : mArchive(archive), mType(type), mDate(date), mMsg(msg) {}

    /// Skips `path` (the container being written or changed) when it is met among the
    /// inputs; nothing when it does not exist.
    void Exclude(const std::string& path) {
        struct stat st {};
        if (path != "-" && stat(path.c_str(), &st) == 0)
            mExcluded.emplace_back(st.st_dev, st.st_ino);
    }
    /// Passes over the temporary file the archive writes, which may lie inside an input
    /// folder; silently, since it is no file of the user's.
    void ExcludeOutputOf(const Archive& archive) {
        mHasTemp = archive.Output(&mTempDev, &mTempIno);
    }

    /// Adds `source` (a folder with everything in it, sorted) under `name` in `parent`;
    /// `shown` is its member path for messages. Problems are named and counted.
    void Add(const VFileRef& parent, const std::string& source, const std::string& name,
             const std::string& shown, int depth = 0) {
        struct stat st {};
        if (lstat(source.c_str(), &st) != 0) {
            Skip(source, strerror(errno));
            return;
        }
        if (mHasTemp && st.st_dev == mTempDev && st.st_ino == mTempIno) return;
        if (std::find(mExcluded.begin(), mExcluded.end(), std::pair(st.st_dev, st.st_ino)) !=
            mExcluded.end()) {
            Skip(source, "is the container being written");
            return;
        }
        if (name.size() > kItemNameMaxBytes) {
            Skip(source, "name longer than 223 bytes");
            return;
        }
        const double when =
            mDate ? *mDate
                  : PosixToDateScale(double(st.st_mtim.tv_sec) + double(st.st_mtim.tv_nsec) / 1e9);
        if (S_ISDIR(st.st_mode)) {
            if (depth >= kMaxSourceDepth) {
                Skip(source, "folders nested too deeply");
                return;
            }
            VFileRef dir = mArchive.Volume().CreateDirectory(parent, Utf8(name));
            if (dir.type != kDirectoryFileType) {
                Fail(shown, "could not create the folder in the container");
                return;
            }
            if (mMsg.verbose) fprintf(mMsg.out(), "%s/\n", shown.c_str());
            ++folders;
            std::vector<std::string> names;
            if (!ListDirectory(source, &names)) return;
            for (const std::string& child : names)
                Add(dir, source + "/" + child, child, shown + "/" + child, depth + 1);
            mArchive.SetDates(dir, when, when);
            return;
        }
        if (!S_ISREG(st.st_mode)) {
            Skip(source, S_ISLNK(st.st_mode) ? "symbolic link (only files and folders are stored)"
                                             : "not a regular file or folder");
            return;
        }
        // Opened without following links: the name may have changed since lstat.
        const int fd = open(source.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
        struct stat opened {};
        if (fd < 0 || fstat(fd, &opened) != 0 || !S_ISREG(opened.st_mode)) {
            Skip(source, fd < 0 ? strerror(errno) : "not a regular file");
            if (fd >= 0) close(fd);
            return;
        }
        VFileRef file = mArchive.Volume().CreateFile(parent, Utf8(name), mType);
        VFile* stream = file.type ? mArchive.Volume().OpenFile(file) : nullptr;
        uint64_t stored = 0;
        std::string why = "could not store the file in the container";
        bool ok = stream && CopyIn(fd, uint64_t(opened.st_size), stream, &stored, &why);
        close(fd);
        if (stream) ok = stream->Close() && ok;
        delete stream;
        if (!ok || !mArchive.SetDates(file, when, when)) {
            Fail(shown, why);
            return;
        }
        if (mMsg.verbose) fprintf(mMsg.out(), "%s\n", shown.c_str());
        ++files;
        contentBytes += stored;
    }

    int files = 0;
    int folders = 0;
    int skipped = 0;
    int failed = 0;
    unsigned long long contentBytes = 0;

private:
    // Copies the open file `fd` (`planned` bytes by its size) into `stream` in bounded
    // chunks. The first chunk fills the item's first block; after it the chain grows by
    // blocks sized to what is left, so a big file takes a few blocks instead of one per
    // KiB. Block sizes depend only on file sizes, so equal inputs still give equal bytes.
    bool CopyIn(int fd, uint64_t planned, VFile* stream, uint64_t* done, std::string* why) {
        std::vector<unsigned char> buffer(kCopyChunk);
        bool ok = true;
        while (ok) {
            const size_t want =
                *done < kFirstBlockContent ? size_t(kFirstBlockContent - *done) : buffer.size();
            const ssize_t got = read(fd, buffer.data(), want);
            if (got < 0 && errno == EINTR) continue;
            if (got < 0) {
                *why = std::string("reading it failed: ") + strerror(errno);
                ok = false;
                break;
            }
            if (got == 0) break;
            const uint64_t left = planned > *done ? planned - *done : 0;
            // Bytes beyond the planned size (the file grew) go into usual blocks.
            mArchive.SetExtensionData(
                left >= uint64_t(got) ? double(std::min(left, kMaxContentBlock)) : 0.0);
            ok = stream->WriteData(buffer.data(), unsigned(got));
            if (ok) *done += uint64_t(got);
        }
        mArchive.SetExtensionData(0);
        return ok;
    }

    bool ListDirectory(const std::string& path, std::vector<std::string>* names) {
        DIR* dir = opendir(path.c_str());
        if (!dir) {
            Skip(path, std::string("contents not read: ") + strerror(errno));
            return false;
        }
        while (dirent* entry = readdir(dir)) {
            const std::string name = entry->d_name;
            if (name != "." && name != "..") names->push_back(name);
        }
        closedir(dir);
        std::sort(names->begin(), names->end());  // byte order: reproducible everywhere
        return true;
    }
    void Skip(const std::string& source, const std::string& why) {
        Error(source, why + "; skipped");
        ++skipped;
    }
    void Fail(const std::string& member, const std::string& why) {
        Error(member, why);
        ++failed;
    }

    Archive& mArchive;
    uint32_t mType;
    std::optional<double> mDate;
    Messages mMsg;
    std::vector<std::pair<dev_t, ino_t>> mExcluded;  // files never stored, named when met
    bool mHasTemp = false;                           // the archive's own temporary file
    dev_t mTempDev = 0;
    ino_t mTempIno = 0;
};

std::string Plural(int n, const char* one, const char* many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

std::string Summary(const Builder& b) {
    std::string s = Plural(b.files, "file", "files") + ", " +
                    Plural(b.folders, "folder", "folders") + ", " + std::to_string(b.contentBytes) +
                    " bytes";
    if (b.skipped) s += ", " + std::to_string(b.skipped) + " skipped";
    if (b.failed) s += ", " + std::to_string(b.failed) + " failed";
    return s;
}

// A new container with the root dated like its members.
bool NewArchive(Archive& archive, std::optional<double> date, const std::string& output) {
    std::string error;
    if (!archive.Create(output, &error)) {
        ErrorText(error);
        return false;
    }
    if (date) archive.SetDates(archive.Root(), *date, *date);
    return true;
}

bool CommonSetup(const std::string& typeText, const std::string& mtime, uint32_t* type,
                 std::optional<double>* date) {
    if (!ParseType(typeText, type)) {
        Error("--type", "\"" + typeText + "\" is not a four-character type code (nor \"fold\")");
        return false;
    }
    std::string error;
    if (!FixedDate(mtime, date, &error)) {
        ErrorText(error);
        return false;
    }
    return true;
}

bool SafeMemberName(const std::string& name) {
    std::string raw = name;
    raw.resize(kItemNameFieldSize, '\0');
    return name.size() <= kItemNameMaxBytes && UnsafeNameReason(raw).empty();
}

}  // namespace

void Error(const std::string& subject, const std::string& what) {
    fprintf(stderr, "zqx: %s: %s\n", subject.c_str(), what.c_str());
}

void ErrorText(const std::string& text) {
    fprintf(stderr, "zqx: %s\n", text.c_str());
}

bool FixedDate(const std::string& mtimeOption, std::optional<double>* date, std::string* error) {
    date->reset();
    std::string text = mtimeOption;
    std::string source = "--mtime";
    if (text.empty()) {
        const char* env = getenv("SOURCE_DATE_EPOCH");
        if (!env || !*env) return true;
        text = env;
        source = "SOURCE_DATE_EPOCH";
    }
    std::string t = text[0] == '@' ? text.substr(1) : text;
    char* end = nullptr;
    errno = 0;
    const long long seconds = strtoll(t.c_str(), &end, 10);
    if (!t.empty() && end && *end == '\0' && errno == 0) {
        *date = PosixToDateScale(double(seconds));
        return true;
    }
    int y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0;
    char tail[8] = {};
    const int got = source == "--mtime" ? sscanf(t.c_str(), "%d-%d-%d%*[T ]%d:%d:%d%7s", &y, &mo,
                                                 &d, &h, &mi, &s, tail)
                                        : 0;
    const bool tailOK = tail[0] == '\0' || (tail[0] == 'Z' && tail[1] == '\0');
    // A date alone must be all of the text: "2020-01-01junk" or "2020-01-01T12" is no date.
    int dateEnd = -1;
    sscanf(t.c_str(), "%*d-%*d-%*d%n", &dateEnd);
    const bool dateOnly = dateEnd >= 0 && size_t(dateEnd) == t.size();
    // A day of the calendar: "2021-02-30" is no date (it would quietly become March 2).
    const auto dayOK = [&] {
        using namespace std::chrono;
        return mo >= 1 && mo <= 12 && d >= 1 && d <= 31 &&
               year_month_day(year(y), month(unsigned(mo)), day(unsigned(d))).ok();
    };
    if (((got == 3 && dateOnly) || got >= 6) && tailOK && dayOK() && h >= 0 && h < 24 &&
        mi >= 0 && mi < 60 && s >= 0 && s < 61) {
        *date = DateScaleValue(y, mo, d, h, mi, s);
        return true;
    }
    *error = source + ": \"" + text +
             "\" is not a date (seconds since 1970-01-01 UTC, or YYYY-MM-DD[THH:MM:SS])";
    return false;
}

bool ParseType(const std::string& text, uint32_t* type) {
    if (text.size() != 4 || text == "fold") return false;
    uint32_t v = 0;
    for (unsigned char c : text) v = v << 8 | c;
    if (v == 0) return false;
    *type = v;
    return true;
}

int RunCreate(const CreateOptions& o) {
    uint32_t type = 0;
    std::optional<double> date;
    if (!CommonSetup(o.type, o.mtime, &type, &date)) return kExitUsage;
    // Top-level members in sorted order, like everything below them.
    std::vector<std::pair<std::string, std::string>> tops;  // name, source
    for (const std::string& path : o.paths) {
        const std::string name = BaseName(path);
        if (name.empty()) {
            Error(path, "gives no member name (the root folder can't be stored)");
            return kExitUsage;
        }
        tops.emplace_back(name, path);
    }
    std::sort(tops.begin(), tops.end());
    for (size_t i = 1; i < tops.size(); ++i)
        if (tops[i].first == tops[i - 1].first) {
            Error(tops[i].second,
                  "has the same member name, \"" + tops[i].first + "\", as " + tops[i - 1].second);
            return kExitUsage;
        }
    Archive archive;
    if (!NewArchive(archive, date, o.output)) return kExitFailed;
    Builder builder(archive, type, date, o.msg);
    builder.Exclude(o.output);
    builder.ExcludeOutputOf(archive);
    const VFileRef root = archive.Root();
    for (const auto& [name, source] : tops) builder.Add(root, source, name, name);
    std::string error;
    if (!archive.Commit(&error)) {
        ErrorText(error);
        return kExitFailed;
    }
    fprintf(o.msg.out(), "created %s: %s\n", o.output == "-" ? "standard output" : o.output.c_str(),
            Summary(builder).c_str());
    return builder.skipped || builder.failed ? kExitFailed : kExitOK;
}

int RunPlugin(const PluginOptions& o) {
    uint32_t type = 0;
    std::optional<double> date;
    if (!CommonSetup(o.type, o.mtime, &type, &date)) return kExitUsage;
    if (!SafeMemberName(o.name)) {
        Error("--name", "\"" + o.name +
                            "\" can't be a folder name (empty, \".\", \"..\", a \"/\" "
                            "or over 223 bytes)");
        return kExitUsage;
    }
    // The loader walks these folder names; libraries keep the order given, since the i-th
    // library of every target folder belongs to the i-th plug-in.
    const std::vector<std::pair<const char*, const std::vector<std::string>*>> targets = {
        {"Mac Carbon", &o.carbonLibs},
        {"Mac Carbon Mach-O", &o.machoLibs},
        {"Windows", &o.windowsLibs},
        {"Linux X86", &o.linuxLibs},
        {"Mac Cocoa", &o.cocoaLibs}};
    for (const auto& [folder, libs] : targets) {
        std::set<std::string> names;
        for (const std::string& lib : *libs) {
            struct stat st {};
            if (stat(lib.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
                Error(lib, stat(lib.c_str(), &st) != 0 ? strerror(errno) : "not a regular file");
                return kExitFailed;
            }
            if (!names.insert(BaseName(lib)).second) {
                Error(lib, std::string("a second library named \"") + BaseName(lib) + "\" for " +
                               folder);
                return kExitUsage;
            }
        }
    }
    for (const std::string& lib : o.linuxLibs) {
        unsigned char head[4] = {};
        const int fd = open(lib.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) {
            Error(lib, strerror(errno));
            return kExitFailed;
        }
        const ssize_t got = read(fd, head, sizeof head);
        close(fd);
        if (got != 4 || memcmp(head,
                               "\x7F"
                               "ELF",
                               4) != 0) {
            Error(lib, "not an ELF shared library; the loader could not load it");
            return kExitFailed;
        }
    }
    for (const std::string* dir : {&o.helpDir, &o.iconsDir}) {
        struct stat st {};
        if (!dir->empty() && (stat(dir->c_str(), &st) != 0 || !S_ISDIR(st.st_mode))) {
            Error(*dir, "not a folder");
            return kExitUsage;
        }
    }
    Archive archive;
    if (!NewArchive(archive, date, o.output)) return kExitFailed;
    Builder builder(archive, type, date, o.msg);
    builder.Exclude(o.output);
    builder.ExcludeOutputOf(archive);
    const double when = date ? *date : DateScaleNow();
    auto folder = [&](const VFileRef& parent, const std::string& name, const std::string& shown) {
        VFileRef dir = archive.Volume().CreateDirectory(parent, Utf8(name));
        if (dir.type == kDirectoryFileType) {
            archive.SetDates(dir, when, when);
            ++builder.folders;
            if (o.msg.verbose) fprintf(o.msg.out(), "%s/\n", shown.c_str());
        } else {
            Error(shown, "could not create the folder in the container");
            ++builder.failed;
        }
        return dir;
    };
    // Contents of a folder on disk, sorted, into a container folder.
    auto contents = [&](const VFileRef& dir, const std::string& source, const std::string& shown) {
        std::vector<std::string> names;
        if (DIR* d = opendir(source.c_str())) {
            while (dirent* e = readdir(d))
                if (strcmp(e->d_name, ".") != 0 && strcmp(e->d_name, "..") != 0)
                    names.push_back(e->d_name);
            closedir(d);
        }
        std::sort(names.begin(), names.end());
        for (const std::string& n : names) builder.Add(dir, source + "/" + n, n, shown + "/" + n);
    };
    const VFileRef family = folder(archive.Root(), o.name, o.name);
    const std::string build = o.name + "/Build Resources";
    const VFileRef buildDir = folder(family, "Build Resources", build);
    for (const auto& [name, libs] : targets) {
        if (libs->empty()) continue;
        const std::string shown = build + "/" + name;
        const VFileRef target = folder(buildDir, name, shown);
        for (const std::string& lib : *libs) {
            const std::string base = BaseName(lib);
            builder.Add(target, lib, base, shown + "/" + base);
        }
    }
    const std::string ide = o.name + "/IDE Resources";
    const VFileRef ideDir = folder(family, "IDE Resources", ide);
    const VFileRef help = folder(ideDir, "Help", ide + "/Help");
    if (!o.helpDir.empty()) {
        contents(help, o.helpDir, ide + "/Help");
        if (access((o.helpDir + "/index.html").c_str(), F_OK) != 0)
            fprintf(stderr, "zqx: %s: no index.html; the loader will report no help\n",
                    o.helpDir.c_str());
    }
    const VFileRef palette = folder(ideDir, "Controls Palette", ide + "/Controls Palette");
    if (!o.iconsDir.empty()) contents(palette, o.iconsDir, ide + "/Controls Palette");
    std::string error;
    if (!archive.Commit(&error)) {
        ErrorText(error);
        return kExitFailed;
    }
    fprintf(o.msg.out(), "created plug-in container %s for %s: %zu Linux %s, %s\n",
            o.output == "-" ? "standard output" : o.output.c_str(), o.name.c_str(),
            o.linuxLibs.size(), o.linuxLibs.size() == 1 ? "library" : "libraries",
            Summary(builder).c_str());
    return builder.skipped || builder.failed ? kExitFailed : kExitOK;
}

namespace {

// Opens a container for editing; standard input can't be edited in place.
int OpenForEdit(Archive& archive, const std::string& path) {
    if (path == "-") {
        Error("-", "a container on standard input can't be changed in place");
        return kExitUsage;
    }
    std::string error;
    if (!archive.OpenForEdit(path, &error)) {
        ErrorText(error);
        return kExitFailed;
    }
    return kExitOK;
}

// Puts the changed copy in place of the container.
int SaveEdit(Archive& archive, const std::string& path) {
    std::string error;
    if (!archive.Commit(&error)) {
        ErrorText(error + "; " + path + " not changed");
        return kExitFailed;
    }
    return kExitOK;
}

// Splits "a/b/c" into its parent path "a/b" and last name "c" (no empty parts kept).
std::pair<std::string, std::string> SplitPath(const std::string& path) {
    std::string p = path;
    while (!p.empty() && p.back() == '/') p.pop_back();
    const size_t slash = p.rfind('/');
    if (slash == std::string::npos) return {"", p};
    return {p.substr(0, slash), p.substr(slash + 1)};
}

// "a//b/" as "a/b".
std::string Normalize(const std::string& path) {
    std::string out;
    size_t pos = 0;
    while (pos <= path.size()) {
        size_t slash = path.find('/', pos);
        if (slash == std::string::npos) slash = path.size();
        if (slash > pos) out += (out.empty() ? "" : "/") + path.substr(pos, slash - pos);
        pos = slash + 1;
    }
    return out;
}

// Deletes an item and, for a folder, everything in it, deepest first. Names come from the
// container, so they are printed with control characters masked.
bool RemoveTree(Archive& archive, const VFileRef& item, const std::string& shown,
                const Messages& msg, int* removed, int depth) {
    if (item.type == kDirectoryFileType) {
        if (depth > kMaxSourceDepth) {
            Error(Printable(shown), "folders nested too deeply; not removed");
            return false;
        }
        VFileRefList children;
        if (!archive.Volume().GetChildren(item, children)) {
            Error(Printable(shown), "folder listing unreadable; not removed");
            return false;
        }
        std::vector<VFileRef> list;
        for (long i = 0; i < children.Count(); ++i) list.push_back(children[i]);
        for (const VFileRef& child : list)
            if (!RemoveTree(archive, child, shown + "/" + Std(child.name), msg, removed, depth + 1))
                return false;
    }
    if (!archive.Volume().DeleteFile(item)) {
        Error(Printable(shown), "could not be removed");
        return false;
    }
    if (msg.verbose)
        fprintf(msg.out(), "%s%s\n", Printable(shown).c_str(),
                item.type == kDirectoryFileType ? "/" : "");
    ++*removed;
    return true;
}

}  // namespace

int RunAdd(const EditOptions& o) {
    uint32_t type = 0;
    std::optional<double> date;
    if (!CommonSetup(o.type, o.mtime, &type, &date)) return kExitUsage;
    Archive archive;
    if (int status = OpenForEdit(archive, o.container); status != kExitOK) return status;
    // DEST an existing folder: SRC goes inside it under its own name; otherwise DEST's
    // last part names the new member inside DEST's parent.
    VFileRef parent = archive.Root();
    std::string name = BaseName(o.source);
    std::string parentPath;
    std::string error;
    VFileRef dest;
    if (!o.path.empty() && archive.Resolve(o.path, &dest, &error) &&
        dest.type == kDirectoryFileType) {
        parent = dest;
        parentPath = Normalize(o.path);
    } else if (!o.path.empty()) {
        const auto [up, last] = SplitPath(o.path);
        if (!archive.Resolve(up, &parent, &error) || parent.type != kDirectoryFileType) {
            Error(o.container, (error.empty() ? up + ": not a folder" : error));
            return kExitFailed;
        }
        parentPath = Normalize(up);
        name = last;
    }
    if (name.empty() || !SafeMemberName(name)) {
        Error(o.source, "\"" + name + "\" can't be a member name");
        return kExitUsage;
    }
    const std::string shown = parentPath.empty() ? name : parentPath + "/" + name;
    if (archive.Child(parent, name).type != 0) {
        Error(o.container, shown + ": already exists");
        return kExitFailed;
    }
    Builder builder(archive, type, date, o.msg);
    builder.Exclude(o.container);
    builder.ExcludeOutputOf(archive);
    builder.Add(parent, o.source, name, shown);
    if (builder.files + builder.folders == 0) return kExitFailed;
    if (SaveEdit(archive, o.container) != kExitOK) return kExitFailed;
    fprintf(o.msg.out(), "added %s to %s: %s\n", shown.c_str(), o.container.c_str(),
            Summary(builder).c_str());
    return builder.skipped || builder.failed ? kExitFailed : kExitOK;
}

int RunRemove(const EditOptions& o) {
    Archive archive;
    if (int status = OpenForEdit(archive, o.container); status != kExitOK) return status;
    VFileRef item;
    std::string error;
    if (!archive.Resolve(o.path, &item, &error)) {
        Error(o.container, error);
        return kExitFailed;
    }
    if (item.id == kRootDirectoryIDnum) {
        Error(o.path, "the root folder can't be removed");
        return kExitUsage;
    }
    int removed = 0;
    // All or nothing: what was taken out before a failure stays in the container.
    if (!RemoveTree(archive, item, Normalize(o.path), o.msg, &removed, 0)) {
        Error(o.container, "not changed");
        return kExitFailed;
    }
    if (SaveEdit(archive, o.container) != kExitOK) return kExitFailed;
    fprintf(o.msg.out(), "removed %s from %s: %s\n", Printable(o.path).c_str(),
            o.container.c_str(), Plural(removed, "member", "members").c_str());
    return kExitOK;
}

int RunMkdir(const EditOptions& o) {
    std::optional<double> date;
    std::string error;
    if (!FixedDate(o.mtime, &date, &error)) {
        ErrorText(error);
        return kExitUsage;
    }
    Archive archive;
    if (int status = OpenForEdit(archive, o.container); status != kExitOK) return status;
    VFileRef at = archive.Root();
    std::string walked;
    int made = 0;
    const double when = date ? *date : DateScaleNow();
    size_t pos = 0;
    const std::string path = o.path;
    std::vector<std::string> parts;
    while (pos <= path.size()) {
        size_t slash = path.find('/', pos);
        if (slash == std::string::npos) slash = path.size();
        if (slash > pos) parts.push_back(path.substr(pos, slash - pos));
        pos = slash + 1;
    }
    if (parts.empty()) {
        Error(o.path, "names no folder");
        return kExitUsage;
    }
    for (const std::string& part : parts)
        if (!SafeMemberName(part)) {
            Error(o.path, "\"" + part + "\" can't be a member name");
            return kExitUsage;
        }
    for (size_t i = 0; i < parts.size(); ++i) {
        const std::string& part = parts[i];
        walked += walked.empty() ? part : "/" + part;
        VFileRef next = archive.Child(at, part);
        const bool last = i + 1 == parts.size();
        if (next.type != 0) {
            if (next.type != kDirectoryFileType) {
                Error(o.container, walked + ": exists and is not a folder");
                return kExitFailed;
            }
            if (last && !o.parents) {
                Error(o.container, walked + ": already exists");
                return kExitFailed;
            }
            at = next;
            continue;
        }
        if (!last && !o.parents) {
            Error(o.container, walked + ": no such folder (use -p to make it)");
            return kExitFailed;
        }
        next = archive.Volume().CreateDirectory(at, Utf8(part));
        if (next.type != kDirectoryFileType) {
            Error(o.container, walked + ": could not create the folder");
            return kExitFailed;
        }
        archive.SetDates(next, when, when);
        if (o.msg.verbose) fprintf(o.msg.out(), "%s/\n", walked.c_str());
        ++made;
        at = next;
    }
    if (SaveEdit(archive, o.container) != kExitOK) return kExitFailed;
    fprintf(o.msg.out(), "made %s in %s\n", Plural(made, "folder", "folders").c_str(),
            o.container.c_str());
    return kExitOK;
}

}  // namespace zqx
