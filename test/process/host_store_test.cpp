// The owner's store: who may use it by which call, where it lies, and what a damaged or missing one
// does.
#include <moxplat/persist_store.h>

#include "host_write_model.hpp"

namespace mox::test {
namespace {

class StoreCalls : public WriteTest {
protected:
    void SetUp() override {
        start();
        heater_ = std::make_unique<RawPeer>(owner_);
        guest_ = std::make_unique<RawPeer>(owner_);
        ASSERT_EQ(heater_->join("heater").rfind("(1, ", 0), 0U);
        ASSERT_EQ(guest_->join("guest").rfind("(2, ", 0), 0U);
    }

    static std::string save(RawPeer& peer, const char* object, const char* name,
                            gboolean has_prefix = FALSE, gint32 mode = PER_MODE_PERMANENT) {
        const gint32 value = 77;
        return peer.call(
            "SaveValue",
            g_variant_new("(sss@aybi)", object, name, "i",
                          g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, &value, sizeof value, 1),
                          has_prefix, mode));
    }
    static std::string read(RawPeer& peer, const char* object, const char* name) {
        return peer.call("ReadSaved",
                         g_variant_new("(ssbi)", object, name, FALSE, gint32{PER_MODE_PERMANENT}));
    }
    static std::string save_status(RawPeer& peer, const char* object, const char* name) {
        return peer.call("StatusSave", g_variant_new("(ssu)", object, name, 2U));
    }
    static std::string remove_status(RawPeer& peer, const char* object, const char* name) {
        return peer.call("StatusRemove", g_variant_new("(ss)", object, name));
    }
    static std::string status(gint32 code) { return "(" + std::to_string(code) + ",)"; }

    std::unique_ptr<RawPeer> heater_;
    std::unique_ptr<RawPeer> guest_;
};

TEST_F(StoreCalls, SaveForTheModuleThatHasTheClassOnly) {
    EXPECT_EQ(save(*heater_, "Oven", "Day"), status(PER_OK));
    EXPECT_EQ(save(*guest_, "Oven", "Day"), status(MOX_ERR_NOT_PERMITTED));
    EXPECT_EQ(save(*heater_, "Room", "Level"), status(MOX_ERR_NOT_PERMITTED));
}

TEST_F(StoreCalls, ReadForAnybody) {
    EXPECT_EQ(save(*heater_, "Oven", "Day"), status(PER_OK));
    const std::string seen = "(0, 'i', [0x4d, 0x00, 0x00, 0x00])";
    EXPECT_EQ(read(*heater_, "Oven", "Day"), seen);
    EXPECT_EQ(read(*guest_, "Oven", "Day"), seen);
    EXPECT_EQ(guest_->call("IsSaved", g_variant_new("(ssbi)", "Oven", "Day", FALSE,
                                                    gint32{PER_MODE_PERMANENT})),
              "(0, true)");
    EXPECT_EQ(read(*guest_, "Oven", "Now"),
              "(" + std::to_string(PER_ERROR_CFG_ITEM_NOT_INITED) + ", '', [])");
}

TEST_F(StoreCalls, KeepANameWithItsPrefixApart) {
    EXPECT_EQ(save(*heater_, "Breakfast", "Count", TRUE), status(PER_OK));
    EXPECT_EQ(save(*heater_, "Breakfast", "Count", FALSE), status(MOX_ERR_PROPERTY_NOT_FOUND));
    EXPECT_EQ(save(*heater_, "Oven", "Day", TRUE), status(MOX_ERR_PROPERTY_NOT_FOUND));
}

TEST_F(StoreCalls, RefuseUnknownNames) {
    EXPECT_EQ(save(*heater_, "Fridge", "Day"), status(MOX_ERR_OBJECT_NOT_FOUND));
    EXPECT_EQ(save(*heater_, "Oven", "Weight"), status(MOX_ERR_PROPERTY_NOT_FOUND));
    EXPECT_EQ(save_status(*heater_, "Oven", "Weight"), status(MOX_ERR_PROPERTY_NOT_FOUND));
    EXPECT_EQ(remove_status(*heater_, "Fridge", "Day"), status(MOX_ERR_OBJECT_NOT_FOUND));
    EXPECT_EQ(read(*heater_, "Oven", ""),
              "(" + std::to_string(PER_ERROR_PARA_1_INVALID) + ", '', [])");
}

TEST_F(StoreCalls, RefuseNumbersThatAreNoMode) {
    for (const gint32 mode : {-1, 3, 4, -2000000000, 2000000000}) {
        EXPECT_EQ(save(*heater_, "Oven", "Day", FALSE, mode), status(PER_ERROR_PARA_6_INVALID));
    }
}

TEST_F(StoreCalls, RecordSaveStatesForTheModuleThatHasTheClassOnly) {
    EXPECT_EQ(save_status(*heater_, "Oven", "Day"), status(PER_OK));
    EXPECT_EQ(save_status(*guest_, "Oven", "Day"), status(MOX_ERR_NOT_PERMITTED));
    EXPECT_EQ(remove_status(*guest_, "Oven", "Day"), status(MOX_ERR_NOT_PERMITTED));
    EXPECT_EQ(remove_status(*heater_, "Oven", "Day"), status(PER_OK));
}

TEST_F(StoreCalls, RestoreTheDefaultsForAnybody) {
    EXPECT_EQ(save(*heater_, "Oven", "Now", FALSE, PER_MODE_POWER_OFF), status(PER_OK));
    EXPECT_EQ(guest_->call("RestoreDefaults", nullptr), "()");
    EXPECT_EQ(read(*heater_, "Oven", "Now"),
              "(" + std::to_string(PER_ERROR_CFG_ITEM_NOT_INITED) + ", '', [])");
}

class OwnerStore : public WriteTest {
protected:
    // Saves values in the store of an owner that does not run.
    void prepare(const std::function<void()>& save) {
        std::filesystem::create_directory(owner_.run_dir());
        std::filesystem::permissions(owner_.run_dir(), std::filesystem::perms::owner_all);
        ASSERT_EQ(cfg_store_open(owner_.state_dir().c_str(), owner_.run_dir().c_str()), PER_OK);
        save();
        cfg_store_close();
    }

    std::vector<std::string> command() { return owner_.command(write_profile(owner_)); }

    std::string errors() { return owner_.process().errors(); }

    void start_with_volatile_dir(const std::string& directory) {
        std::vector<std::string> with = command();
        with.insert(with.end(), {"--volatile-dir", directory});
        ASSERT_TRUE(owner_.start_command(with)) << errors();
    }

    // Writes a number to a property of the oven and expects that it is stored, and saved or not.
    static void expect_saved(MoxHostModule* module, const char* property) {
        EXPECT_EQ(
            write_with(moxhost_set_property, module, "Oven", property, g_variant_new_int32(6)), "");
        EXPECT_EQ(value_of("Oven", property), "6");
    }
    static void expect_refused(MoxHostModule* module, const char* property, gint32 code) {
        const std::string error =
            write_with(moxhost_set_property, module, "Oven", property, g_variant_new_int32(6));
        EXPECT_NE(error.find("code " + std::to_string(code) + " ("), std::string::npos) << error;
        EXPECT_EQ(value_of("Oven", property), "6");
    }
};

TEST_F(OwnerStore, WithAValueOfAnotherTypeKeepsTheProfilesValueAndSaysSo) {
    const double number = 1.5;
    prepare([&] {
        EXPECT_EQ(
            cfg_save_v2("Oven", "Day", "d", sizeof number, &number, FALSE, PER_MODE_PERMANENT),
            PER_OK);
    });
    start();
    const std::string log = owner_.process().output() + errors();
    EXPECT_NE(log.find("saved value of Oven.Day not taken: its type is \"d\", the property's is "
                       "\"i\""),
              std::string::npos)
        << log;
    join_as("heater");
    EXPECT_EQ(value_of("Oven", "Day"), "2");
    EXPECT_EQ(saved_of("Oven", "Day", PER_MODE_PERMANENT), "1.5");
}

TEST_F(OwnerStore, WithBytesThatAreNoValueKeepsTheProfilesValueAndSaysSo) {
    const std::string text = "QQQQQQQQ";
    prepare([&] {
        EXPECT_EQ(
            cfg_save_v2("Breakfast", "Title", "s", 9, text.c_str(), FALSE, PER_MODE_POWER_OFF),
            PER_OK);
    });
    // The file stays whole as a file; the text in it is no UTF-8 any more.
    const std::filesystem::path file = owner_.dir().path("state") / "values.db";
    std::string bytes = content_of(file);
    const std::size_t at = bytes.find(text);
    ASSERT_NE(at, std::string::npos);
    bytes[at] = '\xff';
    std::ofstream(file, std::ios::binary) << bytes;
    start();
    const std::string log = owner_.process().output() + errors();
    EXPECT_NE(log.find("saved value of Breakfast.Title not taken: "), std::string::npos) << log;
    join_as("heater");
    EXPECT_EQ(value_of("Breakfast", "Title"), "'none'");
    EXPECT_EQ(content_of(file).substr(at, 8), bytes.substr(at, 8));
}

TEST_F(OwnerStore, DoesNotSendAValueBeyondTheBound) {
    const std::vector<gint32> many(20000, 4);
    prepare([&] {
        EXPECT_EQ(cfg_save_v2("Oven", "Limits", "ai", 80000, many.data(), FALSE, PER_MODE_RESET),
                  PER_OK);
    });
    start();
    join_as("heater");
    EXPECT_EQ(saved_of("Oven", "Limits", PER_MODE_RESET),
              "code " + std::to_string(MOX_ERR_MESSAGE_TOO_BIG));
    EXPECT_EQ(value_of("Oven", "Limits").size(), 20000U * 3);  // "4, " each, in brackets
}

TEST_F(OwnerStore, IgnoresWhatTheProfileDoesNotKnow) {
    const gint32 number = 5;
    prepare([&] {
        EXPECT_EQ(cfg_save_v2("Fridge", "Day", "i", sizeof number, &number, FALSE, PER_MODE_RESET),
                  PER_OK);
        EXPECT_EQ(cfg_save_v2("Oven", "Weight", "i", sizeof number, &number, FALSE, PER_MODE_RESET),
                  PER_OK);
        EXPECT_EQ(cfg_save_v2("Oven", "Twin", "rp", 7, "Room.x", FALSE, PER_MODE_RESET), PER_OK);
    });
    start();
    EXPECT_EQ(errors(), "");
    join_as("heater");
    EXPECT_EQ(value_of("Oven", "Twin"), "'tank'");
}

TEST_F(OwnerStore, ThatIsDamagedIsKeptAsideAndTheOwnerGoesOn) {
    const gint32 number = 5;
    prepare([&] {
        EXPECT_EQ(cfg_save_v2("Oven", "Day", "i", 4, &number, FALSE, PER_MODE_PERMANENT), PER_OK);
    });
    const std::filesystem::path file = owner_.dir().path("state") / "values.db";
    const std::string garbage(8192, 'x');
    std::ofstream(file) << garbage;
    start();
    EXPECT_NE(errors().find("moxd: a damaged file of the store in " + owner_.state_dir()),
              std::string::npos)
        << errors();
    EXPECT_EQ(content_of(file.string() + ".damaged-1"), garbage);
    join_as("heater");
    EXPECT_EQ(value_of("Oven", "Day"), "2");
    EXPECT_EQ(
        write_with(moxhost_set_property, module_.get(), "Oven", "Day", g_variant_new_int32(6)), "");
    EXPECT_EQ(saved_of("Oven", "Day", PER_MODE_PERMANENT), "6");
}

TEST_F(OwnerStore, ThatCannotBeOpenedLeavesTheOwnerWithoutSaving) {
    std::ofstream(owner_.state_dir()) << "no directory";
    start_with_volatile_dir(owner_.state_dir());
    EXPECT_NE(errors().find("moxd: the store in " + owner_.state_dir() + " and " +
                            owner_.state_dir() + " cannot be opened: "),
              std::string::npos)
        << errors();
    EXPECT_NE(errors().find("nothing is saved or restored"), std::string::npos);
    join_as("heater");
    expect_refused(module_.get(), "Day", PER_ERROR_CFG_INIT_FAIL);
    HostError defaults;
    EXPECT_FALSE(moxhost_restore_defaults(module_.get(), defaults.out()));
    EXPECT_EQ(defaults.code(), MOXHOST_ERROR_FAILED) << defaults.text();
    EXPECT_EQ(content_of(owner_.state_dir()), "no directory");
}

TEST_F(OwnerStore, WithoutItsVolatileDirectorySaysSoAndKeepsTheLastingValues) {
    owner_.dir().write("file", "no directory");
    const std::string below = owner_.dir().path("file").string();
    start_with_volatile_dir(below);
    EXPECT_NE(errors().find("moxd: the store in " + below + " cannot be opened: "),
              std::string::npos)
        << errors();
    EXPECT_NE(errors().find("; reset values are neither saved nor restored"), std::string::npos);
    EXPECT_EQ(errors().find(owner_.state_dir()), std::string::npos) << errors();
    in_module(owner_, "heater", [](MoxHostModule* module) {
        expect_saved(module, "Day");
        expect_saved(module, "Now");
        expect_refused(module, "Night", PER_ERROR_FILE_OPEN_FAIL);
    });
    owner_.process().end(SIGKILL);
    start_with_volatile_dir(below);
    join_as("heater");
    EXPECT_EQ(value_of("Oven", "Day"), "6");
    EXPECT_EQ(value_of("Oven", "Now"), "6");
    EXPECT_EQ(value_of("Oven", "Night"), "1");
}

TEST_F(OwnerStore, WithoutItsLastingDirectorySaysSoAndKeepsTheResetValues) {
    std::ofstream(owner_.state_dir()) << "no directory";
    start();
    EXPECT_NE(errors().find("moxd: the store in " + owner_.state_dir() + " cannot be opened: "),
              std::string::npos)
        << errors();
    EXPECT_NE(errors().find("; power-off and permanent values and save states are neither saved"),
              std::string::npos);
    EXPECT_EQ(errors().find(owner_.run_dir()), std::string::npos) << errors();
    EXPECT_EQ((owner_.process().output() + errors()).find("not taken"), std::string::npos);
    in_module(owner_, "heater", [](MoxHostModule* module) {
        expect_saved(module, "Night");
        expect_refused(module, "Day", PER_ERROR_FILE_OPEN_FAIL);
    });
    owner_.process().end(SIGKILL);
    start();
    join_as("heater");
    EXPECT_EQ(value_of("Oven", "Night"), "6");
    EXPECT_EQ(value_of("Oven", "Day"), "2");
}

TEST_F(OwnerStore, OfAnotherProcessIsLeftAlone) {
    ASSERT_EQ(cfg_store_open(owner_.state_dir().c_str(), owner_.dir().path("v").c_str()), PER_OK);
    start();
    EXPECT_NE(errors().find("(" + std::to_string(PER_ERROR_FILE_LOCK_FAIL) + ")"),
              std::string::npos)
        << errors();
    cfg_store_close();
}

TEST_F(OwnerStore, LiesWhereTheEnvironmentSaysWithoutAnOption) {
    std::vector<std::string> command = this->command();
    const auto option = std::find(command.begin(), command.end(), "--state-dir");
    command.erase(option, option + 2);
    setenv("XDG_STATE_HOME", owner_.dir().path("home").c_str(), 1);
    ASSERT_TRUE(owner_.start_command(command)) << errors();
    EXPECT_EQ(owner_.stop(), 0);
    EXPECT_TRUE(std::filesystem::exists(owner_.dir().path("home") / "moxd" / "values.db"));
    setenv("MOX_STATE_DIR", owner_.dir().path("own").c_str(), 1);
    ASSERT_TRUE(owner_.start_command(command)) << errors();
    EXPECT_EQ(owner_.stop(), 0);
    EXPECT_TRUE(std::filesystem::exists(owner_.dir().path("own") / "values.db"));
}

}  // namespace
}  // namespace mox::test
