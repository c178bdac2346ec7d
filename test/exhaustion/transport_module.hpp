// A module that makes every call to the owner that there is, each looked at: what it gave, and
// whether it could give that.
//
//   DeskModule module(owner, plan);
//   module.live();
//
// What holds: a call on which the transport failed gives the error's own code, and so a caller
// knows what happened; every other call does what it should, unless an earlier one that failed left
// nothing to do it with, or the connection is gone. One in a process.
#ifndef MOX_TEST_EXHAUSTION_TRANSPORT_MODULE_HPP
#define MOX_TEST_EXHAUSTION_TRANSPORT_MODULE_HPP

#include <moxhost/operator.h>

#include "../process/host_board_model.hpp"
#include "transport_calls.hpp"

namespace mox::test {

// Boards and all rights, overrides being limited, for the modules whose names begin with "desk".
std::string transport_profile(const HostOwner& owner);

class DeskModule {
public:
    DeskModule(const HostOwner& owner, const TransportPlan& plan) : owner_(owner), plan_(plan) {}

    void live();

private:
    enum class Kind {
        alone,    // one call to the owner, which depends on none before
        after,    // one that needs what earlier ones did
        by_hooks  // it goes through the object store, or is followed by a word to the owner
    };

    void join_at_last();
    void ask_for_lists();
    void ask_for_listings();
    void use_boards();
    void write_values();
    void save_values();
    void override_values();
    void operate();

    // call: returns whether it succeeded.
    template <typename Call>
    void host(const char* name, Kind kind, Call call);
    // call: returns a status of the object store.
    template <typename Call>
    void core(const char* name, Call call);

    // Whether a call has failed that was not made good.
    bool has_failed() const { return transport_failures() > made_good_; }
    bool is_cut_off() const { return plan_.fault == TransportFault::closed && has_failed(); }
    int code_of_fault() const;

    const HostOwner& owner_;
    TransportPlan plan_;
    ModulePtr module_;
    unsigned made_good_ = 0;
};

}  // namespace mox::test

#endif
