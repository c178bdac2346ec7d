// What an override is refused for, in the order in which it is checked, and overrides beyond the
// room that the owner reserved.
#include <gtest/gtest.h>

#include "write_fixture.hpp"

namespace mox::test {
namespace {

class RefusedOverride : public WriteFixture {
protected:
    static gint32 ask(const std::string& object, const gchar* property, GVariant* value,
                      gint32 mode, gboolean* modified = nullptr) {
        return lom_override_property_value(handle_of(object), property, value,
                                           static_cast<PROPERTY_STATE>(mode), modified);
    }

    void TearDown() override {
        EXPECT_EQ(stored_bytes(property_of("Fan1", "Speed")), bytes_of<guint32>(1200));
        EXPECT_EQ(state_of("Fan1", "Speed"), "");
        EXPECT_EQ(sent_events(), Texts{});
        EXPECT_EQ(modified_, FALSE);
        WriteFixture::TearDown();
    }

    gboolean modified_ = FALSE;
    const Value value_ = owned(speed(1));
    const Value text_ = owned(label("x"));
};

TEST_F(RefusedOverride, OfAnUnknownObject) {
    EXPECT_EQ(ask("Fan9", "Speed", value_.get(), PROPERTY_OVERRIDE, &modified_), -2009);
    EXPECT_EQ(ask("Fan9", "Speed", nullptr, PROPERTY_CANCEL_OVERRIDE, &modified_), -2009);
    EXPECT_EQ(lom_override_property_value(0, "Speed", value_.get(), PROPERTY_OVERRIDE, &modified_),
              -2009);
}

TEST_F(RefusedOverride, OfAnUnknownObjectIsSeenBeforeItsMode) {
    EXPECT_EQ(ask("Fan9", "Speed", value_.get(), PROPERTY_UPDATED), -2009);
}

TEST_F(RefusedOverride, InAnotherMode) {
    EXPECT_EQ(ask("Fan1", "Speed", value_.get(), PROPERTY_INITED, &modified_), -2014);
    EXPECT_EQ(ask("Fan1", "Speed", value_.get(), PROPERTY_UPDATED, &modified_), -2014);
}

TEST_F(RefusedOverride, InAnotherModeIsSeenBeforeThePropertyIsMissed) {
    EXPECT_EQ(ask("Fan1", "Colour", value_.get(), PROPERTY_UPDATED), -2014);
    EXPECT_EQ(ask("Fan1", nullptr, value_.get(), PROPERTY_UPDATED), -2014);
}

TEST_F(RefusedOverride, OfAnUnknownProperty) {
    EXPECT_EQ(ask("Fan1", "Colour", value_.get(), PROPERTY_OVERRIDE, &modified_), -2010);
    EXPECT_EQ(ask("Fan1", "Colour", nullptr, PROPERTY_CANCEL_OVERRIDE, &modified_), -2010);
    EXPECT_EQ(ask("Fan1", nullptr, value_.get(), PROPERTY_OVERRIDE, &modified_), -2010);
}

TEST_F(RefusedOverride, OfAPropertyWithoutARecord) {
    entry_of("Fan1", "Label").property_ptr = nullptr;
    EXPECT_EQ(ask("Fan1", "Label", text_.get(), PROPERTY_OVERRIDE, &modified_), -2000);
    EXPECT_EQ(ask("Fan1", "Label", nullptr, PROPERTY_CANCEL_OVERRIDE, &modified_), -2000);
}

TEST_F(RefusedOverride, WithoutTheSemaphore) {
    fail_semaphore_of("Fan1");
    EXPECT_EQ(ask("Fan1", "Speed", value_.get(), PROPERTY_OVERRIDE, &modified_), -2015);
}

TEST_F(RefusedOverride, WithoutTheSemaphoreIsSeenBeforeAWrongType) {
    fake::osal::fail_take(1);
    EXPECT_EQ(ask("Fan1", "Speed", text_.get(), PROPERTY_OVERRIDE, &modified_), -2015);
}

TEST_F(RefusedOverride, WithoutTheSemaphoreIsSeenBeforeAReferenceIsFollowed) {
    add_view("Fan9.Speed");
    fail_semaphore_of("View");
    EXPECT_EQ(ask("View", "Twin", value_.get(), PROPERTY_OVERRIDE, &modified_), -2015);
}

TEST_F(RefusedOverride, WithAnotherType) {
    EXPECT_EQ(ask("Fan1", "Speed", text_.get(), PROPERTY_OVERRIDE, &modified_), -2012);
    EXPECT_EQ(ask("Fan1", "Label", value_.get(), PROPERTY_OVERRIDE, &modified_), -2012);
}

TEST_F(RefusedOverride, WithAnotherTypeIsSeenBeforeAnUnsupportedOne) {
    EXPECT_EQ(override_with("Fan1", "Speed", g_variant_new_int64(1), &modified_), -2012);
}

TEST_F(RefusedOverride, WithATypeThatTheModelCannotStore) {
    EXPECT_EQ(override_with("Fan1", "Serial", g_variant_new_uint64(6), &modified_), -2013);
    EXPECT_EQ(stored_bytes(property_of("Fan1", "Serial")), bytes_of<guint64>(5));
    EXPECT_EQ(state_of("Fan1", "Serial"), "");
}

TEST_F(RefusedOverride, WithAnUnsupportedTypeNeverReachesTheHook) {
    const RemoteSet remote;
    EXPECT_EQ(override_with("Fan1", "Pair", pair(), &modified_), -2013);
    EXPECT_EQ(remote.calls(), Texts{});
}

TEST_F(RefusedOverride, WithNoValue) {
    EXPECT_EQ(ask("Fan1", "Speed", nullptr, PROPERTY_OVERRIDE, &modified_), -2001);
}

class HalfwayOverride : public WriteFixture {
protected:
    gboolean modified_ = FALSE;
};

TEST_F(HalfwayOverride, WithoutTheSemaphoreForTheValueStoresNothing) {
    fake::osal::fail_take(2);
    EXPECT_EQ(override_with("Fan1", "Speed", speed(9), &modified_), -2015);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1200");
    EXPECT_EQ(state_of("Fan1", "Speed"), "");
    EXPECT_EQ(sent_events(), Texts{});
}

TEST_F(HalfwayOverride, WithoutTheSemaphoreForTheValueHasTakenItAllTheSame) {
    fake::osal::fail_take(2);
    override_with("Fan1", "Speed", speed(9), &modified_);
    EXPECT_EQ(modified_, TRUE);
}

// "Fan1.Label" has room for five bytes and holds "left".
class OversizedOverride : public WriteFixture {
protected:
    gint32 override_label() { return override_with("Fan1", "Label", label("lefty"), &modified_); }

    gboolean modified_ = FALSE;
};

TEST_F(OversizedOverride, GoesToTheHookAndMarksTheProperty) {
    const RemoteSet remote;
    EXPECT_EQ(override_label(), 0);
    EXPECT_EQ(remote.calls(), Texts{"Fan1.Label = 'lefty'"});
    EXPECT_EQ(state_of("Fan1", "Label"), "override");
    EXPECT_EQ(modified_, TRUE);
}

TEST_F(OversizedOverride, MarksThePropertyBehindTheHook) {
    std::string state = "not called";
    const RemoteSet remote(0, [&state] { state = state_of("Fan1", "Label"); });
    override_label();
    EXPECT_EQ(state, "");
}

TEST_F(OversizedOverride, IsAnnouncedBehindTheHook) {
    Texts before{"not called"};
    const RemoteSet remote(0, [&before] { before = sent_events(); });
    override_label();
    EXPECT_EQ(before, Texts{});
    EXPECT_EQ(sent_events(), Texts{"8: Fan1.Label = 'lefty'"});
}

TEST_F(OversizedOverride, StoresNothingHere) {
    const RemoteSet remote;
    override_label();
    EXPECT_EQ(stored_value("Fan1", "Label"), "'left'");
    EXPECT_EQ(property_of("Fan1", "Label").size, 5U);
}

TEST_F(OversizedOverride, GivesTheCodeOfTheHook) {
    const RemoteSet remote(-777);
    EXPECT_EQ(override_label(), -777);
    EXPECT_EQ(state_of("Fan1", "Label"), "");
    EXPECT_EQ(sent_events(), Texts{});
    EXPECT_EQ(modified_, TRUE);
}

TEST_F(OversizedOverride, GivesAlsoACodeAboveZeroOfTheHook) {
    const RemoteSet remote(3);
    EXPECT_EQ(override_label(), 3);
    EXPECT_EQ(sent_events(), Texts{});
}

TEST_F(OversizedOverride, FailsWithoutTheSemaphoreForTheMark) {
    const RemoteSet remote;
    fake::osal::fail_take(2);
    EXPECT_EQ(override_label(), -2015);
    EXPECT_EQ(remote.calls().size(), 1U);
    EXPECT_EQ(state_of("Fan1", "Label"), "");
    EXPECT_EQ(sent_events(), Texts{});
}

TEST_F(OversizedOverride, WithoutAHookIsAnnouncedButNotInForce) {
    EXPECT_EQ(override_label(), 0);
    EXPECT_EQ(sent_events(), Texts{"8: Fan1.Label = 'lefty'"});
    EXPECT_EQ(state_of("Fan1", "Label"), "");
    EXPECT_EQ(stored_value("Fan1", "Label"), "'left'");
    EXPECT_EQ(modified_, TRUE);
}

TEST_F(OversizedOverride, WithoutAHookGivesTheCodeOfItsEvent) {
    fake::osal::fail_sends_to(8, -1234);
    gint32 code = 0;
    messages_of([&] { code = override_label(); });
    EXPECT_EQ(code, -1234);
}

TEST_F(OversizedOverride, NeverMarksThePropertyModified) {
    const RemoteSet remote;
    override_label();
    EXPECT_EQ(property_of("Fan1", "Label").state.bit.modified, 0U);
}

TEST_F(OversizedOverride, IsInForceWhenTheHookEnlargedTheRecord) {
    const RemoteSet remote(0, [] { lom_realloc_property("Fan1", "Label", "s", 6, "lefty"); });
    EXPECT_EQ(override_label(), 0);
    EXPECT_EQ(live_value("Fan1", "Label"), "'lefty'");
    EXPECT_EQ(write("Fan1", "Label", label("a")), -2019);
}

}  // namespace
}  // namespace mox::test
