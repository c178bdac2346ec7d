// Boards of which modules hold copies, and what such a module's end does.
#include <atomic>

#include "host_board_model.hpp"

namespace mox::test {
namespace {

using Kind = Companion::Kind;

class BoardCopies : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(owner_.start(board_profile(owner_))) << owner_.process().errors();
    }

    // Notes the pool's usage without the board, has another module hold copies of the board's
    // objects, and joins.
    void hold(Kind kind) {
        in_module(owner_, "early", [this](MoxHostModule* module) {
            ASSERT_EQ(unplug(module, "fans"), "");
            *used_ = static_cast<int>(pool_used(module));
            ASSERT_EQ(plug(module, "fans"), "");
        });
        without_ = static_cast<guint32>(*used_);
        companion_ = std::make_unique<Companion>(owner_, "holder", kind,
                                                 std::vector<const char*>{"Fan1", "Fan2", "Fan:C"});
        module_ = join(owner_);
        ASSERT_NE(module_, nullptr);
    }

    // The copies are given up and the garbage reclaimed, in time.
    bool is_all_back() const {
        return eventually([this] { return pool_used(module_.get()) == without_; });
    }

    HostOwner owner_;
    std::unique_ptr<Companion> companion_;
    ModulePtr module_;
    guint32 without_ = 0;

private:
    // Of this process and its children.
    int* used_ = static_cast<int*>(
        mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
};

TEST_F(BoardCopies, AreDroppedByAModuleThatRunsItsLoop) {
    hold(Kind::lively);
    ASSERT_EQ(unplug(module_.get(), "fans"), "");
    EXPECT_TRUE(is_all_back()) << pool_used(module_.get()) << " bytes, not " << without_;
}

TEST_F(BoardCopies, OfAModuleThatNeverAnswersKeepTheMemoryAndDelayNobody) {
    hold(Kind::silent);
    // A call that waited for the module would end with a time-out.
    ASSERT_EQ(unplug(module_.get(), "fans"), "");
    ASSERT_TRUE(moxhost_refresh(module_.get(), nullptr));
    EXPECT_GT(pool_used(module_.get()), without_);
}

TEST_F(BoardCopies, OfAModuleThatIsKilledAreFreed) {
    hold(Kind::silent);
    ASSERT_EQ(unplug(module_.get(), "fans"), "");
    ASSERT_GT(pool_used(module_.get()), without_);
    companion_->die();
    EXPECT_TRUE(is_all_back()) << pool_used(module_.get()) << " bytes, not " << without_;
}

TEST_F(BoardCopies, OfAModuleThatLeavesAreFreed) {
    hold(Kind::silent);
    ASSERT_EQ(unplug(module_.get(), "fans"), "");
    EXPECT_EQ(companion_->leave(), 0);
    EXPECT_TRUE(is_all_back()) << pool_used(module_.get()) << " bytes, not " << without_;
}

TEST_F(BoardCopies, ThatAreOldDoNotDisturbABoardThatIsPluggedAgain) {
    hold(Kind::silent);
    ASSERT_EQ(value_of("Fan1", "Speed"), "5");
    for (int round = 0; round < 3; ++round) {
        ASSERT_EQ(unplug(module_.get(), "fans"), "");
        owner_.set_level(6 + round);
        ASSERT_EQ(plug(module_.get(), "fans"), "");
        EXPECT_EQ(value_of("Fan1", "Speed"), std::to_string(6 + round));
    }
    companion_->die();
    ASSERT_EQ(unplug(module_.get(), "fans"), "");
    EXPECT_TRUE(is_all_back()) << pool_used(module_.get()) << " bytes, not " << without_;
}

TEST_F(BoardCopies, ThatWereMadeAnewOutliveTheLateWordOfTheRemoval) {
    ASSERT_NO_FATAL_FAILURE(hold(Kind::lively));
    ASSERT_EQ(value_of("Fan1", "Speed"), "5");
    ASSERT_EQ(unplug(module_.get(), "fans"), "");
    ASSERT_EQ(plug(module_.get(), "fans"), "");
    const OBJ_HANDLE fan = lom_get_object_handle("Fan1");
    ASSERT_NE(fan, 0);
    // The owner's word of the removal has waited in the main context since.
    ASSERT_TRUE(moxhost_refresh(module_.get(), nullptr));
    for (int turn = 0; turn < 100; ++turn) {
        g_main_context_iteration(nullptr, FALSE);
        g_usleep(1000);
    }
    GVariant* value = nullptr;
    ASSERT_EQ(lom_get_property_value(fan, "Label", FALSE, &value, FALSE), 0);
    g_variant_unref(value);
}

TEST_F(BoardCopies, OfSeveralModulesAreFreedWithTheLast) {
    hold(Kind::silent);
    Companion* const first = companion_.get();
    ASSERT_NE(lom_get_object_handle("Fan1"), 0);
    RawPeer peer(owner_);
    ASSERT_NE(peer.join("guest").rfind("error", 0), 0U);
    ASSERT_EQ(peer.call("CopyObject", g_variant_new("(s)", "Fan1")).rfind("(0, ", 0), 0U);
    ASSERT_EQ(unplug(module_.get(), "fans"), "");
    first->die();
    // A joining module takes the free id, whose bit nobody may hold any more.
    EXPECT_TRUE(eventually([this] {
        RawPeer other(owner_);
        return other.join("holder").rfind("error", 0) != 0;
    }));
    EXPECT_GT(pool_used(module_.get()), without_);
    ASSERT_EQ(peer.call("Leave", nullptr), "()");
    EXPECT_TRUE(is_all_back()) << pool_used(module_.get()) << " bytes, not " << without_;
}

TEST_F(BoardCopies, OfOneObjectStayReadableAsLongAsTheyAreHeld) {
    ASSERT_NO_FATAL_FAILURE(hold(Kind::silent));
    RawPeer peer(owner_);
    ASSERT_NE(peer.join("guest").rfind("error", 0), 0U);
    // Fan2 has its semaphore from Fan1, of which this process has no copy.
    ASSERT_EQ(value_of("Fan2", "Label"), "'second'");
    companion_->die();
    ASSERT_EQ(peer.call("UnplugBoard", g_variant_new("(s)", "fans")).rfind("(7, [", 0), 0U);
    ASSERT_EQ(peer.call("Refresh", nullptr), "()");
    EXPECT_EQ(value_of("Fan2", "Label"), "'second'");
    EXPECT_TRUE(eventually([] {
        g_main_context_iteration(nullptr, FALSE);
        return lom_get_object_handle("Fan2") == 0;
    }));
    EXPECT_TRUE(is_all_back()) << pool_used(module_.get()) << " bytes, not " << without_;
}

TEST_F(BoardCopies, ThatWereDroppedWithoutAWordAreFreedByTheNextRefresh) {
    ASSERT_NO_FATAL_FAILURE(hold(Kind::lively));
    const OBJ_HANDLE fan = lom_get_object_handle("Fan1");
    ASSERT_NE(fan, 0);
    RawPeer peer(owner_);
    ASSERT_NE(peer.join("guest").rfind("error", 0), 0U);
    ASSERT_EQ(peer.call("UnplugBoard", g_variant_new("(s)", "fans")).rfind("(7, [", 0), 0U);
    EXPECT_EQ(companion_->leave(), 0);
    lom_delete_object(fan);
    EXPECT_GT(pool_used(module_.get()), without_);
    ASSERT_TRUE(moxhost_refresh(module_.get(), nullptr));
    EXPECT_EQ(pool_used(module_.get()), without_);
}

TEST_F(BoardCopies, ThatAreHeldDoNotDisturbTheOwnersStop) {
    ASSERT_NO_FATAL_FAILURE(hold(Kind::silent));
    ASSERT_EQ(unplug(module_.get(), "fans"), "");
    ASSERT_EQ(plug(module_.get(), "fans"), "");
    EXPECT_EQ(owner_.stop(), 0) << owner_.process().errors();
    EXPECT_EQ(companion_->leave(), 0);
}

TEST_F(BoardCopies, AreSafeToReadInAThreadWhileTheBoardComesAndGoes) {
    hold(Kind::lively);
    std::atomic<bool> is_over{false};
    std::atomic<int> good_reads{0};
    std::atomic<bool> is_right{true};
    std::thread reader([&] {
        while (!is_over) {
            const std::string value = value_of("Fan1", "Label");
            good_reads += value == "'first'" ? 1 : 0;
            is_right = is_right && (value == "'first'" || value.rfind("code -20", 0) == 0);
        }
    });
    for (int round = 0; round < 50; ++round) {
        EXPECT_EQ(unplug(module_.get(), "fans"), "");
        EXPECT_EQ(plug(module_.get(), "fans"), "");
    }
    EXPECT_TRUE(eventually([&] { return good_reads > 0; }));
    is_over = true;
    reader.join();
    EXPECT_TRUE(is_right);
    EXPECT_EQ(unplug(module_.get(), "fans"), "");
    EXPECT_TRUE(is_all_back()) << pool_used(module_.get()) << " bytes, not " << without_;
}

TEST_F(BoardCopies, AreNotLeftInAProcessThatHasLeft) {
    hold(Kind::lively);
    ASSERT_NE(lom_get_object_handle("Fan1"), 0);
    module_.reset();
    EXPECT_EQ(lom_get_object_handle("Fan1"), 0);
}

}  // namespace
}  // namespace mox::test
