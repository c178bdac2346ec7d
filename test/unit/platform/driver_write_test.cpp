// Writing through accessors: what reaches the file, and what is refused with the file left as it
// was.
#include <bit>
#include <cmath>

#include "driver_fixture.hpp"

namespace mox::test {
namespace {

template <typename Number>
gint32 write_whole(Number value) {
    return accessor_write("A", 0, sizeof value, &value);
}

class RawWrite : public DriverTest {};
class AttributeWrite : public DriverTest {
protected:
    void register_attribute(const char* type, std::vector<NamedValue> more = {}) const {
        more.push_back(text("Kind", "attribute"));
        more.push_back(text("Type", type));
        register_on_content("123456\n", std::move(more));
    }
};
class TextWrite : public DriverTest {};

TEST_F(RawWrite, StoresTheValueInTheChipsByteOrder) {
    register_on_content("abcdefgh", {text("Kind", "raw"), number("Offset", 2), text("Type", "u"),
                                     text("Order", "big")});
    ASSERT_EQ(write_whole<guint32>(0x31323334), DRIVER_OK);
    EXPECT_EQ(file_content("value"), "ab1234gh");
    register_accessor(
        "A", "C",
        {text("Kind", "raw"), number("Offset", 2), text("Type", "u"), text("Order", "little")});
    ASSERT_EQ(write_whole<guint32>(0x31323334), DRIVER_OK);
    EXPECT_EQ(file_content("value"), "ab4321gh");
}

TEST_F(RawWrite, IsReadBackAsTheSameValue) {
    register_on_content(std::string(16, 'x'), {text("Kind", "raw"), number("Offset", 3),
                                               text("Type", "d"), text("Order", "big")});
    ASSERT_EQ(write_whole<double>(-1.0 / 3), DRIVER_OK);
    EXPECT_EQ(read_whole<double>("A"), value_of(-1.0 / 3));
}

TEST_F(RawWrite, NarrowsANumberThatFits) {
    register_on_content("abcd", {text("Kind", "raw"), number("Offset", 1), number("Width", 2),
                                 text("Type", "i"), text("Order", "big")});
    ASSERT_EQ(write_whole<gint32>(-2), DRIVER_OK);
    EXPECT_EQ(file_content("value"),
              "a\xff\xfe"
              "d");
    EXPECT_EQ(read_whole<gint32>("A"), value_of<gint32>(-2));
}

TEST_F(RawWrite, RefusesANumberThatDoesNotFit) {
    register_on_content("abcd", {text("Kind", "raw"), number("Width", 1), text("Type", "i")});
    EXPECT_EQ(write_whole<gint32>(128), DRIVER_ERR_REFUSED);
    EXPECT_EQ(write_whole<gint32>(-129), DRIVER_ERR_REFUSED);
    EXPECT_EQ(file_content("value"), "abcd");
}

TEST_F(RawWrite, RefusesABooleanThatIsNone) {
    register_on_content("a", {text("Kind", "raw"), text("Type", "b")});
    EXPECT_EQ(write_whole<guint8>(2), DRIVER_ERR_REFUSED);
    EXPECT_EQ(file_content("value"), "a");
}

TEST_F(RawWrite, StoresAStretchOfBytesAsItIs) {
    register_on_content("abcdefgh", {text("Kind", "raw"), number("Offset", 1), number("Width", 2),
                                     text("Order", "big")});
    ASSERT_EQ(accessor_write("A", 2, 3, "XYZ"), DRIVER_OK);
    EXPECT_EQ(file_content("value"), "abcXYZgh");
}

TEST_F(RawWrite, StoresAStretchThatBeginsAtItsOffset) {
    register_on_content("abcdefgh", {text("Kind", "raw"), number("Offset", 1), number("Width", 2),
                                     text("Order", "big")});
    ASSERT_EQ(accessor_write("A", 0, 3, "XYZ"), DRIVER_OK);
    EXPECT_EQ(file_content("value"), "aXYZefgh");
}

TEST_F(RawWrite, DoesNotMakeAFileLonger) {
    register_on_content("abcd", {text("Kind", "raw"), number("Offset", 2), number("Width", 4)});
    EXPECT_EQ(write_whole<guint32>(1), DRIVER_ERR_NO_VALUE);
    EXPECT_EQ(accessor_write("A", 100, 1, "X"), DRIVER_ERR_NO_VALUE);
    EXPECT_EQ(file_content("value"), "abcd");
}

TEST_F(RawWrite, DoesNotCreateAFile) {
    register_chip("C", path_of("absent"));
    register_accessor("A", "C", {text("Kind", "raw"), number("Width", 4)});
    EXPECT_EQ(write_whole<guint32>(1), DRIVER_ERR_NO_FILE);
    EXPECT_FALSE(std::filesystem::exists(path_of("absent")));
}

TEST_F(RawWrite, FailsWhenTheDeviceIsFull) {
    register_chip("C", "/dev/full");
    register_accessor("A", "C", {text("Kind", "raw"), number("Width", 4)});
    EXPECT_EQ(write_whole<guint32>(1), DRIVER_ERR_IO);
}

TEST_F(AttributeWrite, ReplacesTheTextByTheNumberAndALineEnd) {
    register_attribute("i");
    ASSERT_EQ(write_whole<gint32>(-7), DRIVER_OK);
    EXPECT_EQ(file_content("value"), "-7\n");
}

TEST_F(AttributeWrite, WritesEveryType) {
    register_attribute("b");
    ASSERT_EQ(write_whole<guint8>(1), DRIVER_OK);
    EXPECT_EQ(file_content("value"), "1\n");
    register_attribute("y");
    ASSERT_EQ(write_whole<guint8>(255), DRIVER_OK);
    EXPECT_EQ(file_content("value"), "255\n");
    register_attribute("n");
    ASSERT_EQ(write_whole<gint16>(-32768), DRIVER_OK);
    EXPECT_EQ(file_content("value"), "-32768\n");
    register_attribute("q");
    ASSERT_EQ(write_whole<guint16>(65535), DRIVER_OK);
    EXPECT_EQ(file_content("value"), "65535\n");
    register_attribute("u");
    ASSERT_EQ(write_whole<guint32>(4294967295U), DRIVER_OK);
    EXPECT_EQ(file_content("value"), "4294967295\n");
    register_attribute("d");
    ASSERT_EQ(write_whole<double>(0.1), DRIVER_OK);
    EXPECT_EQ(file_content("value"), "0.1\n");
}

TEST_F(AttributeWrite, DividesByTheScale) {
    register_attribute("d", {real("Scale", 0.001)});
    ASSERT_EQ(write_whole<double>(0.7), DRIVER_OK);
    EXPECT_EQ(file_content("value"), "700\n");
    register_attribute("u", {real("Scale", 100)});
    ASSERT_EQ(write_whole<guint32>(52), DRIVER_OK);
    EXPECT_EQ(file_content("value"), "0.52\n");
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(52));
}

TEST_F(AttributeWrite, WritesWholeDigitsOfALargeQuotient) {
    register_attribute("u", {real("Scale", 1e-9)});
    ASSERT_EQ(write_whole<guint32>(2000000000), DRIVER_OK);
    EXPECT_EQ(file_content("value"), "2000000000000000000\n");
}

TEST_F(AttributeWrite, WritesBaseSixteenOnRequest) {
    register_attribute("q", {text("Format", "hex")});
    ASSERT_EQ(write_whole<guint16>(0x1af4), DRIVER_OK);
    EXPECT_EQ(file_content("value"), "0x1af4\n");
}

TEST_F(AttributeWrite, RefusesANegativeNumberInBaseSixteen) {
    register_attribute("i", {text("Format", "hex")});
    EXPECT_EQ(write_whole<gint32>(-1), DRIVER_ERR_REFUSED);
    EXPECT_EQ(file_content("value"), "123456\n");
}

TEST_F(AttributeWrite, RefusesWhatIsNoNumber) {
    register_attribute("d");
    EXPECT_EQ(write_whole<double>(std::nan("")), DRIVER_ERR_REFUSED);
    EXPECT_EQ(write_whole<double>(HUGE_VAL), DRIVER_ERR_REFUSED);
    EXPECT_EQ(file_content("value"), "123456\n");
}

TEST_F(AttributeWrite, RefusesAByteThatIsNoBoolean) {
    register_attribute("b");
    EXPECT_EQ(write_whole<guint8>(2), DRIVER_ERR_REFUSED);
    EXPECT_EQ(file_content("value"), "123456\n");
}

TEST_F(AttributeWrite, TakesTheWholeValueOnly) {
    register_attribute("u");
    EXPECT_EQ(accessor_write("A", 0, 2, "12"), DRIVER_ERR_RANGE);
    EXPECT_EQ(accessor_write("A", 1, 4, "1234"), DRIVER_ERR_RANGE);
    EXPECT_EQ(accessor_write("A", 0, 8, "12345678"), DRIVER_ERR_RANGE);
    EXPECT_EQ(file_content("value"), "123456\n");
}

TEST_F(AttributeWrite, DoesNotCreateAFile) {
    register_chip("C", directory());
    register_accessor("A", "C",
                      {text("Kind", "attribute"), text("File", "absent"), text("Type", "u")});
    EXPECT_EQ(write_whole<guint32>(1), DRIVER_ERR_NO_FILE);
    EXPECT_FALSE(std::filesystem::exists(path_of("absent")));
}

TEST_F(AttributeWrite, FailsWhenTheDeviceIsFull) {
    register_chip("C", "/dev/full");
    register_accessor("A", "C", {text("Kind", "attribute"), text("Type", "u")});
    EXPECT_EQ(write_whole<guint32>(1), DRIVER_ERR_IO);
}

TEST_F(TextWrite, FieldsAreReadOnly) {
    register_on_content("1 2\n", {text("Kind", "field"), number("Field", 1), text("Type", "u")});
    EXPECT_EQ(write_whole<guint32>(1), DRIVER_ERR_READ_ONLY);
    EXPECT_EQ(file_content("value"), "1 2\n");
}

TEST_F(TextWrite, LinesAreReadOnly) {
    register_on_content("a 2\n", {text("Kind", "line"), text("Line", "a"), text("Type", "u")});
    EXPECT_EQ(write_whole<guint32>(1), DRIVER_ERR_READ_ONLY);
    EXPECT_EQ(file_content("value"), "a 2\n");
}

}  // namespace
}  // namespace mox::test
