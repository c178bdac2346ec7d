// Reading the stored copy of a value: its bytes under the object's semaphore, and nothing else.
#include <gtest/gtest.h>

#include "value_fixture.hpp"

namespace mox::test {
namespace {

class MemoryRead : public ValueFixture {
protected:
    void SetUp() override {
        ValueFixture::SetUp();
        add_object({.name = "Fan1",
                    .properties = {number<guint32>("Speed", "u", 1200, "rw", "Tacho"),
                                   text("Label", "left"), reference("Twin", "Fan2.Speed")}});
        fake::driver_program_value<guint32>("Tacho", 1300);
    }

    static void read(Package& package, const std::string& property) {
        package.code =
            lom_get_property_memory_data(handle_of("Fan1"), property.c_str(), &package.tlv);
    }
};

TEST_F(MemoryRead, GivesTypeSizeAndBytes) {
    Package package;
    read(package, "Label");
    EXPECT_EQ(package.code, 0);
    EXPECT_EQ(package.type(), type_field("s"));
    EXPECT_EQ(package.tlv.size, 5U);
    EXPECT_EQ(package.bytes(), bytes_of_text("left"));
}

TEST_F(MemoryRead, GivesBytesOfItsOwn) {
    Package package;
    read(package, "Speed");
    property_of("Fan1", "Speed").data_hold[0] ^= 0xFF;
    EXPECT_EQ(package.bytes(), bytes_of<guint32>(1200));
}

TEST_F(MemoryRead, GivesTheTextOfAReferenceAndItsMarkedType) {
    Package package;
    read(package, "Twin");
    EXPECT_EQ(package.code, 0);
    EXPECT_EQ(package.type(), type_field(std::string("s\0\0p", 4)));
    EXPECT_EQ(package.bytes(), bytes_of_text("Fan2.Speed"));
}

TEST_F(MemoryRead, NeverAsksHardware) {
    Package package;
    read(package, "Speed");
    EXPECT_EQ(package.bytes(), bytes_of<guint32>(1200));
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(MemoryRead, GivesAnOverriddenValue) {
    property_of("Fan1", "Speed").state.bit.override = 1;
    Package package;
    read(package, "Speed");
    EXPECT_EQ(package.bytes(), bytes_of<guint32>(1200));
}

TEST_F(MemoryRead, TakesTheSemaphoreOnceAndGivesItBack) {
    Package package;
    read(package, "Speed");
    EXPECT_EQ(takes_of("Fan1"), 1U);
    EXPECT_EQ(fake::osal::takes(), 1U);
    EXPECT_EQ(fake::osal::held(), 0U);
}

TEST_F(MemoryRead, FailsWithoutTheSemaphore) {
    fail_semaphore_of("Fan1");
    Package package;
    read(package, "Speed");
    EXPECT_EQ(package.code, -2015);
    EXPECT_EQ(package.tlv.data, nullptr);
}

TEST_F(MemoryRead, LooksForThePropertyBeforeItTakesTheSemaphore) {
    fail_semaphore_of("Fan1");
    Package package;
    read(package, "Colour");
    EXPECT_EQ(package.code, -2010);
}

TEST_F(MemoryRead, RefusesANullHandle) {
    TLV_S tlv = {};
    EXPECT_EQ(lom_get_property_memory_data(0, "Speed", &tlv), -2001);
}

TEST_F(MemoryRead, RefusesANullName) {
    TLV_S tlv = {};
    EXPECT_EQ(lom_get_property_memory_data(handle_of("Fan1"), nullptr, &tlv), -2001);
}

TEST_F(MemoryRead, RefusesANullPackage) {
    EXPECT_EQ(lom_get_property_memory_data(handle_of("Fan1"), "Speed", nullptr), -2001);
}

TEST_F(MemoryRead, DoesNotFindAnUnknownObject) {
    TLV_S tlv = {};
    EXPECT_EQ(lom_get_property_memory_data(handle_of("Fan9"), "Speed", &tlv), -2009);
}

TEST_F(MemoryRead, DoesNotFindANumberThatIsNoHandle) {
    TLV_S tlv = {};
    EXPECT_EQ(lom_get_property_memory_data(0x7FFFFFF0, "Speed", &tlv), -2009);
}

TEST_F(MemoryRead, DoesNotFindAPropertyWithoutARecord) {
    entry_of("Fan1", "Speed").property_ptr = nullptr;
    Package package;
    read(package, "Speed");
    EXPECT_EQ(package.code, -2010);
}

TEST_F(MemoryRead, OfAnEmptyValueHasNoBytes) {
    property_of("Fan1", "Label").size = 0;
    Package package;
    read(package, "Label");
    EXPECT_EQ(package.code, 0);
    EXPECT_EQ(package.type(), type_field("s"));
    EXPECT_EQ(package.tlv.size, 0U);
}

// A scalar of 12 bytes: the record holds eight of them.
class OversizedMemoryRead : public ValueFixture {
protected:
    void SetUp() override {
        ValueFixture::SetUp();
        add_object({.name = "Fan1",
                    .properties = {{"Wide", "d", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}},
                                   number<guint32>("Speed", "u", 1200)}});
    }
};

TEST_F(OversizedMemoryRead, GivesTheWholeSizeWithZerosForWhatIsNotHeld) {
    Package package;
    package.code = lom_get_property_memory_data(handle_of("Fan1"), "Wide", &package.tlv);
    EXPECT_EQ(package.code, 0);
    EXPECT_EQ(package.bytes(), (std::vector<guint8>{1, 2, 3, 4, 5, 6, 7, 8, 0, 0, 0, 0}));
}

TEST_F(OversizedMemoryRead, LogsTheCopyThatFailed) {
    const Texts messages = messages_of([] {
        Package package;
        lom_get_property_memory_data(handle_of("Fan1"), "Wide", &package.tlv);
    });
    EXPECT_EQ(without_numbers(messages), Texts{"LOG [lom][#]:memmove_s failed. ret(#)\n"});
}

}  // namespace
}  // namespace mox::test
