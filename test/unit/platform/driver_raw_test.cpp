// Values that lie in files as bytes: width, byte order, type, and stretches of bytes.
#include <bit>

#include "driver_fixture.hpp"

namespace mox::test {
namespace {

class RawAccessor : public DriverTest {
protected:
    // 16 bytes 0x80, 0x81, ... 0x8f.
    void register_raw(std::vector<NamedValue> properties) const {
        std::string content;
        for (int i = 0; i < 16; ++i) content += static_cast<char>(0x80 + i);
        properties.push_back(text("Kind", "raw"));
        register_on_content(content, std::move(properties));
    }
};

TEST_F(RawAccessor, ReadsEveryWidthInLittleOrder) {
    register_raw({number("Offset", 1), number("Width", 1), text("Order", "little")});
    EXPECT_EQ(read_whole<guint8>("A"), value_of<guint8>(0x81));
    register_raw({number("Offset", 1), number("Width", 2), text("Order", "little")});
    EXPECT_EQ(read_whole<guint16>("A"), value_of<guint16>(0x8281));
    register_raw({number("Offset", 1), number("Width", 4), text("Order", "little")});
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(0x84838281));
    register_raw({number("Offset", 1), number("Width", 8), text("Order", "little")});
    EXPECT_EQ(read_whole<guint64>("A"), value_of<guint64>(0x8887868584838281));
}

TEST_F(RawAccessor, ReadsEveryWidthInBigOrder) {
    register_raw({number("Width", 1), text("Order", "big")});
    EXPECT_EQ(read_whole<guint8>("A"), value_of<guint8>(0x80));
    register_raw({number("Width", 2), text("Order", "big")});
    EXPECT_EQ(read_whole<guint16>("A"), value_of<guint16>(0x8081));
    register_raw({number("Width", 4), text("Order", "big")});
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(0x80818283));
    register_raw({number("Width", 8), text("Order", "big")});
    EXPECT_EQ(read_whole<guint64>("A"), value_of<guint64>(0x8081828384858687));
}

TEST_F(RawAccessor, ReadsInThisMachinesOrderByDefault) {
    register_raw({number("Width", 2)});
    const guint16 expected = std::endian::native == std::endian::little ? 0x8180 : 0x8081;
    EXPECT_EQ(read_whole<guint16>("A"), value_of(expected));
}

TEST_F(RawAccessor, TakesTheWidthOfItsTypeByDefault) {
    register_raw({text("Type", "q"), text("Order", "big")});
    EXPECT_EQ(read_whole<guint16>("A"), value_of<guint16>(0x8081));
}

TEST_F(RawAccessor, WidensByTheSignOfItsType) {
    register_raw({number("Width", 1), text("Type", "i")});
    EXPECT_EQ(read_whole<gint32>("A"), value_of<gint32>(-128));
    register_raw({number("Width", 2), text("Order", "big"), text("Type", "u")});
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(0x8081));
    register_raw({number("Width", 1), text("Type", "n")});
    EXPECT_EQ(read_whole<gint16>("A"), value_of<gint16>(-128));
}

TEST_F(RawAccessor, ReadsARealOfEightBytes) {
    const double number_in_file = -12.75;
    std::string content(8, '\0');
    std::memcpy(content.data(), &number_in_file, 8);
    std::string reversed{content.rbegin(), content.rend()};
    register_on_content(content + reversed, {text("Kind", "raw"), text("Type", "d")});
    EXPECT_EQ(read_whole<double>("A"), value_of(-12.75));
    const char* other = std::endian::native == std::endian::little ? "big" : "little";
    register_accessor(
        "A", "C",
        {text("Kind", "raw"), text("Type", "d"), number("Offset", 8), text("Order", other)});
    EXPECT_EQ(read_whole<double>("A"), value_of(-12.75));
}

TEST_F(RawAccessor, ReadsABooleanOfZeroOrOneOnly) {
    register_on_content(std::string{"\0\1\2", 3}, {text("Kind", "raw"), text("Type", "b")});
    EXPECT_EQ(read_whole<guint8>("A"), value_of<guint8>(0));
    register_accessor("A", "C", {text("Kind", "raw"), text("Type", "b"), number("Offset", 1)});
    EXPECT_EQ(read_whole<guint8>("A"), value_of<guint8>(1));
    register_accessor("A", "C", {text("Kind", "raw"), text("Type", "b"), number("Offset", 2)});
    EXPECT_EQ(read_whole<guint8>("A").code, DRIVER_ERR_MALFORMED);
}

TEST_F(RawAccessor, AcceptsItsWidthAsAByte) {
    register_raw({{"Width", g_variant_new_byte(2)}, text("Order", "big")});
    EXPECT_EQ(read_whole<guint16>("A"), value_of<guint16>(0x8081));
}

TEST_F(RawAccessor, DeliversAStretchOfBytesRelativeToItsOffset) {
    register_raw({number("Offset", 4), number("Width", 2), text("Order", "big")});
    std::array<unsigned char, 6> block{};
    ASSERT_EQ(accessor_read("A", 2, block.size(), block.data()), DRIVER_OK);
    EXPECT_EQ(block, (std::array<unsigned char, 6>{0x86, 0x87, 0x88, 0x89, 0x8a, 0x8b}));
}

TEST_F(RawAccessor, DoesNotTurnTheBytesOfAStretchRound) {
    register_raw({number("Width", 2), text("Order", "little")});
    std::array<unsigned char, 2> block{};
    ASSERT_EQ(accessor_read("A", 0, 2, block.data()), DRIVER_OK);
    EXPECT_EQ(block, (std::array<unsigned char, 2>{0x80, 0x81}));
}

TEST_F(RawAccessor, SaysWhenTheValueLiesBehindTheEnd) {
    register_raw({number("Offset", 14), number("Width", 4)});
    EXPECT_EQ(read_whole<guint32>("A").code, DRIVER_ERR_NO_VALUE);
    register_raw({number("Offset", 4000000000U), number("Width", 4)});
    EXPECT_EQ(read_whole<guint32>("A").code, DRIVER_ERR_NO_VALUE);
}

TEST_F(RawAccessor, SaysWhenAStretchReachesBehindTheEnd) {
    register_raw({number("Width", 4)});
    std::array<unsigned char, 17> block{};
    EXPECT_EQ(accessor_read("A", 0, 17, block.data()), DRIVER_ERR_NO_VALUE);
}

TEST_F(RawAccessor, ReadsFarIntoALargeFile) {
    register_chip("C", write_file("value", ""));
    std::filesystem::resize_file(path_of("value"), 5'000'000'000ULL);
    register_accessor("A", "C",
                      {text("Kind", "raw"),
                       number("Width", 4),
                       {"Offset", g_variant_new_uint64(4'999'999'996ULL)}});
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(0));
}

TEST_F(RawAccessor, ReadsADeviceNode) {
    register_chip("C", "/dev/zero");
    register_accessor("A", "C", {text("Kind", "raw"), text("Type", "u")});
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(0));
}

TEST_F(RawAccessor, ReadsAFileBelowTheChipsDirectory) {
    write_file("config", "\x01\x02");
    register_chip("C", directory());
    register_accessor(
        "A", "C",
        {text("Kind", "raw"), text("File", "config"), number("Width", 2), text("Order", "big")});
    EXPECT_EQ(read_whole<guint16>("A"), value_of<guint16>(0x0102));
}

}  // namespace
}  // namespace mox::test
