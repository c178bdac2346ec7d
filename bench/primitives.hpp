// The primitives that an operation cannot do without, each as the best code for it alone: the
// floors are sums of these.
#ifndef MOX_BENCH_PRIMITIVES_HPP
#define MOX_BENCH_PRIMITIVES_HPP

#include <benchmark/benchmark.h>
#include <glib.h>
#include <moxplat/osal.h>

#include <cstring>
#include <string>

namespace mox::bench {

// A record as small as a table lookup needs one.
struct PlainRecord {
    gint32 ref_count = 1;
};

// A table of names and the mutex that guards it.
class PlainTable {
public:
    PlainTable(const std::string& family, int count)
        : table_(g_hash_table_new(g_str_hash, g_str_equal)) {
        g_rec_mutex_init(&mutex_);
        for (int number = 0; number < count; ++number) {
            g_hash_table_insert(table_, g_strdup((family + "_" + std::to_string(number)).c_str()),
                                new PlainRecord);
        }
    }
    ~PlainTable() {
        g_hash_table_foreach(
            table_,
            [](gpointer key, gpointer value, gpointer) {
                g_free(key);
                delete static_cast<PlainRecord*>(value);
            },
            nullptr);
        g_hash_table_destroy(table_);
        g_rec_mutex_clear(&mutex_);
    }
    PlainTable(const PlainTable&) = delete;
    PlainTable& operator=(const PlainTable&) = delete;

    // Quark to name, then the same.
    void find(GQuark quark) { find(g_quark_to_string(quark)); }

    // Mutex, lookup, reference taken and dropped.
    void find(const gchar* name) {
        g_rec_mutex_lock(&mutex_);
        auto* record = static_cast<PlainRecord*>(g_hash_table_lookup(table_, name));
        g_atomic_int_inc(&record->ref_count);
        g_rec_mutex_unlock(&mutex_);
        g_atomic_int_add(&record->ref_count, -1);
    }

private:
    GHashTable* table_;
    GRecMutex mutex_;
};

// A semaphore taken and released around a copy of size bytes into fresh memory that a value then
// owns and frees.
inline void copy_into_value(gint32 semid, gint32 member, const GVariantType* type,
                            const void* bytes, gsize size) {
    osal_process_sem_p(semid, member);
    gpointer copy = g_malloc(size);
    std::memcpy(copy, bytes, size);
    osal_process_sem_v(semid, member);
    GVariant* value = g_variant_new_from_data(type, copy, size, TRUE, g_free, copy);
    benchmark::DoNotOptimize(value);
    g_variant_unref(value);
}

}  // namespace mox::bench

#endif
