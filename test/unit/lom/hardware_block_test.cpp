// Bytes straight through a property's accessor: block reads, block writes, and whole numbers.
#include <gtest/gtest.h>

#include "value_fixture.hpp"

namespace mox::test {
namespace {

class BlockAccess : public ValueFixture {
protected:
    void SetUp() override {
        ValueFixture::SetUp();
        add_object({.name = "Fan1",
                    .properties = {number<guint32>("Speed", "u", 1200, "rw", "Tacho"),
                                   number<guint32>("Limit", "u", 5000)}});
        handle_ = handle_of("Fan1");
    }

    static void override_speed() { property_of("Fan1", "Speed").state.bit.override = 1; }

    OBJ_HANDLE handle_ = 0;
};

class BlockRead : public BlockAccess {};

TEST_F(BlockRead, GivesAStretchOfBytes) {
    fake::driver_program_bytes("Tacho", {10, 11, 12, 13, 14, 15, 16, 17, 18, 19});
    guint8 bytes[4] = {};
    EXPECT_EQ(lom_block_read(handle_, "Speed", 6, 3, bytes), 0);
    EXPECT_EQ(std::vector<guint8>(bytes, bytes + 4), (std::vector<guint8>{16, 17, 18, 0}));
}

TEST_F(BlockRead, HandsOffsetAndLengthOn) {
    fake::driver_program_bytes("Tacho", std::vector<guint8>(100, 1));
    guint8 bytes[50] = {};
    lom_block_read(handle_, "Speed", 20, 50, bytes);
    const auto reads = fake::driver_reads();
    ASSERT_EQ(reads.size(), 1U);
    EXPECT_EQ(reads[0].accessor, "Tacho");
    EXPECT_EQ(reads[0].offset, 20);
    EXPECT_EQ(reads[0].length, 50U);
}

TEST_F(BlockRead, GivesTheCodeOfTheHardware) {
    guint8 byte = 0;
    EXPECT_EQ(lom_block_read(handle_, "Speed", 0, 1, &byte), -2102);
}

TEST_F(BlockRead, GivesTheCodeOfAValueThatIsNotThereForNow) {
    fake::driver_fail_reads_of("Tacho", -2112);
    guint8 byte = 0;
    EXPECT_EQ(lom_block_read(handle_, "Speed", 0, 1, &byte), -2112);
}

TEST_F(BlockRead, OfAnOverriddenPropertyNeverAsksTheHardware) {
    override_speed();
    guint8 byte = 0;
    EXPECT_EQ(lom_block_read(handle_, "Speed", 0, 1, &byte), -2011);
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(BlockRead, OfAPropertyWithoutAnAccessorNeverAsksTheHardware) {
    guint8 byte = 0;
    EXPECT_EQ(lom_block_read(handle_, "Limit", 0, 1, &byte), -2011);
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(BlockRead, GivesTheCodesOfTheLookup) {
    guint8 byte = 0;
    EXPECT_EQ(lom_block_read(0, "Speed", 0, 1, &byte), -2001);
    EXPECT_EQ(lom_block_read(handle_, nullptr, 0, 1, &byte), -2001);
    EXPECT_EQ(lom_block_read(handle_of("Fan9"), "Speed", 0, 1, &byte), -2009);
    EXPECT_EQ(lom_block_read(handle_, "Colour", 0, 1, &byte), -2010);
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(BlockRead, StoresAndAnnouncesNothing) {
    set_writable("Fan1");
    fake::driver_program_value<guint32>("Tacho", 1300);
    guint32 value = 0;
    lom_block_read(handle_, "Speed", 0, 0, &value);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1200");
    EXPECT_EQ(entry_of("Fan1", "Speed").change_cnt, 0U);
}

class BlockWrite : public BlockAccess {};

TEST_F(BlockWrite, HandsItsBytesOn) {
    const guint8 bytes[] = {7, 8, 9};
    EXPECT_EQ(lom_block_write(handle_, "Speed", 5, 3, bytes), 0);
    const auto writes = fake::driver_writes();
    ASSERT_EQ(writes.size(), 1U);
    EXPECT_EQ(writes[0].accessor, "Tacho");
    EXPECT_EQ(writes[0].offset, 5);
    EXPECT_EQ(writes[0].bytes, (std::vector<guint8>{7, 8, 9}));
}

TEST_F(BlockWrite, GivesTheCodeOfTheHardware) {
    fake::driver_fail_writes_of("Tacho", -2110);
    const guint8 byte = 1;
    EXPECT_EQ(lom_block_write(handle_, "Speed", 0, 1, &byte), -2110);
}

TEST_F(BlockWrite, ToAnOverriddenPropertyNeverReachesTheHardware) {
    override_speed();
    const guint8 byte = 1;
    EXPECT_EQ(lom_block_write(handle_, "Speed", 0, 1, &byte), -2011);
    EXPECT_TRUE(fake::driver_writes().empty());
}

TEST_F(BlockWrite, GivesTheCodesOfTheLookup) {
    const guint8 byte = 1;
    EXPECT_EQ(lom_block_write(0, "Speed", 0, 1, &byte), -2001);
    EXPECT_EQ(lom_block_write(handle_, nullptr, 0, 1, &byte), -2001);
    EXPECT_EQ(lom_block_write(handle_of("Fan9"), "Speed", 0, 1, &byte), -2009);
    EXPECT_EQ(lom_block_write(handle_, "Colour", 0, 1, &byte), -2010);
    EXPECT_EQ(lom_block_write(handle_, "Limit", 0, 1, &byte), -2011);
    EXPECT_TRUE(fake::driver_writes().empty());
}

TEST_F(BlockWrite, LeavesTheStoredValue) {
    const guint32 value = 1300;
    lom_block_write(handle_, "Speed", 0, sizeof value, &value);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1200");
}

// A property of each type, all at the accessor "Reg".
class HardwareNumber : public ValueFixture {
protected:
    void SetUp() override {
        ValueFixture::SetUp();
        ObjectPlan plan{.name = "Card"};
        for (const char* type : {"b", "d", "i", "n", "q", "u", "y", "s"}) {
            plan.properties.push_back({type, type, std::vector<guint8>(8, 0), "rw", "Reg"});
        }
        plan.properties.push_back(number<guint32>("Bare", "u", 1));
        add_object(plan);
        fake::driver_program_bytes("Reg", std::vector<guint8>(8, 0xFF));
    }

    // The value read, or the code.
    static std::string read(const char* property, const std::string& object = "Card") {
        GVariant* value = nullptr;
        const gint32 code = lom_get_basic_hvalue(handle_of(object), property, &value);
        if (code != 0) return "code " + std::to_string(code);
        g_variant_ref_sink(value);
        const std::string result = printed(value);
        g_variant_unref(value);
        return result;
    }
};

TEST_F(HardwareNumber, HasTheTypeOfTheProperty) {
    EXPECT_EQ(read("i"), "-1");
    EXPECT_EQ(read("n"), "int16 -1");
    EXPECT_EQ(read("q"), "uint16 65535");
    EXPECT_EQ(read("u"), "uint32 4294967295");
    EXPECT_EQ(read("y"), "byte 0xff");
}

TEST_F(HardwareNumber, IsFloating) {
    GVariant* value = nullptr;
    ASSERT_EQ(lom_get_basic_hvalue(handle_of("Card"), "u", &value), 0);
    EXPECT_TRUE(g_variant_is_floating(value));
    g_variant_unref(g_variant_ref_sink(value));
}

TEST_F(HardwareNumber, IsAskedForAsAWhole) {
    read("u");
    const auto reads = fake::driver_reads();
    ASSERT_EQ(reads.size(), 1U);
    EXPECT_EQ(reads[0].offset, 0);
    EXPECT_EQ(reads[0].length, 0U);
}

TEST_F(HardwareNumber, HasZerosBehindAShorterAnswer) {
    fake::driver_program_bytes("Reg", {0x05});
    EXPECT_EQ(read("u"), "uint32 5");
}

TEST_F(HardwareNumber, OfTruthCannotBeBuilt) {
    EXPECT_EQ(read("b"), "code -2000");
}

TEST_F(HardwareNumber, OfADoubleCannotBeBuilt) {
    EXPECT_EQ(read("d"), "code -2000");
}

TEST_F(HardwareNumber, OfTextCannotBeBuilt) {
    EXPECT_EQ(read("s"), "code -2000");
}

TEST_F(HardwareNumber, IsReadBeforeItsTypeIsFoundWanting) {
    fake::driver_fail_reads_of("Reg", -2114);
    EXPECT_EQ(read("d"), "code -2114");
}

TEST_F(HardwareNumber, GivesTheCodeOfTheHardware) {
    fake::driver_fail_reads_of("Reg", -2112);
    EXPECT_EQ(read("u"), "code -2112");
}

TEST_F(HardwareNumber, OfAPropertyWithoutAnAccessorHasNone) {
    EXPECT_EQ(read("Bare"), "code -2011");
}

TEST_F(HardwareNumber, OfAnOverriddenPropertyHasNone) {
    property_of("Card", "u").state.bit.override = 1;
    EXPECT_EQ(read("u"), "code -2011");
}

TEST_F(HardwareNumber, IgnoresThatAPropertyIsSynced) {
    property_of("Card", "u").state.bit.synced = 1;
    EXPECT_EQ(read("u"), "uint32 4294967295");
}

TEST_F(HardwareNumber, OfAnUnknownPropertyIsNotFound) {
    EXPECT_EQ(read("Colour"), "code -2010");
}

TEST_F(HardwareNumber, OfAnUnknownObjectIsNotFound) {
    EXPECT_EQ(read("u", "Card9"), "code -2009");
}

TEST_F(HardwareNumber, OfAPropertyWithoutARecordIsAnInternalFailure) {
    entry_of("Card", "u").property_ptr = nullptr;
    EXPECT_EQ(read("u"), "code -2000");
}

TEST_F(HardwareNumber, RefusesANullHandle) {
    GVariant* value = nullptr;
    EXPECT_EQ(lom_get_basic_hvalue(0, "u", &value), -2001);
}

TEST_F(HardwareNumber, RefusesANullName) {
    EXPECT_EQ(read(nullptr), "code -2001");
}

TEST_F(HardwareNumber, RefusesANullResult) {
    EXPECT_EQ(lom_get_basic_hvalue(handle_of("Card"), "u", nullptr), -2001);
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(HardwareNumber, IsNeitherStoredNorAnnounced) {
    set_writable("Card");
    listen("Fan", "u", 7);
    read("u");
    EXPECT_EQ(property_of("Card", "u").data_hold[0], 0U);
    EXPECT_EQ(sent_events(), Texts{});
    EXPECT_EQ(fake::osal::takes(), 0U);
}

}  // namespace
}  // namespace mox::test
