// The system's calls by which directories and files come to be, failing on demand for one
// directory and all below it: functions that take the C library's place for the whole program.
//
//   watch_system_calls(directory);            from now on, until the next watch; "" ends it
//   fail_system_call(3, false, EIO);          the third call from now gives -1 with EIO
//   system_calls()                            calls since the last plan
//   names_only_in_memory()                    what a loss of power would take
//
// What holds: open, stat, lstat, access, mkdir, rename, fsync, rmdir, unlink and close are counted.
// A call that fails does nothing, but for a close, after which the descriptor is gone as on the
// system. A name is in memory only from the call that made it to the next synchronisation of its
// directory. One thread.
#ifndef MOX_TEST_EXHAUSTION_FAILING_SYSTEM_HPP
#define MOX_TEST_EXHAUSTION_FAILING_SYSTEM_HPP

#include <set>
#include <string>

namespace mox::test {

void watch_system_calls(const std::string& directory);

// Has the n-th call fail, and all later ones with from_then_on; 0 ends it.
void fail_system_call(unsigned n, bool from_then_on, int error);
unsigned system_calls();

// Directories and files that were made (a file only where it must not exist before) or renamed.
std::set<std::string> names_only_in_memory();

}  // namespace mox::test

#endif
