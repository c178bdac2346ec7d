// Copies that never pass the room that is really there, on either side, and the log lines of those
// that did not fit. The places of the library print the failure in four established spellings; each
// keeps its own.
#ifndef MOX_BASE_BOUNDED_COPY_HPP
#define MOX_BASE_BOUNDED_COPY_HPP

#include <moxplat/bounded.h>
#include <pub.h>

#include <algorithm>
#include <cerrno>

namespace mox {

// Copies n bytes, or as many of them as both rooms hold. Returns 0, or the code to log when not all
// were copied.
inline gint32 copy_what_fits(gpointer dest, gsize dest_room, gconstpointer src, gsize src_room,
                             gsize n) {
    const gsize fitting = std::min({n, dest_room, src_room});
    const gint32 result = fitting == 0 ? 0 : memmove_s(dest, dest_room, src, fitting);
    return result == 0 && fitting < n ? ERANGE : result;
}

}  // namespace mox

// The spellings, by what stands around "memmove_s failed". place is the source's or the function's
// name.
#define MOX_COPY_FAILED_SPACED         "[%s][%d]: memmove_s failed ret(%d).\n"
#define MOX_COPY_FAILED_TRAILING_BLANK "[%s][%d]: memmove_s failed ret(%d). \n"
#define MOX_COPY_FAILED_TIGHT          "[%s][%d]:memmove_s failed ret(%d).\n"
#define MOX_COPY_FAILED_EARLY_STOP     "[%s][%d]:memmove_s failed. ret(%d)\n"

// Logs a failing copy of the line it stands in; nothing for 0.
#define MOX_LOG_COPY(spelling, place, result)                                    \
    do {                                                                         \
        const gint32 copy_result = (result);                                     \
        if (copy_result != 0) {                                                  \
            pub_debug_print(MX_DBG_LOG, spelling, place, __LINE__, copy_result); \
        }                                                                        \
    } while (0)

#endif
