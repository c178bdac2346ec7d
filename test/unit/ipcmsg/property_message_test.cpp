// The message that tells a list of ports of a changed property.
#include <gtest/gtest.h>
#include <ipcmsg.h>
#include <moxlib/moxbase.h>

#include <string>
#include <vector>

#include "captured_output.hpp"
#include "pool_fixture.hpp"
#include "sent_message.hpp"

namespace {

namespace osal = mox::fake::osal;
using mox::test::bytes_at;
using mox::test::sent_bytes;
using mox::test::stdout_of;
using mox::test::text_at;
using mox::test::word_at;

// A change of "Speed" of "Fan1", with what a test wants to differ.
struct Change {
    std::string object = "Fan1";
    std::string property = "Speed";
    std::string type = "i";
    GVariant* value = nullptr;  // floating; -2 when it is not set

    gint32 send_to(const std::vector<gint32>& ports) const {
        GVariant* sunk = g_variant_ref_sink(value != nullptr ? value : g_variant_new_int32(-2));
        GSList* list = mox::test::port_list(ports);
        const gint32 result = ipc_msg_property_event(list, object.c_str(), property.c_str(),
                                                     type.c_str(), g_variant_get_size(sunk), sunk);
        g_slist_free(list);
        g_variant_unref(sunk);
        return result;
    }
};

class PropertyMessage : public mox::test::PoolFixture {
protected:
    void SetUp() override {
        mox::test::PoolFixture::SetUp();
        ipc_msg_set_port(77);
    }
};

TEST_F(PropertyMessage, CarriesItsPayloadAtTheDocumentedOffsets) {
    ASSERT_EQ(Change{}.send_to({5}), 0);
    ASSERT_EQ(osal::sent().size(), 1U);
    const std::vector<guint8> bytes = sent_bytes(0);
    ASSERT_EQ(bytes.size(), 156U);
    EXPECT_EQ(word_at(bytes, 20), 2U);
    EXPECT_EQ(word_at(bytes, 28), 80U);
    EXPECT_EQ(bytes_at(bytes, 76, 32), "Fan1" + std::string(28, '\0'));
    EXPECT_EQ(bytes_at(bytes, 108, 32), "Speed" + std::string(27, '\0'));
    EXPECT_EQ(bytes_at(bytes, 140, 8), "i" + std::string(7, '\0'));
    EXPECT_EQ(word_at(bytes, 148), 4U);
    EXPECT_EQ(word_at(bytes, 152), 0xFFFFFFFEU);
}

TEST_F(PropertyMessage, CutsNamesTo31CharactersAndTheTypeTo5) {
    Change change;
    change.object = std::string(40, 'o');
    change.property = std::string(40, 'p');
    change.type = "abcdef";
    ASSERT_EQ(change.send_to({5}), 0);
    const std::vector<guint8> bytes = sent_bytes(0);
    EXPECT_EQ(bytes_at(bytes, 76, 32), std::string(31, 'o') + '\0');
    EXPECT_EQ(bytes_at(bytes, 108, 32), std::string(31, 'p') + '\0');
    EXPECT_EQ(bytes_at(bytes, 140, 8), std::string("abcde\0\0\0", 8));
}

TEST_F(PropertyMessage, CarriesAValueOfAnySize) {
    Change change;
    change.type = "s";
    change.value = g_variant_new_string("fast");
    ASSERT_EQ(change.send_to({5}), 0);
    const std::vector<guint8> bytes = sent_bytes(0);
    EXPECT_EQ(word_at(bytes, 148), 5U);
    EXPECT_EQ(bytes_at(bytes, 152, 5), std::string("fast\0", 5));
}

TEST_F(PropertyMessage, CarriesAnArrayOfDoubles) {
    Change change;
    change.type = "ad";
    change.value = g_variant_new_parsed("[1.5, 2.5]");
    ASSERT_EQ(change.send_to({5}), 0);
    EXPECT_EQ(word_at(sent_bytes(0), 148), 16U);
}

TEST_F(PropertyMessage, ReachesEveryPortInListOrder) {
    ASSERT_EQ(Change{}.send_to({9, 3}), 0);
    ASSERT_EQ(osal::sent().size(), 2U);
    EXPECT_EQ(osal::sent()[0].queue_id, 9);
    EXPECT_EQ(osal::sent()[1].queue_id, 3);
    EXPECT_EQ(word_at(sent_bytes(1), 16), 3U);
}

TEST_F(PropertyMessage, EndsWithTheFirstFailingPort) {
    osal::fail_sends_to(3, -4711);
    EXPECT_EQ(Change{}.send_to({9, 3, 6}), -4711);
    EXPECT_EQ(osal::sent_to(9).size(), 1U);
    EXPECT_EQ(osal::sent_to(6).size(), 0U);
}

TEST_F(PropertyMessage, ToNobodyIsASuccess) {
    EXPECT_EQ(Change{}.send_to({}), 0);
    EXPECT_EQ(ipc_msg_property_event(nullptr, nullptr, nullptr, nullptr, 0, nullptr), 0);
    EXPECT_EQ(osal::send_calls(), 0U);
}

TEST_F(PropertyMessage, OfTheLargestValueIsSent) {
    Change change;
    change.type = "s";
    change.value = g_variant_new_string(std::string(8115, 'v').c_str());
    EXPECT_EQ(change.send_to({5}), 0);
    EXPECT_EQ(word_at(sent_bytes(0), 28), 8192U);
}

TEST_F(PropertyMessage, OfALargerValueIsTooBig) {
    Change change;
    change.type = "s";
    change.value = g_variant_new_string(std::string(8116, 'v').c_str());
    gint32 result = 0;
    stdout_of([&] { result = change.send_to({5}); });
    EXPECT_EQ(result, -2016);
    EXPECT_EQ(osal::send_calls(), 0U);
}

TEST_F(PropertyMessage, OfASizeBeyondAllMemoryIsTooBig) {
    GSList* list = mox::test::port_list({5});
    GVariant* value = g_variant_ref_sink(g_variant_new_string(std::string(500, 'v').c_str()));
    gint32 result = 0;
    for (const gsize less : {0U, 1U, 75U, 76U, 77U, 160U}) {
        stdout_of([&] {
            result = ipc_msg_property_event(list, "Fan1", "Speed", "s", G_MAXSIZE - less, value);
        });
        EXPECT_EQ(result, -2016) << less;
    }
    EXPECT_EQ(osal::send_calls(), 0U);
    g_variant_unref(value);
    g_slist_free(list);
}

TEST_F(PropertyMessage, WithoutAnOwnPortIsRefused) {
    ipc_msg_set_port(0);
    EXPECT_EQ(Change{}.send_to({5}), -2018);
}

TEST_F(PropertyMessage, IsRefusedForNullArguments) {
    GSList* list = mox::test::port_list({5});
    GVariant* value = g_variant_ref_sink(g_variant_new_int32(1));
    EXPECT_EQ(ipc_msg_property_event(list, nullptr, "Speed", "i", 4, value), -2001);
    EXPECT_EQ(ipc_msg_property_event(list, "Fan1", nullptr, "i", 4, value), -2001);
    EXPECT_EQ(ipc_msg_property_event(list, "Fan1", "Speed", nullptr, 4, value), -2001);
    EXPECT_EQ(ipc_msg_property_event(list, "Fan1", "Speed", "i", 4, nullptr), -2001);
    EXPECT_EQ(osal::send_calls(), 0U);
    g_variant_unref(value);
    g_slist_free(list);
}

// The buffer is made for the size given; the sanitizer sees a value that goes beyond it.
TEST_F(PropertyMessage, IsRefusedWhenTheSizeIsNotTheValues) {
    GSList* list = mox::test::port_list({5});
    GVariant* value = g_variant_ref_sink(g_variant_new_string(std::string(500, 'v').c_str()));
    EXPECT_EQ(ipc_msg_property_event(list, "Fan1", "Speed", "s", 4, value), -2001);
    EXPECT_EQ(osal::send_calls(), 0U);
    g_variant_unref(value);
    g_slist_free(list);
}

}  // namespace
