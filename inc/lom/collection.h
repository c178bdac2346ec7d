/* lom/collection.h: collection objects, which list the objects of a class. */
#ifndef MOX_LOM_COLLECTION_H
#define MOX_LOM_COLLECTION_H

#include <moxlib/moxbase.h>

G_BEGIN_DECLS

/* Makes a class's collection object, or updates it: an object of class "Collection" named by the
 * class and ":C", with the properties "Count" (type "u") and "List" (type "as").
 * class_name: nullable; its first 32 characters count. object_count: above 0. gas_value: the names,
 * of type "as", nullable; stays the caller's. Returns the handle of an object that was made now; 0
 * for one that was updated (its first handle stays good), for a null or wrong argument, when the
 * pool has no room and when this process is not the pool's owner. Takes the object-table mutex and
 * the object's semaphore. Owner only; one call at a time for a class. */
MOX_API OBJ_HANDLE lom_create_collection(const gchar* class_name, gint32 object_count,
                                         GVariant* gas_value);

G_END_DECLS

#endif
