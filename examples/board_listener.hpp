// What a process hears of a board that others plug and unplug.
#ifndef MOX_EXAMPLES_BOARD_LISTENER_HPP
#define MOX_EXAMPLES_BOARD_LISTENER_HPP

#include <string>

namespace mox::examples {

// Joins, listens to the objects of the demonstration's board, prints the notices and leaves. Throws
// WatchError unless there is one of the new objects and then one of their removal, as often as the
// board is plugged and unplugged, and nothing else. run_dir: empty means the usual one.
void listen_to_board(const std::string& run_dir, unsigned rounds);

}  // namespace mox::examples

#endif
