// Commands.h - the zqx commands, one function each, and what they share.
//
// Each Run function does one command and returns the exit status: 0 when everything asked
// was done, 1 when the container is damaged or unreadable, or anything was skipped or
// failed, 2 for bad usage. Messages name the file and what is wrong; every skipped member
// is named; the last line says what was done. When standard output carries data (a
// container written to "-", -O, --json) messages go to standard error.
// Not here: argument parsing (main.cpp), the volume format (Archive.h, ContainerCheck.h).
#ifndef ZYNE_TOOLS_ZQX_COMMANDS_H
#define ZYNE_TOOLS_ZQX_COMMANDS_H

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace zqx {

inline constexpr int kExitOK = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitUsage = 2;

/// Where progress and summary lines go, and whether -v is on.
struct Messages {
    bool verbose = false;
    bool dataOnStdout = false;
    FILE* out() const { return dataOnStdout ? stderr : stdout; }
};

/// Prints "zqx: <subject>: <what>" to standard error.
void Error(const std::string& subject, const std::string& what);
/// Prints "zqx: <text>" to standard error.
void ErrorText(const std::string& text);

/// Dates for new members: a fixed moment (date scale) when --mtime or SOURCE_DATE_EPOCH
/// gives one. False, with a message, when either is malformed.
bool FixedDate(const std::string& mtimeOption, std::optional<double>* date, std::string* error);
/// A four-character type code from text; false unless exactly four bytes, not "fold".
bool ParseType(const std::string& text, uint32_t* type);

struct CreateOptions {
    std::string output;
    std::vector<std::string> paths;
    std::string type = "????";
    std::string mtime;
    Messages msg;
};
int RunCreate(const CreateOptions& o);

struct ListOptions {
    std::string container;
    std::string path;
    bool longFormat = false;
    bool json = false;
    Messages msg;
};
int RunList(const ListOptions& o);

struct ExtractOptions {
    std::string container;
    std::string directory = ".";
    std::vector<std::string> paths;
    bool overwrite = false;
    bool toStdout = false;
    Messages msg;
};
int RunExtract(const ExtractOptions& o);

struct PluginOptions {
    std::string output;
    std::string name;
    std::vector<std::string> linuxLibs, windowsLibs, carbonLibs, machoLibs, cocoaLibs;
    std::string helpDir;
    std::string iconsDir;
    std::string type = "????";
    std::string mtime;
    Messages msg;
};
int RunPlugin(const PluginOptions& o);

struct CheckOptions {
    std::string container;
    bool json = false;
    Messages msg;
};
int RunCheck(const CheckOptions& o);

struct EditOptions {
    std::string container;
    std::string source;  // add: the file or folder on disk
    std::string path;    // add: destination; rm, mkdir: the member
    std::string type = "????";
    std::string mtime;
    bool parents = false;  // mkdir -p
    Messages msg;
};
int RunAdd(const EditOptions& o);
int RunRemove(const EditOptions& o);
int RunMkdir(const EditOptions& o);

}  // namespace zqx

#endif  // ZYNE_TOOLS_ZQX_COMMANDS_H
