// main.cpp - zyne-inspect: a plug-in as the host sees it, and what would go wrong there.
//
// Parses the command line (CLI11), walks each plug-in file (in a child process unless
// --in-process), prints the reports in the chosen format, runs --check and ends with a
// summary line. Exit status, shared with zqx: 0 clean, 1 findings or a damaged container,
// 2 bad usage, 3 a file or the bridge cannot be opened or loaded (or the report cannot be
// written), 4 a guest crashed or hung; with several files the highest applies.
// Not here: the walk (Walker.cpp), the formats (Render.cpp), the checks (Checks.cpp).
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Inspect.h"

namespace {

using namespace inspect;

// The bridge beside the tool (bin/../lib), as both the build tree and an installation lay
// it out; else the one this build produced.
std::string DefaultBridge() {
    char self[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    if (n > 0) {
        std::string dir(self, static_cast<size_t>(n));
        dir = dir.substr(0, dir.rfind('/'));
        const std::string beside = dir + "/../lib/libzynebridge.so";
        if (access(beside.c_str(), R_OK) == 0) return beside;
    }
    return ZYNE_BRIDGE_PATH;
}

// The exit status one report asks for, before checks.
int ReportStatus(const Json& report) {
    if (report.contains("container_error")) return kExitFindings;
    const std::string status = report.value("status", "");
    if (status == kStatusLoaded) return kExitClean;
    if (status == kStatusCrashed || status == kStatusTimedOut) return kExitGuestFailed;
    return kExitCannotLoad;
}

void Error(const std::string& text) {
    std::fprintf(stderr, "zyne-inspect: %s\n", text.c_str());
}

// `status`, or "cannot open" when the report could not all be written to standard output.
int Written(int status) {
    int failed = 0;
    if (std::fflush(stdout) != 0) failed = errno;
    if (std::ferror(stdout) && failed == 0) failed = EIO;
    if (failed == 0) return status;
    Error(std::string("standard output: ") + std::strerror(failed));
    return std::max(status, kExitCannotLoad);
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> files;
    std::string format = "text";
    bool check = false;
    bool werror = false;
    std::vector<std::string> excluded;
    double timeout = 30;
    bool inProcess = false;
    std::string bridge;
    std::string iconsDir;

    std::string checkList;
    for (const std::string& id : CheckIds()) checkList += (checkList.empty() ? "" : ", ") + id;
    CLI::App app{
        "zyne-inspect - load plug-ins through the bridge, as the host does, and report what "
        "it sees.\nExit status: 0 clean, 1 findings or a damaged container, 2 bad usage, "
        "3 cannot open or load, 4 the guest crashed or timed out.",
        "zyne-inspect"};
    app.add_option("FILE", files, "Plug-in files: .zqx containers or shared libraries")->required();
    app.add_option("--format", format,
                   "text (a tree), json (one document) or lines (one item per line)")
        ->check(CLI::IsMember({"text", "json", "lines"}))
        ->capture_default_str();
    app.add_flag("--check", check, "Validate the plug-ins; one line per finding");
    app.add_flag("--werror", werror, "With --check: treat warnings as errors");
    // One id per --exclude, so that "--exclude ID FILE" leaves FILE alone; repeatable.
    app.add_option("--exclude", excluded,
                   "With --check: skip this check (repeatable): " + checkList)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("--timeout", timeout, "Seconds a plug-in may take to load and be read")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_flag("--in-process", inProcess,
                 "Load the plug-ins in the tool's own process (for debugging: a crashing "
                 "guest takes the tool down)");
    app.add_option("--bridge", bridge,
                   "The bridge library to use (default: the one beside the tool)");
    app.add_option("--icons", iconsDir,
                   CanWritePng()
                       ? "Write each control's palette icon and mask as DIR/<control>.png and "
                         "DIR/<control>-mask.png"
                       : "Not available: this build has no PNG support (no libpng for its target)");
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return Written(app.exit(e));
    } catch (const CLI::ParseError& e) {
        app.exit(e);
        return kExitUsage;
    }
    for (const std::string& id : excluded) {
        if (std::find(CheckIds().begin(), CheckIds().end(), id) == CheckIds().end()) {
            Error("--exclude: unknown check \"" + id + "\"; checks are: " + checkList);
            return kExitUsage;
        }
    }
    if ((werror || !excluded.empty()) && !check) {
        Error("--werror and --exclude need --check");
        return kExitUsage;
    }
    if (!iconsDir.empty()) {
        if (!CanWritePng()) {
            Error("--icons: this build has no PNG support (no libpng for its target)");
            return kExitUsage;
        }
        if (mkdir(iconsDir.c_str(), 0777) != 0 && errno != EEXIST) {
            Error(iconsDir + ": " + std::strerror(errno));
            return kExitCannotLoad;
        }
        struct stat st {};
        if (stat(iconsDir.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
            Error(iconsDir + ": not a folder");
            return kExitCannotLoad;
        }
    }
    WalkOptions options;
    options.bridgePath = bridge.empty() ? DefaultBridge() : bridge;
    options.iconsDir = iconsDir;
    if (access(options.bridgePath.c_str(), R_OK) != 0) {
        Error(options.bridgePath + ": " + std::strerror(errno));
        return kExitCannotLoad;
    }

    std::vector<Json> reports;
    int exitStatus = kExitClean;
    long loaded = 0, definitions = 0;
    std::map<std::string, long> failures;
    for (const std::string& file : files) {
        Json report = inProcess ? WalkPlugin(file, options) : WalkIsolated(file, options, timeout);
        exitStatus = std::max(exitStatus, ReportStatus(report));
        const std::string status = report.value("status", "");
        if (status == kStatusLoaded)
            ++loaded;
        else
            ++failures[status];
        if (report.contains("definitions"))
            definitions += static_cast<long>(report["definitions"].size());
        if (status != kStatusLoaded || report.contains("container_error")) {
            std::string why = report.value("error", report.value("container_error", ""));
            Error(file + ": " + status + (why.empty() ? "" : " (" + why + ")"));
        }
        reports.push_back(std::move(report));
    }

    std::vector<Finding> findings;
    long errors = 0, warnings = 0, notes = 0;
    if (check) {
        findings = RunChecks(reports, std::set<std::string>(excluded.begin(), excluded.end()));
        for (Finding& f : findings) {
            if (werror && f.severity == "warning") f.severity = "error";
            if (f.severity == "error")
                ++errors;
            else if (f.severity == "warning")
                ++warnings;
            else
                ++notes;
        }
        if (errors > 0) exitStatus = std::max(exitStatus, kExitFindings);
    }

    std::string summary = std::to_string(files.size()) + (files.size() == 1 ? " file" : " files") +
                          ": " + std::to_string(loaded) + " loaded";
    for (const auto& [status, count] : failures)
        summary += ", " + std::to_string(count) + " " + status;
    summary +=
        "; " + std::to_string(definitions) + (definitions == 1 ? " definition" : " definitions");
    if (check) {
        summary += "; " + std::to_string(errors) + (errors == 1 ? " error, " : " errors, ") +
                   std::to_string(warnings) + (warnings == 1 ? " warning, " : " warnings, ") +
                   std::to_string(notes) + (notes == 1 ? " note" : " notes");
    }

    if (format == "json") {
        Json doc;
        doc["schema_version"] = kSchemaVersion;
        doc["tool"] = "zyne-inspect";
        doc["bridge"] = options.bridgePath;
        doc["plugins"] = reports;
        if (check) {
            Json list = Json::array();
            for (const Finding& f : findings) list.push_back(FindingJson(f));
            doc["findings"] = list;
        }
        doc["summary"] =
            Json{{"files", files.size()},    {"loaded", loaded},     {"definitions", definitions},
                 {"errors", errors},         {"warnings", warnings}, {"notes", notes},
                 {"exit_status", exitStatus}};
        // Bytes that are not UTF-8 (in a path, or in the child-less report of one) become
        // U+FFFD, so that the document stays valid JSON.
        std::printf("%s\n", doc.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
        std::fprintf(stderr, "zyne-inspect: %s\n", summary.c_str());
        return Written(exitStatus);
    }
    for (const Json& report : reports) {
        const std::string text = format == "lines" ? RenderLines(report) : RenderText(report);
        std::fputs(text.c_str(), stdout);
    }
    for (const Finding& f : findings) std::printf("%s\n", FormatFinding(f).c_str());
    std::printf("zyne-inspect: %s\n", summary.c_str());
    return Written(exitStatus);
}
