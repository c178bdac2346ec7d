// What holds here: a reading is made only for a value that is there now, so every accessor of the
// profile can be read when the owner starts. Counters that the kernel keeps in 64 bits are "d": the
// whole-number types of the model have 32.
#include "machine_sensors.hpp"

#include <algorithm>
#include <filesystem>
#include <initializer_list>

#include "text_file.hpp"

namespace mox::examples {
namespace {

constexpr const char* proc_stat = "/proc/stat";
constexpr const char* proc_meminfo = "/proc/meminfo";
constexpr const char* proc_diskstats = "/proc/diskstats";
constexpr const char* proc_net_dev = "/proc/net/dev";
constexpr const char* proc_cpuinfo = "/proc/cpuinfo";

// A property and the line, or the field of a line, that it is read from.
struct NamedLine {
    const char* property;
    const char* type;
    const char* line_name;
};
struct NamedField {
    const char* property;
    unsigned field;
};

Place field_of_file(const std::string& path, unsigned field) {
    Place place;
    place.path = path;
    place.field = field;
    return place;
}

Place field_of_line(const std::string& path, const std::string& line_name, unsigned field) {
    Place place = field_of_file(path, field);
    place.line_name = line_name;
    return place;
}

Place whole_file(const std::string& directory, const std::string& file) {
    Place place;
    place.path = directory;
    place.file = file;
    return place;
}

std::string text_of(const std::string& path) {
    return read_text(path).value_or("");
}

// True for a name that a profile's text can carry as it is; the kernel takes nearly any bytes.
bool is_plain(const std::string& name) {
    return std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c < '\x7f'; });
}

bool exists(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::exists(path, ignored);
}

// The names in a directory, sorted; none when it is not there.
std::vector<std::string> names_in(const std::string& path) {
    std::vector<std::string> names;
    std::error_code failure;
    for (std::filesystem::directory_iterator entry{path, failure}, end; !failure && entry != end;
         entry.increment(failure)) {
        names.push_back(entry->path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

bool has_line(const std::string& text, const std::string& line_name) {
    const std::vector<std::string> lines = lines_of(text);
    return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
        const std::vector<std::string> fields = fields_of(line);
        return fields.size() > 1 && (fields[0] == line_name || fields[0] == line_name + ":");
    });
}

void add(std::vector<Sensor>& sensors, Sensor sensor) {
    if (!sensor.readings.empty()) sensors.push_back(std::move(sensor));
}

Sensor find_system() {
    Sensor system{"system", "System", "/proc", {}};
    if (exists("/proc/uptime")) {
        system.readings.push_back({"Uptime", "d", field_of_file("/proc/uptime", 1)});
    }
    if (exists("/proc/loadavg")) {
        system.readings.push_back({"Load1", "d", field_of_file("/proc/loadavg", 1)});
        system.readings.push_back({"Load5", "d", field_of_file("/proc/loadavg", 2)});
        system.readings.push_back({"Load15", "d", field_of_file("/proc/loadavg", 3)});
    }
    const std::string stat = text_of(proc_stat);
    for (const NamedLine& line : std::initializer_list<NamedLine>{
             {"BootTime", "u", "btime"},
             {"ContextSwitches", "d", "ctxt"},
             {"ProcessesStarted", "d", "processes"},
             {"ProcessesRunning", "u", "procs_running"},
             {"ProcessesBlocked", "u", "procs_blocked"},
         }) {
        if (!has_line(stat, line.line_name)) continue;
        system.readings.push_back(
            {line.property, line.type, field_of_line(proc_stat, line.line_name, 1)});
    }
    return system;
}

// The type for numbers of KiB: none that is shown exceeds the totals.
const char* memory_type(const std::string& meminfo) {
    for (const std::string& line : lines_of(meminfo)) {
        const std::vector<std::string> fields = fields_of(line);
        const bool is_total =
            fields.size() > 1 && (fields[0] == "MemTotal:" || fields[0] == "SwapTotal:");
        if (is_total && fields[1].size() > 9) return "d";
    }
    return "u";
}

Sensor find_memory() {
    Sensor memory{"memory", "Memory", proc_meminfo, {}};
    const std::string meminfo = text_of(proc_meminfo);
    const char* type = memory_type(meminfo);
    for (const char* name : {"MemTotal", "MemFree", "MemAvailable", "Buffers", "Cached",
                             "AnonPages", "SwapTotal", "SwapFree"}) {
        if (!has_line(meminfo, name)) continue;
        memory.readings.push_back({name, type, field_of_line(proc_meminfo, name, 1)});
    }
    return memory;
}

// The places of the processors' "cpu MHz" lines, in the order of the file. Lines far behind in a
// long file are left out: reading one value would cost too much.
std::vector<Place> find_clock_lines() {
    constexpr std::size_t far_behind = 32768;
    std::vector<Place> places;
    unsigned number = 0;
    std::size_t length = 0;
    for (const std::string& line : lines_of(text_of(proc_cpuinfo))) {
        ++number;
        length += line.size() + 1;
        const std::vector<std::string> fields = fields_of(line);
        if (length > far_behind || fields.size() != 4 || fields[0] != "cpu" || fields[1] != "MHz")
            continue;
        Place place = field_of_file(proc_cpuinfo, 4);
        place.line_number = number;
        places.push_back(place);
    }
    return places;
}

// Adds the processor's clock from its frequency driver, else from the list of processors.
void add_clock(Sensor& processor, std::size_t index, const std::vector<Place>& clock_lines) {
    const std::string directory = "/sys/devices/system/cpu/" + processor.name + "/cpufreq";
    if (read_text(directory + "/scaling_cur_freq")) {
        Place place = whole_file(directory, "scaling_cur_freq");
        place.scale = 0.001;
        processor.readings.push_back({"MHz", "d", place});
    } else if (index < clock_lines.size()) {
        processor.readings.push_back({"MHz", "d", clock_lines[index]});
    }
}

std::vector<Sensor> find_processors() {
    std::vector<Sensor> processors;
    const std::vector<Place> clock_lines = find_clock_lines();
    for (const std::string& line : lines_of(text_of(proc_stat))) {
        const std::vector<std::string> fields = fields_of(line);
        const bool is_processor =
            fields.size() > 4 && fields[0].starts_with("cpu") && fields[0] != "cpu";
        if (!is_processor || processors.size() == most_of_a_kind) continue;
        Sensor processor{fields[0], "Processor", proc_stat, {}};
        for (const NamedField& field : std::initializer_list<NamedField>{
                 {"UserJiffies", 1}, {"SystemJiffies", 3}, {"IdleJiffies", 4}}) {
            processor.readings.push_back(
                {field.property, "d", field_of_line(proc_stat, fields[0], field.field)});
        }
        add_clock(processor, processors.size(), clock_lines);
        processors.push_back(std::move(processor));
    }
    return processors;
}

// True for a field that is there and not all zeros.
bool is_positive(const std::vector<std::string>& fields, std::size_t index) {
    return index < fields.size() && fields[index].find_first_not_of('0') != std::string::npos;
}

std::vector<Sensor> find_disks() {
    std::vector<Sensor> disks;
    for (const std::string& line : lines_of(text_of(proc_diskstats))) {
        const std::vector<std::string> fields = fields_of(line);
        if (fields.size() < 14 || disks.size() == most_of_a_kind) continue;
        const std::string& name = fields[2];
        if (!is_plain(name)) continue;
        const std::string directory = "/sys/class/block/" + name;
        const bool has_size = is_positive(fields_of(text_of(directory + "/size")), 0);
        const bool was_used = is_positive(fields, 3) || is_positive(fields, 7);
        if (exists(directory + "/partition") || !(has_size || was_used)) continue;
        Sensor disk{"disk_" + name, "Disk", proc_diskstats, {}};
        if (has_size) disk.readings.push_back({"Sectors", "d", whole_file(directory, "size")});
        const std::string line_name = fields[0] + " " + fields[1] + " " + name;
        for (const NamedField& field : std::initializer_list<NamedField>{
                 {"Reads", 1}, {"SectorsRead", 3}, {"Writes", 5}, {"SectorsWritten", 7}}) {
            disk.readings.push_back(
                {field.property, "d", field_of_line(proc_diskstats, line_name, field.field)});
        }
        disks.push_back(std::move(disk));
    }
    return disks;
}

std::vector<Sensor> find_interfaces() {
    std::vector<Sensor> interfaces;
    for (const std::string& line : lines_of(text_of(proc_net_dev))) {
        const std::vector<std::string> fields = fields_of(line);
        const bool is_interface = fields.size() > 10 && is_plain(fields[0]) &&
                                  fields[0].find(':') == fields[0].size() - 1 && fields[0] != ":";
        if (!is_interface || interfaces.size() == most_of_a_kind) continue;
        const std::string name = fields[0].substr(0, fields[0].size() - 1);
        const std::string directory = "/sys/class/net/" + name;
        Sensor sensor{"net_" + name, "Interface", proc_net_dev, {}};
        if (read_text(directory + "/mtu")) {
            sensor.readings.push_back({"Mtu", "u", whole_file(directory, "mtu")});
        }
        // An interface that is switched off has no carrier to tell.
        if (read_text(directory + "/carrier")) {
            sensor.readings.push_back({"Carrier", "b", whole_file(directory, "carrier")});
        }
        for (const NamedField& field : std::initializer_list<NamedField>{
                 {"RxBytes", 1}, {"RxPackets", 2}, {"TxBytes", 9}, {"TxPackets", 10}}) {
            sensor.readings.push_back(
                {field.property, "d", field_of_line(proc_net_dev, name, field.field)});
        }
        interfaces.push_back(std::move(sensor));
    }
    return interfaces;
}

std::vector<Sensor> find_thermal_zones() {
    std::vector<Sensor> zones;
    for (const std::string& name : names_in("/sys/class/thermal")) {
        const std::string directory = "/sys/class/thermal/" + name;
        const bool is_zone = name.starts_with("thermal_zone") && read_text(directory + "/temp");
        if (!is_zone || zones.size() == most_of_a_kind) continue;
        Place place = whole_file(directory, "temp");
        place.scale = 0.001;
        zones.push_back({name, "ThermalZone", directory, {{"Celsius", "d", place}}});
    }
    return zones;
}

}  // namespace

std::vector<Sensor> find_sensors() {
    std::vector<Sensor> sensors;
    add(sensors, find_system());
    add(sensors, find_memory());
    for (auto* find : {find_processors, find_disks, find_interfaces, find_thermal_zones}) {
        for (Sensor& sensor : find()) add(sensors, std::move(sensor));
    }
    return sensors;
}

}  // namespace mox::examples
