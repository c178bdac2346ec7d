// Objects that come, go and are looked at: made, deleted, put into the garbage, copied, found by
// name and alias, walked over, listed, bound to data.
#include <pub.h>
#include <shmem.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>

#include "../run_options.hpp"
#include "expect.hpp"

namespace mox::test {
namespace {

OBJ_HANDLE handle(const std::string& name) {
    return lom_name_to_handle(name.c_str());
}

// Every kind of call on an object that is gone has one answer.
void expect_gone(Player& player, const std::string& name) {
    const OBJ_HANDLE object = handle(name);
    const std::string what = "a call on the removed object " + name;
    const auto gone = [&](gint32 code) {
        expect_code(player, code, {MOX_ERR_OBJECT_NOT_FOUND}, what);
        ++player.gone_answers;
    };
    GVariant* value = nullptr;
    gone(lom_get_property_value(object, "Label", TRUE, &value, FALSE));
    TLV_S bytes = {};
    gone(lom_get_property_data(object, "Label", FALSE, &bytes, FALSE));
    g_free(bytes.data);
    gchar label[] = "Label";
    GSList names = {label, nullptr};
    GSList* values = nullptr;
    gone(lom_multiget_property_value(object, &names, &values));
    GVariant* const text = g_variant_ref_sink(g_variant_new_string("gone"));
    gone(lom_set_property_value(object, "Label", text, PER_MODE_NOSUPPORT, FALSE));
    gone(lom_override_property_value(object, "Label", text, PROPERTY_OVERRIDE, nullptr));
    gone(lom_property_event(object, "Label", text, TRUE));
    g_variant_unref(text);
    gone(lom_realloc_property(name.c_str(), "Label", "s", 5, "gone"));
    gchar class_name[PUB_NAME_LENGTH];
    gone(lom_get_class_name(object, class_name, sizeof class_name));
    gone(lom_lock_object(object));
    gone(lom_bind_alias(object, 9));
    gone(lom_bind_data(object, &player, nullptr));
    gone(lom_count_event(object, "Label", TRUE));
    gone(lom_foreach_property(
        object, [](OBJ_HANDLE, const gchar*, GVariant*, gpointer) {}, &player));
    guint32 size = 0;
    gpointer copy = nullptr;
    gone(lom_copy_object(name.c_str(), &size, &copy, player.module_id(), FALSE));
    require(lom_get_object_handle(name.c_str()) == 0, name + " is found after its removal");
}

// A thread's own temporary objects: made, replaced, deleted one by one or with their position.
void change_temps(Player& player) {
    const Fleeting& own = player.model.fleeting(static_cast<std::size_t>(player.thread));
    if (player.chance(70)) {
        const std::lock_guard guard{
            player.shared.building[static_cast<std::size_t>(player.thread)]};
        Model::make_temp(own.temps[player.below(2)], own.temp_position);
        return;
    }
    lom_batch_delete(own.temp_position, nullptr);
    for (const std::string& name : own.temps) expect_gone(player, name);
}

// Deletes by handle, also what another thread made. One's own is gone as soon as the last thread
// that holds it lets go.
void delete_temp(Player& player) {
    const auto whose = player.below(kThreads);
    const std::string& name = player.model.fleeting(whose).temps[player.below(2)];
    {
        const std::lock_guard guard{player.shared.building[whose]};
        lom_delete_object(handle(name));
    }
    if (whose != static_cast<std::size_t>(player.thread)) return;
    while (lom_get_object_handle(name.c_str()) != 0) std::this_thread::yield();
    expect_gone(player, name);
}

void reclaim(Player&) {
    lom_reclaim_garbage();
}

// A thread's own board: plugged with two objects, then removed into the garbage.
void change_boards(Player& player) {
    const Fleeting& own = player.model.fleeting(static_cast<std::size_t>(player.thread));
    if (!player.has_boards) {
        for (const std::string& name : own.boards) {
            Model::make_board_object(name, own.board_position);
        }
        player.has_boards = true;
        return;
    }
    GHashTable* const unsaved = g_hash_table_new_full(
        g_str_hash, g_str_equal, g_free,
        [](gpointer names) { g_slist_free_full(static_cast<GSList*>(names), g_free); });
    lom_remove_to_garbage(own.board_position, unsaved);
    player.has_boards = false;
    require(g_hash_table_size(unsaved) == 2, "a removed board had other objects than its two");
    g_hash_table_unref(unsaved);
    for (const std::string& name : own.boards) expect_gone(player, name);
    if (player.chance(50)) lom_reclaim_garbage();
}

// Copies as the owner hands them to a module, whose bit keeps what the copy points to. Temporary
// objects are not copied here: a deletion by the owner waits for no copy.
void copy_object(Player& player) {
    const std::string name = player.chance(50)
                                 ? player.model.fans()[player.below(4)]
                                 : player.model.fleeting(player.below(kThreads)).boards[0];
    guint32 size = 0;
    gpointer copy = nullptr;
    const gint32 code = lom_copy_object(name.c_str(), &size, &copy, player.module_id(), FALSE);
    expect_code(player, code, ok_or_gone(name), "a copy of " + name);
    if (code != MOX_OK) return;
    auto* const record = static_cast<OBJECT_HEAD_S*>(copy);
    std::this_thread::yield();
    require(size == sizeof *record && name == record->object_name &&
                std::strcmp(record->property_entry->name, "Label") == 0,
            "the copy of " + name + " points to memory that was given back");
    lom_clear_reference_bitmap(record->ref_bitmap, player.module_id());
    g_free(copy);
}

void copy_several(Player& player) {
    GSList* handles = nullptr;
    for (const std::string& fan : player.model.fans()) {
        handles = g_slist_prepend(handles, GINT_TO_POINTER(handle(fan)));
    }
    GSList* records = nullptr;
    expect_code(player, lom_list_to_rpc(handles, player.module_id(), &records), {MOX_OK},
                "copies of all fans");
    require(g_slist_length(records) == 4, "not every fan was copied");
    g_slist_free_full(records, g_free);
    g_slist_free(handles);
    lom_batch_unref(player.module_id());
}

void look_up(Player& player) {
    const std::string& name = any_label(player);
    const OBJ_HANDLE found = lom_get_object_handle(name.c_str());
    require(found == handle(name) || (found == 0 && !is_steady(name)),
            "a look-up of " + name + " gave the handle " + std::to_string(found));
    gchar text[PUB_NAME_LENGTH];
    const gint32 code = lom_get_class_name(handle(name), text, sizeof text);
    expect_code(player, code, ok_or_gone(name), "the class of " + name);
    require(code != MOX_OK || (name[0] == text[0]), name + " is said to be a " + text);
    gchar type[PUB_TYPE_LENGTH];
    expect_code(player, lom_get_property_type(handle(name), "Label", type, sizeof type),
                ok_or_gone(name), "a type of " + name);
    lom_get_position(handle(name));
    lom_is_writable(handle(name));
}

void use_alias(Player& player) {
    const std::string& name = any_label(player);
    const auto number = static_cast<guint32>(player.below(4));
    switch (player.below(4)) {
        case 0:
            expect_code(player, lom_bind_alias(handle(name), number), ok_or_gone(name), "an alias");
            break;
        case 1:
            expect_code(player, lom_unbind_alias(handle(name), number), ok_or_gone(name),
                        "the end of an alias");
            break;
        case 2:
            lom_unbind_all_alias(handle(name));
            break;
        default:
            lom_get_data_with_alias("Fan", number);
    }
    const OBJ_HANDLE found = lom_get_with_alias("Fan", number);
    require(found == 0 || is_steady(lom_handle_to_name(found)),
            "an alias of a fan found " + std::to_string(found));
}

void bind_data(Player& player) {
    const std::string& name = any_label(player);
    const gint32 code = lom_bind_data(handle(name), &player.shared, [](gpointer data) {
        ++static_cast<Shared*>(data)->destroyed;
    });
    expect_code(player, code, ok_or_gone(name), "binding data to " + name);
    if (code == MOX_OK) ++player.shared.bound;
    lom_get_binded_data(handle(name));
}

void walk_objects(Player& player) {
    int fans = 0;
    lom_foreach_object(
        [](const gchar* class_name, OBJ_HANDLE, gpointer count) {
            if (std::strcmp(class_name, "Fan") == 0) ++*static_cast<int*>(count);
        },
        &fans);
    require(fans == 4, "a walk met " + std::to_string(fans) + " fans, not 4");
    if (player.chance(10)) lom_create_has_object(handle("FanSpeed"));
}

void dump(Player& player) {
    char* printed = nullptr;
    std::size_t size = 0;
    FILE* const stream = open_memstream(&printed, &size);
    switch (player.below(4)) {
        case 0:
            lom_list_objects(stream);
            break;
        case 1:
            cls_debug_print(stream);
            break;
        case 2:
            shm_dump(stream);
            break;
        default:
            lom_list_garbage(stream), std::fputs("listed", stream);
    }
    std::fclose(stream);
    require(size != 0, "a dump printed nothing");
    std::free(printed);
}

}  // namespace

const std::vector<NamedCall>& object_calls() {
    static const std::vector<NamedCall> calls = {
        {"change temporary objects", 4, change_temps},
        {"delete a temporary object", 4, delete_temp},
        {"change a board", 5, change_boards},
        {"reclaim garbage", 2, reclaim},
        {"copy", 5, copy_object},
        {"copy several", 2, copy_several},
        {"look up", 8, look_up},
        {"aliases", 4, use_alias},
        {"bound data", 3, bind_data},
        {"walk objects", 2, walk_objects},
        {"dump", 1, dump},
    };
    return calls;
}

}  // namespace mox::test
