// Bounded copies: what fits is copied, what does not leaves an emptied destination and a code.
#include <gtest/gtest.h>
#include <moxplat/bounded.h>

#include <array>
#include <cstring>
#include <string>

namespace {

constexpr size_t absurd = MOXPLAT_RSIZE_MAX + 1;

// Eight bytes of 'x' and whether only zeros are left of them.
struct Eight {
    std::array<char, 8> bytes{'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x'};
    char* at() { return bytes.data(); }
    bool zeroed() const { return bytes == std::array<char, 8>{}; }
    std::string text() const { return std::string(bytes.data(), bytes.size()); }
};

using CopyFunction = int (*)(void*, size_t, const void*, size_t);

class BoundedCopy : public ::testing::TestWithParam<CopyFunction> {
protected:
    int copy(void* dest, size_t destsz, const void* src, size_t n) {
        return GetParam()(dest, destsz, src, n);
    }
};

TEST_P(BoundedCopy, CopiesWhatFitsExactly) {
    Eight dest;
    EXPECT_EQ(copy(dest.at(), 8, "abcdefgh", 8), 0);
    EXPECT_EQ(dest.text(), "abcdefgh");
}

TEST_P(BoundedCopy, LeavesTheRestOfTheDestinationAlone) {
    Eight dest;
    EXPECT_EQ(copy(dest.at(), 8, "abc", 3), 0);
    EXPECT_EQ(dest.text(), "abcxxxxx");
}

TEST_P(BoundedCopy, CopiesNothingForALengthOfZero) {
    Eight dest;
    EXPECT_EQ(copy(dest.at(), 8, "abc", 0), 0);
    EXPECT_EQ(dest.text(), "xxxxxxxx");
}

TEST_P(BoundedCopy, ZeroesTheDestinationWhenTheSourceIsOneByteTooLong) {
    Eight dest;
    EXPECT_EQ(copy(dest.at(), 8, "abcdefghi", 9), ERANGE);
    EXPECT_TRUE(dest.zeroed());
}

TEST_P(BoundedCopy, ZeroesNoMoreThanTheStatedSize) {
    Eight dest;
    EXPECT_EQ(copy(dest.at(), 3, "abcdef", 6), ERANGE);
    EXPECT_EQ(dest.text(), std::string("\0\0\0xxxxx", 8));
}

TEST_P(BoundedCopy, ZeroesTheDestinationWhenTheSourceIsNull) {
    Eight dest;
    EXPECT_EQ(copy(dest.at(), 8, nullptr, 3), EINVAL);
    EXPECT_TRUE(dest.zeroed());
}

TEST_P(BoundedCopy, RefusesANullDestination) {
    EXPECT_EQ(copy(nullptr, 8, "abc", 3), EINVAL);
}

TEST_P(BoundedCopy, TouchesNothingWhenTheSizeIsAbsurd) {
    Eight dest;
    EXPECT_EQ(copy(dest.at(), absurd, "abc", 3), EINVAL);
    EXPECT_EQ(dest.text(), "xxxxxxxx");
}

TEST_P(BoundedCopy, RefusesANegativeLengthThatBecameUnsigned) {
    Eight dest;
    EXPECT_EQ(copy(dest.at(), 8, "abc", static_cast<size_t>(-1)), ERANGE);
    EXPECT_TRUE(dest.zeroed());
}

INSTANTIATE_TEST_SUITE_P(MemmoveS, BoundedCopy, ::testing::Values(&memmove_s));
INSTANTIATE_TEST_SUITE_P(MemcpyS, BoundedCopy, ::testing::Values(&memcpy_s));

TEST(MemmoveS, CopiesBetweenOverlappingPlaces) {
    char text[] = "abcdefgh";
    EXPECT_EQ(memmove_s(text + 2, 6, text, 6), 0);
    EXPECT_STREQ(text, "ababcdef");
}

// The compiler must not see through these calls: it refuses to compile an overlap that it can
// prove.
const volatile CopyFunction unseen_memcpy_s = &memcpy_s;

TEST(MemcpyS, RefusesOverlappingPlacesAndZeroesTheDestination) {
    char text[] = "abcdefgh";
    EXPECT_EQ(unseen_memcpy_s(text + 2, 6, text, 6), ERANGE);
    EXPECT_EQ(std::string(text, 8), std::string("ab\0\0\0\0\0\0", 8));
    char other[] = "abcdefgh";
    EXPECT_EQ(unseen_memcpy_s(other, 4, other + 3, 4), ERANGE);
    EXPECT_EQ(std::string(other, 8), std::string("\0\0\0\0efgh", 8));
}

TEST(MemcpyS, CopiesBetweenPlacesThatTouch) {
    char text[] = "abcdefgh";
    EXPECT_EQ(unseen_memcpy_s(text + 4, 4, text, 4), 0);
    EXPECT_STREQ(text, "abcdabcd");
}

TEST(MemsetS, SetsTheAskedBytes) {
    Eight dest;
    EXPECT_EQ(memset_s(dest.at(), 8, 'y', 3), 0);
    EXPECT_EQ(dest.text(), "yyyxxxxx");
}

TEST(MemsetS, SetsNoByteBeyondTheDestination) {
    Eight dest;
    EXPECT_EQ(memset_s(dest.at(), 3, 'y', 8), ERANGE);
    EXPECT_EQ(dest.text(), "yyyxxxxx");
}

TEST(MemsetS, RefusesANullDestinationAndAbsurdSizes) {
    Eight dest;
    EXPECT_EQ(memset_s(nullptr, 8, 'y', 3), EINVAL);
    EXPECT_EQ(memset_s(dest.at(), absurd, 'y', 3), EINVAL);
    EXPECT_EQ(dest.text(), "xxxxxxxx");
    EXPECT_EQ(memset_s(dest.at(), 8, 'y', absurd), EINVAL);
    EXPECT_EQ(dest.text(), "yyyyyyyy");
}

TEST(StrncpyS, CopiesAStringThatJustFits) {
    Eight dest;
    EXPECT_EQ(strncpy_s(dest.at(), 8, "abcdefg", 100), 0);
    EXPECT_STREQ(dest.at(), "abcdefg");
}

TEST(StrncpyS, EmptiesTheDestinationWhenTheStringIsOneCharacterTooLong) {
    Eight dest;
    EXPECT_EQ(strncpy_s(dest.at(), 8, "abcdefgh", 100), ERANGE);
    EXPECT_EQ(dest.text(), std::string("\0xxxxxxx", 8));
}

TEST(StrncpyS, CopiesAtMostTheAskedCharactersAndTerminates) {
    Eight dest;
    EXPECT_EQ(strncpy_s(dest.at(), 8, "abcdefghij", 3), 0);
    EXPECT_EQ(dest.text(), std::string("abc\0xxxx", 8));
}

TEST(StrncpyS, ReadsNoFurtherThanTheAskedCharacters) {
    const std::array<char, 3> unterminated{'a', 'b', 'c'};
    Eight dest;
    EXPECT_EQ(strncpy_s(dest.at(), 8, unterminated.data(), unterminated.size()), 0);
    EXPECT_STREQ(dest.at(), "abc");
}

TEST(StrncpyS, CopiesAnEmptyString) {
    Eight dest;
    EXPECT_EQ(strncpy_s(dest.at(), 1, "", 5), 0);
    EXPECT_EQ(dest.text(), std::string("\0xxxxxxx", 8));
}

TEST(StrncpyS, EmptiesTheDestinationWhenTheSourceIsNull) {
    Eight dest;
    EXPECT_EQ(strncpy_s(dest.at(), 8, nullptr, 3), EINVAL);
    EXPECT_STREQ(dest.at(), "");
}

TEST(StrncpyS, RefusesAnOverlapAndEmptiesTheDestination) {
    char text[] = "abcdef";
    EXPECT_EQ(strncpy_s(text + 1, 5, text, 4), ERANGE);
    EXPECT_STREQ(text, "a");
    // The terminator alone would hit the source.
    char before[] = "xxabc";
    EXPECT_EQ(strncpy_s(before, 2, before + 1, 1), ERANGE);
}

TEST(StrncpyS, RefusesANullDestinationAndImpossibleSizes) {
    Eight dest;
    EXPECT_EQ(strncpy_s(nullptr, 8, "abc", 3), EINVAL);
    EXPECT_EQ(strncpy_s(dest.at(), 0, "abc", 3), EINVAL);
    EXPECT_EQ(strncpy_s(dest.at(), absurd, "abc", 3), EINVAL);
    EXPECT_EQ(dest.text(), "xxxxxxxx");
}

TEST(SnprintfS, ReturnsTheLengthOfATextThatFits) {
    Eight dest;
    EXPECT_EQ(snprintf_s(dest.at(), 8, "%d-%s", 42, "abc"), 6);
    EXPECT_STREQ(dest.at(), "42-abc");
}

TEST(SnprintfS, CutsTerminatesAndReturnsTheLengthOfTheWholeText) {
    Eight dest;
    const char* const text = "abcdefghij";
    EXPECT_EQ(snprintf_s(dest.at(), 4, "%s", text), 10);
    EXPECT_EQ(dest.text(), std::string("abc\0xxxx", 8));
}

TEST(SnprintfS, WritesOnlyTheTerminatorIntoOneByte) {
    Eight dest;
    const char* const text = "abc";
    EXPECT_EQ(snprintf_s(dest.at(), 1, "%s", text), 3);
    EXPECT_EQ(dest.text(), std::string("\0xxxxxxx", 8));
}

TEST(SnprintfS, RefusesANullDestinationAndImpossibleSizes) {
    Eight dest;
    EXPECT_LT(snprintf_s(nullptr, 8, "%d", 1), 0);
    EXPECT_LT(snprintf_s(dest.at(), 0, "%d", 1), 0);
    EXPECT_LT(snprintf_s(dest.at(), absurd, "%d", 1), 0);
    EXPECT_EQ(dest.text(), "xxxxxxxx");
}

// A format that the compiler cannot look into, through a va_list of its own.
int format_unseen(char* dest, size_t destsz, const char* format, ...) {
    va_list values;
    va_start(values, format);
    const int length = vsnprintf_s(dest, destsz, format, values);
    va_end(values);
    return length;
}

TEST(VsnprintfS, EmptiesTheDestinationWhenTheFormatIsNull) {
    Eight dest;
    EXPECT_LT(format_unseen(dest.at(), 8, nullptr), 0);
    EXPECT_STREQ(dest.at(), "");
}

TEST(VsnprintfS, TakesItsValuesFromTheList) {
    Eight dest;
    EXPECT_EQ(format_unseen(dest.at(), 8, "%d%c", 12, 'z'), 3);
    EXPECT_STREQ(dest.at(), "12z");
}

TEST(SnprintfS, EmptiesTheDestinationWhenTheTextCannotBeEncoded) {
    Eight dest;
    const wchar_t no_character[] = {static_cast<wchar_t>(0x7fffffff), 0};
    EXPECT_LT(snprintf_s(dest.at(), 8, "ab%ls", no_character), 0);
    EXPECT_STREQ(dest.at(), "");
}

}  // namespace
