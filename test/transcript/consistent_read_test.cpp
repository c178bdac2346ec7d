// Several properties are read as they were at one moment, also while another process writes them.
#include <json-glib/json-glib.h>
#include <lom.h>

#include <csignal>

#include "../process/host_module.hpp"
#include "moxctl_run.hpp"

namespace mox::test {
namespace {

void set(const char* property, GVariant* value) {
    GVariant* const owned = g_variant_ref_sink(value);
    lom_set_property_value(lom_get_object_handle("Oven"), property, owned, PER_MODE_NOSUPPORT,
                           FALSE);
    g_variant_unref(owned);
}

// Counts up in Oven.Level and then in the first of Oven.Limits until it is killed. Ready when Level
// is not 80 any more.
pid_t start_counting(const HostOwner& owner) {
    const pid_t child = fork();
    if (child != 0) {
        return child;
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    alarm(100);
    const ModulePtr module = join(owner, "heater");
    for (gint32 count = 1000; module != nullptr; ++count) {
        set("Level", g_variant_new_int32(count));
        set("Limits", g_variant_new_parsed("[%i, 0]", count));
    }
    _exit(1);
}

// The number in the first member "value" behind a place of a text.
long value_behind(const std::string& text, const std::string& place) {
    static const std::string name = "\"value\" : \"";
    const std::size_t at = text.find(name, text.find(place));
    EXPECT_NE(at, std::string::npos) << text;
    const std::size_t digits = text.find_first_of("0123456789", at + name.size());
    return at == std::string::npos ? 0 : std::strtol(text.c_str() + digits, nullptr, 10);
}

TEST(MoxctlGet, ReadsSeveralPropertiesAsTheyWereAtOneMoment) {
    SensorsOwner sensors;
    ASSERT_TRUE(sensors.start());
    const pid_t writer = start_counting(sensors.owner());
    EXPECT_TRUE(eventually([&sensors] {
        const std::string level = run_moxctl(sensors.owner(), {"get", "Oven", "Level"}).output;
        const std::string limits = run_moxctl(sensors.owner(), {"get", "Oven", "Limits"}).output;
        return level != "80\n" && limits != "[-5, 300]\n";
    }));
    long first = 0;
    long last = 0;
    for (int round = 0; round < 40; ++round) {
        const std::string text =
            run_moxctl(sensors.owner(), {"get", "Oven", "Level", "Limits", "--json"}).output;
        last = value_behind(text, "\"Level\"");
        first = round == 0 ? last : first;
        const long behind = last - value_behind(text, "\"Limits\"");
        EXPECT_TRUE(behind == 0 || behind == 1) << text;
    }
    EXPECT_GT(last, first);
    kill(writer, SIGKILL);
    waitpid(writer, nullptr, 0);
}

}  // namespace
}  // namespace mox::test
