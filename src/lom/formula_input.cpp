// A formula is read far more often than its inputs change, so that read is kept short: the texts of
// the inputs that are references are taken under one hold of the semaphore, each value that lies in
// memory under one of its own object, and all caches are compared under one more.
#include "lom/formula_input.hpp"

#include <algorithm>
#include <cstring>

#include "base/glib_ptr.hpp"
#include "lom/object_ref.hpp"
#include "lom/property_state.hpp"
#include "lom/reference_path.hpp"
#include "lom/semaphore_guard.hpp"
#include "lom/stored_bytes.hpp"

namespace mox {
namespace {

// The records of the inputs, and what those name that are references.
struct InputRecords {
    SERIALISED_PROPERTY_S* properties[kExpressionInputs];
    ReferenceTarget targets[kExpressionInputs];
    bool is_split[kExpressionInputs] = {};
};

// Splits the texts of all references at once. One that cannot be had now is left to its own read,
// which gives the cause.
void split_references(const OBJECT_HEAD_S& object, InputRecords& records) {
    const bool is_any = std::any_of(std::begin(records.properties), std::end(records.properties),
                                    [](const SERIALISED_PROPERTY_S* property) {
                                        return property != nullptr && is_reference(*property);
                                    });
    if (!is_any) {
        return;
    }
    const SemaphoreGuard semaphore(object);
    for (gsize index = 0; semaphore && index < kExpressionInputs; ++index) {
        const SERIALISED_PROPERTY_S* property = records.properties[index];
        records.is_split[index] = property != nullptr && is_reference(*property) &&
                                  split_reference(*property, records.targets[index]) == MOX_OK;
    }
}

// Whether a cache holds another value than the input: bytes that it declares beyond its room are
// read as zeros. Called with the semaphore held.
bool differs(const SERIALISED_PROPERTY_S& cache, const TLV_S& input) {
    const gsize there = cache.data == nullptr ? 0 : std::min(cache.size, cache.capacity);
    const gsize common = std::min(there, gsize{input.size});
    const auto* bytes = static_cast<const guint8*>(input.data);
    return is_half_written(cache) || cache.size < input.size ||
           (common > 0 && std::memcmp(cache.data, bytes, common) != 0) ||
           std::any_of(bytes + common, bytes + input.size, [](guint8 byte) { return byte != 0; });
}

// The same for a cache that is itself a reference.
bool differs_from_referenced(OBJECT_HEAD_S& object, const gchar* cache_name, const TLV_S& input,
                             gboolean is_remote) {
    TLV_S cache = {};
    const gint32 result = _get_property_raw_data(&object, cache_name, FALSE, &cache, is_remote);
    const GPtr<void> data(cache.data);
    return result != MOX_OK || cache.size < input.size ||
           (input.size > 0 && std::memcmp(cache.data, input.data, input.size) != 0);
}

}  // namespace

FormulaInputs::~FormulaInputs() {
    for (gsize index = 0; index < kExpressionInputs; ++index) {
        if (packages_[index].data != small_[index]) {
            g_free(packages_[index].data);
        }
    }
}

gint32 FormulaInputs::read(OBJECT_HEAD_S& object, gboolean is_remote) {
    InputRecords records;
    for (gsize index = 0; index < kExpressionInputs; ++index) {
        records.properties[index] = _get_property_node(&object, kFormulaInputs[index].name);
    }
    split_references(object, records);
    for (gsize index = 0; index < kExpressionInputs; ++index) {
        SERIALISED_PROPERTY_S* property = records.properties[index];
        if (property == nullptr) {
            return MOX_ERR_PROPERTY_NOT_FOUND;
        }
        gint32 result = MOX_OK;
        if (records.is_split[index]) {
            ObjectRef target;
            result = find_referenced(records.targets[index], target, property);
            if (result == MOX_OK) {
                result = read_found(index, *target, *property, is_remote);
            }
        } else {
            result = read_found(index, object, *property, is_remote);
        }
        if (result != MOX_OK) {
            return result;
        }
    }
    return MOX_OK;
}

gint32 FormulaInputs::read_found(gsize index, OBJECT_HEAD_S& object,
                                 SERIALISED_PROPERTY_S& property, gboolean is_remote) {
    return is_reference(property) || has_live_source(object, property)
               ? read_property(object, property, TRUE, packages_[index], is_remote)
               : read_stored(index, object, property);
}

gint32 FormulaInputs::read_stored(gsize index, const OBJECT_HEAD_S& object,
                                  const SERIALISED_PROPERTY_S& property) {
    const SemaphoreGuard semaphore(object);
    if (!semaphore) {
        return MOX_ERR_SEMAPHORE;
    }
    TLV_S& package = packages_[index];
    const gsize size = property.size;
    if (size > kSmall || is_half_written(property)) {
        return copy_stored_value(property, package);
    }
    std::memcpy(package.type, property.type, PUB_TYPE_LENGTH);
    package.size = static_cast<guint32>(size);
    package.data = size == 0 ? nullptr : small_[index];
    copy_stored_into(property, small_[index], size);
    return MOX_OK;
}

bool FormulaInputs::differ_from_caches(OBJECT_HEAD_S& object, gboolean is_remote, TLV_S& tlv,
                                       gint32& result) const {
    const SERIALISED_PROPERTY_S* caches[kExpressionInputs];
    for (gsize index = 0; index < kExpressionInputs; ++index) {
        const gchar* cache_name = kFormulaInputs[index].cache_name;
        caches[index] = _get_property_node(&object, cache_name);
        if (caches[index] == nullptr) {
            return true;
        }
        if (is_reference(*caches[index])) {
            if (differs_from_referenced(object, cache_name, packages_[index], is_remote)) {
                return true;
            }
            caches[index] = nullptr;
        }
    }
    // The record that is being read may be a copy from before these inputs.
    const SERIALISED_PROPERTY_S* stored = _get_property_node(&object, "Value");
    const SemaphoreGuard semaphore(object);
    if (!semaphore) {
        return true;  // what cannot be looked at may be another
    }
    for (gsize index = 0; index < kExpressionInputs; ++index) {
        if (caches[index] != nullptr && differs(*caches[index], packages_[index])) {
            return true;
        }
    }
    if (stored != nullptr && is_half_written(*stored)) {
        return true;
    }
    result = stored == nullptr ? static_cast<gint32>(MOX_ERR_PROPERTY_NOT_FOUND)
                               : copy_stored_value(*stored, tlv);
    return false;
}

gdouble FormulaInputs::number(gsize index) const {
    const TLV_S& input = packages_[index];
    guint8 bytes[kSmall] = {};  // an input may be shorter than its type is long
    if (input.data != nullptr) {
        std::memcpy(bytes, input.data, std::min<gsize>(input.size, kSmall));
    }
    return pub_raw_to_double(input.type, input.size, bytes);
}

}  // namespace mox
