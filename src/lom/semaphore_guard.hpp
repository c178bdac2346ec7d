// The object's process-shared semaphore for the length of a scope. It guards
// value bytes, state bits and bound data: it is never held across an event, a hook, a driver call
// or the drop of a reference.
#ifndef MOX_LOM_SEMAPHORE_GUARD_HPP
#define MOX_LOM_SEMAPHORE_GUARD_HPP

#include <lom/object.h>
#include <moxplat/osal.h>

namespace mox {

class SemaphoreGuard {
public:
    // Takes the semaphore that the record names now, and will release that one whatever the record
    // names then.
    explicit SemaphoreGuard(const OBJECT_HEAD_S& object)
        : semid_(object.semid),
          member_(object.sem_member),
          code_(osal_process_sem_p(semid_, member_)) {}
    ~SemaphoreGuard() {
        if (code_ == 0) {
            osal_process_sem_v(semid_, member_);
        }
    }
    // True when this thread had taken it before, so that the bytes are its own all the same.
    bool is_held_already() const { return code_ == OSAL_ERR_HELD; }
    explicit operator bool() const { return code_ == 0; }
    SemaphoreGuard(const SemaphoreGuard&) = delete;
    SemaphoreGuard& operator=(const SemaphoreGuard&) = delete;

private:
    gint32 semid_;
    gint32 member_;
    gint32 code_;
};

}  // namespace mox

#endif
