// Names for the processes and threads that the owner's lists tell by number.
#ifndef MOX_TOOL_PROCESSES_HPP
#define MOX_TOOL_PROCESSES_HPP

#include <glib.h>

#include <map>
#include <string>

#include "membership.hpp"

namespace mox::tool {

class ProcessNames {
public:
    ProcessNames() = default;  // of programs only
    explicit ProcessNames(const Membership& owner);

    // The name of the module that a process has joined as, else the program's; "" for neither.
    std::string name_of(gint32 process) const;

private:
    std::map<gint32, std::string> modules_;
};

// The process that a thread belongs to; 0 when it has ended.
gint32 process_of_thread(gint32 thread);

}  // namespace mox::tool

#endif
