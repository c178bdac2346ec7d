// What the owner does about a value over which a module died.
#include "host_write_model.hpp"
#include "owner/object_record.hpp"

namespace mox::test {
namespace {

class HalfWrittenValue : public WriteTest {
protected:
    // Dies as module "heater" in the middle of a write: the mark is set, the bytes are of both
    // values.
    void die_writing(const char* object, const char* property) {
        const pid_t child = fork();
        if (child == 0) {
            alarm(60);
            MoxHostModule* const module =
                moxhost_join(owner_.run_dir().c_str(), "heater", MODULE_APP, nullptr);
            if (module == nullptr || lom_get_object_handle(object) == 0) {
                _exit(1);
            }
            const mox::host::RecordPtr record = mox::host::record_of(object);
            for (guint32 index = 0; record && index < record->property_count; ++index) {
                SERIALISED_PROPERTY_S& one = record->property_entry[index];
                if (std::strcmp(one.name, property) == 0) {
                    one.state.all |= PROPERTY_STATE_HALF_WRITTEN;
                    static_cast<guint8*>(one.data)[0] ^= 0x55;
                    kill(getpid(), SIGKILL);
                }
            }
            _exit(1);
        }
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the module did not get as far as the write";
    }
};

TEST_F(HalfWrittenValue, IsPutBackToTheProfilesValue) {
    start();
    die_writing("Breakfast", "Title");
    join_as("other");
    EXPECT_TRUE(eventually([] { return value_of("Breakfast", "Title") == "'none'"; }))
        << value_of("Breakfast", "Title");
}

TEST_F(HalfWrittenValue, IsPutBackToTheSavedValue) {
    start();
    in_module(owner_, "heater", [](MoxHostModule*) {
        EXPECT_EQ(write("Breakfast", "Title", g_variant_new_string("eggs"), PER_MODE_POWER_OFF),
                  MOX_OK);
    });
    die_writing("Breakfast", "Title");
    join_as("other");
    EXPECT_TRUE(eventually([] { return value_of("Breakfast", "Title") == "'eggs'"; }))
        << value_of("Breakfast", "Title");
}

TEST_F(HalfWrittenValue, TakesWhatTheHardwareSays) {
    start();
    owner_.set_level(9);
    die_writing("Oven", "Heat");
    join_as("other");
    EXPECT_TRUE(eventually([] { return value_of("Oven", "Heat") == "9"; }))
        << value_of("Oven", "Heat");
}

TEST_F(HalfWrittenValue, IsForcedNoLonger) {
    start();
    in_module(owner_, "heater", [](MoxHostModule*) {
        GVariant* const forced = g_variant_ref_sink(g_variant_new_string("forced"));
        EXPECT_EQ(lom_override_property_value(lom_get_object_handle("Breakfast"), "Title", forced,
                                              PROPERTY_OVERRIDE, nullptr),
                  MOX_OK);
        g_variant_unref(forced);
    });
    die_writing("Breakfast", "Title");
    join_as("heater");
    EXPECT_TRUE(eventually([] { return value_of("Breakfast", "Title") == "'none'"; }));
    EXPECT_EQ(write("Breakfast", "Title", g_variant_new_string("ham"), PER_MODE_NOSUPPORT), MOX_OK);
}

}  // namespace
}  // namespace mox::test
