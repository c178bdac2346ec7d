// The ports that an event goes to.
#ifndef MOX_BASE_LISTENER_LIST_HPP
#define MOX_BASE_LISTENER_LIST_HPP

#include <glib.h>

namespace mox {

inline constexpr gint32 kMostPorts = G_MAXUINT8;  // a property's count of ports is 8 bits wide

// The ports that listen to a class's property, newest first, as the list that
// cls_get_listener_list gives, but with its nodes in place: nothing is allocated.
class ListenerList {
public:
    ListenerList() {}  // leaves the nodes as they are: most lists are short
    ListenerList(const ListenerList&) = delete;
    ListenerList& operator=(const ListenerList&) = delete;

    // Fills an empty list. Returns 0, or MOX_ERR_BAD_ARGUMENT for a null name. Takes the
    // class-table lock.
    gint32 find(const gchar* class_name, const gchar* property_name);

    // Null when there is none; borrowed.
    GSList* first() const { return first_; }

private:
    GSList nodes_[kMostPorts];
    GSList* first_ = nullptr;
};

}  // namespace mox

#endif
