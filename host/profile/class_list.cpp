// Classes are read first and checked afterwards, so that parents may stand behind their children.
#include "profile/class_list.hpp"

#include <set>

#include "profile/class_lineage.hpp"
#include "profile/id_list.hpp"
#include "profile/json_members.hpp"
#include "profile/method_list.hpp"
#include "profile/property_type.hpp"

namespace mox::host {
namespace {

// Adds a property to the class, unless it has no name or no type.
void read_property(JsonNode* node, const std::string& class_place, std::size_t at,
                   ClassDraft& draft, Faults& faults) {
    Members members(node, class_place + ' ' + place_in("properties", at), faults,
                    {"name", "type", "id", "exported", "key"});
    PropertyDef property;
    property.name = members.own_name();
    if (!property.name.empty()) {
        members.set_place(class_place + " property " + quoted(property.name));
    }
    const auto id = members.id();
    property.exported = members.flag("exported", true);
    property.key = members.flag("key", false);
    const auto text = members.needed_text("type");
    const auto type = text ? parse_property_type(*text, members.place(), faults) : std::nullopt;
    if (type && !property.name.empty()) {
        property.type = type->gvariant;
        property.kind = type->kind;
        draft.entry.properties.push_back(property);
        draft.given_ids.push_back(id);
    }
}

ClassDraft read_class(JsonNode* node, std::size_t at, Faults& faults) {
    const std::size_t before = faults.count();
    Members members(node, class_place(at, {}), faults,
                    {"name", "id", "parent", "module", "properties", "methods"});
    ClassDraft draft;
    ClassDef& entry = draft.entry;
    const std::size_t before_name = faults.count();
    entry.name = members.own_name();
    if (faults.count() != before_name) {
        faults.doubt_class({});
    }
    const std::string place = class_place(at, entry.name);
    members.set_place(place);
    const std::size_t before_id = faults.count();
    draft.given_id = members.id();
    draft.has_id = faults.count() == before_id;
    entry.parent = members.link("parent");
    entry.module = members.link("module");
    std::size_t property_at = 0;
    for (JsonNode* const property : members.list_or_none("properties")) {
        read_property(property, place, property_at++, draft, faults);
    }
    if (faults.count() != before) {
        faults.doubt_class(entry.name);
    }
    entry.methods = read_methods(members, faults);
    return draft;
}

}  // namespace

ClassIndex::ClassIndex(const std::vector<ClassDef>& classes) {
    for (const ClassDef& entry : classes) {
        by_name_.emplace(entry.name, &entry);
    }
}

const ClassDef* ClassIndex::find(const std::string& name) const {
    const auto found = by_name_.find(name);
    return found == by_name_.end() ? nullptr : found->second;
}

bool ClassIndex::is_type(const std::string& name, const std::string& ancestor) const {
    const ClassDef* entry = find(name);
    while (entry != nullptr && entry->name != ancestor) {
        entry = entry->parent.empty() ? nullptr : find(entry->parent);
    }
    return entry != nullptr;
}

std::vector<ClassDef> read_classes(const std::vector<JsonNode*>& nodes, Faults& faults) {
    std::vector<ClassDraft> drafts;
    std::set<std::string> names;
    IdList ids("class", faults);
    for (JsonNode* const node : nodes) {
        const std::size_t at = drafts.size();
        drafts.push_back(read_class(node, at, faults));
        ClassDraft& draft = drafts.back();
        const std::string place = class_place(at, draft.entry.name);
        if (!draft.entry.name.empty() && !names.insert(draft.entry.name).second) {
            faults.add(place, "an earlier class has this name");
            faults.doubt_class(draft.entry.name);
            faults.doubt_class({});  // one of the two is meant to have another name
        }
        if (draft.has_id) {
            draft.entry.id = ids.take(draft.given_id, at, draft.entry.name, place);
        }
    }
    return with_inherited(std::move(drafts), faults);
}

}  // namespace mox::host
