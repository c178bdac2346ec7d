// The one list of verbs, in the order of the help.
#include "verb_table.hpp"

#include <algorithm>
#include <array>

namespace mox::tool {
namespace {

constexpr std::array verbs{
    &list_verb,  &tree_verb,     &show_verb,   &introspect_verb, &get_verb,
    &set_verb,   &override_verb, &cancel_verb, &watch_verb,      &modules_verb,
    &locks_verb, &mem_verb,      &queues_verb, &doctor_verb,     &words_verb,
};

}  // namespace

std::span<const Verb* const> all_verbs() {
    return verbs;
}

const Verb* find_verb(const std::string& name) {
    const auto* const found = std::find_if(
        verbs.begin(), verbs.end(), [&name](const Verb* verb) { return name == verb->name; });
    return found == verbs.end() ? nullptr : *found;
}

}  // namespace mox::tool
