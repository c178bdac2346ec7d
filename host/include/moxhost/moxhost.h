/* moxhost.h: a module process's side of the reference host: join the owner, find and listen,
 * receive in a GLib main loop, write and save, leave.
 *
 * A process joins once in its life. Every call to the owner has a time limit of
 * MOXHOST_CALL_TIMEOUT_MS, so no call here waits for ever. Calls are for the thread that joined,
 * but for the hooks that joining installs in the library: they are safe in any thread. Errors are
 * GErrors of MOXHOST_ERROR whose message says what, where, why and what to do. */
#ifndef MOXHOST_MOXHOST_H
#define MOXHOST_MOXHOST_H

#include <ipcmsg.h>
#include <moxlib/moxbase.h>
#include <moxplat/persist.h>

G_BEGIN_DECLS

#define MOXHOST_API             __attribute__((visibility("default")))
#define MOXHOST_CALL_TIMEOUT_MS 2000

#define MOXHOST_ERROR (moxhost_error_quark())

typedef enum {
    MOXHOST_ERROR_NO_OWNER,  /* no owner answers at the run directory */
    MOXHOST_ERROR_MISMATCH,  /* the owner's word size or record layouts are not this process's */
    MOXHOST_ERROR_REFUSED,   /* the owner refused the call */
    MOXHOST_ERROR_NO_POOL,   /* the pool could not be attached at its address */
    MOXHOST_ERROR_NOT_FOUND, /* unknown object, class or property */
    MOXHOST_ERROR_TIMEOUT,   /* the owner did not answer in time */
    MOXHOST_ERROR_LOST,      /* the connection to the owner is gone */
    MOXHOST_ERROR_STATE,     /* joined already, or left */
    MOXHOST_ERROR_FAILED /* a write or a save failed; the message names the status and its words */
} MoxHostError;

typedef struct MoxHostModule MoxHostModule;

MOXHOST_API GQuark moxhost_error_quark(void);

/* Joins the owner: compares word size and record layouts, gets a bitmap id, a message queue and the
 * class records, attaches the pool and installs the hooks of lom/sharing.h: copies, hardware reads,
 * values beyond their room, saving and reading back are the owner's work from then on. The
 * persistence library of this process hands its calls on to the owner's store. Log messages carry
 * the module's name from then on, and SHAMRE_MEMORY_SIZE is set to the pool's size when it is
 * another: join before other threads use the environment. The copies of objects whose class belongs
 * to module_name are writable. run_dir: the owner's run directory; null means $MOX_RUN_DIR, else
 * $XDG_RUNTIME_DIR/moxd, else /run/moxd. module_name: 1 to 31 characters, unique among the joined
 * modules. error: nullable. Returns the module, released by moxhost_leave; null with error set. */
MOXHOST_API MoxHostModule* moxhost_join(const gchar* run_dir, const gchar* module_name,
                                        MOX_MODULE_TYPE module_type, GError** error);

/* Leaves: the owner drops this module's bits and its queue, and the hooks are taken out. module:
 * nullable; not usable afterwards. No other thread may be using the object store then. May be
 * called in a message or lost function. */
MOXHOST_API void moxhost_leave(MoxHostModule* module);

/* Gives this module's registration record; valid until it leaves. */
MOXHOST_API const MODULE_REG_INFO_S* moxhost_reg_info(const MoxHostModule* module);

/* Lists the owner's objects of a class and of the classes that derive from it.
 * class_name: null means all. Returns a null-terminated array in the profile's order, freed with
 * g_strfreev; null with error set. */
MOXHOST_API gchar** moxhost_list_objects(MoxHostModule* module, const gchar* class_name,
                                         GError** error);

/* Gives the names of an object's properties in class order: a null-terminated array, freed with
 * g_strfreev; null with error set. The object is looked up here, and fetched from the owner when it
 * is not known yet. */
MOXHOST_API gchar** moxhost_list_properties(MoxHostModule* module, const gchar* object_name,
                                            GError** error);

/* Listens to the changes of a property of the objects of a class; those of classes that derive from
 * it are listened to separately. Listening again does no harm. Returns FALSE with error set. */
MOXHOST_API gboolean moxhost_listen(MoxHostModule* module, const gchar* class_name,
                                    const gchar* property_name, GError** error);

/* Sees one message of the module's queue. message: valid for the call. arrival_ns: CLOCK_MONOTONIC
 * when it was taken from the queue. */
typedef void (*MoxHostMessageFunc)(MoxHostModule* module, const MOX_MSG_S* message,
                                   gint64 arrival_ns, gpointer user_data);

/* Hands every message of the queue to func, in order, in the thread-default main context of the
 * caller. Property events of objects that were looked up here are counted as received first.
 * Malformed messages are dropped (logged), others never: while nobody takes them, 1024 are kept
 * here and the queue holds the rest. func: null stops. */
MOXHOST_API void moxhost_set_message_func(MoxHostModule* module, MoxHostMessageFunc func,
                                          gpointer user_data);

/* Is told once, in the thread-default main context of the caller and behind the last message, that
 * the owner is gone; the module can only leave then. The end of the connection is seen by the
 * context that was the thread's default at the join, so that one must run, too; usually they are
 * the same. */
typedef void (*MoxHostLostFunc)(MoxHostModule* module, gpointer user_data);
MOXHOST_API void moxhost_set_lost_func(MoxHostModule* module, MoxHostLostFunc func,
                                       gpointer user_data);

/* Has the owner refresh its hardware now; returns when the fresh values are in the pool. FALSE with
 * error set. */
MOXHOST_API gboolean moxhost_refresh(MoxHostModule* module, GError** error);

/* Gives the moment, CLOCK_MONOTONIC in nanoseconds, at which the owner last read the accessor
 * behind a property: for an event that has just arrived, the moment of the change. 0 when it is not
 * known. Never blocks. */
MOXHOST_API gint64 moxhost_change_time_ns(MoxHostModule* module, const gchar* object_name,
                                          const gchar* property_name);

/* Gives how many property events the owner has sent to this module's queue; -1 with error set. */
MOXHOST_API gint64 moxhost_events_sent(MoxHostModule* module, GError** error);

/* Gives the pool's total and used bytes as the owner's allocator reports them. FALSE with error
 * set. */
MOXHOST_API gboolean moxhost_pool_usage(MoxHostModule* module, guint32* total, guint32* used,
                                        GError** error);

/* Gives the mode under which a property is meant to be saved, as the profile says. mode: not null;
 * set on success only; PER_MODE_NOSUPPORT for a property that is not saved. Returns FALSE with
 * error set. */
MOXHOST_API gboolean moxhost_persist_mode(MoxHostModule* module, const gchar* object_name,
                                          const gchar* property_name, PER_MODE_E* mode,
                                          GError** error);

/* Writes a property of an object of this module's classes: lom_set_property_value with the mode
 * that the profile gives. value: not null; a floating one is consumed. Returns FALSE with error
 * set: MOXHOST_ERROR_FAILED names the status; when the save alone failed, the value is stored and
 * announced nevertheless. */
MOXHOST_API gboolean moxhost_set_property(MoxHostModule* module, const gchar* object_name,
                                          const gchar* property_name, GVariant* value,
                                          GError** error);

/* The same, done by the owner and then, when the property has an accessor that may be written (mode
 * "w" or "rw" in the profile), through it to the hardware: lom_apply_property_value in automatic
 * mode. A write to an accessor can be done by the owner only. value: as for moxhost_set_property.
 * Returns FALSE with error set: MOXHOST_ERROR_FAILED names the status. */
MOXHOST_API gboolean moxhost_apply_property(MoxHostModule* module, const gchar* object_name,
                                            const gchar* property_name, GVariant* value,
                                            GError** error);

/* Has the owner restore the defaults: the values saved under PER_MODE_POWER_OFF and PER_MODE_RESET
 * are forgotten, and every property that had such a value goes back to its permanently saved value,
 * else to the profile's, with an event. Any joined module may call. Returns FALSE with error set.
 */
MOXHOST_API gboolean moxhost_restore_defaults(MoxHostModule* module, GError** error);

G_END_DECLS

#endif
