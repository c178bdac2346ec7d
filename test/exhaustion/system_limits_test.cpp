// A system that has no more segments, queues or descriptors to give, with a real owner and real
// modules on the Linux layers.
#include "system_limits.hpp"

namespace mox::test {
namespace {

enum class Outcome { refused, joined };

// A process that tries to join when it is told to: it begins before the test itself joins, because
// a process joins once.
class LaterJoin {
public:
    // most_descriptors: the limit that it gives itself; 0 for none.
    LaterJoin(const HostOwner& owner, Outcome outcome, rlim_t most_descriptors = 0) {
        EXPECT_EQ(pipe(word_), 0);
        process_ = fork();
        if (process_ != 0) return;
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        alarm(60);
        char word = 0;
        const bool is_told = read(word_[0], &word, 1) == 1;
        if (most_descriptors != 0) limit_descriptors(getpid(), most_descriptors);
        _exit(is_told && tries(owner, outcome) ? 0 : 1);
    }
    ~LaterJoin() {
        for (const int end : word_) close(end);
    }
    LaterJoin(const LaterJoin&) = delete;
    LaterJoin& operator=(const LaterJoin&) = delete;

    void expect() const {
        EXPECT_EQ(write(word_[1], "j", 1), 1);
        int status = -1;
        waitpid(process_, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
    }

private:
    // A refusal tells why; a module that joined reads the hardware through the owner.
    static bool tries(const HostOwner& owner, Outcome outcome) {
        HostError error;
        const ModulePtr module(
            moxhost_join(owner.run_dir().c_str(), "later", MODULE_APP, error.out()));
        std::fprintf(stderr, "%s\n", module == nullptr ? error.text().c_str() : "joined");
        if (outcome == Outcome::refused) return module == nullptr && !error.text().empty();
        return module != nullptr && value_of("Tank", "Level", From::owners_hardware) == "5";
    }

    int word_[2] = {-1, -1};
    pid_t process_ = -1;
};

class ExhaustedSystem : public ::testing::Test {
protected:
    // The owner does not start: one line says why, and nothing of it is left.
    void expect_no_start(const std::string& cause) {
        EXPECT_FALSE(owner_.start());
        EXPECT_EQ(owner_.process().wait(), 1);
        const std::string errors = owner_.process().errors();
        EXPECT_NE(errors.find("moxd: "), std::string::npos) << errors;
        EXPECT_NE(errors.find(cause), std::string::npos) << errors;
        EXPECT_EQ(system_v_objects(), 0);
        EXPECT_FALSE(std::filesystem::exists(owner_.run_dir() + "/moxd.sock"));
    }

    void expect_all_works() {
        ASSERT_TRUE(owner_.start()) << owner_.process().errors();
        expect_module_works("one");
        EXPECT_EQ(owner_.stop(), 0) << owner_.process().errors();
        EXPECT_EQ(system_v_objects(), 0);
    }

    void expect_module_works(const char* name) {
        in_module(owner_, name, [](MoxHostModule*) {
            EXPECT_EQ(value_of("Tank", "Label"), "'main tank'");
            EXPECT_EQ(value_of("Tank", "Level", From::owners_hardware), "5");
        });
    }

    // A module works before, while and after another process is refused.
    void expect_refusal_beside_a_module(const std::function<void()>& take_away,
                                        const std::function<void()>& give_back) {
        const LaterJoin refused(owner_, Outcome::refused);
        const LaterJoin second(owner_, Outcome::joined);
        ModulePtr module = join(owner_, "first");
        ASSERT_NE(module, nullptr);
        take_away();
        refused.expect();
        EXPECT_EQ(value_of("Tank", "Label"), "'main tank'");
        EXPECT_EQ(value_of("Tank", "Level"), "5");
        give_back();
        EXPECT_EQ(value_of("Tank", "Level", From::owners_hardware), "5");
        second.expect();
        moxhost_leave(module.release());
        EXPECT_EQ(owner_.stop(), 0) << owner_.process().errors();
        // This process, which joined, still maps the removed segments; its queue is gone.
        EXPECT_EQ(queues(), 0);
    }

    HostOwner owner_;
};

TEST_F(ExhaustedSystem, WithoutASegmentHasNoOwner) {
    {
        const Setting none("shmmni", "0");
        expect_no_start("segment");
    }
    expect_all_works();
}

TEST_F(ExhaustedSystem, WithoutASegmentForTheLocksHasNoOwner) {
    {
        const Setting only_the_pool("shmmni", "1");
        expect_no_start("kernel.shmmni");
    }
    expect_all_works();
}

TEST_F(ExhaustedSystem, WithoutAPageForThePoolHasNoOwner) {
    {
        const Setting too_small("shmmax", "4096");
        expect_no_start("pool");
    }
    expect_all_works();
}

TEST_F(ExhaustedSystem, WithoutAQueueHasNoOwner) {
    {
        const Setting none("msgmni", "0");
        expect_no_start("queue");
    }
    expect_all_works();
}

TEST_F(ExhaustedSystem, WithoutAQueueForOneMoreModuleServesTheOthers) {
    ASSERT_TRUE(owner_.start()) << owner_.process().errors();
    std::optional<Setting> full(std::in_place, "msgmni", "2");
    expect_refusal_beside_a_module([] {}, [&full] { full.reset(); });
}

TEST_F(ExhaustedSystem, WithFewDescriptorsHasNoOwnerOrOneThatStops) {
    bool was_ready = false;
    for (rlim_t most = 4; most < 64 && !was_ready; most += most < 10 ? 1 : 6) {
        SCOPED_TRACE(std::to_string(most) + " descriptors");
        std::vector<std::string> command = {
            "/bin/sh", "-c", "ulimit -n " + std::to_string(most) + "; exec \"$@\"", "sh"};
        for (const std::string& word : owner_.command(sensor_profile(owner_.dir().path("chip")))) {
            command.push_back(word);
        }
        was_ready = owner_.start_command(command);
        const int status = was_ready ? owner_.stop() : owner_.process().wait();
        const std::string errors = owner_.process().errors();
        if (was_ready) {
            EXPECT_EQ(status, 0) << errors;
        } else {
            // 2 for a profile that cannot be read, 127 where the loader could not begin.
            EXPECT_TRUE(status == 1 || status == 2 || status == 127) << status << " " << errors;
            EXPECT_NE(errors, "");
        }
        EXPECT_EQ(system_v_objects(), 0) << errors;
    }
    EXPECT_TRUE(was_ready) << "64 descriptors are enough";
    expect_all_works();
}

TEST_F(ExhaustedSystem, WithoutADescriptorForOneMoreConnectionServesTheOthers) {
    ASSERT_TRUE(owner_.start()) << owner_.process().errors();
    const pid_t owner_process = owner_.process().pid();
    expect_refusal_beside_a_module(
        [owner_process] { limit_descriptors(owner_process, 3); },
        [owner_process] { limit_descriptors(owner_process, RLIM_INFINITY); });
}

TEST_F(ExhaustedSystem, WithoutADescriptorForItselfRefusesAModuleThatMayJoinLater) {
    ASSERT_TRUE(owner_.start()) << owner_.process().errors();
    for (const rlim_t more : {1U, 2U, 4U, 8U}) {
        LaterJoin(owner_, Outcome::refused, descriptors_of(getpid()) + more).expect();
    }
    expect_module_works("poor");
    EXPECT_EQ(owner_.stop(), 0);
    EXPECT_EQ(system_v_objects(), 0);
}

}  // namespace
}  // namespace mox::test
