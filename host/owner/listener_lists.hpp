// The classes' listener lists in the pool, kept by their one writer: the library adds ports, this
// file takes them away.
#ifndef MOXHOST_OWNER_LISTENER_LISTS_HPP
#define MOXHOST_OWNER_LISTENER_LISTS_HPP

#include <classnode.h>

#include <deque>
#include <string>
#include <vector>

namespace mox::host {

// For the thread of the main loop only.
class ListenerLists {
public:
    // class_names: every class of the model.
    explicit ListenerLists(std::vector<std::string> class_names);
    ~ListenerLists();
    ListenerLists(const ListenerLists&) = delete;
    ListenerLists& operator=(const ListenerLists&) = delete;

    // Registers a port for a class's property. False when the pool had no room for it.
    bool add(const std::string& class_name, const std::string& property, gint32 port);

    // Takes a port out of every list.
    void remove_port(gint32 port);

private:
    // A list that no longer heads its class, and when nobody can be reading it any more.
    struct Retired {
        SERIALIZED_LISTENER_LIST_S* list;
        gint64 free_at_us;
    };

    void retire(SERIALIZED_LISTENER_LIST_S* list);
    bool free_due(gint64 now_us);

    std::vector<std::string> class_names_;
    std::deque<Retired> retired_;  // earliest first
    guint timer_ = 0;
};

}  // namespace mox::host

#endif
