// UnixHelper.h - talking to the POSIX shell: quoting text, running a command line.
//
// File operations that the framework hands to standard tools ("cp", "mv -f", "chmod +x")
// build their command lines with EscapeString and run them with the C library's system();
// ExecuteShell serves callers that want a command's output.
// Deliberately not a general shell quoter: only the seven characters of
// kShellSpecialCharacters are escaped; $, `, ;, |, *, ?, tabs and newlines pass as they are.
// Not here: loading shared libraries (the plug-in loader's business).
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

}  // namespace UnixHelper

#endif  // ZYNE_FILES_UNIX_HELPER_H
