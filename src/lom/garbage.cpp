// Records whose objects are gone from the model while other processes still hold copies. They keep
// their pool memory until the last copy's bit is cleared.
#include "lom/garbage.hpp"

#include <classnode.h>
#include <glib/gprintf.h>
#include <lom/lifecycle.h>
#include <lom/registry.h>
#include <moxplat/bounded.h>
#include <moxplat/osal.h>
#include <pub.h>

#include <algorithm>

#include "base/glib_ptr.hpp"
#include "base/mutex_guard.hpp"
#include "base/published.hpp"
#include "lom/dump.hpp"
#include "lom/object_table.hpp"
#include "lom/release.hpp"
#include "lom/save_type.hpp"
#include "lom/table_lock.hpp"

GHashTable* g_recycle_hashtable = nullptr;

namespace {

constexpr gsize kBitmapWords = 4;
constexpr int kKeyLength = 40;

// A key that no other garbage has: two generations of one name differ in the tick, or, within one
// tick, in what is added to it. The tick is always whole: a name that leaves no room for it is cut.
mox::CharPtr make_key(const gchar* object_name) {
    const gulong tick = osal_tick_get();
    gchar key[kKeyLength];
    for (gulong added = 0;; ++added) {
        const int digits = g_snprintf(key, sizeof(key), "%lx", tick + added);
        const int name_room = std::min<int>(PUB_NAME_LENGTH, kKeyLength - 1 - digits);
        snprintf_s(key, sizeof(key), "%.*s%lx", name_room, object_name, tick + added);
        if (!g_hash_table_contains(g_recycle_hashtable, key)) {
            return mox::CharPtr(g_strdup(key));
        }
    }
}

void collect_unsaved(const OBJECT_HEAD_S& object, GHashTable* collect_table) {
    GSList* names = nullptr;
    if (object.property_hash != nullptr) {
        g_hash_table_foreach(object.property_hash, _collect_saved_property, &names);
    }
    if (names != nullptr) {
        g_hash_table_insert(collect_table, g_strdup(object.object_name), names);
    }
}

// Other processes clear their bits at any moment, so each word is read with full barriers.
bool has_copies(const guint32* ref_bitmap) {
    for (gsize word = 0; word < kBitmapWords; ++word) {
        if (g_atomic_int_get(&ref_bitmap[word]) != 0) {
            return true;
        }
    }
    return false;
}

struct Unheld {
    GSList* keys;
    GSList* records;
};

gboolean take_unheld(gpointer key, gpointer value, gpointer user_data) {
    if (!_garbage_unref(key, value, nullptr)) {
        return FALSE;
    }
    auto* unheld = static_cast<Unheld*>(user_data);
    unheld->keys = g_slist_prepend(unheld->keys, key);
    unheld->records = g_slist_prepend(unheld->records, value);
    return TRUE;
}

// One round: takes out what nobody holds and frees it without a lock, since what ends with a record
// may look into the object table. Returns whether there was any.
bool reclaim_once() {
    Unheld unheld = {};
    {
        const mox::RecursiveGuard guard(g_recycle_hash_mutex);
        if (g_recycle_hashtable != nullptr) {
            g_hash_table_foreach_steal(g_recycle_hashtable, take_unheld, &unheld);
        }
    }
    const bool is_any = unheld.records != nullptr;
    g_slist_free_full(unheld.records, _free_object_head);
    g_slist_free_full(unheld.keys, g_free);
    return is_any;
}

}  // namespace

gboolean _mark_removed_object(gpointer key, gpointer value, gpointer user_data) {
    auto* object = static_cast<OBJECT_HEAD_S*>(value);
    const auto* removal = static_cast<const mox::Removal*>(user_data);
    if (object->position != removal->position) {
        return FALSE;
    }
    const mox::RecursiveGuard guard(g_recycle_hash_mutex);
    if (g_recycle_hashtable == nullptr) {
        g_recycle_hashtable =
            g_hash_table_new_full(g_str_hash, g_str_equal, g_free, _free_object_head);
    }
    // The garbage table's reference is the object table's: with it the record outlives the lookups
    // below, which would otherwise be the last to hold a deleted one.
    if (!mox::claim_table_reference(object)) {
        return FALSE;
    }
    pub_debug_print(MX_DBG_DETAIL, "::::mark del object %s, %p.::::\n", object->object_name,
                    static_cast<void*>(object));
    cls_del_object(lom_get_object_handle(object->object_name));
    mox::publish(object->status, OBJECT_MARK_DEL);
    mox::CharPtr garbage_key = make_key(object->object_name);
    mox::free_table_key(key);
    g_hash_table_insert(g_recycle_hashtable, garbage_key.release(), object);
    collect_unsaved(*object, removal->collect_table);
    return TRUE;
}

gboolean _garbage_unref([[maybe_unused]] gpointer key, gpointer value,
                        [[maybe_unused]] gpointer user_data) {
    auto* object = static_cast<OBJECT_HEAD_S*>(value);
    // The count first: whoever makes a copy sets its bit before letting go, and nobody finds
    // garbage anew.
    return object->ref_bitmap != nullptr && g_atomic_int_get(&object->ref_count) < 2 &&
           !has_copies(object->ref_bitmap);
}

void lom_remove_to_garbage(guint32 position, GHashTable* collect_table) {
    if (position == 0) {
        pub_debug_print(MX_DBG_ERR, "delete objects of position %d\n", static_cast<gint>(position));
        return;
    }
    if (collect_table == nullptr) {
        return;
    }
    const mox::TableChangeGuard guard;
    if (g_local_object_hashtable == nullptr) {
        return;
    }
    mox::Removal removal{position, collect_table};
    g_hash_table_foreach_steal(g_local_object_hashtable, _mark_removed_object, &removal);
}

void lom_reclaim_garbage() {
    // A record that stood for another one held that: freeing the one frees the other, too.
    while (reclaim_once()) {
    }
}

void lom_list_garbage(FILE* stream) {
    const mox::RecursiveGuard guard(g_recycle_hash_mutex);
    if (stream == nullptr || g_recycle_hashtable == nullptr) {
        return;
    }
    g_fprintf(stream, "========================garbage begin======================\n");
    g_hash_table_foreach(g_recycle_hashtable, _dump_hash_object, stream);
    g_fprintf(stream, "========================garbage end=========================\n");
}
