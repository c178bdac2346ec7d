// The text dump of the class registry. Its fixed texts are read by scripts; so is the oddity that a
// node without ports prints no line end, which leaves the next name on the same line.
#include <glib/gprintf.h>
#include <lom/registry.h>

#include "base/published.hpp"
#include "classnode/class_dump.hpp"
#include "classnode/class_table.hpp"

namespace {

void dump_objects(FILE* stream, const PRIVATE_CLASS_DATA_S* priv) {
    g_fprintf(stream, "owned module   : %p\n", priv->owned_module);
    gint number = 1;
    for (const GSList* item = priv->object_list; item != nullptr; item = item->next, ++number) {
        g_fprintf(stream, "object %2d      : %s\n", number,
                  lom_get_object_name(GPOINTER_TO_INT(item->data)));
    }
}

void dump_listeners(FILE* stream, const SERIALIZED_LISTENER_LIST_S* node) {
    g_fprintf(stream, "listened       : ");
    g_fprintf(stream, "%s: ", node->property_name);
    for (; node != nullptr; node = mox::read_published(node->next)) {
        const LISTENER_ARRAY_HEAD_S* array = mox::read_published(node->listener_array);
        if (array != nullptr) {
            const guint8 count = mox::read_published(array->count);
            for (guint8 index = 0; index < count; ++index) {
                g_fprintf(stream, "%d, ", static_cast<gint>(array->ipc_port[index]));
            }
            g_fprintf(stream, "\n");
        }
        if (const SERIALIZED_LISTENER_LIST_S* next = mox::read_published(node->next)) {
            if (array != nullptr) {
                g_fprintf(stream, "               : ");
            }
            g_fprintf(stream, "%s: ", next->property_name);
        }
    }
}

}  // namespace

void _traverse_local_class(gpointer key, gpointer value, gpointer user_data) {
    auto* stream = static_cast<FILE*>(user_data);
    const auto* class_handle = static_cast<const MODULE_CLASS_NODE_S*>(value);
    g_fprintf(stream, "--------------------- %-20s-----------------\n",
              static_cast<const gchar*>(key));
    if (class_handle->priv != nullptr) {
        dump_objects(stream, class_handle->priv);
    }
    const SHARE_CLASS_DATA_S* share = mox::read_published(class_handle->share);
    const SERIALIZED_LISTENER_LIST_S* node =
        share == nullptr ? nullptr : mox::read_published(share->listener_array);
    if (node != nullptr) {
        dump_listeners(stream, node);
    }
}

void cls_debug_print(FILE* stream) {
    if (stream == nullptr) {
        return;
    }
    g_fprintf(stream, "=====================class info============================\n");
    const mox::MutexGuard guard(class_table_lock());
    if (g_class_hashtable != nullptr) {
        g_hash_table_foreach(g_class_hashtable, _traverse_local_class, stream);
    }
}

void dump_traverse_class(gpointer data, gpointer user_data) {
    const gchar* class_name = cls_get_class_name(static_cast<CLS_HANDLE>(data));
    if (class_name != nullptr && user_data != nullptr) {
        g_fprintf(static_cast<FILE*>(user_data), "%s, ", class_name);
    }
}
