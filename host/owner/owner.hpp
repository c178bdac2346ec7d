// The owner process's life: everything it has in the system is a member here, made in this order by
// the constructor and removed in the reverse order by the destructor, also when a later member
// could not be made.
#ifndef MOXHOST_OWNER_OWNER_HPP
#define MOXHOST_OWNER_OWNER_HPP

#include <glib.h>

#include <memory>
#include <optional>
#include <string>

#include "model/model_index.hpp"
#include "owner/board_plug.hpp"
#include "owner/formula_refresh.hpp"
#include "owner/listener_lists.hpp"
#include "owner/module_registry.hpp"
#include "owner/owner_group.hpp"
#include "owner/owner_methods.hpp"
#include "owner/pool_segment.hpp"
#include "owner/refusal_log.hpp"
#include "owner/removed_objects.hpp"
#include "owner/run_dir.hpp"
#include "owner/store.hpp"
#include "owner/transport_server.hpp"
#include "profile/profile.hpp"

namespace mox::host {

// Semaphores and queues of this process, for its user or for its group, too: whatever is still
// there is removed with this object.
class LayerHold {
public:
    explicit LayerHold(Reach reach);
    ~LayerHold();
    LayerHold(const LayerHold&) = delete;
    LayerHold& operator=(const LayerHold&) = delete;
};

// The directories that an owner uses: socket and lock, what outlives a loss of power, what does
// not.
struct Directories {
    std::string run;
    std::string state;
    std::string volatile_state;
};

class Owner {
public:
    // Opens the store, makes pool and model, reads the hardware once and opens the socket. Throws a
    // StartError; a store that cannot be opened is none.
    Owner(Profile profile, const Directories& directories, const std::string& name);
    ~Owner();
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;

    // Refreshes and serves until the loop, of the default main context, is told to quit.
    void run(GMainLoop* loop);

    // The line that tells scripts that modules may join.
    std::string ready_line() const;

private:
    void start_model(const std::string& name);
    void refresh();
    void tell_gone(guint32 position);
    Saved saved() const { return store_.is_open() ? Saved::restore : Saved::none; }

    Profile profile_;
    std::optional<OwnerGroup> group_;
    RunDir run_dir_;
    Store store_;
    OwnPool pool_;
    LayerHold layer_;
    ModelIndex model_;
    ListenerLists lists_;
    RemovedObjects removed_;
    RefusalLog refusals_;
    ModuleRegistry registry_;
    FormulaRefresh formulas_;
    BoardPlug boards_;
    OwnerMethods methods_;
    std::unique_ptr<TransportServer> transport_;
};

}  // namespace mox::host

#endif
