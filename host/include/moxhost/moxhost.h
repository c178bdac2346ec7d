/* moxhost.h: a module process's side of the reference host: join the owner, find and listen,
 * receive in a GLib main loop, write and save, leave.
 *
 * A process joins once in its life; moxhost_restart_with_owner makes a new life of it. Every call
 * to the owner has a time limit of MOXHOST_CALL_TIMEOUT_MS, so no call here waits for ever. Calls
 * are for the thread that joined, but for the hooks that joining installs in the library: they are
 * safe in any thread. Errors are GErrors of MOXHOST_ERROR whose message says what, where, why and
 * what to do. */
#ifndef MOXHOST_MOXHOST_H
#define MOXHOST_MOXHOST_H

#include <ipcmsg.h>
#include <moxlib/moxbase.h>
#include <moxplat/persist.h>
#include <mxroute.h>

G_BEGIN_DECLS

/* Marks a function that the host library exports. */
#define MOXHOST_API __attribute__((visibility("default")))

#define MOXHOST_CALL_TIMEOUT_MS     2000  /* of every call to the owner */
#define MOXHOST_RESTART_PATIENCE_MS 30000 /* of a join after moxhost_restart_with_owner */

/* The domain of this library's errors. */
#define MOXHOST_ERROR (moxhost_error_quark())

/* Codes of MOXHOST_ERROR. */
typedef enum {
    MOXHOST_ERROR_NO_OWNER,  /* no owner answers at the run directory */
    MOXHOST_ERROR_MISMATCH,  /* the owner's word size or record layouts are not this process's */
    MOXHOST_ERROR_REFUSED,   /* the owner refused the call */
    MOXHOST_ERROR_NO_POOL,   /* the pool could not be attached at its address */
    MOXHOST_ERROR_NOT_FOUND, /* unknown object, class, property or board */
    MOXHOST_ERROR_TIMEOUT,   /* the owner did not answer in time */
    MOXHOST_ERROR_LOST,      /* the connection to the owner is gone */
    MOXHOST_ERROR_STATE,     /* joined already, or left; a board plugged already, or not plugged */
    MOXHOST_ERROR_FAILED /* a write or a save failed: the message names the status and its words;
                            a plug or a restart failed; or no descriptor is left to ask with */
} MoxHostError;

/* A joined module, opaque. */
typedef struct MoxHostModule MoxHostModule;

/* Gives the quark behind MOXHOST_ERROR. Any thread. */
MOXHOST_API GQuark moxhost_error_quark(void);

/* Gives the status with which a call that writes a property, here or in operator.h, failed: a code
 * of mox_status, of persistence, of the driver or of the operating-system layer. error: nullable.
 * Returns MOX_OK for an error that comes from no status, or from no call of this library. Any
 * thread. */
MOXHOST_API gint32 moxhost_error_status(const GError* error);

/* Joins the owner: compares word size and record layouts, gets a bitmap id, a message queue and the
 * class records, attaches the pool and installs the hooks of lom/sharing.h: copies, hardware reads,
 * values beyond their room, saving and reading back are the owner's work from then on. The
 * persistence library of this process hands its calls on to the owner's store. Log messages carry
 * the module's name from then on, and SHAMRE_MEMORY_SIZE is set to the pool's size when it is
 * another: join before other threads use the environment. The copies of objects whose class belongs
 * to module_name, or that the profile lets it write, are writable. run_dir: the owner's run
 * directory; null means $MOX_RUN_DIR, else $XDG_RUNTIME_DIR/moxd, else /run/moxd, which is looked
 * at also when no owner's socket lies in $XDG_RUNTIME_DIR/moxd. module_name: 1 to 31 characters,
 * unique among the joined modules. error: nullable. In a process that moxhost_restart_with_owner
 * executed it waits for an owner for up to MOXHOST_RESTART_PATIENCE_MS. Returns the module,
 * released by moxhost_leave; null with error set. */
MOXHOST_API MoxHostModule* moxhost_join(const gchar* run_dir, const gchar* module_name,
                                        MOX_MODULE_TYPE module_type, GError** error);

/* Leaves: the hooks are taken out, this process's copies of objects are dropped, so that it finds
 * none any more, and the owner drops the module's bits, its queue and its routes. module: nullable;
 * not usable afterwards. No other thread may be using the object store then. May be called in a
 * message or lost function. */
MOXHOST_API void moxhost_leave(MoxHostModule* module);

/* Gives this module's registration record; valid until it leaves. Its rpc_port is the module's id:
 * there is no other port to a module on this transport. */
MOXHOST_API const MODULE_REG_INFO_S* moxhost_reg_info(const MoxHostModule* module);

/* Lists the owner's objects of a class and of the classes that derive from it, as far as they are
 * there now; collections are left out. class_name: null means all. Returns a null-terminated array
 * in the profile's order, freed with g_strfreev; null with error set. */
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

/* What the program is told about its restart by moxhost_restart_with_owner, in the main context
 * that was the thread's default at the join. failure null: the program is about to be executed
 * anew, this is the last moment to save what it wants kept. What it leaves in the environment
 * reaches the new process; other threads, buffers of streams other than stdout, and what was not
 * saved do not. failure not null, valid for the call: it could not be executed, and the library
 * does nothing more; end the program, so that something else starts it again, or call
 * moxhost_restart_with_owner for another attempt. May leave in either case, which ends the matter.
 * The calls to the owner fail. */
typedef void (*MoxHostRestartFunc)(MoxHostModule* module, const GError* failure,
                                   gpointer user_data);

/* Has the program executed anew whenever its owner went, killed or stopped, and a new one is there:
 * a process attaches a pool once in its life, so that it takes a new life to be on the next
 * owner's. Call it right after the join; the program comes by this call again when it is executed
 * again. What happens when the connection ends before the module leaves: the lost function is told;
 * an owner is looked for at the run directory of the join, every 50 ms, and every 100 or 200 ms
 * after owners that went within 10 seconds of the join; func is called; the program's file is
 * executed in this process, whose id stays: the file that lies at its path then, which an upgrade
 * may have replaced. It gets the arguments that it was started with, the environment of that
 * moment, and the working directory, the blocked and the ignored signals that it had when this
 * library was loaded. Descriptors without close-on-exec stay open, as with every execution; the
 * library has none of these. moxhost_leave ends the matter, in the lost function and in func, too.
 * The main context that was the thread's default at the join must run; a nested loop does. A lost
 * function in another context is waited for for half a second. A call behind the join that fails
 * with MOXHOST_ERROR_LOST is no reason to end the program then: run the loop. In a process that was
 * executed this way moxhost_join waits up to MOXHOST_RESTART_PATIENCE_MS for an owner that has gone
 * once more.
 * func: nullable; the last one that was given is told. error: nullable. Returns FALSE with error
 * set, MOXHOST_ERROR_FAILED, when the program's path or arguments cannot be read from /proc. */
MOXHOST_API gboolean moxhost_restart_with_owner(MoxHostModule* module, MoxHostRestartFunc func,
                                                gpointer user_data, GError** error);

/* Gives how often the program was executed anew by moxhost_restart_with_owner since it was started;
 * 0 in a process that it starts itself. Kept in the environment variable MOX_RESTARTS from one
 * execution to the next, and taken out of it when the library is loaded. Any thread. */
MOXHOST_API guint moxhost_restart_count(void);

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
 * else to the profile's, with an event. Any module that the profile lets manage may call. Returns
 * FALSE with error set.
 */
MOXHOST_API gboolean moxhost_restore_defaults(MoxHostModule* module, GError** error);

/* Has the owner plug a board of its profile: the board's objects are built with their saved values,
 * the collections of their classes list them, each queue that listens to one of these classes gets
 * one MOX_MSG_ADD_OBJECT, and the hardware is read. board_name: not null. Any module that the
 * profile lets manage may call. Returns FALSE with error set: MOXHOST_ERROR_NOT_FOUND for an
 * unknown board, MOXHOST_ERROR_STATE for one that is plugged, MOXHOST_ERROR_FAILED when the pool or
 * the semaphores run out; the model is as it was then. MOXHOST_ERROR_TIMEOUT leaves open whether it
 * was plugged: ask moxhost_board_state. */
MOXHOST_API gboolean moxhost_plug_board(MoxHostModule* module, const gchar* board_name,
                                        GError** error);

/* Has the owner unplug a board: its objects leave the model and their classes' collections, each
 * queue that listens to one of these classes gets one MOX_MSG_DEL_OBJECT, and every module drops
 * its copies: this one before the call returns, the others when they run the main context that was
 * the thread's default at the join. The owner frees the objects' memory when no copy is left.
 * board_name: not null. unsaved: nullable; receives the properties that were not marked as saved,
 * as "OBJECT.PROPERTY", sorted, null-terminated, freed with g_strfreev. Any module that the profile
 * lets manage may call. Returns FALSE with error set: MOXHOST_ERROR_NOT_FOUND for an unknown board,
 * MOXHOST_ERROR_STATE for one that is not plugged; nothing has changed then. MOXHOST_ERROR_TIMEOUT
 * leaves open whether it was unplugged: ask moxhost_board_state; the names are in the owner's log
 * at level 3 then, and this module's copies go when it runs its main context. Handles of a board's
 * objects are to be looked up anew after each plug. */
MOXHOST_API gboolean moxhost_unplug_board(MoxHostModule* module, const gchar* board_name,
                                          gchar*** unsaved, GError** error);

/* Tells whether a board is plugged, and its position. board_name: not null. is_plugged, position:
 * nullable; set on success only. Returns FALSE with error set: MOXHOST_ERROR_NOT_FOUND for an
 * unknown board. */
MOXHOST_API gboolean moxhost_board_state(MoxHostModule* module, const gchar* board_name,
                                         gboolean* is_plugged, guint32* position, GError** error);

/* Lists the boards of the owner's profile, plugged or not. Returns a null-terminated array in the
 * profile's order, freed with g_strfreev; null with error set. */
MOXHOST_API gchar** moxhost_list_boards(MoxHostModule* module, GError** error);

/* Lists the routes of the modules that are joined now, the newest first, and adds to this process's
 * route table (rut_get_list) those that it lacks; it keeps those of modules that have left. A
 * route's RPC port is the module's id. count: nullable; receives the number of routes. Returns an
 * array that ends with a route without a name, freed with g_free; null with error set. */
MOXHOST_API ROUTE_S* moxhost_list_routes(MoxHostModule* module, gsize* count, GError** error);

G_END_DECLS

#endif
