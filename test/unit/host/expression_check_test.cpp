#include "profile/expression_check.hpp"

#include "loaded_profile.hpp"

namespace mox::test {
namespace {

// The class with one property's type changed, or without it for type "".
std::string formula_class(const std::string& changed = "none", const std::string& type = "") {
    const std::pair<const char*, const char*> properties[] = {
        {"X", "sp"},     {"Y", "d"},      {"Z", "i"},     {"Xcache", "d"},
        {"Ycache", "d"}, {"Zcache", "q"}, {"Value", "u"}, {"Formula", "s"},
    };
    std::string list;
    for (const auto& [name, usual] : properties) {
        const std::string chosen = name == changed ? type : usual;
        if (!chosen.empty()) {
            list += (list.empty() ? "" : ", ") + (R"({"name": ")" + std::string(name)) +
                    R"(", "type": ")" + chosen + R"("})";
        }
    }
    return R"({"name": "Expression", "properties": [)" + list + "]}";
}

constexpr const char* sensor_class =
    R"(, {"name": "Sensor", "properties": [{"name": "Level", "type": "i"}, {"name": "Text", "type": "s"},
                                           {"name": "On", "type": "b"}, {"name": "Twin", "type": "sp"}]})";
constexpr const char* sensor =
    R"({"name": "s", "class": "Sensor", "properties": {"Twin": "s.Level"}})";

std::string formula(const std::string& name, const std::string& input,
                    const std::string& more = "") {
    return R"({"name": ")" + name + R"(", "class": "Expression", "properties": {"X": ")" + input +
           R"(", "Formula": "X + Y")" + more + "}}";
}

std::string fault_with(const std::string& objects) {
    return fault_of(profile_text(formula_class() + sensor_class, objects));
}

// Formulas f1, f2, ... of which each has the next one's result for input, up to a sensor.
std::string chain(int length, bool is_innermost_first) {
    std::string objects = sensor;
    for (int at = 1; at <= length; ++at) {
        const int number = is_innermost_first ? length + 1 - at : at;
        const std::string input =
            number == length ? "s.Level" : "f" + std::to_string(number + 1) + ".Value";
        objects += "," + formula("f" + std::to_string(number), input);
    }
    return objects;
}

TEST(ProfileFormulas, OverReferencesAndNumbersAreAccepted) {
    EXPECT_EQ(fault_with(formula("f", "s.Level") + "," + sensor), "none");
    EXPECT_EQ(fault_with(formula("f", "s.Twin") + "," + sensor), "none");
    EXPECT_EQ(fault_with(formula("f", "f.Y")), "none");
}

TEST(ProfileFormulas, AreNotCheckedWhereThereAreNone) {
    EXPECT_EQ(fault_of(profile_text(R"({"name": "Formula"})", "")), "none");
}

TEST(ProfileFormulas, NeedEveryProperty) {
    for (const std::string name :
         {"X", "Y", "Z", "Xcache", "Ycache", "Zcache", "Formula", "Value"}) {
        EXPECT_EQ(fault_of(profile_text(formula_class(name), "")),
                  "classes[0] \"Expression\": has no property \"" + name +
                      "\"; formulas need X, Y, Z, Xcache, Ycache, Zcache, Formula and Value");
    }
}

TEST(ProfileFormulas, NeedPropertiesThatHoldNumbers) {
    for (const std::string name : {"Xcache", "Ycache", "Zcache", "Value"}) {
        for (const std::string type : {"s", "b", "ai", "sp"}) {
            EXPECT_EQ(fault_of(profile_text(formula_class(name, type), "")),
                      "classes[0] \"Expression\" property \"" + name + "\": is of type \"" + type +
                          "\"; a formula needs d, i, n, q, u or y here");
        }
        for (const std::string type : {"d", "i", "n", "q", "u", "y"}) {
            EXPECT_EQ(fault_of(profile_text(formula_class(name, type), "")), "none");
        }
    }
}

TEST(ProfileFormulas, NeedInputsThatAreReferencesOrNumbers) {
    for (const std::string name : {"X", "Y", "Z"}) {
        for (const std::string type : {"s", "b", "ai"}) {
            EXPECT_EQ(fault_of(profile_text(formula_class(name, type), "")),
                      "classes[0] \"Expression\" property \"" + name + "\": is of type \"" + type +
                          "\"; a formula needs sp (a reference), d, i, n, q, u or y here");
        }
    }
}

TEST(ProfileFormulas, NeedATextForTheFormula) {
    for (const std::string type : {"d", "sp"}) {
        EXPECT_EQ(fault_of(profile_text(formula_class("Formula", type), "")),
                  "classes[0] \"Expression\" property \"Formula\": is of type \"" + type +
                      "\"; a formula needs s here");
    }
}

TEST(ProfileFormulas, AreNotInherited) {
    EXPECT_EQ(fault_of(profile_text(
                  formula_class() + R"(, {"name": "Sum", "parent": "Expression"})", "")),
              "classes[1] \"Sum\": derives from class \"Expression\"; formulas are computed for "
              "objects of that class itself only");
}

TEST(ProfileFormulas, MayInheritTheirProperties) {
    std::string parent = formula_class();
    parent.replace(parent.find("Expression"), 10, "Base");
    EXPECT_EQ(fault_of(profile_text(parent + R"(, {"name": "Expression", "parent": "Base"})",
                                    formula("f", "f.Y"))),
              "none");
}

TEST(ProfileFormulas, NeedInputsThatLeadToNumbers) {
    for (const auto& [name, type] : {std::pair("Text", "s"), std::pair("On", "b")}) {
        EXPECT_EQ(fault_with(sensor + ("," + formula("f", std::string("s.") + name))),
                  std::string("objects[1] \"f\" property \"X\": is an input of a formula and leads "
                              "to \"s.") +
                      name + "\" of type \"" + type + "\"; formulas take d, i, n, q, u or y");
    }
}

TEST(ProfileFormulas, NeedInputsThatNameSomething) {
    EXPECT_EQ(fault_with(formula("f", "")),
              "objects[0] \"f\" property \"X\": is an input of a formula and names nothing; give "
              "\"object.property\", of any number when the formula does not use it");
}

TEST(ProfileFormulas, HaveAResultThatALiveReadStores) {
    const Profile profile = profile_of(profile_text(
        formula_class() + sensor_class,
        sensor + ("," + formula("f", "s.Level") + "," +
                  formula("g", "s.Level", R"(, "Value": {"value": 3, "persist": "reset"})"))));
    ASSERT_EQ(profile.objects.size(), 3U);
    EXPECT_EQ(profile.objects[1].properties[6].name, "Value");
    EXPECT_EQ(profile.objects[1].properties[6].mode, "r");
    EXPECT_EQ(profile.objects[2].properties[6].mode, "r");
    EXPECT_EQ(profile.objects[1].properties[1].mode, "r-");
}

TEST(ProfileFormulas, HaveNoResultThatIsTakenForCurrent) {
    EXPECT_EQ(
        fault_with(sensor + ("," + formula("f", "s.Level", R"(, "Value": {"mode": "r-"})"))),
        "objects[1] \"f\" property \"Value\": \"mode\" is \"r-\", with which a computed value "
        "is neither stored nor announced; leave it out");
}

TEST(ProfileFormulas, HaveNoAccessorForTheResult) {
    const std::string hardware =
        R"(, {"name": "Chip"}, {"name": "Accessor", "properties": [{"name": "Chip", "type": "s"}]})";
    EXPECT_EQ(fault_of(profile_text(
                  formula_class() + sensor_class + hardware,
                  sensor + ("," + formula("f", "s.Level", R"(, "Value": {"accessor": "a"})")) +
                      R"(, {"name": "c", "class": "Chip", "type": "Physical"},
                   {"name": "a", "class": "Accessor", "type": "Physical", "properties": {"Chip": "c"}})")),
              "objects[1] \"f\" property \"Value\": is computed by a formula; it cannot have an "
              "accessor");
}

TEST(ProfileFormulas, ThatNeedTheirOwnResultAreRefused) {
    EXPECT_EQ(fault_with(formula("f", "f.Value")),
              "objects[0] \"f\": the formulas from here form a circle, or more than 16 steps");
    EXPECT_EQ(fault_with(formula("f", "g.Value") + "," + formula("g", "f.Value")),
              "objects[0] \"f\": the formulas from here form a circle, or more than 16 steps");
    EXPECT_EQ(fault_with(R"({"name": "s", "class": "Sensor", "properties": {"Twin": "f.Value"}},)" +
                         formula("f", "s.Twin")),
              "objects[1] \"f\": the formulas from here form a circle, or more than 16 steps");
}

TEST(ProfileFormulas, MayStandBehindEachOtherUpTo16) {
    for (const bool is_innermost_first : {false, true}) {
        EXPECT_EQ(fault_with(chain(16, is_innermost_first)), "none");
        EXPECT_NE(fault_with(chain(17, is_innermost_first)).find("or more than 16 steps"),
                  std::string::npos);
    }
}

// Formulas f1, f2, ..., each with the next one's result as all of its three inputs: a read of f1
// computes 1 + 3 + 9 + ... of them.
std::string fault_with_tree(int height) {
    std::string three = formula_class("Y", "sp");
    three.replace(three.find(R"("Z", "type": "i")"), 16, R"("Z", "type": "sp")");
    std::string objects = sensor;
    for (int at = 1; at <= height; ++at) {
        const std::string input =
            at == height ? "s.Level" : "f" + std::to_string(at + 1) + ".Value";
        objects += "," + formula("f" + std::to_string(at), input,
                                 R"(, "Y": ")" + input + R"(", "Z": ")" + input + '"');
    }
    return fault_of(profile_text(three + sensor_class, objects));
}

TEST(ProfileFormulas, MayBeComputedFromSomeHundredsOfOthers) {
    EXPECT_EQ(fault_with_tree(6), "none");
}

TEST(ProfileFormulas, ThatAreComputedFromAThousandOthersAreRefused) {
    EXPECT_EQ(fault_with_tree(7),
              "objects[1] \"f1\": its value is computed from 1092 others, counting each as often "
              "as an input leads to it; at most 999 can be");
    EXPECT_EQ(fault_with_tree(16),
              "objects[10] \"f10\": its value is computed from 1092 others, counting each as often "
              "as an input leads to it; at most 999 can be");
}

}  // namespace
}  // namespace mox::test
