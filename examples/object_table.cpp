#include "object_table.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "value_text.hpp"

namespace mox::examples {
namespace {

using Row = std::array<std::string, 5>;

std::vector<Row> rows_of(const WatchedModel& model) {
    std::vector<Row> rows{{"OBJECT", "CLASS", "PROPERTY", "TYPE", "VALUE"}};
    for (const WatchedObject& object : model.objects) {
        // An object's name and class stand once, in front of its first property.
        std::string name = object.name;
        std::string class_name = object.class_name;
        for (const WatchedProperty& property : object.properties) {
            rows.push_back({std::exchange(name, ""), std::exchange(class_name, ""), property.name,
                            property.type, text_of_value(property.value.get())});
        }
    }
    return rows;
}

}  // namespace

void print_objects(const WatchedModel& model) {
    const std::vector<Row> rows = rows_of(model);
    std::array<int, 5> widths{};
    for (const Row& row : rows) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], static_cast<int>(row[column].size()));
        }
    }
    for (const Row& row : rows) {
        std::printf("  %-*s  %-*s  %-*s  %-*s  %s\n", widths[0], row[0].c_str(), widths[1],
                    row[1].c_str(), widths[2], row[2].c_str(), widths[3], row[3].c_str(),
                    row[4].c_str());
    }
}

}  // namespace mox::examples
