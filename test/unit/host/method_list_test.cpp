#include "profile/method_list.hpp"

#include "loaded_profile.hpp"

namespace mox::test {
namespace {

using Strings = std::vector<std::string>;

std::string with_methods(const std::string& methods) {
    return profile_text(R"({"name": "A", "methods": [)" + methods + "]}", "");
}

std::string with_constant(const std::string& constant) {
    return with_methods(R"({"name": "m", "constants": {"c": )" + constant + "}}");
}

// The methods of a good profile's only class.
std::vector<host::MethodDef> methods_of(const std::string& methods) {
    const Profile profile = profile_of(with_methods(methods));
    return profile.classes.empty() ? std::vector<host::MethodDef>() : profile.classes[0].methods;
}

TEST(ProfileMethods, HaveTypesInTheOrderOfTheirParameters) {
    const auto methods =
        methods_of(R"({"name": "m", "input": ["u", "as", "s"], "output": ["a{sv}", "b"]})");
    ASSERT_EQ(methods.size(), 1U);
    EXPECT_EQ(methods[0].name, "m");
    EXPECT_EQ(methods[0].input, (Strings{"u", "as", "s"}));
    EXPECT_EQ(methods[0].output, (Strings{"a{sv}", "b"}));
}

TEST(ProfileMethods, NeedNoMoreThanAName) {
    const auto methods = methods_of(R"({"name": "m"})");
    ASSERT_EQ(methods.size(), 1U);
    EXPECT_TRUE(methods[0].input.empty() && methods[0].output.empty() &&
                methods[0].constants.empty());
}

TEST(ProfileMethods, HaveTheirPlaceInTheListForAnIdUnlessTheyGiveOne) {
    const auto methods = methods_of(R"({"name": "a"}, {"name": "b", "id": 65535}, {"name": "c"})");
    ASSERT_EQ(methods.size(), 3U);
    EXPECT_EQ(methods[0].id, 1U);
    EXPECT_EQ(methods[1].id, 65535U);
    EXPECT_EQ(methods[2].id, 3U);
}

TEST(ProfileMethods, OfDifferentClassesMayHaveOneNameAndId) {
    EXPECT_EQ(fault_of(profile_text(
                  R"({"name": "A", "methods": [{"name": "m"}]},
                     {"name": "B", "parent": "A", "methods": [{"name": "m"}]})",
                  "")),
              "none");
}

TEST(ProfileMethods, OfOneNameOrIdInAClassAreRefused) {
    EXPECT_EQ(faults_of(with_methods(R"({"name": "m"}, {"name": "m"})")),
              (Strings{"classes[0] \"A\" method \"m\": appears twice in the class"}));
    EXPECT_EQ(faults_of(with_methods(R"({"name": "m"}, {"name": "n", "id": 1})")),
              (Strings{"classes[0] \"A\" method \"n\": has id 1, which method \"m\" has already"}));
    EXPECT_EQ(faults_of(with_methods(R"({"name": "m", "id": 2}, {"name": "n"})")),
              (Strings{"classes[0] \"A\" method \"n\": has id 2 by its place in the list, which "
                       "method \"m\" has already"}));
}

TEST(ProfileMethods, OutsideTheirFormAreRefusedEach) {
    EXPECT_EQ(
        faults_of(with_methods(R"({}, 5, {"name": "m", "in": []}, {"name": "n", "id": 65536})")),
        (Strings{
            "classes[0] \"A\" methods[0]: \"name\" is missing",
            "classes[0] \"A\" methods[1]: must be an object, not a whole number",
            "classes[0] \"A\" methods[2]: unknown member \"in\"; known are name, id, input, "
            "output, constants",
            "classes[0] \"A\" method \"n\": \"id\" is 65536, it must be 0 to 65535",
        }));
    EXPECT_EQ(fault_of(profile_text(R"({"name": "A", "methods": {}})", "")),
              "classes[0] \"A\": \"methods\" must be a list, not an object");
}

TEST(ProfileParameters, OfTypesThatAreNotSupportedAreRefusedEach) {
    EXPECT_EQ(
        faults_of(
            with_methods(R"({"name": "m", "input": ["i", "t", 5], "output": ["sp", "aaaaai"]})")),
        (Strings{
            "classes[0] \"A\" method \"m\" input[1]: type string \"t\" is not one of b d i n q u y "
            "s, an array of a definite type",
            "classes[0] \"A\" method \"m\" input[2]: must be a type string, not a whole number",
            "classes[0] \"A\" method \"m\" output[0]: unknown type string \"sp\"",
            "classes[0] \"A\" method \"m\" output[1]: type string \"aaaaai\" is longer than 5 "
            "characters",
        }));
}

TEST(ProfileConstants, AreStoredAsTheirTypeSays) {
    const auto methods = methods_of(
        R"({"name": "m", "constants": {"Low": {"type": "q", "value": 258}, "Text": {"type": "s", "value": "ab"}}})");
    ASSERT_EQ(methods.size(), 1U);
    const auto& constants = methods[0].constants;
    ASSERT_EQ(constants.size(), 2U);
    EXPECT_EQ(constants[0].name, "Low");
    EXPECT_EQ(constants[0].type, "q");
    EXPECT_EQ(constants[0].bytes, std::string("\x02\x01", 2));
    EXPECT_EQ(constants[1].bytes, std::string("ab\0", 3));
}

TEST(ProfileConstants, NeedATypeAndAValueThatFitsIt) {
    const std::string place = "classes[0] \"A\" method \"m\" constant \"c\": ";
    EXPECT_EQ(faults_of(with_constant("{}")),
              (Strings{place + "\"type\" is missing", place + "\"value\" is missing"}));
    EXPECT_EQ(faults_of(with_constant(R"({"type": "y", "value": 300})")),
              (Strings{place + "number 300 is outside type \"y\", 0 to 255"}));
    EXPECT_EQ(faults_of(with_constant(R"({"type": 7, "value": 1})")),
              (Strings{place + "\"type\" must be a string, not a whole number"}));
    EXPECT_EQ(faults_of(with_constant("5")),
              (Strings{place + "must be an object, not a whole number"}));
}

TEST(ProfileConstants, HaveNamesOfOneTo31Bytes) {
    EXPECT_EQ(
        faults_of(with_methods(R"({"name": "m", "constants": {"": {"type": "y", "value": 1}}})")),
        (Strings{"classes[0] \"A\" method \"m\" constant \"\": its name is empty; names have "
                 "1 to 31 bytes"}));
}

TEST(ProfileMethods, WithAFaultLeaveTheObjectsOfTheirClassJudged) {
    EXPECT_EQ(faults_of(profile_text(R"({"name": "A", "methods": [{}]})",
                                     R"({"name": "a", "class": "A", "properties": {"Q": 1}})")),
              (Strings{"classes[0] \"A\" methods[0]: \"name\" is missing",
                       "objects[0] \"a\" property \"Q\": class \"A\" has no such property"}));
}

}  // namespace
}  // namespace mox::test
