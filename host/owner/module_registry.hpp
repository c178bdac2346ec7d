// The modules that have joined: their names, bitmap ids and queues.
#ifndef MOXHOST_OWNER_MODULE_REGISTRY_HPP
#define MOXHOST_OWNER_MODULE_REGISTRY_HPP

#include <moxlib/moxbase.h>

#include <array>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "owner/listener_lists.hpp"
#include "owner/removed_objects.hpp"

namespace mox::host {

struct JoinedModule {
    std::string name;
    MOX_MODULE_TYPE type = MODULE_APP;
    gint32 pid = 0;
    gint32 bitmap_id = 0;
    gint32 queue_id = 0;
    gint64 joined_us = 0;     // since 1970
    guint64 join_number = 0;  // counts the joins
};

inline constexpr gint32 owner_id = 0;
inline constexpr gint32 lowest_bitmap_id = 1;
inline constexpr gint32 highest_bitmap_id = 127;

// For the thread of the main loop only.
class ModuleRegistry {
public:
    // owner_name: taken from the start. lists, removed: outlive the registry.
    ModuleRegistry(std::string owner_name, ListenerLists& lists, RemovedObjects& removed);

    // Takes a module in: gives it the lowest free bitmap id and a queue of its own. Returns it,
    // valid until it leaves, or why not.
    std::variant<const JoinedModule*, std::string> join(const std::string& name,
                                                        MOX_MODULE_TYPE type, gint32 pid);

    // The module with the id; null for a number that is no joined module's.
    const JoinedModule* find(gint32 bitmap_id) const;

    // The joined modules by id, valid until one joins or leaves.
    std::vector<const JoinedModule*> all() const;

    // Undoes a join: the module's bits, its ports and its queue are gone afterwards, its name and
    // id free again, and what only it had copies of is freed. Unknown ids are ignored.
    void leave(gint32 bitmap_id);

    void leave_all();

private:
    std::string owner_name_;
    ListenerLists& lists_;
    RemovedObjects& removed_;
    std::array<std::optional<JoinedModule>, highest_bitmap_id + 1> modules_;  // by bitmap id
    guint64 joins_ = 0;
};

// A queue of this process; 0, which stands for "no port", when there is none to be had (logged).
gint32 make_queue();

}  // namespace mox::host

#endif
