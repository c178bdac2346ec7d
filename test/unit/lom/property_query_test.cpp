// Questions about a property and its object: type, event counters, writability.
#include <gtest/gtest.h>

#include "value_fixture.hpp"

namespace mox::test {
namespace {

class PropertyQuery : public ValueFixture {
protected:
    void SetUp() override {
        ValueFixture::SetUp();
        add_object({.name = "Fan1",
                    .properties = {number<guint32>("Speed", "u", 1200),
                                   text("Label", "left"),
                                   reference("Twin", "Fan2.Speed"),
                                   {"Map", "a{sv}", {0}}}});
        handle_ = handle_of("Fan1");
    }

    OBJ_HANDLE handle_ = 0;
};

class PropertyType : public PropertyQuery {
protected:
    // The six bytes, or the code.
    std::string type_of(const char* property, gint32 length = 6) const {
        gchar type[6] = {'#', '#', '#', '#', '#', '#'};
        const gint32 code = lom_get_property_type(handle_, property, type, length);
        return code == 0 ? std::string(type, sizeof type) : "code " + std::to_string(code);
    }
};

TEST_F(PropertyType, IsTheWholeSixByteField) {
    EXPECT_EQ(type_of("Speed"), type_field("u"));
}

TEST_F(PropertyType, MayFillItsField) {
    EXPECT_EQ(type_of("Map"), type_field("a{sv}"));
}

TEST_F(PropertyType, OfAReferenceIsItsOwnWithTheMarker) {
    EXPECT_EQ(type_of("Twin"), type_field(std::string("s\0\0p", 4)));
}

TEST_F(PropertyType, RefusesALengthOfFive) {
    EXPECT_EQ(type_of("Speed", 5), "code -2001");
}

TEST_F(PropertyType, RefusesALengthOfSeven) {
    EXPECT_EQ(type_of("Speed", 7), "code -2001");
}

TEST_F(PropertyType, RefusesANullName) {
    EXPECT_EQ(type_of(nullptr), "code -2001");
}

TEST_F(PropertyType, RefusesANullHandle) {
    gchar type[6];
    EXPECT_EQ(lom_get_property_type(0, "Speed", type, 6), -2001);
}

TEST_F(PropertyType, RefusesANullBuffer) {
    EXPECT_EQ(lom_get_property_type(handle_, "Speed", nullptr, 6), -2001);
}

TEST_F(PropertyType, ChecksTheLengthBeforeTheObject) {
    gchar type[6];
    EXPECT_EQ(lom_get_property_type(handle_of("Fan9"), "Speed", type, 5), -2001);
}

TEST_F(PropertyType, OfAnUnknownObjectIsNotFound) {
    gchar type[6];
    EXPECT_EQ(lom_get_property_type(handle_of("Fan9"), "Speed", type, 6), -2009);
}

TEST_F(PropertyType, OfAnUnknownPropertyIsNotFound) {
    EXPECT_EQ(type_of("Colour"), "code -2010");
}

TEST_F(PropertyType, OfAPropertyWithoutARecordIsAnInternalFailure) {
    entry_of("Fan1", "Speed").property_ptr = nullptr;
    EXPECT_EQ(type_of("Speed"), "code -2000");
}

TEST_F(PropertyType, NeedsNoSemaphore) {
    fail_semaphore_of("Fan1");
    EXPECT_EQ(type_of("Speed"), type_field("u"));
}

class EventCount : public PropertyQuery {
protected:
    gint32 sent(const char* property = "Speed") const {
        return lom_get_property_change_cnt(handle_, property, TRUE);
    }
    gint32 received(const char* property = "Speed") const {
        return lom_get_property_change_cnt(handle_, property, FALSE);
    }
};

TEST_F(EventCount, BeginsAtNone) {
    EXPECT_EQ(sent(), 0);
    EXPECT_EQ(received(), 0);
}

TEST_F(EventCount, TellsSentEventsFromReceivedOnes) {
    entry_of("Fan1", "Speed").change_cnt = 3;
    entry_of("Fan1", "Speed").receive_cnt = 5;
    EXPECT_EQ(sent(), 3);
    EXPECT_EQ(received(), 5);
}

TEST_F(EventCount, IsKeptForEachProperty) {
    entry_of("Fan1", "Speed").change_cnt = 3;
    EXPECT_EQ(sent("Label"), 0);
}

TEST_F(EventCount, RefusesANullHandle) {
    EXPECT_EQ(lom_get_property_change_cnt(0, "Speed", TRUE), -2001);
}

TEST_F(EventCount, RefusesANullName) {
    EXPECT_EQ(sent(nullptr), -2001);
}

TEST_F(EventCount, OfAnUnknownObjectIsNotFound) {
    EXPECT_EQ(lom_get_property_change_cnt(handle_of("Fan9"), "Speed", TRUE), -2009);
}

TEST_F(EventCount, OfAnUnknownPropertyIsNotFound) {
    EXPECT_EQ(sent("Colour"), -2010);
}

TEST_F(EventCount, GrowsWithEverySentEvent) {
    EXPECT_EQ(lom_count_event(handle_, "Speed", TRUE), 0);
    EXPECT_EQ(lom_count_event(handle_, "Speed", TRUE), 0);
    EXPECT_EQ(sent(), 2);
    EXPECT_EQ(received(), 0);
}

TEST_F(EventCount, GrowsWithEveryReceivedEvent) {
    EXPECT_EQ(lom_count_event(handle_, "Speed", FALSE), 0);
    EXPECT_EQ(received(), 1);
    EXPECT_EQ(sent(), 0);
}

TEST_F(EventCount, GrowsForTheNamedPropertyAlone) {
    lom_count_event(handle_, "Speed", TRUE);
    EXPECT_EQ(sent("Label"), 0);
}

TEST_F(EventCount, OfANullHandleIsRefused) {
    EXPECT_EQ(lom_count_event(0, "Speed", TRUE), -2001);
}

TEST_F(EventCount, OfANullNameIsRefused) {
    EXPECT_EQ(lom_count_event(handle_, nullptr, TRUE), -2001);
}

TEST_F(EventCount, IsNotGrownForAnUnknownObject) {
    EXPECT_EQ(lom_count_event(handle_of("Fan9"), "Speed", TRUE), -2009);
}

TEST_F(EventCount, IsNotGrownForAnUnknownProperty) {
    EXPECT_EQ(lom_count_event(handle_, "Colour", TRUE), -2010);
}

class Writability : public PropertyQuery {};

TEST_F(Writability, OfANewObjectIsFalse) {
    EXPECT_FALSE(lom_is_writable(handle_));
}

TEST_F(Writability, OfAReadWriteObjectIsTrue) {
    lom_set_writable(handle_, OBJECT_READ_WRITE);
    EXPECT_TRUE(lom_is_writable(handle_));
}

TEST_F(Writability, CanBeTakenAwayAgain) {
    lom_set_writable(handle_, OBJECT_READ_WRITE);
    lom_set_writable(handle_, OBJECT_READ_ONLY);
    EXPECT_FALSE(lom_is_writable(handle_));
}

TEST_F(Writability, OfAnUnknownObjectIsFalse) {
    EXPECT_FALSE(lom_is_writable(handle_of("Fan9")));
}

TEST_F(Writability, OfANullHandleIsFalse) {
    EXPECT_FALSE(lom_is_writable(0));
}

}  // namespace
}  // namespace mox::test
