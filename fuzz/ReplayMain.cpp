// ReplayMain.cpp - runs a fuzz target over saved inputs where libFuzzer is not linked.
//
// Each argument is a file, run as one input, or a folder, whose regular files are run in
// name order (names starting with "." are skipped, so an empty folder can be kept with a
// ".keep" file). A path that does not exist is an error: a misspelt folder must not pass
// as an empty one. Prints how many inputs ran. A crash or a sanitizer report ends the
// process as it would end the fuzzer.
// Not here: mutation, coverage or any of libFuzzer's options.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace {

bool RunFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "replay: cannot read %s\n", path.c_str());
        return false;
    }
    const std::vector<char> bytes{std::istreambuf_iterator<char>(in),
                                  std::istreambuf_iterator<char>()};
    // A copy in a buffer of exactly the input's size, so that reading one byte past the
    // end is caught by the sanitizers as it is under libFuzzer.
    std::vector<uint8_t> input(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(input.empty() ? nullptr : input.data(), input.size());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (LLVMFuzzerInitialize) LLVMFuzzerInitialize(&argc, &argv);
    namespace fs = std::filesystem;
    size_t ran = 0;
    bool ok = true;
    for (int i = 1; i < argc; ++i) {
        const fs::path path(argv[i]);
        std::error_code error;
        if (fs::is_directory(path, error)) {
            std::vector<fs::path> files;
            for (const auto& entry : fs::directory_iterator(path, error)) {
                if (!entry.is_regular_file()) continue;
                if (entry.path().filename().string().starts_with(".")) continue;
                files.push_back(entry.path());
            }
            std::sort(files.begin(), files.end());
            for (const auto& file : files) {
                ok = RunFile(file) && ok;
                ++ran;
            }
        } else if (fs::is_regular_file(path, error)) {
            ok = RunFile(path) && ok;
            ++ran;
        } else {
            std::fprintf(stderr, "replay: no such file or folder: %s\n", argv[i]);
            ok = false;
        }
    }
    std::printf("replay: %zu inputs ran\n", ran);
    return ok ? 0 : 1;
}
