// A fault is noted for the class that makes it, not again for those that descend from it.
#include "profile/class_lineage.hpp"

#include <unordered_map>

#include "profile/class_list.hpp"
#include "profile/id_list.hpp"

namespace mox::host {
namespace {

class Lineage {
public:
    Lineage(std::vector<ClassDraft> drafts, Faults& faults) : faults_(faults) {
        for (ClassDraft& draft : drafts) {
            classes_.push_back(std::move(draft.entry));
            given_ids_.push_back(std::move(draft.given_ids));
        }
        for (std::size_t at = 0; at < classes_.size(); ++at) {
            index_.emplace(classes_[at].name, at);
        }
    }

    std::vector<ClassDef> run() {
        for (std::size_t at = 0; at < classes_.size(); ++at) {
            check_parents(at);
        }
        for (std::size_t at = 0; at < classes_.size(); ++at) {
            pass_doubt(at);
        }
        for (std::size_t at = 0; at < classes_.size(); ++at) {
            add_properties(at);
        }
        return std::move(classes_);
    }

private:
    std::string place_of(std::size_t at) const { return class_place(at, classes_[at].name); }

    // The parent's index; nothing for a root class, and for a parent that does not exist.
    std::optional<std::size_t> parent_of(std::size_t at) const {
        const auto found =
            classes_[at].parent.empty() ? index_.end() : index_.find(classes_[at].parent);
        return found == index_.end() ? std::nullopt : std::optional(found->second);
    }

    // The class itself, its parent, and so on up to the root; one more than there are classes when
    // the chain never ends.
    std::vector<std::size_t> line_of(std::size_t at) const {
        std::vector<std::size_t> line{at};
        for (auto parent = parent_of(at); parent && line.size() <= classes_.size();
             parent = parent_of(*parent)) {
            line.push_back(*parent);
        }
        return line;
    }

    void make_doubtful_root(std::size_t at) {
        faults_.doubt_class(classes_[at].name);
        classes_[at].parent.clear();
    }

    void check_parents(std::size_t at) {
        const std::string& parent = classes_[at].parent;
        if (!parent.empty() && !parent_of(at)) {
            if (!faults_.has_nameless_class()) {
                faults_.add(place_of(at),
                            "\"parent\" names class " + quoted(parent) + ", which does not exist");
            }
            make_doubtful_root(at);
        }
        const std::vector<std::size_t> line = line_of(at);
        if (line.size() > classes_.size()) {
            faults_.add(place_of(at), "the chain of parents from here runs in a circle");
            for (const std::size_t of_line : line) {
                make_doubtful_root(of_line);
            }
        }
    }

    void pass_doubt(std::size_t at) {
        for (const std::size_t ancestor : line_of(at)) {
            if (faults_.is_doubtful_class(classes_[ancestor].name)) {
                faults_.doubt_class(classes_[at].name);
            }
        }
    }

    void add_properties(std::size_t at) {
        const std::vector<std::size_t> line = line_of(at);
        ClassDef& result = classes_[at];
        std::unordered_map<std::string, std::size_t> origin;
        IdList ids("property", faults_);
        for (auto ancestor = line.rbegin(); ancestor != line.rend(); ++ancestor) {
            std::vector<PropertyDef>& properties = classes_[*ancestor].properties;
            for (std::size_t own = 0; own < properties.size(); ++own) {
                const auto [known, added] = origin.emplace(properties[own].name, *ancestor);
                if (added) {
                    properties[own].id = id_of(*ancestor, own, at, ids);
                    result.all_properties.push_back(properties[own]);
                } else if (*ancestor == at) {
                    report_twice(at, properties[own].name, known->second);
                }
            }
        }
        const std::size_t count = result.all_properties.size();
        // An ancestor with too many has a fault of its own.
        if (count > max_properties && count - result.properties.size() <= max_properties) {
            faults_.add(place_of(at), "has " + std::to_string(count) +
                                          " properties, inherited ones included; the limit is " +
                                          std::to_string(max_properties));
        }
    }

    // The id of an ancestor's own property, as the next one of a class. A property's place in the
    // list of all is the same in every class that has it.
    std::uint16_t id_of(std::size_t ancestor, std::size_t own, std::size_t at, IdList& ids) {
        const std::optional<std::uint16_t> given = given_ids_[ancestor][own];
        const std::string& name = classes_[ancestor].properties[own].name;
        const std::size_t place = classes_[at].all_properties.size();
        const bool is_place_open = faults_.is_doubtful_class(classes_[ancestor].name);
        if ((!given && is_place_open) || place >= max_properties) {
            return 0;  // for a profile with another fault
        }
        if (ancestor == at) {
            return ids.take(given, place, name, place_of(at) + " property " + quoted(name));
        }
        const auto id = given.value_or(static_cast<std::uint16_t>(place + 1));
        ids.know(id, name);
        return id;
    }

    void report_twice(std::size_t at, const std::string& property, std::size_t first) {
        const std::string cause =
            first == at ? "appears twice in the class"
                        : "is inherited from class " + quoted(classes_[first].name) + " already";
        faults_.add(place_of(at) + " property " + quoted(property), cause);
        faults_.doubt_class(classes_[at].name);
    }

    std::vector<ClassDef> classes_;
    std::vector<std::vector<std::optional<std::uint16_t>>> given_ids_;
    std::unordered_map<std::string, std::size_t> index_;
    Faults& faults_;
};

}  // namespace

std::string class_place(std::size_t at, const std::string& name) {
    return place_in("classes", at, name);
}

std::vector<ClassDef> with_inherited(std::vector<ClassDraft> drafts, Faults& faults) {
    return Lineage(std::move(drafts), faults).run();
}

}  // namespace mox::host
