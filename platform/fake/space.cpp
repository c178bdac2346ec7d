// Fake spaces: a table of live heap blocks, each with its size and its space.
#include <moxfake/space.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace mox::fake::space {

namespace {

struct Space {
    gsize size;
    gsize used;
    guint32 blocks;
};

struct Block {
    Space* space;
    gsize size;
};

struct State {
    std::mutex mutex;
    // All under the mutex:
    std::vector<std::unique_ptr<Space>> spaces;
    std::map<gconstpointer, Block> live;
    guint fail_in = 0;     // allocations until the planned failure, 0 when none is planned
    bool fail_on = false;  // from the planned failure on, all fail
    bool fail_all = false;
    bool fail_creation = false;
    gsize allocations = 0;
    gsize failed_allocations = 0;
    gsize releases = 0;
    gsize bad_releases = 0;
    Creation last_creation;
};

State& state() {
    static auto* const the_state = new State;
    return *the_state;
}

// Counts one allocation against the plans; true when it shall fail.
bool planned_failure(State& s) {
    if (s.fail_in > 0 && --s.fail_in == 0) {
        s.fail_all = s.fail_all || s.fail_on;
        return true;
    }
    return s.fail_all;
}

gpointer allocate(State& s, Space* space, gsize count, gsize size) {
    gsize bytes = 0;
    if (__builtin_mul_overflow(count, size, &bytes) || bytes > space->size - space->used) {
        return nullptr;
    }
    gpointer const block = std::calloc(1, bytes == 0 ? 1 : bytes);
    if (block == nullptr) return nullptr;
    s.live[block] = {space, bytes};
    space->used += bytes;
    ++space->blocks;
    return block;
}

}  // namespace

void reset() {
    State& s = state();
    const std::lock_guard lock{s.mutex};
    for (const auto& [block, about] : s.live) std::free(const_cast<gpointer>(block));
    s.live.clear();
    s.spaces.clear();
    s.fail_in = 0;
    s.fail_on = false;
    s.fail_all = false;
    s.fail_creation = false;
    s.allocations = 0;
    s.failed_allocations = 0;
    s.releases = 0;
    s.bad_releases = 0;
    s.last_creation = {};
}

void fail_allocation(guint n) {
    const std::lock_guard lock{state().mutex};
    state().fail_in = n;
    state().fail_on = false;
}

void fail_allocations_from(guint n) {
    const std::lock_guard lock{state().mutex};
    state().fail_in = n;
    state().fail_on = true;
}

void fail_allocations(bool fail) {
    const std::lock_guard lock{state().mutex};
    state().fail_all = fail;
    if (!fail) state().fail_in = 0;
}

void fail_creation() {
    const std::lock_guard lock{state().mutex};
    state().fail_creation = true;
}

gsize live_blocks() {
    const std::lock_guard lock{state().mutex};
    return state().live.size();
}

gsize live_bytes() {
    const std::lock_guard lock{state().mutex};
    gsize bytes = 0;
    for (const auto& space : state().spaces) bytes += space->used;
    return bytes;
}

bool is_live(gconstpointer block) {
    const std::lock_guard lock{state().mutex};
    return state().live.count(block) != 0;
}

gsize size_of(gconstpointer block) {
    const std::lock_guard lock{state().mutex};
    const auto at = state().live.find(block);
    return at == state().live.end() ? 0 : at->second.size;
}

gsize allocations() {
    const std::lock_guard lock{state().mutex};
    return state().allocations;
}

gsize failed_allocations() {
    const std::lock_guard lock{state().mutex};
    return state().failed_allocations;
}

gsize releases() {
    const std::lock_guard lock{state().mutex};
    return state().releases;
}

gsize bad_releases() {
    const std::lock_guard lock{state().mutex};
    return state().bad_releases;
}

Creation last_creation() {
    const std::lock_guard lock{state().mutex};
    return state().last_creation;
}

}  // namespace mox::fake::space

using namespace mox::fake::space;

gpointer shm_creat_space(gpointer base, gsize size, gint32 locked) {
    State& s = state();
    const std::lock_guard lock{s.mutex};
    s.last_creation = {base, size, locked};
    const bool refused = s.fail_creation || base == nullptr || size > G_MAXUINT32;
    s.fail_creation = false;
    if (refused) return nullptr;
    s.spaces.push_back(std::make_unique<Space>(Space{size, 0, 0}));
    return s.spaces.back().get();
}

gpointer shm_space_calloc(gpointer space, gsize count, gsize size) {
    if (space == nullptr) return nullptr;
    State& s = state();
    const std::lock_guard lock{s.mutex};
    const bool fails = planned_failure(s);
    gpointer const block = fails ? nullptr : allocate(s, static_cast<Space*>(space), count, size);
    ++(block == nullptr ? s.failed_allocations : s.allocations);
    return block;
}

void shm_space_free(gpointer space, gpointer mem) {
    if (space == nullptr || mem == nullptr) return;
    State& s = state();
    const std::lock_guard lock{s.mutex};
    const auto at = s.live.find(mem);
    if (at == s.live.end() || at->second.space != space) {
        ++s.bad_releases;
        return;
    }
    at->second.space->used -= at->second.size;
    --at->second.space->blocks;
    s.live.erase(at);
    ++s.releases;
    std::free(mem);
}

shm_malloc_info shm_space_info(gpointer space) {
    shm_malloc_info info = {};
    if (space == nullptr) return info;
    const std::lock_guard lock{state().mutex};
    const auto* const about = static_cast<Space*>(space);
    info.arena = static_cast<guint32>(about->size);
    info.usmblks = info.arena;
    info.ordblks = about->blocks;
    info.uordblks = static_cast<guint32>(about->used);
    info.fordblks = info.arena - info.uordblks;
    return info;
}
