/* moxbase.h: what every part of the framework shares: the export mark, the handles that travel
 * between modules, the status codes and a module's registration record.
 *
 * Every public header of the library can be included from C99 and from C++. Sizes in comments are
 * in bytes. */
#ifndef MOXLIB_MOXBASE_H
#define MOXLIB_MOXBASE_H

#include <glib.h>

/* Marks a function that the shared library exports. */
#define MOX_API __attribute__((visibility("default")))

G_BEGIN_DECLS

/* Handle of an object: the quark of the object's name. 0 is "no object". A handle stays valid for
 * the life of the process, also after the object is gone; only a lookup tells whether the object
 * exists. */
typedef gint32 OBJ_HANDLE;

/* An object record under construction (lom/object.h). */
typedef gpointer OBJECT_PTR;

/* A module, opaque to the library: it stores and returns what the hosting framework gave it. */
typedef gpointer MDL_HANDLE;

/* Status codes. 0 is success, every failure is negative. Codes of the queue layer, the driver
 * library and the persistence library are passed through unchanged beside these. */
typedef enum tag_mox_status {
    MOX_OK = 0,
    MOX_ERR_INTERNAL = -2000,           /* inconsistent record, or no hook for the work */
    MOX_ERR_BAD_ARGUMENT = -2001,       /* a required argument is null, 0 or of a wrong length */
    MOX_ERR_CLASS_NOT_FOUND = -2003,    /* class, or its method list, not found */
    MOX_ERR_METHOD_NOT_FOUND = -2005,   /* method not found */
    MOX_ERR_OBJECT_NOT_FOUND = -2009,   /* object not found */
    MOX_ERR_PROPERTY_NOT_FOUND = -2010, /* property not found */
    MOX_ERR_NO_ACCESSOR = -2011,        /* the property has no accessor, or is overridden */
    MOX_ERR_TYPE_MISMATCH = -2012,      /* the value is not of the property's type */
    MOX_ERR_TYPE_NOT_SUPPORTED = -2013, /* type not supported, or value not built */
    MOX_ERR_NOT_PERMITTED = -2014,   /* not the pool owner, object not writable, or mode invalid */
    MOX_ERR_SEMAPHORE = -2015,       /* the object's semaphore could not be taken */
    MOX_ERR_MESSAGE_TOO_BIG = -2016, /* payload over 8192 bytes */
    MOX_ERR_NO_PORT = -2018,         /* this module's own message port is not set */
    MOX_ERR_OVERRIDDEN = -2019       /* the property is overridden */
} MOX_STATUS;

/* What a module process is to the framework. */
typedef enum tag_mox_module_type {
    MODULE_APP = 0,
    MODULE_SERVICE = 1,
    MODULE_INTERFACE = 2
} MOX_MODULE_TYPE;

/* A module's registration record, filled by the hosting framework. */
typedef struct tag_module_reg_info {
    gint32 module_id;
    GPid pid;
    gint32 rpc_port;
    gint32 msg_que_id; /* id of the module's message queue */
    gint32 sync_sem;
    gpointer share_class_base; /* the class records in the pool (cls_get_share_base) */
    gchar module_name[32];
} MODULE_REG_INFO_S;

/* Gives the name of a status code as it stands in the headers, such as "MOX_ERR_OVERRIDDEN", for
 * logs and tools: this library's and those of the queue layer, the driver library and the
 * persistence library. status: any number; 0 is "MOX_OK", a number that is no code "unknown".
 * Returns a string that is never freed. Any thread, any process. */
MOX_API const gchar* mox_status_name(gint32 status);

G_END_DECLS

#endif
