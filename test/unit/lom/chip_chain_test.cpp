// From a property to its chip, and along the chain of upstream chips to the bus at its head.
#include <gtest/gtest.h>

#include "value_fixture.hpp"

namespace mox::test {
namespace {

// Fan1.Speed has the accessor "Tacho" on the chip "Cpld".
class ChipFixture : public ValueFixture {
protected:
    void SetUp() override {
        ValueFixture::SetUp();
        add_object({.name = "Fan1",
                    .properties = {number<guint32>("Speed", "u", 1, "rw", "Tacho"),
                                   number<guint32>("Limit", "u", 5000)}});
        add_physical("Accessor", "Tacho", {{"Chip", "Cpld"}});
    }
};

class PropertyChip : public ChipFixture {
protected:
    // The chip's name, or the code.
    static std::string chip_of(const char* property, gint32 length = 32,
                               const std::string& object = "Fan1") {
        gchar name[64];
        const gint32 code = lom_get_property_chip(handle_of(object), property, name, length);
        return code == 0 ? name : "code " + std::to_string(code);
    }
};

TEST_F(PropertyChip, IsTheChipOfTheAccessor) {
    EXPECT_EQ(chip_of("Speed"), "Cpld");
}

TEST_F(PropertyChip, MayHaveANameOf31Characters) {
    const std::string longest(31, 'c');
    add_physical("Accessor", "Tacho", {{"Chip", longest}});
    gchar name[33];
    std::fill(name, name + sizeof name, '#');
    EXPECT_EQ(lom_get_property_chip(handle_of("Fan1"), "Speed", name, 32), 0);
    EXPECT_EQ(std::string(name, sizeof name), longest + '\0' + '#');
}

TEST_F(PropertyChip, IsCutTo31Characters) {
    add_physical("Accessor", "Tacho", {{"Chip", std::string(40, 'c')}});
    EXPECT_EQ(chip_of("Speed", 64), std::string(31, 'c'));
}

TEST_F(PropertyChip, MayBeStoredWithoutATerminator) {
    ASSERT_EQ(lom_realloc_property("Tacho", "Chip", "s", 4, "Cpld"), 0);
    EXPECT_EQ(chip_of("Speed"), "Cpld");
}

TEST_F(PropertyChip, OfSizeZeroHasAnEmptyName) {
    ASSERT_EQ(lom_realloc_property("Tacho", "Chip", "s", 0, ""), 0);
    EXPECT_EQ(chip_of("Speed"), "");
}

TEST_F(PropertyChip, RefusesALengthOf31) {
    EXPECT_EQ(chip_of("Speed", 31), "code -2001");
}

TEST_F(PropertyChip, ChecksTheLengthFirst) {
    EXPECT_EQ(chip_of("Speed", 31, "Fan9"), "code -2001");
}

TEST_F(PropertyChip, RefusesANullBuffer) {
    EXPECT_EQ(lom_get_property_chip(handle_of("Fan1"), "Speed", nullptr, 32), -2001);
}

TEST_F(PropertyChip, GivesTheCodesOfTheAccessorLookup) {
    gchar name[32];
    EXPECT_EQ(lom_get_property_chip(0, "Speed", name, 32), -2001);
    EXPECT_EQ(chip_of(nullptr), "code -2001");
    EXPECT_EQ(chip_of("Speed", 32, "Fan9"), "code -2009");
    EXPECT_EQ(chip_of("Colour"), "code -2010");
    EXPECT_EQ(chip_of("Limit"), "code -2011");
}

TEST_F(PropertyChip, OfAMissingAccessorObjectIsNotFound) {
    delete_object("Tacho");
    EXPECT_EQ(chip_of("Speed"), "code -2009");
}

TEST_F(PropertyChip, OfAnAccessorThatNamesNoneIsNotFound) {
    add_physical("Accessor", "Tacho");
    EXPECT_EQ(chip_of("Speed"), "code -2010");
}

TEST_F(PropertyChip, MustBeNamedByText) {
    add_object({.name = "Tacho",
                .class_name = "Accessor",
                .object_type = "Physical",
                .properties = {number<guint32>("Chip", "u", 5)}});
    EXPECT_EQ(chip_of("Speed"), "code -2012");
}

TEST_F(PropertyChip, CannotBeNamedByAList) {
    add_object({.name = "Tacho",
                .class_name = "Accessor",
                .object_type = "Physical",
                .properties = {{"Chip", "as", {'a', 0, 2}}}});
    EXPECT_EQ(chip_of("Speed"), "code -2012");
}

TEST_F(PropertyChip, IsReadUnderTheAccessorsSemaphore) {
    fail_semaphore_of("Tacho");
    EXPECT_EQ(chip_of("Speed"), "code -2015");
}

TEST_F(PropertyChip, NeedNotBeAnObject) {
    ASSERT_EQ(record_of("Cpld"), nullptr);
    EXPECT_EQ(chip_of("Speed"), "Cpld");
}

TEST_F(PropertyChip, IsFoundWithoutTheHardware) {
    chip_of("Speed");
    EXPECT_TRUE(fake::driver_reads().empty());
}

class HostBus : public ChipFixture {
protected:
    // The bus's name, or the code.
    static std::string bus_of(const char* property) {
        gchar name[32];
        const gint32 code = lom_get_host_bus(handle_of("Fan1"), property, name);
        return code == 0 ? name : "code " + std::to_string(code);
    }
};

TEST_F(HostBus, IsTheBusOfAChipWithoutAnUpstreamChip) {
    add_physical("Chip", "Cpld", {{"LBus", "I2c1"}});
    EXPECT_EQ(bus_of("Speed"), "I2c1");
}

TEST_F(HostBus, IsTheBusOfAChipWhoseUpstreamChipIsEmpty) {
    add_physical("Chip", "Cpld", {{"PrevChip", ""}, {"LBus", "I2c1"}});
    EXPECT_EQ(bus_of("Speed"), "I2c1");
}

TEST_F(HostBus, IsTheBusAtTheHeadOfTheChain) {
    add_physical("Chip", "Cpld", {{"PrevChip", "Mux"}, {"LBus", "I2c1"}});
    add_physical("Chip", "Mux", {{"PrevChip", "Pch"}, {"LBus", "I2c2"}});
    add_physical("Chip", "Pch", {{"PrevChip", ""}, {"LBus", "I2c3"}});
    EXPECT_EQ(bus_of("Speed"), "I2c3");
}

TEST_F(HostBus, IsFoundAlongALongChain) {
    add_physical("Chip", "Cpld", {{"PrevChip", "C0"}});
    for (int index = 0; index < 200; ++index) {
        add_physical("Chip", "C" + std::to_string(index),
                     {{"PrevChip", "C" + std::to_string(index + 1)}});
    }
    add_physical("Chip", "C200", {{"LBus", "I2c1"}});
    EXPECT_EQ(bus_of("Speed"), "I2c1");
}

TEST_F(HostBus, MayHaveANameOf31Characters) {
    const std::string longest(31, 'b');
    add_physical("Chip", "Cpld", {{"LBus", longest}});
    EXPECT_EQ(bus_of("Speed"), longest);
}

TEST_F(HostBus, WritesNothingBehindItsName) {
    add_physical("Chip", "Cpld", {{"LBus", "I2c1"}});
    gchar name[32];
    std::fill(name, name + sizeof name, '#');
    lom_get_host_bus(handle_of("Fan1"), "Speed", name);
    EXPECT_EQ(std::string(name, 6), std::string("I2c1\0#", 6));
}

TEST_F(HostBus, GivesTheCodesOfTheChipLookup) {
    gchar name[32];
    EXPECT_EQ(lom_get_host_bus(0, "Speed", name), -2001);
    EXPECT_EQ(bus_of(nullptr), "code -2001");
    EXPECT_EQ(lom_get_host_bus(handle_of("Fan9"), "Speed", name), -2009);
    EXPECT_EQ(bus_of("Colour"), "code -2010");
    EXPECT_EQ(bus_of("Limit"), "code -2011");
}

TEST_F(HostBus, RefusesANullBuffer) {
    add_physical("Chip", "Cpld", {{"LBus", "I2c1"}});
    EXPECT_EQ(lom_get_host_bus(handle_of("Fan1"), "Speed", nullptr), -2001);
}

TEST_F(HostBus, OfAMissingChipIsNotFound) {
    EXPECT_EQ(bus_of("Speed"), "code -2009");
}

TEST_F(HostBus, OfAMissingUpstreamChipIsNotFound) {
    add_physical("Chip", "Cpld", {{"PrevChip", "Mux"}, {"LBus", "I2c1"}});
    EXPECT_EQ(bus_of("Speed"), "code -2009");
}

TEST_F(HostBus, OfAHeadWithoutABusIsNotFound) {
    add_physical("Chip", "Cpld", {{"PrevChip", "Mux"}, {"LBus", "I2c1"}});
    add_physical("Chip", "Mux");
    EXPECT_EQ(bus_of("Speed"), "code -2010");
}

TEST_F(HostBus, GivesTheCodeOfAnUpstreamChipThatCannotBeRead) {
    add_physical("Chip", "Cpld", {{"PrevChip", "Mux"}});
    add_physical("Chip", "Mux", {{"PrevChip", ""}, {"LBus", "I2c1"}});
    fail_semaphore_of("Mux");
    EXPECT_EQ(bus_of("Speed"), "code -2015");
}

TEST_F(HostBus, GivesTheCodeOfABusThatCannotBeRead) {
    add_physical("Chip", "Cpld", {{"LBus", "I2c1"}});
    fail_semaphore_of("Cpld");
    EXPECT_EQ(bus_of("Speed"), "code -2015");
}

TEST_F(HostBus, OfAChipThatIsItsOwnUpstreamFails) {
    add_physical("Chip", "Cpld", {{"PrevChip", "Cpld"}, {"LBus", "I2c1"}});
    EXPECT_EQ(bus_of("Speed"), "code -2000");
}

TEST_F(HostBus, OfACycleOfChipsFails) {
    add_physical("Chip", "Cpld", {{"PrevChip", "Mux"}, {"LBus", "I2c1"}});
    add_physical("Chip", "Mux", {{"PrevChip", "Pch"}, {"LBus", "I2c1"}});
    add_physical("Chip", "Pch", {{"PrevChip", "Cpld"}, {"LBus", "I2c1"}});
    EXPECT_EQ(bus_of("Speed"), "code -2000");
}

TEST_F(HostBus, OfAnUpstreamChipThatIsNoTextFails) {
    add_object({.name = "Cpld",
                .class_name = "Chip",
                .object_type = "Physical",
                .properties = {number<guint32>("PrevChip", "u", 5), text("LBus", "I2c1")}});
    EXPECT_EQ(bus_of("Speed"), "code -2012");
}

}  // namespace
}  // namespace mox::test
