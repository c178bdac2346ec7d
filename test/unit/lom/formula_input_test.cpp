// How the inputs of a formula are read and compared with those of the last evaluation. Whether it
// was evaluated again is told by its result: 0 is what is stored.
#include <gtest/gtest.h>

#include "expression_fixture.hpp"

namespace mox::test {
namespace {

using Bytes = std::vector<guint8>;

class FormulaInput : public ExpressionFixture {
protected:
    // An object whose inputs Y and Z are as they were; X and its cache are given.
    static void add_with(const PropertyPlan& input, const PropertyPlan& cache) {
        auto properties = with(formula_properties("1"), "X", input);
        properties = with(std::move(properties), "Xcache", cache);
        properties = with(std::move(properties), "Ycache", number<guint32>("Ycache", "u", 2));
        add_expression("Sum",
                       with(std::move(properties), "Zcache", number<guint32>("Zcache", "u", 3)));
    }

    static bool is_evaluated() { return live_value("Sum", "Value") == "1.0"; }
};

TEST_F(FormulaInput, UnchangedTakesOneHoldEachAndTwoOfTheFormulasOwn) {
    add_formula("X + Y + Z");
    live_value("Sum", "Value");
    const gsize of_inputs = takes_of("Sensor");
    const gsize of_formula = takes_of("Sum");
    live_value("Sum", "Value");
    EXPECT_EQ(takes_of("Sensor") - of_inputs, 3U);
    EXPECT_EQ(takes_of("Sum") - of_formula, 2U);
    EXPECT_EQ(fake::osal::held(), 0U);
}

TEST_F(FormulaInput, IsComparedWithACacheThatIsAReference) {
    add_with(reference("X", "Sensor.A"), reference("Xcache", "Sensor.A"));
    EXPECT_FALSE(is_evaluated());
    add_with(reference("X", "Sensor.A"), reference("Xcache", "Sensor.B"));
    EXPECT_TRUE(is_evaluated());
    add_with(reference("X", "Sensor.A"), reference("Xcache", "Sensor.None"));
    EXPECT_TRUE(is_evaluated());
}

TEST_F(FormulaInput, LongerThanANumberIsComparedWhole) {
    add_with(text("X", "a longer text"), text("Xcache", "a longer text"));
    EXPECT_FALSE(is_evaluated());
    add_with(text("X", "a longer text"), text("Xcache", "a longer tex_"));
    EXPECT_TRUE(is_evaluated());
    EXPECT_EQ(stored_value("Sum", "Xcache"), "'a longer text'");
}

TEST_F(FormulaInput, IsComparedWithZerosBehindTheRoomOfItsCache) {
    const PropertyPlan cache = {"Xcache", "t", Bytes{1, 2, 3, 4, 5, 6, 7, 8}};
    add_with({"X", "ay", Bytes{1, 2, 3, 4, 5, 6, 7, 8, 0, 0}}, cache);
    property_of("Sum", "Xcache").size = 10;
    EXPECT_FALSE(is_evaluated());
    add_with({"X", "ay", Bytes{1, 2, 3, 4, 5, 6, 7, 8, 0, 9}}, cache);
    property_of("Sum", "Xcache").size = 10;
    EXPECT_TRUE(is_evaluated());
}

TEST_F(FormulaInput, WithoutBytesIsWhatAnyCacheHolds) {
    add_with({"X", "ay", Bytes{}}, number<guint32>("Xcache", "u", 7));
    EXPECT_FALSE(is_evaluated());
}

TEST_F(FormulaInput, OfADeclaredSizeBeyondItsRoomHasZerosThere) {
    add_with(number<guint64>("X", "t", 5), {"Xcache", "ay", Bytes{5, 0, 0, 0, 0, 0, 0, 0, 0, 0}});
    property_of("Sum", "X").size = 10;
    EXPECT_FALSE(is_evaluated());
}

TEST_F(FormulaInput, OfItsOwnIsReadUnderItsObjectsSemaphore) {
    add_with(number<guint32>("X", "u", 1), number<guint32>("Xcache", "u", 1));
    EXPECT_FALSE(is_evaluated());
    fail_semaphore_of("Sum");
    EXPECT_EQ(live_value("Sum", "Value"), "code -2015");
}

TEST_F(FormulaInput, ThatIsOverriddenIsReadFromMemory) {
    add_object({.name = "Far", .properties = {number<guint32>("A", "u", 20, "rw", "Probe")}});
    set_writable("Far");
    fake::driver_program_value<guint32>("Probe", 30);
    ASSERT_EQ(override_with("Far", "A", speed(1)), 0);
    add_with(reference("X", "Far.A"), number<guint32>("Xcache", "u", 1));
    EXPECT_FALSE(is_evaluated());
    EXPECT_TRUE(fake::driver_reads().empty());
}

}  // namespace
}  // namespace mox::test
