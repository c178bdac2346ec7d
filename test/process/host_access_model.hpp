// A model for what modules may and may not do, and its owner.
#ifndef MOX_TEST_PROCESS_HOST_ACCESS_MODEL_HPP
#define MOX_TEST_PROCESS_HOST_ACCESS_MODEL_HPP

#include <moxhost/operator.h>

#include "host_write_model.hpp"

namespace mox::test {

// Thermometer derives from Sensor and is the heater's; Oven.Twin leads to Tank.Level. members: more
// of the profile's top level, each with a comma behind it.
inline std::string access_profile(const std::string& members) {
    return "{" + members + R"(
  "refresh_ms": 3600000,
  "classes": [
    {"name": "Sensor", "properties": [{"name": "Label", "type": "s"}, {"name": "Level", "type": "i"}]},
    {"name": "Thermometer", "parent": "Sensor", "module": "heater",
     "properties": [{"name": "Heat", "type": "i"}, {"name": "Twin", "type": "sp"}]},
    {"name": "Lamp", "properties": [{"name": "Text", "type": "s"}, {"name": "Bright", "type": "i"}]}
  ],
  "objects": [
    {"name": "Tank", "class": "Sensor", "properties": {"Label": "tank", "Level": {"value": 5, "persist": "permanent"}}},
    {"name": "Oven", "class": "Thermometer", "properties": {"Label": "oven", "Heat": 7, "Twin": "Tank.Level"}},
    {"name": "Desk", "class": "Lamp", "properties": {"Text": "on", "Bright": {"value": 1, "persist": "permanent"}}}
  ],
  "boards": [{"name": "psu1", "position": 7, "plugged": false,
              "objects": [{"name": "Probe", "class": "Sensor", "properties": {"Level": {"value": 3, "persist": "permanent"}}}]}]
})";
}

class AccessTest : public ::testing::Test {
protected:
    void start(const std::string& members) {
        ASSERT_TRUE(owner_.start(access_profile(members))) << owner_.process().errors();
    }

    // With entries of the profile's list of modules.
    void start_with(const std::string& entries) { start(R"("modules": [)" + entries + "],"); }

    void join_as(const char* name, MOX_MODULE_TYPE type = MODULE_APP) {
        module_ = join(owner_, name, type);
        ASSERT_NE(module_, nullptr);
    }

    // How often a text stands in the owner's log, as soon as it stands there at all.
    std::size_t count_in_log(const std::string& text) {
        eventually([&] { return owner_.process().output().find(text) != std::string::npos; });
        const std::string log = owner_.process().output();
        std::size_t count = 0;
        for (std::size_t at = log.find(text); at != std::string::npos;
             at = log.find(text, at + 1)) {
            ++count;
        }
        return count;
    }

    // Overrides, or ends that, by this process itself.
    static gint32 force(const char* object, const char* property, gint32 number) {
        GVariant* const value = g_variant_ref_sink(g_variant_new_int32(number));
        const gint32 result = lom_override_property_value(lom_get_object_handle(object), property,
                                                          value, PROPERTY_OVERRIDE, nullptr);
        g_variant_unref(value);
        return result;
    }
    static gint32 let_go(const char* object, const char* property) {
        return lom_override_property_value(lom_get_object_handle(object), property, nullptr,
                                           PROPERTY_CANCEL_OVERRIDE, nullptr);
    }

    HostOwner owner_;
    ModulePtr module_;
};

}  // namespace mox::test

#endif
