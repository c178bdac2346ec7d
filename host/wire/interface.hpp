// What owner and modules say to each other over the run directory's socket: D-Bus messages between
// two peers, without a bus. Both sides are built from this file; "Join" compares what else must be
// equal.
#ifndef MOXHOST_WIRE_INTERFACE_HPP
#define MOXHOST_WIRE_INTERFACE_HPP

#include <gio/gio.h>

namespace mox::host::wire {

inline constexpr const char* object_path = "/mox/owner";
inline constexpr const char* interface_name = "mox.Owner1";

// Names of the errors that refuse a call; their messages say what, why and what to do.
inline constexpr const char* error_refused = "mox.Owner1.Error.Refused";
inline constexpr const char* error_mismatch = "mox.Owner1.Error.Mismatch";
inline constexpr const char* error_not_found = "mox.Owner1.Error.NotFound";
inline constexpr const char* error_bad_argument = "mox.Owner1.Error.BadArgument";
inline constexpr const char* error_failed = "mox.Owner1.Error.Failed";
inline constexpr const char* error_state = "mox.Owner1.Error.State";

// Types of the replies, as the interface below gives them.
inline constexpr const char* join_reply = "(iittttit)";
inline constexpr const char* record_reply = "(iay)";
inline constexpr const char* names_reply = "(as)";
inline constexpr const char* count_reply = "(t)";
inline constexpr const char* usage_reply = "(uu)";
inline constexpr const char* flag_reply = "(b)";
inline constexpr const char* status_reply = "(i)";
inline constexpr const char* saved_reply = "(isay)";
inline constexpr const char* is_saved_reply = "(ib)";
inline constexpr const char* empty_reply = "()";
inline constexpr const char* unplug_reply = "(uas)";
inline constexpr const char* board_state_reply = "(bu)";
inline constexpr const char* routes_reply = "(a(ayii))";

// Tells every joined module to drop its copies of the objects of a position.
inline constexpr const char* gone_signal = "ObjectsGone";
inline constexpr const char* gone_type = "(u)";

// Bytes of the largest value that a call carries, in either direction.
inline constexpr guint32 max_remote_bytes = 65536;

// In the first word of the reference bitmap of an object that the owner removed: no module has this
// bit. It stays as long as any module has a copy of the object.
inline constexpr guint32 removed_mark = 1U << 0U;

// The one interface of the owner; valid for ever.
GDBusInterfaceInfo* interface_info();

}  // namespace mox::host::wire

#endif
