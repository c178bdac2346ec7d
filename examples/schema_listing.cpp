// Everything is read from the class tree in the pool; the owner is asked for its objects' names and
// properties only, to compare.
#include "schema_listing.hpp"

#include <lom.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <memory>
#include <span>
#include <vector>

#include "step_module.hpp"

namespace mox::examples {
namespace {

using Class = DEFINED_CLASS_NODE_S;

std::span<Class> all_classes() {
    gint32 count = 0;
    Class* classes = nullptr;
    clt_get_class_tree(&count, &classes);
    expect(count > 0 && classes != nullptr, "the pool has no schema");
    return {classes, static_cast<std::size_t>(count)};
}

std::span<DEFINED_PROPERTY_NODE_S> properties_of(const Class& node) {
    if (node.property_array == nullptr) return {};
    return {node.property_array->property, node.property_array->size};
}

std::span<DEFINED_METHOD_NODE_S> methods_of(const Class& node) {
    if (node.method_array == nullptr) return {};
    return {node.method_array->method, node.method_array->size};
}

// The names of the classes that have others below them, by the name of the lower one.
std::map<std::string, std::string> parents_of(std::span<const Class> classes) {
    std::map<std::string, std::string> parents;
    for (const Class& node : classes) {
        for (const Class* child = node.children; child != nullptr; child = child->next) {
            expect(parents.emplace(child->name, node.name).second,
                   std::string{"the class "} + child->name + " is below two classes");
        }
    }
    return parents;
}

// The tree must agree with itself and with the class registry.
void check_class(const Class& node, const std::string& parent) {
    const std::string name = node.name;
    expect(clt_get_class_by_id(node.id) == &node, "the id of the class " + name + " finds another");
    expect(parent.empty() || cls_name_is_type(node.name, parent.c_str()) != FALSE,
           "the class " + name + " does not derive from " + parent + " in the class registry");
}

void print_property(const DEFINED_PROPERTY_NODE_S& property) {
    std::printf("  %12s  property %u  %-9s  %-4.*s  %s%s\n", "", property.id, property.name,
                PUB_TYPE_LENGTH, property.type,
                property.exported != 0 ? "exported" : "not exported",
                property.key != 0 ? ", key" : "");
}

void print_method(const Class& node, const DEFINED_METHOD_NODE_S& method) {
    std::string constants;
    const std::size_t count = method.property_arr == nullptr ? 0 : method.property_arr->count;
    for (std::size_t i = 0; i < count; ++i) {
        const char* constant = method.property_arr->property[i].name;
        constants += std::string{i == 0 ? "" : ", "} + constant + " = " +
                     std::to_string(constant_of(node.name, method.name, constant));
    }
    std::printf("  %12s  method %u    %-9s  %s -> %s, constant %s\n", "", method.id, method.name,
                parameters_of(node.name, method.name, INPUT_PARA).c_str(),
                parameters_of(node.name, method.name, OUTPUT_PARA).c_str(),
                count == 0 ? "none" : constants.c_str());
}

void print_whole(const Class& node) {
    std::printf("  class %s\n", node.name);
    for (const DEFINED_PROPERTY_NODE_S& property : properties_of(node)) print_property(property);
    for (const DEFINED_METHOD_NODE_S& method : methods_of(node)) print_method(node, method);
}

const Class& class_named(const std::string& name) {
    const std::span<Class> classes = all_classes();
    const auto found = std::find_if(classes.begin(), classes.end(),
                                    [&](const Class& node) { return name == node.name; });
    expect(found != classes.end(), "the schema has no class " + name);
    return *found;
}

void check_object(MoxHostModule* module, const char* object) {
    const OBJ_HANDLE handle = lom_get_object_handle(object);
    std::array<gchar, PUB_NAME_LENGTH> class_name{};
    expect(lom_get_class_name(handle, class_name.data(), PUB_NAME_LENGTH) == MOX_OK,
           std::string{"the object "} + object + " has no class");
    Failure failure;
    const StringsPtr names{moxhost_list_properties(module, object, failure.out())};
    expect(names != nullptr, failure.text());
    const std::string what = std::string{"the object "} + object + " differs from its class at ";
    gchar** name = names.get();
    for (const DEFINED_PROPERTY_NODE_S& property : properties_of(class_named(class_name.data()))) {
        expect(*name != nullptr && std::string{property.name} == *name, what + property.name);
        std::array<gchar, PUB_TYPE_LENGTH> type{};
        const gint32 code = lom_get_property_type(handle, *name, type.data(), PUB_TYPE_LENGTH);
        // Behind the type string lies the mark of a reference.
        expect(code == MOX_OK && std::equal(type.begin(), type.end(), property.type),
               what + property.name + ", which has another type");
        ++name;
    }
    expect(*name == nullptr, what + "one property more");
}

}  // namespace

std::string parameters_of(const char* class_name, const char* method, PARA_TYPE direction) {
    GSList* list = nullptr;
    const gint32 code = clt_get_paralist(class_name, method, direction, &list);
    expect(code == MOX_OK,
           std::string{"the parameters of "} + method + " give code " + std::to_string(code));
    std::string types = "(";
    for (const GSList* item = list; item != nullptr; item = item->next) {
        const auto* type = static_cast<const GVariantType*>(item->data);
        types.append(g_variant_type_peek_string(type), g_variant_type_get_string_length(type));
    }
    g_slist_free_full(list,
                      [](gpointer type) { g_variant_type_free(static_cast<GVariantType*>(type)); });
    return types + ")";
}

unsigned constant_of(const char* class_name, const char* method, const char* constant) {
    GVariant* value = nullptr;
    const gint32 code = clt_get_method_property(class_name, method, constant, &value);
    expect(code == MOX_OK,
           std::string{"the constant "} + constant + " gives code " + std::to_string(code));
    const VariantPtr own{g_variant_ref_sink(value)};
    expect(g_variant_is_of_type(value, G_VARIANT_TYPE_UINT32) != FALSE,
           std::string{"the constant "} + constant + " has an unexpected type");
    return g_variant_get_uint32(value);
}

void print_schema(const std::string& whole_class) {
    const std::span<Class> classes = all_classes();
    const std::map<std::string, std::string> parents = parents_of(classes);
    std::printf("  schema        %zu classes:\n", classes.size());
    std::printf("  %12s  %3s  %-12s  %-9s  %10s  %s\n", "", "ID", "CLASS", "BELOW", "PROPERTIES",
                "METHODS");
    for (const Class& node : classes) {
        const auto parent = parents.find(node.name);
        const std::string below = parent == parents.end() ? "" : parent->second;
        check_class(node, below);
        std::string methods;
        for (const DEFINED_METHOD_NODE_S& method : methods_of(node)) {
            methods += std::string{methods.empty() ? "" : ", "} + method.name;
        }
        std::printf("  %12s  %3u  %-12s  %-9s  %10zu  %s\n", "", node.id, node.name,
                    below.empty() ? "-" : below.c_str(), properties_of(node).size(),
                    methods.empty() ? "-" : methods.c_str());
    }
    print_whole(class_named(whole_class));
}

std::size_t check_objects(MoxHostModule* module) {
    Failure failure;
    const StringsPtr objects{moxhost_list_objects(module, nullptr, failure.out())};
    expect(objects != nullptr, failure.text());
    std::size_t count = 0;
    for (; objects.get()[count] != nullptr; ++count) check_object(module, objects.get()[count]);
    return count;
}

}  // namespace mox::examples
