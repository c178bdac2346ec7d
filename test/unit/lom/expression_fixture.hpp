// An object whose "Value" a formula computes from three inputs, which are numbers of another
// object.
//
//   add_formula("X + Y");                "Sum" of class "Expression", read-only, Value "d" 0
//   set_input("A", 5);                   "Sensor.A", "B" and "C" are X, Y and Z (1, 2 and 3)
//   EXPECT_EQ(live_value("Sum", "Value"), "7.0");
#ifndef MOX_TEST_EXPRESSION_FIXTURE_HPP
#define MOX_TEST_EXPRESSION_FIXTURE_HPP

#include "write_fixture.hpp"

namespace mox::test {

class ExpressionFixture : public WriteFixture {
protected:
    void SetUp() override {
        WriteFixture::SetUp();
        add_object({.name = "Sensor",
                    .properties = {number<guint32>("A", "u", 1), number<guint32>("B", "u", 2),
                                   number<guint32>("C", "u", 3)}});
        set_writable("Sensor");
        listen("Expression", "Value", 3);
    }

    static void set_input(const std::string& name, guint32 value) {
        EXPECT_EQ(lom_realloc_property("Sensor", name.c_str(), "u", sizeof value, &value), 0);
    }

    // The properties of an object with a formula: inputs, empty caches, formula and result.
    static std::vector<PropertyPlan> formula_properties(const std::string& formula) {
        return {reference("X", "Sensor.A"),        reference("Y", "Sensor.B"),
                reference("Z", "Sensor.C"),        number<guint32>("Xcache", "u", 0),
                number<guint32>("Ycache", "u", 0), number<guint32>("Zcache", "u", 0),
                text("Formula", formula),          number<double>("Value", "d", 0)};
    }

    static void add_expression(const std::string& name, std::vector<PropertyPlan> properties) {
        add_object({.name = name, .class_name = "Expression", .properties = std::move(properties)});
    }

    static void add_formula(const std::string& formula) {
        add_expression("Sum", formula_properties(formula));
    }

    // The same with one property in another form, or without it when the plan has no name.
    static std::vector<PropertyPlan> with(std::vector<PropertyPlan> properties,
                                          const std::string& name, const PropertyPlan& plan) {
        for (auto at = properties.begin(); at != properties.end(); ++at) {
            if (at->name != name) continue;
            if (plan.name.empty()) {
                properties.erase(at);
            } else {
                *at = plan;
            }
            break;
        }
        return properties;
    }

    static std::vector<PropertyPlan> without(std::vector<PropertyPlan> properties,
                                             const std::string& name) {
        return with(std::move(properties), name, {});
    }

    static Texts caches() {
        return {stored_value("Sum", "Xcache"), stored_value("Sum", "Ycache"),
                stored_value("Sum", "Zcache")};
    }

    // Changes the formula behind the object's back: a later result tells whether it was evaluated.
    static void replace_formula(const std::string& formula) {
        EXPECT_EQ(lom_realloc_property("Sum", "Formula", "s",
                                       static_cast<guint32>(formula.size() + 1), formula.c_str()),
                  0);
    }
};

}  // namespace mox::test

#endif
