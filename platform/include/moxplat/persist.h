/*
 * The configuration-persistence library: values and save states that outlive the process.
 *
 * What holds for every call here:
 *  - Names, types and bytes are copied by the store; what a caller hands in stays the caller's.
 *  - Results are PER_OK, PER_NEW_ITEM or a negative PER_ERROR_*; callers of the object store
 *    receive them unchanged.
 *  - A call may wait for the disk: never call with an object's semaphore or the object-table mutex
 *    taken.
 *  - Any thread of any process may call; two calls on one item are done one after the other.
 *  - No call ever calls back into the object store.
 *  - A value whose save returned PER_OK or PER_NEW_ITEM is kept as long as its mode promises, also
 *    when the process is killed or, for the lasting modes, power is lost right after the return.
 *  - Values saved under different modes are different items, side by side. Storage that cannot be
 *    used takes only the modes with it that are kept there.
 *  - No lock of the store is held while a line is logged.
 */
#ifndef MOXPLAT_PERSIST_H
#define MOXPLAT_PERSIST_H

#include <glib.h>

#include <moxplat/api.h>

#ifdef __cplusplus
extern "C" {
#endif

/* How long a saved value lives. The store receives the mode as the caller gave it: any number may
 * arrive, so C++ is told the underlying type. */
#ifdef __cplusplus
typedef enum tag_PER_MODE_E : gint32 {
#else
typedef enum tag_PER_MODE_E {
#endif
    PER_MODE_NOSUPPORT = -1, /* not saved at all */
    PER_MODE_POWER_OFF = 0,  /* also over a loss of power, until a restore to defaults */
    PER_MODE_RESET = 1,     /* over restarts of processes, until power is lost or the machine starts
                               anew, or a restore to defaults */
    PER_MODE_PERMANENT = 2, /* also over a restore to defaults */
    PER_MODE_BUTT = 3       /* end marker */
} PER_MODE_E;

/* Results of the store. */
typedef enum tag_per_error {
    PER_OK = 0,
    PER_NEW_ITEM = 1, /* done, and the item was not known before */
    PER_ERROR_PARA_0_INVALID = -5000000,
    PER_ERROR_PARA_1_INVALID = -4999999,
    PER_ERROR_PARA_2_INVALID = -4999998,
    PER_ERROR_PARA_3_INVALID = -4999997,
    PER_ERROR_PARA_4_INVALID = -4999996,
    PER_ERROR_PARA_5_INVALID = -4999995,
    PER_ERROR_PARA_6_INVALID = -4999994,
    PER_ERROR_PARA_OTHER_INVALID = -4999993,
    PER_ERROR_MALLOC_FAIL = -4999992,
    PER_ERROR_FILE_INIT_FAIL = -4999991,
    PER_ERROR_PARSER_INIT_FAIL = -4999990,
    PER_ERROR_CFG_ITEM_INIT_FAIL = -4999989,
    PER_ERROR_CFG_ITEM_NOT_INITED = -4999988,
    PER_ERROR_CFG_INIT_FAIL = -4999987,
    PER_ERROR_FILE_OPEN_FAIL = -4999986,
    PER_ERROR_FILE_LOCK_FAIL = -4999985,
    PER_ERROR_FILE_WRITE_FAIL = -4999984,
    PER_ERROR_DATA_INVALID = -4999983,
    PER_ERROR_CFG_INPORT_FAIL = -4999982,
    PER_ERROR_CLEAR_CFG_FLAG = -4999981
} PER_ERROR_E;

/* A saved value as a read delivers it; the store owns what the members point to until
 * cfg_read_free. Both members are blocks of g_malloc, so that a remote handler can fill the record
 * for the same release. */
typedef struct tag_CFG_READ_S {
    gchar* type;       /* type string in its persisted form */
    guint32 size;      /* bytes at data_out */
    gpointer data_out; /* the value's serialised bytes; null when size is 0 */
} CFG_READ_S;

/*
 * Stores a property's value, in place of the one that was stored.
 * object_name, name: not null, not empty; the name without its "d:" prefix. type: type string in
 * its persisted form, not null. size: bytes at data. data: the serialised value; null only with
 * size 0. has_prefix: TRUE when the property's name carried the prefix; the two are different
 * items. per_mode: how long the value lives. Frees: nothing is handed over. Returns PER_OK,
 * PER_NEW_ITEM, or PER_ERROR_PARA_<n>_INVALID for the n-th argument counted from 0, or the failure.
 * Locks: none to be held. Any process.
 */
MOXPLAT_API gint32 cfg_save_v2(const gchar* object_name, const gchar* name, const gchar* type,
                               guint32 size, gconstpointer data, gboolean has_prefix,
                               PER_MODE_E per_mode);

/*
 * Reads a stored value.
 * object_name, name, has_prefix: as for saving. read: not null, zeroed by the caller; filled on
 * success. save_opt: the mode under which the value was saved. Frees: what was filled in is
 * released with cfg_read_free. Returns PER_OK, or a code below 0 with read left zeroed;
 * PER_ERROR_CFG_ITEM_NOT_INITED when nothing is stored. Locks: none to be held. Any process.
 */
MOXPLAT_API gint32 cfg_read_v2(const gchar* object_name, const gchar* name, CFG_READ_S* read,
                               gboolean has_prefix, PER_MODE_E save_opt);

/*
 * Releases what cfg_read_v2 filled in and zeroes the record; the record itself stays the caller's.
 * read: null or zeroed is ignored.
 * Locks: none. Any process.
 */
MOXPLAT_API void cfg_read_free(CFG_READ_S* read);

/*
 * Says whether a value is stored.
 * object_name, name, has_prefix, save_opt: as for reading. saved: not null; set on success only.
 * Frees: nothing is handed over.
 * Returns PER_OK or a code below 0.
 * Locks: none to be held. Any process.
 */
MOXPLAT_API gint32 cfg_is_saved(const gchar* object_name, const gchar* name, gboolean has_prefix,
                                PER_MODE_E save_opt, gboolean* saved);

/*
 * Records a property's state word, in place of the one that was recorded.
 * object_name, property_name: not null, not empty; the property's name as its caller gave it,
 * prefix included. state: all 32 bits. Frees: nothing is handed over. Returns PER_OK, PER_NEW_ITEM
 * or a code below 0. Locks: none to be held. Any process.
 */
MOXPLAT_API gint32 cfg_status_save(const gchar* object_name, const gchar* property_name,
                                   guint32 state);

/*
 * Removes the record of a property's state word.
 * object_name, property_name: as above.
 * Frees: nothing is handed over.
 * Returns PER_OK (also when nothing was recorded) or a code below 0.
 * Locks: none to be held. Any process.
 */
MOXPLAT_API gint32 cfg_status_remove(const gchar* object_name, const gchar* property_name);

#ifdef __cplusplus
}
#endif

#endif
