// The fake driver library. What holds: one mutex guards all of its state, and no call of another
// layer is made with the mutex held.
#include <moxfake/driver.h>
#include <moxfake/osal.h>

#include <algorithm>
#include <mutex>

namespace mox::fake {
namespace {

struct Accessor {
    bool has_bytes = false;
    std::vector<guint8> bytes;
    gint32 read_code = DRIVER_OK;
    gint32 write_code = DRIVER_OK;
};

struct DriverState {
    std::map<std::string, Accessor> accessors;
    std::vector<DriverRead> reads;
    std::vector<DriverWrite> writes;
    std::vector<PhysicalTable> tables;
    std::vector<guint32> deleted_positions;
    gsize dumps = 0;
    gsize property_calls = 0;
    guint properties_until_failure = 0;  // 0: no failure is planned
    guint calls_until_failure = 0;       // of reads and writes; 0: no failure is planned
    bool fails_from_then_on = false;
    gint32 planned_code = DRIVER_OK;
};

std::mutex mutex;
DriverState state;
gsize live_properties = 0;

// The bytes of a read; the caller holds the mutex.
gint32 copy_bytes(const Accessor& accessor, gint32 offset, gsize length, gpointer out) {
    if (accessor.read_code != DRIVER_OK) {
        return accessor.read_code;
    }
    if (!accessor.has_bytes) {
        return DRIVER_ERR_UNKNOWN_ACCESSOR;
    }
    const gsize size = accessor.bytes.size();
    const auto start = static_cast<gsize>(offset);
    const gsize count = length != 0 ? length : std::min<gsize>(size, 8);
    if (start > size || count > size - start) {
        return DRIVER_ERR_RANGE;
    }
    std::copy_n(accessor.bytes.begin() + offset, count, static_cast<guint8*>(out));
    return DRIVER_OK;
}

std::vector<PhysicalProperty> printed_list(const GSList* list) {
    std::vector<PhysicalProperty> properties;
    for (const GSList* node = list; node != nullptr; node = node->next) {
        const auto* property = static_cast<const OBJ_PROPERTY_S*>(node->data);
        gchar* value = g_variant_print(property->value, TRUE);
        properties.push_back({property->name, value});
        g_free(value);
    }
    return properties;
}

PhysicalTable printed_table(GHashTable* objects) {
    PhysicalTable table;
    GHashTableIter entries;
    gpointer key = nullptr;
    gpointer list = nullptr;
    g_hash_table_iter_init(&entries, objects);
    while (g_hash_table_iter_next(&entries, &key, &list) != FALSE) {
        table[static_cast<const gchar*>(key)] = printed_list(static_cast<const GSList*>(list));
    }
    return table;
}

// Counts a read or a write; the code that it shall give, DRIVER_OK for one that goes through. The
// caller holds the mutex.
gint32 planned_code_of_this_call() {
    if (state.calls_until_failure == 0) return DRIVER_OK;
    if (state.calls_until_failure == 1 && state.fails_from_then_on) return state.planned_code;
    --state.calls_until_failure;
    return state.calls_until_failure == 0 ? state.planned_code : gint32{DRIVER_OK};
}

// True when this call is the one that was planned to fail.
bool property_fails_now() {
    const std::scoped_lock lock{mutex};
    ++state.property_calls;
    if (state.properties_until_failure == 0) {
        return false;
    }
    --state.properties_until_failure;
    return state.properties_until_failure == 0;
}

}  // namespace

void driver_reset() {
    const std::scoped_lock lock{mutex};
    state = {};
}

void driver_program_bytes(const std::string& accessor, const std::vector<guint8>& bytes) {
    const std::scoped_lock lock{mutex};
    state.accessors[accessor].bytes = bytes;
    state.accessors[accessor].has_bytes = true;
}

void driver_fail_reads_of(const std::string& accessor, gint32 code) {
    const std::scoped_lock lock{mutex};
    state.accessors[accessor].read_code = code;
}

void driver_fail_writes_of(const std::string& accessor, gint32 code) {
    const std::scoped_lock lock{mutex};
    state.accessors[accessor].write_code = code;
}

void driver_fail_call(guint n, gint32 code, bool from_then_on) {
    const std::scoped_lock lock{mutex};
    state.calls_until_failure = n;
    state.planned_code = code;
    state.fails_from_then_on = from_then_on;
}

std::vector<DriverRead> driver_reads() {
    const std::scoped_lock lock{mutex};
    return state.reads;
}

std::vector<DriverRead> driver_reads_of(const std::string& accessor) {
    std::vector<DriverRead> reads = driver_reads();
    std::erase_if(reads, [&](const DriverRead& read) { return read.accessor != accessor; });
    return reads;
}

std::vector<DriverWrite> driver_writes() {
    const std::scoped_lock lock{mutex};
    return state.writes;
}

void driver_fail_property(guint n) {
    const std::scoped_lock lock{mutex};
    state.properties_until_failure = n;
}

gsize driver_property_calls() {
    const std::scoped_lock lock{mutex};
    return state.property_calls;
}

gsize driver_live_properties() {
    const std::scoped_lock lock{mutex};
    return live_properties;
}

std::vector<PhysicalTable> driver_tables() {
    const std::scoped_lock lock{mutex};
    return state.tables;
}

std::vector<guint32> driver_deleted_positions() {
    const std::scoped_lock lock{mutex};
    return state.deleted_positions;
}

gsize driver_dumps() {
    const std::scoped_lock lock{mutex};
    return state.dumps;
}

}  // namespace mox::fake

gint32 accessor_read(const gchar* accessor, gint32 offset, gsize length, gpointer out) {
    using namespace mox::fake;
    if (accessor == nullptr || out == nullptr || offset < 0 || (length == 0 && offset != 0)) {
        return DRIVER_ERR_BAD_ARGUMENT;
    }
    const gsize held = osal::held_by_this_thread();
    const std::scoped_lock lock{mutex};
    state.reads.push_back({accessor, offset, length, held});
    if (const gint32 code = planned_code_of_this_call(); code != DRIVER_OK) return code;
    const auto found = state.accessors.find(accessor);
    return found == state.accessors.end() ? DRIVER_ERR_UNKNOWN_ACCESSOR
                                          : copy_bytes(found->second, offset, length, out);
}

gint32 accessor_write(const gchar* accessor, gint32 offset, gsize length, gconstpointer in) {
    using namespace mox::fake;
    if (accessor == nullptr || in == nullptr || offset < 0 || length == 0) {
        return DRIVER_ERR_BAD_ARGUMENT;
    }
    const gsize held = osal::held_by_this_thread();
    const auto* bytes = static_cast<const guint8*>(in);
    const std::scoped_lock lock{mutex};
    state.writes.push_back({accessor, offset, {bytes, bytes + length}, held});
    if (const gint32 code = planned_code_of_this_call(); code != DRIVER_OK) return code;
    const auto found = state.accessors.find(accessor);
    return found == state.accessors.end() ? DRIVER_OK : found->second.write_code;
}

OBJ_PROPERTY_S* create_has_property(const gchar* name, GVariant* value) {
    using namespace mox::fake;
    if (name == nullptr || *name == '\0' || value == nullptr || property_fails_now()) {
        return nullptr;
    }
    OBJ_PROPERTY_S* property = g_new(OBJ_PROPERTY_S, 1);
    property->name = g_strdup(name);
    property->value = g_variant_take_ref(value);
    const std::scoped_lock lock{mutex};
    ++live_properties;
    return property;
}

void free_has_property(gpointer property) {
    using namespace mox::fake;
    auto* owned = static_cast<OBJ_PROPERTY_S*>(property);
    if (owned == nullptr) {
        return;
    }
    g_free(owned->name);
    if (owned->value != nullptr) {
        g_variant_unref(owned->value);
    }
    g_free(owned);
    const std::scoped_lock lock{mutex};
    --live_properties;
}

void create_physical_object(GHashTable* objects) {
    using namespace mox::fake;
    if (objects == nullptr) {
        return;
    }
    PhysicalTable table = printed_table(objects);
    const std::scoped_lock lock{mutex};
    state.tables.push_back(std::move(table));
}

void delete_physical_object(guint32 position) {
    using namespace mox::fake;
    const std::scoped_lock lock{mutex};
    state.deleted_positions.push_back(position);
}

void dump_physical_object(FILE* stream) {
    using namespace mox::fake;
    if (stream == nullptr) {
        return;
    }
    std::fputs(driver_dump_text, stream);
    const std::scoped_lock lock{mutex};
    ++state.dumps;
}
