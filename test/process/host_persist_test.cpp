// What is saved: which modes outlive what, who may save, and restoring the defaults.
#include <moxplat/persist_store.h>

#include "host_write_model.hpp"

namespace mox::test {
namespace {

// Whether a property is marked as saved statically.
bool is_static(const char* object, const char* property) {
    guint32 size = 0;
    gpointer copy = nullptr;
    bool is_marked = false;
    EXPECT_NE(lom_get_object_handle(object), 0);
    EXPECT_EQ(lom_copy_object(object, &size, &copy, 0, FALSE), MOX_OK);
    const auto* const record = static_cast<const OBJECT_HEAD_S*>(copy);
    for (const SERIALISED_PROPERTY_S* at = record->property_entry; at != nullptr;
         at = at->next_ptr) {
        if (std::strcmp(at->name, property) == 0) {
            is_marked = at->state.bit.static_saved != 0;
        }
    }
    g_free(copy);
    return is_marked;
}

class OwnerRestart : public WriteTest {
protected:
    std::string set(MoxHostModule* module, const char* object, const char* property,
                    GVariant* value) {
        return write_with(moxhost_set_property, module, object, property, value);
    }

    // A first life of the owner, in which a heater does something; it is killed, and started again.
    void live_and_restart(const std::function<void(MoxHostModule*)>& body) {
        start();
        in_module(owner_, "heater", body);
        owner_.process().end(SIGKILL);
        start();
        join_as("heater");
    }
};

TEST_F(OwnerRestart, AfterAKillRestoresTheValuesOfAllThreeModes) {
    live_and_restart([&](MoxHostModule* module) {
        EXPECT_EQ(set(module, "Oven", "Night", g_variant_new_int32(11)), "");
        EXPECT_EQ(set(module, "Oven", "Day", g_variant_new_int32(12)), "");
        EXPECT_EQ(set(module, "Oven", "Now", g_variant_new_int32(13)), "");
        EXPECT_EQ(set(module, "Oven", "Limits", numbers(5, 6)), "");
        EXPECT_EQ(set(module, "Breakfast", "d:Count", g_variant_new_int32(3)), "");
    });
    EXPECT_EQ(value_of("Oven", "Night"), "11");
    EXPECT_EQ(value_of("Oven", "Day"), "12");
    EXPECT_EQ(value_of("Oven", "Now"), "13");
    EXPECT_EQ(value_of("Oven", "Limits"), "[6, 6, 6, 6, 6]");
    EXPECT_EQ(value_of("Breakfast", "d:Count"), "3");
}

TEST_F(OwnerRestart, DoesNotRestoreWhatIsNotMeantToBeSaved) {
    live_and_restart([&](MoxHostModule* module) {
        EXPECT_EQ(set(module, "Breakfast", "Steps", numbers(2, 2)), "");
    });
    EXPECT_EQ(value_of("Breakfast", "Steps"), "[1]");
}

TEST_F(OwnerRestart, RestoresAValueBehindAnAccessorUntilItIsReadAgain) {
    start();
    in_module(owner_, "heater", [&](MoxHostModule* module) {
        EXPECT_EQ(set(module, "Oven", "Heat", g_variant_new_int32(99)), "");
    });
    EXPECT_EQ(owner_.stop(), 0);
    std::filesystem::remove(owner_.dir().path("chip"));
    start();
    join_as("heater");
    EXPECT_EQ(value_of("Oven", "Heat"), "99");
    owner_.set_level(5);
    ASSERT_TRUE(moxhost_refresh(module_.get(), nullptr));
    EXPECT_EQ(value_of("Oven", "Heat"), "5");
}

TEST_F(OwnerRestart, RestoresTheMarkOfWhatIsSavedStatically) {
    live_and_restart([](MoxHostModule*) {
        EXPECT_EQ(lom_set_property_save_type(lom_get_object_handle("Oven"), "Day", TRUE), MOX_OK);
        EXPECT_EQ(lom_set_property_save_type(lom_get_object_handle("Oven"), "Now", TRUE), MOX_OK);
        EXPECT_EQ(lom_set_property_save_type(lom_get_object_handle("Oven"), "Now", FALSE), MOX_OK);
        EXPECT_EQ(lom_set_property_save_type(lom_get_object_handle("Breakfast"), "d:Count", TRUE),
                  MOX_OK);
    });
    EXPECT_TRUE(is_static("Oven", "Day"));
    EXPECT_TRUE(is_static("Breakfast", "d:Count"));
    EXPECT_FALSE(is_static("Oven", "Now"));
}

TEST_F(OwnerRestart, KeepsTheLastOfSeveralModes) {
    live_and_restart([](MoxHostModule*) {
        EXPECT_EQ(write("Oven", "Day", g_variant_new_int32(1), PER_MODE_PERMANENT), MOX_OK);
        EXPECT_EQ(write("Oven", "Day", g_variant_new_int32(9), PER_MODE_RESET), MOX_OK);
    });
    EXPECT_EQ(value_of("Oven", "Day"), "9");
}

TEST_F(OwnerRestart, WithoutTheVolatileDirectoryForgetsTheResetValuesOnly) {
    start();
    in_module(owner_, "heater", [&](MoxHostModule* module) {
        EXPECT_EQ(set(module, "Oven", "Night", g_variant_new_int32(11)), "");
        EXPECT_EQ(set(module, "Oven", "Now", g_variant_new_int32(13)), "");
    });
    owner_.process().end(SIGKILL);
    std::filesystem::remove_all(owner_.run_dir());
    start();
    join_as("heater");
    EXPECT_EQ(value_of("Oven", "Night"), "1");
    EXPECT_EQ(value_of("Oven", "Now"), "13");
}

TEST_F(OwnerRestart, AfterTheDefaultsWereRestoredHasThePermanentValuesOnly) {
    live_and_restart([&](MoxHostModule* module) {
        EXPECT_EQ(set(module, "Oven", "Night", g_variant_new_int32(11)), "");
        EXPECT_EQ(set(module, "Oven", "Day", g_variant_new_int32(12)), "");
        EXPECT_EQ(set(module, "Oven", "Now", g_variant_new_int32(13)), "");
        EXPECT_TRUE(moxhost_restore_defaults(module, nullptr));
    });
    EXPECT_EQ(value_of("Oven", "Night"), "1");
    EXPECT_EQ(value_of("Oven", "Day"), "12");
    EXPECT_EQ(value_of("Oven", "Now"), "3");
}

class RestoredDefaults : public OwnerRestart {
protected:
    void SetUp() override {
        start();
        join_as("heater");
    }

    void restore() {
        HostError error;
        EXPECT_TRUE(moxhost_restore_defaults(module_.get(), error.out())) << error.text();
    }
};

TEST_F(RestoredDefaults, AreThereAtOnceAndAnnounced) {
    EXPECT_EQ(set(module_.get(), "Oven", "Night", g_variant_new_int32(11)), "");
    EXPECT_EQ(set(module_.get(), "Oven", "Day", g_variant_new_int32(12)), "");
    EXPECT_EQ(set(module_.get(), "Breakfast", "Title", g_variant_new_string("tea and toast")), "");
    EventLog log(module_.get());
    for (const char* const property : {"Night", "Day"}) {
        ASSERT_TRUE(moxhost_listen(module_.get(), "Stove", property, nullptr));
    }
    restore();
    EXPECT_EQ(value_of("Oven", "Night"), "1");
    EXPECT_EQ(value_of("Oven", "Day"), "12");
    EXPECT_EQ(value_of("Breakfast", "Title"), "'none'");
    ASSERT_TRUE(log.wait_for(1));
    EXPECT_EQ(log.events()[0].name, "Oven.Night");
    EXPECT_EQ(log.events()[0].value, "1");
    EXPECT_EQ(moxhost_events_sent(module_.get(), nullptr), 1);
}

TEST_F(RestoredDefaults, AreThePermanentValuesWhereThereAreSome) {
    EXPECT_EQ(write("Oven", "Day", g_variant_new_int32(12), PER_MODE_PERMANENT), MOX_OK);
    EXPECT_EQ(write("Oven", "Day", g_variant_new_int32(13), PER_MODE_POWER_OFF), MOX_OK);
    restore();
    EXPECT_EQ(value_of("Oven", "Day"), "12");
}

TEST_F(RestoredDefaults, AreSavedAgainWhenTheyAreWrittenAgain) {
    EXPECT_EQ(set(module_.get(), "Oven", "Night", g_variant_new_int32(11)), "");
    restore();
    EXPECT_EQ(saved_of("Oven", "Night", PER_MODE_RESET),
              "code " + std::to_string(PER_ERROR_CFG_ITEM_NOT_INITED));
    EXPECT_EQ(set(module_.get(), "Oven", "Night", g_variant_new_int32(1)), "");
    EXPECT_EQ(saved_of("Oven", "Night", PER_MODE_RESET), "1");
}

TEST_F(RestoredDefaults, DoNotEndAnOverride) {
    EXPECT_EQ(set(module_.get(), "Oven", "Night", g_variant_new_int32(11)), "");
    GVariant* const forced = g_variant_ref_sink(g_variant_new_int32(50));
    EXPECT_EQ(lom_override_property_value(lom_get_object_handle("Oven"), "Night", forced,
                                          PROPERTY_OVERRIDE, nullptr),
              MOX_OK);
    g_variant_unref(forced);
    restore();
    EXPECT_EQ(value_of("Oven", "Night"), "50");
}

TEST_F(RestoredDefaults, TakeTheMarksOfWhatIsNoLongerSaved) {
    EXPECT_EQ(write("Oven", "Night", g_variant_new_int32(4), PER_MODE_RESET, TRUE), MOX_OK);
    EXPECT_EQ(write("Oven", "Day", g_variant_new_int32(4), PER_MODE_PERMANENT, TRUE), MOX_OK);
    EXPECT_TRUE(is_static("Oven", "Night"));
    restore();
    EXPECT_FALSE(is_static("Oven", "Night"));
    EXPECT_TRUE(is_static("Oven", "Day"));
}

class ModuleSave : public WriteTest {
protected:
    void SetUp() override {
        start();
        join_as("heater");
    }

    static gint32 save(const char* object, const char* property, GVariant* value,
                       gboolean is_remote) {
        GVariant* const own = g_variant_ref_sink(value);
        const gint32 result = lom_save_property_value(lom_get_object_handle(object), property, own,
                                                      PER_MODE_PERMANENT, is_remote, FALSE);
        g_variant_unref(own);
        return result;
    }

    static std::string is_saved(const char* property, PER_MODE_E mode) {
        gboolean saved = FALSE;
        const gint32 result = lom_is_property_value_saved(lom_get_object_handle("Oven"), property,
                                                          mode, FALSE, &saved);
        return result != 0 ? "code " + std::to_string(result) : saved != FALSE ? "yes" : "no";
    }

    static std::string code(gint32 number) { return "code " + std::to_string(number); }
};

TEST_F(ModuleSave, EndsInTheOwnersStoreByBothWays) {
    for (const gboolean is_remote : {0, 1}) {
        EXPECT_EQ(save("Oven", "Limits", numbers(2, is_remote), is_remote), PER_OK);
        const std::string expected = is_remote == FALSE ? "[0, 0]" : "[1, 1]";
        EXPECT_EQ(saved_of("Oven", "Limits", PER_MODE_PERMANENT, FALSE), expected);
        EXPECT_EQ(saved_of("Oven", "Limits", PER_MODE_PERMANENT, TRUE), expected);
    }
    EXPECT_EQ(is_saved("Limits", PER_MODE_PERMANENT), "yes");
    EXPECT_EQ(is_saved("Limits", PER_MODE_RESET), "no");
    EXPECT_EQ(value_of("Oven", "Limits"), "[-5, 300]");
}

TEST_F(ModuleSave, GivesTheStoresCodesUnchanged) {
    for (const gboolean is_remote : {0, 1}) {
        EXPECT_EQ(saved_of("Oven", "Day", PER_MODE_PERMANENT, is_remote),
                  code(PER_ERROR_CFG_ITEM_NOT_INITED));
        EXPECT_EQ(lom_save_property_value(lom_get_object_handle("Oven"), "Day", nullptr,
                                          PER_MODE_BUTT, is_remote, FALSE),
                  PER_ERROR_PARA_6_INVALID);
    }
}

TEST_F(ModuleSave, OfAnEmptyArrayIsReadBackAsNoValue) {
    EXPECT_EQ(save("Oven", "Limits", numbers(0, 0), TRUE), PER_OK);
    EXPECT_EQ(is_saved("Limits", PER_MODE_PERMANENT), "yes");
    EXPECT_EQ(saved_of("Oven", "Limits", PER_MODE_PERMANENT, TRUE), code(MOX_ERR_INTERNAL));
}

TEST_F(ModuleSave, BeyondTheBoundIsRefused) {
    EXPECT_EQ(save("Oven", "Limits", numbers(16385, 1), TRUE), MOX_ERR_MESSAGE_TOO_BIG);
    EXPECT_EQ(save("Oven", "Limits", numbers(16385, 1), FALSE), MOX_ERR_MESSAGE_TOO_BIG);
    EXPECT_EQ(save("Oven", "Limits", numbers(16384, 1), FALSE), PER_OK);
}

TEST_F(ModuleSave, FailsInTimeWhenTheOwnerIsStopped) {
    ASSERT_NE(lom_get_object_handle("Oven"), 0);
    owner_.process().signal(SIGSTOP);
    EXPECT_EQ(save("Oven", "Day", g_variant_new_int32(1), FALSE), MOX_ERR_INTERNAL);
    owner_.process().signal(SIGCONT);
}

TEST_F(ModuleSave, FailsWhenTheOwnerIsGoneButTheValueIsStored) {
    ASSERT_NE(lom_get_object_handle("Oven"), 0);
    owner_.process().end(SIGKILL);
    EXPECT_EQ(write("Oven", "Day", g_variant_new_int32(5), PER_MODE_PERMANENT), MOX_ERR_INTERNAL);
    EXPECT_EQ(value_of("Oven", "Day"), "5");
    EXPECT_EQ(saved_of("Oven", "Day", PER_MODE_PERMANENT, TRUE), code(MOX_ERR_INTERNAL));
    EXPECT_EQ(is_saved("Day", PER_MODE_PERMANENT), code(MOX_ERR_INTERNAL));
    EXPECT_EQ(lom_set_property_save_type(lom_get_object_handle("Oven"), "Day", TRUE),
              MOX_ERR_INTERNAL);
}

TEST_F(ModuleSave, FindsNoObjectAndNoStoreAfterTheModuleLeft) {
    const OBJ_HANDLE oven = lom_get_object_handle("Oven");
    ASSERT_NE(oven, 0);
    module_.reset();
    EXPECT_EQ(lom_save_property_value(oven, "Day", nullptr, PER_MODE_PERMANENT, FALSE, FALSE),
              MOX_ERR_OBJECT_NOT_FOUND);
    const gint32 day = 5;
    EXPECT_EQ(cfg_save_v2("Oven", "Day", "i", sizeof day, &day, FALSE, PER_MODE_PERMANENT),
              PER_ERROR_CFG_INIT_FAIL);
}

class PersistModes : public ModuleSave {
protected:
    int mode_of(const char* object, const char* property) {
        PER_MODE_E mode = PER_MODE_BUTT;
        HostError error;
        EXPECT_TRUE(moxhost_persist_mode(module_.get(), object, property, &mode, error.out()))
            << error.text();
        return mode;
    }
};

TEST_F(PersistModes, AreTheProfiles) {
    EXPECT_EQ(mode_of("Oven", "Night"), PER_MODE_RESET);
    EXPECT_EQ(mode_of("Oven", "Day"), PER_MODE_PERMANENT);
    EXPECT_EQ(mode_of("Oven", "Now"), PER_MODE_POWER_OFF);
    EXPECT_EQ(mode_of("Oven", "Label"), PER_MODE_NOSUPPORT);
}

TEST_F(PersistModes, OfAReferenceIsItsTargets) {
    EXPECT_EQ(mode_of("Oven", "Twin"), PER_MODE_PERMANENT);
}

TEST_F(PersistModes, OfAnUnknownPropertyIsNotFound) {
    for (const char* const property : {"Weight", ""}) {
        PER_MODE_E mode = PER_MODE_RESET;
        HostError error;
        EXPECT_FALSE(moxhost_persist_mode(module_.get(), "Oven", property, &mode, error.out()));
        EXPECT_EQ(error.code(), MOXHOST_ERROR_NOT_FOUND) << error.text();
        EXPECT_EQ(mode, PER_MODE_RESET);
    }
}

}  // namespace
}  // namespace mox::test
