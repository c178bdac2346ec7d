// What every use of a stored value needs: an object among 1,000, its property, its semaphore.
#ifndef MOX_BENCH_STORED_FLOOR_HPP
#define MOX_BENCH_STORED_FLOOR_HPP

#include "primitives.hpp"

namespace mox::bench {

struct StoredFloor {
    StoredFloor() {
        osal_process_sem_create(&index, &semid, &member);
        static char names[10][8];
        for (int number = 0; number < 10; ++number) {
            g_snprintf(names[number], sizeof(names[number]), "Value%d", number);
            g_hash_table_insert(properties, names[number], names[number]);
        }
    }
    ~StoredFloor() {
        osal_process_sem_free(index, member);
        g_hash_table_destroy(properties);
    }
    StoredFloor(const StoredFloor&) = delete;
    StoredFloor& operator=(const StoredFloor&) = delete;

    void find_object() { objects.find(object_quark); }
    void find_property(const char* name) {
        benchmark::DoNotOptimize(g_hash_table_lookup(properties, name));
    }

    PlainTable objects{"floor", 1000};
    GQuark object_quark = g_quark_from_string("floor_500");
    GHashTable* properties = g_hash_table_new(g_str_hash, g_str_equal);
    gint32 index = 0, semid = 0, member = 0;
};

}  // namespace mox::bench

#endif
