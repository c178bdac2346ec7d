// What every use of a stored value needs: an object among 1,000, its property, its semaphore.
#ifndef MOX_BENCH_STORED_FLOOR_HPP
#define MOX_BENCH_STORED_FLOOR_HPP

#include <sys/stat.h>

#include "primitives.hpp"

namespace mox::bench {

struct StoredFloor {
    StoredFloor() {
        osal_process_sem_create(&index, &semid, &member);
        g_mutex_init(&listeners_mutex);
        g_hash_table_insert(classes, const_cast<char*>("Sensor"), properties);
        static char names[10][8];
        for (int number = 0; number < 10; ++number) {
            g_snprintf(names[number], sizeof(names[number]), "Value%d", number);
            g_hash_table_insert(properties, names[number], names[number]);
        }
    }
    ~StoredFloor() {
        osal_process_sem_free(index, member);
        g_hash_table_destroy(properties);
        g_hash_table_destroy(classes);
        g_mutex_clear(&listeners_mutex);
    }
    StoredFloor(const StoredFloor&) = delete;
    StoredFloor& operator=(const StoredFloor&) = delete;

    void find_object() { objects.find(object_quark); }
    void find_property(const char* name) {
        benchmark::DoNotOptimize(g_hash_table_lookup(properties, name));
    }
    // The class's listeners to a property, under the lock that orders them against new ones.
    void find_listeners(const char* name) {
        g_mutex_lock(&listeners_mutex);
        auto* listeners = static_cast<GHashTable*>(g_hash_table_lookup(classes, "Sensor"));
        benchmark::DoNotOptimize(g_hash_table_lookup(listeners, name));
        g_mutex_unlock(&listeners_mutex);
    }
    // A message that is not shown looks anew whether the level's directory lets it be.
    static void look_for_level() {
        struct stat directory;
        benchmark::DoNotOptimize(stat("/tmp/dbglvl/moxbench-floor", &directory));
    }

    PlainTable objects{"floor", 1000};
    GQuark object_quark = g_quark_from_string("floor_500");
    GHashTable* properties = g_hash_table_new(g_str_hash, g_str_equal);
    GHashTable* classes = g_hash_table_new(g_str_hash, g_str_equal);
    GMutex listeners_mutex;
    gint32 index = 0, semid = 0, member = 0;
};

}  // namespace mox::bench

#endif
