// What a formula's result is made into, and what is told when there is none.
#include <gtest/gtest.h>

#include "expression_fixture.hpp"

namespace mox::test {
namespace {

class ExpressionResult : public ExpressionFixture {
protected:
    // Reads a result of this type and declared size, computed by the formula.
    static std::string result_of(const std::string& formula, const std::string& type, gsize size) {
        add_expression("Sum", with(formula_properties(formula), "Value",
                                   {"Value", type, std::vector<guint8>(size, 0)}));
        return live_value("Sum", "Value");
    }
};

TEST_F(ExpressionResult, HasTheTypeOfTheProperty) {
    EXPECT_EQ(result_of("X + 255.9", "y", 1), "byte 0x00");
    EXPECT_EQ(result_of("X + 2.9", "y", 1), "byte 0x03");
    EXPECT_EQ(result_of("-X - 1.9", "i", 4), "-2");
    EXPECT_EQ(result_of("-X - 1.9", "n", 2), "int16 -2");
    EXPECT_EQ(result_of("X + 65536", "q", 2), "uint16 1");
    EXPECT_EQ(result_of("-X", "u", 4), "uint32 4294967295");
    EXPECT_EQ(result_of("X / 2", "d", 8), "0.5");
}

TEST_F(ExpressionResult, OfAMaskIsAByte) {
    set_input("A", 255);
    EXPECT_EQ(result_of("(X + 0.9) & 12", "y", 1), "byte 0x0c");
}

TEST_F(ExpressionResult, HasTheSizeOfTheProperty) {
    add_expression("Sum", with(formula_properties("X + 256 * Y"), "Value", {"Value", "u", {0, 0}}));
    Package package;
    package.code = lom_get_property_data(handle_of("Sum"), "Value", TRUE, &package.tlv, FALSE);
    EXPECT_EQ(package.code, 0);
    EXPECT_EQ(package.type(), type_field("u"));
    EXPECT_EQ(package.bytes(), (std::vector<guint8>{1, 2}));
}

TEST_F(ExpressionResult, HasZerosBehindItsBytes) {
    add_expression(
        "Sum", with(formula_properties("X"), "Value", {"Value", "u", std::vector<guint8>(8, 9)}));
    Package package;
    messages_of([&] {
        package.code = lom_get_property_data(handle_of("Sum"), "Value", TRUE, &package.tlv, FALSE);
    });
    EXPECT_EQ(package.bytes(), (std::vector<guint8>{1, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(ExpressionResult, OfMoreBytesThanANumberHasHasZerosBehindThem) {
    add_expression(
        "Sum", with(formula_properties("X"), "Value", {"Value", "u", std::vector<guint8>(12, 9)}));
    Package package;
    Texts messages = messages_of([&] {
        package.code = lom_get_property_data(handle_of("Sum"), "Value", TRUE, &package.tlv, FALSE);
    });
    EXPECT_EQ(package.bytes(), (std::vector<guint8>{1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    messages = without_numbers(messages);
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages[0], "LOG [lom][#]: memmove_s failed ret(#). \n");
}

TEST_F(ExpressionResult, OfTextIsNoneButTheReadSucceeds) {
    add_expression("Sum", with(formula_properties("X"), "Value", text("Value", "old")));
    Package package;
    package.code = lom_get_property_data(handle_of("Sum"), "Value", TRUE, &package.tlv, FALSE);
    EXPECT_EQ(package.code, 0);
    EXPECT_EQ(package.tlv.data, nullptr);
    EXPECT_EQ(package.tlv.size, 0U);
    EXPECT_EQ(stored_value("Sum", "Value"), "'old'");
    EXPECT_EQ(sent_events(), Texts{});
}

TEST_F(ExpressionResult, OfTextCannotBeMadeAValue) {
    add_expression("Sum", with(formula_properties("X"), "Value", text("Value", "old")));
    EXPECT_EQ(live_value("Sum", "Value"), "code -2013");
}

TEST_F(ExpressionResult, OfTextGivesACallersBufferNothing) {
    add_expression("Sum", with(formula_properties("X"), "Value", text("Value", "old")));
    guchar buffer[4] = {9, 9, 9, 9};
    EXPECT_EQ(lom_get_property_value_v2(handle_of("Sum"), "Value", TRUE, 4, buffer, FALSE), 0);
    EXPECT_EQ(buffer[0], 9);
}

TEST_F(ExpressionResult, OfAWrongFormulaIsZeroAndToldOfInThreeLines) {
    std::string value;
    add_formula("X +");
    const Texts messages = messages_of([&] { value = live_value("Sum", "Value"); });
    EXPECT_EQ(value, "0.0");
    ASSERT_EQ(messages.size(), 3U);
    EXPECT_EQ(messages[0].rfind("ERR wrong format in formula string: X +", 0), 0U);
    EXPECT_EQ(messages[1].rfind("ERR Message:  ", 0), 0U);
    EXPECT_EQ(messages[2].rfind("ERR Token:    ", 0), 0U);
}

TEST_F(ExpressionResult, OfAWrongFormulaIsToldOfOnceForItsInputs) {
    add_formula("X +");
    messages_of([] { live_value("Sum", "Value"); });
    EXPECT_EQ(messages_of([] { live_value("Sum", "Value"); }), Texts{});
}

TEST_F(ExpressionResult, OfAnEmptyFormulaIsZero) {
    std::string value;
    add_formula("");
    const Texts messages = messages_of([&] { value = live_value("Sum", "Value"); });
    EXPECT_EQ(value, "0.0");
    EXPECT_EQ(messages.size(), 3U);
}

TEST_F(ExpressionResult, OfAFormulaOfNoBytesIsNoneButTheReadSucceeds) {
    add_expression("Sum", with(formula_properties("X"), "Formula", {"Formula", "s", {}}));
    Package package;
    package.code = lom_get_property_data(handle_of("Sum"), "Value", TRUE, &package.tlv, FALSE);
    EXPECT_EQ(package.code, 0);
    EXPECT_EQ(package.tlv.data, nullptr);
}

TEST_F(ExpressionResult, OfAFormulaWithoutATerminatorEndsWithItsBytes) {
    add_expression("Sum",
                   with(formula_properties("X"), "Formula", {"Formula", "s", {'X', '+', '7'}}));
    EXPECT_EQ(live_value("Sum", "Value"), "8.0");
}

TEST_F(ExpressionResult, OfAFormulaWithATerminatorInsideEndsThere) {
    add_expression("Sum", with(formula_properties("X"), "Formula",
                               {"Formula", "s", {'X', '+', '7', 0, '+', '1', 0}}));
    EXPECT_EQ(live_value("Sum", "Value"), "8.0");
}

TEST_F(ExpressionResult, OfAVeryLongWrongFormulaIsZero) {
    std::string value;
    add_formula(std::string(100000, 'W'));
    const Texts messages = messages_of([&] { value = live_value("Sum", "Value"); });
    EXPECT_EQ(value, "0.0");
    EXPECT_EQ(messages.size(), 3U);
}

class UnreadableExpression : public ExpressionFixture {
protected:
    static std::string value_without(const std::string& name) {
        add_expression("Sum", without(formula_properties("X + Y + Z"), name));
        return live_value("Sum", "Value");
    }

    static bool is_writable() { return lom_is_writable(handle_of("Sum")) != FALSE; }
};

TEST_F(UnreadableExpression, GivesTheCodeOfAMissingInput) {
    for (const char* name : {"X", "Y", "Z"}) {
        EXPECT_EQ(value_without(name), "code -2010");
        EXPECT_FALSE(is_writable());
    }
}

TEST_F(UnreadableExpression, GivesTheCodeOfTheFirstInputThatFails) {
    auto properties = with(formula_properties("X"), "Y", reference("Y", "Nowhere.A"));
    add_expression("Sum", with(properties, "Z", reference("Z", "Sensor.Nothing")));
    EXPECT_EQ(live_value("Sum", "Value"), "code -2009");
}

TEST_F(UnreadableExpression, GivesTheCodeOfTheHardwareBehindAnInput) {
    add_object({.name = "Sensor",
                .properties = {number<guint32>("A", "u", 1, "rw", "Adc"),
                               number<guint32>("B", "u", 2), number<guint32>("C", "u", 3)}});
    add_formula("X");
    fake::driver_fail_reads_of("Adc", -2109);
    EXPECT_EQ(live_value("Sum", "Value"), "code -2109");
    EXPECT_FALSE(is_writable());
}

TEST_F(UnreadableExpression, ReadsNoInputBehindTheOneThatFails) {
    add_object({.name = "Sensor",
                .properties = {number<guint32>("A", "u", 1), number<guint32>("B", "u", 2),
                               number<guint32>("C", "u", 3, "rw", "Adc")}});
    fake::driver_program_value<guint32>("Adc", 7);
    value_without("Y");
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(UnreadableExpression, LeavesTheCachesWhenAnInputFails) {
    value_without("Z");
    EXPECT_EQ(caches(), (Texts{"uint32 0", "uint32 0", "uint32 0"}));
}

TEST_F(UnreadableExpression, GivesTheCodeOfAMissingFormula) {
    EXPECT_EQ(value_without("Formula"), "code -2010");
}

TEST_F(UnreadableExpression, IsWritableByTheTimeItsFormulaIsMissed) {
    value_without("Formula");
    EXPECT_TRUE(is_writable());
}

TEST_F(UnreadableExpression, NeedsNoFormulaWhileItsInputsStay) {
    for (const char* name : {"A", "B", "C"}) set_input(name, 0);
    EXPECT_EQ(value_without("Formula"), "0.0");
}

TEST_F(UnreadableExpression, GivesTheResultOrFailsWithoutAnySemaphoreOnItsWay) {
    for (guint take = 1; take <= 16; ++take) {
        add_formula("X + Y + Z");
        fake::osal::fail_take(take);
        const std::string value = live_value("Sum", "Value");
        EXPECT_TRUE(value == "6.0" || value == "code -2015") << value << " at take " << take;
        EXPECT_EQ(fake::osal::held(), 0U);
        fake::osal::fail_take(0);
    }
}

TEST_F(UnreadableExpression, FailsWithoutTheSemaphoreOfAnInputsObject) {
    add_formula("X");
    fail_semaphore_of("Sensor");
    EXPECT_EQ(live_value("Sum", "Value"), "code -2015");
}

}  // namespace
}  // namespace mox::test
