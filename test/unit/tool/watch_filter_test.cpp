// How far values of each type are apart.
#include <gtest/gtest.h>
#include <watch_filter.hpp>

#include <cmath>
#include <limits>

namespace mox::tool {
namespace {

std::optional<double> apart(const char* before, const char* after) {
    const VariantPtr from(g_variant_parse(nullptr, before, nullptr, nullptr, nullptr));
    const VariantPtr to(g_variant_parse(nullptr, after, nullptr, nullptr, nullptr));
    return distance(from.get(), to.get());
}

TEST(ValueDistance, IsTheSameBothWays) {
    EXPECT_EQ(apart("5", "-3"), 8);
    EXPECT_EQ(apart("-3", "5"), 8);
    EXPECT_EQ(apart("uint32 7", "uint32 4294967295"), 4294967288.0);
    EXPECT_EQ(apart("1.5", "1.25"), 0.25);
}

TEST(ValueDistance, IsKnownForEveryTypeOfNumber) {
    EXPECT_EQ(apart("byte 255", "byte 0"), 255);
    EXPECT_EQ(apart("int16 -32768", "int16 32767"), 65535);
    EXPECT_EQ(apart("uint16 1", "uint16 3"), 2);
    EXPECT_EQ(apart("int64 -1", "int64 1"), 2);
    EXPECT_EQ(apart("uint64 1", "uint64 3"), 2);
}

TEST(ValueDistance, DoesNotOverflow) {
    EXPECT_EQ(apart("int64 -9223372036854775808", "int64 9223372036854775807"),
              18446744073709551615.0);
    EXPECT_EQ(apart("-2147483648", "2147483647"), 4294967295.0);
}

TEST(ValueDistance, OfNeighboursAmongLargeNumbersIsOne) {
    EXPECT_EQ(apart("uint64 18446744073709551615", "uint64 18446744073709551614"), 1);
    EXPECT_EQ(apart("int64 9223372036854775807", "int64 9223372036854775806"), 1);
}

TEST(ValueDistance, ToWhatIsNoNumberIsInfinite) {
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(apart("nan", "1.0"), infinity);
    EXPECT_EQ(apart("1.0", "nan"), infinity);
    EXPECT_EQ(apart("nan", "nan"), 0);
    EXPECT_EQ(apart("inf", "inf"), 0);
    EXPECT_EQ(apart("-inf", "inf"), infinity);
}

TEST(ValueDistance, IsThereForNumbersOnly) {
    EXPECT_EQ(apart("true", "false"), std::nullopt);
    EXPECT_EQ(apart("'a'", "'b'"), std::nullopt);
    EXPECT_EQ(apart("[1]", "[2]"), std::nullopt);
}

}  // namespace
}  // namespace mox::tool
