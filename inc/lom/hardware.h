/* lom/hardware.h: properties backed by hardware. A property names an accessor object; the accessor
 * names a chip, a chip its upstream chip, its reset chip and its local bus, a bus its busy chips.
 * The driver library is given that whole family before it is asked for a value. Codes of the driver
 * library come back unchanged.
 * Any process, any thread; lookups take the object-table mutex, reads of names the semaphores of
 * the objects that hold them, which the caller must not hold. */
#ifndef MOX_LOM_HARDWARE_H
#define MOX_LOM_HARDWARE_H

#include <moxlib/moxbase.h>

G_BEGIN_DECLS

/* Copies the name of a property's accessor; in the pool's owner the accessor's family is made known
 * to the driver library first. accessor: receives the name. length: its size, greater than 31.
 * Returns 0; MOX_ERR_BAD_ARGUMENT; MOX_ERR_OBJECT_NOT_FOUND; MOX_ERR_PROPERTY_NOT_FOUND;
 * MOX_ERR_INTERNAL for a property without a record; MOX_ERR_NO_ACCESSOR when it has none or is
 * overridden. */
MOX_API gint32 lom_get_property_accessor(OBJ_HANDLE object_handle, const gchar* property_name,
                                         gchar* accessor, gint32 length);

/* Reads bytes through a property's accessor.
 * offset, length: within the accessor's value; 0 and 0 mean the whole fixed-size value (at most 8
 * bytes). out_data: receives them. Returns 0, the lookup's code, or the driver library's. */
MOX_API gint32 lom_block_read(OBJ_HANDLE obj_handle, const gchar* property_name, gint32 offset,
                              gsize length, gpointer out_data);

/* Writes bytes through a property's accessor. Arguments and result as lom_block_read. */
MOX_API gint32 lom_block_write(OBJ_HANDLE obj_handle, const gchar* property_name, gint32 offset,
                               gsize length, gconstpointer in_data);

/* Reads a whole-number value straight from hardware; nothing is stored or announced.
 * value: receives a new floating value, freed by the caller with g_variant_unref.
 * Returns 0; MOX_ERR_BAD_ARGUMENT; MOX_ERR_INTERNAL for other types; else as lom_get_property_type
 * and lom_block_read. */
MOX_API gint32 lom_get_basic_hvalue(OBJ_HANDLE obj_handle, const gchar* property_name,
                                    GVariant** value);

/* Copies the name of the chip behind a property's accessor.
 * chip_name: receives it. length: its size, at least 32.
 * Returns 0; MOX_ERR_BAD_ARGUMENT; MOX_ERR_OBJECT_NOT_FOUND for a missing accessor object;
 * MOX_ERR_TYPE_MISMATCH for a chip name that is not a string; else as lom_get_property_accessor. */
MOX_API gint32 lom_get_property_chip(OBJ_HANDLE object_handle, const gchar* property_name,
                                     gchar* chip_name, gint32 length);

/* Copies the name of the local bus at the head of a property's chip chain.
 * bus_name: receives it; 32 bytes hold any name.
 * Returns 0; MOX_ERR_OBJECT_NOT_FOUND for a missing chip; MOX_ERR_INTERNAL for a chain that never
 * ends; else as lom_get_property_chip and the reads of "PrevChip" and "LBus". */
MOX_API gint32 lom_get_host_bus(OBJ_HANDLE object_handle, const gchar* property_name,
                                gchar* bus_name);

/* Adds an object's hardware family to a set (g_direct_hash; key and value are the handle).
 * obj_handle 0 and a null object_hash are ignored; a missing accessor is logged. */
MOX_API void lom_family_to_hash(OBJ_HANDLE obj_handle, GHashTable* object_hash);

/* Makes an object's physical family known to the driver library, again and again without harm.
 * obj_handle: 0 does nothing; (OBJ_HANDLE)-1 means every object of this process. */
MOX_API void lom_create_has_object(OBJ_HANDLE obj_handle);

G_END_DECLS

#endif
