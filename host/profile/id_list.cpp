// Two entries with one id are the later one's fault.
#include "profile/id_list.hpp"

#include "profile/profile.hpp"

namespace mox::host {

std::uint16_t IdList::take(std::optional<std::uint16_t> given, std::size_t at,
                           const std::string& name, const std::string& place) {
    if (!given && at >= max_id) {
        faults_.add(place, "has no \"id\", and by its place in the list it would be above " +
                               std::to_string(max_id));
        return 0;
    }
    const auto id = given.value_or(static_cast<std::uint16_t>(at + 1));
    const auto [known, added] = names_.emplace(id, name);
    if (!added) {
        faults_.add(place, "has id " + std::to_string(id) +
                               (given ? "" : " by its place in the list") + ", which " + kind_ +
                               ' ' + quoted(known->second) + " has already");
    }
    return id;
}

}  // namespace mox::host
