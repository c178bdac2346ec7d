// The ids of one list's entries: classes, or what one class has.
#ifndef MOXHOST_PROFILE_ID_LIST_HPP
#define MOXHOST_PROFILE_ID_LIST_HPP

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>

#include "profile/fault.hpp"

namespace mox::host {

class IdList {
public:
    // kind: what has the ids, such as `class`.
    IdList(const char* kind, Faults& faults) : kind_(kind), faults_(faults) {}

    // An entry whose id was judged elsewhere.
    void know(std::uint16_t id, const std::string& name) { names_.emplace(id, name); }

    // The id of an entry: the given one, or 1 + its place in the list. A fault when an earlier
    // entry has it, or when it would be too large.
    std::uint16_t take(std::optional<std::uint16_t> given, std::size_t at, const std::string& name,
                       const std::string& place);

private:
    const char* kind_;
    Faults& faults_;
    std::unordered_map<std::uint16_t, std::string> names_;
};

}  // namespace mox::host

#endif
