// Use of what lies below the objects: blocks of the pool, its segment, values and diagnostics.
#include <lom.h>
#include <moxfake/space.h>
#include <sys/shm.h>
#include <unistd.h>

#include "../unit/lom/write_fixture.hpp"
#include "whole_model.hpp"

namespace mox::test {
namespace {

using Records = GSList;

void free_records(GSList* records) {
    g_slist_free_full(records, g_free);
}

// What the pool's calls change of the process, put back at the end of the scope.
class PoolState {
public:
    ~PoolState() {
        g_dlmalloc_space = space_;
        g_dlmalloc_top = top_;
        sbrk_top = break_;
        key_id = key_;
        init = 0;
        shmctl(shmget(SHM_POOL_KEY, 0, 0), IPC_RMID, nullptr);
        shmdt(reinterpret_cast<gpointer>(std::uintptr_t{SHM_POOL_ADDRESS}));
    }
    PoolState() = default;
    PoolState(const PoolState&) = delete;
    PoolState& operator=(const PoolState&) = delete;

private:
    gpointer space_ = g_dlmalloc_space;
    guint32 top_ = g_dlmalloc_top;
    guint32 break_ = sbrk_top;
    gint32 key_ = key_id;
};

}  // namespace

void WholeModel::use_pool() const {
    EXPECT_TRUE(shm_is_owner());
    auto* const zeros = static_cast<guint8*>(shm_alloc0(16));
    gives_thing("shm_alloc0", zeros != nullptr);
    EXPECT_TRUE(zeros == nullptr || (zeros[0] == 0 && zeros[15] == 0));
    gchar* const text = shm_strdup("abcdef", 4);
    gives_thing("shm_strdup", text != nullptr);
    EXPECT_STREQ(text, text == nullptr ? nullptr : "abc");
    auto* const bytes = static_cast<gchar*>(shm_memdup("abc", 4));
    gives_thing("shm_memdup", bytes != nullptr);
    EXPECT_STREQ(bytes, bytes == nullptr ? nullptr : "abc");
    for (const gpointer block : {gpointer{zeros}, gpointer{text}, gpointer{bytes}}) shm_free(block);
    auto* const record = static_cast<OBJECT_HEAD_S*>(lom_alloc_space(2));
    gives_thing("lom_alloc_space", record != nullptr);
    if (record == nullptr) return;
    EXPECT_EQ(record->property_count, 2U);
    for (const gpointer block : {gpointer{record->name_list}, gpointer{record->property_entry},
                                 gpointer{record->ref_bitmap}}) {
        EXPECT_NE(block, nullptr);
        shm_free(block);
    }
    g_free(record);
}

// A segment of this namespace, made by the owner and attached by another process, which is this one
// again.
void WholeModel::use_segment() const {
    const PoolState state;
    shm_owned_shmem();
    ASSERT_EQ(shm_create(), MOX_OK);
    EXPECT_EQ(shm_create(), MOX_ERR_INTERNAL) << "there is one already";
    EXPECT_EQ(shm_add_mblock(0), reinterpret_cast<gpointer>(std::uintptr_t{sbrk_top}));
    EXPECT_EQ(shm_add_mblock(-1), reinterpret_cast<gpointer>(~std::uintptr_t{0}));
    EXPECT_EQ(shm_add_mblock(G_MAXINT32), nullptr) << "the pool does not grow";
    auto* const first = reinterpret_cast<guint8*>(std::uintptr_t{SHM_POOL_ADDRESS});
    first[0] = 7;
    ASSERT_EQ(shmdt(first), 0);
    shm_app_init();
    EXPECT_EQ(first[0], 7);
}

void WholeModel::convert_values() const {
    const gint32 number = 7;
    const Value value = owned(pub_base_gvariant_new("i", &number));
    GSList* const value_list = g_slist_append(nullptr, value.get());
    GSList* const records = pub_slist_varaint_to_rpc(value_list);
    GSList* const values = pub_slist_rpc_to_varaint(records);
    GSList* const data = pub_slist_rpc_to_data(records);
    GSList* const texts = pub_slist_rpc_to_string(records);
    gchar text[] = "ab";
    GList* const pointers = g_list_append(nullptr, text);
    GSList* const pointer_list = g_slist_append(nullptr, text);
    GSList* const types = pub_slist_vartype_to_rpc(pointer_list);
    GSList* const reversed = pub_list_data_to_rpcslist(pointers, 3);
    GSList* const also_reversed = pub_slist_data_to_rpc(pointer_list, 3);
    RPC_DATA_S* const record = pub_data_to_rpc(3, "s", text);
    for (GSList* const list : {records, values, data, texts, types, reversed, also_reversed}) {
        EXPECT_EQ(g_slist_length(list), 1U);
    }
    EXPECT_EQ(g_variant_get_int32(static_cast<GVariant*>(values->data)), 7);
    EXPECT_EQ(record->size, 3U);
    EXPECT_EQ(pub_str_type_check("i"), pub_gvariant_type_check(value.get()));
    EXPECT_EQ(pub_raw_to_double("i", 4, &number), 7.0);
    EXPECT_EQ(pub_slist_str_data_compare("a", "a"), 0);
    EXPECT_EQ(pub_gnode_get_parent(nullptr), nullptr);
    gchar type[PUB_TYPE_LENGTH] = "s";
    gchar persisted[PUB_TYPE_LENGTH] = "";
    type[3] = PUB_REFERENCE_MARKER;
    pub_serialize_type(type, persisted, PUB_TYPE_LENGTH);
    EXPECT_STREQ(persisted, "rp");
    pub_unserialize_type(persisted, type, PUB_TYPE_LENGTH);
    EXPECT_EQ(type[3], PUB_REFERENCE_MARKER);
    pub_debug_print(MX_DBG_LOG, "model %c is used.\n", suffix_);
    EXPECT_STREQ(mox_status_name(MOX_ERR_OVERRIDDEN), "MOX_ERR_OVERRIDDEN");
    EXPECT_TRUE(pub_env_higher_level(MX_DBG_ERR));
    EXPECT_EQ(pub_get_env_value("MOX_TEST_NEVER_SET"), -1);
    EXPECT_STREQ(pub_get_file_name("a/b"), "b");
    EXPECT_TRUE(pub_is_process_exist(getpid()));
    g_free(record);
    for (GSList* const list : {records, data, texts, types, reversed, also_reversed}) {
        free_records(list);
    }
    g_slist_free_full(values, [](gpointer item) { g_variant_unref(static_cast<GVariant*>(item)); });
    g_slist_free(pointer_list);
    g_list_free(pointers);
    g_slist_free(value_list);
}

}  // namespace mox::test
