#include "profile/json_members.hpp"

#include "loaded_profile.hpp"

namespace mox::test {
namespace {

TEST(ProfileMembers, ThatAreUnknownAreNamedBesideTheKnownOnes) {
    EXPECT_EQ(
        fault_of(R"({"classes": [], "objects": [], "refresh": 5})"),
        "top level: unknown member \"refresh\"; known are refresh_ms, classes, objects, boards, "
        "group, modules");
    EXPECT_EQ(
        fault_of(profile_text(R"({"name": "A", "parnet": "B"})", "")),
        "classes[0]: unknown member \"parnet\"; known are name, id, parent, module, properties, "
        "methods");
    EXPECT_EQ(fault_of(value_text("i", R"({"valeu": 1})")),
              "objects[0] \"o\" property \"P\": unknown member \"valeu\"; known are value, "
              "accessor, mode, persist");
}

TEST(ProfileMembers, ThatAreMissingAreNamed) {
    EXPECT_EQ(fault_of(R"({"objects": []})"), "top level: \"classes\" is missing");
    EXPECT_EQ(fault_of(R"({"classes": []})"), "top level: \"objects\" is missing");
    EXPECT_EQ(fault_of(profile_text("{}", "")), "classes[0]: \"name\" is missing");
    EXPECT_EQ(fault_of(profile_text(R"({"name": "A"})", R"({"name": "a"})")),
              "objects[0] \"a\": \"class\" is missing");
}

TEST(ProfileMembers, OfAnotherKindAreRefused) {
    EXPECT_EQ(fault_of(R"({"classes": {}, "objects": []})"),
              "top level: \"classes\" must be a list, not an object");
    EXPECT_EQ(fault_of(profile_text(R"("A")", "")), "classes[0]: must be an object, not a string");
    EXPECT_EQ(fault_of(profile_text(R"({"name": 5})", "")),
              "classes[0]: \"name\" must be a string, not a whole number");
    EXPECT_EQ(fault_of(profile_text(R"({"name": "A"})",
                                    R"({"name": "a", "class": "A", "properties": []})")),
              "objects[0] \"a\": \"properties\" must be an object, not a list");
    EXPECT_EQ(fault_of(R"({"refresh_ms": 0.5, "classes": [], "objects": []})"),
              "top level: \"refresh_ms\" must be a whole number, not a number with a fraction");
    EXPECT_EQ(fault_of(R"({"refresh_ms": true, "classes": [], "objects": []})"),
              "top level: \"refresh_ms\" must be a whole number, not a boolean");
    EXPECT_EQ(fault_of(R"({"refresh_ms": null, "classes": [], "objects": []})"),
              "top level: \"refresh_ms\" must be a whole number, not null");
}

TEST(ProfileMembers, OutOfRangeAreRefusedAtBothEnds) {
    const auto with_refresh = [](const std::string& period) {
        return R"({"refresh_ms": )" + period + R"(, "classes": [], "objects": []})";
    };
    EXPECT_EQ(fault_of(with_refresh("9")),
              "top level: \"refresh_ms\" is 9, it must be 10 to 3600000");
    EXPECT_EQ(fault_of(with_refresh("3600001")),
              "top level: \"refresh_ms\" is 3600001, it must be 10 to 3600000");
    EXPECT_EQ(fault_of(with_refresh("4294967306")),
              "top level: \"refresh_ms\" is 4294967306, it must be 10 to 3600000");
    EXPECT_EQ(profile_of(with_refresh("10")).refresh_ms, 10U);
    EXPECT_EQ(profile_of(with_refresh("3600000")).refresh_ms, 3600000U);
}

TEST(ProfileMembers, AreOptionalWhereTheyHaveADefault) {
    EXPECT_EQ(profile_of(profile_text("", "")).refresh_ms, 1000U);
}

TEST(ProfileNames, HaveOneTo31Bytes) {
    const auto with_name = [](const std::string& name) {
        return profile_text(R"({"name": ")" + name + R"("})", "");
    };
    EXPECT_EQ(fault_of(with_name("")), "classes[0]: \"name\" is empty; names have 1 to 31 bytes");
    EXPECT_EQ(
        fault_of(with_name(std::string(32, 'n'))),
        "classes[0]: \"name\" \"" + std::string(32, 'n') + "\" has 32 bytes; names have 1 to 31");
    EXPECT_EQ(fault_of(with_name(std::string(31, 'n'))), "none");
}

TEST(ProfileNames, WithControlCharactersAreRefusedInOneLine) {
    EXPECT_EQ(fault_of(profile_text(R"({"name": "a\nb"})", "")),
              "classes[0]: \"name\" \"a\\x0ab\" holds a control character");
}

TEST(ProfileNames, OfAnyLengthGiveAShortLine) {
    const std::string fault =
        fault_of(profile_text(R"({"name": ")" + std::string(100000, 'n') + R"("})", ""));
    EXPECT_LT(fault.size(), 200U);
}

}  // namespace
}  // namespace mox::test
