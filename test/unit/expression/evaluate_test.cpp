// Evaluating a formula: the operators on whole numbers, what becomes of a result in each type, and
// what a wrong formula gives.
#include <expression.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "pool_fixture.hpp"

namespace mox::test {
namespace {

using Texts = std::vector<std::string>;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct Inputs {
    double x = 0;
    double y = 0;
    double z = 0;
};

// The value with its type, such as "uint32 3", or "none".
std::string value_of(const char* type, const std::string& formula, Inputs inputs = {}) {
    GVariant* const value = exp_get_value(type, inputs.x, inputs.y, inputs.z, formula.c_str());
    if (value == nullptr) return "none";
    gchar* const text = g_variant_print(value, TRUE);
    const std::string result = text;
    g_free(text);
    g_variant_unref(value);
    return result;
}

double number_of(const std::string& formula, Inputs inputs = {}) {
    GVariant* const value = exp_get_value("d", inputs.x, inputs.y, inputs.z, formula.c_str());
    const double number = g_variant_get_double(value);
    g_variant_unref(value);
    return number;
}

class Formula : public PoolFixture {
protected:
    // What the body logs, each text without the module in front.
    template <typename Body>
    static Texts messages_of(Body&& body) {
        CapturedSyslog log;
        stdout_of(body);
        Texts texts;
        const std::string prefix =
            std::string("[ ") + DebugLevel::module() + " ] \x1b[0;31mERROR:\x1b[0m ";
        for (const SyslogLine& line : log.lines()) {
            texts.push_back(line.text.rfind(prefix, 0) == 0 ? line.text.substr(prefix.size())
                                                            : "other: " + line.text);
        }
        return texts;
    }
};

TEST_F(Formula, IsArithmeticOverItsInputs) {
    EXPECT_DOUBLE_EQ(number_of("X + 2 * Y - Z / 4", {1.5, 2.25, 8}), 4);
    EXPECT_DOUBLE_EQ(number_of("(X + 2) * Y", {1, 3, 0}), 9);
    EXPECT_DOUBLE_EQ(number_of("X ^ 2", {3, 0, 0}), 9);
    EXPECT_DOUBLE_EQ(number_of("sqrt(X)", {2, 0, 0}), std::sqrt(2.0));
    EXPECT_DOUBLE_EQ(number_of("X > Y ? X : Y", {3, 7, 0}), 7);
    EXPECT_DOUBLE_EQ(number_of("42"), 42);
}

TEST_F(Formula, GivesAFloatingValue) {
    GVariant* const value = exp_get_value("d", 0, 0, 0, "1");
    ASSERT_NE(value, nullptr);
    EXPECT_TRUE(g_variant_is_floating(value));
    g_variant_unref(value);
}

TEST_F(Formula, MasksBits) {
    EXPECT_EQ(number_of("X & 12", {255.9, 0, 0}), 12.0);
    EXPECT_EQ(value_of("y", "X & 12", {255.9, 0, 0}), "byte 0x0c");
    EXPECT_EQ(number_of("X & 15", {6.9, 0, 0}), 6.0);
    EXPECT_EQ(number_of("12 & X", {6.9, 0, 0}), 4.0);
}

TEST_F(Formula, JoinsBits) {
    EXPECT_EQ(number_of("X | 8", {5.9, 0, 0}), 13.0);
    EXPECT_EQ(number_of("X | Y", {1, 2.9, 0}), 3.0);
}

TEST_F(Formula, TakesRemainders) {
    EXPECT_EQ(number_of("X % 3", {7.8, 0, 0}), 1.0);
    EXPECT_EQ(number_of("X % Y", {7, 4.9, 0}), 3.0);
}

TEST_F(Formula, TakesNegativeNumbersAsTheirLow32Bits) {
    EXPECT_EQ(number_of("X & 255", {-1, 0, 0}), 255.0);
    EXPECT_EQ(number_of("X | 0", {-1, 0, 0}), 4294967295.0);
    EXPECT_EQ(number_of("X | 0", {-1.9, 0, 0}), 4294967295.0);
    EXPECT_EQ(number_of("X | 0", {-0.9, 0, 0}), 0.0);
    EXPECT_EQ(number_of("X % 10", {-1, 0, 0}), 5.0);
    EXPECT_EQ(number_of("7 % X", {-3, 0, 0}), 7.0);
    EXPECT_EQ(number_of("X % Y", {-1, -3, 0}), 2.0);
}

TEST_F(Formula, TakesNumbersBeyond32BitsAsTheirLowOnes) {
    EXPECT_EQ(number_of("X & Y", {4294967296.0 + 5, 7, 0}), 5.0);
    EXPECT_EQ(number_of("X | 0", {3 * 4294967296.0 + 7.5, 0, 0}), 7.0);
    EXPECT_EQ(number_of("X | 0", {-4294967296.0 - 1, 0, 0}), 4294967295.0);
    EXPECT_EQ(number_of("X | 0", {1e300, 0, 0}), 0.0);
    EXPECT_EQ(number_of("X | 0", {4294967295.0, 0, 0}), 4294967295.0);
}

TEST_F(Formula, TakesWhatIsNoNumberAsZeroInItsBits) {
    for (const double number : {kInfinity, -kInfinity, std::nan("")}) {
        EXPECT_EQ(number_of("X | 1", {number, 0, 0}), 1.0);
        EXPECT_EQ(number_of("X & 1", {number, 0, 0}), 0.0);
        EXPECT_EQ(number_of("X % 3", {number, 0, 0}), 0.0);
    }
}

TEST_F(Formula, BindsItsBitOperatorsAsMultiplication) {
    EXPECT_EQ(number_of("X & 12 + 1", {15, 0, 0}), 13.0);
    EXPECT_EQ(number_of("1 + X | 8", {1, 0, 0}), 10.0);
    EXPECT_EQ(number_of("10 - 7 % 4"), 7.0);
}

TEST_F(Formula, EvaluatesItsBitOperatorsFromTheLeft) {
    EXPECT_EQ(number_of("2 * 7 % 4"), 2.0);
    EXPECT_EQ(number_of("7 % 4 * 2"), 6.0);
    EXPECT_EQ(number_of("7 % 4 % 2"), 1.0);
    EXPECT_EQ(number_of("6 | 1 & 4"), 4.0);
}

TEST_F(Formula, GivesZeroForARemainderByZero) {
    double number = -1;
    const Texts messages = messages_of([&] { number = number_of("X % Y", {7, 0, 0}); });
    EXPECT_EQ(number, 0.0);
    EXPECT_EQ(messages, Texts{"mod operator right value is zero\n"});
}

TEST_F(Formula, TakesADivisorWithoutAWholePartForZero) {
    for (const double divisor : {0.9, -0.9, -0.0, 4294967296.0, 1e300, kInfinity, std::nan("")}) {
        double number = -1;
        const Texts messages = messages_of([&] { number = number_of("X % Y", {7, divisor, 0}); });
        EXPECT_EQ(number, 0.0) << divisor;
        EXPECT_EQ(messages, Texts{"mod operator right value is zero\n"}) << divisor;
    }
}

TEST_F(Formula, TellsOfARemainderByZeroOnceForEachEvaluation) {
    const Texts messages = messages_of([] {
        number_of("7 % 0");
        number_of("7 % 0");
    });
    EXPECT_EQ(messages.size(), 2U);
}

TEST_F(Formula, GoesOnBehindARemainderByZero) {
    double number = -1;
    messages_of([&] { number = number_of("7 % 0 + 5"); });
    EXPECT_EQ(number, 5.0);
}

TEST_F(Formula, DividesByZeroToInfinity) {
    EXPECT_EQ(number_of("X / Y", {1, 0, 0}), kInfinity);
    EXPECT_EQ(number_of("X / Y", {-1, 0, 0}), -kInfinity);
    EXPECT_TRUE(std::isnan(number_of("X / Y", {0, 0, 0})));
    EXPECT_EQ(messages_of([] { number_of("X / Y", {1, 0, 0}); }), Texts{});
}

TEST_F(Formula, GivesZeroForNoNumberInEveryWholeType) {
    for (const Inputs& inputs : {Inputs{1, 0, 0}, Inputs{-1, 0, 0}, Inputs{0, 0, 0}}) {
        EXPECT_EQ(value_of("i", "X / Y", inputs), "0");
        EXPECT_EQ(value_of("n", "X / Y", inputs), "int16 0");
        EXPECT_EQ(value_of("q", "X / Y", inputs), "uint16 0");
        EXPECT_EQ(value_of("u", "X / Y", inputs), "uint32 0");
        EXPECT_EQ(value_of("y", "X / Y", inputs), "byte 0x00");
    }
}

TEST_F(Formula, DropsTheFractionOfAWholeNumber) {
    EXPECT_EQ(value_of("i", "X", {2.9, 0, 0}), "2");
    EXPECT_EQ(value_of("i", "X", {-2.9, 0, 0}), "-2");
    EXPECT_EQ(value_of("n", "X", {-2.9, 0, 0}), "int16 -2");
    EXPECT_EQ(value_of("q", "X", {2.9, 0, 0}), "uint16 2");
    EXPECT_EQ(value_of("u", "X", {4294967295.9, 0, 0}), "uint32 4294967295");
    EXPECT_EQ(value_of("y", "X", {255.9, 0, 0}), "byte 0xff");
    EXPECT_EQ(value_of("d", "X", {-2.5, 0, 0}), "-2.5");
}

TEST_F(Formula, KeepsTheLowBitsOfANumberBeyondItsType) {
    EXPECT_EQ(value_of("i", "X", {2147483648.0, 0, 0}), "-2147483648");
    EXPECT_EQ(value_of("i", "X", {4294967295.0, 0, 0}), "-1");
    EXPECT_EQ(value_of("i", "X", {-2147483649.0, 0, 0}), "2147483647");
    EXPECT_EQ(value_of("n", "X", {32768, 0, 0}), "int16 -32768");
    EXPECT_EQ(value_of("n", "X", {70000, 0, 0}), "int16 4464");
    EXPECT_EQ(value_of("q", "X", {65536 + 9, 0, 0}), "uint16 9");
    EXPECT_EQ(value_of("q", "X", {-1, 0, 0}), "uint16 65535");
    EXPECT_EQ(value_of("u", "X", {4294967296.0 + 3, 0, 0}), "uint32 3");
    EXPECT_EQ(value_of("u", "X", {-1, 0, 0}), "uint32 4294967295");
    EXPECT_EQ(value_of("u", "X", {1e300, 0, 0}), "uint32 0");
    EXPECT_EQ(value_of("y", "X", {256 + 7, 0, 0}), "byte 0x07");
    EXPECT_EQ(value_of("y", "X", {-1, 0, 0}), "byte 0xff");
}

TEST_F(Formula, TakesTheTypeFromItsFirstCharacter) {
    EXPECT_EQ(value_of("uuu", "3"), "uint32 3");
    EXPECT_EQ(value_of("d\x01", "3"), "3.0");
}

TEST_F(Formula, GivesNoValueOfAnyOtherType) {
    for (const char* type : {"s", "b", "x", "t", "a", "as", "h", "", "D", " d"}) {
        EXPECT_EQ(value_of(type, "3"), "none") << type;
    }
}

TEST_F(Formula, GivesNoValueWithoutATypeOrAText) {
    EXPECT_EQ(exp_get_value(nullptr, 0, 0, 0, "3"), nullptr);
    EXPECT_EQ(exp_get_value("d", 0, 0, 0, nullptr), nullptr);
    EXPECT_EQ(exp_get_value(nullptr, 0, 0, 0, nullptr), nullptr);
}

class WrongFormula : public Formula {
protected:
    // The three lines of a formula that yields 0.
    static Texts lines_of(const std::string& formula) {
        std::string value;
        const Texts lines = messages_of([&] { value = value_of("d", formula, {5, 6, 7}); });
        EXPECT_EQ(value, "0.0") << formula;
        return lines;
    }
};

TEST_F(WrongFormula, IsToldOfInThreeLinesAndCountsAsZero) {
    const Texts lines = lines_of("X + * 2");
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0], "wrong format in formula string: X + * 2 \n");
    EXPECT_EQ(lines[1].rfind("Message:  ", 0), 0U);
    EXPECT_GT(lines[1].size(), std::string("Message:  \n").size());
    EXPECT_EQ(lines[2], "Token:    *\n");
}

TEST_F(WrongFormula, OfEveryKindIsToldOfInThreeLines) {
    for (const char* formula : {"", " ", "X +", "(X", "X)", "W + 1", "X = 5", "3 X", "sin(", "1..2",
                                "X $ Y", "\xff\xfe", "%", "X &", "\"text\"", "f(1,2)"}) {
        EXPECT_EQ(lines_of(formula).size(), 3U) << formula;
    }
}

TEST_F(WrongFormula, CountsAsZeroInEveryType) {
    for (const auto& [type, zero] :
         std::vector<std::pair<const char*, const char*>>{{"i", "0"},
                                                          {"n", "int16 0"},
                                                          {"q", "uint16 0"},
                                                          {"u", "uint32 0"},
                                                          {"y", "byte 0x00"}}) {
        std::string value;
        messages_of([&, type = type] { value = value_of(type, "X +", {5, 6, 7}); });
        EXPECT_EQ(value, zero);
    }
}

TEST_F(WrongFormula, LeavesTheNextOneAlone) {
    lines_of("X +");
    EXPECT_EQ(number_of("X + 1", {5, 0, 0}), 6.0);
}

TEST_F(WrongFormula, OfAnyLengthIsToldOfInThreeLines) {
    for (const gsize length : {511U, 2047U, 2048U, 2049U, 4999U, 5000U, 5001U, 100000U}) {
        const Texts lines = lines_of(std::string(length, 'W'));
        EXPECT_EQ(lines.size(), 3U) << length;
    }
}

TEST_F(WrongFormula, WithALongTokenInALongTextIsToldOfInThreeLines) {
    EXPECT_EQ(lines_of("X + " + std::string(3000, ' ') + std::string(1500, 'Q')).size(), 3U);
    EXPECT_EQ(lines_of(std::string(4990, '(')).size(), 3U);
}

class LongFormula : public Formula {};

TEST_F(LongFormula, IsEvaluated) {
    std::string formula = "X";
    for (int index = 0; index < 480; ++index) formula += " + 1";
    EXPECT_EQ(number_of(formula, {5, 0, 0}), 485.0);
}

TEST_F(LongFormula, MayBeNestedDeeply) {
    const std::string formula = std::string(900, '(') + "X" + std::string(900, ')');
    EXPECT_EQ(number_of(formula, {5, 0, 0}), 5.0);
}

TEST_F(LongFormula, BeyondWhatCanBeParsedIsAWrongOne) {
    std::string formula = "X";
    for (int index = 0; index < 30000; ++index) formula += "+1";
    double number = -1;
    const Texts lines = messages_of([&] { number = number_of(formula, {5, 0, 0}); });
    EXPECT_TRUE((number == 30005.0 && lines.empty()) || (number == 0.0 && lines.size() == 3))
        << number << " and " << lines.size() << " lines";
}

}  // namespace
}  // namespace mox::test
