// A system that runs out of segments or descriptors while owner and modules are at work: a call
// that needs one gives an error, everything else goes on, and the same call works as soon as there
// is one again.
#include "../process/host_board_model.hpp"
#include "system_limits.hpp"

namespace mox::test {
namespace {

constexpr int objects_per_set = 2048;

// A board with more objects, each with a lock of its own, than one set of locks has room for, and a
// small one.
std::string profile_of_many_locks() {
    std::string objects;
    for (int number = 0; number <= objects_per_set; ++number) {
        objects += (number == 0 ? "" : ",\n") + std::string(R"({"name": "Fan)") +
                   std::to_string(number) + R"(", "class": "Fan"})";
    }
    return R"({"classes": [{"name": "Fan", "properties": [{"name": "Speed", "type": "i"}]}],
               "objects": [{"name": "Main", "class": "Fan", "properties": {"Speed": 1}}],
               "boards": [{"name": "many", "position": 7, "plugged": false, "objects": [)" +
           objects + R"(]},
                          {"name": "few", "position": 8, "plugged": false,
                           "objects": [{"name": "Spare", "class": "Fan", "properties": {"Speed": 8}}]}]})";
}

int segments() {
    const std::string list = content_of("/proc/sysvipc/shm");
    return static_cast<int>(std::count(list.begin(), list.end(), '\n')) - 1;
}

class LimitAtWork : public ::testing::Test {
protected:
    void TearDown() override {
        EXPECT_EQ(owner_.stop(), 0) << owner_.process().errors();
        EXPECT_EQ(queues(), 0);
    }

    HostOwner owner_;
};

TEST_F(LimitAtWork, OfSegmentsTakesABoardBackWholeThatNeedsMoreLocks) {
    // The library below gives its first table of names up beyond 2048 of them, by design; the
    // owner's check for leaks would report that table.
    setenv("LSAN_OPTIONS", "detect_leaks=0", 1);
    ASSERT_TRUE(owner_.start(profile_of_many_locks())) << owner_.process().errors();
    in_module(owner_, "one", [](MoxHostModule* module) {
        const guint32 used = pool_used(module);
        {
            const Setting full("shmmni", std::to_string(segments()));
            for (int attempt = 0; attempt < 2; ++attempt) {
                HostError error;
                EXPECT_FALSE(moxhost_plug_board(module, "many", error.out()));
                EXPECT_EQ(error.code(), MOXHOST_ERROR_FAILED) << error.text();
                EXPECT_NE(error.text().find("Fan"), std::string::npos) << error.text();
                EXPECT_EQ(lom_get_object_handle("Fan0"), 0);
                EXPECT_EQ(value_of("Main", "Speed"), "1");
                EXPECT_EQ(pool_used(module), used);
            }
            EXPECT_EQ(plug(module, "few"), "") << "there are locks for it";
            EXPECT_EQ(value_of("Spare", "Speed"), "8");
            EXPECT_EQ(unplug(module, "few"), "");
        }
        EXPECT_EQ(plug(module, "many"), "");
        EXPECT_EQ(value_of("Fan2048", "Speed"), "0");
        EXPECT_EQ(unplug(module, "many"), "");
    });
}

// What a module asks of an owner or a process without descriptors: each call succeeds, or says what
// is wrong.
class Demands {
public:
    static constexpr int calls = 7;

    explicit Demands(MoxHostModule* module) : module_(module) {}

    void make() {
        ask("plug_board",
            [this](GError** error) { return moxhost_plug_board(module_, "spare", error); });
        ask("refresh", [this](GError** error) { return moxhost_refresh(module_, error); });
        ask("set_property", [this](GError** error) {
            return moxhost_set_property(module_, "Main", "Goal", g_variant_new_int32(++goal_),
                                        error);
        });
        ask("listen",
            [this](GError** error) { return moxhost_listen(module_, "Fan", "Speed", error); });
        lom_get_object_handle("Fan1");
        value_of("Fan1", "Speed", From::owners_hardware);
        ask("unplug_board", [this](GError** error) {
            return moxhost_unplug_board(module_, "spare", nullptr, error);
        });
        ask("unplug_board", [this](GError** error) {
            return moxhost_unplug_board(module_, "fans", nullptr, error);
        });
        ask("plug_board",
            [this](GError** error) { return moxhost_plug_board(module_, "fans", error); });
    }

    int failed() const { return failed_; }

    // With descriptors again all of it works.
    void make_in_vain_no_more() {
        for (const char* const board : {"spare", "fans"}) {
            gboolean is_plugged = FALSE;
            HostError error;
            EXPECT_TRUE(moxhost_board_state(module_, board, &is_plugged, nullptr, error.out()))
                << error.text();
            EXPECT_EQ(is_plugged != FALSE ? unplug(module_, board) : "", "");
            EXPECT_EQ(plug(module_, board), "");
        }
        HostError error;
        EXPECT_TRUE(moxhost_refresh(module_, error.out())) << error.text();
        EXPECT_EQ(value_of("Fan1", "Speed", From::owners_hardware), "5");
        EXPECT_EQ(value_of("Fan1", "Speed"), "5");
        HostError save_error;
        EXPECT_TRUE(moxhost_set_property(module_, "Main", "Goal", g_variant_new_int32(77),
                                         save_error.out()))
            << save_error.text();
        EXPECT_EQ(unplug(module_, "spare"), "");
    }

private:
    template <typename Call>
    void ask(const char* name, Call call) {
        HostError error;
        const bool is_good = call(error.out()) != FALSE;
        EXPECT_EQ(is_good, error.text().empty()) << name << ": " << error.text();
        if (!is_good) ++failed_;
    }

    MoxHostModule* module_;
    gint32 goal_ = 10;
    int failed_ = 0;
};

TEST_F(LimitAtWork, OfTheOwnersDescriptorsIsSurvivedByIt) {
    ASSERT_TRUE(owner_.start(board_profile(owner_))) << owner_.process().errors();
    const pid_t owner_process = owner_.process().pid();
    in_module(owner_, "desk", [owner_process](MoxHostModule* module) {
        Demands demands(module);
        const rlim_t used = descriptors_of(owner_process);
        for (const rlim_t most : {rlim_t{3}, used, used + 1, used + 2, used + 4, used + 8}) {
            SCOPED_TRACE(most);
            limit_descriptors(owner_process, most);
            demands.make();
            limit_descriptors(owner_process, RLIM_INFINITY);
            demands.make_in_vain_no_more();
        }
        EXPECT_LE(descriptors_of(owner_process), used);
    });
}

// Others that come and go meanwhile are let in or refused.
TEST_F(LimitAtWork, OfTheOwnersDescriptorsLetsModulesInOrRefusesThem) {
    ASSERT_TRUE(owner_.start(board_profile(owner_))) << owner_.process().errors();
    const pid_t owner_process = owner_.process().pid();
    const rlim_t used = descriptors_of(owner_process);
    for (rlim_t more = 0; more <= 10; ++more) {
        SCOPED_TRACE(more);
        limit_descriptors(owner_process, used + more);
        const pid_t child = fork();
        if (child == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            alarm(60);
            HostError error;
            const ModulePtr module(
                moxhost_join(owner_.run_dir().c_str(), "desk", MODULE_APP, error.out()));
            if (module != nullptr) Demands(module.get()).make();
            _exit((module == nullptr) == error.text().empty() || ::testing::Test::HasFailure() ? 1
                                                                                               : 0);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
        limit_descriptors(owner_process, RLIM_INFINITY);
        in_module(owner_, "desk",
                  [](MoxHostModule* module) { Demands(module).make_in_vain_no_more(); });
    }
}

// The standard streams have them; a process that is limited to as many has none left.
constexpr rlim_t none_left = 3;

TEST_F(LimitAtWork, OfAModulesOwnDescriptorsIsAnErrorOfItsCalls) {
    ASSERT_TRUE(owner_.start(board_profile(owner_))) << owner_.process().errors();
    in_module(owner_, "desk", [](MoxHostModule* module) {
        Demands demands(module);
        demands.make();
        const rlim_t used = descriptors_of(getpid());
        for (const rlim_t most : {none_left, used - 1, used, used + 1, used + 2, used + 4}) {
            SCOPED_TRACE(most);
            const int failed_before = demands.failed();
            limit_descriptors(getpid(), most);
            demands.make();
            EXPECT_EQ(value_of("Main", "Label"), "'main'") << "memory needs no descriptor";
            limit_descriptors(getpid(), RLIM_INFINITY);
            if (most == none_left) {
                EXPECT_EQ(demands.failed() - failed_before, Demands::calls);
            }
            demands.make_in_vain_no_more();
        }
    });
}

// The checks for undefined behaviour open a pipe to look at a thread that ends.
#if !defined(__SANITIZE_ADDRESS__)
TEST_F(LimitAtWork, OfAModulesOwnDescriptorsLetsItLeave) {
    ASSERT_TRUE(owner_.start(board_profile(owner_))) << owner_.process().errors();
    in_module(owner_, "desk", [](MoxHostModule*) { limit_descriptors(getpid(), none_left); });
    in_module(owner_, "desk",
              [](MoxHostModule* module) { EXPECT_TRUE(moxhost_refresh(module, nullptr)); });
}
#endif

}  // namespace
}  // namespace mox::test
