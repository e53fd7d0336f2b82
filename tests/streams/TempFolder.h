// TempFolder.h - a private temporary folder for one test, removed with everything in it.
//
// Removal walks the folder with readdir64 and never stats an entry, so files past 2 GiB
// go too on 32-bit x86 (nftw's stat would fail there with EOVERFLOW).
#ifndef ZYNE_TESTS_STREAMS_TEMP_FOLDER_H
#define ZYNE_TESTS_STREAMS_TEMP_FOLDER_H

#include <dirent.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>

class TempFolder {
public:
    /// A new folder under `root`, or under $TMPDIR (else /tmp) when root is null. Path()
    /// is empty when it could not be made.
    explicit TempFolder(const char* root = nullptr) {
        if (!root) root = getenv("TMPDIR");
        if (!root || !*root) root = "/tmp";
        std::string pattern = std::string(root) + "/zyne-streams-XXXXXX";
        if (mkdtemp(pattern.data())) mPath = pattern;
    }
    ~TempFolder() {
        if (!mPath.empty()) RemoveTree(mPath);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::string& Path() const { return mPath; }
    std::string File(const char* name) const { return mPath + "/" + name; }

private:
    static void RemoveTree(const std::string& path) {
        if (unlink(path.c_str()) == 0 || (errno != EISDIR && errno != EPERM)) return;
        if (DIR* dir = opendir(path.c_str())) {
            while (const struct dirent64* entry = readdir64(dir)) {
                if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0) continue;
                RemoveTree(path + "/" + entry->d_name);
            }
            closedir(dir);
        }
        rmdir(path.c_str());
    }
    std::string mPath;
};

#endif  // ZYNE_TESTS_STREAMS_TEMP_FOLDER_H
