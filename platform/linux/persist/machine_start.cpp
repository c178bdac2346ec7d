// The kernel makes a random id at its start and shows it to everybody.
#include "machine_start.hpp"

#include <glib.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "warning.hpp"

namespace mox::persist {

std::string machine_start() {
    constexpr const char* path = "/proc/sys/kernel/random/boot_id";
    const std::unique_ptr<FILE, int (*)(FILE*)> file{std::fopen(path, "re"), std::fclose};
    std::array<char, 64> text{};
    if (!file || std::fgets(text.data(), static_cast<int>(text.size()), file.get()) == nullptr) {
        warn("%s: cannot be read (%s): values kept until a restart of the machine stay", path,
             file ? "it is empty" : g_strerror(errno));
        return {};
    }
    text[std::strcspn(text.data(), "\n")] = '\0';
    return text.data();
}

}  // namespace mox::persist
