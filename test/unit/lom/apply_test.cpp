// A write that is passed on to the hardware behind the property.
#include <gtest/gtest.h>
#include <lom/hardware.h>

#include "write_fixture.hpp"

namespace mox::test {
namespace {

class Apply : public WriteFixture {
protected:
    void SetUp() override {
        WriteFixture::SetUp();
        add_pump("rw");
    }

    static void add_pump(const std::string& mode) {
        add_object({.name = "Pump",
                    .properties = {number<guint32>("Speed", "u", 0, mode, "Pwm"),
                                   number<guint32>("Limit", "u", 0, mode),
                                   text("Label", "left", mode, "Display")}});
        set_writable("Pump");
    }

    static gint32 apply(const std::string& property, gint32 apply_mode,
                        GVariant* floating = speed(0x01020304),
                        PER_MODE_E per_mode = PER_MODE_NOSUPPORT) {
        const Value value = owned(floating);
        return lom_apply_property_value(handle_of("Pump"), property.c_str(), value.get(), per_mode,
                                        static_cast<USER_APPLY_MODE_STATE>(apply_mode), FALSE);
    }

    // The hardware writes of this test: "accessor at offset: bytes".
    static Texts writes() {
        Texts texts;
        for (const auto& write : fake::driver_writes()) {
            std::string text = write.accessor + " at " + std::to_string(write.offset) + ":";
            for (const guint8 byte : write.bytes) text += " " + std::to_string(byte);
            texts.push_back(text);
        }
        return texts;
    }
};

TEST_F(Apply, WritesTheWholeValueToTheHardware) {
    EXPECT_EQ(apply("Speed", APPLY_W_MODE), 0);
    EXPECT_EQ(writes(), Texts{"Pwm at 0: 4 3 2 1"});
    EXPECT_EQ(stored_value("Pump", "Speed"), "uint32 16909060");
}

TEST_F(Apply, WritesTextWithItsTerminator) {
    EXPECT_EQ(apply("Label", APPLY_W_MODE, label("ab")), 0);
    EXPECT_EQ(writes(), Texts{"Display at 0: 97 98 0"});
}

TEST_F(Apply, GivesTheHardwareTheBytesThatAreStored) {
    const Value value = untrusted("s", {'a', 'b', 'c'});
    EXPECT_EQ(lom_apply_property_value(handle_of("Pump"), "Label", value.get(), PER_MODE_NOSUPPORT,
                                       APPLY_W_MODE, FALSE),
              0);
    EXPECT_EQ(stored_bytes(property_of("Pump", "Label")), std::vector<guint8>{0});
    EXPECT_EQ(writes(), Texts{"Display at 0: 0"});
}

TEST_F(Apply, IsAnnouncedAndSavedAsAWriteIs) {
    EXPECT_EQ(apply("Speed", APPLY_W_MODE, speed(1), PER_MODE_RESET), 0);
    EXPECT_EQ(sent_events(), Texts{"7: Pump.Speed = uint32 1"});
    EXPECT_EQ(fake::persist_texts(), Texts{"save Pump.Speed u:01000000 mode 1"});
}

TEST_F(Apply, HandsStaticOn) {
    const Value value = owned(speed(1));
    lom_apply_property_value(handle_of("Pump"), "Speed", value.get(), PER_MODE_RESET, APPLY_R_MODE,
                             TRUE);
    EXPECT_EQ(state_of("Pump", "Speed"), "static synced");
}

TEST_F(Apply, OfAnEqualValueStillReachesTheHardware) {
    apply("Speed", APPLY_W_MODE);
    EXPECT_EQ(apply("Speed", APPLY_W_MODE), 0);
    EXPECT_EQ(writes().size(), 2U);
}

TEST_F(Apply, ForReadingNeverReachesTheHardware) {
    EXPECT_EQ(apply("Speed", APPLY_R_MODE), 0);
    EXPECT_EQ(writes(), Texts{});
    EXPECT_EQ(stored_value("Pump", "Speed"), "uint32 16909060");
}

TEST_F(Apply, InAnyOtherModeNeverReachesTheHardware) {
    for (const gint32 mode : {0, 3, 5, 6, 7}) EXPECT_EQ(apply("Speed", mode, speed(1)), 0);
    EXPECT_EQ(writes(), Texts{});
}

TEST_F(Apply, ByItselfWritesToAnAccessor) {
    EXPECT_EQ(apply("Speed", APPLY_AUTO_MODE), 0);
    EXPECT_EQ(writes(), Texts{"Pwm at 0: 4 3 2 1"});
}

TEST_F(Apply, ByItselfIsContentWithoutAnAccessor) {
    EXPECT_EQ(apply("Limit", APPLY_AUTO_MODE), 0);
    EXPECT_EQ(stored_value("Pump", "Limit"), "uint32 16909060");
}

TEST_F(Apply, ForWritingNeedsAnAccessor) {
    EXPECT_EQ(apply("Limit", APPLY_W_MODE), -2011);
    EXPECT_EQ(stored_value("Pump", "Limit"), "uint32 16909060");
}

TEST_F(Apply, ToHardwareThatMayNotBeWrittenIsAPlainWrite) {
    add_pump("r");
    EXPECT_EQ(apply("Speed", APPLY_W_MODE), 0);
    EXPECT_EQ(apply("Speed", APPLY_AUTO_MODE), 0);
    EXPECT_EQ(apply("Limit", APPLY_W_MODE), 0);
    EXPECT_EQ(writes(), Texts{});
    EXPECT_EQ(stored_value("Pump", "Speed"), "uint32 16909060");
}

TEST_F(Apply, GivesTheCodeOfTheHardware) {
    fake::driver_fail_writes_of("Pwm", -2110);
    EXPECT_EQ(apply("Speed", APPLY_W_MODE, speed(1), PER_MODE_RESET), -2110);
    EXPECT_EQ(stored_value("Pump", "Speed"), "uint32 1");
    EXPECT_EQ(fake::persist_texts().size(), 1U);
}

TEST_F(Apply, GivesTheCodeOfTheWriteAtOnce) {
    property_of("Pump", "Speed").state.bit.override = 1;
    EXPECT_EQ(apply("Speed", APPLY_W_MODE), -2019);
    EXPECT_EQ(writes(), Texts{});
}

TEST_F(Apply, OfAValueThatWasNotSavedNeverReachesTheHardware) {
    fake::persist_answer(fake::PersistAction::save, PER_ERROR_FILE_WRITE_FAIL);
    EXPECT_EQ(apply("Speed", APPLY_W_MODE, speed(1), PER_MODE_RESET), -4999984);
    EXPECT_EQ(writes(), Texts{});
}

TEST_F(Apply, GivesTheCodeOfANewItemAtOnce) {
    fake::persist_answer(fake::PersistAction::save, PER_NEW_ITEM);
    EXPECT_EQ(apply("Speed", APPLY_W_MODE, speed(1), PER_MODE_RESET), 1);
    EXPECT_EQ(writes(), Texts{});
}

TEST_F(Apply, GivesTheCodesOfTheWrite) {
    const Value value = owned(speed(1));
    const auto apply_value = [](OBJ_HANDLE object, const gchar* property, GVariant* given) {
        return lom_apply_property_value(object, property, given, PER_MODE_NOSUPPORT, APPLY_W_MODE,
                                        FALSE);
    };
    EXPECT_EQ(apply_value(0, "Speed", value.get()), -2009);
    EXPECT_EQ(apply_value(handle_of("Fan9"), "Speed", value.get()), -2009);
    EXPECT_EQ(apply_value(handle_of("Pump"), nullptr, value.get()), -2010);
    EXPECT_EQ(apply_value(handle_of("Pump"), "Colour", value.get()), -2010);
    EXPECT_EQ(apply_value(handle_of("Pump"), "Speed", nullptr), -2001);
    EXPECT_EQ(apply("Speed", APPLY_W_MODE, label("x")), -2012);
    EXPECT_EQ(writes(), Texts{});
}

TEST_F(Apply, ToAnObjectThatIsGoneByThenFindsNoObject) {
    const RemoteSet remote(0, [] { record_of("Pump")->status = OBJECT_MARK_DEL; });
    EXPECT_EQ(apply("Label", APPLY_W_MODE, label("longer")), -2009);
    EXPECT_EQ(writes(), Texts{});
}

TEST_F(Apply, ToAPropertyThatIsGoneByThenFindsNoProperty) {
    const RemoteSet remote(0,
                           [] { g_hash_table_remove(record_of("Pump")->property_hash, "Label"); });
    EXPECT_EQ(apply("Label", APPLY_R_MODE, label("longer")), -2010);
}

TEST_F(Apply, ToAPropertyWhoseRecordIsGoneByThenIsAnInternalFailure) {
    const RemoteSet remote(0, [] { entry_of("Pump", "Label").property_ptr = nullptr; });
    EXPECT_EQ(apply("Label", APPLY_R_MODE, label("longer")), -2000);
}

TEST_F(Apply, BeyondTheRoomWritesTheWholeValueToTheHardware) {
    EXPECT_EQ(apply("Label", APPLY_W_MODE, label("lefty")), 0);
    EXPECT_EQ(writes(), Texts{"Display at 0: 108 101 102 116 121 0"});
    EXPECT_EQ(stored_value("Pump", "Label"), "'left'");
}

TEST_F(Apply, OfAReferenceWritesTheTargetsValueButTheReferencesOwnHardware) {
    add_object({.name = "View",
                .properties = {{"Twin", std::string("s\0\0p", 4), bytes_of_text("Pump.Speed"), "rw",
                                "Mirror"}}});
    set_writable("View");
    const Value value = owned(speed(1));
    EXPECT_EQ(lom_apply_property_value(handle_of("View"), "Twin", value.get(), PER_MODE_NOSUPPORT,
                                       APPLY_AUTO_MODE, FALSE),
              0);
    EXPECT_EQ(stored_value("Pump", "Speed"), "uint32 1");
    EXPECT_EQ(writes(), Texts{"Mirror at 0: 1 0 0 0"});
}

TEST_F(Apply, LeavesAFloatingValueFloating) {
    GVariant* const value = speed(1);
    lom_apply_property_value(handle_of("Pump"), "Speed", value, PER_MODE_RESET, APPLY_W_MODE,
                             FALSE);
    EXPECT_TRUE(g_variant_is_floating(value));
    g_variant_unref(value);
}

}  // namespace
}  // namespace mox::test
