// A change that is announced: the real one, and the sum of the primitives that it cannot do
// without.
#ifndef MOX_BENCH_ANNOUNCEMENT_HPP
#define MOX_BENCH_ANNOUNCEMENT_HPP

#include <lom.h>
#include <sys/msg.h>

#include "stored_floor.hpp"

namespace mox::bench {

// An object whose changes the receivers hear: those of kProperty the first one, those of "Value1"
// all. This process sends under a port of its own.
OBJ_HANDLE announcing_object();

// Writes a number that differs from the last, which is announced. Returns whether it worked.
bool write_next_number(OBJ_HANDLE object, const char* property);

// A value, the object, the property, the semaphore around the store, the listeners looked up, a
// zeroed message of the size of the announcement's, and for each queue the look at the log level
// and the system's own call.
class AnnouncementFloor : public StoredFloor {
public:
    // Returns false when a queue is full.
    bool announce(int receivers);

    // A message of the size of an announcement's, to one receiver.
    static bool send_bare(int receiver);

private:
    guint32 stored_ = 0;
};

}  // namespace mox::bench

#endif
