// Inspect.h - zyne-inspect's pieces and the report that joins them.
//
// One plug-in file becomes one report: a JSON object made by the walker (Walker.cpp), which
// runs the bridge in the reference host and reads every definition through the host-visible
// classes only, by property and method name, as host code does. The report is made in a
// child process by default (Isolation.cpp) and handed to the parent as JSON text, so a guest
// that crashes or hangs takes only the child down. The parent renders the reports
// (Render.cpp) and validates them (Checks.cpp); neither needs the bridge.
// Not here: argument parsing (main.cpp), the report's schema (README.md).
#ifndef ZYNE_TOOLS_INSPECT_INSPECT_H
#define ZYNE_TOOLS_INSPECT_INSPECT_H

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace inspect {

using Json = nlohmann::ordered_json;

/// The version of the JSON document; raised when a field changes meaning or goes away.
inline constexpr int kSchemaVersion = 1;

// Exit statuses, shared with zqx.
inline constexpr int kExitClean = 0;
inline constexpr int kExitFindings = 1;  // findings, or a damaged container
inline constexpr int kExitUsage = 2;
inline constexpr int kExitCannotLoad = 3;
inline constexpr int kExitGuestFailed = 4;  // crashed or timed out

/// A report's "status": how far the walk got.
inline constexpr const char* kStatusLoaded = "loaded";           // LoadPlugin answered true
inline constexpr const char* kStatusNotLoaded = "not-loaded";    // LoadPlugin answered false
inline constexpr const char* kStatusCannotOpen = "cannot-open";  // missing or unreadable file
inline constexpr const char* kStatusNoBridge = "no-bridge";      // the bridge did not load
inline constexpr const char* kStatusCrashed = "crashed";         // the child died of a signal
inline constexpr const char* kStatusTimedOut = "timed-out";      // the child was killed
inline constexpr const char* kStatusFailed = "failed";           // anything else went wrong

/// What the walker needs to know.
struct WalkOptions {
    std::string bridgePath;  ///< the bridge library the host loads
    std::string iconsDir;    ///< where to write palette icons; empty: none written
};

/// Loads `pluginPath` through a fresh reference host and bridge and returns its report.
/// Never throws; failures are in the report's "status" and "error". Only one host lives
/// per process, so calls must not overlap.
Json WalkPlugin(const std::string& pluginPath, const WalkOptions& options);

/// Runs WalkPlugin in a child process in its own process group and returns its report.
/// A child that dies of a signal, exits without a report or outlives `timeoutSeconds`
/// (its whole group is then killed) gives a report with status "crashed" or "timed-out".
Json WalkIsolated(const std::string& pluginPath, const WalkOptions& options, double timeoutSeconds);

/// What the container's "Build Resources" folders hold, read from the file itself: per
/// family, per target folder, the number of files. Sets "container" in `report` (or
/// "container_error" when the file is a container that cannot be read); bare libraries and
/// unreadable files are left alone.
void AddContainerLayout(const std::string& pluginPath, Json& report);

// --- ELF --------------------------------------------------------------------------------

/// The parts of an ELF file the checks need. Every read is bounds-checked against the
/// bytes handed in; a damaged file gives valid = false and a reason.
struct ElfInfo {
    bool valid = false;
    std::string problem;  ///< why it is not valid
    int elfClass = 0;     ///< 32 or 64
    int machine = 0;      ///< e_machine
    bool hasDynsym = false;
    std::vector<std::string> exports;  ///< defined global/weak dynamic symbols, in order
};
/// Reads `size` bytes at `data` as an ELF file.
ElfInfo ReadElf(const unsigned char* data, size_t size);
/// "x86_64", "i386" or "machine N".
std::string MachineName(int machine);
/// The ELF info as a report object.
Json ElfJson(const ElfInfo& elf);

// --- PNG --------------------------------------------------------------------------------

/// Whether this build can write PNG files.
bool CanWritePng();
/// Writes width * height RGBA pixels (rows top first) to `path`. False with a message.
bool WritePng(const std::string& path, long width, long height,
              const std::vector<unsigned char>& rgba, std::string* error);

// --- Rendering and checks ---------------------------------------------------------------

/// `text` with control characters shown as '?', so that a name can't rewrite the terminal
/// or break a line in two.
std::string Printable(const std::string& text);
/// The readable tree for one report.
std::string RenderText(const Json& report);
/// One line per item ("Family/Class.Method(params) as Type") for one report.
std::string RenderLines(const Json& report);

/// One finding of --check.
struct Finding {
    std::string file;      ///< the plug-in file
    std::string check;     ///< stable kebab-case id
    std::string severity;  ///< "error", "warning" or "note"
    std::string path;      ///< the item: file, then "Family/Class.Member"
    std::string message;   ///< what is wrong
    std::string hint;      ///< one line on how to fix it
};
/// Every check id, for --exclude validation and the help text.
const std::vector<std::string>& CheckIds();
/// Runs every check not in `excluded` over the reports (one per file; checks across
/// definitions look at all of them) and returns the findings in report order.
std::vector<Finding> RunChecks(const std::vector<Json>& reports,
                               const std::set<std::string>& excluded);
/// The family name a report's items are listed under: the plug-in name, else the file's
/// base name.
std::string Family(const Json& report);
/// "FILE: SEVERITY: CHECK: PATH: MESSAGE (hint: HINT)".
std::string FormatFinding(const Finding& finding);
Json FindingJson(const Finding& finding);

}  // namespace inspect

#endif  // ZYNE_TOOLS_INSPECT_INSPECT_H
