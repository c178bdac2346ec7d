/* lom/registry.h: object handles, lookup, the fields of a record, bound data, traversal and dumps.
 * Every function here may be called from any thread of any process and takes the object-table mutex
 * for its lookup. */
#ifndef MOX_LOM_REGISTRY_H
#define MOX_LOM_REGISTRY_H

#include <moxlib/moxbase.h>
#include <stdio.h>

G_BEGIN_DECLS

/* Gives the handle of a name, known object or not; 0 for null. */
MOX_API OBJ_HANDLE lom_name_to_handle(const gchar* object_name);

/* Gives the name of a handle: a string that is never freed; null for 0 and for numbers that are no
 * handle. */
MOX_API const gchar* lom_handle_to_name(OBJ_HANDLE obj_handle);

/* The same as lom_handle_to_name. */
MOX_API const gchar* lom_get_object_name(OBJ_HANDLE obj_handle);

/* Finds an object by name, fetching a copy from its owner when it is not known here and a copy
 * function is installed. object_name: nullable. Returns its handle, 0 when not found. The copy
 * function runs under the object-table mutex. */
MOX_API OBJ_HANDLE lom_get_object_handle(const gchar* object_name);

/* Copies an object's class name.
 * buffer: at least 32 bytes. length: its size.
 * Returns 0; MOX_ERR_BAD_ARGUMENT for handle 0, a null buffer or a length below 32;
 * MOX_ERR_OBJECT_NOT_FOUND. */
MOX_API gint32 lom_get_class_name(OBJ_HANDLE obj_handle, gchar* buffer, gint32 length);

/* Copies the class name of the object that a reference stands for (of the object itself without
 * one). buffer: 32 bytes. length: exactly 32. Returns 0; MOX_ERR_BAD_ARGUMENT;
 * MOX_ERR_OBJECT_NOT_FOUND; MOX_ERR_INTERNAL for a record without a name list. */
MOX_API gint32 lom_get_charged_class(OBJ_HANDLE obj_handle, gchar* buffer, gint32 length);

/* The same for the object's name. */
MOX_API gint32 lom_get_charged_object(OBJ_HANDLE obj_handle, gchar* buffer, gint32 length);

/* Sets and gets the owning module. Unknown handles are ignored, or null. */
MOX_API void lom_set_module(OBJ_HANDLE obj_handle, MDL_HANDLE module);
MOX_API MDL_HANDLE lom_get_module(OBJ_HANDLE obj_handle);

/* Stores and gives this process's module type. */
MOX_API void lom_set_module_type(MOX_MODULE_TYPE module_type);
MOX_API MOX_MODULE_TYPE lom_get_module_type(void);

/* Gives the position an object was created with, 0xFFFFFFFF when it is not found. */
MOX_API guint32 lom_get_position(OBJ_HANDLE obj_handle);

/* Binds data of this process to an object, in place of what was bound before.
 * user_data: not null. destroy_func: nullable; called once with user_data, when it is replaced or
 * the record is freed. Returns 0; MOX_ERR_BAD_ARGUMENT for handle 0 or null data;
 * MOX_ERR_OBJECT_NOT_FOUND; MOX_ERR_SEMAPHORE. The destroy function of
 * replaced data runs under the object's semaphore, that of a freed record may run under the
 * object-table mutex: it must take no object's semaphore and wait for nobody. */
MOX_API gint32 lom_bind_data(OBJ_HANDLE obj_handle, gpointer user_data,
                             GDestroyNotify destroy_func);

/* Gives the bound data, null when there is none or the object is not found. */
MOX_API gpointer lom_get_binded_data(OBJ_HANDLE obj_handle);

/* Sees one object of a traversal. */
typedef void (*ForeachObjfunc)(const gchar* class_name, OBJ_HANDLE obj_handle, gpointer user_data);

/* Calls func for every object of this process, in no particular order, on a snapshot: func runs
 * without the table's mutex and may look up, add and delete objects. func: nullable (nothing is
 * done). */
MOX_API void lom_foreach_object(ForeachObjfunc func, gpointer user_data);

/* Prints every object, alias and physical object of this process. stream: nullable. */
MOX_API void lom_list_objects(FILE* stream);

/* Prints id, process, RPC port and message port of a module. stream, info: nullable (nothing is
 * printed). */
MOX_API void lom_dump_reginfo(FILE* stream, const MODULE_REG_INFO_S* info);

G_END_DECLS

#endif
