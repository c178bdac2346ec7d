// Looks only: no lock is taken and no message touched, so that a stuck module is seen as it is.
#include "owner/resource_listing.hpp"

#include <moxplat/osal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <fstream>

#include "owner/call_arguments.hpp"
#include "owner/lost_messages.hpp"
#include "owner/object_record.hpp"
#include "owner/pool_segment.hpp"
#include "owner/sent_events.hpp"
#include "wire/operator_types.hpp"

namespace mox::host {
namespace {

constexpr guint32 bits_in_word = 32;

bool has_copy(const OBJECT_HEAD_S& record, gint32 bitmap_id) {
    const auto bit = static_cast<guint32>(bitmap_id);
    guint32& word = record.ref_bitmap[bit / bits_in_word];
    return (std::atomic_ref<guint32>(word).load(std::memory_order_relaxed) &
            (1U << (bit % bits_in_word))) != 0;
}

guint32 count_copies(const std::vector<RecordPtr>& records, gint32 bitmap_id) {
    return static_cast<guint32>(std::count_if(
        records.begin(), records.end(),
        [bitmap_id](const RecordPtr& record) { return has_copy(*record, bitmap_id); }));
}

guint32 count_listens(const std::vector<ClassDef>& classes, gint32 port) {
    guint32 count = 0;
    for (const ClassDef& entry : classes) {
        for (const PropertyDef& property : entry.all_properties) {
            GSList* ports = nullptr;
            cls_get_listener_list(entry.name.c_str(), property.name.c_str(), &ports);
            count += g_slist_find(ports, GINT_TO_POINTER(port)) != nullptr ? 1U : 0U;
            g_slist_free(ports);
        }
    }
    return count;
}

void add_module(GVariantBuilder& list, const JoinedModule& module, guint32 copies,
                guint32 listens) {
    OSAL_QUEUE_STATE_S queue = {};
    osal_process_queue_state(module.queue_id, &queue);
    g_variant_builder_add(&list, wire::module_info, module.name.c_str(),
                          static_cast<gint32>(module.type), module.pid, module.bitmap_id,
                          module.queue_id, module.joined_us, copies, listens,
                          static_cast<guint32>(queue.messages), queue.bytes, queue.limit,
                          events_sent(module.queue_id), messages_lost(module.bitmap_id));
}

// The process that a thread belongs to; 0 when the system does not tell.
gint32 process_of(gint32 thread) {
    std::ifstream status("/proc/" + std::to_string(thread) + "/status");
    std::string word;
    while (status >> word) {
        if (word == "Tgid:") {
            gint32 process = 0;
            return status >> process ? process : 0;
        }
    }
    return 0;
}

GVariant* threads_of(const OSAL_SEM_STATE_S& lock) {
    return g_variant_new_fixed_array(G_VARIANT_TYPE_INT32, lock.waiters, lock.waiter_count,
                                     sizeof lock.waiters[0]);
}

}  // namespace

ResourceListing::ResourceListing(const ModelIndex& model, const ModuleRegistry& registry,
                                 const RemovedObjects& removed, const ModelListing& listing,
                                 std::string owner_name)
    : model_(model),
      registry_(registry),
      removed_(removed),
      listing_(listing),
      owner_name_(std::move(owner_name)) {}

GVariant* ResourceListing::answer(const std::string& method, GVariant* arguments) const {
    if (method == "ModuleInfos") return module_infos();
    if (method == "LockInfos") return lock_infos(flag_at(arguments, 0) != FALSE);
    if (method == "PoolInfo") return pool_info();
    return nullptr;
}

GVariant* ResourceListing::module_infos() const {
    std::vector<RecordPtr> records;
    for (const std::string& name : listing_.object_names()) {
        if (RecordPtr record = record_of(name)) {
            records.push_back(std::move(record));
        }
    }
    GVariantBuilder list;
    g_variant_builder_init(&list, G_VARIANT_TYPE(wire::module_infos));
    const JoinedModule owner{owner_name_, lom_get_module_type(),   getpid(),
                             owner_id,    counted_queue(owner_id), started_us_};
    add_module(list, owner, 0, 0);
    for (const JoinedModule* const module : registry_.all()) {
        add_module(list, *module, count_copies(records, module->bitmap_id),
                   count_listens(model_.profile().classes, module->queue_id));
    }
    return g_variant_new(wire::module_infos_reply, &list);
}

GVariant* ResourceListing::lock_infos(bool all) const {
    GVariantBuilder list;
    g_variant_builder_init(&list, G_VARIANT_TYPE(wire::lock_infos));
    for (const std::string& name : listing_.object_names()) {
        const RecordPtr record = record_of(name);
        OSAL_SEM_STATE_S lock = {};
        if (!record ||
            osal_process_sem_state(record->semid, record->sem_member, &lock) != OSAL_OK) {
            continue;
        }
        if (all || lock.holder != 0 || lock.waiter_count > 0) {
            g_variant_builder_add(&list, wire::lock_info, name.c_str(), record->semid,
                                  record->sem_member, lock.holder, process_of(lock.holder),
                                  lock.holder_is_dead, threads_of(lock));
        }
    }
    return g_variant_new(wire::lock_infos_reply, &list);
}

GVariant* ResourceListing::pool_info() const {
    const shm_malloc_info pool = pool_figures();
    return g_variant_new(wire::pool_info_reply, guint64{pool.usmblks}, guint64{pool.uordblks},
                         guint64{pool.keepcost}, guint64{pool.ordblks}, listing_.object_bytes(),
                         listing_.class_bytes(), guint64{removed_.count()});
}

}  // namespace mox::host
