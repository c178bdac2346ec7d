// Long texts and lists are written with values of the longest kind, so that most of the
// instructions of such a write are those of the copy.
#include "operations.hpp"

#include <moxplat/osal.h>
#include <unistd.h>

#include "model.hpp"
#include "module_process.hpp"
#include "patterns.hpp"
#include "shared_page.hpp"
#include "stage.hpp"

namespace mox::kills {
namespace {

int any(Victim& victim, int below) {
    return std::uniform_int_distribution<int>(0, below - 1)(victim.random);
}

void expect_ok(gint32 status, const char* what) {
    if (status != MOX_OK) {
        throw Failed(std::string("victim: ") + what + " gives status " + std::to_string(status) +
                     " " + mox_status_name(status));
    }
}

void expect_done(gboolean done, const CallError& error, const char* what) {
    if (done == FALSE) {
        throw Failed(std::string("victim: ") + what + ": " + error.text());
    }
}

void join(Victim& victim) {
    victim.module = join_as(victim.run_dir, kVictimName, MODULE_APP);
}

void look_up(Victim&) {
    for (const char* const object :
         {kCells[0], kCells[1], kCells[2], kBoardCells[0], kStore, kSum, "Cell:C"}) {
        if (lom_get_object_handle(object) == 0) {
            throw Failed(std::string("victim: ") + object + " is not found");
        }
    }
}

void drop_copies_and_look_up(Victim& victim) {
    for (const char* const object : {kCells[0], kCells[2], kBoardCells[0], kStore}) {
        lom_delete_object(lom_name_to_handle(object));
    }
    look_up(victim);
}

void listen(Victim& victim) {
    for (const char* const property :
         {"Short", "Text", "Forced", "Small", "List", "Real", "Number"}) {
        CallError error;
        expect_done(moxhost_listen(victim.module, "Cell", property, error.out()), error, "listen");
    }
}

void look_up_and_listen(Victim& victim) {
    look_up(victim);
    listen(victim);
}

void leave(Victim& victim) {
    moxhost_leave(victim.module);
    victim.module = nullptr;
}

void refresh(Victim& victim) {
    CallError error;
    expect_done(moxhost_refresh(victim.module, error.out()), error, "refresh");
}

void plug(Victim& victim) {
    CallError error;
    expect_done(moxhost_plug_board(victim.module, kUnplugged, error.out()), error, "plug");
}

void unplug(Victim& victim) {
    CallError error;
    expect_done(moxhost_unplug_board(victim.module, kUnplugged, nullptr, error.out()), error,
                "unplug");
}

void plug_and_unplug(Victim& victim) {
    plug(victim);
    unplug(victim);
}

void save(Victim& victim) {
    for (std::size_t kind = 0; kind < kSavedKinds; ++kind) {
        SavedState& saved = shared_page().saved[kind];
        const bool is_text = kind == kSavedKinds - 1;
        const std::int32_t next =
            is_text ? saved.attempted % (kLetters - 1) + 1 : saved.attempted + 1;
        saved.attempted = next;
        CallError error;
        GVariant* const value =
            is_text ? g_variant_new_string(text_of(next).c_str()) : g_variant_new_int32(next);
        expect_done(
            moxhost_set_property(victim.module, kStore, kSavedNames[kind], value, error.out()),
            error, "save");
        saved.reported = next;
    }
}

void outgrow(Victim&) {
    for (const char* const object : kBoardCells) {
        expect_ok(write_value(object, "Small", kLongestLetter), "a value beyond its room");
    }
}

void apply(Victim& victim) {
    CallError error;
    expect_done(moxhost_apply_property(victim.module, kGauge, "Level",
                                       g_variant_new_int32(any(victim, 100)), error.out()),
                error, "apply");
}

// Two values that follow each other on and on: each write changes what is stored, unless a survivor
// has put the same there meanwhile.
void make_values(Victim& victim, const char* property, int one, int other) {
    look_up(victim);
    victim.values[0] = g_variant_ref_sink(value_for(property, one));
    victim.values[1] = g_variant_ref_sink(value_for(property, other));
}

void make_long_texts(Victim& victim) {
    make_values(victim, "Text", kLongestLetter, kLongestLetter + kLengths);
}

void make_texts(Victim& victim) {
    make_values(victim, "Text", any(victim, kLetters), kLongestLetter);
}

void make_lists(Victim& victim) {
    make_values(victim, "List", 7, 15);
}

void make_reals(Victim& victim) {
    make_values(victim, "Real", any(victim, 100000), 100001);
}

GVariant* next_value(Victim& victim) {
    return victim.values[++victim.turn % 2];
}

void write_next(Victim& victim, const char* object, const char* property) {
    expect_ok(lom_set_property_value(lom_get_object_handle(object), property, next_value(victim),
                                     PER_MODE_NOSUPPORT, FALSE),
              property);
}

void write_text(Victim& victim) {
    write_next(victim, kCells[0], "Text");
}

void write_text_behind_shared_lock(Victim& victim) {
    write_next(victim, kCells[1], "Text");
}

void write_list(Victim& victim) {
    write_next(victim, kCells[2], "List");
}

void write_real(Victim& victim) {
    write_next(victim, kCells[0], "Real");
}

void write_text_of_its_own(Victim& victim) {
    write_next(victim, kCells[2], "Lone");
}

void write_saved_text(Victim& victim) {
    write_next(victim, kStore, "Title");
}

void write_through_reference(Victim& victim) {
    write_next(victim, kCells[0], "Twin");
}

// The result is that of the announcement, which finds a listener's queue full when the machine is
// busy.
void override_and_cancel(Victim& victim) {
    const OBJ_HANDLE object = lom_get_object_handle(kCells[0]);
    const gint32 status = lom_override_property_value(object, "Forced", next_value(victim),
                                                      PROPERTY_OVERRIDE, nullptr);
    expect_ok(status == OSAL_ERR_FULL ? static_cast<gint32>(MOX_OK) : status, "an override");
    expect_ok(
        lom_override_property_value(object, "Forced", nullptr, PROPERTY_CANCEL_OVERRIDE, nullptr),
        "its end");
}

void read_text(Victim&) {
    std::string fault;
    expect_ok(read_pattern(kCells[2], "Text", fault), "a read");
    if (!fault.empty()) {
        throw Failed("victim: it reads a mixture: " + fault);
    }
}

void read_several(Victim&) {
    GSList* names = nullptr;
    for (const char* const property : {"Text", "Forced", "List", "Real"}) {
        names = g_slist_prepend(names, const_cast<char*>(property));
    }
    GSList* values = nullptr;
    expect_ok(lom_multiget_property_value(lom_get_object_handle(kCells[2]), names, &values),
              "a read of several");
    g_slist_free_full(values,
                      [](gpointer value) { g_variant_unref(static_cast<GVariant*>(value)); });
    g_slist_free(names);
}

void read_formula(Victim&) {
    GVariant* value = nullptr;
    expect_ok(lom_get_property_value(lom_get_object_handle(kSum), "Value", TRUE, &value, FALSE),
              "a formula");
    g_variant_unref(value);
}

void hold_lock(Victim&) {
    const OBJ_HANDLE object = lom_get_object_handle(kCells[1]);
    expect_ok(lom_lock_object(object), "a lock");
    for (volatile int count = 0; count < 300;) {
        count = count + 1;
    }
    expect_ok(lom_unlock_object(object), "an unlock");
}

void unplug_with_lock_held(Victim& victim) {
    const OBJ_HANDLE object = lom_get_object_handle(kBoardCells[0]);
    expect_ok(lom_lock_object(object), "a lock on a board");
    CallError error;
    expect_done(moxhost_unplug_board(victim.module, kPlugged, nullptr, error.out()), error,
                "an unplug with a lock held");
}

void take_messages(Victim& victim) {
    moxhost_set_message_func(
        victim.module,
        [](MoxHostModule*, const MOX_MSG_S*, gint64, gpointer self) {
            ++static_cast<Victim*>(self)->messages;
        },
        &victim);
}

void listen_and_take(Victim& victim) {
    look_up_and_listen(victim);
    take_messages(victim);
}

void drain(Victim& victim) {
    const int enough = victim.messages + 5;
    within_ms(200, [&] {
        while (victim.messages < enough && g_main_context_iteration(nullptr, FALSE) != FALSE) {
        }
        return victim.messages >= enough;
    });
}

// Nobody takes what arrives: the backlog fills, then the queue.
void listen_until_full(Victim& victim) {
    make_long_texts(victim);
    listen(victim);
    const bool is_full = within_ms(8000, [&] {
        OSAL_QUEUE_STATE_S queue = {};
        osal_process_queue_state(moxhost_reg_info(victim.module)->msg_que_id, &queue);
        return queue.limit > 0 && queue.bytes + kLongestText + 200 > queue.limit;
    });
    if (!is_full) {
        throw Failed("victim: its queue does not fill within 8 s");
    }
}

void nothing(Victim&) {
    usleep(1000);
}

Operation in_memory(const char* name, void (*prepare)(Victim&), void (*act)(Victim&)) {
    return {name, prepare, act, Joins::first, Repeats::yes, Boards::untouched, Rehearsal::yes};
}

}  // namespace

const std::vector<Operation>& calling_operations() {
    static const std::vector<Operation> operations = {
        {"join", nullptr, join, Joins::by_itself, Repeats::no},
        {"leave", look_up_and_listen, leave, Joins::first, Repeats::no},
        {"lookup", nullptr, look_up, Joins::first, Repeats::no},
        {"drop and lookup", look_up, drop_copies_and_look_up},
        {"listen", look_up, listen},
        {"refresh", nullptr, refresh},
        {"plug", look_up, plug, Joins::first, Repeats::no, Boards::changed},
        {"unplug", plug, unplug, Joins::first, Repeats::no, Boards::changed},
        {"plug and unplug", look_up, plug_and_unplug, Joins::first, Repeats::yes, Boards::changed},
        {"save", look_up, save},
        {"outgrow", look_up, outgrow, Joins::first, Repeats::no, Boards::changed},
        {"apply", look_up, apply},
        {"write and send", make_long_texts, write_text},
        {"drain", listen_and_take, drain},
        {"unplug with a lock held", look_up, unplug_with_lock_held, Joins::first, Repeats::no,
         Boards::changed},
    };
    return operations;
}

const std::vector<Operation>& memory_operations() {
    static const std::vector<Operation> operations = {
        in_memory("write of a text", make_long_texts, write_text),
        in_memory("write of a text of another length", make_texts, write_text_behind_shared_lock),
        in_memory("write of a text that only victims write", make_long_texts,
                  write_text_of_its_own),
        in_memory("write of a text that has a saved value", make_long_texts, write_saved_text),
        in_memory("write of a list", make_lists, write_list),
        in_memory("write of a double", make_reals, write_real),
        in_memory("write through a reference", make_long_texts, write_through_reference),
        in_memory("override and cancel", make_long_texts, override_and_cancel),
        in_memory("read of a text", look_up, read_text),
        in_memory("read of several", look_up, read_several),
        in_memory("formula", look_up, read_formula),
        in_memory("lock held", look_up, hold_lock),
        in_memory("delivery of messages", listen_and_take, drain),
    };
    return operations;
}

const std::vector<Operation>& waiting_operations() {
    static const std::vector<Operation> operations = {
        {"queue full", listen_until_full, nothing},
        {"queue full and writing", listen_until_full, write_text},
        {"listening and never reading", look_up_and_listen, nothing},
    };
    return operations;
}

}  // namespace mox::kills
