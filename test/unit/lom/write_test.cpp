// A write: the value is stored in normal form, announced when it is new, and stays the caller's.
#include <gtest/gtest.h>

#include "write_fixture.hpp"

namespace mox::test {
namespace {

class Write : public WriteFixture {
protected:
    static void add_room(const std::string& type, const std::vector<guint8>& bytes) {
        add_object({.name = "Room", .class_name = "Fan", .properties = {{"Speed", type, bytes}}});
        set_writable("Room");
    }

    static std::vector<guint8> bytes_in_room() {
        return stored_bytes(property_of("Room", "Speed"));
    }
};

TEST_F(Write, StoresANumber) {
    EXPECT_EQ(write("Fan1", "Speed", speed(1300)), 0);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1300");
}

TEST_F(Write, StoresAText) {
    EXPECT_EQ(write("Fan1", "Label", label("west")), 0);
    EXPECT_EQ(stored_value("Fan1", "Label"), "'west'");
}

TEST_F(Write, StoresEveryTypeOfTheModel) {
    const std::vector<std::pair<const char*, GVariant*>> values = {
        {"b", g_variant_new_boolean(TRUE)}, {"d", g_variant_new_double(-0.5)},
        {"i", g_variant_new_int32(-7)},     {"n", g_variant_new_int16(-8)},
        {"q", g_variant_new_uint16(65535)}, {"u", g_variant_new_uint32(4294967295U)},
        {"y", g_variant_new_byte(255)},     {"as", texts_value({"a", "b"})},
        {"ay", bytes_value({1, 2, 3})}};
    for (const auto& [type, floating] : values) {
        const Value value = owned(floating);
        add_room(type, std::vector<guint8>(16, 0));
        EXPECT_EQ(lom_set_property_value(handle_of("Room"), "Speed", value.get(),
                                         PER_MODE_NOSUPPORT, FALSE),
                  0);
        EXPECT_EQ(stored_value("Room", "Speed"), printed(value.get()));
    }
}

TEST_F(Write, IsAnnouncedOnce) {
    write("Fan1", "Speed", speed(1300));
    EXPECT_EQ(sent_events(), Texts{"7: Fan1.Speed = uint32 1300"});
    EXPECT_EQ(entry_of("Fan1", "Speed").change_cnt, 1U);
}

TEST_F(Write, IsAnnouncedUnderEveryNameOfTheObject) {
    add_object({.name = "Alias", .class_name = "Seen"});
    ASSERT_EQ(lom_set_reference("Alias", "Fan1"), 0);
    listen("Seen", "Speed", 5);
    write("Fan1", "Speed", speed(1300));
    EXPECT_EQ(sent_events(),
              (Texts{"7: Fan1.Speed = uint32 1300", "5: Alias.Speed = uint32 1300"}));
}

TEST_F(Write, SucceedsWhenTheEventCannotBeSent) {
    fake::osal::fail_sends_to(7, -1234);
    gint32 code = 1;
    messages_of([&] { code = write("Fan1", "Speed", speed(1300)); });
    EXPECT_EQ(code, 0);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1300");
}

TEST_F(Write, SucceedsWithoutAPortOfItsOwn) {
    ipc_msg_set_port(0);
    gint32 code = 1;
    messages_of([&] { code = write("Fan1", "Speed", speed(1300)); });
    EXPECT_EQ(code, 0);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1300");
}

TEST_F(Write, MarksThePropertyModifiedAndCurrent) {
    write("Fan1", "Speed", speed(1300));
    EXPECT_EQ(state_of("Fan1", "Speed"), "modified synced");
}

TEST_F(Write, KeepsTheOtherBits) {
    property_of("Fan1", "Speed").state.all = 0xABCDE002U;
    write("Fan1", "Speed", speed(1300));
    EXPECT_EQ(property_of("Fan1", "Speed").state.all, 0xABCDE00BU);
}

TEST_F(Write, OfAnEqualValueIsNotAnnounced) {
    write("Fan1", "Speed", speed(1300));
    EXPECT_EQ(write("Fan1", "Speed", speed(1300)), 0);
    EXPECT_EQ(sent_events().size(), 1U);
    EXPECT_EQ(entry_of("Fan1", "Speed").change_cnt, 1U);
}

TEST_F(Write, OfAnEqualValueMarksThePropertyCurrentOnly) {
    EXPECT_EQ(write("Fan1", "Speed", speed(1200)), 0);
    EXPECT_EQ(state_of("Fan1", "Speed"), "synced");
}

TEST_F(Write, OfAnEqualTextIsNotAnnounced) {
    EXPECT_EQ(write("Fan1", "Label", label("left")), 0);
    EXPECT_EQ(sent_events(), Texts{});
    EXPECT_EQ(state_of("Fan1", "Label"), "synced");
}

TEST_F(Write, OfAnEqualValueTakesAndReleasesTheSemaphoreOnce) {
    write("Fan1", "Speed", speed(1200));
    EXPECT_EQ(takes_of("Fan1"), 1U);
    EXPECT_EQ(fake::osal::held(), 0U);
}

TEST_F(Write, TakesTheSemaphoreOnce) {
    write("Fan1", "Speed", speed(1300));
    EXPECT_EQ(takes_of("Fan1"), 1U);
}

TEST_F(Write, NoticesAChangeInTheLastByte) {
    write("Fan1", "Speed", speed(1200U | 0x80000000U));
    EXPECT_EQ(sent_events().size(), 1U);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 2147484848");
}

TEST_F(Write, OfAShorterTextKeepsTheRoom) {
    EXPECT_EQ(write("Fan1", "Label", label("le")), 0);
    EXPECT_EQ(property_of("Fan1", "Label").size, 3U);
    EXPECT_EQ(property_of("Fan1", "Label").capacity, 5U);
    EXPECT_EQ(stored_value("Fan1", "Label"), "'le'");
}

TEST_F(Write, OfATextThatFillsItsRoomAgainIsStored) {
    write("Fan1", "Label", label("l"));
    EXPECT_EQ(write("Fan1", "Label", label("west")), 0);
    EXPECT_EQ(stored_value("Fan1", "Label"), "'west'");
    EXPECT_EQ(sent_events(), (Texts{"8: Fan1.Label = 'l'", "8: Fan1.Label = 'west'"}));
}

TEST_F(Write, OfAnEmptyTextIsStored) {
    EXPECT_EQ(write("Fan1", "Label", label("")), 0);
    EXPECT_EQ(stored_value("Fan1", "Label"), "''");
}

TEST_F(Write, OfAnotherSizeCountsAsAChangeWhateverTheBytes) {
    add_room("u", {0x01, 0x02});
    ASSERT_EQ(property_of("Room", "Speed").size, 2U);
    EXPECT_EQ(write("Room", "Speed", speed(0x0201)), 0);
    EXPECT_EQ(property_of("Room", "Speed").size, 4U);
    EXPECT_EQ(sent_events(), Texts{"7: Room.Speed = uint32 513"});
    EXPECT_EQ(state_of("Room", "Speed"), "modified synced");
}

TEST_F(Write, BringsADeclaredSizeBeyondTheRoomBackToTheValues) {
    add_room("d", std::vector<guint8>(12, 0));
    EXPECT_EQ(write("Room", "Speed", g_variant_new_double(1.5)), 0);
    EXPECT_EQ(property_of("Room", "Speed").size, 8U);
    EXPECT_EQ(stored_value("Room", "Speed"), "1.5");
}

TEST_F(Write, OfAnEmptyArrayIsStored) {
    add_room("ay", {1, 2, 3});
    EXPECT_EQ(write("Room", "Speed", bytes_value({})), 0);
    EXPECT_EQ(property_of("Room", "Speed").size, 0U);
    EXPECT_EQ(stored_value("Room", "Speed"), "@ay []");
    EXPECT_EQ(sent_events().size(), 1U);
}

TEST_F(Write, OfAnEmptyArrayOverAnEmptyOneIsNotAnnounced) {
    add_room("ay", {1});
    write("Room", "Speed", bytes_value({}));
    EXPECT_EQ(write("Room", "Speed", bytes_value({})), 0);
    EXPECT_EQ(sent_events().size(), 1U);
}

TEST_F(Write, OfAnEmptyArrayWhereThereIsNoRoomAtAllIsNotAnnounced) {
    add_room("ay", {});
    EXPECT_EQ(write("Room", "Speed", bytes_value({})), 0);
    EXPECT_EQ(sent_events(), Texts{});
    EXPECT_EQ(state_of("Room", "Speed"), "synced");
}

TEST_F(Write, ToAMarkedTypeIsOfItsTypeAlone) {
    add_room(std::string("s\0\0o", 4), bytes_of_text("abc"));
    EXPECT_EQ(write("Room", "Speed", label("xyz")), 0);
    EXPECT_EQ(stored_value("Room", "Speed"), "'xyz'");
}

TEST_F(Write, LeavesAFloatingValueFloating) {
    GVariant* const value = speed(1300);
    lom_set_property_value(handle_of("Fan1"), "Speed", value, PER_MODE_PERMANENT, TRUE);
    EXPECT_TRUE(g_variant_is_floating(value));
    EXPECT_EQ(printed(value), "uint32 1300");
    g_variant_unref(value);
}

TEST_F(Write, LeavesAFloatingValueThatItRefusesFloating) {
    GVariant* const value = label("x");
    lom_set_property_value(handle_of("Fan1"), "Speed", value, PER_MODE_PERMANENT, TRUE);
    EXPECT_TRUE(g_variant_is_floating(value));
    g_variant_unref(value);
}

TEST_F(Write, KeepsNoHoldOfTheValue) {
    bool is_freed = false;
    static guint32 bytes = 1300;
    const auto notice = [](gpointer flag) { *static_cast<bool*>(flag) = true; };
    Value value = owned(g_variant_new_from_data(G_VARIANT_TYPE_UINT32, &bytes, sizeof bytes, TRUE,
                                                notice, &is_freed));
    lom_set_property_value(handle_of("Fan1"), "Speed", value.get(), PER_MODE_PERMANENT, TRUE);
    EXPECT_FALSE(is_freed);
    value.reset();
    EXPECT_TRUE(is_freed);
}

TEST_F(Write, StoresTruthInNormalForm) {
    add_room("b", {0});
    const Value value = untrusted("b", {2});
    EXPECT_EQ(
        lom_set_property_value(handle_of("Room"), "Speed", value.get(), PER_MODE_NOSUPPORT, FALSE),
        0);
    EXPECT_EQ(bytes_in_room(), std::vector<guint8>{1});
}

TEST_F(Write, StoresTextWithoutATerminatorAsEmptyText) {
    const Value value = untrusted("s", {'a', 'b', 'c'});
    EXPECT_EQ(
        lom_set_property_value(handle_of("Fan1"), "Label", value.get(), PER_MODE_NOSUPPORT, FALSE),
        0);
    EXPECT_EQ(stored_bytes(property_of("Fan1", "Label")), std::vector<guint8>{0});
}

TEST_F(Write, StoresABrokenArrayInNormalForm) {
    add_room("as", std::vector<guint8>(16, 0));
    const Value value = untrusted("as", {'a', 0, 'b', 0, 200, 201});
    const Value normal = Value(g_variant_get_normal_form(value.get()));
    EXPECT_EQ(
        lom_set_property_value(handle_of("Room"), "Speed", value.get(), PER_MODE_NOSUPPORT, FALSE),
        0);
    const auto* const first = static_cast<const guint8*>(g_variant_get_data(normal.get()));
    EXPECT_EQ(bytes_in_room(),
              std::vector<guint8>(first, first + g_variant_get_size(normal.get())));
}

TEST_F(Write, OfTooFewBytesForANumberStoresZero) {
    const Value value = untrusted("u", {1, 2, 3});
    EXPECT_EQ(
        lom_set_property_value(handle_of("Fan1"), "Speed", value.get(), PER_MODE_NOSUPPORT, FALSE),
        0);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 0");
}

}  // namespace
}  // namespace mox::test
