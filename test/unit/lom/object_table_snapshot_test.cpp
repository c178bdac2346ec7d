// Traversals: a snapshot of the table, walked without its lock.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "object_fixture.hpp"

namespace {

namespace osal = mox::fake::osal;
using mox::test::add_object;
using mox::test::delete_object;
using mox::test::record_of;

struct Seen {
    std::string name;
    const gchar* key = nullptr;
    const OBJECT_HEAD_S* record = nullptr;
    gint32 ref_count = 0;
};

std::vector<Seen> snapshot() {
    std::vector<Seen> seen;
    _foreach_object_copy(
        [](gpointer key, gpointer value, gpointer user_data) {
            const auto* const record = static_cast<const OBJECT_HEAD_S*>(value);
            const auto* const name = static_cast<const gchar*>(key);
            static_cast<std::vector<Seen>*>(user_data)->push_back(
                {name, name, record, record == nullptr ? 0 : record->ref_count});
        },
        &seen);
    return seen;
}

class TableSnapshot : public mox::test::ObjectFixture {};

TEST_F(TableSnapshot, IsEmptyBeforeTheFirstObject) {
    EXPECT_TRUE(snapshot().empty());
}

TEST_F(TableSnapshot, HasEveryRecordWithOneMoreReference) {
    add_object({.name = "Fan1"});
    add_object({.name = "Fan2"});
    const std::vector<Seen> seen = snapshot();
    ASSERT_EQ(seen.size(), 2U);
    for (const Seen& entry : seen) {
        EXPECT_EQ(entry.record, record_of(entry.name));
        EXPECT_EQ(entry.ref_count, 2);
    }
}

TEST_F(TableSnapshot, DropsItsReferencesAtItsEnd) {
    add_object({.name = "Fan1"});
    snapshot();
    EXPECT_EQ(record_of("Fan1")->ref_count, 1);
}

TEST_F(TableSnapshot, HasNamesOfItsOwn) {
    add_object({.name = "Fan1"});
    gpointer key = nullptr;
    g_hash_table_lookup_extended(g_local_object_hashtable, "Fan1", &key, nullptr);
    const std::vector<Seen> seen = snapshot();
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_NE(static_cast<const void*>(seen[0].key), key);
    EXPECT_NE(seen[0].key, record_of("Fan1")->object_name);
}

TEST_F(TableSnapshot, HasNullForARecordWhoseReferencesAreGone) {
    add_object({.name = "Fan1"});
    record_of("Fan1")->ref_count = 0;
    const std::vector<Seen> seen = snapshot();
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].name, "Fan1");
    EXPECT_EQ(seen[0].record, nullptr);
    EXPECT_EQ(record_of("Fan1")->ref_count, 0);
    record_of("Fan1")->ref_count = 1;
}

TEST_F(TableSnapshot, HasRecordsThatAreMarkedDeleted) {
    add_object({.name = "Fan1"});
    record_of("Fan1")->status = OBJECT_MARK_DEL;
    EXPECT_EQ(snapshot().size(), 1U);
}

TEST_F(TableSnapshot, TakesOneEntryAtATime) {
    add_object({.name = "Fan1"});
    GHashTable* const target = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, nullptr);
    gchar name[] = "AnyKey";
    _copy_object_hashtable(name, record_of("Fan1"), target);
    EXPECT_EQ(g_hash_table_lookup(target, "AnyKey"), record_of("Fan1"));
    EXPECT_EQ(record_of("Fan1")->ref_count, 2);
    _object_unref(record_of("Fan1"));
    g_hash_table_destroy(target);
}

struct Visit {
    std::string class_name;
    OBJ_HANDLE handle = 0;
    bool operator==(const Visit&) const = default;
};

void note_visit(const gchar* class_name, OBJ_HANDLE handle, gpointer user_data) {
    (*static_cast<std::map<std::string, Visit>*>(user_data))[lom_handle_to_name(handle)] = {
        class_name, handle};
}

class ObjectTraversal : public mox::test::ObjectFixture {};

TEST_F(ObjectTraversal, VisitsEveryObjectWithClassNameHandleAndData) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    const OBJ_HANDLE disk = add_object({.name = "Disk1", .class_name = "Disk"});
    std::map<std::string, Visit> visits;
    lom_foreach_object(note_visit, &visits);
    EXPECT_EQ(visits,
              (std::map<std::string, Visit>{{"Fan1", {"Fan", fan}}, {"Disk1", {"Disk", disk}}}));
}

TEST_F(ObjectTraversal, DoesNothingBeforeTheFirstObject) {
    std::map<std::string, Visit> visits;
    lom_foreach_object(note_visit, &visits);
    EXPECT_TRUE(visits.empty());
}

TEST_F(ObjectTraversal, WithoutAFunctionDoesNothing) {
    add_object({.name = "Fan1"});
    lom_foreach_object(nullptr, nullptr);
}

TEST_F(ObjectTraversal, PassesOverARecordWhoseReferencesAreGone) {
    add_object({.name = "Fan1"});
    add_object({.name = "Fan2"});
    record_of("Fan1")->ref_count = 0;
    std::map<std::string, Visit> visits;
    lom_foreach_object(note_visit, &visits);
    EXPECT_EQ(visits.size(), 1U);
    EXPECT_EQ(visits.count("Fan2"), 1U);
    record_of("Fan1")->ref_count = 1;
}

TEST_F(ObjectTraversal, HoldsNeitherTheTableNorASemaphoreDuringAVisit) {
    add_object({.name = "Fan1"});
    bool is_free = false;
    lom_foreach_object(
        [](const gchar*, OBJ_HANDLE, gpointer user_data) {
            *static_cast<bool*>(user_data) =
                mox::test::table_mutex_is_free() && osal::held_by_this_thread() == 0;
        },
        &is_free);
    EXPECT_TRUE(is_free);
}

TEST_F(ObjectTraversal, MayAddObjectsWhichItThenDoesNotVisit) {
    add_object({.name = "Fan1"});
    int visits = 0;
    lom_foreach_object(
        [](const gchar*, OBJ_HANDLE, gpointer user_data) {
            const int number = ++*static_cast<int*>(user_data);
            add_object({.name = "New" + std::to_string(number)});
        },
        &visits);
    EXPECT_EQ(visits, 1);
    EXPECT_NE(record_of("New1"), nullptr);
}

TEST_F(ObjectTraversal, MayDeleteTheObjectThatItVisits) {
    add_object({.name = "Fan1"});
    add_object({.name = "Fan2"});
    const gsize semaphores = osal::created().size();
    lom_foreach_object(
        [](const gchar* class_name, OBJ_HANDLE handle, gpointer) {
            delete_object(lom_handle_to_name(handle));
            EXPECT_STREQ(class_name, "Fan");
            EXPECT_NE(record_of(lom_handle_to_name(handle)), nullptr) << "freed under the visit";
        },
        nullptr);
    EXPECT_TRUE(mox::test::all_records().empty());
    EXPECT_EQ(osal::freed().size(), semaphores);
    EXPECT_EQ(mox::fake::space::live_blocks(), 0U);
}

TEST_F(ObjectTraversal, MayLookUpAndLockTheObjectThatItVisits) {
    add_object({.name = "Fan1"});
    lom_foreach_object(
        [](const gchar*, OBJ_HANDLE handle, gpointer) {
            EXPECT_EQ(lom_lock_object(handle), MOX_OK);
            EXPECT_EQ(lom_unlock_object(handle), MOX_OK);
        },
        nullptr);
}

}  // namespace
