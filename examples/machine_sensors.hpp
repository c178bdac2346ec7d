// What this machine has to show: its sensors, and where in /proc and /sys each of their values
// lies.
#ifndef MOX_EXAMPLES_MACHINE_SENSORS_HPP
#define MOX_EXAMPLES_MACHINE_SENSORS_HPP

#include <cstddef>
#include <string>
#include <vector>

namespace mox::examples {

// No more processors, disks, interfaces and thermal zones than this of each: a terminal shows what
// moves among them, and a refresh's events fit a message queue of the kernel's default size.
inline constexpr std::size_t most_of_a_kind = 16;

// Where a number lies in a text file. Three forms: the whole content of a file (field 0), the n-th
// field of a line (the line's number is 0: of the file), the n-th field behind a line's name.
struct Place {
    std::string path;          // a file, or a directory when `file` is given
    std::string file;          // the file in the directory
    std::string line_name;     // first words of the line, without a colon
    unsigned line_number = 0;  // counted from 1
    unsigned field = 0;        // counted from 1
    double scale = 0;          // what the number is multiplied with; 0 leaves it as it is
};

// A property that is read from the machine.
struct Reading {
    std::string property;
    std::string type;  // type string
    Place place;
};

// An object to be: readings of one thing of this machine.
struct Sensor {
    std::string name;  // not yet fit to be an object's name: any characters, any length
    std::string class_name;
    std::string source;  // where to look it up, for people
    std::vector<Reading> readings;
};

// Finds the sensors of this machine. What is missing in its /proc and /sys is left out.
std::vector<Sensor> find_sensors();

}  // namespace mox::examples

#endif
