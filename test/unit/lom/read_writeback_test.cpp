// What a live read leaves behind: a fresh value of a writable object is stored and announced once.
#include <gtest/gtest.h>

#include "value_fixture.hpp"

namespace mox::test {
namespace {

// Fan1.Speed: 1200 in memory, 1300 at its accessor, writable; queue 7 listens.
class WriteBack : public ValueFixture {
protected:
    void SetUp() override {
        ValueFixture::SetUp();
        add_fan("rw");
        listen("Fan", "Speed", 7);
    }

    static void add_fan(const std::string& mode) {
        add_object(
            {.name = "Fan1", .properties = {number<guint32>("Speed", "u", 1200, mode, "Tacho")}});
        set_writable("Fan1");
        set_hardware(1300);
    }

    static void set_hardware(guint32 value) { fake::driver_program_value("Tacho", value); }
    static SERIALISED_PROPERTY_S& speed() { return property_of("Fan1", "Speed"); }
};

TEST_F(WriteBack, StoresAFreshValue) {
    EXPECT_EQ(live_value("Fan1", "Speed"), "uint32 1300");
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1300");
}

TEST_F(WriteBack, MarksAFreshValueSynced) {
    live_value("Fan1", "Speed");
    EXPECT_EQ(speed().state.bit.synced, 1U);
}

TEST_F(WriteBack, AnnouncesAFreshValueOnce) {
    live_value("Fan1", "Speed");
    EXPECT_EQ(sent_events(), Texts{"7: Fan1.Speed = uint32 1300"});
}

TEST_F(WriteBack, AnnouncesNothingWhenTheSameValueIsReadAgain) {
    live_value("Fan1", "Speed");
    live_value("Fan1", "Speed");
    EXPECT_EQ(sent_events().size(), 1U);
}

TEST_F(WriteBack, AnnouncesEveryChange) {
    live_value("Fan1", "Speed");
    set_hardware(1400);
    live_value("Fan1", "Speed");
    EXPECT_EQ(sent_events(), (Texts{"7: Fan1.Speed = uint32 1300", "7: Fan1.Speed = uint32 1400"}));
}

TEST_F(WriteBack, OfAnEqualValueAnnouncesNothing) {
    set_hardware(1200);
    EXPECT_EQ(live_value("Fan1", "Speed"), "uint32 1200");
    EXPECT_EQ(sent_events(), Texts{});
    EXPECT_EQ(lom_get_property_change_cnt(handle_of("Fan1"), "Speed", TRUE), 0);
}

TEST_F(WriteBack, OfAnEqualValueLeavesAClearSyncedBit) {
    set_hardware(1200);
    live_value("Fan1", "Speed");
    EXPECT_EQ(speed().state.bit.synced, 0U);
}

TEST_F(WriteBack, OfAnEqualValueLeavesASetSyncedBit) {
    speed().state.bit.synced = 1;
    set_hardware(1200);
    live_value("Fan1", "Speed");
    EXPECT_EQ(speed().state.bit.synced, 1U);
}

TEST_F(WriteBack, ChangesNoOtherStateBit) {
    const guint32 before = speed().state.all;
    live_value("Fan1", "Speed");
    EXPECT_EQ(speed().state.all, before | 8U);
}

TEST_F(WriteBack, CountsTheEvent) {
    live_value("Fan1", "Speed");
    EXPECT_EQ(lom_get_property_change_cnt(handle_of("Fan1"), "Speed", TRUE), 1);
    EXPECT_EQ(lom_get_property_change_cnt(handle_of("Fan1"), "Speed", FALSE), 0);
}

TEST_F(WriteBack, NeverHappensToAReadOnlyObject) {
    lom_set_writable(handle_of("Fan1"), OBJECT_READ_ONLY);
    EXPECT_EQ(live_value("Fan1", "Speed"), "uint32 1300");
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1200");
    EXPECT_EQ(speed().state.bit.synced, 0U);
    EXPECT_EQ(sent_events(), Texts{});
}

TEST_F(WriteBack, NeverHappensToAPropertyThatIsNotSynchronous) {
    add_fan("r-");
    EXPECT_EQ(live_value("Fan1", "Speed"), "uint32 1300");
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1200");
    EXPECT_EQ(sent_events(), Texts{});
}

TEST_F(WriteBack, HappensToAReadablePropertyThatMayNotBeWritten) {
    add_fan("r");
    live_value("Fan1", "Speed");
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1300");
    EXPECT_EQ(sent_events().size(), 1U);
}

TEST_F(WriteBack, NeverFollowsAStoredRead) {
    stored_value("Fan1", "Speed");
    EXPECT_EQ(takes_of("Fan1"), 1U);
    EXPECT_EQ(sent_events(), Texts{});
}

TEST_F(WriteBack, NeverFollowsAReadThatFellBackToMemory) {
    fake::driver_fail_reads_of("Tacho", -2112);
    live_value("Fan1", "Speed");
    EXPECT_EQ(takes_of("Fan1"), 1U);
    EXPECT_EQ(speed().state.bit.synced, 0U);
    EXPECT_EQ(sent_events(), Texts{});
}

TEST_F(WriteBack, NeverFollowsAFailedRead) {
    fake::driver_fail_reads_of("Tacho", -2109);
    live_value("Fan1", "Speed");
    EXPECT_EQ(takes_of("Fan1"), 0U);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1200");
    EXPECT_EQ(sent_events(), Texts{});
}

TEST_F(WriteBack, TakesTheSemaphoreOnce) {
    live_value("Fan1", "Speed");
    EXPECT_EQ(takes_of("Fan1"), 1U);
    EXPECT_EQ(fake::osal::takes(), 1U);
}

TEST_F(WriteBack, TakesTheSemaphoreOnceForAnEqualValueToo) {
    set_hardware(1200);
    live_value("Fan1", "Speed");
    EXPECT_EQ(takes_of("Fan1"), 1U);
    EXPECT_EQ(fake::osal::held(), 0U);
}

TEST_F(WriteBack, HoldsNoSemaphoreWhenTheEventIsSent) {
    live_value("Fan1", "Speed");
    const auto sent = fake::osal::sent();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].semaphores_held, 0U);
}

TEST_F(WriteBack, FailsWithoutTheSemaphore) {
    fail_semaphore_of("Fan1");
    EXPECT_EQ(live_value("Fan1", "Speed"), "code -2015");
}

TEST_F(WriteBack, WithoutTheSemaphoreChangesNothing) {
    fake::osal::fail_take(1);
    live_value("Fan1", "Speed");
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1200");
    EXPECT_EQ(speed().state.bit.synced, 0U);
}

TEST_F(WriteBack, WithoutTheSemaphoreAnnouncesNothing) {
    fail_semaphore_of("Fan1");
    live_value("Fan1", "Speed");
    EXPECT_EQ(sent_events(), Texts{});
    EXPECT_EQ(entry_of("Fan1", "Speed").change_cnt, 0U);
}

TEST_F(WriteBack, WithoutTheSemaphoreLeavesWhatWasReadInThePackage) {
    fail_semaphore_of("Fan1");
    Package package;
    package.code = lom_get_property_data(handle_of("Fan1"), "Speed", TRUE, &package.tlv, FALSE);
    EXPECT_EQ(package.code, -2015);
    EXPECT_EQ(package.bytes(), bytes_of<guint32>(1300));
}

TEST_F(WriteBack, WithoutTheSemaphoreGivesACallersBufferNothing) {
    fail_semaphore_of("Fan1");
    guchar buffer[4] = {9, 9, 9, 9};
    EXPECT_EQ(lom_get_property_value_v2(handle_of("Fan1"), "Speed", TRUE, 4, buffer, FALSE), -2015);
    EXPECT_EQ(buffer[0], 9);
}

TEST_F(WriteBack, SucceedsWhenTheEventCannotBeSent) {
    fake::osal::fail_sends_to(7, -1234);
    std::string value;
    const Texts messages = messages_of([&] { value = live_value("Fan1", "Speed"); });
    EXPECT_EQ(value, "uint32 1300");
    EXPECT_EQ(messages, Texts{"ERR Fan1.Speed prop event notify failed: -1234!\r\n "});
}

TEST_F(WriteBack, IsAnnouncedUnderEveryNameOfTheObject) {
    add_object({.name = "Alias", .class_name = "Seen"});
    ASSERT_EQ(lom_set_reference("Alias", "Fan1"), 0);
    listen("Seen", "Speed", 8);
    live_value("Fan1", "Speed");
    EXPECT_EQ(sent_events(),
              (Texts{"7: Fan1.Speed = uint32 1300", "8: Alias.Speed = uint32 1300"}));
}

TEST_F(WriteBack, ComparesAndStoresTheBytesOfTheStoredSizeOnly) {
    speed().size = 2;
    set_hardware(1200U | 0x00990000U);
    live_value("Fan1", "Speed");
    EXPECT_EQ(sent_events(), Texts{});
    set_hardware(1300U | 0x00990000U);
    live_value("Fan1", "Speed");
    EXPECT_EQ(speed().size, 2U);
    speed().size = 4;
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1300");
}

TEST_F(WriteBack, NoticesAChangeInTheLastByte) {
    set_hardware(1200U | 0x80000000U);
    live_value("Fan1", "Speed");
    EXPECT_EQ(sent_events().size(), 1U);
}

// A scalar of 12 bytes: the record holds eight, the next record follows at once.
class OversizedWriteBack : public ValueFixture {
protected:
    void SetUp() override {
        ValueFixture::SetUp();
        add_object({.name = "Fan1",
                    .properties = {{"Wide", "d", std::vector<guint8>(12, 1), "rw", "Adc"},
                                   number<guint32>("Speed", "u", 1200)}});
        set_writable("Fan1");
        listen("Fan", "Wide", 7);
        fake::driver_program_bytes("Adc", {8, 7, 6, 5, 4, 3, 2, 1});
    }
};

TEST_F(OversizedWriteBack, StoresWhatFitsAndNothingBehindIt) {
    messages_of([] { live_value("Fan1", "Wide"); });
    const SERIALISED_PROPERTY_S& wide = property_of("Fan1", "Wide");
    EXPECT_EQ(std::vector<guint8>(wide.data_hold, wide.data_hold + 8),
              (std::vector<guint8>{8, 7, 6, 5, 4, 3, 2, 1}));
    EXPECT_STREQ((&wide)[1].name, "Speed");
}

TEST_F(OversizedWriteBack, KeepsTheSizeOfTheProperty) {
    messages_of([] { live_value("Fan1", "Wide"); });
    EXPECT_EQ(property_of("Fan1", "Wide").size, 12U);
}

TEST_F(OversizedWriteBack, LogsTheCopyThatFailed) {
    const Texts messages = without_numbers(messages_of([] { live_value("Fan1", "Wide"); }));
    EXPECT_EQ(messages, (Texts{"LOG [lom][#]: memmove_s failed ret(#).\n",
                               "LOG [lom][#]: memmove_s failed ret(#). \n"}));
}

TEST_F(OversizedWriteBack, AnnouncesNothingWhenTheSameValueIsReadAgain) {
    messages_of([] { live_value("Fan1", "Wide"); });
    messages_of([] { live_value("Fan1", "Wide"); });
    EXPECT_EQ(fake::osal::sent().size(), 1U);
}

}  // namespace
}  // namespace mox::test
