// The system tells a program by the name of its process, cut to 15 characters.
#include "processes.hpp"

#include <fstream>

namespace mox::tool {

ProcessNames::ProcessNames(const Membership& owner) {
    for (const MoxHostModuleInfo& info : module_infos(owner)) modules_[info.pid] = info.name;
}

std::string ProcessNames::name_of(gint32 process) const {
    const auto module = modules_.find(process);
    if (module != modules_.end()) return module->second;
    std::ifstream file("/proc/" + std::to_string(process) + "/comm");
    std::string name;
    std::getline(file, name);
    return name;
}

gint32 process_of_thread(gint32 thread) {
    std::ifstream status("/proc/" + std::to_string(thread) + "/status");
    std::string word;
    gint32 process = 0;
    while (status >> word) {
        if (word == "Tgid:" && status >> process) return process;
    }
    return 0;
}

}  // namespace mox::tool
