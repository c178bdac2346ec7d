// The owner's store of saved values, open for the length of the object's life.
#ifndef MOXHOST_OWNER_STORE_HPP
#define MOXHOST_OWNER_STORE_HPP

#include <string>

namespace mox::host {

// The directory for what outlives a loss of power: the one that was asked for, or without one
// $MOX_STATE_DIR, $XDG_STATE_HOME/moxd, /var/lib/moxd as root, ~/.local/state/moxd: the first that
// is set. wanted: nullable.
std::string state_directory(const char* wanted);

class Store {
public:
    // What cannot be opened, or was damaged, is told in one line for each directory on the error
    // output; the owner goes on without it, or without what was damaged.
    Store(const std::string& state_dir, const std::string& volatile_dir);
    ~Store();
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    // Whether there is a store, if only for some of the modes.
    bool is_open() const { return is_open_; }

private:
    bool is_open_ = false;
};

}  // namespace mox::host

#endif
