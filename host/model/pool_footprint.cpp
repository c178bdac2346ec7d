// Only the pool's owner changes what is walked here, so nothing changes meanwhile but sizes.
#include "model/pool_footprint.hpp"

#include <classtree.h>

#include <atomic>
#include <cstddef>
#include <cstring>

namespace mox::host {
namespace {

std::size_t text_bytes(const gchar* text) {
    return text == nullptr ? 0 : std::strlen(text) + 1;
}

std::size_t names_bytes(const CLASS_OBJECT_LIST_S* names) {
    std::size_t bytes = 0;
    for (; names != nullptr; names = names->next) {
        bytes += sizeof *names + text_bytes(names->class_name) + text_bytes(names->object_name);
    }
    return bytes;
}

std::size_t listener_bytes(const SERIALIZED_LISTENER_LIST_S* list) {
    std::size_t bytes = 0;
    for (; list != nullptr; list = list->next) {
        bytes += sizeof *list + text_bytes(list->property_name);
        if (list->listener_array != nullptr) {
            bytes += offsetof(LISTENER_ARRAY_HEAD_S, ipc_port) +
                     std::size_t{list->listener_array->room} * sizeof(guint32);
        }
    }
    return bytes;
}

std::size_t parameter_bytes(const DEFINED_METHOD_PARA_ARRAY_S* parameters) {
    return parameters == nullptr
               ? 0
               : sizeof *parameters + parameters->size * sizeof(DEFINED_METHOD_PARA_NODE_S);
}

std::size_t constant_bytes(const METHOD_PROPERTY_ARRAY_S* constants) {
    if (constants == nullptr) {
        return 0;
    }
    std::size_t bytes = sizeof *constants + constants->count * sizeof(METHOD_PROPERTY_NODE_S);
    for (std::size_t at = 0; at < constants->count; ++at) {
        bytes += text_bytes(constants->property[at].name) + constants->property[at].size;
    }
    return bytes;
}

std::size_t method_bytes(const DEFINED_METHOD_ARRAY_S* methods) {
    if (methods == nullptr) {
        return 0;
    }
    std::size_t bytes = sizeof *methods + methods->size * sizeof(DEFINED_METHOD_NODE_S);
    for (std::size_t at = 0; at < methods->size; ++at) {
        const DEFINED_METHOD_NODE_S& method = methods->method[at];
        bytes += text_bytes(method.name) + parameter_bytes(method.para[INPUT_PARA]) +
                 parameter_bytes(method.para[OUTPUT_PARA]) + constant_bytes(method.property_arr);
    }
    return bytes;
}

std::size_t schema_bytes(const DEFINED_CLASS_NODE_S& node) {
    std::size_t bytes = sizeof node + text_bytes(node.name) + method_bytes(node.method_array);
    if (const DEFINED_PROPERTY_ARRAY_S* const properties = node.property_array) {
        bytes += sizeof *properties + properties->size * sizeof(DEFINED_PROPERTY_NODE_S);
        for (std::size_t at = 0; at < properties->size; ++at) {
            bytes += text_bytes(properties->property[at].name);
        }
    }
    return bytes;
}

// Null for a class that the schema does not have.
const DEFINED_CLASS_NODE_S* node_of(const std::string& class_name) {
    gint32 count = 0;
    DEFINED_CLASS_NODE_S* nodes = nullptr;
    clt_get_class_tree(&count, &nodes);
    for (gint32 at = 0; at < count; ++at) {
        if (g_strcmp0(nodes[at].name, class_name.c_str()) == 0) {
            return &nodes[at];
        }
    }
    return nullptr;
}

}  // namespace

ObjectFootprint footprint_of(const OBJECT_HEAD_S& record) {
    std::size_t values = 0;
    std::size_t whole = names_bytes(record.name_list) + text_bytes(record.mutex_obj_name) +
                        LOM_REF_BITMAP_WORDS * sizeof(guint32) +
                        std::size_t{record.property_count} * sizeof(SERIALISED_PROPERTY_S);
    for (SERIALISED_PROPERTY_S* property = record.property_entry; property != nullptr;
         property = property->next_ptr) {
        values += std::atomic_ref<gsize>(property->size).load(std::memory_order_relaxed);
        whole += text_bytes(property->accessor);
        if (property->data != property->data_hold) {
            whole += property->capacity;
        }
    }
    return {static_cast<std::uint32_t>(values), static_cast<std::uint32_t>(whole)};
}

std::uint32_t class_footprint(const std::string& class_name) {
    std::size_t bytes = 0;
    CLS_HANDLE const handle = cls_get_class(class_name.c_str());
    if (handle != nullptr && handle->share != nullptr) {
        bytes += sizeof *handle->share + text_bytes(handle->share->class_name) +
                 listener_bytes(handle->share->listener_array);
    }
    if (const DEFINED_CLASS_NODE_S* const node = node_of(class_name)) {
        bytes += schema_bytes(*node);
    }
    return static_cast<std::uint32_t>(bytes);
}

}  // namespace mox::host
