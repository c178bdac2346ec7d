// The owner's store of saved values, open for the length of the object's life.
#ifndef MOXHOST_OWNER_STORE_HPP
#define MOXHOST_OWNER_STORE_HPP

#include <string>

namespace mox::host {

class Store {
public:
    // What cannot be opened, or was damaged, is told in one line for each directory on the error
    // output; the owner goes on without it, or without what was damaged.
    // state_dir: for what outlives a loss of power.
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
