// Joining, and what a module sees of the owner's model.
#include <sys/mman.h>

#include "host_module.hpp"

namespace mox::test {
namespace {

using ::testing::Test;
using Names = std::vector<std::string>;

class ModuleJoin : public Test {
protected:
    void SetUp() override { ASSERT_TRUE(owner_.start()) << owner_.process().errors(); }

    HostOwner owner_;
};

TEST_F(ModuleJoin, GivesABitmapIdAndAQueue) {
    const ModulePtr module = join(owner_);
    ASSERT_NE(module, nullptr);
    const MODULE_REG_INFO_S* const info = moxhost_reg_info(module.get());
    EXPECT_EQ(info->module_id, 1);
    EXPECT_EQ(info->pid, getpid());
    EXPECT_GT(info->msg_que_id, 0);
    EXPECT_EQ(info->share_class_base, cls_get_share_base());
    EXPECT_STREQ(info->module_name, "tester");
}

TEST_F(ModuleJoin, ListsTheObjectsOfAClassAndOfItsDescendantsInTheProfilesOrder) {
    const ModulePtr module = join(owner_);
    EXPECT_EQ(strings_of(moxhost_list_objects(module.get(), nullptr, nullptr)),
              (Names{"chip", "level", "Tank", "Oven"}));
    EXPECT_EQ(strings_of(moxhost_list_objects(module.get(), "Sensor", nullptr)),
              (Names{"Tank", "Oven"}));
    EXPECT_EQ(strings_of(moxhost_list_objects(module.get(), "Thermometer", nullptr)),
              (Names{"Oven"}));
}

TEST_F(ModuleJoin, NamesTheClassThatItDoesNotFind) {
    const ModulePtr module = join(owner_);
    HostError error;
    EXPECT_EQ(moxhost_list_objects(module.get(), "Boiler", error.out()), nullptr);
    EXPECT_EQ(error.code(), MOXHOST_ERROR_NOT_FOUND);
    EXPECT_NE(error.text().find("there is no class \"Boiler\""), std::string::npos) << error.text();
}

TEST_F(ModuleJoin, ListsPropertiesInClassOrderInheritedOnesFirst) {
    const ModulePtr module = join(owner_);
    EXPECT_EQ(strings_of(moxhost_list_properties(module.get(), "Oven", nullptr)),
              (Names{"Label", "Level", "Limits", "Twin", "Heat"}));
}

TEST_F(ModuleJoin, NamesTheObjectThatItDoesNotFind) {
    const ModulePtr module = join(owner_);
    HostError error;
    EXPECT_EQ(moxhost_list_properties(module.get(), "Fridge", error.out()), nullptr);
    EXPECT_EQ(error.code(), MOXHOST_ERROR_NOT_FOUND);
    EXPECT_NE(error.text().find("\"Fridge\""), std::string::npos) << error.text();
    EXPECT_EQ(value_of("Fridge", "Level"), "code -2001");
}

TEST_F(ModuleJoin, ReadsTheOwnersValuesFromThePool) {
    const ModulePtr module = join(owner_);
    EXPECT_EQ(value_of("Oven", "Label"), "'oven'");
    EXPECT_EQ(value_of("Oven", "Limits"), "[-5, 300]");
    EXPECT_EQ(value_of("Oven", "Level"), "0");
}

TEST_F(ModuleJoin, FindsTheFirstRefreshDone) {
    const ModulePtr module = join(owner_);
    EXPECT_EQ(value_of("Tank", "Level"), "5");
}

TEST_F(ModuleJoin, FollowsAReferenceToAnotherObject) {
    const ModulePtr module = join(owner_);
    EXPECT_EQ(value_of("Oven", "Twin"), "5");
}

TEST_F(ModuleJoin, ReadsTheHardwareOfItsOwnClassesThroughTheOwner) {
    const ModulePtr module = join(owner_, "heater");
    owner_.set_level(77);
    EXPECT_EQ(value_of("Oven", "Heat"), "5");
    EXPECT_EQ(value_of("Oven", "Heat", From::owners_hardware), "77");
    EXPECT_EQ(value_of("Oven", "Heat"), "77");
}

TEST_F(ModuleJoin, GetsTheCodeOfAHardwareReadThatFails) {
    const ModulePtr module = join(owner_, "heater");
    owner_.dir().write("chip", "hot");
    EXPECT_EQ(value_of("Oven", "Heat", From::owners_hardware), "code -2109");
}

TEST_F(ModuleJoin, ReadsMemoryForWhatTheOwnerKeepsCurrent) {
    const ModulePtr module = join(owner_);
    owner_.set_level(77);
    EXPECT_EQ(value_of("Tank", "Level", From::owners_hardware), "5");
}

TEST_F(ModuleJoin, SeesAFreshValueAfterARefresh) {
    const ModulePtr module = join(owner_);
    owner_.set_level(-12);
    EXPECT_TRUE(moxhost_refresh(module.get(), nullptr));
    EXPECT_EQ(value_of("Tank", "Level"), "-12");
}

TEST_F(ModuleJoin, MayWriteTheObjectsOfItsOwnClassesOnly) {
    const ModulePtr module = join(owner_, "heater", MODULE_SERVICE);
    EXPECT_TRUE(lom_is_writable(lom_get_object_handle("Oven")));
    EXPECT_FALSE(lom_is_writable(lom_get_object_handle("Tank")));
    EXPECT_EQ(lom_get_module_type(), MODULE_SERVICE);
}

TEST_F(ModuleJoin, MarksACopyInTheObjectsBitmap) {
    const ModulePtr module = join(owner_);
    ASSERT_NE(lom_get_object_handle("Tank"), 0);
    EXPECT_EQ(holders_of("Tank"), 1U << 1U);
}

TEST_F(ModuleJoin, TellsThePoolsUsage) {
    const ModulePtr module = join(owner_);
    guint32 total = 0;
    guint32 used = 0;
    ASSERT_TRUE(moxhost_pool_usage(module.get(), &total, &used, nullptr));
    EXPECT_GT(used, 0U);
    EXPECT_LT(used, total);
}

TEST_F(ModuleJoin, HappensOnceInAProcess) {
    ModulePtr module = join(owner_);
    HostError again;
    EXPECT_EQ(moxhost_join(owner_.run_dir().c_str(), "other", MODULE_APP, again.out()), nullptr);
    EXPECT_EQ(again.code(), MOXHOST_ERROR_STATE);
    module.reset();
    HostError after_leaving;
    EXPECT_EQ(moxhost_join(owner_.run_dir().c_str(), "other", MODULE_APP, after_leaving.out()),
              nullptr);
    EXPECT_EQ(after_leaving.code(), MOXHOST_ERROR_STATE);
}

TEST_F(ModuleJoin, IsRefusedForANameThatIsTaken) {
    RawPeer first(owner_);
    ASSERT_EQ(first.join("tester").rfind("(1, ", 0), 0U);
    HostError error;
    EXPECT_EQ(moxhost_join(owner_.run_dir().c_str(), "tester", MODULE_APP, error.out()), nullptr);
    EXPECT_EQ(error.code(), MOXHOST_ERROR_REFUSED);
    EXPECT_NE(error.text().find("\"tester\" has joined already"), std::string::npos)
        << error.text();
}

TEST_F(ModuleJoin, IsRefusedForTheOwnersName) {
    HostError error;
    EXPECT_EQ(moxhost_join(owner_.run_dir().c_str(), "moxd", MODULE_APP, error.out()), nullptr);
    EXPECT_EQ(error.code(), MOXHOST_ERROR_REFUSED);
}

TEST_F(ModuleJoin, IsRefusedForANameOf32Bytes) {
    RawPeer peer(owner_);
    const std::string answer = peer.join(std::string(32, 'n'));
    EXPECT_NE(answer.find("BadArgument: the module name has 32 bytes"), std::string::npos)
        << answer;
}

TEST_F(ModuleJoin, IsRefusedForAnotherWordSize) {
    RawPeer peer(owner_);
    const guint32 other = host::wire::word_bits == 32 ? 64 : 32;
    const std::string answer = peer.join("alien", other, host::wire::record_layout());
    EXPECT_NE(answer.find("Error.Mismatch: the owner has " + std::to_string(host::wire::word_bits) +
                          "-bit words, the module " + std::to_string(other) + "-bit words"),
              std::string::npos)
        << answer;
}

TEST_F(ModuleJoin, IsRefusedForAnotherRecordLayoutWithTheFirstDifference) {
    std::string layout = host::wire::record_layout();
    const std::string entry = "OBJECT_HEAD_S.semid=";
    layout.insert(layout.find(entry) + entry.size(), "9");
    RawPeer peer(owner_);
    const std::string answer = peer.join("alien", host::wire::word_bits, layout);
    EXPECT_NE(answer.find("Error.Mismatch: the record layouts differ: the owner has "
                          "\"OBJECT_HEAD_S.semid="),
              std::string::npos)
        << answer;
    EXPECT_NE(answer.find("the module \"OBJECT_HEAD_S.semid=9"), std::string::npos) << answer;
}

TEST_F(ModuleJoin, IsRefusedForA128thModule) {
    std::vector<std::unique_ptr<RawPeer>> peers;
    for (int number = 1; number <= 127; ++number) {
        peers.push_back(std::make_unique<RawPeer>(owner_));
        const std::string answer = peers.back()->join("peer" + std::to_string(number));
        ASSERT_EQ(answer.rfind("(" + std::to_string(number) + ", ", 0), 0U) << answer;
    }
    RawPeer one_more(owner_);
    const std::string answer = one_more.join("peer128");
    EXPECT_NE(answer.find("all 127 places for modules are taken"), std::string::npos) << answer;
    peers[41].reset();
    EXPECT_TRUE(eventually([&] { return one_more.join("peer128").rfind("(42, ", 0) == 0; }));
}

TEST_F(ModuleJoin, MustComeFirstOnAConnection) {
    RawPeer peer(owner_);
    const std::string answer = peer.call("Refresh", nullptr);
    EXPECT_NE(answer.find("Refresh before Join"), std::string::npos) << answer;
}

TEST_F(ModuleJoin, RefusesARemoteReadOfANegativeOffset) {
    RawPeer peer(owner_);
    ASSERT_EQ(peer.join("peer").rfind("(1, ", 0), 0U);
    const std::string answer =
        peer.call("RemoteGet", g_variant_new("(ssiu)", "Tank", "Level", -1, 4U));
    EXPECT_NE(answer.find("BadArgument"), std::string::npos) << answer;
}

TEST_F(ModuleJoin, SurvivesACallWithArgumentsOfOtherTypes) {
    RawPeer peer(owner_);
    const std::string answer = peer.call("Join", g_variant_new("(is)", 1, "x"));
    EXPECT_EQ(answer.rfind("error ", 0), 0U) << answer;
    EXPECT_EQ(peer.join("peer").rfind("(1, ", 0), 0U);
}

TEST_F(ModuleJoin, GivesUpOnAStoppedOwner) {
    owner_.process().signal(SIGSTOP);
    HostError error;
    EXPECT_EQ(moxhost_join(owner_.run_dir().c_str(), "tester", MODULE_APP, error.out()), nullptr);
    EXPECT_EQ(error.code(), MOXHOST_ERROR_TIMEOUT) << error.text();
    owner_.process().signal(SIGCONT);
}

TEST(ModuleWithoutOwner, IsToldWhereItLookedAndWhatToDo) {
    const TempDir dir;
    HostError error;
    EXPECT_EQ(moxhost_join(dir.path("none").c_str(), "tester", MODULE_APP, error.out()), nullptr);
    EXPECT_EQ(error.code(), MOXHOST_ERROR_NO_OWNER);
    EXPECT_NE(error.text().find(dir.path("none/moxd.sock").string()), std::string::npos)
        << error.text();
    EXPECT_NE(error.text().find("start moxd"), std::string::npos) << error.text();
}

TEST(ModuleWithAnotherPoolSize, JoinsAnOwnerWithASmallPool) {
    HostOwner owner;
    setenv("SHAMRE_MEMORY_SIZE", "9", 1);
    ASSERT_TRUE(owner.start());
    setenv("SHAMRE_MEMORY_SIZE", "32", 1);
    const ModulePtr module = join(owner);
    EXPECT_EQ(value_of("Oven", "Label"), "'oven'");
}

TEST(ModuleWhoseAddressIsTaken, IsToldWhatLiesThere) {
    HostOwner owner;
    ASSERT_TRUE(owner.start());
    void* const wanted = reinterpret_cast<void*>(std::uintptr_t{0x90000000});
    void* const taken =
        mmap(wanted, 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
    ASSERT_EQ(taken, wanted);
    HostError error;
    EXPECT_EQ(moxhost_join(owner.run_dir().c_str(), "tester", MODULE_APP, error.out()), nullptr);
    EXPECT_EQ(error.code(), MOXHOST_ERROR_NO_POOL);
    EXPECT_NE(error.text().find("taken in this process by"), std::string::npos) << error.text();
}

}  // namespace
}  // namespace mox::test
