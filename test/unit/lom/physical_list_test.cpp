// The lists of named values by which the driver library learns of physical objects.
#include <gtest/gtest.h>

#include "value_fixture.hpp"

namespace mox::test {
namespace {

constexpr OBJ_HANDLE kEveryObject = -1;

using List = std::vector<fake::PhysicalProperty>;

class PhysicalList : public ValueFixture {
protected:
    // The keys of the one table that was handed over.
    static Texts keys() {
        const auto tables = fake::driver_tables();
        EXPECT_EQ(tables.size(), 1U);
        Texts names;
        if (!tables.empty()) {
            for (const auto& [key, list] : tables[0]) names.push_back(key);
        }
        return names;
    }

    // One list of the one table that was handed over.
    static List list_of(const std::string& key) {
        const auto tables = fake::driver_tables();
        EXPECT_EQ(tables.size(), 1U);
        if (tables.size() != 1 || tables[0].count(key) == 0) {
            ADD_FAILURE() << "no list of " << key;
            return {};
        }
        return tables[0].at(key);
    }

    static void create(const std::string& object) { lom_create_has_object(handle_of(object)); }

    static std::string semid_of(const std::string& object) {
        return std::to_string(record_of(object)->semid);
    }
    static std::string member_of(const std::string& object) {
        return std::to_string(record_of(object)->sem_member);
    }
};

TEST_F(PhysicalList, BeginsWithThePositionAndEndsWithTheFirstProperty) {
    add_object({.name = "Spare", .properties = {}});
    add_object({.name = "Cpld",
                .class_name = "Chip",
                .object_type = "Physical",
                .position = 4294967295U,
                .properties = {number<guint8>("Address", "y", 0x40),
                               text("LBus", "I2c1"),
                               number<gint16>("Delay", "n", -2),
                               {"Map", "ay", {1, 2}}}});
    create("Cpld");
    EXPECT_EQ(list_of("Chip.Cpld"), (List{{"Position", "uint32 4294967295"},
                                          {"SemMember", member_of("Cpld")},
                                          {"SemId", semid_of("Cpld")},
                                          {"ObjName", "'Cpld'"},
                                          {"Map", "[byte 0x01, 0x02]"},
                                          {"Delay", "int16 -2"},
                                          {"LBus", "'I2c1'"},
                                          {"Address", "byte 0x40"}}));
    EXPECT_EQ(member_of("Cpld"), "1");
}

TEST_F(PhysicalList, OfAnObjectWithoutPropertiesHasTheFourEntries) {
    add_physical("Chip", "Cpld");
    create("Cpld");
    EXPECT_EQ(list_of("Chip.Cpld"), (List{{"Position", "uint32 0"},
                                          {"SemMember", member_of("Cpld")},
                                          {"SemId", semid_of("Cpld")},
                                          {"ObjName", "'Cpld'"}}));
}

TEST_F(PhysicalList, IsKeptUnderClassAndObjectName) {
    const std::string class_name(31, 'C');
    const std::string name(31, 'o');
    add_physical(class_name, name);
    lom_create_has_object(kEveryObject);
    EXPECT_EQ(keys(), Texts{class_name + "." + name});
}

TEST_F(PhysicalList, OfARecordWithoutAClassIsKeptUnderItsNameAlone) {
    add_physical("Chip", "Cpld");
    record_of("Cpld")->class_name = nullptr;
    lom_create_has_object(kEveryObject);
    EXPECT_EQ(keys(), Texts{"(null).Cpld"});
}

TEST_F(PhysicalList, IsMadeForEachPhysicalMemberOfTheFamily) {
    add_object({.name = "Fan1",
                .properties = {number<guint32>("Speed", "u", 1, "rw", "Tacho"),
                               number<guint32>("Duty", "u", 1, "rw", "Pwm")}});
    add_physical("Accessor", "Tacho", {{"Chip", "Cpld"}});
    add_physical("Accessor", "Pwm", {{"Chip", "Cpld"}});
    add_physical("Chip", "Cpld", {{"LBus", "I2c1"}});
    add_physical("Bus", "I2c1", {{"NodeBusy", "Busy1"}});
    add_physical("Chip", "Busy1");
    add_physical("Chip", "Stranger");
    create("Fan1");
    EXPECT_EQ(keys(),
              (Texts{"Accessor.Pwm", "Accessor.Tacho", "Bus.I2c1", "Chip.Busy1", "Chip.Cpld"}));
}

TEST_F(PhysicalList, IsNeverMadeForALogicalMember) {
    add_physical("Accessor", "Tacho", {{"Chip", "Cpld"}});
    add_object({.name = "Cpld", .class_name = "Chip"});
    create("Tacho");
    EXPECT_EQ(keys(), Texts{"Accessor.Tacho"});
}

TEST_F(PhysicalList, OfANullHandleIsNotMade) {
    add_physical("Chip", "Cpld");
    lom_create_has_object(0);
    EXPECT_TRUE(fake::driver_tables().empty());
}

TEST_F(PhysicalList, OfAnUnknownObjectIsNotMade) {
    create("Fan9");
    EXPECT_TRUE(fake::driver_tables().empty());
}

TEST_F(PhysicalList, OfALogicalObjectWithoutHardwareIsNotMade) {
    add_object({.name = "Fan1", .properties = {number<guint32>("Speed", "u", 1)}});
    create("Fan1");
    EXPECT_TRUE(fake::driver_tables().empty());
}

TEST_F(PhysicalList, OfAPhysicalObjectOfAnotherClassIsNotMade) {
    add_physical("Slot", "Slot1");
    create("Slot1");
    EXPECT_TRUE(fake::driver_tables().empty());
}

TEST_F(PhysicalList, OfEveryObjectCoversThePhysicalOnesOfAnyClass) {
    add_physical("Slot", "Slot1");
    add_physical("Chip", "Cpld");
    add_object({.name = "Fan1"});
    lom_create_has_object(kEveryObject);
    EXPECT_EQ(keys(), (Texts{"Chip.Cpld", "Slot.Slot1"}));
}

TEST_F(PhysicalList, OfEveryObjectIsNotMadeWhenAllAreLogical) {
    add_object({.name = "Fan1"});
    lom_create_has_object(kEveryObject);
    EXPECT_TRUE(fake::driver_tables().empty());
}

TEST_F(PhysicalList, OfEveryObjectIsNotMadeWhenThereIsNone) {
    lom_create_has_object(kEveryObject);
    EXPECT_TRUE(fake::driver_tables().empty());
}

TEST_F(PhysicalList, IsMadeInAnyProcess) {
    add_physical("Chip", "Cpld");
    become_member();
    create("Cpld");
    become_owner();
    EXPECT_EQ(keys(), Texts{"Chip.Cpld"});
}

TEST_F(PhysicalList, HoldsStoredBytesOfAPropertyThatHardwareBacks) {
    add_object({.name = "Cpld",
                .class_name = "Chip",
                .object_type = "Physical",
                .properties = {number<guint8>("Version", "y", 1, "rw", "Reg")}});
    fake::driver_program_value<guint8>("Reg", 2);
    create("Cpld");
    EXPECT_EQ(list_of("Chip.Cpld").back(), (fake::PhysicalProperty{"Version", "byte 0x01"}));
    EXPECT_TRUE(fake::driver_reads().empty());
}

// "Cpld.Twin" names "Fan1.Speed", which has 1200 in memory and 1300 at its accessor.
class PhysicalListWithReference : public PhysicalList {
protected:
    void SetUp() override {
        PhysicalList::SetUp();
        add_object(
            {.name = "Fan1", .properties = {number<guint32>("Speed", "u", 1200, "rw", "Tacho")}});
        fake::driver_program_value<guint32>("Tacho", 1300);
        add_object(
            {.name = "Cpld",
             .class_name = "Chip",
             .object_type = "Physical",
             .properties = {number<guint8>("Address", "y", 1), reference("Twin", "Fan1.Speed")}});
    }
};

TEST_F(PhysicalListWithReference, HoldsTheTargetsLiveValue) {
    create("Cpld");
    EXPECT_EQ(list_of("Chip.Cpld")[4], (fake::PhysicalProperty{"Twin", "uint32 1300"}));
}

TEST_F(PhysicalListWithReference, GoesWithoutAReferenceThatCannotBeRead) {
    fake::driver_fail_reads_of("Tacho", -2106);
    create("Cpld");
    const List list = list_of("Chip.Cpld");
    EXPECT_EQ(list.size(), 5U);
    EXPECT_EQ(list.back(), (fake::PhysicalProperty{"Address", "byte 0x01"}));
}

TEST_F(PhysicalListWithReference, NeverGoesThroughTheOwner) {
    lom_set_remote_get_property_func(nullptr);
    create("Cpld");
    EXPECT_EQ(fake::driver_reads().size(), 1U);
}

// The accessor of the value that its own reference names: registering it reads it, which registers
// it.
TEST_F(PhysicalListWithReference, EndsWhenAReferenceLeadsBackToItsOwnAccessor) {
    add_object({.name = "Tacho",
                .class_name = "Accessor",
                .object_type = "Physical",
                .properties = {reference("Origin", "Fan1.Speed")}});
    create("Tacho");
    EXPECT_FALSE(fake::driver_tables().empty());
}

class PhysicalListFailure : public PhysicalList {
protected:
    void SetUp() override {
        PhysicalList::SetUp();
        add_object({.name = "Fan1", .properties = {number<guint32>("Speed", "u", 1200)}});
        add_object({.name = "Cpld",
                    .class_name = "Chip",
                    .object_type = "Physical",
                    .properties = {number<guint8>("Address", "y", 1),
                                   reference("Twin", "Fan1.Speed"),
                                   {"Odd", "z", {1}}}});
    }

    // The entries' names of Cpld's list when the n-th named value cannot be made.
    static Texts names_without(guint n) {
        fake::driver_reset();
        fake::driver_fail_property(n);
        create("Cpld");
        Texts names;
        for (const auto& entry : list_of("Chip.Cpld")) names.push_back(entry.name);
        return names;
    }
};

TEST_F(PhysicalListFailure, GoesWithoutAValueThatCannotBeBuilt) {
    EXPECT_EQ(names_without(0),
              (Texts{"Position", "SemMember", "SemId", "ObjName", "Twin", "Address"}));
}

TEST_F(PhysicalListFailure, GoesWithoutAnEntryThatCannotBeMade) {
    EXPECT_EQ(names_without(1), (Texts{"Position", "SemMember", "SemId", "ObjName", "Twin"}));
    EXPECT_EQ(names_without(2), (Texts{"Position", "SemMember", "SemId", "ObjName", "Address"}));
    EXPECT_EQ(names_without(3), (Texts{"Position", "SemMember", "SemId", "Twin", "Address"}));
    EXPECT_EQ(names_without(4), (Texts{"Position", "SemMember", "ObjName", "Twin", "Address"}));
    EXPECT_EQ(names_without(5), (Texts{"Position", "SemId", "ObjName", "Twin", "Address"}));
    EXPECT_EQ(names_without(6), (Texts{"SemMember", "SemId", "ObjName", "Twin", "Address"}));
}

TEST_F(PhysicalListFailure, LeavesNoNamedValueBehind) {
    names_without(3);
    EXPECT_EQ(fake::driver_live_properties(), 0U);
}

TEST_F(PhysicalList, LeavesNoNamedValueBehind) {
    add_physical("Chip", "Cpld", {{"LBus", "I2c1"}});
    create("Cpld");
    EXPECT_EQ(fake::driver_live_properties(), 0U);
}

}  // namespace
}  // namespace mox::test
