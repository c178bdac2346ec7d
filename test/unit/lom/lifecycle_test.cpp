// What is left to do when a module that held copies of records is gone.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <thread>

#include "object_fixture.hpp"

namespace {

using mox::test::add_object;
using mox::test::record_of;

using Words = std::array<guint32, 4>;

Words bitmap_of(const char* name) {
    Words words;
    for (std::size_t word = 0; word < words.size(); ++word) {
        words[word] = static_cast<guint32>(g_atomic_int_get(record_of(name)->ref_bitmap + word));
    }
    return words;
}

class DepartedModule : public mox::test::ObjectFixture {
protected:
    void SetUp() override {
        ObjectFixture::SetUp();
        for (const char* const name : {"Fan1", "Fan2"}) {
            add_object({.name = name});
            for (const gint32 id : {1, 5, 40, 127}) {
                lom_set_reference_bitmap(record_of(name)->ref_bitmap, id);
            }
        }
    }
    static constexpr Words kAllFour = {0x22, 0x100, 0, 0x80000000};
};

TEST_F(DepartedModule, HasItsBitClearedInEveryObjectAndNoOther) {
    lom_batch_unref(5);
    EXPECT_EQ(bitmap_of("Fan1"), (Words{0x2, 0x100, 0, 0x80000000}));
    EXPECT_EQ(bitmap_of("Fan2"), (Words{0x2, 0x100, 0, 0x80000000}));
}

TEST_F(DepartedModule, HasItsBitClearedInEveryWord) {
    lom_batch_unref(40);
    lom_batch_unref(127);
    EXPECT_EQ(bitmap_of("Fan1"), (Words{0x22, 0, 0, 0}));
}

TEST_F(DepartedModule, WithoutAValidIdHasNoBit) {
    for (const gint32 id : {0, 128, -1, 133}) lom_batch_unref(id);
    EXPECT_EQ(bitmap_of("Fan1"), kAllFour);
    EXPECT_EQ(bitmap_of("Fan2"), kAllFour);
}

TEST_F(DepartedModule, BeforeTheFirstObjectHasNothingToLeave) {
    mox::test::forget_objects();
    lom_batch_unref(5);
    EXPECT_EQ(g_local_object_hashtable, nullptr);
}

TEST_F(DepartedModule, LeavesTheRecordsTheirReferencesAndTheTableFree) {
    lom_batch_unref(5);
    EXPECT_EQ(record_of("Fan1")->ref_count, 1);
    EXPECT_TRUE(mox::test::table_mutex_is_free());
}

TEST_F(DepartedModule, IsClearedAwayUnderTheTablesMutex) {
    g_rec_mutex_lock(&g_obj_hash_mutex);
    std::thread other([] { lom_batch_unref(5); });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const Words meanwhile = bitmap_of("Fan1");
    g_rec_mutex_unlock(&g_obj_hash_mutex);
    other.join();
    EXPECT_EQ(meanwhile, kAllFour);
    EXPECT_EQ(bitmap_of("Fan1"), (Words{0x2, 0x100, 0, 0x80000000}));
}

}  // namespace
