// Building the class tree, by the pool's owner alone: an allocation that fails elsewhere would wipe
// a part of the tree that every process reads. Each call looks its place up from the root and does
// nothing when that place is not there.
#include <shmem.h>

#include "base/bounded_copy.hpp"
#include "classtree/class_tree.hpp"

// Processes follow the tree's pointers into the records of another one.
static_assert(sizeof(DEFINED_METHOD_PARA_NODE_S) == PUB_TYPE_LENGTH);
static_assert(sizeof(void*) != 4 ||
              (sizeof(DEFINED_CLASS_NODE_S) == 24 && sizeof(DEFINED_PROPERTY_NODE_S) == 16 &&
               sizeof(DEFINED_METHOD_NODE_S) == 20 && sizeof(METHOD_PROPERTY_NODE_S) == 20));

DEFINED_CLASS_ARRAY_S* g_class_tree = nullptr;

namespace {

constexpr gsize kNameLength = PUB_NAME_LENGTH;

// Makes the block of an array; null when the pool, or any memory, has no room for it.
template <typename Array, typename Element>
Array* make_array(gsize count, gsize Array::*size) {
    constexpr gsize kMost = (G_MAXSIZE - sizeof(Array)) / sizeof(Element);
    auto* array = count > kMost
                      ? nullptr
                      : static_cast<Array*>(shm_alloc0(sizeof(Array) + count * sizeof(Element)));
    if (array != nullptr) {
        array->*size = count;
    }
    return array;
}

DEFINED_CLASS_NODE_S* class_at(guint32 class_index) {
    DEFINED_CLASS_ARRAY_S* tree = mox::class_tree();
    return shm_is_owner() && tree != nullptr && class_index < tree->size
               ? tree->classes + class_index
               : nullptr;
}

DEFINED_PROPERTY_NODE_S* property_at(guint32 class_index, guint32 property_index) {
    const DEFINED_CLASS_NODE_S* node = class_at(class_index);
    DEFINED_PROPERTY_ARRAY_S* array = node == nullptr ? nullptr : node->property_array;
    return array != nullptr && property_index < array->size ? array->property + property_index
                                                            : nullptr;
}

DEFINED_METHOD_NODE_S* method_at(guint32 class_index, guint32 method_index) {
    const DEFINED_CLASS_NODE_S* node = class_at(class_index);
    DEFINED_METHOD_ARRAY_S* array = node == nullptr ? nullptr : node->method_array;
    return array != nullptr && method_index < array->size ? array->method + method_index : nullptr;
}

// Where a method keeps the parameters of a direction.
DEFINED_METHOD_PARA_ARRAY_S** parameters_at(guint32 class_index, guint32 method_index,
                                            PARA_TYPE dir) {
    DEFINED_METHOD_NODE_S* method = method_at(class_index, method_index);
    return method != nullptr && (dir == INPUT_PARA || dir == OUTPUT_PARA) ? method->para + dir
                                                                          : nullptr;
}

// Copies a type field as it is.
void copy_type(gchar* dest, const gchar* type) {
    const gint32 result = memmove_s(dest, PUB_TYPE_LENGTH, type, PUB_TYPE_LENGTH);
    if (result != 0) {
        pub_debug_print(MX_DBG_ERR, MOX_COPY_FAILED_SPACED, "classtree", __LINE__, result);
    }
}

}  // namespace

void clt_create_class_tree(gsize class_count) {
    if (shm_is_owner()) {
        mox::publish(g_class_tree, make_array<DEFINED_CLASS_ARRAY_S, DEFINED_CLASS_NODE_S>(
                                       class_count, &DEFINED_CLASS_ARRAY_S::size));
    }
}

CLS_HANDLE clt_init_class(const gchar* class_name, guint32 class_index, guint16 class_id) {
    DEFINED_CLASS_NODE_S* node = class_at(class_index);
    if (node == nullptr) {
        return nullptr;
    }
    node->name = shm_strdup(class_name, kNameLength);
    node->id = class_id;
    node->property_array = nullptr;
    node->method_array = nullptr;
    return cls_create_class(class_name);
}

void clt_create_property(guint32 class_index, guint32 property_count) {
    if (DEFINED_CLASS_NODE_S* node = class_at(class_index)) {
        node->property_array = make_array<DEFINED_PROPERTY_ARRAY_S, DEFINED_PROPERTY_NODE_S>(
            property_count, &DEFINED_PROPERTY_ARRAY_S::size);
    }
}

void clt_init_property(guint32 class_index, guint32 property_index, guint16 property_id,
                       const gchar* property_name, const gchar* type, guint8 exported, guint8 key) {
    DEFINED_PROPERTY_NODE_S* property = property_at(class_index, property_index);
    if (property == nullptr) {
        return;
    }
    property->name = shm_strdup(property_name, kNameLength);
    copy_type(property->type, type);
    property->id = property_id;
    property->exported = exported;
    property->key = key;
}

void clt_create_method(guint32 class_index, guint32 method_count) {
    if (DEFINED_CLASS_NODE_S* node = class_at(class_index)) {
        node->method_array = make_array<DEFINED_METHOD_ARRAY_S, DEFINED_METHOD_NODE_S>(
            method_count, &DEFINED_METHOD_ARRAY_S::size);
    }
}

void clt_init_method(guint32 class_index, guint32 method_index, guint16 method_id,
                     const gchar* method_name) {
    DEFINED_METHOD_NODE_S* method = method_at(class_index, method_index);
    if (method == nullptr) {
        return;
    }
    method->name = shm_strdup(method_name, kNameLength);
    method->id = method_id;
    method->para[INPUT_PARA] = nullptr;
    method->para[OUTPUT_PARA] = nullptr;
}

void clt_create_method_para(guint32 class_index, guint32 method_index, PARA_TYPE dir,
                            guint32 count) {
    if (DEFINED_METHOD_PARA_ARRAY_S** place = parameters_at(class_index, method_index, dir)) {
        *place = make_array<DEFINED_METHOD_PARA_ARRAY_S, DEFINED_METHOD_PARA_NODE_S>(
            count, &DEFINED_METHOD_PARA_ARRAY_S::size);
    }
}

void clt_init_method_para(guint32 class_index, guint32 method_index, PARA_TYPE dir,
                          guint32 para_index, const gchar* type) {
    DEFINED_METHOD_PARA_ARRAY_S** place = parameters_at(class_index, method_index, dir);
    DEFINED_METHOD_PARA_ARRAY_S* array = place == nullptr ? nullptr : *place;
    if (array != nullptr && para_index < array->size) {
        copy_type(array->para[para_index].type, type);
    }
}

void clt_create_method_property(guint32 class_index, guint32 method_index, gsize count) {
    if (DEFINED_METHOD_NODE_S* method = method_at(class_index, method_index)) {
        method->property_arr = make_array<METHOD_PROPERTY_ARRAY_S, METHOD_PROPERTY_NODE_S>(
            count, &METHOD_PROPERTY_ARRAY_S::count);
    }
}

void clt_init_method_property(guint32 class_index, guint32 method_index, guint32 property_index,
                              const gchar* property_name, const gchar* type, gsize size,
                              gpointer data) {
    const DEFINED_METHOD_NODE_S* method = method_at(class_index, method_index);
    METHOD_PROPERTY_ARRAY_S* array = method == nullptr ? nullptr : method->property_arr;
    if (array == nullptr || property_index >= array->count) {
        return;
    }
    METHOD_PROPERTY_NODE_S& property = array->property[property_index];
    property.name = shm_strdup(property_name, kNameLength);
    g_strlcpy(property.type, type == nullptr ? "" : type, sizeof(property.type));
    property.size = size;
    property.data = shm_memdup(data, size);
}
