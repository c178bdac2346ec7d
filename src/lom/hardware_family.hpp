// Internal view of hardware families: reading the name that one physical object gives of another.
#ifndef MOX_LOM_HARDWARE_FAMILY_HPP
#define MOX_LOM_HARDWARE_FAMILY_HPP

#include <lom/object.h>
#include <moxlib/moxbase.h>
#include <pub.h>

namespace mox {

// Reads a stored string property into a name buffer, cut to 31 characters. Returns 0;
// MOX_ERR_TYPE_MISMATCH when it is no string; else the read's code.
gint32 read_name(OBJECT_HEAD_S& object, const gchar* property_name, gchar (&name)[PUB_NAME_LENGTH]);

// The same for an object of this process.
gint32 read_name(OBJ_HANDLE object_handle, const gchar* property_name,
                 gchar (&name)[PUB_NAME_LENGTH]);

}  // namespace mox

#endif
