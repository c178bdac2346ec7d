// A module of the run, which is executed anew with its owner.
//
//   kill_owner_module PAGE RUN_DIR NUMBER     a module that stays: saves or reads without end
//   kill_owner_module PAGE RUN_DIR OPERATION  a visitor: does it once when it is told to
//
// What holds: a call that fails counts as a failure of the system, unless the owner is gone.
#include <glib-unix.h>
#include <lom.h>
#include <moxhost/moxhost.h>
#include <unistd.h>

#include <csignal>
#include <memory>

#include "model.hpp"
#include "shared_page.hpp"
#include "visit.hpp"

namespace mox::kill_owner {
namespace {

constexpr guint between_works_ms = 2;

struct Life {
    std::size_t number;
    MoxHostModule* module;
    GMainLoop* loop;
    std::size_t turn = 0;  // of the saver
    std::array<std::array<std::int32_t, saved_kinds>, savers> seen = {};

    ModuleState& state() const { return page().module.at(number); }
};

[[noreturn]] void fail(const Life& life, const std::string& text) {
    fail_here(std::string(module_names.at(life.number)) + ", life " +
              std::to_string(life.state().lives) + ": " + text);
}

// Whether the owner answers; what does not work without one is no failure.
bool has_owner(const Life& life) {
    guint32 used = 0;
    return moxhost_pool_usage(life.module, nullptr, &used, nullptr) != FALSE;
}

// The number that stands in the pool; -1 without an owner to ask for the object.
std::int32_t stored(const Life& life, std::size_t store, std::size_t kind) {
    const OBJ_HANDLE handle = lom_get_object_handle(stores.at(store));
    GVariant* value = nullptr;
    const gint32 status =
        handle == 0 ? gint32{MOX_ERR_OBJECT_NOT_FOUND}
                    : lom_get_property_value(handle, saved_names.at(kind), FALSE, &value, FALSE);
    const std::string name = std::string(stores.at(store)) + '.' + saved_names.at(kind);
    if (status != MOX_OK) {
        if (has_owner(life)) {
            fail(life, "reading " + name + " gives " + std::to_string(status));
        }
        return -1;
    }
    const bool is_number = g_variant_is_of_type(value, G_VARIANT_TYPE_INT32) != FALSE;
    const std::int32_t number =
        is_number ? g_variant_get_int32(value) : number_of(g_variant_get_string(value, nullptr));
    const std::string text = is_number ? "" : g_variant_get_string(value, nullptr);
    g_variant_unref(value);
    if (number < 0) {
        fail(life, name + " is neither of the values that were written: " + text);
    }
    return number;
}

// Compares what the owner restored with what was saved. False without an owner.
bool compare_saved(const Life& life) {
    for (std::size_t kind = 0; kind < saved_kinds; ++kind) {
        const SavedState& saved = page().saved.at(life.number).at(kind);
        const std::int32_t number = stored(life, life.number, kind);
        if (number < 0) {
            return false;
        }
        if (number < saved.reported || number > saved.attempted) {
            fail(life, std::string(stores.at(life.number)) + '.' + saved_names.at(kind) + " is " +
                           std::to_string(number) + "; its save was reported with " +
                           std::to_string(saved.reported) + " and begun with " +
                           std::to_string(saved.attempted));
        }
        ++life.state().compared;
    }
    return true;
}

// Saves the next number. False when the owner is gone.
bool save_next(Life& life) {
    const std::size_t kind = life.turn++ % saved_kinds;
    SavedState& saved = page().saved.at(life.number).at(kind);
    const std::int32_t number = ++saved.attempted;
    GVariant* const value = kind == saved_kinds - 1 ? g_variant_new_string(text_of(number).c_str())
                                                    : g_variant_new_int32(number);
    GError* error = nullptr;
    if (moxhost_set_property(life.module, stores.at(life.number), saved_names.at(kind), value,
                             &error) != FALSE) {
        saved.reported = number;
        return true;
    }
    const std::string cause = error->message;
    g_error_free(error);
    if (has_owner(life)) {
        fail(life, std::string("saving ") + saved_names.at(kind) + ": " + cause);
    }
    return false;
}

// Reads what the savers write, which only grows. False without an owner.
bool read_all(Life& life) {
    for (std::size_t store = 0; store < savers; ++store) {
        for (std::size_t kind = 0; kind < saved_kinds; ++kind) {
            const std::int32_t number = stored(life, store, kind);
            std::int32_t& seen = life.seen.at(store).at(kind);
            if (number >= 0 && number < seen) {
                fail(life, std::string(saved_names.at(kind)) + " went back from " +
                               std::to_string(seen) + " to " + std::to_string(number));
            }
            seen = number;
        }
    }
    return has_owner(life);
}

gboolean work(gpointer data) {
    auto& life = *static_cast<Life*>(data);
    if (life.state().is_lost != 0 || page().is_quiet != 0) {
        return G_SOURCE_CONTINUE;
    }
    if (life.number < savers ? save_next(life) : read_all(life)) {
        life.state().worked_us = now_us();
        std::uint32_t none = 0;
        life.state().first_work_us.compare_exchange_strong(none, life.state().worked_us);
    }
    return G_SOURCE_CONTINUE;
}

void on_lost(MoxHostModule*, gpointer data) {
    ModuleState& state = static_cast<Life*>(data)->state();
    state.noticed_us = now_us();
    state.is_lost = 1;
}

void on_restart(MoxHostModule*, const GError* failure, gpointer data) {
    const auto& life = *static_cast<Life*>(data);
    if (failure != nullptr) {
        fail(life, failure->message);
    }
    life.state().kept_us = now_us();
}

gboolean on_end(gpointer loop) {
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_CONTINUE;
}

int live(const char* run_dir, std::size_t number) {
    Life life{number, nullptr, g_main_loop_new(nullptr, FALSE)};
    life.state().executed_us = now_us();
    GError* error = nullptr;
    life.module = moxhost_join(run_dir, module_names.at(number), MODULE_APP, &error);
    if (life.module == nullptr) {
        fail(life, error->message);
    }
    ModuleState& state = life.state();
    moxhost_set_lost_func(life.module, on_lost, &life);
    if (moxhost_restart_with_owner(life.module, on_restart, &life, &error) == FALSE) {
        fail(life, error->message);
    }
    state.restarts = moxhost_restart_count();
    state.first_work_us = 0;
    state.joined_us = now_us();
    state.is_lost = 0;
    const std::uint32_t this_life = ++state.lives;
    if (number >= savers || compare_saved(life)) {
        state.checked = this_life;
    }
    g_timeout_add(between_works_ms, work, &life);
    g_unix_signal_add(SIGTERM, on_end, life.loop);
    g_main_loop_run(life.loop);
    moxhost_leave(life.module);
    g_main_loop_unref(life.loop);
    return 0;
}

}  // namespace
}  // namespace mox::kill_owner

int main(int argc, char** argv) {
    if (argc != 4) {
        return 2;
    }
    mox::kill_owner::map_page(argv[1]);
    const std::string word = argv[3];
    const bool is_number = word.size() == 1 && word[0] >= '0' && word[0] <= '2';
    return is_number ? mox::kill_owner::live(argv[2], static_cast<std::size_t>(word[0] - '0'))
                     : mox::kill_owner::visit(argv[2], word);
}
