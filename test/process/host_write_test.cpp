// Writing from a module: values beyond their room, rights, and writes through an accessor.
#include <thread>

#include "host_write_model.hpp"

namespace mox::test {
namespace {

class ModuleWrite : public WriteTest {
protected:
    void SetUp() override {
        start();
        join_as("heater");
    }
};

TEST_F(ModuleWrite, OfALongerValueIsStoredByTheOwnerAndAnnounced) {
    EventLog log(module_.get());
    ASSERT_TRUE(moxhost_listen(module_.get(), "Stove", "Limits", nullptr));
    EXPECT_EQ(write("Oven", "Limits", numbers(4, 9)), MOX_OK);
    EXPECT_EQ(value_of("Oven", "Limits"), "[9, 9, 9, 9]");
    ASSERT_TRUE(log.wait_for(1));
    EXPECT_EQ(log.events()[0].value, "[9, 9, 9, 9]");
}

TEST_F(ModuleWrite, OfALongerValueMakesRoomForTheNextOnes) {
    EXPECT_EQ(write("Oven", "Limits", numbers(1000, 9)), MOX_OK);
    EXPECT_EQ(write("Oven", "Limits", numbers(3, 8)), MOX_OK);
    EXPECT_EQ(value_of("Oven", "Limits"), "[8, 8, 8]");
    EXPECT_EQ(write("Oven", "Label", g_variant_new_string("a much longer name")), MOX_OK);
    EXPECT_EQ(value_of("Oven", "Label"), "'a much longer name'");
}

TEST_F(ModuleWrite, OfALongerValueLeavesAFloatingValueFloating) {
    GVariant* const value = numbers(4, 9);
    EXPECT_EQ(lom_set_property_value(lom_get_object_handle("Oven"), "Limits", value,
                                     PER_MODE_NOSUPPORT, FALSE),
              MOX_OK);
    ASSERT_TRUE(g_variant_is_floating(value));
    EXPECT_EQ(text_of(value), "[9, 9, 9, 9]");
    g_variant_unref(value);
}

TEST_F(ModuleWrite, BeyondTheBoundIsRefusedAndChangesNothing) {
    EXPECT_EQ(write("Oven", "Limits", numbers(16385, 1)), MOX_ERR_MESSAGE_TOO_BIG);
    EXPECT_EQ(value_of("Oven", "Limits"), "[-5, 300]");
    EXPECT_EQ(write("Oven", "Limits", numbers(16384, 1)), MOX_OK);
}

TEST_F(ModuleWrite, ToAnObjectOfAnotherModuleIsRefused) {
    EXPECT_EQ(write("Tank", "Label", g_variant_new_string("a much longer name")),
              MOX_ERR_NOT_PERMITTED);
    EXPECT_EQ(value_of("Tank", "Label"), "'tank'");
}

TEST_F(ModuleWrite, DoesNotRunTheMainContextOfTheCaller) {
    bool has_run = false;
    const guint source = g_idle_add(
        [](gpointer flag) -> gboolean {
            *static_cast<bool*>(flag) = true;
            return G_SOURCE_CONTINUE;
        },
        &has_run);
    EXPECT_EQ(write("Oven", "Limits", numbers(4, 9)), MOX_OK);
    EXPECT_EQ(write("Oven", "Day", g_variant_new_int32(5), PER_MODE_PERMANENT), MOX_OK);
    EXPECT_FALSE(has_run);
    g_source_remove(source);
}

TEST_F(ModuleWrite, OfALongerValueFailsInTimeWhenTheOwnerIsStopped) {
    ASSERT_NE(lom_get_object_handle("Oven"), 0);
    owner_.process().signal(SIGSTOP);
    EXPECT_EQ(write("Oven", "Limits", numbers(4, 9)), MOX_ERR_INTERNAL);
    EXPECT_EQ(value_of("Oven", "Limits"), "[-5, 300]");
    owner_.process().signal(SIGCONT);
}

TEST_F(ModuleWrite, OfALongerValueFailsWhenTheOwnerIsKilledMeanwhile) {
    ASSERT_NE(lom_get_object_handle("Oven"), 0);
    owner_.process().signal(SIGSTOP);
    std::thread killer([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        owner_.process().signal(SIGKILL);
    });
    EXPECT_EQ(write("Oven", "Limits", numbers(4, 9)), MOX_ERR_INTERNAL);
    killer.join();
    EXPECT_EQ(value_of("Oven", "Limits"), "[-5, 300]");
}

TEST_F(ModuleWrite, WithoutAnOwnerStoresWhatFits) {
    ASSERT_NE(lom_get_object_handle("Oven"), 0);
    owner_.process().end(SIGKILL);
    EXPECT_EQ(write("Oven", "Day", g_variant_new_int32(5)), MOX_OK);
    EXPECT_EQ(value_of("Oven", "Day"), "5");
    EXPECT_EQ(write("Oven", "Limits", numbers(4, 9)), MOX_ERR_INTERNAL);
}

TEST_F(ModuleWrite, FindsNoObjectAfterTheModuleLeft) {
    const OBJ_HANDLE oven = lom_get_object_handle("Oven");
    ASSERT_NE(oven, 0);
    module_.reset();
    GVariant* const day = g_variant_ref_sink(g_variant_new_int32(5));
    EXPECT_EQ(lom_set_property_value(oven, "Day", day, PER_MODE_NOSUPPORT, FALSE),
              MOX_ERR_OBJECT_NOT_FOUND);
    g_variant_unref(day);
    EXPECT_EQ(lom_get_object_handle("Room"), 0);
}

class ModuleOverride : public ModuleWrite {
protected:
    static gint32 force(const char* object, const char* property, GVariant* value) {
        GVariant* const own = g_variant_ref_sink(value);
        const gint32 result = lom_override_property_value(lom_get_object_handle(object), property,
                                                          own, PROPERTY_OVERRIDE, nullptr);
        g_variant_unref(own);
        return result;
    }
};

TEST_F(ModuleOverride, OfALongerValueIsStoredForTheModuleThatMayWrite) {
    EXPECT_EQ(force("Oven", "Label", g_variant_new_string("a much longer name")), MOX_OK);
    EXPECT_EQ(value_of("Oven", "Label"), "'a much longer name'");
    EXPECT_EQ(write("Oven", "Label", g_variant_new_string("x")), MOX_ERR_OVERRIDDEN);
}

TEST_F(ModuleOverride, OfALongerValueIsRefusedToOthersAndAShorterOneIsNot) {
    EXPECT_EQ(force("Tank", "Label", g_variant_new_string("a much longer name")),
              MOX_ERR_NOT_PERMITTED);
    EXPECT_EQ(value_of("Tank", "Label"), "'tank'");
    EXPECT_EQ(force("Tank", "Label", g_variant_new_string("t")), MOX_OK);
    EXPECT_EQ(value_of("Tank", "Label"), "'t'");
}

// The status of a RemoteSet that a peer named "heater" sends by itself.
class RemoteSet : public WriteTest {
protected:
    void SetUp() override {
        start();
        peer_ = std::make_unique<RawPeer>(owner_);
        ASSERT_EQ(peer_->join("heater").rfind("(1, ", 0), 0U);
    }

    std::string set(const char* object, const char* property, GVariant* value) {
        return peer_->call("RemoteSet", g_variant_new("(ssv)", object, property, value));
    }

    std::unique_ptr<RawPeer> peer_;
};

TEST_F(RemoteSet, StoresAValueOfTheCallersClass) {
    EXPECT_EQ(set("Oven", "Limits", numbers(4, 9)), "(0,)");
}

TEST_F(RemoteSet, IsRefusedForObjectsOfOthers) {
    EXPECT_EQ(set("Tank", "Label", g_variant_new_string("x")), "(-2014,)");
}

TEST_F(RemoteSet, IsRefusedForUnknownNames) {
    EXPECT_EQ(set("Fridge", "Label", g_variant_new_string("x")), "(-2009,)");
    EXPECT_EQ(set("Oven", "Weight", g_variant_new_string("x")), "(-2010,)");
}

TEST_F(RemoteSet, IsRefusedForAValueOfAnotherType) {
    EXPECT_EQ(set("Oven", "Limits", g_variant_new_string("x")), "(-2012,)");
    // The first characters agree.
    EXPECT_EQ(set("Oven", "Limits", g_variant_new_strv(nullptr, 0)), "(-2012,)");
}

TEST_F(RemoteSet, DoesNotReplaceAReference) {
    EXPECT_EQ(set("Oven", "Twin", g_variant_new_string("Room.Label")), "(-2012,)");
}

TEST_F(RemoteSet, IsRefusedBeyondTheBound) {
    EXPECT_EQ(set("Oven", "Limits", numbers(16385, 1)), "(-2016,)");
    EXPECT_EQ(set("Oven", "Limits", numbers(16384, 1)), "(0,)");
}

TEST_F(RemoteSet, ComesAfterTheJoin) {
    RawPeer stranger(owner_);
    const std::string answer =
        stranger.call("RemoteSet", g_variant_new("(ssv)", "Oven", "Day", g_variant_new_int32(1)));
    EXPECT_NE(answer.find("RemoteSet before Join"), std::string::npos) << answer;
}

class ModuleApply : public ModuleWrite {
protected:
    std::string apply(const char* object, const char* property, GVariant* value) {
        return write_with(moxhost_apply_property, module_.get(), object, property, value);
    }
};

TEST_F(ModuleApply, WritesThroughTheAccessorStoresAnnouncesAndSaves) {
    EventLog log(module_.get());
    ASSERT_TRUE(moxhost_listen(module_.get(), "Stove", "Dial", nullptr));
    EXPECT_EQ(apply("Oven", "Dial", g_variant_new_int32(42)), "");
    EXPECT_EQ(content_of(owner_.dir().path("dial")), "42\n");
    EXPECT_EQ(value_of("Oven", "Dial"), "42");
    ASSERT_TRUE(log.wait_for(1));
    EXPECT_EQ(log.events()[0].value, "42");
    EXPECT_EQ(saved_of("Oven", "Dial", PER_MODE_PERMANENT), "42");
}

TEST_F(ModuleApply, IsAPlainWriteForAPropertyWithoutAnAccessor) {
    EXPECT_EQ(apply("Breakfast", "Title", g_variant_new_string("porridge and tea")), "");
    EXPECT_EQ(value_of("Breakfast", "Title"), "'porridge and tea'");
}

TEST_F(ModuleApply, DoesNotWriteThroughAnAccessorThatIsReadOnly) {
    EXPECT_EQ(apply("Oven", "Heat", g_variant_new_int32(42)), "");
    EXPECT_EQ(content_of(owner_.dir().path("chip")), "5\n");
}

TEST_F(ModuleApply, GivesTheCodeAndTheWordsOfAHardwareWriteThatFails) {
    std::filesystem::remove(owner_.dir().path("dial"));
    const std::string error = apply("Oven", "Dial", g_variant_new_int32(42));
    EXPECT_NE(error.find("property \"Oven.Dial\" written, but not in its hardware: code -2106 ("),
              std::string::npos)
        << error;
    EXPECT_EQ(value_of("Oven", "Dial"), "42");
}

TEST_F(ModuleApply, IsRefusedForObjectsOfOthersAlsoThroughAReference) {
    const std::string direct = apply("Tank", "Label", g_variant_new_string("x"));
    EXPECT_NE(direct.find("code -2014 ("), std::string::npos) << direct;
    const std::string by_reference = apply("Oven", "Twin", g_variant_new_string("x"));
    EXPECT_NE(by_reference.find("code -2014 ("), std::string::npos) << by_reference;
    EXPECT_EQ(value_of("Tank", "Label"), "'tank'");
}

TEST_F(ModuleApply, FollowsAReferenceToAnObjectOfTheCallers) {
    EXPECT_EQ(apply("Oven", "Own", g_variant_new_int32(8)), "");
    EXPECT_EQ(value_of("Oven", "Day"), "8");
    EXPECT_EQ(saved_of("Oven", "Day", PER_MODE_PERMANENT), "8");
}

TEST_F(ModuleApply, NamesWhatIsWrongWithItsArguments) {
    const std::string type = apply("Oven", "Dial", g_variant_new_string("x"));
    EXPECT_NE(type.find("code -2012 ("), std::string::npos) << type;
    const std::string property = apply("Oven", "Weight", g_variant_new_int32(1));
    EXPECT_NE(property.find("code -2010 ("), std::string::npos) << property;
    const std::string object = apply("Fridge", "Weight", g_variant_new_int32(1));
    EXPECT_NE(object.find("code -2009 ("), std::string::npos) << object;
    const std::string size = apply("Oven", "Limits", numbers(16385, 1));
    EXPECT_NE(size.find("code -2016 ("), std::string::npos) << size;
    EXPECT_EQ(apply("Oven", "Dial", nullptr), "there is no value to write");
    EXPECT_EQ(content_of(owner_.dir().path("dial")), "7\n");
}

TEST_F(ModuleApply, LeavesTheObjectTheModules) {
    EXPECT_EQ(apply("Breakfast", "Title", g_variant_new_string("tea")), "");
    EXPECT_EQ(write("Breakfast", "Title", g_variant_new_string("tea and toast")), MOX_OK);
    EXPECT_EQ(value_of("Breakfast", "Title"), "'tea and toast'");
}

TEST_F(ModuleApply, FailsInTimeWhenTheOwnerIsStopped) {
    owner_.process().signal(SIGSTOP);
    HostError error;
    EXPECT_FALSE(moxhost_apply_property(module_.get(), "Oven", "Dial", g_variant_new_int32(42),
                                        error.out()));
    EXPECT_EQ(error.code(), MOXHOST_ERROR_TIMEOUT) << error.text();
    owner_.process().signal(SIGCONT);
}

}  // namespace
}  // namespace mox::test
