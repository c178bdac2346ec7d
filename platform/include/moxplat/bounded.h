/*
 * Bounded copies with the semantics of C11 Annex K, as inline functions that cost nothing where the
 * bound holds.
 *
 * The copies return 0, or EINVAL for a null pointer or a bound above MOXPLAT_RSIZE_MAX, or ERANGE
 * for what does not fit or overlaps; after a failure the destination holds zeros (strings: ""),
 * never half a copy. The formatters cut at the bound, always terminate, and return the length that
 * the whole text has. No runtime-constraint handler is called and %n is not looked for. No locks;
 * any thread of any process.
 */
#ifndef MOXPLAT_BOUNDED_H
#define MOXPLAT_BOUNDED_H

#include <errno.h>
#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

/* A C library with Annex K of its own declares these names: then ours take their place under a
 * prefix. */
#if defined(__STDC_LIB_EXT1__)
#undef memmove_s
#undef memcpy_s
#undef memset_s
#undef strncpy_s
#undef snprintf_s
#undef vsnprintf_s
#define memmove_s   moxplat_memmove_s
#define memcpy_s    moxplat_memcpy_s
#define memset_s    moxplat_memset_s
#define strncpy_s   moxplat_strncpy_s
#define snprintf_s  moxplat_snprintf_s
#define vsnprintf_s moxplat_vsnprintf_s
#endif

/* Larger bounds are taken for a negative number that went through an unsigned type. */
#define MOXPLAT_RSIZE_MAX (SIZE_MAX >> 1)

#if defined(__cplusplus)
/* The number of a pointer's address. */
#define MOXPLAT_ADDRESS(pointer) reinterpret_cast<uintptr_t>(pointer)
#else
#define MOXPLAT_ADDRESS(pointer) ((uintptr_t)(pointer))
#endif

#if defined(__GNUC__)
/* Has the compiler check printf-style calls: the number of the format, and of the first value. */
#define MOXPLAT_PRINTF(format_at, values_at) __attribute__((format(printf, format_at, values_at)))
/* Keeps the compiler from dropping a clearing of memory that is not read again. */
#define MOXPLAT_KEEP_STORES(pointer) __asm__ __volatile__("" : : "r"(pointer) : "memory")
#else
#define MOXPLAT_PRINTF(format_at, values_at)
#define MOXPLAT_KEEP_STORES(pointer) ((void)(pointer))
#endif

/* The failing end of a copy: empties the destination where there is one, and tells why. */
static inline int moxplat_refuse_copy(void* dest, size_t destsz, const void* src) {
    if (dest == NULL || destsz > MOXPLAT_RSIZE_MAX) return EINVAL;
    if (destsz > 0) memset(dest, 0, destsz);
    return src == NULL ? EINVAL : ERANGE;
}

/* Non-zero when n bytes at a and n bytes at b share a byte. */
static inline int moxplat_overlaps(const void* a, const void* b, size_t n) {
    const uintptr_t first = MOXPLAT_ADDRESS(a);
    const uintptr_t second = MOXPLAT_ADDRESS(b);
    return first < second ? second - first < n : first - second < n;
}

/*
 * Copies n bytes to a place of destsz bytes; the two may overlap.
 * dest, src: not null; destsz: 0..MOXPLAT_RSIZE_MAX; n: 0..destsz.
 * Returns 0; EINVAL for a null pointer or an absurd destsz; ERANGE when n is above destsz (dest is
 * then zeroed).
 */
static inline int memmove_s(void* dest, size_t destsz, const void* src, size_t n) {
    if (dest == NULL || src == NULL || destsz > MOXPLAT_RSIZE_MAX || n > destsz)
        return moxplat_refuse_copy(dest, destsz, src);
    memmove(dest, src, n);
    return 0;
}

/*
 * Copies n bytes to a place of destsz bytes; the two must not overlap.
 * dest, src: not null; destsz: 0..MOXPLAT_RSIZE_MAX; n: 0..destsz.
 * Returns 0; EINVAL for a null pointer or an absurd destsz; ERANGE when n is above destsz or the
 * two overlap (dest is then zeroed).
 */
static inline int memcpy_s(void* dest, size_t destsz, const void* src, size_t n) {
    if (dest == NULL || src == NULL || destsz > MOXPLAT_RSIZE_MAX || n > destsz ||
        moxplat_overlaps(dest, src, n))
        return moxplat_refuse_copy(dest, destsz, src);
    memcpy(dest, src, n);
    return 0;
}

/*
 * Sets n bytes of a place of destsz bytes; the stores are made even when nothing reads them.
 * dest: not null; destsz: 0..MOXPLAT_RSIZE_MAX; ch: the byte's value; n: 0..destsz.
 * Returns 0; EINVAL for a null pointer or an absurd size; ERANGE when n is above destsz (all destsz
 * bytes are then set).
 */
static inline int memset_s(void* dest, size_t destsz, int ch, size_t n) {
    int result = 0;
    if (dest == NULL || destsz > MOXPLAT_RSIZE_MAX) return EINVAL;
    if (n > destsz) {
        result = n > MOXPLAT_RSIZE_MAX ? EINVAL : ERANGE;
        n = destsz;
    }
    memset(dest, ch, n);
    MOXPLAT_KEEP_STORES(dest);
    return result;
}

/*
 * Copies a string, or its first n characters, to a place of destsz bytes and terminates it; nothing
 * is ever cut. dest, src: not null; src needs a NUL only when it is shorter than n;
 * destsz: 1..MOXPLAT_RSIZE_MAX. Returns 0; EINVAL for a null pointer or a destsz of 0 or absurd;
 * ERANGE when the characters and the NUL do not fit or overlap the source (dest is then "").
 */
static inline int strncpy_s(char* dest, size_t destsz, const char* src, size_t n) {
    const void* end;
    size_t room;
    size_t length;
    if (dest == NULL || destsz == 0 || destsz > MOXPLAT_RSIZE_MAX) return EINVAL;
    if (src == NULL) {
        dest[0] = '\0';
        return EINVAL;
    }
    room = n < destsz ? n : destsz;
    end = memchr(src, '\0', room);
    length = end == NULL ? room : MOXPLAT_ADDRESS(end) - MOXPLAT_ADDRESS(src);
    if (length >= destsz || moxplat_overlaps(dest, src, length) || dest + length == src) {
        dest[0] = '\0';
        return ERANGE;
    }
    memcpy(dest, src, length);
    dest[length] = '\0';
    return 0;
}

/*
 * Formats into a place of destsz bytes, cutting what does not fit; the result is always terminated.
 * dest, format: not null; destsz: 1..MOXPLAT_RSIZE_MAX; values: as vsnprintf takes them.
 * Returns the length of the whole text (destsz or more: it was cut); negative for a null pointer, a
 * destsz of 0 or absurd, or a text that cannot be encoded (dest is then "").
 */
MOXPLAT_PRINTF(3, 0)
static inline int vsnprintf_s(char* dest, size_t destsz, const char* format, va_list values) {
    int length;
    if (dest == NULL || destsz == 0 || destsz > MOXPLAT_RSIZE_MAX) return -1;
    /* The analyzer loses the caller's va_start where this is inlined into a variadic function. */
    /* NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized) */
    length = format == NULL ? -1 : vsnprintf(dest, destsz, format, values);
    if (length < 0) dest[0] = '\0';
    return length;
}

/*
 * As vsnprintf_s, with the values as arguments.
 */
MOXPLAT_PRINTF(3, 4)
static inline int snprintf_s(char* dest, size_t destsz, const char* format, ...) {
    va_list values;
    int length;
    va_start(values, format);
    length = vsnprintf_s(dest, destsz, format, values);
    va_end(values);
    return length;
}

#endif
