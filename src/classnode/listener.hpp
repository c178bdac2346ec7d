// Internal view of the listener ports: the making of a property's node.
#ifndef MOX_CLASSNODE_LISTENER_HPP
#define MOX_CLASSNODE_LISTENER_HPP

#include <classnode.h>

// A node for a property whose only port is the given one, not linked yet; its array is null when
// the pool had no room for it. Returns null for a null name or when the node itself does not fit.
SERIALIZED_LISTENER_LIST_S* _create_listener_node(const gchar* property_name, gint32 port,
                                                  gint32 max_cnt);

// An array with the given port and room for max_cnt + 1 ports; null when it does not fit the pool.
LISTENER_ARRAY_HEAD_S* _create_listener_array(gint32 port, gint32 max_cnt);

#endif
