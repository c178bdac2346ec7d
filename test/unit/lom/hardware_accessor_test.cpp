// From a property to its accessor: the lookup and its codes, and the accessor's family, which the
// pool's owner makes known at every lookup.
#include <gtest/gtest.h>

#include "value_fixture.hpp"

namespace mox::test {
namespace {

class AccessorLookup : public ValueFixture {
protected:
    void SetUp() override {
        ValueFixture::SetUp();
        add_object({.name = "Fan1",
                    .properties = {number<guint32>("Speed", "u", 1200, "rw", "Tacho"),
                                   number<guint32>("Limit", "u", 5000)}});
    }

    // The name found, or the code. The buffer holds the accessor's name from before.
    static std::string accessor_of(const char* property, gint32 length = 32) {
        gchar name[64] = "Tacho";
        const gint32 code = lom_get_property_accessor(handle_of("Fan1"), property, name, length);
        return code == 0 ? name : "code " + std::to_string(code);
    }
};

TEST_F(AccessorLookup, GivesTheName) {
    gchar name[32] = "";
    EXPECT_EQ(lom_get_property_accessor(handle_of("Fan1"), "Speed", name, sizeof name), 0);
    EXPECT_STREQ(name, "Tacho");
}

TEST_F(AccessorLookup, GivesANameOf31CharactersInto32Bytes) {
    const std::string longest(31, 'T');
    add_object(
        {.name = "Fan1", .properties = {number<guint32>("Speed", "u", 1200, "rw", longest)}});
    gchar name[33];
    std::fill(name, name + sizeof name, '#');
    EXPECT_EQ(lom_get_property_accessor(handle_of("Fan1"), "Speed", name, 32), 0);
    EXPECT_EQ(std::string(name, sizeof name), longest + '\0' + '#');
}

TEST_F(AccessorLookup, RefusesALengthOf31) {
    EXPECT_EQ(accessor_of("Speed", 31), "code -2001");
}

TEST_F(AccessorLookup, RefusesANegativeLength) {
    EXPECT_EQ(accessor_of("Speed", -1), "code -2001");
}

TEST_F(AccessorLookup, TakesALongerBuffer) {
    EXPECT_EQ(accessor_of("Speed", 64), "Tacho");
}

TEST_F(AccessorLookup, RefusesANullHandle) {
    gchar name[32];
    EXPECT_EQ(lom_get_property_accessor(0, "Speed", name, 32), -2001);
}

TEST_F(AccessorLookup, RefusesANullName) {
    EXPECT_EQ(accessor_of(nullptr), "code -2001");
}

TEST_F(AccessorLookup, RefusesANullBuffer) {
    EXPECT_EQ(lom_get_property_accessor(handle_of("Fan1"), "Speed", nullptr, 32), -2001);
}

TEST_F(AccessorLookup, DoesNotFindAnUnknownObject) {
    gchar name[32];
    EXPECT_EQ(lom_get_property_accessor(handle_of("Fan9"), "Speed", name, 32), -2009);
}

TEST_F(AccessorLookup, DoesNotFindAnUnknownProperty) {
    EXPECT_EQ(accessor_of("Colour"), "code -2010");
}

TEST_F(AccessorLookup, OfAPropertyWithoutARecordIsAnInternalFailure) {
    entry_of("Fan1", "Speed").property_ptr = nullptr;
    EXPECT_EQ(accessor_of("Speed"), "code -2000");
}

TEST_F(AccessorLookup, TellsOfAPropertyWithoutAnAccessor) {
    EXPECT_EQ(accessor_of("Limit"), "code -2011");
}

TEST_F(AccessorLookup, TakesAnEmptyAccessorForNone) {
    property_of("Fan1", "Speed").accessor[0] = '\0';
    EXPECT_EQ(accessor_of("Speed"), "code -2011");
}

TEST_F(AccessorLookup, TakesAnOverriddenPropertyForOneWithout) {
    property_of("Fan1", "Speed").state.bit.override = 1;
    EXPECT_EQ(accessor_of("Speed"), "code -2011");
}

TEST_F(AccessorLookup, SucceedsWithoutAnObjectOfTheAccessorsName) {
    ASSERT_EQ(record_of("Tacho"), nullptr);
    EXPECT_EQ(accessor_of("Speed"), "Tacho");
    EXPECT_TRUE(fake::driver_tables().empty());
}

TEST_F(AccessorLookup, DoesNotAskTheAccessPermissions) {
    property_of("Fan1", "Speed").state.all = 0;
    EXPECT_EQ(accessor_of("Speed"), "Tacho");
}

// The accessor "Tacho" and its chip are objects of this process.
class AccessorRegistration : public AccessorLookup {
protected:
    void SetUp() override {
        AccessorLookup::SetUp();
        add_object({.name = "Tacho",
                    .class_name = "Accessor",
                    .object_type = "Physical",
                    .properties = {text("Chip", "Cpld")}});
        add_object({.name = "Cpld", .class_name = "Chip", .object_type = "Physical"});
        fake::driver_program_value<guint32>("Tacho", 1300);
    }

    // The keys of the tables that were handed over, a text for each table.
    static Texts registered() {
        Texts texts;
        for (const auto& table : fake::driver_tables()) {
            std::string keys;
            for (const auto& [key, list] : table) keys += key + " ";
            texts.push_back(keys);
        }
        return texts;
    }
};

const std::string kFamily = "Accessor.Tacho Chip.Cpld ";

TEST_F(AccessorRegistration, CoversTheAccessorsFamily) {
    accessor_of("Speed");
    EXPECT_EQ(registered(), Texts{kFamily});
}

TEST_F(AccessorRegistration, HappensAtEveryLookup) {
    accessor_of("Speed");
    accessor_of("Speed");
    EXPECT_EQ(registered(), (Texts{kFamily, kFamily}));
}

TEST_F(AccessorRegistration, HappensAtEveryBlockRead) {
    guint32 value = 0;
    lom_block_read(handle_of("Fan1"), "Speed", 0, 0, &value);
    EXPECT_EQ(registered(), Texts{kFamily});
}

TEST_F(AccessorRegistration, HappensAtEveryBlockWrite) {
    const guint32 value = 0;
    lom_block_write(handle_of("Fan1"), "Speed", 0, 4, &value);
    EXPECT_EQ(registered(), Texts{kFamily});
}

TEST_F(AccessorRegistration, HappensAtEveryLiveRead) {
    live_value("Fan1", "Speed");
    EXPECT_EQ(registered(), Texts{kFamily});
}

TEST_F(AccessorRegistration, NeverHappensAtAStoredRead) {
    stored_value("Fan1", "Speed");
    EXPECT_EQ(registered(), Texts{});
}

TEST_F(AccessorRegistration, NeverHappensInAnotherProcess) {
    become_member();
    EXPECT_EQ(accessor_of("Speed"), "Tacho");
    EXPECT_EQ(live_value("Fan1", "Speed"), "uint32 1300");
    EXPECT_EQ(registered(), Texts{});
    become_owner();
}

TEST_F(AccessorRegistration, NeverFollowsAFailedLookup) {
    property_of("Fan1", "Speed").state.bit.override = 1;
    accessor_of("Speed");
    EXPECT_EQ(registered(), Texts{});
}

TEST_F(AccessorRegistration, OfALogicalObjectOfThatNameHandsNothingOver) {
    add_object({.name = "Tacho", .class_name = "Accessor"});
    accessor_of("Speed");
    EXPECT_EQ(registered(), Texts{});
}

TEST_F(AccessorRegistration, FailingLeavesTheLookupASuccess) {
    fake::driver_fail_property(1);
    EXPECT_EQ(accessor_of("Speed"), "Tacho");
}

}  // namespace
}  // namespace mox::test
