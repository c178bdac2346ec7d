// The mark "saved statically" of a property, and its record in the store. The mark is changed also
// when the store fails.
#include "lom/save_type.hpp"

#include <lom/persist.h>
#include <pub.h>
#include <shmem.h>

#include "lom/property_state.hpp"
#include "lom/semaphore_guard.hpp"
#include "lom/write_target.hpp"

namespace {

gint32 note_static(const mox::WriteTarget& target) {
    mox::set_state(*target.property, mox::kStaticSaved);
    const gint32 result = cfg_status_save(target.object->object_name, target.name,
                                          mox::lasting_state(*target.property));
    if (result < PER_OK) {
        pub_debug_print(MX_DBG_ERR, "save %s.%s status failed %d\n", target.object->object_name,
                        target.name, result);
    }
    return result;
}

gint32 forget_static(const mox::WriteTarget& target) {
    const gint32 result = cfg_status_remove(target.object->object_name, target.name);
    if (result < PER_OK) {
        pub_debug_print(MX_DBG_ERR, "remove %s.%s status failed %d\n", target.object->object_name,
                        target.name, result);
    }
    mox::clear_state(*target.property, mox::kStaticSaved);
    return result;
}

}  // namespace

gint32 lom_set_property_save_type(OBJ_HANDLE obj_handle, const gchar* property_name,
                                  gboolean is_static) {
    mox::WriteTarget target;
    const gint32 result =
        mox::find_write_target(obj_handle, property_name, mox::Walk::kReadBack, target);
    if (result != MOX_OK) {
        return result;
    }
    if (mox::has_state(*target.property, mox::kStaticSaved) == (is_static != FALSE)) {
        pub_debug_print(MX_DBG_DETAIL, "save type not changed\n");
        return MOX_OK;
    }
    return is_static ? note_static(target) : forget_static(target);
}

gint32 lom_reset_property_status(const gchar* object_name, const gchar* property_name,
                                 guint32 status) {
    if (!shm_is_owner()) {
        return MOX_ERR_NOT_PERMITTED;
    }
    if (object_name == nullptr || property_name == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    const mox::ObjectRef object = mox::find_local(object_name);
    if (!object) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    SERIALISED_PROPERTY_S* property = nullptr;
    const gint32 result = mox::find_property(*object, property_name, &property);
    if (result != MOX_OK) {
        return result;
    }
    const mox::SemaphoreGuard semaphore(*object);
    if (!semaphore) {
        return MOX_ERR_SEMAPHORE;
    }
    if ((status & mox::kStaticSaved) != 0) {
        mox::set_state(*property, mox::kStaticSaved);
    } else {
        mox::clear_state(*property, mox::kStaticSaved);
    }
    return MOX_OK;
}

void _collect_saved_property(gpointer property_name, gpointer property_head,
                             gpointer property_list) {
    const auto* local = static_cast<const LOCAL_PROPERTY_S*>(property_head);
    if (property_name == nullptr || local == nullptr || local->property_ptr == nullptr ||
        property_list == nullptr || mox::has_state(*local->property_ptr, mox::kStaticSaved)) {
        return;
    }
    auto** list = static_cast<GSList**>(property_list);
    *list = g_slist_prepend(*list, g_strdup(static_cast<const gchar*>(property_name)));
}
