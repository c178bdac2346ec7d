// The private part of a class: its change state, its owner and its objects. Only the pool's owner
// has it; everywhere else these functions see no private record and do nothing. The class-table
// lock guards the lists and the state that goes with them.
#include <lom/registry.h>
#include <pub.h>

#include "classnode/class_table.hpp"

namespace {

PRIVATE_CLASS_DATA_S* private_of(CLS_HANDLE class_handle) {
    return class_handle == nullptr ? nullptr : class_handle->priv;
}

// A shallow copy of one of the two lists.
gint32 copy_list(CLS_HANDLE class_handle, GSList* PRIVATE_CLASS_DATA_S::*list, GSList** out) {
    if (class_handle == nullptr || out == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    const PRIVATE_CLASS_DATA_S* priv = class_handle->priv;
    if (priv == nullptr) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    const mox::MutexGuard guard(class_table_lock());
    if (priv->*list == nullptr) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    *out = g_slist_copy(priv->*list);
    return MOX_OK;
}

void log_unknown_class(const gchar* class_name, OBJ_HANDLE obj_handle) {
    pub_debug_print(MX_DBG_ERR, "class %s of object %s not found.\n", class_name,
                    lom_get_object_name(obj_handle));
}

}  // namespace

CLASS_STATE_E cls_get_state(CLS_HANDLE class_handle) {
    const PRIVATE_CLASS_DATA_S* priv = private_of(class_handle);
    if (priv == nullptr) {
        return CLASS_OBJECT_NULL;
    }
    const mox::MutexGuard guard(class_table_lock());
    return priv->state;
}

void cls_set_state(CLS_HANDLE class_handle, CLASS_STATE_E state) {
    if (PRIVATE_CLASS_DATA_S* priv = private_of(class_handle)) {
        const mox::MutexGuard guard(class_table_lock());
        priv->state = state;
    }
}

OBJ_HANDLE cls_get_collection_object(CLS_HANDLE class_handle) {
    const PRIVATE_CLASS_DATA_S* priv = private_of(class_handle);
    return priv == nullptr ? 0 : priv->collection_object;
}

void cls_set_collection_object(CLS_HANDLE class_handle, OBJ_HANDLE collection_object) {
    if (PRIVATE_CLASS_DATA_S* priv = private_of(class_handle)) {
        priv->collection_object = collection_object;
    }
}

MDL_HANDLE cls_get_module(CLS_HANDLE class_handle) {
    const PRIVATE_CLASS_DATA_S* priv = private_of(class_handle);
    return priv == nullptr ? nullptr : priv->owned_module;
}

void cls_set_module(CLS_HANDLE class_handle, MDL_HANDLE owned_module) {
    if (PRIVATE_CLASS_DATA_S* priv = private_of(class_handle)) {
        priv->owned_module = owned_module;
    }
}

void cls_add_object(const gchar* class_name, OBJ_HANDLE obj_handle) {
    if (class_name == nullptr || obj_handle == 0) {
        return;
    }
    CLS_HANDLE class_handle = cls_get_class(class_name);
    if (class_handle == nullptr) {
        log_unknown_class(class_name, obj_handle);
        return;
    }
    if (PRIVATE_CLASS_DATA_S* priv = class_handle->priv) {
        const mox::MutexGuard guard(class_table_lock());
        priv->object_list = g_slist_prepend(priv->object_list, GINT_TO_POINTER(obj_handle));
        priv->new_object_list = g_slist_prepend(priv->new_object_list, GINT_TO_POINTER(obj_handle));
        priv->state = CLASS_OBJECT_ADDED;
    }
}

void cls_del_object(OBJ_HANDLE obj_handle) {
    gchar class_name[PUB_NAME_LENGTH];
    if (obj_handle == 0 || lom_get_class_name(obj_handle, class_name, PUB_NAME_LENGTH) != MOX_OK) {
        return;
    }
    CLS_HANDLE class_handle = cls_get_class(class_name);
    if (class_handle == nullptr) {
        log_unknown_class(class_name, obj_handle);
        return;
    }
    if (PRIVATE_CLASS_DATA_S* priv = class_handle->priv) {
        const mox::MutexGuard guard(class_table_lock());
        // new_object_list keeps the object: its notice is still owed to the listeners.
        priv->object_list = g_slist_remove(priv->object_list, GINT_TO_POINTER(obj_handle));
        priv->state = CLASS_OBJECT_DELETED;
    }
}

guint32 cls_get_object_count(CLS_HANDLE class_handle) {
    const PRIVATE_CLASS_DATA_S* priv = private_of(class_handle);
    if (priv == nullptr) {
        return 0;
    }
    const mox::MutexGuard guard(class_table_lock());
    return g_slist_length(priv->object_list);
}

gint32 cls_get_object_list(CLS_HANDLE class_handle, GSList** object_list) {
    return copy_list(class_handle, &PRIVATE_CLASS_DATA_S::object_list, object_list);
}

gint32 cls_get_newobj_list(CLS_HANDLE class_handle, GSList** object_list) {
    return copy_list(class_handle, &PRIVATE_CLASS_DATA_S::new_object_list, object_list);
}

void cls_clear_newobj_list(CLS_HANDLE class_handle) {
    if (PRIVATE_CLASS_DATA_S* priv = private_of(class_handle)) {
        const mox::MutexGuard guard(class_table_lock());
        g_slist_free(priv->new_object_list);
        priv->new_object_list = nullptr;
    }
}
