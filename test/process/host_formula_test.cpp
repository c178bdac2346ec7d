// Formulas of the model, which the owner computes with each refresh.
#include <set>

#include "host_module.hpp"

namespace mox::test {
namespace {

// Sum.Value is the level and 100, Twice.Value two times that; Broken has a formula that is none.
std::string formula_profile(const HostOwner& owner) {
    return R"({
  "refresh_ms": 3600000,
  "classes": [
    {"name": "Chip", "properties": [{"name": "Path", "type": "s"}]},
    {"name": "Accessor", "properties": [{"name": "Chip", "type": "s"}, {"name": "Kind", "type": "s"},
                                        {"name": "Type", "type": "s"}]},
    {"name": "Tank", "properties": [{"name": "Level", "type": "i"}]},
    {"name": "Expression", "module": "desk",
     "properties": [{"name": "X", "type": "sp"}, {"name": "Y", "type": "d"}, {"name": "Z", "type": "i"},
                    {"name": "Xcache", "type": "d"}, {"name": "Ycache", "type": "d"}, {"name": "Zcache", "type": "d"},
                    {"name": "Formula", "type": "s"}, {"name": "Value", "type": "i"}]}
  ],
  "objects": [
    {"name": "Twice", "class": "Expression", "properties": {"X": "Sum.Value", "Y": 2, "Formula": "X * Y"}},
    {"name": "Sum", "class": "Expression", "properties": {"X": "Tank.Level", "Z": 100, "Formula": "X + Z"}},
    {"name": "Broken", "class": "Expression", "properties": {"X": "Tank.Level", "Formula": "X +* Y"}},
    {"name": "chip", "class": "Chip", "type": "Physical", "properties": {"Path": ")" +
           owner.dir().path("chip").string() + R"("}},
    {"name": "level", "class": "Accessor", "type": "Physical",
     "properties": {"Chip": "chip", "Kind": "attribute", "Type": "i"}},
    {"name": "Tank", "class": "Tank", "properties": {"Level": {"accessor": "level"}}}
  ]
})";
}

class OwnersFormulas : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(owner_.start(formula_profile(owner_))) << owner_.process().errors();
        module_ = join(owner_);
        ASSERT_NE(module_, nullptr);
    }

    void refresh_with(int level) {
        owner_.set_level(level);
        HostError error;
        ASSERT_TRUE(moxhost_refresh(module_.get(), error.out())) << error.text();
    }

    std::size_t logged(const std::string& text) {
        const std::string log = owner_.process().output();
        std::size_t count = 0;
        for (std::size_t at = log.find(text); at != std::string::npos;
             at = log.find(text, at + 1)) {
            ++count;
        }
        return count;
    }

    HostOwner owner_;
    ModulePtr module_;
};

TEST_F(OwnersFormulas, AreComputedAtTheStart) {
    EXPECT_EQ(value_of("Sum", "Value"), "105");
    EXPECT_EQ(value_of("Twice", "Value"), "210");
}

TEST_F(OwnersFormulas, FollowTheirInputsAndAreAnnounced) {
    EventLog log(module_.get());
    ASSERT_TRUE(moxhost_listen(module_.get(), "Expression", "Value", nullptr));
    refresh_with(7);
    ASSERT_TRUE(log.wait_for(2));
    std::set<std::string> seen;
    for (const SeenEvent& event : log.events()) {
        seen.insert(event.name + "=" + event.value);
    }
    EXPECT_EQ(seen, (std::set<std::string>{"Sum.Value=107", "Twice.Value=214"}));
    EXPECT_EQ(value_of("Twice", "Value"), "214");
}

TEST_F(OwnersFormulas, AreSilentWhileTheirInputsStayTheSame) {
    ASSERT_TRUE(moxhost_listen(module_.get(), "Expression", "Value", nullptr));
    refresh_with(5);
    refresh_with(5);
    EXPECT_EQ(moxhost_events_sent(module_.get(), nullptr), 0);
}

TEST_F(OwnersFormulas, ThatAreWrongAreToldOfOncePerInputAndCountAsZero) {
    EXPECT_EQ(value_of("Broken", "Value"), "0");
    EXPECT_EQ(logged("wrong format in formula string"), 1U);
    refresh_with(5);
    EXPECT_EQ(logged("wrong format in formula string"), 1U);
    refresh_with(6);
    EXPECT_EQ(logged("wrong format in formula string"), 2U);
}

TEST_F(OwnersFormulas, ThatCannotReadAnInputAreToldOfOnceAndKeepTheirValue) {
    for (int round = 0; round < 2; ++round) {
        owner_.dir().write("chip", "hot");
        ASSERT_TRUE(moxhost_refresh(module_.get(), nullptr));
    }
    EXPECT_EQ(value_of("Sum", "Value"), "105");
    EXPECT_EQ(logged("formula Sum: code -2109 ("), 1U) << owner_.process().output();
    refresh_with(6);
    EXPECT_EQ(logged("formula Sum is computed again"), 1U);
    EXPECT_EQ(value_of("Sum", "Value"), "106");
}

}  // namespace
}  // namespace mox::test
