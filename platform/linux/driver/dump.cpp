// The listing of the physical objects: one block each, the key first, then what the driver library
// makes of it, then the properties as they were handed in.
#include <moxplat/driver.h>

#include "registry.hpp"

namespace mox::driver {
namespace {

std::string describe(const RawPlace& raw) {
    return "raw, " + std::to_string(raw.width) + " bytes at offset " + std::to_string(raw.offset) +
           (raw.is_reversed ? ", other byte order" : "");
}

std::string describe(const TextPlace& text) {
    switch (text.shape) {
        case TextShape::attribute:
            break;
        case TextShape::field:
            return "field " + std::to_string(text.field) +
                   (text.line_number != 0 ? " of line " + std::to_string(text.line_number) : "");
        case TextShape::line: {
            std::string name;
            for (const std::string& word : text.line_words) {
                name += (name.empty() ? "" : " ") + word;
            }
            return "field " + std::to_string(text.field) + " of the line \"" + name + "\"";
        }
    }
    return "attribute";
}

std::string describe(const Location& location) {
    if (!location.problem.empty()) {
        return "not usable: " + location.problem;
    }
    return std::visit([](const auto& place) { return describe(place); }, location.place) +
           " on chip " + location.chip + (location.file.empty() ? "" : ", file " + location.file);
}

void dump(const PhysicalObject& object, FILE* stream) {
    std::fprintf(stream, "physical object %s\n", object.key.c_str());
    if (object.accessor) {
        std::fprintf(stream, "    accessor: %s\n", describe(*object.accessor).c_str());
    }
    if (object.chip) {
        const ChipPath& chip = *object.chip;
        std::fprintf(stream, "    chip: %s%s\n", chip.problem.empty() ? "" : "not usable: ",
                     (chip.problem.empty() ? chip.path : chip.problem).c_str());
    }
    for (const StoredProperty& property : object.properties) {
        std::fprintf(stream, "    %-14s : %s\n", property.name.c_str(), printed(property).c_str());
    }
}

}  // namespace
}  // namespace mox::driver

void dump_physical_object(FILE* stream) {
    using namespace mox::driver;
    if (stream == nullptr) {
        return;
    }
    for (const PhysicalObjectPtr& object : Registry::instance().all()) {
        dump(*object, stream);
    }
}
