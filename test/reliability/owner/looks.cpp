// Pools and models as the reader sees them: every pool is used as the first one was, and what a
// killed module asked for is done whole or not at all.
#include "model.hpp"
#include "rounds.hpp"

namespace mox::kill_owner {
namespace {

constexpr std::uint32_t limit_ms = 1000;
constexpr std::uint32_t patience_ms = 10000;

PoolUse use_seen() {
    const Seen& seen = page().seen;
    return {seen.blocks, seen.objects, seen.classes, seen.removed};
}

}  // namespace

std::string PoolUse::text() const {
    return std::to_string(blocks) + " blocks, " + std::to_string(objects) + " bytes of objects, " +
           std::to_string(classes) + " of classes, " + std::to_string(removed) +
           " objects that were removed";
}

void Rounds::look() {
    page().look = Look::wanted;
    const bool is_done = within_ms(patience_ms, [] { return page().look == Look::done; });
    stage_.expect_modules_live();
    if (!is_done) {
        throw Failed("the reader does not see the pool and the model: " + states());
    }
}

// Copies come and go for a moment after a start, and the owner has to notice who died.
void Rounds::expect_same_pool() {
    look();
    if (fresh_use_ == PoolUse{}) {
        fresh_use_ = use_seen();
        return;
    }
    const bool is_same = within_ms(limit_ms, [this] {
        look();
        return use_seen() == fresh_use_;
    });
    if (!is_same) {
        throw Failed("the pool has " + use_seen().text() + " instead of " + fresh_use_.text());
    }
    if (page().seen.is_plugged != 0 || page().seen.board_count != 0) {
        throw Failed("a new pool has a board that its profile has not plugged");
    }
    ++figures_.pools;
}

void Rounds::expect_whole_or_none(const std::string& operation) {
    look();
    const Seen& seen = page().seen;
    const std::uint32_t expected = seen.is_plugged != 0 ? board_objects : 0;
    if (seen.board_count != expected) {
        throw Failed("the board is " + std::string(seen.is_plugged != 0 ? "" : "not ") +
                     "plugged and has " + std::to_string(seen.board_count) + " objects");
    }
    if (operation != "apply" && operation != "set" && operation != "override") {
        return;
    }
    const std::int32_t value = operation == "apply" ? seen.goal : seen.note;
    if (value != page().valve_old && value != page().valve_new) {
        throw Failed("the value is " + std::to_string(value) + ", neither the old " +
                     std::to_string(page().valve_old) + " nor the new " +
                     std::to_string(page().valve_new));
    }
}

}  // namespace mox::kill_owner
