// What holds here: a class has the properties of all its sensors, a chip stands for one file or
// directory, and each reading has an accessor of its own that names its chip. What the
// demonstration's steps need beyond the sensors stands behind them in each section.
#include "profile_document.hpp"

#include <json-glib/json-glib.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <map>
#include <memory>
#include <utility>

#include "demo_objects.hpp"
#include "object_names.hpp"

namespace mox::examples {
namespace {

struct UnrefObject {
    void operator()(gpointer object) const { g_object_unref(object); }
};
struct FreeNode {
    void operator()(JsonNode* node) const { json_node_unref(node); }
};

using Property = std::pair<std::string, std::string>;  // name, type string

// A method with one parameter, a result that tells whether it was done, and one constant.
struct Method {
    std::string name;
    std::string input;  // type string
    std::string constant;
    unsigned value = 0;
};

struct SensorClass {
    std::string name;
    std::vector<Property> properties;
};

// The sensors' classes in order of appearance.
std::vector<SensorClass> classes_of(const std::vector<Sensor>& sensors) {
    std::vector<SensorClass> classes;
    for (const Sensor& sensor : sensors) {
        auto known =
            std::find_if(classes.begin(), classes.end(), [&](const SensorClass& sensor_class) {
                return sensor_class.name == sensor.class_name;
            });
        if (known == classes.end()) known = classes.insert(known, {sensor.class_name, {}});
        for (const Reading& reading : sensor.readings) {
            const Property property{reading.property, reading.type};
            auto& properties = known->properties;
            if (std::find(properties.begin(), properties.end(), property) == properties.end()) {
                properties.push_back(property);
            }
        }
    }
    return classes;
}

// The number that is a file's whole content.
Place whole_file(const std::string& path) {
    Place place;
    place.path = path;
    return place;
}

// The memory sensor, when it has all inputs of the formula.
const Sensor* formula_source(const std::vector<Sensor>& sensors) {
    for (const Sensor& sensor : sensors) {
        const auto has = [&](const char* input) {
            return std::any_of(sensor.readings.begin(), sensor.readings.end(),
                               [&](const Reading& reading) { return reading.property == input; });
        };
        if (std::all_of(std::begin(formula_inputs), std::end(formula_inputs), has)) return &sensor;
    }
    return nullptr;
}

// The cached inputs of a formula take the type of the inputs.
std::string formula_type(const std::vector<Sensor>& sensors) {
    const Sensor* source = formula_source(sensors);
    return source == nullptr ? "d" : source->readings.front().type;
}

// Writes one profile; the steps are called in the order of its sections.
class Document {
public:
    explicit Document(unsigned refresh_ms) {
        json_builder_begin_object(json());
        member("refresh_ms");
        json_builder_add_int_value(json(), refresh_ms);
    }

    // formula_type: the type of the formula's inputs; empty leaves out what the steps need.
    void add_classes(const std::vector<SensorClass>& sensor_classes,
                     const std::string& formula_type) {
        begin_list("classes");
        add_class("Hardware", "", {});
        add_class("Chip", "Hardware", {{"Path", "s"}});
        add_class("Accessor", "Hardware",
                  {{"Chip", "s"},
                   {"Kind", "s"},
                   {"Type", "s"},
                   {"File", "s"},
                   {"Line", "s"},
                   {"LineNumber", "u"},
                   {"Field", "u"},
                   {"Scale", "d"}});
        add_class("Sensor", "", {{"Source", "s"}});
        for (const SensorClass& sensor_class : sensor_classes) {
            add_class(sensor_class.name, "Sensor", sensor_class.properties);
        }
        if (!formula_type.empty()) {
            add_class(demo_class, "", {{threshold_property, "u"}, {setting_property, "u"}},
                      demo_module);
            add_class("Expression", "",
                      {{"X", "sp"},
                       {"Y", "sp"},
                       {"Z", "sp"},
                       {"Xcache", formula_type},
                       {"Ycache", formula_type},
                       {"Zcache", formula_type},
                       {"Formula", "s"},
                       {"Value", "d"}});
            add_class(port_class, "", {{number_property, "u"}, {label_property, "s"}}, tour_module,
                      {{reset_method, "u", reset_constant, reset_timeout},
                       {rename_method, "s", rename_constant, rename_longest}},
                      number_property);
        }
        json_builder_end_array(json());
    }

    void add_objects(const std::vector<Sensor>& sensors, const std::string& setting_file) {
        begin_list("objects");
        // The sensors take their names first: theirs are the ones that people read.
        std::vector<std::string> sensor_names;
        sensor_names.reserve(sensors.size());
        for (const Sensor& sensor : sensors) sensor_names.push_back(names_.take(sensor.name));
        for (const Sensor& sensor : sensors) add_chips(sensor);
        auto name = sensor_names.begin();
        for (const Sensor& sensor : sensors) add_sensor(sensor, *name++);
        if (!setting_file.empty()) add_demo(sensors, setting_file);
        json_builder_end_array(json());
    }

    // Behind the objects.
    void add_board() {
        begin_list("boards");
        json_builder_begin_object(json());
        add_text("name", board_name);
        add_count("position", board_position);
        member("plugged");
        json_builder_add_boolean_value(json(), FALSE);
        begin_list("objects");
        unsigned number = 0;
        for (const char* port : board_ports) add_port(port, ++number);
        json_builder_end_array(json());
        json_builder_end_object(json());
        json_builder_end_array(json());
    }

    std::string text() {
        json_builder_end_object(json());
        const std::unique_ptr<JsonNode, FreeNode> root{json_builder_get_root(json())};
        const std::unique_ptr<JsonGenerator, UnrefObject> generator{json_generator_new()};
        json_generator_set_root(generator.get(), root.get());
        json_generator_set_pretty(generator.get(), TRUE);
        const std::unique_ptr<gchar, decltype(&g_free)> text{
            json_generator_to_data(generator.get(), nullptr), g_free};
        return std::string{text.get()} + "\n";
    }

private:
    JsonBuilder* json() { return builder_.get(); }
    void member(const char* name) { json_builder_set_member_name(json(), name); }
    void begin_list(const char* name) {
        member(name);
        json_builder_begin_array(json());
    }
    void add_text(const char* name, const std::string& text) {
        if (text.empty()) return;
        member(name);
        json_builder_add_string_value(json(), text.c_str());
    }
    void add_count(const char* name, unsigned count) {
        if (count == 0) return;
        member(name);
        json_builder_add_int_value(json(), count);
    }

    void add_class(const std::string& name, const std::string& parent,
                   const std::vector<Property>& properties, const std::string& module = "",
                   const std::vector<Method>& methods = {}, const std::string& key = "") {
        json_builder_begin_object(json());
        add_text("name", name);
        add_text("parent", parent);
        add_text("module", module);
        begin_list("properties");
        for (const auto& [property, type] : properties) {
            json_builder_begin_object(json());
            add_text("name", property);
            add_text("type", type);
            if (property == key) {
                member("key");
                json_builder_add_boolean_value(json(), TRUE);
            }
            json_builder_end_object(json());
        }
        json_builder_end_array(json());
        if (!methods.empty()) add_methods(methods);
        json_builder_end_object(json());
    }

    void add_types(const char* direction, const std::string& type) {
        begin_list(direction);
        json_builder_add_string_value(json(), type.c_str());
        json_builder_end_array(json());
    }

    void add_methods(const std::vector<Method>& methods) {
        begin_list("methods");
        for (const Method& method : methods) {
            json_builder_begin_object(json());
            add_text("name", method.name);
            add_types("input", method.input);
            add_types("output", "b");
            member("constants");
            json_builder_begin_object(json());
            member(method.constant.c_str());
            json_builder_begin_object(json());
            add_text("type", "u");
            add_count("value", method.value);
            json_builder_end_object(json());
            json_builder_end_object(json());
            json_builder_end_object(json());
        }
        json_builder_end_array(json());
    }

    void begin_object(const std::string& name, const std::string& class_name, const char* kind) {
        json_builder_begin_object(json());
        add_text("name", name);
        add_text("class", class_name);
        add_text("type", kind);
        member("properties");
        json_builder_begin_object(json());
    }
    void end_object() {
        json_builder_end_object(json());
        json_builder_end_object(json());
    }

    void add_chips(const Sensor& sensor) {
        for (const Reading& reading : sensor.readings) {
            const std::string& path = reading.place.path;
            if (chips_.contains(path)) continue;
            const std::filesystem::path parts{path};
            const std::string folder = parts.parent_path().filename().string();
            const std::string& chip =
                chips_
                    .emplace(path, names_.take("chip_" + folder + "_" + parts.filename().string()))
                    .first->second;
            begin_object(chip, "Chip", "Physical");
            add_text("Path", path);
            end_object();
        }
    }

    // Adds the accessor of a reading and gives its name.
    std::string add_accessor(const std::string& sensor_name, const Reading& reading) {
        const Place& place = reading.place;
        std::string name = names_.take("acc_" + sensor_name + "_" + reading.property);
        begin_object(name, "Accessor", "Physical");
        add_text("Chip", chips_.at(place.path));
        add_text("Kind", place.field == 0          ? "attribute"
                         : place.line_name.empty() ? "field"
                                                   : "line");
        add_text("Type", reading.type);
        add_text("File", place.file);
        add_text("Line", place.line_name);
        add_count("LineNumber", place.line_number);
        add_count("Field", place.field);
        if (place.scale != 0) {
            member("Scale");
            json_builder_add_double_value(json(), place.scale);
        }
        end_object();
        return name;
    }

    void add_sensor(const Sensor& sensor, const std::string& name) {
        std::vector<std::string> accessors;
        for (const Reading& reading : sensor.readings)
            accessors.push_back(add_accessor(name, reading));
        begin_object(name, sensor.class_name, "Logical");
        add_text("Source", sensor.source);
        auto accessor = accessors.begin();
        for (const Reading& reading : sensor.readings) add_live_value(reading, *accessor++);
        end_object();
    }

    // The value itself is not known before the owner's first look at the hardware.
    void add_live_value(const Reading& reading, const std::string& accessor) {
        member(reading.property.c_str());
        json_builder_begin_object(json());
        member("value");
        if (reading.type == "b") {
            json_builder_add_boolean_value(json(), FALSE);
        } else if (reading.type == "d") {
            json_builder_add_double_value(json(), 0);
        } else {
            json_builder_add_int_value(json(), 0);
        }
        add_text("accessor", accessor);
        json_builder_end_object(json());
    }

    void add_demo(const std::vector<Sensor>& sensors, const std::string& setting_file) {
        const std::string name = names_.take(demo_object);
        const Reading setting{setting_property, "u", whole_file(setting_file)};
        const Sensor file{name, demo_class, "", {setting}};
        add_chips(file);
        const std::string accessor = add_accessor(name, setting);
        begin_object(name, demo_class, "Logical");
        member(threshold_property);
        json_builder_begin_object(json());
        add_count("value", profile_threshold);
        add_text("persist", "permanent");
        json_builder_end_object(json());
        member(setting_property);
        json_builder_begin_object(json());
        add_text("accessor", accessor);
        add_text("mode", "rw");
        json_builder_end_object(json());
        end_object();
        const Sensor* memory = formula_source(sensors);
        if (memory != nullptr) add_formula(memory->name);
        add_port(fixed_port, 0);
    }

    void add_port(const char* name, unsigned number) {
        begin_object(names_.take(name), port_class, "Logical");
        add_count(number_property, number);
        member(label_property);
        json_builder_begin_object(json());
        add_text("value", port_labels[number]);
        add_text("persist", "permanent");
        json_builder_end_object(json());
        end_object();
    }

    // The sensor with the inputs has a short name of its own, which it gets unchanged.
    void add_formula(const std::string& source) {
        begin_object(names_.take(formula_object), "Expression", "Logical");
        const char* inputs[] = {"X", "Y", "Z"};
        for (std::size_t i = 0; i < std::size(inputs); ++i) {
            add_text(inputs[i], source + "." + formula_inputs[i]);
        }
        add_text("Formula", formula_text);
        end_object();
    }

    std::unique_ptr<JsonBuilder, UnrefObject> builder_{json_builder_new()};
    ObjectNames names_;
    std::map<std::string, std::string> chips_;  // path -> object name
};

}  // namespace

std::string make_profile(const std::vector<Sensor>& sensors, unsigned refresh_ms,
                         const std::string& setting_file) {
    Document document{refresh_ms};
    const bool with_demo = !setting_file.empty();
    document.add_classes(classes_of(sensors), with_demo ? formula_type(sensors) : "");
    document.add_objects(sensors, setting_file);
    if (with_demo) document.add_board();
    return document.text();
}

}  // namespace mox::examples
