// ContainerLayout.cpp - what a .zqx container's "Build Resources" folders hold, read from
// the file with the library's volume classes.
//
// The loader makes one definition per library and says nothing about a target folder that
// holds none; a host would then quietly miss that target. This reads the container the
// way the loader lays it out (family folders at the top, "Build Resources" inside, one
// folder per target) and counts the files in each target folder, for the checks. The file
// is opened read-only; the walk is bounded in breadth and never follows an item twice.
// Not here: loading anything, the volume's own structural checks (zqx check).
#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <string>

#include "Inspect.h"
#include "encodings/Encodings.h"
#include "streams/DataFile.h"
#include "virtualvolume/VHFSVolume.h"

namespace inspect {

namespace {

constexpr long kMaxChildren = 4096;

std::string Text(const string& s) {
    return std::string(s.CString(), s.Length());
}

bool EndsWithZqx(const std::string& path) {
    if (path.size() < 4) return false;
    return strcasecmp(path.c_str() + path.size() - 4, ".zqx") == 0;
}

}  // namespace

void AddContainerLayout(const std::string& pluginPath, Json& report) {
    const int fd = open(pluginPath.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return;
    char magic[4] = {};
    const bool elf = pread(fd, magic, 4, 0) == 4 && std::memcmp(magic,
                                                                "\x7f"
                                                                "ELF",
                                                                4) == 0;
    if (elf || !EndsWithZqx(pluginPath)) {
        close(fd);
        return;
    }
    long failed = 0;
    // The DataFile adopts the descriptor; read-only, so a volume that wants to save a
    // repaired block map fails to write and the file stays as it is.
    std::unique_ptr<DataFile> file(
        DataFile::OpenFromHandle(static_cast<unsigned long>(fd), kFileHandleDescriptor, &failed));
    if (!file) {
        close(fd);
        report["container_error"] =
            std::string("cannot read: ") + std::strerror(static_cast<int>(failed));
        return;
    }
    // As the loader reads containers: big-endian, doubles too.
    file->SetBigEndian();
    file->SetSwapDoubles(true);
    Json families = Json::array();
    {
        VHFSVolume volume(file.get(), 0);
        VFileRef root = volume.IsValid() ? volume.GetRoot() : VFileRef{};
        if (root.type != kDirectoryFileType) {
            report["container_error"] = "damaged container: no readable root folder";
            return;
        }
        VFileRefList tops;
        if (!volume.GetChildren(root, tops)) {
            report["container_error"] = "damaged container: the root folder cannot be listed";
            return;
        }
        for (long i = 0; i < tops.Count() && i < kMaxChildren; ++i) {
            if (tops[i].type != kDirectoryFileType) continue;
            Json family;
            family["name"] = Text(tops[i].name);
            Json targets = Json::array();
            VFileRefList inside;
            if (volume.GetChildren(tops[i], inside)) {
                for (long k = 0; k < inside.Count() && k < kMaxChildren; ++k) {
                    if (inside[k].type != kDirectoryFileType ||
                        strcasecmp(Text(inside[k].name).c_str(), "Build Resources") != 0)
                        continue;
                    VFileRefList folders;
                    if (!volume.GetChildren(inside[k], folders)) continue;
                    for (long t = 0; t < folders.Count() && t < kMaxChildren; ++t) {
                        if (folders[t].type != kDirectoryFileType) continue;
                        VFileRefList files;
                        long libraries = 0;
                        if (volume.GetChildren(folders[t], files)) {
                            for (long f = 0; f < files.Count() && f < kMaxChildren; ++f)
                                if (files[f].type != kDirectoryFileType) ++libraries;
                        }
                        targets.push_back(
                            Json{{"name", Text(folders[t].name)}, {"files", libraries}});
                    }
                }
            }
            family["targets"] = targets;
            families.push_back(family);
        }
    }
    report["container"] = Json{{"families", families}};
}

}  // namespace inspect
