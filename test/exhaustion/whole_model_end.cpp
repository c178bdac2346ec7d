// Boards that are pulled while a module still holds a copy of what was on them, and plugged again;
// and the end of a model.
#include <lom.h>

#include "../unit/lom/write_fixture.hpp"
#include "whole_model.hpp"

namespace mox::test {
namespace {

void free_names(gpointer names) {
    g_slist_free_full(static_cast<GSList*>(names), g_free);
}

// A batch deletion leaves the classes to its caller.
void leave_class(const gchar*, OBJ_HANDLE handle, gpointer position) {
    if (lom_get_position(handle) == GPOINTER_TO_UINT(position)) cls_del_object(handle);
}

gsize garbage_records() {
    return g_recycle_hashtable == nullptr ? 0 : g_hash_table_size(g_recycle_hashtable);
}

}  // namespace

void WholeModel::replug() {
    // Both models may have a board here: positions tell them apart by the suffix.
    const std::string held = named("Board1");
    OBJECT_HEAD_S* const record = record_of(held);
    guint32* const bits = record == nullptr ? nullptr : record->ref_bitmap;
    if (bits != nullptr) lom_set_reference_bitmap(bits, 5);
    GHashTable* const unsaved = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, free_names);
    const gsize before = garbage_records();
    lom_remove_to_garbage(board_position(), unsaved);
    EXPECT_EQ(lom_get_object_handle(held.c_str()), 0);
    lom_reclaim_garbage();
    EXPECT_EQ(garbage_records() - before, bits == nullptr ? 0U : 1U)
        << "garbage that a module holds a copy of stays, all else goes";
    gives("ipc_msg_delobj_event", ipc_msg_delobj_event(101, board_position()), message_codes);
    collect("Fan");
    build_board(board_position(), "Board");
    collect("Fan");
    if (bits != nullptr) lom_clear_reference_bitmap(bits, 5);
    lom_reclaim_garbage();
    EXPECT_EQ(garbage_records(), before);
    g_hash_table_destroy(unsaved);
    lom_batch_delete(spare_position(), leave_class);
    for (const char* const part : {"Spare1", "Spare2"}) {
        EXPECT_EQ(lom_get_object_handle(named(part).c_str()), 0);
    }
    build_board(spare_position(), "Spare");
}

void WholeModel::end() {
    // What stands for another object goes first.
    for (const char* const object :
         {"Other", "View", "Sum", "Fan2", "Fan1", "Board1", "Board2", "Spare1", "Spare2", "Tacho",
          "Cpld", "Fan:C", "Sensor:C", "Loner:C"}) {
        const std::string whole = object;
        const std::string::size_type end = whole.find(':');
        const std::string name =
            end == std::string::npos ? named(whole) : named(whole.substr(0, end)) + ":C";
        const OBJ_HANDLE handle = lom_get_object_handle(name.c_str());
        if (handle == 0) continue;
        cls_del_object(handle);
        lom_delete_object(handle);
        EXPECT_EQ(lom_get_object_handle(name.c_str()), 0) << name;
    }
}

}  // namespace mox::test
