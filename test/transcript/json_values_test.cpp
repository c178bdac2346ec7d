// The values in --json are what a module reads: nothing is lost on the way.
#include <json-glib/json-glib.h>
#include <lom.h>

#include "../process/host_module.hpp"
#include "moxctl_run.hpp"

namespace mox::test {
namespace {

struct FreeObject {
    void operator()(gpointer object) const { g_object_unref(object); }
};

// A JSON document.
class Document {
public:
    explicit Document(const std::string& text) : parser_(json_parser_new()) {
        HostError error;
        EXPECT_TRUE(json_parser_load_from_data(parser_.get(), text.data(),
                                               static_cast<gssize>(text.size()), error.out()))
            << error.text() << "\n"
            << text;
    }
    JsonNode* root() const { return json_parser_get_root(parser_.get()); }

private:
    std::unique_ptr<JsonParser, FreeObject> parser_;
};

struct UnrefValue {
    void operator()(GVariant* value) const { g_variant_unref(value); }
};
using ValuePtr = std::unique_ptr<GVariant, UnrefValue>;

ValuePtr read_directly(const std::string& object, const char* property) {
    GVariant* value = nullptr;
    const gint32 status =
        lom_get_property_value(lom_get_object_handle(object.c_str()), property, TRUE, &value, TRUE);
    return ValuePtr(status == MOX_OK ? g_variant_ref_sink(value) : nullptr);
}

// Compares what is given for a property with what a module reads. True when there was a value.
bool check_property(const std::string& object, JsonObject* given) {
    const char* const property = json_object_get_string_member(given, "property");
    SCOPED_TRACE(object + "." + property);
    // What lists declared types has the value's type beside them.
    const char* const type_member =
        json_object_has_member(given, "value_type") != FALSE ? "value_type" : "type";
    const ValuePtr direct = read_directly(object, property);
    if (json_object_get_null_member(given, "value") != FALSE) {
        EXPECT_EQ(direct, nullptr);
        return false;
    }
    HostError error;
    const ValuePtr parsed(g_variant_parse(nullptr, json_object_get_string_member(given, "value"),
                                          nullptr, nullptr, error.out()));
    EXPECT_NE(parsed, nullptr) << error.text();
    EXPECT_NE(direct, nullptr);
    if (parsed == nullptr || direct == nullptr) {
        return false;
    }
    EXPECT_STREQ(g_variant_get_type_string(parsed.get()), g_variant_get_type_string(direct.get()));
    EXPECT_STREQ(json_object_get_string_member(given, type_member),
                 g_variant_get_type_string(direct.get()));
    EXPECT_TRUE(g_variant_equal(parsed.get(), direct.get()));
    return true;
}

// Every property of every object, collections included. Returns how many values were compared.
int check_all(const HostOwner& owner) {
    int compared = 0;
    const Document list(run_moxctl(owner, {"list", "--json"}).output);
    JsonArray* const objects = json_node_get_array(list.root());
    for (guint at = 0; at < json_array_get_length(objects); ++at) {
        const std::string name =
            json_object_get_string_member(json_array_get_object_element(objects, at), "object");
        const Document shown(run_moxctl(owner, {"show", name, "--json"}).output);
        JsonArray* const properties =
            json_object_get_array_member(json_node_get_object(shown.root()), "properties");
        for (guint i = 0; i < json_array_get_length(properties); ++i) {
            compared += check_property(name, json_array_get_object_element(properties, i)) ? 1 : 0;
        }
    }
    return compared;
}

TEST(MoxctlJson, GivesEveryValueOfTheModelAsAModuleReadsIt) {
    SensorsOwner sensors;
    ASSERT_TRUE(sensors.start());
    const ModulePtr module = join(sensors.owner());
    ASSERT_NE(module, nullptr);
    // Of 41 properties of objects, all but an accessor without a file and a reference to nowhere;
    // and two of each of the 7 collections.
    EXPECT_EQ(check_all(sensors.owner()), 39 + 2 * 7);
}

TEST(MoxctlJson, OfSeveralPropertiesIsWhatEachOneReads) {
    SensorsOwner sensors;
    ASSERT_TRUE(sensors.start());
    const ModulePtr module = join(sensors.owner());
    ASSERT_NE(module, nullptr);
    const Document values(
        run_moxctl(sensors.owner(), {"get", "All", "ULongs", "Real", "Dict", "None", "--json"})
            .output);
    JsonArray* const list = json_node_get_array(values.root());
    ASSERT_EQ(json_array_get_length(list), 4U);
    for (guint at = 0; at < 4; ++at) {
        EXPECT_TRUE(check_property("All", json_array_get_object_element(list, at)));
    }
}

TEST(MoxctlJson, HasNoControlCharacterThatCouldSteerATerminal) {
    SensorsOwner sensors;
    ASSERT_TRUE(sensors.start());
    const std::string formula =
        "X\x7f\xc2\x9b"
        "3m\x1b[0m";
    ASSERT_EQ(run_moxctl(sensors.owner(), {"set", "Sum", "Formula", formula}).status, 0);
    const std::string text = run_moxctl(sensors.owner(), {"show", "Sum", "--json"}).output;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto byte = static_cast<unsigned char>(text[at]);
        const bool is_late_control =
            byte == 0xc2 && at + 1 < text.size() && static_cast<unsigned char>(text[at + 1]) < 0xa0;
        EXPECT_TRUE((byte >= 0x20 || byte == '\n') && byte != 0x7f && !is_late_control) << at;
    }
    const Document shown(text);
    JsonArray* const properties =
        json_object_get_array_member(json_node_get_object(shown.root()), "properties");
    JsonObject* const value =
        json_array_get_object_element(properties, json_array_get_length(properties) - 1);
    EXPECT_EQ(json_object_get_string_member(value, "source_text"), formula);
}

}  // namespace
}  // namespace mox::test
