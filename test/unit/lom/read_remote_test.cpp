// Live reads in a process that does not reach the hardware: the owner is asked through a hook.
#include <gtest/gtest.h>

#include "value_fixture.hpp"

namespace mox::test {
namespace {

struct RemoteCall {
    std::string object;
    std::string property;
    gint32 offset;
    gsize length;
    gsize semaphores_held;
};

std::vector<RemoteCall> calls;
gint32 remote_code = 0;

// Answers 1400.
gint32 answer(const gchar* object, const gchar* property, gint32 offset, gsize length,
              gpointer out) {
    calls.push_back({object, property, offset, length, fake::osal::held()});
    const guint64 value = 1400;
    std::memcpy(out, &value, sizeof value);
    return remote_code;
}

class RemoteRead : public ValueFixture {
protected:
    void SetUp() override {
        ValueFixture::SetUp();
        calls.clear();
        remote_code = 0;
        lom_set_remote_get_property_func(answer);
        add_object({.name = "Fan1",
                    .properties = {number<guint32>("Speed", "u", 1200, "rw", "Tacho"),
                                   number<guint32>("Limit", "u", 5000)}});
        fake::driver_program_value<guint32>("Tacho", 1300);
    }
};

TEST_F(RemoteRead, GivesTheOwnersAnswer) {
    EXPECT_EQ(remote_value("Fan1", "Speed"), "uint32 1400");
}

TEST_F(RemoteRead, NeverAsksTheAccessorOfThisProcess) {
    remote_value("Fan1", "Speed");
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(RemoteRead, AsksForTheWholeValueByItsNames) {
    remote_value("Fan1", "Speed");
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls[0].object, "Fan1");
    EXPECT_EQ(calls[0].property, "Speed");
    EXPECT_EQ(calls[0].offset, 0);
    EXPECT_EQ(calls[0].length, 0U);
}

TEST_F(RemoteRead, AsksWithoutASemaphore) {
    set_writable("Fan1");
    remote_value("Fan1", "Speed");
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls[0].semaphores_held, 0U);
}

TEST_F(RemoteRead, FailsWithoutAHook) {
    lom_set_remote_get_property_func(nullptr);
    EXPECT_EQ(remote_value("Fan1", "Speed"), "code -2000");
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(RemoteRead, GivesTheOwnersCodeAsItComes) {
    remote_code = -2102;
    EXPECT_EQ(remote_value("Fan1", "Speed"), "code -2102");
}

TEST_F(RemoteRead, IsMemoryWhenTheOwnersHardwareHasNoValueForNow) {
    remote_code = -2112;
    EXPECT_EQ(remote_value("Fan1", "Speed"), "uint32 1200");
}

TEST_F(RemoteRead, OfAStoredValueIsMemory) {
    EXPECT_EQ(read_value("Fan1", "Speed", FALSE, TRUE), "uint32 1200");
    EXPECT_TRUE(calls.empty());
}

TEST_F(RemoteRead, OfAPropertyWithoutAnAccessorIsMemory) {
    EXPECT_EQ(remote_value("Fan1", "Limit"), "uint32 5000");
    EXPECT_TRUE(calls.empty());
}

TEST_F(RemoteRead, OfAnOverriddenPropertyIsMemory) {
    property_of("Fan1", "Speed").state.bit.override = 1;
    EXPECT_EQ(remote_value("Fan1", "Speed"), "uint32 1200");
    EXPECT_TRUE(calls.empty());
}

TEST_F(RemoteRead, OfASyncedPropertyIsMemoryWithoutAHookToo) {
    lom_set_remote_get_property_func(nullptr);
    property_of("Fan1", "Speed").state.bit.synced = 1;
    EXPECT_EQ(remote_value("Fan1", "Speed"), "uint32 1200");
}

TEST_F(RemoteRead, DoesNotRegisterTheAccessor) {
    add_object({.name = "Tacho", .class_name = "Accessor", .object_type = "Physical"});
    remote_value("Fan1", "Speed");
    EXPECT_TRUE(fake::driver_tables().empty());
}

TEST_F(RemoteRead, OfAWritableObjectIsWrittenBackAndAnnounced) {
    set_writable("Fan1");
    listen("Fan", "Speed", 7);
    remote_value("Fan1", "Speed");
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1400");
    EXPECT_EQ(sent_events(), Texts{"7: Fan1.Speed = uint32 1400"});
}

TEST_F(RemoteRead, IsNotAskedOfAnUninstalledHook) {
    lom_set_remote_get_property_func(nullptr);
    remote_value("Fan1", "Speed");
    EXPECT_TRUE(calls.empty());
}

}  // namespace
}  // namespace mox::test
