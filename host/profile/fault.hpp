// One fault of a profile: where it is and what is wrong. Thrown inside the loader only;
// load_profile() turns it into its line of text.
#ifndef MOXHOST_PROFILE_FAULT_HPP
#define MOXHOST_PROFILE_FAULT_HPP

#include <string>
#include <string_view>

namespace mox::host {

struct Fault {
    std::string place;
    std::string cause;
};

// The text in double quotes, control characters shown as escapes and a long text cut: a fault stays
// one line.
std::string quoted(std::string_view text);

// `list[index]`, and `list[index] "name"` once the name is known.
std::string place_in(const char* list, std::size_t index);
std::string place_in(const char* list, std::size_t index, std::string_view name);

}  // namespace mox::host

#endif
