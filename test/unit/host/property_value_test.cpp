#include "profile/property_value.hpp"

#include <cstring>

#include "loaded_profile.hpp"

namespace mox::test {
namespace {

// The fault of a value, without its place.
std::string misfit(const std::string& type, const std::string& value) {
    const std::string fault = fault_of(value_text(type, value));
    const std::string place = "objects[0] \"o\" property \"P\": ";
    return fault.rfind(place, 0) == 0 ? fault.substr(place.size()) : fault;
}

// A value as the object model would print it, from the bytes that are stored.
std::string stored(const std::string& type, const std::string& value) {
    const Profile profile = profile_of(value_text(type, value));
    if (profile.objects.empty()) {
        return "none";
    }
    const host::PropertyValue& property = profile.objects[0].properties[0];
    // A copy on the heap is aligned for every type, as the pool's blocks are.
    gpointer const bytes = g_memdup2(property.bytes.data(), property.bytes.size());
    GVariant* const variant = g_variant_ref_sink(g_variant_new_from_data(
        G_VARIANT_TYPE(property.type.c_str()), bytes, property.bytes.size(), FALSE, g_free, bytes));
    EXPECT_TRUE(g_variant_is_normal_form(variant)) << type << ' ' << value;
    gchar* const text = g_variant_print(variant, FALSE);
    std::string printed = text;
    g_free(text);
    g_variant_unref(variant);
    return printed;
}

TEST(ProfileValues, OfWholeNumberTypesKeepTheirRangeToTheEnds) {
    EXPECT_EQ(stored("y", "255"), "0xff");
    EXPECT_EQ(stored("n", "-32768"), "-32768");
    EXPECT_EQ(stored("q", "65535"), "65535");
    EXPECT_EQ(stored("i", "-2147483648"), "-2147483648");
    EXPECT_EQ(stored("u", "4294967295"), "4294967295");
}

TEST(ProfileValues, OutsideTheirTypeAreRefusedInsteadOfCut) {
    EXPECT_EQ(misfit("y", "300"), "number 300 is outside type \"y\", 0 to 255");
    EXPECT_EQ(misfit("y", "-1"), "number -1 is outside type \"y\", 0 to 255");
    EXPECT_EQ(misfit("n", "32768"), "number 32768 is outside type \"n\", -32768 to 32767");
    EXPECT_EQ(misfit("q", "65536"), "number 65536 is outside type \"q\", 0 to 65535");
    EXPECT_EQ(misfit("i", "2147483648"),
              "number 2147483648 is outside type \"i\", -2147483648 to 2147483647");
    EXPECT_EQ(misfit("u", "-1"), "number -1 is outside type \"u\", 0 to 4294967295");
    EXPECT_EQ(misfit("u", "4294967296"),
              "number 4294967296 is outside type \"u\", 0 to 4294967295");
}

TEST(ProfileValues, OfAnotherKindAreRefused) {
    EXPECT_EQ(misfit("i", "1.0"), "a number with a fraction does not fit type \"i\"");
    EXPECT_EQ(misfit("i", "true"), "a boolean does not fit type \"i\"");
    EXPECT_EQ(misfit("i", "[1]"), "a list does not fit type \"i\"");
    EXPECT_EQ(misfit("i", "null"), "null does not fit type \"i\"");
    EXPECT_EQ(misfit("b", "1"), "a whole number does not fit type \"b\"");
    EXPECT_EQ(misfit("s", "5"), "a whole number does not fit type \"s\"");
    EXPECT_EQ(misfit("d", "false"), "a boolean does not fit type \"d\"");
    EXPECT_EQ(misfit("ai", "7"), "a whole number does not fit type \"ai\"");
}

TEST(ProfileValues, OfTypeDoubleTakeWholeNumbersThatAreExact) {
    EXPECT_EQ(stored("d", "0.5"), "0.5");
    EXPECT_EQ(stored("d", "-3"), "-3.0");
    EXPECT_EQ(stored("d", "9007199254740992"), "9007199254740992.0");
    EXPECT_EQ(misfit("d", "9007199254740993"),
              "number 9007199254740993 has no exact value of type \"d\"");
}

TEST(ProfileValues, OfStringsAreTakenAsTheyStand) {
    EXPECT_EQ(stored("s", "\"@i 5\""), "'@i 5'");
    EXPECT_EQ(stored("s", "\"\""), "''");
    EXPECT_EQ(stored("s", R"("\u00e4")"), "'\xc3\xa4'");
}

TEST(ProfileValues, InTextHaveTheirTypesForm) {
    EXPECT_EQ(stored("u", "\"0x10\""), "16");
    EXPECT_EQ(stored("ai", "\"[1, 2]\""), "[1, 2]");
    EXPECT_EQ(stored("a{sv}", "\"{'a': <5>}\""), "{'a': <5>}");
    EXPECT_EQ(stored("b", "\"true\""), "true");
    EXPECT_EQ(misfit("y", "\"300\"").rfind("text \"300\" is no value of type \"y\": ", 0), 0U);
    EXPECT_EQ(misfit("as", "\"['a', '\\\\ud800']\""),
              "text \"['a', '\\ud800']\" is no value of type \"as\": \\ud800 stands for no "
              "character");
    EXPECT_EQ(misfit("i", "\"[\"").rfind("text \"[\" is no value of type \"i\": ", 0), 0U);
}

TEST(ProfileValues, OfArraysAreCheckedElementByElement) {
    EXPECT_EQ(stored("as", R"(["a", "", "c"])"), "['a', '', 'c']");
    EXPECT_EQ(stored("ay", "[1, 2]"), "[0x01, 0x02]");
    EXPECT_EQ(stored("aai", "[[1], [], [2, 3]]"), "[[1], [], [2, 3]]");
    EXPECT_EQ(stored("ai", "[]"), "[]");
    EXPECT_EQ(fault_of(value_text("ay", "[1, 256]")),
              "objects[0] \"o\" property \"P\" [1]: number 256 is outside type \"y\", 0 to 255");
    EXPECT_EQ(fault_of(value_text("aai", "[[1], [2, \"x\"]]"))
                  .rfind("objects[0] \"o\" property \"P\" [1] [1]: text \"x\" is no value", 0),
              0U);
}

TEST(ProfileValues, ThatAreNotGivenAreTheTypesZero) {
    for (const auto& [type, zero] :
         std::vector<std::pair<std::string, std::string>>{{"b", "false"},
                                                          {"y", "0x00"},
                                                          {"n", "0"},
                                                          {"q", "0"},
                                                          {"i", "0"},
                                                          {"u", "0"},
                                                          {"d", "0.0"},
                                                          {"s", "''"},
                                                          {"as", "[]"},
                                                          {"aai", "[]"}}) {
        EXPECT_EQ(stored(type, "{}"), zero) << type;
    }
}

}  // namespace
}  // namespace mox::test
