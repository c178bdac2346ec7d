// Values that a module put into the pool past the library, so that they are none of their type: the
// owner and the tool go on, and show what the types' defaults are.
#include <gmock/gmock.h>

#include "host_write_model.hpp"
#include "moxctl_runs.hpp"
#include "owner/object_record.hpp"

namespace mox::test {
namespace {

using ::testing::HasSubstr;

constexpr const char* profile = R"({
  "classes": [
    {"name": "Everything", "module": "wild",
     "properties": [{"name": "Text", "type": "s"}, {"name": "Texts", "type": "as"}, {"name": "Reals", "type": "ad"},
                    {"name": "Dict", "type": "a{sv}"}, {"name": "Twin", "type": "sp"}, {"name": "Number", "type": "i"}]}
  ],
  "objects": [
    {"name": "All", "class": "Everything",
     "properties": {"Text": {"value": "a text", "persist": "permanent"}, "Texts": ["one", "two"], "Reals": [1, 2],
                    "Dict": "{'a': <byte 5>}", "Twin": "All.Text", "Number": 7}}
  ]
})";

// Fills the room of a property's value with bytes that are neither UTF-8 nor offsets within it.
void spoil(const char* object, const char* property) {
    const mox::host::RecordPtr record = mox::host::record_of(object);
    ASSERT_NE(record, nullptr);
    for (guint32 index = 0; index < record->property_count; ++index) {
        SERIALISED_PROPERTY_S& one = record->property_entry[index];
        if (std::strcmp(one.name, property) == 0) {
            std::memset(one.data, 0xfd, one.capacity);
            one.size = one.capacity - (one.type[0] == 'a' ? 1 : 0);
        }
    }
}

class MalformedInThePool : public ::testing::Test {
protected:
    void SetUp() override {
        // A call of GLib that it complains of ends its process here.
        g_setenv("G_DEBUG", "fatal-criticals", TRUE);
        ASSERT_TRUE(owner_.start(profile)) << owner_.process().errors();
    }

    void spoil_in_module(std::vector<const char*> properties) {
        in_module(owner_, "wild", [&](MoxHostModule*) {
            ASSERT_NE(lom_get_object_handle("All"), 0);
            for (const char* const property : properties) {
                spoil("All", property);
            }
        });
    }

    // What a command prints; it must end with this exit code.
    std::string run(const std::vector<std::string>& words, int exit_code = 0) {
        const std::string output = runs_.run(words, exit_code);
        EXPECT_TRUE(g_utf8_validate(output.c_str(), -1, nullptr));
        return output;
    }

    HostOwner owner_;

private:
    MoxctlRuns runs_{owner_};
};

TEST_F(MalformedInThePool, IsShownAsItsTypesDefault) {
    spoil_in_module({"Text", "Texts", "Reals", "Dict"});
    EXPECT_EQ(run({"get", "All", "Text"}), "''\n");
    EXPECT_EQ(run({"get", "All", "Texts"}), "[]\n");
    EXPECT_EQ(run({"get", "All", "Reals"}), "[]\n");
    EXPECT_EQ(run({"get", "All", "Dict"}), "{}\n");
    EXPECT_EQ(run({"get", "All", "Number"}), "7\n");
    EXPECT_THAT(run({"show", "All"}), HasSubstr("Dict"));
    EXPECT_THAT(run({"show", "All", "--json"}), HasSubstr("\"@as []\""));
}

TEST_F(MalformedInThePool, ReferenceLeadsNowhereAndIsShownInUtf8) {
    spoil_in_module({"Twin"});
    EXPECT_THAT(run({"show", "All"}), HasSubstr("Number"));
    run({"get", "All", "Twin"}, 1);
    EXPECT_THAT(run({"list"}), HasSubstr("All"));
}

TEST_F(MalformedInThePool, EndsWithTheNextWrite) {
    spoil_in_module({"Text", "Texts"});
    in_module(owner_, "wild", [](MoxHostModule* module) {
        EXPECT_EQ(
            write_with(moxhost_set_property, module, "All", "Text", g_variant_new_string("new")),
            "");
        const char* const texts[] = {"x", nullptr};
        EXPECT_EQ(write("All", "Texts", g_variant_new_strv(texts, -1)), MOX_OK);
    });
    EXPECT_EQ(run({"get", "All", "Text"}), "'new'\n");
    EXPECT_EQ(run({"get", "All", "Texts"}), "['x']\n");
}

TEST_F(MalformedInThePool, IsNotSavedAndTheSavedValueStays) {
    in_module(owner_, "wild", [](MoxHostModule* module) {
        EXPECT_EQ(
            write_with(moxhost_set_property, module, "All", "Text", g_variant_new_string("saved")),
            "");
        spoil("All", "Text");
        EXPECT_LT(lom_save_property_value(lom_get_object_handle("All"), "Text", nullptr,
                                          PER_MODE_PERMANENT, TRUE, FALSE),
                  0);
        EXPECT_EQ(saved_of("All", "Text", PER_MODE_PERMANENT, TRUE), "'saved'");
    });
    EXPECT_EQ(owner_.stop(), 0);
    ASSERT_TRUE(owner_.start(profile)) << owner_.process().errors();
    EXPECT_EQ(run({"get", "All", "Text"}), "'saved'\n");
}

}  // namespace
}  // namespace mox::test
