// A look at the System V objects of the test's own namespace, and the settings that rule them.
#ifndef MOX_TEST_SYSTEM_V_HPP
#define MOX_TEST_SYSTEM_V_HPP

#include <sys/msg.h>
#include <sys/shm.h>

#include <fstream>
#include <string>

#include "../../../platform/linux/osal/sem_set.hpp"

namespace mox::test {

// How many semaphore sets and queues the layer's key ranges hold.
inline int set_count() {
    int count = 0;
    for (key_t key = osal::first_set_key; key < osal::first_set_key + osal::set_keys; ++key)
        count += shmget(key, 0, 0) >= 0 ? 1 : 0;
    return count;
}

inline int queue_count() {
    int count = 0;
    for (key_t key = osal::first_queue_key; key < osal::first_queue_key + osal::queue_keys; ++key)
        count += msgget(key, 0) >= 0 ? 1 : 0;
    return count;
}

// A setting under /proc/sys/kernel; -1 when it cannot be read.
inline long read_setting(const std::string& name) {
    std::ifstream file{"/proc/sys/kernel/" + name};
    long value = -1;
    file >> value;
    return file ? value : -1;
}

inline bool write_setting(const std::string& name, long value) {
    std::ofstream file{"/proc/sys/kernel/" + name};
    file << value << std::endl;
    return file.good();
}

}  // namespace mox::test

#endif
