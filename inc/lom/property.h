/* lom/property.h: reading property values.
 *
 * A value comes from the first of these that has it: another object's property that the property
 * names, memory (when a stored value is asked for, or the property is overridden), a formula,
 * hardware, memory. A live read of a writable object writes a fresh value back and announces it.
 * Every function may be called from any thread of any process; it takes the object-table mutex for
 * its lookup and, where
 * it reads value bytes, the object's semaphore, which the calling thread must not hold.
 * Codes of hardware and formulas come back unchanged. */
#ifndef MOX_LOM_PROPERTY_H
#define MOX_LOM_PROPERTY_H

#include <moxlib/moxbase.h>
#include <pub.h>

G_BEGIN_DECLS

/* Sees one property of a traversal. property_value is borrowed for the call. */
typedef void (*PropertyForeachFunc)(OBJ_HANDLE obj_handle, const gchar* property_name,
                                    GVariant* property_value, gpointer user_data);

/* Reads a property as a typed value.
 * is_volatile: FALSE reads the stored value, TRUE the live one. property_value: receives a new
 * floating value, freed by the caller with g_variant_unref; untouched on failure. is_remote:
 * TRUE has the owner read the hardware. Returns 0; MOX_ERR_BAD_ARGUMENT for handle 0 or null
 * arguments; MOX_ERR_OBJECT_NOT_FOUND (also a reference's target); MOX_ERR_PROPERTY_NOT_FOUND;
 * MOX_ERR_INTERNAL; MOX_ERR_SEMAPHORE; MOX_ERR_TYPE_NOT_SUPPORTED when no value can be built. */
MOX_API gint32 lom_get_property_value(OBJ_HANDLE obj_handle, const gchar* property_name,
                                      gboolean is_volatile, GVariant** property_value,
                                      gboolean is_remote);

/* Reads a property's bytes into the caller's buffer. A longer value is cut, its last byte set to 0
 * (both logged); a shorter one leaves the rest of the buffer as it was. value_len: bytes of
 * out_val. Returns as lom_get_property_value; 0 also for a cut value. */
MOX_API gint32 lom_get_property_value_v2(OBJ_HANDLE obj_handle, const gchar* property_name,
                                         gboolean is_volatile, guint32 value_len, guchar* out_val,
                                         gboolean is_remote);

/* Reads a property's type and bytes.
 * ptlv: receives them; its data is freed by the caller with g_free, also on failure (then null or
 * what was read). Returns as lom_get_property_value. */
MOX_API gint32 lom_get_property_data(OBJ_HANDLE object_handle, const gchar* property_name,
                                     gboolean is_volatile, TLV_S* ptlv, gboolean is_remote);

/* The same of the property's own stored value, never of hardware, a formula or a reference. */
MOX_API gint32 lom_get_property_memory_data(OBJ_HANDLE object_handle, const gchar* property_name,
                                            TLV_S* ptlv);

/* Copies a property's 6-byte type field.
 * length: exactly 6. Returns 0; MOX_ERR_BAD_ARGUMENT; MOX_ERR_OBJECT_NOT_FOUND;
 * MOX_ERR_PROPERTY_NOT_FOUND; MOX_ERR_INTERNAL for a property without a record. */
MOX_API gint32 lom_get_property_type(OBJ_HANDLE object_handle, const gchar* property_name,
                                     gchar* type, gint32 length);

/* Gives how many events of a property this process has sent (send TRUE) or received (FALSE).
 * Returns the count; MOX_ERR_BAD_ARGUMENT; MOX_ERR_OBJECT_NOT_FOUND; MOX_ERR_PROPERTY_NOT_FOUND. */
MOX_API gint32 lom_get_property_change_cnt(OBJ_HANDLE object_handle, const gchar* property_name,
                                           gboolean send);

/* Tells whether this process may write the object; FALSE also when it is not found. */
MOX_API gboolean lom_is_writable(OBJ_HANDLE obj_handle);

/* Reads every property of an object live and passes each value to handler; what cannot be read is
 * skipped. Returns 0; MOX_ERR_BAD_ARGUMENT for handle 0 or a null handler;
 * MOX_ERR_OBJECT_NOT_FOUND. */
MOX_API gint32 lom_foreach_property(OBJ_HANDLE obj_handle, PropertyForeachFunc handler,
                                    gpointer user_data);

/* Reads every property of every object that has a readable, synchronous accessor, so that changes
 * are stored and announced. */
MOX_API void lom_property_batch_read(void);

G_END_DECLS

#endif
