// moxctl watch while boards come and go, and while its queue is full.
#include <gmock/gmock.h>

#include "doctor_findings.hpp"
#include "watch_told.hpp"

namespace mox::test {
namespace {

using ::testing::ElementsAre;
using ::testing::MatchesRegex;

std::string board_profile() {
    return R"({"refresh_ms": 3600000,
 "classes": [{"name": "Sensor", "module": "plugger", "properties": [{"name": "Level", "type": "i"}]},
             {"name": "Fan", "parent": "Sensor", "module": "plugger", "properties": [{"name": "Speed", "type": "u"}]},
             {"name": "Lamp", "properties": [{"name": "Lit", "type": "b"}]}],
 "objects": [{"name": "Fan1", "class": "Fan"}, {"name": "Lamp1", "class": "Lamp"}],
 "boards": [{"name": "psu", "position": 5, "plugged": false,
             "objects": [{"name": "Fan7", "class": "Fan"}, {"name": "Lamp7", "class": "Lamp"}]},
            {"name": "riser", "position": 6, "objects": [{"name": "Fan8", "class": "Fan"}]}]})";
}

class MoxctlWatchNotices : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(owner_.start(board_profile())) << owner_.process().errors();
    }

    void plug(const char* board) {
        in_module(owner_, "plugger", [board](MoxHostModule* module) {
            EXPECT_TRUE(moxhost_plug_board(module, board, nullptr));
        });
    }
    void unplug(const char* board) {
        in_module(owner_, "plugger", [board](MoxHostModule* module) {
            EXPECT_TRUE(moxhost_unplug_board(module, board, nullptr, nullptr));
        });
    }
    void set_speed(const char* fan, guint32 speed) {
        in_module(owner_, "plugger", [fan, speed](MoxHostModule* module) {
            EXPECT_TRUE(
                moxhost_set_property(module, fan, "Speed", g_variant_new_uint32(speed), nullptr));
        });
    }

    // Reads lines without their times.
    static std::vector<std::string> lines(WatchProcess& watch, int count) {
        std::vector<std::string> result;
        for (int at = 0; at < count; ++at) {
            const std::string line = watch.line().value_or("no line came");
            EXPECT_THAT(line,
                        MatchesRegex("[0-9][0-9]:[0-9][0-9]:[0-9][0-9]\\.[0-9][0-9][0-9]  .*"));
            result.push_back(line.size() > 14 ? line.substr(14) : line);
        }
        return result;
    }

    static void expect_heading(WatchProcess& watch) {
        EXPECT_EQ(watch.line(), "TIME          OBJECT  PROPERTY  VALUE") << watch.errors();
    }

    HostOwner owner_;
};

TEST_F(MoxctlWatchNotices, TellEachObjectOfABoardThatComesAndGoes) {
    WatchProcess watch(owner_, {});
    expect_heading(watch);
    plug("psu");
    EXPECT_THAT(lines(watch, 2),
                ::testing::UnorderedElementsAre("Fan7    -         added: class Fan, position 5",
                                                "Lamp7   -         added: class Lamp, position 5"));
    unplug("psu");
    EXPECT_THAT(lines(watch, 2), ElementsAre("Fan7    -         removed: class Fan, position 5",
                                             "Lamp7   -         removed: class Lamp, position 5"));
    unplug("riser");
    EXPECT_THAT(lines(watch, 1), ElementsAre("Fan8    -         removed: class Fan, position 6"));
}

TEST_F(MoxctlWatchNotices, AreForObjectsOfTheWatchedClassOnly) {
    WatchProcess watch(owner_, {"--class", "Sensor", "--count", "2"});
    expect_heading(watch);
    plug("psu");
    unplug("psu");
    EXPECT_THAT(lines(watch, 2), ElementsAre("Fan7    -         added: class Fan, position 5",
                                             "Fan7    -         removed: class Fan, position 5"));
    EXPECT_EQ(watch.wait(), 0);
}

TEST_F(MoxctlWatchNotices, AreNotShownWhenOnePropertyIsWatched) {
    WatchProcess watch(owner_, {"--property", "Speed"});
    expect_heading(watch);
    plug("psu");
    unplug("psu");
    set_speed("Fan1", 900);
    EXPECT_THAT(lines(watch, 1), ElementsAre("Fan1    Speed     900"));
}

TEST_F(MoxctlWatchNotices, OfTheWatchedObjectAreShownAndItIsWatchedAnewWhenItComesBack) {
    WatchProcess watch(owner_, {"--object", "Fan8", "--count", "3"});
    expect_heading(watch);
    set_speed("Fan1", 100);
    plug("psu");
    unplug("riser");
    plug("riser");
    set_speed("Fan8", 800);
    EXPECT_THAT(lines(watch, 3), ElementsAre("Fan8    -         removed: class Fan, position 6",
                                             "Fan8    -         added: class Fan, position 6",
                                             "Fan8    Speed     800"));
    EXPECT_EQ(watch.wait(), 0);
}

TEST_F(MoxctlWatchNotices, HaveClassAndPositionForPrograms) {
    WatchProcess watch(owner_, {"--object", "Fan8", "--json", "--count", "1"});
    ASSERT_TRUE(eventually([] {  // the owner's queue and its own
        const std::string queues = content_of("/proc/sysvipc/msg");
        return std::count(queues.begin(), queues.end(), '\n') == 3;
    }));
    // It may not listen yet: the board goes until it has seen it.
    std::optional<std::string> line;
    for (int tries = 0; tries < 100 && !line; ++tries) {
        unplug("riser");
        line = watch.line(100);
        if (!line) plug("riser");
    }
    EXPECT_THAT(*line,
                MatchesRegex("\\{\"time\":\"[^\"]*\",\"event\":\"(added|removed)\",\"object\":"
                             "\"Fan8\",\"class\":\"Fan\",\"position\":6\\}"));
    EXPECT_EQ(watch.wait(), 0);
}

TEST(MoxctlWatchQueue, ThatWasFullIsToldWhereItHappened) {
    HostOwner owner;
    ASSERT_TRUE(owner.start(meter_profile())) << owner.process().errors();
    WriterProcess writer(owner);
    WatchProcess watch(owner, {});
    EXPECT_EQ(watch.line(), "TIME          OBJECT  PROPERTY  VALUE") << watch.errors();
    // A process that is stopped takes nothing; the queue has room for some 600 of these.
    watch.signal(SIGSTOP);
    writer.begin(5000);
    ASSERT_TRUE(eventually([] {
        std::ifstream queues("/proc/sysvipc/msg");
        std::string line;
        bool is_full = false;
        while (std::getline(queues, line)) {
            std::istringstream fields(line);
            std::string key;
            std::string id;
            std::string permissions;
            long bytes = 0;
            fields >> key >> id >> permissions >> bytes;
            is_full = is_full || bytes > 260000;
        }
        return is_full;
    }));
    watch.signal(SIGCONT);
    int written = writer.finish();
    ASSERT_GT(written, 0);
    Told told;
    read_to_the_end(watch, writer, told, written);
    EXPECT_EQ(told.fault, "");
    EXPECT_EQ(told.last, written);
    EXPECT_EQ(told.shown + told.lost(), written);
    EXPECT_GT(told.lost_in_queue, 0);
    watch.signal(SIGTERM);
    EXPECT_EQ(watch.line(), std::nullopt);
    EXPECT_EQ(watch.wait(), 0);
}

}  // namespace
}  // namespace mox::test
