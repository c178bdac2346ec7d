/*
 * Marks the functions that a platform library gives to its callers. Everything else in those
 * libraries is built with hidden visibility, so the exported names are exactly the ones that the
 * contract headers declare.
 */
#ifndef MOXPLAT_API_H
#define MOXPLAT_API_H

#if defined(__GNUC__)
#define MOXPLAT_API __attribute__((visibility("default")))
#else
#define MOXPLAT_API
#endif

#endif
