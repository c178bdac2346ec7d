/* lom/property.h: reading and writing property values.
 *
 * A value comes from the first of these that has it: another object's property that the property
 * names, memory (when a stored value is asked for, or the property is overridden), a formula,
 * hardware, memory. A live read of a writable object writes a fresh value back and announces it.
 * Every function may be called from any thread of any process; it takes the object-table mutex for
 * its lookup and, where
 * it reads value bytes, the object's semaphore, which the calling thread must not hold.
 * Codes of hardware and formulas come back unchanged.
 *
 * A write stores a value, announces it and hands it to persistence, in this order; none of the
 * latter two with the semaphore held. A property that names another object's property is written
 * there; a chain of such names that never ends gives MOX_ERR_INTERNAL. An override forces a value:
 * reads show it, writes are refused until it is cancelled. */
#ifndef MOX_LOM_PROPERTY_H
#define MOX_LOM_PROPERTY_H

#include <moxlib/moxbase.h>
#include <moxplat/persist.h>
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

/* Reads several properties of one object as one consistent set: the stored values are copied under
 * one hold of the object's semaphore, then live sources (references, formulas, hardware) are asked.
 * Nothing is written back or announced. Overrides do not hide hardware here: an overridden property
 * with a readable accessor fails the call with MOX_ERR_NO_ACCESSOR.
 * property_name_list: of const gchar*, not null, stays the caller's; a name may stand twice.
 * property_value_list: receives new values (floating) in the names' order, freed by the caller with
 * g_slist_free_full(list, (GDestroyNotify)g_variant_unref); null on any failure, and with 0 when a
 * formula yields no value. Returns 0; MOX_ERR_BAD_ARGUMENT for handle 0 or null arguments;
 * MOX_ERR_OBJECT_NOT_FOUND (also a reference's target); MOX_ERR_PROPERTY_NOT_FOUND;
 * MOX_ERR_SEMAPHORE; MOX_ERR_INTERNAL; MOX_ERR_TYPE_NOT_SUPPORTED for a type that names none. */
MOX_API gint32 lom_multiget_property_value(OBJ_HANDLE object_handle, GSList* property_name_list,
                                           GSList** property_value_list);

/* Reads every property of every object that has a readable, synchronous accessor, so that changes
 * are stored and announced. */
MOX_API void lom_property_batch_read(void);

/* What lom_override_property_value is to do; the other two are refused. */
typedef enum tag_property_update_state {
    PROPERTY_INITED = 0,
    PROPERTY_UPDATED = 1,
    PROPERTY_OVERRIDE = 2,
    PROPERTY_CANCEL_OVERRIDE = 3
} PROPERTY_STATE;

/* When lom_apply_property_value writes to hardware. */
typedef enum tag_user_apply_mode_state {
    APPLY_R_MODE = 1,   /* never */
    APPLY_W_MODE = 2,   /* when the property may be written there */
    APPLY_AUTO_MODE = 4 /* the same, when it has an accessor at all */
} USER_APPLY_MODE_STATE;

/* Writes a property of a writable object. A value equal to the stored one is not announced; a value
 * beyond the room that the owner reserved goes to the hook of lom_set_modify_func, and without one
 * is announced only. property_value: not null, stays the caller's (a floating one is left
 * floating). per_mode: PER_MODE_NOSUPPORT does not save; any other saves what changed since the
 * last hand-over, under this mode. is_static: TRUE also marks the property as saved statically.
 * Returns 0; MOX_ERR_OBJECT_NOT_FOUND (also a reference's target); MOX_ERR_NOT_PERMITTED for an
 * object that is not writable here; MOX_ERR_PROPERTY_NOT_FOUND; MOX_ERR_INTERNAL for a property
 * without a record; MOX_ERR_OVERRIDDEN; MOX_ERR_BAD_ARGUMENT for a null value;
 * MOX_ERR_TYPE_MISMATCH; MOX_ERR_TYPE_NOT_SUPPORTED; MOX_ERR_SEMAPHORE; the hook's code; after the
 * value was stored and announced, the save's code. A write that fails before the save leaves value
 * and state as they were, except that one refused by the hook stays marked as changed. */
MOX_API gint32 lom_set_property_value(OBJ_HANDLE obj_handle, const gchar* property_name,
                                      GVariant* property_value, PER_MODE_E per_mode,
                                      gboolean is_static);

/* Forces a property's value (PROPERTY_OVERRIDE, announced, never saved) or ends that
 * (PROPERTY_CANCEL_OVERRIDE: the value stays until the next live read or write). Works on read-only
 * objects, too. A reference is overridden at its target, but a cancel acts on the named property
 * alone: cancel at the target. property_value: as for lom_set_property_value; nullable for a
 * cancel. modified: set to TRUE when a value was taken, otherwise left as it was; nullable.
 * Returns as lom_set_property_value, with MOX_ERR_NOT_PERMITTED for any other mode and without
 * MOX_ERR_OVERRIDDEN; what the hook of lom_set_override_check_func refuses with; for an override
 * the code of its announcement. */
MOX_API gint32 lom_override_property_value(OBJ_HANDLE obj_handle, const gchar* property_name,
                                           GVariant* property_value, PROPERTY_STATE mode,
                                           gboolean* modified);

/* Writes a property as lom_set_property_value does and then, when apply_mode and the property's
 * state allow, through its accessor. Returns the first failure of the write and of
 * lom_block_write (lom/hardware.h). */
MOX_API gint32 lom_apply_property_value(OBJ_HANDLE obj_handle, const gchar* property_name,
                                        GVariant* property_value, PER_MODE_E per_mode,
                                        USER_APPLY_MODE_STATE apply_mode, gboolean is_static);

G_END_DECLS

#endif
