// The reads that callers use: a value as package or as typed value that owns its bytes.
#include <gtest/gtest.h>

#include "value_fixture.hpp"

namespace mox::test {
namespace {

class DataRead : public ValueFixture {
protected:
    void SetUp() override {
        ValueFixture::SetUp();
        add_object(
            {.name = "Fan1",
             .properties = {
                 number<guint32>("Speed", "u", 1200), text("Label", "left"), {"Odd", "z", {1}}}});
    }
};

TEST_F(DataRead, GivesTypeSizeAndBytes) {
    Package package;
    package.code = lom_get_property_data(handle_of("Fan1"), "Speed", FALSE, &package.tlv, FALSE);
    EXPECT_EQ(package.code, 0);
    EXPECT_EQ(package.type(), type_field("u"));
    EXPECT_EQ(package.bytes(), bytes_of<guint32>(1200));
}

TEST_F(DataRead, RefusesANullHandle) {
    TLV_S tlv = {};
    EXPECT_EQ(lom_get_property_data(0, "Speed", FALSE, &tlv, FALSE), -2001);
}

TEST_F(DataRead, RefusesANullName) {
    TLV_S tlv = {};
    EXPECT_EQ(lom_get_property_data(handle_of("Fan1"), nullptr, FALSE, &tlv, FALSE), -2001);
}

TEST_F(DataRead, RefusesANullPackage) {
    EXPECT_EQ(lom_get_property_data(handle_of("Fan1"), "Speed", FALSE, nullptr, FALSE), -2001);
}

TEST_F(DataRead, DoesNotFindAnUnknownObject) {
    TLV_S tlv = {};
    EXPECT_EQ(lom_get_property_data(handle_of("Fan9"), "Speed", FALSE, &tlv, FALSE), -2009);
}

TEST_F(DataRead, DoesNotFindAnObjectThatIsMarkedDeleted) {
    record_of("Fan1")->status = OBJECT_MARK_DEL;
    TLV_S tlv = {};
    EXPECT_EQ(lom_get_property_data(handle_of("Fan1"), "Speed", FALSE, &tlv, FALSE), -2009);
}

TEST_F(DataRead, DoesNotFindAnUnknownProperty) {
    TLV_S tlv = {};
    EXPECT_EQ(lom_get_property_data(handle_of("Fan1"), "Colour", TRUE, &tlv, FALSE), -2010);
}

int copies_fetched = 0;

OBJECT_HEAD_S* count_fetch([[maybe_unused]] const gchar* object_name, [[maybe_unused]] gsize size) {
    ++copies_fetched;
    return nullptr;
}

TEST_F(DataRead, NeverFetchesAnObjectFromItsOwner) {
    copies_fetched = 0;
    lom_set_copy_func(count_fetch);
    TLV_S tlv = {};
    EXPECT_EQ(lom_get_property_data(handle_of("Fan9"), "Speed", FALSE, &tlv, FALSE), -2009);
    EXPECT_EQ(copies_fetched, 0);
}

class ValueRead : public DataRead {};

TEST_F(ValueRead, HasTheTypeOfTheProperty) {
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1200");
    EXPECT_EQ(stored_value("Fan1", "Label"), "'left'");
}

TEST_F(ValueRead, OutlivesItsObject) {
    GVariant* value = nullptr;
    ASSERT_EQ(lom_get_property_value(handle_of("Fan1"), "Label", FALSE, &value, FALSE), 0);
    delete_object("Fan1");
    EXPECT_EQ(printed(value), "'left'");
    g_variant_unref(value);
}

TEST_F(ValueRead, IsFloatingForItsCallerToTake) {
    GVariant* value = nullptr;
    ASSERT_EQ(lom_get_property_value(handle_of("Fan1"), "Speed", FALSE, &value, FALSE), 0);
    EXPECT_TRUE(g_variant_is_floating(value));
    g_variant_unref(value);
}

TEST_F(ValueRead, RefusesANullHandle) {
    GVariant* value = nullptr;
    EXPECT_EQ(lom_get_property_value(0, "Speed", FALSE, &value, FALSE), -2001);
    EXPECT_EQ(value, nullptr);
}

TEST_F(ValueRead, RefusesANullName) {
    GVariant* value = nullptr;
    EXPECT_EQ(lom_get_property_value(handle_of("Fan1"), nullptr, FALSE, &value, FALSE), -2001);
}

TEST_F(ValueRead, RefusesANullResult) {
    EXPECT_EQ(lom_get_property_value(handle_of("Fan1"), "Speed", FALSE, nullptr, FALSE), -2001);
}

TEST_F(ValueRead, DoesNotFindAnUnknownObject) {
    EXPECT_EQ(stored_value("Fan9", "Speed"), "code -2009");
}

TEST_F(ValueRead, DoesNotFindAnUnknownProperty) {
    EXPECT_EQ(stored_value("Fan1", "Colour"), "code -2010");
}

TEST_F(ValueRead, FailsWithoutTheSemaphore) {
    fail_semaphore_of("Fan1");
    EXPECT_EQ(stored_value("Fan1", "Speed"), "code -2015");
}

TEST_F(ValueRead, OfATypeThatNamesNoValueCannotBeBuilt) {
    EXPECT_EQ(stored_value("Fan1", "Odd"), "code -2013");
}

TEST_F(ValueRead, OfAnEmptyTypeCannotBeBuilt) {
    property_of("Fan1", "Speed").type[0] = '\0';
    EXPECT_EQ(stored_value("Fan1", "Speed"), "code -2013");
}

TEST_F(ValueRead, OfAnIncompleteTypeCannotBeBuilt) {
    std::memcpy(property_of("Fan1", "Label").type, "a", 2);
    EXPECT_EQ(stored_value("Fan1", "Label"), "code -2013");
}

TEST_F(ValueRead, LeavesTheResultAsItWasOnFailure) {
    GVariant* const before = g_variant_ref_sink(g_variant_new_uint32(1));
    GVariant* value = before;
    EXPECT_EQ(lom_get_property_value(handle_of("Fan1"), "Odd", FALSE, &value, FALSE), -2013);
    EXPECT_EQ(value, before);
    g_variant_unref(before);
}

TEST_F(ValueRead, IgnoresTheMarkerBehindAType) {
    std::memcpy(property_of("Fan1", "Label").type, "s\0\0o", 4);
    EXPECT_EQ(stored_value("Fan1", "Label"), "'left'");
}

TEST_F(ValueRead, KnowsEveryScalarType) {
    add_object({.name = "All",
                .properties = {{"b", "b", {1}},
                               number<gdouble>("d", "d", 0.5),
                               number<gint32>("i", "i", -5),
                               number<gint16>("n", "n", -6),
                               number<guint16>("q", "q", 7),
                               number<guint32>("u", "u", 8),
                               number<guint8>("y", "y", 9)}});
    EXPECT_EQ(stored_value("All", "b"), "true");
    EXPECT_EQ(stored_value("All", "d"), "0.5");
    EXPECT_EQ(stored_value("All", "i"), "-5");
    EXPECT_EQ(stored_value("All", "n"), "int16 -6");
    EXPECT_EQ(stored_value("All", "q"), "uint16 7");
    EXPECT_EQ(stored_value("All", "u"), "uint32 8");
    EXPECT_EQ(stored_value("All", "y"), "byte 0x09");
}

TEST_F(ValueRead, KnowsArrays) {
    add_object({.name = "Lists",
                .properties = {{"Bytes", "ay", {1, 2}}, {"Names", "as", {'a', 0, 'b', 0, 2, 4}}}});
    EXPECT_EQ(stored_value("Lists", "Bytes"), "[byte 0x01, 0x02]");
    EXPECT_EQ(stored_value("Lists", "Names"), "['a', 'b']");
}

TEST_F(ValueRead, OfAnObjectThatStandsForAnotherIsTheOthers) {
    add_object({.name = "Alias", .class_name = "Seen", .properties = {}});
    ASSERT_EQ(lom_set_reference("Alias", "Fan1"), 0);
    EXPECT_EQ(stored_value("Alias", "Speed"), "uint32 1200");
}

}  // namespace
}  // namespace mox::test
