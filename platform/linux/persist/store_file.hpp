// The store's directories and files as the file system sees them: made, looked at, kept aside.
//
// What holds: a file that a connection has open is never opened here, because closing any
// descriptor of it would drop the connection's lock. What was made or renamed is in its directory
// for good when a call returns PER_OK. Every failure is logged with its path and cause.
#ifndef MOXPLAT_LINUX_PERSIST_STORE_FILE_HPP
#define MOXPLAT_LINUX_PERSIST_STORE_FILE_HPP

#include <moxplat/persist.h>

#include <string>

namespace mox::persist {

// Makes a directory of mode 0700 and its parents where they are missing.
gint32 make_directory(const std::string& path);

// Makes an empty file of mode 0600 where none is. Something else than a file in its place is
// PER_ERROR_FILE_OPEN_FAIL.
gint32 make_file(const std::string& path);

// True when commits are in the write-ahead log of a file that is empty or gone: the database would
// throw that log away.
bool has_lost_its_file(const std::string& path);

// Renames the file, its write-ahead log and its journal to "<path>.damaged-N", for the first N that
// is free for all three, and logs why.
gint32 set_aside(const std::string& path);

}  // namespace mox::persist

#endif
