// A model whose properties are written and saved by a module "heater", and the words for it.
#ifndef MOX_TEST_PROCESS_HOST_WRITE_MODEL_HPP
#define MOX_TEST_PROCESS_HOST_WRITE_MODEL_HPP

#include <lom/persist.h>

#include "host_module.hpp"

namespace mox::test {

// Oven is the heater's; Tank and Room are the owner's. The file chip is behind Oven.Heat, and
// dial, which may be written, behind Oven.Dial.
inline std::string write_profile(const HostOwner& owner) {
    return R"({
  "refresh_ms": 3600000,
  "classes": [
    {"name": "Chip", "properties": [{"name": "Path", "type": "s"}]},
    {"name": "Accessor", "properties": [{"name": "Chip", "type": "s"}, {"name": "Kind", "type": "s"},
                                        {"name": "Type", "type": "s"}]},
    {"name": "Sensor", "properties": [{"name": "Label", "type": "s"}, {"name": "Level", "type": "i"}]},
    {"name": "Plan", "module": "heater",
     "properties": [{"name": "Title", "type": "s"}, {"name": "Steps", "type": "ai"}, {"name": "d:Count", "type": "i"}]},
    {"name": "Stove", "parent": "Sensor", "module": "heater",
     "properties": [{"name": "Limits", "type": "ai"}, {"name": "Twin", "type": "sp"}, {"name": "Own", "type": "sp"},
                    {"name": "Heat", "type": "i"}, {"name": "Dial", "type": "i"}, {"name": "Night", "type": "i"},
                    {"name": "Day", "type": "i"}, {"name": "Now", "type": "i"}]}
  ],
  "objects": [
    {"name": "chip", "class": "Chip", "type": "Physical", "properties": {"Path": ")" +
           owner.dir().path("chip").string() + R"("}},
    {"name": "dialchip", "class": "Chip", "type": "Physical", "properties": {"Path": ")" +
           owner.dir().path("dial").string() + R"("}},
    {"name": "level", "class": "Accessor", "type": "Physical",
     "properties": {"Chip": "chip", "Kind": "attribute", "Type": "i"}},
    {"name": "dial", "class": "Accessor", "type": "Physical",
     "properties": {"Chip": "dialchip", "Kind": "attribute", "Type": "i"}},
    {"name": "Tank", "class": "Sensor",
     "properties": {"Label": {"value": "tank", "persist": "permanent"}, "Level": {"accessor": "level"}}},
    {"name": "Room", "class": "Sensor", "properties": {"Label": "room", "Level": 20}},
    {"name": "Breakfast", "class": "Plan",
     "properties": {"Title": {"value": "none", "persist": "power-off"}, "Steps": [1], "d:Count": {"persist": "permanent"}}},
    {"name": "Oven", "class": "Stove", "mutex": "Tank",
     "properties": {"Label": "oven", "Limits": {"value": [-5, 300], "persist": "power-off"},
                    "Twin": "Tank.Label", "Own": "Oven.Day",
                    "Heat": {"accessor": "level", "persist": "permanent"},
                    "Dial": {"value": 0, "accessor": "dial", "mode": "rw", "persist": "permanent"},
                    "Night": {"value": 1, "persist": "reset"}, "Day": {"value": 2, "persist": "permanent"},
                    "Now": {"value": 3, "persist": "power-off"}}}
  ]
})";
}

// An array of so many numbers, all the same.
inline GVariant* numbers(gsize count, gint32 number) {
    const std::vector<gint32> all(count, number);
    return g_variant_new_fixed_array(G_VARIANT_TYPE_INT32, all.data(), count, sizeof number);
}

inline std::string text_of(GVariant* value) {
    gchar* const printed = g_variant_print(value, FALSE);
    std::string text = printed;
    g_free(printed);
    return text;
}

// Writes by the library's own call; value: consumed when it floats.
inline gint32 write(const char* object, const char* property, GVariant* value,
                    PER_MODE_E mode = PER_MODE_NOSUPPORT, gboolean is_static = FALSE) {
    GVariant* const own = g_variant_ref_sink(value);
    const gint32 result =
        lom_set_property_value(lom_get_object_handle(object), property, own, mode, is_static);
    g_variant_unref(own);
    return result;
}

// Writes with the profile's mode, by value or through the accessor; "" or what went wrong.
using HostWrite = decltype(&moxhost_set_property);
inline std::string write_with(HostWrite how, MoxHostModule* module, const char* object,
                              const char* property, GVariant* value) {
    HostError error;
    const gboolean is_done = how(module, object, property, value, error.out());
    EXPECT_EQ(is_done == FALSE, !error.text().empty());
    return error.text();
}

// A saved value as text, or the code.
inline std::string saved_of(const char* object, const char* property, PER_MODE_E mode,
                            gboolean is_remote = FALSE) {
    GVariant* value = nullptr;
    const gint32 result =
        lom_get_saved_value(lom_get_object_handle(object), property, &value, mode, is_remote);
    if (result != 0) {
        return "code " + std::to_string(result);
    }
    const std::string text = text_of(value);
    g_variant_unref(value);
    return text;
}

// An owner of that model.
class WriteTest : public ::testing::Test {
protected:
    WriteTest() { owner_.dir().write("dial", "7\n"); }

    void start() { ASSERT_TRUE(owner_.start(write_profile(owner_))) << owner_.process().errors(); }

    void join_as(const char* name) {
        module_ = join(owner_, name);
        ASSERT_NE(module_, nullptr);
    }

    HostOwner owner_;
    ModulePtr module_;
};

}  // namespace mox::test

#endif
