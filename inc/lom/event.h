/* lom/event.h: announcing a property's change to the modules that listen to it, and counting the
 * events. Any process, any
 * thread; the lookup takes the object-table mutex, the listener list the class-table lock; never
 * call these while holding an object's semaphore. */
#ifndef MOX_LOM_EVENT_H
#define MOX_LOM_EVENT_H

#include <moxlib/moxbase.h>

G_BEGIN_DECLS

/* Sends a property's value to the queues that listen to it, and counts one sent event, listened to
 * or not. property_value: not null, stays the caller's. group_send: FALSE sends for the object's
 * own name; TRUE for every name in its name list, in order, up to the first failure. Returns 0;
 * MOX_ERR_OBJECT_NOT_FOUND; MOX_ERR_INTERNAL for an object without a name list;
 * MOX_ERR_BAD_ARGUMENT for null arguments; else the first failing send's code (logged). */
MOX_API gint32 lom_property_event(OBJ_HANDLE obj_handle, const gchar* property_name,
                                  GVariant* property_value, gboolean group_send);

/* Counts one event of a property as sent (send TRUE) or received (FALSE); concurrent counts may be
 * lost. Returns 0; MOX_ERR_BAD_ARGUMENT; MOX_ERR_OBJECT_NOT_FOUND; MOX_ERR_PROPERTY_NOT_FOUND. */
MOX_API gint32 lom_count_event(OBJ_HANDLE object_handle, const gchar* property_name, gboolean send);

G_END_DECLS

#endif
