// The building calls give no status: what they made is looked at instead, so that an exhausted pool
// is noticed where it ends.
#include "model/schema_build.hpp"

#include <classnode.h>
#include <classtree.h>

#include <algorithm>
#include <array>
#include <unordered_map>

#include "model/type_field.hpp"

namespace mox::host {
namespace {

// Fills one class's node; what it makes is looked at through the node. Each step is false when the
// pool had no room.
class ClassBuilder {
public:
    ClassBuilder(const ClassDef& entry, std::size_t at, const DEFINED_CLASS_NODE_S& node)
        : entry_(entry), at_(static_cast<guint32>(at)), node_(node) {}

    bool build() {
        const CLS_HANDLE handle = clt_init_class(entry_.name.c_str(), at_, entry_.id);
        return handle != nullptr && cls_get_class_name(handle) != nullptr &&
               node_.name != nullptr && add_properties() && add_methods();
    }

private:
    bool add_properties() {
        const auto count = static_cast<guint32>(entry_.all_properties.size());
        if (count == 0) {
            return true;
        }
        clt_create_property(at_, count);
        if (node_.property_array == nullptr) {
            return false;
        }
        for (guint32 index = 0; index < count; ++index) {
            const PropertyDef& property = entry_.all_properties[index];
            const TypeField type = type_field(property.type, property.kind);
            clt_init_property(at_, index, property.id, property.name.c_str(), type.data(),
                              property.exported ? 1 : 0, property.key ? 1 : 0);
            if (node_.property_array->property[index].name == nullptr) {
                return false;
            }
        }
        return true;
    }

    bool add_methods() {
        const auto count = static_cast<guint32>(entry_.methods.size());
        if (count == 0) {
            return true;
        }
        clt_create_method(at_, count);
        if (node_.method_array == nullptr) {
            return false;
        }
        for (guint32 index = 0; index < count; ++index) {
            const MethodDef& method = entry_.methods[index];
            clt_init_method(at_, index, method.id, method.name.c_str());
            const bool is_built = node_.method_array->method[index].name != nullptr &&
                                  add_parameters(index, INPUT_PARA, method.input) &&
                                  add_parameters(index, OUTPUT_PARA, method.output) &&
                                  add_constants(index, method.constants);
            if (!is_built) {
                return false;
            }
        }
        return true;
    }

    bool add_parameters(guint32 method, PARA_TYPE direction,
                        const std::vector<std::string>& types) {
        const auto count = static_cast<guint32>(types.size());
        if (count == 0) {
            return true;
        }
        clt_create_method_para(at_, method, direction, count);
        if (node_.method_array->method[method].para[direction] == nullptr) {
            return false;
        }
        for (guint32 index = 0; index < count; ++index) {
            const TypeField type = type_field(types[index], PropertyKind::value);
            clt_init_method_para(at_, method, direction, index, type.data());
        }
        return true;
    }

    bool add_constants(guint32 method, const std::vector<MethodConstant>& constants) {
        const auto count = static_cast<guint32>(constants.size());
        if (count == 0) {
            return true;
        }
        clt_create_method_property(at_, method, count);
        const METHOD_PROPERTY_ARRAY_S* const made = node_.method_array->method[method].property_arr;
        if (made == nullptr) {
            return false;
        }
        for (guint32 index = 0; index < count; ++index) {
            const MethodConstant& constant = constants[index];
            std::string bytes = constant.bytes;
            clt_init_method_property(at_, method, index, constant.name.c_str(),
                                     constant.type.c_str(), bytes.size(), bytes.data());
            const METHOD_PROPERTY_NODE_S& node = made->property[index];
            if (node.name == nullptr || (node.data == nullptr && node.size > 0)) {
                return false;
            }
        }
        return true;
    }

    const ClassDef& entry_;
    guint32 at_;
    const DEFINED_CLASS_NODE_S& node_;
};

// Children follow each other in the profile's order.
void link(const std::vector<ClassDef>& classes, DEFINED_CLASS_NODE_S* nodes) {
    std::unordered_map<std::string, std::size_t> index;
    for (std::size_t at = 0; at < classes.size(); ++at) {
        index.emplace(classes[at].name, at);
    }
    std::vector<DEFINED_CLASS_NODE_S*> last_child(classes.size(), nullptr);
    CLS_HANDLE previous = nullptr;
    for (std::size_t at = 0; at < classes.size(); ++at) {
        const CLS_HANDLE handle = cls_get_class(classes[at].name.c_str());
        cls_set_next(previous, handle);
        previous = handle;
        if (classes[at].parent.empty()) {
            continue;
        }
        const std::size_t parent = index.at(classes[at].parent);
        cls_set_parent(handle, cls_get_class(classes[parent].name.c_str()));
        DEFINED_CLASS_NODE_S*& last = last_child[parent];
        (last == nullptr ? nodes[parent].children : last->next) = nodes + at;
        last = nodes + at;
    }
}

}  // namespace

std::string build_schema(const std::vector<ClassDef>& classes) {
    clt_create_class_tree(classes.size());
    DEFINED_CLASS_NODE_S* nodes = nullptr;
    clt_get_class_tree(nullptr, &nodes);
    for (std::size_t at = 0; at < classes.size(); ++at) {
        if (nodes == nullptr || !ClassBuilder(classes[at], at, nodes[at]).build()) {
            return classes[at].name;
        }
    }
    link(classes, nodes);
    return {};
}

}  // namespace mox::host
