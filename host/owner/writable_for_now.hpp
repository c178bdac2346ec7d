// An object that the owner itself may write for the length of a scope.
#ifndef MOXHOST_OWNER_WRITABLE_FOR_NOW_HPP
#define MOXHOST_OWNER_WRITABLE_FOR_NOW_HPP

#include <lom.h>

#include <string>

namespace mox::host {

// The owner writes the objects of its modules when one of them asks, or when defaults are restored;
// at other times those are the modules' to write. Only this process is concerned: the other
// processes' records have a mark of their own. For the thread of the main loop only.
class WritableForNow {
public:
    explicit WritableForNow(const std::string& object)
        : handle_(lom_name_to_handle(object.c_str())),
          was_writable_(lom_is_writable(handle_) != FALSE) {
        lom_set_writable(handle_, OBJECT_READ_WRITE);
    }
    ~WritableForNow() {
        if (!was_writable_) {
            lom_set_writable(handle_, OBJECT_READ_ONLY);
        }
    }
    WritableForNow(const WritableForNow&) = delete;
    WritableForNow& operator=(const WritableForNow&) = delete;

    OBJ_HANDLE handle() const { return handle_; }

private:
    OBJ_HANDLE handle_;
    bool was_writable_;
};

}  // namespace mox::host

#endif
