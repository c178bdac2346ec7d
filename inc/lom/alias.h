/* lom/alias.h: aliases, which find an object by its class and a number, such as a slot, instead of
 * its name.
 *
 * Each process has aliases of its own. The key of an alias is "a:", the class name and the number
 * in hexadecimal, cut at 40 characters: of a class name of 31 characters, numbers of eight digits
 * that differ only in the last are one alias. Any thread may call; the alias lock is taken for the
 * table alone, never together with another lock. */
#ifndef MOX_LOM_ALIAS_H
#define MOX_LOM_ALIAS_H

#include <moxlib/moxbase.h>

G_BEGIN_DECLS

/* Binds an alias to an object of this process, in place of what the alias stood for.
 * obj_alias: any number. Returns 0; MOX_ERR_BAD_ARGUMENT for handle 0; MOX_ERR_OBJECT_NOT_FOUND.
 * Takes the object-table mutex, then the alias lock. Any process. */
MOX_API gint32 lom_bind_alias(OBJ_HANDLE obj_handle, guint32 obj_alias);

/* Removes the alias that the object's class and the number make, whatever object it stands for.
 * Returns 0, also when there is no such alias; MOX_ERR_BAD_ARGUMENT for handle 0;
 * MOX_ERR_OBJECT_NOT_FOUND. Takes the object-table mutex, then the alias lock. Any process. */
MOX_API gint32 lom_unbind_alias(OBJ_HANDLE obj_handle, guint32 obj_alias);

/* Removes every alias of an object, which may be gone already; nobody else does when an object is
 * deleted. obj_handle: 0 and numbers that are no handle are ignored. Takes the alias lock. Any
 * process. */
MOX_API void lom_unbind_all_alias(OBJ_HANDLE obj_handle);

/* Finds an object by alias, fetching a copy from its owner when it is not known here any more.
 * class_name: nullable; its first 32 characters count. Returns the object's handle; 0 for null,
 * for an unknown alias and for an object that is not found. Takes the alias lock, then the
 * object-table mutex, under which the copy function may run. Any process. */
MOX_API OBJ_HANDLE lom_get_with_alias(const gchar* class_name, guint32 obj_alias);

/* Gives the data that is bound to an alias's object (lom_bind_data). class_name: nullable. Returns
 * null when there is none or lom_get_with_alias finds nothing; stays the binder's. Locks as
 * lom_get_with_alias. Any process. */
MOX_API gpointer lom_get_data_with_alias(const gchar* class_name, guint32 obj_alias);

G_END_DECLS

#endif
