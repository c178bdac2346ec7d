// Where a live read finds its value: the property's accessor when it may be asked, else memory.
#include <gtest/gtest.h>

#include "value_fixture.hpp"

namespace mox::test {
namespace {

// Fan1.Speed: 1200 in memory, 1300 at the accessor "Tacho".
class ReadSource : public ValueFixture {
protected:
    void SetUp() override {
        ValueFixture::SetUp();
        add_fan("rw");
    }

    static void add_fan(const std::string& mode) {
        add_object({.name = "Fan1",
                    .properties = {number<guint32>("Speed", "u", 1200, mode, "Tacho"),
                                   number<guint32>("Limit", "u", 5000)}});
        fake::driver_program_value<guint32>("Tacho", 1300);
    }

    static SERIALISED_PROPERTY_S& speed() { return property_of("Fan1", "Speed"); }
};

TEST_F(ReadSource, OfAStoredReadIsMemory) {
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1200");
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(ReadSource, OfALiveReadIsTheAccessor) {
    EXPECT_EQ(live_value("Fan1", "Speed"), "uint32 1300");
    const auto reads = fake::driver_reads();
    ASSERT_EQ(reads.size(), 1U);
    EXPECT_EQ(reads[0].accessor, "Tacho");
}

TEST_F(ReadSource, OfALiveReadIsAskedForTheWholeValue) {
    live_value("Fan1", "Speed");
    const auto reads = fake::driver_reads();
    ASSERT_EQ(reads.size(), 1U);
    EXPECT_EQ(reads[0].offset, 0);
    EXPECT_EQ(reads[0].length, 0U);
}

TEST_F(ReadSource, OfALiveReadIsAskedWithoutASemaphore) {
    set_writable("Fan1");
    live_value("Fan1", "Speed");
    const auto reads = fake::driver_reads();
    ASSERT_EQ(reads.size(), 1U);
    EXPECT_EQ(reads[0].semaphores_held, 0U);
}

TEST_F(ReadSource, OfALiveReadNeedsNoSemaphore) {
    fail_semaphore_of("Fan1");
    EXPECT_EQ(live_value("Fan1", "Speed"), "uint32 1300");
}

TEST_F(ReadSource, OfAnUnknownPropertyIsNone) {
    EXPECT_EQ(live_value("Fan1", "Colour"), "code -2010");
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(ReadSource, OfAnOverriddenPropertyIsMemory) {
    speed().state.bit.override = 1;
    EXPECT_EQ(live_value("Fan1", "Speed"), "uint32 1200");
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(ReadSource, OfAPropertyWithoutAnAccessorIsMemory) {
    EXPECT_EQ(live_value("Fan1", "Limit"), "uint32 5000");
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(ReadSource, OfAPropertyWithAnEmptyAccessorIsMemory) {
    speed().accessor[0] = '\0';
    EXPECT_EQ(live_value("Fan1", "Speed"), "uint32 1200");
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(ReadSource, OfAWriteOnlyPropertyIsMemory) {
    add_fan("w");
    EXPECT_EQ(live_value("Fan1", "Speed"), "uint32 1200");
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(ReadSource, OfTextIsMemory) {
    add_object({.name = "Board", .properties = {text("Serial", "A1", "rw", "Tacho")}});
    EXPECT_EQ(live_value("Board", "Serial"), "'A1'");
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(ReadSource, OfAnArrayIsMemory) {
    add_object({.name = "Board", .properties = {{"Fru", "ay", {1}, "rw", "Tacho"}}});
    EXPECT_EQ(live_value("Board", "Fru"), "[byte 0x01]");
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(ReadSource, OfATypeThatIsNotStorableIsMemory) {
    add_object({.name = "Board", .properties = {number<gint64>("Time", "x", 7, "rw", "Tacho")}});
    EXPECT_EQ(live_value("Board", "Time"), "int64 7");
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(ReadSource, OfAReadOnlyViewOfASyncedPropertyIsMemory) {
    speed().state.bit.synced = 1;
    EXPECT_EQ(live_value("Fan1", "Speed"), "uint32 1200");
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(ReadSource, OfAReadOnlyViewOfAnUnsyncedPropertyIsTheAccessor) {
    ASSERT_EQ(speed().state.bit.synced, 0U);
    ASSERT_FALSE(lom_is_writable(handle_of("Fan1")));
    EXPECT_EQ(live_value("Fan1", "Speed"), "uint32 1300");
}

TEST_F(ReadSource, OfAWritableSyncedPropertyIsTheAccessor) {
    speed().state.bit.synced = 1;
    set_writable("Fan1");
    EXPECT_EQ(live_value("Fan1", "Speed"), "uint32 1300");
}

TEST_F(ReadSource, OfAPropertyThatItsOwnerKeepsCurrentIsMemory) {
    add_fan("r-");
    EXPECT_EQ(live_value("Fan1", "Speed"), "uint32 1200");
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(ReadSource, IsMemoryWhenTheHardwareHasNoValueForNow) {
    fake::driver_fail_reads_of("Tacho", -2112);
    EXPECT_EQ(live_value("Fan1", "Speed"), "uint32 1200");
    EXPECT_EQ(fake::driver_reads().size(), 1U);
}

TEST_F(ReadSource, GivesTheCodeOfTheHardwareAsItComes) {
    fake::driver_fail_reads_of("Tacho", -2109);
    EXPECT_EQ(live_value("Fan1", "Speed"), "code -2109");
}

TEST_F(ReadSource, GivesPositiveCodesOfTheHardwareToo) {
    fake::driver_fail_reads_of("Tacho", 5);
    EXPECT_EQ(live_value("Fan1", "Speed"), "code 5");
}

TEST_F(ReadSource, GivesNoBytesWhenTheHardwareFails) {
    fake::driver_fail_reads_of("Tacho", -2109);
    Package package;
    lom_get_property_data(handle_of("Fan1"), "Speed", TRUE, &package.tlv, FALSE);
    EXPECT_EQ(package.tlv.data, nullptr);
}

TEST_F(ReadSource, OfALiveReadGivesThePropertysTypeAndSize) {
    Package package;
    package.code = lom_get_property_data(handle_of("Fan1"), "Speed", TRUE, &package.tlv, FALSE);
    EXPECT_EQ(package.code, 0);
    EXPECT_EQ(package.type(), type_field("u"));
    EXPECT_EQ(package.bytes(), bytes_of<guint32>(1300));
}

TEST_F(ReadSource, OfALiveReadGivesTheFirstBytesOfAWiderAnswer) {
    add_object({.name = "Led", .properties = {number<guint8>("Level", "y", 1, "rw", "Pwm")}});
    fake::driver_program_bytes("Pwm", {0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(live_value("Led", "Level"), "byte 0x7f");
}

TEST_F(ReadSource, OfALiveReadGivesZerosBehindAShorterAnswer) {
    fake::driver_program_bytes("Tacho", {0x05});
    EXPECT_EQ(live_value("Fan1", "Speed"), "uint32 5");
}

TEST_F(ReadSource, OfALiveReadIsTheFormulaBeforeTheAccessor) {
    add_object({.name = "Sum",
                .class_name = "Expression",
                .properties = {number<gdouble>("Value", "d", 4.5, "rw", "Adc"),
                               text("Formula", "X+Y+Z"), number<gdouble>("X", "d", 1),
                               number<gdouble>("Y", "d", 2), number<gdouble>("Z", "d", 3)}});
    fake::driver_program_value<gdouble>("Adc", 0.25);
    EXPECT_EQ(live_value("Sum", "Value"), "6.0");
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(ReadSource, OfALiveReadIsTheAccessorForOtherPropertiesOfAnExpressionObject) {
    add_object({.name = "Sum",
                .class_name = "Expression",
                .properties = {number<gdouble>("X", "d", 4.5, "rw", "Adc")}});
    fake::driver_program_value<gdouble>("Adc", 0.25);
    EXPECT_EQ(live_value("Sum", "X"), "0.25");
}

// A scalar of 12 bytes: the hardware and the record have room for eight.
class OversizedLiveRead : public ValueFixture {
protected:
    void SetUp() override {
        ValueFixture::SetUp();
        add_object({.name = "Fan1",
                    .properties = {{"Wide", "d", std::vector<guint8>(12, 1), "rw", "Adc"},
                                   number<guint32>("Speed", "u", 1200)}});
        fake::driver_program_bytes("Adc", {8, 7, 6, 5, 4, 3, 2, 1});
    }
};

TEST_F(OversizedLiveRead, GivesTheWholeSizeWithZerosForWhatHardwareCannotDeliver) {
    Package package;
    messages_of([&] {
        package.code = lom_get_property_data(handle_of("Fan1"), "Wide", TRUE, &package.tlv, FALSE);
    });
    EXPECT_EQ(package.code, 0);
    EXPECT_EQ(package.bytes(), (std::vector<guint8>{8, 7, 6, 5, 4, 3, 2, 1, 0, 0, 0, 0}));
}

TEST_F(OversizedLiveRead, LogsTheCopyThatFailed) {
    const Texts messages = messages_of([] { live_value("Fan1", "Wide"); });
    EXPECT_EQ(without_numbers(messages), Texts{"LOG [lom][#]: memmove_s failed ret(#).\n"});
}

}  // namespace
}  // namespace mox::test
