// Read.cpp - the commands that read containers: list and extract.
//
// Extraction never trusts a member name: ".", "..", names with "/" or a NUL, and anything
// that would land outside the target folder (a symbolic link in the way) are named and
// skipped. Folders are entered through descriptors opened without following links, files
// are written to a temporary name and renamed into place, and existing files stay unless
// --overwrite is given.
// Not here: writing containers (Write.cpp), structural checks (ContainerCheck.cpp).
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>

#include "Archive.h"
#include "Commands.h"
#include "DiskFiles.h"
#include "core/DateScale.h"

namespace zqx {

namespace {

int OpenArchive(Archive& archive, const std::string& path) {
    std::string error;
    if (!archive.Open(path, &error)) {
        ErrorText(error);
        return kExitFailed;
    }
    return kExitOK;
}

std::string SizeText(const Member& m) {
    if (m.isFolder) return "-";
    if (!std::isfinite(m.length) || m.length < 0) return "?";
    char text[32];
    snprintf(text, sizeof text, "%.0f", m.length);
    return text;
}

}  // namespace

int RunList(const ListOptions& o) {
    Archive archive;
    if (int status = OpenArchive(archive, o.container); status != kExitOK) return status;
    VFileRef start;
    std::string error;
    if (!archive.Resolve(o.path, &start, &error)) {
        Error(o.container, error);
        return kExitFailed;
    }
    const bool fromRoot = start.id == kRootDirectoryIDnum;
    std::string startPath;
    {
        // The start's own path, normalised.
        size_t pos = 0;
        while (pos <= o.path.size()) {
            size_t slash = o.path.find('/', pos);
            if (slash == std::string::npos) slash = o.path.size();
            if (slash > pos)
                startPath += (startPath.empty() ? "" : "/") + o.path.substr(pos, slash - pos);
            pos = slash + 1;
        }
    }
    nlohmann::json members = nlohmann::json::array();
    int files = 0, folders = 0, problems = 0;
    const bool walked = archive.Walk(
        start, startPath,
        [&](const Member& m) {
            if (fromRoot && m.depth == 0) return true;
            (m.isFolder ? folders : files)++;
            const std::string shown = m.path + (m.isFolder ? "/" : "");
            if (o.json) {
                nlohmann::json j = {{"path", m.path},
                                    {"name", m.name},
                                    {"kind", m.isFolder ? "folder" : "file"},
                                    {"type", TypeText(m.ref.type)},
                                    {"created", FormatDate(m.created)},
                                    {"modified", FormatDate(m.modified)},
                                    {"id", m.ref.id}};
                if (m.isFolder)
                    j["size"] = nullptr;
                else
                    j["size"] = std::isfinite(m.length) && m.length >= 0 && m.length < 1e15
                                    ? nlohmann::json(static_cast<uint64_t>(m.length))
                                    : nlohmann::json(nullptr);
                if (!m.unsafe.empty()) j["unsafe"] = m.unsafe;
                members.push_back(j);
            } else if (o.longFormat) {
                printf("%-4s %12s  %-20s  %-20s  %s%s\n", TypeText(m.ref.type).c_str(),
                       SizeText(m).c_str(), FormatDate(m.created).c_str(),
                       FormatDate(m.modified).c_str(), Printable(shown).c_str(),
                       m.unsafe.empty() ? "" : ("  [unsafe: " + m.unsafe + "]").c_str());
            } else {
                printf("%s\n", Printable(shown).c_str());
            }
            return true;
        },
        [&](const std::string& what) {
            Error(o.container, Printable(what));
            ++problems;
        });
    if (o.json) {
        nlohmann::json doc = {{"container", o.container},
                              {"members", members},
                              {"files", files},
                              {"folders", folders},
                              {"complete", walked}};
        printf("%s\n", doc.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
    }
    FILE* out = o.json ? stderr : stdout;
    fprintf(out, "%d %s, %d %s%s\n", files, files == 1 ? "file" : "files", folders,
            folders == 1 ? "folder" : "folders",
            walked ? ""
                   : (", listing incomplete: " + std::to_string(problems) + " problem" +
                      (problems == 1 ? "" : "s"))
                         .c_str());
    return walked ? kExitOK : kExitFailed;
}

namespace {

// Gives the file or folder open as `fd` the date-scale moment `date` as its access and
// modification times; nothing for a date that is no moment.
void SetTimes(int fd, double date) {
    const double posix = date - kDateScalePOSIXEpoch;
    if (!std::isfinite(posix) || std::fabs(posix) >= 1e12) return;
    timespec times[2];
    times[0].tv_sec = static_cast<time_t>(std::floor(posix));
    times[0].tv_nsec = static_cast<long>((posix - std::floor(posix)) * 1e9);
    times[1] = times[0];
    futimens(fd, times);
}

// A folder being filled: its descriptor and, once its contents are in, its date.
struct Level {
    int fd;
    double date;  // NaN: leave the folder's times alone (the target and folders above)
};

// Dates the folder (its contents are complete) and closes it.
void Finish(const Level& level) {
    if (level.fd < 0) return;
    if (!std::isnan(level.date)) SetTimes(level.fd, level.date);
    close(level.fd);
}

// Writes members below one folder on disk, by descriptor.
class Extractor {
public:
    Extractor(Archive& archive, const ExtractOptions& o) : mArchive(archive), mO(o) {}

    // Skips a member (and, for a folder, all it holds), naming it.
    void Skip(const std::string& path, bool folder, const std::string& why) {
        Error(mO.container,
              Printable(path) + (folder ? "/ (and everything in it)" : "") + ": skipped: " + why);
        ++skipped;
    }

    // Places `m` inside the folder open as `parentFd`. For a folder, stores the new
    // descriptor in *childFd (owned by the caller) and returns true to enter it.
    bool Place(const Member& m, int parentFd, int* childFd) {
        *childFd = -1;
        if (!m.unsafe.empty()) {
            Skip(m.path, m.isFolder, m.unsafe);
            return false;
        }
        if (m.ref.type == kTempFileType) {
            Skip(m.path, false, "an unfinished folder");
            return false;
        }
        const std::string name = m.name;
        if (m.isFolder) {
            if (mkdirat(parentFd, name.c_str(), 0755) == 0) {
                ++folders;
                if (mO.msg.verbose) fprintf(mO.msg.out(), "%s/\n", Printable(m.path).c_str());
            } else if (errno != EEXIST) {
                Skip(m.path, true, strerror(errno));
                return false;
            }
            *childFd =
                openat(parentFd, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (*childFd < 0) {
                Skip(m.path, true,
                     errno == ELOOP || errno == ENOTDIR
                         ? "a symbolic link or a file is in the way; it would resolve outside "
                           "the target folder"
                         : strerror(errno));
                return false;
            }
            return true;
        }
        // Two members of one name in one folder: the first one wins. The same member named
        // twice (as "src" and "src/a.txt") is simply written once.
        if (const auto [done, isNew] = mDone.emplace(m.path, m.ref.id); !isNew) {
            if (done->second != m.ref.id)
                Skip(m.path, false, "a second member with this name in its folder");
            return false;
        }
        struct stat st {};
        const bool exists = fstatat(parentFd, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0;
        if (exists && !mO.overwrite) {
            Skip(m.path, false, "exists (use --overwrite to replace it)");
            return false;
        }
        if (exists && S_ISDIR(st.st_mode)) {
            Skip(m.path, false, "a folder of that name exists");
            return false;
        }
        std::string temp;
        int fd = -1;
        std::optional<StoppingSignalsHeld> held(std::in_place);
        for (int attempt = 0; fd < 0 && attempt < 100; ++attempt) {
            temp = ".zqx-" + std::to_string(getpid()) + "-" + std::to_string(mCounter++);
            fd = openat(parentFd, temp.c_str(),
                        O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
            if (fd < 0 && errno != EEXIST) break;
        }
        if (fd < 0) {
            Skip(m.path, false, std::string("can't write here: ") + strerror(errno));
            return false;
        }
        RemoveOnSignal(PendingSlot::kMember, parentFd, temp);
        held.reset();
        std::string why;
        const bool ok = Copy(m, fd, &why);
        if (ok) SetTimes(fd, m.modified);
        if (close(fd) != 0 && ok) why = strerror(errno);
        if (!ok || !why.empty() || !Rename(parentFd, temp, name, &why)) {
            unlinkat(parentFd, temp.c_str(), 0);
            ForgetOnSignal(PendingSlot::kMember);
            Skip(m.path, false, why);
            return false;
        }
        ForgetOnSignal(PendingSlot::kMember);
        ++files;
        if (mO.msg.verbose) fprintf(mO.msg.out(), "%s\n", Printable(m.path).c_str());
        return false;
    }

    // The member's content into `fd`; false with a reason when it can't be read whole.
    bool Copy(const Member& m, int fd, std::string* why) {
        VFile* stream = mArchive.Volume().OpenFile(m.ref);
        if (!stream) {
            *why = "content unreadable (damaged container)";
            return false;
        }
        const unsigned long long length = stream->GetLength();
        unsigned long long done = 0;
        std::vector<unsigned char> buffer(kCopyChunk);
        bool ok = true;
        while (ok && done < length) {
            int got = 0;
            const unsigned want =
                unsigned(std::min<unsigned long long>(buffer.size(), length - done));
            if (!stream->ReadData(buffer.data(), want, &got) || got <= 0) {
                *why = "content cut short after " + std::to_string(done) + " of " +
                       std::to_string(length) + " bytes (damaged container)";
                ok = false;
                break;
            }
            if (!WriteAll(fd, buffer.data(), size_t(got))) {
                *why = strerror(errno);
                ok = false;
                break;
            }
            done += unsigned(got);
        }
        delete stream;
        return ok;
    }

    bool Rename(int dirFd, const std::string& from, const std::string& to, std::string* why) {
        if (mO.overwrite) {
            if (renameat(dirFd, from.c_str(), dirFd, to.c_str()) == 0) return true;
            *why = strerror(errno);
            return false;
        }
        // No overwrite, atomically: a hard link fails when the name exists.
        if (linkat(dirFd, from.c_str(), dirFd, to.c_str(), 0) == 0) {
            unlinkat(dirFd, from.c_str(), 0);
            return true;
        }
        if (errno == EEXIST) {
            *why = "exists (use --overwrite to replace it)";
            return false;
        }
        // File systems without hard links: check, then rename.
        struct stat st {};
        if (fstatat(dirFd, to.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0) {
            *why = "exists (use --overwrite to replace it)";
            return false;
        }
        if (renameat(dirFd, from.c_str(), dirFd, to.c_str()) == 0) return true;
        *why = strerror(errno);
        return false;
    }

    int files = 0;
    int folders = 0;
    int skipped = 0;

private:
    Archive& mArchive;
    const ExtractOptions& mO;
    std::map<std::string, uint32_t> mDone;  // files written: path -> item
    unsigned mCounter = 0;
};

}  // namespace

int RunExtract(const ExtractOptions& o) {
    if (o.toStdout && o.paths.size() != 1) {
        Error("-O", "needs exactly one member path");
        return kExitUsage;
    }
    Archive archive;
    if (int status = OpenArchive(archive, o.container); status != kExitOK) return status;
    if (o.toStdout) {
        VFileRef ref;
        std::string error;
        if (!archive.Resolve(o.paths[0], &ref, &error)) {
            Error(o.container, error);
            return kExitFailed;
        }
        if (ref.type == kDirectoryFileType) {
            Error(o.container, o.paths[0] + ": is a folder; -O writes one file");
            return kExitUsage;
        }
        Member m;
        m.ref = ref;
        m.path = o.paths[0];
        Extractor x(archive, o);
        std::string why;
        if (!x.Copy(m, 1, &why)) {
            Error(o.container, o.paths[0] + ": " + why);
            return kExitFailed;
        }
        fprintf(stderr, "wrote %s to standard output\n", o.paths[0].c_str());
        return kExitOK;
    }
    const int dirFd = open(o.directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dirFd < 0) {
        Error(o.directory, std::string("target folder: ") + strerror(errno));
        return kExitUsage;
    }
    Extractor x(archive, o);
    int problems = 0;
    bool complete = true;
    std::vector<std::string> starts = o.paths;
    if (starts.empty()) starts.push_back("");
    for (const std::string& path : starts) {
        VFileRef start;
        std::string error;
        if (!archive.Resolve(path, &start, &error)) {
            Error(o.container, error);
            ++problems;
            continue;
        }
        // The folders above a member named on the command line are made as needed.
        std::vector<std::string> parts;
        for (size_t pos = 0; pos <= path.size();) {
            size_t slash = path.find('/', pos);
            if (slash == std::string::npos) slash = path.size();
            if (slash > pos) parts.push_back(path.substr(pos, slash - pos));
            pos = slash + 1;
        }
        std::vector<int> fds(1, dup(dirFd));
        std::string above;
        bool placed = true;
        for (size_t i = 0; i + 1 < parts.size() && placed; ++i) {
            above += (above.empty() ? "" : "/") + parts[i];
            Member m;
            m.name = parts[i];
            m.path = above;
            m.unsafe = UnsafeNameReason(parts[i]);
            m.isFolder = true;
            m.ref.type = kDirectoryFileType;
            int child = -1;
            placed = x.Place(m, fds.back(), &child);
            if (placed) fds.push_back(child);
        }
        if (!placed) {
            for (int fd : fds) close(fd);
            continue;
        }
        // fds.back() holds the start; level d of the walk is placed in level[d]. A folder
        // is dated when it is finished with: when the next folder of its depth replaces it,
        // or at the end, since by then everything in it has been written.
        const double none = std::nan("");
        std::vector<Level> level{{fds.back(), none}};
        fds.pop_back();
        for (int fd : fds) close(fd);
        const bool fromRoot = start.id == kRootDirectoryIDnum;
        if (fromRoot) level.push_back({dup(level[0].fd), none});
        complete &= archive.Walk(
            start, parts.empty() ? "" : above + (above.empty() ? "" : "/") + parts.back(),
            [&](const Member& m) {
                if (fromRoot && m.depth == 0) return true;
                const size_t d = size_t(m.depth);
                int child = -1;
                const bool enter = x.Place(m, level[d].fd, &child);
                if (enter) {
                    if (level.size() > d + 1) {
                        Finish(level[d + 1]);
                        level[d + 1] = {child, m.modified};
                    } else {
                        level.push_back({child, m.modified});
                    }
                }
                return enter;
            },
            [&](const std::string& what) {
                Error(o.container, Printable(what));
                ++problems;
            });
        // Deepest first, so that dating a folder comes after everything below it.
        for (auto it = level.rbegin(); it != level.rend(); ++it) Finish(*it);
    }
    close(dirFd);
    std::string summary = "extracted " + std::to_string(x.files) +
                          (x.files == 1 ? " file, " : " files, ") + std::to_string(x.folders) +
                          (x.folders == 1 ? " folder" : " folders") + " into " + o.directory;
    if (x.skipped) summary += "; " + std::to_string(x.skipped) + " skipped";
    if (problems) summary += "; " + std::to_string(problems) + " problems";
    fprintf(o.msg.out(), "%s\n", summary.c_str());
    return x.skipped || problems || !complete ? kExitFailed : kExitOK;
}

}  // namespace zqx
