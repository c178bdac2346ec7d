// Copies of records for other processes. Everything a record points to lies in the pool, so its
// bytes are enough; the receiver's bit in the bitmap tells the owner that a copy is out.
#include <lom/sharing.h>
#include <pub.h>

#include <cstddef>

#include "base/bounded_copy.hpp"
#include "base/published.hpp"
#include "lom/object_ref.hpp"

namespace {

// Copies what all processes share of a record. The fields behind are local to a process: other
// threads change them meanwhile, and the receiver starts with its own. The owning module may be set
// at any time.
gint32 copy_shared_fields(OBJECT_HEAD_S& copy, const OBJECT_HEAD_S& object) {
    constexpr gsize kHead = offsetof(OBJECT_HEAD_S, module);
    constexpr gsize kTail = offsetof(OBJECT_HEAD_S, position);
    constexpr gsize kTailSize = offsetof(OBJECT_HEAD_S, refered_object) - kTail;
    const gint32 result = memmove_s(&copy, sizeof(copy), &object, kHead);
    if (result != 0) {
        return result;
    }
    copy.module = mox::read_published(object.module);
    return memmove_s(&copy.position, sizeof(copy) - kTail, &object.position, kTailSize);
}

// A copy begins like a fresh record: one reference, nothing bound, no property table, no reference
// to another record.
void start_local_fields(OBJECT_HEAD_S& copy, gboolean isowner) {
    copy.ref_count = 1;
    copy.status = OBJECT_NORMAL;
    copy.capability = isowner ? OBJECT_READ_WRITE : OBJECT_READ_ONLY;
}

}  // namespace

gint32 lom_copy_object(const gchar* object_name, guint32* size, gpointer* object_info,
                       gint32 module_id, gboolean isowner) {
    if (object_name == nullptr || size == nullptr || object_info == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    const mox::ObjectRef object = mox::find_local(object_name);
    if (!object || mox::read_published(object->status) != OBJECT_NORMAL) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    auto* copy = g_new0(OBJECT_HEAD_S, 1);
    *object_info = copy;
    *size = sizeof(OBJECT_HEAD_S);
    MOX_LOG_COPY(MOX_COPY_FAILED_EARLY_STOP, "lom", copy_shared_fields(*copy, *object));
    start_local_fields(*copy, isowner);
    lom_set_reference_bitmap(object->ref_bitmap, module_id);
    return MOX_OK;
}

gint32 lom_list_to_rpc(GSList* handle_list, gint32 module_id, GSList** rpc_list) {
    if (rpc_list == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    *rpc_list = nullptr;
    gint32 result = MOX_OK;
    for (const GSList* item = handle_list; item != nullptr; item = item->next) {
        guint32 size = 0;
        gpointer copy = nullptr;
        result = lom_copy_object(lom_handle_to_name(GPOINTER_TO_INT(item->data)), &size, &copy,
                                 module_id, TRUE);
        if (result != MOX_OK) {
            break;
        }
        RPC_DATA_S* record = pub_data_to_rpc(size, nullptr, copy);
        g_free(copy);
        if (record == nullptr) {
            break;  // the shorter list is a success
        }
        *rpc_list = g_slist_prepend(*rpc_list, record);
    }
    *rpc_list = g_slist_reverse(*rpc_list);
    return result;
}
