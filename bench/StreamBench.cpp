// StreamBench.cpp - byte streams: DataFile against plain read/write, FileHandle growth.
//
// Pairs measured in the same run on the same 64 MiB file in a private temporary folder:
// DataFileWrite/<chunk> against PosixWrite/<chunk> and DataFileRead/<chunk> against
// PosixRead/<chunk>, for 1 KiB and 64 KiB chunks (goal: DataFile within 1.3x at 64 KiB).
// Each iteration opens, moves all 64 MiB and closes, so the open, lock and stdio set-up
// are timed too. FileHandleWrite100/<bytes> fills a fresh memory stream 100 bytes at a
// time; 16 MiB against 4 MiB shows whether growth stays linear (goal: within 4.5x).
// Not measured: the disk itself (the file lives in the page cache), scrambling.
#include <fcntl.h>
#include <ftw.h>
#include <stdlib.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "RatioReporter.h"
#include "Suites.h"
#include "core/string.h"
#include "streams/DataFile.h"
#include "streams/FileHandle.h"

namespace {

constexpr long kFileBytes = 64L << 20;

// The folder is made on first use and removed with its contents when the process ends.
class BenchFolder {
public:
    static const std::string& File() {
        static BenchFolder folder;
        return folder.mFile;
    }

private:
    BenchFolder() {
        const char* root = getenv("TMPDIR");
        if (!root || !*root) root = "/tmp";
        std::string pattern = std::string(root) + "/zyne-streambench-XXXXXX";
        if (!mkdtemp(pattern.data())) return;
        mFolder = pattern;
        mFile = mFolder + "/data";
    }
    ~BenchFolder() {
        if (!mFolder.empty()) nftw(mFolder.c_str(), Remove, 8, FTW_DEPTH | FTW_PHYS);
    }
    static int Remove(const char* path, const struct stat*, int, struct FTW*) {
        ::remove(path);
        return 0;
    }
    std::string mFolder;
    std::string mFile;  // empty when the folder could not be made
};

std::vector<char> Chunk(long size) {
    std::vector<char> bytes(static_cast<size_t>(size));
    for (long i = 0; i < size; ++i) bytes[static_cast<size_t>(i)] = static_cast<char>(i * 31);
    return bytes;
}

// Makes sure the file holds kFileBytes bytes for the read benchmarks.
bool PrepareFile(const std::string& path) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd < 0) return false;
    const std::vector<char> bytes = Chunk(1 << 20);
    bool ok = true;
    for (long done = 0; ok && done < kFileBytes; done += 1 << 20) {
        ok = write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    }
    return close(fd) == 0 && ok;
}

void DataFileWrite(benchmark::State& state) {
    const std::string& path = BenchFolder::File();
    const long chunk = state.range(0);
    const std::vector<char> bytes = Chunk(chunk);
    const string name(path.c_str());
    for (auto _ : state) {
        long error = 0;
        DataFile* file = DataFile::CreateFromPath(name, &error);
        if (!file) {
            state.SkipWithError("CreateFromPath failed");
            return;
        }
        for (long done = 0; done < kFileBytes; done += chunk) {
            if (!file->WriteData(bytes.data(), static_cast<unsigned>(chunk))) {
                state.SkipWithError("WriteData failed");
                break;
            }
        }
        file->Close();
        delete file;
    }
    state.SetBytesProcessed(state.iterations() * kFileBytes);
}

void PosixWrite(benchmark::State& state) {
    const std::string& path = BenchFolder::File();
    const long chunk = state.range(0);
    const std::vector<char> bytes = Chunk(chunk);
    for (auto _ : state) {
        const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
        if (fd < 0) {
            state.SkipWithError("open failed");
            return;
        }
        for (long done = 0; done < kFileBytes; done += chunk) {
            if (write(fd, bytes.data(), static_cast<size_t>(chunk)) != chunk) {
                state.SkipWithError("write failed");
                break;
            }
        }
        close(fd);
    }
    state.SetBytesProcessed(state.iterations() * kFileBytes);
}

void DataFileRead(benchmark::State& state) {
    const std::string& path = BenchFolder::File();
    if (path.empty() || !PrepareFile(path)) {
        state.SkipWithError("no file to read");
        return;
    }
    const long chunk = state.range(0);
    std::vector<char> bytes(static_cast<size_t>(chunk));
    const string name(path.c_str());
    for (auto _ : state) {
        long error = 0;
        DataFile* file = DataFile::OpenFromPath(name, kDataFileReadOnly, &error);
        if (!file) {
            state.SkipWithError("OpenFromPath failed");
            return;
        }
        long total = 0;
        int got = 0;
        while (file->ReadData(bytes.data(), static_cast<unsigned>(chunk), &got)) total += got;
        benchmark::DoNotOptimize(total);
        if (total != kFileBytes) state.SkipWithError("short file");
        delete file;
    }
    state.SetBytesProcessed(state.iterations() * kFileBytes);
}

void PosixRead(benchmark::State& state) {
    const std::string& path = BenchFolder::File();
    if (path.empty() || !PrepareFile(path)) {
        state.SkipWithError("no file to read");
        return;
    }
    const long chunk = state.range(0);
    std::vector<char> bytes(static_cast<size_t>(chunk));
    for (auto _ : state) {
        const int fd = open(path.c_str(), O_RDONLY);
        if (fd < 0) {
            state.SkipWithError("open failed");
            return;
        }
        long total = 0;
        ssize_t got = 0;
        while ((got = read(fd, bytes.data(), static_cast<size_t>(chunk))) > 0) total += got;
        benchmark::DoNotOptimize(total);
        if (total != kFileBytes) state.SkipWithError("short file");
        close(fd);
    }
    state.SetBytesProcessed(state.iterations() * kFileBytes);
}

void FileHandleWrite100(benchmark::State& state) {
    const long total = state.range(0);
    const std::vector<char> bytes = Chunk(100);
    for (auto _ : state) {
        FileHandle stream;
        for (long done = 0; done < total; done += 100) {
            if (!stream.WriteData(bytes.data(), 100)) {
                state.SkipWithError("WriteData failed");
                break;
            }
        }
        benchmark::DoNotOptimize(stream.GetLength());
    }
    state.SetBytesProcessed(state.iterations() * total);
}

}  // namespace

// Write pairs first, then read pairs, each subject next to its reference.
bool RegisterStreamBenchmarks(RatioReporter& reporter) {
    for (auto* b : {benchmark::RegisterBenchmark("DataFileWrite", DataFileWrite),
                    benchmark::RegisterBenchmark("PosixWrite", PosixWrite),
                    benchmark::RegisterBenchmark("DataFileRead", DataFileRead),
                    benchmark::RegisterBenchmark("PosixRead", PosixRead)}) {
        b->Arg(1024)->Arg(65536)->Unit(benchmark::kMillisecond);
    }
    benchmark::RegisterBenchmark("FileHandleWrite100", FileHandleWrite100)
        ->Arg(4L << 20)
        ->Arg(16L << 20)
        ->Unit(benchmark::kMillisecond);
    reporter.AddRatio("DataFile/plain write (64 MiB in 64 KiB chunks)", "DataFileWrite/65536",
                      "PosixWrite/65536", 1.3);
    reporter.AddRatio("DataFile/plain read (64 MiB in 64 KiB chunks)", "DataFileRead/65536",
                      "PosixRead/65536", 1.3);
    reporter.AddRatio("DataFile/plain write (64 MiB in 1 KiB chunks)", "DataFileWrite/1024",
                      "PosixWrite/1024", 0.0);
    reporter.AddRatio("DataFile/plain read (64 MiB in 1 KiB chunks)", "DataFileRead/1024",
                      "PosixRead/1024", 0.0);
    reporter.AddRatio("FileHandle 100-byte writes, 16 MiB/4 MiB", "FileHandleWrite100/16777216",
                      "FileHandleWrite100/4194304", 4.5);
    return true;

}

