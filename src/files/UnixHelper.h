// UnixHelper.h - talking to the POSIX shell: quoting text, running a command line, and
// finding a system library by name.
//
// File operations that the framework hands to standard tools ("cp", "mv -f", "chmod +x")
// build their command lines with EscapeString and run them with the C library's system();
// ExecuteShell serves callers that want a command's output. LoadLibrary finds a shared
// library the way a user names it ("libz", "libm.so"), down to the loader cache.
// Deliberately not a general shell quoter: only the seven characters of
// kShellSpecialCharacters are escaped; $, `, ;, |, *, ?, tabs and newlines pass as they are.
// Not here: loading plug-ins (bridge/PluginLoader.cpp), which never searches by name.
#ifndef ZYNE_FILES_UNIX_HELPER_H
#define ZYNE_FILES_UNIX_HELPER_H

#include "core/string.h"

namespace UnixHelper {

/// The set every caller in the framework passes to EscapeString: single quote, double
/// quote, backslash, opening and closing parenthesis, ampersand and space.
// Deliberate: exactly these seven; saved command lines and callers rely on the set.
inline constexpr const char kShellSpecialCharacters[] = "'\"\\()& ";

/// `text` in UTF-8 with a backslash before every byte that occurs in `characters`. The
/// result is tagged like the UTF-8 text (ASCII when `text` is empty). A zero byte inside
/// the text ends the result, after its backslash. Never fails.
string EscapeString(const string& text, const string& characters);

/// Runs `command` with "/bin/bash -c" in a child process whose standard output and
/// standard error both go to one pipe, and waits for it. With `captureOutput` non-zero the
/// result is everything the child wrote, as raw bytes (tagged unknown); otherwise the
/// pipe is closed at once (a child that writes meets a broken pipe) and the result is
/// empty. The exit status is not reported: a failed pipe, fork or exec gives an empty or
/// partial result. Blocks until the child exits.
string ExecuteShell(const string& command, unsigned char captureOutput);

/// Loads the shared library `name` with lazy binding, trying in turn: `name` as it is;
/// `name` + ".so" when it holds no ".so"; the targets of the symbolic links starting at
/// `name` (or `name` + ".so"); then every entry of the loader cache whose line contains
/// `name`, by its path and by the links from that path. The cache is the output of
/// "/sbin/ldconfig -p", read once per process on first need (empty when the command could
/// not run) and never again. The first handle wins; the caller dlcloses it. Nil when
/// nothing loads or `name` is empty.
void* LoadLibrary(const string& name);

}  // namespace UnixHelper

#endif  // ZYNE_FILES_UNIX_HELPER_H
