// Where a value lies: what the properties of a chip and of an accessor say, checked once when they
// arrive.
//
// A property that is "" or 0 counts as not given, because the objects of a class have all the
// properties of the class.
#ifndef MOXPLAT_LINUX_DRIVER_LOCATION_HPP
#define MOXPLAT_LINUX_DRIVER_LOCATION_HPP

#include <optional>
#include <string>
#include <variant>

#include "raw_value.hpp"
#include "stored_property.hpp"
#include "text_value.hpp"

namespace mox::driver {

// An accessor's properties. `problem` is empty exactly when the rest may be used.
struct Location {
    std::string chip;  // object name
    std::string file;  // below the chip's directory; empty: the chip's path is the file
    std::variant<RawPlace, TextPlace> place;
    std::string problem;
};

// A chip's "Path". `problem` is empty exactly when the path may be used.
struct ChipPath {
    std::string path;
    std::string problem;
};

// Nothing when the object has no "Chip", which only accessors have.
std::optional<Location> parse_location(const PropertyList& properties);

// Nothing when the object has no "Path", which only chips have.
std::optional<ChipPath> parse_chip_path(const PropertyList& properties);

}  // namespace mox::driver

#endif
