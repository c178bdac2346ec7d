// Internal view of property events: one object's event under one name.
#ifndef MOX_LOM_EVENT_HPP
#define MOX_LOM_EVENT_HPP

#include <lom/object.h>

// Counts and sends one property's event to the queues that listen to the class's property. Returns
// 0, the listener lookup's code, or the first failing send's (logged).
gint32 _send_property_event(const gchar* class_name, const gchar* object_name,
                            const gchar* property_name, GVariant* property_value);

namespace mox {

// Announces a change under all names of an object that the caller has looked up and holds: no hook
// ran since. Returns 0; MOX_ERR_OBJECT_NOT_FOUND when it was marked deleted meanwhile;
// MOX_ERR_BAD_ARGUMENT for a null name; MOX_ERR_INTERNAL for a record without names; or what the
// first failing send gave.
gint32 announce(const OBJECT_HEAD_S& object, const gchar* property_name, GVariant* property_value);

// Counts an event under all of an object's names as lost: it is not sent because one before it
// failed with this code. An object that is gone has nobody to tell.
void tell_unsent_event(OBJ_HANDLE obj_handle, const gchar* property_name, gint32 result);

}  // namespace mox

#endif
