// New-object notices: gathered per port while a set of objects is created, sent together in one
// message per port. A flush drops nothing, so a failed round can be sent again; only
// ipc_msg_newobj_free forgets.
#include "ipcmsg/newobj_event.hpp"

#include <pub.h>

#include <cstddef>
#include <vector>

#include "base/glib_ptr.hpp"
#include "base/store_value.hpp"
#include "ipcmsg/message.hpp"

GHashTable* g_new_obj_event_hash = nullptr;

static_assert(offsetof(MSG_NEW_OBJ_EVENT_S, position) == 4 &&
              offsetof(MSG_NEW_OBJ_EVENT_S, data) == 8);

namespace {

using Names = std::vector<const gchar*>;

// All strings of a port's values, borrowed from them, in the order they were gathered.
Names gather_names(const GSList* list) {
    Names names;
    for (; list != nullptr; list = list->next) {
        auto* value = static_cast<GVariant*>(list->data);
        const gsize count = g_variant_n_children(value);
        for (gsize index = 0; index < count; ++index) {
            const mox::VariantPtr child(g_variant_get_child_value(value, index));
            names.push_back(g_variant_get_string(child.get(), nullptr));
        }
    }
    return names;
}

// Sends one port its notices.
void flush_port(gpointer key, gpointer value, gpointer user_data) {
    const guint32 position = *static_cast<const guint32*>(user_data);
    const Names names = gather_names(static_cast<const GSList*>(value));
    GVariant* joined = g_variant_new_strv(names.data(), static_cast<gssize>(names.size()));
    if (joined == nullptr) {
        pub_debug_print(MX_DBG_ERR, "g_variant_new_strv return null with count %d.\n",
                        static_cast<gint>(names.size()));
        return;
    }
    const mox::VariantPtr array(g_variant_ref_sink(joined));
    const gsize size = g_variant_get_size(joined);
    const gsize payload_size = size + offsetof(MSG_NEW_OBJ_EVENT_S, data);
    const mox::GPtr<void> message(ipc_msg_alloc(payload_size));
    auto* notice = static_cast<MSG_NEW_OBJ_EVENT_S*>(mox::payload_of(message.get()));
    notice->size = static_cast<guint32>(size);
    notice->position = position;
    mox::store_value(joined, notice->data);
    const gint32 result =
        ipc_msg_send(GPOINTER_TO_INT(key), MOX_MSG_ADD_OBJECT, message.get(), payload_size);
    if (result != MOX_OK) {
        pub_debug_print(MX_DBG_ERR, "send new object event of position %x failed(%d).\n", position,
                        result);
    }
}

// A notice is a value, whose texts are UTF-8. Names are bytes; one that was cut may end in the
// midst of a character.
bool can_be_told(const gchar* name) {
    const bool is_text = g_utf8_validate(name, -1, nullptr) != FALSE;
    if (!is_text) {
        pub_debug_print(MX_DBG_ERR, "no notice of a new object: a name is not UTF-8.\n");
    }
    return is_text;
}

}  // namespace

void _free_obj_list(gpointer list) {
    g_slist_free_full(static_cast<GSList*>(list),
                      reinterpret_cast<GDestroyNotify>(g_variant_unref));
}

void ipc_msg_newobj_init() {
    ipc_msg_newobj_free();
    g_new_obj_event_hash =
        g_hash_table_new_full(g_direct_hash, g_direct_equal, nullptr, _free_obj_list);
}

void ipc_msg_collect_obj(gint32 ipc_port, CLS_HANDLE class_handle, GSList* object_name_list) {
    const gchar* class_name = cls_get_class_name(class_handle);
    if (ipc_port == 0 || class_name == nullptr || object_name_list == nullptr ||
        g_new_obj_event_hash == nullptr || !can_be_told(class_name)) {
        return;
    }
    Names names{"|", class_name};
    for (const GSList* item = object_name_list; item != nullptr; item = item->next) {
        if (item->data != nullptr && can_be_told(static_cast<const gchar*>(item->data))) {
            names.push_back(static_cast<const gchar*>(item->data));
        }
    }
    const bool has_names = names.size() > 2;
    if (!has_names && object_name_list->data != nullptr) {
        return;  // none of them can be told
    }
    GVariant* entry =
        g_variant_ref_sink(g_variant_new_strv(names.data(), static_cast<gssize>(names.size())));
    gpointer key = GINT_TO_POINTER(ipc_port);
    auto* list = static_cast<GSList*>(g_hash_table_lookup(g_new_obj_event_hash, key));
    GSList* added = g_slist_prepend(nullptr, entry);
    if (list != nullptr) {
        g_slist_last(list)->next = added;  // the head, which the table holds, stays
    } else {
        g_hash_table_insert(g_new_obj_event_hash, key, added);
    }
}

void ipc_msg_newobj_event(guint32 position) {
    if (g_new_obj_event_hash != nullptr) {
        g_hash_table_foreach(g_new_obj_event_hash, flush_port, &position);
    }
}

void ipc_msg_newobj_free() {
    if (g_new_obj_event_hash != nullptr) {
        g_hash_table_destroy(g_new_obj_event_hash);
        g_new_obj_event_hash = nullptr;
    }
}
