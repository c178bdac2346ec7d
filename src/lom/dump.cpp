// Traversal of this process's objects and their text dumps. The fixed texts are read by scripts.
#include "lom/dump.hpp"

#include <classnode.h>
#include <glib/gprintf.h>
#include <lom/registry.h>
#include <moxplat/driver.h>

#include "base/glib_ptr.hpp"
#include "base/mutex_guard.hpp"
#include "base/published.hpp"
#include "lom/alias.hpp"
#include "lom/object_table.hpp"

namespace {

struct Visit {
    ForeachObjfunc func;
    gpointer user_data;
};

struct PropertyDump {
    FILE* stream;
    const gchar* class_name;
};

void visit_object([[maybe_unused]] gpointer key, gpointer value, gpointer user_data) {
    const auto* object = static_cast<const OBJECT_HEAD_S*>(value);
    const auto* visit = static_cast<const Visit*>(user_data);
    if (object != nullptr) {
        visit->func(object->class_name, lom_name_to_handle(object->object_name), visit->user_data);
    }
}

// One line per property that has sent or received events or is listened to; nothing for a quiet
// one.
void dump_property(gpointer key, gpointer value, gpointer user_data) {
    const auto* name = static_cast<const gchar*>(key);
    const auto* local = static_cast<const LOCAL_PROPERTY_S*>(value);
    const auto* dump = static_cast<const PropertyDump*>(user_data);
    GSList* list = nullptr;
    if (cls_get_listener_list(dump->class_name, name, &list) != MOX_OK) {
        return;
    }
    const mox::SListPtr ports(list);
    const guint32 sent = mox::read_published(local->change_cnt);
    const guint32 received = mox::read_published(local->receive_cnt);
    if (sent == 0 && received == 0 && list == nullptr) {
        return;
    }
    g_fprintf(dump->stream, ".%-14s", name);
    if (sent != 0) {
        g_fprintf(dump->stream, " : send event count: %d", static_cast<gint>(sent));
    }
    if (received != 0) {
        g_fprintf(dump->stream, " : recv event count: %d", static_cast<gint>(received));
    }
    if (list != nullptr) {
        g_fprintf(dump->stream, " : listened by port : ");
    }
    for (const GSList* item = list; item != nullptr; item = item->next) {
        g_fprintf(dump->stream, "%d, ", GPOINTER_TO_INT(item->data));
    }
    g_fprintf(dump->stream, "\n");
}

}  // namespace

void _dump_hash_object([[maybe_unused]] gpointer key, gpointer value, gpointer user_data) {
    auto* stream = static_cast<FILE*>(user_data);
    const auto* object = static_cast<const OBJECT_HEAD_S*>(value);
    g_fprintf(stream, "----------------- %-30s-----------\n", object->object_name);
    g_fprintf(stream, "semid          : %d\n", object->semid);
    g_fprintf(stream, "sem member     : %d\n", object->sem_member);
    g_fprintf(stream, "ref count      : %d\n", g_atomic_int_get(&object->ref_count));
    if (object->property_hash != nullptr) {
        PropertyDump dump{stream, object->class_name};
        g_hash_table_foreach(object->property_hash, dump_property, &dump);
    }
}

void lom_foreach_object(ForeachObjfunc func, gpointer user_data) {
    if (func == nullptr || mox::read_published(g_local_object_hashtable) == nullptr) {
        return;
    }
    Visit visit{func, user_data};
    _foreach_object_copy(visit_object, &visit);
}

void lom_list_objects(FILE* stream) {
    if (stream == nullptr || mox::read_published(g_local_object_hashtable) == nullptr) {
        return;
    }
    g_fprintf(stream, "==========================object===========================\n");
    {
        const mox::RecursiveGuard guard(g_obj_hash_mutex);
        g_hash_table_foreach(g_local_object_hashtable, _dump_hash_object, stream);
    }
    mox::dump_aliases(stream);
    dump_physical_object(stream);
}

void lom_dump_reginfo(FILE* stream, const MODULE_REG_INFO_S* info) {
    if (stream == nullptr || info == nullptr) {
        return;
    }
    g_fprintf(stream, "module id      : %d\n", info->module_id);
    g_fprintf(stream, "pid            : %d\n", info->pid);
    g_fprintf(stream, "rpc port       : %d\n", info->rpc_port);
    g_fprintf(stream, "ipc port       : %d\n", info->msg_que_id);
}
