#include "model_reads.hpp"

#include <lom.h>

#include "wire/status_text.hpp"

namespace mox::tool {
namespace {

// As many steps as a chain of references can have.
constexpr int most_steps = 16;

struct FreeNames {
    void operator()(GSList* list) const { g_slist_free(list); }
};

OBJ_HANDLE handle_of(const std::string& object) {
    return lom_get_object_handle(object.c_str());
}

Place place_of_text(const std::string& text) {
    const std::size_t dot = text.find('.');
    return dot == std::string::npos ? Place{} : Place{text.substr(0, dot), text.substr(dot + 1)};
}

}  // namespace

std::string status_words(gint32 status) {
    return std::string(mox_status_name(status)) + ", " + host::wire::status_text(status);
}

const MoxHostPropertyInfo& property_named(const PropertyInfos& infos, const Place& place) {
    for (const MoxHostPropertyInfo& info : infos) {
        if (place.property == info.name) {
            return info;
        }
    }
    throw Failed("the object \"" + place.object + "\" has no property \"" + place.property +
                 "\"; moxctl show " + place.object + " shows those that it has");
}

Target follow(const Membership& owner, const Place& place) {
    Place at = place;
    for (int step = 0; step <= most_steps; ++step) {
        const PropertyInfos infos = property_infos(owner, at.object);
        const MoxHostPropertyInfo& info = property_named(infos, at);
        if (info.source_kind != MOXHOST_SOURCE_PROPERTY) {
            PROPERTY_STATE_S state;
            state.all = info.state;
            return {at, info.type, state.bit.override != 0};
        }
        const Place next = place_of_text(info.source);
        if (next.object.empty()) {
            throw Failed(at.name() + " is a reference that leads nowhere; there is no value");
        }
        at = next;
    }
    throw Failed(place.name() + " is a reference in a circle; there is no value");
}

VariantPtr read_value(const Place& place, gint32& status) {
    GVariant* value = nullptr;
    status =
        lom_get_property_value(handle_of(place.object), place.property.c_str(), TRUE, &value, TRUE);
    return VariantPtr{status == MOX_OK ? g_variant_ref_sink(value) : nullptr};
}

VariantPtr read_value(const Place& place) {
    gint32 status = MOX_OK;
    VariantPtr value = read_value(place, status);
    if (!value) {
        throw Failed(place.name() + " cannot be read: " + status_words(status));
    }
    return value;
}

std::vector<VariantPtr> read_together(const std::string& object,
                                      const std::vector<std::string>& properties) {
    GSList* names = nullptr;
    for (auto at = properties.rbegin(); at != properties.rend(); ++at) {
        names = g_slist_prepend(names, const_cast<char*>(at->c_str()));
    }
    const std::unique_ptr<GSList, FreeNames> owned_names{names};
    GSList* list = nullptr;
    const gint32 status = lom_multiget_property_value(handle_of(object), names, &list);
    const std::unique_ptr<GSList, FreeNames> owned_list{list};
    std::vector<VariantPtr> values;
    for (const GSList* at = list; at != nullptr; at = at->next) {
        values.emplace_back(g_variant_ref_sink(static_cast<GVariant*>(at->data)));
    }
    if (status == MOX_OK && values.size() == properties.size()) {
        return values;
    }
    // Read alone, the one that is to blame tells its own cause.
    for (const std::string& property : properties) read_value({object, property});
    throw Failed("the properties of " + object + " cannot be read together: " +
                 (status != MOX_OK ? status_words(status) : "a formula among them has no value") +
                 "; get them one by one");
}

void refuse_collection_class(const Membership& owner, const std::string& class_name) {
    for (const MoxHostClassInfo& info : class_infos(owner)) {
        if (class_name == info.name) return;
    }
    for (const MoxHostObjectInfo& info : object_infos(owner)) {
        if (info.is_collection != FALSE && class_name == info.class_name) {
            throw Failed(class_name +
                         " is the library's own class of collections, without a schema; moxctl "
                         "list shows them");
        }
    }
}

void refresh(const Membership& owner) {
    ErrorHolder error;
    if (moxhost_refresh(owner.module(), error.out()) == FALSE) {
        throw Failed("the owner did not read its hardware: " + error.text());
    }
}

}  // namespace mox::tool
