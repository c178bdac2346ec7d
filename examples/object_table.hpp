// The table of objects on the terminal.
#ifndef MOX_EXAMPLES_OBJECT_TABLE_HPP
#define MOX_EXAMPLES_OBJECT_TABLE_HPP

#include "watched_objects.hpp"

namespace mox::examples {

// Prints object, class, property, type and value, one property a line.
void print_objects(const WatchedModel& model);

}  // namespace mox::examples

#endif
