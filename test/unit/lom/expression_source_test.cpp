// Values that a formula computes: when the formula is evaluated, what it is given, and what a live
// read of its result leaves behind.
#include <gtest/gtest.h>

#include "expression_fixture.hpp"

namespace mox::test {
namespace {

class Expression : public ExpressionFixture {
protected:
    void SetUp() override {
        ExpressionFixture::SetUp();
        add_formula("100 * X + 10 * Y + Z");
    }
};

TEST_F(Expression, IsComputedFromItsInputs) {
    EXPECT_EQ(live_value("Sum", "Value"), "123.0");
}

TEST_F(Expression, IsStoredAndAnnounced) {
    live_value("Sum", "Value");
    EXPECT_EQ(stored_value("Sum", "Value"), "123.0");
    EXPECT_EQ(sent_events(), Texts{"3: Sum.Value = 123.0"});
    EXPECT_EQ(state_of("Sum", "Value"), "synced");
}

TEST_F(Expression, MakesItsObjectWritableInTheProcessThatEvaluatesIt) {
    ASSERT_FALSE(lom_is_writable(handle_of("Sum")));
    live_value("Sum", "Value");
    EXPECT_TRUE(lom_is_writable(handle_of("Sum")));
}

TEST_F(Expression, RemembersTheInputsItWasEvaluatedWith) {
    live_value("Sum", "Value");
    EXPECT_EQ(caches(), (Texts{"uint32 1", "uint32 2", "uint32 3"}));
}

TEST_F(Expression, RemembersTypeAndSizeOfItsInputs) {
    add_object({.name = "Far", .properties = {number<guint16>("A", "q", 7)}});
    add_expression("Sum", with(formula_properties("X"), "X", reference("X", "Far.A")));
    EXPECT_EQ(live_value("Sum", "Value"), "7.0");
    EXPECT_EQ(stored_value("Sum", "Xcache"), "uint16 7");
    EXPECT_EQ(property_of("Sum", "Xcache").size, 2U);
}

TEST_F(Expression, RemembersWithoutAnEvent) {
    listen("Expression", "Xcache", 4);
    live_value("Sum", "Value");
    EXPECT_EQ(sent_events().size(), 1U);
}

TEST_F(Expression, IsNotEvaluatedAgainWhileItsInputsStay) {
    live_value("Sum", "Value");
    replace_formula("X + 1000");
    EXPECT_EQ(live_value("Sum", "Value"), "123.0");
    EXPECT_EQ(sent_events().size(), 1U);
}

TEST_F(Expression, IsEvaluatedAgainWhenAnyInputChanges) {
    live_value("Sum", "Value");
    set_input("A", 4);
    EXPECT_EQ(live_value("Sum", "Value"), "423.0");
    set_input("B", 5);
    EXPECT_EQ(live_value("Sum", "Value"), "453.0");
    set_input("C", 6);
    EXPECT_EQ(live_value("Sum", "Value"), "456.0");
    EXPECT_EQ(sent_events().size(), 4U);
}

TEST_F(Expression, OfTheSameResultFromOtherInputsIsNotAnnouncedButRemembersThem) {
    add_formula("X - X");
    set_input("A", 9);
    EXPECT_EQ(live_value("Sum", "Value"), "0.0");
    EXPECT_EQ(sent_events(), Texts{});
    EXPECT_EQ(stored_value("Sum", "Xcache"), "uint32 9");
}

TEST_F(Expression, WhoseInputsNeverDifferedIsWhatIsStored) {
    for (const char* name : {"A", "B", "C"}) set_input(name, 0);
    EXPECT_EQ(live_value("Sum", "Value"), "0.0");
    EXPECT_FALSE(lom_is_writable(handle_of("Sum")));
    EXPECT_EQ(sent_events(), Texts{});
}

TEST_F(Expression, ReadFromMemoryIsNotEvaluated) {
    EXPECT_EQ(stored_value("Sum", "Value"), "0.0");
    EXPECT_FALSE(lom_is_writable(handle_of("Sum")));
}

TEST_F(Expression, ThatIsOverriddenIsNotEvaluated) {
    ASSERT_EQ(override_with("Sum", "Value", g_variant_new_double(-1)), 0);
    EXPECT_EQ(live_value("Sum", "Value"), "-1.0");
    cancel_override("Sum", "Value");
    EXPECT_EQ(live_value("Sum", "Value"), "123.0");
}

TEST_F(Expression, OfAnotherClassIsReadAsUsual) {
    add_object({.name = "Sum", .class_name = "Fan", .properties = formula_properties("X")});
    EXPECT_EQ(live_value("Sum", "Value"), "0.0");
}

TEST_F(Expression, OfALongerClassNameIsReadAsUsual) {
    add_object({.name = "Sum", .class_name = "Expressions", .properties = formula_properties("X")});
    EXPECT_EQ(live_value("Sum", "Value"), "0.0");
}

TEST_F(Expression, HasNoOtherComputedProperty) {
    EXPECT_EQ(live_value("Sum", "X"), "uint32 1");
    EXPECT_EQ(live_value("Sum", "Formula"), "'100 * X + 10 * Y + Z'");
    EXPECT_EQ(live_value("Sum", "Xcache"), "uint32 0");
    EXPECT_FALSE(lom_is_writable(handle_of("Sum")));
}

TEST_F(Expression, IsReachedThroughAReference) {
    add_view("Sum.Value");
    EXPECT_EQ(live_value("View", "Twin"), "123.0");
}

TEST_F(Expression, TakesInputsOfItsOwn) {
    auto properties = with(formula_properties("X + Y"), "X", number<double>("X", "d", 0.5));
    add_expression("Sum", with(properties, "Xcache", number<double>("Xcache", "d", 0)));
    EXPECT_EQ(live_value("Sum", "Value"), "2.5");
}

TEST_F(Expression, TakesWhatIsNoNumberForZero) {
    add_expression("Sum", with(formula_properties("X + Y"), "X", text("X", "7")));
    messages_of([] { EXPECT_EQ(live_value("Sum", "Value"), "2.0"); });
    add_expression("Sum", with(formula_properties("X + Y"), "X", {"X", "b", {1}}));
    EXPECT_EQ(live_value("Sum", "Value"), "2.0");
}

TEST_F(Expression, TakesANumberOfTooFewBytesAsItsLowOnes) {
    add_expression("Sum", with(formula_properties("X"), "X", {"X", "u", {5, 1}}));
    EXPECT_EQ(live_value("Sum", "Value"), "261.0");
}

TEST_F(Expression, ReadsItsInputsLive) {
    add_object({.name = "Sensor",
                .properties = {number<guint32>("A", "u", 1, "rw", "Adc"),
                               number<guint32>("B", "u", 2), number<guint32>("C", "u", 3)}});
    fake::driver_program_value<guint32>("Adc", 7);
    EXPECT_EQ(live_value("Sum", "Value"), "723.0");
}

// The hook of a process that has the owner read the hardware.
gint32 read_far(const gchar*, const gchar*, gint32, gsize, gpointer bytes) {
    const guint32 value = 8;
    std::memcpy(bytes, &value, sizeof value);
    return 0;
}

TEST_F(Expression, ReadsItsInputsThroughTheOwnerWhenThatIsAskedFor) {
    add_object({.name = "Sensor",
                .properties = {number<guint32>("A", "u", 1, "rw", "Adc"),
                               number<guint32>("B", "u", 2), number<guint32>("C", "u", 3)}});
    fake::driver_program_value<guint32>("Adc", 7);
    lom_set_remote_get_property_func(read_far);
    EXPECT_EQ(remote_value("Sum", "Value"), "823.0");
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(Expression, WithoutACacheIsEvaluatedAtEveryRead) {
    add_expression("Sum", without(formula_properties("X % 0 + Z"), "Ycache"));
    for (int read = 0; read < 3; ++read) {
        const Texts messages = messages_of([] { live_value("Sum", "Value"); });
        EXPECT_EQ(messages, Texts{"ERR mod operator right value is zero\n"});
    }
    EXPECT_EQ(sent_events(), Texts{"3: Sum.Value = 3.0"});
}

TEST_F(Expression, WithoutACacheRemembersTheInputsBeforeIt) {
    add_expression("Sum", without(formula_properties("X"), "Ycache"));
    live_value("Sum", "Value");
    EXPECT_EQ(stored_value("Sum", "Xcache"), "uint32 1");
    EXPECT_EQ(stored_value("Sum", "Zcache"), "uint32 0");
}

TEST_F(Expression, ComparesAnInputOverItsOwnSize) {
    add_expression("Sum", with(formula_properties("X + 1000"), "Xcache",
                               number<guint64>("Xcache", "d", 0x9900000001ULL)));
    set_input("B", 0);
    set_input("C", 0);
    EXPECT_EQ(live_value("Sum", "Value"), "0.0") << "the first four bytes are equal";
}

TEST_F(Expression, WithACacheShorterThanItsInputIsEvaluated) {
    auto properties = with(formula_properties("X"), "Xcache", text("Xcache", ""));
    add_expression("Sum", properties);
    std::string value;
    messages_of([&] { value = live_value("Sum", "Value"); });
    EXPECT_EQ(value, "1.0");
}

TEST_F(Expression, ThatIsNeverWrittenBackIsEvaluatedAtEveryRead) {
    add_expression("Sum",
                   with(formula_properties("X"), "Value", number<double>("Value", "d", 0, "r-")));
    EXPECT_EQ(live_value("Sum", "Value"), "1.0");
    EXPECT_EQ(stored_value("Sum", "Value"), "0.0");
    EXPECT_EQ(caches(), (Texts{"uint32 0", "uint32 0", "uint32 0"}));
    replace_formula("X + 1");
    EXPECT_EQ(live_value("Sum", "Value"), "2.0");
    EXPECT_EQ(sent_events(), Texts{});
}

TEST_F(Expression, IsSeenByAWalkOverItsProperties) {
    static std::string seen;
    seen.clear();
    lom_foreach_property(
        handle_of("Sum"),
        [](OBJ_HANDLE, const gchar* name, GVariant* value, gpointer) {
            if (std::string(name) == "Value") seen = printed(value);
        },
        nullptr);
    EXPECT_EQ(seen, "123.0");
}

}  // namespace
}  // namespace mox::test
