// An event is sent for its object's own class, so each class below the wanted one is listened to by
// itself. The schema in the pool tells which classes have a property.
#include "watch_filter.hpp"

#include <classtree.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace mox::tool {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

std::string key_of(const std::string& object, const std::string& property) {
    return object + "." + property;
}

bool derives_from(const std::map<std::string, std::string>& parents, std::string name,
                  const std::string& root) {
    while (!name.empty() && name != root) {
        const auto parent = parents.find(name);
        name = parent == parents.end() ? "" : parent->second;
    }
    return !name.empty();
}

std::vector<std::string> properties_of(const std::string& class_name) {
    gint32 count = 0;
    DEFINED_CLASS_NODE_S* classes = nullptr;
    clt_get_class_tree(&count, &classes);
    std::vector<std::string> names;
    for (gint32 at = 0; at < count; ++at) {
        const DEFINED_PROPERTY_ARRAY_S* const array = classes[at].property_array;
        // A name is null when the pool had no room for it.
        if (g_strcmp0(class_name.c_str(), classes[at].name) != 0 || array == nullptr) continue;
        for (gsize property = 0; property < array->size; ++property) {
            const gchar* const name = array->property[property].name;
            if (name != nullptr) names.emplace_back(name);
        }
    }
    return names;
}

double distance_of(gint64 before, gint64 after) {
    const auto [low, high] = std::minmax(before, after);
    return static_cast<double>(static_cast<guint64>(high) - static_cast<guint64>(low));
}

double distance_of(guint64 before, guint64 after) {
    const auto [low, high] = std::minmax(before, after);
    return static_cast<double>(high - low);
}

double distance_of(double before, double after) {
    if (std::isnan(before) || std::isnan(after)) {
        return std::isnan(before) == std::isnan(after) ? 0 : infinity;
    }
    return before == after ? 0 : std::fabs(after - before);
}

gint64 signed_of(GVariant* value) {
    switch (g_variant_classify(value)) {
        case G_VARIANT_CLASS_INT16:
            return g_variant_get_int16(value);
        case G_VARIANT_CLASS_INT32:
            return g_variant_get_int32(value);
        default:
            return g_variant_get_int64(value);
    }
}

guint64 unsigned_of(GVariant* value) {
    switch (g_variant_classify(value)) {
        case G_VARIANT_CLASS_BYTE:
            return g_variant_get_byte(value);
        case G_VARIANT_CLASS_UINT16:
            return g_variant_get_uint16(value);
        case G_VARIANT_CLASS_UINT32:
            return g_variant_get_uint32(value);
        default:
            return g_variant_get_uint64(value);
    }
}

}  // namespace

std::optional<double> distance(GVariant* before, GVariant* after) {
    switch (g_variant_classify(after)) {
        case G_VARIANT_CLASS_DOUBLE:
            return distance_of(g_variant_get_double(before), g_variant_get_double(after));
        case G_VARIANT_CLASS_INT16:
        case G_VARIANT_CLASS_INT32:
        case G_VARIANT_CLASS_INT64:
            return distance_of(signed_of(before), signed_of(after));
        case G_VARIANT_CLASS_BYTE:
        case G_VARIANT_CLASS_UINT16:
        case G_VARIANT_CLASS_UINT32:
        case G_VARIANT_CLASS_UINT64:
            return distance_of(unsigned_of(before), unsigned_of(after));
        default:
            return std::nullopt;
    }
}

WatchFilter::WatchFilter(const Membership& owner, const WatchOptions& options) : options_(options) {
    choose_classes(owner, options.class_name);
    learn_objects(owner);
    choose_pairs(options.property);
}

void WatchFilter::choose_classes(const Membership& owner, const std::string& root) {
    std::map<std::string, std::string> parents;
    const ClassInfos infos = class_infos(owner);
    for (const MoxHostClassInfo& info : infos) parents[info.name] = info.parent;
    if (!root.empty() && parents.count(root) == 0) {
        throw Failed("there is no class " + root + "; moxctl tree shows the classes");
    }
    for (const MoxHostClassInfo& info : infos) {
        if (root.empty() || derives_from(parents, info.name, root))
            classes_.emplace_back(info.name);
    }
}

void WatchFilter::learn_objects(const Membership& owner) {
    bool is_there = options_.object.empty();
    for (const MoxHostObjectInfo& info : object_infos(owner)) {
        if (!wants_object(info.name)) continue;
        if (info.is_collection != FALSE) {
            if (options_.object.empty()) continue;
            throw Failed(options_.object +
                         " is a collection, which sends no events; watch --class CLASS shows the "
                         "objects that come and go");
        }
        is_there = true;
        const std::string class_name = info.class_name;
        if (std::find(classes_.begin(), classes_.end(), class_name) == classes_.end()) {
            if (options_.object.empty()) continue;
            throw Failed(options_.object + " is of the class " + class_name +
                         ", which does not derive from " + options_.class_name +
                         ": no event can be of both");
        }
        objects_[info.name] = {info.name, class_name, info.position};
        object_width_ = std::max(object_width_, width_of(shown(info.name)));
        if (!options_.object.empty()) classes_ = {class_name};
    }
    if (!is_there) {
        throw Failed("there is no object " + options_.object +
                     " to watch; moxctl list shows the objects");
    }
}

void WatchFilter::choose_pairs(const std::string& property) {
    for (const std::string& class_name : classes_) {
        for (const std::string& name : properties_of(class_name)) {
            if (!property.empty() && property != name) continue;
            pairs_.emplace_back(class_name, name);
            property_width_ = std::max(property_width_, width_of(shown(name)));
        }
    }
    if (!pairs_.empty()) return;
    if (property.empty()) throw Failed("there is no property to watch");
    throw Failed("there is no property " + property +
                 (options_.object.empty() && options_.class_name.empty()
                      ? std::string(" in any class")
                      : " in the class " + classes_.front() +
                            (classes_.size() > 1 ? " and those that derive from it" : "")) +
                 "; moxctl introspect CLASS shows the properties");
}

bool WatchFilter::wants(const std::string& object, const std::string& property,
                        GVariant* value) const {
    if (!wants_object(object)) return false;
    if (!options_.min_change) return true;
    const auto last = last_shown_.find(key_of(object, property));
    if (last == last_shown_.end() ||
        g_variant_is_of_type(last->second.get(), g_variant_get_type(value)) == FALSE) {
        return true;
    }
    const std::optional<double> apart = distance(last->second.get(), value);
    return apart ? *apart >= *options_.min_change
                 : g_variant_equal(last->second.get(), value) == FALSE;
}

void WatchFilter::note_shown(const std::string& object, const std::string& property,
                             GVariant* value) {
    if (options_.min_change) last_shown_[key_of(object, property)].reset(g_variant_ref(value));
}

bool WatchFilter::wants_added(const WatchedObject& object) {
    if (!wants_object(object.name)) return false;
    objects_[object.name] = object;
    return options_.property.empty();
}

std::vector<WatchedObject> WatchFilter::take_removed(guint32 position) {
    std::vector<WatchedObject> removed;
    for (auto at = objects_.begin(); at != objects_.end();) {
        if (at->second.position != position) {
            ++at;
            continue;
        }
        removed.push_back(at->second);
        at = objects_.erase(at);
    }
    if (!options_.property.empty()) removed.clear();
    return removed;
}

}  // namespace mox::tool
