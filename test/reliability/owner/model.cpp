// Each saver has a class of its own, because a module writes the objects of its classes only.
#include "model.hpp"

#include <charconv>
#include <system_error>

namespace mox::kill_owner {
namespace {

constexpr int repetitions = 30;

std::string store_class(const std::string& number) {
    return R"(
    {"name": "Kept)" +
           number + R"(", "module": "saver)" + number +
           R"(", "properties": [{"name": "Always", "type": "i"}, {"name": "Off", "type": "i"},
                                {"name": "Reset", "type": "i"}, {"name": "Text", "type": "s"},
                                {"name": "Live", "type": "i"}]},)";
}

std::string store_object(const std::string& number) {
    return R"(
    {"name": "Store)" +
           number + R"(", "class": "Kept)" + number +
           R"(", "properties": {"Always": {"value": 0, "persist": "permanent"},
      "Off": {"value": 0, "persist": "power-off"}, "Reset": {"value": 0, "persist": "reset"},
      "Text": {"value": ")" +
           text_of(0) + R"(", "persist": "permanent"}}},)";
}

}  // namespace

std::string profile(const std::string& chip, const std::string& dial) {
    return R"({
  "refresh_ms": 50,
  "classes": [
    {"name": "Chip", "properties": [{"name": "Path", "type": "s"}]},
    {"name": "Accessor", "properties": [{"name": "Chip", "type": "s"}, {"name": "Kind", "type": "s"},
                                        {"name": "Type", "type": "s"}]},)" +
           store_class("0") + store_class("1") + R"(
    {"name": "Fan", "properties": [{"name": "Label", "type": "s"}, {"name": "Speed", "type": "i"}]},
    {"name": "Sensor", "properties": [{"name": "Level", "type": "i"}]},
    {"name": "Valve", "module": "visitor",
     "properties": [{"name": "Note", "type": "s"}, {"name": "Goal", "type": "i"}]}
  ],
  "objects": [
    {"name": "chip", "class": "Chip", "type": "Physical", "properties": {"Path": ")" +
           chip + R"("}},
    {"name": "level", "class": "Accessor", "type": "Physical",
     "properties": {"Chip": "chip", "Kind": "attribute", "Type": "i"}},
    {"name": "dialchip", "class": "Chip", "type": "Physical", "properties": {"Path": ")" +
           dial + R"("}},
    {"name": "dial", "class": "Accessor", "type": "Physical",
     "properties": {"Chip": "dialchip", "Kind": "attribute", "Type": "i"}},)" +
           store_object("0") + store_object("1") + R"(
    {"name": "Tank", "class": "Sensor", "properties": {"Level": {"accessor": "level"}}},
    {"name": "Valve", "class": "Valve",
     "properties": {"Note": "n", "Goal": {"value": 0, "accessor": "dial", "mode": "rw"}}}
  ],
  "boards": [
    {"name": "fans", "position": 7, "plugged": false, "objects": [
      {"name": "Fan1", "class": "Fan", "properties": {"Label": "one", "Speed": {"accessor": "level"}}},
      {"name": "Fan2", "class": "Fan", "properties": {"Label": "two", "Speed": 2}},
      {"name": "Fan3", "class": "Fan", "mutex": "Fan2", "properties": {"Label": "three", "Speed": 3}}
    ]}
  ]
})";
}

std::string text_of(std::int32_t number) {
    // As long for each number, so that it never outgrows the property's room.
    const std::string digits = std::to_string(number);
    const std::string one = std::string(11 - digits.size(), '0') + digits;
    std::string text;
    for (int at = 0; at < repetitions; ++at) {
        text += one;
    }
    return text;
}

std::int32_t number_of(const std::string& text) {
    std::int32_t number = -1;
    const bool is_number = text.size() >= 11 &&
                           std::from_chars(text.data(), text.data() + 11, number).ec == std::errc();
    return is_number && text == text_of(number) ? number : -1;
}

std::int32_t note_code(const std::string& note) {
    if (note == forced_note) {
        return 0;
    }
    const bool is_known = !note.empty() && note.find_first_not_of('n') == std::string::npos;
    return is_known ? static_cast<std::int32_t>(note.size()) : -1;
}

}  // namespace mox::kill_owner
