// Internal view of the listener ports: the making of a property's node, and the ports that an event
// goes to.
#ifndef MOX_CLASSNODE_LISTENER_HPP
#define MOX_CLASSNODE_LISTENER_HPP

#include <classnode.h>

// A node for a property whose only port is the given one, not linked yet; its array is null when
// the pool had no room for it. Returns null for a null name or when the node itself does not fit.
SERIALIZED_LISTENER_LIST_S* _create_listener_node(const gchar* property_name, gint32 port,
                                                  gint32 max_cnt);

// An array with the given port and room for max_cnt + 1 ports; null when it does not fit the pool.
LISTENER_ARRAY_HEAD_S* _create_listener_array(gint32 port, gint32 max_cnt);

namespace mox {

constexpr gint32 kMostPorts = G_MAXUINT8;  // the count is 8 bits wide

// The ports that listen to a class's property, newest first, as the list that
// cls_get_listener_list gives, but with its nodes in place: nothing is allocated.
class ListenerList {
public:
    ListenerList() {}  // leaves the nodes as they are: most lists are short
    ListenerList(const ListenerList&) = delete;
    ListenerList& operator=(const ListenerList&) = delete;

    // Fills an empty list. Returns 0, or MOX_ERR_BAD_ARGUMENT for a null name.
    gint32 find(const gchar* class_name, const gchar* property_name);

    // Null when there is none; borrowed.
    GSList* first() const { return first_; }

private:
    GSList nodes_[kMostPorts];
    GSList* first_ = nullptr;
};

}  // namespace mox

#endif
