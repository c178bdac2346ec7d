// introspect: the schema of one class, as it lies in the class tree.
#include <classtree.h>

#include <cstring>
#include <map>

#include "json_writer.hpp"
#include "membership.hpp"
#include "model_reads.hpp"
#include "table.hpp"
#include "value_text.hpp"
#include "verb_table.hpp"

namespace mox::tool {
namespace {

using ClassNode = DEFINED_CLASS_NODE_S;

struct FreeTypes {
    void operator()(GSList* list) const {
        g_slist_free_full(
            list, [](gpointer type) { g_variant_type_free(static_cast<GVariantType*>(type)); });
    }
};

// A type field: the type string, and whether the mark of a reference lies behind it.
struct Type {
    std::string text;
    bool is_reference = false;
};

Type type_of(const gchar* field) {
    const std::size_t length = strnlen(field, PUB_TYPE_LENGTH);
    return {std::string(field, length), length == 1 && field[3] == PUB_REFERENCE_MARKER};
}

std::string words_of(const Type& type) {
    return type.is_reference ? type.text + " (reference)" : type.text;
}

// The classes, and which is above which.
class Schema {
public:
    Schema() {
        gint32 count = 0;
        ClassNode* nodes = nullptr;
        clt_get_class_tree(&count, &nodes);
        classes_ = {nodes, static_cast<std::size_t>(nodes == nullptr ? 0 : count)};
        for (const ClassNode& node : classes_) {
            for (const ClassNode* child = node.children; child != nullptr; child = child->next) {
                parents_[child] = &node;
            }
        }
    }

    const ClassNode* find(const std::string& name) const {
        for (const ClassNode& node : classes_) {
            if (node.name != nullptr && name == node.name) {
                return &node;
            }
        }
        return nullptr;
    }

    const ClassNode* parent_of(const ClassNode& node) const {
        const auto found = parents_.find(&node);
        return found == parents_.end() ? nullptr : found->second;
    }

    // The class that a property of a class comes from: the highest that has it.
    const ClassNode& origin_of(const ClassNode& node, const gchar* property) const {
        const ClassNode* origin = &node;
        for (const ClassNode* at = parent_of(node); at != nullptr; at = parent_of(*at)) {
            for (const DEFINED_PROPERTY_NODE_S& other : properties_of(*at)) {
                origin = g_strcmp0(other.name, property) == 0 ? at : origin;
            }
        }
        return *origin;
    }

    static std::span<const DEFINED_PROPERTY_NODE_S> properties_of(const ClassNode& node) {
        if (node.property_array == nullptr) return {};
        return {node.property_array->property, node.property_array->size};
    }
    static std::span<const DEFINED_METHOD_NODE_S> methods_of(const ClassNode& node) {
        if (node.method_array == nullptr) return {};
        return {node.method_array->method, node.method_array->size};
    }

private:
    std::span<const ClassNode> classes_;
    std::map<const ClassNode*, const ClassNode*> parents_;
};

std::vector<std::string> children_of(const ClassNode& node) {
    std::vector<std::string> names;
    for (const ClassNode* child = node.children; child != nullptr; child = child->next) {
        names.emplace_back(child->name);
    }
    return names;
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : ", ") + word;
    }
    return text;
}

std::vector<std::string> parameters_of(const ClassNode& node, const gchar* method,
                                       PARA_TYPE direction) {
    GSList* list = nullptr;
    clt_get_paralist(node.name, method, direction, &list);
    const std::unique_ptr<GSList, FreeTypes> owned{list};
    std::vector<std::string> types;
    for (const GSList* at = list; at != nullptr; at = at->next) {
        const auto* const type = static_cast<const GVariantType*>(at->data);
        types.emplace_back(g_variant_type_peek_string(type),
                           g_variant_type_get_string_length(type));
    }
    return types;
}

struct Constant {
    std::string name;
    VariantPtr value;  // null when it has none
};

std::vector<Constant> constants_of(const ClassNode& node, const DEFINED_METHOD_NODE_S& method) {
    std::vector<Constant> constants;
    const gsize count = method.property_arr == nullptr ? 0 : method.property_arr->count;
    for (gsize at = 0; at < count; ++at) {
        const gchar* const name = method.property_arr->property[at].name;
        GVariant* value = nullptr;
        const gint32 status = clt_get_method_property(node.name, method.name, name, &value);
        constants.push_back(
            {name, VariantPtr{status == MOX_OK ? g_variant_ref_sink(value) : nullptr}});
    }
    return constants;
}

std::string constants_text(const ClassNode& node, const DEFINED_METHOD_NODE_S& method) {
    std::vector<std::string> texts;
    for (const Constant& constant : constants_of(node, method)) {
        texts.push_back(constant.name + " = " +
                        (constant.value ? plain_text(constant.value.get()) : "?"));
    }
    return joined(texts);
}

void print_class(Output& out, const Schema& schema, const ClassNode& node,
                 const MoxHostClassInfo& info) {
    Facts facts;
    facts.add("class", node.name);
    facts.add("id", std::to_string(node.id));
    facts.add("parent", info.parent);
    facts.add("children", joined(children_of(node)));
    facts.add("module", info.module);
    facts.add("objects", std::to_string(info.object_count));
    facts.print(out);
    Table properties(
        {{"PROPERTY"}, {"TYPE"}, {"ID", Align::right}, {"EXPORTED"}, {"KEY"}, {"INHERITED FROM"}});
    for (const DEFINED_PROPERTY_NODE_S& property : Schema::properties_of(node)) {
        const ClassNode& origin = schema.origin_of(node, property.name);
        properties.add({property.name, words_of(type_of(property.type)),
                        std::to_string(property.id), property.exported != 0 ? "yes" : "no",
                        property.key != 0 ? "yes" : "no", &origin == &node ? "" : origin.name});
    }
    Table methods({{"METHOD"},
                   {"ID", Align::right},
                   {"INPUT"},
                   {"OUTPUT"},
                   {"CONSTANTS"},
                   {"INHERITED FROM"}});
    for (const ClassNode* at = &node; at != nullptr; at = schema.parent_of(*at)) {
        for (const DEFINED_METHOD_NODE_S& method : Schema::methods_of(*at)) {
            methods.add({method.name, std::to_string(method.id),
                         "(" + joined(parameters_of(*at, method.name, INPUT_PARA)) + ")",
                         "(" + joined(parameters_of(*at, method.name, OUTPUT_PARA)) + ")",
                         constants_text(*at, method), at == &node ? "" : at->name});
        }
    }
    for (const Table* table : {&properties, &methods}) {
        if (!table->is_empty()) {
            out.line();
            table->print(out);
        }
    }
}

void write_property(JsonWriter& json, const Schema& schema, const ClassNode& node,
                    const DEFINED_PROPERTY_NODE_S& property) {
    const ClassNode& origin = schema.origin_of(node, property.name);
    const Type type = type_of(property.type);
    json.begin_object();
    json.member("property", property.name);
    json.member("type", type.text);
    json.member("reference", type.is_reference);
    json.member("id", guint32{property.id});
    json.member("exported", property.exported != 0);
    json.member("key", property.key != 0);
    json.member("inherited_from", &origin == &node ? "" : origin.name);
    json.end_object();
}

void write_method(JsonWriter& json, const ClassNode& node, const ClassNode& origin,
                  const DEFINED_METHOD_NODE_S& method) {
    json.begin_object();
    json.member("method", method.name);
    json.member("id", guint32{method.id});
    json.member("input", parameters_of(origin, method.name, INPUT_PARA));
    json.member("output", parameters_of(origin, method.name, OUTPUT_PARA));
    json.name("constants");
    json.begin_array();
    for (const Constant& constant : constants_of(origin, method)) {
        json.begin_object();
        json.member("constant", constant.name);
        if (constant.value) add_value(json, constant.value.get());
        json.end_object();
    }
    json.end_array();
    json.member("inherited_from", &origin == &node ? "" : origin.name);
    json.end_object();
}

void write_class(JsonWriter& json, const Schema& schema, const ClassNode& node,
                 const MoxHostClassInfo& info) {
    json.begin_object();
    json.member("class", node.name);
    json.member("id", guint32{node.id});
    json.member("parent", info.parent);
    json.member("children", children_of(node));
    json.member("module", info.module);
    json.member("objects", info.object_count);
    json.name("properties");
    json.begin_array();
    for (const DEFINED_PROPERTY_NODE_S& property : Schema::properties_of(node)) {
        write_property(json, schema, node, property);
    }
    json.end_array();
    json.name("methods");
    json.begin_array();
    for (const ClassNode* at = &node; at != nullptr; at = schema.parent_of(*at)) {
        for (const DEFINED_METHOD_NODE_S& method : Schema::methods_of(*at)) {
            write_method(json, node, *at, method);
        }
    }
    json.end_array();
    json.end_object();
}

void run_introspect(Call& call) {
    const Membership owner(call);
    const std::string& name = call.arguments[0];
    const Schema schema;
    const ClassNode* const node = schema.find(name);
    for (const MoxHostClassInfo& info : class_infos(owner)) {
        if (node == nullptr || name != info.name) {
            continue;
        }
        if (call.wants_json) {
            JsonWriter json;
            write_class(json, schema, *node, info);
            json.print(call.out);
        } else {
            print_class(call.out, schema, *node, info);
        }
        return;
    }
    refuse_collection_class(owner, name);
    throw Failed(no_class_text(name));
}

}  // namespace

const Verb introspect_verb = {
    .name = "introspect",
    .arguments = "CLASS",
    .summary = "show the schema of a class: parent, children, properties, methods",
    .description =
        "Shows a class's schema: its parent, the classes that derive from it, the module that\n"
        "owns it, how many objects it has itself, its properties and its methods with the\n"
        "types of their parameters and their constants; of what it inherits, from which class.",
    .example = "moxctl introspect Sensor",
    .fewest = 1,
    .most = 1,
    .run = run_introspect,
};

}  // namespace mox::tool
