// A second process that attaches the pool and does at the same time what this one does.
#ifndef MOX_BENCH_READER_PROCESS_HPP
#define MOX_BENCH_READER_PROCESS_HPP

#include <lom.h>

#include "shared_window.hpp"

namespace mox::bench {

// Forks it. While this process has one thread, before the pool.
void start_reader_process();
void stop_reader_process();

// Gives it a copy of an object. Returns false when it could not attach the pool or take the copy.
bool give_object(OBJ_HANDLE object);

// Lets it read kProperty of that object, or take and release a semaphore, on the second core, in a
// window of two callers. Returns the window, for the other caller; join_reader() has the result.
SharedWindow& start_reading();
SharedWindow& start_taking(gint32 semid, gint32 member);

// Waits for the end. Returns its time for one read or take, ns; 0 when it failed.
double join_reader();

// One read of kProperty of an object, the value released. Returns whether it worked.
bool read_number(OBJ_HANDLE object);

}  // namespace mox::bench

#endif
