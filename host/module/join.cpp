// Joining and leaving. The order of a join: connection, comparison of the builds,
// what limits overrides, pool, classes, ids, hooks, queue. What fails on the way closes the
// connection, and the owner then undoes its part.
#include <classnode.h>
#include <classtree.h>
#include <lom.h>
#include <pub.h>
#include <shmem.h>
#include <unistd.h>

#include <atomic>

#include "module/dropped_copies.hpp"
#include "module/host_error.hpp"
#include "module/module.hpp"
#include "module/object_hooks.hpp"
#include "module/override_check.hpp"
#include "module/owner_link.hpp"
#include "module/pool_attach.hpp"
#include "module/restart.hpp"
#include "module/store_hooks.hpp"
#include "wire/directories.hpp"
#include "wire/interface.hpp"
#include "wire/record_layout.hpp"
#include "wire/spare_descriptors.hpp"

namespace mox::host {
namespace {

enum class Life { new_born, joining, joined, left };
std::atomic<Life> life{Life::new_born};

// What the owner gives to a module.
struct Grant {
    gint32 bitmap_id = 0;
    gint32 queue_id = 0;
    guint64 class_base = 0;
    guint64 class_tree = 0;
    guint64 read_stamps = 0;
    guint64 loss_table = 0;
    gint32 pool_id = 0;
    guint64 pool_bytes = 0;
};

template <typename Record>
Record* at_address(guint64 address) {
    return reinterpret_cast<Record*>(static_cast<std::uintptr_t>(address));
}

bool check_arguments(const gchar* name, GError** error) {
    const std::size_t length = name == nullptr ? 0 : std::char_traits<char>::length(name);
    if (length == 0 || length > 31 || g_utf8_validate(name, -1, nullptr) == FALSE) {
        set_error(error, MOXHOST_ERROR_REFUSED, "a module's name must be UTF-8 of 1 to 31 bytes");
        return false;
    }
    if (shm_is_owner() != FALSE) {
        set_error(error, MOXHOST_ERROR_STATE,
                  "this process owns the pool itself; join in another process");
        return false;
    }
    const std::string cause = wire::missing_descriptors(wire::module_descriptors);
    if (!cause.empty()) {
        set_error(error, MOXHOST_ERROR_NO_OWNER, "the owner cannot be asked: " + cause);
        return false;
    }
    return true;
}

bool ask_to_join(const gchar* name, MOX_MODULE_TYPE type, Grant& grant, GError** error) {
    const VariantPtr reply = owner_link().call(
        "Join",
        g_variant_new("(siius)", name, static_cast<gint32>(type), static_cast<gint32>(getpid()),
                      wire::word_bits, wire::record_layout().c_str()),
        wire::join_reply, error);
    if (!reply) {
        return false;
    }
    g_variant_get(reply.get(), wire::join_reply, &grant.bitmap_id, &grant.queue_id,
                  &grant.class_base, &grant.class_tree, &grant.read_stamps, &grant.loss_table,
                  &grant.pool_id, &grant.pool_bytes);
    return true;
}

bool is_in_pool(guint64 address, gsize length, const Grant& grant) {
    constexpr guint64 pool_alignment = 8;
    return address % pool_alignment == 0 &&
           lies_in_pool(at_address<void>(address), length, grant.pool_bytes);
}

// An owner without a tree, whose address is null, is good as well.
bool has_tree_in_pool(const Grant& grant) {
    if (grant.class_tree == 0) {
        return true;
    }
    if (!is_in_pool(grant.class_tree, sizeof(DEFINED_CLASS_ARRAY_S), grant)) {
        return false;
    }
    const auto* const tree = at_address<const DEFINED_CLASS_ARRAY_S>(grant.class_tree);
    const guint64 bytes = sizeof *tree + guint64{tree->size} * sizeof(DEFINED_CLASS_NODE_S);
    return tree->size <= grant.pool_bytes &&
           is_in_pool(grant.class_tree, static_cast<gsize>(bytes), grant);
}

// Readers go through all of its entries.
bool has_stamps_in_pool(const Grant& grant) {
    if (!is_in_pool(grant.read_stamps, sizeof(wire::ReadStampTable), grant)) {
        return false;
    }
    const auto* const table = at_address<const wire::ReadStampTable>(grant.read_stamps);
    const guint64 bytes = sizeof *table + guint64{table->count} * sizeof(wire::ReadStamp);
    return bytes <= grant.pool_bytes &&
           is_in_pool(grant.read_stamps, static_cast<gsize>(bytes), grant);
}

bool use_pool(const Grant& grant, GError** error) {
    if (grant.bitmap_id < 1 || grant.bitmap_id >= wire::loss_entries) {
        set_error(error, MOXHOST_ERROR_NO_POOL,
                  "the owner gave the number " + std::to_string(grant.bitmap_id) +
                      ", which no module can have; start an owner of this build");
        return false;
    }
    const std::string cause = attach_pool(grant.pool_id, grant.pool_bytes);
    if (!cause.empty()) {
        set_error(error, MOXHOST_ERROR_NO_POOL, cause);
        return false;
    }
    const bool has_classes = grant.class_base != 0;
    if ((has_classes && !is_in_pool(grant.class_base, sizeof(SHARE_CLASS_DATA_S), grant)) ||
        !has_tree_in_pool(grant) || !has_stamps_in_pool(grant) ||
        !is_in_pool(grant.loss_table, sizeof(wire::LossTable), grant)) {
        set_error(error, MOXHOST_ERROR_NO_POOL,
                  "the addresses that the owner gave do not lie in the pool");
        return false;
    }
    cls_init_share_data(at_address<void>(grant.class_base));
    clt_set_tree_addr(at_address<void>(grant.class_tree));
    return true;
}

MoxHostModule* make_module(const gchar* name, MOX_MODULE_TYPE type, const Grant& grant) {
    auto module = std::make_unique<MoxHostModule>();
    module->info.module_id = grant.bitmap_id;
    module->info.pid = getpid();
    module->info.rpc_port = grant.bitmap_id;
    module->info.msg_que_id = grant.queue_id;
    module->info.share_class_base = at_address<void>(grant.class_base);
    g_strlcpy(module->info.module_name, name, sizeof module->info.module_name);
    module->read_stamps = at_address<wire::ReadStampTable>(grant.read_stamps);
    module->losses = at_address<wire::LossTable>(grant.loss_table);
    wire::count_losses_in(module->losses);
    lom_set_bitmap_id(grant.bitmap_id);
    lom_set_module_type(type);
    ipc_msg_set_port(grant.queue_id);
    install_object_hooks(grant.pool_bytes, grant.bitmap_id);
    install_store_hooks();
    module->inbox = std::make_unique<Inbox>(grant.queue_id);
    return module.release();
}

// The inbox of the module that is joined, for the end of the connection. Used in one thread.
Inbox* lost_inbox = nullptr;

MoxHostModule* join(const std::string& run_dir, const gchar* name, MOX_MODULE_TYPE type,
                    GError** error) {
    const auto on_lost = [] {
        if (lost_inbox != nullptr) {
            lost_inbox->note_lost();
            note_connection_lost();
        }
    };
    Grant grant;
    // The pool comes last: a process attaches one in its life, so an owner that goes before its
    // last answer must not have left its own here, or there would be no other attempt.
    if (!owner_link().open(run_dir, {on_lost, drop_copies_and_tell}, error) ||
        !ask_to_join(name, type, grant, error) || !install_override_check(error) ||
        !use_pool(grant, error)) {
        remove_override_check();
        owner_link().close();
        return nullptr;
    }
    MoxHostModule* const module = make_module(name, type, grant);
    lost_inbox = module->inbox.get();
    note_joined(module, run_dir);
    return module;
}

constexpr gulong between_attempts_us = 50000;

// The owner whose arrival had this program executed anew may have gone again, so that such a
// process gives it some time.
MoxHostModule* join_with_patience(const gchar* run_dir, const gchar* name, MOX_MODULE_TYPE type,
                                  GError** error) {
    const gint64 end = g_get_monotonic_time() + join_patience_us();
    for (;;) {
        GError* failure = nullptr;
        MoxHostModule* const module = join(wire::owner_directory(run_dir), name, type, &failure);
        if (module != nullptr) {
            return module;
        }
        if (!may_pass(*failure) || g_get_monotonic_time() >= end) {
            g_propagate_error(error, failure);
            return nullptr;
        }
        g_error_free(failure);
        g_usleep(between_attempts_us);
    }
}

}  // namespace
}  // namespace mox::host

using namespace mox::host;

MoxHostModule* moxhost_join(const gchar* run_dir, const gchar* module_name,
                            MOX_MODULE_TYPE module_type, GError** error) {
    if (!check_arguments(module_name, error)) {
        return nullptr;
    }
    Life expected = Life::new_born;
    if (!life.compare_exchange_strong(expected, Life::joining)) {
        set_error(error, MOXHOST_ERROR_STATE,
                  expected == Life::left ? "this process has left; a process joins once"
                                         : "this process has joined already");
        return nullptr;
    }
    pub_log_init(nullptr, g_intern_string(module_name));
    MoxHostModule* const module = join_with_patience(run_dir, module_name, module_type, error);
    life.store(module == nullptr ? Life::new_born : Life::joined);
    return module;
}

void moxhost_leave(MoxHostModule* module) {
    if (module == nullptr) {
        return;
    }
    lost_inbox = nullptr;
    note_leaving();
    module->inbox.reset();
    remove_store_hooks();
    remove_object_hooks();
    // An owner that noticed the lost connection has cleared this module's bits already, and may
    // have given them to another one.
    if (owner_link().is_lost()) {
        lom_set_bitmap_id(0);
    }
    // What they lead to may be freed from now on.
    drop_all_copies();
    // Without an answer the owner notices the closed connection, or is gone itself.
    owner_link().call("Leave", nullptr, wire::empty_reply, nullptr);
    owner_link().close();
    remove_override_check();  // without a link it refuses, so no override slips by meanwhile
    // A copy that is held here all the same must not clear the bit of a later module.
    lom_set_bitmap_id(0);
    ipc_msg_set_port(0);
    wire::count_losses_in(nullptr);
    delete module;
    life.store(Life::left);
}

const MODULE_REG_INFO_S* moxhost_reg_info(const MoxHostModule* module) {
    return &module->info;
}
