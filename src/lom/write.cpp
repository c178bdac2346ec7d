// Writing a property: store, announce, save. Each comes after the semaphore of the one before is
// released, and what is checked first decides which code a caller sees.
#include <lom/event.h>
#include <lom/persist.h>
#include <lom/property.h>

#include "lom/event.hpp"
#include "lom/hooks.hpp"
#include "lom/new_value.hpp"
#include "lom/property_state.hpp"
#include "lom/semaphore_guard.hpp"
#include "lom/write_target.hpp"

namespace {

// Stores a value that fits. A value of another size counts as changed without a look at the bytes.
gint32 store(const OBJECT_HEAD_S& object, SERIALISED_PROPERTY_S& property,
             const mox::NewValue& value, bool& is_changed) {
    const mox::SemaphoreGuard semaphore(object);
    if (!semaphore) {
        return MOX_ERR_SEMAPHORE;
    }
    is_changed = !value.equals_stored(property);
    if (is_changed) {
        // First: who finds the new bytes finds the mark, too, and saves them, even when this
        // process dies in between.
        mox::set_state(property, mox::kModified);
        value.store(property);
    }
    mox::set_state(property, mox::kSynced);
    return MOX_OK;
}

// Has a value that outgrew its room stored by a process that can enlarge the record. Without such a
// process nothing is stored, yet the write goes on: listeners rely on being told of the value.
gint32 store_elsewhere(const OBJECT_HEAD_S& object, SERIALISED_PROPERTY_S& property,
                       const mox::NewValue& value) {
    mox::set_state(property, mox::kModified);
    const RemoteSetPropertyFunc remote_set = g_remote_set_func;
    return remote_set == nullptr ? static_cast<gint32>(MOX_OK)
                                 : remote_set(object.object_name, property.name, value.get());
}

// Hands a change to persistence, also one that an earlier write left. The mark is gone afterwards
// whatever became of it: nothing is tried twice.
gint32 save_change(const mox::WriteTarget& target, const mox::NewValue& value, PER_MODE_E per_mode,
                   gboolean is_static) {
    if (per_mode == PER_MODE_NOSUPPORT || !mox::has_state(*target.property, mox::kModified)) {
        return MOX_OK;
    }
    const gint32 result = lom_save_property_value(target.handle, target.name, value.get(), per_mode,
                                                  FALSE, is_static);
    mox::clear_state(*target.property, mox::kModified);
    return result;
}

}  // namespace

gint32 lom_set_property_value(OBJ_HANDLE obj_handle, const gchar* property_name,
                              GVariant* property_value, PER_MODE_E per_mode, gboolean is_static) {
    mox::WriteTarget target;
    gint32 result = mox::find_write_target(obj_handle, property_name, mox::Walk::kWrite, target);
    if (result != MOX_OK) {
        return result;
    }
    const mox::NewValue value(property_value, *target.property);
    if (value.code() != MOX_OK) {
        return value.code();
    }
    if (!value.fits(*target.property)) {
        result = store_elsewhere(*target.object, *target.property, value);
        if (result != MOX_OK) {
            return result;
        }
        // The hook may have ended or replaced the object: it is looked up anew.
        lom_property_event(target.handle, target.name, value.get(), TRUE);
        return save_change(target, value, per_mode, is_static);
    }
    bool is_changed = false;
    result = store(*target.object, *target.property, value, is_changed);
    if (result != MOX_OK) {
        return result;
    }
    if (is_changed) {
        mox::announce(*target.object, target.name, value.get());
    }
    return save_change(target, value, per_mode, is_static);
}
