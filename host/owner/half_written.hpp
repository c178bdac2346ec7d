// What becomes of values over which a module died.
#ifndef MOXHOST_OWNER_HALF_WRITTEN_HPP
#define MOXHOST_OWNER_HALF_WRITTEN_HPP

#include "model/model_index.hpp"

namespace mox::host {

// Gives each value that a dead process left half written a whole one again: what hardware or the
// formula behind it says, else the saved value, else the profile's; announces it and logs it. Reads
// of such a value fail with MOX_ERR_INTERNAL until then. A forced value is given up: what it was is
// not known any more. A value that a living process is writing at the moment, or has stored
// meanwhile, is left to it. For the thread of the main loop; takes objects' semaphores.
void mend_half_written(const ModelIndex& model);

}  // namespace mox::host

#endif
