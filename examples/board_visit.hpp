// The demonstration's board, plugged and unplugged by one process that watches the pool's use.
#ifndef MOX_EXAMPLES_BOARD_VISIT_HPP
#define MOX_EXAMPLES_BOARD_VISIT_HPP

#include <functional>
#include <string>
#include <vector>

#include "step_module.hpp"

namespace mox::examples {

// The pool's used bytes around one plug and unplug.
struct PoolBytes {
    guint32 before = 0;
    guint32 plugged = 0;
    guint32 after = 0;
};

struct BoardVisit {
    PoolBytes pool;
    std::vector<std::string> unsaved;  // "OBJECT.PROPERTY", as the unplug handed them over
};

// Waits until the pool's use stands still: the owner gives back the listener lists that processes
// leave behind some seconds after they left. Throws WatchError.
void wait_for_quiet_pool(StepModule& module);

// Plugs the board, calls while_plugged, unplugs it again, and looks at its state each time. Throws
// WatchError.
BoardVisit visit_board(StepModule& module, const std::function<void()>& while_plugged);

}  // namespace mox::examples

#endif
