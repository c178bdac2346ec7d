// Values that lie in text files: fields, named lines, attributes, and what counts as a number.
#include <limits>

#include "driver_fixture.hpp"

namespace mox::test {
namespace {

class FieldAccessor : public DriverTest {};
class LineAccessor : public DriverTest {};
class AttributeAccessor : public DriverTest {};
class NumberInText : public DriverTest {
protected:
    template <typename Number>
    Reading<Number> read_number(const std::string& content, const char* type,
                                std::vector<NamedValue> more = {}) const {
        more.push_back(text("Kind", "attribute"));
        more.push_back(text("Type", type));
        register_on_content(content, std::move(more));
        return read_whole<Number>("A");
    }
};

const char* const meminfo =
    "MemTotal:        8000000 kB\n"
    "MemFree:          123456 kB\n"
    "HugePages_Total:       0\n";

TEST_F(FieldAccessor, CountsFieldsFromOneOverTheWholeFile) {
    register_on_content(" 11 22\t33\n44\n",
                        {text("Kind", "field"), number("Field", 4), text("Type", "i")});
    EXPECT_EQ(read_whole<gint32>("A"), value_of<gint32>(44));
}

TEST_F(FieldAccessor, CountsFieldsInsideTheLineOfItsNumber) {
    register_on_content("1 2 3\n\n4 5 6\n", {text("Kind", "field"), number("LineNumber", 3),
                                             number("Field", 2), text("Type", "i")});
    EXPECT_EQ(read_whole<gint32>("A"), value_of<gint32>(5));
}

TEST_F(FieldAccessor, DoesNotTakeAFieldOfTheNextLine) {
    register_on_content("1 2\n3 4\n", {text("Kind", "field"), number("LineNumber", 1),
                                       number("Field", 3), text("Type", "i")});
    EXPECT_EQ(read_whole<gint32>("A").code, DRIVER_ERR_NO_VALUE);
}

TEST_F(FieldAccessor, SaysWhenTheLineIsNotThere) {
    register_on_content("1 2\n3 4\n", {text("Kind", "field"), number("LineNumber", 3),
                                       number("Field", 1), text("Type", "i")});
    EXPECT_EQ(read_whole<gint32>("A").code, DRIVER_ERR_NO_VALUE);
}

TEST_F(FieldAccessor, SaysWhenTheFieldIsNotThere) {
    register_on_content("1 2 3\n", {text("Kind", "field"), number("Field", 4), text("Type", "i")});
    EXPECT_EQ(read_whole<gint32>("A").code, DRIVER_ERR_NO_VALUE);
}

TEST_F(FieldAccessor, ReadsTheLastLineWithoutALineEnd) {
    register_on_content("1\n2", {text("Kind", "field"), number("LineNumber", 2), number("Field", 1),
                                 text("Type", "y")});
    EXPECT_EQ(read_whole<guint8>("A"), value_of<guint8>(2));
}

TEST_F(FieldAccessor, SeesWhatTheFileHoldsNow) {
    register_on_content("1\n", {text("Kind", "field"), number("Field", 1), text("Type", "i")});
    ASSERT_EQ(read_whole<gint32>("A"), value_of<gint32>(1));
    write_file("value", "2\n");
    EXPECT_EQ(read_whole<gint32>("A"), value_of<gint32>(2));
}

TEST_F(FieldAccessor, DeliversASliceOfTheEncodedValue) {
    register_on_content("258\n", {text("Kind", "field"), number("Field", 1), text("Type", "u")});
    const guint32 whole = 258;
    std::array<unsigned char, 2> slice{};
    ASSERT_EQ(accessor_read("A", 1, 2, slice.data()), DRIVER_OK);
    EXPECT_EQ(std::memcmp(slice.data(), reinterpret_cast<const char*>(&whole) + 1, 2), 0);
}

TEST_F(FieldAccessor, RefusesASliceBeyondTheEncodedValue) {
    register_on_content("258\n", {text("Kind", "field"), number("Field", 1), text("Type", "u")});
    std::array<unsigned char, 8> slice{};
    EXPECT_EQ(accessor_read("A", 3, 2, slice.data()), DRIVER_ERR_RANGE);
    EXPECT_EQ(accessor_read("A", 5, 1, slice.data()), DRIVER_ERR_RANGE);
    EXPECT_EQ(accessor_read("A", 0, 5, slice.data()), DRIVER_ERR_RANGE);
}

TEST_F(LineAccessor, TakesTheFirstFieldBehindTheNameByDefault) {
    register_on_content(meminfo,
                        {text("Kind", "line"), text("Line", "MemFree"), text("Type", "u")});
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(123456));
}

TEST_F(LineAccessor, IgnoresAColonAtTheEndOfTheGivenName) {
    register_on_content("user 1\nnice 2\n",
                        {text("Kind", "line"), text("Line", "nice:"), text("Type", "i")});
    EXPECT_EQ(read_whole<gint32>("A"), value_of<gint32>(2));
}

TEST_F(LineAccessor, IgnoresBlanksBeforeTheName) {
    register_on_content(
        "Inter| x\n  eth0: 100 200\n    lo: 300 400\n",
        {text("Kind", "line"), text("Line", "lo"), number("Field", 2), text("Type", "i")});
    EXPECT_EQ(read_whole<gint32>("A"), value_of<gint32>(400));
}

TEST_F(LineAccessor, SkipsAColonThatStandsAlone) {
    register_on_content("processor\t: 0\ncache size\t: 512 KB\n",
                        {text("Kind", "line"), text("Line", "processor"), text("Type", "u")});
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(0));
}

TEST_F(LineAccessor, KnowsNamesOfSeveralWords) {
    register_on_content("cpu family\t: 6\ncpu MHz\t\t: 2400.125\n",
                        {text("Kind", "line"), text("Line", "cpu MHz"), text("Type", "d")});
    EXPECT_EQ(read_whole<double>("A"), value_of(2400.125));
}

TEST_F(LineAccessor, TakesTheFirstOfSeveralLinesOfTheName) {
    register_on_content("cpu0 1\nx 5\nx 6\n",
                        {text("Kind", "line"), text("Line", "x"), text("Type", "i")});
    EXPECT_EQ(read_whole<gint32>("A"), value_of<gint32>(5));
}

TEST_F(LineAccessor, DoesNotTakeALineThatOnlyBeginsLikeTheName) {
    register_on_content("MemFreeze: 9\nMemFree: 8\n",
                        {text("Kind", "line"), text("Line", "MemFree"), text("Type", "i")});
    EXPECT_EQ(read_whole<gint32>("A"), value_of<gint32>(8));
}

TEST_F(LineAccessor, SaysWhenTheLineIsNotThere) {
    register_on_content(meminfo,
                        {text("Kind", "line"), text("Line", "SwapTotal"), text("Type", "u")});
    EXPECT_EQ(read_whole<guint32>("A").code, DRIVER_ERR_NO_VALUE);
}

TEST_F(LineAccessor, SaysWhenTheLineHasNoSuchField) {
    register_on_content(meminfo, {text("Kind", "line"), text("Line", "HugePages_Total"),
                                  number("Field", 2), text("Type", "u")});
    EXPECT_EQ(read_whole<guint32>("A").code, DRIVER_ERR_NO_VALUE);
}

TEST_F(LineAccessor, CallsAUnitMalformed) {
    register_on_content(meminfo, {text("Kind", "line"), text("Line", "MemFree"), number("Field", 2),
                                  text("Type", "u")});
    EXPECT_EQ(read_whole<guint32>("A").code, DRIVER_ERR_MALFORMED);
}

TEST_F(AttributeAccessor, ReadsTheFileBelowTheChipsDirectory) {
    std::filesystem::create_directory(path_of("statistics"));
    write_file("statistics/rx_bytes", "77\n");
    register_chip("C", directory());
    register_accessor(
        "A", "C",
        {text("Kind", "attribute"), text("File", "statistics/rx_bytes"), text("Type", "u")});
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(77));
}

TEST_F(AttributeAccessor, ReadsTheChipsFileWhenItNamesNone) {
    register_on_content(" 42 \n", {text("Kind", "attribute"), text("Type", "u")});
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(42));
}

TEST_F(AttributeAccessor, TakesTheWholeContentAsTheValue) {
    register_on_content("42 43\n", {text("Kind", "attribute"), text("Type", "u")});
    EXPECT_EQ(read_whole<guint32>("A").code, DRIVER_ERR_MALFORMED);
}

TEST_F(AttributeAccessor, DeliversAStretchOfItsText) {
    register_on_content("performance\n", {text("Kind", "attribute"), text("Type", "u")});
    std::array<char, 4> letters{};
    ASSERT_EQ(accessor_read("A", 3, letters.size(), letters.data()), DRIVER_OK);
    EXPECT_EQ(std::string(letters.data(), letters.size()), "form");
}

TEST_F(AttributeAccessor, RefusesAStretchBeyondItsText) {
    register_on_content("performance\n", {text("Kind", "attribute"), text("Type", "u")});
    std::array<char, 16> letters{};
    EXPECT_EQ(accessor_read("A", 0, 12, letters.data()), DRIVER_ERR_RANGE);
}

TEST_F(NumberInText, FillsEveryTypeToItsLimits) {
    EXPECT_EQ(read_number<guint8>("1\n", "b"), value_of<guint8>(1));
    EXPECT_EQ(read_number<guint8>("255\n", "y"), value_of<guint8>(255));
    EXPECT_EQ(read_number<gint16>("-32768\n", "n"), value_of<gint16>(-32768));
    EXPECT_EQ(read_number<gint16>("32767\n", "n"), value_of<gint16>(32767));
    EXPECT_EQ(read_number<guint16>("65535\n", "q"), value_of<guint16>(65535));
    EXPECT_EQ(read_number<gint32>("-2147483648\n", "i"),
              value_of(std::numeric_limits<gint32>::min()));
    EXPECT_EQ(read_number<gint32>("2147483647\n", "i"),
              value_of(std::numeric_limits<gint32>::max()));
    EXPECT_EQ(read_number<guint32>("4294967295\n", "u"),
              value_of(std::numeric_limits<guint32>::max()));
    EXPECT_EQ(read_number<double>("-0.5e3\n", "d"), value_of(-500.0));
}

TEST_F(NumberInText, IsMalformedBeyondTheLimitsOfItsType) {
    EXPECT_EQ(read_number<guint8>("2", "b").code, DRIVER_ERR_MALFORMED);
    EXPECT_EQ(read_number<guint8>("256", "y").code, DRIVER_ERR_MALFORMED);
    EXPECT_EQ(read_number<gint16>("32768", "n").code, DRIVER_ERR_MALFORMED);
    EXPECT_EQ(read_number<gint16>("-32769", "n").code, DRIVER_ERR_MALFORMED);
    EXPECT_EQ(read_number<guint16>("65536", "q").code, DRIVER_ERR_MALFORMED);
    EXPECT_EQ(read_number<gint32>("2147483648", "i").code, DRIVER_ERR_MALFORMED);
    EXPECT_EQ(read_number<guint32>("4294967296", "u").code, DRIVER_ERR_MALFORMED);
    EXPECT_EQ(read_number<guint32>("99999999999999999999999", "u").code, DRIVER_ERR_MALFORMED);
    EXPECT_EQ(read_number<double>("1e999", "d").code, DRIVER_ERR_MALFORMED);
}

TEST_F(NumberInText, IsMalformedWhenNegativeForAnUnsignedType) {
    EXPECT_EQ(read_number<guint8>("-1", "y").code, DRIVER_ERR_MALFORMED);
    EXPECT_EQ(read_number<guint32>("-1", "u").code, DRIVER_ERR_MALFORMED);
}

TEST_F(NumberInText, IsMalformedWithAnythingBesideDigits) {
    for (const char* garbage :
         {"12x", "x12", "1.0", "1e3", "+5", "0x10", "--5", "1,5", "-", "five", "12\0013"}) {
        EXPECT_EQ(read_number<gint32>(garbage, "i").code, DRIVER_ERR_MALFORMED) << garbage;
    }
}

TEST_F(NumberInText, IsMalformedAsARealWithAnythingBesideANumber) {
    for (const char* garbage : {"1.5V", "1,5", "nan", "inf", "-infinity", "0x1p3", ".", "1.5.2"}) {
        EXPECT_EQ(read_number<double>(garbage, "d").code, DRIVER_ERR_MALFORMED) << garbage;
    }
}

TEST_F(NumberInText, IsMalformedWithANulInside) {
    EXPECT_EQ(read_number<gint32>(std::string{"1\0002", 3}, "i").code, DRIVER_ERR_MALFORMED);
}

TEST_F(NumberInText, IsReadInBaseSixteenOnRequest) {
    EXPECT_EQ(read_number<guint16>("0x1af4\n", "q", {text("Format", "hex")}),
              value_of<guint16>(0x1af4));
    EXPECT_EQ(read_number<guint32>("FFFFFFFF\n", "u", {text("Format", "hex")}),
              value_of<guint32>(0xFFFFFFFF));
}

TEST_F(NumberInText, IsMalformedInBaseSixteenBeyondItsTypeOrDigits) {
    EXPECT_EQ(read_number<guint16>("0x10000", "q", {text("Format", "hex")}).code,
              DRIVER_ERR_MALFORMED);
    EXPECT_EQ(read_number<guint16>("0x", "q", {text("Format", "hex")}).code, DRIVER_ERR_MALFORMED);
    EXPECT_EQ(read_number<guint16>("0xg", "q", {text("Format", "hex")}).code, DRIVER_ERR_MALFORMED);
    EXPECT_EQ(read_number<gint16>("-0x1", "n", {text("Format", "hex")}).code, DRIVER_ERR_MALFORMED);
    EXPECT_EQ(read_number<gint16>("0x-1", "n", {text("Format", "hex")}).code, DRIVER_ERR_MALFORMED);
}

TEST_F(NumberInText, IsMultipliedByItsScaleAndRoundedAwayFromZero) {
    EXPECT_EQ(read_number<guint32>("0.52\n", "u", {real("Scale", 100)}), value_of<guint32>(52));
    EXPECT_EQ(read_number<gint32>("5\n", "i", {real("Scale", 0.5)}), value_of<gint32>(3));
    EXPECT_EQ(read_number<gint32>("-5\n", "i", {real("Scale", 0.5)}), value_of<gint32>(-3));
    EXPECT_EQ(read_number<double>("45500\n", "d", {real("Scale", 0.5)}), value_of(22750.0));
}

TEST_F(NumberInText, IsMalformedWhenItsScaledValueDoesNotFit) {
    EXPECT_EQ(read_number<guint32>("8000000\n", "u", {real("Scale", 1024)}).code,
              DRIVER_ERR_MALFORMED);
    EXPECT_EQ(read_number<guint8>("1\n", "y", {real("Scale", -1)}).code, DRIVER_ERR_MALFORMED);
    EXPECT_EQ(read_number<gint32>("1e300\n", "i", {real("Scale", 1e10)}).code,
              DRIVER_ERR_MALFORMED);
    EXPECT_EQ(read_number<double>("1e300\n", "d", {real("Scale", 1e10)}).code,
              DRIVER_ERR_MALFORMED);
}

TEST_F(NumberInText, IsNotScaledByAScaleOfZero) {
    EXPECT_EQ(read_number<gint32>("5\n", "i", {real("Scale", 0)}), value_of<gint32>(5));
}

TEST_F(FieldAccessor, ReadsAFileOfManyBlocks) {
    std::string content;
    for (int i = 0; i < 10000; ++i) content += std::to_string(i) + "\n";
    register_on_content(content,
                        {text("Kind", "field"), number("Field", 10000), text("Type", "u")});
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(9999));
}

TEST_F(FieldAccessor, SaysWhenTheValueMayLieBehindTheTextThatIsLookedAt) {
    register_on_content(std::string(70000, ' ') + "5\n",
                        {text("Kind", "field"), number("Field", 1), text("Type", "u")});
    EXPECT_EQ(read_whole<guint32>("A").code, DRIVER_ERR_TOO_LONG);
}

TEST_F(FieldAccessor, NeverTakesANumberThatIsCutInTwo) {
    // The number begins inside the 65536 characters that are looked at and ends behind them.
    register_on_content(std::string(65534, ' ') + "12345\n",
                        {text("Kind", "field"), number("Field", 1), text("Type", "u")});
    EXPECT_EQ(read_whole<guint32>("A").code, DRIVER_ERR_TOO_LONG);
}

TEST_F(FieldAccessor, TakesANumberThatEndsWithTheLongestText) {
    register_on_content(std::string(65531, ' ') + "12345",
                        {text("Kind", "field"), number("Field", 1), text("Type", "u")});
    EXPECT_EQ(read_whole<guint32>("A"), value_of<guint32>(12345));
}

TEST_F(AttributeAccessor, SaysWhenItsTextIsTooLong) {
    register_on_content("5" + std::string(70000, ' '),
                        {text("Kind", "attribute"), text("Type", "u")});
    EXPECT_EQ(read_whole<guint32>("A").code, DRIVER_ERR_TOO_LONG);
}

}  // namespace
}  // namespace mox::test
