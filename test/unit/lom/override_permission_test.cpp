// The hook that judges overrides: it is asked about the property that is forced in the end, without
// locks, and what it refuses changes nothing.
#include <gtest/gtest.h>

#include "write_fixture.hpp"

namespace mox::test {
namespace {

// Answers with a code and notes what it was asked.
class OverridePermission : public WriteFixture {
protected:
    void SetUp() override {
        WriteFixture::SetUp();
        add_view("Fan1.Speed");
        asked_.clear();
        held_ = 0;
    }

    void TearDown() override {
        lom_set_override_check_func(nullptr);
        EXPECT_EQ(held_, 0U) << "the hook was called with a semaphore held";
        WriteFixture::TearDown();
    }

    static void answer_with(gint32 code) {
        code_ = code;
        lom_set_override_check_func([](const gchar* object, const gchar* property) {
            asked_.push_back(std::string(object) + "." + property);
            held_ += fake::osal::held();
            return code_;
        });
    }

    static inline Texts asked_;
    static inline gsize held_ = 0;
    static inline gint32 code_ = 0;
    gboolean modified_ = FALSE;
};

TEST_F(OverridePermission, IsAskedOnceForTheProperty) {
    answer_with(0);
    EXPECT_EQ(override_with("Fan1", "Speed", speed(9)), 0);
    EXPECT_EQ(asked_, Texts{"Fan1.Speed"});
    EXPECT_EQ(state_of("Fan1", "Speed"), "override");
}

TEST_F(OverridePermission, IsAskedForWhatAReferenceLeadsTo) {
    answer_with(0);
    EXPECT_EQ(override_with("View", "Twin", speed(9)), 0);
    EXPECT_EQ(asked_, Texts{"Fan1.Speed"});
}

TEST_F(OverridePermission, RefusesWithItsOwnCodeAndNothingHappens) {
    answer_with(MOX_ERR_NOT_PERMITTED);
    EXPECT_EQ(override_with("Fan1", "Speed", speed(9), &modified_), MOX_ERR_NOT_PERMITTED);
    EXPECT_EQ(override_with("View", "Twin", speed(9), &modified_), MOX_ERR_NOT_PERMITTED);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1200");
    EXPECT_EQ(state_of("Fan1", "Speed"), "");
    EXPECT_EQ(sent_events(), Texts{});
    EXPECT_EQ(modified_, FALSE);
}

TEST_F(OverridePermission, IsNeededToEndAnOverride) {
    ASSERT_EQ(override_with("Fan1", "Speed", speed(9)), 0);
    answer_with(-7);
    EXPECT_EQ(cancel_override("Fan1", "Speed"), -7);
    EXPECT_EQ(state_of("Fan1", "Speed"), "override");
    EXPECT_EQ(asked_, Texts{"Fan1.Speed"});
}

TEST_F(OverridePermission, IsNotAskedForOrdinaryWrites) {
    answer_with(MOX_ERR_NOT_PERMITTED);
    EXPECT_EQ(write("Fan1", "Speed", speed(9)), 0);
    EXPECT_EQ(asked_, Texts{});
}

TEST_F(OverridePermission, IsNotAskedForAPropertyThatIsNotThere) {
    answer_with(MOX_ERR_NOT_PERMITTED);
    EXPECT_EQ(override_with("Fan1", "Colour", speed(9)), -2010);
    EXPECT_EQ(asked_, Texts{});
}

}  // namespace
}  // namespace mox::test
