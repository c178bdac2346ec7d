// A live owner in this system is left alone: it is looked for before anything is touched. Leftovers
// of dead ones are removed before anything is made.
#include "owner/owner.hpp"

#include <ipcmsg.h>
#include <lom.h>
#include <moxplat/osal.h>

#include <cstdio>

#include "model/collections.hpp"
#include "model/model_build.hpp"
#include "owner/lost_messages.hpp"
#include "owner/read_stamps.hpp"
#include "owner/start_error.hpp"
#include "wire/directories.hpp"
#include "wire/interface.hpp"

namespace mox::host {
namespace {

std::vector<std::string> class_names(const Profile& profile) {
    std::vector<std::string> names;
    for (const ClassDef& entry : profile.classes) {
        names.push_back(entry.name);
    }
    return names;
}

// Throws when the pool has a live owner, or the directory is none for a socket; otherwise gives the
// path back. Nothing has been made then.
const std::string& only_without_owner(const std::string& run_dir) {
    const FoundPool pool = find_pool();
    if (pool.state == PoolState::owned) {
        throw StartError{"process " + std::to_string(pool.owner) + " owns the pool (segment " +
                         std::to_string(pool.id) + "); stop it first"};
    }
    if (wire::socket_address(run_dir).empty()) {
        throw StartError{"socket path " + wire::socket_path(run_dir) +
                         " is too long for a socket; give a shorter --run-dir"};
    }
    return run_dir;
}

void remove_leftovers() {
    const FoundPool pool = find_pool();
    if (pool.state == PoolState::stale) {
        remove_stale_pool(pool);
        std::fprintf(stderr, "moxd: stale pool segment %d of the dead process %d removed\n",
                     pool.id, static_cast<int>(pool.owner));
    }
    gint32 removed = 0;
    const gint32 result = osal_process_remove_stale(&removed);
    if (removed > 0) {
        std::fprintf(stderr, "moxd: %d stale semaphore sets and queues of dead processes removed\n",
                     removed);
    }
    if (result != OSAL_OK) {
        std::fprintf(stderr, "moxd: stale semaphore sets or queues are left: %s\n",
                     osal_error_text(result));
    }
}

Reach reach_of(const std::optional<OwnerGroup>& group) {
    return group ? Reach::group : Reach::user;
}

OwnPool make_pool(Reach reach) {
    remove_leftovers();
    return OwnPool(reach);
}

}  // namespace

LayerHold::LayerHold(Reach reach) {
    osal_process_share_with_group(reach == Reach::group ? TRUE : FALSE);
}

LayerHold::~LayerHold() {
    const gint32 result = osal_process_release_all();
    if (result != OSAL_OK) {
        std::fprintf(stderr, "moxd: semaphores or queues are left: %s\n", osal_error_text(result));
    }
}

Owner::Owner(Profile profile, const Directories& directories, const std::string& name)
    : profile_(std::move(profile)),
      group_(take_group(profile_.group)),
      run_dir_(only_without_owner(directories.run), group_),
      store_(directories.state, directories.volatile_state),
      pool_(make_pool(reach_of(group_))),
      layer_(reach_of(group_)),
      model_(profile_),
      lists_(class_names(profile_)),
      registry_(name, lists_, removed_),
      formulas_(model_),
      boards_(model_, removed_, name, saved(),
              {[this] { refresh(); }, [this](guint32 position) { tell_gone(position); }}),
      methods_({model_, lists_, registry_, removed_, boards_, refusals_}, name,
               {pool_.id(), pool_.bytes()},
               {[this] { refresh(); }, [this] { removed_.reclaim(); }}) {
    start_model(name);
    transport_ = std::make_unique<TransportServer>(run_dir_.path(), group_, methods_);
}

Owner::~Owner() {
    transport_.reset();
    registry_.leave_all();
}

void Owner::start_model(const std::string& name) {
    lom_set_sem_func(osal_process_sem_create, osal_process_sem_free);
    install_own_modify();
    std::string cause = build_model(model_, name, saved());
    if (cause.empty()) {
        cause = rebuild_collections(classes_of(model_.objects_of("")), nullptr);
    }
    if (!cause.empty()) {
        throw StartError{cause};
    }
    const gint32 port = make_queue();
    if (port == 0) {
        throw StartError{"no message queue can be made (see the log line above)"};
    }
    ipc_msg_set_port(port);
    make_loss_table();
    count_lost_for(owner_id, port);
    make_read_stamps(profile_);
    refresh();
}

void Owner::refresh() {
    lom_property_batch_read();
    formulas_.read_all();
    removed_.reclaim();
}

void Owner::tell_gone(guint32 position) {
    transport_->tell_modules(wire::gone_signal, g_variant_new(wire::gone_type, position));
}

void Owner::run(GMainLoop* loop) {
    const GSourceFunc refresh_owner = [](gpointer self) -> gboolean {
        static_cast<Owner*>(self)->refresh();
        return G_SOURCE_CONTINUE;
    };
    const guint timer = g_timeout_add(profile_.refresh_ms, refresh_owner, this);
    g_main_loop_run(loop);
    g_source_remove(timer);
}

std::string Owner::ready_line() const {
    const PoolUsage usage = pool_usage();
    return "ready: " + std::to_string(model_.objects_of("").size()) + " objects, " +
           std::to_string(profile_.classes.size()) + " classes, pool " +
           std::to_string(usage.used) + " of " + std::to_string(pool_.bytes()) + " bytes, socket " +
           transport_->socket_path();
}

}  // namespace mox::host
