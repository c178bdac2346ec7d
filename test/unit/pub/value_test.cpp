// Raw bytes to typed values and to doubles.
#include <gtest/gtest.h>
#include <pub.h>

#include <array>
#include <cstring>
#include <memory>
#include <string>

namespace {

struct UnrefValue {
    void operator()(GVariant* value) const { g_variant_unref(value); }
};
using ValuePtr = std::unique_ptr<GVariant, UnrefValue>;

// The value of these bytes, sunk; null when none was made.
template <typename T>
ValuePtr value_of(const gchar* type, T bytes) {
    GVariant* value = pub_base_gvariant_new(type, &bytes);
    return ValuePtr(value == nullptr ? nullptr : g_variant_ref_sink(value));
}

template <typename T>
gdouble double_of(const gchar* type, T bytes, guint32 size = sizeof(T)) {
    return pub_raw_to_double(type, size, &bytes);
}

std::string printed(const ValuePtr& value) {
    if (!value) return "null";
    gchar* text = g_variant_print(value.get(), TRUE);
    const std::string result = text;
    g_free(text);
    return result;
}

TEST(ScalarValue, OfASigned32BitNumberIsAnInt32) {
    EXPECT_EQ(printed(value_of<gint32>("i", -2000000000)), "-2000000000");
}

TEST(ScalarValue, OfASigned16BitNumberIsAnInt16) {
    EXPECT_EQ(printed(value_of<gint16>("n", -32768)), "int16 -32768");
}

TEST(ScalarValue, OfAnUnsigned16BitNumberIsAUint16) {
    EXPECT_EQ(printed(value_of<guint16>("q", 65535)), "uint16 65535");
}

TEST(ScalarValue, OfAnUnsigned32BitNumberIsAUint32) {
    EXPECT_EQ(printed(value_of<guint32>("u", 4294967295U)), "uint32 4294967295");
}

TEST(ScalarValue, OfAByteIsAByte) {
    EXPECT_EQ(printed(value_of<guint8>("y", 255)), "byte 0xff");
}

TEST(ScalarValue, IsFloating) {
    const gint32 bytes = 1;
    GVariant* value = pub_base_gvariant_new("i", &bytes);
    ASSERT_NE(value, nullptr);
    EXPECT_TRUE(g_variant_is_floating(value));
    g_variant_unref(g_variant_ref_sink(value));
}

TEST(ScalarValue, IsNotMadeOfABooleanOrADouble) {
    EXPECT_EQ(value_of<guint64>("b", 1), nullptr);
    EXPECT_EQ(value_of<gdouble>("d", 1.0), nullptr);
}

TEST(ScalarValue, IsNotMadeOfAnyOtherType) {
    for (const char* type : {"s", "as", "x", "t", "h", "o", "v", ""}) {
        EXPECT_EQ(value_of<guint64>(type, 0), nullptr) << type;
    }
}

TEST(ScalarValue, IsNotMadeOfNullArguments) {
    const gint32 bytes = 1;
    EXPECT_EQ(pub_base_gvariant_new(nullptr, &bytes), nullptr);
    EXPECT_EQ(pub_base_gvariant_new("i", nullptr), nullptr);
}

TEST(ScalarValue, CountsOnlyTheFirstCharacterOfItsType) {
    EXPECT_EQ(printed(value_of<gint32>("ix", 7)), "7");
}

TEST(ScalarValue, IsReadFromAnyAddress) {
    std::array<guint8, 8> bytes{};
    const gint32 number = -5;
    std::memcpy(bytes.data() + 1, &number, sizeof(number));
    GVariant* value = pub_base_gvariant_new("i", bytes.data() + 1);
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(g_variant_get_int32(value), -5);
    g_variant_unref(value);
}

TEST(RawToDouble, ReturnsAStoredDoubleAsItIs) {
    EXPECT_EQ(double_of<gdouble>("d", -0.1), -0.1);
}

TEST(RawToDouble, ConvertsSignedNumbersOfTheirWidth) {
    EXPECT_EQ(double_of<gint32>("i", -2147483647 - 1), -2147483648.0);
    EXPECT_EQ(double_of<gint16>("n", -2), -2.0);
}

TEST(RawToDouble, ConvertsUnsignedNumbersOfTheirWidth) {
    EXPECT_EQ(double_of<guint32>("u", 4294967295U), 4294967295.0);
    EXPECT_EQ(double_of<guint16>("q", 65535), 65535.0);
    EXPECT_EQ(double_of<guint8>("y", 200), 200.0);
}

TEST(RawToDouble, GivesZeroForABoolean) {
    EXPECT_EQ(double_of<guint8>("b", 1), 0.0);
}

TEST(RawToDouble, GivesZeroForAnyOtherType) {
    for (const char* type : {"s", "as", "x", "t", "h", "v", ""}) {
        EXPECT_EQ(double_of<guint64>(type, 0x4141414141414141U), 0.0) << type;
    }
}

TEST(RawToDouble, DoesNotConsultTheSize) {
    EXPECT_EQ(double_of<gint32>("i", 7, 0), 7.0);
    EXPECT_EQ(double_of<guint8>("y", 7, 4000), 7.0);
}

TEST(RawToDouble, GivesZeroForNullArguments) {
    const gint32 bytes = 1;
    EXPECT_EQ(pub_raw_to_double(nullptr, 4, &bytes), 0.0);
    EXPECT_EQ(pub_raw_to_double("i", 4, nullptr), 0.0);
}

TEST(RawToDouble, ReadsFromAnyAddress) {
    std::array<guint8, 16> bytes{};
    const gdouble number = 2.5;
    std::memcpy(bytes.data() + 3, &number, sizeof(number));
    EXPECT_EQ(pub_raw_to_double("d", 8, bytes.data() + 3), 2.5);
}

}  // namespace
