// The part of taking a semaphore that its owner needs too: what to do when the mutex was not got
// plainly.
#ifndef MOXPLAT_LINUX_OSAL_SEMAPHORE_HPP
#define MOXPLAT_LINUX_OSAL_SEMAPHORE_HPP

#include "sem_set.hpp"

namespace mox::osal {

// Turns the result of a failed lock into a code of the layer; after a dead holder the mutex is made
// whole, its death is logged, and OSAL_OK says that the caller holds it now.
gint32 settle_failed_lock(int error, gint32 semid, gint32 member, Slot* slot);

}  // namespace mox::osal

#endif
