/*
 * What the reference persistence library offers beside the six calls that the object store makes:
 * the host opens and closes the store with these, restores values and save states at start, and
 * lets module processes, which have no store of their own, forward to the process that has. A
 * product's own persistence library need not have them; the object store never calls them.
 *
 * A store is open in one process at a time: the pool's owner. Any thread may call. A forked child
 * has no store open. PER_ERROR_PARA_<n>_INVALID names the n-th argument that is not valid, counted
 * from 0.
 */
#ifndef MOXPLAT_PERSIST_STORE_H
#define MOXPLAT_PERSIST_STORE_H

#include <moxplat/persist.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Opens the store of this process.
 * state_dir: not null; directory on storage that survives a loss of power, made when missing (its
 * parents too); holds the values saved under PER_MODE_POWER_OFF and PER_MODE_PERMANENT and the save
 * states. volatile_dir: not null; directory for the values saved under PER_MODE_RESET, the same
 * directory is allowed: what was saved before the machine's last start is forgotten wherever it
 * lies. Returns PER_OK; PER_ERROR_DATA_INVALID when a damaged file was kept aside (as
 * "NAME.damaged-N", logged) and the store is open without it; PER_ERROR_CFG_INIT_FAIL when a store
 * is open already in this process; PER_ERROR_PARA_0_INVALID or PER_ERROR_PARA_1_INVALID for a null
 * or empty path; or the code of the first file that cannot be used, of the lasting one before the
 * volatile one (each is logged with its path and cause, and nothing saved in it was changed):
 * PER_ERROR_FILE_LOCK_FAIL when another process has it open, PER_ERROR_PARSER_INIT_FAIL when a
 * newer version wrote it, PER_ERROR_FILE_OPEN_FAIL or PER_ERROR_FILE_WRITE_FAIL when it or its
 * directory cannot be used. The store is then open for the modes of the other file, and must be
 * closed before the next try; calls on the modes of the file that cannot be used, and on save
 * states when that is the lasting one, return its code. When neither can be used nothing is open,
 * and every call on a value returns PER_ERROR_CFG_INIT_FAIL.
 */
MOXPLAT_API gint32 cfg_store_open(const gchar* state_dir, const gchar* volatile_dir);

/*
 * Says what the open came to for the file in which the values of one mode live.
 * per_mode: one of the three modes. Returns PER_OK or PER_ERROR_DATA_INVALID when that file is
 * open, as for cfg_store_open; PER_ERROR_CFG_INIT_FAIL when nothing is open in this process;
 * PER_ERROR_PARA_0_INVALID for another mode; or the code of the cause for which it is not open.
 */
MOXPLAT_API gint32 cfg_store_opened(PER_MODE_E per_mode);

/*
 * Closes the store; without an open one nothing happens. What was saved stays.
 */
MOXPLAT_API void cfg_store_close(void);

/*
 * Forgets every value saved under PER_MODE_POWER_OFF and PER_MODE_RESET, and the save states of
 * properties that have no permanent value. Returns PER_OK; PER_ERROR_CLEAR_CFG_FLAG when all but
 * the values saved under PER_MODE_RESET is forgotten and these could not be (logged): whoever holds
 * the values in memory reads anew what is left; or another failure, with which nothing is
 * forgotten. A file that could not be opened refuses the whole, with its code.
 */
MOXPLAT_API gint32 cfg_store_restore_defaults(void);

/*
 * Gives the mode under which a property's value was saved last, of those that are still saved.
 * object_name, name, has_prefix: as for cfg_read_v2. per_mode: not null; set on success only.
 * Returns PER_OK; PER_ERROR_CFG_ITEM_NOT_INITED when nothing is saved; PER_ERROR_DATA_INVALID when
 * the last one's record is damaged (logged); or the failure. Of a store that is open in part, the
 * part that is open counts.
 */
MOXPLAT_API gint32 cfg_newest_mode(const gchar* object_name, const gchar* name, gboolean has_prefix,
                                   PER_MODE_E* per_mode);

/*
 * Gives the state word that cfg_status_save recorded.
 * object_name, property_name: as for cfg_status_save. state: not null; set on success only.
 * Returns PER_OK; PER_ERROR_CFG_ITEM_NOT_INITED when nothing is recorded; or the failure.
 */
MOXPLAT_API gint32 cfg_status_read(const gchar* object_name, const gchar* property_name,
                                   guint32* state);

/* The calls of persist.h, answered by another process. Each has the arguments and the results of
 * the call it stands for; read fills blocks of g_malloc. */
typedef struct tag_CFG_REMOTE_S {
    gint32 (*save)(const gchar* object_name, const gchar* name, const gchar* type, guint32 size,
                   gconstpointer data, gboolean has_prefix, PER_MODE_E per_mode);
    gint32 (*read)(const gchar* object_name, const gchar* name, CFG_READ_S* read,
                   gboolean has_prefix, PER_MODE_E save_opt);
    gint32 (*is_saved)(const gchar* object_name, const gchar* name, gboolean has_prefix,
                       PER_MODE_E save_opt, gboolean* saved);
    gint32 (*status_save)(const gchar* object_name, const gchar* property_name, guint32 state);
    gint32 (*status_remove)(const gchar* object_name, const gchar* property_name);
} CFG_REMOTE_S;

/*
 * Has this process's calls of persist.h answered by another process; for processes in which no
 * store is open. remote: every member set, copied; null ends it. At start, before other threads
 * use the library, and at the end. The arguments are checked before they are handed on.
 */
MOXPLAT_API void cfg_store_set_remote(const CFG_REMOTE_S* remote);

/* A sentence for a code of tag_per_error, for logs; never null. */
MOXPLAT_API const gchar* cfg_error_text(gint32 code);

#ifdef __cplusplus
}
#endif

#endif
