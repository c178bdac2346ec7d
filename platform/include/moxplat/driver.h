/*
 * The driver library: hardware values by accessor name, and the physical objects behind them.
 *
 * What holds for every call here:
 *  - Any thread of any process may call, and no lock needs to be held. A call may take as long as
 *    the device itself does, but it never waits for data that may not come.
 *  - No call ever calls back into the object store, so a caller may hold the object-table mutex.
 *    It must not hold an object's semaphore around accessor_read or accessor_write: other modules
 *    would wait for the device, too.
 *  - Results are 0 or one of DRIVER_ERR_*; driver_error_text() puts a code into words.
 *
 * A product links its own library behind this header; the reference implementation is
 * platform/linux/driver.
 */
#ifndef MOXPLAT_DRIVER_H
#define MOXPLAT_DRIVER_H

#include <glib.h>
#include <stdio.h>

#include <moxplat/api.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Codes of this layer, -2101 to -2199. Callers of the object store receive them unchanged, all but
 * one: DRIVER_ERR_NOT_READY makes a live read deliver the stored value instead. */
enum tag_driver_error {
    DRIVER_OK = 0,
    DRIVER_ERR_BAD_ARGUMENT = -2101,     /* null, negative, or an offset without a length */
    DRIVER_ERR_UNKNOWN_ACCESSOR = -2102, /* no object of the accessor's name is registered */
    DRIVER_ERR_UNKNOWN_CHIP = -2103,     /* the accessor names a chip that is not registered */
    DRIVER_ERR_BAD_ACCESSOR = -2104,     /* its properties do not say where the value lies */
    DRIVER_ERR_BAD_CHIP = -2105,         /* the chip has no path, or one that is not allowed */
    DRIVER_ERR_NO_FILE = -2106,          /* the file or device is not there (any more) */
    DRIVER_ERR_NO_PERMISSION = -2107,    /* this process may not open, read or write it */
    DRIVER_ERR_NO_VALUE = -2108,         /* the file has no such line, field or offset */
    DRIVER_ERR_MALFORMED = -2109,        /* what is there is no number of the accessor's type */
    DRIVER_ERR_READ_ONLY = -2110,        /* values of this kind cannot be written */
    DRIVER_ERR_RANGE = -2111,            /* offset and length do not lie in the value */
    DRIVER_ERR_NOT_READY = -2112,        /* temporarily no value: busy, no data yet, empty */
    DRIVER_ERR_TOO_LONG = -2113,         /* the text is longer than what is looked at */
    DRIVER_ERR_IO = -2114,               /* failed for another reason, or was cut short */
    DRIVER_ERR_NOT_A_FILE = -2115,       /* the path names a directory, a pipe or a socket */
    DRIVER_ERR_REFUSED = -2116           /* the written value does not fit, or was refused */
};

/* One named value of a physical object. Both members belong to the record. */
typedef struct tag_obj_property {
    gchar* name;
    GVariant* value;
} OBJ_PROPERTY_S;

/*
 * Reads a value, or a stretch of bytes, through an accessor.
 * accessor: name of a registered accessor object, not null. offset, length: in bytes. With offset 0
 * and length 0 the whole value is meant: as many bytes as its type has (1 to 8), in this machine's
 * byte order. With a length, `length` bytes from `offset` on, uninterpreted; offset is not negative
 * then. out: room for the bytes, not null; on an error its content is not specified. Frees: nothing
 * is handed over. Returns 0 or a DRIVER_ERR_* code; DRIVER_ERR_NOT_READY (-2112) when the value is
 * temporarily not there and a stored one should be used. Locks: none to be held; never call with an
 * object's semaphore taken. Any process that registered the accessor.
 */
MOXPLAT_API gint32 accessor_read(const gchar* accessor, gint32 offset, gsize length, gpointer out);

/*
 * Writes a value, or a stretch of bytes, through an accessor.
 * accessor: as above. offset: in bytes, not negative. length: in bytes, at least 1; offset 0 with
 * exactly the length of the value's type writes the value, given in this machine's byte order; any
 * other stretch is written uninterpreted. in: the bytes, not null. Frees: nothing is handed over.
 * Returns 0 or a DRIVER_ERR_* code; nothing is written when the value does not fit what the
 * accessor reaches, and a file is never created. Locks: none to be held; never call with an
 * object's semaphore taken. Any process that registered the accessor.
 */
MOXPLAT_API gint32 accessor_write(const gchar* accessor, gint32 offset, gsize length,
                                  gconstpointer in);

/*
 * Makes a named value.
 * name: copied; not null, not empty. value: not null; a floating or a full reference is taken over
 * on success. Returns the record, to be freed with free_has_property; null on bad input, and then
 * the value stays the caller's, floating if it was. Locks: none. Any process.
 */
MOXPLAT_API OBJ_PROPERTY_S* create_has_property(const gchar* name, GVariant* value);

/*
 * Frees a record of create_has_property with its name and its reference to the value.
 * property: may be null. The signature is that of a GDestroyNotify.
 * Locks: none. Any process.
 */
MOXPLAT_API void free_has_property(gpointer property);

/*
 * Registers physical objects: chips, accessors, buses and whatever else there is.
 * objects: "Class.Object" (gchar*) -> GSList of OBJ_PROPERTY_S; null is ignored. Every list holds
 * at least "Position" (u) and "ObjName" (s). The table stays the caller's, and the values may lie
 * over memory that goes away: what is kept is copied. Objects that are known and unchanged are left
 * as they are (this is called on every live read, so it is quick and allocates nothing for them);
 * changed ones are replaced whole. Frees: nothing is handed over. Locks: none to be held, the
 * object-table mutex may be. Any process, any thread.
 */
MOXPLAT_API void create_physical_object(GHashTable* objects);

/*
 * Forgets every physical object whose "Position" is the given one.
 * Reads that are under way end as if it were still there.
 * Locks: none to be held, the object-table mutex may be. Any process, any thread.
 */
MOXPLAT_API void delete_physical_object(guint32 position);

/*
 * Prints the registered physical objects, one block each.
 * stream: null is ignored.
 * Locks: none to be held, the object-table mutex may be. Any process, any thread.
 */
MOXPLAT_API void dump_physical_object(FILE* stream);

/*
 * Puts a code of this layer into words.
 * code: any number. Returns a text that lives for ever, in English, without a line end; an unknown
 * code gives "unknown driver error". Locks: none. Any process.
 */
MOXPLAT_API const gchar* driver_error_text(gint32 code);

#ifdef __cplusplus
}
#endif

#endif
