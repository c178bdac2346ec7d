// Looking a record up in this process's table.
#include <gtest/gtest.h>

#include <string>

#include "object_fixture.hpp"

namespace {

using mox::test::add_object;
using mox::test::number;
using mox::test::record_of;
using mox::test::stamped_message;
using mox::test::stdout_of;

int g_fetches = 0;

OBJECT_HEAD_S* count_fetch(const gchar*, gsize) {
    ++g_fetches;
    return nullptr;
}

// What a lookup that finds nothing says at the level of details.
std::string words_of_lookup(const gchar* name, gboolean internal_only) {
    mox::test::DebugLevel level{"3"};
    OBJECT_HEAD_S* found = nullptr;
    const std::string output =
        stdout_of([&] { found = _get_object_ptr_option(name, internal_only); });
    EXPECT_EQ(found, nullptr);
    return output;
}

std::string not_exist(const std::string& name) {
    return stamped_message("_get_object_ptr_option: object \"" + name + "\" not exist.\n");
}

class ObjectLookup : public mox::test::ObjectFixture {
protected:
    void SetUp() override {
        ObjectFixture::SetUp();
        g_fetches = 0;
    }
};

TEST_F(ObjectLookup, GivesTheRecordWithOneMoreReference) {
    add_object({.name = "Fan1"});
    OBJECT_HEAD_S* const found = _get_object_ptr_option("Fan1", TRUE);
    EXPECT_EQ(found, record_of("Fan1"));
    EXPECT_EQ(found->ref_count, 2);
    _object_unref(found);
    EXPECT_EQ(found->ref_count, 1);
}

TEST_F(ObjectLookup, FindsTheRecordOfThatNameAmongOthers) {
    add_object({.name = "Fan1"});
    add_object({.name = "Fan2"});
    OBJECT_HEAD_S* const found = _get_object_ptr_option("Fan2", TRUE);
    ASSERT_NE(found, nullptr);
    EXPECT_STREQ(found->object_name, "Fan2");
    _object_unref(found);
}

TEST_F(ObjectLookup, FindsARecordUnderConstruction) {
    add_object({.name = "Fan1"});
    record_of("Fan1")->status = OBJECT_MXD_READY;
    OBJECT_HEAD_S* const found = _get_object_ptr_option("Fan1", TRUE);
    EXPECT_EQ(found, record_of("Fan1"));
    _object_unref(found);
}

TEST_F(ObjectLookup, OfNoNameIsNullWithoutAWord) {
    add_object({.name = "Fan1"});
    EXPECT_EQ(words_of_lookup(nullptr, TRUE), "");
    EXPECT_EQ(words_of_lookup("", TRUE), "");
}

TEST_F(ObjectLookup, OfNoNameDoesNotAskTheOwner) {
    lom_set_copy_func(count_fetch);
    EXPECT_EQ(words_of_lookup(nullptr, FALSE), "");
    EXPECT_EQ(words_of_lookup("", FALSE), "");
    EXPECT_EQ(g_fetches, 0);
}

TEST_F(ObjectLookup, DoesNotFindARecordThatIsMarkedDeletedAndSaysSo) {
    add_object({.name = "Fan1"});
    record_of("Fan1")->status = OBJECT_MARK_DEL;
    EXPECT_EQ(words_of_lookup("Fan1", TRUE),
              stamped_message("_get_object_ptr_option: object \"Fan1\" mark deleted.\n"));
}

TEST_F(ObjectLookup, DoesNotAskTheOwnerForARecordThatIsMarkedDeleted) {
    lom_set_copy_func(count_fetch);
    add_object({.name = "Fan1"});
    record_of("Fan1")->status = OBJECT_MARK_DEL;
    EXPECT_EQ(_get_object_ptr_option("Fan1", FALSE), nullptr);
    EXPECT_EQ(g_fetches, 0);
}

TEST_F(ObjectLookup, DoesNotFindARecordWhoseReferencesAreGoneAndSaysSo) {
    add_object({.name = "Fan1"});
    record_of("Fan1")->ref_count = 0;
    EXPECT_EQ(words_of_lookup("Fan1", TRUE), not_exist("Fan1"));
    EXPECT_EQ(record_of("Fan1")->ref_count, 0);
    record_of("Fan1")->ref_count = 1;
}

TEST_F(ObjectLookup, DoesNotAskTheOwnerForARecordWhoseReferencesAreGone) {
    lom_set_copy_func(count_fetch);
    add_object({.name = "Fan1"});
    record_of("Fan1")->ref_count = 0;
    EXPECT_EQ(_get_object_ptr_option("Fan1", FALSE), nullptr);
    EXPECT_EQ(g_fetches, 0);
    record_of("Fan1")->ref_count = 1;
}

TEST_F(ObjectLookup, BeforeTheFirstObjectFindsNothingAndSaysSo) {
    ASSERT_EQ(g_local_object_hashtable, nullptr);
    EXPECT_EQ(words_of_lookup("Fan1", TRUE), not_exist("Fan1"));
}

TEST_F(ObjectLookup, OfAnUnknownNameFindsNothingAndSaysSo) {
    add_object({.name = "Fan1"});
    EXPECT_EQ(words_of_lookup("Fan2", TRUE), not_exist("Fan2"));
}

TEST_F(ObjectLookup, BeyondThisProcessNeedsACopyFunction) {
    EXPECT_EQ(words_of_lookup("Fan2", FALSE), not_exist("Fan2"));
}

TEST_F(ObjectLookup, WithinThisProcessNeverAsksTheOwner) {
    lom_set_copy_func(count_fetch);
    EXPECT_EQ(words_of_lookup("Fan2", TRUE), not_exist("Fan2"));
    EXPECT_EQ(g_fetches, 0);
}

TEST_F(ObjectLookup, OfAKnownNameNeverAsksTheOwner) {
    lom_set_copy_func(count_fetch);
    add_object({.name = "Fan1"});
    OBJECT_HEAD_S* const found = _get_object_ptr_option("Fan1", FALSE);
    EXPECT_EQ(found, record_of("Fan1"));
    EXPECT_EQ(g_fetches, 0);
    _object_unref(found);
}

TEST_F(ObjectLookup, IsSilentBelowTheLevelOfDetails) {
    mox::test::DebugLevel level{"2"};
    mox::test::CapturedSyslog log;
    EXPECT_EQ(stdout_of([] { _get_object_ptr_option("Fan2", TRUE); }), "");
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(ObjectLookup, LeavesTheTableFreeForOthersFoundOrNot) {
    add_object({.name = "Fan1"});
    add_object({.name = "Fan2"});
    record_of("Fan2")->status = OBJECT_MARK_DEL;
    for (const gchar* const name : {"Fan1", "Fan2", "Fan3"}) {
        OBJECT_HEAD_S* const found = _get_object_ptr_option(name, FALSE);
        EXPECT_TRUE(mox::test::table_mutex_is_free()) << name;
        _object_unref(found);
    }
}

TEST_F(ObjectLookup, WorksWhileItsThreadHoldsTheTable) {
    add_object({.name = "Fan1"});
    g_rec_mutex_lock(&g_obj_hash_mutex);
    OBJECT_HEAD_S* const found = _get_object_ptr_option("Fan1", TRUE);
    g_rec_mutex_unlock(&g_obj_hash_mutex);
    EXPECT_EQ(found, record_of("Fan1"));
    _object_unref(found);
}

class PropertyLookup : public mox::test::ObjectFixture {};

TEST_F(PropertyLookup, GivesThePropertysRecord) {
    add_object(
        {.name = "Fan1",
         .properties = {number<guint32>("Speed", "u", 7), number<guint32>("Limit", "u", 9)}});
    OBJECT_HEAD_S* const fan = record_of("Fan1");
    EXPECT_EQ(_get_property_node(fan, "Limit"), fan->property_entry + 1);
}

TEST_F(PropertyLookup, GivesNullForAnUnknownName) {
    add_object({.name = "Fan1", .properties = {number<guint32>("Speed", "u", 7)}});
    EXPECT_EQ(_get_property_node(record_of("Fan1"), "speed"), nullptr);
    EXPECT_EQ(_get_property_node(record_of("Fan1"), nullptr), nullptr);
}

TEST_F(PropertyLookup, GivesNullWithoutAPropertyTable) {
    OBJECT_HEAD_S* const embryo =
        mox::test::make_embryo({.name = "Fan1", .properties = {number<guint32>("Speed", "u", 7)}});
    EXPECT_EQ(_get_property_node(embryo, "Speed"), nullptr);
    _free_object_head(embryo);
}

}  // namespace
