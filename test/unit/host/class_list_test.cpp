#include "profile/class_list.hpp"

#include "loaded_profile.hpp"

namespace mox::test {
namespace {

std::vector<std::string> property_names(const host::ClassDef& entry) {
    std::vector<std::string> names;
    for (const host::PropertyDef& property : entry.all_properties) {
        names.push_back(property.name);
    }
    return names;
}

TEST(ProfileClasses, InheritPropertiesFromTheRootDown) {
    const Profile profile = profile_of(profile_text(
        R"({"name": "C", "parent": "B", "properties": [{"name": "c", "type": "i"}]},
           {"name": "A", "properties": [{"name": "a1", "type": "s"}, {"name": "a2", "type": "u"}]},
           {"name": "B", "parent": "A", "properties": [{"name": "b", "type": "d"}]})",
        ""));
    ASSERT_EQ(profile.classes.size(), 3U);
    EXPECT_EQ(property_names(profile.classes[0]), (std::vector<std::string>{"a1", "a2", "b", "c"}));
    EXPECT_EQ(property_names(profile.classes[1]), (std::vector<std::string>{"a1", "a2"}));
}

TEST(ProfileClasses, KeepTheFilesOrderAndTheirModules) {
    const Profile profile =
        profile_of(profile_text(R"({"name": "B", "module": "fans"}, {"name": "A"})", ""));
    ASSERT_EQ(profile.classes.size(), 2U);
    EXPECT_EQ(profile.classes[0].name, "B");
    EXPECT_EQ(profile.classes[0].module, "fans");
    EXPECT_EQ(profile.classes[1].module, "");
}

using Strings = std::vector<std::string>;

TEST(ProfileClassIds, AreThePlaceInTheListUnlessGiven) {
    const Profile profile = profile_of(profile_text(
        R"({"name": "A"}, {"name": "B", "id": 0}, {"name": "C"}, {"name": "D", "id": 65535})", ""));
    ASSERT_EQ(profile.classes.size(), 4U);
    EXPECT_EQ(profile.classes[0].id, 1U);
    EXPECT_EQ(profile.classes[1].id, 0U);
    EXPECT_EQ(profile.classes[2].id, 3U);
    EXPECT_EQ(profile.classes[3].id, 65535U);
}

TEST(ProfileClassIds, OutOfRangeAreRefused) {
    EXPECT_EQ(fault_of(profile_text(R"({"name": "A", "id": 65536})", "")),
              "classes[0] \"A\": \"id\" is 65536, it must be 0 to 65535");
    EXPECT_EQ(fault_of(profile_text(R"({"name": "A", "id": -1})", "")),
              "classes[0] \"A\": \"id\" is -1, it must be 0 to 65535");
}

TEST(ProfileClassIds, ThatAnEarlierClassHasAreRefused) {
    EXPECT_EQ(
        faults_of(profile_text(
            R"({"name": "A"}, {"name": "B", "id": 1}, {"name": "C", "id": 4}, {"name": "D"})", "")),
        (Strings{"classes[1] \"B\": has id 1, which class \"A\" has already",
                 "classes[3] \"D\": has id 4 by its place in the list, which class \"C\" "
                 "has already"}));
}

TEST(ProfileClassIds, BeyondTheLargestHaveToBeGiven) {
    std::string classes;
    for (int number = 1; number <= 65536; ++number) {
        classes += (number == 1 ? "" : ",") + (R"({"name": "c)" + std::to_string(number)) + "\"}";
    }
    EXPECT_EQ(faults_of(profile_text(classes, "")),
              (Strings{"classes[65535] \"c65536\": has no \"id\", and by its place in the list it "
                       "would be above 65535"}));
    EXPECT_EQ(fault_of(profile_text(classes + R"(, {"name": "last", "id": 0})", ""))
                  .rfind("classes[65535]", 0),
              0U);
}

// Each property as `id name`, with `key` or `hidden` behind.
Strings ids_of(const host::ClassDef& entry) {
    Strings result;
    for (const host::PropertyDef& property : entry.all_properties) {
        result.push_back(std::to_string(property.id) + ' ' + property.name +
                         (property.key ? " key" : "") + (property.exported ? "" : " hidden"));
    }
    return result;
}

TEST(ProfilePropertyIds, AreThePlaceAmongAllPropertiesUnlessGiven) {
    const Profile profile = profile_of(profile_text(
        R"({"name": "B", "parent": "A", "properties": [{"name": "b1", "type": "i"}, {"name": "b2", "type": "i", "id": 0}]},
           {"name": "A", "properties": [{"name": "a1", "type": "i", "id": 900, "key": true},
                                        {"name": "a2", "type": "i", "exported": false}]})",
        ""));
    ASSERT_EQ(profile.classes.size(), 2U);
    EXPECT_EQ(ids_of(profile.classes[0]), (Strings{"900 a1 key", "2 a2 hidden", "3 b1", "0 b2"}));
    EXPECT_EQ(ids_of(profile.classes[1]), (Strings{"900 a1 key", "2 a2 hidden"}));
    EXPECT_EQ(profile.classes[0].properties[0].id, 3U);
}

TEST(ProfilePropertyIds, ThatTheClassHasAlreadyAreRefusedOnce) {
    EXPECT_EQ(
        faults_of(profile_text(
            R"({"name": "A", "properties": [{"name": "a1", "type": "i"}, {"name": "a2", "type": "i", "id": 1}]},
               {"name": "B", "parent": "A", "properties": [{"name": "b1", "type": "i", "id": 1}]},
               {"name": "C", "parent": "B"})",
            "")),
        (Strings{"classes[0] \"A\" property \"a2\": has id 1, which property \"a1\" has already",
                 "classes[1] \"B\" property \"b1\": has id 1, which property \"a1\" has "
                 "already"}));
}

TEST(ProfilePropertyFlags, AreBooleans) {
    EXPECT_EQ(
        faults_of(profile_text(
            R"({"name": "A", "properties": [{"name": "p", "type": "i", "key": 1, "exported": "yes"}]})",
            "")),
        (Strings{"classes[0] \"A\" property \"p\": \"exported\" must be a boolean, not a string",
                 "classes[0] \"A\" property \"p\": \"key\" must be a boolean, not a whole "
                 "number"}));
}

TEST(ProfileClasses, OfOneNameAreRefused) {
    EXPECT_EQ(fault_of(profile_text(R"({"name": "A"}, {"name": "B"}, {"name": "A"})", "")),
              "classes[2] \"A\": an earlier class has this name");
}

TEST(ProfileClasses, WithAMissingParentAreRefused) {
    EXPECT_EQ(fault_of(profile_text(R"({"name": "A", "parent": "B"})", "")),
              "classes[0] \"A\": \"parent\" names class \"B\", which does not exist");
}

TEST(ProfileClasses, WhoseParentsRunInACircleAreRefused) {
    EXPECT_EQ(
        fault_of(profile_text(
            R"({"name": "A", "parent": "B"}, {"name": "B", "parent": "C"}, {"name": "C", "parent": "B"})",
            "")),
        "classes[0] \"A\": the chain of parents from here runs in a circle");
    EXPECT_EQ(fault_of(profile_text(R"({"name": "A", "parent": "A"})", "")),
              "classes[0] \"A\": the chain of parents from here runs in a circle");
}

TEST(ProfileClasses, WithAPropertyTwiceAreRefused) {
    EXPECT_EQ(
        fault_of(profile_text(
            R"({"name": "A", "properties": [{"name": "p", "type": "i"}, {"name": "p", "type": "u"}]})",
            "")),
        "classes[0] \"A\" property \"p\": appears twice in the class");
}

TEST(ProfileClasses, ThatRepeatAnInheritedPropertyAreRefused) {
    EXPECT_EQ(fault_of(profile_text(
                  R"({"name": "A", "properties": [{"name": "p", "type": "i"}]},
                     {"name": "B", "parent": "A", "properties": [{"name": "p", "type": "i"}]})",
                  "")),
              "classes[1] \"B\" property \"p\": is inherited from class \"A\" already");
}

TEST(ProfileClasses, WithTooManyPropertiesAreRefused) {
    std::string properties;
    for (int number = 0; number < 1025; ++number) {
        properties += (number == 0 ? "" : ",") + (R"({"name": "p)" + std::to_string(number)) +
                      R"(", "type": "i"})";
    }
    EXPECT_EQ(fault_of(profile_text(R"({"name": "A", "properties": [)" + properties + "]}", "")),
              "classes[0] \"A\": has 1025 properties, inherited ones included; the limit is 1024");
}

std::string fault_of_type(const std::string& type) {
    return fault_of(profile_text(
        R"({"name": "A", "properties": [{"name": "p", "type": ")" + type + R"("}]})", ""));
}

TEST(ProfileTypes, ThatAreNoTypeStringsAreRefused) {
    EXPECT_EQ(fault_of_type("z"), "classes[0] \"A\" property \"p\": unknown type string \"z\"");
    EXPECT_EQ(fault_of_type(""), "classes[0] \"A\" property \"p\": unknown type string \"\"");
    EXPECT_EQ(fault_of_type("ii"), "classes[0] \"A\" property \"p\": unknown type string \"ii\"");
    EXPECT_EQ(fault_of_type("a"), "classes[0] \"A\" property \"p\": unknown type string \"a\"");
}

TEST(ProfileTypes, ThatTheObjectModelDoesNotStoreAreRefused) {
    for (const char* const type : {"x", "t", "v", "(ii)", "o", "ms", "a*", "*"}) {
        EXPECT_EQ(fault_of_type(type),
                  "classes[0] \"A\" property \"p\": type string \"" + std::string(type) +
                      "\" is not one of b d i n q u y s, an array of a definite type, or sp");
    }
}

TEST(ProfileTypes, OfMoreThanFiveCharactersAreRefused) {
    EXPECT_EQ(
        fault_of_type("aaaaai"),
        "classes[0] \"A\" property \"p\": type string \"aaaaai\" is longer than 5 characters");
}

TEST(ProfileTypes, ThatAreStoredAreAccepted) {
    for (const char* const type : {"b", "y", "n", "q", "i", "u", "d", "s", "sp", "as", "ai", "ay",
                                   "aaaai", "a{sv}", "a(ii)"}) {
        EXPECT_EQ(fault_of_type(type), "none") << type;
    }
}

TEST(ProfileTypes, ThatAreMissingAreNamed) {
    EXPECT_EQ(fault_of(profile_text(R"({"name": "A", "properties": [{"name": "p"}]})", "")),
              "classes[0] \"A\" property \"p\": \"type\" is missing");
    EXPECT_EQ(fault_of(profile_text(R"({"name": "A", "properties": [{}]})", "")),
              "classes[0] \"A\" properties[0]: \"name\" is missing");
}

}  // namespace
}  // namespace mox::test
