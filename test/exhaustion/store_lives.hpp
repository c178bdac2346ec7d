// A store that lives twice while something below it fails, each call in turn: it is opened, saved
// to, read, restored to its defaults and closed.
//
//   class FailingStore : public StoreOfTwoLives {};
//   sweep({plan, calls}, 100);      at least 100 calls are there to fail
//
// What holds after each fault: no value that was reported as saved is lost, the store opens and
// works again, nothing was taken for damage, and no name that a call made is in memory only.
#ifndef MOX_TEST_EXHAUSTION_STORE_LIVES_HPP
#define MOX_TEST_EXHAUSTION_STORE_LIVES_HPP

#include <moxplat/persist_store.h>

#include <functional>

#include "../unit/platform/captured_log.hpp"
#include "failing_files.hpp"
#include "failing_system.hpp"
#include "store_history.hpp"

namespace mox::test {

struct StoreFault {
    // Has the n-th call from now fail, and all later ones with `from_then_on`; 0 ends it.
    std::function<void(unsigned n, bool from_then_on)> plan;
    // Calls since the last plan that it counts.
    std::function<unsigned()> calls;
};

// The stores of this program lie in memory where there is such a place: what comes to the files is
// looked at, not the disk's speed.
inline const int in_memory =
    std::filesystem::is_directory("/dev/shm") ? setenv("TMPDIR", "/dev/shm", 1) : 0;

class StoreOfTwoLives : public PersistTest {
protected:
    void SetUp() override { ASSERT_EQ(in_memory, 0); }

    // Two lives of a store, with everything that is done to one; returns the calls.
    unsigned live(const StoreFault& fault, unsigned n, bool from_then_on) {
        std::filesystem::remove_all(state_dir());
        std::filesystem::remove_all(volatile_dir());
        watch_system_calls(directory());
        StoreHistory history;
        fault.plan(n, from_then_on);
        open_with_faults();
        first_life(history);
        cfg_store_close();
        open_with_faults();
        second_life(history);
        cfg_store_close();
        const unsigned calls = fault.calls();
        fault.plan(0, false);
        EXPECT_EQ(open_store(), PER_OK) << "a failure is no damage";
        EXPECT_EQ(names_only_in_memory(), std::set<std::string>());
        history.check_reopened();
        check_still_works(history);
        cfg_store_close();
        watch_system_calls("");
        EXPECT_TRUE(kept_aside().empty()) << kept_aside();
        return calls;
    }

    void sweep(const StoreFault& fault, unsigned least_calls, bool from_then_on = false) {
        const CapturedLog log;
        const unsigned calls = live(fault, 0, false);
        ASSERT_GE(calls, least_calls);
        ASSERT_EQ(log.lines().size(), 0U);
        std::printf("%u calls, each made to fail%s\n", calls,
                    from_then_on ? " with all later ones" : "");
        for (unsigned n = 1; n <= calls && !HasFailure(); ++n) {
            SCOPED_TRACE("call " + std::to_string(n));
            live(fault, n, from_then_on);
        }
    }

private:
    void open_with_faults() {
        const gint32 code = open_store();
        EXPECT_TRUE(code == PER_OK || is_documented_failure(code)) << code;
        EXPECT_TRUE(code != PER_OK || names_only_in_memory().empty())
            << ::testing::PrintToString(names_only_in_memory());
    }

    static Value large(char letter) { return {"s", std::string(9000, letter) + '\0'}; }

    static void first_life(StoreHistory& history) {
        for (const PER_MODE_E mode : {PER_MODE_PERMANENT, PER_MODE_POWER_OFF, PER_MODE_RESET}) {
            history.save("Speed", mode, Value{"uint32 1"});
            history.save("Label", mode, large('a'));
        }
        history.save_status("Speed", 3);
        history.save_status("Other", 4);
        history.check_now();
        PER_MODE_E mode = PER_MODE_BUTT;
        const gint32 code = cfg_newest_mode("Fan1", "Speed", FALSE, &mode);
        EXPECT_TRUE(code == PER_OK || code == PER_ERROR_CFG_ITEM_NOT_INITED ||
                    is_documented_failure(code))
            << code;
    }

    static void second_life(StoreHistory& history) {
        history.check_now();
        for (const PER_MODE_E mode : {PER_MODE_PERMANENT, PER_MODE_POWER_OFF, PER_MODE_RESET}) {
            history.save("Speed", mode, Value{"uint32 2"});
            history.save("Label", mode, large('b'));
            gboolean saved = FALSE;
            const gint32 code = cfg_is_saved("Fan1", "Speed", FALSE, mode, &saved);
            EXPECT_TRUE(code == PER_OK || is_documented_failure(code)) << code;
        }
        history.remove_status("Speed");
        history.restore_defaults();
        history.check_now();
        history.save("Speed", PER_MODE_POWER_OFF, Value{"uint32 3"});
        history.save_status("Speed", 5);
        history.check_now();
    }

    // Without faults every call does what it should again.
    static void check_still_works(StoreHistory& history) {
        for (const PER_MODE_E mode : {PER_MODE_PERMANENT, PER_MODE_POWER_OFF, PER_MODE_RESET}) {
            EXPECT_GE(history.save("Speed", mode, Value{"uint32 9"}), PER_OK);
        }
        history.check_reopened();
    }

    std::string kept_aside() const {
        std::string names;
        for (const std::string& directory : {state_dir(), volatile_dir()}) {
            for (const auto& entry : std::filesystem::directory_iterator{directory}) {
                const std::string name = entry.path().filename().string();
                if (name.find("damaged") != std::string::npos) names += name + " ";
            }
        }
        return names;
    }

protected:
    FailingFiles files_;
};

}  // namespace mox::test

#endif
