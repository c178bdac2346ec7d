#include "loaded_profile.hpp"

namespace mox::test {
namespace {

using host::PersistMode;

TEST(ProfilePersistence, IsNoneUnlessItIsGiven) {
    for (const char* const value : {"5", R"({"value": 5})", R"({"value": 5, "persist": "none"})"}) {
        const Profile profile = profile_of(value_text("i", value));
        ASSERT_EQ(profile.objects.size(), 1U);
        EXPECT_EQ(profile.objects[0].properties[0].persist, PersistMode::none);
    }
}

TEST(ProfilePersistence, IsOneOfThreeModes) {
    const std::pair<const char*, PersistMode> modes[] = {{"power-off", PersistMode::power_off},
                                                         {"reset", PersistMode::reset},
                                                         {"permanent", PersistMode::permanent}};
    for (const auto& [word, mode] : modes) {
        const Profile profile =
            profile_of(value_text("i", std::string(R"({"persist": ")") + word + R"("})"));
        ASSERT_EQ(profile.objects.size(), 1U);
        EXPECT_EQ(profile.objects[0].properties[0].persist, mode);
    }
}

TEST(ProfilePersistence, OfAnotherWordIsRefused) {
    EXPECT_EQ(fault_of(value_text("i", R"({"persist": "forever"})")),
              "objects[0] \"o\" property \"P\": \"persist\" is \"forever\"; known are "
              "\"permanent\", \"power-off\", \"reset\" and \"none\"");
    EXPECT_NE(fault_of(value_text("i", R"({"persist": true})")), "none");
}

TEST(ProfilePersistence, IsNotForReferences) {
    EXPECT_EQ(fault_of(value_text("sp", R"({"persist": "reset"})")),
              "objects[0] \"o\" property \"P\": a reference is not saved; give \"persist\" to what "
              "it names");
    EXPECT_EQ(fault_of(value_text("sp", R"({"persist": "none"})")), "none");
}

}  // namespace
}  // namespace mox::test
