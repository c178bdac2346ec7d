// Objects of a position on their way through the garbage: out of sight at once, freed when no
// module has a copy and nobody holds them.
#include <gtest/gtest.h>
#include <lom/lifecycle.h>

#include <set>

#include "lom/garbage.hpp"
#include "object_fixture.hpp"

namespace mox::test {
namespace {

class Garbage : public ObjectFixture {
protected:
    void SetUp() override {
        ObjectFixture::SetUp();
        class_ = cls_create_class("Fan");
        blocks_before_ = fake::space::live_blocks();
        collected_ = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, [](gpointer names) {
            g_slist_free_full(static_cast<GSList*>(names), g_free);
        });
    }
    void TearDown() override {
        g_hash_table_destroy(collected_);
        ObjectFixture::TearDown();
    }

    static void add_fan(const std::string& name, guint32 position = 3) {
        const OBJ_HANDLE handle =
            add_object({.name = name,
                        .position = position,
                        .properties = {number<guint32>("Speed", "u", 1), text("Label", "left")}});
        cls_add_object("Fan", handle);
    }
    void remove(guint32 position = 3) { lom_remove_to_garbage(position, collected_); }

    static std::set<std::string> keys() {
        std::set<std::string> names;
        GHashTableIter iter;
        gpointer key = nullptr;
        if (g_recycle_hashtable == nullptr) return names;
        g_hash_table_iter_init(&iter, g_recycle_hashtable);
        while (g_hash_table_iter_next(&iter, &key, nullptr)) {
            names.insert(static_cast<const gchar*>(key));
        }
        return names;
    }
    static OBJECT_HEAD_S* garbage_of(const std::string& key) {
        return static_cast<OBJECT_HEAD_S*>(g_hash_table_lookup(g_recycle_hashtable, key.c_str()));
    }

    std::set<std::string> unsaved(const std::string& object) {
        std::set<std::string> names;
        for (auto* at = static_cast<GSList*>(g_hash_table_lookup(collected_, object.c_str()));
             at != nullptr; at = at->next) {
            names.insert(static_cast<const gchar*>(at->data));
        }
        return names;
    }

    CLS_HANDLE class_ = nullptr;
    gsize blocks_before_ = 0;
    GHashTable* collected_ = nullptr;
};

using Names = std::set<std::string>;

TEST_F(Garbage, TakesTheObjectsOfThePosition) {
    fake::osal::set_tick(0xab1);
    add_fan("Fan1");
    add_fan("Fan2");
    add_fan("Fan3", 4);
    remove();
    EXPECT_EQ(keys(), (Names{"Fan1ab1", "Fan2ab1"}));
    EXPECT_EQ(record_of("Fan1"), nullptr);
    EXPECT_NE(record_of("Fan3"), nullptr);
    EXPECT_EQ(garbage_of("Fan1ab1")->status, OBJECT_MARK_DEL);
    EXPECT_EQ(lom_get_object_handle("Fan1"), 0);
}

TEST_F(Garbage, OfPositionZeroIsRefusedWithAMessage) {
    add_fan("Fan1", 0);
    EXPECT_EQ(stdout_of([&] { remove(0); }), error_message("delete objects of position 0\n"));
    EXPECT_NE(record_of("Fan1"), nullptr);
}

TEST_F(Garbage, WithoutATableForNamesDoesNothing) {
    add_fan("Fan1");
    lom_remove_to_garbage(3, nullptr);
    EXPECT_NE(record_of("Fan1"), nullptr);
}

TEST_F(Garbage, BeforeThereWereObjectsIsNone) {
    remove();
    lom_reclaim_garbage();
    EXPECT_EQ(keys(), Names{});
}

TEST_F(Garbage, IsToldOfObjectByObject) {
    add_fan("Fan1");
    char address[32];
    std::snprintf(address, sizeof address, "%p", static_cast<void*>(record_of("Fan1")));
    const DebugLevel level{"3"};
    const std::string console = stdout_of([&] { remove(); });
    EXPECT_NE(console.find(
                  stamped_message("::::mark del object Fan1, " + std::string(address) + ".::::\n")),
              std::string::npos);
}

TEST_F(Garbage, LeavesTheListsOfItsClass) {
    add_fan("Fan1");
    add_fan("Fan2", 4);
    remove();
    EXPECT_EQ(cls_get_object_count(class_), 1U);
    EXPECT_EQ(cls_get_state(class_), CLASS_OBJECT_DELETED);
}

TEST_F(Garbage, TakesObjectsThatAreNotReady) {
    lom_add_object(make_embryo({.name = "Fan1", .position = 3}));
    remove();
    EXPECT_EQ(record_of("Fan1"), nullptr);
    EXPECT_EQ(keys().size(), 1U);
}

TEST_F(Garbage, HandsOverTheNamesOfUnsavedProperties) {
    add_fan("Fan1");
    property_of("Fan1", "Speed").state.bit.static_saved = 1;
    add_fan("Fan2");
    remove();
    EXPECT_EQ(unsaved("Fan1"), (Names{"Label"}));
    EXPECT_EQ(unsaved("Fan2"), (Names{"Label", "Speed"}));
}

TEST_F(Garbage, HandsOverNothingOfAnObjectThatIsSavedWhole) {
    add_fan("Fan1");
    property_of("Fan1", "Speed").state.bit.static_saved = 1;
    property_of("Fan1", "Label").state.bit.static_saved = 1;
    remove();
    EXPECT_EQ(g_hash_table_size(collected_), 0U);
}

TEST_F(Garbage, KeepsGenerationsOfOneNameApart) {
    for (const gulong tick : {7UL, 7UL, 8UL, 9UL}) {
        fake::osal::set_tick(tick);
        add_fan("Fan1");
        remove();
    }
    EXPECT_EQ(keys(), (Names{"Fan17", "Fan18", "Fan19", "Fan1a"}));
}

TEST_F(Garbage, HasKeysOfAtMost39Characters) {
    fake::osal::set_tick(0xfffffffeUL);
    const std::string longest(31, 'n');
    add_fan(longest);
    remove();
    add_fan(longest);
    remove();
    EXPECT_EQ(keys(), (Names{longest + "fffffffe", longest + "ffffffff"}));
}

TEST_F(Garbage, HasTheFirst32CharactersOfALongerNameInItsKey) {
    fake::osal::set_tick(1);
    const std::string longest_class(32, 'c');
    GVariant* const names = g_variant_ref_sink(g_variant_new_strv(nullptr, 0));
    ASSERT_NE(lom_create_collection(longest_class.c_str(), 1, names), 0);
    g_variant_unref(names);
    record_of(longest_class + ":C")->position = 3;
    remove();
    EXPECT_EQ(keys(), Names{longest_class + "1"});
}

TEST_F(Garbage, IsReclaimedWhenNobodyHoldsIt) {
    add_fan("Fan1");
    remove();
    lom_reclaim_garbage();
    EXPECT_EQ(keys(), Names{});
    EXPECT_EQ(fake::space::live_blocks(), blocks_before_);
}

TEST_F(Garbage, StaysWhileAModuleHasACopy) {
    fake::osal::set_tick(1);
    for (const gint32 id : {1, 5, 31, 32, 64, 96, 127}) {
        add_fan("Fan1");
        guint32* const bitmap = record_of("Fan1")->ref_bitmap;
        lom_set_reference_bitmap(bitmap, id);
        remove();
        lom_reclaim_garbage();
        EXPECT_EQ(keys(), Names{"Fan11"}) << id;
        lom_clear_reference_bitmap(bitmap, id);
        lom_reclaim_garbage();
        EXPECT_EQ(keys(), Names{}) << id;
    }
    EXPECT_EQ(fake::space::live_blocks(), blocks_before_);
}

TEST_F(Garbage, StaysWhileALookupHoldsIt) {
    add_fan("Fan1");
    OBJECT_HEAD_S* const held = _get_object_ptr_option("Fan1", TRUE);
    remove();
    lom_reclaim_garbage();
    EXPECT_EQ(keys().size(), 1U);
    _object_unref(held);
    EXPECT_EQ(keys().size(), 1U) << "only a reclaim frees garbage";
    lom_reclaim_garbage();
    EXPECT_EQ(keys(), Names{});
    EXPECT_EQ(fake::space::live_blocks(), blocks_before_);
}

TEST_F(Garbage, WithoutABitmapStays) {
    add_fan("Fan1");
    OBJECT_HEAD_S* const fan = record_of("Fan1");
    guint32* const bitmap = fan->ref_bitmap;
    fan->ref_bitmap = nullptr;
    remove();
    lom_reclaim_garbage();
    EXPECT_EQ(keys().size(), 1U);
    fan->ref_bitmap = bitmap;
}

TEST_F(Garbage, IsNotReachedByTheClearingOfAModulesBits) {
    add_fan("Fan1");
    guint32* const bitmap = record_of("Fan1")->ref_bitmap;
    lom_set_reference_bitmap(bitmap, 5);
    remove();
    lom_batch_unref(5);
    EXPECT_EQ(bitmap[0], 1U << 5U);
}

TEST_F(Garbage, LetsItsNameBeUsedAgain) {
    add_fan("Fan1");
    lom_set_reference_bitmap(record_of("Fan1")->ref_bitmap, 5);
    remove();
    add_fan("Fan1");
    EXPECT_NE(lom_get_object_handle("Fan1"), 0);
    lom_reclaim_garbage();
    EXPECT_NE(lom_get_object_handle("Fan1"), 0);
    EXPECT_EQ(keys().size(), 1U);
}

TEST_F(Garbage, OfADeletedObjectThatIsHeldIsFreedOnce) {
    add_fan("Fan1");
    OBJECT_HEAD_S* const held = _get_object_ptr_option("Fan1", TRUE);
    lom_delete_object(lom_name_to_handle("Fan1"));
    remove();
    EXPECT_EQ(keys().size(), 1U);
    _object_unref(held);
    EXPECT_EQ(garbage_of(*keys().begin())->ref_count, 1);
    lom_reclaim_garbage();
    EXPECT_EQ(fake::space::live_blocks(), blocks_before_);
}

TEST_F(Garbage, OfABatchDeletedObjectThatIsHeldIsFreedOnce) {
    add_fan("Fan1");
    OBJECT_HEAD_S* const held = _get_object_ptr_option("Fan1", TRUE);
    lom_batch_delete(3, nullptr);
    remove();
    lom_reclaim_garbage();
    EXPECT_EQ(keys().size(), 1U);
    _object_unref(held);
    lom_reclaim_garbage();
    EXPECT_EQ(fake::space::live_blocks(), blocks_before_);
}

// The object that stood for it held the last reference, and left it in the table.
TEST_F(Garbage, OfAnObjectWhoseReferencesAreAllGoneIsFreedOnce) {
    add_fan("Fan1");
    add_object({.name = "Front", .position = 4});
    ASSERT_EQ(lom_set_reference("Front", "Fan1"), 0);
    delete_object("Fan1");
    delete_object("Front");
    ASSERT_EQ(record_of("Fan1")->ref_count, 0);
    remove();
    EXPECT_EQ(keys().size(), 1U);
    lom_reclaim_garbage();
    EXPECT_EQ(fake::space::live_blocks(), blocks_before_);
}

TEST_F(Garbage, IsNotMadeOfAnObjectThatItsLastHolderIsAboutToFree) {
    add_fan("Fan1");
    OBJECT_HEAD_S* const fan = record_of("Fan1");
    fan->ref_count = 0;  // between that holder's drop and its taking the record out
    remove();
    EXPECT_EQ(keys(), Names{});
    EXPECT_EQ(record_of("Fan1"), fan);
    fan->ref_count = 1;
}

TEST_F(Garbage, OfObjectsThatStandForEachOtherGoesInOneReclaim) {
    for (int round = 0; round < 8; ++round) {
        const std::string name = "Fan" + std::to_string(round);
        add_fan(name);
        add_object({.name = "Front" + std::to_string(round), .position = 3});
        ASSERT_EQ(lom_set_reference(("Front" + std::to_string(round)).c_str(), name.c_str()), 0);
    }
    remove();
    EXPECT_EQ(keys().size(), 16U);
    lom_reclaim_garbage();
    EXPECT_EQ(keys(), Names{});
    EXPECT_EQ(fake::space::live_blocks(), blocks_before_);
}

TEST_F(Garbage, LetsBoundDataLookIntoTheObjectTableAsItEnds) {
    static bool is_free = false;
    add_fan("Fan1");
    add_fan("Fan2", 4);
    lom_bind_data(lom_name_to_handle("Fan1"), class_, [](gpointer) {
        is_free = table_mutex_is_free() && lom_get_object_handle("Fan2") != 0;
    });
    remove();
    lom_reclaim_garbage();
    EXPECT_TRUE(is_free);
}

TEST_F(Garbage, IsListedBetweenItsTwoLines) {
    add_fan("Fan1");
    const gint32 semid = record_of("Fan1")->semid;
    remove();
    const std::string listed = stdout_of([] { lom_list_garbage(stdout); });
    EXPECT_EQ(listed,
              "========================garbage begin======================\n"
              "----------------- Fan1                          -----------\n"
              "semid          : " +
                  std::to_string(semid) +
                  "\nsem member     : 0\nref count      : 1\n"
                  "========================garbage end=========================\n");
}

TEST_F(Garbage, IsListedEmptyOnceThereWasAny) {
    EXPECT_EQ(stdout_of([] { lom_list_garbage(stdout); }), "");
    add_fan("Fan1");
    remove();
    lom_reclaim_garbage();
    EXPECT_EQ(stdout_of([] { lom_list_garbage(stdout); }),
              "========================garbage begin======================\n"
              "========================garbage end=========================\n");
}

TEST_F(Garbage, IsNotListedToNowhere) {
    add_fan("Fan1");
    remove();
    lom_list_garbage(nullptr);
}

}  // namespace
}  // namespace mox::test
