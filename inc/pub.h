/* pub.h: typed values and diagnostic output.
 *
 * Type strings are GVariant type strings in a 6-byte field, at most 5 characters. Byte 3 of a
 * string-typed property may carry a marker: 'p' marks a value that names another object's property
 * ("object.property"), 'o' is a second marker that only the persisted form tells apart. Every
 * function here may be called from any thread of any process, takes no lock and keeps no state but
 * the module name and the level path. */
#ifndef MOX_PUB_H
#define MOX_PUB_H

#include <moxlib/moxbase.h>

G_BEGIN_DECLS

/* ---- values
 * ----------------------------------------------------------------------------------------------------
 */

#define PUB_TYPE_LENGTH   6   /* bytes of a type field */
#define PUB_NAME_LENGTH   32  /* bytes of a name field: at most 31 characters */
#define PUB_RPC_HEAD_SIZE 12U /* bytes of RPC_DATA_S before its data */

/* Byte 3 of the type of a property that names another property. */
#define PUB_REFERENCE_MARKER 'p'

/* Whether values of a type have room in the object model, and how much. */
typedef enum tag_gvariant_support_type {
    GVARIANT_FIX = 0,        /* scalar of a fixed size */
    GVARIANT_DYNAMIC = 1,    /* the size varies with the value */
    GVARIANT_NOT_SUPPORT = 2 /* not storable in the object model */
} GVARIANT_SUPPORT_TYPE;

/* A serialized value record. It travels through the RPC layer and the message queues as it stands.
 */
typedef struct tag_rpc_data {
    gchar type[PUB_TYPE_LENGTH];    /* offset 0: type string, NUL-terminated */
    guint8 padding[2];              /* offset 6: receivers must not rely on it */
    guint32 size;                   /* offset 8: bytes of data */
    G_GNUC_EXTENSION guint8 data[]; /* offset 12: the value in serialized form, or raw bytes */
} RPC_DATA_S;

/* A value handed from one part of the library to another. */
typedef struct tag_tlv_package {
    gchar type[PUB_TYPE_LENGTH];
    guint32 size;  /* bytes of data */
    gpointer data; /* owned by the package only where the function that fills it says so */
} TLV_S;

/* The same over constant data. */
typedef struct tag_tlv_package_const {
    gchar type[PUB_TYPE_LENGTH];
    guint32 size;
    gconstpointer data;
} CONST_TLV_S;

/* Classifies a type string by its first character.
 * type: NUL-terminated, nullable.
 * Returns GVARIANT_FIX for b d i n q u y, GVARIANT_DYNAMIC for a and s, GVARIANT_NOT_SUPPORT for
 * all else and null. */
MOX_API GVARIANT_SUPPORT_TYPE pub_str_type_check(const gchar* type);

/* Classifies a value by its type string.
 * value: nullable.
 * Returns as pub_str_type_check; GVARIANT_NOT_SUPPORT for null. */
MOX_API GVARIANT_SUPPORT_TYPE pub_gvariant_type_check(GVariant* value);

/* Makes a value of a whole-number type from bytes in host order.
 * type: one of i n q u y (only the first character counts), nullable. data: the bytes of that type,
 * nullable. Returns a new floating value that the caller frees with g_variant_unref; null for any
 * other type, "b" and "d" included, and for null arguments. */
MOX_API GVariant* pub_base_gvariant_new(const gchar* type, gconstpointer data);

/* Converts a stored number to a double.
 * type: one of d i n q u y. size: not consulted. data: the bytes of that type in host order,
 * nullable. Returns the number; 0.0 for any other type and for null arguments. */
MOX_API gdouble pub_raw_to_double(const gchar* type, guint32 size, gconstpointer data);

/* Rewrites a type field into the form that the configuration store keeps: "s" marked 'p' becomes
 * "rp", "as" marked 'o' becomes "roa", an unmarked type is copied as it is. type_in: 6 readable
 * bytes, nullable. type_out: nullable. length: capacity of type_out in bytes. No result; a copy
 * that does not fit is logged at MX_DBG_LOG. */
MOX_API void pub_serialize_type(const gchar* type_in, gchar* type_out, gint32 length);

/* The reverse of pub_serialize_type.
 * type_in: 6 readable bytes, nullable. type_out: nullable. len_out: capacity of type_out; below 6
 * nothing is done. */
MOX_API void pub_unserialize_type(const gchar* type_in, gchar* type_out, guint32 len_out);

/* Makes one record from bytes.
 * size: bytes of data. type: nullable (the record's type stays empty). data: nullable.
 * Returns a new record, freed by the caller with g_free; null when data is null or size is 0. */
MOX_API RPC_DATA_S* pub_data_to_rpc(guint32 size, const gchar* type, gconstpointer data);

/* Makes untyped records of data_size bytes from a list of data pointers, in reverse order: callers
 * rely on the reversal. An element with null data contributes a null entry. Returns a new list; the
 * caller frees each record with g_free and the list with g_slist_free. */
MOX_API GSList* pub_list_data_to_rpcslist(GList* list, guint32 data_size);

/* Makes untyped records of size bytes from a list of data pointers, in reverse order: callers rely
 * on the reversal. Returns a new list; the caller frees each record with g_free and the list with
 * g_slist_free. */
MOX_API GSList* pub_slist_data_to_rpc(GSList* list, guint32 size);

/* Makes a record from each value, in the values' order.
 * Returns a new list; the caller frees each record with g_free and the list with g_slist_free. The
 * values stay the caller's. The spelling of the name is established: other modules link against it.
 */
MOX_API GSList* pub_slist_varaint_to_rpc(GSList* variant_list);

/* Makes an "s" record of 6 data bytes from each type string, in the list's order.
 * Returns a new list; the caller frees each record with g_free and the list with g_slist_free. */
MOX_API GSList* pub_slist_vartype_to_rpc(GSList* variant_type_list);

/* Makes a value from each record, in the records' order; records of size 0 or without a valid type
 * are skipped. Returns a new list of new floating values; the caller frees it with
 * g_slist_free_full(list, (GDestroyNotify)g_variant_unref). The spelling of the name is
 * established. */
MOX_API GSList* pub_slist_rpc_to_varaint(GSList* rpc_list);

/* Copies the data bytes of each record, in the records' order; records of size 0 are skipped.
 * Returns a new list; the caller frees each copy with g_free and the list with g_slist_free. */
MOX_API GSList* pub_slist_rpc_to_data(GSList* rpc_list);

/* The same operation as pub_slist_rpc_to_data, for records that hold text. */
MOX_API GSList* pub_slist_rpc_to_string(GSList* rpc_list);

/* Compares two strings, null allowed: a GCompareFunc for searches in string lists.
 * Returns as g_strcmp0. */
MOX_API gint pub_slist_str_data_compare(gconstpointer a, gconstpointer b);

/* Gives a tree node's parent.
 * node: nullable. Returns the parent, or null. */
MOX_API GNode* pub_gnode_get_parent(GNode* node);

/* ---- diagnostic output
 * ------------------------------------------------------------------------------------------ */

/* Levels: the low four bits are the verbosity, bit 16 asks for a copy in the system log. A level is
 * shown on standard output when it is 1, 17 or 21, or when its verbosity is at most the number that
 * names the first entry of /tmp/dbglvl/<module name>/ at the time of the message. */
typedef enum tag_mx_dbg_level {
    MX_DBG_NULL = 0,
    MX_DBG_INFO = 1,
    MX_DBG_INSIGHT = 2,
    MX_DBG_DETAIL = 3,
    MX_DBG_MASS = 4,
    MX_DBG_BUBBLE = 5,
    MX_DBG_LOG = 16,
    MX_DBG_INFO_LOG = 17,
    MX_DBG_ERR = 21
} MX_DBG_LEVEL;

/* Names the module in every message and in the path of its level directory.
 * logpath: ignored, nullable. module_name: the pointer is kept, so the string must outlive its use;
 * nullable (empty). Returns TRUE. Call it first: the level path is built at the first message that
 * needs it and kept from then on. */
MOX_API gboolean pub_log_init(const gchar* logpath, const gchar* module_name);

/* Writes one message, at most 511 characters with its prefix (a longer one is cut).
 * options: an MX_DBG_ level. fmt: printf-style, not null. */
MOX_API void pub_debug_print(gint32 options, const gchar* fmt, ...) G_GNUC_PRINTF(2, 3);

/* Tells whether a message of this level goes to the console now.
 * level: an MX_DBG_ level. */
MOX_API gboolean pub_env_higher_level(gint32 level);

/* Reads an environment variable as a decimal number.
 * variable: its name, nullable. Returns the number (0 for text that is none), or -1 when it is not
 * set. */
MOX_API gint32 pub_get_env_value(const gchar* variable);

/* Gives the part of a path behind its last "/".
 * path_name: nullable. Returns a pointer into path_name, or the literal "nil" when there is no "/":
 * a path without one never comes back as it is, callers rely on that. */
MOX_API const gchar* pub_get_file_name(const gchar* path_name);

/* Tells whether a process exists and may be signalled by this one.
 * pid: process id. Returns FALSE also for another user's process. */
MOX_API gboolean pub_is_process_exist(gint32 pid);

G_END_DECLS

#endif
