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

#include <algorithm>
#include <csignal>
#include <memory>

#include "look.hpp"
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

// Whether a read was refused because a module was killed over this text. The owner ends that.
bool is_left_half_written(gint32 status, std::size_t kind) {
    const bool is_left = status == MOX_ERR_INTERNAL && kind == saved_kinds - 1 && page().kills > 0;
    page().refused += is_left ? 1U : 0U;
    return is_left;
}

// The number that stands in the pool; -1 for none, or without an owner to ask for the object.
std::int32_t stored(const Life& life, std::size_t store, std::size_t kind) {
    const OBJ_HANDLE handle = lom_get_object_handle(stores.at(store));
    GVariant* value = nullptr;
    const gint32 status =
        handle == 0 ? gint32{MOX_ERR_OBJECT_NOT_FOUND}
                    : lom_get_property_value(handle, saved_names.at(kind), FALSE, &value, FALSE);
    const std::string name = std::string(stores.at(store)) + '.' + saved_names.at(kind);
    if (status != MOX_OK) {
        if (!is_left_half_written(status, kind) && has_owner(life)) {
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
            if (number < 0) {
                return false;
            }
            std::int32_t& seen = life.seen.at(store).at(kind);
            if (number < seen && !(number == 0 && is_lost_by_restore(kind))) {
                fail(life, std::string(saved_names.at(kind)) + " went back from " +
                               std::to_string(seen) + " to " + std::to_string(number));
            }
            seen = number;
        }
    }
    const bool has_sensor = lom_get_object_handle(sensor) != 0;  // for the time without an owner
    return has_owner(life) && has_sensor;
}

// A stopped owner, and the next one, remove the locks; only between a kill and that must all go on.
bool may_fail_alone(gint32 status, std::size_t kind) {
    return is_left_half_written(status, kind) ||
           (status == MOX_ERR_SEMAPHORE && page().is_alone == 0);
}

// A value of an object that was looked up while there was an owner. kind: of what is saved. False
// when it is not to be had, as it may be.
bool is_read_alone(const Life& life, const char* object, const char* property, std::size_t kind) {
    GVariant* value = nullptr;
    const gint32 status =
        lom_get_property_value(lom_name_to_handle(object), property, FALSE, &value, FALSE);
    const bool is_good = status == MOX_OK;
    bool is_known = is_good;
    if (is_good) {
        is_known = g_variant_is_of_type(value, G_VARIANT_TYPE_INT32) != FALSE ||
                   number_of(g_variant_get_string(value, nullptr)) >= 0;
        g_variant_unref(value);
    }
    if (is_good != is_known || (!is_good && !may_fail_alone(status, kind))) {
        fail(life, std::string("without an owner ") + object + '.' + property + " gives " +
                       std::to_string(status) + (is_good ? " and a value of two halves" : ""));
    }
    return is_good;
}

bool is_written_alone(const Life& life) {
    const char* const object = stores.at(life.number);
    GVariant* const value =
        g_variant_ref_sink(g_variant_new_int32(static_cast<std::int32_t>(life.state().alone)));
    const gint32 status = lom_set_property_value(lom_name_to_handle(object), live_name, value,
                                                 PER_MODE_NOSUPPORT, FALSE);
    g_variant_unref(value);
    if (status != MOX_OK && !may_fail_alone(status, 0)) {
        fail(life, "without an owner a write gives " + std::to_string(status));
    }
    return status == MOX_OK && is_read_alone(life, object, live_name, 0);
}

// All that a module can do without an owner: read the last values, and write its own.
void work_alone(const Life& life) {
    const std::uint32_t begin = now_us();
    const bool is_saver = life.number < savers;
    bool is_done = is_saver ? is_written_alone(life) : is_read_alone(life, sensor, "Level", 0);
    for (std::size_t store = 0; store < savers; ++store) {
        for (std::size_t kind = 0; kind < saved_kinds; ++kind) {
            const bool is_known = !is_saver || store == life.number;
            is_done =
                (!is_known || is_read_alone(life, stores.at(store), saved_names.at(kind), kind)) &&
                is_done;
        }
    }
    if (page().is_alone == 0) {
        return;
    }
    const std::uint32_t us = now_us() - begin;
    life.state().alone_us = std::max<std::uint32_t>(us, life.state().alone_us);
    life.state().alone += is_done ? 1U : 0U;
}

gboolean work(gpointer data) {
    auto& life = *static_cast<Life*>(data);
    if (life.state().is_lost != 0 && life.state().first_work_us != 0) {
        work_alone(life);
    }
    if (life.number == savers && life.state().is_lost == 0 && page().look == Look::wanted) {
        const std::string cause = look(life.module);
        if (cause.empty()) {
            page().look = Look::done;
        } else if (has_owner(life)) {
            fail(life, cause);
        }
    }
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

// The owner may not have noticed yet that the module of this name was killed.
void join(Life& life, const char* run_dir) {
    const std::uint32_t begin = now_us();
    while (life.module == nullptr) {
        GError* error = nullptr;
        life.module = moxhost_join(run_dir, module_names.at(life.number), MODULE_APP, &error);
        if (life.module != nullptr) {
            return;
        }
        const bool may_pass =
            g_error_matches(error, MOXHOST_ERROR, MOXHOST_ERROR_REFUSED) != FALSE &&
            page().kills > 0 && now_us() - begin < 1000000;
        if (!may_pass) {
            fail(life, error->message);
        }
        g_error_free(error);
        usleep(1000);
    }
}

int live(const char* run_dir, std::size_t number) {
    Life life{number, nullptr, g_main_loop_new(nullptr, FALSE)};
    life.state().executed_us = now_us();
    join(life, run_dir);
    GError* error = nullptr;
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
