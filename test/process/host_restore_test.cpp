// A restore to defaults that the storage refuses, as a whole or in part: the model is what the
// store holds.
#include <moxplat/persist_store.h>
#include <sys/resource.h>

#include "host_write_model.hpp"

namespace mox::test {
namespace {

class RefusedRestore : public WriteTest {
protected:
    // An owner with the same values saved in the store and in the model, whose volatile file has a
    // log of more than 100000 bytes.
    void SetUp() override {
        // Handed down to the owner: a write beyond the limit fails and does not end it.
        std::signal(SIGXFSZ, SIG_IGN);
        start();
        join_as("heater");
        save("Night", 11, PER_MODE_RESET);
        save("Now", 13, PER_MODE_POWER_OFF);
        save("Day", 21, PER_MODE_RESET);
        save("Day", 22, PER_MODE_POWER_OFF);
        for (const gint32 number : {1, 2}) {
            const std::vector<gint32> many(15000, number);
            ASSERT_EQ(
                cfg_save_v2("Oven", "Limits", "ai", 60000, many.data(), FALSE, PER_MODE_RESET),
                PER_OK);
        }
        ASSERT_EQ(cfg_save_v2("Oven", "Limits", "ai", 0, nullptr, FALSE, PER_MODE_PERMANENT),
                  PER_OK);
    }

    static void save(const char* property, gint32 number, PER_MODE_E mode) {
        ASSERT_EQ(write("Oven", property, g_variant_new_int32(number), mode), MOX_OK);
    }

    // No file of the owner may grow beyond the size.
    void limit_files(rlim_t size) {
        rlimit limit{};
        ASSERT_EQ(prlimit(owner_.process().pid(), RLIMIT_FSIZE, nullptr, &limit), 0);
        limit.rlim_cur = size;
        ASSERT_EQ(prlimit(owner_.process().pid(), RLIMIT_FSIZE, &limit, nullptr), 0);
    }

    void expect_failed_with(gint32 code) {
        HostError error;
        EXPECT_FALSE(moxhost_restore_defaults(module_.get(), error.out()));
        EXPECT_NE(error.text().find("code " + std::to_string(code) + " ("), std::string::npos)
            << error.text();
    }

    static std::string nothing() { return "code " + std::to_string(PER_ERROR_CFG_ITEM_NOT_INITED); }
};

TEST_F(RefusedRestore, ThatForgetsOneFileOnlyLeavesTheModelWithWhatIsStillSaved) {
    limit_files(100000);
    expect_failed_with(PER_ERROR_CLEAR_CFG_FLAG);
    limit_files(RLIM_INFINITY);
    const std::string log = owner_.process().output() + owner_.process().errors();
    EXPECT_NE(log.find("the defaults are half restored"), std::string::npos) << log;
    EXPECT_EQ(saved_of("Oven", "Now", PER_MODE_POWER_OFF), nothing());
    EXPECT_EQ(value_of("Oven", "Now"), "3");
    EXPECT_EQ(saved_of("Oven", "Day", PER_MODE_POWER_OFF), nothing());
    EXPECT_EQ(saved_of("Oven", "Day", PER_MODE_RESET), "21");
    EXPECT_EQ(value_of("Oven", "Day"), "21");
    EXPECT_EQ(saved_of("Oven", "Night", PER_MODE_RESET), "11");
    EXPECT_EQ(value_of("Oven", "Night"), "11");
    EXPECT_TRUE(moxhost_restore_defaults(module_.get(), nullptr));
    EXPECT_EQ(value_of("Oven", "Day"), "2");
    EXPECT_EQ(value_of("Oven", "Night"), "1");
}

TEST_F(RefusedRestore, ThatForgetsNothingLeavesTheModelAsItIs) {
    limit_files(1);
    expect_failed_with(PER_ERROR_FILE_WRITE_FAIL);
    limit_files(RLIM_INFINITY);
    EXPECT_EQ(saved_of("Oven", "Now", PER_MODE_POWER_OFF), "13");
    EXPECT_EQ(value_of("Oven", "Now"), "13");
    EXPECT_EQ(saved_of("Oven", "Day", PER_MODE_POWER_OFF), "22");
    EXPECT_EQ(value_of("Oven", "Day"), "22");
    EXPECT_EQ(value_of("Oven", "Night"), "11");
    EXPECT_TRUE(moxhost_restore_defaults(module_.get(), nullptr));
    EXPECT_EQ(value_of("Oven", "Now"), "3");
}

}  // namespace
}  // namespace mox::test
