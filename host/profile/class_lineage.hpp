// What classes have from their ancestors.
#ifndef MOXHOST_PROFILE_CLASS_LINEAGE_HPP
#define MOXHOST_PROFILE_CLASS_LINEAGE_HPP

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "profile/fault.hpp"
#include "profile/profile.hpp"

namespace mox::host {

// A class as it stands in the file.
struct ClassDraft {
    ClassDef entry;
    std::optional<std::uint16_t> given_id;
    bool has_id = true;                                   // false when its "id" is a fault
    std::vector<std::optional<std::uint16_t>> given_ids;  // of its own properties
};

std::string class_place(std::size_t at, const std::string& name);

// Checks the chains of parents and gives each class all of its properties, with their ids.
std::vector<ClassDef> with_inherited(std::vector<ClassDraft> drafts, Faults& faults);

}  // namespace mox::host

#endif
