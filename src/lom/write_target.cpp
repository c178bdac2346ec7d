// Each object on the way is let go before the next is looked up.
#include "lom/write_target.hpp"

#include "lom/property_state.hpp"

namespace mox {
namespace {

// One step: the object and property that target names now.
gint32 find_step(Walk walk, WriteTarget& target) {
    if (walk != Walk::kWrite && (target.handle == 0 || target.name == nullptr)) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    target.object = find_local(target.handle);
    if (!target.object) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    if (!is_writable(*target.object)) {
        return MOX_ERR_NOT_PERMITTED;
    }
    const gint32 result = find_property(*target.object, target.name, &target.property);
    if (result != MOX_OK) {
        return result;
    }
    return walk != Walk::kReadBack && has_state(*target.property, kOverride)
               ? static_cast<gint32>(MOX_ERR_OVERRIDDEN)
               : static_cast<gint32>(MOX_OK);
}

}  // namespace

gint32 find_write_target(OBJ_HANDLE obj_handle, const gchar* property_name, Walk walk,
                         WriteTarget& target) {
    target.handle = obj_handle;
    target.name = property_name;
    CycleWatch watch;
    for (;;) {
        gint32 result = find_step(walk, target);
        if (result != MOX_OK || !is_reference(*target.property)) {
            return result;
        }
        if (watch.is_repeated(target.property)) {
            return MOX_ERR_INTERNAL;
        }
        result = split_stored_reference(*target.object, *target.property, target.path);
        target.object.reset();
        if (result == MOX_OK && walk != Walk::kWrite && target.path.is_empty) {
            result = MOX_ERR_INTERNAL;
        }
        if (result != MOX_OK) {
            return result;
        }
        target.handle = lom_get_object_handle(target.path.object_name);
        target.name = target.path.property_name();
        if (target.handle == 0) {
            return MOX_ERR_OBJECT_NOT_FOUND;
        }
    }
}

}  // namespace mox
