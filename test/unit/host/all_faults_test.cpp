// A check names every fault and none that is there only because of another one.
#include "loaded_profile.hpp"

namespace mox::test {
namespace {

using Strings = std::vector<std::string>;

constexpr const char* classes =
    R"({"name": "Chip", "properties": [{"name": "PrevChip", "type": "s"}]},
       {"name": "Accessor", "properties": [{"name": "Chip", "type": "s"}, {"name": "Type", "type": "s"}]},
       {"name": "Sensor", "properties": [{"name": "Level", "type": "i"}, {"name": "Twin", "type": "sp"}]})";

Strings faults_with(const std::string& objects) {
    return faults_of(profile_text(classes, objects));
}

std::string sensor(const std::string& name, const std::string& properties) {
    return R"({"name": ")" + name + R"(", "class": "Sensor", "properties": {)" + properties + "}}";
}

TEST(ProfileFaults, OfOneEntryAreAllNamed) {
    EXPECT_EQ(
        faults_with(R"({"name": "a.b", "class": "Sensor", "type": "x", "position": 0, "mutex": "",
                              "properties": {"Level": 1.5, "Twin": {"mode": "q", "persist": "w"}, "Q": 1}})"),
        (Strings{
            "objects[0] \"a.b\": an object's name must not contain \".\"",
            "objects[0] \"a.b\": \"type\" is \"x\"; known are \"Logical\" and \"Physical\"",
            "objects[0] \"a.b\": \"position\" is 0, it must be 1 to 4294967294",
            "objects[0] \"a.b\": \"mutex\" is empty; names have 1 to 31 bytes",
            "objects[0] \"a.b\" property \"Level\": a number with a fraction does not fit "
            "type \"i\"",
            "objects[0] \"a.b\" property \"Twin\": \"mode\" is \"q\"; known are \"r\", \"w\", "
            "\"rw\" and \"r-\"",
            "objects[0] \"a.b\" property \"Twin\": \"persist\" is \"w\"; known are "
            "\"permanent\", \"power-off\", \"reset\" and \"none\"",
            "objects[0] \"a.b\" property \"Q\": class \"Sensor\" has no such property",
        }));
}

TEST(ProfileFaults, OfAllPartsAreNamedInTheOrderOfTheFile) {
    EXPECT_EQ(
        faults_of(R"({"refresh_ms": 1,
                      "classes": [{"name": ""}, {"name": "A", "properties": [{"type": "i"}, {"name": "p", "type": "v"}]}],
                      "objects": [7, {"name": "a"}], "boards": [{"name": "x", "position": 2}]})"),
        (Strings{
            "top level: \"refresh_ms\" is 1, it must be 10 to 3600000",
            "classes[0]: \"name\" is empty; names have 1 to 31 bytes",
            "classes[1] \"A\" properties[0]: \"name\" is missing",
            "classes[1] \"A\" property \"p\": type string \"v\" is not one of b d i n q u y s, an "
            "array of a definite type, or sp",
            "objects[0]: must be an object, not a whole number",
            "objects[1] \"a\": \"class\" is missing",
            "boards[0] \"x\": \"objects\" is missing",
        }));
}

TEST(ProfileFaults, OfEveryElementOfAnArrayAreNamed) {
    EXPECT_EQ(faults_of(value_text("ay", "[1, 300, \"x\", true, 2]")).size(), 3U);
}

TEST(ProfileFaults, OfEveryUnknownMemberAreNamed) {
    EXPECT_EQ(faults_of(R"({"classes": [], "objects": [], "a": 1, "b": 2})"),
              (Strings{"top level: unknown member \"a\"; known are refresh_ms, classes, objects, "
                       "boards, group, modules",
                       "top level: unknown member \"b\"; known are refresh_ms, classes, objects, "
                       "boards, group, modules"}));
}

TEST(ProfileFaults, OfAClassAreNotThoseOfItsObjectsAndChildren) {
    EXPECT_EQ(
        faults_of(profile_text(
            R"({"name": "A", "properties": [{"name": "p", "type": "z"}, {"name": "q", "type": "i", "id": 3}]},
               {"name": "B", "parent": "A", "properties": [{"name": "r", "type": "i"}]})",
            R"({"name": "a", "class": "A", "properties": {"p": 1, "q": 2}},
               {"name": "b", "class": "B", "properties": {"p": 1, "r": 2}},
               {"name": "c", "class": "B", "properties": {"q": 1.5}})")),
        (Strings{"classes[0] \"A\" property \"p\": unknown type string \"z\"",
                 "objects[2] \"c\" property \"q\": a number with a fraction does not fit "
                 "type \"i\""}));
}

TEST(ProfileFaults, OfAParentAreNamedOnce) {
    EXPECT_EQ(
        faults_of(profile_text(R"({"name": "A", "parent": "Gone"}, {"name": "B", "parent": "A"})",
                               R"({"name": "b", "class": "B", "properties": {"P": 1}})")),
        (Strings{"classes[0] \"A\": \"parent\" names class \"Gone\", which does not exist"}));
    EXPECT_EQ(
        faults_of(profile_text(
            R"({"name": "D", "parent": "A"}, {"name": "A", "parent": "B"}, {"name": "B", "parent": "A"})",
            R"({"name": "b", "class": "B", "properties": {"P": 1}})")),
        (Strings{"classes[0] \"D\": the chain of parents from here runs in a circle"}));
}

TEST(ProfileFaults, OfAnEntryWithoutANameLeaveOpenWhoIsNamed) {
    EXPECT_EQ(
        faults_of(profile_text(R"({"nmae": "A"})",
                               R"({"name": "a", "class": "A", "mutex": "b"}, {"class": "A"})")),
        (Strings{"classes[0]: unknown member \"nmae\"; known are name, id, parent, module, "
                 "properties, methods",
                 "classes[0]: \"name\" is missing", "objects[1]: \"name\" is missing"}));
}

TEST(ProfileFaults, OfANameLeaveOpenWhoIsNamed) {
    EXPECT_EQ(faults_with(sensor("s", R"("Twin": "t.Level")") + "," + sensor("t.1", "")),
              (Strings{"objects[1] \"t.1\": an object's name must not contain \".\""}));
    EXPECT_EQ(faults_with(sensor("s", R"("Twin": "t.Level")") + "," + sensor("s", "")),
              (Strings{"objects[1] \"s\": an earlier object has this name"}));
    EXPECT_EQ(
        faults_of(profile_text(R"({"name": "A"}, {"name": "A"}, {"name": "C", "parent": "B"})",
                               R"({"name": "b", "class": "B", "properties": {"P": 1}})")),
        (Strings{"classes[1] \"A\": an earlier class has this name"}));
}

TEST(ProfileFaults, OfMembersLeaveNoDoubtAboutNames) {
    EXPECT_EQ(faults_of(profile_text(R"({"name": "A", "colour": 1}, {"name": "B", "parent": "C"})",
                                     R"({"name": "a", "class": "B", "colour": 1, "mutex": "b"})"))
                  .size(),
              4U);
}

TEST(ProfileFaults, OfAnObjectAreNotThoseOfWhatLeadsToIt) {
    EXPECT_EQ(
        faults_with(
            sensor("s", R"("Level": {"accessor": "acc"}, "Twin": "t.Level")") +
            R"(,{"name": "acc", "class": "Accessor", "type": "physical", "properties": {"Chip": 5}},)" +
            sensor("t", R"("Level": 1.5)")),
        (Strings{"objects[1] \"acc\": \"type\" is \"physical\"; known are \"Logical\" and "
                 "\"Physical\"",
                 "objects[1] \"acc\" property \"Chip\": a whole number does not fit type \"s\"",
                 "objects[2] \"t\" property \"Level\": a number with a fraction does not fit "
                 "type \"i\""}));
}

TEST(ProfileFaults, OfListsThatAreNoneAreNotThoseOfWhatNamesTheirEntries) {
    EXPECT_EQ(faults_of(R"({"classes": {}, "objects": [{"name": "a", "class": "A"}]})"),
              (Strings{"top level: \"classes\" must be a list, not an object"}));
    EXPECT_EQ(
        faults_of(
            R"({"classes": [{"name": "A"}], "objects": [{"name": "a", "class": "A", "mutex": "b"}],
                            "bords": []})"),
        (Strings{"top level: unknown member \"bords\"; known are refresh_ms, classes, "
                 "objects, boards, group, modules"}));
}

TEST(ProfileFaults, OfReferencesAreNamedWhereTheyStand) {
    EXPECT_EQ(
        faults_with(sensor("a", R"("Twin": "b.Twin")") + "," +
                    sensor("b", R"("Twin": "nobody.Level")") + "," +
                    sensor("c", R"("Twin": "b.Weight")")),
        (Strings{"objects[1] \"b\" property \"Twin\": refers to object \"nobody\", which does "
                 "not exist",
                 "objects[2] \"c\" property \"Twin\": refers to property \"Weight\", which "
                 "object \"b\" does not have"}));
}

TEST(ProfileFaults, OfACircleAreNamedOnce) {
    EXPECT_EQ(
        faults_with(sensor("c", R"("Twin": "a.Twin")") + "," + sensor("a", R"("Twin": "b.Twin")") +
                    "," + sensor("b", R"("Twin": "a.Twin")")),
        (Strings{"objects[0] \"c\" property \"Twin\": the references from here form a "
                 "circle, or more than 16 steps"}));
}

TEST(ProfileFaults, OfTwoCirclesOfChipsAreBothNamed) {
    const auto chip = [](const std::string& name, const std::string& previous) {
        return R"({"name": ")" + name +
               R"(", "class": "Chip", "type": "Physical", "properties": {"PrevChip": ")" +
               previous + R"("}})";
    };
    EXPECT_EQ(faults_with(chip("a", "b") + "," + chip("b", "a") + "," + chip("c", "a") + "," +
                          chip("d", "d"))
                  .size(),
              2U);
}

constexpr const char* formula_class =
    R"({"name": "Expression", "properties": [{"name": "X", "type": "sp"}, {"name": "Y", "type": "sp"},
         {"name": "Z", "type": "i"}, {"name": "Xcache", "type": "d"}, {"name": "Ycache", "type": "d"},
         {"name": "Zcache", "type": "d"}, {"name": "Formula", "type": "s"}, {"name": "Value", "type": "d"}]})";

TEST(ProfileFaults, OfFormulasAreAllNamed) {
    EXPECT_EQ(
        faults_of(profile_text(
            formula_class,
            R"({"name": "a", "class": "Expression", "properties": {"X": 5, "Value": {"mode": "r-"}}},
               {"name": "b", "class": "Expression", "properties": {"X": "b.Value", "Y": "c.Formula"}},
               {"name": "c", "class": "Expression", "properties": {"X": "b.Value", "Y": "nobody.P"}})")),
        (Strings{
            "objects[0] \"a\" property \"X\": a whole number does not fit type \"s\"",
            "objects[2] \"c\" property \"Y\": refers to object \"nobody\", which does not exist",
            "objects[0] \"a\" property \"Value\": \"mode\" is \"r-\", with which a computed value "
            "is neither stored nor announced; leave it out",
            "objects[0] \"a\" property \"Y\": is an input of a formula and names nothing; give "
            "\"object.property\", of any number when the formula does not use it",
            "objects[1] \"b\" property \"Y\": is an input of a formula and leads to \"c.Formula\" "
            "of type \"s\"; formulas take d, i, n, q, u or y",
            "objects[1] \"b\": the formulas from here form a circle, or more than 16 steps",
        }));
}

TEST(ProfileFaults, OfTheFormulasClassAreAllNamedAndItsObjectsNotJudged) {
    EXPECT_EQ(
        faults_of(profile_text(
            R"({"name": "Expression", "properties": [{"name": "X", "type": "s"}, {"name": "Y", "type": "sp"},
                 {"name": "Z", "type": "i"}, {"name": "Xcache", "type": "as"}, {"name": "Ycache", "type": "d"},
                 {"name": "Zcache", "type": "d"}, {"name": "Formula", "type": "s"}]})",
            R"({"name": "a", "class": "Expression"})")),
        (Strings{
            "classes[0] \"Expression\" property \"X\": is of type \"s\"; a formula needs sp (a "
            "reference), d, i, n, q, u or y here",
            "classes[0] \"Expression\" property \"Xcache\": is of type \"as\"; a formula needs d, "
            "i, n, q, u or y here",
            "classes[0] \"Expression\": has no property \"Value\"; formulas need X, Y, Z, Xcache, "
            "Ycache, Zcache, Formula and Value",
        }));
}

}  // namespace
}  // namespace mox::test
