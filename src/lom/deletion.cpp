// Taking objects out of this process's table: one, or all of a position. The table gives up its
// reference; a record that somebody holds stays until the last holder lets go, and is freed once.
#include "lom/deletion.hpp"

#include <lom/lifecycle.h>
#include <lom/registry.h>
#include <moxplat/driver.h>
#include <pub.h>

#include "base/glib_ptr.hpp"
#include "base/mutex_guard.hpp"
#include "base/published.hpp"
#include "lom/object_ref.hpp"
#include "lom/ref_bitmap.hpp"
#include "lom/table_lock.hpp"

void lom_delete_object(OBJ_HANDLE obj_handle) {
    const mox::ObjectRef object = mox::find_local(obj_handle);
    if (!object) {
        return;
    }
    pub_debug_print(MX_DBG_INSIGHT, "::::pre delete object %s, ref cnt=%d.::::\n",
                    object->object_name, g_atomic_int_get(&object->ref_count));
    // Meanwhile it may have been replaced or have become garbage: the table has no reference then.
    const mox::TableChangeGuard guard;
    if (g_hash_table_lookup(g_local_object_hashtable, lom_handle_to_name(obj_handle)) ==
        object.get()) {
        mox::drop_table_reference(object.get());
    }
}

gboolean _position_traverse_object([[maybe_unused]] gpointer key, gpointer value,
                                   gpointer user_data) {
    auto* object = static_cast<OBJECT_HEAD_S*>(value);
    auto* deletion = static_cast<mox::BatchDeletion*>(user_data);
    if (object->position != deletion->position ||
        mox::read_published(object->status) != OBJECT_NORMAL) {
        return FALSE;
    }
    mox::publish(object->status, OBJECT_MARK_DEL);
    if (!mox::drop_table_reference(object)) {
        return FALSE;
    }
    deletion->keys = g_slist_prepend(deletion->keys, key);
    deletion->unheld = g_slist_prepend(deletion->unheld, object);
    return TRUE;
}

void lom_batch_delete(guint32 position, ForeachObjfunc foreach_func) {
    if (position == 0 || mox::read_published(g_local_object_hashtable) == nullptr) {
        return;
    }
    lom_foreach_object(foreach_func, GUINT_TO_POINTER(position));
    const mox::TableChangeGuard guard;
    mox::BatchDeletion deletion{position, nullptr, nullptr};
    g_hash_table_foreach_steal(g_local_object_hashtable, _position_traverse_object, &deletion);
    // Freed behind the walk: what ends with a record may look into the table, or end another one.
    g_slist_free_full(deletion.unheld, _free_object_head);
    g_slist_free_full(deletion.keys, mox::free_table_key);
    delete_physical_object(position);
}

void lom_detach_objects() {
    // Never released: no thread of a process that is leaving touches its objects again.
    g_rec_mutex_lock(&g_obj_hash_mutex);
    mox::take_lookup_locks();
    lom_batch_unref(g_bitmap_id);
}
