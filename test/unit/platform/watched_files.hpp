// What the process does to its files, seen by functions that take the C library's place for the
// whole test program: writes at an offset and synchronisations are counted, and one file may be
// read from another path.
//
// What holds: the real call is always made. Only files whose name ends as the watch says are
// counted. Any thread may write; a watch is set up while one thread runs.
#ifndef MOX_TEST_WATCHED_FILES_HPP
#define MOX_TEST_WATCHED_FILES_HPP

#include <string>

namespace mox::test {

struct FileCounts {
    int writes = 0;          // since the watch began
    int synchronised = 0;    // since the watch began
    int unsynchronised = 0;  // writes since the last synchronisation of the same file
};

// Starts to count anew, for files whose path ends with one of two texts.
void watch_files(const std::string& ending, const std::string& other_ending);
FileCounts watched_files();

// From now on whoever opens `path` as a stream gets `instead`; an empty `path` ends it.
void redirect_stream(const std::string& path, const std::string& instead);

}  // namespace mox::test

#endif
