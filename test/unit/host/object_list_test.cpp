#include "profile/object_list.hpp"

#include "loaded_profile.hpp"

namespace mox::test {
namespace {

constexpr const char* one_class =
    R"({"name": "C", "properties": [{"name": "P", "type": "i"}, {"name": "S", "type": "s"}]})";

TEST(ProfileObjects, HaveDefaultsForWhatIsNotSaid) {
    const Profile profile = profile_of(profile_text(one_class, R"({"name": "o", "class": "C"})"));
    ASSERT_EQ(profile.objects.size(), 1U);
    const host::ObjectDef& object = profile.objects[0];
    EXPECT_EQ(object.kind, host::ObjectKind::logical);
    EXPECT_EQ(object.position, 1U);
    EXPECT_EQ(object.mutex_object, "");
    ASSERT_EQ(object.properties.size(), 2U);
    EXPECT_EQ(object.properties[0].mode, "r-");
    EXPECT_EQ(object.properties[0].accessor, "");
}

TEST(ProfileObjects, TakeValuesInTheShortAndInTheLongForm) {
    const Profile profile = profile_of(
        profile_text(one_class,
                     R"({"name": "o", "class": "C", "type": "Physical", "position": 4294967294,
            "properties": {"S": "text", "P": {"value": 5, "mode": "rw"}}})"));
    ASSERT_EQ(profile.objects.size(), 1U);
    const host::ObjectDef& object = profile.objects[0];
    EXPECT_EQ(object.kind, host::ObjectKind::physical);
    EXPECT_EQ(object.position, 4294967294U);
    EXPECT_EQ(object.properties[0].mode, "rw");
    EXPECT_EQ(object.properties[1].bytes, std::string("text\0", 5));
}

TEST(ProfileObjects, OfOneNameAreRefused) {
    EXPECT_EQ(fault_of(profile_text(one_class,
                                    R"({"name": "o", "class": "C"}, {"name": "o", "class": "C"})")),
              "objects[1] \"o\": an earlier object has this name");
}

TEST(ProfileObjects, OfAnUnknownClassAreRefused) {
    EXPECT_EQ(fault_of(profile_text(one_class, R"({"name": "o", "class": "D"})")),
              "objects[0] \"o\": \"class\" names class \"D\", which does not exist");
}

TEST(ProfileObjects, WithAPointInTheirNameAreRefused) {
    EXPECT_EQ(fault_of(profile_text(one_class, R"({"name": "a.b", "class": "C"})")),
              "objects[0] \"a.b\": an object's name must not contain \".\"");
}

TEST(ProfileObjects, WithTheNameOfACollectionAreRefused) {
    EXPECT_EQ(fault_of(profile_text(one_class, R"({"name": "C:C", "class": "C"})")),
              "objects[0] \"C:C\": is the name of a class's collection object; use another");
    EXPECT_EQ(fault_of(profile_text(one_class, R"({"name": "D:C", "class": "C"})")), "none");
    EXPECT_EQ(fault_of(profile_text(one_class, R"({"name": ":C", "class": "C"})")), "none");
}

TEST(ProfileObjects, WithAnUnknownPropertyAreRefused) {
    EXPECT_EQ(
        fault_of(profile_text(one_class, R"({"name": "o", "class": "C", "properties": {"Q": 1}})")),
        "objects[0] \"o\" property \"Q\": class \"C\" has no such property");
}

TEST(ProfileObjects, WithAnUnknownTypeOrModeAreRefused) {
    EXPECT_EQ(
        fault_of(profile_text(one_class, R"({"name": "o", "class": "C", "type": "physical"})")),
        "objects[0] \"o\": \"type\" is \"physical\"; known are \"Logical\" and \"Physical\"");
    EXPECT_EQ(fault_of(profile_text(
                  one_class, R"({"name": "o", "class": "C", "properties": {"P": {"mode": "x"}}})")),
              "objects[0] \"o\" property \"P\": \"mode\" is \"x\"; known are \"r\", \"w\", \"rw\" "
              "and \"r-\"");
}

TEST(ProfileObjects, AtAPositionOutOfRangeAreRefused) {
    for (const char* const position : {"0", "4294967295", "-1"}) {
        EXPECT_EQ(fault_of(profile_text(one_class, R"({"name": "o", "class": "C", "position": )" +
                                                       std::string(position) + "}")),
                  "objects[0] \"o\": \"position\" is " + std::string(position) +
                      ", it must be 1 to 4294967294");
    }
}

TEST(ProfileObjects, AreNamedInTheFaultsOfTheirValues) {
    EXPECT_EQ(
        fault_of(
            profile_text(
                one_class,
                R"({"name": "a", "class": "C"}, {"name": "b", "class": "C"}, {"name": "c", "class": "C"},
                     {"name": "Memory", "class": "C", "properties": {"P": "x"}})"))
            .rfind("objects[3] \"Memory\" property \"P\": text \"x\" is no value of type \"i\"", 0),
        0U);
}

}  // namespace
}  // namespace mox::test
