// The members "group" and "modules" of a profile, and what they give to whom.
#include "profile/module_list.hpp"

#include "loaded_profile.hpp"
#include "profile/module_rights.hpp"

namespace mox::test {
namespace {

using host::Access;
using host::ModuleRights;
using Strings = std::vector<std::string>;

// Pump derives from Fan; Panel belongs to the module "panel".
std::string text_with(const std::string& members) {
    return R"({"classes": [{"name": "Fan"}, {"name": "Pump", "parent": "Fan"}, {"name": "Lamp"},
                           {"name": "Panel", "module": "panel"}], "objects": [], )" +
           members + "}";
}

std::string modules(const std::string& entries) {
    return text_with(R"("modules": [)" + entries + "]");
}

// What a module of a profile may do with each of the classes: "r", "w" and "o".
std::string access_of(const Profile& profile, const std::string& module) {
    const host::ClassIndex classes(profile.classes);
    std::string text;
    for (const host::ClassDef& entry : profile.classes) {
        const auto has = [&](Access access) {
            return has_access(profile, classes, module, access, entry);
        };
        text += (text.empty() ? "" : " ") + entry.name + ':';
        text += has(Access::read) ? "r" : "";
        text += has(Access::write) ? "w" : "";
        text += has(Access::override_it) ? "o" : "";
    }
    return text;
}

std::string entry_name(const Profile& profile, const std::string& module) {
    const ModuleRights* const rights = find_rights(profile, module);
    return rights == nullptr ? "none" : rights->name;
}

TEST(ModuleEntries, WithoutAListGiveEverybodyWhatNeedsNoEntry) {
    const Profile profile = profile_of(text_with(R"("refresh_ms": 100)"));
    EXPECT_FALSE(profile.modules.has_value());
    EXPECT_EQ(access_of(profile, "panel"), "Fan:ro Pump:ro Lamp:ro Panel:rwo");
    EXPECT_EQ(access_of(profile, "other"), "Fan:ro Pump:ro Lamp:ro Panel:ro");
    EXPECT_TRUE(may_manage(profile, "other"));
}

TEST(ModuleEntries, OfANameAloneGiveReadingAndTheOwnClasses) {
    const Profile profile = profile_of(modules(R"({"name": "panel"})"));
    EXPECT_EQ(access_of(profile, "panel"), "Fan:r Pump:r Lamp:r Panel:rw");
    EXPECT_FALSE(may_manage(profile, "panel"));
}

TEST(ModuleEntries, GiveNothingToAModuleThatHasNone) {
    const Profile profile = profile_of(modules(R"({"name": "panel"})"));
    EXPECT_EQ(entry_name(profile, "other"), "none");
    EXPECT_EQ(access_of(profile, "other"), "Fan: Pump: Lamp: Panel:");
    EXPECT_FALSE(may_manage(profile, "other"));
}

TEST(ModuleEntries, OfAnEmptyListLetNobodyIn) {
    const Profile profile = profile_of(modules(""));
    ASSERT_TRUE(profile.modules.has_value());
    EXPECT_EQ(entry_name(profile, "panel"), "none");
}

TEST(ModuleEntries, NamingAClassNameThoseThatDeriveFromItToo) {
    const Profile profile = profile_of(
        modules(R"({"name": "a", "read": ["Fan"]}, {"name": "b", "read": [], "write": ["Fan"]},
                   {"name": "c", "read": ["Pump"], "override": ["Fan"]},
                   {"name": "d", "read": [], "override": ["*"]}, {"name": "e", "read": ["Pump"]})"));
    EXPECT_EQ(access_of(profile, "a"), "Fan:r Pump:r Lamp: Panel:");
    EXPECT_EQ(access_of(profile, "b"), "Fan:rw Pump:rw Lamp: Panel:");
    EXPECT_EQ(access_of(profile, "c"), "Fan:ro Pump:ro Lamp: Panel:");
    EXPECT_EQ(access_of(profile, "d"), "Fan:ro Pump:ro Lamp:ro Panel:ro");
    EXPECT_EQ(access_of(profile, "e"), "Fan: Pump:r Lamp: Panel:");
}

TEST(ModuleEntries, OfOneNameComeBeforeThoseOfManyAndLongBeginningsBeforeShortOnes) {
    const Profile profile =
        profile_of(modules(R"({"name": "*"}, {"name": "pa*"}, {"name": "panel*"}, {"name": "panel"},
                   {"name": "p*"})"));
    EXPECT_EQ(entry_name(profile, "panel"), "panel");
    EXPECT_EQ(entry_name(profile, "panels"), "panel*");
    EXPECT_EQ(entry_name(profile, "pan"), "pa*");
    EXPECT_EQ(entry_name(profile, "p"), "p*");
    EXPECT_EQ(entry_name(profile, "x"), "*");
}

TEST(ModuleEntries, ThatManageSaySo) {
    const Profile profile =
        profile_of(modules(R"({"name": "a", "manage": true}, {"name": "b", "manage": false})"));
    EXPECT_TRUE(may_manage(profile, "a"));
    EXPECT_FALSE(may_manage(profile, "b"));
}

TEST(ModuleEntries, OutsideTheirFormAreRefusedEach) {
    EXPECT_EQ(
        faults_of(modules(R"(5, {}, {"name": "a*b"}, {"name": "c", "manage": 1, "colour": 2},
                             {"name": "d", "read": "Fan", "write": [5]}, {"name": "d"})")),
        (Strings{
            "modules[0]: must be an object, not a whole number",
            "modules[1]: \"name\" is missing",
            "modules[2] \"a*b\": \"name\" \"a*b\" has a \"*\" that is not its last character",
            "modules[3]: unknown member \"colour\"; known are name, read, write, override, manage",
            "modules[3] \"c\": \"manage\" must be a boolean, not a whole number",
            "modules[4] \"d\": \"read\" must be a list, not a string",
            "modules[4] \"d\": \"write\" must be a list of strings, not of a whole number",
            "modules[5] \"d\": an earlier entry has this name",
        }));
    EXPECT_EQ(faults_of(text_with(R"("modules": {})")),
              (Strings{"top level: \"modules\" must be a list, not an object"}));
}

TEST(ModuleEntries, NameClassesThatExistAndEachOnce) {
    EXPECT_EQ(
        faults_of(modules(
            R"({"name": "a", "read": ["Fan", "*", "Fan"], "write": ["Oven"], "override": ["*", "*"]})")),
        (Strings{
            "modules[0] \"a\": \"read\" names class \"Fan\" twice",
            "modules[0] \"a\": \"write\" names class \"Oven\", which does not exist",
            "modules[0] \"a\": \"override\" names class \"*\" twice",
        }));
}

TEST(ModuleEntries, AreNotBlamedForAClassWhoseNameIsAFault) {
    EXPECT_EQ(faults_of(R"({"classes": [{"name": ""}], "objects": [],
                            "modules": [{"name": "a", "read": ["Fan"]}]})"),
              (Strings{"classes[0]: \"name\" is empty; names have 1 to 31 bytes"}));
}

TEST(Group, IsANameThatIsLookedUpOnlyAtTheStart) {
    EXPECT_EQ(profile_of(text_with(R"("group": "no such group")")).group, "no such group");
    EXPECT_EQ(profile_of(text_with(R"("refresh_ms": 100)")).group, "");
}

TEST(Group, MustBeAName) {
    EXPECT_EQ(fault_of(text_with(R"("group": 5)")),
              "top level: \"group\" must be a string, not a whole number");
    EXPECT_EQ(fault_of(text_with(R"("group": "")")),
              "top level: \"group\" is empty; names have 1 to 31 bytes");
}

}  // namespace
}  // namespace mox::test
