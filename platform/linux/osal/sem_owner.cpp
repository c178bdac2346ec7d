// Handing out semaphores: slots of this process's sets, given-back ones first, oldest first.
//
// What holds: which slots are handed out is known to the owner alone; sem_index = set number *
// slots_per_set + slot. A slot whose mutex somebody still holds is passed over until its release.
#include "sem_owner.hpp"

#include "process_identity.hpp"
#include "sem_table.hpp"
#include "semaphore.hpp"

#include <moxplat/osal.h>
#include <sys/shm.h>
#include <unistd.h>
#include <cerrno>
#include <new>

namespace mox::osal {

namespace {

// Given-back slots looked at before a fresh one is taken: enough to pass a few that are still held.
constexpr int freed_looks = 8;

bool init_mutexes(SemSet* set) {
    pthread_mutexattr_t attributes;
    if (pthread_mutexattr_init(&attributes) != 0) return false;
    bool good = pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED) == 0 &&
                pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST) == 0 &&
                pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK) == 0;
    for (Slot& slot : set->slots) good = good && pthread_mutex_init(&slot.mutex, &attributes) == 0;
    pthread_mutexattr_destroy(&attributes);
    return good;
}

// The segment behind the first free key of the layer's range, or -1 with errno set.
int new_segment(int mode) {
    for (key_t key = first_set_key; key < first_set_key + set_keys; ++key) {
        const int id = shmget(key, sizeof(SemSet), IPC_CREAT | IPC_EXCL | mode);
        if (id >= 0 || errno != EEXIST) return id;
    }
    errno = ENOSPC;
    return -1;
}

gint32 system_limit_code(int error) {
    return error == ENOSPC || error == ENOMEM || error == EMFILE ? OSAL_ERR_LIMIT : OSAL_ERR_SYSTEM;
}

bool fill_set(SemSet* set) {
    const guint64 start = process_start_time(getpid());
    set->head.word_size = sizeof(void*);
    set->head.owner_pid = getpid();
    set->head.owner_start_low = static_cast<guint32>(start);
    set->head.owner_start_high = static_cast<guint32>(start >> 32);
    if (!init_mutexes(set)) return false;
    set->head.magic.store(set_magic, std::memory_order_release);
    return true;
}

// True when nobody holds the slot; a holder that died is settled on the way.
bool is_unheld(const OwnedSet& owned, gint32 member) {
    Slot* const slot = &owned.set->slots[member];
    const int error = pthread_mutex_trylock(&slot->mutex);
    if (error == EBUSY ||
        (error != 0 && settle_failed_lock(error, owned.semid, member, slot) != OSAL_OK))
        return false;
    slot->holder.store(0, std::memory_order_relaxed);
    pthread_mutex_unlock(&slot->mutex);
    return true;
}

gint32 hand_out(LayerState& state, gint32 index) {
    OwnedSet& owned = state.sets[static_cast<gsize>(index / slots_per_set)];
    owned.in_use[static_cast<gsize>(index % slots_per_set)] = true;
    return index;
}

// The sem_index of a slot that is now handed out, or a negative code.
gint32 next_slot(LayerState& state) {
    const int looks = static_cast<int>(MIN(state.freed.size(), static_cast<gsize>(freed_looks)));
    for (int look = 0; look < looks; ++look) {
        const gint32 index = state.freed.front();
        state.freed.pop_front();
        if (is_unheld(state.sets[static_cast<gsize>(index / slots_per_set)], index % slots_per_set))
            return hand_out(state, index);
        state.freed.push_back(index);
    }
    if (state.sets.empty() || state.sets.back().fresh == slots_per_set) {
        const gint32 result = add_owned_set(state);
        if (result != OSAL_OK) return result;
    }
    const gint32 number = static_cast<gint32>(state.sets.size()) - 1;
    return hand_out(state, number * slots_per_set + state.sets.back().fresh++);
}

}  // namespace

gint32 add_owned_set(LayerState& state) {
    const int id = new_segment(state.mode);
    if (id < 0) {
        const int error = errno;
        g_warning("no semaphore set made (%u exist here): %s; see kernel.shmmni and kernel.shmall",
                  static_cast<guint>(state.sets.size()), g_strerror(error));
        return system_limit_code(error);
    }
    void* const mapped = shmat(id, nullptr, 0);
    const bool attached = reinterpret_cast<gintptr>(mapped) != -1;
    const int error = attached ? 0 : errno;
    SemSet* const set = attached ? new (mapped) SemSet{} : nullptr;
    if (!attached || !fill_set(set) || !publish_set(id, set)) {
        if (attached) shmdt(mapped);
        shmctl(id, IPC_RMID, nullptr);
        g_warning("semaphore set %d made but not usable here: %s", id,
                  attached ? "too many sets in this process" : g_strerror(error));
        return OSAL_ERR_LIMIT;
    }
    state.sets.push_back({id, set, std::vector<bool>(slots_per_set), 0});
    return OSAL_OK;
}

bool remove_owned_set(const OwnedSet& owned) {
    owned.set->head.closed.store(1, std::memory_order_release);
    if (shmctl(owned.semid, IPC_RMID, nullptr) == 0 || errno == EINVAL || errno == EIDRM)
        return true;
    g_warning("semaphore set %d cannot be removed: %s", owned.semid, g_strerror(errno));
    return false;
}

}  // namespace mox::osal

using namespace mox::osal;

void osal_process_share_with_group(gboolean is_shared) {
    LayerState& state = layer_state();
    const std::lock_guard lock{state.mutex};
    state.mode = is_shared != FALSE ? 0660 : 0600;
}

void osal_process_sem_create(gint32* sem_index, gint32* semid, gint32* sem_member) {
    g_return_if_fail(sem_index != nullptr && semid != nullptr && sem_member != nullptr);
    LayerState& state = layer_state();
    const std::lock_guard lock{state.mutex};
    const gint32 index = next_slot(state);
    if (index < 0) {
        *sem_index = *semid = *sem_member = -1;
        return;
    }
    *sem_index = index;
    *semid = state.sets[static_cast<gsize>(index / slots_per_set)].semid;
    *sem_member = index % slots_per_set;
}

void osal_process_sem_free(gint32 sem_index, gint32 sem_member) {
    if (sem_index == -1 && sem_member == -1) return;
    LayerState& state = layer_state();
    const std::lock_guard lock{state.mutex};
    const auto number = static_cast<gsize>(sem_index / slots_per_set);
    const bool ours = sem_index >= 0 && number < state.sets.size() &&
                      sem_index % slots_per_set == sem_member &&
                      state.sets[number].in_use[static_cast<gsize>(sem_member)];
    if (!ours) {
        g_warning(
            "semaphore index %d member %d is not one that this process made and still uses: not "
            "freed",
            sem_index, sem_member);
        return;
    }
    state.sets[number].in_use[static_cast<gsize>(sem_member)] = false;
    state.freed.push_back(sem_index);
}
