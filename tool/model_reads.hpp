// Reading values of the model, with failures in words.
#ifndef MOX_TOOL_MODEL_READS_HPP
#define MOX_TOOL_MODEL_READS_HPP

#include <string>
#include <vector>

#include "membership.hpp"

namespace mox::tool {

// A status of the library for people: its name, its number and what it means.
std::string status_words(gint32 status);

// A property of an object.
struct Place {
    std::string object;
    std::string property;
    std::string name() const { return object + "." + property; }
};

// The listing of a property among its object's. Throws Failed when there is none of this name.
const MoxHostPropertyInfo& property_named(const PropertyInfos& infos, const Place& place);

// What is known of a place that a person named.
struct Target {
    Place place;  // where the value lies: behind all references
    std::string type;
    bool is_overridden = false;
};

// Follows references to the property that they lead to in the end. Throws Failed for unknown names
// and for a reference that leads nowhere.
Target follow(const Membership& owner, const Place& place);

// A value as modules see it: what the owner keeps current comes from the pool, and is as old as its
// last reading of the hardware. status: receives the library's code. Returns null when it cannot be
// read.
VariantPtr read_value(const Place& place, gint32& status);

// The same; throws Failed when it cannot be read.
VariantPtr read_value(const Place& place);

// The values of several properties of one object as one consistent set, in the names' order: all
// stored values are copied under one hold of the object's lock. Throws Failed.
std::vector<VariantPtr> read_together(const std::string& object,
                                      const std::vector<std::string>& properties);

// Throws Failed for the class of the collections, which is the library's own: it is in no profile,
// and has no schema. A class of that name in the profile is one as any other.
void refuse_collection_class(const Membership& owner, const std::string& class_name);

// Has the owner read its hardware; returns when the fresh values are in the pool. Throws Failed.
void refresh(const Membership& owner);

}  // namespace mox::tool

#endif
