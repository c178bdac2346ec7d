// The mark is looked at twice: without the object's semaphore it may be that of a write that goes
// on, and only for the few marked ones the semaphore is waited for. What is changed is changed
// under the hold that saw the mark, so that a value somebody stored meanwhile stays.
#include "owner/half_written.hpp"

#include <lom.h>
#include <moxplat/osal.h>
#include <pub.h>

#include <algorithm>
#include <atomic>
#include <cstring>

#include "owner/object_record.hpp"
#include "owner/restore_defaults.hpp"
#include "owner/writable_for_now.hpp"

namespace mox::host {
namespace {

class HeldObject {
public:
    explicit HeldObject(const OBJECT_HEAD_S& object)
        : semid_(object.semid),
          member_(object.sem_member),
          is_held_(osal_process_sem_p(semid_, member_) == OSAL_OK) {}
    ~HeldObject() {
        if (is_held_) {
            osal_process_sem_v(semid_, member_);
        }
    }
    HeldObject(const HeldObject&) = delete;
    HeldObject& operator=(const HeldObject&) = delete;

    explicit operator bool() const { return is_held_; }

private:
    gint32 semid_;
    gint32 member_;
    bool is_held_;
};

std::atomic_ref<guint32> state_of(SERIALISED_PROPERTY_S& property) {
    return std::atomic_ref<guint32>(property.state.all);
}

bool has_mark(SERIALISED_PROPERTY_S& property) {
    return (state_of(property).load() & PROPERTY_STATE_HALF_WRITTEN) != 0;
}

constexpr guint32 override_bit = 1U << 2;

// A forced value is not known any more, so it is forced no longer. False: nothing is to be mended.
bool end_override(const OBJECT_HEAD_S& object, SERIALISED_PROPERTY_S& property) {
    const HeldObject hold(object);
    if (!hold || !has_mark(property)) {
        return false;
    }
    state_of(property).fetch_and(~override_bit);
    return true;
}

// Hardware and formulas give a value of their own, which is stored.
void read_live(const ObjectDef& object, const char* property) {
    const WritableForNow writable(object.name);
    GVariant* value = nullptr;
    if (lom_get_property_value(writable.handle(), property, TRUE, &value, FALSE) == MOX_OK) {
        g_variant_unref(g_variant_ref_sink(value));
    }
}

// False: somebody else has stored a value, or these bytes have no room.
bool put_back(const OBJECT_HEAD_S& object, SERIALISED_PROPERTY_S& property,
              const std::string& bytes) {
    const HeldObject hold(object);
    if (!hold || !has_mark(property) || bytes.size() > property.capacity) {
        return false;
    }
    std::memcpy(property.data, bytes.data(), bytes.size());
    std::atomic_ref<gsize>(property.size).store(bytes.size());
    state_of(property).fetch_and(~PROPERTY_STATE_HALF_WRITTEN);
    return true;
}

void mend(const OBJECT_HEAD_S& record, SERIALISED_PROPERTY_S& property, const ObjectDef& object,
          const PropertyValue& known) {
    if (!end_override(record, property)) {
        return;
    }
    read_live(object, property.name);
    const ValueLeft left = value_left({&object, &known});
    const bool is_put_back = put_back(record, property, left.bytes);
    const char* const became = is_put_back ? "it has its saved or first value again"
                               : has_mark(property)
                                   ? "nobody reads it before the next value is stored"
                                   : "it has a new value";
    pub_debug_print(MX_DBG_ERR, "%s.%s was left half written by a process that died; %s.\n",
                    object.name.c_str(), property.name, became);
    if (is_put_back) {
        lom_property_event(lom_name_to_handle(object.name.c_str()), property.name, left.value.get(),
                           TRUE);
    }
}

}  // namespace

void mend_half_written(const ModelIndex& model) {
    for (const ObjectDef* const object : model.objects_of("")) {
        const RecordPtr record = record_of(object->name);
        if (!record) {
            continue;
        }
        for (guint32 index = 0; index < record->property_count; ++index) {
            SERIALISED_PROPERTY_S& property = record->property_entry[index];
            if (!has_mark(property)) {
                continue;
            }
            const auto known = std::find_if(
                object->properties.begin(), object->properties.end(),
                [&property](const PropertyValue& value) { return value.name == property.name; });
            if (known != object->properties.end()) {
                mend(*record, property, *object, *known);
            }
        }
    }
}

}  // namespace mox::host
