// This program defines accessor_read itself, in front of the driver library's: the dynamic linker
// gives a program's definition to every library that calls the name, so each hardware read of the
// object core passes through here. The call is forwarded unchanged to the next definition in the
// search order, the driver library's. After a success the accessor's stamp gets the time, so it is
// set before the core stores and announces the value. An accessor that begins to fail, or answers
// again, gets one log line: the periodic reads themselves say nothing.
#include "owner/read_stamps.hpp"

#include <dlfcn.h>
#include <moxplat/driver.h>
#include <pub.h>
#include <shmem.h>

#include <atomic>
#include <memory>
#include <new>
#include <set>
#include <string>

#include "owner/start_error.hpp"
#include "wire/read_stamp_table.hpp"

namespace mox::host {
namespace {

using wire::ReadStamp;
using wire::ReadStampTable;

struct Stamps {
    ReadStampTable* table;
    std::unique_ptr<std::atomic<gint32>[]> last_result;  // by entry
};

// Set once, never freed: reads may run in any thread until the process ends.
std::atomic<Stamps*> stamps{nullptr};

bool is_failure(gint32 result) {
    return result != DRIVER_OK && result != DRIVER_ERR_NOT_READY;
}

void report_change(const gchar* accessor, gint32 before, gint32 now) {
    if (is_failure(now) && now != before) {
        pub_debug_print(MX_DBG_ERR, "accessor %s: %s (%d).\n", accessor, driver_error_text(now),
                        now);
    } else if (is_failure(before) && !is_failure(now)) {
        pub_debug_print(MX_DBG_INFO, "accessor %s answers again.\n", accessor);
    }
}

void note_read(const gchar* accessor, gint32 result) {
    Stamps* const known = stamps.load(std::memory_order_acquire);
    ReadStamp* const entry =
        known == nullptr ? nullptr : wire::find_read_stamp(known->table, accessor);
    if (entry == nullptr) {
        return;
    }
    if (result == DRIVER_OK) {
        entry->read_ns.store(wire::now_ns(), std::memory_order_release);
    }
    const auto index = static_cast<std::size_t>(entry - known->table->entries());
    const gint32 before = known->last_result[index].exchange(result, std::memory_order_relaxed);
    report_change(accessor, before, result);
}

}  // namespace

void make_read_stamps(const Profile& profile) {
    std::set<std::string> accessors;
    for (const ObjectDef& object : profile.objects) {
        for (const PropertyValue& property : object.properties) {
            if (!property.accessor.empty()) {
                accessors.insert(property.accessor);
            }
        }
    }
    auto* const table = static_cast<ReadStampTable*>(
        shm_alloc0(sizeof(ReadStampTable) + accessors.size() * sizeof(ReadStamp)));
    if (table == nullptr) {
        throw StartError{
            "the pool has no room for the accessors' read times; set " SHM_SIZE_VARIABLE
            " to a larger number of MiB, up to 32"};
    }
    auto made = std::make_unique<Stamps>();
    made->table = table;
    made->last_result = std::make_unique<std::atomic<gint32>[]>(accessors.size());
    for (const std::string& accessor : accessors) {
        auto* const entry = new (table->entries() + table->count) ReadStamp{};
        g_strlcpy(entry->accessor, accessor.c_str(), sizeof entry->accessor);
        ++table->count;
    }
    stamps.store(made.release(), std::memory_order_release);
}

gpointer read_stamp_table() {
    const Stamps* const known = stamps.load(std::memory_order_acquire);
    return known == nullptr ? nullptr : known->table;
}

}  // namespace mox::host

gint32 accessor_read(const gchar* accessor, gint32 offset, gsize length, gpointer out) {
    using Read = decltype(&accessor_read);
    static const auto driver = reinterpret_cast<Read>(dlsym(RTLD_NEXT, "accessor_read"));
    if (driver == nullptr) {
        return DRIVER_ERR_IO;
    }
    const gint32 result = driver(accessor, offset, length, out);
    if (accessor != nullptr) {
        mox::host::note_read(accessor, result);
    }
    return result;
}
