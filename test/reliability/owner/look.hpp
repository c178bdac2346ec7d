// What the reader looks at when it is asked to, once it is on an owner's pool.
#ifndef MOX_KILL_OWNER_LOOK_HPP
#define MOX_KILL_OWNER_LOOK_HPP

#include <moxhost/moxhost.h>

#include <cstdint>
#include <string>

namespace mox::kill_owner {

// A property of the valve: its number, or what note_code gives for its text. Returns the status of
// the read.
gint32 read_valve(const char* property, std::int32_t& number);

// Asks for all that the page's Seen has, and writes it there. Returns what did not work, or "".
std::string look(MoxHostModule* module);

}  // namespace mox::kill_owner

#endif
