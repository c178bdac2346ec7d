// When this process last read each accessor, noted in the pool for the modules.
#ifndef MOXHOST_OWNER_READ_STAMPS_HPP
#define MOXHOST_OWNER_READ_STAMPS_HPP

#include <glib.h>

#include "profile/profile.hpp"

namespace mox::host {

// Makes the table with an entry for every accessor that a property of the profile names. Once,
// after the pool is made and before the first read. Throws a StartError when the pool has no room.
void make_read_stamps(const Profile& profile);

// The table's address in the pool; null before it is made.
gpointer read_stamp_table();

}  // namespace mox::host

#endif
