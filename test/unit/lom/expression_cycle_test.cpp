// Formulas that need their own result, and formulas behind long ways: each ends, and none overflows
// the stack.
#include <gtest/gtest.h>
#include <pthread.h>

#include "expression_fixture.hpp"

namespace mox::test {
namespace {

class ExpressionCycle : public ExpressionFixture {
protected:
    // An expression whose X names this property.
    static void add_on(const std::string& name, const std::string& target) {
        add_expression(name, with(formula_properties("X + 1"), "X", reference("X", target)));
    }

    // Expressions E0, E1, ... each on the next one's result, the last on `end`.
    static void add_tower(guint count, const std::string& end) {
        for (guint index = 0; index < count; ++index) {
            const std::string next = "E" + std::to_string(index + 1) + ".Value";
            add_on("E" + std::to_string(index), index + 1 == count ? end : next);
        }
    }

    static std::string live(const std::string& object) {
        std::string value;
        messages_of([&] { value = live_value(object, "Value"); });
        return value;
    }
};

TEST_F(ExpressionCycle, OfOneFails) {
    add_on("E0", "E0.Value");
    EXPECT_EQ(live("E0"), "code -2000");
    EXPECT_EQ(sent_events(), Texts{});
}

TEST_F(ExpressionCycle, ThroughAnotherInputFails) {
    add_expression("E0", with(formula_properties("X"), "Z", reference("Z", "E0.Value")));
    EXPECT_EQ(live("E0"), "code -2000");
}

TEST_F(ExpressionCycle, ThroughReferencesFails) {
    add_links(3, "E0.Value");
    add_on("E0", "L.N0");
    EXPECT_EQ(live("E0"), "code -2000");
}

TEST_F(ExpressionCycle, ThroughAnotherExpressionFails) {
    add_tower(2, "E0.Value");
    EXPECT_EQ(live("E0"), "code -2000");
    EXPECT_EQ(live("E1"), "code -2000");
}

TEST_F(ExpressionCycle, ThroughAThousandExpressionsFails) {
    add_tower(1000, "E0.Value");
    EXPECT_EQ(live("E0"), "code -2000");
    EXPECT_EQ(live("E500"), "code -2000");
}

TEST_F(ExpressionCycle, ThatAnExpressionLeadsIntoFails) {
    add_tower(4, "E2.Value");
    EXPECT_EQ(live("E0"), "code -2000");
}

TEST_F(ExpressionCycle, FailsInAMultipleReadToo) {
    add_tower(2, "E0.Value");
    gchar name[] = "Value";
    GSList names = {name, nullptr};
    GSList* values = nullptr;
    gint32 code = 0;
    messages_of([&] { code = lom_multiget_property_value(handle_of("E0"), &names, &values); });
    EXPECT_EQ(code, -2000);
    EXPECT_EQ(values, nullptr);
}

TEST_F(ExpressionCycle, OnceBrokenIsComputed) {
    add_tower(2, "E0.Value");
    live("E0");
    add_on("E1", "Sensor.A");
    EXPECT_EQ(live("E0"), "3.0");
}

TEST_F(ExpressionCycle, LeavesTheValueThatIsStored) {
    add_on("E0", "E0.Value");
    live("E0");
    EXPECT_EQ(stored_value("E0", "Value"), "0.0");
}

TEST_F(ExpressionCycle, IsNotSeenWhereAnInputIsUsedTwice) {
    add_on("E1", "Sensor.A");
    auto properties = with(formula_properties("X + Y"), "X", reference("X", "E1.Value"));
    properties = with(properties, "Xcache", number<double>("Xcache", "d", 0));
    properties = with(properties, "Ycache", number<double>("Ycache", "d", 0));
    add_expression("E0", with(properties, "Y", reference("Y", "E1.Value")));
    EXPECT_EQ(live("E0"), "4.0");
}

TEST_F(ExpressionCycle, IsNotSeenWhereAnInputNamesAnotherPropertyOfTheSameObject) {
    auto properties = with(formula_properties("X + 1"), "X", reference("X", "E0.Level"));
    properties.push_back(number<guint32>("Level", "u", 7));
    add_expression("E0", properties);
    EXPECT_EQ(live("E0"), "8.0");
}

class ExpressionTower : public ExpressionCycle {
protected:
    // Reads in a thread whose stack a tower of any height would overflow, were it climbed.
    static std::string live_on_small_stack(const std::string& object) {
        constexpr std::size_t stack_bytes = 512U << 10U;
        struct Reading {
            std::string object;
            std::string value;
        } reading{object, {}};
        pthread_attr_t attributes;
        pthread_t thread = {};
        pthread_attr_init(&attributes);
        pthread_attr_setstacksize(&attributes, stack_bytes);
        const int code = pthread_create(
            &thread, &attributes,
            [](void* argument) -> void* {
                auto& here = *static_cast<Reading*>(argument);
                here.value = live(here.object);
                return nullptr;
            },
            &reading);
        pthread_attr_destroy(&attributes);
        if (code != 0) return "no thread";
        pthread_join(thread, nullptr);
        return reading.value;
    }
};

TEST_F(ExpressionTower, OfAFewIsComputed) {
    add_tower(5, "Sensor.A");
    EXPECT_EQ(live("E0"), "6.0");
}

// E0, E1, ..., each with the next one's result as all of its three inputs.
class ExpressionTree : public ExpressionCycle {
protected:
    static void add_tree(guint height) {
        for (guint index = 0; index < height; ++index) {
            const std::string next =
                index + 1 == height ? "Sensor.A" : "E" + std::to_string(index + 1) + ".Value";
            auto properties = formula_properties("X + Y + Z");
            for (const char* const input : {"X", "Y", "Z"}) {
                const std::string cache = std::string(input) + "cache";
                properties = with(properties, input, reference(input, next));
                properties = with(properties, cache, number<double>(cache, "d", 0));
            }
            add_expression("E" + std::to_string(index), properties);
        }
    }
};

TEST_F(ExpressionTree, OfSomeHundredsIsComputed) {
    add_tree(6);  // 1 + 3 + 9 + 27 + 81 + 243
    EXPECT_EQ(live("E0"), "729.0");
}

TEST_F(ExpressionTree, OfMoreThanAThousandFails) {
    add_tree(7);
    EXPECT_EQ(live("E0"), "code -2000");
}

TEST_F(ExpressionTree, OfAnyHeightEnds) {
    add_tree(40);
    EXPECT_EQ(live("E0"), "code -2000");
    EXPECT_EQ(live("E34"), "729.0") << "the next read counts anew";
}

TEST_F(ExpressionTower, AnnouncesTheInnermostResultFirst) {
    add_tower(2, "Sensor.A");
    live("E0");
    EXPECT_EQ(sent_events(), (Texts{"3: E1.Value = 2.0", "3: E0.Value = 3.0"}));
}

TEST_F(ExpressionTower, TooHighForASmallStackFails) {
    add_tower(1500, "Sensor.A");
    EXPECT_EQ(live_on_small_stack("E0"), "code -2000");
}

TEST_F(ExpressionTower, OfModestHeightFitsASmallStack) {
    add_tower(30, "Sensor.A");
    EXPECT_EQ(live_on_small_stack("E0"), "31.0");
}

TEST_F(ExpressionTower, BehindVeryManyReferencesIsComputed) {
    add_links(kVeryManyLinks, "Sensor.A");
    add_on("E0", "L.N0");
    EXPECT_EQ(live("E0"), "2.0");
}

}  // namespace
}  // namespace mox::test
