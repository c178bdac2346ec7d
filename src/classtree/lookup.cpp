// Reading the class tree: linear searches through its arrays, without a lock, in every process.
#include "base/glib_ptr.hpp"
#include "classtree/class_tree.hpp"

namespace {

// What clt_get_property_by_class has always answered for a class that is not there.
constexpr gint32 kNoSuchClass = -1;

DEFINED_CLASS_NODE_S* find_class(const gchar* class_name) {
    DEFINED_CLASS_ARRAY_S* tree = mox::class_tree();
    if (tree == nullptr || class_name == nullptr) {
        return nullptr;
    }
    for (gsize index = 0; index < tree->size; ++index) {
        if (mox::has_name(tree->classes[index].name, class_name)) {
            return tree->classes + index;
        }
    }
    return nullptr;
}

// The type that a parameter's field names, new; null when it names none. The field need not be
// terminated.
GVariantType* new_type(const DEFINED_METHOD_PARA_NODE_S& parameter) {
    gchar text[PUB_TYPE_LENGTH + 1] = {};
    std::memcpy(text, parameter.type, PUB_TYPE_LENGTH);
    return g_variant_type_string_is_valid(text) ? g_variant_type_new(text) : nullptr;
}

void free_type(gpointer type) {
    g_variant_type_free(static_cast<GVariantType*>(type));
}

// A value over a property's own bytes, floating; null when they are none of its type.
GVariant* value_over(const METHOD_PROPERTY_NODE_S& property) {
    const gboolean has_bytes = property.data != nullptr || property.size == 0;
    if (!has_bytes || !g_variant_type_string_is_valid(property.type) ||
        !g_variant_type_is_definite(G_VARIANT_TYPE(property.type))) {
        return nullptr;
    }
    GVariant* value = g_variant_new_from_data(G_VARIANT_TYPE(property.type), property.data,
                                              property.size, FALSE, nullptr, nullptr);
    // A value that is found in normal form here is trusted from now on; any other one is read with
    // care, so that text without its terminator leads nobody past its end.
    g_variant_is_normal_form(value);
    return value;
}

}  // namespace

DEFINED_METHOD_ARRAY_S* _get_method_array(const gchar* class_name) {
    if (class_name == nullptr || mox::class_tree() == nullptr) {
        return nullptr;
    }
    const DEFINED_CLASS_NODE_S* node = find_class(class_name);
    DEFINED_METHOD_ARRAY_S* methods = node == nullptr ? nullptr : node->method_array;
    if (methods == nullptr) {
        pub_debug_print(MX_DBG_ERR, "class %s not found method list.\n", class_name);
    }
    return methods;
}

DEFINED_METHOD_NODE_S* _get_method(DEFINED_METHOD_ARRAY_S* method_array, const gchar* method_name) {
    if (method_array == nullptr || method_name == nullptr) {
        return nullptr;
    }
    for (gsize index = 0; index < method_array->size; ++index) {
        if (mox::has_name(method_array->method[index].name, method_name)) {
            return method_array->method + index;
        }
    }
    pub_debug_print(MX_DBG_ERR, "method %s not found.\n", method_name);
    return nullptr;
}

METHOD_PROPERTY_NODE_S* _get_method_property(DEFINED_METHOD_NODE_S* method_node,
                                             const gchar* property_name) {
    METHOD_PROPERTY_ARRAY_S* array = method_node == nullptr ? nullptr : method_node->property_arr;
    if (array == nullptr || property_name == nullptr) {
        return nullptr;
    }
    for (gsize index = 0; index < array->count; ++index) {
        if (mox::has_name(array->property[index].name, property_name)) {
            return array->property + index;
        }
    }
    return nullptr;
}

gpointer clt_get_class_tree_addr() {
    return mox::class_tree();
}

void clt_set_tree_addr(gpointer addr) {
    mox::publish(g_class_tree, static_cast<DEFINED_CLASS_ARRAY_S*>(addr));
}

void clt_get_class_tree(gint32* class_num, DEFINED_CLASS_NODE_S** class_node_list) {
    DEFINED_CLASS_ARRAY_S* tree = mox::class_tree();
    if (class_num != nullptr) {
        *class_num = tree == nullptr ? 0 : static_cast<gint32>(tree->size);
    }
    if (class_node_list != nullptr) {
        *class_node_list = tree == nullptr ? nullptr : tree->classes;
    }
}

DEFINED_CLASS_NODE_S* clt_get_class_by_id(guint16 class_id) {
    DEFINED_CLASS_ARRAY_S* tree = mox::class_tree();
    for (gsize index = 0; tree != nullptr && index < tree->size; ++index) {
        if (tree->classes[index].id == class_id) {
            return tree->classes + index;
        }
    }
    return nullptr;
}

DEFINED_PROPERTY_NODE_S* clt_get_property_by_id(DEFINED_CLASS_NODE_S* class_node,
                                                guint16 property_id) {
    if (class_node == nullptr) {
        return nullptr;
    }
    DEFINED_PROPERTY_ARRAY_S* array = class_node->property_array;
    if (array == nullptr) {
        pub_debug_print(MX_DBG_LOG, "class %s property list not found.\n", class_node->name);
        return nullptr;
    }
    for (gsize index = 0; index < array->size; ++index) {
        if (array->property[index].id == property_id) {
            return array->property + index;
        }
    }
    return nullptr;
}

DEFINED_METHOD_NODE_S* clt_get_method_by_id(DEFINED_CLASS_NODE_S* class_node, guint16 method_id) {
    if (class_node == nullptr) {
        return nullptr;
    }
    DEFINED_METHOD_ARRAY_S* array = class_node->method_array;
    if (array == nullptr) {
        pub_debug_print(MX_DBG_LOG, "class %s method list not found.\n", class_node->name);
        return nullptr;
    }
    for (gsize index = 0; index < array->size; ++index) {
        if (array->method[index].id == method_id) {
            return array->method + index;
        }
    }
    return nullptr;
}

gint32 clt_get_property_by_class(const gchar* class_name, guint32* property_num,
                                 DEFINED_PROPERTY_NODE_S** property_node_list) {
    if (property_num == nullptr || property_node_list == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    const DEFINED_CLASS_NODE_S* node = find_class(class_name);
    if (node == nullptr) {
        return kNoSuchClass;
    }
    DEFINED_PROPERTY_ARRAY_S* array = node->property_array;
    *property_num = array == nullptr ? 0 : static_cast<guint32>(array->size);
    *property_node_list = array == nullptr ? nullptr : array->property;
    return MOX_OK;
}

gint32 clt_get_paralist(const gchar* class_name, const gchar* method_name, PARA_TYPE para_type,
                        GSList** para_list) {
    if (para_list == nullptr || (para_type != INPUT_PARA && para_type != OUTPUT_PARA)) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    DEFINED_METHOD_ARRAY_S* methods = _get_method_array(class_name);
    if (methods == nullptr) {
        return MOX_ERR_CLASS_NOT_FOUND;
    }
    const DEFINED_METHOD_NODE_S* method = _get_method(methods, method_name);
    if (method == nullptr) {
        return MOX_ERR_METHOD_NOT_FOUND;
    }
    const DEFINED_METHOD_PARA_ARRAY_S* array = method->para[para_type];
    GSList* types = nullptr;
    for (gsize index = 0; array != nullptr && index < array->size; ++index) {
        GVariantType* type = new_type(array->para[index]);
        if (type == nullptr) {
            pub_debug_print(MX_DBG_ERR, "parameter %u of method %s has no valid type.\n",
                            static_cast<guint>(index), method_name);
            g_slist_free_full(types, free_type);
            return MOX_ERR_INTERNAL;
        }
        types = g_slist_prepend(types, type);
    }
    *para_list = g_slist_reverse(types);
    return MOX_OK;
}

gint32 clt_get_method_property(const gchar* class_name, const gchar* method_name,
                               const gchar* property_name, GVariant** property_value) {
    if (property_value == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    DEFINED_METHOD_ARRAY_S* methods = _get_method_array(class_name);
    if (methods == nullptr) {
        return MOX_ERR_CLASS_NOT_FOUND;
    }
    DEFINED_METHOD_NODE_S* method = _get_method(methods, method_name);
    if (method == nullptr) {
        return MOX_ERR_METHOD_NOT_FOUND;
    }
    const METHOD_PROPERTY_NODE_S* property = _get_method_property(method, property_name);
    if (property == nullptr) {
        return MOX_ERR_PROPERTY_NOT_FOUND;
    }
    GVariant* value = value_over(*property);
    if (value == nullptr) {
        return MOX_ERR_INTERNAL;
    }
    *property_value = value;
    return MOX_OK;
}
