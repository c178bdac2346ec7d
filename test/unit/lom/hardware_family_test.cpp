// The physical objects behind an object: which ones its family has.
#include <gtest/gtest.h>

#include <set>

#include "value_fixture.hpp"

namespace mox::test {
namespace {

using Names = std::set<std::string>;

class HardwareFamily : public ValueFixture {
protected:
    // The names of the family's members; every key must be its value.
    static Names family_of(const std::string& object) {
        GHashTable* const set = g_hash_table_new(g_direct_hash, g_direct_equal);
        lom_family_to_hash(handle_of(object), set);
        Names names;
        GHashTableIter entries;
        gpointer key = nullptr;
        gpointer value = nullptr;
        g_hash_table_iter_init(&entries, set);
        while (g_hash_table_iter_next(&entries, &key, &value) != FALSE) {
            EXPECT_EQ(key, value);
            names.insert(lom_handle_to_name(GPOINTER_TO_INT(key)));
        }
        g_hash_table_destroy(set);
        return names;
    }

    static void add_fan(const Texts& accessors) {
        ObjectPlan plan{.name = "Fan1"};
        for (const std::string& accessor : accessors) {
            const std::string name = "P" + std::to_string(plan.properties.size());
            plan.properties.push_back(number<guint32>(name, "u", 1, "rw", accessor));
        }
        add_object(plan);
    }
};

TEST_F(HardwareFamily, OfALogicalObjectCoversAccessorsChipBusAndBusyChips) {
    add_fan({"Tacho", "Pwm", ""});
    add_physical("Accessor", "Tacho", {{"Chip", "Cpld"}});
    add_physical("Accessor", "Pwm", {{"Chip", "Cpld"}});
    add_physical("Chip", "Cpld", {{"LBus", "I2c1"}});
    add_physical("Bus", "I2c1", {{"NodeBusy", "Busy1"}, {"PeerBusy", "Busy2"}});
    add_physical("Chip", "Busy1");
    add_physical("Chip", "Busy2");
    add_physical("Chip", "Stranger");
    EXPECT_EQ(family_of("Fan1"), (Names{"Fan1", "Tacho", "Pwm", "Cpld", "I2c1", "Busy1", "Busy2"}));
}

TEST_F(HardwareFamily, HasOneEntryForEachMember) {
    add_fan({"Tacho", "Pwm"});
    add_physical("Accessor", "Tacho", {{"Chip", "Cpld"}});
    add_physical("Accessor", "Pwm", {{"Chip", "Cpld"}});
    add_physical("Chip", "Cpld");
    GHashTable* const set = g_hash_table_new(g_direct_hash, g_direct_equal);
    lom_family_to_hash(handle_of("Fan1"), set);
    EXPECT_EQ(g_hash_table_size(set), 4U);
    g_hash_table_destroy(set);
}

TEST_F(HardwareFamily, OfALogicalObjectWithoutAccessorsIsItselfAlone) {
    add_fan({"", ""});
    EXPECT_EQ(family_of("Fan1"), Names{"Fan1"});
}

TEST_F(HardwareFamily, OfALogicalObjectIgnoresItsClass) {
    add_object({.name = "Odd", .class_name = "Chip", .properties = {text("PrevChip", "Cpld")}});
    add_physical("Chip", "Cpld");
    EXPECT_EQ(family_of("Odd"), Names{"Odd"});
}

TEST_F(HardwareFamily, TellsOfAMissingAccessorAndGoesOn) {
    add_fan({"Lost1", "Tacho", "Lost2"});
    add_physical("Accessor", "Tacho");
    Names names;
    const Texts messages = messages_of([&] { names = family_of("Fan1"); });
    EXPECT_EQ(names, (Names{"Fan1", "Tacho"}));
    EXPECT_EQ(messages,
              (Texts{"ERR Accessor Lost1 is not exist.\n", "ERR Accessor Lost2 is not exist.\n"}));
}

TEST_F(HardwareFamily, SkipsAnEmptyAccessorWithoutAWord) {
    add_fan({"Tacho"});
    property_of("Fan1", "P0").accessor[0] = '\0';
    Names names;
    EXPECT_EQ(messages_of([&] { names = family_of("Fan1"); }), Texts{});
    EXPECT_EQ(names, Names{"Fan1"});
}

TEST_F(HardwareFamily, OfAnAccessorBeginsWithItself) {
    add_physical("Accessor", "Tacho", {{"Chip", "Cpld"}});
    add_physical("Chip", "Cpld");
    EXPECT_EQ(family_of("Tacho"), (Names{"Tacho", "Cpld"}));
}

TEST_F(HardwareFamily, OfAnAccessorWithoutAChipIsItselfAlone) {
    add_physical("Accessor", "Tacho");
    EXPECT_EQ(family_of("Tacho"), Names{"Tacho"});
}

TEST_F(HardwareFamily, OfAChipCoversUpstreamAndResetChipAndBus) {
    add_physical("Chip", "Cpld", {{"PrevChip", "Mux"}, {"ResetChip", "Pch"}, {"LBus", "I2c1"}});
    add_physical("Chip", "Mux");
    add_physical("Chip", "Pch");
    add_physical("Bus", "I2c1");
    EXPECT_EQ(family_of("Cpld"), (Names{"Cpld", "Mux", "Pch", "I2c1"}));
}

TEST_F(HardwareFamily, OfAChipCoversTheWholeChainUpstream) {
    add_physical("Chip", "A", {{"PrevChip", "B"}});
    add_physical("Chip", "B", {{"PrevChip", "C"}});
    add_physical("Chip", "C", {{"LBus", "I2c1"}});
    add_physical("Bus", "I2c1");
    EXPECT_EQ(family_of("A"), (Names{"A", "B", "C", "I2c1"}));
}

TEST_F(HardwareFamily, OfAChipDoesNotLookDownstream) {
    add_physical("Chip", "A", {{"PrevChip", "B"}});
    add_physical("Chip", "B");
    EXPECT_EQ(family_of("B"), Names{"B"});
}

TEST_F(HardwareFamily, SkipsEmptyAndUnknownNamesWithoutAWord) {
    add_physical("Chip", "Cpld", {{"PrevChip", ""}, {"ResetChip", "Lost"}, {"LBus", "Lost"}});
    Names names;
    EXPECT_EQ(messages_of([&] { names = family_of("Cpld"); }), Texts{});
    EXPECT_EQ(names, Names{"Cpld"});
}

TEST_F(HardwareFamily, SkipsANameThatIsNoText) {
    add_object({.name = "Tacho",
                .class_name = "Accessor",
                .object_type = "Physical",
                .properties = {number<guint32>("Chip", "u", 5)}});
    EXPECT_EQ(family_of("Tacho"), Names{"Tacho"});
}

TEST_F(HardwareFamily, SkipsANameThatCannotBeRead) {
    add_physical("Chip", "Cpld", {{"PrevChip", "Mux"}});
    add_physical("Chip", "Mux");
    fail_semaphore_of("Cpld");
    EXPECT_EQ(family_of("Cpld"), Names{"Cpld"});
}

TEST_F(HardwareFamily, FollowsANameThatIsAReference) {
    add_object({.name = "Tacho",
                .class_name = "Accessor",
                .object_type = "Physical",
                .properties = {reference("Chip", "Board.Main")}});
    add_object({.name = "Board", .properties = {text("Main", "Cpld")}});
    add_physical("Chip", "Cpld");
    EXPECT_EQ(family_of("Tacho"), (Names{"Tacho", "Cpld"}));
}

TEST_F(HardwareFamily, OfABusCoversItsBusyChips) {
    add_physical("Bus", "I2c1", {{"NodeBusy", "Busy1"}, {"PeerBusy", "Busy2"}});
    add_physical("Chip", "Busy1", {{"PrevChip", "Mux"}});
    add_physical("Chip", "Busy2");
    add_physical("Chip", "Mux");
    EXPECT_EQ(family_of("I2c1"), (Names{"I2c1", "Busy1", "Busy2", "Mux"}));
}

TEST_F(HardwareFamily, OfAPhysicalObjectOfAnotherClassIsEmpty) {
    add_physical("Slot", "Slot1", {{"Chip", "Cpld"}, {"PrevChip", "Cpld"}, {"LBus", "I2c1"}});
    add_physical("Chip", "Cpld");
    EXPECT_EQ(family_of("Slot1"), Names{});
}

TEST_F(HardwareFamily, KnowsClassesThatDescendFromAccessorChipAndBus) {
    cls_set_parent(class_of("FastAccessor"), class_of("Accessor"));
    cls_set_parent(class_of("I2cChip"), class_of("Chip"));
    cls_set_parent(class_of("I2cBus"), class_of("Bus"));
    add_physical("FastAccessor", "Tacho", {{"Chip", "Cpld"}});
    add_physical("I2cChip", "Cpld", {{"LBus", "I2c1"}});
    add_physical("I2cBus", "I2c1", {{"NodeBusy", "Busy1"}});
    add_physical("I2cChip", "Busy1");
    EXPECT_EQ(family_of("Tacho"), (Names{"Tacho", "Cpld", "I2c1", "Busy1"}));
    EXPECT_EQ(family_of("Cpld"), (Names{"Cpld", "I2c1", "Busy1"}));
    EXPECT_EQ(family_of("I2c1"), (Names{"I2c1", "Busy1"}));
}

TEST_F(HardwareFamily, EndsAtAChipThatIsItsOwnUpstream) {
    add_physical("Chip", "A", {{"PrevChip", "A"}, {"ResetChip", "A"}});
    EXPECT_EQ(family_of("A"), Names{"A"});
}

TEST_F(HardwareFamily, EndsInACycleOfChips) {
    add_physical("Chip", "A", {{"PrevChip", "B"}});
    add_physical("Chip", "B", {{"PrevChip", "C"}, {"ResetChip", "A"}});
    add_physical("Chip", "C", {{"PrevChip", "A"}});
    EXPECT_EQ(family_of("B"), (Names{"A", "B", "C"}));
}

TEST_F(HardwareFamily, EndsWhenABusyChipHangsOnItsOwnBus) {
    add_physical("Chip", "A", {{"LBus", "I2c1"}});
    add_physical("Bus", "I2c1", {{"NodeBusy", "A"}, {"PeerBusy", "B"}});
    add_physical("Chip", "B", {{"LBus", "I2c1"}});
    EXPECT_EQ(family_of("A"), (Names{"A", "B", "I2c1"}));
}

TEST_F(HardwareFamily, IsReadFromMemory) {
    add_fan({"Tacho"});
    add_physical("Accessor", "Tacho", {{"Chip", "Cpld"}});
    add_physical("Chip", "Cpld");
    family_of("Fan1");
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(HardwareFamily, KeepsWhatTheSetHeld) {
    add_physical("Chip", "Cpld");
    GHashTable* const set = g_hash_table_new(g_direct_hash, g_direct_equal);
    gpointer const before = GINT_TO_POINTER(handle_of("Before"));
    g_hash_table_insert(set, before, before);
    lom_family_to_hash(handle_of("Cpld"), set);
    EXPECT_EQ(g_hash_table_size(set), 2U);
    g_hash_table_destroy(set);
}

TEST_F(HardwareFamily, OfANullHandleIsEmpty) {
    GHashTable* const set = g_hash_table_new(g_direct_hash, g_direct_equal);
    lom_family_to_hash(0, set);
    EXPECT_EQ(g_hash_table_size(set), 0U);
    g_hash_table_destroy(set);
}

TEST_F(HardwareFamily, OfAnUnknownObjectIsEmpty) {
    EXPECT_EQ(family_of("Fan9"), Names{});
}

TEST_F(HardwareFamily, WithoutASetChangesNothing) {
    add_physical("Chip", "Cpld");
    lom_family_to_hash(handle_of("Cpld"), nullptr);
    EXPECT_EQ(fake::osal::takes(), 0U);
}

}  // namespace
}  // namespace mox::test
