// The tick is reckoned in 64 bits and cut to the result's width, so that it wraps instead of
// overflowing.
#include <moxplat/osal.h>
#include <ctime>

gulong osal_tick_get(void) {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<gulong>(static_cast<guint64>(now.tv_sec) * 1000U +
                               static_cast<guint64>(now.tv_nsec) / 1000000U);
}
