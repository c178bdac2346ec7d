// Runs a fuzz target once on each file of a folder, so that what was found once is tried by every
// build. Exit status 0 when there were files and none of them ended the program.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz_target.hpp"

extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace {

std::vector<std::filesystem::path> files_of(const char* folder) {
    std::vector<std::filesystem::path> files;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        if (entry.is_regular_file()) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

// The bytes have a block of their exact size. False when the file cannot be read.
bool run(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(file), {}};
    bytes.shrink_to_fit();
    if (!file.is_open() || file.bad()) {
        return false;
    }
    std::fprintf(stderr, "%s, %zu bytes\n", path.c_str(), bytes.size());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argc > 0 ? argv[0] : "fuzz_replay");
        return 2;
    }
    if (LLVMFuzzerInitialize != nullptr) {
        LLVMFuzzerInitialize(&argc, &argv);
    }
    const std::vector<std::filesystem::path> files = files_of(argv[1]);
    if (files.empty()) {
        std::fprintf(stderr, "%s: no inputs in it; the replay needs the folder of its target\n",
                     argv[1]);
        return 1;
    }
    for (const std::filesystem::path& path : files) {
        if (!run(path)) {
            std::fprintf(stderr, "%s cannot be read\n", path.c_str());
            return 1;
        }
    }
    std::fprintf(stderr, "%zu inputs replayed\n", files.size());
    return 0;
}
