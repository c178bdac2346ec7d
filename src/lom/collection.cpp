// The collection object of a class: made on the first rebuild, then updated in place, so that its
// handle and the copies that other processes hold stay good.
#include <lom/collection.h>
#include <lom/object.h>
#include <lom/registry.h>
#include <moxplat/bounded.h>
#include <shmem.h>

#include <cstring>
#include <memory>

#include "base/glib_ptr.hpp"
#include "lom/build.hpp"
#include "lom/release.hpp"

namespace {

constexpr gsize kNameRoom = 65;
constexpr gint kClassCharacters = 32;

struct FreeEmbryo {
    void operator()(OBJECT_HEAD_S* object) const { _free_object_head(object); }
};
using EmbryoPtr = std::unique_ptr<OBJECT_HEAD_S, FreeEmbryo>;

// Names the record. Other objects' names end at 31 characters; a collection's is kept whole, or it
// would not be found again. Returns false when the pool has no room.
bool name_collection(OBJECT_HEAD_S& object, const gchar* object_name) {
    _embryo_init_object_name(&object, object_name);
    CLASS_OBJECT_LIST_S& names = *object.name_list;
    if (std::strlen(object_name) >= PUB_NAME_LENGTH) {
        shm_free(names.object_name);
        names.object_name = shm_strdup(object_name, kNameRoom);
        object.object_name = names.object_name;
    }
    names.class_name = shm_strdup("Collection", PUB_NAME_LENGTH);
    object.class_name = names.class_name;
    return names.object_name != nullptr && names.class_name != nullptr;
}

OBJ_HANDLE make_collection(const gchar* object_name, const CONST_TLV_S& count,
                           const CONST_TLV_S& list) {
    auto* object = static_cast<OBJECT_HEAD_S*>(lom_alloc_space(2));
    if (object == nullptr) {
        return 0;
    }
    EmbryoPtr embryo(object);
    if (!name_collection(*object, object_name) || object->semid < 0) {
        return 0;  // nobody could read it without its semaphore
    }
    lom_init_property(object, 0, "Count", &count, "rw");
    lom_init_property(object, 1, "List", &list, "rw");
    if (list.size > 0 && object->property_entry[1].data == nullptr) {
        return 0;  // the pool has no room for the names
    }
    lom_ready_object(object);
    return lom_add_object(embryo.release());
}

void update_collection(const gchar* object_name, const CONST_TLV_S& count,
                       const CONST_TLV_S& list) {
    if (lom_realloc_property(object_name, "Count", count.type, count.size, count.data) == MOX_OK) {
        lom_realloc_property(object_name, "List", list.type, list.size, list.data);
    }
}

}  // namespace

OBJ_HANDLE lom_create_collection(const gchar* class_name, gint32 object_count,
                                 GVariant* gas_value) {
    if (class_name == nullptr || object_count <= 0 || gas_value == nullptr ||
        !g_variant_is_of_type(gas_value, G_VARIANT_TYPE_STRING_ARRAY)) {
        return 0;
    }
    const mox::VariantPtr names(g_variant_get_normal_form(gas_value));
    gconstpointer bytes = g_variant_get_data(names.get());
    const auto size = static_cast<guint32>(g_variant_get_size(names.get()));
    const CONST_TLV_S count = {"u", sizeof(object_count), &object_count};
    const CONST_TLV_S list = {"as", size, size == 0 ? "" : bytes};
    gchar object_name[kNameRoom];
    snprintf_s(object_name, sizeof(object_name), "%.*s%s", kClassCharacters, class_name, ":C");
    if (lom_get_object_handle(object_name) == 0) {
        return make_collection(object_name, count, list);
    }
    update_collection(object_name, count, list);
    return 0;
}
