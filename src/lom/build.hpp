// Internal view of building a record.
#ifndef MOX_LOM_BUILD_HPP
#define MOX_LOM_BUILD_HPP

#include <moxlib/moxbase.h>

// Names a record under construction and has its semaphore created. obj_ptr: not null. object_name:
// cut to 31 characters.
void _embryo_init_object_name(OBJECT_PTR obj_ptr, const gchar* object_name);

#endif
