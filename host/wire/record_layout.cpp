// Every field that one process writes and another reads has an entry.
#include "wire/record_layout.hpp"

#include <classnode.h>
#include <classtree.h>
#include <ipcmsg.h>
#include <lom.h>

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "wire/loss_table.hpp"
#include "wire/read_stamp_table.hpp"

#define MOX_SIZE(record) \
    { #record, sizeof(record) }
#define MOX_OFFSET(record, field) \
    { #record "." #field, offsetof(record, field) }

namespace mox::host::wire {
namespace {

struct Entry {
    const char* what;
    std::size_t bytes;
};

constexpr Entry entries[] = {
    MOX_SIZE(OBJECT_HEAD_S),
    MOX_OFFSET(OBJECT_HEAD_S, object_name),
    MOX_OFFSET(OBJECT_HEAD_S, class_name),
    MOX_OFFSET(OBJECT_HEAD_S, mutex_obj_name),
    MOX_OFFSET(OBJECT_HEAD_S, ref_bitmap),
    MOX_OFFSET(OBJECT_HEAD_S, type),
    MOX_OFFSET(OBJECT_HEAD_S, module),
    MOX_OFFSET(OBJECT_HEAD_S, position),
    MOX_OFFSET(OBJECT_HEAD_S, sem_index),
    MOX_OFFSET(OBJECT_HEAD_S, semid),
    MOX_OFFSET(OBJECT_HEAD_S, sem_member),
    MOX_OFFSET(OBJECT_HEAD_S, property_count),
    MOX_OFFSET(OBJECT_HEAD_S, property_entry),
    MOX_OFFSET(OBJECT_HEAD_S, name_list),
    MOX_OFFSET(OBJECT_HEAD_S, refered_object),
    MOX_OFFSET(OBJECT_HEAD_S, ref_count),
    MOX_OFFSET(OBJECT_HEAD_S, status),
    MOX_OFFSET(OBJECT_HEAD_S, capability),
    MOX_OFFSET(OBJECT_HEAD_S, user_data),
    MOX_OFFSET(OBJECT_HEAD_S, destroy_func),
    MOX_OFFSET(OBJECT_HEAD_S, property_hash),
    MOX_SIZE(SERIALISED_PROPERTY_S),
    MOX_OFFSET(SERIALISED_PROPERTY_S, name),
    MOX_OFFSET(SERIALISED_PROPERTY_S, type),
    MOX_OFFSET(SERIALISED_PROPERTY_S, accessor),
    MOX_OFFSET(SERIALISED_PROPERTY_S, state),
    MOX_OFFSET(SERIALISED_PROPERTY_S, size),
    MOX_OFFSET(SERIALISED_PROPERTY_S, capacity),
    MOX_OFFSET(SERIALISED_PROPERTY_S, next_ptr),
    MOX_OFFSET(SERIALISED_PROPERTY_S, data),
    MOX_OFFSET(SERIALISED_PROPERTY_S, data_hold),
    MOX_SIZE(CLASS_OBJECT_LIST_S),
    MOX_OFFSET(CLASS_OBJECT_LIST_S, class_name),
    MOX_OFFSET(CLASS_OBJECT_LIST_S, object_name),
    MOX_OFFSET(CLASS_OBJECT_LIST_S, next),
    MOX_SIZE(SHARE_CLASS_DATA_S),
    MOX_OFFSET(SHARE_CLASS_DATA_S, class_name),
    MOX_OFFSET(SHARE_CLASS_DATA_S, parent),
    MOX_OFFSET(SHARE_CLASS_DATA_S, next),
    MOX_OFFSET(SHARE_CLASS_DATA_S, listener_array),
    MOX_OFFSET(DEFINED_CLASS_ARRAY_S, classes),
    MOX_SIZE(DEFINED_CLASS_NODE_S),
    MOX_OFFSET(DEFINED_CLASS_NODE_S, name),
    MOX_OFFSET(DEFINED_CLASS_NODE_S, id),
    MOX_OFFSET(DEFINED_CLASS_NODE_S, property_array),
    MOX_OFFSET(DEFINED_CLASS_NODE_S, method_array),
    MOX_OFFSET(DEFINED_CLASS_NODE_S, children),
    MOX_OFFSET(DEFINED_CLASS_NODE_S, next),
    MOX_OFFSET(DEFINED_PROPERTY_ARRAY_S, property),
    MOX_SIZE(DEFINED_PROPERTY_NODE_S),
    MOX_OFFSET(DEFINED_PROPERTY_NODE_S, name),
    MOX_OFFSET(DEFINED_PROPERTY_NODE_S, type),
    MOX_OFFSET(DEFINED_PROPERTY_NODE_S, id),
    MOX_OFFSET(DEFINED_PROPERTY_NODE_S, exported),
    MOX_OFFSET(DEFINED_PROPERTY_NODE_S, key),
    MOX_OFFSET(DEFINED_METHOD_ARRAY_S, method),
    MOX_SIZE(DEFINED_METHOD_NODE_S),
    MOX_OFFSET(DEFINED_METHOD_NODE_S, name),
    MOX_OFFSET(DEFINED_METHOD_NODE_S, id),
    MOX_OFFSET(DEFINED_METHOD_NODE_S, para),
    MOX_OFFSET(DEFINED_METHOD_NODE_S, property_arr),
    MOX_OFFSET(DEFINED_METHOD_PARA_ARRAY_S, para),
    MOX_SIZE(DEFINED_METHOD_PARA_NODE_S),
    MOX_OFFSET(METHOD_PROPERTY_ARRAY_S, property),
    MOX_SIZE(METHOD_PROPERTY_NODE_S),
    MOX_OFFSET(METHOD_PROPERTY_NODE_S, name),
    MOX_OFFSET(METHOD_PROPERTY_NODE_S, type),
    MOX_OFFSET(METHOD_PROPERTY_NODE_S, size),
    MOX_OFFSET(METHOD_PROPERTY_NODE_S, data),
    MOX_SIZE(SERIALIZED_LISTENER_LIST_S),
    MOX_OFFSET(SERIALIZED_LISTENER_LIST_S, property_name),
    MOX_OFFSET(SERIALIZED_LISTENER_LIST_S, listener_array),
    MOX_OFFSET(SERIALIZED_LISTENER_LIST_S, next),
    MOX_OFFSET(LISTENER_ARRAY_HEAD_S, count),
    MOX_OFFSET(LISTENER_ARRAY_HEAD_S, ipc_port),
    MOX_SIZE(MOX_MSG_HEAD_S),
    MOX_OFFSET(MOX_MSG_HEAD_S, msg_head),
    MOX_OFFSET(MOX_MSG_HEAD_S, ipc_source),
    MOX_OFFSET(MOX_MSG_HEAD_S, ipc_target),
    MOX_OFFSET(MOX_MSG_HEAD_S, msg_type),
    MOX_OFFSET(MOX_MSG_HEAD_S, msg_ver),
    MOX_OFFSET(MOX_MSG_HEAD_S, length),
    MOX_OFFSET(MOX_MSG_HEAD_S, sequence),
    MOX_OFFSET(MOX_MSG_HEAD_S, reserved2),
    MOX_OFFSET(MSG_EVENT_DATA_HEAD_S, property_name),
    MOX_OFFSET(MSG_EVENT_DATA_HEAD_S, type),
    MOX_OFFSET(MSG_EVENT_DATA_HEAD_S, size),
    MOX_OFFSET(MSG_EVENT_DATA_HEAD_S, data),
    MOX_SIZE(ReadStamp),
    MOX_OFFSET(ReadStamp, read_ns),
    MOX_SIZE(LossEntry),
    MOX_OFFSET(LossEntry, lost),
};

// Takes the text up to the next ';' off the front.
std::string_view take_entry(std::string_view& text) {
    const std::size_t end = std::min(text.find(';'), text.size());
    const std::string_view entry = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return entry;
}

std::string shown(std::string_view entry) {
    constexpr std::size_t longest = 64;
    return entry.empty() ? "nothing more" : '"' + std::string(entry.substr(0, longest)) + '"';
}

}  // namespace

std::string record_layout() {
    std::string layout;
    for (const Entry& entry : entries) {
        layout += std::string(entry.what) + '=' + std::to_string(entry.bytes) + ';';
    }
    return layout;
}

std::string layout_difference(const std::string& owner, const std::string& module) {
    std::string_view owner_rest = owner;
    std::string_view module_rest = module;
    while (!owner_rest.empty() || !module_rest.empty()) {
        const std::string_view owner_entry = take_entry(owner_rest);
        const std::string_view module_entry = take_entry(module_rest);
        if (owner_entry != module_entry) {
            return "the owner has " + shown(owner_entry) + ", the module " + shown(module_entry);
        }
    }
    return {};
}

}  // namespace mox::host::wire
