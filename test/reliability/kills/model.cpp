// Every text and list begins as long as it may become, so that the pool's use does not depend on
// what is written, but for Small, which outgrows its room on boards only and goes with them.
#include "model.hpp"

#include <cstddef>

#include "patterns.hpp"

namespace mox::kills {
namespace {

std::string quoted(const std::string& text) {
    return '"' + text + '"';
}

std::string cell(const std::string& name, const std::string& twin, const std::string& mutex) {
    std::string list;
    for (const std::int32_t number : list_of(7)) {
        list += (list.empty() ? "" : ", ") + std::to_string(number);
    }
    return "{\"name\": " + quoted(name) + ", \"class\": \"Cell\"" +
           (mutex.empty() ? "" : ", \"mutex\": " + quoted(mutex)) +
           ", \"properties\": {\"Short\": " + quoted(text_of(kShortLetter)) +
           ", \"Text\": " + quoted(text_of(kLongestLetter)) +
           ", \"Forced\": " + quoted(text_of(kLongestLetter)) +
           ", \"Lone\": " + quoted(text_of(kLongestLetter)) +
           ", \"Small\": " + quoted(text_of(kShortLetter)) + ", \"List\": [" + list +
           "], \"Twin\": " + quoted(twin) + "}}";
}

constexpr const char* classes = R"("classes": [
    {"name": "Chip", "properties": [{"name": "Path", "type": "s"}]},
    {"name": "Accessor", "properties": [{"name": "Chip", "type": "s"}, {"name": "Kind", "type": "s"},
                                        {"name": "Type", "type": "s"}]},
    {"name": "Expression", "properties": [
        {"name": "X", "type": "sp"}, {"name": "Y", "type": "sp"}, {"name": "Z", "type": "sp"},
        {"name": "Xcache", "type": "i"}, {"name": "Ycache", "type": "i"}, {"name": "Zcache", "type": "i"},
        {"name": "Formula", "type": "s"}, {"name": "Value", "type": "d"}]},
    {"name": "Meter", "module": "victim", "properties": [{"name": "Level", "type": "i"}]},
    {"name": "Store", "module": "victim", "properties": [
        {"name": "Permanent", "type": "i"}, {"name": "PowerOff", "type": "i"}, {"name": "Reset", "type": "i"},
        {"name": "Title", "type": "s"}]},
    {"name": "Cell", "module": "victim", "properties": [
        {"name": "Short", "type": "s"}, {"name": "Text", "type": "s"}, {"name": "Forced", "type": "s"},
        {"name": "Small", "type": "s"}, {"name": "Lone", "type": "s"}, {"name": "List", "type": "ai"},
        {"name": "Number", "type": "i"}, {"name": "Real", "type": "d"}, {"name": "Twin", "type": "sp"}]}
  ])";

}  // namespace

std::string profile_text(const std::string& chip) {
    return "{\n  \"refresh_ms\": 50,\n  " + std::string(classes) + R"(,
  "objects": [
    {"name": "chip", "class": "Chip", "type": "Physical", "properties": {"Path": )" +
           quoted(chip) + R"(}},
    {"name": "level", "class": "Accessor", "type": "Physical",
     "properties": {"Chip": "chip", "Kind": "attribute", "Type": "i"}},
    {"name": "Gauge", "class": "Meter", "properties": {"Level": {"accessor": "level", "mode": "rw"}}},
    {"name": "Vault", "class": "Store", "properties": {
        "Permanent": {"value": 0, "persist": "permanent"}, "PowerOff": {"value": 0, "persist": "power-off"},
        "Reset": {"value": 0, "persist": "reset"}, "Title": {"value": )" +
           quoted(text_of(kLongestLetter)) + R"(, "persist": "permanent"}}},
    )" + cell(kCells[0], std::string(kCells[2]) + ".Text", "") +
           ",\n    " + cell(kCells[1], std::string(kCells[0]) + ".Text", kCells[0]) + ",\n    " +
           cell(kCells[2], "", "") + R"(,
    {"name": "Sum", "class": "Expression", "properties": {
        "X": "Cell1.Number", "Y": "Cell3.Number", "Z": "Gauge.Level", "Formula": "X + Y + Z"}}
  ],
  "boards": [
    {"name": "front", "position": 5, "objects": [)" +
           cell(kBoardCells[0], "Cell1.Text", "") + ",\n      " +
           cell(kBoardCells[1], "Slot1.Text", "Cell1") + R"(]},
    {"name": "rear", "position": 6, "plugged": false, "objects": [)" +
           cell("Tail1", "Tail2.Text", "") + ",\n      " + cell("Tail2", "", "") + R"(]}
  ]
})";
}

}  // namespace mox::kills
