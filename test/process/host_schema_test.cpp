// The schema in the pool, as a module finds it after it joined.
#include <classnode.h>
#include <classtree.h>
#include <gmock/gmock.h>

#include "host_module.hpp"

namespace mox::test {
namespace {

using ::testing::ElementsAre;

constexpr const char* schema_profile = R"({
  "classes": [
    {"name": "Fan", "parent": "Sensor", "id": 700,
     "properties": [{"name": "Speed", "type": "u"}, {"name": "Twin", "type": "sp", "id": 40}],
     "methods": [
       {"name": "Stop"},
       {"name": "SetSpeed", "id": 9, "input": ["u", "as"], "output": ["b"],
        "constants": {"Lowest": {"type": "u", "value": 200}, "Names": {"type": "as", "value": ["a", "b"]},
                      "None": {"type": "au", "value": []}}}]},
    {"name": "Sensor",
     "properties": [{"name": "Label", "type": "s", "key": true}, {"name": "Raw", "type": "ay", "exported": false}]},
    {"name": "Pump", "parent": "Sensor"},
    {"name": "BigPump", "parent": "Pump"},
    {"name": "Empty"}
  ],
  "objects": [{"name": "fan", "class": "Fan"}]
})";

DEFINED_CLASS_NODE_S* class_named(const std::string& name) {
    gint32 count = 0;
    DEFINED_CLASS_NODE_S* nodes = nullptr;
    clt_get_class_tree(&count, &nodes);
    for (gint32 at = 0; at < count; ++at) {
        if (name == nodes[at].name) {
            return nodes + at;
        }
    }
    return nullptr;
}

// Each property as `id name type flags`: e for an exported one, k for a key.
std::vector<std::string> properties_of(const char* class_name) {
    guint32 count = 0;
    DEFINED_PROPERTY_NODE_S* nodes = nullptr;
    EXPECT_EQ(clt_get_property_by_class(class_name, &count, &nodes), 0);
    std::vector<std::string> result;
    for (guint32 at = 0; at < count; ++at) {
        result.push_back(std::to_string(nodes[at].id) + ' ' + nodes[at].name + ' ' +
                         nodes[at].type + ' ' + (nodes[at].exported != 0 ? "e" : "") +
                         (nodes[at].key != 0 ? "k" : ""));
    }
    return result;
}

std::string parameters_of(const char* class_name, const char* method, PARA_TYPE direction) {
    GSList* list = nullptr;
    EXPECT_EQ(clt_get_paralist(class_name, method, direction, &list), 0);
    std::string result;
    for (const GSList* at = list; at != nullptr; at = at->next) {
        const auto* const type = static_cast<const GVariantType*>(at->data);
        result.append(g_variant_type_peek_string(type), g_variant_type_get_string_length(type));
        result += ' ';
    }
    g_slist_free_full(list,
                      [](gpointer type) { g_variant_type_free(static_cast<GVariantType*>(type)); });
    return result;
}

std::string constant_of(const char* class_name, const char* method, const char* name) {
    GVariant* value = nullptr;
    const gint32 status = clt_get_method_property(class_name, method, name, &value);
    if (status != MOX_OK) {
        return "code " + std::to_string(status);
    }
    gchar* const text = g_variant_print(value, TRUE);
    std::string result = text;
    g_free(text);
    g_variant_unref(value);
    return result;
}

std::vector<std::string> below(const char* class_name) {
    GSList* list = nullptr;
    EXPECT_EQ(clt_get_all_children(class_name, &list), 0);
    std::vector<std::string> names;
    for (const GSList* at = list; at != nullptr; at = at->next) {
        names.emplace_back(static_cast<const char*>(at->data));
    }
    g_slist_free(list);
    return names;
}

TEST(HostSchema, ListsItsClassesToAModuleInTheProfilesOrder) {
    HostOwner owner;
    ASSERT_TRUE(owner.start(schema_profile)) << owner.process().errors();
    const ModulePtr module = join(owner);
    ASSERT_NE(module, nullptr);
    gint32 count = 0;
    DEFINED_CLASS_NODE_S* nodes = nullptr;
    clt_get_class_tree(&count, &nodes);
    std::vector<std::string> classes;
    for (gint32 at = 0; at < count; ++at) {
        classes.push_back(std::to_string(nodes[at].id) + ' ' + nodes[at].name);
    }
    EXPECT_THAT(classes, ElementsAre("700 Fan", "2 Sensor", "3 Pump", "4 BigPump", "5 Empty"));
    EXPECT_STREQ(clt_get_class_by_id(700)->name, "Fan");
}

TEST(HostSchema, ShowsAModuleAllPropertiesOfAClassInheritedOnesFirst) {
    HostOwner owner;
    ASSERT_TRUE(owner.start(schema_profile)) << owner.process().errors();
    const ModulePtr module = join(owner);
    ASSERT_NE(module, nullptr);
    EXPECT_THAT(properties_of("Fan"),
                ElementsAre("1 Label s ek", "2 Raw ay ", "3 Speed u e", "40 Twin s e"));
    EXPECT_THAT(properties_of("BigPump"), ElementsAre("1 Label s ek", "2 Raw ay "));
    EXPECT_THAT(properties_of("Empty"), ElementsAre());
}

TEST(HostSchema, TellsReferencesFromTexts) {
    HostOwner owner;
    ASSERT_TRUE(owner.start(schema_profile)) << owner.process().errors();
    const ModulePtr module = join(owner);
    ASSERT_NE(module, nullptr);
    DEFINED_CLASS_NODE_S* const fan = class_named("Fan");
    ASSERT_NE(fan, nullptr);
    EXPECT_EQ(clt_get_property_by_id(fan, 40)->type[3], PUB_REFERENCE_MARKER);
    EXPECT_EQ(clt_get_property_by_id(fan, 1)->type[3], '\0');
}

TEST(HostSchema, ShowsAModuleTheMethodsWithParametersAndConstants) {
    HostOwner owner;
    ASSERT_TRUE(owner.start(schema_profile)) << owner.process().errors();
    const ModulePtr module = join(owner);
    ASSERT_NE(module, nullptr);
    DEFINED_CLASS_NODE_S* const fan = class_named("Fan");
    ASSERT_NE(fan, nullptr);
    ASSERT_NE(fan->method_array, nullptr);
    EXPECT_EQ(fan->method_array->size, 2U);
    EXPECT_STREQ(clt_get_method_by_id(fan, 1)->name, "Stop");
    EXPECT_STREQ(clt_get_method_by_id(fan, 9)->name, "SetSpeed");
    EXPECT_EQ(parameters_of("Fan", "SetSpeed", INPUT_PARA), "u as ");
    EXPECT_EQ(parameters_of("Fan", "SetSpeed", OUTPUT_PARA), "b ");
    EXPECT_EQ(parameters_of("Fan", "Stop", INPUT_PARA), "");
    EXPECT_EQ(constant_of("Fan", "SetSpeed", "Lowest"), "uint32 200");
    EXPECT_EQ(constant_of("Fan", "SetSpeed", "Names"), "['a', 'b']");
    EXPECT_EQ(constant_of("Fan", "SetSpeed", "None"), "@au []");
    EXPECT_EQ(constant_of("Fan", "Stop", "Lowest"),
              "code " + std::to_string(MOX_ERR_PROPERTY_NOT_FOUND));
    EXPECT_EQ(class_named("Pump")->method_array, nullptr);
}

TEST(HostSchema, LinksChildrenInTheProfilesOrder) {
    HostOwner owner;
    ASSERT_TRUE(owner.start(schema_profile)) << owner.process().errors();
    const ModulePtr module = join(owner);
    ASSERT_NE(module, nullptr);
    const DEFINED_CLASS_NODE_S* const sensor = class_named("Sensor");
    ASSERT_NE(sensor, nullptr);
    ASSERT_NE(sensor->children, nullptr);
    EXPECT_STREQ(sensor->children->name, "Fan");
    ASSERT_NE(sensor->children->next, nullptr);
    EXPECT_STREQ(sensor->children->next->name, "Pump");
    EXPECT_EQ(sensor->children->next->next, nullptr);
    EXPECT_THAT(below("Sensor"), ElementsAre("Sensor", "Pump", "BigPump", "Fan"));
    EXPECT_THAT(below("Empty"), ElementsAre("Empty"));
}

TEST(HostSchema, AgreesWithTheClassRegistry) {
    HostOwner owner;
    ASSERT_TRUE(owner.start(schema_profile)) << owner.process().errors();
    const ModulePtr module = join(owner);
    ASSERT_NE(module, nullptr);
    EXPECT_TRUE(cls_name_is_type("BigPump", "Sensor"));
    EXPECT_FALSE(cls_name_is_type("Empty", "Sensor"));
    EXPECT_FALSE(cls_name_is_type("Sensor", "Fan"));
}

TEST(HostSchema, OfNoClassesIsAnEmptyTree) {
    HostOwner owner;
    ASSERT_TRUE(owner.start(R"({"classes": [], "objects": []})")) << owner.process().errors();
    const ModulePtr module = join(owner);
    ASSERT_NE(module, nullptr);
    gint32 count = -1;
    clt_get_class_tree(&count, nullptr);
    EXPECT_EQ(count, 0);
    EXPECT_NE(clt_get_class_tree_addr(), nullptr);
    EXPECT_EQ(clt_get_class_by_id(1), nullptr);
}

// A profile of so many classes below or beside a root, each with the child's members.
std::string too_large(int count, const std::string& root, const std::string& child) {
    std::string classes = root;
    for (int number = 0; number < count; ++number) {
        classes += R"(, {"name": "Class)" + std::to_string(number) + "\"" + child + "}";
    }
    return R"({"classes": [)" + classes + R"(], "objects": []})";
}

void expect_no_room(const std::string& profile) {
    HostOwner owner;
    setenv("SHAMRE_MEMORY_SIZE", "8", 1);
    EXPECT_FALSE(owner.start(profile));
    EXPECT_EQ(owner.process().wait(), 1);
    const std::string errors = owner.process().errors();
    EXPECT_NE(errors.find("the pool has no room for class \"Class"), std::string::npos) << errors;
    EXPECT_NE(errors.find("\"; set SHAMRE_MEMORY_SIZE to a larger number of MiB"),
              std::string::npos)
        << errors;
    EXPECT_EQ(system_v_objects(), 0);
}

TEST(HostSchema, OfTooManyPropertiesForThePoolNamesTheClass) {
    std::string properties;
    for (int number = 0; number < 1000; ++number) {
        properties += number == 0 ? "" : ", ";
        properties += R"({"type": "i", "name": "p)" + std::to_string(number) + "\"}";
    }
    expect_no_room(too_large(400, R"({"name": "Root", "properties": [)" + properties + "]}",
                             R"(, "parent": "Root")"));
}

TEST(HostSchema, OfTooLargeConstantsForThePoolNamesTheClass) {
    expect_no_room(
        too_large(800, R"({"name": "Root"})",
                  R"(, "methods": [{"name": "m", "constants": {"c": {"type": "s", "value": ")" +
                      std::string(15000, 'x') + R"("}}}])"));
}

}  // namespace
}  // namespace mox::test
