// Rebuilding a class's collection object from the class's objects. The lists are copied under their
// lock and used without it. What is added while a rebuild is on its way may be taken for known at
// its end; whoever triggers rebuilds does so when the loading has ended.
#include <classnode.h>
#include <lom/collection.h>
#include <lom/registry.h>
#include <pub.h>

#include "base/glib_ptr.hpp"

namespace {

const gchar* const kFunction = "cls_create_collection";

OBJ_HANDLE handle_of(const GSList* item) {
    return GPOINTER_TO_INT(item->data);
}

// The names of a list of objects, newest first, as an array of strings, oldest first. An element
// without a name, or with one that is no text, has an empty string: values hold nothing else.
mox::VariantPtr make_names(const GSList* objects, guint count) {
    using Slot = gchar[PUB_NAME_LENGTH];
    const mox::GPtr<Slot> slots(g_new0(Slot, count));
    const mox::GPtr<const gchar*> names(g_new0(const gchar*, count));
    guint index = count;
    for (const GSList* item = objects; index > 0 && item != nullptr; item = item->next) {
        gchar* slot = slots.get()[--index];
        names.get()[index] = slot;
        const gchar* object_name = lom_get_object_name(handle_of(item));
        if (object_name == nullptr) {
            continue;
        }
        g_strlcpy(slot, object_name, PUB_NAME_LENGTH);
        if (!g_utf8_validate(slot, -1, nullptr)) {
            slot[0] = '\0';
        }
    }
    GVariant* value = g_variant_new_strv(names.get(), static_cast<gssize>(count));
    return mox::VariantPtr(value == nullptr ? nullptr : g_variant_ref_sink(value));
}

// Hands the names of the new objects to the notification function; nothing without new objects.
void notify(const gchar* class_name, CLS_HANDLE class_handle, NewObjNotifyFunc func) {
    GSList* list = nullptr;
    if (func == nullptr || cls_get_newobj_list(class_handle, &list) != MOX_OK) {
        return;
    }
    const mox::SListPtr new_objects(list);
    GSList* names = nullptr;
    for (const GSList* item = list; item != nullptr; item = item->next) {
        if (handle_of(item) == 0) {
            continue;
        }
        gchar* name = g_strdup(lom_get_object_name(handle_of(item)));
        if (name == nullptr) {
            pub_debug_print(MX_DBG_INFO, "%s: g_strdup failed!(%s).\n", kFunction, class_name);
        }
        names = g_slist_prepend(names, name);
    }
    func(class_handle, names);
    g_slist_free_full(names, g_free);
}

}  // namespace

void cls_create_collection(const gchar* class_name, CLS_HANDLE class_handle,
                           NewObjNotifyFunc func) {
    if (class_name == nullptr || class_handle == nullptr) {
        return;
    }
    const CLASS_STATE_E state = cls_get_state(class_handle);
    if (state != CLASS_OBJECT_ADDED && state != CLASS_OBJECT_DELETED) {
        pub_debug_print(MX_DBG_DETAIL, "%s: class %s no object change.\n", kFunction, class_name);
        return;
    }
    if (cls_get_object_count(class_handle) == 0 && state == CLASS_OBJECT_ADDED) {
        pub_debug_print(MX_DBG_ERR, "%s: object count of class %s is 0.\n", kFunction, class_name);
        return;
    }
    GSList* list = nullptr;
    if (cls_get_object_list(class_handle, &list) != MOX_OK) {
        return;
    }
    const mox::SListPtr objects(list);
    // Of the copy, which may be longer than the list was when it was counted.
    const guint count = g_slist_length(list);
    if (const mox::VariantPtr names = make_names(list, count)) {
        const OBJ_HANDLE made = lom_create_collection(cls_get_class_name(class_handle),
                                                      static_cast<gint32>(count), names.get());
        if (made != 0) {
            cls_set_collection_object(class_handle, made);
        }
        notify(class_name, class_handle, func);
    }
    cls_set_state(class_handle, CLASS_OBJECT_ARCHIVE);
    cls_clear_newobj_list(class_handle);
}
