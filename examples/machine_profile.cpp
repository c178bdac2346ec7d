// machine_profile: writes a profile of the machine it runs on, for moxd to load.
//
//   machine_profile [-o FILE] [--setting-file FILE]
//
// Without -o it goes to standard output. --setting-file adds what the demonstration's steps write
// and plug: the file is an existing one that holds a whole number.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>

#include "machine_sensors.hpp"
#include "profile_document.hpp"

namespace mox::examples {
namespace {

// As often as is lively, but not so often that the changes of a busy machine outrun a reader.
// Counted in halves of a change for each look at the hardware: four changes for the system and its
// memory, two and a half for a processor, half a one for a disk or an interface.
unsigned choose_refresh_ms(const std::vector<Sensor>& sensors) {
    constexpr unsigned shortest_ms = 200;
    constexpr unsigned changes_per_second = 50;
    unsigned halves = 8;
    for (const Sensor& sensor : sensors) halves += sensor.class_name == "Processor" ? 5U : 1U;
    return std::max(shortest_ms, halves * 1000 / 2 / changes_per_second);
}

bool write(const std::string& text, const std::string& path) {
    if (path.empty()) {
        std::cout << text << std::flush;
        return std::cout.good();
    }
    std::ofstream file{path, std::ios::binary | std::ios::trunc};
    file << text;
    file.close();
    return file.good();
}

int run(const std::string& path, const std::string& setting_file) {
    const std::vector<Sensor> sensors = find_sensors();
    if (sensors.empty()) {
        std::cerr << "machine_profile: found nothing to show: is /proc mounted?\n";
        return EXIT_FAILURE;
    }
    if (!write(make_profile(sensors, choose_refresh_ms(sensors), setting_file), path)) {
        const std::string cause = std::generic_category().message(errno);
        std::cerr << "machine_profile: cannot write " << (path.empty() ? "the profile" : path)
                  << ": " << cause << "\n";
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

}  // namespace
}  // namespace mox::examples

int main(int argc, char** argv) {
    const std::vector<std::string> arguments{argv + 1, argv + argc};
    std::string path;
    std::string setting_file;
    for (std::size_t i = 0; i < arguments.size(); i += 2) {
        const std::string value = i + 1 < arguments.size() ? arguments[i + 1] : "";
        if (value.empty() || (arguments[i] != "-o" && arguments[i] != "--setting-file")) {
            std::cerr << "usage: machine_profile [-o FILE] [--setting-file FILE]\n";
            return 2;
        }
        (arguments[i] == "-o" ? path : setting_file) = value;
    }
    if (!setting_file.empty() && setting_file.front() != '/') {
        std::cerr << "machine_profile: --setting-file must be an absolute path: " << setting_file
                  << "\n";
        return 2;
    }
    return mox::examples::run(path, setting_file);
}
