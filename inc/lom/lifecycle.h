/* lom/lifecycle.h: what is left to do when a module that held copies of records is gone. */
#ifndef MOX_LOM_LIFECYCLE_H
#define MOX_LOM_LIFECYCLE_H

#include <moxlib/moxbase.h>

G_BEGIN_DECLS

/* Clears one module's bit in every object of this process's table.
 * bitmap_id: 1 to 127, others are ignored. Any thread. Takes the object-table mutex. */
MOX_API void lom_batch_unref(gint32 bitmap_id);

G_END_DECLS

#endif
