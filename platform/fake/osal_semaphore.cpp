// Fake semaphores: a holder per (set, member), under one mutex and one condition for all.
#include "osal_state.hpp"

#include <unistd.h>

#include <algorithm>

namespace mox::fake::osal {

namespace {

// Set ids begin well above 0, so that a test that mixes up ids and indexes sees it.
constexpr gint32 first_semid = 7001;

// The semaphore, or null when its set was never made; the mutex is held.
SemState* find(State& s, gint32 semid, gint32 member) {
    const auto at = s.semaphores.find({semid, member});
    return at == s.semaphores.end() ? nullptr : &at->second;
}

Semaphore make(State& s) {
    if (s.create_plan.next() != OSAL_OK) return {};
    const gint32 index = s.next_index++;
    const Semaphore made{index, first_semid + index / semaphores_per_set,
                         index % semaphores_per_set};
    for (gint32 member = 0; member < semaphores_per_set; ++member)
        s.semaphores.try_emplace({made.semid, member});
    s.in_use.insert(index);
    return made;
}

OSAL_SEM_STATE_S how_it_stands(const SemState& semaphore) {
    OSAL_SEM_STATE_S result = {};
    result.holder = semaphore.holder_thread;
    for (const gint32 thread : semaphore.waiters) {
        if (result.waiter_count == OSAL_SEM_WAITERS) break;
        result.waiters[result.waiter_count++] = thread;
    }
    return result;
}

template <typename Value>
gsize sum(Value SemState::*value) {
    const std::lock_guard lock{state().mutex};
    gsize total = 0;
    for (const auto& [key, semaphore] : state().semaphores) total += semaphore.*value;
    return total;
}

template <typename Value>
gsize one(Value SemState::*value, gint32 semid, gint32 member) {
    const std::lock_guard lock{state().mutex};
    const SemState* const semaphore = find(state(), semid, member);
    return semaphore == nullptr ? 0 : semaphore->*value;
}

}  // namespace

gsize count_held_by_this_thread(const State& s) {
    const auto mine = [](const auto& entry) {
        return entry.second.holder == std::this_thread::get_id();
    };
    return static_cast<gsize>(std::count_if(s.semaphores.begin(), s.semaphores.end(), mine));
}

std::vector<Semaphore> created() {
    const std::lock_guard lock{state().mutex};
    return state().created;
}

std::vector<Semaphore> freed() {
    const std::lock_guard lock{state().mutex};
    return state().freed;
}

gsize bad_sem_frees() {
    const std::lock_guard lock{state().mutex};
    return state().bad_sem_frees;
}

void fail_create(guint n) {
    const std::lock_guard lock{state().mutex};
    state().create_plan = {n, OSAL_ERR_LIMIT};
}

void fail_creates_from(guint n) {
    const std::lock_guard lock{state().mutex};
    state().create_plan = {n, OSAL_ERR_LIMIT, true};
}

gsize takes() {
    return sum(&SemState::takes);
}

gsize takes(gint32 semid, gint32 member) {
    return one(&SemState::takes, semid, member);
}

gsize releases() {
    return sum(&SemState::releases);
}

gsize releases(gint32 semid, gint32 member) {
    return one(&SemState::releases, semid, member);
}

bool is_held(gint32 semid, gint32 member) {
    const std::lock_guard lock{state().mutex};
    const SemState* const semaphore = find(state(), semid, member);
    return semaphore != nullptr && semaphore->holder != std::thread::id{};
}

gsize held() {
    const std::lock_guard lock{state().mutex};
    const auto taken = [](const auto& entry) { return entry.second.holder != std::thread::id{}; };
    const auto& all = state().semaphores;
    return static_cast<gsize>(std::count_if(all.begin(), all.end(), taken));
}

gsize held_by_this_thread() {
    const std::lock_guard lock{state().mutex};
    return count_held_by_this_thread(state());
}

void fail_take(guint n, gint32 code) {
    const std::lock_guard lock{state().mutex};
    state().take_plan = {n, code};
}

void fail_takes_from(guint n, gint32 code) {
    const std::lock_guard lock{state().mutex};
    state().take_plan = {n, code, true};
}

void fail_takes_of(gint32 semid, gint32 member, gint32 code) {
    const std::lock_guard lock{state().mutex};
    state().semaphores[{semid, member}].take_code = code;
}

}  // namespace mox::fake::osal

using namespace mox::fake::osal;

gint32 osal_process_sem_p(gint32 semid, gint32 member) {
    State& s = state();
    std::unique_lock lock{s.mutex};
    SemState* semaphore = find(s, semid, member);
    if (const gint32 planned = s.take_plan.next(); planned != OSAL_OK) return planned;
    if (semaphore == nullptr) return OSAL_ERR_BAD_ID;
    if (semaphore->take_code != OSAL_OK) return semaphore->take_code;
    const auto self = std::this_thread::get_id();
    if (semaphore->holder == self) return OSAL_ERR_HELD;
    const gint32 thread = gettid();
    semaphore->waiters.push_back(thread);
    // Looked up again after each wait: the semaphore may be gone by then.
    s.changed.wait(lock, [&] {
        semaphore = find(s, semid, member);
        return semaphore == nullptr || semaphore->holder == std::thread::id{};
    });
    if (semaphore == nullptr) return OSAL_ERR_BAD_ID;
    auto& waiters = semaphore->waiters;
    waiters.erase(std::find(waiters.begin(), waiters.end(), thread));
    semaphore->holder = self;
    semaphore->holder_thread = thread;
    ++semaphore->takes;
    return OSAL_OK;
}

gint32 osal_process_sem_v(gint32 semid, gint32 member) {
    State& s = state();
    const std::lock_guard lock{s.mutex};
    SemState* const semaphore = find(s, semid, member);
    if (semaphore == nullptr) return OSAL_ERR_BAD_ID;
    if (semaphore->holder != std::this_thread::get_id()) return OSAL_ERR_NOT_HELD;
    semaphore->holder = {};
    semaphore->holder_thread = 0;
    ++semaphore->releases;
    s.changed.notify_all();
    return OSAL_OK;
}

gint32 osal_process_sem_state(gint32 semid, gint32 member, OSAL_SEM_STATE_S* result) {
    if (result == nullptr) return OSAL_ERR_ARGUMENT;
    State& s = state();
    const std::lock_guard lock{s.mutex};
    const SemState* const semaphore = find(s, semid, member);
    if (semaphore == nullptr) return OSAL_ERR_BAD_ID;
    *result = how_it_stands(*semaphore);
    return OSAL_OK;
}

gint32 osal_process_list_busy(OSAL_BUSY_SEM_S* list, guint32 room, guint32* count) {
    if (count == nullptr || (list == nullptr && room > 0)) return OSAL_ERR_ARGUMENT;
    State& s = state();
    const std::lock_guard lock{s.mutex};
    *count = 0;
    for (const auto& [key, semaphore] : s.semaphores) {
        if (semaphore.holder == std::thread::id{} && semaphore.waiters.empty()) continue;
        if (*count < room) list[*count] = {key.first, key.second, how_it_stands(semaphore)};
        ++*count;
    }
    return OSAL_OK;
}

void osal_process_sem_create(gint32* sem_index, gint32* semid, gint32* sem_member) {
    State& s = state();
    const std::lock_guard lock{s.mutex};
    const Semaphore made = make(s);
    s.created.push_back(made);
    *sem_index = made.index;
    *semid = made.semid;
    *sem_member = made.member;
}

void osal_process_sem_free(gint32 sem_index, gint32 sem_member) {
    State& s = state();
    const std::lock_guard lock{s.mutex};
    const gint32 semid = sem_index < 0 ? -1 : first_semid + sem_index / semaphores_per_set;
    s.freed.push_back({sem_index, semid, sem_member});
    if (sem_index == -1 && sem_member == -1) return;
    if (sem_index < 0 || sem_index % semaphores_per_set != sem_member ||
        s.in_use.erase(sem_index) == 0)
        ++s.bad_sem_frees;
}
