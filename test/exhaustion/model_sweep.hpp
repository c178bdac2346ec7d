// A fault at every place: a whole model is built and used once for each call that a layer gets, in
// a process that knows no other, with that call failing, and once more with that call and all later
// ones failing.
//
// After each fault the model must be consistent, a second whole model must be built and used
// without a failure, and both must end with nothing left over. See whole_model.hpp for what the
// calls may give meanwhile.
#ifndef MOX_TEST_EXHAUSTION_MODEL_SWEEP_HPP
#define MOX_TEST_EXHAUSTION_MODEL_SWEEP_HPP

#include <glib.h>

#include <functional>
#include <set>
#include <string>

namespace mox::test {

struct Fault {
    // Has the n-th call from now fail, and all later ones with `from_then_on`; 0 ends it.
    std::function<void(guint n, bool from_then_on)> plan;
    // Calls of this kind so far.
    std::function<gsize()> calls;
    // Codes of the layer, which calls of the core may hand on.
    std::set<gint32> codes;
    // Fewer calls than that and the model misses what it is there for.
    gsize least_calls = 1;
    bool also_from_then_on = true;
};

void expect_model_survives(const Fault& fault);

// What must hold of all objects, classes and lists at any time, and that every dump runs.
void check_model();

// Every block of the pool can be got at, but for the bitmap of a record that could not be made: it
// stays with the pool, 16 bytes.
void check_pool(gsize failed_allocations);

}  // namespace mox::test

#endif
