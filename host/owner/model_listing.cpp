// Told from the records as they stand in the pool, so that it is what the modules see; only what
// the records do not hold comes from the profile.
#include "owner/model_listing.hpp"

#include <classnode.h>

#include <algorithm>
#include <atomic>

#include "model/pool_footprint.hpp"
#include "owner/call_arguments.hpp"
#include "owner/object_record.hpp"
#include "profile/expression_check.hpp"
#include "wire/interface.hpp"
#include "wire/operator_types.hpp"

namespace mox::host {
namespace {

const std::string& or_owner(const std::string& module, const std::string& owner_name) {
    return module.empty() ? owner_name : module;
}

template <typename Number>
Number read_now(Number& field) {
    return std::atomic_ref<Number>(field).load(std::memory_order_relaxed);
}

// What stands in the pool may have been put there by a process that wrote past the library; a reply
// takes text in UTF-8 only.
std::string as_text(const char* bytes, gsize size) {
    gchar* const text = g_utf8_make_valid(bytes, static_cast<gssize>(strnlen(bytes, size)));
    std::string result(text);
    g_free(text);
    return result;
}

bool is_reference(const SERIALISED_PROPERTY_S& property) {
    return property.type[0] == 's' && property.type[3] == PUB_REFERENCE_MARKER;
}

// The text that a property of type "s" has in memory. The object's lock is not taken, because a
// listing must not wait for who holds it: a text that is being changed is told as none, or,
// when that begins meanwhile, half changed.
// Only the owner's own thread, this one, moves a value to other memory.
std::string stored_text(SERIALISED_PROPERTY_S& property) {
    const bool is_whole = (read_now(property.state.all) & PROPERTY_STATE_HALF_WRITTEN) == 0;
    const auto* const bytes = is_whole ? static_cast<const char*>(property.data) : nullptr;
    const gsize size = std::min(read_now(property.size), read_now(property.capacity));
    return bytes == nullptr ? std::string() : as_text(bytes, size);
}

SERIALISED_PROPERTY_S* find_property(const OBJECT_HEAD_S& record, const char* name) {
    SERIALISED_PROPERTY_S* property = record.property_entry;
    while (property != nullptr && g_strcmp0(property->name, name) != 0) {
        property = property->next_ptr;
    }
    return property;
}

struct Source {
    wire::SourceKind kind = wire::SourceKind::memory;
    std::string text;
};

Source source_of(const OBJECT_HEAD_S& record, SERIALISED_PROPERTY_S& property) {
    if (is_reference(property)) {
        return {wire::SourceKind::property, stored_text(property)};
    }
    if (is_formula_result(record.class_name, property.name)) {
        SERIALISED_PROPERTY_S* const formula = find_property(record, expression_formula);
        return {wire::SourceKind::formula, formula == nullptr ? "" : stored_text(*formula)};
    }
    if (property.accessor != nullptr && property.accessor[0] != '\0') {
        return {wire::SourceKind::hardware, as_text(property.accessor, PUB_NAME_LENGTH)};
    }
    return {};
}

}  // namespace

ModelListing::ModelListing(const ModelIndex& model, const ModuleRegistry& registry,
                           std::string owner_name)
    : model_(model), registry_(registry), owner_name_(std::move(owner_name)) {}

GVariant* ModelListing::answer(const std::string& method, GVariant* arguments) const {
    if (method == "ObjectInfos") return object_infos(string_at(arguments, 0));
    if (method == "ClassInfos") return class_infos();
    if (method == "PropertyInfos") return property_infos(string_at(arguments, 0));
    return nullptr;
}

// The names of the collection objects that there are.
std::vector<std::string> ModelListing::collections() const {
    std::vector<std::string> names;
    for (const ClassDef& entry : model_.profile().classes) {
        const OBJ_HANDLE handle = cls_get_collection_object(cls_get_class(entry.name.c_str()));
        if (const gchar* const name = lom_handle_to_name(handle)) {
            names.emplace_back(name);
        }
    }
    return names;
}

void ModelListing::add_object(GVariantBuilder& list, const std::string& name) const {
    const RecordPtr record = record_of(name);
    if (!record) {
        return;
    }
    const ObjectDef* const object = model_.find_object(name);
    const ClassDef* const entry =
        object == nullptr ? nullptr : model_.find_class(object->class_name);
    const std::string module = entry == nullptr ? "" : entry->module;
    const ObjectFootprint bytes = footprint_of(*record);
    g_variant_builder_add(&list, wire::object_info, name.c_str(),
                          as_text(record->class_name, PUB_NAME_LENGTH).c_str(),
                          or_owner(module, owner_name_).c_str(),
                          object == nullptr ? "" : object->board.c_str(), record->position,
                          record->property_count, bytes.values, bytes.whole, object == nullptr);
}

GVariant* ModelListing::object_infos(const std::string& class_name) const {
    if (!class_name.empty() && model_.find_class(class_name) == nullptr) {
        refuse(wire::error_not_found, "there is no class \"" + class_name + "\"");
    }
    GVariantBuilder list;
    g_variant_builder_init(&list, G_VARIANT_TYPE(wire::object_infos));
    for (const ObjectDef* const object : model_.objects_of(class_name)) {
        add_object(list, object->name);
    }
    if (class_name.empty()) {
        for (const std::string& name : collections()) {
            add_object(list, name);
        }
    }
    return g_variant_new(wire::object_infos_reply, &list);
}

GVariant* ModelListing::class_infos() const {
    GVariantBuilder list;
    g_variant_builder_init(&list, G_VARIANT_TYPE(wire::class_infos));
    const std::vector<const ObjectDef*> objects = model_.objects_of("");
    for (const ClassDef& entry : model_.profile().classes) {
        const auto count = std::count_if(
            objects.begin(), objects.end(),
            [&entry](const ObjectDef* object) { return object->class_name == entry.name; });
        g_variant_builder_add(&list, wire::class_info, entry.name.c_str(), entry.parent.c_str(),
                              or_owner(entry.module, owner_name_).c_str(), guint32{entry.id},
                              static_cast<guint32>(count), class_footprint(entry.name));
    }
    return g_variant_new(wire::class_infos_reply, &list);
}

// An array of the listening modules' names, sorted; floating.
GVariant* ModelListing::listeners_of(const gchar* class_name, const gchar* property) const {
    GSList* ports = nullptr;
    cls_get_listener_list(class_name, property, &ports);
    std::vector<std::string> names;
    for (const JoinedModule* const module : registry_.all()) {
        if (g_slist_find(ports, GINT_TO_POINTER(module->queue_id)) != nullptr) {
            names.push_back(module->name);
        }
    }
    g_slist_free(ports);
    std::sort(names.begin(), names.end());
    GVariantBuilder list;
    g_variant_builder_init(&list, G_VARIANT_TYPE_STRING_ARRAY);
    for (const std::string& name : names) {
        g_variant_builder_add(&list, "s", name.c_str());
    }
    return g_variant_builder_end(&list);
}

void ModelListing::add_property(GVariantBuilder& list, const OBJECT_HEAD_S& record,
                                SERIALISED_PROPERTY_S& property) const {
    const Source source = source_of(record, property);
    const std::string name = as_text(property.name, sizeof property.name);
    const std::string type = as_text(property.type, sizeof property.type);
    const PropertyPlace place = model_.find_object(record.object_name) == nullptr
                                    ? PropertyPlace{}
                                    : model_.follow(record.object_name, name);
    const PersistMode persist =
        place.property == nullptr ? PersistMode::none : place.property->persist;
    // A counter of 32 bits; the property is there, so no code of failure can come.
    const auto events = static_cast<guint32>(
        lom_get_property_change_cnt(lom_name_to_handle(record.object_name), name.c_str(), TRUE));
    g_variant_builder_add(
        &list, wire::property_info, name.c_str(), type.c_str(), static_cast<gint32>(source.kind),
        source.text.c_str(), read_now(property.state.all),
        static_cast<guint32>(read_now(property.size)),
        static_cast<guint32>(read_now(property.capacity)), static_cast<gint32>(persist),
        listeners_of(record.class_name, name.c_str()), guint64{events});
}

GVariant* ModelListing::property_infos(const std::string& object) const {
    const bool is_known =
        model_.find_object(object) != nullptr || model_.class_of_collection(object) != nullptr;
    const RecordPtr record = is_known ? record_of(object) : nullptr;
    if (!record) {
        refuse(wire::error_not_found, "there is no object \"" + object + "\"");
    }
    GVariantBuilder list;
    g_variant_builder_init(&list, G_VARIANT_TYPE(wire::property_infos));
    for (SERIALISED_PROPERTY_S* property = record->property_entry; property != nullptr;
         property = property->next_ptr) {
        add_property(list, *record, *property);
    }
    return g_variant_new(wire::property_infos_reply, &list);
}

std::vector<std::string> ModelListing::object_names() const {
    std::vector<std::string> names;
    for (const ObjectDef* const object : model_.objects_of("")) {
        names.push_back(object->name);
    }
    const std::vector<std::string> lists = collections();
    names.insert(names.end(), lists.begin(), lists.end());
    return names;
}

guint64 ModelListing::object_bytes() const {
    guint64 bytes = 0;
    for (const std::string& name : object_names()) {
        const RecordPtr record = record_of(name);
        bytes += record ? footprint_of(*record).whole : 0;
    }
    return bytes;
}

guint64 ModelListing::class_bytes() const {
    guint64 bytes = 0;
    for (const ClassDef& entry : model_.profile().classes) {
        bytes += class_footprint(entry.name);
    }
    return bytes;
}

}  // namespace mox::host
