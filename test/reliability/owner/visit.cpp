// A visitor is not executed anew: it ends with its owner.
#include "visit.hpp"

#include <lom.h>
#include <moxhost/moxhost.h>
#include <moxhost/operator.h>
#include <unistd.h>

#include <cstdio>
#include <thread>

#include "look.hpp"
#include "model.hpp"
#include "shared_page.hpp"

namespace mox::kill_owner {
namespace {

MoxHostModule* module = nullptr;

// Gives the exit status: what an owner refuses is a failure, what fails without one is not.
int told(gboolean is_done, GError* error) {
    if (is_done != FALSE) {
        return 0;
    }
    const bool is_gone = g_error_matches(error, MOXHOST_ERROR, MOXHOST_ERROR_LOST) != FALSE ||
                         g_error_matches(error, MOXHOST_ERROR, MOXHOST_ERROR_NO_OWNER) != FALSE ||
                         g_error_matches(error, MOXHOST_ERROR, MOXHOST_ERROR_NO_POOL) != FALSE;
    if (!is_gone) {
        std::fprintf(stderr, "visitor: %s\n", error->message);
    }
    g_error_free(error);
    return is_gone ? 0 : 1;
}

int join(const char* run_dir) {
    GError* error = nullptr;
    // The operator's calls are for this type only.
    module = moxhost_join(run_dir, "visitor", MODULE_INTERFACE, &error);
    return told(module != nullptr ? TRUE : FALSE, error);
}

int copy_all() {
    for (const char* const object :
         {"chip", "level", "Tank", "Store0", "Store1", "Kept0:C", valve}) {
        lom_get_object_handle(object);
    }
    return 0;
}

// A text that is longer than the valve's last one was.
GVariant* longer_text() {
    constexpr std::uint32_t step = 50;
    constexpr std::uint32_t turns = 100;  // an event must carry it
    const std::string note(300 + step * (++page().grown % turns), 'n');
    page().valve_new = note_code(note);
    return g_variant_new_string(note.c_str());
}

// What changes the valve, in the owner.
int change(const std::string& operation) {
    GError* error = nullptr;
    if (operation == "apply") {
        const auto goal = static_cast<gint32>(++page().grown);
        page().valve_new = goal;
        return told(
            moxhost_apply_property(module, valve, goal_name, g_variant_new_int32(goal), &error),
            error);
    }
    if (operation == "grow") {
        return told(moxhost_set_property(module, valve, note_name, longer_text(), &error), error);
    }
    if (operation == "set") {
        return told(moxhost_operator_set(module, valve, note_name, longer_text(), &error), error);
    }
    if (operation == "override") {
        page().valve_new = note_code(forced_note);
        return told(moxhost_operator_override(module, valve, note_name,
                                              g_variant_new_string(forced_note), &error),
                    error);
    }
    return 2;
}

// Gives the lock up that the owner waits for, and waits for what the owner was asked for.
int unlock(const char* object, std::thread& asking) {
    lom_unlock_object(lom_name_to_handle(object));
    if (asking.joinable()) {
        asking.join();
    }
    return 0;
}

// What the owner is asked for while it cannot get the lock.
std::thread asking;
const char* locked = nullptr;

int lock(const std::string& what) {
    locked = what == "refresh" ? sensor : valve;
    if (lom_lock_object(lom_get_object_handle(locked)) != MOX_OK) {
        return 1;
    }
    if (what != "refresh") {  // that comes by itself
        asking = std::thread([what] { change(what); });
    }
    return 0;
}

// As a module leaves a value that is killed in the middle of a write.
void leave_half_written() {
    guint32 size = 0;
    gpointer copy = nullptr;
    if (lom_get_object_handle(valve) == 0 ||
        lom_copy_object(valve, &size, &copy, 0, FALSE) != MOX_OK) {
        return;
    }
    g_atomic_int_or(&static_cast<OBJECT_HEAD_S*>(copy)->property_entry->state.all,
                    PROPERTY_STATE_HALF_WRITTEN);
    g_free(copy);
}

int operate(const char* run_dir, const std::string& operation) {
    GError* error = nullptr;
    if (operation == "join") return join(run_dir);
    if (operation == "copy") return copy_all();
    if (operation == "plug") return told(moxhost_plug_board(module, board, &error), error);
    if (operation == "refresh") return told(moxhost_refresh(module, &error), error);
    if (operation == "unplug") {
        return told(moxhost_unplug_board(module, board, nullptr, &error), error);
    }
    if (operation == "full") {
        return moxhost_messages_lost(module) > 0 ? 0 : 1;  // otherwise it was not full
    }
    if (operation == "restore") return told(moxhost_restore_defaults(module, &error), error);
    if (operation == "leave") {
        moxhost_leave(module);
        return 0;
    }
    return locked != nullptr ? unlock(locked, asking) : change(operation);
}

// Leaves word of what the operation is to change. Returns the exit status.
int note_old_value(const std::string& operation) {
    if (operation != "apply" && operation != "set" && operation != "override") {
        return 0;
    }
    std::int32_t number = 0;
    const gint32 status = read_valve(operation == "apply" ? goal_name : note_name, number);
    page().valve_old = number;
    page().valve_new = number;
    return status == MOX_OK ? 0 : 1;
}

// What an operation needs to find.
int prepare(const char* run_dir, const std::string& operation) {
    if (operation == "join") {
        return 0;
    }
    const int status = join(run_dir);
    if (status != 0 || module == nullptr) {
        return 1;
    }
    if (operation == "leave" || operation == "clean-up") {
        copy_all();
        moxhost_listen(module, "Sensor", "Level", nullptr);
    }
    if (operation == "clean-up") {
        leave_half_written();
    }
    if (operation == "full") {
        page().queue = moxhost_reg_info(module)->msg_que_id;
        return moxhost_listen(module, "Sensor", "Level", nullptr) != FALSE ? 0 : 1;
    }
    // Another visitor's override would refuse what changes the text.
    moxhost_operator_cancel(module, valve, note_name, nullptr);
    if (operation.rfind(locked_prefix, 0) == 0) {
        return lock(operation.substr(locked_prefix.size()));
    }
    if (operation == "plug") {
        // Refused when it is not plugged, which is as good.
        moxhost_unplug_board(module, board, nullptr, nullptr);
    }
    if (operation == "unplug") {
        moxhost_plug_board(module, board, nullptr);
    }
    return note_old_value(operation);
}

}  // namespace

int visit(const char* run_dir, const std::string& operation) {
    if (prepare(run_dir, operation) != 0) {
        return 1;
    }
    page().visit = Visit::ready;
    while (page().visit != Visit::wanted) {
        usleep(20);
    }
    const int status = operate(run_dir, operation);
    page().visit = Visit::done;
    return status;
}

}  // namespace mox::kill_owner
