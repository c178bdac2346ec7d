// The calls of a module to the owner, failing on demand: functions that take the D-Bus library's
// place for the whole program.
//
//   plan_transport({TransportFault::timed_out, 3, false});   the third call from now
//   transport_calls()      calls since the last plan: connecting, asking, and telling
//   transport_failures()   those of them that failed
//   transport_methods()    names of the owner's methods called so far, by this process's children
//   too
//
// What holds: a call that does not fail is the library's. One thread calls.
#ifndef MOX_TEST_EXHAUSTION_TRANSPORT_CALLS_HPP
#define MOX_TEST_EXHAUSTION_TRANSPORT_CALLS_HPP

#include <set>
#include <string>

namespace mox::test {

enum class TransportFault {
    none,
    refused,     // the owner does nothing and answers with an error
    timed_out,   // the owner does nothing and does not answer
    reply_lost,  // the owner does what it is asked, and its answer does not come
    closed       // the connection ends before the call
};

struct TransportPlan {
    TransportFault fault = TransportFault::none;
    unsigned n = 0;
    bool from_then_on = false;
};

void plan_transport(const TransportPlan& plan);
unsigned transport_calls();
unsigned transport_failures();
std::set<std::string> transport_methods();

}  // namespace mox::test

#endif
