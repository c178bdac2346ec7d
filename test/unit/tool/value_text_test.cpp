// What is told of a text that is no value.
#include <gtest/gtest.h>
#include <value_text.hpp>
#include <verb.hpp>

#include <regex>
#include <string>

namespace mox::test {
namespace {

// The complaint about a text; "" when it is a value.
std::string complaint(const std::string& text, const std::string& type) {
    try {
        tool::value_of_text(text, type, "Object.Property");
    } catch (const tool::Failed& failure) {
        return failure.what();
    }
    return "";
}

TEST(RefusedValueText, IsToldWithPlacesThatLieInIt) {
    static const std::regex places(
        R"(\(characters ([0-9]+)(?:-([0-9]+))?(?:,([0-9]+)(?:-([0-9]+))?)?: )");
    int told = 0;
    for (const char* const type : {"i", "d", "b", "ai", "as", "a{sv}"}) {
        for (const std::string text :
             {"",     " ",       "[",         "[1", "[1, ", "[1, 'a']", "{",
              "{'a'", "{'a': <", "{'a', <1>", "(",  "(1",   "<",        "@",
              "@ai",  "@q 5",    "'",         "b'", "'\\",  "'\\u",     "just",
              "1 2",  "int32",   "uint32 ",   "0x", "1e",   "--",       "-",
              "[[",   "[,",      "]",         "\\", "%s",   "5e-324",   "99999999999999999999"}) {
            const std::string cause = complaint(text, type);
            EXPECT_EQ(cause.find("(: "), std::string::npos) << cause;
            std::smatch match;
            if (!std::regex_search(cause, match, places)) continue;
            ++told;
            for (std::size_t at = 1; at < match.size(); ++at) {
                const std::string place = match[at].str();
                EXPECT_LE(place.empty() ? 0 : std::stoull(place), text.size()) << cause;
            }
        }
    }
    EXPECT_GT(told, 20);
}

TEST(RefusedValueText, IsToldWithoutAPlaceThatLiesBeyondIt) {
    EXPECT_EQ(tool::cause_of("1-2:expected value", "[1"), "characters 1-2: expected value");
    EXPECT_EQ(tool::cause_of("1-3:expected value", "[1"), "expected value");
    EXPECT_EQ(tool::cause_of("0,4294967295:no common type", "[1"), "no common type");
    EXPECT_EQ(tool::cause_of("no place: here", "[1"), "no place: here");
}

TEST(RefusedValueText, HasAnEscapeThatStandsForNoCharacter) {
    for (const char* const text :
         {R"('\ud800')", R"("\udfff")", R"('a\U00110000b')", R"('\\\ud900)"}) {
        EXPECT_NE(complaint(text, "s").find("stands for no character"), std::string::npos) << text;
    }
    for (const char* const text :
         {R"('\\ud800')", R"('\U0010ffff')", R"('\ud7ff')", R"(C:\ud800)"}) {
        EXPECT_EQ(complaint(text, "s"), "") << text;
    }
    EXPECT_NE(complaint(R"(['x', '\ud800'])", "as").find("stands for no character"),
              std::string::npos);
}

TEST(RefusedValueText, OfANumberThatIsTooSmallIsToldHowToWriteIt) {
    EXPECT_NE(complaint("5e-324", "d").find("as 0x1p-1074"), std::string::npos);
    EXPECT_NE(complaint("[5e-324]", "ad").find("as 0x1p-1074"), std::string::npos);
    EXPECT_EQ(complaint("0x1p-1074", "d"), "");
    EXPECT_EQ(complaint("99999999999", "i").find("0x1p"), std::string::npos);
}

}  // namespace
}  // namespace mox::test
