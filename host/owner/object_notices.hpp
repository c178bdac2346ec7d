// Which queues are told that objects came or went: those that listen to any property of the
// objects' class.
#ifndef MOXHOST_OWNER_OBJECT_NOTICES_HPP
#define MOXHOST_OWNER_OBJECT_NOTICES_HPP

#include <classnode.h>

#include <set>
#include <string>

namespace mox::host {

// Gathers the new objects of a class for its listeners, between ipc_msg_newobj_init and
// ipc_msg_newobj_event. A NewObjNotifyFunc.
void gather_new_objects(CLS_HANDLE class_handle, GSList* object_names);

// Tells every listener of the classes once that the objects of a position were removed. A queue
// that cannot take it is logged, and the others are told nevertheless.
void announce_removal(const std::set<std::string>& class_names, guint32 position);

}  // namespace mox::host

#endif
