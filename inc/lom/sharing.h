/* lom/sharing.h: references between objects, the bitmap of modules that hold a copy, copies of
 * records for other processes, and the hooks through which the hosting framework reaches the owner.
 */
#ifndef MOX_LOM_SHARING_H
#define MOX_LOM_SHARING_H

#include <lom/object.h>
#include <moxlib/moxbase.h>
#include <moxplat/persist.h>

G_BEGIN_DECLS

/* Makes one object an alternative name for another, whose properties it shares from then on. Owner
 * only, while objects are loaded. Returns 0; MOX_ERR_OBJECT_NOT_FOUND when either is missing;
 * MOX_ERR_INTERNAL for a referred object without a name list (logged) or an exhausted pool;
 * MOX_ERR_BAD_ARGUMENT when the referencing object is the referred one or already stands behind
 * another reference. On failure nothing has changed. Takes the object-table mutex. */
MOX_API gint32 lom_set_reference(const gchar* object_name, const gchar* refered_object_name);

/* Sets one module's bit, atomically, any process. ref_bitmap: nullable. bitmap_id: 1 to 127, others
 * are ignored. */
MOX_API void lom_set_reference_bitmap(guint32* ref_bitmap, gint32 bitmap_id);

/* Clears one module's bit, as lom_set_reference_bitmap. */
MOX_API void lom_clear_reference_bitmap(guint32* ref_bitmap, gint32 bitmap_id);

/* Stores this process's own bitmap id, the bit it clears when it frees a copy. id: 1 to
 * 127; 0 for none. At start, and when the process leaves. */
MOX_API void lom_set_bitmap_id(gint32 id);

/* Copies an object's record for another process and notes in its bitmap that the module holds one.
 * object_name: looked up in this process only. size: receives sizeof(OBJECT_HEAD_S). object_info:
 * receives the copy, freed by the caller with g_free. module_id: the receiver's bitmap id. isowner:
 * TRUE makes the copy writable. Returns 0; MOX_ERR_BAD_ARGUMENT for null arguments;
 * MOX_ERR_OBJECT_NOT_FOUND, also for an object that is not ready. */
MOX_API gint32 lom_copy_object(const gchar* object_name, guint32* size, gpointer* object_info,
                               gint32 module_id, gboolean isowner);

/* Copies several records (writable) into RPC records, in the handles' order.
 * handle_list: GINT_TO_POINTER(OBJ_HANDLE), nullable (empty). rpc_list: receives the list, also on
 * failure (those before the failing one); the caller frees each record with g_free and the list
 * with g_slist_free. Returns 0; MOX_ERR_BAD_ARGUMENT for a null rpc_list; else the first failing
 * lom_copy_object's code. */
MOX_API gint32 lom_list_to_rpc(GSList* handle_list, gint32 module_id, GSList** rpc_list);

/* Fetches a copy of a record from its owner: object name and record size in, a heap record
 * (g_malloc, as lom_copy_object makes it) or null out. Runs under the object-table mutex: it must
 * not wait for ever nor call back into the object store. */
typedef OBJECT_HEAD_S* (*CopyObjectFunc)(const gchar* object_name, gsize size);
/* Has a value stored by the process that can enlarge the record; 0 is success. */
typedef gint32 (*RemoteSetPropertyFunc)(const gchar* object_name, const gchar* property_name,
                                        GVariant* value);
/* Has the owner read a property's hardware into out_data (8 bytes for offset 0, length 0); 0 is
 * success. */
typedef gint32 (*RemoteGetPropertyFunc)(const gchar* object_name, const gchar* property_name,
                                        gint32 offset, gsize length, gpointer out_data);
/* Takes the arguments of cfg_save_v2. */
typedef gint32 (*RemoteSavePropertyFunc)(const gchar* object_name, const gchar* name,
                                         const gchar* type, guint32 size, gconstpointer data,
                                         gboolean has_prefix, PER_MODE_E per_mode);
/* Takes the arguments of cfg_read_v2. */
typedef gint32 (*RemoteGetSavedValueFunc)(const gchar* object_name, const gchar* name,
                                          CFG_READ_S* read, gboolean has_prefix,
                                          PER_MODE_E save_opt);
/* Judges whether this process may force a property's value, or let it go again; 0 permits, any
 * other status refuses and is what the caller gets. The names are those of the property that is
 * forced in the end, behind all references, and for the end of an override of the one that was
 * named; valid for the call. Called without locks. */
typedef gint32 (*OverrideCheckFunc)(const gchar* object_name, const gchar* property_name);

/* Install the hooks; null uninstalls. At start, before other threads use the library. */
MOX_API void lom_set_copy_func(CopyObjectFunc func);
MOX_API void lom_set_modify_func(RemoteSetPropertyFunc func);
MOX_API void lom_set_remote_get_property_func(RemoteGetPropertyFunc func);
MOX_API void lom_set_remote_save_property_func(RemoteSavePropertyFunc func);
MOX_API void lom_set_remote_get_saved_value_func(RemoteGetSavedValueFunc func);
/* Without it every process may override everything. */
MOX_API void lom_set_override_check_func(OverrideCheckFunc func);

G_END_DECLS

#endif
