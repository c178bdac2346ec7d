// The files of the running machine, read the way a profile would have them read.
#include <sys/sysinfo.h>

#include <cmath>

#include "driver_fixture.hpp"

namespace mox::test {
namespace {

class ProcFiles : public DriverTest {};

TEST_F(ProcFiles, TellTheTotalMemory) {
    register_chip("C", "/proc/meminfo");
    register_accessor("A", "C",
                      {text("Kind", "line"), text("Line", "MemTotal"), text("Type", "u")});
    const Reading<guint32> reading = read_whole<guint32>("A");
    struct sysinfo info {};
    ASSERT_EQ(sysinfo(&info), 0);
    EXPECT_EQ(reading, value_of(static_cast<guint32>(static_cast<guint64>(info.totalram) *
                                                     info.mem_unit / 1024)));
}

TEST_F(ProcFiles, TellTheUptime) {
    register_chip("C", "/proc/uptime");
    register_accessor("A", "C", {text("Kind", "field"), number("Field", 1), text("Type", "d")});
    struct sysinfo info {};
    ASSERT_EQ(sysinfo(&info), 0);
    const Reading<double> reading = read_whole<double>("A");
    ASSERT_EQ(reading.code, DRIVER_OK);
    EXPECT_NEAR(reading.value, static_cast<double>(info.uptime), 5);
}

TEST_F(ProcFiles, TellTheLoadInHundredths) {
    register_chip("C", "/proc/loadavg");
    register_accessor("Load", "C", {text("Kind", "field"), number("Field", 1), text("Type", "d")});
    register_accessor(
        "Hundredths", "C",
        {text("Kind", "field"), number("Field", 1), text("Type", "u"), real("Scale", 100)});
    // The load changes every five seconds at most, so one of a few attempts falls between two
    // changes.
    bool has_agreed = false;
    for (int attempt = 0; attempt < 5 && !has_agreed; ++attempt) {
        const Reading<double> load = read_whole<double>("Load");
        const Reading<guint32> hundredths = read_whole<guint32>("Hundredths");
        ASSERT_EQ(load.code, DRIVER_OK);
        ASSERT_EQ(hundredths.code, DRIVER_OK);
        has_agreed = std::lround(load.value * 100) == static_cast<long>(hundredths.value);
    }
    EXPECT_TRUE(has_agreed);
}

TEST_F(ProcFiles, TellWhatTheyKnowOfThisProcess) {
    register_chip("C", "/proc/self/status");
    register_accessor("A", "C", {text("Kind", "line"), text("Line", "Pid"), text("Type", "i")});
    EXPECT_EQ(read_whole<gint32>("A"), value_of(static_cast<gint32>(getpid())));
}

TEST_F(ProcFiles, TakeANumberAndKeepIt) {
    register_chip("C", "/proc/self");
    register_accessor("A", "C",
                      {text("Kind", "attribute"), text("File", "coredump_filter"),
                       text("Format", "hex"), text("Type", "u")});
    const Reading<guint32> before = read_whole<guint32>("A");
    ASSERT_EQ(before.code, DRIVER_OK);
    const guint32 other = before.value ^ 1;
    ASSERT_EQ(accessor_write("A", 0, sizeof other, &other), DRIVER_OK);
    EXPECT_EQ(read_whole<guint32>("A"), value_of(other));
    EXPECT_EQ(accessor_write("A", 0, sizeof before.value, &before.value), DRIVER_OK);
}

TEST_F(ProcFiles, RefuseANumberThatTheKernelDoesNotTake) {
    register_chip("C", "/proc/self/oom_score_adj");
    register_accessor("A", "C", {text("Kind", "attribute"), text("Type", "i")});
    const gint32 too_high = 2000;
    EXPECT_EQ(accessor_write("A", 0, sizeof too_high, &too_high), DRIVER_ERR_REFUSED);
}

}  // namespace
}  // namespace mox::test
