// Internal view of the new-object notices: what was gathered.
#ifndef MOX_IPCMSG_NEWOBJ_EVENT_HPP
#define MOX_IPCMSG_NEWOBJ_EVENT_HPP

#include <glib.h>

// Port -> GSList of "as" values; null before ipc_msg_newobj_init. No lock: used by one thread.
extern GHashTable* g_new_obj_event_hash;

// Frees one port's list of values.
void _free_obj_list(gpointer list);

#endif
