// What an errno of open, read or write means for whoever asked for a value.
#ifndef MOXPLAT_LINUX_DRIVER_ERRNO_CODE_HPP
#define MOXPLAT_LINUX_DRIVER_ERRNO_CODE_HPP

#include <glib.h>
#include <moxplat/driver.h>

#include <cerrno>

namespace mox::driver {

// The meaning that an errno has whatever was tried.
inline gint32 code_of_any_errno(int error) {
    switch (error) {
        case EAGAIN:
        case EBUSY:
        case ETIMEDOUT:
            return DRIVER_ERR_NOT_READY;
        case ENOENT:
        case ENOTDIR:
        case ENODEV:
        case ENXIO:
        case ESRCH:
            return DRIVER_ERR_NO_FILE;
        case EACCES:
        case EPERM:
        case EROFS:
            return DRIVER_ERR_NO_PERMISSION;
        case EISDIR:
            return DRIVER_ERR_NOT_A_FILE;
        case ESPIPE:
            return DRIVER_ERR_NO_VALUE;
        default:
            return DRIVER_ERR_IO;
    }
}

// Attributes of the kernel answer EINVAL or ENODATA as long as the device has no value to give: the
// speed of an interface without a link, a sensor that is asleep.
inline gint32 code_of_text_read_errno(int error) {
    return error == EINVAL || error == ENODATA ? DRIVER_ERR_NOT_READY : code_of_any_errno(error);
}

inline gint32 code_of_raw_read_errno(int error) {
    return error == ENODATA ? DRIVER_ERR_NOT_READY : code_of_any_errno(error);
}

inline gint32 code_of_write_errno(int error) {
    switch (error) {
        case EINVAL:
        case ERANGE:
        case EDOM:
        case EOVERFLOW:
            return DRIVER_ERR_REFUSED;
        default:
            return code_of_any_errno(error);
    }
}

}  // namespace mox::driver

#endif
