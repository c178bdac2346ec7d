// A folder for databases, beside the program: the figures are those of that file system.
#ifndef MOX_BENCH_STORE_FOLDER_HPP
#define MOX_BENCH_STORE_FOLDER_HPP

#include <string>

namespace mox::bench {

// Made at construction, removed with the files in it at destruction.
class StoreFolder {
public:
    // Ends the process with a message when the folder cannot be made.
    StoreFolder();
    ~StoreFolder();
    StoreFolder(const StoreFolder&) = delete;
    StoreFolder& operator=(const StoreFolder&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

}  // namespace mox::bench

#endif
