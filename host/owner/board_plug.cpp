// Listeners hear of new objects before the first values from hardware: an event never names an
// object that its receiver was not told of. They hear of removed ones when those cannot be found in
// the owner any more.
#include "owner/board_plug.hpp"

#include <ipcmsg.h>
#include <lom.h>
#include <moxplat/driver.h>
#include <pub.h>

#include <algorithm>
#include <memory>

#include "model/collections.hpp"
#include "owner/object_notices.hpp"

namespace mox::host {
namespace {

struct TableUnref {
    void operator()(GHashTable* table) const { g_hash_table_unref(table); }
};
using TablePtr = std::unique_ptr<GHashTable, TableUnref>;

void free_names(gpointer names) {
    g_slist_free_full(static_cast<GSList*>(names), g_free);
}

// "OBJECT.PROPERTY" for each name in the table, sorted.
std::vector<std::string> places_in(GHashTable* table) {
    std::vector<std::string> places;
    GHashTableIter iter;
    gpointer object = nullptr;
    gpointer names = nullptr;
    g_hash_table_iter_init(&iter, table);
    while (g_hash_table_iter_next(&iter, &object, &names) != FALSE) {
        for (const auto* name = static_cast<const GSList*>(names); name != nullptr;
             name = name->next) {
            places.push_back(std::string(static_cast<const gchar*>(object)) + '.' +
                             static_cast<const gchar*>(name->data));
        }
    }
    std::sort(places.begin(), places.end());
    return places;
}

}  // namespace

BoardPlug::BoardPlug(ModelIndex& model, RemovedObjects& removed, std::string owner_name,
                     Saved saved, Actions actions)
    : model_(model),
      removed_(removed),
      owner_name_(std::move(owner_name)),
      saved_(saved),
      actions_(std::move(actions)) {}

std::string BoardPlug::plug(const BoardDef& board) {
    const std::vector<const ObjectDef*> objects = model_.objects_on(board);
    std::string cause = build_objects(objects, owner_name_, saved_);
    ipc_msg_newobj_init();
    if (cause.empty()) {
        cause = rebuild_collections(classes_of(objects), gather_new_objects);
    }
    if (cause.empty()) {
        model_.set_plugged(board, true);
        ipc_msg_newobj_event(board.position);
        pub_debug_print(MX_DBG_INSIGHT, "board %s plugged: position %u, %u objects.\n",
                        board.name.c_str(), board.position, static_cast<guint>(objects.size()));
        actions_.refresh();
    } else {
        take_back(board);
        pub_debug_print(MX_DBG_ERR, "board %s not plugged: %s.\n", board.name.c_str(),
                        cause.c_str());
    }
    ipc_msg_newobj_free();
    return cause;
}

std::vector<std::string> BoardPlug::unplug(const BoardDef& board) {
    const std::vector<const ObjectDef*> objects = model_.objects_on(board);
    removed_.note(objects);
    std::vector<std::string> unsaved = remove(board);
    actions_.tell_gone(board.position);
    announce_removal(classes_of(objects), board.position);
    removed_.reclaim();
    pub_debug_print(MX_DBG_INSIGHT, "board %s unplugged: position %u, %u objects.\n",
                    board.name.c_str(), board.position, static_cast<guint>(objects.size()));
    for (const std::string& place : unsaved) {
        pub_debug_print(MX_DBG_DETAIL, "board %s: %s was not saved.\n", board.name.c_str(),
                        place.c_str());
    }
    return unsaved;
}

// Everything of the board leaves the object table, the collections and the driver library.
std::vector<std::string> BoardPlug::remove(const BoardDef& board) {
    const TablePtr unsaved(g_hash_table_new_full(g_str_hash, g_str_equal, g_free, free_names));
    lom_remove_to_garbage(board.position, unsaved.get());
    delete_physical_object(board.position);
    model_.set_plugged(board, false);
    const std::string cause = rebuild_collections(classes_of(model_.objects_on(board)), nullptr);
    if (!cause.empty()) {
        pub_debug_print(MX_DBG_ERR, "board %s: %s.\n", board.name.c_str(), cause.c_str());
    }
    return places_in(unsaved.get());
}

void BoardPlug::take_back(const BoardDef& board) {
    remove(board);
    // A class that has no objects now was not rebuilt, and still takes the removed ones for new.
    for (const std::string& name : classes_of(model_.objects_on(board))) {
        cls_clear_newobj_list(cls_get_class(name.c_str()));
    }
    removed_.reclaim();
}

}  // namespace mox::host
