// A value that hardware does not take.
#include <filesystem>

#include "moxctl_run.hpp"

namespace mox::test {
namespace {

TEST(MoxctlSet, SaysWhenTheHardwareDoesNotTakeTheValue) {
    SensorsOwner sensors;
    ASSERT_TRUE(sensors.start());
    std::filesystem::remove(sensors.owner().dir().path("chip"));
    const RunResult result = run_moxctl(sensors.owner(), {"set", "Tank", "Level", "8"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(
        result.errors,
        "moxctl: Tank.Level has the value, but the hardware has not: DRIVER_ERR_NO_FILE, code "
        "-2106 (the file or device is not there)\n");
    EXPECT_EQ(run_moxctl(sensors.owner(), {"get", "Tank", "Level"}).output, "8\n");
}

}  // namespace
}  // namespace mox::test
