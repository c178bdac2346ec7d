// Forcing a value from outside: it hides hardware and formulas and blocks writes until it is
// cancelled. It works on read-only objects and is never saved.
#include <lom/event.h>
#include <lom/property.h>
#include <lom/registry.h>

#include <string>
#include <vector>

#include "base/glib_ptr.hpp"
#include "lom/event.hpp"
#include "lom/hooks.hpp"
#include "lom/new_value.hpp"
#include "lom/object_ref.hpp"
#include "lom/property_state.hpp"
#include "lom/reference_path.hpp"
#include "lom/semaphore_guard.hpp"

namespace {

// A reference property on the way to the one that is overridden.
struct Referrer {
    OBJ_HANDLE handle;
    std::string property_name;
};

// Under the object's semaphore: ends an override, or reads where a reference leads.
gint32 cancel_or_split(const OBJECT_HEAD_S& object, SERIALISED_PROPERTY_S& property,
                       PROPERTY_STATE mode, mox::ReferenceTarget& next) {
    const mox::SemaphoreGuard semaphore(object);
    if (!semaphore) {
        return MOX_ERR_SEMAPHORE;
    }
    if (mode == PROPERTY_CANCEL_OVERRIDE) {
        mox::clear_state(property, mox::kOverride);
        return MOX_OK;
    }
    return mox::is_reference(property) ? mox::split_reference(property, next)
                                       : static_cast<gint32>(MOX_OK);
}

gint32 ask_permission(const OBJECT_HEAD_S& object, const SERIALISED_PROPERTY_S& property) {
    const OverrideCheckFunc check = g_override_check_func;
    return check == nullptr ? static_cast<gint32>(MOX_OK)
                            : check(object.object_name, property.name);
}

gint32 force_here(const OBJECT_HEAD_S& object, SERIALISED_PROPERTY_S& property,
                  const mox::NewValue* value) {
    const mox::SemaphoreGuard semaphore(object);
    if (!semaphore) {
        return MOX_ERR_SEMAPHORE;
    }
    if (value != nullptr) {
        value->store(property);
    }
    mox::set_state(property, mox::kOverride);
    return MOX_OK;
}

// Stores the forced value, here or where the record can be enlarged. Without such a process nothing
// is stored nor forced; the value is announced all the same.
gint32 force(const OBJECT_HEAD_S& object, SERIALISED_PROPERTY_S& property,
             const mox::NewValue& value) {
    if (value.fits(property)) {
        return force_here(object, property, &value);
    }
    const RemoteSetPropertyFunc remote_set = g_remote_set_func;
    if (remote_set == nullptr) {
        return MOX_OK;
    }
    const gint32 result = remote_set(object.object_name, property.name, value.get());
    return result != MOX_OK ? result : force_here(object, property, nullptr);
}

// What an override has done so far.
struct Override {
    gboolean& is_taken;  // a value passed its checks
    std::vector<Referrer> referrers;
    mox::VariantPtr announced;  // the value as listeners are told of it; null before they are
};

// Works at the property that is named, or at the end of the references from there, which are
// collected on the way. Each object on the way is let go before the next is looked up.
gint32 override_target(OBJ_HANDLE handle, const gchar* name, GVariant* new_value,
                       PROPERTY_STATE mode, Override& done) {
    mox::CycleWatch watch;
    mox::ReferenceTarget next;
    for (;;) {
        mox::ObjectRef object = mox::find_local(handle);
        if (!object) {
            return MOX_ERR_OBJECT_NOT_FOUND;
        }
        if (mode != PROPERTY_OVERRIDE && mode != PROPERTY_CANCEL_OVERRIDE) {
            return MOX_ERR_NOT_PERMITTED;
        }
        SERIALISED_PROPERTY_S* property = nullptr;
        gint32 result = mox::find_property(*object, name, &property);
        if (result != MOX_OK) {
            return result;
        }
        const bool is_reference = mox::is_reference(*property);
        if (is_reference && mode == PROPERTY_OVERRIDE) {
            if (watch.is_repeated(property)) {
                return MOX_ERR_INTERNAL;
            }
            done.referrers.push_back({handle, name});
        } else if (result = ask_permission(*object, *property); result != MOX_OK) {
            return result;
        }
        result = cancel_or_split(*object, *property, mode, next);
        if (result != MOX_OK || mode == PROPERTY_CANCEL_OVERRIDE) {
            return result;
        }
        if (!is_reference) {
            const mox::NewValue value(new_value, *property);
            if (value.code() != MOX_OK) {
                return value.code();
            }
            done.is_taken = TRUE;
            result = force(*object, *property, value);
            if (result != MOX_OK) {
                return result;
            }
            done.announced.reset(g_variant_ref(value.get()));
            // A hook that stored what did not fit may have ended or replaced the object.
            return value.fits(*property) ? mox::announce(*object, name, value.get())
                                         : lom_property_event(handle, name, value.get(), TRUE);
        }
        object.reset();
        handle = lom_get_object_handle(next.object_name);
        name = next.property_name();
        if (handle == 0) {
            return MOX_ERR_OBJECT_NOT_FOUND;
        }
    }
}

}  // namespace

gint32 lom_override_property_value(OBJ_HANDLE obj_handle, const gchar* property_name,
                                   GVariant* property_value, PROPERTY_STATE mode,
                                   gboolean* modified) {
    gboolean unasked = FALSE;
    Override done{modified == nullptr ? unasked : *modified, {}, nullptr};
    gint32 result = override_target(obj_handle, property_name, property_value, mode, done);
    // Whoever listens to a reference is told, too, from the target outwards.
    for (auto at = done.referrers.rbegin(); at != done.referrers.rend() && done.announced; ++at) {
        if (result != MOX_OK) {
            mox::tell_unsent_event(at->handle, at->property_name.c_str(), result);
            continue;
        }
        result =
            lom_property_event(at->handle, at->property_name.c_str(), done.announced.get(), TRUE);
    }
    return result;
}
