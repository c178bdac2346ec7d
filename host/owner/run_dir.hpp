// The owner's hold on its run directory.
#ifndef MOXHOST_OWNER_RUN_DIR_HPP
#define MOXHOST_OWNER_RUN_DIR_HPP

#include <optional>
#include <string>

#include "owner/owner_group.hpp"

namespace mox::host {

// Made by the constructor when it is missing (mode 0700; 0710 with a group, which one that is there
// already is given together with the right to pass), and locked against a second owner; the
// destructor removes the lock's file, and the directory when this process made it and it is empty.
class RunDir {
public:
    // Throws a StartError for a directory that is not this user's alone to write, or that another
    // owner holds.
    RunDir(std::string path, const std::optional<OwnerGroup>& group);
    ~RunDir();
    RunDir(const RunDir&) = delete;
    RunDir& operator=(const RunDir&) = delete;

    const std::string& path() const { return path_; }

private:
    void make();
    void check() const;
    void let_pass(const OwnerGroup& group) const;
    void lock();

    std::string path_;
    std::string lock_path_;
    bool is_made_here_ = false;
    int lock_ = -1;
};

}  // namespace mox::host

#endif
