/*
 * What the platform's contract headers share: the export mark. All else in a platform library is
 * built with hidden visibility, so the exported names are exactly the ones that these headers
 * declare.
 */
#ifndef MOXPLAT_API_H
#define MOXPLAT_API_H

#if defined(__GNUC__)
/* Marks a function that a platform library gives to its callers. */
#define MOXPLAT_API __attribute__((visibility("default")))
#else
#define MOXPLAT_API
#endif

#endif
