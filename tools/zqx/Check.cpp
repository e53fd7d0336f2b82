// Check.cpp - the check command: the structural report on one container.
//
// Prints every problem with its offset, then a summary; --json gives the same as one
// object. Exit status 0 only for a container without problems. The container is mapped
// read-only (standard input is spooled to a temporary file first), not read into memory.
// Not here: the checks themselves (ContainerCheck.cpp).
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>

#include "Archive.h"
#include "Commands.h"
#include "ContainerCheck.h"
#include "DiskFiles.h"

namespace zqx {

int RunCheck(const CheckOptions& o) {
    const std::string shown = Shown(o.container);
    std::string error;
    int fd = o.container == "-" ? SpoolStandardInput(&error)
                                : open(o.container.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        ErrorText(o.container == "-" ? error : shown + ": " + strerror(errno));
        return kExitFailed;
    }
    struct stat st {};
    MappedFile mapped;
    const bool directory = fstat(fd, &st) == 0 && S_ISDIR(st.st_mode);
    if (S_ISFIFO(st.st_mode) || S_ISSOCK(st.st_mode)) {
        // A named pipe (or "<(...)") has no size to map: spooled like standard input.
        const int spooled = SpoolDescriptor(fd, shown, &error);
        close(fd);
        if (spooled < 0) {
            ErrorText(error);
            return kExitFailed;
        }
        fd = spooled;
    }
    const bool ok = !directory && mapped.Map(fd);
    const int failed = errno;
    close(fd);
    if (!ok) {
        ErrorText(shown + ": " + (directory ? "is a directory" : strerror(failed)));
        return kExitFailed;
    }
    const CheckReport report = CheckContainer(mapped.Bytes(), mapped.Size());
    const bool clean = report.problems.empty();
    if (o.json) {
        nlohmann::json problems = nlohmann::json::array();
        for (const CheckProblem& p : report.problems) {
            nlohmann::json j = {{"message", p.message}};
            j["offset"] = p.offset >= 0 ? nlohmann::json(p.offset) : nlohmann::json(nullptr);
            problems.push_back(j);
        }
        const nlohmann::json doc = {{"container", o.container},  {"clean", clean},
                                    {"version", report.version}, {"size", mapped.Size()},
                                    {"blocks", report.blocks},   {"freeBlocks", report.freeBlocks},
                                    {"files", report.files},     {"items", report.items},
                                    {"notes", report.notes},     {"problems", problems}};
        printf("%s\n", doc.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
    } else {
        for (const CheckProblem& p : report.problems) {
            // Messages name items by their stored names: control characters are masked.
            if (p.offset >= 0)
                fprintf(stdout, "%s: offset %lld: %s\n", shown.c_str(),
                        static_cast<long long>(p.offset), Printable(p.message).c_str());
            else
                fprintf(stdout, "%s: %s\n", shown.c_str(), Printable(p.message).c_str());
        }
        if (o.msg.verbose)
            for (const std::string& note : report.notes)
                fprintf(stdout, "%s: note: %s\n", shown.c_str(), note.c_str());
    }
    FILE* out = o.json ? stderr : stdout;
    if (clean)
        fprintf(out, "%s: clean: version %d, %u blocks (%u free), %u files, %u items\n",
                shown.c_str(), report.version, report.blocks, report.freeBlocks, report.files,
                report.items);
    else
        fprintf(out, "%s: damaged: %zu problem%s\n", shown.c_str(), report.problems.size(),
                report.problems.size() == 1 ? "" : "s");
    return clean ? kExitOK : kExitFailed;
}

}  // namespace zqx
