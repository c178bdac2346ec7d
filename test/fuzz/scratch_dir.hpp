// A directory in memory for a fuzz target's files: synchronising them costs nothing there.
#ifndef MOX_TEST_FUZZ_SCRATCH_DIR_HPP
#define MOX_TEST_FUZZ_SCRATCH_DIR_HPP

#include <cstdlib>
#include <filesystem>
#include <string>

#include "fuzz_target.hpp"

namespace mox::fuzz {

// Removed with everything in it when the program ends in order.
class ScratchDir {
public:
    ScratchDir() {
        std::error_code error;
        const bool has_memory = std::filesystem::is_directory("/dev/shm", error);
        path_ = has_memory ? "/dev/shm/mox-fuzz-XXXXXX" : "/tmp/mox-fuzz-XXXXXX";
        promise(mkdtemp(path_.data()) != nullptr, "the system gives a directory");
    }
    ~ScratchDir() {
        std::error_code error;
        std::filesystem::remove_all(path_, error);
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    std::string path(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

}  // namespace mox::fuzz

#endif
