// The rebuild gives no status, so what it made is read back.
#include "model/collections.hpp"

#include <lom.h>
#include <shmem.h>

namespace mox::host {
namespace {

// Whether the collection lists exactly these objects. objects: newest first; the list is oldest
// first.
bool lists(GVariant* names, const GSList* objects) {
    gsize at = g_variant_n_children(names);
    bool is_same = g_slist_length(const_cast<GSList*>(objects)) == at;
    for (; is_same && objects != nullptr; objects = objects->next) {
        const gchar* name = nullptr;
        g_variant_get_child(names, --at, "&s", &name);
        is_same = g_strcmp0(name, lom_get_object_name(GPOINTER_TO_INT(objects->data))) == 0;
    }
    return is_same;
}

// True for a class without objects, too.
bool is_up_to_date(CLS_HANDLE class_handle) {
    GSList* objects = nullptr;
    if (cls_get_object_list(class_handle, &objects) != MOX_OK) {
        return true;
    }
    GVariant* names = nullptr;
    const bool is_read = lom_get_property_value(cls_get_collection_object(class_handle), "List",
                                                FALSE, &names, FALSE) == MOX_OK;
    const bool is_good = is_read && lists(names, objects);
    if (is_read) {
        g_variant_unref(names);
    }
    g_slist_free(objects);
    return is_good;
}

}  // namespace

std::set<std::string> classes_of(const std::vector<const ObjectDef*>& objects) {
    std::set<std::string> names;
    for (const ObjectDef* const object : objects) {
        names.insert(object->class_name);
    }
    return names;
}

std::string rebuild_collections(const std::set<std::string>& class_names, NewObjNotifyFunc notify) {
    std::string cause;
    for (const std::string& name : class_names) {
        CLS_HANDLE const handle = cls_get_class(name.c_str());
        cls_create_collection(name.c_str(), handle, notify);
        if (is_up_to_date(handle)) {
            continue;
        }
        cls_set_state(handle, CLASS_OBJECT_DELETED);  // the next rebuild tries again
        if (cause.empty()) {
            cause = "the pool has no room for the collection of class \"" + name +
                    "\", or there is no semaphore for it; set " SHM_SIZE_VARIABLE
                    " to a larger number of MiB, up to 32, or see kernel.shmmni and kernel.shmall";
        }
    }
    return cause;
}

}  // namespace mox::host
