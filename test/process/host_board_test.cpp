// Boards that are plugged and unplugged while the owner runs.
#include <sys/ipc.h>
#include <sys/msg.h>

#include "host_board_model.hpp"

namespace mox::test {
namespace {

class Boards : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(owner_.start(board_profile(owner_))) << owner_.process().errors();
        module_ = join(owner_, "desk");
        ASSERT_NE(module_, nullptr);
    }

    Names objects(const char* class_name) const {
        return strings_of(moxhost_list_objects(module_.get(), class_name, nullptr));
    }

    bool is_plugged(const char* board) const {
        gboolean state = FALSE;
        EXPECT_TRUE(moxhost_board_state(module_.get(), board, &state, nullptr, nullptr));
        return state != FALSE;
    }

    HostOwner owner_;
    ModulePtr module_;
};

TEST_F(Boards, AreListedWithTheirStateAndPosition) {
    EXPECT_EQ(strings_of(moxhost_list_boards(module_.get(), nullptr)), (Names{"fans", "spare"}));
    EXPECT_TRUE(is_plugged("fans"));
    EXPECT_FALSE(is_plugged("spare"));
    guint32 position = 0;
    ASSERT_TRUE(moxhost_board_state(module_.get(), "spare", nullptr, &position, nullptr));
    EXPECT_EQ(position, spare_position);
}

TEST_F(Boards, ThatArePluggedInTheProfileAreThereFromTheStart) {
    EXPECT_EQ(objects("Fan"), (Names{"Main", "Fan2", "Fan1"}));
    EXPECT_EQ(value_of("Fan1", "Label"), "'first'");
    EXPECT_EQ(value_of("Fan1", "Speed"), "5");
    EXPECT_EQ(value_of("Sum", "Value"), "1005");
}

TEST_F(Boards, ThatAreNotPluggedInTheProfileAreNotThereAtTheStart) {
    EXPECT_EQ(lom_get_object_handle("Spare1"), 0);
    EXPECT_EQ(objects("Probe"), Names{});
    HostError error;
    EXPECT_EQ(moxhost_list_properties(module_.get(), "Spare1", error.out()), nullptr);
    EXPECT_EQ(error.code(), MOXHOST_ERROR_NOT_FOUND);
    EXPECT_EQ(owner_.process().output().rfind("ready: 6 objects, ", 0), 0U)
        << owner_.process().output();
}

TEST_F(Boards, BringTheirObjectsWhenTheyArePlugged) {
    ASSERT_EQ(plug(module_.get(), "spare"), "");
    EXPECT_TRUE(is_plugged("spare"));
    EXPECT_EQ(objects("Fan"), (Names{"Main", "Fan2", "Fan1", "Spare1", "Spare2"}));
    EXPECT_EQ(value_of("Spare1", "Label"), "'one'");
    EXPECT_EQ(value_of("Probe1", "Level"), "3");
    EXPECT_EQ(lom_get_position(lom_get_object_handle("Probe1")), spare_position);
}

TEST_F(Boards, TakeTheirObjectsWithThemWhenTheyAreUnplugged) {
    ASSERT_EQ(value_of("Fan1", "Label"), "'first'");
    ASSERT_EQ(unplug(module_.get(), "fans"), "");
    EXPECT_FALSE(is_plugged("fans"));
    EXPECT_EQ(lom_get_object_handle("Fan1"), 0);
    EXPECT_EQ(lom_get_object_handle("chip"), 0);
    EXPECT_EQ(objects("Fan"), Names{"Main"});
    EXPECT_EQ(objects(nullptr), Names{"Main"});
    EXPECT_EQ(value_of("Main", "Label"), "'main'");
}

TEST_F(Boards, ThatAreUnpluggedAnswerNoCall) {
    ASSERT_EQ(unplug(module_.get(), "fans"), "");
    PER_MODE_E mode = PER_MODE_NOSUPPORT;
    HostError error;
    EXPECT_FALSE(moxhost_persist_mode(module_.get(), "Fan1", "Goal", &mode, error.out()));
    EXPECT_EQ(error.code(), MOXHOST_ERROR_NOT_FOUND);
    HostError apply_error;
    EXPECT_FALSE(moxhost_apply_property(module_.get(), "Fan1", "Goal", g_variant_new_int32(1),
                                        apply_error.out()));
    EXPECT_NE(apply_error.text().find("-2009"), std::string::npos) << apply_error.text();
    RawPeer peer(owner_);
    ASSERT_NE(peer.join("guest").rfind("error", 0), 0U);
    EXPECT_EQ(peer.call("CopyObject", g_variant_new("(s)", "Fan1")), "(-2009, [])");
    EXPECT_EQ(peer.call("RemoteGet", g_variant_new("(ssiu)", "Fan1", "Speed", 0, 0U)),
              "(-2009, [])");
    EXPECT_EQ(peer.call("StatusSave", g_variant_new("(ssu)", "Fan1", "Goal", 0U)), "(-2009,)");
}

TEST_F(Boards, AreReadFromTheHardwareWhenTheyArePluggedAgain) {
    ASSERT_EQ(unplug(module_.get(), "fans"), "");
    owner_.set_level(6);
    ASSERT_TRUE(moxhost_refresh(module_.get(), nullptr));
    ASSERT_EQ(plug(module_.get(), "fans"), "");
    EXPECT_EQ(value_of("Fan1", "Speed"), "6");
    EXPECT_EQ(value_of("Sum", "Value"), "1006");
    EXPECT_EQ(owner_.process().output().find("formula"), std::string::npos)
        << owner_.process().output();
}

TEST_F(Boards, ComeBackWithTheirSavedValues) {
    ASSERT_TRUE(
        moxhost_set_property(module_.get(), "Fan1", "Goal", g_variant_new_int32(77), nullptr));
    ASSERT_EQ(unplug(module_.get(), "fans"), "");
    ASSERT_EQ(plug(module_.get(), "fans"), "");
    EXPECT_EQ(value_of("Fan1", "Goal"), "77");
}

TEST_F(Boards, NameTheirUnsavedPropertiesWhenTheyAreUnplugged) {
    ASSERT_EQ(plug(module_.get(), "spare"), "");
    ASSERT_EQ(lom_set_property_save_type(lom_get_object_handle("Spare1"), "Goal", TRUE), MOX_OK);
    gchar** unsaved = nullptr;
    ASSERT_TRUE(moxhost_unplug_board(module_.get(), "spare", &unsaved, nullptr));
    EXPECT_EQ(strings_of(unsaved), (Names{"Probe1.Level", "Spare1.Label", "Spare1.Speed",
                                          "Spare2.Goal", "Spare2.Label", "Spare2.Speed"}));
}

TEST_F(Boards, ThatArePluggedCannotBePluggedAgain) {
    HostError error;
    EXPECT_FALSE(moxhost_plug_board(module_.get(), "fans", error.out()));
    EXPECT_EQ(error.code(), MOXHOST_ERROR_STATE);
    EXPECT_NE(error.text().find("\"fans\" is plugged already"), std::string::npos) << error.text();
    EXPECT_EQ(objects("Fan"), (Names{"Main", "Fan2", "Fan1"}));
}

TEST_F(Boards, ThatAreNotPluggedCannotBeUnplugged) {
    HostError error;
    gchar** unsaved = nullptr;
    EXPECT_FALSE(moxhost_unplug_board(module_.get(), "spare", &unsaved, error.out()));
    EXPECT_EQ(error.code(), MOXHOST_ERROR_STATE);
    EXPECT_NE(error.text().find("\"spare\" is not plugged"), std::string::npos) << error.text();
    EXPECT_EQ(unsaved, nullptr);
}

TEST_F(Boards, ThatTheProfileDoesNotHaveAreNotFound) {
    for (const char* const name : {"psu", "", "\xff"}) {
        HostError plug_error;
        EXPECT_FALSE(moxhost_plug_board(module_.get(), name, plug_error.out()));
        EXPECT_EQ(plug_error.code(), MOXHOST_ERROR_NOT_FOUND) << plug_error.text();
        HostError unplug_error;
        EXPECT_FALSE(moxhost_unplug_board(module_.get(), name, nullptr, unplug_error.out()));
        EXPECT_EQ(unplug_error.code(), MOXHOST_ERROR_NOT_FOUND) << unplug_error.text();
        HostError state_error;
        EXPECT_FALSE(moxhost_board_state(module_.get(), name, nullptr, nullptr, state_error.out()));
        EXPECT_EQ(state_error.code(), MOXHOST_ERROR_NOT_FOUND) << state_error.text();
    }
}

TEST_F(Boards, GiveAllTheirPoolMemoryBack) {
    ASSERT_EQ(plug(module_.get(), "spare"), "");
    ASSERT_EQ(unplug(module_.get(), "spare"), "");
    const guint32 used = pool_used(module_.get());
    for (int round = 0; round < 100; ++round) {
        ASSERT_EQ(plug(module_.get(), "spare"), "");
        ASSERT_EQ(value_of("Spare1", "Speed"), "11");
        ASSERT_EQ(value_of("Spare2", "Speed"), "12");
        ASSERT_GT(pool_used(module_.get()), used);
        ASSERT_EQ(unplug(module_.get(), "spare"), "");
        ASSERT_EQ(pool_used(module_.get()), used) << "after round " << round;
    }
}

TEST_F(Boards, AreLeftOutWhenDefaultsAreRestored) {
    ASSERT_EQ(plug(module_.get(), "spare"), "");
    ASSERT_TRUE(
        moxhost_set_property(module_.get(), "Spare1", "Goal", g_variant_new_int32(9), nullptr));
    ASSERT_TRUE(
        moxhost_set_property(module_.get(), "Main", "Goal", g_variant_new_int32(9), nullptr));
    ASSERT_EQ(unplug(module_.get(), "spare"), "");
    ASSERT_TRUE(moxhost_restore_defaults(module_.get(), nullptr));
    EXPECT_EQ(value_of("Main", "Goal"), "2");
    ASSERT_EQ(plug(module_.get(), "spare"), "");
    EXPECT_EQ(value_of("Spare1", "Goal"), "5");
}

// A pool of 8 MiB and a board whose last value is longer.
class LargeBoard : public ::testing::Test {
protected:
    void SetUp() override {
        const std::string profile = R"({
  "refresh_ms": 3600000,
  "classes": [{"name": "Shelf", "properties": [{"name": "Text", "type": "s"}]},
              {"name": "Box", "properties": [{"name": "Text", "type": "s"}]}],
  "objects": [{"name": "Main", "class": "Shelf", "properties": {"Text": "main"}}],
  "boards": [
    {"name": "large", "position": 7, "plugged": false, "objects": [
      {"name": "First", "class": "Shelf", "properties": {"Text": "first"}},
      {"name": "Carton", "class": "Box", "properties": {"Text": "carton"}},
      {"name": "Last", "class": "Shelf", "mutex": "First", "properties": {"Text": ")" +
                                    std::string(9U << 20U, 'x') + R"("}}
    ]},
    {"name": "small", "position": 8, "plugged": false, "objects": [
      {"name": "Small", "class": "Shelf", "properties": {"Text": "small"}},
      {"name": "Crate", "class": "Box", "properties": {"Text": "crate"}}
    ]}
  ]
})";
        std::vector<std::string> command = owner_.command(profile);
        command.insert(command.begin(), {"/usr/bin/env", "SHAMRE_MEMORY_SIZE=8"});
        ASSERT_TRUE(owner_.start_command(command)) << owner_.process().errors();
        module_ = join(owner_);
        ASSERT_NE(module_, nullptr);
    }

    HostOwner owner_;
    ModulePtr module_;
};

TEST_F(LargeBoard, ForWhichThePoolHasNoRoomIsTakenBackWhole) {
    NoticeLog log(module_.get());
    ASSERT_TRUE(moxhost_listen(module_.get(), "Shelf", "Text", nullptr));
    const guint32 used = pool_used(module_.get());
    const int semaphores = system_v_objects();
    for (int round = 0; round < 3; ++round) {
        HostError error;
        ASSERT_FALSE(moxhost_plug_board(module_.get(), "large", error.out()));
        EXPECT_EQ(error.code(), MOXHOST_ERROR_FAILED);
        EXPECT_NE(error.text().find("no room for property \"Last.Text\""), std::string::npos)
            << error.text();
        EXPECT_EQ(pool_used(module_.get()), used);
    }
    EXPECT_EQ(system_v_objects(), semaphores);
    EXPECT_NE(owner_.process().output().find("board large not plugged: the pool has no room"),
              std::string::npos)
        << owner_.process().output();
    EXPECT_EQ(lom_get_object_handle("First"), 0);
    EXPECT_EQ(value_of("Shelf:C", "List"), "['Main']");
    EXPECT_TRUE(log.notices().empty());
}

TEST_F(LargeBoard, ThatWasTakenBackLeavesTheOthersToBePlugged) {
    NoticeLog log(module_.get());
    ASSERT_TRUE(moxhost_listen(module_.get(), "Shelf", "Text", nullptr));
    ASSERT_TRUE(moxhost_listen(module_.get(), "Box", "Text", nullptr));
    ASSERT_NE(plug(module_.get(), "large"), "");
    ASSERT_EQ(plug(module_.get(), "small"), "");
    EXPECT_EQ(value_of("Small", "Text"), "'small'");
    ASSERT_TRUE(log.wait_for(1));
    EXPECT_EQ(log.notices(), Names{"+8 | Box Crate | Shelf Small"});
    HostError error;
    EXPECT_FALSE(moxhost_unplug_board(module_.get(), "large", nullptr, error.out()));
    EXPECT_EQ(error.code(), MOXHOST_ERROR_STATE);
}

class BoardNotices : public Boards {
protected:
    void SetUp() override {
        Boards::SetUp();
        log_ = std::make_unique<NoticeLog>(module_.get());
        for (const auto& [class_name, property] :
             {std::pair{"Fan", "Speed"}, {"Fan", "Label"}, {"Probe", "Level"}}) {
            ASSERT_TRUE(moxhost_listen(module_.get(), class_name, property, nullptr));
        }
    }
    void TearDown() override { log_.reset(); }

    std::unique_ptr<NoticeLog> log_;
};

TEST_F(BoardNotices, NameAllNewObjectsInOneMessage) {
    ASSERT_EQ(plug(module_.get(), "spare"), "");
    ASSERT_EQ(unplug(module_.get(), "spare"), "");
    ASSERT_TRUE(log_->wait_for(2));
    EXPECT_EQ(log_->notices(), (Names{"+8 | Fan Spare1 Spare2 | Probe Probe1", "-8"}));
}

TEST_F(BoardNotices, NameTheObjectsAnewEachTime) {
    for (int round = 0; round < 2; ++round) {
        ASSERT_EQ(plug(module_.get(), "spare"), "");
        ASSERT_EQ(unplug(module_.get(), "spare"), "");
    }
    ASSERT_TRUE(log_->wait_for(4));
    EXPECT_EQ(log_->notices()[2], log_->notices()[0]);
    EXPECT_EQ(log_->notices()[3], "-8");
}

TEST_F(BoardNotices, OfNewObjectsComeBeforeTheirFirstEvents) {
    ASSERT_EQ(unplug(module_.get(), "fans"), "");
    owner_.set_level(6);
    ASSERT_EQ(plug(module_.get(), "fans"), "");
    ASSERT_TRUE(log_->wait_for(3));
    EXPECT_EQ(log_->notices(), (Names{"-7", "+7 | Fan Fan1 Fan2", "Fan1.Speed"}));
}

TEST_F(BoardNotices, OfARemovalFindNothingAnyMore) {
    ASSERT_NE(lom_get_object_handle("Fan1"), 0);
    RawPeer peer(owner_);
    ASSERT_NE(peer.join("guest").rfind("error", 0), 0U);
    ASSERT_EQ(peer.call("UnplugBoard", g_variant_new("(s)", "fans")).rfind("(7, [", 0), 0U);
    ASSERT_TRUE(log_->wait_for(1));
    EXPECT_EQ(log_->notices(), Names{"-7"});
    EXPECT_FALSE(log_->has_found());
}

// The owner's word of the removal comes by another way: it stays unread here.
TEST_F(BoardNotices, OfARemovalDropTheCopiesByThemselves) {
    ASSERT_NE(lom_get_object_handle("Fan1"), 0);
    log_.reset();
    GMainContext* const own = g_main_context_new();
    g_main_context_push_thread_default(own);
    {
        const NoticeLog log(module_.get());
        RawPeer peer(owner_);
        ASSERT_NE(peer.join("guest").rfind("error", 0), 0U);
        ASSERT_EQ(peer.call("UnplugBoard", g_variant_new("(s)", "fans")).rfind("(7, [", 0), 0U);
        EXPECT_TRUE(eventually([&] {
            while (g_main_context_iteration(own, FALSE) != FALSE) {
            }
            return !log.notices().empty();
        }));
        EXPECT_EQ(log.notices(), Names{"-7"});
        EXPECT_FALSE(log.has_found());
    }
    g_main_context_pop_thread_default(own);
    g_main_context_unref(own);
}

// How many messages wait in the queue of a peer that joined with this answer.
msgqnum_t messages_of(const std::string& answer) {
    msqid_ds status = {};
    const int queue = std::atoi(answer.c_str() + answer.find(", ") + 2);
    EXPECT_EQ(msgctl(queue, IPC_STAT, &status), 0) << answer;
    return status.msg_qnum;
}

TEST_F(BoardNotices, GoOnceToEachQueueThatListensToOneOfTheClasses) {
    RawPeer fans(owner_);
    const std::string fans_queue = fans.join("fans");
    ASSERT_EQ(fans.call("Listen", g_variant_new("(ss)", "Fan", "Goal")), "()");
    RawPeer both(owner_);
    const std::string both_queue = both.join("both");
    ASSERT_EQ(both.call("Listen", g_variant_new("(ss)", "Probe", "Level")), "()");
    ASSERT_EQ(both.call("Listen", g_variant_new("(ss)", "Fan", "Goal")), "()");
    RawPeer chips(owner_);
    const std::string chips_queue = chips.join("chips");
    ASSERT_EQ(chips.call("Listen", g_variant_new("(ss)", "Chip", "Path")), "()");
    ASSERT_EQ(plug(module_.get(), "spare"), "");
    EXPECT_EQ(messages_of(fans_queue), 1U);
    EXPECT_EQ(messages_of(both_queue), 1U);
    EXPECT_EQ(messages_of(chips_queue), 0U);
    ASSERT_EQ(unplug(module_.get(), "spare"), "");
    EXPECT_EQ(messages_of(fans_queue), 2U);
    EXPECT_EQ(messages_of(both_queue), 2U);
    EXPECT_EQ(messages_of(chips_queue), 0U);
}

}  // namespace
}  // namespace mox::test
