// main.cpp - zqx, the container tool: command-line parsing and dispatch.
//
// One subcommand per job (create, list, extract, plugin, check, add, rm, mkdir), each with
// its own --help. Exit status: 0 success, 1 damaged or unreadable container (or anything
// skipped, or standard output could not be written), 2 bad usage. Parsing is CLI11's; the
// work is in Commands.h.
// Not here: any container access.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstring>

#include "Commands.h"

namespace {

// `status`, or a failure when what went to standard output could not all be written.
int Finished(int status) {
    int failed = 0;
    if (fflush(stdout) != 0) failed = errno;
    if (ferror(stdout) && failed == 0) failed = EIO;
    if (failed == 0) return status;
    zqx::Error("standard output", strerror(failed));
    return std::max(status, zqx::kExitFailed);
}

int Run(int argc, char** argv) {
    using namespace zqx;
    CLI::App app{
        "zqx - create, list, extract and check .zqx plug-in containers.\n"
        "Exit status: 0 success, 1 damaged or unreadable container or members "
        "skipped, 2 bad usage.",
        "zqx"};
    app.require_subcommand(1);
    app.set_help_all_flag("--help-all", "Show the help of every command");

    CreateOptions create;
    auto* c = app.add_subcommand("create", "Create a container from files and folders");
    c->add_option("OUT", create.output, "Container to write ('-' = standard output)")->required();
    c->add_option("PATH", create.paths, "Files and folders to store, by their own names")
        ->required();
    c->add_option("--type", create.type, "Four-character file type for files")
        ->capture_default_str();
    c->add_option("--mtime", create.mtime,
                  "Fix every date: seconds since 1970-01-01 UTC or YYYY-MM-DD[THH:MM:SS] "
                  "(default: SOURCE_DATE_EPOCH if set, else each file's own)");
    c->add_flag("-v,--verbose", create.msg.verbose, "Name each member as it is stored");

    ListOptions list;
    auto* l = app.add_subcommand("list", "List the members of a container");
    l->add_option("FILE", list.container, "Container ('-' = standard input)")->required();
    l->add_option("PATH", list.path, "List only this member (and what it holds)");
    l->add_flag("-l,--long", list.longFormat, "Show type, size and dates");
    l->add_flag("--json", list.json, "Machine-readable output");
    l->add_flag("-v,--verbose", list.msg.verbose, "Same as the plain listing");

    ExtractOptions extract;
    auto* x = app.add_subcommand("extract", "Extract members safely into a folder");
    x->add_option("FILE", extract.container, "Container ('-' = standard input)")->required();
    x->add_option("PATH", extract.paths, "Members to extract (default: all)");
    x->add_option("-C,--directory", extract.directory, "Folder to extract into")
        ->capture_default_str();
    x->add_flag("--overwrite", extract.overwrite, "Replace existing files");
    x->add_flag("-O,--to-stdout", extract.toStdout, "Write one file member to standard output");
    x->add_flag("-v,--verbose", extract.msg.verbose, "Name each member as it is written");

    PluginOptions plugin;
    auto* p = app.add_subcommand("plugin", "Build a plug-in container in the loader's layout");
    p->add_option("OUT", plugin.output, "Container to write ('-' = standard output)")->required();
    p->add_option("--name", plugin.name, "Plug-in family: the top-level folder")->required();
    p->add_option("--linux", plugin.linuxLibs, "Linux libraries (\"Linux X86\"), in plug-in order")
        ->required()
        ->expected(1, -1);
    p->add_option("--windows", plugin.windowsLibs, "Libraries for \"Windows\"")->expected(1, -1);
    p->add_option("--mac-carbon", plugin.carbonLibs, "Libraries for \"Mac Carbon\"")
        ->expected(1, -1);
    p->add_option("--macho", plugin.machoLibs, "Libraries for \"Mac Carbon Mach-O\"")
        ->expected(1, -1);
    p->add_option("--cocoa", plugin.cocoaLibs, "Libraries for \"Mac Cocoa\"")->expected(1, -1);
    p->add_option("--help-dir", plugin.helpDir, "Folder copied into \"IDE Resources/Help\"");
    p->add_option("--icons", plugin.iconsDir,
                  "Folder copied into \"IDE Resources/Controls Palette\"");
    p->add_option("--type", plugin.type, "Four-character file type for files")
        ->capture_default_str();
    p->add_option("--mtime", plugin.mtime, "Fix every date (as for create)");
    p->add_flag("-v,--verbose", plugin.msg.verbose, "Name each member as it is stored");

    CheckOptions check;
    auto* k = app.add_subcommand("check", "Verify a container's structure, both layers");
    k->add_option("FILE", check.container, "Container ('-' = standard input)")->required();
    k->add_flag("--json", check.json, "Machine-readable report");
    k->add_flag("-v,--verbose", check.msg.verbose, "Also print notes that are not damage");

    EditOptions add;
    auto* a = app.add_subcommand("add", "Add a file or folder to a container");
    a->add_option("FILE", add.container, "Container to change")->required();
    a->add_option("SRC", add.source, "File or folder on disk")->required();
    a->add_option("DEST", add.path,
                  "Existing folder to put SRC in, or the new member's path (default: top level)");
    a->add_option("--type", add.type, "Four-character file type for files")->capture_default_str();
    a->add_option("--mtime", add.mtime, "Fix every date (as for create)");
    a->add_flag("-v,--verbose", add.msg.verbose, "Name each member as it is stored");

    EditOptions rm;
    auto* r = app.add_subcommand("rm", "Remove a member (a folder with all it holds)");
    r->add_option("FILE", rm.container, "Container to change")->required();
    r->add_option("PATH", rm.path, "Member to remove")->required();
    r->add_flag("-v,--verbose", rm.msg.verbose, "Name each member as it is removed");

    EditOptions mkdir;
    auto* m = app.add_subcommand("mkdir", "Make a folder in a container");
    m->add_option("FILE", mkdir.container, "Container to change")->required();
    m->add_option("PATH", mkdir.path, "Folder to make")->required();
    m->add_flag("-p,--parents", mkdir.parents, "Make missing parents; no error if it exists");
    m->add_option("--mtime", mkdir.mtime, "Fix the dates (as for create)");
    m->add_flag("-v,--verbose", mkdir.msg.verbose, "Name each folder as it is made");

    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForAllHelp& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        app.exit(e);
        return kExitUsage;
    }
    create.msg.dataOnStdout = create.output == "-";
    plugin.msg.dataOnStdout = plugin.output == "-";
    list.msg.dataOnStdout = list.json;
    check.msg.dataOnStdout = check.json;
    extract.msg.dataOnStdout = extract.toStdout;

    if (c->parsed()) return RunCreate(create);
    if (l->parsed()) return RunList(list);
    if (x->parsed()) return RunExtract(extract);
    if (p->parsed()) return RunPlugin(plugin);
    if (k->parsed()) return RunCheck(check);
    if (a->parsed()) return RunAdd(add);
    if (r->parsed()) return RunRemove(rm);
    if (m->parsed()) return RunMkdir(mkdir);
    return kExitUsage;
}

}  // namespace

int main(int argc, char** argv) {
    return Finished(Run(argc, argv));
}
