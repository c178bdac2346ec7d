// What a module may do by its entry in the profile, and what the owner writes down of the rest.
#include "host_access_model.hpp"

namespace mox::test {
namespace {

class ModuleAccess : public AccessTest {};

using ModuleReads = ModuleAccess;
using ModuleWrites = ModuleAccess;
using ModuleOverrides = ModuleAccess;
using ModuleManagement = ModuleAccess;

TEST_F(ModuleAccess, WithoutAnEntryIsNoneAndTheJoinIsRefusedAndLogged) {
    start_with(R"({"name": "heater"}, {"name": "view-*"})");
    HostError error;
    EXPECT_EQ(moxhost_join(owner_.run_dir().c_str(), "panel", MODULE_APP, error.out()), nullptr);
    EXPECT_EQ(error.code(), MOXHOST_ERROR_REFUSED);
    EXPECT_NE(error.text().find("\"panel\" may not join"), std::string::npos) << error.text();
    EXPECT_EQ(count_in_log("join of module \"panel\", process " + std::to_string(getpid())), 1U);
}

TEST_F(ModuleAccess, OfABeginningLetsInEveryNameThatBeginsSo) {
    start_with(R"({"name": "view-*"})");
    join_as("view-17");
    EXPECT_EQ(value_of("Tank", "Level"), "5");
}

TEST_F(ModuleReads, OfOtherClassesFindNothing) {
    start_with(R"({"name": "narrow", "read": ["Lamp"]})");
    join_as("narrow");
    EXPECT_EQ(value_of("Desk", "Bright"), "1");
    EXPECT_EQ(lom_get_object_handle("Tank"), 0U);
    EXPECT_EQ(lom_get_object_handle("Oven"), 0U);
    EXPECT_EQ(lom_get_object_handle("Sensor:C"), 0U);
    EXPECT_EQ(value_of("Lamp:C", "Count"), "1");
    EXPECT_EQ(count_in_log("module \"narrow\", CopyObject of \"Tank\": no right to read class "
                           "\"Sensor\""),
              1U);
}

TEST_F(ModuleReads, OfOtherClassesAreRefusedByEveryCallThatTellsAValue) {
    start_with(R"({"name": "narrow", "read": ["Lamp"]})");
    RawPeer peer(owner_);
    ASSERT_EQ(peer.join("narrow").rfind("(", 0), 0U);
    EXPECT_EQ(peer.call("CopyObject", g_variant_new("(s)", "Tank")), "(-2014, [])");
    EXPECT_EQ(peer.call("RemoteGet", g_variant_new("(ssiu)", "Tank", "Level", 0, 4)),
              "(-2014, [])");
    EXPECT_EQ(peer.call("ReadSaved", g_variant_new("(ssbi)", "Tank", "Level", FALSE, 2)),
              "(-2014, '', [])");
    EXPECT_EQ(peer.call("ReadSaved", g_variant_new("(ssbi)", "Probe", "Level", FALSE, 2)),
              "(-2014, '', [])");
    EXPECT_EQ(peer.call("IsSaved", g_variant_new("(ssbi)", "Tank", "Level", FALSE, 2)),
              "(-2014, false)");
    EXPECT_NE(peer.call("PropertyInfos", g_variant_new("(s)", "Tank")).find("no right to read"),
              std::string::npos);
    EXPECT_NE(peer.call("Listen", g_variant_new("(ss)", "Sensor", "Level"))
                  .find("no right to read class \"Sensor\""),
              std::string::npos);
    EXPECT_EQ(peer.call("Listen", g_variant_new("(ss)", "Lamp", "Bright")), "()");
}

TEST_F(ModuleReads, OfAReferenceNeedTheRightToWhatItLeadsTo) {
    start_with(R"({"name": "narrow", "read": ["Thermometer"]})");
    join_as("narrow");
    EXPECT_EQ(value_of("Oven", "Heat"), "7");
    EXPECT_EQ(value_of("Oven", "Twin"), "code -2009");
    EXPECT_EQ(value_of("Oven", "Twin", From::owners_hardware), "code -2009");
}

TEST_F(ModuleReads, OfABaseClassCoverThoseThatDeriveFromIt) {
    start_with(R"({"name": "wide", "read": ["Sensor"]})");
    join_as("wide");
    EXPECT_EQ(value_of("Oven", "Twin"), "5");
    EXPECT_EQ(lom_get_object_handle("Desk"), 0U);
}

TEST_F(ModuleWrites, GoToTheOwnClassesOnlyWithoutMoreRights) {
    start_with(R"({"name": "heater"})");
    join_as("heater");
    EXPECT_EQ(write("Oven", "Heat", g_variant_new_int32(70)), 0);
    EXPECT_EQ(write("Tank", "Level", g_variant_new_int32(70)), -2014);
    EXPECT_EQ(write("Desk", "Bright", g_variant_new_int32(70)), -2014);
    EXPECT_EQ(value_of("Tank", "Level"), "5");
}

TEST_F(ModuleWrites, GoToOtherClassesThatTheEntryNames) {
    start_with(R"({"name": "panel", "read": [], "write": ["Lamp"]})");
    join_as("panel");
    EXPECT_EQ(
        write_with(moxhost_set_property, module_.get(), "Desk", "Bright", g_variant_new_int32(8)),
        "");
    EXPECT_EQ(value_of("Desk", "Bright"), "8");
    EXPECT_EQ(saved_of("Desk", "Bright", PER_MODE_PERMANENT), "8");
    EXPECT_EQ(
        write_with(moxhost_apply_property, module_.get(), "Desk", "Bright", g_variant_new_int32(9)),
        "");
    EXPECT_EQ(value_of("Desk", "Bright"), "9");
    const std::string text(500, 'x');
    EXPECT_EQ(write("Desk", "Text", g_variant_new_string(text.c_str())), 0);
    EXPECT_EQ(value_of("Desk", "Text"), "'" + text + "'");
}

TEST_F(ModuleWrites, ThatTheOwnerDoesAreRefusedAndLoggedThereToo) {
    start_with(R"({"name": "panel", "write": ["Lamp"]})");
    join_as("panel");
    EXPECT_NE(
        write_with(moxhost_apply_property, module_.get(), "Tank", "Level", g_variant_new_int32(9))
            .find("code -2014"),
        std::string::npos);
    EXPECT_EQ(value_of("Tank", "Level"), "5");
    EXPECT_EQ(count_in_log("module \"panel\", Apply of \"Tank\": no right to write class "
                           "\"Sensor\""),
              1U);
}

TEST_F(ModuleWrites, OfAnOperatorNeedTheRightToTheClass) {
    start_with(R"({"name": "desk-*", "write": ["Lamp"], "override": ["Sensor"]})");
    join_as("desk-1", MODULE_INTERFACE);
    HostError refused;
    EXPECT_EQ(
        write_with(moxhost_operator_set, module_.get(), "Desk", "Bright", g_variant_new_int32(4)),
        "");
    EXPECT_FALSE(moxhost_operator_set(module_.get(), "Tank", "Level", g_variant_new_int32(4),
                                      refused.out()));
    EXPECT_EQ(refused.status(), MOX_ERR_NOT_PERMITTED);
    EXPECT_EQ(write_with(moxhost_operator_override, module_.get(), "Tank", "Level",
                         g_variant_new_int32(6)),
              "");
    EXPECT_NE(write_with(moxhost_operator_override, module_.get(), "Desk", "Bright",
                         g_variant_new_int32(6))
                  .find("code -2014"),
              std::string::npos);
    EXPECT_TRUE(moxhost_operator_cancel(module_.get(), "Tank", "Level", nullptr));
    HostError kept;
    EXPECT_FALSE(moxhost_operator_cancel(module_.get(), "Desk", "Bright", kept.out()));
    EXPECT_EQ(kept.status(), MOX_ERR_NOT_PERMITTED);
    EXPECT_EQ(value_of("Desk", "Bright"), "4");
}

TEST_F(ModuleOverrides, AreRefusedInTheModuleAndLoggedByTheOwner) {
    start_with(R"({"name": "heater"})");
    join_as("heater");
    EXPECT_EQ(force("Oven", "Heat", 90), MOX_ERR_NOT_PERMITTED);
    EXPECT_EQ(force("Tank", "Level", 90), MOX_ERR_NOT_PERMITTED);
    EXPECT_EQ(value_of("Oven", "Heat"), "7");
    EXPECT_EQ(value_of("Tank", "Level"), "5");
    EXPECT_EQ(count_in_log("module \"heater\", MayOverride of \"Oven\": no right to override class "
                           "\"Thermometer\""),
              1U);
}

TEST_F(ModuleOverrides, OfTheClassesThatTheEntryNamesAreDoneAndEnded) {
    start_with(R"({"name": "panel", "override": ["Thermometer"]})");
    join_as("panel");
    EXPECT_EQ(force("Oven", "Heat", 90), 0);
    EXPECT_EQ(value_of("Oven", "Heat"), "90");
    EXPECT_EQ(let_go("Oven", "Heat"), 0);
    EXPECT_EQ(force("Oven", "Twin", 90), MOX_ERR_NOT_PERMITTED);  // leads to Tank, a Sensor
    EXPECT_EQ(value_of("Tank", "Level"), "5");
}

TEST_F(ModuleOverrides, NeedNoOwnerWithoutAListOfModules) {
    start("");
    join_as("panel");
    ASSERT_EQ(value_of("Tank", "Level"), "5");
    owner_.process().signal(SIGSTOP);
    EXPECT_EQ(force("Tank", "Level", 90), 0);
    owner_.process().signal(SIGCONT);
    EXPECT_EQ(value_of("Tank", "Level"), "90");
}

TEST_F(ModuleManagement, NeedsTheRightToManage) {
    start_with(R"({"name": "worker", "read": ["*"], "write": ["*"], "override": ["*"]})");
    join_as("worker", MODULE_INTERFACE);
    HostError plug;
    EXPECT_FALSE(moxhost_plug_board(module_.get(), "psu1", plug.out()));
    EXPECT_EQ(plug.code(), MOXHOST_ERROR_REFUSED);
    EXPECT_NE(plug.text().find("\"manage\": true"), std::string::npos) << plug.text();
    EXPECT_FALSE(moxhost_unplug_board(module_.get(), "psu1", nullptr, nullptr));
    EXPECT_FALSE(moxhost_restore_defaults(module_.get(), nullptr));
    gboolean is_plugged = TRUE;
    EXPECT_TRUE(moxhost_board_state(module_.get(), "psu1", &is_plugged, nullptr, nullptr));
    EXPECT_FALSE(is_plugged);
    EXPECT_EQ(count_in_log("module \"worker\", PlugBoard of \"psu1\": no right to manage"), 1U);
}

TEST_F(ModuleManagement, IsDoneWithTheRight) {
    start_with(R"({"name": "chief", "manage": true})");
    join_as("chief");
    EXPECT_TRUE(moxhost_plug_board(module_.get(), "psu1", nullptr));
    EXPECT_TRUE(moxhost_restore_defaults(module_.get(), nullptr));
    EXPECT_TRUE(moxhost_unplug_board(module_.get(), "psu1", nullptr, nullptr));
}

TEST_F(ModuleAccess, RefusedInALoopLeavesFewLines) {
    start_with(R"({"name": "loud", "read": []})");
    RawPeer peer(owner_);
    ASSERT_EQ(peer.join("loud").rfind("(", 0), 0U);
    for (int round = 0; round < 200; ++round) {
        EXPECT_EQ(peer.call("CopyObject", g_variant_new("(s)", "Tank")), "(-2014, [])");
    }
    EXPECT_EQ(count_in_log("module \"loud\", CopyObject of \"Tank\""), 1U);
}

}  // namespace
}  // namespace mox::test
