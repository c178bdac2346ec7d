// What the owner does when a module leaves or dies.
#include <sys/ipc.h>
#include <sys/msg.h>

#include <memory>

#include "host_module.hpp"

namespace mox::test {
namespace {

// What a dying module tells about itself.
struct Identity {
    gint32 bitmap_id = 0;
    gint32 queue = 0;
};

// A module in a process of its own that holds a copy of Tank and listens to levels until it is
// killed.
class OtherModule {
public:
    // Before this process has threads.
    explicit OtherModule(const HostOwner& owner) {
        if (pipe(pipe_) != 0) {
            throw std::runtime_error("no pipe");
        }
        pid_ = fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            live(owner);
        }
        close(pipe_[1]);
    }
    ~OtherModule() {
        die();
        close(pipe_[0]);
    }
    OtherModule(const OtherModule&) = delete;
    OtherModule& operator=(const OtherModule&) = delete;

    Identity wait_for_identity() const {
        Identity identity;
        EXPECT_EQ(read(pipe_[0], &identity, sizeof identity), ssize_t{sizeof identity});
        return identity;
    }

    void die() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
            pid_ = 0;
        }
    }

private:
    [[noreturn]] void live(const HostOwner& owner) const {
        alarm(60);
        MoxHostModule* const module =
            moxhost_join(owner.run_dir().c_str(), "other", MODULE_APP, nullptr);
        if (module == nullptr || lom_get_object_handle("Tank") == 0 ||
            moxhost_listen(module, "Sensor", "Level", nullptr) == FALSE) {
            _exit(1);
        }
        const MODULE_REG_INFO_S* const info = moxhost_reg_info(module);
        const Identity identity = {info->module_id, info->msg_que_id};
        if (write(pipe_[1], &identity, sizeof identity) != ssize_t{sizeof identity}) {
            _exit(1);
        }
        for (;;) {
            pause();
        }
    }

    int pipe_[2] = {-1, -1};
    pid_t pid_ = 0;
};

bool has_queue(gint32 queue) {
    msqid_ds status = {};
    return msgctl(queue, IPC_STAT, &status) == 0;
}

class ModuleDeath : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(owner_.start()) << owner_.process().errors();
        other_ = std::make_unique<OtherModule>(owner_);
        identity_ = other_->wait_for_identity();
        ASSERT_EQ(identity_.bitmap_id, 1);
        module_ = join(owner_);
        ASSERT_NE(module_, nullptr);
        ASSERT_NE(lom_get_object_handle("Tank"), 0);
    }

    bool the_queue_goes() const {
        return eventually([this] { return !has_queue(identity_.queue); });
    }

    HostOwner owner_;
    std::unique_ptr<OtherModule> other_;
    Identity identity_;
    ModulePtr module_;
};

TEST_F(ModuleDeath, ClearsItsBitAndLeavesTheOthers) {
    EXPECT_EQ(holders_of("Tank"), 6U);
    other_->die();
    ASSERT_TRUE(the_queue_goes());
    EXPECT_EQ(holders_of("Tank"), 4U);
}

TEST_F(ModuleDeath, LeavesTheOtherListenersServed) {
    EventLog log(module_.get());
    // The dead module's port comes first in the list, and a failing port would end the round.
    ASSERT_TRUE(moxhost_listen(module_.get(), "Sensor", "Level", nullptr));
    other_->die();
    ASSERT_TRUE(the_queue_goes());
    owner_.set_level(6);
    ASSERT_TRUE(moxhost_refresh(module_.get(), nullptr));
    ASSERT_TRUE(log.wait_for(1));
    EXPECT_EQ(log.events()[0].value, "6");
    GSList* ports = nullptr;
    ASSERT_EQ(cls_get_listener_list("Sensor", "Level", &ports), MOX_OK);
    EXPECT_EQ(g_slist_length(ports), 1U);
    g_slist_free(ports);
}

TEST_F(ModuleDeath, FreesItsNameAndItsId) {
    other_->die();
    ASSERT_TRUE(the_queue_goes());
    RawPeer peer(owner_);
    const std::string answer = peer.join("other");
    EXPECT_EQ(answer.rfind("(1, ", 0), 0U) << answer;
}

TEST_F(ModuleDeath, DoesNotLeakThePoolWhenItHappensAgainAndAgain) {
    other_->die();
    ASSERT_TRUE(the_queue_goes());
    guint32 used_at_first = 0;
    guint32 used = 0;
    ASSERT_TRUE(moxhost_pool_usage(module_.get(), nullptr, &used_at_first, nullptr));
    for (int round = 0; round < 20; ++round) {
        RawPeer peer(owner_);
        ASSERT_NE(peer.join("guest").rfind("error", 0), 0U);
        ASSERT_EQ(peer.call("Listen", g_variant_new("(ss)", "Sensor", "Level")), "()");
        ASSERT_EQ(peer.call("Leave", nullptr), "()");
    }
    // Lists that were replaced are freed a few seconds later.
    EXPECT_TRUE(eventually([&] {
        return moxhost_pool_usage(module_.get(), nullptr, &used, nullptr) != FALSE &&
               used <= used_at_first;
    })) << used
        << " bytes in use, " << used_at_first << " before";
}

TEST_F(ModuleDeath, OfAModuleThatLeavesProperlyIsTheSame) {
    const gint32 queue = moxhost_reg_info(module_.get())->msg_que_id;
    module_.reset();
    EXPECT_FALSE(has_queue(queue));
    RawPeer peer(owner_);
    const std::string answer = peer.join("tester");
    EXPECT_EQ(answer.rfind("(2, ", 0), 0U) << answer;
}

}  // namespace
}  // namespace mox::test
