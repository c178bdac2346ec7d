// Another process of the system, played by this one: it knows no class, has no base and is not the
// pool's owner. What the owner built in the pool is still there. At scope end this process is the
// owner again.
#ifndef MOX_TEST_MEMBER_PROCESS_HPP
#define MOX_TEST_MEMBER_PROCESS_HPP

#include <utility>

#include "pool_fixture.hpp"

namespace mox::test {

class MemberProcess {
public:
    MemberProcess()
        : owners_table_(std::exchange(g_class_hashtable, nullptr)),
          owners_base_(std::exchange(g_share_data_base_addr, nullptr)) {
        become_member();
    }
    ~MemberProcess() {
        if (g_class_hashtable != nullptr) g_hash_table_destroy(g_class_hashtable);
        become_owner();
        g_class_hashtable = owners_table_;
        g_share_data_base_addr = owners_base_;
    }
    MemberProcess(const MemberProcess&) = delete;
    MemberProcess& operator=(const MemberProcess&) = delete;

    // The base as the owner hands it out.
    gpointer owners_base() const { return owners_base_; }

private:
    GHashTable* owners_table_;
    gpointer owners_base_;
};

}  // namespace mox::test

#endif
