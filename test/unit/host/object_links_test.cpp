#include "profile/object_links.hpp"

#include "loaded_profile.hpp"

namespace mox::test {
namespace {

constexpr const char* hardware_classes =
    R"({"name": "Chip", "properties": [{"name": "Path", "type": "s"}, {"name": "PrevChip", "type": "s"},
                                       {"name": "LBus", "type": "s"}]},
       {"name": "FastChip", "parent": "Chip"},
       {"name": "Bus", "properties": [{"name": "NodeBusy", "type": "s"}]},
       {"name": "Accessor", "properties": [{"name": "Chip", "type": "s"}, {"name": "Type", "type": "s"}]},
       {"name": "Sensor", "properties": [{"name": "Level", "type": "i"}, {"name": "Text", "type": "s"},
                                         {"name": "Twin", "type": "sp"}]})";

// The fault of a profile with these objects.
std::string fault_with(const std::string& objects) {
    return fault_of(profile_text(hardware_classes, objects));
}

std::string chip(const std::string& name, const std::string& properties = "") {
    return R"({"name": ")" + name + R"(", "class": "Chip", "type": "Physical", "properties": {)" +
           properties + "}}";
}

std::string accessor(const std::string& name, const std::string& of_chip,
                     const std::string& type = "i") {
    return R"({"name": ")" + name +
           R"(", "class": "Accessor", "type": "Physical", "properties": {"Chip": ")" + of_chip +
           R"(", "Type": ")" + type + R"("}})";
}

std::string sensor(const std::string& name, const std::string& properties) {
    return R"({"name": ")" + name + R"(", "class": "Sensor", "properties": {)" + properties + "}}";
}

const std::string level_by_acc = R"("Level": {"accessor": "acc"})";

TEST(ProfileAccessors, ThatExistMayStandBehindTheirUsers) {
    EXPECT_EQ(fault_with(sensor("s", level_by_acc) + "," + accessor("acc", "c") + "," + chip("c")),
              "none");
}

TEST(ProfileAccessors, MakeAReadableProperty) {
    const Profile profile =
        profile_of(profile_text(hardware_classes, sensor("s", level_by_acc) + "," +
                                                      accessor("acc", "c") + "," + chip("c")));
    ASSERT_EQ(profile.objects.size(), 3U);
    EXPECT_EQ(profile.objects[0].properties[0].accessor, "acc");
    EXPECT_EQ(profile.objects[0].properties[0].mode, "r");
}

TEST(ProfileAccessors, ThatDoNotExistAreRefused) {
    EXPECT_EQ(fault_with(sensor("Memory", level_by_acc)),
              "objects[0] \"Memory\" property \"Level\": names Accessor object \"acc\", which does "
              "not exist");
}

TEST(ProfileAccessors, OfAnotherClassAreRefused) {
    EXPECT_EQ(fault_with(sensor("s", level_by_acc) + "," + chip("acc")),
              "objects[0] \"s\" property \"Level\": names Accessor object \"acc\", which is of "
              "class \"Chip\"");
}

TEST(ProfileAccessors, ThatAreLogicalAreRefused) {
    EXPECT_EQ(fault_with(sensor("s", level_by_acc) +
                         R"(,{"name": "acc", "class": "Accessor", "properties": {"Chip": "c"}},)" +
                         chip("c")),
              "objects[0] \"s\" property \"Level\": names Accessor object \"acc\", which must have "
              "\"type\": \"Physical\"");
}

TEST(ProfileAccessors, OfAMissingChipAreRefused) {
    EXPECT_EQ(
        fault_with(accessor("acc", "c")),
        "objects[0] \"acc\" property \"Chip\": names Chip object \"c\", which does not exist");
}

TEST(ProfileAccessors, WithoutAChipAreRefusedWhereTheyAreUsed) {
    EXPECT_EQ(fault_with(sensor("s", level_by_acc) + "," + accessor("acc", "")),
              "objects[0] \"s\" property \"Level\": its accessor \"acc\" names no chip");
    EXPECT_EQ(fault_with(accessor("acc", "")), "none");
}

TEST(ProfileAccessors, OfAnotherTypeThanThePropertyAreRefused) {
    EXPECT_EQ(
        fault_with(sensor("s", level_by_acc) + "," + accessor("acc", "c", "u") + "," + chip("c")),
        "objects[0] \"s\" property \"Level\": is of type \"i\", its accessor \"acc\" delivers type "
        "\"u\"");
}

TEST(ProfileAccessors, OfAPropertyOfVaryingSizeAreRefused) {
    EXPECT_EQ(
        fault_with(sensor("s", R"("Text": {"accessor": "acc"})")),
        "objects[0] \"s\" property \"Text\": type \"s\" cannot have an accessor; hardware delivers "
        "b, y, n, q, i, u and d");
}

TEST(ProfileChips, MayBeOfADerivedClass) {
    EXPECT_EQ(fault_with(accessor("acc", "c") +
                         R"(,{"name": "c", "class": "FastChip", "type": "Physical"})"),
              "none");
}

TEST(ProfileChips, InAChainAreAccepted) {
    EXPECT_EQ(fault_with(chip("a", R"("PrevChip": "b")") + "," + chip("b", R"("PrevChip": "c")") +
                         "," + chip("c")),
              "none");
}

TEST(ProfileChips, InACircleAreRefused) {
    EXPECT_EQ(fault_with(chip("a", R"("PrevChip": "b")") + "," + chip("b", R"("PrevChip": "a")")),
              "objects[1] \"b\": its links lead through object \"a\" back to itself; chips and "
              "buses must "
              "not form a circle");
    EXPECT_EQ(
        fault_with(
            chip("a", R"("LBus": "bus")") +
            R"(,{"name": "bus", "class": "Bus", "type": "Physical", "properties": {"NodeBusy": "a"}})"),
        "objects[1] \"bus\": its links lead through object \"a\" back to itself; chips and buses "
        "must "
        "not form a circle");
}

TEST(ProfileChips, InAVeryLongChainAreAccepted) {
    std::string objects = chip("c0");
    for (int number = 1; number < 5000; ++number) {
        objects += "," + chip("c" + std::to_string(number),
                              R"("PrevChip": "c)" + std::to_string(number - 1) + "\"");
    }
    EXPECT_EQ(fault_with(objects), "none");
}

TEST(ProfileMutexObjects, MayStandBehindTheirUsers) {
    EXPECT_EQ(
        fault_with(
            R"({"name": "a", "class": "Sensor", "mutex": "b"}, {"name": "b", "class": "Sensor"})"),
        "none");
}

TEST(ProfileMutexObjects, ThatDoNotExistAreRefused) {
    EXPECT_EQ(fault_with(R"({"name": "a", "class": "Sensor", "mutex": "b"})"),
              "objects[0] \"a\": \"mutex\" names object \"b\", which does not exist");
}

TEST(ProfileMutexObjects, ThatAreTheObjectItselfAreRefused) {
    EXPECT_EQ(fault_with(R"({"name": "a", "class": "Sensor", "mutex": "a"})"),
              "objects[0] \"a\": \"mutex\" names the object itself");
}

TEST(ProfileMutexObjects, InAChainOrACircleAreRefused) {
    EXPECT_EQ(
        fault_with(R"({"name": "a", "class": "Sensor", "mutex": "b"},
                            {"name": "b", "class": "Sensor", "mutex": "a"})"),
        "objects[0] \"a\": \"mutex\" names object \"b\", which has the mutex object \"a\" itself");
}

TEST(ProfileReferences, ToAPropertyOfAnObjectAreAccepted) {
    EXPECT_EQ(fault_with(sensor("a", R"("Twin": "b.Level")") + "," + sensor("b", "")), "none");
    EXPECT_EQ(fault_with(sensor("a", R"("Twin": "")")), "none");
}

TEST(ProfileReferences, ThatLeadNowhereAreRefused) {
    EXPECT_EQ(fault_with(sensor("a", R"("Twin": "Level")")),
              "objects[0] \"a\" property \"Twin\": refers to \"Level\", which is not "
              "\"object.property\"");
    EXPECT_EQ(fault_with(sensor("a", R"("Twin": "b.Level")")),
              "objects[0] \"a\" property \"Twin\": refers to object \"b\", which does not exist");
    EXPECT_EQ(fault_with(sensor("a", R"("Twin": "a.Weight")")),
              "objects[0] \"a\" property \"Twin\": refers to property \"Weight\", which object "
              "\"a\" does "
              "not have");
}

TEST(ProfileReferences, InACircleAreRefused) {
    const std::string circle = "the references from here form a circle, or more than 16 steps";
    EXPECT_EQ(fault_with(sensor("a", R"("Twin": "a.Twin")")),
              "objects[0] \"a\" property \"Twin\": " + circle);
    EXPECT_EQ(
        fault_with(sensor("c", R"("Twin": "a.Twin")") + "," + sensor("a", R"("Twin": "b.Twin")") +
                   "," + sensor("b", R"("Twin": "a.Twin")")),
        "objects[0] \"c\" property \"Twin\": " + circle);
}

}  // namespace
}  // namespace mox::test
