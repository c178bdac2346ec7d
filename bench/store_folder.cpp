// Not in /tmp, which may be memory: a database's commit would then cost nothing.
#include "store_folder.hpp"

#include <stdlib.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace mox::bench {

StoreFolder::StoreFolder() {
    std::error_code failure;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", failure);
    path_ = program.parent_path() / "moxbench-store-XXXXXX";
    if (failure || mkdtemp(path_.data()) == nullptr) {
        std::fprintf(stderr,
                     "moxbench: the folder %s for the databases cannot be made beside the program: "
                     "%s; give this user the right to write there, or room\n",
                     path_.c_str(), failure ? failure.message().c_str() : std::strerror(errno));
        std::exit(1);
    }
}

StoreFolder::~StoreFolder() {
    std::error_code failure;
    std::filesystem::remove_all(path_, failure);
    if (failure) {
        std::fprintf(stderr, "moxbench: the folder %s is left: %s; remove it by hand\n",
                     path_.c_str(), failure.message().c_str());
    }
}

}  // namespace mox::bench
