/* lom/persist.h: property values that outlive the process. They are kept by the persistence library
 * (moxplat/persist.h) of this process, or of the process behind the remote hooks (lom/sharing.h).
 *
 * A property that names another object's property is saved and read there. A name may carry the
 * prefix "d:", which the store receives as a flag. Codes of the store come back unchanged. Any
 * thread of any process; the lookup takes the object-table mutex. A call may wait for the disk:
 * never call with an object's semaphore held. Threads that change the save type of one property
 * must take turns. */
#ifndef MOX_LOM_PERSIST_H
#define MOX_LOM_PERSIST_H

#include <moxlib/moxbase.h>
#include <moxplat/persist.h>

G_BEGIN_DECLS

/* Saves a property's value.
 * property_value: null saves the stored value; stays the caller's. per_mode: how long it lives.
 * is_remote: TRUE saves through the remote hook. is_static: TRUE also marks the property as saved
 * statically and records that in the store. Returns the store's code (0 or above is success), or
 * MOX_ERR_BAD_ARGUMENT for handle 0 or a null name; MOX_ERR_OBJECT_NOT_FOUND (also a reference's
 * target); MOX_ERR_NOT_PERMITTED for an object that is not writable here;
 * MOX_ERR_PROPERTY_NOT_FOUND; MOX_ERR_INTERNAL for a property without a record, a reference that
 * names nothing or never ends, or no hook; MOX_ERR_OVERRIDDEN; MOX_ERR_SEMAPHORE. */
MOX_API gint32 lom_save_property_value(OBJ_HANDLE obj_handle, const gchar* property_name,
                                       GVariant* property_value, PER_MODE_E per_mode,
                                       gboolean is_remote, gboolean is_static);

/* Reads a saved value.
 * property_value: receives a new floating value, freed by the caller with g_variant_unref;
 * untouched on failure. save_opt: the mode under which it was saved. is_remote: TRUE reads through
 * the remote hook. Returns as lom_save_property_value but MOX_ERR_OVERRIDDEN, and MOX_ERR_INTERNAL
 * also for an empty value and for bytes that are no value of the type they claim. */
MOX_API gint32 lom_get_saved_value(OBJ_HANDLE obj_handle, const gchar* property_name,
                                   GVariant** property_value, PER_MODE_E save_opt,
                                   gboolean is_remote);

/* Asks whether a value is saved; the object need not exist.
 * saved: not null. is_remote: not offered: TRUE gives MOX_ERR_INTERNAL. Returns the store's code,
 * or MOX_ERR_BAD_ARGUMENT. */
MOX_API gint32 lom_is_property_value_saved(OBJ_HANDLE obj_handle, const gchar* property_name,
                                           PER_MODE_E save_opt, gboolean is_remote,
                                           gboolean* saved);

/* Marks a property as saved statically, or no longer, here and in the store. The mark is changed
 * also when the store fails. Returns as lom_save_property_value but MOX_ERR_OVERRIDDEN; 0 when
 * nothing changes. */
MOX_API gint32 lom_set_property_save_type(OBJ_HANDLE obj_handle, const gchar* property_name,
                                          gboolean is_static);

/* Takes the mark "saved statically" from a recorded state word, when the owner restores what was
 * saved. status: the mark is its bit of value 2. Returns 0; MOX_ERR_NOT_PERMITTED when not the
 * pool's owner; MOX_ERR_BAD_ARGUMENT for a null name; MOX_ERR_OBJECT_NOT_FOUND;
 * MOX_ERR_PROPERTY_NOT_FOUND; MOX_ERR_INTERNAL for a property without a record; MOX_ERR_SEMAPHORE.
 */
MOX_API gint32 lom_reset_property_status(const gchar* object_name, const gchar* property_name,
                                         guint32 status);

G_END_DECLS

#endif
