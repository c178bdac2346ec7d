// The codes of the driver library in words, for logs and for people.
#include <moxplat/driver.h>

const gchar* driver_error_text(gint32 code) {
    switch (code) {
        case DRIVER_OK:
            return "no error";
        case DRIVER_ERR_BAD_ARGUMENT:
            return "bad argument: a null name or buffer, or an offset without a length";
        case DRIVER_ERR_UNKNOWN_ACCESSOR:
            return "unknown accessor: no physical object of this name is registered";
        case DRIVER_ERR_UNKNOWN_CHIP:
            return "unknown chip: the accessor's Chip names no registered physical object";
        case DRIVER_ERR_BAD_ACCESSOR:
            return "unusable accessor: its properties do not say where the value lies";
        case DRIVER_ERR_BAD_CHIP:
            return "unusable chip: its Path must be absolute, without \"..\" and not too long";
        case DRIVER_ERR_NO_FILE:
            return "the file or device is not there";
        case DRIVER_ERR_NO_PERMISSION:
            return "no permission to use the file or device";
        case DRIVER_ERR_NO_VALUE:
            return "the file has no such line, field or offset";
        case DRIVER_ERR_MALFORMED:
            return "malformed value: not a number of the accessor's type";
        case DRIVER_ERR_READ_ONLY:
            return "read-only: fields and lines of a text cannot be written";
        case DRIVER_ERR_RANGE:
            return "offset and length do not lie in the value";
        case DRIVER_ERR_NOT_READY:
            return "temporarily no value";
        case DRIVER_ERR_TOO_LONG:
            return "the text is too long to be searched to its end";
        case DRIVER_ERR_IO:
            return "the file or device failed, or took only a part";
        case DRIVER_ERR_NOT_A_FILE:
            return "the path names a directory, a pipe or a socket, not a file or device";
        case DRIVER_ERR_REFUSED:
            return "the value does not fit its place, or the device refused it";
        default:
            return "unknown driver error";
    }
}
